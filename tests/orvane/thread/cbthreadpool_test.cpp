#include "orvane/thread/cbthreadpool.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <iostream>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <type_traits>
#include <vector>

#include "handlecount.h"
#include "orvane/thread/pooltest.h"
#include "support/logrecorder.h"
#include "support/runprogram.h"

using namespace threadtest;

static_assert(!std::is_default_constructible_v<CbThreadPool> && !std::is_destructible_v<CbThreadPool>);
static_assert(!std::is_copy_constructible_v<CbThreadPool>);

namespace
{
using Pool = CbThreadPool;

// Long enough for a pool that would do something to have done it; decides on nothing where it does nothing.
constexpr unsigned int c_LookMs = 20;

// The pool as it is when it is made, which static initialisers may do.
struct SFreshPool
{
    unsigned int workers = 0;
    bool becomesIdle = false;
    bool isIdle = false;

    SFreshPool()
    {
        pool();
        workers = workerCount();
        becomesIdle = pool().WaitUntilIdle(c_PatienceMs);
        isIdle = pool().WaitUntilIdle(0);
    }
};

SFreshPool const s_fresh;

using CbThreadPoolAddTask = CPoolTest;
using CbThreadPoolAddFunction = CPoolTest;
using CbThreadPoolFunctionEvent = CPoolTest;
using CbThreadPoolLimit = CPoolTest;
using CbThreadPoolGrowth = CPoolTest;
using CbThreadPoolIdle = CPoolTest;
using CbThreadPoolShutdown = CPoolTest;
using CbThreadPoolHooks = CPoolTest;
using CbThreadPoolOrder = CPoolTest;
using CbThreadPoolStress = CPoolTest;

// What ran, in order.
class CDiary
{
public:
    TaskPointer MakeTask(std::string name)
    {
        return makeTask(
            [this, name = std::move(name)]
            {
                std::lock_guard const guard(m_lock);
                m_text += (m_text.empty() ? "" : " ") + name;
            });
    }

    std::string Read() const
    {
        std::lock_guard const guard(m_lock);
        return m_text;
    }

private:
    mutable std::mutex m_lock;
    std::string m_text;
};

void add(CbSmartPointer<CbTask> const& task, Pool::ETaskPriority priority = Pool::eTaskPriorityNormal)
{
    ASSERT_TRUE(pool().AddTask(task, priority));
}

void runOne()
{
    TaskPointer const task = makeTask();
    add(task);
    ASSERT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
}
} // namespace

TEST(CbThreadPoolFresh, HasAWorkerForEachProcessorAndBecomesIdle)
{
    EXPECT_EQ(s_fresh.workers, CbCPU::GetCount());
    EXPECT_TRUE(s_fresh.becomesIdle);
    EXPECT_TRUE(s_fresh.isIdle);
}

// ---- adding

TEST_F(CbThreadPoolAddTask, RefusesNullAndChangesNothing)
{
    EXPECT_FALSE(pool().AddTask(nullptr, Pool::eTaskPriorityNormal));
    EXPECT_EQ(workerCount(), 0u);
    EXPECT_TRUE(pool().WaitUntilIdle(0));
}

TEST_F(CbThreadPoolAddTask, RunsTheTaskOnAnotherThreadAndReleasesIt)
{
    unsigned int id = 0;
    TaskPointer const task = makeTask([&] { id = GetCurrentThreadId(); });
    add(task);
    EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
    EXPECT_NE(id, GetCurrentThreadId());
    EXPECT_EQ(task->calls, "+bra");
    EXPECT_TRUE(task->IsSuccessful());
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    EXPECT_EQ(task->getReferenceCounter().GetCount(), 1u);
}

TEST_F(CbThreadPoolAddTask, RunsATaskAgain)
{
    TaskPointer const task = makeTask();
    for (int round = 0; round < 3; ++round)
    {
        add(task);
        EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
    }
    EXPECT_EQ(task->calls, "+bra+bra+bra");
}

TEST_F(CbThreadPoolAddTask, GoesOnAfterWhatATaskLetsOut)
{
    CLogRecorder const recorder;
    TaskPointer const failing = makeTask([] { throw 1; });
    failing->report = [](CbException const*) { throw 2; };
    add(failing);
    TaskPointer const other = makeTask();
    other->SetOnAfterRunTaskHandler([](CbTask const&) { throw 3; });
    add(other);
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    EXPECT_FALSE(failing->WaitUntilTerminate(0)) << "the event comes after what was let out";
    EXPECT_FALSE(other->WaitUntilTerminate(0));
    runOne();
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs)) << "no worker was lost";
}

TEST_F(CbThreadPoolAddTask, RaisesForAPriorityThatThereIsNotOnceTheTaskHasToBeQueued)
{
    CLogRecorder const recorder;
    pool().LimitTaskCount(1);
    CBlocker blocker;
    blocker.Submit();
    TaskPointer const task = makeTask();
    try
    {
        pool().AddTask(task, static_cast<Pool::ETaskPriority>(3));
        ADD_FAILURE() << "nothing was raised";
    }
    catch (CbException const& raised)
    {
        EXPECT_EQ(typeid(raised), typeid(CbException));
        EXPECT_STREQ(raised.GetFilename(), "cbthreadpool");
        EXPECT_EQ(raised.GetCodeLine(), 807u);
        EXPECT_STREQ(raised.GetFunctionName(), "CbThreadPool::SThreadData::GetOpenTasks");
    }
    // The lock is free again: another thread gets its task done.
    std::thread(runOne).join();
    blocker.Release();
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    EXPECT_EQ(task->calls, "+") << "it was not queued";
}

TEST_F(CbThreadPoolAddTask, TakesAnyPriorityForATaskThatIsNotQueued)
{
    runOne();
    ASSERT_TRUE(becomesIdle(1));
    TaskPointer const task = makeTask();
    add(task, static_cast<Pool::ETaskPriority>(3));
    EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
}

TEST_F(CbThreadPoolAddFunction, ReturnsTheTaskThatRunsIt)
{
    bool hasRun = false;
    CbSmartPointer<CbTask> const task = pool().AddFunction([&] { hasRun = true; }, Pool::eTaskPriorityHigh);
    ASSERT_NE(task, nullptr);
    EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
    EXPECT_TRUE(hasRun);
    EXPECT_TRUE(task->IsSuccessful());
    EXPECT_STREQ(task->GetClassNameW(), L"CbTask");
}

// Tasks of functions share their memory with those before and after them.
TEST_F(CbThreadPoolAddFunction, KeepsTasksThatAreHeldWhileThoseBesideThemGo)
{
    constexpr int c_Threads = 40; // more than there are stocks of memory for them
    constexpr int c_Tasks = 50;
    auto const counted = std::make_shared<int>(0);
    std::vector<std::vector<CbSmartPointer<CbTask>>> held(c_Threads);
    std::atomic<int> runs = 0;
    std::vector<std::thread> submitters;
    for (int n = 0; n < c_Threads; ++n)
    {
        submitters.emplace_back(
            [&, n]
            {
                for (int task = 0; task < c_Tasks; ++task)
                {
                    CbSmartPointer<CbTask> added =
                        pool().AddFunction([&runs, counted] { ++runs; }, Pool::eTaskPriorityNormal);
                    if (task % 7 == n % 7)
                    {
                        held[static_cast<std::size_t>(n)].push_back(std::move(added));
                    }
                }
            });
    }
    for (std::thread& submitter : submitters)
    {
        submitter.join();
    }
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    EXPECT_EQ(runs, c_Threads * c_Tasks);

    long tasks = 0;
    for (std::vector<CbSmartPointer<CbTask>> const& ofOne : held)
    {
        for (CbSmartPointer<CbTask> const& task : ofOne)
        {
            EXPECT_TRUE(task->WaitUntilTerminate(0));
            EXPECT_TRUE(task->IsSuccessful());
            ++tasks;
        }
    }
    EXPECT_TRUE(becomes([&] { return counted.use_count() == tasks + 1; }))
        << "the others are gone, with what they held";
    std::thread([&] { held.clear(); }).join();
    EXPECT_EQ(counted.use_count(), 1);
}

TEST_F(CbThreadPoolAddFunction, FailsTheTaskOfAnEmptyFunction)
{
    CLogRecorder const recorder;
    CbSmartPointer<CbTask> const task = pool().AddFunction(nullptr, Pool::eTaskPriorityNormal);
    ASSERT_NE(task, nullptr);
    EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
    EXPECT_FALSE(task->IsSuccessful());
    std::vector<Logging::SRecord> const entries = recorder.GetRecords(L"Exception");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_NE(entries[0].text.find(L"Unknown exception in task 'CbTask'"), std::wstring::npos);
}

// ---- the terminated event of a function's task, which is made when it is needed first

TEST_F(CbThreadPoolFunctionEvent, TakesNoHandleWhereNobodyWaits)
{
    runOne();
    ASSERT_TRUE(becomesIdle(1));
    unsigned int const before = kerneltest::getHandleCount();
    std::vector<CbSmartPointer<CbTask>> tasks;
    for (int n = 0; n < 100; ++n)
    {
        tasks.push_back(pool().AddFunction([] {}, Pool::eTaskPriorityNormal));
        EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
        EXPECT_TRUE(tasks.back()->WaitUntilTerminate(0));
    }
    EXPECT_EQ(workerCount(), 1u);
    EXPECT_EQ(kerneltest::getHandleCount(), before);
}

TEST_F(CbThreadPoolFunctionEvent, ReleasesWhoWaitedBeforeTheEnd)
{
    CGate leave;
    CbSmartPointer<CbTask> const task = pool().AddFunction([&] { leave.Pass(); }, Pool::eTaskPriorityNormal);
    EXPECT_FALSE(task->WaitUntilTerminate(0));
    EXPECT_FALSE(task->WaitUntilTerminate(2));
    CbEvent const& event = task->GetTerminatedEvent();
    CbEvent const copy(event);
    EXPECT_FALSE(copy.IsSet());
    std::thread waiter([&] { EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs)); });
    leave.Open();
    waiter.join();
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(copy.IsSet());
    EXPECT_EQ(&event, &task->GetTerminatedEvent());
}

TEST_F(CbThreadPoolFunctionEvent, IsSetWhereItIsAskedForAfterTheEnd)
{
    CbSmartPointer<CbTask> const task = pool().AddFunction([] {}, Pool::eTaskPriorityNormal);
    ASSERT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    SetLastError(1234);
    EXPECT_TRUE(task->WaitUntilTerminate(INFINITE));
    EXPECT_EQ(GetLastError(), 0u);
    CbEvent const copy(task->GetTerminatedEvent());
    EXPECT_TRUE(copy.IsSet());
    EXPECT_TRUE(copy.Reset());
    EXPECT_FALSE(task->WaitUntilTerminate(0)) << "the copy is the same event";
}

TEST_F(CbThreadPoolFunctionEvent, IsResetWhenTheTaskIsAddedAgain)
{
    for (bool const isMade : {false, true})
    {
        CGate first;
        CGate second;
        std::atomic<int> round = 0;
        CbSmartPointer<CbTask> const task =
            pool().AddFunction([&] { EXPECT_TRUE((round++ == 0 ? first : second).Pass()); }, Pool::eTaskPriorityNormal);
        if (isMade)
        {
            EXPECT_FALSE(task->GetTerminatedEvent().IsSet());
        }
        first.Open();
        ASSERT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
        EXPECT_TRUE(task->WaitUntilTerminate(0));
        ASSERT_TRUE(pool().AddTask(task, Pool::eTaskPriorityNormal));
        SetLastError(1234);
        EXPECT_FALSE(task->WaitUntilTerminate(0));
        EXPECT_EQ(GetLastError(), 0u);
        second.Open();
        EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
        EXPECT_EQ(round, 2);
    }
}

TEST_F(CbThreadPoolFunctionEvent, IsSharedWithATaskThatItIsAssignedTo)
{
    CGate leave;
    CbSmartPointer<CbTask> const task = pool().AddFunction([&] { leave.Pass(); }, Pool::eTaskPriorityNormal);
    TaskPointer const other = makeTask();
    static_cast<CbTask&>(*other) = *task;
    EXPECT_FALSE(other->WaitUntilTerminate(0));
    leave.Open();
    EXPECT_TRUE(other->WaitUntilTerminate(c_PatienceMs));
}

TEST_F(CbThreadPoolFunctionEvent, IsOneForAllThatAskWhileTheTaskEnds)
{
    constexpr int c_Rounds = 500;
    constexpr int c_Askers = 3;
    for (int round = 0; round < c_Rounds; ++round)
    {
        CbSmartPointer<CbTask> const task = pool().AddFunction([] {}, Pool::eTaskPriorityNormal);
        std::array<CbEvent const*, c_Askers> events{};
        std::vector<std::thread> askers;
        for (CbEvent const*& event : events)
        {
            askers.emplace_back(
                [&]
                {
                    event = &task->GetTerminatedEvent();
                    EXPECT_EQ(event->Wait(c_PatienceMs), CbEvent::eWaitSignaled);
                });
        }
        for (std::thread& asker : askers)
        {
            asker.join();
        }
        for (CbEvent const* const event : events)
        {
            ASSERT_EQ(event, events[0]);
        }
        ASSERT_TRUE(task->WaitUntilTerminate(0));
    }
}

// ---- limits

TEST_F(CbThreadPoolLimit, IsTheNumberOfProcessorsToBeginWith)
{
    unsigned int const limit = CbCPU::GetCount();
    std::atomic<unsigned int> running = 0;
    std::atomic<unsigned int> most = 0;
    CGate leave;
    std::vector<TaskPointer> tasks;
    for (unsigned int n = 0; n < limit + 5; ++n)
    {
        tasks.push_back(makeTask(
            [&]
            {
                unsigned int const now = ++running;
                unsigned int seen = most;
                while (seen < now && !most.compare_exchange_weak(seen, now))
                {
                }
                leave.Pass();
                --running;
            }));
        add(tasks.back());
    }
    EXPECT_TRUE(becomes([&] { return running == limit; }));
    EXPECT_FALSE(tasks.back()->WaitUntilTerminate(c_LookMs));
    EXPECT_EQ(running, limit);
    leave.Open();
    for (TaskPointer const& task : tasks)
    {
        EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
    }
    EXPECT_EQ(most, limit);
}

TEST_F(CbThreadPoolLimit, OfOneKeepsEachSubmitterToOneTask)
{
    constexpr int c_Tasks = 300;
    std::array<std::atomic<int>, 2> running{};
    std::atomic<int> done = 0;
    std::atomic<bool> wasAbove = false;
    std::vector<std::thread> submitters;
    for (auto& own : running)
    {
        submitters.emplace_back(
            [&]
            {
                pool().LimitTaskCount(1);
                std::vector<TaskPointer> tasks;
                for (int n = 0; n < c_Tasks; ++n)
                {
                    tasks.push_back(makeTask(
                        [&]
                        {
                            if (++own > 1)
                            {
                                wasAbove = true;
                            }
                            std::this_thread::yield();
                            --own;
                            ++done;
                        }));
                    add(tasks.back());
                }
                for (TaskPointer const& task : tasks)
                {
                    EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
                }
                EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
                pool().LimitTaskCount(0);
            });
    }
    for (std::thread& submitter : submitters)
    {
        submitter.join();
    }
    EXPECT_FALSE(wasAbove);
    EXPECT_EQ(done, 2 * c_Tasks);
}

TEST_F(CbThreadPoolLimit, RaisedStartsNothingUntilAWorkerLooksForWork)
{
    // Two workers, one of them idle.
    {
        pool().LimitTaskCount(2);
        CBlocker first;
        first.Submit();
        CBlocker second;
        second.Submit();
    }
    ASSERT_TRUE(becomesIdle(2));
    pool().LimitTaskCount(1);
    CBlocker blocker;
    blocker.Submit();
    TaskPointer const queued = makeTask();
    add(queued);
    pool().LimitTaskCount(2);
    EXPECT_FALSE(queued->WaitUntilTerminate(c_LookMs));
    EXPECT_EQ(idleCount(), 1u);

    // A new task has room and an idle worker: it goes past the queued one, which the worker takes afterwards.
    bool wasQueuedUnrun = false;
    TaskPointer const overtaking = makeTask([&] { wasQueuedUnrun = queued->calls == "+"; });
    add(overtaking);
    EXPECT_TRUE(overtaking->WaitUntilTerminate(c_PatienceMs));
    EXPECT_TRUE(wasQueuedUnrun);
    EXPECT_TRUE(queued->WaitUntilTerminate(c_PatienceMs));
    EXPECT_FALSE(blocker.task->WaitUntilTerminate(0));
}

TEST_F(CbThreadPoolLimit, LoweredStopsNothingThatRuns)
{
    pool().LimitTaskCount(2);
    CBlocker first;
    first.Submit();
    CBlocker second;
    second.Submit();
    pool().LimitTaskCount(1);
    TaskPointer const queued = makeTask();
    add(queued);
    EXPECT_FALSE(queued->WaitUntilTerminate(c_LookMs));
    // A worker serves the submitter whose task it ran whatever the limit.
    first.Release();
    EXPECT_TRUE(queued->WaitUntilTerminate(c_PatienceMs));
    EXPECT_FALSE(second.task->WaitUntilTerminate(0));
}

TEST_F(CbThreadPoolLimit, ResetToTheDefaultHoldsForWhatComesLater)
{
    pool().LimitTaskCount(1);
    runOne();
    ASSERT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    pool().LimitTaskCount(0);
    std::vector<std::unique_ptr<CBlocker>> blockers;
    for (unsigned int n = 0; n < CbCPU::GetCount(); ++n)
    {
        blockers.push_back(std::make_unique<CBlocker>());
        blockers.back()->Submit();
    }
    TaskPointer const queued = makeTask();
    add(queued);
    EXPECT_FALSE(queued->WaitUntilTerminate(c_LookMs));
}

TEST_F(CbThreadPoolLimit, ResetWhileTasksRunKeepsTheRecordAndItsQueue)
{
    pool().LimitTaskCount(1);
    CBlocker blocker;
    blocker.Submit();
    TaskPointer const queued = makeTask();
    add(queued);
    pool().LimitTaskCount(0);
    blocker.Release();
    EXPECT_TRUE(queued->WaitUntilTerminate(c_PatienceMs));
}

TEST_F(CbThreadPoolLimit, OfAnotherThreadIsSetByItsId)
{
    CGate isKnown;
    CGate isLimited;
    unsigned long id = 0;
    bool wasQueued = false;
    std::thread submitter(
        [&]
        {
            id = GetCurrentThreadId();
            isKnown.Open();
            isLimited.Pass();
            CBlocker blocker;
            blocker.Submit();
            TaskPointer const queued = makeTask();
            add(queued);
            wasQueued = !queued->WaitUntilTerminate(c_LookMs);
            blocker.Release();
            EXPECT_TRUE(queued->WaitUntilTerminate(c_PatienceMs));
        });
    ASSERT_TRUE(isKnown.Pass());
    pool().LimitTaskCount(id, 1);
    isLimited.Open();
    submitter.join();
    EXPECT_TRUE(wasQueued);
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    pool().LimitTaskCount(id, 0);
    pool().LimitTaskCount(id, 0);
}

// ---- order

TEST_F(CbThreadPoolOrder, ServesThePrioritiesFromHighToLowAndEachInOrder)
{
    pool().LimitTaskCount(1);
    CDiary diary;
    CBlocker blocker;
    blocker.Submit();
    std::vector<TaskPointer> tasks;
    auto const queue = [&](char const* name, Pool::ETaskPriority priority)
    {
        tasks.push_back(diary.MakeTask(name));
        add(tasks.back(), priority);
    };
    queue("low1", Pool::eTaskPriorityLow);
    queue("normal1", Pool::eTaskPriorityNormal);
    queue("high1", Pool::eTaskPriorityHigh);
    queue("low2", Pool::eTaskPriorityLow);
    queue("normal2", Pool::eTaskPriorityNormal);
    queue("high2", Pool::eTaskPriorityHigh);
    blocker.Release();
    ASSERT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    EXPECT_EQ(diary.Read(), "high1 high2 normal1 normal2 low1 low2");
    EXPECT_EQ(workerCount(), 1u);
}

TEST_F(CbThreadPoolOrder, AWorkerServesItsOwnSubmitterFirst)
{
    CDiary diary;
    pool().LimitTaskCount(1);
    CBlocker blocker;
    blocker.Submit();
    // Another thread waits with more important work, under a limit that its own blocked task takes up.
    CBlocker other;
    TaskPointer const others = diary.MakeTask("other");
    unsigned long otherId = 0;
    std::thread(
        [&]
        {
            otherId = GetCurrentThreadId();
            pool().LimitTaskCount(1);
            other.Submit();
            add(others, Pool::eTaskPriorityHigh);
        })
        .join();
    pool().LimitTaskCount(otherId, 2);
    add(diary.MakeTask("own1"), Pool::eTaskPriorityLow);
    add(diary.MakeTask("own2"), Pool::eTaskPriorityLow);
    blocker.Release();
    EXPECT_TRUE(others->WaitUntilTerminate(c_PatienceMs));
    EXPECT_EQ(diary.Read(), "own1 own2 other");
    other.Release();
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    pool().LimitTaskCount(otherId, 0);
}

TEST_F(CbThreadPoolOrder, AQuietSubmitterIsNotHeldUpByAFlood)
{
    // The flood may keep only its own share busy: the quiet thread's tasks find room, and a worker.
    CGate leave;
    std::atomic<int> flooded = 0;
    for (int n = 0; n < 1000; ++n)
    {
        add(makeTask(
            [&]
            {
                leave.Pass();
                ++flooded;
            }));
    }
    std::thread(
        []
        {
            for (int n = 0; n < 20; ++n)
            {
                runOne();
            }
        })
        .join();
    EXPECT_EQ(flooded, 0);
    leave.Open();
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    EXPECT_EQ(flooded, 1000);
}

// ---- growth

TEST_F(CbThreadPoolGrowth, StartsOneWorkerForATaskThatFindsRoomButNoIdleWorker)
{
    pool().LimitTaskCount(3);
    CBlocker first;
    first.Submit();
    EXPECT_EQ(workerCount(), 1u);
    CBlocker second;
    second.Submit();
    EXPECT_EQ(workerCount(), 2u);
    first.Release();
    ASSERT_TRUE(becomesIdle(1));
    // An idle worker: no new one.
    CBlocker third;
    third.Submit();
    EXPECT_EQ(workerCount(), 2u);
    CBlocker fourth;
    fourth.Submit();
    EXPECT_EQ(workerCount(), 3u);
    // No room: no new one.
    TaskPointer const queued = makeTask();
    add(queued);
    EXPECT_EQ(workerCount(), 3u);
    second.Release();
    EXPECT_TRUE(queued->WaitUntilTerminate(c_PatienceMs));
    EXPECT_EQ(workerCount(), 3u) << "it never shrinks by itself";
}

TEST_F(CbThreadPoolGrowth, LetsTasksWaitForTasksThatTheySubmit)
{
    constexpr int c_Levels = 64;
    std::atomic<int> deepest = 0;
    std::function<void(int)> descend = [&](int level)
    {
        deepest = level;
        if (level < c_Levels)
        {
            CbSmartPointer<CbTask> const inner =
                pool().AddFunction([&descend, level] { descend(level + 1); }, Pool::eTaskPriorityNormal);
            EXPECT_NE(inner, nullptr);
            EXPECT_TRUE(inner->WaitUntilTerminate(c_PatienceMs));
        }
    };
    CbSmartPointer<CbTask> const outer = pool().AddFunction([&] { descend(1); }, Pool::eTaskPriorityNormal);
    ASSERT_NE(outer, nullptr);
    EXPECT_TRUE(outer->WaitUntilTerminate(c_PatienceMs));
    EXPECT_EQ(deepest, c_Levels);
    EXPECT_EQ(workerCount(), static_cast<unsigned int>(c_Levels));
}

TEST_F(CbThreadPoolGrowth, AccountsWhatATaskSubmitsToItsWorker)
{
    pool().LimitTaskCount(1);
    bool hasRun = false;
    TaskPointer const outer = makeTask(
        [&]
        {
            TaskPointer const inner = makeTask([&] { hasRun = true; });
            add(inner);
            // The submitter's limit of one is taken up by this task.
            EXPECT_TRUE(inner->WaitUntilTerminate(c_PatienceMs));
        });
    add(outer);
    EXPECT_TRUE(outer->WaitUntilTerminate(c_PatienceMs));
    EXPECT_TRUE(hasRun);
}

// ---- hooks

TEST_F(CbThreadPoolHooks, ResetTheTerminatedEventWhenTheTaskIsAdded)
{
    pool().LimitTaskCount(1);
    TaskPointer const task = makeTask();
    task->Run();
    CBlocker blocker;
    blocker.Submit();
    EXPECT_TRUE(task->WaitUntilTerminate(0));
    add(task);
    EXPECT_FALSE(task->WaitUntilTerminate(0));
    blocker.Release();
    EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
}

TEST_F(CbThreadPoolHooks, RefuseATaskThatIsOfferedToAnIdleWorker)
{
    runOne();
    ASSERT_TRUE(becomesIdle(1));
    TaskPointer const task = makeTask();
    task->isUnwanted = [] { return true; };
    EXPECT_FALSE(pool().AddTask(task, Pool::eTaskPriorityNormal));
    EXPECT_EQ(task->calls, "+") << "it was added all the same";
    EXPECT_EQ(idleCount(), 1u);
    EXPECT_FALSE(task->WaitUntilTerminate(0));
    EXPECT_EQ(task->getReferenceCounter().GetCount(), 1u);
}

TEST_F(CbThreadPoolHooks, DropAQueuedTaskWhenItsTurnComes)
{
    pool().LimitTaskCount(1);
    CBlocker blocker;
    blocker.Submit();
    TaskPointer const dropped = makeTask();
    dropped->isUnwanted = [] { return true; };
    add(dropped);
    TaskPointer const next = makeTask();
    add(next);
    blocker.Release();
    EXPECT_TRUE(next->WaitUntilTerminate(c_PatienceMs));
    ASSERT_TRUE(becomesIdle(1));
    EXPECT_EQ(dropped->calls, "+");
    EXPECT_FALSE(dropped->WaitUntilTerminate(0));
    EXPECT_EQ(dropped->getReferenceCounter().GetCount(), 1u);
}

TEST_F(CbThreadPoolHooks, DropAQueuedTaskWhoseAnswerFails)
{
    pool().LimitTaskCount(1);
    CBlocker blocker;
    blocker.Submit();
    TaskPointer const failing = makeTask();
    failing->isUnwanted = []() -> bool { throw 1; };
    add(failing);
    TaskPointer const next = makeTask();
    add(next);
    blocker.Release();
    EXPECT_TRUE(next->WaitUntilTerminate(c_PatienceMs));
    EXPECT_EQ(failing->calls, "+");
    EXPECT_TRUE(becomesIdle(1)) << "the worker goes on";
}

TEST_F(CbThreadPoolHooks, ThatThrowLeaveTheTaskUnqueuedAndTheLockFree)
{
    TaskPointer const task = makeTask();
    task->add = [] { throw 1; };
    EXPECT_THROW(pool().AddTask(task, Pool::eTaskPriorityNormal), int);
    std::thread(runOne).join();
    ASSERT_TRUE(becomesIdle(1));
    TaskPointer const other = makeTask();
    other->isUnwanted = []() -> bool { throw 1; };
    EXPECT_THROW(pool().AddTask(other, Pool::eTaskPriorityNormal), int);
    EXPECT_EQ(idleCount(), 1u);
    std::thread(runOne).join();
    EXPECT_EQ(task->getReferenceCounter().GetCount(), 1u);
    EXPECT_EQ(other->getReferenceCounter().GetCount(), 1u);
}

TEST_F(CbThreadPoolHooks, MayComeBackIntoThePool)
{
    // The answer of a task takes the idle worker that the task was to get, and changes limits.
    runOne();
    ASSERT_TRUE(becomesIdle(1));
    CBlocker taker;
    TaskPointer const task = makeTask();
    task->isUnwanted = [&]
    {
        if (!taker.isSubmitted)
        {
            taker.isSubmitted = true;
            EXPECT_TRUE(pool().AddTask(taker.task, Pool::eTaskPriorityNormal));
            pool().LimitTaskCount(7);
        }
        return false;
    };
    add(task);
    EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
    EXPECT_EQ(workerCount(), 2u);
    EXPECT_FALSE(taker.task->WaitUntilTerminate(0));
}

TEST_F(CbThreadPoolHooks, OfAQueuedTaskMayRemoveItsRecord)
{
    pool().LimitTaskCount(1);
    unsigned long const id = GetCurrentThreadId();
    std::atomic<int> released = 0;
    std::atomic<bool> hasRun = false;
    {
        CBlocker blocker;
        blocker.Submit();
        TaskPointer first = makeTask();
        first->isUnwanted = [id]
        {
            pool().LimitTaskCount(id, 0);
            return true;
        };
        first->onEnd = [&] { ++released; };
        add(first);
        first.Reset();
        TaskPointer second = makeTask([&] { hasRun = true; });
        second->onEnd = [&] { ++released; };
        add(second);
        second.Reset();
        blocker.Release();
    }
    EXPECT_TRUE(becomesIdle(1));
    EXPECT_TRUE(becomes([&] { return released == 2; })) << "both were dropped";
    EXPECT_FALSE(hasRun) << "the queue goes with the record";
    runOne();
}

TEST_F(CbThreadPoolHooks, TheEndOfADroppedTaskMayComeBackIntoThePool)
{
    pool().LimitTaskCount(1);
    CBlocker blocker;
    blocker.Submit();
    TaskPointer const late = makeTask();
    TaskPointer dropped = makeTask();
    dropped->isUnwanted = [] { return true; };
    dropped->onEnd = [&]
    {
        // Another thread gets through: the pool's lock is free.
        std::thread(
            []
            {
                pool().LimitTaskCount(5);
                pool().LimitTaskCount(0);
            })
            .join();
        EXPECT_TRUE(pool().AddTask(late, Pool::eTaskPriorityNormal));
    };
    add(dropped);
    dropped.Reset();
    blocker.Release();
    EXPECT_TRUE(late->WaitUntilTerminate(c_PatienceMs));
}

// ---- idleness and shutdown

TEST_F(CbThreadPoolIdle, IsToldByTheWait)
{
    CBlocker blocker;
    blocker.Submit();
    EXPECT_FALSE(pool().WaitUntilIdle(0));
    EXPECT_FALSE(pool().WaitUntilIdle(2));
    blocker.Release();
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    EXPECT_TRUE(pool().WaitUntilIdle(0));
}

TEST_F(CbThreadPoolShutdown, StopsNothingWhileATaskRuns)
{
    CBlocker blocker;
    blocker.Submit();
    EXPECT_FALSE(pool().ShutdownAndWait(0));
    EXPECT_FALSE(pool().ShutdownAndWait(2));
    EXPECT_EQ(workerCount(), 1u);
    std::thread(runOne).join();
    blocker.Release();
    EXPECT_TRUE(pool().ShutdownAndWait(c_PatienceMs));
    EXPECT_EQ(workerCount(), 0u);
    EXPECT_TRUE(pool().ShutdownAndWait(0)) << "with no worker there is nothing to wait for";
    runOne();
    EXPECT_EQ(workerCount(), 1u);
}

TEST_F(CbThreadPoolShutdown, EndsTheThreadsOfItsWorkers)
{
    kerneltest::CHandle worker;
    {
        CBlocker blocker;
        HANDLE thread = nullptr;
        blocker.task->before = [&]
        {
            DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, 0, FALSE,
                            DUPLICATE_SAME_ACCESS);
        };
        blocker.Submit();
        worker = kerneltest::CHandle(thread);
    }
    EXPECT_EQ(WaitForSingleObject(worker, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(pool().ShutdownAndWait(c_PatienceMs));
    EXPECT_EQ(WaitForSingleObject(worker, 0), WAIT_OBJECT_0);
    EXPECT_EQ(exitCodeOf(worker), 0u);
}

TEST_F(CbThreadPoolShutdown, WaitsForWorkThatIsAddedMeanwhile)
{
    for (int round = 0; round < 20; ++round)
    {
        std::atomic<int> done = 0;
        std::thread adder(
            [&]
            {
                for (int n = 0; n < 20; ++n)
                {
                    add(makeTask([&] { ++done; }));
                }
            });
        EXPECT_TRUE(pool().ShutdownAndWait(c_PatienceMs));
        adder.join();
        EXPECT_TRUE(pool().ShutdownAndWait(c_PatienceMs));
        EXPECT_EQ(done, 20);
        ASSERT_EQ(workerCount(), 0u);
    }
}

TEST_F(CbThreadPoolShutdown, OfSomeWorkersLeavesTheRest)
{
    pool().LimitTaskCount(4);
    {
        std::array<CBlocker, 4> blockers;
        for (CBlocker& blocker : blockers)
        {
            blocker.Submit();
        }
    }
    EXPECT_TRUE(limitWorkers(9));
    EXPECT_EQ(workerCount(), 4u);
    EXPECT_TRUE(limitWorkers(3));
    EXPECT_EQ(workerCount(), 3u);
    EXPECT_EQ(idleCount(), 3u);
    EXPECT_TRUE(pool().WaitUntilIdle(0));
    runOne();
    EXPECT_EQ(workerCount(), 3u);
    EXPECT_TRUE(limitWorkers(0));
    EXPECT_EQ(workerCount(), 0u);
}

// ---- the end of the process

class CbThreadPoolExit : public testing::TestWithParam<char const*>
{
};

TEST_P(CbThreadPoolExit, IsPromptAndClean)
{
    SProgramRun const run = runProgram(ORVANE_POOL_EXIT_PROBE, GetParam());
    EXPECT_TRUE(run.succeeded) << run.errors;
    EXPECT_EQ(run.output.substr(0, run.output.find_first_of("\r\n")), GetParam());
    EXPECT_EQ(run.errors, "");
}

INSTANTIATE_TEST_SUITE_P(, CbThreadPoolExit,
                         testing::Values("unused", "idle", "running", "queued", "inside", "returning", "stopped"),
                         [](auto const& tested) { return std::string(tested.param); });

// ---- many tasks; ORVANE_POOL_TASKS sets how many, ORVANE_POOL_SEED repeats the choices of a run

TEST_F(CbThreadPoolStress, RunsEveryTaskOnceWhateverTheSubmitters)
{
    long long const total = kerneltest::getNumber("ORVANE_POOL_TASKS", 40'000);
    for (int const submitterCount : {1, 2, 8})
    {
        long long const each = total / submitterCount / 3;
        std::atomic<long long> done = 0;
        std::atomic<long long> twice = 0;
        std::vector<std::thread> submitters;
        for (int n = 0; n < submitterCount; ++n)
        {
            submitters.emplace_back(
                [&, n]
                {
                    constexpr long long c_Batch = 256;
                    for (long long begin = 0; begin < each; begin += c_Batch)
                    {
                        std::vector<std::atomic<int>> runs(static_cast<std::size_t>(std::min(c_Batch, each - begin)));
                        std::vector<CbSmartPointer<CbTask>> tasks;
                        for (std::atomic<int>& count : runs)
                        {
                            auto const priority = static_cast<Pool::ETaskPriority>((begin + n) % 3);
                            tasks.push_back(pool().AddFunction(
                                [&]
                                {
                                    twice += ++count > 1 ? 1 : 0;
                                    ++done;
                                },
                                priority));
                        }
                        for (CbSmartPointer<CbTask> const& task : tasks)
                        {
                            ASSERT_NE(task, nullptr);
                            ASSERT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
                        }
                    }
                });
        }
        for (std::thread& submitter : submitters)
        {
            submitter.join();
        }
        EXPECT_EQ(done, each * submitterCount);
        EXPECT_EQ(twice, 0);
        EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    }
}

namespace
{
// Submits tasks of both kinds with random priorities, changes limits in between, and sees to it that each task ran once.
class CRandomSubmitter
{
public:
    CRandomSubmitter(unsigned long long seed, long long taskCount) : m_random(seed), m_taskCount(taskCount)
    {
    }

    void Run()
    {
        m_threadId = GetCurrentThreadId();
        for (long long begin = 0; begin < m_taskCount && !testing::Test::HasFatalFailure(); begin += c_Batch)
        {
            runBatch(std::min(c_Batch, m_taskCount - begin));
        }
        pool().LimitTaskCount(0);
    }

    std::atomic<unsigned long> const& GetThreadId() const
    {
        return m_threadId;
    }

    // Whose limits this one changes besides its own.
    CRandomSubmitter const* neighbour = nullptr;

private:
    class CCountingTask : public CbTask
    {
    public:
        std::atomic<int> runs = 0;

    protected:
        TCheckedBool run() override
        {
            ++runs;
            return true;
        }
    };

    static constexpr long long c_Batch = 512;
    static constexpr int c_ChangeEvery = 64; // tasks, about
    static constexpr unsigned int c_HighestLimit = 5;

    unsigned int upTo(unsigned int limit)
    {
        return static_cast<unsigned int>(m_random() % limit);
    }

    // Never to 0: that may drop what is queued.
    void changeALimit()
    {
        unsigned long const id = upTo(4) == 0 ? neighbour->GetThreadId().load() : m_threadId.load();
        if (id != 0)
        {
            pool().LimitTaskCount(id, 1 + upTo(c_HighestLimit));
        }
    }

    void runBatch(long long count)
    {
        std::vector<std::atomic<int>> functionRuns(static_cast<std::size_t>(count));
        std::vector<CbSmartPointer<CbTask>> tasks;
        std::vector<CbSmartPointer<CCountingTask>> ownTasks;
        for (std::atomic<int>& runs : functionRuns)
        {
            if (upTo(c_ChangeEvery) == 0)
            {
                changeALimit();
            }
            auto const priority = static_cast<Pool::ETaskPriority>(upTo(3));
            if (upTo(2) == 0)
            {
                tasks.push_back(pool().AddFunction([&runs] { ++runs; }, priority));
                ASSERT_NE(tasks.back(), nullptr);
            }
            else
            {
                ++runs;
                ownTasks.push_back(MakeCounted<CCountingTask>());
                ASSERT_TRUE(pool().AddTask(ownTasks.back(), priority));
            }
        }
        // All of them before any count is looked at, so that a second run could have happened.
        for (CbSmartPointer<CbTask> const& task : tasks)
        {
            ASSERT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
        }
        for (CbSmartPointer<CCountingTask> const& task : ownTasks)
        {
            ASSERT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
        }
        ASSERT_TRUE(std::ranges::all_of(functionRuns, [](auto const& runs) { return runs == 1; }));
        ASSERT_TRUE(std::ranges::all_of(ownTasks, [](auto const& task) { return task->runs == 1; }));
    }

    std::mt19937_64 m_random;
    long long const m_taskCount;
    std::atomic<unsigned long> m_threadId = 0;
};
} // namespace

TEST_F(CbThreadPoolStress, RunsEveryTaskOnceWhileLimitsChange)
{
    constexpr std::size_t c_Submitters = 4;
    long long const total = kerneltest::getNumber("ORVANE_POOL_TASKS", 40'000);
    long long const seed = kerneltest::getNumber("ORVANE_POOL_SEED", std::random_device()());
    std::cout << "ORVANE_POOL_SEED=" << seed << " ORVANE_POOL_TASKS=" << total << '\n';
    std::vector<std::unique_ptr<CRandomSubmitter>> submitters;
    for (std::size_t n = 0; n < c_Submitters; ++n)
    {
        submitters.push_back(std::make_unique<CRandomSubmitter>(static_cast<unsigned long long>(seed) + n,
                                                                total / static_cast<long long>(c_Submitters)));
    }
    std::vector<std::thread> threads;
    for (std::size_t n = 0; n < c_Submitters; ++n)
    {
        submitters[n]->neighbour = submitters[(n + 1) % c_Submitters].get();
        threads.emplace_back([&submitter = *submitters[n]] { submitter.Run(); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    // A neighbour may have been quicker with its last change than a submitter with its farewell.
    for (auto const& submitter : submitters)
    {
        pool().LimitTaskCount(submitter->GetThreadId(), 0);
    }
}
