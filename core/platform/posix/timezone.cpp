#include "timezone.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

#include <sys/stat.h>

#include "futex.h"
#include "nosuspend.h"
#include "platform_target/civil.h"

namespace posix
{
namespace
{
constexpr __int64 c_Cycle = 146'097 * c_SecondsADay; // 400 years
constexpr int c_YearsInTable = 402;                  // more than a cycle
constexpr __int64 c_Never = INT64_MAX;
constexpr __int64 c_WidestOffset = 27LL * 3600; // wider than any

int yearOf(__int64 seconds)
{
    // Rules are worked out for years that the calendar has.
    __int64 const since1601 = std::max<__int64>(seconds + c_SecondsToEpoch, 0);
    return static_cast<int>(dateFromDays(static_cast<unsigned int>(since1601 / c_SecondsADay)).year);
}
} // namespace

TimeZone::TimeZone(int offset) : TimeZone({{INT64_MIN, offset}}, std::nullopt)
{
}

TimeZone::TimeZone(ZoneRule const& rule) : TimeZone({{INT64_MIN, rule.standardOffset()}}, rule)
{
}

TimeZone::TimeZone(TimeZone&& other) noexcept
    : m_starts(std::move(other.m_starts)),
      m_offsets(std::move(other.m_offsets)),
      m_end(other.m_end)
{
}

TimeZone::TimeZone(std::vector<OffsetChange> changes, std::optional<ZoneRule> const& rule) : m_end(c_Never)
{
    if (rule && rule->hasDaylightSaving())
    {
        // A zone that is nothing but a rule has it from the calendar's beginning.
        bool const isRuleAlone = changes.size() == 1;
        __int64 const last = changes.back().start;
        int const firstYear = isRuleAlone ? 1601 : yearOf(last);
        std::vector<OffsetChange> yearly;
        for (int year = firstYear; year <= firstYear + c_YearsInTable; ++year)
        {
            rule->addChanges(year, yearly);
        }
        std::copy_if(yearly.begin(), yearly.end(), std::back_inserter(changes),
                     [last](OffsetChange const& change) { return change.start > last; });
        // A year before the last changes: all that come before it are in the table.
        m_end = daysFromDate(static_cast<unsigned int>(firstYear + c_YearsInTable - 1), 1, 1) * c_SecondsADay -
                c_SecondsToEpoch;
    }
    std::stable_sort(changes.begin(), changes.end(),
                     [](OffsetChange const& a, OffsetChange const& b) { return a.start < b.start; });
    for (OffsetChange const& change : changes)
    {
        if (!m_starts.empty() && m_starts.back() == change.start)
        {
            m_starts.pop_back();
            m_offsets.pop_back();
        }
        if (m_offsets.empty() || change.offset != m_offsets.back())
        {
            m_starts.push_back(change.start);
            m_offsets.push_back(change.offset);
        }
    }
}

int TimeZone::offsetAt(__int64 seconds) const noexcept
{
    return m_offsets[indexAt(seconds - cyclesBeyond(seconds) * c_Cycle)];
}

__int64 TimeZone::toUniversal(__int64 local) const noexcept
{
    __int64 const moved = cyclesBeyond(local) * c_Cycle;
    local -= moved;
    for (std::size_t index = indexAt(local - c_WidestOffset);; ++index)
    {
        __int64 const universal = local - m_offsets[index];
        if (index + 1 == m_starts.size() || universal < m_starts[index + 1])
        {
            return universal + moved;
        }
    }
}

std::size_t TimeZone::indexAt(__int64 seconds) const noexcept
{
    std::size_t const latest = m_latest.load(std::memory_order_relaxed);
    std::size_t const count = m_starts.size();
    if (seconds >= m_starts[latest] && (latest + 1 == count || seconds < m_starts[latest + 1]))
    {
        return latest;
    }
    auto const after = std::upper_bound(m_starts.begin() + 1, m_starts.end(), seconds);
    std::size_t const found = static_cast<std::size_t>(after - m_starts.begin()) - 1;
    m_latest.store(static_cast<std::uint32_t>(found), std::memory_order_relaxed);
    return found;
}

// How many cycles a time has to go back to lie in the table.
__int64 TimeZone::cyclesBeyond(__int64 seconds) const noexcept
{
    return seconds < m_end ? 0 : (seconds - m_end) / c_Cycle + 1;
}

namespace
{
constexpr char const* c_SystemZone = "/etc/localtime";
constexpr char const* c_DefaultFolder = "/usr/share/zoneinfo";

// What tells one state of a zone's source from another.
struct ZoneSource
{
    std::string name; // of TZ, or c_SystemZone
    dev_t device = 0;
    ino_t file = 0;
    off_t size = 0;
    timespec written = {};

    friend bool operator==(ZoneSource const& a, ZoneSource const& b)
    {
        return a.name == b.name && a.device == b.device && a.file == b.file && a.size == b.size &&
               a.written.tv_sec == b.written.tv_sec && a.written.tv_nsec == b.written.tv_nsec;
    }
};

struct KnownZone
{
    ZoneSource source;
    TimeZone zone;
};

std::string zoneName()
{
    char const* const name = std::getenv("TZ");
    if (name == nullptr)
    {
        return c_SystemZone;
    }
    return name[0] == ':' ? name + 1 : name;
}

std::string pathOf(std::string const& name)
{
    if (name.empty() || name.front() == '/')
    {
        return name;
    }
    char const* const folder = std::getenv("TZDIR");
    return std::string(folder != nullptr && folder[0] != '\0' ? folder : c_DefaultFolder) + '/' + name;
}

ZoneSource sourceOf(std::string name, std::string const& path)
{
    ZoneSource source = {std::move(name)};
    struct stat status;
    if (!path.empty() && stat(path.c_str(), &status) == 0)
    {
        source.device = status.st_dev;
        source.file = status.st_ino;
        source.size = status.st_size;
        source.written = status.st_mtim;
    }
    return source;
}

std::string contentOf(std::string const& path)
{
    constexpr std::size_t c_Most = std::size_t{1024} * 1024; // zone files have a few kilobytes
    struct stat status;
    std::string content;
    if (path.empty() || stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
    {
        return content;
    }
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (file != nullptr)
    {
        content.resize(std::min(c_Most, static_cast<std::size_t>(status.st_size)));
        content.resize(std::fread(content.data(), 1, content.size(), file.get()));
    }
    return content;
}

// A file, else a rule, else UTC: as the C library reads TZ.
TimeZone loadZone(std::string const& name, std::string const& path)
{
    if (std::optional<TimeZone> zone = TimeZone::parse(contentOf(path)))
    {
        return std::move(*zone);
    }
    std::optional<ZoneRule> const rule = ZoneRule::parse(name);
    return rule ? TimeZone(*rule) : TimeZone(0);
}

constinit FutexMutex s_zoneLock;
constinit std::atomic<TimeZone const*> s_zone{nullptr};
constinit std::atomic<__int64> s_checkedAt{-1}; // by the coarse clock; -1: look again

__int64 coarseSeconds() noexcept
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec;
}

// Every zone that was ever the current one: others may still read it. s_zoneLock is held.
TimeZone const& findZone()
{
    static std::vector<std::unique_ptr<KnownZone>>* const s_known = new std::vector<std::unique_ptr<KnownZone>>;
    std::string const name = zoneName();
    std::string const path = pathOf(name);
    ZoneSource source = sourceOf(name, path);
    auto const known =
        std::find_if(s_known->begin(), s_known->end(), [&](auto const& zone) { return zone->source == source; });
    if (known != s_known->end())
    {
        return (*known)->zone;
    }
    s_known->push_back(std::make_unique<KnownZone>(KnownZone{std::move(source), loadZone(name, path)}));
    return s_known->back()->zone;
}

TimeZone const& lookAgain(__int64 now) noexcept
{
    NoSuspend const guard;
    s_zoneLock.lock();
    // Another thread may have looked while this one waited.
    if (s_checkedAt.load(std::memory_order_relaxed) != now)
    {
        try
        {
            s_zone.store(&findZone(), std::memory_order_release);
        }
        catch (std::bad_alloc const&)
        {
            // Without memory for another zone the old one stays.
        }
        s_checkedAt.store(now, std::memory_order_release);
    }
    TimeZone const* zone = s_zone.load(std::memory_order_relaxed);
    if (zone == nullptr)
    {
        static TimeZone const* const s_universal = new TimeZone(0);
        zone = s_universal;
    }
    s_zoneLock.unlock();
    return *zone;
}
} // namespace

TimeZone const& currentTimeZone() noexcept
{
    __int64 const now = coarseSeconds();
    if (s_checkedAt.load(std::memory_order_acquire) == now)
    {
        if (TimeZone const* const zone = s_zone.load(std::memory_order_acquire))
        {
            return *zone;
        }
    }
    return lookAgain(now);
}
} // namespace posix

void _tzset() noexcept
{
    tzset();
    // A look that is under way ends first: what it has found may be older than this.
    posix::NoSuspend const guard;
    posix::s_zoneLock.lock();
    posix::s_checkedAt.store(-1, std::memory_order_release);
    posix::s_zoneLock.unlock();
}
