#include "orvane/thread/cbtask.h"

#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include "handlecount.h"
#include "logging/clogger.h"
#include "orvane/exception/cbexceptioncontainer.h"
#include "orvane/thread/testtask.h"
#include "orvane/thread/threadtest.h"
#include "support/layout.h"
#include "support/logline.h"
#include "support/logrecorder.h"
#include "support/virtualposition.h"

using namespace threadtest;

static_assert(std::is_abstract_v<CbTask> && std::is_base_of_v<IReferenceCounted, CbTask>);
static_assert(std::has_virtual_destructor_v<CbTask>);

namespace
{
// A class with a record of its own.
class CNamedTask : public CTestTask
{
public:
    static CbRTTI const RTTI;

    CbRTTI const& GetRTTI() const override
    {
        return RTTI;
    }
};

CbRTTI const CNamedTask::RTTI(L"CNamedTask", CbTask::RTTI, nullptr, nullptr);

// The fields as clients find them, behind the table of virtual operations and the counter.
constexpr std::size_t c_Terminated = 32;
constexpr std::size_t c_Successful = 40;
constexpr std::size_t c_Creator = 44;
constexpr std::size_t c_Running = 48;

bool hasTerminated(CbTask const& task)
{
    return task.WaitUntilTerminate(0);
}
} // namespace

// ---- a new task

TEST(CbTask, IsNeitherRunningNorSuccessfulNorTerminatedToBeginWith)
{
    CTestTask const task;
    EXPECT_FALSE(task.IsRunning());
    EXPECT_FALSE(task.IsThreaded());
    EXPECT_FALSE(task.IsSuccessful());
    EXPECT_FALSE(task.GetTerminatedEvent().IsSet());
    EXPECT_FALSE(task.WaitUntilTerminate(0));
    EXPECT_FALSE(task.WaitUntilTerminate(2));
    EXPECT_EQ(task.getReferenceCounter().GetCount(), 0u);
}

TEST(CbTask, KeepsItsFieldsWhereClientsExpectThem)
{
    CTestTask task;
    EXPECT_EQ(fieldAt<unsigned int>(&task, c_Creator), GetCurrentThreadId());
    EXPECT_EQ(fieldAt<unsigned int>(&task, c_Running), 0xFFFFFFFFu);
    EXPECT_EQ(fieldAt<char>(&task, c_Successful), 0);
    task.body = [&]
    {
        EXPECT_EQ(fieldAt<unsigned int>(&task, c_Running), GetCurrentThreadId());
        return true;
    };
    task.Run();
    EXPECT_EQ(fieldAt<unsigned int>(&task, c_Running), 0xFFFFFFFFu);
    EXPECT_EQ(fieldAt<char>(&task, c_Successful), 1);
    EXPECT_TRUE(fieldAt<CbEvent>(&task, c_Terminated).IsSet());
}

TEST(CbTask, KeepsTheOrderOfItsVirtualOperations)
{
    class CPositions : public CbTask
    {
    public:
        static std::vector<std::size_t> Get()
        {
            return {VirtualPosition(&CPositions::getReferenceCounter),
                    VirtualPosition(&CPositions::GetRTTI),
                    VirtualPosition(&CPositions::run),
                    VirtualPosition(&CPositions::doNotRun),
                    VirtualPosition(&CPositions::onAdd),
                    VirtualPosition(&CPositions::onBeforeRun),
                    VirtualPosition(&CPositions::onAfterRun),
                    VirtualPosition(&CPositions::onCancel),
                    VirtualPosition(&CPositions::onException)};
        }
    };

    EXPECT_EQ(CPositions::Get(), (std::vector<std::size_t>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(CbTask, HasARecordThatMakesNoObjects)
{
    CTestTask const task;
    EXPECT_STREQ(task.GetClassNameW(), L"CbTask") << "a class without a record goes by its parent's";
    EXPECT_EQ(CbRTTI::Find(L"CbTask"), &CbTask::RTTI);
    EXPECT_EQ(CbRTTI::getCreate(L"CbTask"), nullptr);
    EXPECT_EQ(CbRTTI::getClone(L"CbTask"), nullptr);
    EXPECT_EQ(CbTask::RTTI.GetParent(), nullptr);
    EXPECT_TRUE(task.Is(CbTask::RTTI));
    EXPECT_FALSE(task.Is(CNamedTask::RTTI));
    EXPECT_FALSE(task.IsKindOf(CNamedTask::RTTI));
}

TEST(CbTask, AnswersFromTheRecordOfADerivedClass)
{
    CNamedTask const task;
    EXPECT_STREQ(task.GetClassNameW(), L"CNamedTask");
    EXPECT_TRUE(task.Is(CNamedTask::RTTI));
    EXPECT_FALSE(task.Is(CbTask::RTTI));
    EXPECT_TRUE(task.IsKindOf(CbTask::RTTI));
}

TEST(CbTaskWaitUntilTerminate, TakesAWaitThatFailsForAnEnd)
{
    CTestTask const task;
    auto& event = const_cast<CbEvent&>(task.GetTerminatedEvent());
    EXPECT_FALSE(task.WaitUntilTerminate(0));
    CbEvent const& same = event;
    event = same; // which leaves it without a handle
    EXPECT_TRUE(task.WaitUntilTerminate(0));
    EXPECT_TRUE(task.WaitUntilTerminate(INFINITE));
}

// ---- running

TEST(CbTaskRun, CallsTheStepsInOrderAndReturnsTheTask)
{
    CTestTask task;
    EXPECT_EQ(&task.Run(), &task);
    EXPECT_EQ(task.calls, "bra");
    EXPECT_TRUE(task.IsSuccessful());
    EXPECT_TRUE(hasTerminated(task));
    EXPECT_TRUE(task.WaitUntilTerminate(INFINITE));
    EXPECT_FALSE(task.IsRunning());
}

TEST(CbTaskRun, FailsWhereTheWorkReturnsFalse)
{
    CTestTask task;
    bool wasCalled = false;
    task.body = [] { return false; };
    task.SetOnAfterRunTaskHandler(
        [&](CbTask const& ended)
        {
            wasCalled = true;
            EXPECT_EQ(&ended, &task);
            EXPECT_FALSE(ended.IsSuccessful());
        });
    task.Run();
    EXPECT_EQ(task.calls, "br") << "no onAfterRun, and nothing to report";
    EXPECT_FALSE(task.IsSuccessful());
    EXPECT_TRUE(wasCalled);
    EXPECT_TRUE(hasTerminated(task));
}

TEST(CbTaskRun, SkipsTheWorkWhereOnBeforeRunThrows)
{
    CLogRecorder const recorder;
    CTestTask task;
    task.before = [] { throw CbException("somewhere", 7, "CClient::Prepare"); };
    task.report = [](CbException const* exception)
    {
        EXPECT_STREQ(exception->GetFilename(), "somewhere");
        EXPECT_EQ(exception->GetCodeLine(), 7u);
        EXPECT_STREQ(exception->GetFunctionName(), "CClient::Prepare");
    };
    task.Run();
    EXPECT_EQ(task.calls, "bx");
    EXPECT_FALSE(task.IsSuccessful());
    EXPECT_TRUE(hasTerminated(task));
    EXPECT_EQ(recorder.GetRecords(L"Exception").size(), 1u) << "its own entry, and no other";
}

TEST(CbTaskRun, ReportsTheVeryExceptionThatTheWorkThrows)
{
    CLogRecorder const recorder;

    class CDerived : public CbException
    {
    public:
        CDerived() : CbException("somewhere", 8, "CClient::Work")
        {
        }
    };

    CTestTask task;
    task.body = []() -> bool { throw CDerived(); };
    task.report = [](CbException const* exception) { EXPECT_NE(dynamic_cast<CDerived const*>(exception), nullptr); };
    task.Run();
    EXPECT_EQ(task.calls, "brx");
    EXPECT_FALSE(task.IsSuccessful());
}

TEST(CbTaskRun, FailsWhereOnAfterRunThrows)
{
    CLogRecorder const recorder;
    CTestTask task;
    task.after = [] { throw CbException("somewhere", 9, "CClient::Finish"); };
    task.Run();
    EXPECT_EQ(task.calls, "brax");
    EXPECT_FALSE(task.IsSuccessful());
    EXPECT_TRUE(hasTerminated(task));
}

TEST(CbTaskRun, ReplacesAnExceptionFromElsewhere)
{
    CLogRecorder const recorder;
    CNamedTask task;
    task.body = []() -> bool { throw std::runtime_error("elsewhere"); };
    task.report = [](CbException const* exception)
    {
        EXPECT_EQ(typeid(*exception), typeid(CbException));
        EXPECT_STREQ(exception->GetFilename(), "cbtask");
        EXPECT_EQ(exception->GetCodeLine(), 62u);
        EXPECT_STREQ(exception->GetFunctionName(), "CbTaskHelper::tryAndCatch");
        EXPECT_EQ(exception->GetThreadID(), GetCurrentThreadId());
    };
    task.Run();
    EXPECT_EQ(task.calls, "brx");
    EXPECT_FALSE(task.IsSuccessful());
    std::vector<Logging::SRecord> const entries = recorder.GetRecords(L"Exception");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_NE(entries[0].text.find(L"'CbException' (cbtask:62): 'Unknown exception in task 'CNamedTask''"),
              std::wstring::npos)
        << testing::PrintToString(entries[0].text);
}

TEST(CbTaskRun, FailsAndTerminatesWhereASinkRaisesWhileAnExceptionIsReplaced)
{
    class CFullDisk : public Logging::ISink
    {
    public:
        void Write(Logging::SRecord const& record) override
        {
            if (record.logger == L"Exception")
            {
                throw std::runtime_error("the disk is full");
            }
        }
    };

    auto const sink = std::make_shared<CFullDisk>();
    Logging::CLogger::AddSink(sink);
    CTestTask task;
    task.body = []() -> bool { throw CbException("somewhere", 9, "CClient::Work"); };
    EXPECT_NO_THROW(task.Run());
    Logging::CLogger::RemoveSink(sink);

    EXPECT_EQ(task.calls, "br");
    EXPECT_FALSE(task.IsSuccessful());
    EXPECT_TRUE(hasTerminated(task));
}

TEST(CbTaskRun, ReplacesAnExceptionOfTheLightFamily)
{
    CLogRecorder const recorder;
    CTestTask task;
    task.before = [] { throw CbExceptionContainer("somewhere", 5, "CClient::Fill"); };
    task.report = [](CbException const* exception) { EXPECT_EQ(exception->GetCodeLine(), 62u); };
    task.Run();
    EXPECT_EQ(task.calls, "bx");
    std::vector<Logging::SRecord> const entries = recorder.GetRecords(L"Exception");
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].text, L"Out of memory");
    EXPECT_NE(entries[1].text.find(L"Unknown exception in task 'CbTask'"), std::wstring::npos);
}

TEST(CbTaskRun, CallsTheHandlerBeforeTheEventIsSetAndAfterTheTaskRuns)
{
    CTestTask task;
    bool wasCalled = false;
    task.SetOnAfterRunTaskHandler(
        [&](CbTask const& ended)
        {
            wasCalled = true;
            EXPECT_TRUE(ended.IsSuccessful());
            EXPECT_FALSE(ended.IsRunning());
            EXPECT_FALSE(ended.GetTerminatedEvent().IsSet());
        });
    task.Run();
    EXPECT_TRUE(wasCalled);
}

TEST(CbTaskRun, LetsAnExceptionOfTheHandlerThroughWithoutTheEvent)
{
    CTestTask task;
    task.SetOnAfterRunTaskHandler([](CbTask const&) { throw 5; });
    EXPECT_THROW(task.Run(), int);
    EXPECT_FALSE(hasTerminated(task));
    EXPECT_TRUE(task.IsSuccessful());
    EXPECT_FALSE(task.IsRunning());
}

TEST(CbTaskRun, LetsAnExceptionOfOnExceptionThroughWithoutTheEvent)
{
    CLogRecorder const recorder;
    CTestTask task;
    task.body = []() -> bool { throw 1; };
    task.report = [](CbException const*) { throw 5; };
    EXPECT_THROW(task.Run(), int);
    EXPECT_FALSE(hasTerminated(task));
}

TEST(CbTaskRun, MayBeRepeated)
{
    CTestTask task;
    bool isGood = false;
    task.body = [&] { return isGood; };
    task.Run();
    EXPECT_FALSE(task.IsSuccessful());
    isGood = true;
    task.Run();
    EXPECT_TRUE(task.IsSuccessful());
    EXPECT_EQ(task.calls, "brbra");
    EXPECT_TRUE(hasTerminated(task)) << "the event stays set in between";
}

TEST(CbTaskRun, ShowsTheOutcomeOfItsStepsSoFar)
{
    CTestTask task;
    std::vector<bool> seen;
    task.before = [&] { seen.push_back(task.IsSuccessful()); };
    task.body = [&]
    {
        seen.push_back(task.IsSuccessful());
        return true;
    };
    task.Run();
    EXPECT_EQ(seen, (std::vector<bool>{false, true}));
}

TEST(CbTaskRun, LeavesNothingOfTheTaskUsedAfterTheEvent)
{
    // The waiter ends the task while Run returns.
    for (int round = 0; round < 300; ++round)
    {
        auto task = std::make_unique<CTestTask>();
        CTestTask& running = *task;
        std::thread runner([&running] { running.Run(); });
        ASSERT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
        task.reset();
        runner.join();
    }
}

TEST(CbTaskIsThreaded, TellsWhetherTheCreatorRunsTheTask)
{
    CTestTask task;
    std::vector<bool> seen;
    task.body = [&]
    {
        seen.push_back(task.IsThreaded());
        EXPECT_TRUE(task.IsRunning());
        return true;
    };
    task.Run();
    std::thread([&] { task.Run(); }).join();
    EXPECT_EQ(seen, (std::vector<bool>{false, true}));
    EXPECT_FALSE(task.IsThreaded());
}

TEST(CbTaskSetOnAfterRunTaskHandler, ReplacesTheHandler)
{
    CTestTask task;
    int first = 0;
    int second = 0;
    task.SetOnAfterRunTaskHandler([&](CbTask const&) { ++first; });
    task.Run();
    task.SetOnAfterRunTaskHandler([&](CbTask const&) { ++second; });
    task.Run();
    task.SetOnAfterRunTaskHandler(nullptr);
    task.Run();
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
}

// ---- copies

TEST(CbTaskCopy, SharesTheEventAndTakesTheRest)
{
    int handled = 0;
    CTestTask source;
    source.SetOnAfterRunTaskHandler([&](CbTask const&) { ++handled; });
    source.Run();
    TaskPointer const owner(new CTestTask(source));
    EXPECT_EQ(owner->getReferenceCounter().GetCount(), 1u);
    CTestTask copy(*owner);
    EXPECT_EQ(copy.getReferenceCounter().GetCount(), 0u) << "a count of its own";
    EXPECT_TRUE(copy.IsSuccessful());
    EXPECT_TRUE(hasTerminated(copy));
    EXPECT_TRUE(copy.GetTerminatedEvent().Reset());
    EXPECT_FALSE(hasTerminated(source)) << "the same event";
    copy.Run();
    EXPECT_TRUE(hasTerminated(source));
    EXPECT_EQ(handled, 2);
}

TEST(CbTaskCopy, KeepsTheSourcesThreads)
{
    CTestTask source;
    std::thread(
        [&]
        {
            CTestTask const copy(source);
            EXPECT_EQ(fieldAt<unsigned int>(&copy, c_Creator), fieldAt<unsigned int>(&source, c_Creator));
        })
        .join();
    source.body = [&]
    {
        CTestTask const copy(source);
        EXPECT_TRUE(copy.IsRunning());
        return true;
    };
    source.Run();
}

TEST(CbTaskCopy, AssignedKeepsItsOwnCount)
{
    CTestTask source;
    source.Run();
    TaskPointer const target = makeTask();
    TaskPointer const second = target;
    *target = source;
    EXPECT_EQ(target->getReferenceCounter().GetCount(), 2u);
    EXPECT_TRUE(target->IsSuccessful());
    EXPECT_TRUE(source.GetTerminatedEvent().Reset());
    EXPECT_FALSE(hasTerminated(*target)) << "the same event";
}

TEST(CbTaskCopy, AssignedToItselfStaysWhatItIs)
{
    CTestTask task;
    task.Run();
    CTestTask& same = task;
    task = same;
    EXPECT_TRUE(hasTerminated(task));
    EXPECT_TRUE(task.GetTerminatedEvent().Reset());
}

TEST(CbTaskCopy, LeavesNoHandleBehind)
{
    auto const round = []
    {
        CTestTask source;
        CTestTask copy(source);
        copy = source;
        copy.Run();
    };
    round();
    unsigned int const before = kerneltest::getHandleCount();
    round();
    EXPECT_EQ(kerneltest::getHandleCount(), before);
}
