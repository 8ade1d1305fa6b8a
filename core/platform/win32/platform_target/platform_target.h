// The system's own API, and the C runtime's functions with the Windows meaning.
//
// Of the formatting functions use those with a leading underscore (_vscwprintf, _vsnwprintf, _snprintf_l and their like):
// they are the C runtime's. `snprintf` and `swprintf` are the toolchain's replacements with the meaning of ISO C.

#ifndef ORVANE_PLATFORM_WIN32_PLATFORM_TARGET_H
#define ORVANE_PLATFORM_WIN32_PLATFORM_TARGET_H

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif
#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0A00
#endif

#include <windows.h>

#include <tlhelp32.h>

#include <locale.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

#endif // ORVANE_PLATFORM_WIN32_PLATFORM_TARGET_H
