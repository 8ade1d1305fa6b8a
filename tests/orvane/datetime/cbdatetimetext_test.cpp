#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/datetime/cbdatetime.h"
#include "orvane/datetime/dateerrortext.h"
#include "orvane/exception/cbexceptionconversion.h"
#include "support/logline.h"
#include "support/raises.h"

namespace
{
CbDateTime const c_Leap(2024, 2, 29, 7, 5, 9, 45);
CbDateTime const c_Evening(2024, 12, 31, 19, 0, 0, 7); // a Tuesday
CbDateTime const c_NoTime(2024, 13, 40, 25, 61, 62, 1'234);

std::string shown(CbDateTime const& time, char const* format)
{
    return time.ToString(format, false).GetString();
}

CbDateTime atHour(unsigned int hour, unsigned int minute)
{
    return CbDateTime(2024, 5, 6, hour, minute, 0, 0);
}

using Numbers = std::vector<unsigned int>;

// The fields that a text is taken for.
Numbers taken(char const* text)
{
    CbDateTime const time(text);
    Numbers const numbers = {time.GetYear(),   time.GetMonth(),  time.GetDay(),        time.GetHour(),
                             time.GetMinute(), time.GetSecond(), time.GetMillisecond()};
    EXPECT_EQ(static_cast<SYSTEMTIME>(time).wDayOfWeek, 0);
    return numbers;
}

bool isTaken(std::string const& text)
{
    bool const isNarrowTaken = CbDateTime::HasValidFormat(text.c_str());
    std::wstring const wide(text.begin(), text.end());
    EXPECT_EQ(CbDateTime::HasValidFormat(wide.c_str()), isNarrowTaken) << text;
    return isNarrowTaken;
}
} // namespace

TEST(CbDateTimeToString, RendersNumbers)
{
    EXPECT_EQ(shown(c_Leap, "Y-m-d H:i:s.v"), "2024-02-29 07:05:09.045");
    EXPECT_EQ(shown(c_Leap, "j.n.y"), "29.2.24");
    EXPECT_EQ(shown(c_Leap, "G|g|h|H"), "7|7|07|07");
    EXPECT_EQ(shown(c_Evening, "G|g|h|H"), "19|7|07|19");
    EXPECT_EQ(shown(CbDateTime(7, 1, 2, 3, 4, 5, 6), "Y y m n d j v"), "0007 07 01 1 02 2 006");
    EXPECT_EQ(shown(CbDateTime(1900, 1, 2, 3, 4, 5, 999), "y v"), "00 999");
}

TEST(CbDateTimeToString, KeepsTheLastCharactersOfLongNumbers)
{
    EXPECT_EQ(shown(CbDateTime(65'535, 1, 1, 0, 0, 0, 1'234), "Y y v"), "65535 35 234");
}

TEST(CbDateTimeToString, RendersWhatIsNoTime)
{
    EXPECT_EQ(shown(c_NoTime, "Y-m-d j n H:G:g:h i s"), "2024-13-40 40 13 25:25:1:01 61 62");
}

TEST(CbDateTimeToString, TellsTheDaysOfTheMonth)
{
    EXPECT_EQ(shown(c_Leap, "t"), "29");
    EXPECT_EQ(shown(CbDateTime(2100, 2, 1, 0, 0, 0, 0), "t"), "28");
    std::string all;
    for (unsigned int month = 1; month <= 12; ++month)
    {
        all += shown(CbDateTime(2023, month, 1, 0, 0, 0, 0), "t ");
    }
    EXPECT_EQ(all, "31 28 31 30 31 30 31 31 30 31 30 31 ");
}

TEST(CbDateTimeToString, RefusesTheDaysOfAMonthThatIsNone)
{
    CLogRecorder const recorder;
    for (unsigned int const month : {0u, 13u, 65'535u})
    {
        CbDateTime const time(2024, month, 1, 0, 0, 0, 0);
        EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::ToString", time.ToString("Y t", false));
        EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::ToString", time.ToString(L"Y t", true));
        EXPECT_EQ(shown(time, "Y \\t"), "2024 t");
    }
    ASSERT_EQ(recorder.GetRecords().size(), 6u);
    EXPECT_EQ(recorder.GetRecords()[0].text, L"Exception on data conversion");
}

TEST(CbDateTimeToString, CountsHour12AsMorning)
{
    EXPECT_EQ(shown(atHour(12, 30), "g:i a"), "0:30 am");
    EXPECT_EQ(shown(atHour(0, 15), "h:i A"), "00:15 AM");
    EXPECT_EQ(shown(atHour(13, 0), "A"), "PM");
    EXPECT_EQ(shown(atHour(12, 59), "A"), "AM");
    EXPECT_EQ(shown(atHour(23, 0), "a g h"), "pm 11 11");
    EXPECT_EQ(shown(atHour(65'535, 0), "a"), "pm");
}

TEST(CbDateTimeToString, RendersNames)
{
    EXPECT_EQ(shown(c_Evening, "D l F M"), "Tue Tuesday December Dec");
    EXPECT_EQ(shown(CbDateTime(2024, 5, 1, 0, 0, 0, 0), "D, l, F, M"), "Wed, Wednesday, May, May");
    EXPECT_EQ(shown(CbDateTime(1601, 1, 1, 0, 0, 0, 0), "l"), "Monday");
    EXPECT_EQ(shown(CbDateTime(30'827, 12, 31, 0, 0, 0, 0), "l"), "Friday");
}

TEST(CbDateTimeToString, LooksAtTheDateNotAtTheStoredDayOfTheWeek)
{
    EXPECT_EQ(shown(CbDateTime(SYSTEMTIME{2024, 12, 5, 31, 0, 0, 0, 0}), "l"), "Tuesday");
}

TEST(CbDateTimeToString, RendersNamesBesideATimeOfDayThatIsNone)
{
    EXPECT_EQ(shown(CbDateTime(2024, 12, 31, 99, 99, 99, 0), "l"), "Tuesday");
}

TEST(CbDateTimeToString, PutsAnErrorTextInPlaceOfANameThatIsNone)
{
    EXPECT_EQ(shown(c_NoTime, "D.l.F.M."),
              "ERROR_INVALID_PARAMETER.ERROR_INVALID_PARAMETER.ERROR_INVALID_PARAMETER.ERROR_INVALID_PARAMETER.");
    EXPECT_EQ(shown(CbDateTime(2023, 2, 29, 0, 0, 0, 0), "M Y"), "ERROR_INVALID_PARAMETER 2023");
    EXPECT_EQ(shown(CbDateTime(1600, 1, 1, 0, 0, 0, 0), "F"), "ERROR_INVALID_PARAMETER");
}

TEST(CbDateTimeToString, NamesTheErrorsOfANameThatIsNone)
{
    EXPECT_STREQ(DateErrorText::Get(122), L"ERROR_INSUFFICIENT_BUFFER");
    EXPECT_STREQ(DateErrorText::Get(87), L"ERROR_INVALID_PARAMETER");
    EXPECT_STREQ(DateErrorText::Get(1004), L"ERROR_INVALID_FLAGS");
    for (DWORD const other : {0u, 5u, 8u, 86u, 88u, 121u, 123u, 1003u, 1005u, 0xFFFFFFFFu})
    {
        EXPECT_STREQ(DateErrorText::Get(other), L"UNKNOWN ERROR") << other;
    }
}

TEST(CbDateTimeToString, TakesTheCharacterBehindABackslashAsItStands)
{
    EXPECT_EQ(shown(c_Leap, "\\Y-Y"), "Y-2024");
    EXPECT_EQ(shown(c_Leap, "\\\\Y\\x"), "\\2024x");
}

TEST(CbDateTimeToString, EndsAtATrailingBackslash)
{
    EXPECT_EQ(shown(c_Leap, "Y\\"), "2024");
    EXPECT_EQ(shown(c_Leap, "\\"), "");
}

TEST(CbDateTimeToString, CopiesAllOtherCharacters)
{
    EXPECT_EQ(shown(c_Leap, "xQbceokpqruwzBCEIJKLNOPRSTUVWXZ 0/+%\xE4\n"),
              "xQbceokpqruwzBCEIJKLNOPRSTUVWXZ 0/+%\xE4\n");
}

TEST(CbDateTimeToString, IsEmptyForAnEmptyFormat)
{
    for (bool const local : {false, true})
    {
        EXPECT_TRUE(c_Leap.ToString("", local).IsEmpty());
        EXPECT_TRUE(c_Leap.ToString(L"", local).IsEmpty());
        EXPECT_TRUE(c_Leap.ToString(static_cast<char const*>(nullptr), local).IsEmpty());
        EXPECT_TRUE(c_Leap.ToString(static_cast<wchar_t const*>(nullptr), local).IsEmpty());
    }
}

TEST(CbDateTimeToString, RendersTextsOfAnyLength)
{
    std::string format;
    std::string expected;
    for (int n = 0; n < 200; ++n)
    {
        format += "Y-l ";
        expected += "2024-Tuesday ";
        EXPECT_EQ(shown(c_Evening, format.c_str()), expected);
    }
}

TEST(CbDateTimeToString, RendersWideFormatsThroughNarrowOnes)
{
    EXPECT_EQ(std::wstring(c_Evening.ToString(L"l, j F Y H:i:s", false)), L"Tuesday, 31 December 2024 19:00:00");
    EXPECT_EQ(std::wstring(c_Evening.ToString(L"Y\\Y\\", false)), L"2024Y");
}

TEST(CbDateTimeFixedForms, AreThoseOfTheLocale)
{
    EXPECT_EQ(std::wstring(c_Evening.ToString(CbDateTime::eLongDateTime, false)),
              L"Tuesday, December 31, 2024 19:00:00");
    EXPECT_EQ(std::wstring(c_Evening.ToString(CbDateTime::eLongDate, false)), L"Tuesday, December 31, 2024");
    EXPECT_EQ(std::wstring(c_Evening.ToString(CbDateTime::eShortDate, false)), L"12/31/2024");
    CbDateTime const early(2024, 5, 6, 7, 8, 9, 10);
    EXPECT_EQ(std::wstring(early.ToString(CbDateTime::eLongDateTime, false)), L"Monday, May 6, 2024 07:08:09");
    EXPECT_EQ(std::wstring(early.ToString(CbDateTime::eShortDate, true)), L"5/6/2024");
}

TEST(CbDateTimeFixedForms, CountHoursTo23)
{
    EXPECT_EQ(std::wstring(atHour(0, 5).ToString(CbDateTime::eLongDateTime, false)), L"Monday, May 6, 2024 00:05:00");
    EXPECT_EQ(std::wstring(atHour(12, 5).ToString(CbDateTime::eLongDateTime, false)), L"Monday, May 6, 2024 12:05:00");
    EXPECT_EQ(std::wstring(atHour(23, 5).ToString(CbDateTime::eLongDateTime, false)), L"Monday, May 6, 2024 23:05:00");
}

TEST(CbDateTimeFixedForms, LeaveOutWhatIsNone)
{
    EXPECT_TRUE(c_NoTime.ToString(CbDateTime::eLongDate, false).IsEmpty());
    EXPECT_TRUE(c_NoTime.ToString(CbDateTime::eShortDate, false).IsEmpty());
    EXPECT_EQ(std::wstring(c_NoTime.ToString(CbDateTime::eLongDateTime, true)), L" ");
    CbDateTime const noDate(2023, 2, 29, 7, 8, 9, 0);
    EXPECT_EQ(std::wstring(noDate.ToString(CbDateTime::eLongDateTime, false)), L" 07:08:09");
    CbDateTime const noHour(2024, 12, 31, 24, 0, 0, 0);
    EXPECT_EQ(std::wstring(noHour.ToString(CbDateTime::eLongDateTime, false)), L"Tuesday, December 31, 2024 ");
}

TEST(CbDateTimeFixedForms, AreEmptyForAnyOtherValue)
{
    EXPECT_TRUE(c_Leap.ToString(static_cast<CbDateTime::EFormat>(7), true).IsEmpty());
    EXPECT_TRUE(c_Leap.ToString(static_cast<CbDateTime::EFormat>(3), false).IsEmpty());
    EXPECT_TRUE(c_Leap.ToString(static_cast<CbDateTime::EFormat>(-1), false).IsEmpty());
}

TEST(CbDateTimeParsing, TakesTheFixedForm)
{
    EXPECT_EQ(taken("2024-05-06T07:08:09"), (Numbers{2024, 5, 6, 7, 8, 9, 0}));
    EXPECT_EQ(taken("2024-05-06 07:08:09"), (Numbers{2024, 5, 6, 7, 8, 9, 0}));
    EXPECT_EQ(taken("2024-05-06 07:08:09 trailing"), (Numbers{2024, 5, 6, 7, 8, 9, 0}));
    EXPECT_EQ(CbDateTime(L"2024-05-06T07:08:09"), CbDateTime(2024, 5, 6, 7, 8, 9, 0));
    EXPECT_TRUE(isTaken("2024-05-06T07:08:09"));
    EXPECT_TRUE(isTaken("2024-05-06 07:08:09 trailing"));
}

TEST(CbDateTimeParsing, DoesNotCheckNumbers)
{
    EXPECT_EQ(taken("2024-13-40 25:61:61"), (Numbers{2024, 13, 40, 25, 61, 61, 0}));
    EXPECT_EQ(taken("0000-00-00 00:00:00"), (Numbers{0, 0, 0, 0, 0, 0, 0}));
}

TEST(CbDateTimeParsing, ScansSignsAndBlanks)
{
    EXPECT_EQ(taken("2024-05-06 -7:08:09"), (Numbers{2024, 5, 6, 65'529, 8, 9, 0}));
    EXPECT_EQ(taken("+024-+5- 6 \t7:+8:-9"), (Numbers{24, 5, 6, 7, 8, 65'527, 0}));
    EXPECT_EQ(taken("2024--1-06T 7: 8:\n9"), (Numbers{2024, 65'535, 6, 7, 8, 9, 0}));
    EXPECT_EQ(taken("   1- 2- 3  4: 5: 6"), (Numbers{1, 2, 3, 4, 5, 6, 0}));
}

TEST(CbDateTimeParsing, CutsNumbersTo16Bits)
{
    EXPECT_EQ(taken("2024-05-06 07:08:65536"), (Numbers{2024, 5, 6, 7, 8, 0, 0}));
    EXPECT_EQ(taken("2024-05-06 07:08:70000"), (Numbers{2024, 5, 6, 7, 8, 4'464, 0}));
    EXPECT_EQ(taken("2024-05-06 07:08:18446744073709551615"), (Numbers{2024, 5, 6, 7, 8, 65'535, 0}));
    EXPECT_EQ(taken("2024-05-06 07:08:18446744073709551616"), (Numbers{2024, 5, 6, 7, 8, 65'535, 0}));
    EXPECT_EQ(taken("2024-05-06 07:08:-99999999999999999999999"), (Numbers{2024, 5, 6, 7, 8, 65'535, 0}));
}

TEST(CbDateTimeParsing, RefusesOtherShapes)
{
    EXPECT_FALSE(isTaken("2024-05-06_07:08:09"));
    EXPECT_FALSE(isTaken("2024-05-06t07:08:09"));
    EXPECT_FALSE(isTaken("2024/05/06 07:08:09"));
    EXPECT_FALSE(isTaken("2024-05/06 07:08:09"));
    EXPECT_FALSE(isTaken("2024-05-06 07-08:09"));
    EXPECT_FALSE(isTaken("2024-05-06 07:08-09"));
    EXPECT_FALSE(isTaken("2024-05-06 07:08:0"));
    EXPECT_FALSE(isTaken(""));
    EXPECT_FALSE(CbDateTime::HasValidFormat(static_cast<char const*>(nullptr)));
    EXPECT_FALSE(CbDateTime::HasValidFormat(static_cast<wchar_t const*>(nullptr)));
}

TEST(CbDateTimeParsing, RefusesTextThatDoesNotScan)
{
    EXPECT_FALSE(isTaken("20x4-05-06 07:08:09"));
    EXPECT_FALSE(isTaken("    -05-06 07:08:09"));
    EXPECT_FALSE(isTaken("2024-05-06T07:08:xx"));
    EXPECT_FALSE(isTaken("2024-05- 6T7 :08:09"));
    EXPECT_FALSE(isTaken("2024-05-6 T07:08:09"));
    EXPECT_FALSE(isTaken("2024-05-06 07:08: -"));
    EXPECT_FALSE(isTaken("2024-05-06 -+:08:09"));
}

TEST(CbDateTimeParsing, RaisesFromTheConstructors)
{
    CLogRecorder const recorder;
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime", CbDateTime("2024-05-06"));
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime", CbDateTime(L"2024-05-06"));
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime", CbDateTime("2024-05-06", true));
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime", CbDateTime(L"2024-05-06", true));
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime", CbDateTime("2024-05-06 07:08:xx"));
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime",
                  CbDateTime(static_cast<char const*>(nullptr)));
    std::vector<SLogLine> const lines = linesOf(recorder);
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0].logger, L"Exception");
    EXPECT_EQ(lines[0].level, Logging::eLevelError);
    EXPECT_EQ(lines[0].file, "cbdatetime");
    EXPECT_EQ(lines[0].function, "CbDateTime::CbDateTime");
    EXPECT_EQ(lines[0].text, L"Exception on data conversion");
}

TEST(CbDateTimeParsing, AssignsText)
{
    CbDateTime time(static_cast<__int64>(0));
    EXPECT_EQ(&(time = "2024-05-06 07:08:09"), &time);
    EXPECT_EQ(time, CbDateTime(2024, 5, 6, 7, 8, 9, 0));
    EXPECT_EQ(static_cast<SYSTEMTIME>(time).wDayOfWeek, 0);
    EXPECT_EQ(&(time = L"2025-05-06T07:08:09"), &time);
    EXPECT_EQ(time, CbDateTime(2025, 5, 6, 7, 8, 9, 0));
}

TEST(CbDateTimeParsing, SetsMillisecondAndDayOfTheWeekToZero)
{
    SYSTEMTIME const old = {2023, 1, 3, 4, 5, 6, 7, 10};
    CbDateTime narrow(old);
    narrow = "2024-05-06 07:08:09";
    EXPECT_EQ(narrow.GetMillisecond(), 0u);
    EXPECT_EQ(static_cast<SYSTEMTIME>(narrow).wDayOfWeek, 0);
    CbDateTime wide(old);
    wide = L"2024-05-06T07:08:09";
    EXPECT_EQ(wide.GetMillisecond(), 0u);
    EXPECT_EQ(static_cast<SYSTEMTIME>(wide).wDayOfWeek, 0);
}

TEST(CbDateTimeParsing, LeavesTheObjectWhereTheShapeIsWrong)
{
    CbDateTime time(2024, 5, 6, 7, 8, 9, 10);
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::operator =", time = "2024/05/06 07:08:09");
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::operator =", time = L"2024/05/06 07:08:09");
    EXPECT_EQ(time, CbDateTime(2024, 5, 6, 7, 8, 9, 10));
}

TEST(CbDateTimeParsing, TakesOverTheFieldsBeforeANumberThatIsMissing)
{
    CbDateTime time(2024, 5, 6, 1, 2, 3, 10);
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::operator =", time = "2025-06-07 08:xx:10");
    EXPECT_EQ(time, CbDateTime(2025, 6, 7, 8, 2, 3, 0));
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::operator =", time = L"2026-xx-08 09:10:11");
    EXPECT_EQ(time, CbDateTime(2026, 6, 7, 8, 2, 3, 0));
}

TEST(CbDateTimeParsing, ReadsWhatItRenders)
{
    EXPECT_EQ(CbDateTime(c_Evening.ToString("Y-m-d H:i:s", false).GetString()),
              c_Evening - CbTimeInterval(CbTimeInterval::eMillisecond, 7));
}
