// Threads that are stopped or killed in the middle of anything. A program of its own: the sanitizers' locks would go down
// with the threads.

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/thread/cbthreadruntasks.h"
#include "orvane/thread/testtask.h"
#include "orvane/thread/testthread.h"
#include "support/logline.h"
#include "support/logrecorder.h"

using namespace threadtest;

TEST(CbThreadStart, StartsAgainAfterTerminate)
{
    CLogRecorder const recorder;
    CGuest thread;
    thread.StartInside();
    thread.Terminate();
    thread.leave.Open();
    runToEnd(thread);
    EXPECT_TRUE(thread.IsSuccessful());
}

TEST(CbThreadSuspend, StopsTheThreadOnce)
{
    CGuest thread;
    thread.StartInside();
    EXPECT_TRUE(thread.Suspend());
    EXPECT_EQ(stateOf(thread), c_Started | c_Running | c_Suspended);
    EXPECT_EQ(stopCount(thread.GetThreadHandle()), 1u);
    EXPECT_TRUE(thread.Suspend());
    EXPECT_EQ(stopCount(thread.GetThreadHandle()), 1u) << "stopped already";
    EXPECT_TRUE(thread.IsRunning()) << "it has not ended";
    EXPECT_TRUE(thread.Resume());
    EXPECT_EQ(stateOf(thread), c_Started | c_Running);
    EXPECT_EQ(stopCount(thread.GetThreadHandle()), 0u);
}

TEST(CbThreadSuspend, RunsNoFurtherUntilResume)
{
    CTestThread thread;
    std::atomic<unsigned int> count = 0;
    std::atomic<bool> isOver = false;
    thread.body = [&]
    {
        while (!isOver)
        {
            ++count;
        }
        return true;
    };
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(becomes([&] { return count != 0; }));
    EXPECT_TRUE(thread.Suspend());
    unsigned int const seen = count;
    isOver = true;
    EXPECT_FALSE(thread.WaitUntilTerminate(20));
    EXPECT_LE(count, seen + 1) << "an increment may be on its way to where it is seen";
    EXPECT_TRUE(thread.Resume());
    EXPECT_TRUE(thread.WaitUntilTerminate());
}

TEST(CbThreadSuspend, LetsAThreadStopItselfAndBeResumed)
{
    CTestThread thread;
    bool wasStopped = false;
    thread.body = [&] { return wasStopped = thread.Suspend(); };
    ASSERT_TRUE(thread.Start());
    // The mark comes before the stop: the thread may have to be resumed more than once until it has happened.
    EXPECT_TRUE(becomes(
        [&]
        {
            if (thread.IsRunning())
            {
                ResumeThread(thread.GetThreadHandle());
            }
            return !thread.IsRunning();
        }));
    EXPECT_TRUE(wasStopped);
}

TEST(CbThreadResume, SucceedsForAThreadThatIsNotStopped)
{
    CGuest thread;
    thread.StartInside();
    EXPECT_TRUE(thread.Resume());
    EXPECT_EQ(stopCount(thread.GetThreadHandle()), 0u);
}

TEST(CbThreadTerminate, KillsALiveThreadWithAWarning)
{
    CLogRecorder const recorder;
    CGuest thread;
    thread.StartInside();
    kerneltest::CHandle const handle = kerneltest::duplicate(thread.GetThreadHandle());
    std::wstring const id = std::to_wstring(static_cast<int>(thread.getThreadID()));
    thread.Terminate();

    std::vector<SLogLine> const expected{{L"Thread", Logging::eLevelWarn, "cbthreadinfo", 98,
                                          "CbThreadInfo::WarnOnTermination",
                                          L"Thread " + id + L" forcefully terminated\n"}};
    EXPECT_EQ(linesOf(recorder), expected);
    EXPECT_EQ(WaitForSingleObject(handle, c_PatienceMs), WAIT_OBJECT_0);
    EXPECT_EQ(exitCodeOf(handle), 259u) << "the code it was killed with is that of a live thread";
    EXPECT_EQ(thread.GetThreadHandle(), nullptr);
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(stateOf(thread), c_Terminated4);
    EXPECT_FALSE(isTerminatedEventSet(thread));
    EXPECT_EQ(thread.result, 0x7777u) << "no onAfterRun";
}

TEST(CbThreadDestructor, KillsALiveThreadWithAWarning)
{
    CLogRecorder const recorder;
    CGate isInside;
    CGate never;
    kerneltest::CHandle handle;
    {
        auto thread = std::make_unique<CTestThread>();
        thread->body = [&]
        {
            isInside.Open();
            return never.Pass();
        };
        ASSERT_TRUE(thread->Start());
        ASSERT_TRUE(isInside.Pass());
        handle = kerneltest::duplicate(thread->GetThreadHandle());
    }
    EXPECT_EQ(recorder.GetRecords(L"Thread").size(), 1u);
    EXPECT_EQ(WaitForSingleObject(handle, c_PatienceMs), WAIT_OBJECT_0);
}

TEST(CbThreadAutoDelete, LeavesTheThreadAliveWhereTheObjectIsDestroyedFirst)
{
    CLogRecorder const recorder;
    CGate isInside;
    CGate leave;
    CGate hasLeft;

    // Owned by another object, so that the method does not use the thread object.
    struct SOwner
    {
        CbCheckReturn<bool, CbCheckReturnPolicyAssert> Work()
        {
            isInside.Open();
            leave.Pass();
            hasLeft.Open();
            // The thread object is gone; this thread must not go back to it.
            CbEvent(true, nullptr).Wait(INFINITE);
            return true;
        }

        CGate& isInside;
        CGate& leave;
        CGate& hasLeft;
    };

    SOwner owner{isInside, leave, hasLeft};
    kerneltest::CHandle handle;
    {
        using Thread = CbThread<SOwner, CbThreadPolicyMFC>;
        Thread thread(owner, &SOwner::Work, L"", Thread::eThreadPriorityNormal, 0);
        thread.AddFlags(Thread::eThreadFlagAutoDelete);
        ASSERT_TRUE(thread.Start());
        ASSERT_TRUE(isInside.Pass());
        handle = kerneltest::duplicate(thread.GetThreadHandle());
    }
    EXPECT_TRUE(recorder.GetRecords().empty());
    leave.Open();
    EXPECT_TRUE(hasLeft.Pass());
    EXPECT_TRUE(TerminateThread(handle, 0));
    EXPECT_EQ(WaitForSingleObject(handle, c_PatienceMs), WAIT_OBJECT_0);
}

TEST(CbThreadRunTasksDestructor, KillsAThreadThatWaitsWithAWarning)
{
    CLogRecorder const recorder;
    kerneltest::CHandle handle;
    {
        CbThreadRunTasks thread(L"tasks", false);
        EXPECT_TRUE(thread.StartAndWait());
        handle = kerneltest::duplicate(thread.GetThreadHandle());
    }
    EXPECT_EQ(recorder.GetRecords(L"Thread").size(), 1u);
    EXPECT_EQ(WaitForSingleObject(handle, c_PatienceMs), WAIT_OBJECT_0);
}

TEST(CbThreadRunTasksDestructor, ReleasesTheQueueBeforeItKillsARunningTask)
{
    CLogRecorder const recorder;
    CGate isInside;
    CGate never;
    bool isReleased = false;
    // The killed thread's own reference is never given back: this one keeps the task from being lost.
    TaskPointer const running = makeTask(
        [&]
        {
            isInside.Open();
            never.Pass();
        });
    {
        CbThreadRunTasks thread(L"tasks", false);
        thread.AddTask(running);
        TaskPointer queued = makeTask();
        queued->onEnd = [&]
        {
            isReleased = true;
            EXPECT_TRUE(recorder.GetRecords().empty());
        };
        thread.AddTask(std::move(queued));
        EXPECT_TRUE(thread.Start());
        ASSERT_TRUE(isInside.Pass());
    }
    EXPECT_TRUE(isReleased);
    EXPECT_EQ(recorder.GetRecords(L"Thread").size(), 1u);
    EXPECT_TRUE(running->IsRunning()) << "it was cut off";
    EXPECT_FALSE(running->WaitUntilTerminate(0));
    // Owned by a thread that is gone: end it as the thread would have.
    EXPECT_EQ(running->getReferenceCounter().GetCount(), 2u);
}
