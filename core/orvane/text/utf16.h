// Wide text of the target's own width to UTF-16 and back.

#ifndef ORVANE_TEXT_UTF16_H
#define ORVANE_TEXT_UTF16_H

#include <cstddef>
#include <string>

#include "orvane/export.h"

/// Stored wide text is UTF-16 on every target. Where wchar_t is 16 bits wide these functions copy; where it is 32 bits
/// wide memory holds code points, and a pair of surrogates stands for one of them.
///
/// Any sequence of 16-bit units survives the way into memory and back: a surrogate without a partner is kept as it is.
/// Values that no code point has (above 0x10FFFF) become U+FFFD.
/// Threads: plain functions.
namespace Utf16
{
/// The units that `length` characters take.
ORVANE_API std::size_t CountUnits(wchar_t const* text, std::size_t length);

/// Writes the units of `length` characters to `units`, which has room for CountUnits of them (twice `length` is always
/// enough), and returns their number. `units` may lie at an odd address.
ORVANE_API std::size_t Encode(wchar_t const* text, std::size_t length, void* units);

/// The same up to the first NUL, which is not written. What lies behind the units that are returned, up to twice
/// `length`, is undefined.
ORVANE_API std::size_t EncodeToNul(wchar_t const* text, std::size_t length, void* units);

/// Writes the characters of `length` units to `text`, which has room for `length` of them, and returns their number.
/// `units` may lie at an odd address.
ORVANE_API std::size_t Decode(void const* units, std::size_t length, wchar_t* text);

/// The same up to the first NUL, which is not written. What lies behind the characters that are returned, up to
/// `length`, is undefined.
ORVANE_API std::size_t DecodeToNul(void const* units, std::size_t length, wchar_t* text);
} // namespace Utf16

#endif // ORVANE_TEXT_UTF16_H
