// Local time in a zone of its own: the build file runs this program with the eastern North American rules.

#include <initializer_list>

#include <gtest/gtest.h>

#include "mfc/ctime.h"

TEST(CTimeZone, ReadsFieldsAsLocalTime)
{
    EXPECT_EQ(CTime(2024, 1, 15, 12, 0, 0).GetTime(), 1'705'338'000); // 17:00 UTC
    EXPECT_EQ(CTime(2024, 7, 15, 12, 0, 0).GetTime(), 1'721'059'200); // 16:00 UTC
}

TEST(CTimeZone, GivesFieldsInLocalTime)
{
    EXPECT_EQ(CTime(1'705'338'000).GetHour(), 12);
    EXPECT_EQ(CTime(1'721'059'200).GetHour(), 12);
    EXPECT_EQ(CTime(0).GetYear(), 1969);
    EXPECT_EQ(CTime(0).GetHour(), 19);
}

TEST(CTimeZone, TakesDaylightSavingTimeAsTold)
{
    EXPECT_EQ(CTime(2024, 7, 15, 12, 0, 0, 0).GetTime(), 1'721'062'800);
    EXPECT_EQ(CTime(2024, 7, 15, 12, 0, 0, 1).GetTime(), 1'721'059'200);
    EXPECT_EQ(CTime(2024, 1, 15, 12, 0, 0, 0).GetTime(), 1'705'338'000);
    EXPECT_EQ(CTime(2024, 1, 15, 12, 0, 0, 1).GetTime(), 1'705'334'400);
    EXPECT_EQ(CTime(2024, 11, 3, 1, 30, 0, 0).GetTime(), 1'730'615'400);
    EXPECT_EQ(CTime(2024, 11, 3, 1, 30, 0, 1).GetTime(), 1'730'611'800);
}

TEST(CTimeZone, TakesALeftOutHourAsTold)
{
    EXPECT_EQ(CTime(2024, 3, 10, 2, 30, 0, 0).GetTime(), 1'710'055'800);
    EXPECT_EQ(CTime(2024, 3, 10, 2, 30, 0, 1).GetTime(), 1'710'052'200);
}

// Whatever was asked before: a runtime that guesses starts from its last answer.
TEST(CTimeZone, TakesTheLaterOfAnHourThatOccursTwice)
{
    for (int const month : {1, 7})
    {
        EXPECT_EQ(CTime(2024, month, 1, 0, 0, 0).GetMonth(), month);
        EXPECT_EQ(CTime(2024, 11, 3, 1, 30, 0).GetTime(), 1'730'615'400) << "after month " << month;
    }
}

TEST(CTimeZone, CountsALeftOutHourInDaylightSavingTime)
{
    for (int const month : {1, 7})
    {
        EXPECT_EQ(CTime(2024, month, 1, 0, 0, 0).GetMonth(), month);
        CTime const time(2024, 3, 10, 2, 30, 0);
        EXPECT_EQ(time.GetTime(), 1'710'052'200) << "after month " << month;
        EXPECT_EQ(time.GetHour(), 1);
    }
}
