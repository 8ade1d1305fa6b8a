#include "mfc/ctime.h"

#include <climits>
#include <ctime>
#include <type_traits>

#include <gtest/gtest.h>

#include "raises.h"

namespace
{
constexpr __int64 c_LastSecond = 32'535'215'999; // 3000-12-31 23:59:59 UTC

// A class that is a point in time and a number as well.
struct SClock
{
    operator CTime() const
    {
        return CTime(5);
    }

    operator unsigned __int64() const
    {
        return 7;
    }
};
} // namespace

static_assert(sizeof(CTime) == 8 && sizeof(CTimeSpan) == 8);
static_assert(std::is_trivially_copyable_v<CTime> && std::is_trivially_copyable_v<CTimeSpan>);

TEST(CTime, IsTheStartOf1970ByDefault)
{
    EXPECT_EQ(CTime().GetTime(), 0);
}

TEST(CTime, HoldsAnyCountOfSeconds)
{
    EXPECT_EQ(CTime(12).GetTime(), 12);
    EXPECT_EQ(CTime(-1).GetTime(), -1);
    EXPECT_EQ(CTime(LLONG_MAX).GetTime(), LLONG_MAX);
    EXPECT_EQ(CTime(LLONG_MIN).GetTime(), LLONG_MIN);
    EXPECT_EQ(CTime(static_cast<std::time_t>(99)).GetTime(), 99);
}

TEST(CTime, IsTakenFromAClassThatIsANumberToo)
{
    EXPECT_EQ(CTime(SClock()).GetTime(), 5);
    EXPECT_EQ(static_cast<CTime>(SClock()).GetTime(), 5);
}

TEST(CTimeNow, LiesBetweenTwoReadingsOfTheClock)
{
    std::time_t const before = std::time(nullptr);
    CTime const now = CTime::Now();
    CTime const current = CTime::GetCurrentTime();
    // The C clock of some systems lags the precise one by a tick, so a second is granted at either end.
    std::time_t const after = std::time(nullptr);
    EXPECT_GE(now.GetTime(), before - 1);
    EXPECT_LE(now.GetTime(), after + 1);
    EXPECT_GE(current, now);
    EXPECT_LE(current.GetTime(), after + 1);
}

TEST(CTimeFields, ReadTheLocalTimeTheyWereMadeFrom)
{
    CTime const time(2024, 2, 29, 13, 14, 15);
    EXPECT_EQ(time.GetYear(), 2024);
    EXPECT_EQ(time.GetMonth(), 2);
    EXPECT_EQ(time.GetDay(), 29);
    EXPECT_EQ(time.GetHour(), 13);
    EXPECT_EQ(time.GetMinute(), 14);
    EXPECT_EQ(time.GetSecond(), 15);
    EXPECT_EQ(time.GetDayOfWeek(), 5);
}

TEST(CTimeFields, CountTheDaysOfTheWeekFromSunday)
{
    EXPECT_EQ(CTime(2024, 3, 3, 12, 0, 0).GetDayOfWeek(), 1);
    EXPECT_EQ(CTime(2024, 3, 9, 12, 0, 0).GetDayOfWeek(), 7);
}

TEST(CTimeFields, LetADayBeyondItsMonthRunOver)
{
    CTime const time(2023, 2, 30, 12, 0, 0);
    EXPECT_EQ(time.GetMonth(), 3);
    EXPECT_EQ(time.GetDay(), 2);
}

TEST(CTimeFields, RefuseEachFieldOutOfRange)
{
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(1899, 12, 31, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(INT_MIN, 1, 1, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 0, 1, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 13, 1, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 1, 0, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 1, 32, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 1, 1, -1, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 1, 1, 24, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 1, 1, 0, -1, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 1, 1, 0, 60, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 1, 1, 0, 0, -1));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, CTime(2024, 1, 1, 0, 0, 60));
}

TEST(CTimeFields, RefuseATimeThatTheCalendarDoesNotCover)
{
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(1900, 1, 1, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(1969, 12, 30, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(3001, 1, 3, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(9999, 12, 31, 0, 0, 0));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(INT_MAX, 12, 31, 0, 0, 0));
    EXPECT_EQ(CTime(1970, 1, 3, 0, 0, 0).GetYear(), 1970);
    EXPECT_EQ(CTime(3000, 12, 30, 0, 0, 0).GetYear(), 3000);
}

TEST(CTimeFields, AreRefusedBefore1970AndAfter3000)
{
    for (CTime const time : {CTime(-1), CTime(c_LastSecond + 1), CTime(LLONG_MIN), CTime(LLONG_MAX)})
    {
        EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, time.GetYear());
        EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, time.GetMonth());
        EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, time.GetDay());
        EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, time.GetHour());
        EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, time.GetMinute());
        EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, time.GetSecond());
        EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, time.GetDayOfWeek());
    }
}

TEST(CTimeGetGmtTm, GivesTheFieldsInUtc)
{
    std::tm parts = {};
    ASSERT_EQ(CTime(951'827'696).GetGmtTm(&parts), &parts); // 2000-02-29 12:34:56
    EXPECT_EQ(parts.tm_year, 100);
    EXPECT_EQ(parts.tm_mon, 1);
    EXPECT_EQ(parts.tm_mday, 29);
    EXPECT_EQ(parts.tm_hour, 12);
    EXPECT_EQ(parts.tm_min, 34);
    EXPECT_EQ(parts.tm_sec, 56);
    EXPECT_EQ(parts.tm_wday, 2);
    EXPECT_EQ(parts.tm_yday, 59);
    EXPECT_EQ(parts.tm_isdst, 0);
}

TEST(CTimeGetGmtTm, CoversTheWholeRange)
{
    std::tm parts = {};
    ASSERT_NE(CTime(0).GetGmtTm(&parts), nullptr);
    EXPECT_EQ(parts.tm_year, 70);
    EXPECT_EQ(parts.tm_wday, 4);
    ASSERT_NE(CTime(c_LastSecond).GetGmtTm(&parts), nullptr);
    EXPECT_EQ(parts.tm_year, 1100);
    EXPECT_EQ(parts.tm_mon, 11);
    EXPECT_EQ(parts.tm_mday, 31);
    EXPECT_EQ(parts.tm_sec, 59);
}

TEST(CTimeGetGmtTm, GivesNullAndWritesNothingOutsideTheRange)
{
    std::tm parts = {};
    parts.tm_year = 42;
    EXPECT_EQ(CTime(-1).GetGmtTm(&parts), nullptr);
    EXPECT_EQ(CTime(c_LastSecond + 1).GetGmtTm(&parts), nullptr);
    EXPECT_EQ(CTime(-1).GetLocalTm(&parts), nullptr);
    EXPECT_EQ(CTime(c_LastSecond + 1).GetLocalTm(&parts), nullptr);
    EXPECT_EQ(parts.tm_year, 42);
}

TEST(CTimeGetGmtTm, RefusesANullPointer)
{
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(0).GetGmtTm(nullptr));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(0).GetLocalTm(nullptr));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(-1).GetGmtTm(nullptr));
}

TEST(CTimeGetLocalTm, GivesTheFieldsThatTheGettersGive)
{
    CTime const time(2024, 7, 15, 1, 2, 3);
    std::tm parts = {};
    ASSERT_EQ(time.GetLocalTm(&parts), &parts);
    EXPECT_EQ(parts.tm_year + 1900, time.GetYear());
    EXPECT_EQ(parts.tm_mon + 1, time.GetMonth());
    EXPECT_EQ(parts.tm_mday, time.GetDay());
    EXPECT_EQ(parts.tm_hour, time.GetHour());
    EXPECT_EQ(parts.tm_min, time.GetMinute());
    EXPECT_EQ(parts.tm_sec, time.GetSecond());
    EXPECT_EQ(parts.tm_wday + 1, time.GetDayOfWeek());
}

TEST(CTimeArithmetic, MovesBySpansAndBySeconds)
{
    CTime time(1'000);
    EXPECT_EQ((time + CTimeSpan(60)).GetTime(), 1'060);
    EXPECT_EQ((time - CTimeSpan(60)).GetTime(), 940);
    EXPECT_EQ((time + 60).GetTime(), 1'060);
    EXPECT_EQ((time - 60).GetTime(), 940);
    time += CTimeSpan(1, 0, 0, 0);
    EXPECT_EQ(time.GetTime(), 87'400);
    time -= 400;
    EXPECT_EQ(time.GetTime(), 87'000);
}

TEST(CTimeArithmetic, MeasuresTheSpanBetweenTwoTimes)
{
    EXPECT_EQ((CTime(100) - CTime(160)).GetTotalSeconds(), -60);
    static_assert(std::is_same_v<decltype(CTime() - CTime()), CTimeSpan>);
}

TEST(CTimeComparison, OrdersBySeconds)
{
    EXPECT_TRUE(CTime(5) == CTime(5));
    EXPECT_TRUE(CTime(5) != CTime(6));
    EXPECT_TRUE(CTime(-5) < CTime(5));
    EXPECT_TRUE(CTime(5) <= CTime(5));
    EXPECT_TRUE(CTime(6) > CTime(5));
    EXPECT_TRUE(CTime(6) >= CTime(6));
}

TEST(CTimeSpan, AddsItsParts)
{
    EXPECT_EQ(CTimeSpan().GetTimeSpan(), 0);
    EXPECT_EQ(CTimeSpan(1, 2, 3, 4).GetTimeSpan(), 93'784);
    EXPECT_EQ(CTimeSpan(0, 0, 0, -1).GetTimeSpan(), -1);
    EXPECT_EQ(CTimeSpan(INT_MAX, 0, 0, 0).GetDays(), INT_MAX);
}

TEST(CTimeSpan, SplitsIntoUnits)
{
    CTimeSpan const span(1, 2, 3, 4);
    EXPECT_EQ(span.GetDays(), 1);
    EXPECT_EQ(span.GetHours(), 2);
    EXPECT_EQ(span.GetMinutes(), 3);
    EXPECT_EQ(span.GetSeconds(), 4);
    EXPECT_EQ(span.GetTotalHours(), 26);
    EXPECT_EQ(span.GetTotalMinutes(), 1'563);
    EXPECT_EQ(span.GetTotalSeconds(), 93'784);
}

TEST(CTimeSpan, TruncatesTowardsZero)
{
    CTimeSpan const span(-93'784);
    EXPECT_EQ(span.GetDays(), -1);
    EXPECT_EQ(span.GetHours(), -2);
    EXPECT_EQ(span.GetMinutes(), -3);
    EXPECT_EQ(span.GetSeconds(), -4);
}

TEST(CTimeSpan, AddsSubtractsAndCompares)
{
    CTimeSpan span(10);
    EXPECT_EQ((span + CTimeSpan(5)).GetTimeSpan(), 15);
    EXPECT_EQ((span - CTimeSpan(25)).GetTimeSpan(), -15);
    span += 5;
    span -= CTimeSpan(1);
    EXPECT_EQ(span, CTimeSpan(14));
    EXPECT_TRUE(span > CTimeSpan(13));
    EXPECT_TRUE(span != CTimeSpan(15));
}
