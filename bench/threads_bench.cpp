// Threads and pools: starting a thread, empty tasks in bulk, one task and a wait, and a quiet submitter beside a flood.

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef ORVANE_BENCH_ASIO
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#endif
#ifdef ORVANE_BENCH_POCO
#include <Poco/Exception.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>
#include <Poco/ThreadPool.h>
#endif
// Before Qt, which makes a macro of a name in there.
#ifdef ORVANE_BENCH_TBB
#include <tbb/global_control.h>
#include <tbb/task_arena.h>
#endif
#ifdef ORVANE_BENCH_QT
#include <QThread>
#include <QThreadPool>
#endif

#include "orvane/thread/cbthread.h"
#include "orvane/thread/cbthreadpool.h"
#include "support/benchmain.h"

// Last: it makes macros of names that the platform's types have.
#ifdef ORVANE_BENCH_GLIB
#include <glib.h>
#endif

namespace
{
constexpr int c_Tasks = 10'000;       // in one iteration
constexpr int c_FloodTasks = 100'000; // that are in the pool when the quiet submitter begins
constexpr int c_QuietTasks = 100;

// ---- pools: Submit has the function run by a thread of the pool

class COrvanePool
{
public:
    // As new: with no worker that the row before made it start.
    COrvanePool()
    {
        CbThreadPool::GetInstance().ShutdownAndWait(0xFFFFFFFF);
    }

    template <class F>
    void Submit(F function)
    {
        CbThreadPool::GetInstance().AddFunction(std::move(function), CbThreadPool::eTaskPriorityNormal);
    }
};

// What one writes without a pool: a thread for each task.
class CAsync
{
public:
    template <class F>
    void Submit(F function)
    {
        static thread_local std::vector<std::future<void>> s_futures;
        if (s_futures.size() >= c_Kept)
        {
            s_futures.clear();
        }
        s_futures.push_back(std::async(std::launch::async, std::move(function)));
    }

private:
    static constexpr std::size_t c_Kept = 64; // threads at a time
};

#ifdef ORVANE_BENCH_ASIO
class CAsioPool
{
public:
    template <class F>
    void Submit(F function)
    {
        boost::asio::post(m_pool, std::move(function));
    }

private:
    boost::asio::thread_pool m_pool;
};
#endif

#ifdef ORVANE_BENCH_POCO
// It has no queue: who finds no free thread tries again.
class CPocoPool
{
public:
    template <class F>
    void Submit(F function)
    {
        class CRun : public Poco::Runnable
        {
        public:
            explicit CRun(F work) : m_work(std::move(work))
            {
            }

            void run() override
            {
                F const work = std::move(m_work);
                delete this;
                work();
            }

        private:
            F m_work;
        };

        auto* const run = new CRun(std::move(function));
        for (;;)
        {
            try
            {
                m_pool.start(*run);
                return;
            }
            catch (Poco::NoThreadAvailableException const&)
            {
                std::this_thread::yield();
            }
        }
    }

private:
    Poco::ThreadPool m_pool{2, 16};
};
#endif

#ifdef ORVANE_BENCH_QT
class CQtPool
{
public:
    template <class F>
    void Submit(F function)
    {
        m_pool.start(std::function<void()>(std::move(function)));
    }

private:
    QThreadPool m_pool;
};
#endif

#ifdef ORVANE_BENCH_TBB
// With a thread for each processor, as the others have: the submitter takes no part.
class CTbbPool
{
public:
    template <class F>
    void Submit(F function)
    {
        m_arena.enqueue(std::move(function));
    }

private:
    static int countThreads()
    {
        return static_cast<int>(std::thread::hardware_concurrency());
    }

    tbb::global_control m_limit{tbb::global_control::max_allowed_parallelism,
                                static_cast<std::size_t>(countThreads()) + 1};
    tbb::task_arena m_arena{countThreads(), 0};
};
#endif

#ifdef ORVANE_BENCH_GLIB
class CGLibPool
{
public:
    CGLibPool() = default;
    CGLibPool(CGLibPool const&) = delete;
    CGLibPool& operator=(CGLibPool const&) = delete;

    ~CGLibPool()
    {
        g_thread_pool_free(m_pool, false, true);
    }

    template <class F>
    void Submit(F function)
    {
        g_thread_pool_push(m_pool, new std::function<void()>(std::move(function)), nullptr);
    }

private:
    static void run(gpointer data, gpointer)
    {
        std::unique_ptr<std::function<void()>> const function(static_cast<std::function<void()>*>(data));
        (*function)();
    }

    GThreadPool* const m_pool =
        g_thread_pool_new(run, nullptr, static_cast<gint>(std::thread::hardware_concurrency()), true, nullptr);
};
#endif

// ---- rows

template <class TPool>
void emptyTasks(benchmark::State& state, int submitters)
{
    TPool pool;
    for (auto _ : state)
    {
        std::latch done(c_Tasks);
        auto const submit = [&]
        {
            for (int n = 0; n < c_Tasks / submitters; ++n)
            {
                pool.Submit([&done] { done.count_down(); });
            }
        };
        std::vector<std::jthread> others;
        for (int n = 1; n < submitters; ++n)
        {
            others.emplace_back(submit);
        }
        submit();
        done.wait();
    }
    state.SetItemsProcessed(state.iterations() * c_Tasks);
}

// Tasks of one's own that are there already.
void emptyOwnTasks(benchmark::State& state, int submitters)
{
    class CCount : public CbTask
    {
    public:
        std::latch* done = nullptr;

    protected:
        TCheckedBool run() override
        {
            done->count_down();
            return true;
        }
    };

    std::vector<CbSmartPointer<CCount>> tasks;
    for (int n = 0; n < c_Tasks; ++n)
    {
        tasks.push_back(MakeCounted<CCount>());
    }
    CbThreadPool& pool = CbThreadPool::GetInstance();
    pool.ShutdownAndWait(0xFFFFFFFF);
    for (auto _ : state)
    {
        std::latch done(c_Tasks);
        auto const submit = [&](int begin)
        {
            for (int n = begin; n < begin + c_Tasks / submitters; ++n)
            {
                CbSmartPointer<CCount> const& task = tasks[static_cast<std::size_t>(n)];
                task->done = &done;
                pool.AddTask(task, CbThreadPool::eTaskPriorityNormal);
            }
        };
        {
            std::vector<std::jthread> others;
            for (int n = 1; n < submitters; ++n)
            {
                others.emplace_back(submit, n * c_Tasks / submitters);
            }
            submit(0);
            done.wait();
        }
        // The last task may still be on its way out.
        pool.WaitUntilIdle(0xFFFFFFFF);
    }
    state.SetItemsProcessed(state.iterations() * c_Tasks);
}

template <class TPool>
void submitAndWait(benchmark::State& state)
{
    TPool pool;
    for (auto _ : state)
    {
        std::binary_semaphore done(0);
        pool.Submit([&done] { done.release(); });
        done.acquire();
    }
}

void submitAndWaitForTheTask(benchmark::State& state)
{
    CbThreadPool::GetInstance().ShutdownAndWait(0xFFFFFFFF);
    for (auto _ : state)
    {
        CbThreadPool::GetInstance()
            .AddFunction([] {}, CbThreadPool::eTaskPriorityNormal)
            ->WaitUntilTerminate(0xFFFFFFFF)
            .Ignore();
    }
}

// Something of about a microsecond.
void work()
{
    unsigned int value = 1;
    for (int n = 0; n < 1'000; ++n)
    {
        value = value * 1'664'525 + 1'013'904'223;
        benchmark::DoNotOptimize(value);
    }
}

// The time from the quiet submitter's first task to the end of its last one.
template <class TPool>
void quietBesideFlood(benchmark::State& state)
{
    TPool pool;
    for (auto _ : state)
    {
        std::latch flood(c_FloodTasks);
        for (int n = 0; n < c_FloodTasks; ++n)
        {
            pool.Submit(
                [&flood]
                {
                    work();
                    flood.count_down();
                });
        }
        std::thread(
            [&]
            {
                auto const begin = std::chrono::steady_clock::now();
                std::latch quiet(c_QuietTasks);
                for (int n = 0; n < c_QuietTasks; ++n)
                {
                    pool.Submit(
                        [&quiet]
                        {
                            work();
                            quiet.count_down();
                        });
                }
                quiet.wait();
                state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
            })
            .join();
        flood.wait();
    }
}

template <class TPool>
void registerPool(std::string const& library, bool hasQueue)
{
    benchmark::RegisterBenchmark(("10000 empty tasks, one submitter/" + library).c_str(),
                                 [](benchmark::State& state) { emptyTasks<TPool>(state, 1); })
        ->UseRealTime();
    benchmark::RegisterBenchmark(("10000 empty tasks, four submitters/" + library).c_str(),
                                 [](benchmark::State& state) { emptyTasks<TPool>(state, 4); })
        ->UseRealTime();
    benchmark::RegisterBenchmark(("submit one and wait/" + library).c_str(), submitAndWait<TPool>)->UseRealTime();
    if (hasQueue)
    {
        benchmark::RegisterBenchmark(("100 tasks beside a flood/" + library).c_str(), quietBesideFlood<TPool>)
            ->UseManualTime()
            ->Iterations(3);
    }
}

// ---- threads

struct SOwner
{
    CbCheckReturn<bool, CbCheckReturnPolicyAssert> Work()
    {
        return true;
    }
};

void startAndJoin(benchmark::State& state)
{
    using Thread = CbThread<SOwner, CbThreadPolicyMFC>;
    SOwner owner;
    unsigned long long const mask = Thread::GetProcessAffinityMask();
    for (auto _ : state)
    {
        Thread thread(owner, &SOwner::Work, L"bench", Thread::eThreadPriorityNormal, mask);
        thread.Start();
        thread.WaitUntilTerminate();
    }
}

void startAndJoinStd(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::thread([] {}).join();
    }
}

// Waits for the thread's word that it is over, not for the system to have done away with it: what waiting for a thread's
// handle is here.
void startAndAwaitStd(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::binary_semaphore over(0);
        std::thread([&over] { over.release(); }).detach();
        over.acquire();
    }
}

#ifdef ORVANE_BENCH_POCO
void startAndJoinPoco(benchmark::State& state)
{
    for (auto _ : state)
    {
        Poco::Thread thread;
        thread.startFunc([] {});
        thread.join();
    }
}
#endif

#ifdef ORVANE_BENCH_QT
void startAndJoinQt(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::unique_ptr<QThread> const thread(QThread::create([] {}));
        thread->start();
        thread->wait();
    }
}
#endif
} // namespace

void registerRows()
{
    registerPool<COrvanePool>("orvane", true);
    benchmark::RegisterBenchmark("10000 empty tasks, one submitter/orvane, own tasks",
                                 [](benchmark::State& state) { emptyOwnTasks(state, 1); })
        ->UseRealTime();
    benchmark::RegisterBenchmark("10000 empty tasks, four submitters/orvane, own tasks",
                                 [](benchmark::State& state) { emptyOwnTasks(state, 4); })
        ->UseRealTime();
    benchmark::RegisterBenchmark("submit one and wait/orvane, own tasks", submitAndWaitForTheTask)->UseRealTime();
    registerPool<CAsync>("std::async", false);
#ifdef ORVANE_BENCH_ASIO
    registerPool<CAsioPool>("asio", true);
#endif
#ifdef ORVANE_BENCH_POCO
    registerPool<CPocoPool>("poco", false);
#endif
#ifdef ORVANE_BENCH_QT
    registerPool<CQtPool>("qt", true);
#endif
#ifdef ORVANE_BENCH_TBB
    registerPool<CTbbPool>("tbb", true);
#endif
#ifdef ORVANE_BENCH_GLIB
    registerPool<CGLibPool>("glib", true);
#endif
    benchmark::RegisterBenchmark("start and join a thread/orvane", startAndJoin)->UseRealTime();
    benchmark::RegisterBenchmark("start and join a thread/std", startAndJoinStd)->UseRealTime();
    benchmark::RegisterBenchmark("start and join a thread/std, detached", startAndAwaitStd)->UseRealTime();
#ifdef ORVANE_BENCH_POCO
    benchmark::RegisterBenchmark("start and join a thread/poco", startAndJoinPoco)->UseRealTime();
#endif
#ifdef ORVANE_BENCH_QT
    benchmark::RegisterBenchmark("start and join a thread/qt", startAndJoinQt)->UseRealTime();
#endif
}
