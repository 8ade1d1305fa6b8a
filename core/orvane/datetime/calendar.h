// The calendar, as date-times need it.

#ifndef ORVANE_DATETIME_CALENDAR_H
#define ORVANE_DATETIME_CALENDAR_H

#include "platform/platform.h"

namespace Calendar
{
constexpr __int64 c_SecondsTo1970 = 11'644'473'600; // from 1601-01-01
constexpr __int64 c_SecondsADay = 86'400;

constexpr bool IsLeapYear(unsigned int year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Expects a month of 1 to 12.
constexpr unsigned int GetDaysInMonth(unsigned int year, unsigned int month)
{
    return month == 2 ? (IsLeapYear(year) ? 29u : 28u) : 30u + ((month ^ (month >> 3)) & 1u);
}

/// Whether the fields are a day of the years 1601 to 30827. Systems differ in how strictly they look at that.
constexpr bool IsDate(SYSTEMTIME const& fields)
{
    return fields.wYear >= 1601 && fields.wYear <= 30827 && fields.wMonth >= 1 && fields.wMonth <= 12 &&
           fields.wDay >= 1 && (fields.wDay <= 28 || fields.wDay <= GetDaysInMonth(fields.wYear, fields.wMonth));
}

constexpr bool IsTimeOfDay(SYSTEMTIME const& fields)
{
    return fields.wHour < 24 && fields.wMinute < 60 && fields.wSecond < 60 && fields.wMilliseconds < 1000;
}

/// The fields of a C time value, milliseconds 0. Each part is split off rounding down, so that times before 1601 have the
/// dates of the same calendar; years are cut to 16 bits.
constexpr SYSTEMTIME GetFields(__int64 secondsSince1970)
{
    constexpr unsigned int c_DaysIn400Years = 146'097;
    constexpr unsigned int c_DaysIn100Years = 36'524;
    constexpr unsigned int c_DaysIn4Years = 1'461;
    constexpr unsigned int c_DaysInYear = 365;
    // Days of the year before each month; the last entry is the whole year.
    constexpr unsigned short c_MonthStarts[2][13] = {{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
                                                     {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366}};

    // Days first: the number of seconds since 1601 may be too large for 64 bits.
    __int64 days = secondsSince1970 / c_SecondsADay + c_SecondsTo1970 / c_SecondsADay;
    __int64 rest = secondsSince1970 % c_SecondsADay;
    if (rest < 0)
    {
        rest += c_SecondsADay;
        --days;
    }
    __int64 cycles = days / c_DaysIn400Years;
    if (days % c_DaysIn400Years < 0)
    {
        --cycles;
    }
    unsigned int dayOfYear = static_cast<unsigned int>(days - cycles * c_DaysIn400Years);
    unsigned int const centuries = dayOfYear / c_DaysIn100Years < 3 ? dayOfYear / c_DaysIn100Years : 3;
    dayOfYear -= centuries * c_DaysIn100Years;
    unsigned int const blocks = dayOfYear / c_DaysIn4Years; // 24 at most
    dayOfYear -= blocks * c_DaysIn4Years;
    unsigned int const years = dayOfYear / c_DaysInYear < 3 ? dayOfYear / c_DaysInYear : 3;
    dayOfYear -= years * c_DaysInYear;

    unsigned int const yearOfCycle = 1 + 100 * centuries + 4 * blocks + years; // leap years are those of 1601 to 2000
    auto const& starts = c_MonthStarts[IsLeapYear(1600 + yearOfCycle) ? 1 : 0];
    unsigned int month = dayOfYear / 32; // the month or the one after, counted from 0
    month += starts[month + 1] <= dayOfYear ? 2u : 1u;
    unsigned int const secondOfDay = static_cast<unsigned int>(rest);

    SYSTEMTIME fields = {};
    fields.wYear = static_cast<WORD>(1600 + 400 * cycles + yearOfCycle);
    fields.wMonth = static_cast<WORD>(month);
    fields.wDayOfWeek = static_cast<WORD>(((days % 7) + 8) % 7); // 1601 began on a Monday
    fields.wDay = static_cast<WORD>(dayOfYear - starts[month - 1] + 1);
    fields.wHour = static_cast<WORD>(secondOfDay / 3'600);
    fields.wMinute = static_cast<WORD>(secondOfDay / 60 % 60);
    fields.wSecond = static_cast<WORD>(secondOfDay % 60);
    return fields;
}
} // namespace Calendar

#endif // ORVANE_DATETIME_CALENDAR_H
