// Calendar arithmetic under the names, and with the limits, of the Windows C runtime. The zone is that of TZ, else the
// system's.

#ifndef ORVANE_PLATFORM_POSIX_CALENDAR_H
#define ORVANE_PLATFORM_POSIX_CALENDAR_H

#include <ctime>

#include "platform/platform.h"

/// UTC fields of a count of seconds since 1970. Reports: 0, or EINVAL (and -1 in every field) for a null pointer, a
/// negative time and one after the year 3000.
int _gmtime64_s(std::tm* parts, __int64 const* seconds);

/// Local fields; reports as _gmtime64_s.
int _localtime64_s(std::tm* parts, __int64 const* seconds);

/// The time of local fields, which are brought into their ranges. It is the same whatever was asked before.
/// With tm_isdst below 0 an hour that occurs twice is the later one (mostly that of standard time), and an hour that is left
/// out counts by the offset further east (mostly that of daylight saving time). With tm_isdst from 0 on the fields count in
/// standard or in daylight saving time, also where the zone has the other one then: by the nearest offset of that kind, or
/// an hour aside where there is none within a year.
/// Reports: -1, and fields unchanged, for a null pointer and for a time outside 1970 to 3000 (UTC).
__int64 _mktime64(std::tm* parts);

#endif // ORVANE_PLATFORM_POSIX_CALENDAR_H
