#include <array>
#include <thread>
#include <vector>

#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

namespace
{
// What a look at the mutex gives to another thread, which lets go of it again.
DWORD lookFromElsewhere(HANDLE mutex)
{
    DWORD result = c_Untouched;
    std::thread(
        [&]
        {
            result = look(mutex);
            if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED_0)
            {
                EXPECT_TRUE(ReleaseMutex(mutex));
            }
        })
        .join();
    return result;
}

// Leaves the mutex abandoned: its owner ends without releasing it.
void abandon(HANDLE mutex, int times = 1)
{
    std::thread(
        [&]
        {
            for (int n = 0; n < times; ++n)
            {
                EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
            }
        })
        .join();
}
} // namespace

TEST(CreateMutexW, GivesAFreeMutexOrAnOwnedOne)
{
    const CHandle owned = makeMutex(true);
    EXPECT_EQ(lookFromElsewhere(owned), WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(owned));
    EXPECT_EQ(lookFromElsewhere(owned), WAIT_OBJECT_0);
    EXPECT_EQ(lookFromElsewhere(makeMutex(false)), WAIT_OBJECT_0);
}

TEST(CreateMutexW, TakesNarrowNamesToo)
{
    SetLastError(c_Untouched);
    const CHandle mutex(CreateMutexA(nullptr, TRUE, nullptr));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(lookFromElsewhere(mutex), WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(Mutex, IsFreeAfterAsManyReleasesAsWaits)
{
    const CHandle mutex = makeMutex(true);
    for (int n = 0; n < 5; ++n)
    {
        EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    }
    for (int n = 0; n < 6; ++n)
    {
        EXPECT_EQ(lookFromElsewhere(mutex), WAIT_TIMEOUT);
        EXPECT_TRUE(ReleaseMutex(mutex));
    }
    EXPECT_EQ(lookFromElsewhere(mutex), WAIT_OBJECT_0);
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
}

TEST(Mutex, IsTakenAgainByWaitsForAnyAndForAll)
{
    const CHandle mutex = makeMutex(true);
    const CHandle event = makeEvent(eManual, true);
    const std::array<HANDLE, 2> both{mutex, event};
    EXPECT_EQ(waitAny(both, 0), WAIT_OBJECT_0);
    EXPECT_EQ(waitAll(both, 0), WAIT_OBJECT_0);
    for (int n = 0; n < 3; ++n)
    {
        EXPECT_EQ(lookFromElsewhere(mutex), WAIT_TIMEOUT);
        EXPECT_TRUE(ReleaseMutex(mutex));
    }
    EXPECT_EQ(lookFromElsewhere(mutex), WAIT_OBJECT_0);
}

TEST(Mutex, TakesNoMoreThanItsWaitWhenItTimesOut)
{
    const CHandle mutex = makeMutex(true);
    const CHandle event = makeEvent(eAuto);
    const std::array<HANDLE, 2> both{mutex, event};
    EXPECT_EQ(waitAll(both, 0), WAIT_TIMEOUT);
    EXPECT_EQ(waitAll(both, 5), WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
}

TEST(ReleaseMutex, FailsWith288ForAThreadThatDoesNotOwnIt)
{
    const CHandle mutex = makeMutex();
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
    EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
    std::thread([&] { EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288); }).join();
    EXPECT_EQ(lookFromElsewhere(mutex), WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
}

TEST(ReleaseMutex, FailsWith6ForAHandleThatIsNoMutex)
{
    for (SBadHandle const& bad : getBadHandles())
    {
        SCOPED_TRACE(bad.name);
        EXPECT_FAILS(ReleaseMutex(bad.handle), FALSE, 6);
    }
    EXPECT_FAILS(ReleaseMutex(minusOne()), FALSE, 6);
    const CHandle event = makeEvent(eAuto);
    const CHandle semaphore = makeSemaphore(0, 1);
    EXPECT_FAILS(ReleaseMutex(event), FALSE, 6);
    EXPECT_FAILS(ReleaseMutex(semaphore), FALSE, 6);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
    EXPECT_EQ(look(semaphore), WAIT_TIMEOUT);

    CHandle mutex = makeMutex(true);
    const HANDLE closed = mutex;
    mutex.Close();
    EXPECT_FAILS(ReleaseMutex(closed), FALSE, 6);
}

TEST(ReleaseMutex, HandsItToTheWaitersInTheOrderOfTheirArrival)
{
    const std::vector<int> arrival = {0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_TRUE(succeedsInAnAttempt(
        [&](DWORD settleMs)
        {
            const CHandle mutex = makeMutex(true);
            bool isOwned = true;
            // The threads count themselves while they own the mutex, so the order is the one of ownership.
            CWaiters waiters(
                [&]
                {
                    if (isOwned)
                    {
                        isOwned = false;
                        ReleaseMutex(mutex);
                    }
                });
            for (int n = 0; n < 8; ++n)
            {
                waiters.Add([&] { return WaitForSingleObject(mutex, INFINITE); }, settleMs,
                            [&] { ReleaseMutex(mutex); });
            }
            EXPECT_EQ(waiters.GetReleased(), 0);
            isOwned = false;
            EXPECT_TRUE(ReleaseMutex(mutex));
            EXPECT_TRUE(waiters.BecomesReleased(8));
            return waiters.GetOrder() == arrival;
        }));
}

TEST(AbandonedMutex, IsTakenByTheNextWaitWhichSaysSo)
{
    const CHandle mutex = makeMutex();
    abandon(mutex);
    EXPECT_EQ(look(mutex), WAIT_ABANDONED_0);
    EXPECT_EQ(lookFromElsewhere(mutex), WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(lookFromElsewhere(mutex), WAIT_OBJECT_0) << "it is abandoned once only";
}

TEST(AbandonedMutex, ForgetsHowOftenItsOwnerHadTakenIt)
{
    const CHandle mutex = makeMutex();
    abandon(mutex, 4);
    EXPECT_EQ(look(mutex), WAIT_ABANDONED_0);
    EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
}

TEST(AbandonedMutex, IsNoneOfTheNewOwnersBeforeItsWait)
{
    const CHandle mutex = makeMutex();
    abandon(mutex);
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
    EXPECT_EQ(look(mutex), WAIT_ABANDONED_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(AbandonedMutex, CanBeAbandonedAgain)
{
    const CHandle mutex = makeMutex();
    abandon(mutex);
    for (int n = 0; n < 3; ++n)
    {
        DWORD result = c_Untouched;
        std::thread([&] { result = look(mutex); }).join();
        EXPECT_EQ(result, WAIT_ABANDONED_0);
    }
    EXPECT_EQ(look(mutex), WAIT_ABANDONED_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(AbandonedMutex, ComesFromAThreadOfTheLayerToo)
{
    const CHandle mutex = makeMutex();
    {
        const CThread owner([&] { return look(mutex); });
        EXPECT_TRUE(owner.Join());
        EXPECT_EQ(owner.GetExitCode(), WAIT_OBJECT_0);
        EXPECT_EQ(look(mutex), WAIT_ABANDONED_0) << "a thread has let go of all when its handle is signalled";
    }
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(AbandonedMutex, ComesFromAThreadThatWasTerminated)
{
    const CHandle mutex = makeMutex();
    const CHandle isOwned = makeEvent(eAuto);
    const CHandle never = makeEvent(eAuto);
    const CThread owner(
        [&]
        {
            look(mutex);
            look(mutex);
            SetEvent(isOwned);
            return WaitForSingleObject(never, INFINITE);
        });
    ASSERT_EQ(WaitForSingleObject(isOwned, c_PatienceMs), WAIT_OBJECT_0);
    EXPECT_EQ(look(mutex), WAIT_TIMEOUT);
    ASSERT_TRUE(TerminateThread(owner, 4));
    EXPECT_EQ(WaitForSingleObject(mutex, c_PatienceMs), WAIT_ABANDONED_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
}

TEST(AbandonedMutex, OfAThreadThatTerminatesItselfIsFreeOnceTheThreadHasEnded)
{
    for (int round = 0; round < 30 * c_Pace; ++round)
    {
        const CHandle mutex = makeMutex();
        {
            const CThread owner(
                [&]
                {
                    look(mutex);
                    TerminateThread(GetCurrentThread(), 3);
                    return 0u;
                });
            ASSERT_TRUE(owner.Join());
            ASSERT_EQ(look(mutex), WAIT_ABANDONED_0);
            ASSERT_EQ(owner.GetExitCode(), 3u);
        }
        // What the ended thread was is free for another one.
        const CHandle never = makeEvent(eAuto);
        const CBegunThread next([&] { return WaitForSingleObject(never, INFINITE); });
        ASSERT_TRUE(TerminateThread(next, 4));
        ASSERT_TRUE(next.Join());
        ASSERT_EQ(next.GetExitCode(), 4u);
        EXPECT_TRUE(ReleaseMutex(mutex));
    }
}

TEST(AbandonedMutex, ReleasesAThreadThatWaitsForIt)
{
    for (int n = 0; n < 20; ++n)
    {
        const CHandle mutex = makeMutex();
        const CHandle isOwned = makeEvent(eAuto);
        const CHandle leave = makeEvent(eAuto);
        std::thread owner(
            [&]
            {
                look(mutex);
                SetEvent(isOwned);
                WaitForSingleObject(leave, c_PatienceMs);
            });
        EXPECT_EQ(WaitForSingleObject(isOwned, c_PatienceMs), WAIT_OBJECT_0);
        std::thread waiter(
            [&]
            {
                SetEvent(leave);
                EXPECT_EQ(WaitForSingleObject(mutex, c_PatienceMs), WAIT_ABANDONED_0);
                EXPECT_TRUE(ReleaseMutex(mutex));
            });
        owner.join();
        waiter.join();
        EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
        EXPECT_TRUE(ReleaseMutex(mutex));
    }
}

TEST(AbandonedMutex, GoesToOneOfItsWaiters)
{
    const CHandle mutex = makeMutex();
    const CHandle isOwned = makeEvent(eAuto);
    const CHandle leave = makeEvent(eAuto);
    std::thread owner(
        [&]
        {
            look(mutex);
            SetEvent(isOwned);
            WaitForSingleObject(leave, c_PatienceMs);
        });
    EXPECT_EQ(WaitForSingleObject(isOwned, c_PatienceMs), WAIT_OBJECT_0);
    {
        CWaiters waiters([&] { SetEvent(leave); });
        for (int n = 0; n < 4; ++n)
        {
            waiters.Add([&] { return WaitForSingleObject(mutex, INFINITE); }, 4, [&] { ReleaseMutex(mutex); });
        }
        EXPECT_TRUE(SetEvent(leave));
        EXPECT_TRUE(waiters.BecomesReleased(4));
        int abandoned = 0;
        for (std::size_t n = 0; n < 4; ++n)
        {
            abandoned += waiters.GetResult(n) == WAIT_ABANDONED_0 ? 1 : 0;
        }
        EXPECT_EQ(abandoned, 1);
    }
    owner.join();
}

TEST(AbandonedMutex, IsNamedByItsIndexInAWaitForAny)
{
    const CHandle first = makeEvent(eAuto);
    const CHandle second = makeMutex();
    const CHandle third = makeMutex();
    const std::array<HANDLE, 3> all{first, second, third};
    abandon(third);
    EXPECT_EQ(waitAny(all, 0), WAIT_OBJECT_0 + 1) << "the lowest that is free";
    std::thread(
        [&]
        {
            EXPECT_EQ(waitAny(all, 0), WAIT_ABANDONED_0 + 2);
            EXPECT_TRUE(ReleaseMutex(third));
            EXPECT_EQ(waitAny(all, 0), WAIT_OBJECT_0 + 2);
            EXPECT_TRUE(ReleaseMutex(third));
        })
        .join();
    EXPECT_TRUE(ReleaseMutex(second));
}

TEST(AbandonedMutex, IsNamedByItsIndexInAWaitForAnyThatBlocked)
{
    const CHandle first = makeEvent(eAuto);
    const CHandle mutex = makeMutex();
    const CHandle isOwned = makeEvent(eAuto);
    const CHandle leave = makeEvent(eAuto);
    const std::array<HANDLE, 2> both{first, mutex};
    std::thread owner(
        [&]
        {
            look(mutex);
            SetEvent(isOwned);
            WaitForSingleObject(leave, c_PatienceMs);
        });
    EXPECT_EQ(WaitForSingleObject(isOwned, c_PatienceMs), WAIT_OBJECT_0);
    {
        CWaiters waiters([&] { SetEvent(leave); });
        waiters.Add([&] { return waitAny(both, INFINITE); }, 5, [&] { ReleaseMutex(mutex); });
        EXPECT_TRUE(SetEvent(leave));
        EXPECT_TRUE(waiters.BecomesReleased(1));
        EXPECT_EQ(waiters.GetResult(0), WAIT_ABANDONED_0 + 1);
    }
    owner.join();
}

TEST(AbandonedMutex, IsToldByAWaitForAll)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle mutex = makeMutex();
    const std::array<HANDLE, 2> both{event, mutex};
    abandon(mutex);
    EXPECT_EQ(waitAll(both, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(event));
    const DWORD result = waitAll(both, 0);
    EXPECT_GE(result, WAIT_ABANDONED_0);
    EXPECT_LT(result, WAIT_ABANDONED_0 + 2);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
    EXPECT_EQ(lookFromElsewhere(mutex), WAIT_OBJECT_0);
}

TEST(AbandonedMutex, IsToldByAWaitForAllThatBlocked)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle mutex = makeMutex();
    const std::array<HANDLE, 2> both{event, mutex};
    const CHandle isOwned = makeEvent(eAuto);
    const CHandle leave = makeEvent(eAuto);
    std::thread owner(
        [&]
        {
            look(mutex);
            SetEvent(isOwned);
            WaitForSingleObject(leave, c_PatienceMs);
        });
    EXPECT_EQ(WaitForSingleObject(isOwned, c_PatienceMs), WAIT_OBJECT_0);
    {
        CWaiters waiters(
            [&]
            {
                SetEvent(leave);
                SetEvent(event);
            });
        waiters.Add([&] { return waitAll(both, INFINITE); }, 5, [&] { EXPECT_TRUE(ReleaseMutex(mutex)); });
        EXPECT_TRUE(SetEvent(leave));
        owner.join();
        EXPECT_EQ(waiters.GetReleased(), 0);
        EXPECT_TRUE(SetEvent(event));
        EXPECT_TRUE(waiters.BecomesReleased(1));
        EXPECT_GE(waiters.GetResult(0), WAIT_ABANDONED_0);
        EXPECT_LT(waiters.GetResult(0), WAIT_ABANDONED_0 + 2);
    }
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(AbandonedMutex, StaysAbandonedThroughAWaitForAllThatTimedOut)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle mutex = makeMutex();
    abandon(mutex);
    EXPECT_EQ(waitAll(std::array<HANDLE, 2>{mutex, event}, 5), WAIT_TIMEOUT);
    EXPECT_EQ(look(mutex), WAIT_ABANDONED_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(AbandonedMutex, IsEveryOneThatTheThreadOwned)
{
    std::vector<CHandle> mutexes;
    for (int n = 0; n < 40; ++n)
    {
        mutexes.push_back(makeMutex());
    }
    std::thread(
        [&]
        {
            for (CHandle const& mutex : mutexes)
            {
                look(mutex);
            }
            EXPECT_TRUE(ReleaseMutex(mutexes[7]));
        })
        .join();
    for (std::size_t n = 0; n < mutexes.size(); ++n)
    {
        EXPECT_EQ(look(mutexes[n]), n == 7 ? WAIT_OBJECT_0 : WAIT_ABANDONED_0) << n;
        EXPECT_TRUE(ReleaseMutex(mutexes[n]));
    }
}

TEST(Mutex, MayBeClosedWhileItIsOwned)
{
    std::thread(
        []
        {
            CHandle mutex = makeMutex(true);
            mutex.Close();
            CHandle other = makeMutex(true);
            const CHandle copy = duplicate(other);
            other.Close();
            EXPECT_TRUE(ReleaseMutex(copy));
            EXPECT_FAILS(ReleaseMutex(copy), FALSE, 288);
        })
        .join();
}

TEST(MutexStress, HasOneOwnerAtATime)
{
    constexpr int c_Threads = 4;
    constexpr int c_Rounds = 1'000 * c_Pace;
    const CHandle mutex = makeMutex();
    long long counter = 0; // plain: the mutex alone guards it
    std::vector<std::thread> threads;
    for (int n = 0; n < c_Threads; ++n)
    {
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < c_Rounds; ++round)
                {
                    ASSERT_EQ(WaitForSingleObject(mutex, c_PatienceMs), WAIT_OBJECT_0);
                    ++counter;
                    if (round % 3 == 0)
                    {
                        ASSERT_EQ(look(mutex), WAIT_OBJECT_0);
                        ++counter;
                        ASSERT_TRUE(ReleaseMutex(mutex));
                        --counter;
                    }
                    ASSERT_TRUE(ReleaseMutex(mutex));
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(counter, static_cast<long long>(c_Threads) * c_Rounds);
}

TEST(MutexStress, IsAbandonedByEachOwnerThatEnds)
{
    constexpr int c_Rounds = 100 * c_Pace;
    const CHandle mutex = makeMutex();
    int abandoned = 0;
    for (int round = 0; round < c_Rounds; ++round)
    {
        abandon(mutex, 1 + round % 3);
        abandoned += WaitForSingleObject(mutex, c_PatienceMs) == WAIT_ABANDONED_0 ? 1 : 0;
        EXPECT_TRUE(ReleaseMutex(mutex));
    }
    EXPECT_EQ(abandoned, c_Rounds);
}
