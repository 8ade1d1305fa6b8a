// The counter that the library makes is the one that its clients see.

#include <gtest/gtest.h>

#include "orvane/datetime/cbtimer.h"
#include "support/layout.h"

TEST(TimerBoundary, ATimerMakesTheOneCounterThatClientsSee)
{
    ASSERT_FALSE(CbSingleton<CbPerformanceCounter>::HasInstance());
    unsigned int const before = Singleton::GetSingletonCount();

    CbTimer const timer;
    EXPECT_TRUE(CbSingleton<CbPerformanceCounter>::HasInstance());
    EXPECT_EQ(Singleton::GetSingletonCount(), before + 1);
    EXPECT_EQ(fieldAt<CbPerformanceCounter const*>(&timer, 0), &CbSingleton<CbPerformanceCounter>::GetInstance());

    CbTimer const second;
    EXPECT_EQ(fieldAt<CbPerformanceCounter const*>(&second, 0), &CbPerformanceCounter::GetInstance());
    EXPECT_EQ(Singleton::GetSingletonCount(), before + 1);
}
