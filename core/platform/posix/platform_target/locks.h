// Locks within a process: critical sections and slim reader/writer locks.
//
// Neither sets the last error or changes errno. A thread that ends with a lock leaves it locked for ever. After a fork no
// section belongs to the child's thread.

#ifndef ORVANE_PLATFORM_POSIX_LOCKS_H
#define ORVANE_PLATFORM_POSIX_LOCKS_H

#include "platform/export.h"
#include "platform_target/types.h"

using BOOLEAN = unsigned char;

// ---- critical sections

/// Makes a free section of any memory. Nothing else may be done with a section before, but for one that is all zero.
ORVANE_PLATFORM_API void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept;

/// Leaves nothing behind: a section takes no memory of its own. It must be free and nobody may wait for it, which is not
/// checked; a thread that has just left it need not have returned from the leave.
ORVANE_PLATFORM_API void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept;

/// Enters, at once where the calling thread is inside already; each enter needs a leave of its own.
/// RecursionCount says how many there are to come, and OwningThread holds the id of the thread inside; both are 0 while
/// there is none. Other threads may read them at any time, as atomics.
/// Threads: not in order of arrival, but who has waited for 1 ms is let in before any thread that has not.
ORVANE_PLATFORM_API void EnterCriticalSection(CRITICAL_SECTION* section) noexcept;

/// Enters where that needs no wait. Reports: whether it did.
ORVANE_PLATFORM_API BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) noexcept;

/// Gives one enter back. A leave by a thread that is not inside changes nothing: who is inside stays alone.
/// Threads: what was written inside is visible to who enters next.
ORVANE_PLATFORM_API void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept;

// ---- slim reader/writer locks

/// A free lock.
constexpr SRWLOCK SRWLOCK_INIT = {nullptr};

/// Makes a free lock; memory that is all zero is one already. A lock needs no end.
ORVANE_PLATFORM_API void InitializeSRWLock(SRWLOCK* lock) noexcept;

/// Shares the lock with other readers. Readers that arrive while a writer waits wait behind it; all readers that wait
/// when a writer lets go share the lock next. So neither readers nor writers keep the other kind out for long.
/// Not recursive: a thread that holds the lock in either mode and acquires it again may wait for itself for ever.
ORVANE_PLATFORM_API void AcquireSRWLockShared(SRWLOCK* lock) noexcept;
ORVANE_PLATFORM_API BOOLEAN TryAcquireSRWLockShared(SRWLOCK* lock) noexcept;

/// Releases what the calling thread shares. Where nobody shares the lock nothing changes.
/// Threads: what was written under the lock is visible to who acquires it next, and the lock may be gone already by then.
ORVANE_PLATFORM_API void ReleaseSRWLockShared(SRWLOCK* lock) noexcept;

/// Takes the lock alone. Among writers not in order of arrival, but who has waited for 1 ms goes before any that has not.
ORVANE_PLATFORM_API void AcquireSRWLockExclusive(SRWLOCK* lock) noexcept;
ORVANE_PLATFORM_API BOOLEAN TryAcquireSRWLockExclusive(SRWLOCK* lock) noexcept;

/// Releases what was taken alone. Where the lock is not held so nothing changes.
ORVANE_PLATFORM_API void ReleaseSRWLockExclusive(SRWLOCK* lock) noexcept;

#endif // ORVANE_PLATFORM_POSIX_LOCKS_H
