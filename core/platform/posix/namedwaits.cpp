// Waits with named objects among what they wait for.
//
// Private objects hand themselves over to the waiter, or poke it; named ones only wake it, and the waiter takes for
// itself. A wait for any is decided once, by compare-and-swap of its state: by who hands a private object over, or by the
// waiter under the lock of the named object that it is about to take. A wait for all takes everything at once under all
// locks, in one order in every process: global, private, named by inode and slot.

#include <algorithm>
#include <iterator>
#include <optional>

#include "deadline.h"
#include "named.h"
#include "nosuspend.h"

namespace posix
{
namespace
{
/// A member of the wait that is named.
struct Member
{
    NamedObject* named = nullptr;
    std::uint32_t index = 0;
    SharedObject::Moment begun = SharedObject::c_NotWaiting;
    SleepWord sleep;
    bool isJoined = false;
    bool isMissing = true; // a wait for all sleeps on those alone

    SharedObject& object() const noexcept
    {
        return *named->use.object;
    }
};

// ---- sleeping

// What one system call sleeps on.
class SleepList
{
public:
    void add(SleepWord const& sleep, bool isPrivate) noexcept
    {
        futex_waitv& entry = m_entries[m_count++];
        entry = {};
        entry.uaddr = reinterpret_cast<std::uintptr_t>(sleep.word);
        entry.val = sleep.expected;
        entry.flags = FUTEX_32 | (isPrivate ? FUTEX_PRIVATE_FLAG : 0);
    }

    void add(SharedObject const& object, SleepWord const& sleep) noexcept
    {
        m_hasMutex = m_hasMutex || object.kind() == Kind::Mutex;
        add(sleep, false);
    }

    // Returns after a wake, for no reason, or once the deadline has passed.
    void sleep(Deadline const& deadline) noexcept
    {
        // The kernel tells one waiter that an owner died. Should that one be killed before it takes the mutex, the others
        // find out by looking.
        constexpr DWORD c_LookMs = 100;
        std::optional<Deadline> const look = m_hasMutex ? std::optional<Deadline>(c_LookMs) : std::nullopt;
        timespec const* const until = look && look->isBefore(deadline) ? look->get() : deadline.get();
        if (m_count == 1)
        {
            sleepOnOne(until);
        }
        else if (syscall(SYS_futex_waitv, m_entries, m_count, 0, until, CLOCK_MONOTONIC) < 0 && errno == ENOSYS)
        {
            poll(deadline);
        }
    }

private:
    static constexpr std::uint32_t c_Capacity = MAXIMUM_WAIT_OBJECTS + 1;

    void sleepOnOne(timespec const* until) const noexcept
    {
        unsigned int const isPrivate = m_entries[0].flags & FUTEX_PRIVATE_FLAG;
        syscall(SYS_futex, m_entries[0].uaddr, FUTEX_WAIT_BITSET | isPrivate, m_entries[0].val, until, nullptr,
                FUTEX_BITSET_MATCH_ANY);
    }

    // Before Linux 5.16 a thread sleeps on one word only; it looks after the others every millisecond.
    void poll(Deadline const& deadline) const noexcept
    {
        Deadline const look(1);
        sleepOnOne(look.isBefore(deadline) ? look.get() : deadline.get());
    }

    futex_waitv m_entries[c_Capacity];
    std::uint32_t m_count = 0;
    bool m_hasMutex = false;
};

/// What both kinds of wait share.
class NamedWait
{
public:
    NamedWait(KernelObject* const* objects, std::uint32_t count, WaitOperation::Aim aim) noexcept
        : m_objects(objects),
          m_count(count),
          m_threadId(GetCurrentThreadId())
    {
        m_operation.aim = aim;
        m_operation.count = count;
        m_operation.objects = objects;
        m_operation.nodes = m_nodes;
        for (std::uint32_t i = 0; i < count; ++i)
        {
            if (objects[i]->named != nullptr)
            {
                m_members[m_memberCount].named = objects[i]->named;
                m_members[m_memberCount++].index = i;
            }
            else
            {
                m_privates[m_privateCount++] = i;
            }
        }
    }

    NamedWait(NamedWait const&) = delete;
    NamedWait& operator=(NamedWait const&) = delete;

protected:
    ~NamedWait() = default;

    Member* begin() noexcept
    {
        return m_members;
    }

    Member* end() noexcept
    {
        return m_members + m_memberCount;
    }

    void linkPrivate(Locked& held, std::uint32_t index) noexcept
    {
        WaitNode& node = m_nodes[index];
        node.operation = &m_operation;
        node.index = index;
        link(held, node);
    }

    // Before the wait queues up anywhere: from here on a thread that is ended by another one gives the wait's nodes and
    // references back itself. Its places among the waiters of named objects stay, as those of a killed process do.
    void announce() noexcept
    {
        Parking& own = parking();
        m_operation.parking = &own;
        own.operation = &m_operation;
    }

    // Takes the nodes back. Each lock bit is passed once, so nobody is left who still looks at the wait.
    void unlinkPrivates() noexcept
    {
        if (m_operation.parking != nullptr)
        {
            m_operation.parking->operation = nullptr;
        }
        for (std::uint32_t i = 0; i < m_privateCount; ++i)
        {
            Locked held(*m_objects[m_privates[i]]);
            if (m_nodes[m_privates[i]].isLinked)
            {
                unlink(held, m_nodes[m_privates[i]]);
            }
        }
    }

    // Sleeps on the list and, where there are private members, on the thread's token.
    void sleep(SleepList& list, Deadline const& deadline) noexcept
    {
        if (m_privateCount == 0)
        {
            list.sleep(deadline);
            return;
        }
        Parking& own = *m_operation.parking;
        std::uint32_t awake = 0;
        if (own.token.compare_exchange_strong(awake, 1, std::memory_order_acq_rel, std::memory_order_acquire))
        {
            list.add({addressOf(own.token), 1}, true);
            list.sleep(deadline);
        }
        // Before the next look: a wake after it is seen before the next sleep.
        own.token.exchange(0, std::memory_order_acq_rel);
    }

    KernelObject* const* m_objects;
    std::uint32_t m_count;
    std::uint32_t m_threadId;
    WaitOperation m_operation;
    WaitNode m_nodes[MAXIMUM_WAIT_OBJECTS];
    Member m_members[MAXIMUM_WAIT_OBJECTS];
    std::uint32_t m_memberCount = 0;
    std::uint32_t m_privates[MAXIMUM_WAIT_OBJECTS];
    std::uint32_t m_privateCount = 0;
};

// ---- one, or any

class WaitForAny : public NamedWait
{
public:
    WaitForAny(KernelObject* const* objects, std::uint32_t count) noexcept
        : NamedWait(objects, count, WaitOperation::Aim::Any)
    {
    }

    DWORD run(DWORD timeoutMs) noexcept
    {
        Deadline const deadline(timeoutMs);
        lookAtAll();
        while (!isDecided())
        {
            sleepOnMembers(deadline);
            lookAtChanged();
            if (deadline.hasPassed())
            {
                decide(WaitOperation::c_TimedOut);
            }
        }
        leave();
        return m_operation.state.load(std::memory_order_acquire);
    }

private:
    bool isDecided() const noexcept
    {
        return m_operation.state.load(std::memory_order_acquire) != WaitOperation::c_Waiting;
    }

    bool decide(std::uint32_t result) noexcept
    {
        std::uint32_t waiting = WaitOperation::c_Waiting;
        return m_operation.state.compare_exchange_strong(waiting, result, std::memory_order_acq_rel,
                                                         std::memory_order_acquire);
    }

    // The lowest that is signalled decides. The wait queues up at those it passes.
    void lookAtAll() noexcept
    {
        NoSuspend const guard;
        announce();
        Member* member = begin();
        for (std::uint32_t i = 0; i < m_count && !isDecided(); ++i)
        {
            if (m_objects[i]->named != nullptr)
            {
                lookAtNamed(*member++);
            }
            else
            {
                lookAtPrivate(i);
            }
        }
    }

    void lookAtNamed(Member& member) noexcept
    {
        SharedObject& object = member.object();
        SharedLock const lock(object);
        if (object.isSignalled(m_threadId, SharedObject::c_NotWaiting))
        {
            takeMember(member);
            return;
        }
        member.begun = object.join(false);
        member.isJoined = true;
        member.sleep = object.sleepWord();
    }

    void lookAtPrivate(std::uint32_t index) noexcept
    {
        Locked held(*m_objects[index]);
        if (!isSignalled(held.word, m_threadId))
        {
            linkPrivate(held, index);
        }
        else if (decide(index | (isAbandoned(held.word) ? WAIT_ABANDONED_0 : 0)))
        {
            posix::take(held, *m_operation.parking);
        }
    }

    // The object's lock is held.
    void takeMember(Member& member) noexcept
    {
        if (!decide(member.index))
        {
            return; // a private object came first
        }
        bool const isMemberAbandoned = takeNamed(*member.named, m_threadId, member.begun);
        if (isMemberAbandoned)
        {
            m_operation.state.store(member.index | WAIT_ABANDONED_0, std::memory_order_relaxed);
        }
        if (member.isJoined)
        {
            member.isJoined = false;
            member.object().leave(false);
        }
    }

    // After a wake. What is owed to this wait goes first: it came while others were still missing.
    void lookAtChanged() noexcept
    {
        for (bool const isOwedOnly : {true, false})
        {
            for (Member& member : *this)
            {
                if (isDecided())
                {
                    return;
                }
                if (SharedObject::isChanged(member.sleep))
                {
                    lookAgain(member, isOwedOnly);
                }
            }
        }
    }

    void lookAgain(Member& member, bool isOwedOnly) noexcept
    {
        NoSuspend const guard;
        SharedObject& object = member.object();
        SharedLock const lock(object);
        if (isOwedOnly ? object.isOwed(member.begun) : object.isSignalled(m_threadId, member.begun))
        {
            takeMember(member);
        }
        else if (!isOwedOnly)
        {
            member.sleep = object.sleepWord();
        }
    }

    void sleepOnMembers(Deadline const& deadline) noexcept
    {
        SleepList list;
        for (Member const& member : *this)
        {
            list.add(member.object(), member.sleep);
        }
        sleep(list, deadline);
    }

    void leave() noexcept
    {
        NoSuspend const guard;
        unlinkPrivates();
        for (Member& member : *this)
        {
            if (member.isJoined)
            {
                SharedLock const lock(member.object());
                member.object().leave(false);
            }
        }
    }
};

// ---- all

class WaitForAll : public NamedWait
{
public:
    WaitForAll(KernelObject* const* objects, std::uint32_t count) noexcept
        : NamedWait(objects, count, WaitOperation::Aim::Poke)
    {
        std::sort(begin(), end(), isBefore);
    }

    // Two handles to one object.
    bool hasDoubles() noexcept
    {
        return std::adjacent_find(begin(), end(),
                                  [](Member const& one, Member const& other)
                                  { return one.named == other.named; }) != end();
    }

    DWORD run(DWORD timeoutMs) noexcept
    {
        bool const isBlocking = timeoutMs != 0;
        Deadline const deadline(timeoutMs);
        bool isTaken = attempt(isBlocking);
        while (!isTaken && isBlocking)
        {
            bool const isLast = deadline.hasPassed();
            if (!isLast)
            {
                sleepOnMissing(deadline);
            }
            isTaken = attempt(true);
            if (isLast)
            {
                break;
            }
        }
        if (isBlocking)
        {
            leave();
        }
        return isTaken ? m_result : WAIT_TIMEOUT;
    }

private:
    // Locks are taken in this order. Objects of one name in one process are one object.
    static bool isBefore(Member const& one, Member const& other) noexcept
    {
        NameUse const& first = one.named->use;
        NameUse const& second = other.named->use;
        return first.inode != second.inode ? first.inode < second.inode : first.slot < second.slot;
    }

    bool attempt(bool isBlocking) noexcept
    {
        NoSuspend const guard;
        // Once: those who are about to wake this wait read what is announced.
        if (isBlocking && m_operation.parking == nullptr)
        {
            announce();
        }
        if (m_privateCount == 0)
        {
            return attemptNamed(isBlocking, true);
        }
        globalLock().lock();
        bool const isTaken = attemptFrom(0, isBlocking, true);
        globalLock().unlock();
        return isTaken;
    }

    // Locks the private members from `place` on, then the named ones; with all of them locked the outcome is known.
    bool attemptFrom(std::uint32_t place, bool isBlocking, bool areSignalled) noexcept
    {
        if (place == m_privateCount)
        {
            return attemptNamed(isBlocking, areSignalled);
        }
        std::uint32_t const index = m_privates[place];
        Locked held(*m_objects[index]);
        bool const isTaken = attemptFrom(place + 1, isBlocking, areSignalled && isSignalled(held.word, m_threadId));
        if (isTaken)
        {
            m_result = isAbandoned(held.word) ? WAIT_ABANDONED_0 : m_result;
            posix::take(held, parking());
        }
        else if (isBlocking && !m_nodes[index].isLinked)
        {
            linkPrivate(held, index);
        }
        return isTaken;
    }

    bool attemptNamed(bool isBlocking, bool areSignalled) noexcept
    {
        for (Member& member : *this)
        {
            member.object().lock();
            member.isMissing = !member.object().isSignalled(m_threadId, member.begun);
            areSignalled = areSignalled && !member.isMissing;
        }
        for (Member& member : *this)
        {
            SharedObject& object = member.object();
            if (areSignalled)
            {
                m_result = takeNamed(*member.named, m_threadId, member.begun) ? WAIT_ABANDONED_0 : m_result;
            }
            else if (isBlocking)
            {
                prepareSleep(member);
            }
            object.unlock();
        }
        return areSignalled;
    }

    void prepareSleep(Member& member) noexcept
    {
        SharedObject& object = member.object();
        if (!member.isJoined)
        {
            member.isJoined = true;
            object.join(true);
        }
        member.begun = object.now();
        if (member.isMissing)
        {
            member.sleep = object.sleepWord();
        }
        else
        {
            object.passOn(); // this wait may have been woken for it
        }
    }

    void sleepOnMissing(Deadline const& deadline) noexcept
    {
        SleepList list;
        for (Member const& member : *this)
        {
            if (member.isMissing)
            {
                list.add(member.object(), member.sleep);
            }
        }
        sleep(list, deadline);
    }

    void leave() noexcept
    {
        NoSuspend const guard;
        unlinkPrivates();
        for (Member& member : *this)
        {
            if (member.isJoined)
            {
                SharedLock const lock(member.object());
                member.object().leave(true);
            }
        }
    }

    DWORD m_result = WAIT_OBJECT_0;
};

// Takes the lowest that is signalled, or nothing. Most waits need no more than that, nor the room for it.
DWORD takeAny(KernelObject* const* objects, std::uint32_t count) noexcept
{
    NoSuspend const guard;
    std::uint32_t const threadId = GetCurrentThreadId();
    for (std::uint32_t i = 0; i < count; ++i)
    {
        NamedObject* const named = objects[i]->named;
        if (named == nullptr)
        {
            Locked held(*objects[i]);
            if (isSignalled(held.word, threadId))
            {
                DWORD const result = i | (isAbandoned(held.word) ? WAIT_ABANDONED_0 : 0);
                take(held, parking());
                return result;
            }
            continue;
        }
        SharedLock const lock(*named->use.object);
        if (named->use.object->isSignalled(threadId, SharedObject::c_NotWaiting))
        {
            return i | (takeNamed(*named, threadId, SharedObject::c_NotWaiting) ? WAIT_ABANDONED_0 : 0);
        }
    }
    return WAIT_TIMEOUT;
}
} // namespace

DWORD tryTakeNamed(ObjectRef const& ref) noexcept
{
    NoSuspend const guard;
    Locked held(ref);
    if (!held.isHeld())
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    KernelObject* const object = &held.object();
    return takeAny(&object, 1);
}

DWORD waitNamed(KernelObject* const* objects, std::uint32_t count, bool waitAll, DWORD timeoutMs) noexcept
{
    if (!waitAll || count == 1)
    {
        DWORD const result = takeAny(objects, count);
        return result != WAIT_TIMEOUT || timeoutMs == 0 ? result : WaitForAny(objects, count).run(timeoutMs);
    }
    WaitForAll wait(objects, count);
    if (wait.hasDoubles())
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    return wait.run(timeoutMs);
}
} // namespace posix
