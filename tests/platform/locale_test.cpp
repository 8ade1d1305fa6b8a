#include <cerrno>
#include <clocale>
#include <cmath>
#include <ostream>
#include <string>

#include "platform/platform.h"
#include "support/germanlocale.h"
#include "gtest/gtest.h"

namespace
{
struct SNumber
{
    char const* name;
    char const* text;
    double value;
    char const* rest;
};

void PrintTo(SNumber const& number, std::ostream* out)
{
    *out << number.name;
}

constexpr SNumber c_Numbers[] = {
    {"Whole", "12", 12, ""},
    {"LeadingZeros", "00012", 12, ""},
    {"Fraction", "1.5", 1.5, ""},
    {"FractionOnly", "-.5", -0.5, ""},
    {"RadixAtTheEnd", "1.", 1, ""},
    {"Plus", "+7", 7, ""},
    {"Blanks", " \t\n\v\f\r7", 7, ""},
    {"Exponent", "  1.5e3z", 1500, "z"},
    {"ExponentWithSign", "15E-1", 1.5, ""},
    {"ExponentWithPlus", "1e+2", 100, ""},
    {"ExponentByD", "1d5", 100000, ""},
    {"ExponentByCapitalD", "1D5x", 100000, "x"},
    {"ExponentWithoutDigits", "1e", 1, "e"},
    {"ExponentWithoutDigitsBehindSign", "1e+", 1, "e+"},
    {"Suffix", "1.5f", 1.5, "f"},
    {"Comma", "1,5", 1, ",5"},
    {"Second", "1.5.5", 1.5, ".5"},
    {"Hexadecimal", "0x10", 0, "x10"},
    {"Infinity", "inf", 0, "inf"},
    {"NegativeInfinity", "-infinity", 0, "-infinity"},
    {"Nan", "nan", 0, "nan"},
    {"Empty", "", 0, ""},
    {"BlanksOnly", "  ", 0, "  "},
    {"SignOnly", "-", 0, "-"},
    {"RadixOnly", ".", 0, "."},
    {"ExponentOnly", "e5", 0, "e5"},
    {"NoNumberBehindBlanks", "  x", 0, "  x"},
    {"Accurate", "0.1", 0.1, ""},
    {"MostDigits", "17976931348623157e292", 17976931348623157e292, ""},
    {"Longest",
     "1."
     "0000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
     "000000000000000000000000000000000000000000000000000000000000000000",
     1, ""},
};

class NumberText : public testing::TestWithParam<SNumber>
{
};

std::string getName(testing::TestParamInfo<SNumber> const& info)
{
    return info.param.name;
}
} // namespace

TEST_P(NumberText, IsReadUpToItsEnd)
{
    char* end = nullptr;
    EXPECT_EQ(_strtod_l(GetParam().text, &end, nullptr), GetParam().value);
    EXPECT_STREQ(end, GetParam().rest);
}

TEST_P(NumberText, IsReadFromWideTextUpToItsEnd)
{
    const std::string narrow = GetParam().text;
    const std::string rest = GetParam().rest;
    const std::wstring wide(narrow.begin(), narrow.end());
    wchar_t* end = nullptr;
    EXPECT_EQ(_wcstod_l(wide.c_str(), &end, nullptr), GetParam().value);
    EXPECT_EQ(end, std::wstring(rest.begin(), rest.end()));
}

TEST_P(NumberText, IsReadInTheCLocale)
{
    const Locale plain(_create_locale(LC_ALL, "C"));
    ASSERT_TRUE(plain);
    EXPECT_EQ(_strtod_l(GetParam().text, nullptr, plain.get()), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Rows, NumberText, testing::ValuesIn(c_Numbers), getName);

TEST(NumberText, BeyondADoubleGivesInfinityAndARangeError)
{
    char* end = nullptr;
    errno = 0;
    EXPECT_EQ(_strtod_l("-1e999x", &end, nullptr), -HUGE_VAL);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_STREQ(end, "x");
    errno = 0;
    EXPECT_EQ(_wcstod_l(L"1e999", nullptr, nullptr), HUGE_VAL);
    EXPECT_EQ(errno, ERANGE);
}

TEST(NumberText, BelowADoubleGivesZeroAndARangeError)
{
    errno = 0;
    EXPECT_EQ(_strtod_l("1e-999", nullptr, nullptr), 0);
    EXPECT_EQ(errno, ERANGE);
}

TEST(NumberText, OfNullGivesZeroAndAnArgumentError)
{
    char* end = nullptr;
    errno = 0;
    EXPECT_EQ(_strtod_l(nullptr, &end, nullptr), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(end, nullptr);
}

TEST(NumberText, HasWideBlanksBeforeIt)
{
    wchar_t* end = nullptr;
    wchar_t const* const text = L"\u00A0\u30007";
    EXPECT_EQ(_wcstod_l(text, &end, nullptr), 7);
    EXPECT_EQ(end, text + 3);
}

TEST(CreateLocale, KnowsTheCLocaleAndTheUsersLocale)
{
    EXPECT_TRUE(Locale(_create_locale(LC_ALL, "C")));
    EXPECT_TRUE(Locale(_create_locale(LC_ALL, "")));
    EXPECT_TRUE(Locale(_create_locale(LC_NUMERIC, "C")));
}

TEST(CreateLocale, GivesNullForAnUnknownName)
{
    EXPECT_EQ(_create_locale(LC_ALL, "nonsense_XX"), nullptr);
    EXPECT_EQ(_create_locale(LC_ALL, "qq-QQ"), nullptr);
    EXPECT_EQ(_create_locale(LC_ALL, "-"), nullptr);
}

TEST(CreateLocale, GivesNullForANullNameOrAnUnknownCategory)
{
    EXPECT_EQ(_create_locale(LC_ALL, nullptr), nullptr);
    EXPECT_EQ(_create_locale(99, "C"), nullptr);
    EXPECT_EQ(_create_locale(-1, "C"), nullptr);
}

TEST(FreeLocale, DoesNoHarmWithNull)
{
    _free_locale(nullptr);
}

TEST(GermanLocale, ReadsAndWritesACommaForTheRadixMark)
{
    char const* const name = findGermanName();
    if (name == nullptr)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    const Locale german(_create_locale(LC_ALL, name));
    char buffer[32];
    EXPECT_EQ(_snprintf_l(buffer, 32, "%.2f|%d", german.get(), 1.5, 7), 6);
    EXPECT_STREQ(buffer, "1,50|7");
    char* end = nullptr;
    EXPECT_EQ(_strtod_l("1,5x", &end, german.get()), 1.5);
    EXPECT_STREQ(end, "x");
    EXPECT_EQ(_strtod_l("1.5", &end, german.get()), 1);
    EXPECT_STREQ(end, ".5");
    wchar_t* wideEnd = nullptr;
    EXPECT_EQ(_wcstod_l(L"1,5x", &wideEnd, german.get()), 1.5);
    EXPECT_STREQ(wideEnd, L"x");
}

TEST(GermanLocale, LeavesTheCurrentLocaleAsItIs)
{
    char const* const name = findGermanName();
    if (name == nullptr)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    const Locale german(_create_locale(LC_ALL, name));
    char buffer[32];
    _snprintf_l(buffer, 32, "%.2f", german.get(), 1.5);
    EXPECT_EQ(_snprintf_l(buffer, 32, "%.2f", nullptr, 1.5), 4);
    EXPECT_STREQ(buffer, "1.50");
}

TEST(CurrentLocale, IsTakenForNullAndByTheOtherFunctions)
{
    char const* const name = findGermanName();
    if (name == nullptr)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    std::setlocale(LC_NUMERIC, name);
    char buffer[32];
    _snprintf_l(buffer, 32, "%.2f", nullptr, 1.5);
    EXPECT_STREQ(buffer, "1,50");
    _snprintf(buffer, 32, "%.2f", 1.5);
    EXPECT_STREQ(buffer, "1,50");
    wchar_t wide[32];
    _snwprintf(wide, 32, L"%.2f", 1.5);
    EXPECT_STREQ(wide, L"1,50");
    EXPECT_EQ(_strtod_l("1,5", nullptr, nullptr), 1.5);
    std::setlocale(LC_NUMERIC, "C");
}

TEST(CurrentLocale, IsCopiedWhenItIsAskedFor)
{
    char const* const name = findGermanName();
    if (name == nullptr)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    std::setlocale(LC_NUMERIC, name);
    const Locale german(_get_current_locale());
    std::setlocale(LC_NUMERIC, "C");
    const Locale plain(_get_current_locale());
    ASSERT_TRUE(german);
    ASSERT_TRUE(plain);
    EXPECT_EQ(_strtod_l("1,5", nullptr, german.get()), 1.5);
    EXPECT_EQ(_strtod_l("1,5", nullptr, plain.get()), 1);
}

TEST(LocaleFormatting, FollowsTheRulesOfRoom)
{
    char buffer[8] = "#######";
    EXPECT_EQ(_snprintf_l(buffer, 3, "%d", nullptr, 12345), -1);
    EXPECT_STREQ(buffer, "123####");
    EXPECT_EQ(_snprintf_l(buffer, 5, "%d", nullptr, 12345), 5);
    EXPECT_STREQ(buffer, "12345##");
    EXPECT_EQ(_snprintf_l(buffer, 8, nullptr, nullptr), -1);
}
