// Threads that are stopped wherever they happen to be. While one is stopped the test allocates nothing and checks
// nothing: the stopped thread may hold the allocator.

#include <array>
#include <atomic>
#include <cstdlib>
#include <thread>

#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

namespace
{
// Waits until the other thread has moved on, so that each stop meets it somewhere else.
bool advances(std::atomic<unsigned int> const& counter, unsigned int from)
{
    return becomes([&] { return counter.load() != from; });
}
} // namespace

TEST(SuspendThread, StopsAThreadUntilItIsResumed)
{
    std::atomic<unsigned int> turns = 0;
    std::atomic<bool> isStopped = false;
    const CThread thread(
        [&]
        {
            while (!isStopped)
            {
                ++turns;
            }
            return 0u;
        });
    bool isAdvancing = true;
    bool isStill = true;
    bool areCountsRight = true;
    for (int round = 0; round < 20; ++round)
    {
        isAdvancing = isAdvancing && advances(turns, turns.load());
        areCountsRight = areCountsRight && SuspendThread(thread) == 0;
        areCountsRight = areCountsRight && SuspendThread(thread) == 1;
        // Windows may return before the thread has come to rest; that it comes to rest at all is what is promised.
        unsigned int seen = turns.load();
        isStill = isStill && becomes(
                                 [&]
                                 {
                                     const unsigned int before = std::exchange(seen, turns.load());
                                     std::this_thread::yield();
                                     return before == turns.load();
                                 });
        const unsigned int rest = turns.load();
        areCountsRight = areCountsRight && ResumeThread(thread) == 2;
        for (int n = 0; n < 1000; ++n)
        {
            std::this_thread::yield();
        }
        isStill = isStill && turns.load() == rest;
        areCountsRight = areCountsRight && ResumeThread(thread) == 1;
        isAdvancing = isAdvancing && advances(turns, rest);
    }
    isStopped = true;
    EXPECT_TRUE(isAdvancing);
    EXPECT_TRUE(isStill);
    EXPECT_TRUE(areCountsRight);
}

TEST(SuspendThread, LetsAWaitEndOnceTheThreadIsResumed)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle isHere = makeEvent(eAuto);
    std::atomic<bool> isReleased = false;
    const CThread thread(
        [&]
        {
            SetEvent(isHere);
            const DWORD result = WaitForSingleObject(event, INFINITE);
            isReleased = true;
            return result;
        });
    EXPECT_EQ(WaitForSingleObject(isHere, c_PatienceMs), WAIT_OBJECT_0);
    settle(5);
    const CHandle never = makeEvent(eAuto);
    const DWORD suspended = SuspendThread(thread);
    const BOOL isSet = SetEvent(event);
    WaitForSingleObject(never, 20);
    const bool isEarly = isReleased.load();
    const DWORD resumed = ResumeThread(thread);
    EXPECT_EQ(suspended, 0u);
    EXPECT_TRUE(isSet);
    EXPECT_FALSE(isEarly);
    EXPECT_EQ(resumed, 1u);
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(thread.GetExitCode(), WAIT_OBJECT_0);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(SuspendThread, LetsAWaitThatTimedOutMeanwhileEndOnceTheThreadIsResumed)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle never = makeEvent(eAuto);
    const CThread thread([&] { return WaitForSingleObject(event, 10); });
    settle(2);
    const DWORD suspended = SuspendThread(thread);
    WaitForSingleObject(never, 30);
    const DWORD resumed = ResumeThread(thread);
    if (suspended != 0xFFFFFFFF)
    {
        EXPECT_EQ(suspended, 0u);
        EXPECT_EQ(resumed, 1u);
    }
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(thread.GetExitCode(), WAIT_TIMEOUT);
}

TEST(SuspendThread, LeavesTheObjectsOfAStoppedThreadUsable)
{
    const CHandle mutex = makeMutex();
    const CHandle event = makeEvent(eAuto);
    std::atomic<bool> isStopped = false;
    std::atomic<unsigned int> turns = 0;
    const CThread thread(
        [&]
        {
            while (!isStopped)
            {
                SetEvent(event);
                WaitForSingleObject(event, 0);
                ++turns;
            }
            return 0u;
        });
    // Wherever the thread is stopped, the calls of others on the same event return.
    bool isRight = true;
    for (int round = 0; round < 100 * c_Pace; ++round)
    {
        isRight = isRight && advances(turns, turns.load());
        isRight = isRight && SuspendThread(thread) == 0;
        isRight = isRight && SetEvent(event) && ResetEvent(event) && WaitForSingleObject(event, 0) == WAIT_TIMEOUT;
        isRight = isRight && WaitForSingleObject(mutex, 0) == WAIT_OBJECT_0 && ReleaseMutex(mutex);
        isRight = isRight && ResumeThread(thread) == 1;
    }
    isStopped = true;
    EXPECT_TRUE(isRight);
}

TEST(GetThreadContext, TellsWhereAThreadStandsThatHasJustBeenMade)
{
    for (int round = 0; round < 300; ++round)
    {
        HANDLE const thread = CreateThread(
            nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, CREATE_SUSPENDED, nullptr);
        ASSERT_NE(thread, nullptr);
        alignas(16) CONTEXT first = {};
        alignas(16) CONTEXT second = {};
        first.ContextFlags = CONTEXT_CONTROL;
        second.ContextFlags = CONTEXT_CONTROL;
        EXPECT_TRUE(GetThreadContext(thread, &first));
        EXPECT_TRUE(GetThreadContext(thread, &second));
        EXPECT_NE(first.Rip, 0u) << "round " << round;
        EXPECT_NE(first.Rsp, 0u) << "round " << round;
        EXPECT_EQ(first.Rip, second.Rip);
        EXPECT_EQ(first.Rsp, second.Rsp);
        ResumeThread(thread);
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
}

TEST(SuspendStress, AThreadThatAllocates)
{
    std::atomic<bool> isStopped = false;
    std::atomic<unsigned int> turns = 0;
    const CThread thread(
        [&]
        {
            std::array<void*, 16> blocks{};
            for (unsigned int n = 0; !isStopped; ++n)
            {
                void*& block = blocks[n % blocks.size()];
                std::free(block);
                block = std::malloc(16 + n % 5000);
                ++turns;
            }
            for (void* const block : blocks)
            {
                std::free(block);
            }
            return 0u;
        });
    bool isRight = true;
    for (int round = 0; round < 200 * c_Pace; ++round)
    {
        isRight = isRight && advances(turns, turns.load());
        isRight = isRight && SuspendThread(thread) == 0;
        isRight = isRight && ResumeThread(thread) == 1;
        // The allocator is free again: the thread that stopped the other one may use it.
        std::free(std::malloc(64));
    }
    isStopped = true;
    EXPECT_TRUE(isRight);
}

TEST(SuspendStress, TwoThreadsThatPassAnEventToEachOther)
{
    const CHandle ping = makeEvent(eAuto);
    const CHandle pong = makeEvent(eAuto);
    std::atomic<bool> isStopped = false;
    std::atomic<unsigned int> turns = 0;
    const CThread first(
        [&]
        {
            while (!isStopped)
            {
                SetEvent(ping);
                if (WaitForSingleObject(pong, c_PatienceMs) != WAIT_OBJECT_0)
                {
                    return 1u;
                }
                ++turns;
            }
            SetEvent(ping);
            return 0u;
        });
    const CThread second(
        [&]
        {
            for (;;)
            {
                if (WaitForSingleObject(ping, c_PatienceMs) != WAIT_OBJECT_0)
                {
                    return 1u;
                }
                if (isStopped)
                {
                    SetEvent(pong);
                    return 0u;
                }
                SetEvent(pong);
            }
        });
    bool isRight = true;
    for (int round = 0; round < 200 * c_Pace; ++round)
    {
        isRight = isRight && advances(turns, turns.load());
        const HANDLE target = round % 2 == 0 ? first : second;
        isRight = isRight && SuspendThread(target) == 0;
        isRight = isRight && ResumeThread(target) == 1;
    }
    isStopped = true;
    EXPECT_TRUE(isRight);
    EXPECT_TRUE(first.Join());
    EXPECT_TRUE(second.Join());
    EXPECT_EQ(first.GetExitCode(), 0u);
    EXPECT_EQ(second.GetExitCode(), 0u);
}

TEST(SuspendStress, AThreadThatStopsAnotherOne)
{
    std::atomic<bool> isOver = false;
    std::atomic<unsigned int> turns = 0;
    const CThread target(
        [&]
        {
            while (!isOver)
            {
            }
            return 0u;
        });
    const CThread stopper(
        [&]
        {
            while (!isOver)
            {
                SuspendThread(target);
                ResumeThread(target);
                ++turns;
            }
            return 0u;
        });
    // Wherever the stopper is stopped, others can stop and resume the same thread.
    bool isRight = true;
    for (int round = 0; round < 50 * c_Pace; ++round)
    {
        isRight = isRight && advances(turns, turns.load());
        isRight = isRight && SuspendThread(stopper) == 0;
        isRight = isRight && SuspendThread(target) <= 1 && ResumeThread(target) != 0xFFFFFFFF;
        isRight = isRight && ResumeThread(stopper) == 1;
    }
    isOver = true;
    EXPECT_TRUE(isRight);
    // The stopper's own stop of the target ends with its last turn.
    EXPECT_TRUE(stopper.Join());
    EXPECT_TRUE(target.Join());
}

TEST(SuspendStress, ThreadsThatStopTheSameThread)
{
    std::atomic<bool> isStopped = false;
    std::atomic<unsigned int> turns = 0;
    const CThread target(
        [&]
        {
            while (!isStopped)
            {
                ++turns;
            }
            return 0u;
        });
    std::atomic<int> wrong = 0;
    std::thread stoppers[2];
    for (std::thread& stopper : stoppers)
    {
        stopper = std::thread(
            [&]
            {
                for (int round = 0; round < 200 * c_Pace; ++round)
                {
                    wrong += SuspendThread(target) <= 1 ? 0 : 1;
                    const DWORD before = ResumeThread(target);
                    wrong += before == 1 || before == 2 ? 0 : 1;
                }
            });
    }
    for (std::thread& stopper : stoppers)
    {
        stopper.join();
    }
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_TRUE(advances(turns, turns.load()));
    isStopped = true;
}
