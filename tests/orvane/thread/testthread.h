// The threads of most tests, and their fields as clients find them.

#ifndef ORVANE_TESTS_ORVANE_THREAD_TESTTHREAD_H
#define ORVANE_TESTS_ORVANE_THREAD_TESTTHREAD_H

#include <atomic>
#include <functional>

#include <gtest/gtest.h>

#include "orvane/thread/cbthread.h"
#include "orvane/thread/threadtest.h"
#include "support/layout.h"

namespace threadtest
{
// The thread of most tests: its hooks and its method are what the test says, and its result is kept.
class CTestThread : public CbThread<CTestThread, CbThreadPolicyMFC>
{
public:
    explicit CTestThread(EThreadPriority priority = eThreadPriorityNormal,
                         unsigned __int64 affinityMask = GetProcessAffinityMask())
        : CbThread(*this, &CTestThread::method, L"tested", priority, affinityMask)
    {
    }

    ~CTestThread() override
    {
        if (onEnd)
        {
            onEnd();
        }
    }

    using CbThread::getThreadID;
    using CbThread::setName;

    std::function<void()> before = [] {};
    std::function<bool()> body = [] { return true; };
    std::function<void()> after = [] {};
    std::function<void()> onEnd;
    std::atomic<unsigned int> result = 0x7777; // of onAfterRun

private:
    TCheckedBool method()
    {
        return body();
    }

    void onBeforeRun() override
    {
        before();
    }

    void onAfterRun(unsigned int code) override
    {
        result = code;
        after();
    }
};

using Priority = CTestThread::EThreadPriority;

constexpr unsigned int c_ResultFailed = 0x80004005;

// A thread that stays in its method until it is let go.
class CGuest : public CTestThread
{
public:
    CGuest()
    {
        body = [this]
        {
            isInside.Open();
            return leave.Pass();
        };
    }

    // Not in the destructor of the base, which kills.
    ~CGuest() override
    {
        leave.Open();
        WaitUntilTerminate();
    }

    void StartInside()
    {
        ASSERT_TRUE(Start());
        ASSERT_TRUE(isInside.Pass());
    }

    CGate isInside;
    CGate leave;
};

// How often the thread is stopped, by asking once more and taking that back.
inline DWORD stopCount(HANDLE thread)
{
    DWORD const count = SuspendThread(thread);
    EXPECT_EQ(ResumeThread(thread), count + 1);
    return count;
}

inline void runToEnd(CTestThread& thread)
{
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(thread.WaitUntilTerminate());
}

// The fields as clients find them, behind the table of virtual operations. A pointer to a member function is two words.
constexpr std::size_t c_Flags = 8;
constexpr std::size_t c_Owner = 16;
constexpr std::size_t c_Handle = 40;
constexpr std::size_t c_ThreadId = 48;
constexpr std::size_t c_Mask = 56;
constexpr std::size_t c_StartSignal = 64;
constexpr std::size_t c_Terminated = 72;
constexpr std::size_t c_Priority = 80;
constexpr std::size_t c_State = 84;

inline unsigned int stateOf(CTestThread const& thread)
{
    return fieldAt<unsigned int>(&thread, c_State);
}

inline bool isTerminatedEventSet(CTestThread const& thread)
{
    return fieldAt<CbEvent>(&thread, c_Terminated).IsSet();
}

constexpr unsigned int c_Started = 1;
constexpr unsigned int c_Running = 2;
constexpr unsigned int c_Terminated4 = 4;
constexpr unsigned int c_Suspended = 8;
constexpr unsigned int c_Failed = 16;
} // namespace threadtest

#endif // ORVANE_TESTS_ORVANE_THREAD_TESTTHREAD_H
