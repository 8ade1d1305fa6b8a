#include "orvane/thread/cbthreadruntasks.h"

#include <cstddef>
#include <thread>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptioncondition.h"
#include "orvane/thread/testtask.h"
#include "orvane/thread/testthread.h"
#include "orvane/thread/threadtest.h"
#include "platform/kernel/kernelsupport.h"
#include "support/logline.h"
#include "support/logrecorder.h"

using namespace threadtest;

namespace
{
// Long enough for a thread that would do something to have done it; decides on nothing where the thread does nothing.
constexpr unsigned int c_LookMs = 20;

// The fields behind those of the thread, as clients find them.
using Queue = CbListBaseIntermediate<CbSmartPointer<CbTask>, 17>;
constexpr std::size_t c_QueueLock = sizeof(CTestThread::CbThread);
constexpr std::size_t c_Events = c_QueueLock + sizeof(CbCriticalSection);
constexpr std::size_t c_Queue = c_Events + sizeof(CbArray<CbEvent>);
constexpr std::size_t c_LeaveWhenEmpty = c_Queue + sizeof(Queue);
} // namespace

TEST(CbThreadRunTasks, IsNotStartedByItsConstructor)
{
    CbThreadRunTasks const thread(L"tasks", true);
    EXPECT_STREQ(thread.GetName(), L"tasks");
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(thread.GetThreadHandle(), nullptr);
    EXPECT_EQ(thread.GetPriority(), CbThreadRunTasks::eThreadPriorityNormal);
}

TEST(CbThreadRunTasks, HasLockEventsQueueAndFlagBehindTheThreadsFields)
{
    CbThreadRunTasks const leaving(L"tasks", true);
    EXPECT_EQ(fieldAt<char>(&leaving, c_LeaveWhenEmpty), 1);

    CbThreadRunTasks thread(L"tasks", false);
    EXPECT_EQ(fieldAt<char>(&thread, c_LeaveWhenEmpty), 0);
    auto const& events = fieldAt<CbArray<CbEvent>>(&thread, c_Events);
    ASSERT_EQ(events.GetCount(), 2u);
    EXPECT_FALSE(events[0].IsSet());
    EXPECT_FALSE(events[1].IsSet());
    thread.Break();
    EXPECT_TRUE(events[0].IsSet());
    EXPECT_TRUE(events[0].IsSet()) << "until it is reset";
    EXPECT_FALSE(events[1].IsSet());
    EXPECT_EQ(fieldAt<Queue>(&thread, c_Queue).GetCount(), 0u);
    {
        // The queue lock keeps a task out of the queue.
        auto const& lock = fieldAt<CbCriticalSection>(&thread, c_QueueLock);
        lock.Enter();
        std::jthread const adder([&] { thread.AddTask(makeTask()); });
        EXPECT_EQ(events[1].Wait(c_LookMs), CbEvent::eWaitTimeout);
        EXPECT_EQ(fieldAt<Queue>(&thread, c_Queue).GetCount(), 0u);
        lock.Leave();
    }
    EXPECT_EQ(fieldAt<Queue>(&thread, c_Queue).GetCount(), 1u);
    EXPECT_TRUE(events[1].IsSet());
    EXPECT_TRUE(events[1].IsSet()) << "until it is reset";
}

TEST(CbThreadRunTasks, WantsTheProcessorsOfTheProcess)
{
    CbThreadRunTasks const thread(L"tasks", true);
    EXPECT_EQ(fieldAt<unsigned __int64>(&thread, c_Mask), CbThreadRunTasks::GetProcessAffinityMask());
    EXPECT_NE(CbThreadRunTasks::GetProcessAffinityMask(), 0u);
}

TEST(CbThreadRunTasks, EndsAtOnceWhereItLeavesWhenEmpty)
{
    CbThreadRunTasks thread(L"tasks", true);
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate(c_PatienceMs));
    EXPECT_TRUE(thread.IsSuccessful());
}

TEST(CbThreadRunTasks, RunsWhatWasQueuedBeforeTheStartInOrder)
{
    std::string order;
    unsigned long id = 0;
    CbThreadRunTasks thread(L"tasks", true);
    TaskPointer const first = makeTask([&] { order += '1'; });
    thread.AddTask(first);
    thread.AddTask(makeTask([&] { order += '2'; }));
    thread.AddTask(makeTask(
        [&]
        {
            order += '3';
            id = GetCurrentThreadId();
        }));
    EXPECT_EQ(order, "");
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_EQ(order, "123");
    EXPECT_EQ(id, GetThreadId(thread.GetThreadHandle()));
    EXPECT_EQ(first->calls, "bra") << "and no onAdd";
    EXPECT_TRUE(first->IsSuccessful());
    EXPECT_EQ(first->getReferenceCounter().GetCount(), 1u) << "the thread keeps none";
}

TEST(CbThreadRunTasks, RunsThreeTasksAndEndsWhereBreakWasCalledBeforeTheStart)
{
    std::atomic<int> count = 0;
    CbThreadRunTasks thread(L"tasks", false);
    for (int n = 0; n < 3; ++n)
    {
        thread.AddTask(makeTask([&] { ++count; }));
    }
    thread.Break();
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(thread.IsSuccessful());
}

TEST(CbThreadRunTasks, RunsWhatIsAddedWhileItWorksItsQueueOff)
{
    CbThreadRunTasks thread(L"tasks", true);
    CGate isInside;
    CGate leave;
    std::atomic<bool> hasRun = false;
    thread.AddTask(makeTask(
        [&]
        {
            isInside.Open();
            leave.Pass();
        }));
    EXPECT_TRUE(thread.Start());
    ASSERT_TRUE(isInside.Pass());
    thread.AddTask(makeTask([&] { hasRun = true; }));
    leave.Open();
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_TRUE(hasRun);
}

TEST(CbThreadRunTasks, GoesOnAfterATaskThatFails)
{
    CLogRecorder const recorder;
    CbThreadRunTasks thread(L"tasks", true);
    bool hasRun = false;
    TaskPointer const failing = makeTask([] { throw 1; });
    thread.AddTask(failing);
    thread.AddTask(makeTask([&] { hasRun = true; }));
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_FALSE(failing->IsSuccessful());
    EXPECT_TRUE(hasRun);
    EXPECT_TRUE(thread.IsSuccessful());
}

TEST(CbThreadRunTasks, FailsWhereATasksHandlerThrows)
{
    bool hasRun = false;
    bool hasEnded = false;
    {
        CbThreadRunTasks thread(L"tasks", true);
        TaskPointer failing = makeTask();
        failing->SetOnAfterRunTaskHandler([](CbTask const&) { throw 1; });
        thread.AddTask(failing);
        TaskPointer next = makeTask([&] { hasRun = true; });
        next->onEnd = [&] { hasEnded = true; };
        thread.AddTask(std::move(next));
        EXPECT_TRUE(thread.Start());
        EXPECT_TRUE(thread.WaitUntilTerminate());
        EXPECT_FALSE(thread.IsSuccessful());
        EXPECT_EQ(exitCodeOf(thread.GetThreadHandle()), 1u);
        EXPECT_FALSE(hasEnded) << "still queued";
    }
    EXPECT_FALSE(hasRun);
    EXPECT_TRUE(hasEnded);
}

// A thread that has found its queue empty cannot be told from one that is about to look: each attempt lets it settle
// longer, and only a thread that is not woken by the task alone leaves the task unrun.
TEST(CbThreadRunTasks, IsNotWokenByATaskAlone)
{
    CLogRecorder const recorder;
    EXPECT_TRUE(kerneltest::succeedsInAnAttempt(
        [](DWORD settleMs)
        {
            std::atomic<bool> hasRun = false;
            std::atomic<bool> isReleased = false;
            bool isUnrun = false;
            {
                CbThreadRunTasks thread(L"tasks", false);
                TaskPointer const first = makeTask();
                thread.AddTask(first);
                EXPECT_TRUE(thread.Start());
                EXPECT_TRUE(first->WaitUntilTerminate(c_PatienceMs));
                kerneltest::settle(settleMs);
                // The first task's signal is consumed only by a wait that ended: this one adds to it.
                TaskPointer second = makeTask([&] { hasRun = true; });
                second->onEnd = [&] { isReleased = true; };
                CbTask const& added = *second;
                thread.AddTask(second);
                isUnrun = !added.WaitUntilTerminate(c_LookMs);
                EXPECT_TRUE(thread.IsRunning());
                second.Reset();
                thread.Break();
                EXPECT_TRUE(thread.WaitUntilTerminate(c_PatienceMs));
                EXPECT_TRUE(thread.IsSuccessful());
                if (isUnrun)
                {
                    EXPECT_FALSE(hasRun) << "a break ends the thread at once";
                    EXPECT_FALSE(isReleased) << "still queued";
                }
            }
            EXPECT_TRUE(isReleased);
            return isUnrun;
        }));
    EXPECT_TRUE(recorder.GetRecords().empty()) << "nothing was killed";
}

TEST(CbThreadRunTasks, IsNotWokenByABreakAloneBeforeATaskWasEverAdded)
{
    CbThreadRunTasks thread(L"tasks", false);
    EXPECT_TRUE(thread.Start());
    thread.Break();
    EXPECT_FALSE(thread.WaitUntilTerminate(c_LookMs));
    thread.AddTask(makeTask());
    EXPECT_TRUE(thread.WaitUntilTerminate(c_PatienceMs));
    EXPECT_TRUE(thread.IsSuccessful());
}

TEST(CbThreadRunTasks, KeepsItsBreakForTheNextStart)
{
    std::atomic<int> count = 0;
    CbThreadRunTasks thread(L"tasks", false);
    thread.AddTask(makeTask([&] { ++count; }));
    thread.Break();
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    thread.AddTask(makeTask([&] { ++count; }));
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate(c_PatienceMs));
    EXPECT_EQ(count, 2);
}

TEST(CbThreadRunTasks, LeavesTheEventOfATaskThatIsQueuedAgainSet)
{
    CbThreadRunTasks thread(L"tasks", true);
    TaskPointer const task = makeTask();
    task->Run();
    thread.AddTask(task);
    EXPECT_TRUE(task->WaitUntilTerminate(0));
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_EQ(task->calls, "brabra");
}

TEST(CbThreadRunTasksAddTask, RefusesNull)
{
    CLogRecorder const recorder;
    CbThreadRunTasks thread(L"tasks", true);
    try
    {
        thread.AddTask(nullptr);
        ADD_FAILURE() << "nothing was raised";
    }
    catch (CbExceptionCondition const& raised)
    {
        EXPECT_STREQ(raised.GetFilename(), "cbthreadruntasks");
        EXPECT_EQ(raised.GetCodeLine(), 64u);
        EXPECT_STREQ(raised.GetFunctionName(), "CbThreadRunTasks::AddTask");
    }
    std::vector<Logging::SRecord> const warnings = recorder.GetRecords(L"Condition");
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0].file, "cbthreadruntasks");
    EXPECT_EQ(warnings[0].line, 64);
    EXPECT_EQ(warnings[0].function, "CbThreadRunTasks::AddTask");
    EXPECT_EQ(warnings[0].text, L"Unfulfilled Condition");
    // Nothing was queued: a null in the queue would be met as its end.
    TaskPointer const next = makeTask();
    thread.AddTask(next);
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_TRUE(thread.IsSuccessful());
    EXPECT_EQ(next->calls, "bra");
}

TEST(CbThreadRunTasksAddTask, WakesNobodyWithNull)
{
    CLogRecorder const recorder;
    CbThreadRunTasks thread(L"tasks", false);
    thread.Break();
    EXPECT_TRUE(thread.StartAndWait());
    EXPECT_THROW(thread.AddTask(nullptr), CbExceptionCondition);
    EXPECT_FALSE(thread.WaitUntilTerminate(c_LookMs));
    thread.AddTask(makeTask());
    EXPECT_TRUE(thread.WaitUntilTerminate(c_PatienceMs));
    EXPECT_TRUE(thread.IsSuccessful());
}

TEST(CbThreadRunTasksAddTask, TakesTasksFromManyThreads)
{
    constexpr int c_Threads = 4;
    constexpr int c_Tasks = 500;
    std::atomic<int> count = 0;
    CbThreadRunTasks thread(L"tasks", false);
    CGate go;
    CGate last;
    thread.AddTask(makeTask([&] { go.Pass(); }));
    EXPECT_TRUE(thread.Start());
    std::vector<std::thread> adders;
    for (int n = 0; n < c_Threads; ++n)
    {
        adders.emplace_back(
            [&]
            {
                for (int task = 0; task < c_Tasks; ++task)
                {
                    thread.AddTask(makeTask([&] { ++count; }));
                }
            });
    }
    go.Open();
    for (std::thread& adder : adders)
    {
        adder.join();
    }
    thread.Break();
    EXPECT_TRUE(thread.WaitUntilTerminate());
    // Those that were added after the queue was found empty stay unrun; with all added and started again, all run.
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_EQ(count, c_Threads * c_Tasks);
}

TEST(CbThreadRunTasksDestructor, ReleasesWhatWasNotRun)
{
    int released = 0;
    {
        CbThreadRunTasks thread(L"tasks", true);
        for (int n = 0; n < 25; ++n)
        {
            TaskPointer task = makeTask([] { ADD_FAILURE() << "it was never started"; });
            task->onEnd = [&] { ++released; };
            thread.AddTask(std::move(task));
        }
    }
    EXPECT_EQ(released, 25);
}

// The nodes of what is released and of what is added come from one pool.
TEST(CbThreadRunTasksDestructor, ReleasesTasksWhileARunningTaskAddsOthers)
{
    CLogRecorder const recorder;
    CGate isInside;
    std::atomic<bool> isOver = false;
    std::atomic<int> added = 0;
    int released = 0;
    {
        CbThreadRunTasks thread(L"tasks", true);
        thread.AddTask(makeTask(
            [&]
            {
                isInside.Open();
                while (!isOver)
                {
                    thread.AddTask(makeTask());
                    ++added;
                    std::this_thread::yield();
                }
            }));
        for (int n = 0; n < 50; ++n)
        {
            TaskPointer task = makeTask([] { ADD_FAILURE() << "it was released"; });
            task->onEnd = [&]
            {
                ++released;
                int const before = added;
                EXPECT_TRUE(kerneltest::becomes([&] { return added != before; })) << "the lock is free meanwhile";
            };
            thread.AddTask(std::move(task));
        }
        TaskPointer last = makeTask();
        last->onEnd = [&]
        {
            // So that the thread ends by itself, and is not killed.
            isOver = true;
            EXPECT_TRUE(thread.WaitUntilTerminate(c_PatienceMs));
        };
        thread.AddTask(std::move(last));
        EXPECT_TRUE(thread.Start());
        ASSERT_TRUE(isInside.Pass());
    }
    EXPECT_EQ(released, 50);
    EXPECT_TRUE(recorder.GetRecords().empty()) << "nothing was killed";
}
