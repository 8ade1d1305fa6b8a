// Time zones: their offsets from UTC at any time.

#ifndef ORVANE_PLATFORM_POSIX_TIMEZONE_H
#define ORVANE_PLATFORM_POSIX_TIMEZONE_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace posix
{
/// From this second of UTC on (since 1970) clocks stand this many seconds east of it.
struct OffsetChange
{
    __int64 start;
    int offset;
};

/// The rule of a zone by which its clocks change every year, for ever.
class ZoneRule
{
public:
    /// Reads the POSIX form: "EST5EDT,M3.2.0,M11.1.0", "<+0330>-3:30", "GMT0".
    static std::optional<ZoneRule> parse(std::string_view text);

    bool hasDaylightSaving() const
    {
        return m_hasDaylightSaving;
    }

    int standardOffset() const
    {
        return m_standardOffset;
    }

    /// The year's two changes, the earlier one first.
    void addChanges(int year, std::vector<OffsetChange>& changes) const;

private:
    enum class DayKind
    {
        Julian,    // 1 to 365, 29 February never counted
        DayOfYear, // 0 to 365
        WeekDay    // the n-th weekday of a month
    };

    struct Moment
    {
        DayKind kind = DayKind::WeekDay;
        int month = 0;
        int week = 0;
        int day = 0;
        int seconds = 2 * 3600; // after midnight, by the clock before the change
    };

    class Parser;

    static __int64 secondsOf(Moment const& moment, int year);

    int m_standardOffset = 0;
    int m_daylightOffset = 0;
    bool m_hasDaylightSaving = false;
    Moment m_toDaylight{DayKind::WeekDay, 3, 2, 0};
    Moment m_toStandard{DayKind::WeekDay, 11, 1, 0};
};

/// A zone's offsets, as one table. Where the rule of the present changes clocks every year the table goes on for more than
/// 400 years, after which the calendar repeats itself to the day of the week.
/// Threads: any may read.
class TimeZone
{
public:
    /// A fixed offset.
    explicit TimeZone(int offset);

    explicit TimeZone(ZoneRule const& rule);

    /// Reads a compiled zone file (RFC 8536) of any version. Empty for anything else.
    static std::optional<TimeZone> parse(std::string_view file);

    TimeZone(TimeZone&& other) noexcept;

    /// Seconds east of UTC at a time in seconds since 1970.
    int offsetAt(__int64 seconds) const noexcept;

    /// The time that clocks showed as `local`, both in seconds since 1970. Of two offsets that may be meant the one further
    /// east counts, so the result is the earlier time.
    __int64 toUniversal(__int64 local) const noexcept;

private:
    TimeZone(std::vector<OffsetChange> changes, std::optional<ZoneRule> const& rule);

    std::size_t indexAt(__int64 seconds) const noexcept;
    __int64 cyclesBeyond(__int64 seconds) const noexcept;

    std::vector<__int64> m_starts; // ascending; the first is the beginning of time
    std::vector<int> m_offsets;
    __int64 m_end;                                  // where the table ends and the cycle before it repeats
    mutable std::atomic<std::uint32_t> m_latest{0}; // where the latest time was found: the next one is often near
};

/// The zone of TZ, else the system's. Never freed.
/// Cost: a coarse clock reading; a look at the environment and the zone's file once in a second.
TimeZone const& currentTimeZone() noexcept;
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_TIMEZONE_H
