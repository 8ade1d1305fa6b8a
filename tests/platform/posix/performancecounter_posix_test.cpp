#include <ctime>

#include "platform/platform.h"
#include "gtest/gtest.h"

TEST(PerformanceCounterPosix, CountsTenthsOfMicrosecondsOfTheSteadyClock)
{
    auto const inCounts = []
    {
        timespec time;
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * 10'000'000LL + time.tv_nsec / 100;
    };

    LONGLONG const before = inCounts();
    LARGE_INTEGER count;
    ASSERT_TRUE(QueryPerformanceCounter(&count));
    EXPECT_LE(before, count.QuadPart);
    EXPECT_LE(count.QuadPart, inCounts());

    LARGE_INTEGER frequency;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(frequency.QuadPart, 10'000'000);
}

TEST(PerformanceCounterPosix, RefusesNull)
{
    SetLastError(0);
    EXPECT_FALSE(QueryPerformanceCounter(nullptr));
    EXPECT_EQ(GetLastError(), 998u);
    SetLastError(0);
    EXPECT_FALSE(QueryPerformanceFrequency(nullptr));
    EXPECT_EQ(GetLastError(), 998u);
}

TEST(PerformanceCounterPosix, CanBeTakenAway)
{
    LARGE_INTEGER frequency;
    frequency.QuadPart = 1;
    PlatformTest::SetPerformanceCounterPresent(false);
    EXPECT_FALSE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(GetLastError(), 120u);
    EXPECT_EQ(frequency.QuadPart, 0);

    PlatformTest::SetPerformanceCounterPresent(true);
    EXPECT_TRUE(QueryPerformanceFrequency(&frequency));
}

TEST(TickCountPosix, IsTheTimeSinceTheSystemWasStarted)
{
    auto const inMs = []
    {
        timespec time;
        clock_gettime(CLOCK_BOOTTIME, &time);
        return static_cast<ULONGLONG>(time.tv_sec) * 1'000 + static_cast<ULONGLONG>(time.tv_nsec) / 1'000'000;
    };

    ULONGLONG const before = inMs();
    ULONGLONG const ticks = GetTickCount64();
    EXPECT_LE(before, ticks);
    EXPECT_LE(ticks, inMs());
}

TEST(LargeIntegerPosix, HasItsLowHalfFirst)
{
    LARGE_INTEGER number;
    number.QuadPart = 0x1'0000'0002;
    EXPECT_EQ(number.u.LowPart, 2u);
    EXPECT_EQ(number.u.HighPart, 1);
}
