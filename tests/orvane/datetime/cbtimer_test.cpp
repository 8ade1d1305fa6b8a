#include "orvane/datetime/cbtimer.h"

#include <cstring>
#include <type_traits>

#include <gtest/gtest.h>

#include "support/layout.h"

using EResolution = CbTimer::EResolution;

static_assert(sizeof(CbTimer) == 32 && std::is_trivially_copyable_v<CbTimer>);
static_assert(std::is_same_v<std::underlying_type_t<EResolution>, unsigned int>);
static_assert(CbTimer::eSeconds == 1 && CbTimer::eMilliseconds == 1'000);
static_assert(CbTimer::eMicroseconds == 1'000'000 && CbTimer::eNanoseconds == 1'000'000'000);

namespace
{
// The places of the fields, which clients know.
constexpr std::size_t c_Resolution = 8;
constexpr std::size_t c_IsRunning = 12;
constexpr std::size_t c_Start = 16;
constexpr std::size_t c_Accumulated = 24;

unsigned __int64 startOf(CbTimer const& timer)
{
    return fieldAt<unsigned __int64>(&timer, c_Start);
}

unsigned __int64 accumulatedOf(CbTimer const& timer)
{
    return fieldAt<unsigned __int64>(&timer, c_Accumulated);
}

unsigned __int64 counterNow()
{
    return static_cast<unsigned __int64>(CbPerformanceCounter::GetInstance().QueryPerformanceCounter());
}

unsigned __int64 frequency()
{
    return static_cast<unsigned __int64>(CbPerformanceCounter::GetInstance().QueryPerformanceFrequency());
}

// A stopped timer that has run for so many counts.
CbTimer stoppedAt(EResolution resolution, unsigned __int64 counts)
{
    CbTimer timer(resolution);
    std::memcpy(reinterpret_cast<unsigned char*>(&timer) + c_Accumulated, &counts, sizeof counts);
    return timer;
}

// Until the counter has moved by so many counts.
void spin(unsigned __int64 counts)
{
    unsigned __int64 const start = counterNow();
    while (counterNow() - start < counts)
    {
    }
}
} // namespace

TEST(CbTimer, BeginsStoppedAtZeroInMilliseconds)
{
    CbTimer const timer;

    EXPECT_FALSE(timer.IsRunning());
    EXPECT_EQ(timer.GetElapsedTime(), 0u);
    EXPECT_EQ(timer.GetResolution(), CbTimer::eMilliseconds);
    EXPECT_EQ(timer.GetFormatted(), L"0ms");
    EXPECT_EQ(startOf(timer), 0u);
    EXPECT_EQ(accumulatedOf(timer), 0u);
}

TEST(CbTimer, KeepsItsFieldsInTheirPlaces)
{
    CbTimer timer(CbTimer::eMicroseconds);
    unsigned __int64 const before = counterNow();
    timer.Start();

    EXPECT_EQ(fieldAt<CbPerformanceCounter const*>(&timer, 0), &CbPerformanceCounter::GetInstance());
    EXPECT_EQ(fieldAt<unsigned int>(&timer, c_Resolution), 1'000'000u);
    EXPECT_TRUE(fieldAt<bool>(&timer, c_IsRunning));
    EXPECT_GE(startOf(timer), before);
    EXPECT_LE(startOf(timer), counterNow());
}

TEST(CbTimer, DoesNotRunUntilItIsStarted)
{
    CbTimer const timer(CbTimer::eNanoseconds);
    spin(100);

    EXPECT_EQ(timer.GetElapsedTime(), 0u);
}

TEST(CbTimerStart, BeginsAPeriodThatTheReadingFollows)
{
    CbTimer timer(CbTimer::eMicroseconds);
    unsigned __int64 const before = counterNow();
    timer.Start();
    unsigned __int64 const started = counterNow();
    EXPECT_TRUE(timer.IsRunning());
    spin(frequency() / 1'000);

    unsigned __int64 const sinceStarted = counterNow() - started;
    unsigned __int64 const reading = timer.GetElapsedTime();
    unsigned __int64 const sinceBefore = counterNow() - before;
    EXPECT_GE(reading, sinceStarted * 1'000'000 / frequency());
    EXPECT_LE(reading, sinceBefore * 1'000'000 / frequency());
}

TEST(CbTimerStart, DoesNotRestartARunningPeriod)
{
    CbTimer timer;
    timer.Start();
    unsigned __int64 const start = startOf(timer);
    spin(100);

    timer.Start();
    EXPECT_EQ(startOf(timer), start);
    EXPECT_TRUE(timer.IsRunning());
}

TEST(CbTimerStop, AddsUpThePeriods)
{
    CbTimer timer(CbTimer::eNanoseconds);
    unsigned __int64 atLeast = 0;
    unsigned __int64 atMost = 0;
    for (int period = 0; period < 2; ++period)
    {
        unsigned __int64 const before = counterNow();
        timer.Start();
        unsigned __int64 const started = counterNow();
        spin(1'000);
        unsigned __int64 const stopping = counterNow();
        timer.Stop();
        atLeast += stopping - started;
        atMost += counterNow() - before;
        EXPECT_FALSE(timer.IsRunning());
        // Not counted.
        spin(50'000);
    }
    EXPECT_GE(accumulatedOf(timer), atLeast);
    EXPECT_LE(accumulatedOf(timer), atMost);
    EXPECT_EQ(timer.GetElapsedTime(), accumulatedOf(timer) * 1'000'000'000 / frequency());
}

TEST(CbTimerStop, DoesNothingToAStoppedTimer)
{
    CbTimer timer = stoppedAt(CbTimer::eMilliseconds, 12'345);
    timer.Stop();

    EXPECT_EQ(accumulatedOf(timer), 12'345u);
    EXPECT_FALSE(timer.IsRunning());
}

TEST(CbTimerReset, LeavesAStoppedTimerStoppedAtZero)
{
    CbTimer timer = stoppedAt(CbTimer::eMilliseconds, frequency());
    ASSERT_EQ(timer.GetElapsedTime(), 1'000u);

    timer.Reset();
    EXPECT_EQ(timer.GetElapsedTime(), 0u);
    EXPECT_FALSE(timer.IsRunning());
}

TEST(CbTimerReset, LetsARunningTimerRunOnFromZero)
{
    CbTimer timer = stoppedAt(CbTimer::eNanoseconds, frequency());
    timer.Start();
    unsigned __int64 const before = counterNow();
    timer.Reset();
    unsigned __int64 const after = counterNow();

    EXPECT_TRUE(timer.IsRunning());
    EXPECT_EQ(accumulatedOf(timer), 0u);
    EXPECT_GE(startOf(timer), before);
    EXPECT_LE(startOf(timer), after);
    spin(100);
    EXPECT_GE(timer.GetElapsedTime(), 100'000'000'000 / frequency());
}

TEST(CbTimerGetElapsedTime, MultipliesBeforeItDivides)
{
    EXPECT_EQ(stoppedAt(CbTimer::eMilliseconds, frequency() - 1).GetElapsedTime(), 999u);
    EXPECT_EQ(stoppedAt(CbTimer::eSeconds, frequency() - 1).GetElapsedTime(), 0u);
    EXPECT_EQ(stoppedAt(CbTimer::eSeconds, 7 * frequency()).GetElapsedTime(), 7u);
    EXPECT_EQ(stoppedAt(CbTimer::eMicroseconds, 3 * frequency() / 2).GetElapsedTime(), 1'500'000u);
    EXPECT_EQ(stoppedAt(CbTimer::eMilliseconds, frequency() * 3'600).GetElapsedTime(), 3'600'000u);
}

TEST(CbTimerGetElapsedTime, IsTheProductDividedByTheFrequencyForAnyUnitAndAnyCounts)
{
    for (unsigned int const unit : {0u, 1u, 60u, 999u, 1'000u, 1'001u, 1'000'000u, 10'000'000u, 1'000'000'000u, ~0u})
    {
        for (int shift = 0; shift < 64; ++shift)
        {
            unsigned __int64 const power = 1ull << shift;
            for (unsigned __int64 const counts : {power - 1, power, power + 1, power / 3 * 2, ~power})
            {
                ASSERT_EQ(stoppedAt(static_cast<EResolution>(unit), counts).GetElapsedTime(),
                          unit * counts / frequency())
                    << counts << " counts in " << unit << " units a second";
            }
        }
    }
}

TEST(CbTimerGetElapsedTime, WrapsWhereTheProductPasses64Bits)
{
    if (frequency() != 10'000'000)
    {
        GTEST_SKIP() << "the figures are for 10 MHz, this counter has " << frequency() << " Hz";
    }
    // 2 to the power of 64, divided by 1,000,000,000, is 18,446,744,073.7: 1,844.67 seconds.
    EXPECT_EQ(stoppedAt(CbTimer::eNanoseconds, 18'446'744'073).GetElapsedTime(), 1'844'674'407'300u);
    EXPECT_EQ(stoppedAt(CbTimer::eNanoseconds, 18'446'744'074).GetElapsedTime(), 29u);
    EXPECT_EQ(stoppedAt(CbTimer::eMicroseconds, 18'446'744'074).GetElapsedTime(), 1'844'674'407u);
}

TEST(CbTimerGetElapsedTime, TakesAnyNumberOfUnitsInASecond)
{
    EXPECT_EQ(stoppedAt(static_cast<EResolution>(60), 2 * frequency()).GetElapsedTime(), 120u);
    EXPECT_EQ(stoppedAt(static_cast<EResolution>(0xFFFFFFFF), frequency()).GetElapsedTime(), 0xFFFFFFFFu);
    EXPECT_EQ(stoppedAt(static_cast<EResolution>(0), frequency()).GetElapsedTime(), 0u);
}

TEST(CbTimerAdd, RaisesTheReadingOfARunningTimer)
{
    CbTimer timer;
    timer.Start();
    unsigned __int64 const start = startOf(timer);

    timer.Add(500);
    EXPECT_EQ(startOf(timer), start - frequency() / 2);
    EXPECT_GE(timer.GetElapsedTime(), 500u);
    timer.Stop();
    EXPECT_GE(timer.GetElapsedTime(), 500u);
}

TEST(CbTimerAdd, IsInTheTimersUnitAndRoundedDownToCounts)
{
    CbTimer timer(static_cast<EResolution>(3));
    timer.Start();
    unsigned __int64 const start = startOf(timer);

    timer.Add(1);
    EXPECT_EQ(startOf(timer), start - frequency() / 3);
}

TEST(CbTimerAdd, MultipliesBeforeItDivides)
{
    CbTimer thirds(static_cast<EResolution>(3));
    thirds.Start();
    unsigned __int64 const start = startOf(thirds);
    thirds.Add(3);
    EXPECT_EQ(startOf(thirds), start - frequency());
    thirds.Subtract(3);
    EXPECT_EQ(startOf(thirds), start);

    CbTimer fine(CbTimer::eNanoseconds);
    fine.Start();
    unsigned __int64 const fineStart = startOf(fine);
    fine.Add(1'000'000);
    EXPECT_EQ(startOf(fine), fineStart - frequency() / 1'000);
}

TEST(CbTimerAdd, IsLostOnAStoppedTimer)
{
    CbTimer timer;
    timer.Add(500);
    EXPECT_EQ(timer.GetElapsedTime(), 0u);

    unsigned __int64 const before = counterNow();
    timer.Start();
    EXPECT_GE(startOf(timer), before);
    timer.Stop();
    timer.Subtract(500);
    EXPECT_EQ(timer.GetElapsedTime(), accumulatedOf(timer) * 1'000 / frequency());
}

TEST(CbTimerSubtract, LowersTheReadingOfARunningTimer)
{
    CbTimer timer;
    timer.Start();
    unsigned __int64 const start = startOf(timer);

    timer.Add(800);
    timer.Subtract(300);
    EXPECT_EQ(startOf(timer), start - frequency() / 2);
}

TEST(CbTimerSubtract, WrapsBeyondWhatHasRun)
{
    CbTimer timer(CbTimer::eSeconds);
    timer.Start();
    timer.Subtract(1'000'000);

    EXPECT_GT(timer.GetElapsedTime(), 1'000'000'000u);
}

TEST(CbTimerMove, DoesNothingWhereASecondHasNoUnits)
{
    CbTimer timer(static_cast<EResolution>(0));
    timer.Start();
    unsigned __int64 const start = startOf(timer);

    timer.Add(500);
    timer.Subtract(100);
    EXPECT_EQ(startOf(timer), start);
}

TEST(CbTimerSetResolution, RescalesNothing)
{
    CbTimer timer = stoppedAt(CbTimer::eMilliseconds, 3 * frequency() / 2);
    timer.SetResolution(CbTimer::eSeconds);

    EXPECT_EQ(timer.GetResolution(), CbTimer::eSeconds);
    EXPECT_EQ(timer.GetElapsedTime(), 1u);
    timer.SetResolution(CbTimer::eMilliseconds);
    EXPECT_EQ(timer.GetElapsedTime(), 1'500u);
}

TEST(CbTimer, IsCopiedWithItsState)
{
    CbTimer running(CbTimer::eNanoseconds);
    running.Start();
    CbTimer copy(running);
    running.Stop();
    unsigned __int64 const stopped = running.GetElapsedTime();
    spin(100);

    EXPECT_TRUE(copy.IsRunning());
    EXPECT_GT(copy.GetElapsedTime(), stopped);
    EXPECT_EQ(running.GetElapsedTime(), stopped);
}

TEST(CbTimerGetFormatted, GroupsThreeDigits)
{
    EXPECT_EQ(CbTimer::GetFormatted(0, CbTimer::eSeconds), L"0s");
    EXPECT_EQ(CbTimer::GetFormatted(999, CbTimer::eSeconds), L"999s");
    EXPECT_EQ(CbTimer::GetFormatted(1'000, CbTimer::eSeconds), L"1'000s");
    EXPECT_EQ(CbTimer::GetFormatted(123'456, CbTimer::eSeconds), L"123'456s");
    EXPECT_EQ(CbTimer::GetFormatted(1'234'567, CbTimer::eSeconds), L"1'234'567s");
    EXPECT_EQ(CbTimer::GetFormatted(0xFFFFFFFFFFFFFFFF, CbTimer::eSeconds), L"18'446'744'073'709'551'615s");
}

TEST(CbTimerGetFormatted, ShowsTheUnit)
{
    EXPECT_EQ(CbTimer::GetFormatted(5, CbTimer::eSeconds), L"5s");
    EXPECT_EQ(CbTimer::GetFormatted(5, CbTimer::eMilliseconds), L"5ms");
    EXPECT_EQ(CbTimer::GetFormatted(1'000, CbTimer::eMicroseconds), L"1'000\u00B5s");
    EXPECT_EQ(CbTimer::GetFormatted(5, CbTimer::eNanoseconds), L"5ns");
    EXPECT_EQ(CbTimer::GetFormatted(5, static_cast<EResolution>(60)), L"5");
    EXPECT_EQ(CbTimer::GetFormatted(5, static_cast<EResolution>(0)), L"5");
}

TEST(CbTimerGetFormatted, ShowsATimersReading)
{
    CbTimer const timer = stoppedAt(CbTimer::eMicroseconds, 2 * frequency());

    EXPECT_EQ(timer.GetFormatted(), L"2'000'000\u00B5s");
    EXPECT_EQ(CbTimer::GetFormatted(timer), L"2'000'000\u00B5s");
}

namespace
{
// Made by a static initialiser.
CbTimer const s_early = []
{
    CbTimer timer(CbTimer::eNanoseconds);
    timer.Start();
    return timer;
}();
} // namespace

TEST(CbTimer, ServesStaticInitialisers)
{
    EXPECT_TRUE(s_early.IsRunning());
    EXPECT_GT(s_early.GetElapsedTime(), 0u);
}
