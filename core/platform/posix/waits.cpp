// Waiting for one object, for one of several, for all of several.

#include <algorithm>
#include <ctime>
#include <sched.h>

#include "deadline.h"
#include "kernelobject.h"
#include "nosuspend.h"

using namespace posix;

namespace
{
enum class Taking
{
    Taken,
    TakenAbandoned,
    NotSignalled,
    Gone
};

// Takes an object that is signalled, without waiting. Compare-and-swap alone while nobody holds the lock bit.
Taking tryTake(ObjectRef const& ref, std::uint32_t threadId) noexcept
{
    std::uint64_t word = ref.object->word.load(std::memory_order_acquire);
    while ((word & Word::c_Locked) == 0)
    {
        if ((word & Word::c_GenerationMask) != ref.generation)
        {
            return Taking::Gone;
        }
        if (!isSignalled(word, threadId))
        {
            return Taking::NotSignalled;
        }
        std::atomic<std::uint32_t>& recursion = ref.object->recursion;
        if (Word::kind(word) == Kind::Mutex && Word::value(word) == threadId)
        {
            recursion.store(recursion.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
            return Taking::Taken;
        }
        std::uint64_t const taken = takenWord(word, threadId);
        if (taken == word)
        {
            return Taking::Taken; // a manual-reset event or a thread: taking changes nothing
        }
        if (Word::kind(word) == Kind::Mutex)
        {
            // First: ended between the two, the thread would leave a mutex behind that nobody abandons.
            parking().hasOwnedMutex.store(true, std::memory_order_relaxed);
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
        if (ref.object->word.compare_exchange_weak(word, taken, std::memory_order_acq_rel, std::memory_order_acquire))
        {
            if (Word::kind(word) == Kind::Mutex)
            {
                recursion.store(1, std::memory_order_relaxed);
            }
            return isAbandoned(word) ? Taking::TakenAbandoned : Taking::Taken;
        }
    }
    Parking& own = parking();
    NoSuspend const guard;
    Locked held(ref);
    if (!held.isHeld())
    {
        return Taking::Gone;
    }
    if (!isSignalled(held.word, threadId))
    {
        return Taking::NotSignalled;
    }
    Taking const taking = isAbandoned(held.word) ? Taking::TakenAbandoned : Taking::Taken;
    take(held, own);
    return taking;
}

// ---- sleeping

constexpr std::uint64_t c_LongestLookNs = 100'000; // some times what falling asleep and being woken cost
constexpr std::uint64_t c_ShortestLookNs = 4'000;
constexpr std::uint64_t c_AloneNs = 300;      // looks before the processor is offered to others
constexpr std::uint64_t c_RepaidNs = 2'000;   // of what an offer has cost, by each look that keeps the processor
constexpr std::uint64_t c_HeldUpNs = 500'000; // what others take at once where they do not only look as well
constexpr std::uint32_t c_LooksPerClock = 8;
constexpr std::uint32_t c_MostSkipped = 1024; // waits

std::uint64_t steadyNs() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

bool isDecided(WaitOperation const& operation) noexcept
{
    return operation.state.load(std::memory_order_acquire) != WaitOperation::c_Waiting;
}

// Looks at the wait until it is decided or the limit has passed, and returns how long that took, in nanoseconds. In between
// the processor may be offered to others: whom the wait is for may have none.
std::uint64_t lookUntilDecided(WaitOperation const& operation, std::uint64_t begin, std::uint64_t limitNs,
                               bool isOffering) noexcept
{
    std::uint64_t now = begin;
    std::uint64_t offered = begin;
    do
    {
        for (std::uint32_t i = 0; i < c_LooksPerClock; ++i)
        {
            if (isDecided(operation))
            {
                return now - begin;
            }
            spinPause();
        }
        now = steadyNs();
        if (isOffering && now - offered >= c_AloneNs)
        {
            sched_yield();
            now = steadyNs();
            offered = now;
        }
    } while (now - begin <= limitNs);
    return now - begin;
}

// Looks at the wait for a while before the thread sleeps, where its waits have been short lately, whether it slept in them
// or not: two threads that only wait for each other's wakes find out that they need not sleep. Looks that bring nothing
// become rarer.
//
// On a busy processor who offers it is not back before others have had their time, some milliseconds. That is repaid by many
// looks that keep the processor.
void lookBeforeSleep(WaitOperation const& operation, Parking& own, std::uint64_t begin) noexcept
{
    if (own.waitsToSkip != 0)
    {
        --own.waitsToSkip;
        return;
    }
    if (own.usualWaitNs > c_LongestLookNs)
    {
        return;
    }
    bool const isOffering = own.looksToKeep == 0;
    own.looksToKeep -= isOffering ? 0 : 1;
    std::uint64_t const limit = std::min(c_LongestLookNs, 2 * own.usualWaitNs + c_ShortestLookNs);
    std::uint64_t const elapsed = lookUntilDecided(operation, begin, limit, isOffering);
    if (elapsed <= limit)
    {
        own.nextSkip = std::max(own.nextSkip / 2, 1u);
        return;
    }
    if (isOffering && elapsed - limit >= c_HeldUpNs)
    {
        own.looksToKeep = static_cast<std::uint32_t>((elapsed - limit) / c_RepaidNs);
    }
    if (!isDecided(operation))
    {
        own.waitsToSkip = own.nextSkip;
        own.nextSkip = std::min(own.nextSkip * 2, c_MostSkipped);
    }
}

void noteWait(Parking& own, std::uint64_t begin) noexcept
{
    // A single long wait does not count for more than some short ones.
    std::uint64_t const elapsed = std::min(steadyNs() - begin, 4 * c_LongestLookNs);
    own.usualWaitNs = (3 * own.usualWaitNs + elapsed) / 4;
}

// Makes the thread awake again. Whose wake is overwritten here has decided the wait, and that is seen from here on: with a
// plain store the look that follows could come before it, and a wake that falls between the two would be lost.
void takeWake(Parking& own) noexcept
{
    own.token.exchange(0, std::memory_order_acq_rel);
}

// Returns once the wait is decided, by a signaller or by its time.
void sleepUntilDecided(WaitOperation& operation, Parking& own, DWORD timeoutMs) noexcept
{
    if (isDecided(operation))
    {
        return;
    }
    if (timeoutMs == 0)
    {
        std::uint32_t waiting = WaitOperation::c_Waiting;
        operation.state.compare_exchange_strong(waiting, WaitOperation::c_TimedOut, std::memory_order_acq_rel,
                                                std::memory_order_acquire);
        return;
    }
    Deadline const deadline(timeoutMs);
    std::uint64_t const begin = steadyNs();
    lookBeforeSleep(operation, own, begin);
    while (!isDecided(operation))
    {
        std::uint32_t awake = 0;
        if (!own.token.compare_exchange_strong(awake, 1, std::memory_order_acq_rel, std::memory_order_acquire))
        {
            // Woken before it slept, by this wait's signaller or by a late one of an earlier wait: look again.
            takeWake(own);
            continue;
        }
        bool const isInTime = futexWait(addressOf(own.token), 1, deadline.get());
        takeWake(own);
        std::uint32_t waiting = WaitOperation::c_Waiting;
        if (!isInTime && operation.state.compare_exchange_strong(waiting, WaitOperation::c_TimedOut,
                                                                 std::memory_order_acq_rel, std::memory_order_acquire))
        {
            break;
        }
    }
    noteWait(own, begin);
}

// ---- blocking

// Takes a wait's nodes and references back. Each lock bit is passed once, so nobody is left who still looks at the wait.
void withdraw(WaitOperation const& operation) noexcept
{
    NoSuspend const guard;
    operation.parking->operation = nullptr;
    for (std::uint32_t i = 0; i < operation.count; ++i)
    {
        Locked held(*operation.objects[i]);
        if (operation.nodes[i].isLinked)
        {
            unlink(held, operation.nodes[i]);
        }
        releaseReference(held);
    }
}

DWORD failWait(DWORD error) noexcept
{
    SetLastError(error);
    return WAIT_FAILED;
}

struct WaitFrame
{
    explicit WaitFrame(Parking& own, WaitOperation::Aim aim, std::uint32_t count) noexcept
    {
        operation.aim = aim;
        operation.count = count;
        operation.parking = &own;
        operation.objects = objects;
        operation.nodes = nodes;
    }

    void set(std::uint32_t index, KernelObject& object) noexcept
    {
        objects[index] = &object;
        nodes[index].operation = &operation;
        nodes[index].index = index;
        nodes[index].isLinked = false;
    }

    WaitOperation operation;
    KernelObject* objects[MAXIMUM_WAIT_OBJECTS];
    WaitNode nodes[MAXIMUM_WAIT_OBJECTS];
};

// Queues up at every object, unless one of them is signalled by now. A look does the same, and leaves at once.
DWORD blockForAny(ObjectRef const* refs, std::uint32_t count, DWORD timeoutMs, WaitFrame& frame) noexcept
{
    Parking& own = *frame.operation.parking;
    std::uint32_t queued = 0;
    bool isGone = false;
    {
        NoSuspend const guard;
        for (; queued < count && !isGone && !isDecided(frame.operation); ++queued)
        {
            Locked held(refs[queued]);
            if (!held.isHeld())
            {
                isGone = true;
                break;
            }
            frame.set(queued, held.object());
            ++held.object().references;
            if (!isSignalled(held.word, own.threadId))
            {
                link(held, frame.nodes[queued]);
                continue;
            }
            std::uint32_t waiting = WaitOperation::c_Waiting;
            std::uint32_t const result = queued | (isAbandoned(held.word) ? WAIT_ABANDONED_0 : 0);
            if (frame.operation.state.compare_exchange_strong(waiting, result, std::memory_order_acq_rel,
                                                              std::memory_order_acquire))
            {
                take(held, own);
            }
        }
        if (isGone)
        {
            // A handle was closed while the wait began. What was signalled before counts.
            std::uint32_t waiting = WaitOperation::c_Waiting;
            frame.operation.state.compare_exchange_strong(waiting, WAIT_FAILED - 1, std::memory_order_acq_rel,
                                                          std::memory_order_acquire);
        }
        frame.operation.count = queued;
        own.operation = &frame.operation;
    }
    sleepUntilDecided(frame.operation, own, timeoutMs);
    withdraw(frame.operation);
    std::uint32_t const result = frame.operation.state.load(std::memory_order_relaxed);
    return result == WAIT_FAILED - 1 ? failWait(ERROR_INVALID_HANDLE) : result;
}

// The first object can be taken at sight, or found unset. For the others it must be known that none before them is
// signalled at that moment, and for a time-out that none is at all: only who stands in the queues of those before can tell.
DWORD waitForAny(ObjectRef const* refs, std::uint32_t count, DWORD timeoutMs) noexcept
{
    switch (tryTake(refs[0], GetCurrentThreadId()))
    {
    case Taking::Taken:
        return WAIT_OBJECT_0;
    case Taking::TakenAbandoned:
        return WAIT_ABANDONED_0;
    case Taking::Gone:
        return failWait(ERROR_INVALID_HANDLE);
    case Taking::NotSignalled:
        break;
    }
    if (count == 1 && timeoutMs == 0)
    {
        return WAIT_TIMEOUT;
    }
    WaitFrame frame(parking(), WaitOperation::Aim::Any, count);
    frame.operation.isLook = timeoutMs == 0;
    return blockForAny(refs, count, timeoutMs, frame);
}

// ---- all

enum class AllOutcome
{
    Taken,
    Queued,
    NotSignalled,
    Gone
};

// Locks the objects from `index` on. With all of them locked the outcome is known, and each is taken or queued at while
// the locks are given back. The global lock is held.
AllOutcome lockAll(ObjectRef const* refs, WaitFrame& frame, std::uint32_t index, bool isTakeable, bool isBlocking,
                   std::uint32_t& result) noexcept
{
    if (index == frame.operation.count)
    {
        return isTakeable ? AllOutcome::Taken : isBlocking ? AllOutcome::Queued : AllOutcome::NotSignalled;
    }
    Parking& own = *frame.operation.parking;
    Locked held(refs[index]);
    if (!held.isHeld())
    {
        return AllOutcome::Gone;
    }
    bool const isMemberSignalled = isSignalled(held.word, own.threadId);
    if (!isMemberSignalled && !isBlocking)
    {
        return AllOutcome::NotSignalled;
    }
    if (isAbandoned(held.word))
    {
        result = WAIT_ABANDONED_0;
    }
    AllOutcome const outcome = lockAll(refs, frame, index + 1, isTakeable && isMemberSignalled, isBlocking, result);
    if (outcome == AllOutcome::Taken)
    {
        take(held, own);
    }
    else if (outcome == AllOutcome::Queued)
    {
        frame.set(index, held.object());
        ++held.object().references;
        link(held, frame.nodes[index]);
    }
    return outcome;
}

// Whether an object occurs twice. A small hash table finds the few that need a closer look.
bool hasDoubles(ObjectRef const* refs, std::uint32_t count) noexcept
{
    constexpr std::uint32_t c_Buckets = 1024;
    std::uint64_t used[c_Buckets / 64] = {};
    for (std::uint32_t i = 0; i < count; ++i)
    {
        std::uint32_t const bucket = refs[i].object->poolIndex % c_Buckets;
        std::uint64_t const bit = 1ull << (bucket % 64);
        if ((used[bucket / 64] & bit) != 0)
        {
            for (std::uint32_t j = 0; j < i; ++j)
            {
                if (refs[j].object == refs[i].object)
                {
                    return true;
                }
            }
        }
        used[bucket / 64] |= bit;
    }
    return false;
}

bool areAllSignalled(ObjectRef const* refs, std::uint32_t count, std::uint32_t threadId) noexcept
{
    for (std::uint32_t i = 0; i < count; ++i)
    {
        if (!isSignalled(refs[i].object->word.load(std::memory_order_acquire), threadId))
        {
            return false;
        }
    }
    return true;
}

DWORD waitForAll(ObjectRef const* refs, std::uint32_t count, DWORD timeoutMs) noexcept
{
    if (hasDoubles(refs, count))
    {
        return failWait(ERROR_INVALID_PARAMETER);
    }
    if (timeoutMs == 0 && !areAllSignalled(refs, count, GetCurrentThreadId()))
    {
        return WAIT_TIMEOUT;
    }
    WaitFrame frame(parking(), WaitOperation::Aim::All, count);
    std::uint32_t result = WAIT_OBJECT_0;
    AllOutcome outcome = AllOutcome::Gone;
    {
        NoSuspend const guard;
        globalLock().lock();
        outcome = lockAll(refs, frame, 0, true, timeoutMs != 0, result);
        globalLock().unlock();
        if (outcome == AllOutcome::Queued)
        {
            frame.operation.parking->operation = &frame.operation;
        }
    }
    switch (outcome)
    {
    case AllOutcome::Taken:
        return result;
    case AllOutcome::NotSignalled:
        return WAIT_TIMEOUT;
    case AllOutcome::Gone:
        return failWait(ERROR_INVALID_HANDLE);
    case AllOutcome::Queued:
        break;
    }
    sleepUntilDecided(frame.operation, *frame.operation.parking, timeoutMs);
    withdraw(frame.operation);
    return frame.operation.state.load(std::memory_order_relaxed);
}

// ---- waits with named objects among them

DWORD waitWithNamed(ObjectRef const* refs, std::uint32_t count, bool isAll, DWORD timeoutMs) noexcept
{
    KernelObject* objects[MAXIMUM_WAIT_OBJECTS];
    std::uint32_t referenced = 0;
    for (; referenced < count; ++referenced)
    {
        NoSuspend const guard;
        Locked held(refs[referenced]);
        if (!held.isHeld())
        {
            break;
        }
        ++held.object().references;
        objects[referenced] = &held.object();
    }
    DWORD const result =
        referenced == count ? waitNamed(objects, count, isAll, timeoutMs) : failWait(ERROR_INVALID_HANDLE);
    DWORD const error = GetLastError();
    NoSuspend const guard;
    for (std::uint32_t i = 0; i < referenced; ++i)
    {
        releaseReference(*objects[i]);
    }
    SetLastError(error);
    return result;
}

ObjectRef findWaitable(HANDLE handle) noexcept
{
    ObjectRef const ref = findObject(handle);
    if (!ref)
    {
        return findPseudoHandle(handle);
    }
    bool const isWaitable = Word::kind(ref.object->word.load(std::memory_order_relaxed)) != Kind::Passive;
    return isWaitable ? ref : ObjectRef();
}

bool isNamedObject(ObjectRef const& ref) noexcept
{
    return Word::kind(ref.object->word.load(std::memory_order_relaxed)) == Kind::Named;
}
} // namespace

void posix::abortWait(WaitOperation& operation) noexcept
{
    std::uint32_t waiting = WaitOperation::c_Waiting;
    operation.state.compare_exchange_strong(waiting, WaitOperation::c_TimedOut, std::memory_order_acq_rel,
                                            std::memory_order_acquire);
    withdraw(operation);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD timeoutMs) noexcept
{
    ObjectRef const ref = findWaitable(handle);
    if (!ref)
    {
        return failWait(ERROR_INVALID_HANDLE);
    }
    if (!isNamedObject(ref))
    {
        return waitForAny(&ref, 1, timeoutMs);
    }
    DWORD const result = tryTakeNamed(ref);
    return result != WAIT_TIMEOUT || timeoutMs == 0 ? result : waitWithNamed(&ref, 1, false, timeoutMs);
}

DWORD WaitForMultipleObjects(DWORD count, HANDLE const* handles, BOOL waitAll, DWORD timeoutMs) noexcept
{
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || handles == nullptr)
    {
        return failWait(ERROR_INVALID_PARAMETER);
    }
    ObjectRef refs[MAXIMUM_WAIT_OBJECTS];
    bool isAnyNamed = false;
    for (DWORD i = 0; i < count; ++i)
    {
        refs[i] = findWaitable(handles[i]);
        if (!refs[i])
        {
            return failWait(ERROR_INVALID_HANDLE);
        }
        isAnyNamed = isAnyNamed || isNamedObject(refs[i]);
    }
    if (waitAll != FALSE && isAnyNamed && hasDoubles(refs, count))
    {
        return failWait(ERROR_INVALID_PARAMETER);
    }
    if (isAnyNamed)
    {
        return waitWithNamed(refs, count, waitAll != FALSE, timeoutMs);
    }
    return waitAll != FALSE && count > 1 ? waitForAll(refs, count, timeoutMs) : waitForAny(refs, count, timeoutMs);
}
