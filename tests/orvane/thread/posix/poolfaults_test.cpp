// What the pool asks of the heap in a steady state, and what it does where heap and system refuse. On this target only: here
// a program's own malloc and pthread_create serve the libraries that it uses as well.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>

#include <gtest/gtest.h>

#include "orvane/thread/cbcpu.h"
#include "orvane/thread/cbthreadpool.h"
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

    [[gnu::visibility("default")]] int pthread_create(pthread_t* thread, pthread_attr_t const* attributes,
                                                      void* (*start)(void*), void* argument) noexcept
    {
        static FnCreate const s_create = reinterpret_cast<FnCreate>(dlsym(RTLD_NEXT, "pthread_create"));
        return s_refusesThreads ? EAGAIN : s_create(thread, attributes, start, argument);
    }
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
