#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

TEST(CreateEventW, GivesAnEventInTheStateAskedFor)
{
    EXPECT_EQ(look(makeEvent(eAuto, true)), WAIT_OBJECT_0);
    EXPECT_EQ(look(makeEvent(eAuto, false)), WAIT_TIMEOUT);
    EXPECT_EQ(look(makeEvent(eManual, true)), WAIT_OBJECT_0);
    EXPECT_EQ(look(makeEvent(eManual, false)), WAIT_TIMEOUT);
}

TEST(CreateEventW, LeavesNoLastErrorWhenItIsNew)
{
    SetLastError(c_Untouched);
    const CHandle event = makeEvent(eAuto);
    EXPECT_EQ(GetLastError(), 0u);
}

TEST(CreateEventW, GivesAnObjectOfItsOwnEachTime)
{
    const CHandle first = makeEvent(eAuto);
    const CHandle second = makeEvent(eAuto);
    EXPECT_NE(static_cast<HANDLE>(first), static_cast<HANDLE>(second));
    EXPECT_TRUE(SetEvent(first));
    EXPECT_EQ(look(second), WAIT_TIMEOUT);
}

TEST(AutoEvent, IsConsumedByOneWait)
{
    const CHandle event = makeEvent(eAuto);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(AutoEvent, CountsSeveralSetsAsOne)
{
    const CHandle event = makeEvent(eAuto);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(ManualEvent, StaysSetUntilItIsReset)
{
    const CHandle event = makeEvent(eManual);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(ResetEvent, TakesTheSignalOfAnAutoEventBack)
{
    const CHandle event = makeEvent(eAuto, true);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
    EXPECT_TRUE(ResetEvent(event));
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

namespace
{
struct SEventCall
{
    char const* name;
    BOOL (*call)(HANDLE);
};

BOOL callSet(HANDLE event)
{
    return SetEvent(event);
}

BOOL callReset(HANDLE event)
{
    return ResetEvent(event);
}

BOOL callPulse(HANDLE event)
{
    return PulseEvent(event);
}

class EventCall : public testing::TestWithParam<SEventCall>
{
};
} // namespace

TEST_P(EventCall, FailsWith6ForAHandleThatStandsForNothing)
{
    for (SBadHandle const& bad : getBadHandles())
    {
        SCOPED_TRACE(bad.name);
        EXPECT_FAILS(GetParam().call(bad.handle), FALSE, 6);
    }
    EXPECT_FAILS(GetParam().call(minusOne()), FALSE, 6);
}

TEST_P(EventCall, FailsWith6ForAClosedHandle)
{
    CHandle event = makeEvent(eAuto);
    const HANDLE closed = event;
    event.Close();
    EXPECT_FAILS(GetParam().call(closed), FALSE, 6);
}

TEST_P(EventCall, FailsWith6ForAnObjectOfAnotherKind)
{
    const CHandle mutex = makeMutex();
    const CHandle semaphore = makeSemaphore(1, 2);
    const CThread thread([] { return 0u; });
    EXPECT_FAILS(GetParam().call(mutex), FALSE, 6);
    EXPECT_FAILS(GetParam().call(semaphore), FALSE, 6);
    EXPECT_FAILS(GetParam().call(thread), FALSE, 6);
    EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(look(semaphore), WAIT_OBJECT_0);
    EXPECT_EQ(look(semaphore), WAIT_TIMEOUT);
}

INSTANTIATE_TEST_SUITE_P(Calls, EventCall,
                         testing::Values(SEventCall{"Set", callSet}, SEventCall{"Reset", callReset},
                                         SEventCall{"Pulse", callPulse}),
                         [](auto const& row) { return std::string(row.param.name); });

TEST(SetEvent, ReleasesOneOfEightWaitersInTheOrderOfTheirArrival)
{
    const std::vector<int> arrival = {0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_TRUE(succeedsInAnAttempt(
        [&](DWORD settleMs)
        {
            const CHandle event = makeEvent(eAuto);
            CWaiters waiters([&] { SetEvent(event); });
            for (int n = 0; n < 8; ++n)
            {
                waiters.Add([&] { return WaitForSingleObject(event, INFINITE); }, settleMs);
            }
            for (int n = 1; n <= 8; ++n)
            {
                EXPECT_TRUE(SetEvent(event));
                EXPECT_TRUE(waiters.BecomesReleased(n));
                settle(1);
                EXPECT_EQ(waiters.GetReleased(), n) << "one set releases one waiter";
            }
            EXPECT_EQ(look(event), WAIT_TIMEOUT);
            return waiters.GetOrder() == arrival;
        }));
}

TEST(SetEvent, ReleasesEveryWaiterOfAManualEventAndLeavesItSet)
{
    const CHandle event = makeEvent(eManual);
    CWaiters waiters([&] { SetEvent(event); });
    for (int n = 0; n < 8; ++n)
    {
        waiters.Add([&] { return WaitForSingleObject(event, INFINITE); }, 1);
    }
    EXPECT_EQ(waiters.GetReleased(), 0);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_TRUE(waiters.BecomesReleased(8));
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
}

TEST(PulseEvent, LeavesAnEventResetThatNobodyWaitsFor)
{
    for (const EReset reset : {eAuto, eManual})
    {
        for (const bool isSet : {false, true})
        {
            const CHandle event = makeEvent(reset, isSet);
            EXPECT_TRUE(PulseEvent(event));
            EXPECT_EQ(look(event), WAIT_TIMEOUT);
        }
    }
}

TEST(PulseEvent, ReleasesAllThatWaitForAManualEvent)
{
    EXPECT_TRUE(succeedsInAnAttempt(
        [](DWORD settleMs)
        {
            const CHandle event = makeEvent(eManual);
            CWaiters waiters([&] { PulseEvent(event); });
            for (int n = 0; n < 5; ++n)
            {
                waiters.Add([&] { return WaitForSingleObject(event, INFINITE); }, settleMs);
            }
            EXPECT_TRUE(PulseEvent(event));
            EXPECT_EQ(look(event), WAIT_TIMEOUT);
            return waiters.BecomesReleased(5, 20 * settleMs);
        }));
}

TEST(PulseEvent, ReleasesTheFirstThatWaitsForAnAutoEvent)
{
    const std::vector<int> arrival = {0, 1, 2};
    EXPECT_TRUE(succeedsInAnAttempt(
        [&](DWORD settleMs)
        {
            const CHandle event = makeEvent(eAuto);
            CWaiters waiters([&] { PulseEvent(event); });
            for (int n = 0; n < 3; ++n)
            {
                waiters.Add([&] { return WaitForSingleObject(event, INFINITE); }, settleMs);
            }
            for (int n = 1; n <= 3; ++n)
            {
                EXPECT_TRUE(PulseEvent(event));
                EXPECT_EQ(look(event), WAIT_TIMEOUT);
                if (!waiters.BecomesReleased(n, 20 * settleMs))
                {
                    return false;
                }
                settle(settleMs);
                EXPECT_EQ(waiters.GetReleased(), n) << "one pulse releases one waiter";
            }
            return waiters.GetOrder() == arrival;
        }));
}

TEST(PulseEvent, CompletesAWaitForAllWhoseOtherMembersAreSet)
{
    EXPECT_TRUE(succeedsInAnAttempt(
        [](DWORD settleMs)
        {
            const CHandle pulsed = makeEvent(eManual);
            const CHandle other = makeEvent(eAuto);
            const std::array<HANDLE, 2> both{pulsed, other};
            CWaiters waiters(
                [&]
                {
                    SetEvent(other);
                    PulseEvent(pulsed);
                });
            waiters.Add([&] { return waitAll(both, INFINITE); }, settleMs);
            EXPECT_TRUE(PulseEvent(pulsed));
            settle(settleMs);
            EXPECT_EQ(waiters.GetReleased(), 0) << "the other member is not set";
            EXPECT_TRUE(SetEvent(other));
            EXPECT_TRUE(PulseEvent(pulsed));
            if (!waiters.BecomesReleased(1, 20 * settleMs))
            {
                return false;
            }
            EXPECT_EQ(waiters.GetResult(0), WAIT_OBJECT_0);
            EXPECT_EQ(look(other), WAIT_TIMEOUT) << "the wait takes all of its members";
            EXPECT_EQ(look(pulsed), WAIT_TIMEOUT);
            return true;
        }));
}

// Where a set on an event that is already set is but a look at it, what was written before it may stay unseen by the
// wait that consumes the event at that moment: the event ends up reset, and nobody will look again.
TEST(SetEventStress, OnASetEventNeverLosesWhatWasWrittenBefore)
{
    constexpr int c_Rounds = 4'000 * c_Pace;
    const CHandle event = makeEvent(eAuto);
    std::atomic<int> written = 0;
    int seen = 0;
    CStartingLine line(2);
    std::thread writer(
        [&]
        {
            for (int round = 0; round < c_Rounds; ++round)
            {
                line.Meet();
                written.store(1, std::memory_order_relaxed);
                SetEvent(event);
                line.Meet();
            }
        });
    int lost = 0;
    for (int round = 0; round < c_Rounds; ++round)
    {
        SetEvent(event);
        written.store(0, std::memory_order_relaxed);
        line.Meet();
        const DWORD taken = look(event);
        seen = written.load(std::memory_order_relaxed);
        line.Meet();
        EXPECT_EQ(taken, WAIT_OBJECT_0);
        lost += seen == 0 && look(event) != WAIT_OBJECT_0 ? 1 : 0;
    }
    writer.join();
    EXPECT_EQ(lost, 0);
}

TEST(SetEventStress, PassesOnWhatWasWrittenBefore)
{
    constexpr int c_Rounds = 2'000 * c_Pace;
    const CHandle ready = makeEvent(eAuto);
    const CHandle taken = makeEvent(eAuto);
    int payload = 0; // plain: the events alone order it
    std::atomic<int> wrong = 0;
    std::thread reader(
        [&]
        {
            for (int round = 1; round <= c_Rounds; ++round)
            {
                if (WaitForSingleObject(ready, c_PatienceMs) != WAIT_OBJECT_0 || payload != round)
                {
                    ++wrong;
                }
                payload = -round;
                SetEvent(taken);
            }
        });
    for (int round = 1; round <= c_Rounds; ++round)
    {
        payload = round;
        SetEvent(ready);
        if (WaitForSingleObject(taken, c_PatienceMs) != WAIT_OBJECT_0 || payload != -round)
        {
            ++wrong;
        }
    }
    reader.join();
    EXPECT_EQ(wrong.load(), 0);
}
