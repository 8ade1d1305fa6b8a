#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/platform.h"
#include "support/temporaryfolder.h"
#include "gtest/gtest.h"

namespace
{
DWORD refusal(SYSTEMTIME const& time)
{
    FILETIME file = {1, 2};
    SetLastError(0);
    return SystemTimeToFileTime(&time, &file) ? 0 : GetLastError();
}

constexpr unsigned __int64 c_TicksADay = 864'000'000'000;
constexpr unsigned __int64 c_LastTick = 0x7FFFFFFFFFFFFFFF;

SYSTEMTIME fieldsOf(unsigned __int64 ticks)
{
    FILETIME const file = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME time = {};
    FileTimeToSystemTime(&file, &time);
    return time;
}

unsigned __int64 ticksOf(SYSTEMTIME const& time)
{
    FILETIME file = {};
    SystemTimeToFileTime(&time, &file);
    return static_cast<unsigned __int64>(file.dwHighDateTime) << 32 | file.dwLowDateTime;
}

bool areSame(SYSTEMTIME const& a, SYSTEMTIME const& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// The day after `date`, counted on the fingers.
SYSTEMTIME nextDay(SYSTEMTIME date)
{
    static constexpr WORD s_days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool const isLeapYear = date.wYear % 400 == 0 || (date.wYear % 4 == 0 && date.wYear % 100 != 0);
    WORD const days = date.wMonth == 2 && isLeapYear ? WORD(29) : s_days[date.wMonth - 1];
    date.wDayOfWeek = static_cast<WORD>((date.wDayOfWeek + 1) % 7);
    if (++date.wDay > days)
    {
        date.wDay = 1;
        if (++date.wMonth > 12)
        {
            date.wMonth = 1;
            ++date.wYear;
        }
    }
    return date;
}
} // namespace

TEST(FileTimeToSystemTimePosix, KnowsEveryDayThatThereIs)
{
    SYSTEMTIME date = {1601, 1, 1, 1, 0, 0, 0, 0};
    for (unsigned __int64 ticks = 0; ticks <= c_LastTick; ticks += c_TicksADay)
    {
        ASSERT_TRUE(areSame(fieldsOf(ticks), date)) << date.wYear << '-' << date.wMonth << '-' << date.wDay;
        if (date.wYear <= 30827)
        {
            ASSERT_EQ(ticksOf(date), ticks);
        }
        SYSTEMTIME end = date;
        end.wHour = 23;
        end.wMinute = 59;
        end.wSecond = 59;
        end.wMilliseconds = 999;
        if (ticks + c_TicksADay <= c_LastTick)
        {
            ASSERT_TRUE(areSame(fieldsOf(ticks + c_TicksADay - 1), end)) << ticks;
        }
        date = nextDay(date);
    }
    EXPECT_EQ(date.wYear, 30828);
}

TEST(FileTimeToSystemTimePosix, CutsTicksToTheMillisecondBelow)
{
    constexpr unsigned __int64 c_LastDay = c_LastTick / c_TicksADay - 1;
    constexpr unsigned int c_Step = 97; // milliseconds
    for (unsigned __int64 const day : {0ull, 1ull, 154'000ull, c_LastDay})
    {
        for (unsigned int millisecond = 0; millisecond < 86'400'000; millisecond += c_Step)
        {
            SYSTEMTIME expected = fieldsOf(day * c_TicksADay);
            expected.wHour = static_cast<WORD>(millisecond / 3'600'000);
            expected.wMinute = static_cast<WORD>(millisecond / 60'000 % 60);
            expected.wSecond = static_cast<WORD>(millisecond / 1000 % 60);
            expected.wMilliseconds = static_cast<WORD>(millisecond % 1000);
            unsigned __int64 const ticks = day * c_TicksADay + millisecond * 10'000ull;
            ASSERT_TRUE(areSame(fieldsOf(ticks), expected)) << ticks;
            ASSERT_TRUE(areSame(fieldsOf(ticks + 9'999), expected)) << ticks;
        }
    }
    EXPECT_TRUE(areSame(fieldsOf(c_LastTick), {30828, 9, 4, 14, 2, 48, 5, 477}));
}

TEST(SystemTimeToFileTimePosix, RefusesDaysThatTheMonthDoesNotHave)
{
    EXPECT_EQ(refusal({2023, 2, 0, 29, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 2, 0, 30, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({1900, 2, 0, 29, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 4, 0, 31, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({30'828, 1, 0, 1, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({30'827, 12, 0, 31, 23, 59, 59, 999}), 0u);
}

TEST(TimesPosix, RefuseNullPointers)
{
    SYSTEMTIME time = {2024, 1, 0, 1, 0, 0, 0, 0};
    FILETIME file = {};
    EXPECT_FALSE(SystemTimeToFileTime(nullptr, &file));
    EXPECT_FALSE(SystemTimeToFileTime(&time, nullptr));
    EXPECT_FALSE(FileTimeToSystemTime(nullptr, &time));
    EXPECT_FALSE(FileTimeToSystemTime(&file, nullptr));
    SetLastError(0);
    EXPECT_FALSE(SystemTimeToTzSpecificLocalTime(nullptr, nullptr, &time));
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(TimesPosix, KnowNoZoneButTheCurrentOne)
{
    SYSTEMTIME const time = {2024, 1, 0, 1, 0, 0, 0, 0};
    SYSTEMTIME moved;
    auto const* const zone = reinterpret_cast<TIME_ZONE_INFORMATION const*>(&time);
    SetLastError(0);
    EXPECT_FALSE(SystemTimeToTzSpecificLocalTime(zone, &time, &moved));
    EXPECT_EQ(GetLastError(), 50u);
    SetLastError(0);
    EXPECT_FALSE(TzSpecificLocalTimeToSystemTime(zone, &time, &moved));
    EXPECT_EQ(GetLastError(), 50u);
}

TEST(DateFormatPosix, RefusesOtherLocalesAndFlags)
{
    wchar_t text[64];
    SYSTEMTIME const date = {2024, 1, 0, 1, 0, 0, 0, 0};
    SetLastError(0);
    EXPECT_EQ(GetDateFormatW(0x407, 0, &date, nullptr, text, 64), 0);
    EXPECT_EQ(GetLastError(), 87u);
    SetLastError(0);
    EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0x20, &date, nullptr, text, 64), 0);
    EXPECT_EQ(GetLastError(), 1004u);
    SetLastError(0);
    EXPECT_EQ(GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &date, nullptr, text, 64), 0);
    EXPECT_EQ(GetLastError(), 50u);
    SetLastError(0);
    EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &date, nullptr, nullptr, 64), 0);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(CreateFilePosix, RefusesWhatItDoesNotSupport)
{
    auto const refusalOf = [](DWORD access, DWORD share, DWORD disposition, DWORD flags)
    {
        SetLastError(0);
        EXPECT_EQ(CreateFileW(L"/dev/null", access, share, nullptr, disposition, flags, nullptr), INVALID_HANDLE_VALUE);
        return GetLastError();
    };
    EXPECT_EQ(refusalOf(0x40000000, FILE_SHARE_READ, OPEN_EXISTING, 0), 50u);
    EXPECT_EQ(refusalOf(GENERIC_READ, 2, OPEN_EXISTING, 0), 50u);
    EXPECT_EQ(refusalOf(GENERIC_READ, FILE_SHARE_READ, 2, 0), 50u);
    EXPECT_EQ(refusalOf(GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, 0x80), 50u);
}

TEST(CreateFilePosix, DoesNotWaitForAPipe)
{
    TemporaryFolder const folder;
    ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    HANDLE const file = CreateFileW((folder.path() / "pipe").wstring().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(CloseHandle(file));
}

TEST(CreateFilePosix, GivesAHandleThatCannotBeWaitedOn)
{
    HANDLE const file = CreateFileW(L"/dev/null", GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(file, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_FALSE(SetEvent(file));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    EXPECT_FALSE(Thread32First(file, &entry));
    EXPECT_TRUE(CloseHandle(file));
}

TEST(CreateFilePosix, TakesNamesOutsideAscii)
{
    TemporaryFolder const folder;
    std::ofstream(folder.path() / "\xC3\xA4\xF0\x9F\x98\x80") << "content";
    HANDLE const file = CreateFileW((folder.path().wstring() + L"/\u00E4\U0001F600").c_str(), GENERIC_READ,
                                    FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(file, INVALID_HANDLE_VALUE);
    CloseHandle(file);
}

TEST(GetFileTimePosix, RefusesOnlyWhatIsAskedFor)
{
    if (!std::filesystem::exists("/dev/shm"))
    {
        GTEST_SKIP() << "no file system in memory at /dev/shm";
    }
    TemporaryFolder const folder("/dev/shm");
    auto const path = folder.path() / "file";
    std::ofstream(path) << "content";
    constexpr __int64 c_Beyond = 910'692'730'086; // a second more than ticks of 63 bits count
    timespec const times[] = {{86'400, 0}, {c_Beyond, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    if (status.st_mtim.tv_sec != c_Beyond)
    {
        GTEST_SKIP() << "the file system at /dev/shm keeps no such times";
    }
    HANDLE const file =
        CreateFileW(path.wstring().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    FILETIME access = {1, 2};
    FILETIME write = {3, 4};
    SetLastError(0);
    EXPECT_FALSE(GetFileTime(file, nullptr, &access, &write));
    EXPECT_EQ(GetLastError(), 534u);
    EXPECT_EQ(access.dwLowDateTime, 1u);
    EXPECT_EQ(write.dwLowDateTime, 3u);
    EXPECT_TRUE(GetFileTime(file, nullptr, &access, nullptr));
    CloseHandle(file);
}

TEST(GetFileTimePosix, GivesTheCreationTimeOfTheFileSystem)
{
    TemporaryFolder const folder;
    auto const path = folder.path() / "file";
    std::ofstream(path) << "content";
    // The time of the last write goes back by years; the creation time does not where the file system keeps one.
    timespec const times[] = {{86'400, 0}, {86'400, 123'456'700}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    HANDLE const file =
        CreateFileW(path.wstring().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    FILETIME creation = {};
    FILETIME access = {};
    FILETIME write = {};
    ASSERT_TRUE(GetFileTime(file, &creation, &access, &write));
    CloseHandle(file);
    auto const ticks = [](FILETIME const& time)
    { return static_cast<unsigned __int64>(time.dwHighDateTime) << 32 | time.dwLowDateTime; };
    EXPECT_EQ(ticks(write), 116'445'600'001'234'567u);
    EXPECT_EQ(ticks(access), 116'445'600'000'000'000u);
    struct statx status = {};
    ASSERT_EQ(statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &status), 0);
    if ((status.stx_mask & STATX_BTIME) != 0)
    {
        EXPECT_EQ(ticks(creation),
                  static_cast<unsigned __int64>(status.stx_btime.tv_sec + 11'644'473'600) * 10'000'000 +
                      status.stx_btime.tv_nsec / 100);
    }
    else
    {
        EXPECT_EQ(ticks(creation), ticks(write));
    }
}
