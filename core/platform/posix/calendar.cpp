#include "platform_target/calendar.h"

#include <cerrno>
#include <initializer_list>

#include "platform_target/civil.h"

using posix::c_SecondsADay;

namespace
{
constexpr __int64 c_Last = 32'535'215'999;            // 3000-12-31 23:59:59 UTC
constexpr __int64 c_WidestOffset = 2 * c_SecondsADay; // wider than any

int split(std::tm* parts, __int64 const* seconds, std::tm* (*function)(time_t const*, std::tm*))
{
    if (parts == nullptr)
    {
        return EINVAL;
    }
    if (seconds != nullptr && *seconds >= 0 && *seconds <= c_Last)
    {
        time_t const time = *seconds;
        if (function(&time, parts) != nullptr)
        {
            return 0;
        }
    }
    *parts = std::tm();
    parts->tm_sec = parts->tm_min = parts->tm_hour = parts->tm_mday = parts->tm_mon = parts->tm_year = -1;
    parts->tm_wday = parts->tm_yday = parts->tm_isdst = -1;
    return EINVAL;
}

// How clocks stand.
struct ClockOffset
{
    long east; // seconds from UTC
    bool isDaylight;
};

ClockOffset offsetAt(__int64 seconds)
{
    time_t const time = seconds;
    std::tm fields = {};
    localtime_r(&time, &fields);
    return {fields.tm_gmtoff, fields.tm_isdst > 0};
}

// Local times are seconds since 1970 by the clock on the wall.
bool isShown(__int64 local, ClockOffset offset)
{
    ClockOffset const actual = offsetAt(local - offset.east);
    return actual.east == offset.east && actual.isDaylight == offset.isDaylight;
}

// The nearest offset of the other kind than `offset`. One that only changes the name of the kind is none.
ClockOffset findOtherKind(__int64 local, ClockOffset offset)
{
    for (__int64 distance = c_SecondsADay; distance < 366 * c_SecondsADay; distance += 7 * c_SecondsADay)
    {
        for (__int64 const time : {local - distance, local + distance})
        {
            ClockOffset const other = offsetAt(time);
            if (other.isDaylight != offset.isDaylight && other.east != offset.east)
            {
                return other;
            }
        }
    }
    constexpr long c_Hour = 3'600;
    return {offset.east + (offset.isDaylight ? -c_Hour : c_Hour), !offset.isDaylight};
}

// The offset that a local time counts by. Not asked of mktime: what that makes of a time that occurs twice or not at all
// depends on the call before, and where it is told a kind it may take the offset of another year.
ClockOffset findOffset(__int64 local, int isDaylight)
{
    ClockOffset const before = offsetAt(local - c_SecondsADay);
    ClockOffset const after = offsetAt(local + c_SecondsADay);
    ClockOffset const west = before.east < after.east ? before : after;
    ClockOffset const east = before.east < after.east ? after : before;
    bool const isWestShown = isShown(local, west);
    if (isDaylight < 0)
    {
        return isWestShown ? west : east;
    }
    bool const wanted = isDaylight > 0;
    if (isWestShown && west.isDaylight == wanted)
    {
        return west;
    }
    if (isShown(local, east) && east.isDaylight == wanted)
    {
        return east;
    }
    ClockOffset const assumed = isWestShown ? west : east;
    return assumed.isDaylight == wanted ? assumed : findOtherKind(local, assumed);
}

__int64 refuse()
{
    errno = EINVAL;
    return -1;
}
} // namespace

int _gmtime64_s(std::tm* parts, __int64 const* seconds)
{
    return split(parts, seconds, gmtime_r);
}

int _localtime64_s(std::tm* parts, __int64 const* seconds)
{
    return split(parts, seconds, localtime_r);
}

__int64 _mktime64(std::tm* parts)
{
    if (parts == nullptr)
    {
        return refuse();
    }
    std::tm fields = *parts;
    fields.tm_wday = -1; // stays where the C library cannot count the year
    __int64 const local = timegm(&fields);
    if (fields.tm_wday < 0 || local < -c_WidestOffset || local > c_Last + c_WidestOffset)
    {
        return refuse();
    }
    tzset(); // localtime_r does not look whether TZ has changed
    __int64 const seconds = local - findOffset(local, parts->tm_isdst).east;
    if (split(&fields, &seconds, localtime_r) != 0)
    {
        return refuse();
    }
    *parts = fields;
    return seconds;
}
