#include "orvane/datetime/cbtimeinterval.h"

#include <climits>
#include <type_traits>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionconversion.h"
#include "support/layout.h"
#include "support/logline.h"
#include "support/raises.h"

using Unit = CbTimeInterval::EResolution;
using Month = CbTimeInterval::EMonths;

static_assert(std::is_base_of_v<ITimeInterval, CbTimeInterval>);
static_assert(std::is_abstract_v<ITimeInterval>);
static_assert(std::is_same_v<std::underlying_type_t<Unit>, unsigned int>);
static_assert(std::is_same_v<std::underlying_type_t<Month>, unsigned int>);
static_assert(sizeof(CbTimeInterval) == sizeof(void*) + sizeof(__int64));

namespace
{
constexpr __int64 c_Day = 86'400'000;

std::wstring shown(__int64 milliseconds, Unit unit = Unit::eMillisecond, bool grouped = true)
{
    return CbTimeInterval(milliseconds).ToString(unit, grouped);
}
} // namespace

TEST(CbTimeInterval, IsNoTimeByDefault)
{
    EXPECT_EQ(CbTimeInterval().GetMilliseconds(), 0);
}

TEST(CbTimeInterval, KeepsItsMilliseconds)
{
    EXPECT_EQ(CbTimeInterval(5).GetMilliseconds(), 5);
    EXPECT_EQ(CbTimeInterval(LLONG_MIN).GetMilliseconds(), LLONG_MIN);
    EXPECT_EQ(fieldAt<__int64>(&static_cast<CbTimeInterval const&>(CbTimeInterval(77)), sizeof(void*)), 77);
}

TEST(CbTimeInterval, AnswersThroughItsInterface)
{
    CbTimeInterval const interval(-9);
    ITimeInterval const& seen = interval;
    EXPECT_EQ(seen.GetMilliseconds(), -9);
}

TEST(CbTimeInterval, CountsEachUnit)
{
    EXPECT_EQ(CbTimeInterval(Unit::eYear, 1).GetMilliseconds(), 31'536'000'000);
    EXPECT_EQ(CbTimeInterval(Unit::eLeapYear, 1).GetMilliseconds(), 31'622'400'000);
    EXPECT_EQ(CbTimeInterval(Unit::eWeek, 1).GetMilliseconds(), 604'800'000);
    EXPECT_EQ(CbTimeInterval(Unit::eDay, 1).GetMilliseconds(), 86'400'000);
    EXPECT_EQ(CbTimeInterval(Unit::eHour, 1).GetMilliseconds(), 3'600'000);
    EXPECT_EQ(CbTimeInterval(Unit::eMinute, 1).GetMilliseconds(), 60'000);
    EXPECT_EQ(CbTimeInterval(Unit::eSecond, 1).GetMilliseconds(), 1'000);
    EXPECT_EQ(CbTimeInterval(Unit::eMillisecond, 1).GetMilliseconds(), 1);
}

TEST(CbTimeInterval, ExtendsTheSignOfACount)
{
    EXPECT_EQ(CbTimeInterval(Unit::eSecond, -3).GetMilliseconds(), -3'000);
    EXPECT_EQ(CbTimeInterval(Unit::eDay, INT_MIN).GetMilliseconds(), c_Day * INT_MIN);
}

TEST(CbTimeInterval, RefusesAnUnknownUnit)
{
    EXPECT_RAISES(CbExceptionConversion, "cbtimeinterval", "GetFactor", CbTimeInterval(static_cast<Unit>(8), 1));
    EXPECT_RAISES(CbExceptionConversion, "cbtimeinterval", "GetFactor", CbTimeInterval(static_cast<Unit>(-1), 1));
}

TEST(CbTimeInterval, WritesOneLogLineWhenItRefuses)
{
    CLogRecorder const recorder;
    int line = 0;
    try
    {
        CbTimeInterval const refused(static_cast<Unit>(8), 1);
    }
    catch (CbExceptionConversion const& raised)
    {
        line = static_cast<int>(raised.GetCodeLine());
    }
    std::vector<SLogLine> const lines = linesOf(recorder);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].logger, L"Exception");
    EXPECT_EQ(lines[0].file, "cbtimeinterval");
    EXPECT_EQ(lines[0].line, line);
    EXPECT_EQ(lines[0].function, "GetFactor");
    EXPECT_EQ(lines[0].text, L"Exception on data conversion");
}

TEST(CbTimeInterval, HasTheLengthOfAMonth)
{
    for (Month const month :
         {Month::eJanuary, Month::eMarch, Month::eMay, Month::eJuly, Month::eAugust, Month::eOctober, Month::eDecember})
    {
        EXPECT_EQ(CbTimeInterval(month, 2023).GetMilliseconds(), 2'678'400'000);
    }
    for (Month const month : {Month::eApril, Month::eJune, Month::eSeptember, Month::eNovember})
    {
        EXPECT_EQ(CbTimeInterval(month, 2023).GetMilliseconds(), 2'592'000'000);
    }
}

TEST(CbTimeInterval, KnowsTheLeapDay)
{
    EXPECT_EQ(CbTimeInterval(Month::eFebruary, 1900).Get(Unit::eDay), 28);
    EXPECT_EQ(CbTimeInterval(Month::eFebruary, 2000).Get(Unit::eDay), 29);
    EXPECT_EQ(CbTimeInterval(Month::eFebruary, 2023).GetMilliseconds(), 28 * c_Day);
    EXPECT_EQ(CbTimeInterval(Month::eFebruary, 2024).GetMilliseconds(), 29 * c_Day);
}

TEST(CbTimeInterval, RefusesAnUnknownMonth)
{
    EXPECT_RAISES(CbExceptionConversion, "cbtimeinterval", "CbTimeInterval::CbTimeInterval",
                  CbTimeInterval(static_cast<Month>(12), 2024u));
    EXPECT_RAISES(CbExceptionConversion, "cbtimeinterval", "CbTimeInterval::CbTimeInterval",
                  CbTimeInterval(static_cast<Month>(-1), 2024u));
}

TEST(CbTimeIntervalGet, ConvertsBetweenUnits)
{
    EXPECT_EQ(CbTimeInterval(Unit::eDay, 2).Get(Unit::eHour), 48);
    EXPECT_EQ(CbTimeInterval(Unit::eLeapYear, 1).Get(Unit::eDay), 366);
    EXPECT_EQ(CbTimeInterval(Unit::eYear, 1).Get(Unit::eWeek), 52);
}

TEST(CbTimeIntervalGet, TruncatesTowardsZero)
{
    EXPECT_EQ(CbTimeInterval(-1'500).Get(Unit::eSecond), -1);
    EXPECT_EQ(CbTimeInterval(1'999).Get(Unit::eSecond), 1);
    EXPECT_EQ(CbTimeInterval(-999).Get(Unit::eSecond), 0);
}

TEST(CbTimeIntervalGet, RefusesAnUnknownUnit)
{
    EXPECT_RAISES(CbExceptionConversion, "cbtimeinterval", "GetFactor", CbTimeInterval(1).Get(static_cast<Unit>(8)));
}

TEST(CbTimeIntervalComparison, LooksAtTheCounts)
{
    EXPECT_TRUE(CbTimeInterval(Unit::eDay, 7) == CbTimeInterval(Unit::eWeek, 1));
    EXPECT_FALSE(CbTimeInterval(1) == CbTimeInterval(2));
    EXPECT_TRUE(CbTimeInterval(1) != CbTimeInterval(-1));
    EXPECT_FALSE(CbTimeInterval(1) != CbTimeInterval(1));
}

TEST(CbTimeIntervalComparison, KnowsNoOrder)
{
    constexpr auto c_HasOrder = [](auto a)
    {
        return requires
        {
            a < a;
        };
    };
    EXPECT_FALSE(c_HasOrder(CbTimeInterval()));
}

TEST(CbTimeIntervalArithmetic, ChangesTheObject)
{
    CbTimeInterval interval(10);
    EXPECT_EQ(&(interval += CbTimeInterval(5)), &interval);
    EXPECT_EQ(interval.GetMilliseconds(), 15);
    EXPECT_EQ(&(interval -= CbTimeInterval(25)), &interval);
    EXPECT_EQ(interval.GetMilliseconds(), -10);
    EXPECT_EQ(&(interval *= 7), &interval);
    EXPECT_EQ(interval.GetMilliseconds(), -70);
    EXPECT_EQ(&(interval /= 4), &interval);
    EXPECT_EQ(interval.GetMilliseconds(), -17);
}

TEST(CbTimeIntervalArithmetic, GivesNewValues)
{
    CbTimeInterval const interval(10);
    EXPECT_EQ((interval + CbTimeInterval(3)).GetMilliseconds(), 13);
    EXPECT_EQ((interval - CbTimeInterval(13)).GetMilliseconds(), -3);
    EXPECT_EQ((interval * 3).GetMilliseconds(), 30);
    EXPECT_EQ((interval / 3).GetMilliseconds(), 3);
    EXPECT_EQ(interval.GetMilliseconds(), 10);
}

TEST(CbTimeIntervalCopy, IsPlain)
{
    CbTimeInterval first(4);
    CbTimeInterval second(first);
    EXPECT_EQ(second.GetMilliseconds(), 4);
    CbTimeInterval third(std::move(first));
    EXPECT_EQ(third.GetMilliseconds(), 4);
    second = CbTimeInterval(6);
    third = second;
    EXPECT_EQ(third.GetMilliseconds(), 6);
}

TEST(CbTimeIntervalToString, GroupsFromAThousandOn)
{
    EXPECT_EQ(shown(0), L"0");
    EXPECT_EQ(shown(999), L"999");
    EXPECT_EQ(shown(1'000), L"1'000");
    EXPECT_EQ(shown(1'234'567), L"1'234'567");
    EXPECT_EQ(shown(1'000'001), L"1'000'001");
    EXPECT_EQ(shown(999'999), L"999'999");
    EXPECT_EQ(shown(1'000'000), L"1'000'000");
    EXPECT_EQ(shown(LLONG_MAX), L"9'223'372'036'854'775'807");
}

TEST(CbTimeIntervalToString, NeverGroupsNegativeNumbers)
{
    EXPECT_EQ(shown(-5'000), L"-5000");
    EXPECT_EQ(shown(LLONG_MIN), L"-9223372036854775808");
}

TEST(CbTimeIntervalToString, IsPlainWithoutGrouping)
{
    EXPECT_EQ(shown(1'234'567, Unit::eMillisecond, false), L"1234567");
    EXPECT_EQ(shown(1'999, Unit::eSecond, false), L"1");
    EXPECT_EQ(shown(-1'999, Unit::eSecond, false), L"-1");
}

TEST(CbTimeIntervalToString, ShowsWholeUnits)
{
    EXPECT_EQ(CbTimeInterval(Unit::eYear, 3).ToString(Unit::eHour, true), L"26'280");
}

TEST(CbTimeIntervalToString, RefusesAnUnknownUnit)
{
    EXPECT_RAISES(CbExceptionConversion, "cbtimeinterval", "GetFactor",
                  CbTimeInterval(1).ToString(static_cast<Unit>(8), true));
}

TEST(CbTimeIntervalChrono, ConvertsBothWays)
{
    EXPECT_EQ(CbTimeInterval(std::chrono::minutes(15)).GetMilliseconds(), 900'000);
    EXPECT_EQ(CbTimeInterval(std::chrono::milliseconds(-7)).GetMilliseconds(), -7);
    std::chrono::nanoseconds const duration = CbTimeInterval(Unit::eSecond, 2).GetDuration();
    EXPECT_EQ(duration, std::chrono::seconds(2));
    static_assert(!std::is_constructible_v<CbTimeInterval, std::chrono::microseconds>, "would be cut");
}
