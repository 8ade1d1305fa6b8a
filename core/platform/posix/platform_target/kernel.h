// Kernel objects: handles, events, mutexes, semaphores, and the waits on them.
//
// Each call has the meaning that Windows documents. Any handle that does not stand for an object of the kind that a call
// wants (null, closed, stale, never given out) fails with the last error 6 and does no harm. A stale handle stays one until its
// place among the objects has been used 65,536 times more; then the place has a handle of the same value again.

#ifndef ORVANE_PLATFORM_POSIX_KERNEL_H
#define ORVANE_PLATFORM_POSIX_KERNEL_H

#include "platform/export.h"
#include "platform_target/types.h"

constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED = 0x80;
constexpr DWORD WAIT_ABANDONED_0 = 0x80;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;

constexpr DWORD DUPLICATE_CLOSE_SOURCE = 1;
constexpr DWORD DUPLICATE_SAME_ACCESS = 2;

/// Access control is not supported: every call that takes a pointer to this wants null and fails with 50 otherwise.
struct SECURITY_ATTRIBUTES;

/// An event, automatic or manual in its reset. A name (not null, not empty) is shared by the user's processes: where an
/// object of that name exists it is opened, its reset mode and state stay, and the last error is 183 (0 otherwise).
/// Names tell cases apart. "Local\" and "Global\" may stand before them and mean the same here: the user's own names.
/// Reports: null with the last error: 6 where the name belongs to another kind, 206 for a name above 260 characters, 161
/// for one that begins with a backslash and 3 for one with a backslash elsewhere, 123 for a prefix alone, 4 without
/// descriptors, 8 without memory, 5 where the folder of the names (/dev/shm/orvane-<user id>) is not the user's alone.
ORVANE_PLATFORM_API HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState,
                                        LPCWSTR name) noexcept;

/// A recursive mutex, owned by the calling thread where `initialOwner` is set and it did not exist before.
/// A mutex whose owner ends without releasing it is abandoned: the next wait on it takes it and says so.
/// Names and failures as at CreateEventW.
ORVANE_PLATFORM_API HANDLE CreateMutexA(SECURITY_ATTRIBUTES* security, BOOL initialOwner, LPCSTR name) noexcept;
ORVANE_PLATFORM_API HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initialOwner, LPCWSTR name) noexcept;

/// A counting semaphore. Reports as CreateEventW; 87 unless 0 <= initial <= maximum and maximum > 0.
ORVANE_PLATFORM_API HANDLE CreateSemaphoreA(SECURITY_ATTRIBUTES* security, LONG initial, LONG maximum,
                                            LPCSTR name) noexcept;
ORVANE_PLATFORM_API HANDLE CreateSemaphoreW(SECURITY_ATTRIBUTES* security, LONG initial, LONG maximum,
                                            LPCWSTR name) noexcept;

/// Sets an event: a manual one releases all that wait and stays set, an automatic one releases the one that has waited
/// longest or stays set for the next.
ORVANE_PLATFORM_API BOOL SetEvent(HANDLE event) noexcept;
ORVANE_PLATFORM_API BOOL ResetEvent(HANDLE event) noexcept;

/// Releases who waits at this moment (all, or the first with an automatic event) and leaves the event reset.
ORVANE_PLATFORM_API BOOL PulseEvent(HANDLE event) noexcept;

/// Gives one of the owner's acquisitions back. Reports: 288 where the calling thread does not own the mutex.
ORVANE_PLATFORM_API BOOL ReleaseMutex(HANDLE mutex) noexcept;

/// Adds `count` and gives the count before. Reports: 87 for a count below 1, 298 where the maximum would be passed; the
/// count is unchanged then.
ORVANE_PLATFORM_API BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LONG* previous) noexcept;

/// Waits by the steady clock. 0 does not block, INFINITE does not end.
/// Reports: WAIT_OBJECT_0, WAIT_ABANDONED for a mutex whose owner ended, WAIT_TIMEOUT, or WAIT_FAILED.
/// Threads: what a thread wrote before it signalled the object is visible after the wait that this signal released. The
/// object may be closed as soon as the wait has returned.
ORVANE_PLATFORM_API DWORD WaitForSingleObject(HANDLE handle, DWORD timeoutMs) noexcept;

/// Waits for one (the lowest that is signalled, WAIT_OBJECT_0 + index or WAIT_ABANDONED_0 + index) or for all of up to 64
/// objects of any kinds. A wait for all takes all or nothing, also against waits for some of them.
/// Reports: as WaitForSingleObject; 87 for a count of 0 or above 64, and for a wait for all that names an object twice.
ORVANE_PLATFORM_API DWORD WaitForMultipleObjects(DWORD count, HANDLE const* handles, BOOL waitAll,
                                                 DWORD timeoutMs) noexcept;

/// The object goes with its last handle; who waits on it goes on waiting until the wait has ended.
ORVANE_PLATFORM_API BOOL CloseHandle(HANDLE handle) noexcept;

/// Another handle to the same object. Both processes must be GetCurrentProcess(); handles are never inherited, whatever
/// `inherit` says, and have no access rights: without DUPLICATE_SAME_ACCESS `access` is not looked at. A duplicate of
/// GetCurrentProcess() is that value again.
/// Reports: 6 for another process or a bad source, 87 for an unknown option; `*target` is null then.
ORVANE_PLATFORM_API BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, HANDLE* target,
                                         DWORD access, BOOL inherit, DWORD options) noexcept;

/// A value that stands for the calling process wherever a process is asked for. It cannot be waited on.
ORVANE_PLATFORM_API HANDLE GetCurrentProcess() noexcept;
ORVANE_PLATFORM_API DWORD GetCurrentProcessId() noexcept;

/// What leaks can be told by.
namespace PlatformTest
{
/// Handles that are open.
ORVANE_PLATFORM_API unsigned int GetHandleCount() noexcept;

/// Objects that exist: those with a handle, and those that are still waited on.
ORVANE_PLATFORM_API unsigned int GetObjectCount() noexcept;
} // namespace PlatformTest

#endif // ORVANE_PLATFORM_POSIX_KERNEL_H
