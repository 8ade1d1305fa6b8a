// Date-times in the user's locale. The build file runs this program in German, with locales made for the purpose.

#include <string>

#include <gtest/gtest.h>

#include "orvane/datetime/cbdatetime.h"

namespace
{
CbDateTime const c_March(2024, 3, 5, 13, 2, 3, 4); // a Tuesday

std::string shown(char const* format)
{
    return c_March.ToString(format, false).GetString();
}
} // namespace

TEST(CbDateTimeLocale, ShortensTheFullNameOfADay)
{
    EXPECT_EQ(shown("D"), "Die") << "the locale's own short name is Di";
    EXPECT_EQ(shown("l"), "Dienstag");
}

TEST(CbDateTimeLocale, HasTheUsersNamesOfMonths)
{
    EXPECT_EQ(shown("F"), "M\xC3\xA4rz");
    EXPECT_EQ(shown("M"), "M\xC3\xA4r");
    EXPECT_EQ(std::wstring(c_March.ToString(L"D, j. F Y", false)), L"Die, 5. M\u00E4rz 2024");
}

TEST(CbDateTimeLocale, KeepsItsOwnMarksOfHalfDays)
{
    EXPECT_EQ(shown("a A"), "pm PM");
}

TEST(CbDateTimeLocale, HasTheUsersFixedForms)
{
    EXPECT_EQ(std::wstring(c_March.ToString(CbDateTime::eLongDateTime, false)),
              L"Dienstag, 5. M\u00E4rz 2024 13:02:03");
    EXPECT_EQ(std::wstring(c_March.ToString(CbDateTime::eLongDate, false)), L"Dienstag, 5. M\u00E4rz 2024");
    EXPECT_EQ(std::wstring(c_March.ToString(CbDateTime::eShortDate, false)), L"05.03.2024");
}
