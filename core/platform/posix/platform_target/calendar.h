// Calendar arithmetic under the names, and with the limits, of the Windows C runtime. The zone is that of TZ, else the
// system's.

#ifndef ORVANE_PLATFORM_POSIX_CALENDAR_H
#define ORVANE_PLATFORM_POSIX_CALENDAR_H

#include <cerrno>
#include <ctime>

#include "platform/platform.h"

namespace detail
{
constexpr __int64 c_LastCalendarSecond = 32'535'215'999; // 3000-12-31 23:59:59 UTC

inline int splitTime(std::tm* parts, const __int64* seconds, std::tm* (*split)(const time_t*, std::tm*))
{
    if (parts == nullptr)
    {
        return EINVAL;
    }
    if (seconds != nullptr && *seconds >= 0 && *seconds <= c_LastCalendarSecond)
    {
        const time_t time = static_cast<time_t>(*seconds);
        if (split(&time, parts) != nullptr)
        {
            return 0;
        }
    }
    *parts = std::tm();
    parts->tm_sec = parts->tm_min = parts->tm_hour = parts->tm_mday = parts->tm_mon = parts->tm_year = -1;
    parts->tm_wday = parts->tm_yday = parts->tm_isdst = -1;
    return EINVAL;
}
} // namespace detail

/// UTC fields of a count of seconds since 1970. Reports: 0, or EINVAL (and -1 in every field) for a null pointer, a
/// negative time and one after the year 3000.
inline int _gmtime64_s(std::tm* parts, const __int64* seconds)
{
    return detail::splitTime(parts, seconds, gmtime_r);
}

/// Local fields; reports as _gmtime64_s.
inline int _localtime64_s(std::tm* parts, const __int64* seconds)
{
    return detail::splitTime(parts, seconds, localtime_r);
}

/// The time of local fields, which are brought into their ranges. With tm_isdst below 0 an hour that occurs twice is the
/// later one, of standard time, and an hour that is left out counts in daylight saving time.
/// Reports: -1, and fields unchanged, for a null pointer and for a time outside 1970 to 3000 (UTC).
inline __int64 _mktime64(std::tm* parts)
{
    if (parts == nullptr)
    {
        errno = EINVAL;
        return -1;
    }

    // Never asked to guess: the C library's guess depends on the call before.
    std::tm standard = *parts;
    standard.tm_isdst = 0;
    time_t time = std::mktime(&standard);
    const bool inDaylightSaving = parts->tm_isdst > 0 || (parts->tm_isdst < 0 && standard.tm_isdst > 0);
    if (inDaylightSaving)
    {
        std::tm summer = *parts;
        summer.tm_isdst = 1;
        const time_t moved = std::mktime(&summer);
        // A zone that has no daylight saving time is moved by an hour when told so.
        time = moved != time ? moved : time - 3600;
    }

    std::tm result;
    const __int64 seconds = time;
    if (detail::splitTime(&result, &seconds, localtime_r) != 0)
    {
        errno = EINVAL;
        return -1;
    }
    *parts = result;
    return seconds;
}

#endif // ORVANE_PLATFORM_POSIX_CALENDAR_H
