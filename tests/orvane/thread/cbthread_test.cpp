#include "orvane/thread/cbthread.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "handlecount.h"
#include "orvane/thread/testthread.h"
#include "support/logline.h"
#include "support/logrecorder.h"
#include "support/virtualposition.h"

using namespace threadtest;

// ---- before the start

TEST(CbThread, HasNoThreadBeforeItIsStarted)
{
    CTestThread thread;
    EXPECT_EQ(thread.GetThreadHandle(), nullptr);
    EXPECT_EQ(thread.getThreadID(), 0u);
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_TRUE(thread.IsSuccessful());
    EXPECT_TRUE(thread.GetFlags().IsEmpty());
    EXPECT_EQ(stateOf(thread), 0u);
    EXPECT_FALSE(isTerminatedEventSet(thread));
}

TEST(CbThread, KeepsItsFieldsWhereClientsExpectThem)
{
    CGuest thread;
    thread.AddFlags(CbFlags<CTestThread::EFlags>(0x100u));
    EXPECT_TRUE(thread.SetPriority(Priority::eThreadPriorityBelowNormal));
    thread.StartInside();
    EXPECT_EQ(fieldAt<unsigned int>(&thread, c_Flags), 0x100u);
    EXPECT_EQ(fieldAt<void const*>(&thread, c_Owner), &thread);
    EXPECT_EQ(fieldAt<HANDLE>(&thread, c_Handle), thread.GetThreadHandle());
    EXPECT_EQ(fieldAt<unsigned int>(&thread, c_ThreadId), thread.getThreadID());
    EXPECT_EQ(fieldAt<unsigned __int64>(&thread, c_Mask), CTestThread::GetProcessAffinityMask());
    EXPECT_EQ(fieldAt<void const*>(&thread, c_StartSignal), nullptr);
    EXPECT_EQ(fieldAt<int>(&thread, c_Priority), -1);
    EXPECT_EQ(stateOf(thread), c_Started | c_Running);
}

TEST(CbThread, KeepsTheOrderOfItsVirtualOperations)
{
    using Thread = CbThread<CTestThread, CbThreadPolicyMFC>;

    class CProtected : public CTestThread
    {
    public:
        static std::size_t PositionOfBefore()
        {
            return VirtualPosition(&CProtected::onBeforeRun);
        }

        static std::size_t PositionOfAfter()
        {
            return VirtualPosition(&CProtected::onAfterRun);
        }

    protected:
        void onBeforeRun() override
        {
        }

        void onAfterRun(unsigned int) override
        {
        }
    };

    EXPECT_EQ(VirtualPosition(&Thread::Start), 1u);
    EXPECT_EQ(VirtualPosition(&Thread::StartAndWait), 2u);
    EXPECT_EQ(CProtected::PositionOfBefore(), 3u);
    EXPECT_EQ(CProtected::PositionOfAfter(), 4u);
}

TEST(CbThread, KeepsItsName)
{
    CTestThread thread;
    EXPECT_STREQ(thread.GetName(), L"tested");
    std::wstring name = L"renamed";
    thread.setName(name.c_str());
    name = L"another";
    EXPECT_STREQ(thread.GetName(), L"renamed");
    thread.setName(nullptr);
    EXPECT_STREQ(thread.GetName(), L"");
}

TEST(CbThread, ChangesItsFlags)
{
    using Flags = CbFlags<CTestThread::EFlags>;
    CTestThread thread;
    thread.SetFlags(Flags(6u));
    thread.AddFlags(Flags(9u));
    EXPECT_EQ(thread.GetFlags(), Flags(15u));
    thread.RemoveFlags(Flags(3u));
    EXPECT_EQ(thread.GetFlags(), Flags(12u));
    EXPECT_TRUE(thread.IsFlagsSet(Flags(12u)));
    EXPECT_FALSE(thread.IsFlagsSet(Flags(6u)));
    EXPECT_TRUE(thread.IsOneFlagSet(Flags(6u)));
    EXPECT_FALSE(thread.IsOneFlagSet(CTestThread::eThreadFlagAutoDelete));
    thread.SetFlags(Flags(2u));
    EXPECT_EQ(thread.GetFlags(), Flags(2u));
}

// ---- start

TEST(CbThreadStart, RunsTheMethodOnAThreadOfItsOwn)
{
    CTestThread thread;
    unsigned int inside = 0;
    thread.body = [&]
    {
        inside = GetCurrentThreadId();
        return true;
    };
    runToEnd(thread);
    EXPECT_NE(inside, GetCurrentThreadId());
    EXPECT_EQ(inside, thread.getThreadID());
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_TRUE(thread.IsSuccessful());
    EXPECT_EQ(thread.result, 0u);
    EXPECT_EQ(exitCodeOf(thread.GetThreadHandle()), 0u);
    EXPECT_EQ(stateOf(thread), c_Started | c_Terminated4);
    EXPECT_TRUE(isTerminatedEventSet(thread));
}

TEST(CbThreadStart, RunsTheMethodOfAnOwnerThatIsNoThread)
{
    struct SOwner
    {
        CbCheckReturn<bool, CbCheckReturnPolicyAssert> Work()
        {
            hasWorked = true;
            return true;
        }

        bool hasWorked = false;
    };

    SOwner owner;
    CbThread<SOwner, CbThreadPolicyMFC> thread(owner, &SOwner::Work, nullptr,
                                               CbThread<SOwner, CbThreadPolicyMFC>::eThreadPriorityNormal, 0);
    EXPECT_STREQ(thread.GetName(), L"");
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_TRUE(owner.hasWorked);
    EXPECT_TRUE(thread.IsSuccessful());
}

TEST(CbThreadStart, KnowsHandleAndIdBeforeTheThreadRuns)
{
    CTestThread thread;
    unsigned long id = 0;
    HANDLE handle = nullptr;
    thread.before = [&]
    {
        id = thread.getThreadID();
        handle = thread.GetThreadHandle();
    };
    runToEnd(thread);
    EXPECT_EQ(id, GetThreadId(handle));
    EXPECT_EQ(handle, thread.GetThreadHandle());
}

TEST(CbThreadStart, RefusesWhileTheThreadRuns)
{
    CGuest thread;
    thread.StartInside();
    HANDLE const handle = thread.GetThreadHandle();
    EXPECT_TRUE(thread.IsRunning());
    EXPECT_FALSE(thread.Start());
    EXPECT_EQ(thread.GetThreadHandle(), handle);
    EXPECT_TRUE(thread.IsRunning());
}

TEST(CbThreadStart, StartsANewThreadAfterTheEnd)
{
    CTestThread thread;
    std::vector<unsigned int> ids;
    thread.body = [&]
    {
        ids.push_back(GetCurrentThreadId());
        return ids.size() != 1;
    };
    runToEnd(thread);
    EXPECT_FALSE(thread.IsSuccessful());
    runToEnd(thread);
    EXPECT_EQ(ids.size(), 2u);
    EXPECT_EQ(ids.back(), thread.getThreadID());
    EXPECT_TRUE(thread.IsSuccessful()) << "the outcome is the second run's";
}

TEST(CbThreadStart, LeavesTheTerminatedEventOfTheFirstEndSet)
{
    CGate second;
    CGuest thread;
    thread.leave.Open();
    runToEnd(thread);
    thread.body = [&] { return second.Pass(); };
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(isTerminatedEventSet(thread));
    second.Open();
}

TEST(CbThreadStart, LeavesNoHandleBehind)
{
    auto const round = []
    {
        CTestThread thread;
        runToEnd(thread);
        runToEnd(thread);
    };
    round();
    unsigned int const before = kerneltest::getHandleCount();
    round();
    EXPECT_EQ(kerneltest::getHandleCount(), before);
}

namespace
{
// A system that starts no thread.
class CRefusal
{
public:
    static bool Start(CbThreadPolicyMFC::FnThreadProcedure, void*, HANDLE& handle, unsigned int&)
    {
        ++s_asked;
        handle = nullptr;
        return false;
    }

    static inline int s_asked = 0;
};

struct SIdle
{
    CbCheckReturn<bool, CbCheckReturnPolicyAssert> Work()
    {
        return true;
    }
};
} // namespace

TEST(CbThreadStart, ReportsThatTheSystemStartsNoThread)
{
    SIdle owner;
    CbThread<SIdle, CRefusal> thread(owner, &SIdle::Work, L"", CbThread<SIdle, CRefusal>::eThreadPriorityNormal, 1);
    EXPECT_FALSE(thread.Start());
    EXPECT_EQ(fieldAt<unsigned int>(&thread, c_State), 0u);
    EXPECT_FALSE(thread.StartAndWait());
    EXPECT_EQ(fieldAt<void const*>(&thread, c_StartSignal), nullptr);
    EXPECT_EQ(CRefusal::s_asked, 2);
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_FALSE(thread.WaitUntilTerminate());
}

TEST(CbThreadStartAndWait, ReturnsWhenOnBeforeRunHasRun)
{
    CGuest thread;
    bool hasRun = false;
    thread.before = [&] { hasRun = true; };
    EXPECT_TRUE(thread.StartAndWait());
    EXPECT_TRUE(hasRun);
    EXPECT_EQ(fieldAt<void const*>(&thread, c_StartSignal), nullptr);
}

TEST(CbThreadStartAndWait, RefusesWhileTheThreadRuns)
{
    CGuest thread;
    thread.StartInside();
    EXPECT_FALSE(thread.StartAndWait());
    EXPECT_EQ(fieldAt<void const*>(&thread, c_StartSignal), nullptr);
}

TEST(CbThreadStartAndWait, RefusesWhileOnBeforeRunStillRuns)
{
    // The thread that runs already may take the second call's signal.
    for (int round = 0; round < 200; ++round)
    {
        CTestThread thread;
        ASSERT_TRUE(thread.Start());
        if (bool const isSecond = thread.StartAndWait(); isSecond)
        {
            ASSERT_NE(thread.GetThreadHandle(), nullptr);
        }
        ASSERT_TRUE(thread.WaitUntilTerminate());
        ASSERT_EQ(fieldAt<void const*>(&thread, c_StartSignal), nullptr);
    }
}

TEST(CbThreadStartAndWait, ReturnsTrueWhereOnBeforeRunFails)
{
    CTestThread thread;
    thread.before = [] { throw std::runtime_error("before"); };
    EXPECT_TRUE(thread.StartAndWait());
    EXPECT_TRUE(thread.WaitUntilTerminate());
    EXPECT_FALSE(thread.IsSuccessful());
}

// ---- outcome

TEST(CbThreadOutcome, IsAFailureWhereTheMethodReturnsFalse)
{
    CTestThread thread;
    thread.body = [] { return false; };
    runToEnd(thread);
    EXPECT_FALSE(thread.IsSuccessful());
    EXPECT_EQ(thread.result, c_ResultFailed);
    EXPECT_EQ(exitCodeOf(thread.GetThreadHandle()), 1u);
    EXPECT_EQ(stateOf(thread), c_Started | c_Terminated4 | c_Failed);
}

TEST(CbThreadOutcome, IsAFailureWhereTheMethodThrows)
{
    CTestThread thread;
    thread.body = []() -> bool { throw 1; };
    runToEnd(thread);
    EXPECT_FALSE(thread.IsSuccessful());
    EXPECT_EQ(thread.result, c_ResultFailed);
    EXPECT_EQ(exitCodeOf(thread.GetThreadHandle()), 1u);
}

TEST(CbThreadOutcome, IsAFailureWithoutTheMethodWhereOnBeforeRunThrows)
{
    CTestThread thread;
    bool hasRun = false;
    thread.before = [] { throw 1; };
    thread.body = [&] { return hasRun = true; };
    runToEnd(thread);
    EXPECT_FALSE(hasRun);
    EXPECT_FALSE(thread.IsSuccessful());
    EXPECT_EQ(thread.result, c_ResultFailed) << "onAfterRun runs all the same";
    EXPECT_EQ(exitCodeOf(thread.GetThreadHandle()), 1u);
}

TEST(CbThreadOutcome, IsAFailureWhereOnAfterRunThrows)
{
    CTestThread thread;
    thread.after = [] { throw 1; };
    runToEnd(thread);
    EXPECT_EQ(thread.result, 0u);
    EXPECT_FALSE(thread.IsSuccessful());
    EXPECT_EQ(exitCodeOf(thread.GetThreadHandle()), 1u);
    EXPECT_TRUE(isTerminatedEventSet(thread));
}

TEST(CbThreadOutcome, IsToldBeforeTheTerminatedEventIsSet)
{
    CTestThread thread;
    bool wasSet = true;
    thread.after = [&] { wasSet = isTerminatedEventSet(thread); };
    runToEnd(thread);
    EXPECT_FALSE(wasSet);
}

// ---- stopping

TEST(CbThreadSuspend, RefusesBeforeTheStartAndAfterTheEnd)
{
    CTestThread thread;
    EXPECT_FALSE(thread.Suspend());
    EXPECT_FALSE(thread.Resume());
    runToEnd(thread);
    EXPECT_FALSE(thread.Suspend());
    EXPECT_FALSE(thread.Resume());
    EXPECT_EQ(stateOf(thread), c_Started | c_Terminated4);
}

// ---- waiting

TEST(CbThreadWaitUntilTerminate, IsFalseWithoutAThread)
{
    CTestThread const thread;
    EXPECT_FALSE(thread.WaitUntilTerminate());
    EXPECT_FALSE(thread.WaitUntilTerminate(0));
    EXPECT_FALSE(thread.WaitUntilTerminate(std::chrono::milliseconds(0)));
}

TEST(CbThreadWaitUntilTerminate, IsFalseWhenTheTimeIsOver)
{
    CGuest thread;
    thread.StartInside();
    EXPECT_FALSE(thread.WaitUntilTerminate(0));
    EXPECT_FALSE(thread.WaitUntilTerminate(2));
    EXPECT_FALSE(thread.WaitUntilTerminate(std::chrono::milliseconds(2)));
    thread.leave.Open();
    EXPECT_TRUE(thread.WaitUntilTerminate(std::chrono::milliseconds(-1))) << "for ever";
    EXPECT_TRUE(thread.WaitUntilTerminate(0));
    EXPECT_TRUE(thread.WaitUntilTerminate(std::chrono::seconds(0)));
}

TEST(CbThreadWaitUntilTerminate, TakesAWaitThatFailsForAnEnd)
{
    CGuest thread;
    thread.StartInside();
    EXPECT_FALSE(thread.WaitUntilTerminate(0));
    auto& handle = const_cast<HANDLE&>(fieldAt<HANDLE>(&thread, c_Handle));
    HANDLE const good = std::exchange(handle, reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x7FFFFFF0)));
    EXPECT_TRUE(thread.WaitUntilTerminate(0));
    EXPECT_TRUE(thread.WaitUntilTerminate(std::chrono::milliseconds(0)));
    EXPECT_TRUE(thread.WaitUntilTerminate());
    handle = good;
}

TEST(CbThreadWaitUntilTerminate, WaitsForTheThreadAndNotForItsEvent)
{
    CGuest thread;
    CbEvent own(true, nullptr);
    thread.SetTerminateEvent(own);
    thread.StartInside();
    own.Set();
    EXPECT_FALSE(thread.WaitUntilTerminate(0));
}

TEST(CbThreadSetTerminateEvent, SignalsTheCallersEvent)
{
    CGuest thread;
    CbEvent own(true, nullptr);
    thread.SetTerminateEvent(own);
    thread.StartInside();
    EXPECT_FALSE(own.IsSet());
    thread.leave.Open();
    EXPECT_EQ(own.Wait(c_PatienceMs), CbEvent::eWaitSignaled);
}

// ---- killing

TEST(CbThreadTerminate, WarnsOfNothingWhereTheThreadHasEnded)
{
    CLogRecorder const recorder;
    CTestThread thread;
    thread.Terminate();
    EXPECT_EQ(stateOf(thread), 0u) << "without a thread nothing happens";
    runToEnd(thread);
    thread.Terminate();
    EXPECT_TRUE(recorder.GetRecords().empty());
    EXPECT_EQ(thread.GetThreadHandle(), nullptr);
    EXPECT_EQ(stateOf(thread), c_Terminated4);
}

TEST(CbThreadDestructor, DoesNotKillAThreadThatHasSignalledItsEnd)
{
    CLogRecorder const recorder;
    for (int round = 0; round < 200; ++round)
    {
        CbEvent hasEnded(true, nullptr);
        CTestThread thread;
        thread.SetTerminateEvent(hasEnded);
        ASSERT_TRUE(thread.Start());
        ASSERT_EQ(hasEnded.Wait(c_PatienceMs), CbEvent::eWaitSignaled);
    }
    EXPECT_TRUE(recorder.GetRecords().empty());
}

TEST(CbThreadAutoDelete, EndsTheObjectWithItsThread)
{
    CLogRecorder const recorder;
    CGate isGone;
    CGate leave;
    auto* const thread = new CTestThread;
    thread->AddFlags(CTestThread::eThreadFlagAutoDelete);
    thread->body = [&] { return leave.Pass(); };
    thread->onEnd = [&] { isGone.Open(); };
    ASSERT_TRUE(thread->Start());
    kerneltest::CHandle const handle = kerneltest::duplicate(thread->GetThreadHandle());
    EXPECT_FALSE(isGone.IsOpen());
    leave.Open();
    EXPECT_TRUE(isGone.Pass());
    EXPECT_EQ(WaitForSingleObject(handle, c_PatienceMs), WAIT_OBJECT_0);
    EXPECT_EQ(exitCodeOf(handle), 0u);
    EXPECT_TRUE(recorder.GetRecords().empty());
}

TEST(CbThreadAutoDelete, IsSafeToStartForAThreadThatEndsAtOnce)
{
    for (int round = 0; round < 100; ++round)
    {
        CGate isGone;
        auto* const thread = new CTestThread;
        thread->AddFlags(CTestThread::eThreadFlagAutoDelete);
        thread->onEnd = [&] { isGone.Open(); };
        ASSERT_TRUE(round % 2 == 0 ? thread->Start() : thread->StartAndWait().Get());
        ASSERT_TRUE(isGone.Pass());
    }
}

// ---- priority and affinity

TEST(CbThreadPriority, SetBeforeTheStartTakesEffectWhenTheThreadStarts)
{
    CTestThread thread;
    EXPECT_EQ(thread.GetPriority(), Priority::eThreadPriorityNormal);
    EXPECT_TRUE(thread.SetPriority(Priority::eThreadPriorityLowest));
    EXPECT_EQ(thread.GetPriority(), Priority::eThreadPriorityLowest);
    int atBefore = 0;
    thread.before = [&] { atBefore = GetThreadPriority(GetCurrentThread()); };
    runToEnd(thread);
    EXPECT_EQ(atBefore, -2);
}

TEST(CbThreadPriority, SetWhileTheThreadRunsTakesEffectAtOnce)
{
    CGuest thread;
    thread.StartInside();
    EXPECT_EQ(thread.GetPriority(), Priority::eThreadPriorityNormal);
    EXPECT_TRUE(thread.SetPriority(Priority::eThreadPriorityIdle));
    EXPECT_EQ(GetThreadPriority(thread.GetThreadHandle()), -15);
    EXPECT_EQ(thread.GetPriority(), Priority::eThreadPriorityIdle);
    EXPECT_EQ(fieldAt<int>(&thread, c_Priority), -15);
}

TEST(CbThreadPriority, IsTheThreadsOwnWhileThereIsOne)
{
    CGuest thread;
    thread.StartInside();
    EXPECT_TRUE(SetThreadPriority(thread.GetThreadHandle(), 1));
    EXPECT_EQ(thread.GetPriority(), Priority::eThreadPriorityAboveNormal);
    EXPECT_EQ(fieldAt<int>(&thread, c_Priority), 0) << "the wish is another";
}

TEST(CbThreadPriority, ReportsThatTheSystemRefuses)
{
    CGuest thread;
    thread.StartInside();
    EXPECT_FALSE(thread.SetPriority(static_cast<Priority>(77)));
    EXPECT_EQ(thread.GetPriority(), Priority::eThreadPriorityNormal);
    EXPECT_EQ(fieldAt<int>(&thread, c_Priority), 77) << "stored all the same";
}

struct SStep
{
    char const* name;
    int from;
    int down; // c_None where there is no step
    int up;
};

constexpr int c_None = 0x7777;

void PrintTo(SStep const& step, std::ostream* stream)
{
    *stream << step.name;
}

class CbThreadLadder : public testing::TestWithParam<SStep>
{
};

// Only those that a thread can have.
class CbThreadLadderOfThreads : public CbThreadLadder
{
};

constexpr SStep c_Steps[] = {{"Idle", -15, c_None, -2},      {"Lowest", -2, -15, -1},  {"BelowNormal", -1, -2, 0},
                             {"Normal", 0, -1, 1},           {"AboveNormal", 1, 0, 2}, {"Highest", 2, 1, 15},
                             {"TimeCritical", 15, 2, c_None}};

TEST_P(CbThreadLadder, MovesTheStoredPriority)
{
    SStep const& step = GetParam();
    CTestThread slower(static_cast<Priority>(step.from));
    EXPECT_EQ(slower.SlowDown(), step.down != c_None);
    EXPECT_EQ(slower.GetPriority(), step.down != c_None ? step.down : step.from);
    CTestThread faster(static_cast<Priority>(step.from));
    EXPECT_EQ(faster.SpeedUp(), step.up != c_None);
    EXPECT_EQ(faster.GetPriority(), step.up != c_None ? step.up : step.from);
}

TEST_P(CbThreadLadderOfThreads, MovesTheThreadsPriority)
{
    SStep const& step = GetParam();
    CGuest thread;
    thread.StartInside();
    ASSERT_TRUE(thread.SetPriority(static_cast<Priority>(step.from)));
    EXPECT_EQ(thread.SlowDown(), step.down != c_None);
    EXPECT_EQ(GetThreadPriority(thread.GetThreadHandle()), step.down != c_None ? step.down : step.from);
    ASSERT_TRUE(thread.SetPriority(static_cast<Priority>(step.from)));
    EXPECT_EQ(thread.SpeedUp(), step.up != c_None);
    EXPECT_EQ(GetThreadPriority(thread.GetThreadHandle()), step.up != c_None ? step.up : step.from);
    EXPECT_EQ(fieldAt<int>(&thread, c_Priority), step.up != c_None ? step.up : step.from);
}

std::string nameOf(testing::TestParamInfo<SStep> const& tested)
{
    return tested.param.name;
}

INSTANTIATE_TEST_SUITE_P(, CbThreadLadder, testing::ValuesIn(c_Steps), nameOf);
INSTANTIATE_TEST_SUITE_P(Unknown, CbThreadLadder, testing::Values(SStep{"Other", 7, c_None, c_None}), nameOf);
INSTANTIATE_TEST_SUITE_P(, CbThreadLadderOfThreads, testing::ValuesIn(c_Steps), nameOf);

TEST(CbThreadAffinity, SetBeforeTheStartTakesEffectWhenTheThreadStarts)
{
    unsigned __int64 const all = CTestThread::GetProcessAffinityMask();
    ASSERT_NE(all, 0u);
    unsigned __int64 const one = all & (~all + 1);
    CTestThread thread;
    EXPECT_TRUE(thread.SetThreadAffinityMask(one));
    unsigned __int64 atBefore = 0;
    thread.before = [&] { atBefore = SetThreadAffinityMask(GetCurrentThread(), all); };
    runToEnd(thread);
    EXPECT_EQ(atBefore, one);
}

TEST(CbThreadAffinity, SetWhileTheThreadRunsTakesEffectAtOnce)
{
    unsigned __int64 const all = CTestThread::GetProcessAffinityMask();
    unsigned __int64 const one = all & (~all + 1);
    CGuest thread;
    thread.StartInside();
    EXPECT_TRUE(thread.SetThreadAffinityMask(one));
    EXPECT_EQ(SetThreadAffinityMask(thread.GetThreadHandle(), all), one);
    EXPECT_FALSE(thread.SetThreadAffinityMask(0)) << "no processor at all";
    EXPECT_EQ(fieldAt<unsigned __int64>(&thread, c_Mask), 0u) << "stored all the same";
}

TEST(CbThreadAffinity, OfNoProcessorLeavesTheThreadWhereItIs)
{
    CTestThread thread(Priority::eThreadPriorityNormal, 0);
    unsigned __int64 const all = CTestThread::GetProcessAffinityMask();
    unsigned __int64 atBefore = 0;
    thread.before = [&] { atBefore = SetThreadAffinityMask(GetCurrentThread(), all); };
    runToEnd(thread);
    EXPECT_EQ(atBefore, all);
    EXPECT_TRUE(thread.IsSuccessful());
}

TEST(CbThreadIdealProcessor, NeedsAThread)
{
    CGuest thread;
    EXPECT_FALSE(thread.SetThreadIdealProcessor(0));
    thread.StartInside();
    EXPECT_TRUE(thread.SetThreadIdealProcessor(0));
    EXPECT_FALSE(thread.SetThreadIdealProcessor(65)) << "there is none";
}
