// Modules, the process's surroundings, and what a walk of a thread's stack needs of the system.
//
// The loader knows two libraries, by name alone and in any case of letters: "kernel32.dll" with the tool-help functions of
// module snapshots, and "dbghelp.dll" with the debugging support functions, answered by this layer over the compiler's
// unwinder and its reader of debug data. Neither costs anything before it is first called.

#ifndef ORVANE_PLATFORM_POSIX_MODULES_H
#define ORVANE_PLATFORM_POSIX_MODULES_H

#include <cstddef>

#include "platform/export.h"
#include "platform_target/types.h"

using HMODULE = struct ModuleHandle*;
using FARPROC = void (*)();

constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;

/// Reports: null with the last error 126 for any name but those two, also for the name of a file that is there.
ORVANE_PLATFORM_API HMODULE LoadLibraryA(LPCSTR name) noexcept;

/// Reports: null with the last error 127 for a name that the library does not have, 6 for a bad handle.
ORVANE_PLATFORM_API FARPROC GetProcAddress(HMODULE module, LPCSTR name) noexcept;

ORVANE_PLATFORM_API BOOL FreeLibrary(HMODULE module) noexcept;

/// The full name of the executable; `module` must be null (6 otherwise). A name that does not fit is cut, and the last
/// error is 122 then; the result is `size`.
ORVANE_PLATFORM_API DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) noexcept;

/// FILE_ATTRIBUTE_DIRECTORY or FILE_ATTRIBUTE_NORMAL. Reports: INVALID_FILE_ATTRIBUTES with 2 where there is none.
ORVANE_PLATFORM_API DWORD GetFileAttributesA(LPCSTR name) noexcept;

/// The length of the value; the room it needs with its NUL where `size` is too small; 0 with 203 where there is none.
ORVANE_PLATFORM_API DWORD GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD size) noexcept;

/// The length of the name; the room it needs with its NUL where `size` is too small; 0 with 3 where it cannot be told.
ORVANE_PLATFORM_API DWORD GetCurrentDirectoryA(DWORD size, LPSTR buffer) noexcept;

/// The user's name; `size` receives its length with the NUL. Reports: FALSE with 122 where there is no room.
ORVANE_PLATFORM_API BOOL GetUserNameA(LPSTR buffer, DWORD* size) noexcept;

/// Copies memory of the calling process. Reports: FALSE with 998 for memory that is not there; 6 for another process.
ORVANE_PLATFORM_API BOOL ReadProcessMemory(HANDLE process, void const* address, void* buffer, std::size_t size,
                                           std::size_t* read) noexcept;

/// The instruction, stack and frame pointers of the caller; the other registers are 0.
ORVANE_PLATFORM_API void RtlCaptureContext(CONTEXT* context) noexcept;

/// The registers of a thread that SuspendThread has stopped, or that was made suspended: it may be waited for until it has
/// come to its stop. Reports: FALSE with 87 for one that runs.
ORVANE_PLATFORM_API BOOL GetThreadContext(HANDLE thread, CONTEXT* context) noexcept;

/// A heap to be locked while another thread stands still. Nothing is locked here: the calls that a walk makes while a
/// thread stands take no memory. Reports: TRUE.
ORVANE_PLATFORM_API HANDLE GetProcessHeap() noexcept;
ORVANE_PLATFORM_API BOOL HeapLock(HANDLE heap) noexcept;
ORVANE_PLATFORM_API BOOL HeapUnlock(HANDLE heap) noexcept;

#endif // ORVANE_PLATFORM_POSIX_MODULES_H
