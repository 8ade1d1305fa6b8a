#include "mfc/ctime.h"

#include <chrono>

#include "mfc/catlexception.h"
#include "platform_target/calendar.h"

namespace
{
constexpr __int64 c_Minute = 60;
constexpr __int64 c_Hour = 60 * c_Minute;
constexpr __int64 c_Day = 24 * c_Hour;
// 3000-12-31 23:59:59 UTC. Checked here too: C runtimes differ in how far beyond it they go.
constexpr __int64 c_Last = 32'535'215'999;

bool isCalendarTime(__int64 seconds)
{
    return seconds >= 0 && seconds <= c_Last;
}

bool isWithin(int value, int first, int last)
{
    return value >= first && value <= last;
}

using FnSplit = int (*)(std::tm*, __int64 const*);

std::tm* split(std::tm* parts, __int64 seconds, FnSplit function)
{
    if (parts == nullptr)
    {
        AtlThrow(AtlResult::c_InvalidArg);
    }
    std::tm fields;
    if (!isCalendarTime(seconds) || function(&fields, &seconds) != 0)
    {
        return nullptr;
    }
    *parts = fields;
    return parts;
}
} // namespace

CTimeSpan::CTimeSpan() noexcept = default;

CTimeSpan::CTimeSpan(__int64 seconds) noexcept : m_seconds(seconds)
{
}

CTimeSpan::CTimeSpan(int days, int hours, int minutes, int seconds) noexcept
    : m_seconds(days * c_Day + hours * c_Hour + minutes * c_Minute + seconds)
{
}

__int64 CTimeSpan::GetDays() const noexcept
{
    return m_seconds / c_Day;
}

__int64 CTimeSpan::GetTotalHours() const noexcept
{
    return m_seconds / c_Hour;
}

__int64 CTimeSpan::GetTotalMinutes() const noexcept
{
    return m_seconds / c_Minute;
}

__int64 CTimeSpan::GetTotalSeconds() const noexcept
{
    return m_seconds;
}

int CTimeSpan::GetHours() const noexcept
{
    return static_cast<int>(GetTotalHours() % 24);
}

int CTimeSpan::GetMinutes() const noexcept
{
    return static_cast<int>(GetTotalMinutes() % 60);
}

int CTimeSpan::GetSeconds() const noexcept
{
    return static_cast<int>(m_seconds % 60);
}

__int64 CTimeSpan::GetTimeSpan() const noexcept
{
    return m_seconds;
}

CTimeSpan CTimeSpan::operator+(CTimeSpan span) const noexcept
{
    return span += *this;
}

CTimeSpan CTimeSpan::operator-(CTimeSpan span) const noexcept
{
    return CTimeSpan(m_seconds - span.m_seconds);
}

CTimeSpan& CTimeSpan::operator+=(CTimeSpan span) noexcept
{
    m_seconds += span.m_seconds;
    return *this;
}

CTimeSpan& CTimeSpan::operator-=(CTimeSpan span) noexcept
{
    m_seconds -= span.m_seconds;
    return *this;
}

CTime::CTime() noexcept = default;

CTime::CTime(int year, int month, int day, int hour, int minute, int second, int dst)
{
    if (year < 1900 || !isWithin(month, 1, 12) || !isWithin(day, 1, 31) || !isWithin(hour, 0, 23) ||
        !isWithin(minute, 0, 59) || !isWithin(second, 0, 59))
    {
        AtlThrow(AtlResult::c_Fail);
    }
    std::tm fields = {};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = dst;
    m_seconds = _mktime64(&fields);
    if (!isCalendarTime(m_seconds))
    {
        AtlThrow(AtlResult::c_InvalidArg);
    }
}

CTime CTime::Now() noexcept
{
    auto const sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return CTime(std::chrono::floor<std::chrono::seconds>(sinceEpoch).count());
}

__int64 CTime::GetTime() const noexcept
{
    return m_seconds;
}

int CTime::GetYear() const
{
    return localFields().tm_year + 1900;
}

int CTime::GetMonth() const
{
    return localFields().tm_mon + 1;
}

int CTime::GetDay() const
{
    return localFields().tm_mday;
}

int CTime::GetHour() const
{
    return localFields().tm_hour;
}

int CTime::GetMinute() const
{
    return localFields().tm_min;
}

int CTime::GetSecond() const
{
    return localFields().tm_sec;
}

int CTime::GetDayOfWeek() const
{
    return localFields().tm_wday + 1;
}

std::tm* CTime::GetGmtTm(std::tm* parts) const
{
    return split(parts, m_seconds, _gmtime64_s);
}

std::tm* CTime::GetLocalTm(std::tm* parts) const
{
    return split(parts, m_seconds, _localtime64_s);
}

CTime CTime::operator+(CTimeSpan span) const noexcept
{
    return CTime(m_seconds + span.GetTimeSpan());
}

CTime CTime::operator-(CTimeSpan span) const noexcept
{
    return CTime(m_seconds - span.GetTimeSpan());
}

CTime& CTime::operator+=(CTimeSpan span) noexcept
{
    m_seconds += span.GetTimeSpan();
    return *this;
}

CTime& CTime::operator-=(CTimeSpan span) noexcept
{
    m_seconds -= span.GetTimeSpan();
    return *this;
}

std::tm CTime::localFields() const
{
    std::tm fields;
    if (GetLocalTm(&fields) == nullptr)
    {
        AtlThrow(AtlResult::c_InvalidArg);
    }
    return fields;
}
