// The Win32 and C runtime calls that the library itself makes.
//
// Each has the meaning that Windows documents. A flag or case that is not supported fails with the error named here; it
// is never quietly ignored.

#ifndef ORVANE_PLATFORM_POSIX_SYSTEM_H
#define ORVANE_PLATFORM_POSIX_SYSTEM_H

#include <cstdarg>
#include <cstddef>

#include "platform/export.h"
#include "platform_target/errors.h"
#include "platform_target/kernel.h"
#include "platform_target/locks.h"
#include "platform_target/modules.h"
#include "platform_target/performancecounter.h"
#include "platform_target/threads.h"
#include "platform_target/times.h"
#include "platform_target/types.h"

using HLOCAL = void*;

// ---- error texts

constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0x00FF;
constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x0100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x0200;
constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x0400;
constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x0800;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x2000;

/// The system's English text for an error number. Each ends in a line break, "\r\n"; under
/// FORMAT_MESSAGE_MAX_WIDTH_MASK a line break becomes a blank. `source` is not looked at.
/// With FORMAT_MESSAGE_ALLOCATE_BUFFER `buffer` is the address of a pointer that receives a block of at least `size`
/// characters (null on failure); without it `buffer` has room for `size` characters, the final null included.
/// Reports: the length without the final null; or 0 with the last error:
/// 87 without FORMAT_MESSAGE_FROM_SYSTEM, without a buffer, for an unknown flag, and for a text with inserts (%1) when
/// there are neither arguments nor FORMAT_MESSAGE_IGNORE_INSERTS;
/// 50 for what is not supported: other sources, argument arrays, inserts with arguments, other widths than all;
/// 317 for a number without a text; 1815 for a language other than 0, 0x400 and 0x409;
/// 122 for a buffer that is too small (it is left as it was); 8 without memory.
/// Owns: the caller frees an allocated block with LocalFree.
ORVANE_PLATFORM_API DWORD FormatMessageW(DWORD flags, void const* source, DWORD message, DWORD language, LPWSTR buffer,
                                         DWORD size, va_list* arguments) noexcept;

/// Frees a block that a call of this layer allocated. Null does no harm.
/// Reports: null, always: freeing cannot fail.
ORVANE_PLATFORM_API HLOCAL LocalFree(HLOCAL block) noexcept;

// ---- narrow and wide text

/// The process's code page: UTF-8 on this target.
constexpr UINT CP_ACP = 0;
constexpr UINT CP_THREAD_ACP = 3; // the thread's, the same
constexpr UINT CP_UTF8 = 65001;
constexpr DWORD MB_ERR_INVALID_CHARS = 0x08;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

/// Converts UTF-8 to wide text, one wchar_t a code point. `length` counts bytes; a negative one stands for a text that
/// ends in a null, which is converted and counted too. `size` 0 asks for the number of characters needed.
/// Malformed bytes become U+FFFD, one for each maximal part of a well-formed sequence or else for each byte.
/// Reports: the number of characters; or 0 with the last error:
/// 87 for another code page, length 0, no text, no target, a negative size, and a target that is the text;
/// 1004 for a flag other than MB_ERR_INVALID_CHARS; 1113 for malformed bytes under that flag;
/// 122 for a target that is too small. The target may hold a part of the text then.
ORVANE_PLATFORM_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR target,
                                            int size) noexcept;

/// Converts wide text to UTF-8; the counterpart of MultiByteToWideChar, with WC_ERR_INVALID_CHARS.
/// Surrogates and values beyond U+10FFFF become U+FFFD, or fail with 1113 under that flag.
/// Reports: as there; 87 also for a default character or the address of a flag for its use, which UTF-8 has no use for;
/// 534 for a result that an int cannot count.
ORVANE_PLATFORM_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR target,
                                            int size, LPCSTR defaultChar, BOOL* usedDefaultChar) noexcept;

// ---- formatting
//
// The Windows meaning of a format. In the wide functions %s and %c take wide text, %S and %C narrow text; in the narrow
// functions the other way round. %ls %lc %ws %wc take wide text and %hs %hc narrow text in both. Text of the other width
// is converted by UTF-8; a width counts characters of the result, a precision those of the argument (an unfinished
// UTF-8 sequence at such a cut is left out). A null text prints as "(null)".
// Integers: d i o u x X with h (hh is the same), l (long, of this target's 8 bytes), ll, I64, j; I32; I, z, t for
// the width of a pointer. F and N are ignored before a conversion. Floating point: e E f g G a A, with L for long
// double; exponents have at least three digits, and an exact tie is rounded away from zero. %p prints 16 upper-case
// hexadecimal digits. The flag 0 pads text too. Any other letter prints as itself, without its modifiers; a % after
// modifiers prints nothing. The radix mark is that of the locale.
// What differs from Windows: infinity and NaN print as "inf" and "nan" (there "1.#INF", "1.#QNAN"), digits beyond the
// 17th are exact, and %n is refused.
// Reports: the number of characters without the final null; -1 for a null format, for %n, for a text that an int cannot
// count (errno is EINVAL or EOVERFLOW), and for one that does not fit.
// Cost: no allocation, but for long double texts of several hundred digits.

/// The length of the formatted text.
ORVANE_PLATFORM_API int _vscprintf(char const* format, va_list arguments);
ORVANE_PLATFORM_API int _vscwprintf(wchar_t const* format, va_list arguments);

/// Formats into `count` characters. A text of exactly that length stands there without a final null; of a longer one the
/// first `count` characters do, and the result is -1. A null buffer of 0 characters asks for the length.
ORVANE_PLATFORM_API int _vsnprintf(char* buffer, std::size_t count, char const* format, va_list arguments);
ORVANE_PLATFORM_API int _vsnwprintf(wchar_t* buffer, std::size_t count, wchar_t const* format, va_list arguments);
ORVANE_PLATFORM_API int _snprintf(char* buffer, std::size_t count, char const* format, ...);
ORVANE_PLATFORM_API int _snwprintf(wchar_t* buffer, std::size_t count, wchar_t const* format, ...);

/// The same with the radix mark of `locale`; null is the current one.
ORVANE_PLATFORM_API int _snprintf_l(char* buffer, std::size_t count, char const* format, _locale_t locale, ...);
ORVANE_PLATFORM_API int _snwprintf_l(wchar_t* buffer, std::size_t count, wchar_t const* format, _locale_t locale, ...);

// ---- numbers

/// The number at the head of `text`: blanks, a sign, digits with the radix mark of `locale` (null is the current one), and
/// an exponent after e, E, d or D. There are no hexadecimal numbers, infinities or NaNs, as in the Windows C runtime.
/// `end`, unless null, receives where the number ends, or `text` when there is none.
/// Reports: 0 without a number; HUGE_VAL with the number's sign, or 0, and errno ERANGE for what a double cannot hold;
/// 0 and errno EINVAL for a null text.
ORVANE_PLATFORM_API double _strtod_l(char const* text, char** end, _locale_t locale);
ORVANE_PLATFORM_API double _wcstod_l(wchar_t const* text, wchar_t** end, _locale_t locale);

#endif // ORVANE_PLATFORM_POSIX_SYSTEM_H
