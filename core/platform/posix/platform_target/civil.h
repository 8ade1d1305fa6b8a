// Days, calendar dates and ticks, proleptic Gregorian.
//
// In a header, so that who converts one into the other does so in place: a date-time does in each comparison.

#ifndef ORVANE_PLATFORM_POSIX_CIVIL_H
#define ORVANE_PLATFORM_POSIX_CIVIL_H

#include <cstdint>
#include <cstring>

#include "platform_target/types.h"

namespace posix
{
constexpr __int64 c_SecondsADay = 86'400;
constexpr __int64 c_SecondsToEpoch = 11'644'473'600; // from 1601 to 1970
constexpr __int64 c_TicksASecond = 10'000'000;
constexpr unsigned __int64 c_LastTick = 0x7FFFFFFFFFFFFFFF;

__extension__ using UInt128 = unsigned __int128;

/// Ticks since 1601 as the two halves.
constexpr FILETIME toFileTime(unsigned __int64 ticks) noexcept
{
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

constexpr bool isLeapYear(unsigned int year) noexcept
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Expects a month of 1 to 12.
constexpr unsigned int daysInMonth(unsigned int year, unsigned int month) noexcept
{
    return month == 2 ? (isLeapYear(year) ? 29u : 28u) : 30u + ((month ^ (month >> 3)) & 1u);
}

// Days from the first of March to that of each month, counted from 1; January and February are those of the next year.
inline constexpr std::uint16_t c_MonthStarts[] = {0, 306, 337, 0, 31, 61, 92, 122, 153, 184, 214, 245, 275};
constexpr unsigned int c_MarchOfYear0 = 584'694; // days from 0000-03-01 to 1601-01-01

/// Days from 1601-01-01 to a date not before it. Years run from March here, so that the leap day is their last.
constexpr unsigned int daysFromDate(unsigned int year, unsigned int month, unsigned int day) noexcept
{
    unsigned int const marchYear = year - (month <= 2 ? 1 : 0);
    unsigned int const century = marchYear / 100;
    return marchYear * 1461 / 4 - century + century / 4 + c_MonthStarts[month] + day - 1 - c_MarchOfYear0;
}

struct Date
{
    unsigned int year;
    unsigned int month;
    unsigned int day;
};

/// The date that lies `days` (up to 10,810,871) days after 1601-01-01.
/// Days are counted back from the end of a cycle of 400 years: then no division needs a correction of its remainder, and
/// each is a multiplication. What is left of the year goes on as its fraction.
/// Origin: B. Joffe, "A very fast date algorithm" (2025), after C. Neri and L. Schneider, "Euclidean affine functions and
/// their application to calendar algorithms" (2022).
constexpr Date dateFromDays(unsigned int days) noexcept
{
    constexpr unsigned int c_Cycles = 78;
    constexpr unsigned __int64 c_CenturyScale = 963'315'388;         // 2^47 / 146097, rounded down
    constexpr unsigned __int64 c_YearScale = 50'504'432'782'230'121; // 2^66 / 1461, rounded up
    constexpr unsigned int c_PartsAYear = 782'432;                   // 65536 a month, about 2140 a day
    constexpr unsigned int c_PartsADay = 2'140;
    constexpr unsigned int c_PartsALeapDay = 512;          // a quarter of a day, as the years drift
    constexpr unsigned int c_JanuaryAndFebruary = 126'464; // parts
    constexpr unsigned int c_Late = 191'360;               // to count months forward from
    constexpr unsigned int c_Early = c_Late + 12 * 65'536;
    unsigned int const back = 146'097 * c_Cycles - 1 - c_MarchOfYear0 - days;
    unsigned int const century = static_cast<unsigned int>(back * c_CenturyScale >> 45);
    unsigned int const julian = back + century - century / 4; // as if every century had its leap day
    UInt128 const years = static_cast<UInt128>(c_YearScale) * julian;
    unsigned int const year = 400 * c_Cycles - 1 - static_cast<unsigned int>(years >> 64);
    unsigned int const parts =
        static_cast<unsigned int>(static_cast<UInt128>(static_cast<unsigned __int64>(years)) * c_PartsAYear >> 64);
    unsigned int const isLate = parts < c_JanuaryAndFebruary ? 1 : 0;
    unsigned int const month = year % 4 * c_PartsALeapDay + c_Early - isLate * (c_Early - c_Late) - parts;
    return {year + isLate, month >> 16, (month & 0xFFFF) / c_PartsADay + 1};
}

/// Whether the fields are a time that SystemTimeToFileTime takes.
constexpr bool isDate(SYSTEMTIME const& time) noexcept
{
    return time.wYear >= 1601 && time.wYear <= 30827 && time.wMonth >= 1 && time.wMonth <= 12 && time.wDay >= 1 &&
           (time.wDay <= 28 || time.wDay <= daysInMonth(time.wYear, time.wMonth));
}

constexpr bool isTimeOfDay(SYSTEMTIME const& time) noexcept
{
    return time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}

/// Expects fields that are a date and a time of day.
constexpr unsigned __int64 ticksOf(SYSTEMTIME const& time) noexcept
{
    unsigned int const seconds = (time.wHour * 60u + time.wMinute) * 60u + time.wSecond;
    unsigned int const ofDay = seconds * 1000u + time.wMilliseconds;
    return (daysFromDate(time.wYear, time.wMonth, time.wDay) * 86'400'000ull + ofDay) * 10'000;
}

// Four fields as they lie in memory.
constexpr std::uint64_t packFields(unsigned int first, unsigned int second, unsigned int third,
                                   unsigned int fourth) noexcept
{
    return first | static_cast<std::uint64_t>(second) << 16 | static_cast<std::uint64_t>(third) << 32 |
           static_cast<std::uint64_t>(fourth) << 48;
}

/// Expects no more than c_LastTick. Stored in halves: who copies the record at once must not wait for eight single stores
/// to reach the cache.
inline void storeFields(unsigned __int64 ticks, SYSTEMTIME& time) noexcept
{
    // One multiplication gives the days and, in 64 bits, the fraction of the day that is left; it is never less than the
    // exact one, and more by less than a tick. Each further one splits a unit off it.
    constexpr unsigned __int64 c_DayScale = 11'737'505'557'668'790'755u; // 2^103 / 864'000'000'000, rounded up
    UInt128 const product = static_cast<UInt128>(c_DayScale) * ticks;
    auto const days = static_cast<unsigned int>(product >> 103);
    auto fraction = static_cast<unsigned __int64>(product >> 39) + 1;
    auto const split = [&fraction](unsigned int count)
    {
        UInt128 const units = static_cast<UInt128>(fraction) * count;
        fraction = static_cast<unsigned __int64>(units);
        return static_cast<unsigned int>(units >> 64);
    };
    unsigned int const hour = split(24);
    unsigned int const minute = split(60);
    unsigned int const second = split(60);
    unsigned int const millisecond = split(1000);
    Date const date = dateFromDays(days);
    unsigned int const dayOfWeek = (days + 1) % 7; // 1601 began on a Monday
    std::uint64_t const halves[] = {packFields(date.year, date.month, dayOfWeek, date.day),
                                    packFields(hour, minute, second, millisecond)};
    static_assert(sizeof halves == sizeof time);
    std::memcpy(&time, halves, sizeof time);
}
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_CIVIL_H
