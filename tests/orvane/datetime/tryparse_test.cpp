#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "orvane/datetime/cbdatetime.h"
#include "support/logrecorder.h"

namespace
{
// The time in the form "2024-05-06 07:08:09.010", or "refused"; both widths agree.
std::string parsed(std::string const& text)
{
    std::optional<CbDateTime> const narrow = CbDateTime::TryParse(text);
    std::optional<CbDateTime> const wide = CbDateTime::TryParse(std::wstring(text.begin(), text.end()));
    EXPECT_EQ(narrow, wide) << text;
    return narrow ? narrow->ToString("Y-m-d H:i:s.v", false).GetString() : "refused";
}
} // namespace

TEST(CbDateTimeTryParse, TakesADateAndATimeOfDayAsUtc)
{
    EXPECT_EQ(parsed("2024-05-06T07:08:09"), "2024-05-06 07:08:09.000");
    EXPECT_EQ(parsed("2024-05-06t07:08:09"), "2024-05-06 07:08:09.000");
    EXPECT_EQ(parsed("2024-05-06 07:08:09"), "2024-05-06 07:08:09.000");
    EXPECT_EQ(parsed("2024-05-06T07:08:09Z"), "2024-05-06 07:08:09.000");
    EXPECT_EQ(parsed("2024-05-06T07:08:09z"), "2024-05-06 07:08:09.000");
}

TEST(CbDateTimeTryParse, CutsFractionsToMilliseconds)
{
    EXPECT_EQ(parsed("2024-05-06T07:08:09.1"), "2024-05-06 07:08:09.100");
    EXPECT_EQ(parsed("2024-05-06T07:08:09,12Z"), "2024-05-06 07:08:09.120");
    EXPECT_EQ(parsed("2024-05-06T07:08:09.0129999999999999999999999"), "2024-05-06 07:08:09.012");
    EXPECT_EQ(parsed("2024-05-06T07:08:59.999999+00:00"), "2024-05-06 07:08:59.999");
}

TEST(CbDateTimeTryParse, SubtractsTheOffset)
{
    EXPECT_EQ(parsed("2024-05-06T07:08:09+05:30"), "2024-05-06 01:38:09.000");
    EXPECT_EQ(parsed("2024-05-06T07:08:09.5-0330"), "2024-05-06 10:38:09.500");
    EXPECT_EQ(parsed("2024-05-06T07:08:09+01"), "2024-05-06 06:08:09.000");
    EXPECT_EQ(parsed("2024-03-01T00:00:00+23:59"), "2024-02-29 00:01:00.000");
    EXPECT_EQ(parsed("9999-12-31T23:59:59-23:59"), "10000-01-01 23:58:59.000");
    EXPECT_EQ(parsed("2024-05-06T07:08:09-00:00"), "2024-05-06 07:08:09.000");
}

TEST(CbDateTimeTryParse, FillsInTheDayOfTheWeek)
{
    EXPECT_EQ(static_cast<SYSTEMTIME>(*CbDateTime::TryParse("2024-12-31T00:00:00")).wDayOfWeek, 2);
}

TEST(CbDateTimeTryParse, RefusesNumbersOutOfRange)
{
    for (char const* const text :
         {"2024-00-06T07:08:09", "2024-13-06T07:08:09", "2024-05-00T07:08:09", "2024-05-32T07:08:09",
          "2024-04-31T07:08:09", "2023-02-29T07:08:09", "1900-02-29T07:08:09", "2024-05-06T24:00:00",
          "2024-05-06T07:60:09", "2024-05-06T07:08:60", "1600-12-31T23:59:59", "0000-01-01T00:00:00",
          "2024-05-06T07:08:09+24:00", "2024-05-06T07:08:09+01:60", "1601-01-01T00:00:00+00:01"})
    {
        EXPECT_EQ(parsed(text), "refused") << text;
    }
    EXPECT_EQ(parsed("2024-02-29T23:59:59"), "2024-02-29 23:59:59.000");
    EXPECT_EQ(parsed("1601-01-01T00:00:00"), "1601-01-01 00:00:00.000");
}

TEST(CbDateTimeTryParse, RefusesOtherForms)
{
    for (char const* const text : {"",
                                   "2024",
                                   "2024-05-06",
                                   "2024-05-06T",
                                   "2024-05-06T07:08",
                                   "2024-05-06T07:08:9",
                                   "2024-5-06T07:08:09",
                                   "24-05-06T07:08:09",
                                   "+2024-05-06T07:08:09",
                                   "02024-05-06T07:08:09",
                                   "20240506T070809",
                                   "2024-05-06_07:08:09",
                                   "2024/05/06T07:08:09",
                                   "2024-05-06T07.08.09",
                                   "2024-05-06T-7:08:09",
                                   "2024-05-06T 7:08:09",
                                   " 2024-05-06T07:08:09",
                                   "2024-05-06T07:08:09 ",
                                   "2024-05-06T07:08:09.",
                                   "2024-05-06T07:08:09.Z",
                                   "2024-05-06T07:08:09ZZ",
                                   "2024-05-06T07:08:09+",
                                   "2024-05-06T07:08:09+1",
                                   "2024-05-06T07:08:09+01:",
                                   "2024-05-06T07:08:09+01:3",
                                   "2024-05-06T07:08:09+013",
                                   "2024-05-06T07:08:09+01:30x",
                                   "2024-05-06T07:08:09 +01:30",
                                   "2024-W19-1T07:08:09",
                                   "2024-127T07:08:09"})
    {
        EXPECT_EQ(parsed(text), "refused") << text;
    }
}

TEST(CbDateTimeTryParse, LooksAtEveryCharacter)
{
    EXPECT_EQ(CbDateTime::TryParse(std::string_view("2024-05-06T07:08:09\0", 20)), std::nullopt);
    EXPECT_EQ(CbDateTime::TryParse(std::wstring_view(L"2024-05-06T07:08:0\u0669")), std::nullopt);
    EXPECT_NE(CbDateTime::TryParse(std::string_view("2024-05-06T07:08:09 and more", 19)), std::nullopt);
}

TEST(CbDateTimeTryParse, RaisesAndLogsNothing)
{
    CLogRecorder const recorder;
    EXPECT_NO_THROW(CbDateTime::TryParse("not a time"));
    EXPECT_TRUE(recorder.GetRecords().empty());
}
