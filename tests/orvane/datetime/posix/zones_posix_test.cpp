// Every zone of the database at each of its changes from 1900 to 2037, against the system's own tool: it lists the seconds
// before and at each change with their local times.

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mfc/raises.h"
#include "orvane/datetime/cbdatetime.h"
#include "support/temporaryfolder.h"

namespace
{
std::filesystem::path const c_Folder = "/usr/share/zoneinfo";

void setZone(char const* name)
{
    setenv("TZ", name, 1);
    _tzset();
}

class Zones : public testing::Test
{
protected:
    ~Zones() override
    {
        setZone("UTC");
    }
};

std::string localText(CbDateTime const& time)
{
    return time.ToString("Y-m-d H:i:s", true).GetString();
}

std::string universalText(std::string const& local)
{
    return CbDateTime(local.c_str(), true).ToString("Y-m-d H:i:s", false).GetString();
}

// The fields of a local time as seconds since 1970, by way of the C time class.
__int64 secondsOf(CbDateTime const& local)
{
    return static_cast<CTime>(local).GetTime();
}

// The same whatever was asked before: right after a time in winter, and after one in a summer by whose
// time many zones had moved.
struct STwice
{
    __int64 afterWinter;
    __int64 afterSummer;

    friend bool operator==(STwice const& a, __int64 seconds)
    {
        return a.afterWinter == seconds && a.afterSummer == seconds;
    }

    friend std::ostream& operator<<(std::ostream& stream, STwice const& twice)
    {
        return stream << twice.afterWinter << " after winter, " << twice.afterSummer << " after summer";
    }
};

template <class F>
STwice twice(F const& ask)
{
    STwice result = {};
    EXPECT_GT(secondsOf(CbDateTime(2005, 1, 1, 0, 0, 0, 0)), 0);
    result.afterWinter = ask();
    EXPECT_GT(secondsOf(CbDateTime(2010, 7, 1, 0, 0, 0, 0)), 0);
    result.afterSummer = ask();
    return result;
}

STwice secondsOf(unsigned int year, unsigned int month, unsigned int day, unsigned int hour, unsigned int minute)
{
    return twice([&] { return secondsOf(CbDateTime(year, month, day, hour, minute, 0, 0)); });
}

// As told: 1 in daylight saving time, 0 in standard time.
STwice secondsAsTold(int isDaylight, int year, int month, int day, int hour, int minute)
{
    return twice([&] { return CTime(year, month, day, hour, minute, 0, isDaylight).GetTime(); });
}

// The names of all zones, one for each content: many names stand for the same zone. Those of files that count leap seconds
// ("right/") are not the system's time.
std::vector<std::string> zoneNames()
{
    std::map<std::string, std::string> names;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(c_Folder))
    {
        std::string const name = std::filesystem::relative(entry.path(), c_Folder).string();
        if (!entry.is_regular_file() || name.starts_with("right/") || name.starts_with("posix/"))
        {
            continue;
        }
        std::string const content = readFile(entry.path());
        if (content.starts_with("TZif"))
        {
            names.emplace(content, name);
        }
    }
    std::vector<std::string> list;
    for (auto const& [content, name] : names)
    {
        list.push_back(name);
    }
    return list;
}

struct SChange
{
    CbDateTime universal;
    CbDateTime local;
    long offset;
};

unsigned int monthOf(char const* name)
{
    static std::string const s_names = "JanFebMarAprMayJunJulAugSepOctNovDec";
    return static_cast<unsigned int>(s_names.find(name) / 3 + 1);
}

// Reads "Zone  Sun Mar 10 06:59:59 2024 UT = Sun Mar 10 01:59:59 2024 EST isdst=0 gmtoff=-18000".
bool readLine(char const* line, std::string& zone, SChange& change)
{
    char name[128];
    char months[2][4];
    unsigned int n[2][5];
    if (std::sscanf(line, "%127s %*3s %3s %u %u:%u:%u %u UT = %*3s %3s %u %u:%u:%u %u %*s isdst=%*d gmtoff=%ld", name,
                    months[0], &n[0][0], &n[0][1], &n[0][2], &n[0][3], &n[0][4], months[1], &n[1][0], &n[1][1],
                    &n[1][2], &n[1][3], &n[1][4], &change.offset) != 14)
    {
        return false;
    }
    zone = name;
    change.universal = CbDateTime(n[0][4], monthOf(months[0]), n[0][0], n[0][1], n[0][2], n[0][3], 0);
    change.local = CbDateTime(n[1][4], monthOf(months[1]), n[1][0], n[1][1], n[1][2], n[1][3], 0);
    return true;
}

std::map<std::string, std::vector<SChange>> changesByTool(std::vector<std::string> const& names)
{
    std::string command = "cd " + c_Folder.string() + " && LC_ALL=C zdump -v -c 1900,2038";
    for (std::string const& name : names)
    {
        command += " '" + name + '\'';
    }
    std::map<std::string, std::vector<SChange>> changes;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const output(popen(command.c_str(), "r"), pclose);
    char line[512];
    while (std::fgets(line, sizeof line, output.get()) != nullptr)
    {
        std::string zone;
        SChange change{CbDateTime::c_Invalid, CbDateTime::c_Invalid, 0};
        if (readLine(line, zone, change))
        {
            changes[zone].push_back(change);
        }
    }
    return changes;
}

// Of all zones. The tool takes its time.
std::map<std::string, std::vector<SChange>> const& allChanges()
{
    static std::map<std::string, std::vector<SChange>> const s_changes = changesByTool(zoneNames());
    return s_changes;
}

// `change` is one of the moments that the tool lists, `next` the one after it: often the second that ends an offset, and the
// first one of the next offset. A local time that the next offset shows once more is the later one.
__int64 latestSecondsOf(SChange const& change, SChange const* next)
{
    __int64 const local = (change.local - CbDateTime(static_cast<__int64>(0))).Get(CbTimeInterval::eSecond);
    __int64 const universal = local - change.offset;
    if (next == nullptr || next->universal - change.universal != CbTimeInterval(CbTimeInterval::eSecond, 1))
    {
        return universal;
    }
    return std::max(universal, local - next->offset);
}
} // namespace

TEST_F(Zones, AgreeWithTheSystemsToolAtEveryChange)
{
    ASSERT_EQ(std::system("command -v zdump >/dev/null"), 0) << "zdump is missing";
    ASSERT_TRUE(std::filesystem::exists(c_Folder / "Europe/Berlin")) << "the zone database is missing";
    std::map<std::string, std::vector<SChange>> const& all = allChanges();
    std::size_t compared = 0;
    for (auto const& [zone, changes] : all)
    {
        setZone(zone.c_str());
        for (SChange const& change : changes)
        {
            ASSERT_EQ(localText(change.universal), change.local.ToString("Y-m-d H:i:s", false).GetString())
                << zone << " at " << change.universal.ToString("Y-m-d H:i:s", false).GetString() << " UTC";
            ASSERT_EQ(change.local - change.universal,
                      CbTimeInterval(CbTimeInterval::eSecond, static_cast<int>(change.offset)));
            // Local times that occur twice have an earlier UTC time; read back it must show the same.
            std::string const local = change.local.ToString("Y-m-d H:i:s", false).GetString();
            CbDateTime const back(local.c_str(), true);
            ASSERT_EQ(localText(back), local) << zone;
            ASSERT_LE(back, change.universal) << zone;
            ++compared;
        }
    }
    std::printf("%zu zones have changes, %zu moments\n", all.size(), compared);
    EXPECT_GT(all.size(), 300u);
    EXPECT_GT(compared, 40'000u);
}

TEST_F(Zones, AgreeWithTheSystemsToolWhereTheyBecomeCTimes)
{
    ASSERT_EQ(std::system("command -v zdump >/dev/null"), 0) << "zdump is missing";
    constexpr __int64 c_Day = 86'400;
    std::size_t compared = 0;
    for (auto const& [zone, changes] : allChanges())
    {
        setZone(zone.c_str());
        for (std::size_t n = 0; n < changes.size(); ++n)
        {
            SChange const& change = changes[n];
            SChange const* const next = n + 1 < changes.size() ? &changes[n + 1] : nullptr;
            __int64 const expected = latestSecondsOf(change, next);
            if (expected < c_Day)
            {
                continue; // before 1970
            }
            ASSERT_EQ(secondsOf(change.local), expected)
                << zone << ", local " << change.local.ToString("Y-m-d H:i:s", false).GetString();
            ++compared;
            // Between two changes that lie far apart.
            __int64 const span =
                next != nullptr ? (next->universal - change.universal).Get(CbTimeInterval::eSecond) : 0;
            if (span > 4 * c_Day)
            {
                CbDateTime const middle = change.local + CbTimeInterval(span / 2 * 1'000);
                ASSERT_EQ(secondsOf(middle), expected + span / 2)
                    << zone << ", local " << middle.ToString("Y-m-d H:i:s", false).GetString();
                ++compared;
            }
        }
    }
    std::printf("%zu moments\n", compared);
    EXPECT_GT(compared, 30'000u);
}

TEST_F(Zones, BecomeCTimesWhereSummersOffsetBecameTheStandardOne)
{
    setZone("Europe/Istanbul");
    EXPECT_EQ(secondsOf(2016, 9, 1, 12, 0), 1'472'720'400); // 09:00 UTC
    setZone("Asia/Amman");
    EXPECT_EQ(secondsOf(2022, 7, 1, 12, 0), 1'656'666'000); // 09:00 UTC
    setZone("Africa/Casablanca");
    EXPECT_EQ(secondsOf(2018, 9, 1, 12, 0), 1'535'799'600); // 11:00 UTC
    setZone("America/Argentina/Buenos_Aires");
    EXPECT_EQ(secondsOf(1999, 12, 31, 21, 0), 946'684'800); // 24:00 UTC
    setZone("America/Whitehorse");
    EXPECT_EQ(secondsOf(2020, 9, 1, 12, 0), 1'598'986'800); // 19:00 UTC
}

TEST_F(Zones, BecomeTheLaterCTimeOfAnHourThatOccursTwice)
{
    setZone("Europe/Moscow");
    EXPECT_EQ(secondsOf(2014, 10, 26, 1, 30), 1'414'276'200); // at +03, after +04
    setZone("America/Caracas");
    EXPECT_EQ(secondsOf(2007, 12, 9, 2, 45), 1'197'184'500); // at -04:30, after -04
    setZone("Europe/Dublin");
    EXPECT_EQ(secondsOf(2024, 10, 27, 1, 30), 1'729'992'600); // at GMT, after IST
}

TEST_F(Zones, CountALeftOutHourOfACTimeByTheOffsetFurtherEast)
{
    setZone("Europe/Moscow");
    EXPECT_EQ(secondsOf(2011, 3, 27, 2, 30), 1'301'178'600); // at +04
    setZone("America/Caracas");
    EXPECT_EQ(secondsOf(2016, 5, 1, 2, 45), 1'462'085'100); // at -04
    setZone("Europe/Dublin");
    EXPECT_EQ(secondsOf(2024, 3, 31, 1, 30), 1'711'845'000); // at IST
    setZone("Pacific/Apia");
    EXPECT_EQ(secondsOf(2011, 12, 30, 12, 0), 1'325'196'000); // at +14
}

TEST_F(Zones, TakeTheDaylightSavingTimeOfACTimeAsTold)
{
    setZone("Australia/Lord_Howe");
    EXPECT_EQ(secondsAsTold(0, 2024, 1, 15, 12, 0), 1'705'282'200); // at +10:30
    EXPECT_EQ(secondsAsTold(1, 2024, 1, 15, 12, 0), 1'705'280'400); // at +11
    EXPECT_EQ(secondsAsTold(1, 2024, 7, 15, 12, 0), 1'721'005'200); // at +11
    EXPECT_EQ(secondsAsTold(0, 2024, 4, 7, 1, 45), 1'712'416'500);  // the later one of two
    EXPECT_EQ(secondsAsTold(1, 2024, 4, 7, 1, 45), 1'712'414'700);
    EXPECT_EQ(secondsAsTold(0, 2024, 10, 6, 2, 15), 1'728'143'100); // left out
    EXPECT_EQ(secondsAsTold(1, 2024, 10, 6, 2, 15), 1'728'141'300);
    setZone("Europe/Istanbul");
    EXPECT_EQ(secondsAsTold(0, 2016, 9, 1, 12, 0), 1'472'724'000); // at +02, the standard time of those days
    EXPECT_EQ(secondsAsTold(1, 2016, 9, 1, 12, 0), 1'472'720'400);
    setZone("Europe/Dublin");
    EXPECT_EQ(secondsAsTold(0, 2024, 1, 15, 12, 0), 1'705'316'400); // IST is the standard time
    EXPECT_EQ(secondsAsTold(1, 2024, 1, 15, 12, 0), 1'705'320'000);
    setZone("Asia/Tokyo");
    EXPECT_EQ(secondsAsTold(0, 2024, 7, 15, 12, 0), 1'721'012'400);
    EXPECT_EQ(secondsAsTold(1, 2024, 7, 15, 12, 0), 1'721'008'800) << "an hour, where there is no such time";
}

TEST_F(Zones, BecomeNoCTimesOutsideTheCalendar)
{
    for (char const* const zone : {"America/New_York", "Asia/Tokyo"})
    {
        setZone(zone);
        for (int const year : {1900, 1969, 3001, 65'535, INT_MAX - 1, INT_MAX})
        {
            SCOPED_TRACE(year);
            EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(year, 6, 1, 12, 0, 0));
            EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(year, 6, 1, 12, 0, 0, 1));
        }
        EXPECT_EQ(CTime(3000, 12, 31, 12, 0, 0).GetYear(), 3000);
    }
    setZone("America/New_York");
    EXPECT_EQ(CTime(1969, 12, 31, 19, 0, 0).GetTime(), 0);
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, CTime(1969, 12, 31, 18, 59, 59));
}

TEST_F(Zones, FollowTheRuleOfTheTime)
{
    // The United States moved both changes in 2007.
    setZone("America/New_York");
    EXPECT_EQ(localText(CbDateTime(2006, 3, 20, 12, 0, 0, 0)), "2006-03-20 07:00:00");
    EXPECT_EQ(localText(CbDateTime(2007, 3, 20, 12, 0, 0, 0)), "2007-03-20 08:00:00");
    EXPECT_EQ(localText(CbDateTime(1883, 11, 18, 12, 3, 57, 0)), "1883-11-18 07:07:55");
}

TEST_F(Zones, HaveHalfAndQuarterHours)
{
    setZone("Asia/Kolkata");
    EXPECT_EQ(localText(CbDateTime(2024, 5, 6, 20, 0, 0, 0)), "2024-05-07 01:30:00");
    EXPECT_EQ(universalText("2024-05-07 01:30:00"), "2024-05-06 20:00:00");
    setZone("Asia/Kathmandu");
    EXPECT_EQ(localText(CbDateTime(2024, 5, 6, 20, 0, 0, 0)), "2024-05-07 01:45:00");
}

TEST_F(Zones, MayChangeByHalfAnHour)
{
    setZone("Australia/Lord_Howe");
    EXPECT_EQ(localText(CbDateTime(2024, 4, 6, 14, 59, 59, 0)), "2024-04-07 01:59:59");
    EXPECT_EQ(localText(CbDateTime(2024, 4, 6, 15, 0, 0, 0)), "2024-04-07 01:30:00");
    EXPECT_EQ(universalText("2024-04-07 01:45:00"), "2024-04-06 14:45:00");
    EXPECT_EQ(universalText("2024-10-06 02:15:00"), "2024-10-05 15:15:00");
}

TEST_F(Zones, MayHaveTheirStandardTimeInSummer)
{
    setZone("Europe/Dublin");
    EXPECT_EQ(localText(CbDateTime(2024, 7, 1, 12, 0, 0, 0)), "2024-07-01 13:00:00");
    EXPECT_EQ(localText(CbDateTime(2024, 1, 1, 12, 0, 0, 0)), "2024-01-01 12:00:00");
    EXPECT_EQ(localText(CbDateTime(2300, 7, 1, 12, 0, 0, 0)), "2300-07-01 13:00:00");
}

TEST_F(Zones, MayLeaveOutADay)
{
    setZone("Pacific/Apia");
    EXPECT_EQ(localText(CbDateTime(2011, 12, 30, 9, 59, 59, 0)), "2011-12-29 23:59:59");
    EXPECT_EQ(localText(CbDateTime(2011, 12, 30, 10, 0, 0, 0)), "2011-12-31 00:00:00");
    EXPECT_EQ(universalText("2011-12-30 12:00:00"), "2011-12-29 22:00:00");
}

TEST_F(Zones, KeepTheirRuleToTheLastYear)
{
    setZone("Europe/Berlin");
    EXPECT_EQ(localText(CbDateTime(9999, 7, 1, 12, 0, 0, 0)), "9999-07-01 14:00:00");
    EXPECT_EQ(localText(CbDateTime(9999, 12, 1, 12, 0, 0, 0)), "9999-12-01 13:00:00");
    EXPECT_EQ(localText(CbDateTime(30'827, 7, 1, 12, 0, 0, 0)), "30827-07-01 14:00:00");
    // The last Sunday of March 4000 is the 26th, as it was in 2000.
    EXPECT_EQ(localText(CbDateTime(4000, 3, 26, 0, 59, 59, 0)), "4000-03-26 01:59:59");
    EXPECT_EQ(localText(CbDateTime(4000, 3, 26, 1, 0, 0, 0)), "4000-03-26 03:00:00");
    EXPECT_EQ(universalText("4000-03-26 03:00:00"), "4000-03-26 01:00:00");
}

TEST_F(Zones, AreReadFromRulesToo)
{
    setZone("AAA-1BBB,M3.5.0,M10.5.0/3");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 31, 0, 59, 59, 0)), "2024-03-31 01:59:59");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 31, 1, 0, 0, 0)), "2024-03-31 03:00:00");
    setZone("<+0330>-3:30");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 31, 1, 0, 0, 0)), "2024-03-31 04:30:00");
    setZone("AAA3BBB,J60/0,J300/24");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 1, 2, 59, 59, 0)), "2024-02-29 23:59:59");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 1, 3, 0, 0, 0)), "2024-03-01 01:00:00");
    setZone("AAA3BBB,59/0,300");
    EXPECT_EQ(localText(CbDateTime(2024, 2, 29, 3, 0, 0, 0)), "2024-02-29 01:00:00");
    setZone("AAA3BBB");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 10, 5, 0, 0, 0)), "2024-03-10 03:00:00");
    // All the year in daylight saving time: each end is the next beginning.
    setZone("AAA3BBB2,0/0,J365/25");
    EXPECT_EQ(localText(CbDateTime(2024, 6, 1, 12, 0, 0, 0)), "2024-06-01 10:00:00");
    EXPECT_EQ(localText(CbDateTime(2024, 1, 1, 3, 0, 0, 0)), "2024-01-01 01:00:00");
    setZone("AAA3BBB4,0/0,J365/23");
    EXPECT_EQ(localText(CbDateTime(2024, 6, 1, 12, 0, 0, 0)), "2024-06-01 08:00:00");
}

TEST_F(Zones, AreUtcWhereThereIsNoSuchZone)
{
    for (char const* const name : {"", "Nowhere/At_All", "/etc/passwd", ":", "AAA", "AAA99", "AAA3BBB,M13.1.0,M1.1.0"})
    {
        setZone(name);
        EXPECT_EQ(localText(CbDateTime(2024, 6, 1, 12, 0, 0, 0)), "2024-06-01 12:00:00") << name;
    }
}

TEST_F(Zones, MayBeNamedByAPath)
{
    setZone("/usr/share/zoneinfo/Asia/Tokyo");
    EXPECT_EQ(localText(CbDateTime(2024, 6, 1, 12, 0, 0, 0)), "2024-06-01 21:00:00");
    setZone(":Asia/Tokyo");
    EXPECT_EQ(localText(CbDateTime(2024, 6, 1, 12, 0, 0, 0)), "2024-06-01 21:00:00");
}

TEST_F(Zones, MayCountLeapSeconds)
{
    if (!std::filesystem::exists(c_Folder / "right/America/New_York"))
    {
        GTEST_SKIP() << "newer zone databases come without the files that count leap seconds";
    }
    setZone("right/America/New_York");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 10, 6, 59, 59, 0)), "2024-03-10 01:59:59");
    EXPECT_EQ(localText(CbDateTime(2024, 3, 10, 7, 0, 0, 0)), "2024-03-10 03:00:00");
}
