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
} // namespace

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
