// Conversions between the widths by UTF-8, widths of this target, and cases that Wine and Windows treat differently.

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include "platform/formatcalls.h"
#include "platform/platform.h"
#include "gtest/gtest.h"

using formatcalls::countText;
using formatcalls::text;
using formatcalls::widen;
using formatcalls::writeText;

TEST(FormattingOnLinux, ConvertsBetweenTheWidthsByUtf8)
{
    EXPECT_EQ(text("%S|%ls|%C", L"gr\u00FCn", L"\U0001F600", L'\u20AC'), "gr\xC3\xBCn|\xF0\x9F\x98\x80|\xE2\x82\xAC");
    EXPECT_EQ(text(L"%S|%hs|%s", "gr\xC3\xBCn", "\xF0\x9F\x98\x80", L"\u20AC"), L"gr\u00FCn|\U0001F600|\u20AC");
}

TEST(FormattingOnLinux, ReplacesWhatCannotBeConverted)
{
    const wchar_t surrogate[] = {static_cast<wchar_t>(0xD800), 0};
    EXPECT_EQ(text("%S", surrogate), "\xEF\xBF\xBD");
    EXPECT_EQ(text(L"%S|%C", "\xFF", '\xE9'), L"\uFFFD|\uFFFD");
}

TEST(FormattingOnLinux, PadsByTheCharactersOfTheResult)
{
    EXPECT_EQ(text("%4S|%-4S|", L"\u00FC", L"\u00FC"), "  \xC3\xBC|\xC3\xBC  |");
    EXPECT_EQ(text(L"%4S|%-4S|", "\xC3\xBC", "\xC3\xBC"), L"   \u00FC|\u00FC   |");
}

TEST(FormattingOnLinux, CutsByTheCharactersOfTheArgument)
{
    EXPECT_EQ(text("%.2S", L"\u00FC\u00FC\u00FC"), "\xC3\xBC\xC3\xBC");
    EXPECT_EQ(text(L"%.2S", "\xC3\xBC\xC3\xBC"), L"\u00FC");
}

TEST(FormattingOnLinux, LeavesOutASequenceThatTheCutDivides)
{
    EXPECT_EQ(text(L"%.3S|", "\xC3\xBC\xC3\xBC"), L"\u00FC|");
    EXPECT_EQ(text(L"%.2S|", "\xE2\x82\xAC"), L"|");
    EXPECT_EQ(text(L"%.4S|", "a\xF0\x9F\x98\x80"), L"a|");
    EXPECT_EQ(text(L"%.1S|", "\xFFz"), L"\uFFFD|");
    EXPECT_EQ(text(L"%.9S|", "a\xE2\x82"), L"a\uFFFD|");
}

TEST(FormattingOnLinux, ReadsNoFurtherThanThePrecision)
{
    const char narrow[] = {'a', 'b', 'c'};
    const wchar_t wide[] = {L'a', L'b', L'c'};
    EXPECT_EQ(text("%.3s|%.3S", narrow, wide), "abc|abc");
    EXPECT_EQ(text(L"%.3s|%.3S", wide, narrow), L"abc|abc");
}

TEST(FormattingOnLinux, TakesALongOfThisTarget)
{
    EXPECT_EQ(text("%ld %lu %lx", LONG_MIN, ULONG_MAX, 0x123456789ABCDEFL),
              "-9223372036854775808 18446744073709551615 123456789abcdef");
}

TEST(FormattingOnLinux, TakesALongDouble)
{
    EXPECT_EQ(text("%Lf %d", 1.5L, 7), "1.500000 7");
    EXPECT_EQ(text("%Lg", std::numeric_limits<long double>::max()), "1.18973e+4932");
    const std::string largest = text("%.3Lf", std::numeric_limits<long double>::max());
    EXPECT_EQ(largest.size(), 4933u + 4u);
    char expected[5000];
    std::snprintf(expected, sizeof expected, "%.3Lf", std::numeric_limits<long double>::max());
    EXPECT_EQ(largest, expected);
}

TEST(FormattingOnLinux, SwitchesTheZeroFlagOffByAPrecision)
{
    EXPECT_EQ(text("%08.3d|%08.3x|%08.0d", 5, 5, 0), "     005|     005|        ");
}

// Wine writes "0." for it.
TEST(FormattingOnLinux, TakesANegativePrecisionForTheUsualOne)
{
    EXPECT_EQ(text("%.*f %.*e %.*a", -2, 1.0, -1, 1.0, -1, 1.0), "1.000000 1.000000e+000 0x1.0000000000000p+0");
}

TEST(FormattingOnLinux, MarksAnOctalZeroOfNoDigits)
{
    EXPECT_EQ(text("%#.0o %#.1o %#.2o %#08o", 0, 8, 8, 8), "0 010 010 00000010");
}

TEST(FormattingOnLinux, WritesAPointerInFullWhateverThePrecision)
{
    EXPECT_EQ(text("%.4p", reinterpret_cast<void*>(0x1F)), "000000000000001F");
}

TEST(FormattingOnLinux, WritesInfinityAndNanAsTheCLibraryDoes)
{
    EXPECT_EQ(text("%f %E %08g|%-5f|%+f", HUGE_VAL, HUGE_VAL, HUGE_VAL, HUGE_VAL, HUGE_VAL),
              "inf INF      inf|inf  |+inf");
    EXPECT_EQ(text("%f %G", std::nan(""), std::nan("")), "nan NAN");
}

TEST(FormattingOnLinux, FillsAHexadecimalNumberBehindItsMark)
{
    EXPECT_EQ(text("%024a|%-24a|", -1.0, 1.0), "-0x0001.0000000000000p+0|0x1.0000000000000p+0    |");
}

TEST(FormattingOnLinux, WritesEveryDigitAskedFor)
{
    const std::string fraction = "5" + std::string(1999, '0');
    EXPECT_EQ(text("%.2000f", 0.5), "0." + fraction);
    EXPECT_EQ(text("%.2000e", 0.5), "5." + std::string(2000, '0') + "e-001");
    EXPECT_EQ(text("%.2000g", 0.5), "0.5");
    EXPECT_EQ(text("%#.2000g", 0.5), "0." + fraction);
    char expected[1200];
    std::snprintf(expected, sizeof expected, "%.1080f", std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(text("%.1080f", std::numeric_limits<double>::denorm_min()), expected);
}

TEST(FormattingOnLinux, RefusesToWriteThroughAnArgument)
{
    int untouched = 77;
    char narrow[8] = "#######";
    wchar_t wide[8] = L"#######";
    errno = 0;
    EXPECT_EQ(countText("a%nb", &untouched), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(writeText(narrow, 8, "a%nb", &untouched), -1);
    EXPECT_EQ(writeText(wide, 8, L"a%10lnb", &untouched), -1);
    EXPECT_EQ(untouched, 77);
}

TEST(FormattingOnLinux, RefusesARoomWithoutABuffer)
{
    errno = 0;
    EXPECT_EQ(writeText(static_cast<char*>(nullptr), 5, "abc"), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(FormattingOnLinux, FailsForATextThatAnIntCannotCount)
{
    for (char const* const format : {"%2147483647d!", "%99999999999d", "%.99999999999f", "%2147483647d%2147483647d"})
    {
        errno = 0;
        EXPECT_EQ(countText(format, 1, 1), -1) << format;
        EXPECT_EQ(errno, EOVERFLOW) << format;
    }
    EXPECT_EQ(countText("%*d", INT_MIN, 1), -1);
    EXPECT_EQ(countText("%2147483647d", 1), INT_MAX);
    EXPECT_EQ(countText("%.2147483645f", 1.0), INT_MAX);
}

TEST(FormattingOnLinux, AgreesWithTheCLibraryOnNumbersWithoutATie)
{
    std::mt19937_64 random(20240601);
    for (int round = 0; round < 20'000; ++round)
    {
        // A full mantissa has too many digits for a tie at any of these precisions.
        const auto mantissa = static_cast<double>((random() >> 12) | 1) + 4503599627370496.0;
        const double value = std::ldexp(mantissa, static_cast<int>(random() % 80) - 110);
        const int precision = static_cast<int>(random() % 12);
        char expected[128];
        std::snprintf(expected, sizeof expected, "%.*f", precision, value);
        ASSERT_EQ(text("%.*f", precision, value), expected) << value;
        std::snprintf(expected, sizeof expected, "%+#20.*G", precision, value);
        std::string general = text("%+#20.*G", precision, value);
        if (const std::size_t exponent = general.find('E'); exponent != std::string::npos)
        {
            // Two digits there, three here: with the width kept, a blank less in front.
            ASSERT_EQ(general[exponent + 2], '0');
            general.erase(exponent + 2, 1);
            general.insert(0, general[0] == ' ' || general.size() < 20 ? 1 : 0, ' ');
        }
        ASSERT_EQ(general, expected) << value;
    }
}

TEST(FormattingOnLinux, AgreesWithTheCLibraryOnIntegers)
{
    std::mt19937_64 random(20240602);
    constexpr std::string_view letters = "dixXou";
    for (int round = 0; round < 20'000; ++round)
    {
        std::string flags = "%";
        const auto pick = random();
        flags += pick & 1 ? "-" : "";
        flags += pick & 2 ? "0" : "";
        flags += pick & 4 ? "#" : "";
        flags += pick & 8 ? "+" : "";
        flags += pick & 16 ? " " : "";
        flags += pick & 32 ? std::to_string(pick >> 8 & 31) : "";
        flags += pick & 64 ? "." + std::to_string(pick >> 16 & 15) : "";
        const std::string letter(1, letters[pick % letters.size()]);
        const long long value = static_cast<long long>(random()) >> (random() % 64);
        char expected[128];
        // gcc would check a literal; the format is made here.
        std::snprintf(expected, sizeof expected, (flags + "ll" + letter).c_str(), value);
        ASSERT_EQ(text((flags + "I64" + letter).c_str(), value), expected) << flags << letter << ' ' << value;
    }
}

// Any format, however malformed, gives the same length when counted and when written, and writes nothing behind its room.
TEST(FormattingOnLinux, StandsAnyFormat)
{
    constexpr std::string_view alphabet = "%%%%%%%%-+ #00159..*hlwIIF6342jztdiuoxXcCsSpeEfgGaAn$yZ%\xC3";
    static constexpr wchar_t c_Letter[] = L"a"; // "a" as narrow text too
    std::mt19937 random(20240603);
    for (int round = 0; round < 200'000; ++round)
    {
        std::string format;
        for (auto length = random() % 14; length > 0; --length)
        {
            format += alphabet[random() % alphabet.size()];
        }
        const std::wstring wideFormat = widen(format);
        char narrow[17];
        wchar_t wide[17];
        narrow[16] = '#';
        wide[16] = L'#';
        wchar_t const* const a = c_Letter;
        const double d = 1.25;
        const int count =
            countText(format.c_str(), a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, d, d, d, d, d, d, d, d);
        const int written = writeText(narrow, 16, format.c_str(), a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, d, d,
                                      d, d, d, d, d, d);
        const int wideCount =
            countText(wideFormat.c_str(), a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, d, d, d, d, d, d, d, d);
        const int wideWritten = writeText(wide, 16, wideFormat.c_str(), a, a, a, a, a, a, a, a, a, a, a, a, a, a, a, a,
                                          d, d, d, d, d, d, d, d);
        ASSERT_EQ(written, count <= 16 ? count : -1) << format;
        ASSERT_EQ(wideCount < 0, count < 0) << format;
        ASSERT_EQ(wideWritten, wideCount <= 16 ? wideCount : -1) << format;
        ASSERT_EQ(narrow[16], '#') << format;
        ASSERT_EQ(wide[16], L'#') << format;
    }
}
