// What the pool asks of the heap in a steady state, what it does where heap and system refuse, and how it waits. On this target
// only: here a program's own malloc, pthread_create and WaitForSingleObject serve the libraries that it uses as well.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <new>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>

#include <gtest/gtest.h>

#include "orvane/thread/cbcpu.h"
#include "orvane/thread/cbthreadpool.h"
#include "orvane/thread/pooltest.h"
#include "orvane/thread/threadtest.h"

using namespace threadtest;

namespace
{
std::atomic<bool> s_isCounting = false;
std::atomic<long long> s_requests = 0;
std::atomic<bool> s_refusesThreads = false;
thread_local bool t_refusesMemory = false;

// Counts a request; whether it is granted.
bool grants()
{
    if (s_isCounting.load(std::memory_order_relaxed))
    {
        s_requests.fetch_add(1, std::memory_order_relaxed);
    }
    return !t_refusesMemory;
}

using FnCreate = int (*)(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*);
using FnWait = DWORD (*)(HANDLE, DWORD);

// What a thread does at each of its waits.
struct SWatch
{
    // Whether the wait takes place; otherwise it ends at once, as if by its time-out.
    std::function<bool(HANDLE, DWORD)> before = [](HANDLE, DWORD) { return true; };
    std::function<void()> after = [] {};
};

thread_local SWatch const* t_watch = nullptr; // null: nothing but the wait

class CQuickTask : public CbTask
{
protected:
    TCheckedBool run() override
    {
        return true;
    }
};
} // namespace

extern "C"
{
    void* __libc_malloc(std::size_t size);
    void* __libc_calloc(std::size_t count, std::size_t size);
    void* __libc_realloc(void* block, std::size_t size);
    void* __libc_memalign(std::size_t alignment, std::size_t size);

    [[gnu::visibility("default")]] void* malloc(std::size_t size) noexcept
    {
        return grants() ? __libc_malloc(size) : nullptr;
    }

    [[gnu::visibility("default")]] void* calloc(std::size_t elements, std::size_t size) noexcept
    {
        return grants() ? __libc_calloc(elements, size) : nullptr;
    }

    [[gnu::visibility("default")]] void* realloc(void* block, std::size_t size) noexcept
    {
        return grants() ? __libc_realloc(block, size) : nullptr;
    }

    [[gnu::visibility("default")]] void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
    {
        return grants() ? __libc_memalign(alignment, size) : nullptr;
    }

    [[gnu::visibility("default")]] int pthread_create(pthread_t* thread, pthread_attr_t const* attributes,
                                                      void* (*start)(void*), void* argument) noexcept
    {
        static FnCreate const s_create = reinterpret_cast<FnCreate>(dlsym(RTLD_NEXT, "pthread_create"));
        return s_refusesThreads ? EAGAIN : s_create(thread, attributes, start, argument);
    }
}

// In the place of the platform's, with the same name.
[[gnu::visibility("default")]] DWORD WaitForSingleObject(HANDLE handle, DWORD timeoutMs) noexcept
{
    static FnWait const s_wait = reinterpret_cast<FnWait>(dlsym(RTLD_NEXT, "_Z19WaitForSingleObjectPvj"));
    if (t_watch == nullptr)
    {
        return s_wait(handle, timeoutMs);
    }
    DWORD const outcome = t_watch->before(handle, timeoutMs) ? s_wait(handle, timeoutMs) : WAIT_TIMEOUT;
    t_watch->after();
    return outcome;
}

TEST(CbThreadPoolAllocation, IsNothingPerTaskInASteadyState)
{
    constexpr int c_Tasks = 400; // more than the first block of queue entries
    constexpr int c_Rounds = 50;
    CbThreadPool& pool = CbThreadPool::GetInstance();
    // As many as there are workers: with room for more the pool would grow.
    pool.LimitTaskCount(CbCPU::GetCount());
    std::vector<CbSmartPointer<CbTask>> tasks;
    for (int n = 0; n < c_Tasks; ++n)
    {
        tasks.emplace_back(new CQuickTask);
    }
    auto const round = [&]
    {
        for (CbSmartPointer<CbTask> const& task : tasks)
        {
            ASSERT_TRUE(pool.AddTask(task, CbThreadPool::eTaskPriorityNormal));
        }
        for (CbSmartPointer<CbTask> const& task : tasks)
        {
            ASSERT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
        }
        ASSERT_TRUE(pool.WaitUntilIdle(c_PatienceMs));
    };

    // The most that will ever be queued at a time is queued once.
    {
        CGate leave;
        std::vector<CbSmartPointer<CbTask>> blockers;
        for (unsigned int n = 0; n < CbCPU::GetCount(); ++n)
        {
            blockers.push_back(pool.AddFunction([&] { leave.Pass(); }, CbThreadPool::eTaskPriorityNormal));
            ASSERT_NE(blockers.back(), nullptr);
        }
        for (CbSmartPointer<CbTask> const& task : tasks)
        {
            ASSERT_TRUE(pool.AddTask(task, CbThreadPool::eTaskPriorityNormal));
        }
        leave.Open();
        ASSERT_TRUE(pool.WaitUntilIdle(c_PatienceMs));
    }
    round();

    s_requests = 0;
    s_isCounting = true;
    for (int n = 0; n < c_Rounds; ++n)
    {
        round();
    }
    s_isCounting = false;
    EXPECT_EQ(s_requests, 0);
    // The count counts.
    s_isCounting = true;
    CbSmartPointer<CbTask> const another(new CQuickTask);
    s_isCounting = false;
    EXPECT_GT(s_requests, 0);
}

// Each of which is a task. Each ends before the next is added, so nothing else grows.
TEST(CbThreadPoolAllocation, IsOneBlockForManyFunctions)
{
    constexpr int c_Functions = 320;
    CbThreadPool& pool = CbThreadPool::GetInstance();
    auto const runOne = [&]
    {
        ASSERT_NE(pool.AddFunction([] {}, CbThreadPool::eTaskPriorityNormal), nullptr);
        ASSERT_TRUE(pool.WaitUntilIdle(c_PatienceMs));
    };
    runOne();

    s_requests = 0;
    s_isCounting = true;
    for (int n = 0; n < c_Functions; ++n)
    {
        runOne();
    }
    s_isCounting = false;
    EXPECT_GT(s_requests, 0);
    EXPECT_LE(s_requests, c_Functions / 16 + 1);
}

TEST(CbThreadPoolRefusal, OfMemoryForAFunctionRaisesAndLosesNothing)
{
    constexpr int c_Most = 64; // functions that find room in memory that is there already
    CbThreadPool& pool = CbThreadPool::GetInstance();
    std::atomic<int> runs = 0;
    auto const addOne = [&] { return pool.AddFunction([&runs] { ++runs; }, CbThreadPool::eTaskPriorityNormal); };
    ASSERT_NE(addOne(), nullptr);
    ASSERT_TRUE(pool.WaitUntilIdle(c_PatienceMs));

    int added = 1;
    bool isRefused = false;
    t_refusesMemory = true;
    for (int n = 0; n < c_Most && !isRefused; ++n)
    {
        try
        {
            added += addOne() != nullptr ? 1 : 0;
            static_cast<void>(pool.WaitUntilIdle(c_PatienceMs));
        }
        catch (std::bad_alloc const&)
        {
            isRefused = true;
        }
    }
    t_refusesMemory = false;
    EXPECT_TRUE(isRefused);
    EXPECT_NE(addOne(), nullptr);
    EXPECT_TRUE(pool.WaitUntilIdle(c_PatienceMs));
    EXPECT_EQ(runs, added + 1);
}

namespace
{
// One task that finds no worker, added while something is refused; the task after it finds the pool in order.
template <class TRefuse>
void addWithoutAWorker(TRefuse const& refuse)
{
    CbThreadPool& pool = CbThreadPool::GetInstance();
    ASSERT_TRUE(pool.ShutdownAndWait(c_PatienceMs));
    CbSmartPointer<CbTask> const first(new CQuickTask);
    CbSmartPointer<CbTask> const second(new CQuickTask);
    refuse(true);
    bool const isAdded = pool.AddTask(first, CbThreadPool::eTaskPriorityNormal);
    refuse(false);
    EXPECT_FALSE(isAdded);
    EXPECT_TRUE(pool.WaitUntilIdle(0)) << "no worker was counted";
    EXPECT_FALSE(first->WaitUntilTerminate(0));

    // It stays queued, and the next worker takes it.
    EXPECT_TRUE(pool.AddTask(second, CbThreadPool::eTaskPriorityNormal));
    EXPECT_TRUE(first->WaitUntilTerminate(c_PatienceMs));
    EXPECT_TRUE(second->WaitUntilTerminate(c_PatienceMs));
    EXPECT_TRUE(pool.ShutdownAndWait(c_PatienceMs));
}
} // namespace

TEST(CbThreadPoolRefusal, OfAThreadLeavesTheTaskQueued)
{
    addWithoutAWorker([](bool isRefused) { s_refusesThreads = isRefused; });
}

TEST(CbThreadPoolRefusal, OfMemoryForAWorkerLeavesTheTaskQueued)
{
    addWithoutAWorker([](bool isRefused) { t_refusesMemory = isRefused; });
}

// A thread whose limit is reset and that has nothing running has no record any more: where the records stayed, those of so
// many threads would not fit the block that the pool begins with.
TEST(CbThreadPoolAllocation, IsNothingForLimitsThatWereReset)
{
    constexpr unsigned long c_FirstId = 0x80000000; // no thread has such an id
    constexpr unsigned long c_Ids = 1000;
    CbThreadPool& pool = CbThreadPool::GetInstance();

    s_requests = 0;
    s_isCounting = true;
    for (unsigned long n = 0; n < c_Ids; ++n)
    {
        pool.LimitTaskCount(c_FirstId + n, 5);
        pool.LimitTaskCount(c_FirstId + n, 0);
    }
    s_isCounting = false;
    EXPECT_EQ(s_requests, 0);

    // Without the reset they do ask for memory.
    s_isCounting = true;
    for (unsigned long n = 0; n < c_Ids; ++n)
    {
        pool.LimitTaskCount(c_FirstId + n, 5);
    }
    s_isCounting = false;
    EXPECT_GT(s_requests, 0);
    for (unsigned long n = 0; n < c_Ids; ++n)
    {
        pool.LimitTaskCount(c_FirstId + n, 0);
    }
}

using CbThreadPoolRefusedWait = CPoolTest;

// The wait for the end of the second of two workers is refused.
TEST_F(CbThreadPoolRefusedWait, ForAWorkersEndKeepsThePoolShutUntilALaterShutdownSucceeds)
{
    {
        CBlocker first;
        CBlocker second;
        pool().LimitTaskCount(2);
        first.Submit();
        second.Submit();
    }
    ASSERT_TRUE(becomesIdle(2));
    int endsWaitedFor = 0;
    SWatch watch;
    watch.before = [&](HANDLE handle, DWORD timeoutMs)
    {
        DWORD exitCode = 0;
        bool const isForAnEnd = timeoutMs == INFINITE && GetExitCodeThread(handle, &exitCode);
        endsWaitedFor += isForAnEnd ? 1 : 0;
        return !isForAnEnd || endsWaitedFor < 2;
    };
    t_watch = &watch;
    bool const isShutDown = pool().ShutdownAndWait(c_PatienceMs);
    t_watch = nullptr;

    EXPECT_FALSE(isShutDown);
    EXPECT_EQ(endsWaitedFor, 2);
    EXPECT_EQ(workerCount(), 1u);
    EXPECT_EQ(idleCount(), 1u) << "the worker is back in the list";
    CbSmartPointer<CbTask> const task(new CQuickTask);
    EXPECT_FALSE(pool().AddTask(task, CbThreadPool::eTaskPriorityNormal)) << "the pool takes no work";
    EXPECT_EQ(pool().AddFunction([] {}, CbThreadPool::eTaskPriorityHigh), nullptr);

    EXPECT_TRUE(pool().ShutdownAndWait(c_PatienceMs));
    EXPECT_EQ(workerCount(), 0u);
    EXPECT_TRUE(pool().AddTask(task, CbThreadPool::eTaskPriorityNormal));
    EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
}

using CbThreadPoolTimeLeft = CPoolTest;

// The pool is idle when the shutdown begins, but its lock is held, by the hook of a task that is being added, for longer than
// the time-out. What is left is then less than nothing, and in unsigned arithmetic a very long time.
TEST_F(CbThreadPoolTimeLeft, OfAShutdownWrapsWhereMoreHasPassedThanWasLeft)
{
    constexpr unsigned int c_TimeoutMs = 50;
    {
        CBlocker blocker;
        blocker.Submit();
    }
    ASSERT_TRUE(becomesIdle(1));

    CGate isInHook;
    CGate isPastFirstWait;
    CGate isInSecondWait;
    CBlocker blocker;
    blocker.task->add = [&]
    {
        isInHook.Open();
        EXPECT_TRUE(isPastFirstWait.Pass());
        EXPECT_EQ(CbEvent(true, nullptr).Wait(c_TimeoutMs + 10), CbEvent::eWaitTimeout);
    };
    std::thread adder([&] { blocker.Submit(); });
    ASSERT_TRUE(isInHook.Pass());
    std::vector<DWORD> timeouts;
    std::atomic<bool> isBack = false;
    bool isShutDown = false;
    std::thread shutter(
        [&]
        {
            SWatch watch;
            watch.before = [&](HANDLE, DWORD timeoutMs)
            {
                timeouts.push_back(timeoutMs);
                if (timeouts.size() == 2)
                {
                    isInSecondWait.Open();
                }
                return true;
            };
            watch.after = [&] { isPastFirstWait.Open(); };
            t_watch = &watch;
            isShutDown = pool().ShutdownAndWait(c_TimeoutMs);
            t_watch = nullptr;
            isBack = true;
        });
    adder.join();
    EXPECT_TRUE(isInSecondWait.Pass());
    EXPECT_FALSE(isBack) << "the task is still inside";
    blocker.Release();
    shutter.join();

    EXPECT_TRUE(isShutDown);
    ASSERT_GE(timeouts.size(), 2u);
    EXPECT_EQ(timeouts[0], c_TimeoutMs);
    EXPECT_GT(timeouts[1], 0x80000000u);
    EXPECT_LT(timeouts[1], INFINITE - 8);
}
