// Calendar and file times, the local time zone, and dates and times as text.
//
// Each call has the meaning that Windows documents. A flag or case that is not supported fails with the error named here.

#ifndef ORVANE_PLATFORM_POSIX_TIMES_H
#define ORVANE_PLATFORM_POSIX_TIMES_H

#include "platform/export.h"
#include "platform_target/civil.h"
#include "platform_target/errors.h"
#include "platform_target/types.h"

using LCID = DWORD;

// ---- calendar and file times

/// The clock's time, UTC, with its day of the week.
ORVANE_PLATFORM_API void GetSystemTime(SYSTEMTIME* time) noexcept;

/// Reports: 87 for a null pointer and for counts of 2^63 and above; `*system` is unchanged then. What is less than a
/// millisecond is dropped.
inline BOOL FileTimeToSystemTime(FILETIME const* file, SYSTEMTIME* system) noexcept
{
    unsigned __int64 const ticks =
        file != nullptr ? static_cast<unsigned __int64>(file->dwHighDateTime) << 32 | file->dwLowDateTime : 0;
    if (file == nullptr || system == nullptr || ticks > posix::c_LastTick)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    posix::storeFields(ticks, *system);
    return TRUE;
}

/// The day of the week is not looked at.
/// Reports: 87 for a null pointer, a year outside 1601 to 30827, a day that its month does not have, and a time of day
/// out of range; `*file` is unchanged then.
inline BOOL SystemTimeToFileTime(SYSTEMTIME const* system, FILETIME* file) noexcept
{
    if (system == nullptr || file == nullptr || !posix::isDate(*system) || !posix::isTimeOfDay(*system))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *file = posix::toFileTime(posix::ticksOf(*system));
    return TRUE;
}

// ---- the local time zone

struct TIME_ZONE_INFORMATION;

/// UTC to local time by the rule that is in force in the zone at that time. The zone is that of TZ (a name of the zone
/// database, a path, or a POSIX rule), else the system's; a change of either is seen within a second.
/// Reports: 50 for a zone other than null; 87 as SystemTimeToFileTime, and for a result that FileTimeToSystemTime refuses.
/// `*local` is unchanged then.
ORVANE_PLATFORM_API BOOL SystemTimeToTzSpecificLocalTime(TIME_ZONE_INFORMATION const* zone, SYSTEMTIME const* universal,
                                                         SYSTEMTIME* local) noexcept;

/// Local time to UTC. Times that occur twice, and times that a change of the clocks leaves out, count in the offset that is
/// further east of the two (daylight saving time, that is). Reports as above.
ORVANE_PLATFORM_API BOOL TzSpecificLocalTimeToSystemTime(TIME_ZONE_INFORMATION const* zone, SYSTEMTIME const* local,
                                                         SYSTEMTIME* universal) noexcept;

/// Reads TZ, and the zone that it names, anew: for the calls above and for the C library's.
ORVANE_PLATFORM_API void _tzset() noexcept;

// ---- dates and times as text

constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
constexpr DWORD DATE_SHORTDATE = 0x1;
constexpr DWORD DATE_LONGDATE = 0x2;
constexpr DWORD TIME_FORCE24HOURFORMAT = 0x8;

/// A date as the user writes it. The locale is what the environment asks for (LC_ALL, LC_TIME, LANG) when it is first
/// needed; "C" where there is none, which writes as American English does.
/// With a picture (and no flags): d dd day, ddd dddd its name, M MM month, MMM MMMM its name (in the form that stands
/// beside a day where the picture has one), y yy yyyy year; quoted text and all other characters as they stand. Without one:
/// the locale's long form, or its short form also for flags 0.
/// A null date is now, in local time. `size` 0 asks for the number of characters.
/// Reports: the number of characters with the final null; or 0 with the last error: 87 for a day that the calendar does
/// not have (years 1601 to 30827), another locale, and no buffer; 1004 for other flags and for flags beside a picture; 122
/// for a buffer that is too small.
ORVANE_PLATFORM_API int GetDateFormatW(LCID locale, DWORD flags, SYSTEMTIME const* date, LPCWSTR picture, LPWSTR buffer,
                                       int size) noexcept;

/// A time of day by a picture: h hh H HH hour (h is of twelve hours, unless TIME_FORCE24HOURFORMAT), m mm minute, s ss
/// second, t tt the mark of the half of the day. Reports as GetDateFormatW; 87 for a time of day out of range, 50 for a null
/// picture.
ORVANE_PLATFORM_API int GetTimeFormatW(LCID locale, DWORD flags, SYSTEMTIME const* time, LPCWSTR picture, LPWSTR buffer,
                                       int size) noexcept;

// ---- files

struct SECURITY_ATTRIBUTES;

constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD FILE_SHARE_READ = 0x1;
constexpr DWORD OPEN_EXISTING = 3;

/// Opens a file for reading. The handle is closed with CloseHandle and cannot be waited on. There is no share mode here:
/// who else has the file open is not looked at.
/// Reports: INVALID_HANDLE_VALUE with the last error: 50 for any other access, disposition, flag, template or security; 2
/// for no such file, 3 for no such folder (and no path), 5 for a folder and for what the user may not read, 206 for a path
/// that is too long, 4 without descriptors, 8 without memory, 31 for anything else.
ORVANE_PLATFORM_API HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                                       DWORD disposition, DWORD flags, HANDLE pattern) noexcept;

/// The file's times; each pointer may be null. Where the file system does not keep the creation time it is the earlier of
/// the last write and the last change of the file's entry. Times before 1601 are told as its beginning.
/// Reports: 6 for a handle that is no file's, 534 (and nothing written) for a time that ticks of 63 bits do not count.
ORVANE_PLATFORM_API BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write) noexcept;

#endif // ORVANE_PLATFORM_POSIX_TIMES_H
