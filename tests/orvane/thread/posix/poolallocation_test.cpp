// What the pool asks of the heap in a steady state: nothing. On this target only: here a program's own malloc serves the
// libraries that it uses as well.

#include <atomic>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/thread/cbcpu.h"
#include "orvane/thread/cbthreadpool.h"
#include "orvane/thread/threadtest.h"

using namespace threadtest;

namespace
{
std::atomic<bool> s_isCounting = false;
std::atomic<long long> s_requests = 0;

void count()
{
    if (s_isCounting.load(std::memory_order_relaxed))
    {
        s_requests.fetch_add(1, std::memory_order_relaxed);
    }
}

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

    [[gnu::visibility("default")]] void* malloc(std::size_t size)
    {
        count();
        return __libc_malloc(size);
    }

    [[gnu::visibility("default")]] void* calloc(std::size_t elements, std::size_t size)
    {
        count();
        return __libc_calloc(elements, size);
    }

    [[gnu::visibility("default")]] void* realloc(void* block, std::size_t size)
    {
        count();
        return __libc_realloc(block, size);
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
