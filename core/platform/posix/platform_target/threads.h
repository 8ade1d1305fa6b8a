// Threads: creation, control, and what the system tells about them.
//
// Each call has the meaning that Windows documents. A handle that names no thread fails with the last error 6.

#ifndef ORVANE_PLATFORM_POSIX_THREADS_H
#define ORVANE_PLATFORM_POSIX_THREADS_H

#include <cstddef>

#include "platform/export.h"
#include "platform_target/kernel.h"

using LPTHREAD_START_ROUTINE = DWORD (*)(void* parameter);

constexpr DWORD CREATE_SUSPENDED = 4;
constexpr DWORD STACK_SIZE_PARAM_IS_A_RESERVATION = 0x10000;
constexpr DWORD STILL_ACTIVE = 259;

constexpr int THREAD_PRIORITY_IDLE = -15;
constexpr int THREAD_PRIORITY_LOWEST = -2;
constexpr int THREAD_PRIORITY_BELOW_NORMAL = -1;
constexpr int THREAD_PRIORITY_NORMAL = 0;
constexpr int THREAD_PRIORITY_ABOVE_NORMAL = 1;
constexpr int THREAD_PRIORITY_HIGHEST = 2;
constexpr int THREAD_PRIORITY_TIME_CRITICAL = 15;
constexpr int THREAD_PRIORITY_ERROR_RETURN = 0x7FFFFFFF;

constexpr DWORD READ_CONTROL = 0x20000;
constexpr DWORD SYNCHRONIZE = 0x100000;
constexpr DWORD THREAD_ALL_ACCESS = 0x1FFFFF;
constexpr DWORD MAXIMUM_PROCESSORS = 64;

constexpr DWORD ERROR_SIGNAL_REFUSED = 156;

/// Starts a thread that ends with what `start` returns. `stackSize` 0 is the system's default; `id`, unless null, receives
/// the thread's id. With CREATE_SUSPENDED the thread exists but runs nothing of `start` before it is resumed.
/// Its priority is normal and its affinity the process's, whatever the creating thread has.
/// An exception that leaves `start` ends the process.
/// Reports: null with the last error 87 for a null `start` or an unknown flag, 50 for `security`, 8 without resources.
ORVANE_PLATFORM_API HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stackSize,
                                        LPTHREAD_START_ROUTINE start, void* parameter, DWORD flags, DWORD* id) noexcept;

/// Stops a thread and counts how often. When the call returns the thread runs no more of its own code; inside the calls
/// of this layer it is stopped at their end.
/// Reports: the count before; 0xFFFFFFFF with the last error 5 for a thread that has ended, 156 above 127 times, 1460
/// where the thread does not take the request within five seconds (it blocks the signal that the layer uses).
ORVANE_PLATFORM_API DWORD SuspendThread(HANDLE thread) noexcept;

/// Takes one suspension back. Reports: the count before; 0xFFFFFFFF on failure.
ORVANE_PLATFORM_API DWORD ResumeThread(HANDLE thread) noexcept;

/// Ends a thread where it stands, without unwinding: its mutexes are abandoned, its handle is signalled, its exit code is
/// `exitCode`. When the call returns the thread is gone. A thread inside the C library is given a tenth of a second to
/// leave it first, since it may hold the allocator's lock. Its stack is not given back. The call lasts as long as the thread
/// blocks the signal that the layer uses.
/// Reports: FALSE with the last error 5 for a thread that has ended.
ORVANE_PLATFORM_API BOOL TerminateThread(HANDLE thread, DWORD exitCode) noexcept;

/// The exit code; 259 as long as the thread has not ended.
ORVANE_PLATFORM_API BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode) noexcept;

/// The thread's id; 0 on failure.
ORVANE_PLATFORM_API DWORD GetThreadId(HANDLE thread) noexcept;

/// A value that stands for the calling thread wherever a thread is asked for; DuplicateHandle makes a real handle of it.
ORVANE_PLATFORM_API HANDLE GetCurrentThread() noexcept;

/// A handle to a thread of this process by its id. A thread that this layer neither started nor ever saw cannot be waited
/// on: SYNCHRONIZE fails with 50 for it. Otherwise `access` is not looked at. Reports: null with the last error 87 for an
/// id without a thread.
ORVANE_PLATFORM_API HANDLE OpenThread(DWORD access, BOOL inherit, DWORD id) noexcept;

/// One of the seven THREAD_PRIORITY_... values; 87 for any other. It is stored and reported, and asked of the scheduler
/// where this process may also take it back.
ORVANE_PLATFORM_API BOOL SetThreadPriority(HANDLE thread, int priority) noexcept;

/// The priority set; THREAD_PRIORITY_ERROR_RETURN on failure.
ORVANE_PLATFORM_API int GetThreadPriority(HANDLE thread) noexcept;

/// The processors that a thread may run on, one bit each. Reports: the mask before; 0 with the last error 87 for a mask
/// that is empty or not within the process's.
ORVANE_PLATFORM_API DWORD_PTR SetThreadAffinityMask(HANDLE thread, DWORD_PTR mask) noexcept;

/// The masks of this process (taken when it first asks) and of the system. `process` must be GetCurrentProcess().
ORVANE_PLATFORM_API BOOL GetProcessAffinityMask(HANDLE process, DWORD_PTR* processMask, DWORD_PTR* systemMask) noexcept;

/// Stores the processor that the thread would like; MAXIMUM_PROCESSORS only asks. Reports: the one before; 0xFFFFFFFF with
/// the last error 87 for a processor that is not there.
ORVANE_PLATFORM_API DWORD SetThreadIdealProcessor(HANDLE thread, DWORD processor) noexcept;

/// Times of a thread; the exit time is 0 until it ends. Creation times have steps of 10 ms; among equal ones the process's
/// first thread is the earliest.
ORVANE_PLATFORM_API BOOL GetThreadTimes(HANDLE thread, FILETIME* creation, FILETIME* exit, FILETIME* kernel,
                                        FILETIME* user) noexcept;

// ---- snapshots

constexpr DWORD TH32CS_SNAPTHREAD = 4;
constexpr DWORD TH32CS_SNAPMODULE = 8;

struct THREADENTRY32
{
    DWORD dwSize;
    DWORD cntUsage;
    DWORD th32ThreadID;
    DWORD th32OwnerProcessID;
    LONG tpBasePri;
    LONG tpDeltaPri;
    DWORD dwFlags;
};

/// The threads of this process at this moment, or with TH32CS_SNAPMODULE its modules. Reports: INVALID_HANDLE_VALUE with the last error 50 for other flags, 8
/// without memory. The handle is closed by CloseHandle and cannot be waited on.
ORVANE_PLATFORM_API HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD processId) noexcept;

/// The first and the next entry. `entry->dwSize` must be set (87 otherwise). FALSE with 18 at the end.
ORVANE_PLATFORM_API BOOL Thread32First(HANDLE snapshot, THREADENTRY32* entry) noexcept;
ORVANE_PLATFORM_API BOOL Thread32Next(HANDLE snapshot, THREADENTRY32* entry) noexcept;

inline HANDLE const INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~static_cast<ULONG_PTR>(0));

// ---- processors

struct SYSTEM_INFO
{
    WORD wProcessorArchitecture; // 9: x64
    WORD wReserved;
    DWORD dwPageSize;
    void* lpMinimumApplicationAddress;
    void* lpMaximumApplicationAddress;
    DWORD_PTR dwActiveProcessorMask;
    DWORD dwNumberOfProcessors; // those online
    DWORD dwProcessorType;
    DWORD dwAllocationGranularity;
    WORD wProcessorLevel;
    WORD wProcessorRevision;
};

ORVANE_PLATFORM_API void GetSystemInfo(SYSTEM_INFO* information) noexcept;
ORVANE_PLATFORM_API void GetNativeSystemInfo(SYSTEM_INFO* information) noexcept;

/// Whether the process runs under 32-bit emulation: never here.
ORVANE_PLATFORM_API BOOL IsWow64Process(HANDLE process, BOOL* isWow64) noexcept;

/// Lets another thread run. `milliseconds` 0 gives the processor away once; INFINITE does not return.
ORVANE_PLATFORM_API void Sleep(DWORD milliseconds) noexcept;

/// Gives the processor away once. Reports: TRUE, always: whether another thread ran cannot be told.
ORVANE_PLATFORM_API BOOL SwitchToThread() noexcept;

#endif // ORVANE_PLATFORM_POSIX_THREADS_H
