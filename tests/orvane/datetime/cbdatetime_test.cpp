#include "orvane/datetime/cbdatetime.h"

#include <ctime>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "mfc/raises.h"
#include "support/layout.h"

static_assert(std::is_base_of_v<IDateTime, CbDateTime>);
static_assert(std::is_same_v<std::underlying_type_t<CbDateTime::EFormat>, int>);
static_assert(!std::is_constructible_v<CbDateTime, bool>, "a truth value is no time");

namespace
{
constexpr unsigned __int64 c_Epoch = 116'444'736'000'000'000; // 1970 in ticks
constexpr unsigned __int64 c_NoTime = 1ull << 63;

// Taken before main, maybe before the library's own initialisers.
CbDateTime const s_early = CbDateTime::c_Invalid;
bool const s_wasInvalid = CbDateTime::c_Invalid.IsInvalid();

SYSTEMTIME fields(CbDateTime const& time)
{
    return static_cast<SYSTEMTIME>(time);
}

unsigned __int64 ticks(CbDateTime const& time)
{
    return static_cast<unsigned __int64>(time);
}

FILETIME fileTime(unsigned __int64 count)
{
    return {static_cast<DWORD>(count), static_cast<DWORD>(count >> 32)};
}

std::vector<unsigned int> all(SYSTEMTIME const& record)
{
    return {record.wYear, record.wMonth,  record.wDayOfWeek, record.wDay,
            record.wHour, record.wMinute, record.wSecond,    record.wMilliseconds};
}

std::vector<unsigned int> all(CbDateTime const& time)
{
    return all(fields(time));
}

using Fields = std::vector<unsigned int>; // year, month, day of the week, day, hour, minute, second, millisecond

// A date-time of a client's own; its getters tell in which order they are asked.
class CRecordedDate : public IDateTime
{
public:
    IDateTime& operator=(IDateTime const&) override
    {
        return *this;
    }

    unsigned int GetYear() const override
    {
        return told("year", 2024);
    }

    unsigned int GetMonth() const override
    {
        return told("month", 5);
    }

    unsigned int GetDay() const override
    {
        return told("day", 6);
    }

    unsigned int GetHour() const override
    {
        return told("hour", 7);
    }

    unsigned int GetMinute() const override
    {
        return told("minute", 8);
    }

    unsigned int GetSecond() const override
    {
        return told("second", 9);
    }

    unsigned int GetMillisecond() const override
    {
        return told("millisecond", 65'546);
    }

    void SetYear(unsigned int) override
    {
    }

    void SetMonth(unsigned int) override
    {
    }

    void SetDay(unsigned int) override
    {
    }

    void SetHour(unsigned int) override
    {
    }

    void SetMinute(unsigned int) override
    {
    }

    void SetSecond(unsigned int) override
    {
    }

    void SetMillisecond(unsigned int) override
    {
    }

    mutable std::string asked;

private:
    unsigned int told(char const* name, unsigned int value) const
    {
        asked += name;
        asked += ' ';
        return value;
    }
};
} // namespace

TEST(CbDateTime, IsTheCurrentTimeInUtcByDefault)
{
    std::time_t const before = std::time(nullptr);
    CbDateTime const now;
    CbDateTime const also = CbDateTime::Now();
    CbDateTime set(0ULL);
    EXPECT_EQ(&set.SetNow(), &set);
    std::time_t const after = std::time(nullptr);
    for (CbDateTime const& time : {now, also, set})
    {
        // The C clock leaves out what is less than a second, and some systems' lags the precise one by a tick.
        EXPECT_GE(time, CbDateTime(before - 1));
        EXPECT_LT(time, CbDateTime(after + 2));
        EXPECT_EQ(all(CbDateTime(ticks(time))), all(time)) << "the day of the week is filled in";
    }
}

TEST(CbDateTime, IsOneRecordBehindTheTableOfOperations)
{
    CbDateTime const time(1, 2, 3, 4, 5, 6, 7);
    EXPECT_EQ(all(fieldAt<SYSTEMTIME>(&time, sizeof(void*))), (Fields{1, 2, 0, 3, 4, 5, 6, 7}));
}

TEST(CbDateTime, ConvertsFileTimes)
{
    EXPECT_EQ(all(CbDateTime(fileTime(c_Epoch + 10'000))), (Fields{1970, 1, 4, 1, 0, 0, 0, 1}));
    EXPECT_EQ(all(CbDateTime(c_Epoch + 10'000)), (Fields{1970, 1, 4, 1, 0, 0, 0, 1}));
}

TEST(CbDateTime, DropsWhatIsLessThanAMillisecond)
{
    EXPECT_EQ(ticks(CbDateTime(c_Epoch + 19'999)), c_Epoch + 10'000);
}

TEST(CbDateTime, CopiesARecordWhole)
{
    SYSTEMTIME const record = {2024, 13, 9, 40, 25, 61, 62, 1'000};
    EXPECT_EQ(all(CbDateTime(record)), all(record));
    CbDateTime time(0ULL);
    time = record;
    EXPECT_EQ(all(time), all(record));
    EXPECT_EQ(all(CbDateTime(time)), all(record));
}

TEST(CbDateTime, CountsACTimeValueFrom1970)
{
    EXPECT_EQ(all(CbDateTime(static_cast<__int64>(0))), (Fields{1970, 1, 4, 1, 0, 0, 0, 0}));
    EXPECT_EQ(all(CbDateTime(static_cast<__int64>(951'827'696))), (Fields{2000, 2, 2, 29, 12, 34, 56, 0}));
    EXPECT_EQ(all(CbDateTime(static_cast<__int64>(-1))), (Fields{1969, 12, 3, 31, 23, 59, 59, 0}));
    EXPECT_EQ(all(CbDateTime(static_cast<__int64>(-11'644'473'600))), (Fields{1601, 1, 1, 1, 0, 0, 0, 0}));
}

TEST(CbDateTime, CountsTheSameCalendarBackBefore1601)
{
    EXPECT_EQ(all(CbDateTime(static_cast<__int64>(-11'644'473'601))), (Fields{1600, 12, 0, 31, 23, 59, 59, 0}));
    EXPECT_EQ(all(CbDateTime(static_cast<__int64>(-11'676'096'000))), (Fields{1600, 1, 6, 1, 0, 0, 0, 0}));
}

TEST(CbDateTime, TakesAnyNumberOfSeconds)
{
    // No time that can be converted, but no harm either.
    EXPECT_EQ(CbDateTime(static_cast<__int64>(0x7FFFFFFFFFFFFFFF)).GetSecond(), 7u);
    EXPECT_EQ(CbDateTime(static_cast<__int64>(-0x7FFFFFFFFFFFFFFF - 1)).GetSecond(), 52u);
}

TEST(CbDateTime, TakesTheIntegersOfEverydayCode)
{
    EXPECT_EQ(CbDateTime(std::time_t{86'400}), CbDateTime(1970, 1, 2, 0, 0, 0, 0));
    EXPECT_EQ(CbDateTime(60), CbDateTime(1970, 1, 1, 0, 1, 0, 0));
    EXPECT_EQ(CbDateTime(60L), CbDateTime(1970, 1, 1, 0, 1, 0, 0));
    EXPECT_EQ(CbDateTime(10'000u), CbDateTime(1601, 1, 1, 0, 0, 0, 1));
    EXPECT_EQ(CbDateTime(10'000ul), CbDateTime(1601, 1, 1, 0, 0, 0, 1));
    CbDateTime time;
    time = std::time_t{86'400};
    EXPECT_EQ(time, CbDateTime(1970, 1, 2, 0, 0, 0, 0));
    time = 10'000u;
    EXPECT_EQ(time, CbDateTime(1601, 1, 1, 0, 0, 0, 1));
    EXPECT_TRUE(CbDateTime::IsLeapYear(2000));
    EXPECT_TRUE(CbDateTime::IsLeapYear(2000u));
    EXPECT_TRUE(CbDateTime::IsLeapYear(2000LL));
}

TEST(CbDateTime, StoresFieldsUncheckedIn16Bits)
{
    EXPECT_EQ(all(CbDateTime(2024, 13, 40, 25, 61, 62, 1'000)), (Fields{2024, 13, 0, 40, 25, 61, 62, 1'000}));
    EXPECT_EQ(all(CbDateTime(65'537, 65'538, 65'539, 65'540, 65'541, 65'542, 65'543)),
              (Fields{1, 2, 0, 3, 4, 5, 6, 7}));
}

TEST(CbDateTime, SetsFieldsUncheckedIn16Bits)
{
    CbDateTime time(0ULL);
    time.SetYear(70'000);
    time.SetMonth(65'536 + 13);
    time.SetDay(32);
    time.SetHour(24);
    time.SetMinute(60);
    time.SetSecond(61);
    time.SetMillisecond(1'000);
    EXPECT_EQ(all(time), (Fields{4'464, 13, 1, 32, 24, 60, 61, 1'000}));
    EXPECT_EQ(time.GetYear(), 4'464u);
    EXPECT_EQ(time.GetMonth(), 13u);
    EXPECT_EQ(time.GetDay(), 32u);
    EXPECT_EQ(time.GetHour(), 24u);
    EXPECT_EQ(time.GetMinute(), 60u);
    EXPECT_EQ(time.GetSecond(), 61u);
    EXPECT_EQ(time.GetMillisecond(), 1'000u);
}

TEST(CbDateTime, AsksAnInterfaceFieldByField)
{
    CRecordedDate const source;
    EXPECT_EQ(all(CbDateTime(source)), (Fields{2024, 5, 0, 6, 7, 8, 9, 10}));
    EXPECT_EQ(source.asked, "year month day hour minute second millisecond ");

    CbDateTime time(static_cast<__int64>(0));
    IDateTime& seen = time;
    EXPECT_EQ(&(seen = source), &time);
    EXPECT_EQ(all(time), (Fields{2024, 5, 4, 6, 7, 8, 9, 10})) << "the day of the week stays";
}

TEST(CbDateTime, ReadsACTimeAsUtc)
{
    EXPECT_EQ(all(CbDateTime(CTime(951'827'696))), (Fields{2000, 2, 0, 29, 12, 34, 56, 0}));
    CbDateTime time(c_Epoch + 10'000);
    EXPECT_EQ(&(time = CTime(-1)), &time);
    EXPECT_EQ(all(time), (Fields{1969, 12, 4, 31, 23, 59, 59, 0})) << "milliseconds are 0, the day of the week stays";
}

TEST(CbDateTime, AssignsWhatItIsMadeOf)
{
    CbDateTime time;
    EXPECT_EQ(&(time = fileTime(c_Epoch)), &time);
    EXPECT_EQ(all(time), (Fields{1970, 1, 4, 1, 0, 0, 0, 0}));
    EXPECT_EQ(&(time = static_cast<__int64>(60)), &time);
    EXPECT_EQ(all(time), (Fields{1970, 1, 4, 1, 0, 1, 0, 0}));
    EXPECT_EQ(&(time = 0ULL), &time);
    EXPECT_EQ(all(time), (Fields{1601, 1, 1, 1, 0, 0, 0, 0}));
    CbDateTime const other(2024, 5, 6, 7, 8, 9, 10);
    EXPECT_EQ(&(time = other), &time);
    EXPECT_EQ(all(time), all(other));
    CbDateTime moved(std::move(time));
    EXPECT_EQ(all(moved), all(other));
}

TEST(CbDateTimeBeyondTheTicks, IsARecordOfZerosWhenMade)
{
    for (unsigned __int64 const count : {c_NoTime, c_NoTime + 1, ~0ull})
    {
        EXPECT_EQ(all(CbDateTime(count)), Fields(8, 0u));
        EXPECT_EQ(all(CbDateTime(fileTime(count))), Fields(8, 0u));
    }
    EXPECT_EQ(all(CbDateTime(c_NoTime - 1)), (Fields{30'828, 9, 4, 14, 2, 48, 5, 477}));
}

TEST(CbDateTimeBeyondTheTicks, LeavesTheObjectWhenAssigned)
{
    CbDateTime time(2024, 5, 6, 7, 8, 9, 10);
    time = c_NoTime;
    time = fileTime(~0ull);
    EXPECT_EQ(all(time), (Fields{2024, 5, 0, 6, 7, 8, 9, 10}));
}

TEST(CbDateTimeBeyondTheTicks, LeavesTheObjectWhenMoved)
{
    CbDateTime time(1601, 1, 1, 0, 0, 0, 5);
    time -= CbTimeInterval(6);
    EXPECT_EQ(time, CbDateTime(1601, 1, 1, 0, 0, 0, 5));
    time += CbTimeInterval(0x7FFFFFFFFFFFFFFF / 10'000);
    EXPECT_EQ(time, CbDateTime(1601, 1, 1, 0, 0, 0, 5));
}

TEST(CbDateTimeInvalid, IsTickZero)
{
    EXPECT_EQ(all(CbDateTime::c_Invalid), (Fields{1601, 1, 1, 1, 0, 0, 0, 0}));
    EXPECT_EQ(CbDateTime(0ULL), CbDateTime::c_Invalid);
    EXPECT_TRUE(CbDateTime(0ULL).IsInvalid());
    EXPECT_FALSE(CbDateTime(0ULL).IsValid());
    EXPECT_EQ(ticks(CbDateTime::c_Invalid), 0u);
}

TEST(CbDateTimeInvalid, IsReadyForStaticInitialisers)
{
    EXPECT_EQ(all(s_early), (Fields{1601, 1, 1, 1, 0, 0, 0, 0}));
    EXPECT_TRUE(s_wasInvalid);
}

TEST(CbDateTimeInvalid, IsTheResultOfInvalidate)
{
    CbDateTime time(2024, 5, 6, 7, 8, 9, 10);
    EXPECT_TRUE(time.IsValid());
    EXPECT_EQ(&time.Invalidate(), &time);
    EXPECT_TRUE(time.IsInvalid());
}

TEST(CbDateTimeInvalid, DoesNotLookAtTheDayOfTheWeek)
{
    for (WORD dayOfWeek = 0; dayOfWeek < 8; ++dayOfWeek)
    {
        CbDateTime time(SYSTEMTIME{1601, 1, dayOfWeek, 1, 0, 0, 0, 0});
        EXPECT_TRUE(time.IsInvalid());
        EXPECT_TRUE(time.Invalidate().IsInvalid());
    }
}

TEST(CbDateTimeInvalid, LooksAtEachOtherField)
{
    EXPECT_TRUE(CbDateTime(1602, 1, 1, 0, 0, 0, 0).IsValid());
    EXPECT_TRUE(CbDateTime(1601, 2, 1, 0, 0, 0, 0).IsValid());
    EXPECT_TRUE(CbDateTime(1601, 1, 2, 0, 0, 0, 0).IsValid());
    EXPECT_TRUE(CbDateTime(1601, 1, 1, 1, 0, 0, 0).IsValid());
    EXPECT_TRUE(CbDateTime(1601, 1, 1, 0, 1, 0, 0).IsValid());
    EXPECT_TRUE(CbDateTime(1601, 1, 1, 0, 0, 1, 0).IsValid());
    EXPECT_TRUE(CbDateTime(1601, 1, 1, 0, 0, 0, 1).IsValid());
    EXPECT_TRUE(CbDateTime(2024, 13, 1, 0, 0, 0, 0).IsValid()) << "no time, but not the mark";
}

TEST(CbDateTimeTicks, AreThoseOfTheFields)
{
    CbDateTime const time(1970, 1, 1, 0, 0, 0, 1);
    EXPECT_EQ(ticks(time), c_Epoch + 10'000);
    FILETIME const file = time;
    EXPECT_EQ(file.dwLowDateTime, static_cast<DWORD>(c_Epoch + 10'000));
    EXPECT_EQ(file.dwHighDateTime, static_cast<DWORD>((c_Epoch + 10'000) >> 32));
}

TEST(CbDateTimeTicks, AreZeroForWhatIsNoTime)
{
    for (CbDateTime const& time :
         {CbDateTime(2023, 2, 29, 0, 0, 0, 0), CbDateTime(2024, 2, 30, 0, 0, 0, 0), CbDateTime(2024, 4, 31, 0, 0, 0, 0),
          CbDateTime(2024, 0, 1, 0, 0, 0, 0), CbDateTime(2024, 13, 1, 0, 0, 0, 0), CbDateTime(2024, 1, 0, 0, 0, 0, 0),
          CbDateTime(2024, 1, 32, 0, 0, 0, 0), CbDateTime(1600, 12, 31, 0, 0, 0, 0),
          CbDateTime(30'828, 1, 1, 0, 0, 0, 0), CbDateTime(32'767, 1, 1, 0, 0, 0, 0),
          CbDateTime(65'535, 1, 1, 0, 0, 0, 0), CbDateTime(2024, 1, 1, 24, 0, 0, 0),
          CbDateTime(2024, 1, 1, 0, 60, 0, 0), CbDateTime(2024, 1, 1, 0, 0, 60, 0),
          CbDateTime(2024, 1, 1, 0, 0, 0, 1'000)})
    {
        EXPECT_EQ(ticks(time), 0u) << time.GetYear() << '-' << time.GetMonth() << '-' << time.GetDay();
        FILETIME const file = time;
        EXPECT_EQ(file.dwLowDateTime, 0u);
        EXPECT_EQ(file.dwHighDateTime, 0u);
    }
}

TEST(CbDateTimeTicks, CoverTheYears1601To30827)
{
    EXPECT_EQ(ticks(CbDateTime(1601, 1, 1, 0, 0, 0, 1)), 10'000u);
    EXPECT_EQ(ticks(CbDateTime(30'827, 12, 31, 23, 59, 59, 999)), 9'223'149'887'999'990'000u);
    EXPECT_EQ(CbDateTime(9'223'149'887'999'990'000u), CbDateTime(30'827, 12, 31, 23, 59, 59, 999));
}

TEST(CbDateTimeTicks, DoNotDependOnTheDayOfTheWeek)
{
    EXPECT_EQ(ticks(CbDateTime(SYSTEMTIME{1970, 1, 77, 1, 0, 0, 0, 0})), c_Epoch);
}

// The zone of this program is UTC on every target, so local fields are UTC's.
TEST(CbDateTimeCTime, ReadsTheFieldsAsLocalTime)
{
    CTime const expected(2024, 5, 6, 7, 8, 9);
    CbDateTime const time(2024, 5, 6, 7, 8, 9, 999);
    CTime const converted = time;
    EXPECT_EQ(converted.GetTime(), expected.GetTime());
}

TEST(CbDateTimeCTime, RefusesFieldsOutOfRange)
{
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, static_cast<CTime>(CbDateTime(1899, 1, 1, 0, 0, 0, 0)));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, static_cast<CTime>(CbDateTime(2024, 13, 1, 0, 0, 0, 0)));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, static_cast<CTime>(CbDateTime(2024, 1, 32, 0, 0, 0, 0)));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, static_cast<CTime>(CbDateTime(2024, 1, 1, 24, 0, 0, 0)));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, static_cast<CTime>(CbDateTime(2024, 1, 1, 0, 60, 0, 0)));
    EXPECT_RESULT_RAISED(AtlResult::c_Fail, static_cast<CTime>(CbDateTime(2024, 1, 1, 0, 0, 60, 0)));
}

TEST(CbDateTimeCTime, RefusesWhatTheRuntimeDoesNotKnow)
{
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, static_cast<CTime>(CbDateTime(1900, 1, 1, 0, 0, 0, 0)));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, static_cast<CTime>(CbDateTime(1969, 12, 30, 0, 0, 0, 0)));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, static_cast<CTime>(CbDateTime(3001, 1, 3, 0, 0, 0, 0)));
}

TEST(CbDateTimeLeapYear, FollowsTheCalendar)
{
    EXPECT_TRUE(CbDateTime::IsLeapYear(2000));
    EXPECT_TRUE(CbDateTime::IsLeapYear(2400));
    EXPECT_TRUE(CbDateTime::IsLeapYear(2024));
    EXPECT_FALSE(CbDateTime::IsLeapYear(1900));
    EXPECT_FALSE(CbDateTime::IsLeapYear(2100));
    EXPECT_FALSE(CbDateTime::IsLeapYear(2023));
    EXPECT_TRUE(CbDateTime::IsLeapYear(0));
    EXPECT_TRUE(CbDateTime(2024, 1, 1, 0, 0, 0, 0).IsLeapYear(false));
    EXPECT_FALSE(CbDateTime(2023, 1, 1, 0, 0, 0, 0).IsLeapYear(true));
}

TEST(CbDateTimeComparison, LooksAtAllFieldsButTheDayOfTheWeek)
{
    CbDateTime const time(2024, 5, 6, 7, 8, 9, 10);
    EXPECT_TRUE(time == CbDateTime(SYSTEMTIME{2024, 5, 3, 6, 7, 8, 9, 10}));
    EXPECT_FALSE(time != CbDateTime(SYSTEMTIME{2024, 5, 3, 6, 7, 8, 9, 10}));
    for (CbDateTime const& other :
         {CbDateTime(2025, 5, 6, 7, 8, 9, 10), CbDateTime(2024, 6, 6, 7, 8, 9, 10), CbDateTime(2024, 5, 7, 7, 8, 9, 10),
          CbDateTime(2024, 5, 6, 8, 8, 9, 10), CbDateTime(2024, 5, 6, 7, 9, 9, 10),
          CbDateTime(2024, 5, 6, 7, 8, 10, 10), CbDateTime(2024, 5, 6, 7, 8, 9, 11)})
    {
        EXPECT_TRUE(time != other);
        EXPECT_FALSE(time == other);
        EXPECT_TRUE(time < other);
        EXPECT_TRUE(time <= other);
        EXPECT_TRUE(other > time);
        EXPECT_TRUE(other >= time);
        EXPECT_FALSE(other < time);
        EXPECT_FALSE(other <= time);
    }
    EXPECT_TRUE(time <= time);
    EXPECT_TRUE(time >= time);
    EXPECT_FALSE(time < time);
    EXPECT_FALSE(time > time);
}

TEST(CbDateTimeComparison, OrdersWhatIsNoTimeAsTickZero)
{
    CbDateTime const noTime(2024, 13, 1, 0, 0, 0, 0);
    EXPECT_TRUE(noTime < CbDateTime(1601, 1, 1, 0, 0, 0, 1));
    EXPECT_TRUE(noTime <= CbDateTime::c_Invalid);
    EXPECT_TRUE(noTime >= CbDateTime::c_Invalid);
    EXPECT_FALSE(noTime == CbDateTime::c_Invalid);
    EXPECT_TRUE(noTime >= CbDateTime(2023, 2, 29, 0, 0, 0, 0));
}

TEST(CbDateTimeArithmetic, MovesByIntervals)
{
    CbDateTime const time(2024, 2, 28, 23, 59, 59, 999);
    CbTimeInterval const one(1);
    EXPECT_EQ(all(time + one), (Fields{2024, 2, 4, 29, 0, 0, 0, 0}));
    EXPECT_EQ(time - CbTimeInterval(CbTimeInterval::eDay, 28), CbDateTime(2024, 1, 31, 23, 59, 59, 999));
    EXPECT_EQ(time + CbTimeInterval(-999), CbDateTime(2024, 2, 28, 23, 59, 59, 0));
    CbDateTime moved = time;
    EXPECT_EQ(&(moved += one), &moved);
    EXPECT_EQ(&(moved -= CbTimeInterval(CbTimeInterval::eLeapYear, 1)), &moved);
    EXPECT_EQ(moved, CbDateTime(2023, 2, 28, 0, 0, 0, 0));
    ITimeInterval const& seen = one;
    EXPECT_EQ(time + seen, CbDateTime(2024, 2, 29, 0, 0, 0, 0));
}

TEST(CbDateTimeArithmetic, MeasuresInMilliseconds)
{
    EXPECT_EQ((CbDateTime(1970, 1, 1, 0, 0, 1, 0) - CbDateTime(1970, 1, 1, 0, 0, 0, 999)).GetMilliseconds(), 1);
    EXPECT_EQ((CbDateTime(1970, 1, 1, 0, 0, 0, 999) - CbDateTime(1970, 1, 1, 0, 0, 1, 0)).GetMilliseconds(), -1);
    EXPECT_EQ((CbDateTime(2023, 2, 29, 0, 0, 0, 0) - CbDateTime(1601, 1, 1, 0, 0, 0, 7)).GetMilliseconds(), -7);
    EXPECT_EQ((CbDateTime(30'827, 12, 31, 23, 59, 59, 999) - CbDateTime::c_Invalid).GetMilliseconds(),
              922'314'988'799'999);
}

TEST(CbDateTimeChrono, ConvertsBothWays)
{
    using namespace std::chrono;
    CbDateTime const time(2024, 5, 6, 7, 8, 9, 10);
    sys_time<milliseconds> const exact =
        sys_days(year(2024) / May / 6) + hours(7) + minutes(8) + seconds(9) + milliseconds(10);
    EXPECT_EQ(time.GetSysTime(), exact);
    system_clock::time_point const clock = time.GetSysTime();
    EXPECT_EQ(CbDateTime(clock), time);
    EXPECT_EQ(CbDateTime(exact), time);
    EXPECT_EQ(all(CbDateTime(sys_seconds(seconds(0)))), (Fields{1970, 1, 4, 1, 0, 0, 0, 0}));
}

TEST(CbDateTimeChrono, CutsToMillisecondsDownwards)
{
    using namespace std::chrono;
    EXPECT_EQ(CbDateTime(sys_time<nanoseconds>(nanoseconds(-1))), CbDateTime(1969, 12, 31, 23, 59, 59, 999));
    EXPECT_EQ(CbDateTime(sys_time<nanoseconds>(nanoseconds(1'999'999))), CbDateTime(1970, 1, 1, 0, 0, 0, 1));
    EXPECT_EQ(CbDateTime(sys_time<milliseconds>(milliseconds(-1'500))), CbDateTime(1969, 12, 31, 23, 59, 58, 500));
}

TEST(CbDateTimeChrono, GivesTheFirstDayForWhatIsNoTime)
{
    using namespace std::chrono;
    EXPECT_EQ(CbDateTime(2024, 13, 1, 0, 0, 0, 0).GetSysTime(), sys_days(year(1601) / January / 1));
}
