// How the binary encoding stores the length of a wide text.

#ifndef ORVANE_STREAM_TEXTLENGTH_H
#define ORVANE_STREAM_TEXTLENGTH_H

#include "platform/platform.h"

/// Wide text starts with the marker FF FE FF. Its length follows in 1 byte or, behind values of all ones that announce
/// the next wider form, in 2, 4 or 8 bytes more.
namespace TextLength
{
constexpr unsigned char c_WideMarkerByte = 0xFF;
constexpr unsigned short c_WideMarker = 0xFFFE;

constexpr unsigned char c_NextForm8 = 0xFF;
constexpr unsigned short c_NextForm16 = 0xFFFF;
constexpr unsigned int c_NextForm32 = 0xFFFFFFFF;

/// The lengths that the writer leaves to the next form. It leaves the 16-bit form one value early (FFFE would do):
/// readers of both kinds of streams rely on the bytes.
constexpr unsigned __int64 c_Form8End = c_NextForm8;
constexpr unsigned __int64 c_Form16End = 0xFFFE;
constexpr unsigned __int64 c_Form32End = c_NextForm32;
} // namespace TextLength

#endif // ORVANE_STREAM_TEXTLENGTH_H
