// The recursive lock within a process, and the locks that reference counting shares.

#ifndef ORVANE_SYNC_CBCRITICALSECTION_H
#define ORVANE_SYNC_CBCRITICALSECTION_H

#include <atomic>

#include "orvane/export.h"
#include "platform/platform.h"

/// A recursive lock that knows the thread inside.
///
/// Each Enter needs a Leave of its own by the same thread. All operations are const: the lock of an object can be taken
/// through a const reference to the object.
/// Destroy it only while it is free. A Leave by a thread that is not inside is an error of the program: what it does to
/// the platform's lock is the platform's, and what IsLocking says from there on means nothing.
/// Reports: nothing; there is no failure. The thread's last error stays as it is.
/// Threads: what a thread wrote inside is visible to who enters next.
/// Origin: CRITICAL_SECTION.
class ORVANE_API CbCriticalSection
{
public:
    CbCriticalSection();
    ~CbCriticalSection();

    CbCriticalSection(CbCriticalSection const&) = delete;
    CbCriticalSection& operator=(CbCriticalSection const&) = delete;

    void Enter() const;

    /// Enters unless another thread is inside; whether it did.
    bool TryEnter() const;

    void Leave() const;

    /// Whether the calling thread is inside.
    bool IsLocking() const;

    /// Whether the thread `threadId` is inside; 0 asks whether none is. Exact for the calling thread's id, a snapshot for
    /// any other.
    bool IsLocking(unsigned int threadId) const;

    /// How many leaves the thread inside owes; 0 while there is none. A snapshot to all other threads.
    long GetRecursionCount() const;

private:
    // Written by the thread inside only, read by all. Before the section: clients know the places.
    mutable std::atomic<unsigned int> m_ownerId = 0; // 0: none
    mutable CRITICAL_SECTION m_section;
};

/// Holds a critical section for a scope.
class ORVANE_API CbCriticalSectionAuto
{
public:
    explicit CbCriticalSectionAuto(CbCriticalSection const& section);
    ~CbCriticalSectionAuto();

    CbCriticalSectionAuto(CbCriticalSectionAuto const&) = delete;
    CbCriticalSectionAuto& operator=(CbCriticalSectionAuto const&) = delete;

    /// Leaves before the end of the scope; once only, whatever is called later.
    void Leave();

private:
    CbCriticalSection const& m_section;
    bool m_hasLeft = false;
};

/// The lock that guards the end of the counted object at this address: one of 256, chosen by bits 2 to 9 of the address,
/// so that one object always has the same one and many objects share it.
/// Threads: any, also before and after main; the locks are made at start-up or at the first call and stay for good.
/// Take no two of them at once: nothing keeps two threads from taking them in opposite orders.
ORVANE_API CbCriticalSection& ReferenceCounter_GetCriticalSection(void const* object);

#endif // ORVANE_SYNC_CBCRITICALSECTION_H
