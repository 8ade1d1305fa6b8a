#include <chrono>
#include <thread>

#include "platform/platform.h"
#include "gtest/gtest.h"

namespace
{
constexpr DWORD c_Untouched = 0x7777;

LONGLONG counterNow()
{
    LARGE_INTEGER count;
    EXPECT_TRUE(QueryPerformanceCounter(&count));
    return count.QuadPart;
}

LONGLONG frequency()
{
    LARGE_INTEGER perSecond;
    EXPECT_TRUE(QueryPerformanceFrequency(&perSecond));
    return perSecond.QuadPart;
}
} // namespace

TEST(PerformanceCounter, HasAtLeast10MegahertzAtAllTimes)
{
    EXPECT_GE(frequency(), 10'000'000);
    EXPECT_EQ(frequency(), frequency());
}

TEST(PerformanceCounter, NeverFallsAndSoonRises)
{
    LONGLONG const first = counterNow();
    LONGLONG last = first;
    while (last == first)
    {
        LONGLONG const next = counterNow();
        ASSERT_GE(next, last);
        last = next;
    }
    EXPECT_GT(last, first);
}

TEST(PerformanceCounter, IsOneForAllThreads)
{
    LONGLONG const before = counterNow();
    LONGLONG between = 0;
    std::thread([&] { between = counterNow(); }).join();
    LONGLONG const after = counterNow();

    EXPECT_LE(before, between);
    EXPECT_LE(between, after);
}

TEST(PerformanceCounter, GoesWithTheSteadyClock)
{
    using std::chrono::steady_clock;
    auto const outerStart = steady_clock::now();
    LONGLONG const start = counterNow();
    auto const innerStart = steady_clock::now();
    while (steady_clock::now() - innerStart < std::chrono::milliseconds(50))
    {
    }
    auto const innerEnd = steady_clock::now();
    LONGLONG const end = counterNow();
    auto const outerEnd = steady_clock::now();

    double const seconds = static_cast<double>(end - start) / static_cast<double>(frequency());
    EXPECT_GE(seconds, std::chrono::duration<double>(innerEnd - innerStart).count() * 0.99);
    EXPECT_LE(seconds, std::chrono::duration<double>(outerEnd - outerStart).count() * 1.01);
}

TEST(PerformanceCounter, LeavesTheLastErrorAlone)
{
    SetLastError(c_Untouched);
    counterNow();
    frequency();
    GetTickCount64();
    EXPECT_EQ(GetLastError(), c_Untouched);
}

TEST(TickCount, CountsMilliseconds)
{
    ULONGLONG const startTick = GetTickCount64();
    LONGLONG const start = counterNow();
    while (counterNow() - start < frequency() / 10)
    {
    }
    ULONGLONG const ticks = GetTickCount64() - startTick;
    LONGLONG const elapsedMs = (counterNow() - start) * 1'000 / frequency();

    // Its steps may be of 16 ms.
    EXPECT_GE(ticks + 17, 100u);
    EXPECT_LE(ticks, static_cast<ULONGLONG>(elapsedMs) + 17);
}
