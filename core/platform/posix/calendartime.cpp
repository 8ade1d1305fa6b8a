#include <cstdint>
#include <cstring>
#include <ctime>

#include "civil.h"
#include "fail.h"
#include "platform/platform.h"
#include "timezone.h"

using posix::fail;

namespace
{
constexpr unsigned __int64 c_TicksAMillisecond = 10'000;
constexpr unsigned __int64 c_MillisecondsADay = 86'400'000;
constexpr unsigned __int64 c_LastTick = 0x7FFFFFFFFFFFFFFF;
constexpr __int64 c_LastSecond = static_cast<__int64>(c_LastTick / posix::c_TicksASecond) - posix::c_SecondsToEpoch;

// Four fields as they lie in memory.
constexpr std::uint64_t pack(unsigned int first, unsigned int second, unsigned int third, unsigned int fourth) noexcept
{
    return first | static_cast<std::uint64_t>(second) << 16 | static_cast<std::uint64_t>(third) << 32 |
           static_cast<std::uint64_t>(fourth) << 48;
}

// `milliseconds` since 1601, below 2^63 ticks. Stored in halves: who copies the record at once must not wait for eight
// single stores to reach the cache.
void storeFields(unsigned __int64 milliseconds, SYSTEMTIME& time) noexcept
{
    const auto days = static_cast<unsigned int>(milliseconds / c_MillisecondsADay);
    const auto rest = static_cast<unsigned int>(milliseconds % c_MillisecondsADay);
    const posix::Date date = posix::dateFromDays(days);
    const unsigned int minutes = rest / 60'000;
    const unsigned int ofMinute = rest % 60'000;
    const unsigned int dayOfWeek = (days + 1) % 7; // 1601 began on a Monday
    const std::uint64_t halves[] = {pack(date.year, date.month, dayOfWeek, date.day),
                                    pack(minutes / 60, minutes % 60, ofMinute / 1000, ofMinute % 1000)};
    static_assert(sizeof halves == sizeof time);
    std::memcpy(&time, halves, sizeof time);
}

// Expects fields in their ranges. Milliseconds since 1601.
unsigned __int64 millisecondsOf(SYSTEMTIME const& time) noexcept
{
    const unsigned int minutes = time.wHour * 60u + time.wMinute;
    const unsigned int ofDay = (minutes * 60u + time.wSecond) * 1000u + time.wMilliseconds;
    return posix::daysFromDate(time.wYear, time.wMonth, time.wDay) * c_MillisecondsADay + ofDay;
}

// Moves fields by what `change` makes of their second (since 1970).
template <class Change>
BOOL moveFields(SYSTEMTIME const* from, SYSTEMTIME* to, Change const& change) noexcept
{
    if (from == nullptr || to == nullptr || !posix::isDate(*from) || !posix::isTimeOfDay(*from))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const unsigned __int64 milliseconds = millisecondsOf(*from);
    const __int64 seconds = static_cast<__int64>(milliseconds / 1000) - posix::c_SecondsToEpoch;
    const __int64 moved = change(seconds);
    if (moved < -posix::c_SecondsToEpoch || moved > c_LastSecond)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    storeFields(static_cast<unsigned __int64>(moved + posix::c_SecondsToEpoch) * 1000 + milliseconds % 1000, *to);
    return TRUE;
}
} // namespace

void GetSystemTime(SYSTEMTIME* time) noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto seconds = static_cast<unsigned __int64>(now.tv_sec + posix::c_SecondsToEpoch);
    storeFields(seconds * 1000 + static_cast<unsigned __int64>(now.tv_nsec) / 1'000'000, *time);
}

BOOL FileTimeToSystemTime(FILETIME const* file, SYSTEMTIME* system) noexcept
{
    if (file == nullptr || system == nullptr)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const unsigned __int64 ticks = static_cast<unsigned __int64>(file->dwHighDateTime) << 32 | file->dwLowDateTime;
    if (ticks > c_LastTick)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    storeFields(ticks / c_TicksAMillisecond, *system);
    return TRUE;
}

BOOL SystemTimeToFileTime(SYSTEMTIME const* system, FILETIME* file) noexcept
{
    if (system == nullptr || file == nullptr || !posix::isDate(*system) || !posix::isTimeOfDay(*system))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const unsigned __int64 ticks = millisecondsOf(*system) * c_TicksAMillisecond;
    *file = posix::toFileTime(ticks);
    return TRUE;
}

BOOL SystemTimeToTzSpecificLocalTime(TIME_ZONE_INFORMATION const* zone, SYSTEMTIME const* universal,
                                     SYSTEMTIME* local) noexcept
{
    if (zone != nullptr)
    {
        return fail(ERROR_NOT_SUPPORTED);
    }
    return moveFields(universal, local,
                      [](__int64 seconds) { return seconds + posix::currentTimeZone().offsetAt(seconds); });
}

BOOL TzSpecificLocalTimeToSystemTime(TIME_ZONE_INFORMATION const* zone, SYSTEMTIME const* local,
                                     SYSTEMTIME* universal) noexcept
{
    if (zone != nullptr)
    {
        return fail(ERROR_NOT_SUPPORTED);
    }
    return moveFields(local, universal, [](__int64 seconds) { return posix::currentTimeZone().toUniversal(seconds); });
}
