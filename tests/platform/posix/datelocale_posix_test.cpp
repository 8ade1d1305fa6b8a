// Dates in the user's locale. The build file runs this program in German, with locales made for the purpose.

#include <string>

#include "platform/platform.h"
#include "gtest/gtest.h"

namespace
{
std::wstring dateText(DWORD flags, wchar_t const* picture, SYSTEMTIME const& date)
{
    wchar_t text[128] = L"";
    EXPECT_GT(GetDateFormatW(LOCALE_USER_DEFAULT, flags, &date, picture, text, 128), 0);
    return text;
}

constexpr SYSTEMTIME c_March = {2024, 3, 0, 5, 0, 0, 0, 0};
} // namespace

TEST(DateLocale, HasTheUsersNames)
{
    EXPECT_EQ(dateText(0, L"dddd", c_March), L"Dienstag");
    EXPECT_EQ(dateText(0, L"ddd", c_March), L"Di");
    EXPECT_EQ(dateText(0, L"MMMM", c_March), L"M\u00E4rz");
    EXPECT_EQ(dateText(0, L"MMM", c_March), L"M\u00E4r");
}

TEST(DateLocale, HasTheUsersForms)
{
    EXPECT_EQ(dateText(DATE_LONGDATE, nullptr, c_March), L"Dienstag, 5. M\u00E4rz 2024");
    EXPECT_EQ(dateText(DATE_SHORTDATE, nullptr, c_March), L"05.03.2024");
}
