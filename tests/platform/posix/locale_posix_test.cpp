// Names of this system, and marks that no locale of the other target's C runtime has.

#include <cerrno>
#include <clocale>

#include "platform/platform.h"
#include "gtest/gtest.h"

TEST(CreateLocaleOnLinux, SaysWhyInErrno)
{
    errno = 0;
    EXPECT_EQ(_create_locale(LC_ALL, "nonsense_XX"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(_create_locale(LC_ALL, "qq-QQ"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(_create_locale(LC_ALL, nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(_create_locale(99, "C"), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST(CreateLocaleOnLinux, TakesALanguageTagForTheSystemsName)
{
    const _locale_t byName = _create_locale(LC_ALL, "de_DE.UTF-8");
    if (byName == nullptr)
    {
        GTEST_SKIP() << "this machine has no locale de_DE.UTF-8";
    }
    _free_locale(byName);
    const _locale_t byTag = _create_locale(LC_ALL, "de-DE");
    ASSERT_NE(byTag, nullptr);
    EXPECT_EQ(_strtod_l("1,5", nullptr, byTag), 1.5);
    _free_locale(byTag);
}

TEST(CreateLocaleOnLinux, LeavesTheOtherCategoriesAsInC)
{
    const _locale_t times = _create_locale(LC_TIME, "de_DE.UTF-8");
    if (times == nullptr)
    {
        GTEST_SKIP() << "this machine has no locale de_DE.UTF-8";
    }
    EXPECT_EQ(_strtod_l("1.5", nullptr, times), 1.5);
    _free_locale(times);
}

TEST(RadixMarkOnLinux, MayTakeSeveralBytes)
{
    const _locale_t pashto = _create_locale(LC_ALL, "ps_AF.UTF-8");
    if (pashto == nullptr)
    {
        GTEST_SKIP() << "this machine has no locale ps_AF.UTF-8";
    }
    char narrow[32];
    EXPECT_EQ(_snprintf_l(narrow, 32, "%6.1f|", pashto, 1.5), 7);
    EXPECT_STREQ(narrow, "  1\xD9\xAB"
                         "5|");
    wchar_t wide[32];
    EXPECT_EQ(_snwprintf_l(wide, 32, L"%6.1f|", pashto, 1.5), 7);
    EXPECT_STREQ(wide, L"   1\u066B"
                       L"5|");
    char* end = nullptr;
    EXPECT_EQ(_strtod_l("1\xD9\xAB"
                        "5x",
                        &end, pashto),
              1.5);
    EXPECT_STREQ(end, "x");
    EXPECT_EQ(_strtod_l("1\xD9", &end, pashto), 1);
    EXPECT_STREQ(end, "\xD9");
    wchar_t* wideEnd = nullptr;
    EXPECT_EQ(_wcstod_l(L"1\u066B"
                        L"5x",
                        &wideEnd, pashto),
              1.5);
    EXPECT_STREQ(wideEnd, L"x");
    _free_locale(pashto);
}
