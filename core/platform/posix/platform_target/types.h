// The Win32 types that the public interface shows, and the few calls that clients need with them.
//
// Names, widths and meanings are those of 64-bit Windows; only `long` and `wchar_t` keep the widths of this target.
// Constants are constants, not macros: the one macro is __int64, which is a keyword elsewhere.

#ifndef ORVANE_PLATFORM_POSIX_TYPES_H
#define ORVANE_PLATFORM_POSIX_TYPES_H

#include <clocale>

#include "platform/export.h"

#ifndef __int64
#define __int64 long long
#endif

using BOOL = int;
using BYTE = unsigned char;
using WORD = unsigned short;
using DWORD = unsigned int;
using UINT = unsigned int;
using LONG = int;
using LONGLONG = __int64;
using ULONGLONG = unsigned __int64;
using DWORD64 = unsigned __int64;
using ULONG_PTR = unsigned __int64;
using DWORD_PTR = unsigned __int64;
using HANDLE = void*;
using HRESULT = LONG;
using LPSTR = char*;
using LPCSTR = char const*;
using LPWSTR = wchar_t*;
using LPCWSTR = wchar_t const*;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;

/// A time-out that never elapses.
constexpr DWORD INFINITE = 0xFFFFFFFF;

/// Tenths of microseconds since 1601-01-01 00:00 UTC, low half first.
struct FILETIME
{
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

/// A calendar date and time; wDayOfWeek counts from Sunday, 0.
struct SYSTEMTIME
{
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

/// A recursive lock. All zero is a free one. RecursionCount and OwningThread are for reading; the rest belongs to the lock.
struct CRITICAL_SECTION
{
    void* DebugInfo;
    LONG LockCount;
    LONG RecursionCount;
    HANDLE OwningThread;
    HANDLE LockSemaphore;
    ULONG_PTR SpinCount;
};

/// A reader/writer lock. All zero is a free one.
struct SRWLOCK
{
    void* Ptr;
};

constexpr DWORD CONTEXT_CONTROL = 0x100001;
constexpr DWORD CONTEXT_INTEGER = 0x100002;
constexpr DWORD CONTEXT_FULL = 0x10000B;

/// The registers of a thread, as far as a walk of its stack wants them.
struct CONTEXT
{
    DWORD ContextFlags;
    DWORD64 Rax, Rcx, Rdx, Rbx, Rsp, Rbp, Rsi, Rdi, R8, R9, R10, R11, R12, R13, R14, R15, Rip;
};

static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(ULONG_PTR) == sizeof(void*));
static_assert(sizeof(FILETIME) == 8 && sizeof(SYSTEMTIME) == 16);
static_assert(sizeof(CRITICAL_SECTION) == 40 && sizeof(SRWLOCK) == 8);

struct localeinfo_struct;

/// A locale of its own, apart from the process's; null means the current one wherever a call takes it.
using _locale_t = localeinfo_struct*;

/// The reason of the calling thread's latest failed call; 0 in a new thread.
/// Cost: a thread-local read.
ORVANE_PLATFORM_API DWORD GetLastError() noexcept;

/// Sets what GetLastError gives to the calling thread.
ORVANE_PLATFORM_API void SetLastError(DWORD error) noexcept;

/// The kernel's id of the calling thread: that of the process in its first thread; anew in the child of a fork.
/// Cost: a thread-local read, but for a thread's first call.
ORVANE_PLATFORM_API DWORD GetCurrentThreadId() noexcept;

/// A locale for one category of LC_... (LC_ALL, LC_COLLATE, LC_CTYPE, LC_MONETARY, LC_NUMERIC, LC_TIME); the others are
/// "C" in it. `name` is "C", "" (what the environment asks for), a name of this system as "de_DE.UTF-8", or a language
/// tag as "de-DE", which stands for the UTF-8 locale of that language and country.
/// Reports: null for any other category, a null name and a name that this system does not know; errno is EINVAL or
/// ENOENT then. Null and ENOMEM without memory.
/// Owns: the caller frees the result with _free_locale.
ORVANE_PLATFORM_API _locale_t _create_locale(int category, char const* name) noexcept;

/// Frees what _create_locale or _get_current_locale gave. Null does no harm.
ORVANE_PLATFORM_API void _free_locale(_locale_t locale) noexcept;

/// A copy of the calling thread's current locale; later changes to that one do not reach the copy. Null without memory.
/// Owns: the caller frees the result with _free_locale.
ORVANE_PLATFORM_API _locale_t _get_current_locale() noexcept;

#endif // ORVANE_PLATFORM_POSIX_TYPES_H
