#include <filesystem>
#include <fstream>
#include <string>

#include "platform/platform.h"
#include "support/temporaryfolder.h"
#include "gtest/gtest.h"

namespace
{
constexpr FILETIME c_Marked = {0x11223344, 0x55667788};

FILETIME fileTime(unsigned __int64 ticks)
{
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

unsigned __int64 ticksOf(FILETIME const& time)
{
    return static_cast<unsigned __int64>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

// The last error of a conversion that is refused; 0 where it is not.
DWORD refusal(SYSTEMTIME const& time)
{
    FILETIME file = c_Marked;
    SetLastError(0);
    if (SystemTimeToFileTime(&time, &file))
    {
        return 0;
    }
    EXPECT_EQ(ticksOf(file), ticksOf(c_Marked)) << "the target stays";
    return GetLastError();
}

constexpr SYSTEMTIME c_Date = {2024, 12, 0, 31, 19, 5, 7, 0};

std::wstring dateText(DWORD flags, wchar_t const* picture, SYSTEMTIME const& date = c_Date)
{
    wchar_t text[128] = L"untouched";
    int const size = GetDateFormatW(LOCALE_USER_DEFAULT, flags, &date, picture, text, 128);
    EXPECT_EQ(static_cast<std::size_t>(size), std::wstring(text).size() + 1);
    return text;
}

std::wstring timeText(DWORD flags, wchar_t const* picture, SYSTEMTIME const& time = c_Date)
{
    wchar_t text[128] = L"untouched";
    int const size = GetTimeFormatW(LOCALE_USER_DEFAULT, flags, &time, picture, text, 128);
    EXPECT_EQ(static_cast<std::size_t>(size), std::wstring(text).size() + 1);
    return text;
}

HANDLE open(std::wstring const& path)
{
    return CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
}
} // namespace

TEST(FileTimeToSystemTime, SplitsTicksIntoFields)
{
    SYSTEMTIME time;
    FILETIME const file = fileTime(133'593'132'890'129'999);
    ASSERT_TRUE(FileTimeToSystemTime(&file, &time));
    EXPECT_EQ(time.wYear, 2024);
    EXPECT_EQ(time.wMonth, 5);
    EXPECT_EQ(time.wDayOfWeek, 6);
    EXPECT_EQ(time.wDay, 4);
    EXPECT_EQ(time.wHour, 16);
    EXPECT_EQ(time.wMinute, 21);
    EXPECT_EQ(time.wSecond, 29);
    EXPECT_EQ(time.wMilliseconds, 12);
}

TEST(FileTimeToSystemTime, RefusesTheUpperHalf)
{
    SYSTEMTIME time = c_Date;
    FILETIME const file = fileTime(1ull << 63);
    SetLastError(0);
    EXPECT_FALSE(FileTimeToSystemTime(&file, &time));
    EXPECT_EQ(GetLastError(), 87u);
    EXPECT_EQ(time.wYear, c_Date.wYear);
    FILETIME const last = fileTime((1ull << 63) - 1);
    ASSERT_TRUE(FileTimeToSystemTime(&last, &time));
    EXPECT_EQ(time.wYear, 30'828);
}

TEST(SystemTimeToFileTime, JoinsFieldsToTicks)
{
    SYSTEMTIME const time = {2024, 5, 77, 4, 16, 21, 29, 12};
    FILETIME file;
    ASSERT_TRUE(SystemTimeToFileTime(&time, &file));
    EXPECT_EQ(ticksOf(file), 133'593'132'890'120'000u);
}

// Days that the month does not have, and years from 30828 on, are left out: Wine takes them. See posix/.
TEST(SystemTimeToFileTime, RefusesFieldsOutOfRange)
{
    EXPECT_EQ(refusal({1600, 12, 0, 31, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 0, 0, 1, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 13, 0, 1, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 1, 0, 0, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 1, 0, 32, 0, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 1, 0, 1, 24, 0, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 1, 0, 1, 0, 60, 0, 0}), 87u);
    EXPECT_EQ(refusal({2024, 1, 0, 1, 0, 0, 60, 0}), 87u);
    EXPECT_EQ(refusal({2024, 1, 0, 1, 0, 0, 0, 1'000}), 87u);
    EXPECT_EQ(refusal({1601, 1, 0, 1, 0, 0, 0, 0}), 0u);
    EXPECT_EQ(refusal({2024, 2, 0, 29, 23, 59, 59, 999}), 0u);
}

// Names and forms in the locale that tests run in.
TEST(GetDateFormat, FollowsItsPicture)
{
    EXPECT_EQ(dateText(0, L"d dd ddd dddd"), L"31 31 Tue Tuesday");
    EXPECT_EQ(dateText(0, L"M MM MMM MMMM"), L"12 12 Dec December");
    EXPECT_EQ(dateText(0, L"yy yyyy"), L"24 2024");
    EXPECT_EQ(dateText(0, L"'day' d'' 'it''s' /-:x"), L"day 31 it's /-:x");
    SYSTEMTIME const early = {2005, 3, 6, 4, 0, 0, 0, 0};
    EXPECT_EQ(dateText(0, L"d dd M MM yy", early), L"4 04 3 03 05");
    EXPECT_EQ(dateText(0, L"dddd", early), L"Friday") << "whatever the day of the week in the record";
}

TEST(GetDateFormat, HasALongAndAShortForm)
{
    EXPECT_EQ(dateText(DATE_LONGDATE, nullptr), L"Tuesday, December 31, 2024");
    EXPECT_EQ(dateText(DATE_SHORTDATE, nullptr), L"12/31/2024");
    EXPECT_EQ(dateText(0, nullptr), L"12/31/2024");
}

TEST(GetDateFormat, RefusesWhatItCannotDo)
{
    wchar_t text[16];
    SetLastError(0);
    EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &c_Date, L"MMMM", text, 8), 0);
    EXPECT_EQ(GetLastError(), 122u);
    EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &c_Date, L"MMMM", text, 9), 9);
    EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &c_Date, L"MMMM", nullptr, 0), 9);
    SetLastError(0);
    EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, DATE_LONGDATE, &c_Date, L"MMMM", text, 16), 0);
    EXPECT_EQ(GetLastError(), 1004u);
    SYSTEMTIME const noDate = {2024, 13, 0, 1, 0, 0, 0, 0};
    SetLastError(0);
    EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &noDate, L"MMMM", text, 16), 0);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(GetTimeFormat, FollowsItsPicture)
{
    EXPECT_EQ(timeText(0, L"h hh H HH m mm s ss"), L"7 07 19 19 5 05 7 07");
    EXPECT_EQ(timeText(0, L"t tt"), L"P PM");
    EXPECT_EQ(timeText(TIME_FORCE24HOURFORMAT, L"hh:mm:ss"), L"19:05:07");
    SYSTEMTIME const midnight = {2024, 12, 0, 31, 0, 0, 0, 0};
    EXPECT_EQ(timeText(0, L"h tt", midnight), L"12 AM");
    EXPECT_EQ(timeText(TIME_FORCE24HOURFORMAT, L"hh:mm:ss", midnight), L"00:00:00");
}

TEST(GetTimeFormat, RefusesATimeThatIsNone)
{
    wchar_t text[16];
    SYSTEMTIME const noTime = {2024, 12, 0, 31, 24, 0, 0, 0};
    SetLastError(0);
    EXPECT_EQ(GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &noTime, L"hh", text, 16), 0);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(CreateFileForReading, GivesAHandleThatTellsTimes)
{
    TemporaryFolder const folder;
    std::ofstream(folder.path() / "file") << "content";
    HANDLE const file = open((folder.path() / "file").wstring());
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    FILETIME creation = c_Marked;
    FILETIME access = c_Marked;
    FILETIME write = c_Marked;
    EXPECT_TRUE(GetFileTime(file, &creation, &access, &write));
    EXPECT_NE(ticksOf(creation), ticksOf(c_Marked));
    EXPECT_NE(ticksOf(access), ticksOf(c_Marked));
    EXPECT_NE(ticksOf(write), ticksOf(c_Marked));
    FILETIME again = c_Marked;
    EXPECT_TRUE(GetFileTime(file, nullptr, nullptr, &again));
    EXPECT_EQ(ticksOf(again), ticksOf(write));
    EXPECT_TRUE(CloseHandle(file));
    SetLastError(0);
    EXPECT_FALSE(GetFileTime(file, &creation, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), 6u);
}

TEST(CreateFileForReading, TellsWhyItFails)
{
    TemporaryFolder const folder;
    SetLastError(0);
    EXPECT_EQ(open((folder.path() / "missing").wstring()), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), 2u);
    SetLastError(0);
    EXPECT_EQ(open((folder.path() / "no-folder" / "missing").wstring()), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), 3u);
    SetLastError(0);
    EXPECT_EQ(open(folder.path().wstring()), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), 5u);
    SetLastError(0);
    EXPECT_EQ(open(L""), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), 3u);
}

TEST(GetFileTime, RefusesOtherHandles)
{
    HANDLE const event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    FILETIME time = c_Marked;
    SetLastError(0);
    EXPECT_FALSE(GetFileTime(nullptr, &time, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_FALSE(GetFileTime(event, &time, nullptr, nullptr));
    EXPECT_EQ(ticksOf(time), ticksOf(c_Marked));
    CloseHandle(event);
}
