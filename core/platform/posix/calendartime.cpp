#include <ctime>

#include "fail.h"
#include "platform/platform.h"
#include "platform_target/civil.h"
#include "timezone.h"

using posix::fail;

namespace
{
constexpr __int64 c_LastSecond =
    static_cast<__int64>(posix::c_LastTick / posix::c_TicksASecond) - posix::c_SecondsToEpoch;

// Moves fields by what `change` makes of their second (since 1970).
template <class Change>
BOOL moveFields(SYSTEMTIME const* from, SYSTEMTIME* to, Change const& change) noexcept
{
    if (from == nullptr || to == nullptr || !posix::isDate(*from) || !posix::isTimeOfDay(*from))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const unsigned __int64 ticks = posix::ticksOf(*from);
    const __int64 seconds = static_cast<__int64>(ticks / posix::c_TicksASecond) - posix::c_SecondsToEpoch;
    const __int64 moved = change(seconds);
    if (moved < -posix::c_SecondsToEpoch || moved > c_LastSecond)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    posix::storeFields(ticks + static_cast<unsigned __int64>((moved - seconds) * posix::c_TicksASecond), *to);
    return TRUE;
}
} // namespace

void GetSystemTime(SYSTEMTIME* time) noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto seconds = static_cast<unsigned __int64>(now.tv_sec + posix::c_SecondsToEpoch);
    posix::storeFields(seconds * posix::c_TicksASecond + static_cast<unsigned __int64>(now.tv_nsec) / 100, *time);
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
