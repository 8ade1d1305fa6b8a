// The state of one named object, in memory that processes share.
//
// Any process may be killed at any instruction. What that asks for:
// - The state is guarded by a robust mutex; its next holder finds out and goes on.
// - A change is prepared in a second copy of the state and comes into force with one write to the sequence word, which also
//   says which copy is valid. Where somebody sleeps, one system call does that write and wakes them: there is no moment at
//   which a signal is there and its sleepers are not told.
// - Everyone who sleeps is woken, not one: the one could be killed before it takes what it was woken for.
// - The counts of waiters can only be too high, by those that were killed. A count that is too high costs a system call.

#ifndef ORVANE_PLATFORM_POSIX_NAMEDSTATE_H
#define ORVANE_PLATFORM_POSIX_NAMEDSTATE_H

#include <atomic>
#include <cstdint>

#include <pthread.h>

#include "kernelobject.h"

namespace posix
{
/// A word that a waiter sleeps on, and what it holds while there is nothing to take.
struct SleepWord
{
    std::uint32_t const* word = nullptr;
    std::uint32_t expected = 0;
};

/// Events and semaphores hand nothing over to a particular waiter: those that are woken take what they find. A signal
/// that is about to be covered up by the next change (a reset, a set on a set event, a release beyond the maximum), and
/// that waiters have been woken for but have not taken yet, is owed to them: it stays for those that waited by then.
///
/// All operations but initialise(), sleepWord() and those of the mutex's owner want the lock.
class SharedObject
{
public:
    /// Moments of the object's life, for telling who waited by when. An object that nobody waits on stays at one.
    using Moment = std::uint64_t;
    static constexpr Moment c_NotWaiting = ~static_cast<Moment>(0);

    /// Makes the object anew, whatever the memory held. False without system resources.
    bool initialise(Kind kind, std::uint32_t value, std::uint32_t maximum) noexcept;

    void lock() noexcept;
    void unlock() noexcept;

    Kind kind() const noexcept
    {
        return m_kind;
    }

    /// Starts a wait: from now on it has a claim to what is owed.
    Moment join(bool isForAll) noexcept;

    /// Ends a wait. What was owed to it, and to nobody else, is the object's again.
    void leave(bool isForAll) noexcept;

    /// The start of a wait that goes on, after it has looked.
    Moment now() const noexcept
    {
        return current().moment;
    }

    bool isSignalled(std::uint32_t threadId, Moment begun) const noexcept;

    /// Whether the wait has a claim that it would lose to nobody.
    bool isOwed(Moment begun) const noexcept;

    /// Takes the signalled object. Whether its last owner ended without releasing it.
    bool take(std::uint32_t threadId, Moment begun) noexcept;

    /// What to sleep on after a look that found nothing to take.
    SleepWord sleepWord() noexcept;

    /// Whether the word has changed since. Wants no lock.
    static bool isChanged(SleepWord const& sleep) noexcept;

    /// Wakes another waiter on a mutex that is free: a waiter that was woken for it does not take it.
    void passOn() noexcept;

    void set() noexcept;
    void reset() noexcept;
    void pulse() noexcept;

    /// 298 where the maximum would be passed. `previous` is the count before, without what waiters are about to take.
    DWORD release(std::uint32_t count, std::uint32_t& previous) noexcept;

    /// The thread that owns the mutex, or 0.
    std::uint32_t ownerId() const noexcept;

    /// By the owner only: gives one acquisition back; whether it was the last.
    bool releaseOwnership() noexcept;

    /// By the owner only: gives up the mutex as a thread does that ends.
    void abandonOwnership() noexcept;

private:
    // Signals that belong to those that waited before a moment.
    struct Owed
    {
        Moment before = 0;
        std::uint32_t count = 0;
    };

    static constexpr unsigned int c_OwedRows = 4;

    struct State
    {
        Moment moment = 0;
        Moment releasedBefore = 0; // of a manual-reset event: everyone who waited before that goes on
        std::uint32_t value = 0;   // for anyone to take
        bool isSetLast = false;    // of an event: not reset since
        Owed owed[c_OwedRows];     // oldest first
    };

    State const& current() const noexcept
    {
        return m_states[m_sequence.load(std::memory_order_relaxed) % 2];
    }

    State& current() noexcept
    {
        return m_states[m_sequence.load(std::memory_order_relaxed) % 2];
    }

    enum class Telling
    {
        Nobody,
        Sleepers
    };

    void commit(State const& next, Telling telling) noexcept;
    std::uint32_t owedIn(State const& state) const noexcept;
    std::uint32_t unservedIn(State const& state) const noexcept;
    void owe(State& state, std::uint32_t count) const noexcept;
    void setIn(State& state) const noexcept;
    void resetIn(State& state) const noexcept;
    std::uint32_t markSleepers() noexcept;

    pthread_mutex_t m_lock;
    pthread_mutex_t m_ownership; // of a mutex: held by its owner

    std::atomic<std::uint32_t> m_sequence;
    Kind m_kind;
    std::uint32_t m_maximum;
    std::uint32_t m_waiters;  // waits for one or any
    std::uint32_t m_sleepers; // all waits
    Moment m_lastBegun;       // when the latest of m_waiters began
    State m_states[2];

    // Guarded by m_ownership.
    std::uint32_t m_recursion;
    bool m_isAbandoned;
};

/// Holds an object's lock to the end of the scope.
class SharedLock
{
public:
    explicit SharedLock(SharedObject& object) noexcept : m_object(object)
    {
        m_object.lock();
    }

    SharedLock(SharedLock const&) = delete;
    SharedLock& operator=(SharedLock const&) = delete;

    ~SharedLock()
    {
        m_object.unlock();
    }

private:
    SharedObject& m_object;
};
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_NAMEDSTATE_H
