#include <climits>
#include <cmath>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/formatcalls.h"
#include "platform/platform.h"
#include "gtest/gtest.h"

namespace
{
using formatcalls::countText;
using formatcalls::text;
using formatcalls::widen;
using formatcalls::writeText;

// One format and what it gives, in both widths.
struct SRow
{
    std::string name;
    std::string expected;
    std::function<std::string()> narrow;
    std::function<std::wstring()> wide;
};

template <class... A>
SRow row(char const* name, char const* expected, char const* format, A... arguments)
{
    return {name, expected, [=] { return text(format, arguments...); },
            [=] { return text(widen(format).c_str(), arguments...); }};
}

// A long is as wide as the target makes it.
constexpr char const* c_LongLowest = sizeof(long) == 4 ? "-2147483648" : "-9223372036854775808";

std::vector<SRow> getIntegers()
{
    return {
        row("Plain", "-5", "%d", -5),
        row("I", "7", "%i", 7),
        row("Lowest", "-2147483648", "%d", INT_MIN),
        row("Unsigned", "4294967295", "%u", -1),
        row("Hexadecimal", "ff", "%x", 255),
        row("HexadecimalUpper", "FF", "%X", 255),
        row("Octal", "10", "%o", 8),
        row("MarkedHexadecimal", "0xff", "%#x", 255),
        row("MarkedHexadecimalUpper", "0XFF", "%#X", 255),
        row("MarkedOctal", "010", "%#o", 8),
        row("MarkedHexadecimalZero", "0", "%#x", 0),
        row("MarkedOctalZero", "0", "%#o", 0),
        row("MarkedDecimal", "5", "%#d", 5),
        row("Plus", "+5", "%+d", 5),
        row("PlusNegative", "-5", "%+d", -5),
        row("PlusUnsigned", "5", "%+u", 5u),
        row("Blank", " 5", "% d", 5),
        row("PlusWinsOverBlank", "+5", "%+ d", 5),
        row("Width", "    5|", "%5d|", 5),
        row("WidthLeft", "5    |", "%-5d|", 5),
        row("WidthZero", "-0005", "%05d", -5),
        row("LeftWinsOverZero", "5    |", "%-05d|", 5),
        row("ZeroBeforePlus", "+0003", "%0+5d", 3),
        row("ManyZeroFlags", "00003", "%00005d", 3),
        row("WidthTooSmall", "12345", "%3d", 12345),
        row("Precision", "005", "%.3d", 5),
        row("PrecisionNegative", "-005", "%.3d", -5),
        row("PrecisionZeroOfZero", "|", "%.0d|", 0),
        row("PrecisionWithoutDigits", "|", "%.d|", 0),
        row("PrecisionZeroOfZeroWithPlus", "+|", "%+.0d|", 0),
        row("PrecisionZeroOfZeroWithWidth", "     |", "%5.0d|", 0),
        row("PrecisionHexadecimal", "0x0001f", "%#.5x", 0x1F),
        row("PrecisionOctalHoldsTheMark", "010", "%#.3o", 8),
        row("MarkedWidth", "      0x1f|", "%#10x|", 0x1F),
        row("MarkedWidthZero", "0x0000001f|", "%#010x|", 0x1F),
        row("MarkedWidthZeroUpper", "0X0000FF|", "%#08X|", 255),
        row("MarkedWidthOctal", "     010|", "%#8o|", 8),
        row("Star", "    3|", "%*d|", 5, 3),
        row("StarNegative", "3    |", "%*d|", -5, 3),
        row("StarZero", "00003|", "%0*d|", 5, 3),
        row("StarPrecision", "003|", "%.*d|", 3, 3),
        row("StarPrecisionNegative", "3|", "%.*d|", -3, 3),
        row("StarBoth", "   03|", "%*.*d|", 5, 2, 3),
        row("Short", "4464", "%hd", 70000),
        row("ShortNegative", "-1", "%hd", 0xFFFF),
        row("ShortUnsigned", "65535", "%hu", -1),
        // The C runtime knows no width below a short.
        row("TwiceShort", "300", "%hhd", 300),
        row("Long", "-9", "%ld", -9L),
        row("LongUnsigned", "9", "%lu", 9UL),
        row("LongLowest", c_LongLowest, "%ld", LONG_MIN),
        row("LongLong", "-9223372036854775808", "%lld", LLONG_MIN),
        row("I64Signed", "-1234567890123", "%I64d", -1234567890123LL),
        row("I64I", "-1234567890123", "%I64i", -1234567890123LL),
        row("I64Unsigned", "18446744073709551615", "%I64u", ULLONG_MAX),
        row("I64Hexadecimal", "abcdef0123456789", "%I64x", 0xABCDEF0123456789ULL),
        row("I64HexadecimalUpper", "ABCDEF0123456789", "%I64X", 0xABCDEF0123456789ULL),
        row("I64Octal", "1777777777777777777777", "%I64o", ULLONG_MAX),
        row("I64Width", "  5|", "%3I64d|", 5LL),
        row("I32", "-7", "%I32d", -7),
        row("I32OfAWiderOne", "89abcdef", "%I32x", 0x123456789ABCDEFLL),
        row("IAlone", "123456789abcdef", "%Ix", 0x123456789ABCDEFLL),
        row("IAloneSigned", "-1", "%Id", -1LL),
        row("Z", "123456789abcdef", "%zx", 0x123456789ABCDEFLL),
        row("T", "123456789abcdef", "%tx", 0x123456789ABCDEFLL),
        row("J", "123456789abcdef", "%jx", 0x123456789ABCDEFLL),
        row("LowHalfOfAWiderOne", "-1985229329", "%d", 0x123456789ABCDEFLL),
        row("LastSizeWins", "cdef", "%lhx", 0x123456789ABCDEFLL),
        row("IgnoredPrefix", "5|", "%Fd|", 5),
        row("Several", "1 2 3", "%d %d %d", 1, 2, 3),
        row("Many", "1 2 3 4 5 6 7 8 9 10 11 12", "%d %d %d %d %d %d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10,
            11, 12),
    };
}

std::vector<SRow> getFloats()
{
    return {
        row("Plain", "1.500000", "%f", 1.5),
        row("L", "1.500000", "%lf", 1.5),
        row("Negative", "-1.500000", "%f", -1.5),
        row("Zero", "0.000000", "%f", 0.0),
        row("NegativeZero", "-0.000000", "%f", -0.0),
        row("Tenth", "0.100000", "%f", 0.1),
        row("Precision", "1.50", "%.2f", 1.5),
        row("PrecisionZero", "2", "%.0f", 1.75),
        row("PrecisionZeroMarked", "1.", "%#.0f", 1.0),
        row("PrecisionStar", "1.00", "%.*f", 2, 1.0),
        row("RoundsDown", "2.67", "%.2f", 2.675),
        row("CarriesOver", "10.0", "%.1f", 9.96),
        row("TieOfAnEvenDigit", "3", "%.0f", 2.5),
        row("TieOfAnOddDigit", "2", "%.0f", 1.5),
        row("TieOfZero", "1", "%.0f", 0.5),
        row("TieCarriesOver", "10", "%.0f", 9.5),
        row("TieOfTheSixthDigit", "0.007813", "%f", 1 / 128.0),
        row("TieNegative", "-0.3", "%.1f", -0.25),
        row("Width", "      1.50|", "%10.2f|", 1.5),
        row("WidthLeft", "1.50      |", "%-10.2f|", 1.5),
        row("WidthZero", "-0001.50", "%08.2f", -1.5),
        row("Plus", "+1.50", "%+.2f", 1.5),
        row("Blank", " 1.50", "% .2f", 1.5),
        row("Large", "10000000000000000000000.000", "%.3f", 1e22),
        row("Exponent", "1.000000e+000", "%e", 1.0),
        row("ExponentUpper", "1.000000E+100", "%E", 1e100),
        row("ExponentNegative", "1.25e-010", "%.2e", 1.25e-10),
        row("ExponentOfZero", "0.000000e+000", "%e", 0.0),
        row("ExponentMarked", "1.e+000", "%#.0e", 1.0),
        row("ExponentWidthZero", "-01.500000e+000", "%015e", -1.5),
        row("ExponentTie", "1.13e+000", "%.2e", 1.125),
        row("ExponentTieWithoutFraction", "3e+000", "%.0e", 2.5),
        row("ExponentTieOfTens", "3e+001", "%.0e", 25.0),
        row("ExponentTieCarriesOver", "1e+001", "%.0e", 9.5),
        row("ExponentDenormal", "9.999889e-321", "%e", 1e-320),
        row("General", "1.5", "%g", 1.5),
        row("GeneralZero", "0", "%g", 0.0),
        row("GeneralWithoutFraction", "100000", "%g", 100000.0),
        row("GeneralLarge", "1.23457e+006", "%g", 1234567.0),
        row("GeneralTie", "1.13", "%.3g", 1.125),
        row("GeneralTieWithExponent", "1.3e+003", "%.2g", 1250.0),
        row("GeneralSmall", "0.0001", "%g", 0.0001),
        row("GeneralSmaller", "1e-005", "%g", 0.00001),
        row("GeneralUpper", "1E-005", "%G", 1e-5),
        row("GeneralCarriesOver", "1e+006", "%g", 999999.9),
        row("GeneralMarked", "1.00000", "%#g", 1.0),
        row("GeneralMarkedWhole", "123456.", "%#g", 123456.0),
        row("GeneralMarkedExponent", "1.00e-005", "%#.3g", 0.00001),
        row("GeneralAllDigits", "0.10000000000000001", "%.17g", 0.1),
        row("GeneralPrecisionZero", "1e+002", "%.0g", 123.0),
        row("Hexadecimal", "0x1.0000000000000p+0", "%a", 1.0),
        row("HexadecimalUpper", "0X1.8000000000000P+0", "%A", 1.5),
        row("HexadecimalDigits", "0x1.999999999999ap-4", "%a", 0.1),
        row("HexadecimalPrecision", "0x1.800p+0", "%.3a", 1.5),
        row("HexadecimalMarked", "0x1.p+0", "%#.0a", 1.0),
        row("AmongIntegers", "1 2.5 3 4.5", "%d %.1f %d %.1f", 1, 2.5, 3, 4.5),
    };
}

std::vector<SRow> getOthers()
{
    return {
        row("Empty", "", ""),
        row("Literal", "abc", "abc"),
        row("Percent", "100%", "100%%"),
        row("PercentTwice", "%%", "%%%%"),
        row("Pointer", "0000000000ABCDEF", "%p", static_cast<void const*>(reinterpret_cast<char*>(0xABCDEF))),
        row("PointerNull", "0000000000000000", "%p", static_cast<void const*>(nullptr)),
        row("PointerWidth", "    000000000000001F|", "%20p|", reinterpret_cast<void*>(0x1F)),
        row("PointerWidthLeft", "000000000000001F    |", "%-20p|", reinterpret_cast<void*>(0x1F)),
        row("PointerWidthZero", "    000000000000001F", "%020p", reinterpret_cast<void*>(0x1F)),
        row("PointerMarked", "0X000000000000001F", "%#p", reinterpret_cast<void*>(0x1F)),
        row("UnknownLetter", "y", "%y"),
        row("UnknownLetterLeavesTheArgument", "k 4", "%k %d", 4),
        row("UnknownLetterWithModifiers", "y|", "%-#5.3ly|"),
        row("UnknownLetterTakesItsStar", "y 4", "%*y %d", 3, 4),
        row("UnknownSign", "!", "%!"),
        row("UnknownCapital", "D", "%D", 5),
        row("IWithoutAnInteger", "Iy|", "%Iy|"),
        row("ZWithoutAnInteger", "zs|", "%zs|"),
        row("TWithoutAnInteger", "ty|", "%ty|"),
        row("ZWithANumber", "z64d|", "%z64d|"),
        row("IWithAnotherNumber", "I34d|", "%I34d|"),
        row("Numbered", "$d", "%1$d", 5),
        row("BreaksOffAtThePercent", "abc", "abc%"),
        row("BreaksOffInTheFlags", "abc", "abc%-"),
        row("BreaksOffInTheWidth", "abc", "abc%5"),
        row("BreaksOffInTheSize", "abc", "abc%l"),
        row("BreaksOffBehindI64", "abc", "abc%I64"),
        row("PercentBehindModifiers", "|", "%-5%|"),
        row("CharacterNarrow", "x", "%hc", 'x'),
        row("CharacterWide", "x", "%lc", L'x'),
        row("CharacterWideByW", "x", "%wc", L'x'),
        row("TextNarrow", "text", "%hs", "text"),
        row("TextNarrowCapital", "text", "%hS", "text"),
        row("TextWide", "text", "%ls", L"text"),
        row("TextWideCapital", "text", "%lS", L"text"),
        row("TextWideByW", "text", "%ws", L"text"),
        row("TextNarrowNull", "(null)", "%hs", static_cast<char const*>(nullptr)),
        row("TextWideNull", "(null)", "%ls", static_cast<wchar_t const*>(nullptr)),
        row("TextsOfBothWidths", "n w", "%hs %ls", "n", L"w"),
    };
}

void PrintTo(SRow const& row, std::ostream* out)
{
    *out << row.name;
}

class Formatting : public testing::TestWithParam<SRow>
{
};

std::string getName(testing::TestParamInfo<SRow> const& info)
{
    return info.param.name;
}

struct SNarrowRow
{
    char const* name;
    char const* expected;
    char const* format;
    char const* argument;
};

void PrintTo(SNarrowRow const& row, std::ostream* out)
{
    *out << row.name;
}

// %s of the format's own width.
constexpr SNarrowRow c_Texts[] = {
    {"Plain", "abc", "%s", "abc"},
    {"Empty", "|", "%s|", ""},
    {"Null", "(null)", "%s", nullptr},
    {"NullCut", "(nu", "%.3s", nullptr},
    {"Width", "  abc|", "%5s|", "abc"},
    {"WidthLeft", "abc  |", "%-5s|", "abc"},
    {"WidthZero", "00abc|", "%05s|", "abc"},
    {"LeftWinsOverZero", "abc  |", "%-05s|", "abc"},
    {"Precision", "ab", "%.2s", "abc"},
    {"PrecisionZero", "|", "%.0s|", "abc"},
    {"PrecisionWithoutDigits", "|", "%.s|", "abc"},
    {"PrecisionBeyond", "abc", "%.9s", "abc"},
    {"PrecisionAndWidth", "    a|", "%5.1s|", "abc"},
    {"PlusIgnored", "abc", "%+s", "abc"},
};

class TextFormatting : public testing::TestWithParam<SNarrowRow>
{
};

std::string getTextName(testing::TestParamInfo<SNarrowRow> const& info)
{
    return info.param.name;
}
} // namespace

TEST_P(Formatting, GivesTheSameNarrowAndWide)
{
    EXPECT_EQ(GetParam().narrow(), GetParam().expected);
    EXPECT_EQ(GetParam().wide(), widen(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Integers, Formatting, testing::ValuesIn(getIntegers()), getName);
INSTANTIATE_TEST_SUITE_P(Floats, Formatting, testing::ValuesIn(getFloats()), getName);
INSTANTIATE_TEST_SUITE_P(Others, Formatting, testing::ValuesIn(getOthers()), getName);

TEST_P(TextFormatting, TakesTextOfTheFormatsWidth)
{
    char const* const argument = GetParam().argument;
    EXPECT_EQ(text(GetParam().format, argument), GetParam().expected);
    const std::wstring wideArgument = widen(argument != nullptr ? argument : "");
    EXPECT_EQ(text(widen(GetParam().format).c_str(), argument != nullptr ? wideArgument.c_str() : nullptr),
              widen(GetParam().expected));
}

TEST_P(TextFormatting, TakesTextOfTheOtherWidthWithACapital)
{
    char const* const argument = GetParam().argument;
    std::string format = GetParam().format;
    format[format.find('s')] = 'S';
    const std::wstring wideArgument = widen(argument != nullptr ? argument : "");
    EXPECT_EQ(text(format.c_str(), argument != nullptr ? wideArgument.c_str() : nullptr), GetParam().expected);
    EXPECT_EQ(text(widen(format).c_str(), argument), widen(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Rows, TextFormatting, testing::ValuesIn(c_Texts), getTextName);

TEST(CharacterFormatting, TakesACharacterOfTheFormatsWidth)
{
    EXPECT_EQ(text("%c", 'x'), "x");
    EXPECT_EQ(text(L"%c", L'\u20AC'), L"\u20AC");
}

TEST(CharacterFormatting, TakesTheOtherWidthWithACapital)
{
    EXPECT_EQ(text("%C", L'x'), "x");
    EXPECT_EQ(text(L"%C", 'x'), L"x");
}

TEST(CharacterFormatting, PadsACharacter)
{
    EXPECT_EQ(text("%5c|%-5c|%05c|", 'x', 'y', 'z'), "    x|y    |0000z|");
    EXPECT_EQ(text(L"%5c|%-5c|%05c|", L'x', L'y', L'z'), L"    x|y    |0000z|");
}

TEST(CharacterFormatting, WritesANull)
{
    EXPECT_EQ(text("a%cb", 0), std::string("a\0b", 3));
    EXPECT_EQ(text(L"a%cb", 0), std::wstring(L"a\0b", 3));
}

// The documented rule is that a precision switches the flag 0 off ("     005"). Wine fills with zeros all the same.
TEST(IntegerFormatting, HasThePrecisionsDigitsAtTheEndOfTheWidth)
{
    const std::string padded = text("%08.3d", 5);
    ASSERT_EQ(padded.size(), 8u);
    EXPECT_EQ(padded.substr(5), "005");
}

TEST(FormattingRoom, HoldsATextAndItsFinalNull)
{
    wchar_t wide[8] = L"#######";
    EXPECT_EQ(writeText(wide, 5, L"%s", L"abcd"), 4);
    EXPECT_EQ(std::wstring(wide, 7), std::wstring(L"abcd\0##", 7));
    char narrow[8] = "#######";
    EXPECT_EQ(writeText(narrow, 5, "%s", "abcd"), 4);
    EXPECT_EQ(std::string(narrow, 7), std::string("abcd\0##", 7));
}

TEST(FormattingRoom, MayBeFilledWithoutAFinalNull)
{
    wchar_t wide[8] = L"#######";
    EXPECT_EQ(writeText(wide, 5, L"%s", L"abcde"), 5);
    EXPECT_EQ(std::wstring(wide, 7), L"abcde##");
    char narrow[8] = "#######";
    EXPECT_EQ(writeText(narrow, 5, "%s", "abcde"), 5);
    EXPECT_EQ(std::string(narrow, 7), "abcde##");
}

TEST(FormattingRoom, KeepsTheHeadOfALongerText)
{
    wchar_t wide[8] = L"#######";
    EXPECT_EQ(writeText(wide, 5, L"%s", L"abcdef"), -1);
    EXPECT_EQ(std::wstring(wide, 7), L"abcde##");
    char narrow[8] = "#######";
    EXPECT_EQ(writeText(narrow, 5, "ab%d", 123456), -1);
    EXPECT_EQ(std::string(narrow, 7), "ab123##");
}

TEST(FormattingRoom, KeepsTheHeadOfThePadding)
{
    wchar_t wide[8] = L"#######";
    EXPECT_EQ(writeText(wide, 3, L"%10d", 5), -1);
    EXPECT_EQ(std::wstring(wide, 7), L"   ####");
}

TEST(FormattingRoom, OfNothingHoldsAnEmptyText)
{
    wchar_t wide[2] = L"#";
    EXPECT_EQ(writeText(wide, 0, L""), 0);
    EXPECT_EQ(writeText(wide, 0, L"a"), -1);
    EXPECT_STREQ(wide, L"#");
}

TEST(FormattingRoom, OfNothingWithoutABufferAsksForTheLength)
{
    EXPECT_EQ(_snprintf(nullptr, 0, "%d", 12345), 5);
    EXPECT_EQ(_snwprintf(nullptr, 0, L"%d", 12345), 5);
}

TEST(FormattingFailure, IsANullFormat)
{
    char narrow[4] = "###";
    wchar_t wide[4] = L"###";
    EXPECT_EQ(countText(static_cast<char const*>(nullptr)), -1);
    EXPECT_EQ(countText(static_cast<wchar_t const*>(nullptr)), -1);
    EXPECT_EQ(writeText(narrow, 4, static_cast<char const*>(nullptr)), -1);
    EXPECT_EQ(writeText(wide, 4, static_cast<wchar_t const*>(nullptr)), -1);
}

TEST(FormattingLength, CountsLongTexts)
{
    const std::wstring wide(100'000, L'x');
    EXPECT_EQ(countText(L"%s%s", wide.c_str(), wide.c_str()), 200'000);
    EXPECT_EQ(countText("%ls", wide.c_str()), 100'000);
    EXPECT_EQ(text(L"<%s>", wide.c_str()), L"<" + wide + L">");
}

// Infinity and NaN read differently on each target: they only have to be a text of their own.
TEST(FloatFormatting, WritesInfinityAndNanWithoutDigitsOfANumber)
{
    for (char const* const format : {"%f", "%e", "%g"})
    {
        const std::string infinite = text(format, HUGE_VAL);
        EXPECT_NE(infinite.find_first_of("iI"), std::string::npos) << infinite;
        EXPECT_EQ(text(format, -HUGE_VAL), "-" + infinite);
    }
}
