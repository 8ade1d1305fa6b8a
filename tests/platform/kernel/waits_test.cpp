#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

namespace
{
std::vector<CHandle> makeEvents(std::size_t count, EReset reset = eAuto)
{
    std::vector<CHandle> events;
    for (std::size_t n = 0; n < count; ++n)
    {
        events.push_back(makeEvent(reset));
    }
    return events;
}

std::vector<HANDLE> handlesOf(std::vector<CHandle> const& owned)
{
    return {owned.begin(), owned.end()};
}

DWORD wait(std::vector<HANDLE> const& handles, BOOL isForAll, DWORD timeoutMs)
{
    return WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), isForAll, timeoutMs);
}

constexpr std::chrono::milliseconds c_FiftyMs{50};
} // namespace

TEST(WaitForSingleObject, FailsWith6ForAHandleThatStandsForNothing)
{
    for (SBadHandle const& bad : getBadHandles())
    {
        SCOPED_TRACE(bad.name);
        EXPECT_FAILS(WaitForSingleObject(bad.handle, 0), WAIT_FAILED, 6);
        EXPECT_FAILS(WaitForSingleObject(bad.handle, 5), WAIT_FAILED, 6);
        EXPECT_FAILS(WaitForSingleObject(bad.handle, INFINITE), WAIT_FAILED, 6);
    }
    CHandle event = makeEvent(eManual, true);
    const HANDLE closed = event;
    event.Close();
    EXPECT_FAILS(WaitForSingleObject(closed, INFINITE), WAIT_FAILED, 6);
}

TEST(WaitForMultipleObjects, FailsWith87ForACountThatIsNotAllowed)
{
    const CHandle event = makeEvent(eManual, true);
    const std::vector<HANDLE> many(MAXIMUM_WAIT_OBJECTS + 1, event);
    for (const BOOL isForAll : {FALSE, TRUE})
    {
        EXPECT_FAILS(WaitForMultipleObjects(0, many.data(), isForAll, 0), WAIT_FAILED, 87);
        EXPECT_FAILS(WaitForMultipleObjects(65, many.data(), isForAll, 0), WAIT_FAILED, 87);
        EXPECT_FAILS(WaitForMultipleObjects(0xFFFFFFFF, many.data(), isForAll, 0), WAIT_FAILED, 87);
    }
}

TEST(WaitForMultipleObjects, LooksAtTheCountBeforeItLooksAtTheHandles)
{
    const std::vector<HANDLE> bad(65, nullptr);
    EXPECT_FAILS(WaitForMultipleObjects(65, bad.data(), FALSE, 0), WAIT_FAILED, 87);
}

TEST(WaitForMultipleObjects, FailsWith6ForOneBadHandleAndTakesNothing)
{
    const CHandle set = makeEvent(eAuto, true);
    const CHandle semaphore = makeSemaphore(1, 1);
    for (SBadHandle const& bad : getBadHandles())
    {
        SCOPED_TRACE(bad.name);
        const std::array<HANDLE, 3> last{set, semaphore, bad.handle};
        const std::array<HANDLE, 3> first{bad.handle, set, semaphore};
        EXPECT_FAILS(waitAny(last, 0), WAIT_FAILED, 6);
        EXPECT_FAILS(waitAll(last, 0), WAIT_FAILED, 6);
        EXPECT_FAILS(waitAny(first, INFINITE), WAIT_FAILED, 6);
        EXPECT_FAILS(waitAll(first, INFINITE), WAIT_FAILED, 6);
    }
    EXPECT_EQ(look(set), WAIT_OBJECT_0);
    EXPECT_EQ(look(semaphore), WAIT_OBJECT_0);
}

TEST(WaitForMultipleObjects, WaitsForOneObjectAsASingleWaitDoes)
{
    const CHandle event = makeEvent(eAuto);
    for (const BOOL isForAll : {FALSE, TRUE})
    {
        EXPECT_EQ(wait({event}, isForAll, 0), WAIT_TIMEOUT);
        EXPECT_TRUE(SetEvent(event));
        EXPECT_EQ(wait({event}, isForAll, INFINITE), WAIT_OBJECT_0);
        EXPECT_EQ(wait({event}, isForAll, 2), WAIT_TIMEOUT);
    }
}

TEST(WaitForAny, GivesTheLowestOfThoseThatAreSetAndTakesThatOneOnly)
{
    const std::vector<CHandle> events = makeEvents(MAXIMUM_WAIT_OBJECTS);
    const std::vector<HANDLE> handles = handlesOf(events);
    for (const std::size_t low : {0u, 1u, 31u, 62u})
    {
        for (const std::size_t high : {63u, static_cast<unsigned int>(low) + 1u})
        {
            EXPECT_TRUE(SetEvent(handles[high]));
            EXPECT_TRUE(SetEvent(handles[low]));
            EXPECT_EQ(wait(handles, FALSE, INFINITE), WAIT_OBJECT_0 + low);
            EXPECT_EQ(wait(handles, FALSE, INFINITE), WAIT_OBJECT_0 + high);
            EXPECT_EQ(wait(handles, FALSE, 0), WAIT_TIMEOUT);
        }
    }
}

TEST(WaitForAny, IsReleasedByEachOfItsMembers)
{
    const std::vector<CHandle> events = makeEvents(MAXIMUM_WAIT_OBJECTS);
    const std::vector<HANDLE> handles = handlesOf(events);
    for (std::size_t n = 0; n < handles.size(); n += 7)
    {
        CWaiters waiters([&] { SetEvent(handles[n]); });
        waiters.Add([&] { return wait(handles, FALSE, INFINITE); }, 2);
        EXPECT_EQ(waiters.GetReleased(), 0);
        EXPECT_TRUE(SetEvent(handles[n]));
        EXPECT_TRUE(waiters.BecomesReleased(1));
        EXPECT_EQ(waiters.GetResult(0), WAIT_OBJECT_0 + n);
        EXPECT_EQ(wait(handles, FALSE, 0), WAIT_TIMEOUT) << "the wait has taken what released it";
    }
}

TEST(WaitForAny, AllowsOneObjectSeveralTimes)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle other = makeEvent(eAuto);
    const CHandle copy = duplicate(event);
    const std::vector<HANDLE> handles{other, event, event, copy};
    EXPECT_EQ(wait(handles, FALSE, 2), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(wait(handles, FALSE, 0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(wait(handles, FALSE, 0), WAIT_TIMEOUT);

    CWaiters waiters([&] { SetEvent(copy); });
    waiters.Add([&] { return wait(handles, FALSE, INFINITE); }, 5);
    EXPECT_TRUE(SetEvent(copy));
    EXPECT_TRUE(waiters.BecomesReleased(1));
    EXPECT_EQ(waiters.GetResult(0), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

// Windows refuses one object twice with 87. Wine takes it for one object: what they share is that the call returns at
// once and that the event is still set after a refusal.
TEST(WaitForAll, DoesNotWaitForOneObjectTwice)
{
    const CHandle event = makeEvent(eAuto, true);
    const CHandle copy = duplicate(event);
    const CHandle other = makeEvent(eManual, true);
    for (const HANDLE second : {static_cast<HANDLE>(event), static_cast<HANDLE>(copy)})
    {
        SetLastError(c_Untouched);
        const DWORD result = wait({event, other, second}, TRUE, INFINITE);
        if (result == WAIT_FAILED)
        {
            EXPECT_EQ(GetLastError(), 87u);
            EXPECT_EQ(look(event), WAIT_OBJECT_0);
        }
        EXPECT_EQ(look(event), WAIT_TIMEOUT);
        EXPECT_TRUE(SetEvent(event));
    }
}

TEST(WaitForAll, TakesAllOfMixedKindsOrNothing)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle manual = makeEvent(eManual);
    const CHandle semaphore = makeSemaphore(1, 2);
    const CHandle mutex = makeMutex();
    const CThread thread([] { return 0u; });
    EXPECT_TRUE(thread.Join());
    const std::vector<HANDLE> handles{event, manual, semaphore, mutex, thread};

    EXPECT_EQ(wait(handles, TRUE, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(manual));
    EXPECT_EQ(wait(handles, TRUE, 2), WAIT_TIMEOUT);
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(wait(handles, TRUE, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
    EXPECT_EQ(look(manual), WAIT_OBJECT_0);
    EXPECT_EQ(look(semaphore), WAIT_TIMEOUT);
    EXPECT_EQ(look(thread), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(WaitForAll, LeavesItsSignalledMembersSetWhenItTimesOut)
{
    const std::vector<CHandle> events = makeEvents(6);
    const std::vector<HANDLE> handles = handlesOf(events);
    for (const DWORD timeoutMs : {0u, 1u, 20u})
    {
        for (std::size_t n = 0; n < 5; ++n)
        {
            EXPECT_TRUE(SetEvent(handles[n]));
        }
        EXPECT_EQ(wait(handles, TRUE, timeoutMs), WAIT_TIMEOUT);
        for (std::size_t n = 0; n < 5; ++n)
        {
            EXPECT_EQ(look(handles[n]), WAIT_OBJECT_0) << n;
        }
    }
}

TEST(WaitForAll, LeavesMembersSetThatWereSignalledWhileItWaited)
{
    const CHandle first = makeEvent(eAuto);
    const CHandle second = makeEvent(eAuto);
    const CHandle semaphore = makeSemaphore(0, 5);
    const std::array<HANDLE, 3> all{first, semaphore, second};
    for (int n = 0; n < 5; ++n)
    {
        std::thread waiter([&] { EXPECT_EQ(waitAll(all, 30), WAIT_TIMEOUT); });
        EXPECT_TRUE(SetEvent(first));
        EXPECT_TRUE(ReleaseSemaphore(semaphore, 2, nullptr));
        waiter.join();
        EXPECT_EQ(look(first), WAIT_OBJECT_0);
        EXPECT_EQ(look(semaphore), WAIT_OBJECT_0);
        EXPECT_EQ(look(semaphore), WAIT_OBJECT_0);
        EXPECT_EQ(look(semaphore), WAIT_TIMEOUT);
        EXPECT_EQ(look(second), WAIT_TIMEOUT);
    }
}

TEST(WaitForAll, ReturnsWithTheLastOfSixtyFourMembers)
{
    const std::vector<CHandle> events = makeEvents(MAXIMUM_WAIT_OBJECTS);
    const std::vector<HANDLE> handles = handlesOf(events);
    for (const std::size_t step : {1u, 5u, 63u})
    {
        CWaiters waiters(
            [&]
            {
                for (const HANDLE handle : handles)
                {
                    SetEvent(handle);
                }
            });
        waiters.Add([&] { return wait(handles, TRUE, INFINITE); }, 2);
        // Steps that share no factor with 64 reach each member once.
        for (std::size_t n = 1, place = step; n <= handles.size(); ++n, place = (place + step) % handles.size())
        {
            EXPECT_EQ(waiters.GetReleased(), 0);
            EXPECT_TRUE(SetEvent(handles[place]));
        }
        EXPECT_TRUE(waiters.BecomesReleased(1));
        EXPECT_EQ(waiters.GetResult(0), WAIT_OBJECT_0);
        EXPECT_EQ(wait(handles, FALSE, 0), WAIT_TIMEOUT);
    }
}

TEST(WaitForAll, DoesNotKeepASignalFromAWaiterForThatObjectAlone)
{
    const CHandle shared = makeEvent(eAuto);
    const CHandle other = makeEvent(eAuto);
    const std::array<HANDLE, 2> both{shared, other};
    for (const bool isAllFirst : {true, false})
    {
        CWaiters all(
            [&]
            {
                SetEvent(shared);
                SetEvent(other);
            });
        CWaiters single([&] { SetEvent(shared); });
        if (isAllFirst)
        {
            all.Add([&] { return waitAll(both, INFINITE); }, 5);
        }
        single.Add([&] { return WaitForSingleObject(shared, INFINITE); }, 5);
        if (!isAllFirst)
        {
            all.Add([&] { return waitAll(both, INFINITE); }, 5);
        }
        EXPECT_TRUE(SetEvent(shared));
        EXPECT_TRUE(single.BecomesReleased(1));
        EXPECT_TRUE(SetEvent(other));
        settle(5);
        EXPECT_EQ(all.GetReleased(), 0) << "the one signal was taken by the single wait";
        EXPECT_TRUE(SetEvent(shared));
        EXPECT_TRUE(all.BecomesReleased(1));
        EXPECT_EQ(all.GetResult(0), WAIT_OBJECT_0);
        EXPECT_EQ(look(shared), WAIT_TIMEOUT);
        EXPECT_EQ(look(other), WAIT_TIMEOUT);
    }
}

TEST(Timeout, OfZeroDoesNotBlock)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle other = makeEvent(eAuto);
    const std::array<HANDLE, 2> both{event, other};
    const auto begin = Clock::now();
    for (int n = 0; n < 1000; ++n)
    {
        EXPECT_EQ(look(event), WAIT_TIMEOUT);
        EXPECT_EQ(waitAny(both, 0), WAIT_TIMEOUT);
        EXPECT_EQ(waitAll(both, 0), WAIT_TIMEOUT);
    }
    // A look that slept for as little as a millisecond would need 3 s.
    EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(2'500));
}

TEST(Timeout, LastsAtLeastAsLongAsItSays)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle set = makeEvent(eManual, true);
    const CHandle semaphore = makeSemaphore(0, 1);
    const CHandle mutex = makeMutex(true);
    std::thread(
        [&]
        {
            for (const HANDLE handle :
                 {static_cast<HANDLE>(event), static_cast<HANDLE>(semaphore), static_cast<HANDLE>(mutex)})
            {
                const auto begin = Clock::now();
                EXPECT_EQ(WaitForSingleObject(handle, 50), WAIT_TIMEOUT);
                EXPECT_GE(Clock::now() - begin, c_FiftyMs);
            }
            const auto beginAny = Clock::now();
            EXPECT_EQ(wait({event, semaphore, mutex}, FALSE, 50), WAIT_TIMEOUT);
            EXPECT_GE(Clock::now() - beginAny, c_FiftyMs);
            const auto beginAll = Clock::now();
            EXPECT_EQ(wait({event, set}, TRUE, 50), WAIT_TIMEOUT);
            EXPECT_GE(Clock::now() - beginAll, c_FiftyMs);
        })
        .join();
}

TEST(Timeout, LeavesTheLastErrorAsItWas)
{
    const CHandle event = makeEvent(eAuto);
    SetLastError(c_Untouched);
    const DWORD looked = look(event);
    const DWORD waited = WaitForSingleObject(event, 2);
    const DWORD error = GetLastError();
    EXPECT_EQ(looked, WAIT_TIMEOUT);
    EXPECT_EQ(waited, WAIT_TIMEOUT);
    EXPECT_EQ(error, c_Untouched);
}

TEST(Timeout, ThatIsInfiniteLastsUntilTheSignal)
{
    const CHandle event = makeEvent(eAuto);
    CWaiters waiters([&] { SetEvent(event); });
    waiters.Add([&] { return WaitForSingleObject(event, INFINITE); }, 20);
    EXPECT_EQ(waiters.GetReleased(), 0);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(waiters.BecomesReleased(1));
    EXPECT_EQ(waiters.GetResult(0), WAIT_OBJECT_0);
}

TEST(Timeout, ThatIsVeryLongDoesNotEndEarly)
{
    const CHandle event = makeEvent(eAuto);
    CWaiters waiters([&] { SetEvent(event); });
    // The largest finite one, 49 days, and those about the limit of a signed number.
    for (const DWORD timeoutMs : {0xFFFFFFFEu, 0x80000000u, 0x7FFFFFFFu})
    {
        waiters.Add([&, timeoutMs] { return WaitForSingleObject(event, timeoutMs); }, 10);
    }
    EXPECT_EQ(waiters.GetReleased(), 0);
    for (int n = 1; n <= 3; ++n)
    {
        EXPECT_TRUE(SetEvent(event));
        EXPECT_TRUE(waiters.BecomesReleased(n));
    }
    for (std::size_t n = 0; n < 3; ++n)
    {
        EXPECT_EQ(waiters.GetResult(n), WAIT_OBJECT_0);
    }
}

TEST(Timeout, TakesNothingWithIt)
{
    const CHandle event = makeEvent(eAuto);
    for (int n = 0; n < 10; ++n)
    {
        EXPECT_EQ(WaitForSingleObject(event, 1), WAIT_TIMEOUT);
        EXPECT_TRUE(SetEvent(event));
        EXPECT_EQ(look(event), WAIT_OBJECT_0) << "the waiter that gave up is out of the queue";
    }
}

TEST(CloseDuringAWait, LeavesTheWaiterWaitingForTheObject)
{
    CHandle event = makeEvent(eAuto);
    const CHandle copy = duplicate(event);
    const HANDLE raw = event;
    CWaiters waiters([&] { SetEvent(copy); });
    waiters.Add([&] { return WaitForSingleObject(raw, INFINITE); }, 5);
    event.Close();
    settle(5);
    EXPECT_EQ(waiters.GetReleased(), 0);
    EXPECT_TRUE(SetEvent(copy));
    EXPECT_TRUE(waiters.BecomesReleased(1));
    EXPECT_EQ(look(copy), WAIT_TIMEOUT);
}

// The last handle may go too. A wait that has not begun by then finds no object: 6.
TEST(CloseDuringAWait, LetsATimeoutEndWithoutAHandle)
{
    CHandle single = makeEvent(eAuto);
    CHandle first = makeEvent(eAuto);
    CHandle second = makeSemaphore(0, 1);
    const HANDLE rawSingle = single;
    const std::array<HANDLE, 2> raw{first, second};
    DWORD resultSingle = c_Untouched;
    DWORD resultAny = c_Untouched;
    DWORD resultAll = c_Untouched;
    std::thread threads[] = {std::thread([&] { resultSingle = WaitForSingleObject(rawSingle, 40); }),
                             std::thread([&] { resultAny = waitAny(raw, 40); }),
                             std::thread([&] { resultAll = waitAll(raw, 40); })};
    settle(10);
    single.Close();
    first.Close();
    second.Close();
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_TRUE(resultSingle == WAIT_TIMEOUT || resultSingle == WAIT_FAILED) << resultSingle;
    EXPECT_TRUE(resultAny == WAIT_TIMEOUT || resultAny == WAIT_FAILED) << resultAny;
    EXPECT_TRUE(resultAll == WAIT_TIMEOUT || resultAll == WAIT_FAILED) << resultAll;
}

TEST(WaitStress, AnEventMayBeClosedAsSoonAsAWaitForItHasReturned)
{
    const long long rounds = getNumber("ORVANE_KERNEL_DESTROY_ROUNDS", 1'000LL * c_Pace);
    std::atomic<HANDLE> offered = nullptr;
    std::thread setter(
        [&]
        {
            for (long long round = 0; round < rounds; ++round)
            {
                HANDLE event = nullptr;
                for (int spin = 0; (event = offered.exchange(nullptr)) == nullptr; ++spin)
                {
                    if (spin > 100)
                    {
                        std::this_thread::yield();
                    }
                }
                SetEvent(event);
            }
        });
    for (long long round = 0; round < rounds; ++round)
    {
        const HANDLE event = CreateEventW(nullptr, round % 2 == 0 ? TRUE : FALSE, FALSE, nullptr);
        ASSERT_NE(event, nullptr);
        offered = event;
        ASSERT_EQ(WaitForSingleObject(event, c_PatienceMs), WAIT_OBJECT_0) << "round " << round;
        ASSERT_TRUE(CloseHandle(event));
    }
    setter.join();
}

// Each of the two may still be busy with waking the waiter from the wait before when the other one ends the next. The wake that
// is lost then has to fall into some nanoseconds: this many rounds meet them seldom, more of them by the variable.
TEST(WaitStress, AThreadThatTwoOthersReleaseInTurnMissesNeither)
{
    const long long rounds = getNumber("ORVANE_KERNEL_TURN_ROUNDS", 3'000LL * c_Pace);
    const CHandle done = makeEvent(eAuto);
    const std::vector<CHandle> starts = makeEvents(2, eAuto);
    std::atomic<bool> isOver = false;
    std::vector<std::thread> signallers;
    for (const CHandle& start : starts)
    {
        signallers.emplace_back(
            [&]
            {
                while (WaitForSingleObject(start, INFINITE) == WAIT_OBJECT_0 && !isOver)
                {
                    SetEvent(done);
                }
            });
    }
    for (long long round = 0; round < rounds; ++round)
    {
        EXPECT_TRUE(SetEvent(starts[static_cast<std::size_t>(round % 2)]));
        if (WaitForSingleObject(done, c_PatienceMs) != WAIT_OBJECT_0)
        {
            ADD_FAILURE() << "round " << round;
            break;
        }
    }
    isOver = true;
    for (std::size_t n = 0; n < starts.size(); ++n)
    {
        EXPECT_TRUE(SetEvent(starts[n]));
        signallers[n].join();
    }
}

namespace
{
// A group of manual events and a thread that goes through the same steps with its first and its last again and again.
class CChangingGroup
{
public:
    using Steps = void (*)(HANDLE first, HANDLE last);

    explicit CChangingGroup(Steps steps)
        : m_events(makeEvents(MAXIMUM_WAIT_OBJECTS, eManual)),
          m_handles(m_events.begin(), m_events.end()),
          m_changer(
              [this, steps]
              {
                  SetEvent(m_handles.front());
                  while (!m_isOver)
                  {
                      steps(m_handles.front(), m_handles.back());
                      ++m_turns;
                  }
              })
    {
    }

    CChangingGroup(CChangingGroup const&) = delete;
    CChangingGroup& operator=(CChangingGroup const&) = delete;

    ~CChangingGroup()
    {
        m_isOver = true;
        m_changer.join();
    }

    // How often a look at all gave `result`.
    int countLooksThatGive(DWORD result) const
    {
        while (m_turns == 0)
        {
            std::this_thread::yield();
        }
        int found = 0;
        // Turns are rare where every call is a round trip; where none is, it takes many to meet in the middle of a look.
        const long long turns = c_Pace == 1 ? 300 : 300'000;
        for (long long look = 0; look < turns || m_turns < turns; ++look)
        {
            const DWORD seen = WaitForMultipleObjects(static_cast<DWORD>(m_handles.size()), m_handles.data(), FALSE, 0);
            found += seen == result ? 1 : 0;
        }
        return found;
    }

private:
    const std::vector<CHandle> m_events;
    const std::vector<HANDLE> m_handles;
    std::atomic<bool> m_isOver = false;
    std::atomic<long long> m_turns = 0;
    std::thread m_changer;
};

// Never are both reset.
void handOver(HANDLE first, HANDLE last)
{
    SetEvent(last);
    ResetEvent(first);
    SetEvent(first);
    ResetEvent(last);
}

// Never is the last set without the first.
void nest(HANDLE first, HANDLE last)
{
    SetEvent(first);
    SetEvent(last);
    ResetEvent(last);
    ResetEvent(first);
}
} // namespace

TEST(WaitStress, AWaitForAnySeesItsObjectsAsTheyAreAtOneMoment)
{
    EXPECT_EQ(CChangingGroup(handOver).countLooksThatGive(WAIT_TIMEOUT), 0);
}

TEST(WaitStress, AWaitForAnyGivesTheLowestOfThoseThatAreSetAtOneMoment)
{
    EXPECT_EQ(CChangingGroup(nest).countLooksThatGive(WAIT_OBJECT_0 + MAXIMUM_WAIT_OBJECTS - 1), 0);
}

TEST(WaitStress, APulseReleasesNobodyWhoOnlyLooks)
{
    EXPECT_EQ(CChangingGroup(
                  [](HANDLE first, HANDLE last)
                  {
                      ResetEvent(first);
                      PulseEvent(last);
                  })
                  .countLooksThatGive(WAIT_OBJECT_0 + MAXIMUM_WAIT_OBJECTS - 1),
              0);
}

TEST(WaitStress, OverlappingWaitsForAllNeitherBlockEachOtherNorLoseSignals)
{
    constexpr int c_Rounds = 300 * c_Pace;
    const CHandle a = makeSemaphore(1, 1);
    const CHandle b = makeSemaphore(1, 1);
    const CHandle c = makeSemaphore(1, 1);
    const std::vector<std::vector<HANDLE>> wants = {{a, b}, {b, a}, {b, c}, {c, a, b}};
    std::vector<std::thread> threads;
    std::atomic<int> inside[3] = {0, 0, 0};
    std::atomic<int> wrong = 0;
    for (std::vector<HANDLE> const& want : wants)
    {
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < c_Rounds; ++round)
                {
                    if (wait(want, TRUE, c_PatienceMs) != WAIT_OBJECT_0)
                    {
                        ++wrong;
                        return;
                    }
                    for (const HANDLE handle : want)
                    {
                        std::atomic<int>& count = inside[handle == a ? 0 : handle == b ? 1 : 2];
                        wrong += count.fetch_add(1) == 0 ? 0 : 1;
                    }
                    for (const HANDLE handle : want)
                    {
                        inside[handle == a ? 0 : handle == b ? 1 : 2].fetch_sub(1);
                        wrong += ReleaseSemaphore(handle, 1, nullptr) ? 0 : 1;
                    }
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(wait({a, b, c}, TRUE, 0), WAIT_OBJECT_0);
}

namespace
{
// Each event is a token: set while nobody has it. Eight threads take tokens by all kinds of waits and give them back.
void exchangeTokens(std::size_t eventCount, int rounds)
{
    const unsigned int seed = static_cast<unsigned int>(getNumber("ORVANE_KERNEL_SEED", std::random_device()()));
    SCOPED_TRACE("ORVANE_KERNEL_SEED=" + std::to_string(seed));
    const std::vector<CHandle> events = makeEvents(eventCount);
    for (CHandle const& event : events)
    {
        EXPECT_TRUE(SetEvent(event));
    }
    std::vector<std::atomic<int>> owners(eventCount);
    std::atomic<long long> taken = 0;
    std::atomic<long long> given = 0;
    std::vector<std::thread> threads;
    for (int id = 1; id <= 8; ++id)
    {
        threads.emplace_back(
            [&, id]
            {
                std::mt19937 random(seed + static_cast<unsigned int>(id));
                for (int round = 0; round < rounds; ++round)
                {
                    std::vector<std::size_t> places(eventCount);
                    for (std::size_t n = 0; n < eventCount; ++n)
                    {
                        places[n] = n;
                    }
                    std::shuffle(places.begin(), places.end(), random);
                    const auto kind = static_cast<unsigned int>(random() % 3);
                    places.resize(kind == 0 ? 1 : 1 + random() % eventCount);
                    if (kind == 2 && places.size() > 4)
                    {
                        places.resize(4);
                    }
                    std::vector<HANDLE> handles;
                    for (const std::size_t place : places)
                    {
                        handles.push_back(events[place]);
                    }
                    const auto timeoutMs = static_cast<DWORD>(random() % 4 == 0 ? 0 : random() % 3);
                    const DWORD result = kind == 0 ? WaitForSingleObject(handles[0], timeoutMs)
                                                   : wait(handles, kind == 2 ? TRUE : FALSE, timeoutMs);
                    if (result == WAIT_TIMEOUT)
                    {
                        continue;
                    }
                    ASSERT_LT(result, handles.size());
                    const std::size_t first = kind == 1 ? result : 0;
                    const std::size_t last = kind == 2 ? handles.size() : first + 1;
                    for (std::size_t n = first; n < last; ++n)
                    {
                        int nobody = 0;
                        ASSERT_TRUE(owners[places[n]].compare_exchange_strong(nobody, id)) << "a token has two owners";
                        ++taken;
                    }
                    for (std::size_t n = first; n < last; ++n)
                    {
                        owners[places[n]] = 0;
                        ++given;
                        ASSERT_TRUE(SetEvent(handles[n]));
                    }
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(taken.load(), given.load());
    EXPECT_GT(taken.load(), 0);
    for (std::size_t n = 0; n < eventCount; ++n)
    {
        EXPECT_EQ(look(events[n]), WAIT_OBJECT_0) << "token " << n << " was lost";
    }
}
} // namespace

TEST(WaitStress, SixTokensHaveOneOwnerAtATimeAndAreNeverLost)
{
    exchangeTokens(6, 100 * c_Pace);
}

TEST(WaitStress, SixtyFourTokensHaveOneOwnerAtATimeAndAreNeverLost)
{
    exchangeTokens(64, 50 * c_Pace);
}

TEST(WaitStress, AsManyWaitsReturnAsCountsWereGiven)
{
    constexpr int c_Producers = 3;
    constexpr int c_Consumers = 4;
    constexpr int c_Rounds = 300 * c_Pace;
    const CHandle first = makeSemaphore(0, 0x7FFFFFFF);
    const CHandle second = makeSemaphore(0, 0x7FFFFFFF);
    const CHandle stop = makeEvent(eManual);
    const std::array<HANDLE, 3> any{first, second, stop};
    const std::array<HANDLE, 2> all{first, second};
    std::atomic<long long> takenFirst = 0;
    std::atomic<long long> takenSecond = 0;
    std::vector<std::thread> producers;
    std::vector<std::thread> consumers;
    for (int n = 0; n < c_Consumers; ++n)
    {
        consumers.emplace_back(
            [&, n]
            {
                for (;;)
                {
                    if (n == 0 && waitAll(all, 1) == WAIT_OBJECT_0)
                    {
                        ++takenFirst;
                        ++takenSecond;
                        continue;
                    }
                    const DWORD result = waitAny(any, c_PatienceMs);
                    if (result > WAIT_OBJECT_0 + 1)
                    {
                        EXPECT_EQ(result, WAIT_OBJECT_0 + 2);
                        return;
                    }
                    ++(result == WAIT_OBJECT_0 ? takenFirst : takenSecond);
                }
            });
    }
    for (int n = 0; n < c_Producers; ++n)
    {
        producers.emplace_back(
            [&]
            {
                for (int round = 0; round < c_Rounds; ++round)
                {
                    EXPECT_TRUE(ReleaseSemaphore(round % 2 == 0 ? first : second, 1 + round % 2, nullptr));
                }
            });
    }
    for (std::thread& thread : producers)
    {
        thread.join();
    }
    EXPECT_TRUE(SetEvent(stop)); // the last member: those that look take what is left before they see it
    for (std::thread& thread : consumers)
    {
        thread.join();
    }
    EXPECT_EQ(takenFirst.load(), c_Producers * c_Rounds / 2);
    EXPECT_EQ(takenSecond.load(), c_Producers * c_Rounds / 2 * 2);
}
