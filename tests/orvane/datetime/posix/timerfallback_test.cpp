// The counter of a machine without a high-resolution one.

#include <gtest/gtest.h>

#include "orvane/datetime/cbtimer.h"
#include "platform/platform.h"
#include "support/layout.h"

namespace
{
class TimerFallback : public testing::Test
{
protected:
    // Before the process's first timer, and for all tests of this program.
    static void SetUpTestSuite()
    {
        PlatformTest::SetPerformanceCounterPresent(false);
    }
};
} // namespace

TEST_F(TimerFallback, CountsMilliseconds)
{
    CbPerformanceCounter const& counter = CbPerformanceCounter::GetInstance();

    EXPECT_EQ(counter.QueryPerformanceFrequency(), 1'000);
    EXPECT_EQ(fieldAt<__int64>(&counter, 8), 1'000);
    unsigned __int64 const before = GetTickCount64();
    __int64 const now = counter.QueryPerformanceCounter();
    unsigned __int64 const after = GetTickCount64();
    EXPECT_LE(static_cast<__int64>(before), now);
    EXPECT_LE(now, static_cast<__int64>(after));
}

TEST_F(TimerFallback, ServesTimers)
{
    CbTimer timer;
    unsigned __int64 const beforeStart = GetTickCount64();
    timer.Start();
    unsigned __int64 const afterStart = GetTickCount64();
    while (timer.GetElapsedTime() < 5)
    {
    }
    unsigned __int64 const beforeStop = GetTickCount64();
    timer.Stop();
    unsigned __int64 const afterStop = GetTickCount64();

    EXPECT_GE(timer.GetElapsedTime(), beforeStop - afterStart);
    EXPECT_LE(timer.GetElapsedTime(), afterStop - beforeStart);
    timer.SetResolution(CbTimer::eMicroseconds);
    EXPECT_EQ(timer.GetElapsedTime() % 1'000, 0u);
}
