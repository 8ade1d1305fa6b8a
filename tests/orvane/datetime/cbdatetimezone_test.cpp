// Local time in a zone of its own: the build file runs this program with the eastern North American rules. Years are those
// that the present rules cover: Windows applies them to all years.

#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "orvane/datetime/cbdatetime.h"
#include "orvane/exception/cbexceptionconversion.h"
#include "support/raises.h"

namespace
{
std::string localText(CbDateTime const& time)
{
    return time.ToString("Y-m-d H:i:s.v", true).GetString();
}

std::string universalText(char const* local)
{
    std::string const text = CbDateTime(local, true).ToString("Y-m-d H:i:s", false).GetString();
    std::wstring const wide(local, local + std::char_traits<char>::length(local));
    EXPECT_EQ(CbDateTime(wide.c_str(), true).ToString("Y-m-d H:i:s", false), text.c_str());
    return text;
}
} // namespace

TEST(CbDateTimeZone, RendersLocalTime)
{
    EXPECT_EQ(localText(CbDateTime(2024, 1, 15, 17, 0, 0, 123)), "2024-01-15 12:00:00.123");
    EXPECT_EQ(localText(CbDateTime(2024, 7, 15, 16, 0, 0, 123)), "2024-07-15 12:00:00.123");
    EXPECT_EQ(localText(CbDateTime(2025, 1, 1, 4, 59, 59, 0)), "2024-12-31 23:59:59.000");
    EXPECT_EQ(std::wstring(CbDateTime(2025, 1, 1, 4, 0, 0, 0).ToString(L"l, j F Y, G", true)),
              L"Tuesday, 31 December 2024, 23");
}

TEST(CbDateTimeZone, ChangesTheClocksToTheSecond)
{
    EXPECT_EQ(localText(CbDateTime(2024, 3, 10, 6, 59, 59, 999)), "2024-03-10 01:59:59.999");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 10, 7, 0, 0, 0)), "2024-03-10 03:00:00.000");
    EXPECT_EQ(localText(CbDateTime(2024, 11, 3, 5, 59, 59, 999)), "2024-11-03 01:59:59.999");
    EXPECT_EQ(localText(CbDateTime(2024, 11, 3, 6, 0, 0, 0)), "2024-11-03 01:00:00.000");
}

TEST(CbDateTimeZone, HasTheCurrentTimeInUtc)
{
    auto const secondsOf = [](CbDateTime const& time)
    { return (time - CbDateTime(1970, 1, 1, 0, 0, 0, 0)).Get(CbTimeInterval::eSecond); };
    CbDateTime changed(1970, 1, 1, 0, 0, 0, 0);

    std::time_t const before = std::time(nullptr);
    CbDateTime const made;
    CbDateTime const now = CbDateTime::Now();
    changed.SetNow();
    std::time_t const after = std::time(nullptr);

    for (CbDateTime const& time : {made, now, changed})
    {
        EXPECT_GE(secondsOf(time), before - 1) << "the C clock of some systems lags by a tick";
        EXPECT_LE(secondsOf(time), after + 1);
    }
}

TEST(CbDateTimeZone, RendersUtcUnlessToldOtherwise)
{
    EXPECT_EQ(CbDateTime(2024, 1, 15, 17, 0, 0, 0).ToString("H", false), "17");
}

TEST(CbDateTimeZone, TakesTextAsLocalTime)
{
    EXPECT_EQ(universalText("2024-01-15 12:00:00"), "2024-01-15 17:00:00");
    EXPECT_EQ(universalText("2024-07-15T12:00:00"), "2024-07-15 16:00:00");
    EXPECT_EQ(universalText("2024-12-31 23:59:59"), "2025-01-01 04:59:59");
    EXPECT_EQ(CbDateTime("2024-01-15 12:00:00", false), CbDateTime(2024, 1, 15, 12, 0, 0, 0));
    EXPECT_EQ(CbDateTime("2024-01-15 12:00:00"), CbDateTime(2024, 1, 15, 12, 0, 0, 0));
}

TEST(CbDateTimeZone, TakesTheEarlierOfAnHourThatOccursTwice)
{
    EXPECT_EQ(universalText("2024-11-03 01:30:00"), "2024-11-03 05:30:00");
    EXPECT_EQ(universalText("2024-11-03 00:59:59"), "2024-11-03 04:59:59");
    EXPECT_EQ(universalText("2024-11-03 02:00:00"), "2024-11-03 07:00:00");
}

TEST(CbDateTimeZone, CountsALeftOutHourInDaylightSavingTime)
{
    EXPECT_EQ(universalText("2024-03-10 02:30:00"), "2024-03-10 06:30:00");
    EXPECT_EQ(universalText("2024-03-10 01:59:59"), "2024-03-10 06:59:59");
    EXPECT_EQ(universalText("2024-03-10 03:00:00"), "2024-03-10 07:00:00");
}

TEST(CbDateTimeZone, LeavesUnconvertedWhatIsNoTime)
{
    EXPECT_EQ(universalText("2024-13-40 25:61:61"), "2024-13-40 25:61:61");
    EXPECT_EQ(universalText("2023-02-29 12:00:00"), "2023-02-29 12:00:00");
    EXPECT_EQ(localText(CbDateTime(2023, 2, 29, 12, 0, 0, 0)), "2023-02-29 12:00:00.000");
    EXPECT_EQ(localText(CbDateTime(1601, 1, 1, 4, 59, 59, 0)), "1601-01-01 04:59:59.000")
        << "no local time before 1601";
    EXPECT_EQ(localText(CbDateTime(1601, 1, 1, 5, 0, 0, 0)), "1601-01-01 00:00:00.000");
}

TEST(CbDateTimeZone, StillRaisesForTextThatIsRefused)
{
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime", CbDateTime("2024-01-15", true));
}

TEST(CbDateTimeZone, MovesOnlyTheTimeOfDayOfTheLongForm)
{
    CbDateTime const time(2025, 1, 1, 4, 30, 0, 0);
    EXPECT_EQ(std::wstring(time.ToString(CbDateTime::eLongDateTime, true)), L"Wednesday, January 1, 2025 23:30:00");
    EXPECT_EQ(std::wstring(time.ToString(CbDateTime::eLongDateTime, false)), L"Wednesday, January 1, 2025 04:30:00");
    EXPECT_EQ(std::wstring(time.ToString(CbDateTime::eLongDate, true)), L"Wednesday, January 1, 2025");
    EXPECT_EQ(std::wstring(time.ToString(CbDateTime::eShortDate, true)), L"1/1/2025");
}

TEST(CbDateTimeZone, LooksAtTheLocalYearForALeapYear)
{
    CbDateTime const time(2025, 1, 1, 4, 30, 0, 0);
    EXPECT_TRUE(time.IsLeapYear(true));
    EXPECT_FALSE(time.IsLeapYear(false));
}

TEST(CbDateTimeZone, TellsTheDaysOfTheLocalMonth)
{
    EXPECT_EQ(CbDateTime(2024, 3, 1, 4, 0, 0, 0).ToString("t", true), "29");
    EXPECT_EQ(CbDateTime(2024, 3, 1, 4, 0, 0, 0).ToString("t", false), "31");
}

TEST(CbDateTimeZone, BecomesACTimeAsLocalTimeAndReadsItAsUtc)
{
    CTime const time = CbDateTime(2024, 1, 15, 12, 0, 0, 0);
    EXPECT_EQ(time.GetTime(), 1'705'338'000); // 17:00 UTC
    EXPECT_EQ(CbDateTime(time), CbDateTime(2024, 1, 15, 17, 0, 0, 0));
}
