// Days and calendar dates, proleptic Gregorian.

#ifndef ORVANE_PLATFORM_POSIX_CIVIL_H
#define ORVANE_PLATFORM_POSIX_CIVIL_H

#include "platform/platform.h"

namespace posix
{
constexpr __int64 c_SecondsADay = 86'400;
constexpr __int64 c_SecondsToEpoch = 11'644'473'600; // from 1601 to 1970
constexpr __int64 c_TicksASecond = 10'000'000;

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

/// Days from 1601-01-01 to a date not before it. Years run from March here, so that the leap day is their last.
constexpr unsigned int daysFromDate(unsigned int year, unsigned int month, unsigned int day) noexcept
{
    constexpr unsigned int c_MarchOfYear0 = 584'694; // days from 0000-03-01 to 1601-01-01
    unsigned int const isEarly = month <= 2 ? 1 : 0;
    unsigned int const marchYear = year - isEarly;
    unsigned int const marchMonth = month + 12 * isEarly; // 3 to 14
    unsigned int const century = marchYear / 100;
    return marchYear * 1461 / 4 - century + century / 4 + (979 * marchMonth - 2919) / 32 + day - 1 - c_MarchOfYear0;
}

struct Date
{
    unsigned int year;
    unsigned int month;
    unsigned int day;
};

/// The date that lies `days` (up to 2^30 / 4 - 2^20) days after 1601-01-01.
/// Origin: C. Neri and L. Schneider, "Euclidean affine functions and their application to calendar algorithms" (2022).
constexpr Date dateFromDays(unsigned int days) noexcept
{
    unsigned int const n1 = 4 * (days + 584'694) + 3;
    unsigned int const century = n1 / 146'097;
    unsigned int const n2 = (n1 % 146'097) | 3;
    unsigned __int64 const product = 2'939'745ull * n2;
    unsigned int const yearOfCentury = static_cast<unsigned int>(product >> 32);
    unsigned int const dayOfYear = static_cast<unsigned int>(product) / 2'939'745 / 4;
    unsigned int const n3 = 2'141 * dayOfYear + 197'913;
    unsigned int const isLate = dayOfYear >= 306 ? 1 : 0; // January and February
    return {100 * century + yearOfCentury + isLate, (n3 >> 16) - 12 * isLate, (n3 & 0xFFFF) / 2'141 + 1};
}

/// Whether the fields are a time that SystemTimeToFileTime takes.
constexpr bool isDate(SYSTEMTIME const& time) noexcept
{
    return time.wYear >= 1601 && time.wYear <= 30827 && time.wMonth >= 1 && time.wMonth <= 12 && time.wDay >= 1 &&
           time.wDay <= daysInMonth(time.wYear, time.wMonth);
}

constexpr bool isTimeOfDay(SYSTEMTIME const& time) noexcept
{
    return time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_CIVIL_H
