// Every day of the years 1601 to 9999, counted by hand and by the standard library.

#include <chrono>

#include <gtest/gtest.h>

#include "orvane/datetime/cbdatetime.h"

namespace
{
constexpr __int64 c_FirstSecond = -11'644'473'600; // 1601-01-01
constexpr __int64 c_Day = 86'400;
constexpr unsigned __int64 c_TicksADay = 864'000'000'000;
constexpr int c_LastYear = 9999;

// A calendar that knows nothing but how to go on by a day.
struct SCounted
{
    int year = 1601;
    int month = 1;
    int day = 1;
    int dayOfWeek = 1;

    int length() const
    {
        if (month == 2)
        {
            return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 29 : 28;
        }
        return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
    }

    void next()
    {
        dayOfWeek = (dayOfWeek + 1) % 7;
        if (++day > length())
        {
            day = 1;
            if (++month > 12)
            {
                month = 1;
                ++year;
            }
        }
    }

    bool isSameAs(SYSTEMTIME const& fields) const
    {
        return fields.wYear == year && fields.wMonth == month && fields.wDay == day && fields.wDayOfWeek == dayOfWeek;
    }
};

bool isMidnight(SYSTEMTIME const& fields)
{
    return fields.wHour == 0 && fields.wMinute == 0 && fields.wSecond == 0 && fields.wMilliseconds == 0;
}

bool isLastMoment(SYSTEMTIME const& fields)
{
    return fields.wHour == 23 && fields.wMinute == 59 && fields.wSecond == 59;
}
} // namespace

TEST(Calendar, HasEveryDayOfACTimeValue)
{
    int days = 0;
    for (SCounted counted; counted.year <= c_LastYear; counted.next(), ++days)
    {
        __int64 const midnight = c_FirstSecond + days * c_Day;
        SYSTEMTIME const first = CbDateTime(midnight);
        SYSTEMTIME const last = CbDateTime(midnight + c_Day - 1);
        ASSERT_TRUE(counted.isSameAs(first) && isMidnight(first) && counted.isSameAs(last) && isLastMoment(last))
            << counted.year << '-' << counted.month << '-' << counted.day;
    }
    EXPECT_EQ(days, 3'067'671);
}

TEST(Calendar, HasEveryDayInTicks)
{
    unsigned __int64 ticks = 0;
    for (SCounted counted; counted.year <= c_LastYear; counted.next(), ticks += c_TicksADay)
    {
        CbDateTime const first(ticks);
        CbDateTime const last(ticks + c_TicksADay - 10'000);
        ASSERT_TRUE(counted.isSameAs(first) && isMidnight(first) && counted.isSameAs(last) && isLastMoment(last) &&
                    last.GetMillisecond() == 999)
            << counted.year << '-' << counted.month << '-' << counted.day;
        ASSERT_EQ(static_cast<unsigned __int64>(first), ticks);
        ASSERT_EQ(static_cast<unsigned __int64>(last), ticks + c_TicksADay - 10'000);
    }
    EXPECT_EQ(ticks, 3'067'671 * c_TicksADay);
}

TEST(Calendar, IsThatOfTheStandardLibrary)
{
    using namespace std::chrono;
    for (sys_days day = sys_days(year(1601) / January / 1); day < sys_days(year(10'000) / January / 1); day += days(1))
    {
        year_month_day const date(day);
        SYSTEMTIME const fields = CbDateTime(day);
        ASSERT_TRUE(fields.wYear == static_cast<int>(date.year()) &&
                    fields.wMonth == static_cast<unsigned>(date.month()) &&
                    fields.wDay == static_cast<unsigned>(date.day()) && fields.wDayOfWeek == weekday(day).c_encoding())
            << fields.wYear << '-' << fields.wMonth << '-' << fields.wDay;
    }
}

TEST(Calendar, GoesOnToTheLastYear)
{
    // 400 years later everything is the same.
    constexpr unsigned __int64 c_Cycle = 146'097 * c_TicksADay;
    for (unsigned __int64 ticks = c_Cycle; ticks < 9'223'149'888'000'000'000; ticks += 100 * c_TicksADay)
    {
        CbDateTime const time(ticks);
        CbDateTime const before(ticks - c_Cycle);
        ASSERT_EQ(time.GetYear(), before.GetYear() + 400);
        ASSERT_EQ(time.GetMonth(), before.GetMonth());
        ASSERT_EQ(time.GetDay(), before.GetDay());
        ASSERT_EQ(static_cast<unsigned __int64>(time), ticks);
    }
}
