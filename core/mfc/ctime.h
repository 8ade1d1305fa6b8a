// Points in time and spans of time in whole seconds: CTime and CTimeSpan.

#ifndef ORVANE_MFC_CTIME_H
#define ORVANE_MFC_CTIME_H

#include <compare>
#include <concepts>
#include <ctime>

#include "platform/export.h"
#include "platform/platform.h"

/// A signed span of time in whole seconds. Overflow is not detected.
/// Threads: a plain value. Share it for reading, guard it for writing.
class ORVANE_PLATFORM_API CTimeSpan
{
public:
    CTimeSpan() noexcept;
    CTimeSpan(__int64 seconds) noexcept;

    /// The sum of the four; each may be negative and of any size.
    CTimeSpan(int days, int hours, int minutes, int seconds) noexcept;

    /// The whole units that fit, truncated towards zero.
    __int64 GetDays() const noexcept;
    __int64 GetTotalHours() const noexcept;
    __int64 GetTotalMinutes() const noexcept;
    __int64 GetTotalSeconds() const noexcept;

    /// What is left after the next larger unit: -23 to 23 hours, -59 to 59 minutes and seconds.
    int GetHours() const noexcept;
    int GetMinutes() const noexcept;
    int GetSeconds() const noexcept;

    /// The count of seconds.
    __int64 GetTimeSpan() const noexcept;

    CTimeSpan operator+(CTimeSpan span) const noexcept;
    CTimeSpan operator-(CTimeSpan span) const noexcept;
    CTimeSpan& operator+=(CTimeSpan span) noexcept;
    CTimeSpan& operator-=(CTimeSpan span) noexcept;

    friend bool operator==(CTimeSpan const& a, CTimeSpan const& b) noexcept = default;
    friend std::strong_ordering operator<=>(CTimeSpan const& a, CTimeSpan const& b) noexcept = default;

private:
    __int64 m_seconds = 0;
};

/// A point in time: seconds since 1970-01-01 00:00:00 UTC.
///
/// Any count can be held, compared and moved; calendar fields exist for the years 1970 to 3000 (UTC) only, on every
/// target, since the C runtime of Windows knows no others.
/// The local zone is that of the C runtime (TZ, else the system's).
/// Threads: a plain value. Share it for reading, guard it for writing.
class ORVANE_PLATFORM_API CTime
{
public:
    /// 1970-01-01 00:00:00 UTC.
    CTime() noexcept;

    /// Seconds since 1970 UTC, negative ones before. A template, so that a class that converts to CTime and to numbers
    /// too still converts to CTime.
    template <std::integral I>
    CTime(I seconds) noexcept : m_seconds(static_cast<__int64>(seconds))
    {
    }

    /// Local time. `dst` above 0: the fields count in daylight saving time; 0: in standard time; below 0: as the zone
    /// has it at that time; then an hour that occurs twice is the later one. A day that its month does not have (30
    /// February) runs over into the next month.
    /// Raises: CAtlException with AtlResult::c_Fail for a field out of range (year from 1900, month 1 to 12, day 1 to
    /// 31, hour 0 to 23, minute and second 0 to 59), with AtlResult::c_InvalidArg for a time outside 1970 to 3000 UTC.
    /// Origin: _mktime64.
    CTime(int year, int month, int day, int hour, int minute, int second, int dst = -1);

    /// The system's clock.
    static CTime Now() noexcept;

    /// As Now. Windows' headers make this name a macro for another one, in declaration and call alike, so it can be
    /// used as written; where a client removes that macro, only Now is left.
    static CTime GetCurrentTime() noexcept
    {
        return Now();
    }

    __int64 GetTime() const noexcept;

    /// Fields in local time: the full year, month and day from 1, day of the week from 1 (Sunday) to 7.
    /// Raises: CAtlException with AtlResult::c_InvalidArg outside 1970 to 3000 UTC.
    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetDayOfWeek() const;

    /// Writes the fields to `*parts` and gives `parts`; null, and nothing written, outside 1970 to 3000 UTC.
    /// Raises: CAtlException with AtlResult::c_InvalidArg for a null pointer.
    std::tm* GetGmtTm(std::tm* parts) const;
    std::tm* GetLocalTm(std::tm* parts) const;

    CTime operator+(CTimeSpan span) const noexcept;
    CTime operator-(CTimeSpan span) const noexcept;

    /// A template, so that `time - 60` takes 60 for a span.
    template <std::same_as<CTime> T>
    CTimeSpan operator-(T time) const noexcept
    {
        return CTimeSpan(m_seconds - time.m_seconds);
    }

    CTime& operator+=(CTimeSpan span) noexcept;
    CTime& operator-=(CTimeSpan span) noexcept;

    friend bool operator==(CTime const& a, CTime const& b) noexcept = default;
    friend std::strong_ordering operator<=>(CTime const& a, CTime const& b) noexcept = default;

private:
    std::tm localFields() const;

    __int64 m_seconds = 0;
};

#endif // ORVANE_MFC_CTIME_H
