// What the tests of the pool share. The pool is the process's own: each test leaves it without workers and limits.

#ifndef ORVANE_TESTS_ORVANE_THREAD_POOLTEST_H
#define ORVANE_TESTS_ORVANE_THREAD_POOLTEST_H

#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "orvane/thread/cbcpu.h"
#include "orvane/thread/cbthreadpool.h"
#include "orvane/thread/testtask.h"
#include "orvane/thread/threadtest.h"

namespace threadtest
{
inline CbThreadPool& pool()
{
    return CbThreadPool::GetInstance();
}

/// The pool's protected operations. There is no object of this class.
struct SPoolAccess : CbThreadPool
{
    using CbThreadPool::getIdleCount;
    using CbThreadPool::getWorkerCount;
    using CbThreadPool::limitWorkerCount;
};

inline unsigned int workerCount()
{
    return (pool().*&SPoolAccess::getWorkerCount)();
}

inline unsigned int idleCount()
{
    return (pool().*&SPoolAccess::getIdleCount)();
}

inline bool limitWorkers(unsigned int maximum)
{
    return (pool().*&SPoolAccess::limitWorkerCount)(maximum);
}

inline bool becomesIdle(unsigned int workers)
{
    return becomes([workers] { return idleCount() == workers; });
}

/// Begins and ends with a pool that has no worker, and a submitter that has no limit of its own.
class CPoolTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(pool().ShutdownAndWait(c_PatienceMs));
        pool().LimitTaskCount(0);
    }

    void TearDown() override
    {
        ASSERT_TRUE(pool().ShutdownAndWait(c_PatienceMs));
        pool().LimitTaskCount(0);
        EXPECT_EQ(workerCount(), 0u);
    }
};

/// A task that stays inside until it is let go.
class CBlocker
{
public:
    CBlocker()
        : task(makeTask(
              [this]
              {
                  isInside.Open();
                  EXPECT_TRUE(leave.Pass());
              }))
    {
    }

    CBlocker(CBlocker const&) = delete;
    CBlocker& operator=(CBlocker const&) = delete;

    ~CBlocker()
    {
        Release();
    }

    /// Has it submitted by the calling thread and waits until it is inside.
    void Submit()
    {
        isSubmitted = true;
        ASSERT_TRUE(pool().AddTask(task, CbThreadPool::eTaskPriorityNormal));
        ASSERT_TRUE(isInside.Pass());
    }

    /// Lets it go and waits for its end.
    void Release()
    {
        leave.Open();
        if (isSubmitted)
        {
            EXPECT_TRUE(task->WaitUntilTerminate(c_PatienceMs));
        }
    }

    CGate isInside;
    CGate leave;
    bool isSubmitted = false;
    TaskPointer const task;
};
} // namespace threadtest

#endif // ORVANE_TESTS_ORVANE_THREAD_POOLTEST_H
