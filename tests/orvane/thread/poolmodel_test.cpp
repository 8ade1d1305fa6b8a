// Random schedules: threads submit tasks, tasks end, limits change, and at each step the pool must have done exactly what
// its book-keeping says: which task runs next, how many workers there are, how many of them are idle.
//
// The steps follow each other: the next one is made when the pool has done what the model says. Tasks end when the test
// lets them. ORVANE_POOL_SEED repeats a run, ORVANE_POOL_STEPS sets its length.

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/container/cbmap.h"
#include "orvane/thread/pooltest.h"

using namespace threadtest;

namespace
{
using Pool = CbThreadPool;

constexpr unsigned int c_SettleMs = 60'000;
constexpr int c_Actors = 4;
constexpr unsigned int c_HighestLimit = 6;

// The order in which tasks began to run.
class CStarts
{
public:
    void Add(int id)
    {
        std::lock_guard const guard(m_lock);
        m_ids.push_back(id);
        m_count.store(m_ids.size());
    }

    std::size_t GetCount() const
    {
        return m_count;
    }

    std::vector<int> Take()
    {
        std::lock_guard const guard(m_lock);
        m_count = 0;
        return std::exchange(m_ids, {});
    }

private:
    std::mutex m_lock;
    std::vector<int> m_ids;
    std::atomic<std::size_t> m_count = 0;
};

class CModelTask : public CbTask
{
public:
    CModelTask(CStarts& starts, int id, bool isUnwanted) : m_starts(starts), m_id(id), m_isUnwanted(isUnwanted)
    {
        ++s_alive;
    }

    CModelTask(CModelTask const&) = delete;
    CModelTask& operator=(CModelTask const&) = delete;

    ~CModelTask() override
    {
        --s_alive;
    }

    void End() const
    {
        m_leave.Set();
    }

    unsigned int GetOwners() const
    {
        return getReferenceCounter().GetCount();
    }

    int GetRuns() const
    {
        return m_runs;
    }

    static inline std::atomic<int> s_alive = 0;

protected:
    bool doNotRun() const override
    {
        return m_isUnwanted;
    }

    TCheckedBool run() override
    {
        ++m_runs;
        m_starts.Add(m_id);
        return m_leave.Wait(INFINITE) == CbEvent::eWaitSignaled;
    }

private:
    CStarts& m_starts;
    int const m_id;
    bool const m_isUnwanted;
    std::atomic<int> m_runs = 0;
    CbEvent m_leave{true, nullptr};
};

// A thread that submits when it is told to.
class CActor
{
public:
    CActor() = default;
    CActor(CActor const&) = delete;
    CActor& operator=(CActor const&) = delete;

    ~CActor()
    {
        m_isOver = true;
        m_go.Set();
        m_thread.join();
    }

    template <class F>
    auto Do(F const& function)
    {
        decltype(function()) result{};
        m_job = [&] { result = function(); };
        EXPECT_TRUE(m_go.Set());
        EXPECT_EQ(m_isDone.Wait(c_PatienceMs), CbEvent::eWaitSignaled);
        return result;
    }

    unsigned long GetId()
    {
        return Do([] { return static_cast<unsigned long>(GetCurrentThreadId()); });
    }

private:
    void live()
    {
        while (m_go.Wait(INFINITE) == CbEvent::eWaitSignaled && !m_isOver)
        {
            m_job();
            m_isDone.Set();
        }
    }

    CbEvent m_go{false, nullptr};
    CbEvent m_isDone{false, nullptr};
    std::function<void()> m_job;
    std::atomic<bool> m_isOver = false;
    std::thread m_thread{[this] { live(); }};
};

// The book-keeping, by its rules and without threads.
class CModel
{
public:
    struct STask
    {
        unsigned long submitter;
        bool isUnwanted;
    };

    // What AddTask reports.
    bool Submit(unsigned long submitter, unsigned int priority, int id, bool isUnwanted)
    {
        tasks[id] = {submitter, isUnwanted};
        SThread& thread = record(submitter);
        if (thread.running < thread.limit && idle > 0)
        {
            if (isUnwanted)
            {
                dropped.push_back(id);
                return false;
            }
            --idle;
            start(thread, id);
            return true;
        }
        thread.open[priority].push_back(id);
        if (thread.running < thread.limit)
        {
            m_waiting.push_back(submitter);
            ++workers;
            lookForWork(std::nullopt);
        }
        return true;
    }

    void End(int id)
    {
        unsigned long const submitter = tasks[id].submitter;
        running.erase(std::find(running.begin(), running.end(), id));
        lookForWork(submitter);
    }

    void Limit(unsigned long submitter, unsigned int maximum)
    {
        if (maximum != 0)
        {
            record(submitter).limit = maximum;
            return;
        }
        SThread* const thread = m_threads.Find(submitter);
        if (thread == nullptr)
        {
            return;
        }
        if (thread->running != 0)
        {
            thread->limit = CbCPU::GetCount();
            return;
        }
        for (auto const& open : thread->open)
        {
            dropped.insert(dropped.end(), open.begin(), open.end());
        }
        m_threads.Remove(submitter);
    }

    unsigned int GetRunning(unsigned long submitter) const
    {
        SThread const* const thread = m_threads.Find(submitter);
        return thread != nullptr ? thread->running : 0;
    }

    unsigned int workers = 0;
    unsigned int idle = 0;
    std::vector<int> running;
    std::vector<int> started; // in this step
    std::vector<int> dropped; // in this step
    std::map<int, STask> tasks;

private:
    struct SThread
    {
        unsigned int limit = CbCPU::GetCount();
        unsigned int running = 0;
        std::array<std::deque<int>, 3> open;
    };

    SThread& record(unsigned long submitter)
    {
        SThread* const thread = m_threads.Find(submitter);
        return thread != nullptr ? *thread : m_threads.Insert(submitter, SThread());
    }

    void start(SThread& thread, int id)
    {
        ++thread.running;
        running.push_back(id);
        started.push_back(id);
    }

    bool serve(SThread& thread, bool isLimited)
    {
        for (int priority = 2; priority >= 0; --priority)
        {
            std::deque<int>& open = thread.open[static_cast<std::size_t>(priority)];
            while (!open.empty() && (!isLimited || thread.running < thread.limit))
            {
                int const id = open.front();
                open.pop_front();
                if (!tasks[id].isUnwanted)
                {
                    start(thread, id);
                    return true;
                }
                dropped.push_back(id);
            }
        }
        return false;
    }

    void lookForWork(std::optional<unsigned long> submitter)
    {
        if (submitter)
        {
            SThread& thread = *m_threads.Find(*submitter);
            --thread.running;
            if (serve(thread, false))
            {
                return;
            }
            if (thread.running == 0 && thread.limit == CbCPU::GetCount())
            {
                m_threads.Remove(*submitter);
            }
        }
        if (!m_waiting.empty())
        {
            SThread* const thread = m_threads.Find(m_waiting.front());
            m_waiting.pop_front();
            if (thread != nullptr && serve(*thread, true))
            {
                return;
            }
        }
        // The order of the pool's own kind of map, which any stable order could be.
        for (auto [id, thread] : m_threads)
        {
            if (serve(thread, true))
            {
                return;
            }
        }
        ++idle;
    }

    CbMap<unsigned long, SThread> m_threads{128};
    std::deque<unsigned long> m_waiting;
};

class CRun
{
public:
    explicit CRun(long long seed) : m_random(static_cast<unsigned long long>(seed))
    {
        for (CActor& actor : m_actors)
        {
            m_ids.push_back(actor.GetId());
        }
    }

    void Step()
    {
        m_model.started.clear();
        m_model.dropped.clear();
        int const choice = upTo(100);
        if (choice < 48)
        {
            submit();
        }
        else if (choice < 90)
        {
            if (!m_model.running.empty())
            {
                end(upTo(static_cast<int>(m_model.running.size())));
            }
        }
        else if (choice < 98)
        {
            unsigned long const id = m_ids[static_cast<std::size_t>(upTo(c_Actors))];
            auto const maximum = static_cast<unsigned int>(upTo(c_HighestLimit + 1));
            pool().LimitTaskCount(id, maximum);
            m_model.Limit(id, maximum);
        }
        else if (m_model.running.empty())
        {
            auto const maximum = static_cast<unsigned int>(upTo(3));
            ASSERT_TRUE(limitWorkers(maximum));
            m_model.workers = std::min(m_model.workers, maximum);
            m_model.idle = m_model.workers;
        }
        settle();
    }

    void Finish()
    {
        while (!m_model.running.empty() && !testing::Test::HasFatalFailure())
        {
            m_model.started.clear();
            m_model.dropped.clear();
            end(0);
            settle();
        }
        EXPECT_TRUE(m_tasks.empty()) << "a queued task was left behind";
        for (unsigned long const id : m_ids)
        {
            pool().LimitTaskCount(id, 0);
        }
    }

    long long GetRunCount() const
    {
        return m_runCount;
    }

private:
    int upTo(int limit)
    {
        return static_cast<int>(m_random() % static_cast<unsigned int>(limit));
    }

    void submit()
    {
        auto const actor = static_cast<std::size_t>(upTo(c_Actors));
        auto const priority = static_cast<unsigned int>(upTo(3));
        bool const isUnwanted = upTo(10) == 0;
        int const id = m_nextId++;
        CbSmartPointer<CModelTask> const task(new CModelTask(m_starts, id, isUnwanted));
        m_tasks[id] = task;
        bool const expected = m_model.Submit(m_ids[actor], priority, id, isUnwanted);
        bool const reported =
            m_actors[actor].Do([&] { return pool().AddTask(task, static_cast<Pool::ETaskPriority>(priority)); });
        ASSERT_EQ(reported, expected);
    }

    void end(int place)
    {
        int const id = m_model.running[static_cast<std::size_t>(place)];
        CbSmartPointer<CModelTask> const task = m_tasks[id];
        m_model.End(id);
        task->End();
        ASSERT_TRUE(task->WaitUntilTerminate(c_SettleMs));
        ASSERT_EQ(task->GetRuns(), 1);
        m_tasks.erase(id);
        m_model.tasks.erase(id);
        ++m_runCount;
    }

    void settle()
    {
        ASSERT_TRUE(becomes(
            [&]
            {
                return m_starts.GetCount() == m_model.started.size() && workerCount() == m_model.workers &&
                       idleCount() == m_model.idle;
            },
            c_SettleMs))
            << "started " << m_starts.GetCount() << " of " << m_model.started.size() << ", workers " << workerCount()
            << " of " << m_model.workers << ", idle " << idleCount() << " of " << m_model.idle;
        ASSERT_EQ(m_starts.Take(), m_model.started);
        for (int const id : m_model.dropped)
        {
            CbSmartPointer<CModelTask> const task = m_tasks[id];
            m_tasks.erase(id);
            m_model.tasks.erase(id);
            ASSERT_EQ(task->GetRuns(), 0);
            ASSERT_TRUE(becomes([&] { return task->GetOwners() == 1; }, c_SettleMs));
            ASSERT_FALSE(task->WaitUntilTerminate(0));
        }
    }

    std::mt19937_64 m_random;
    CStarts m_starts;
    std::array<CActor, c_Actors> m_actors;
    std::vector<unsigned long> m_ids;
    std::map<int, CbSmartPointer<CModelTask>> m_tasks;
    CModel m_model;
    int m_nextId = 0;
    long long m_runCount = 0;
};

using CbThreadPoolModel = CPoolTest;
} // namespace

TEST_F(CbThreadPoolModel, SaysWhatThePoolDoes)
{
    long long const seed = kerneltest::getNumber("ORVANE_POOL_SEED", std::random_device()());
    long long const steps = kerneltest::getNumber("ORVANE_POOL_STEPS", 20'000);
    std::cout << "ORVANE_POOL_SEED=" << seed << " ORVANE_POOL_STEPS=" << steps << '\n';
    {
        CRun run(seed);
        for (long long step = 0; step < steps; ++step)
        {
            run.Step();
            ASSERT_FALSE(HasFatalFailure()) << "seed " << seed << ", step " << step;
        }
        run.Finish();
        EXPECT_GT(run.GetRunCount(), steps / 4);
    }
    EXPECT_TRUE(pool().WaitUntilIdle(c_PatienceMs));
    EXPECT_TRUE(becomes([] { return CModelTask::s_alive == 0; }));
}
