#include <cfloat>
#include <clocale>
#include <limits>
#include <utility>

#include <gtest/gtest.h>

#include "orvane/value/varianttesting.h"
#include "support/germanlocale.h"
#include "support/layout.h"
#include "support/logrecorder.h"
#include "support/raises.h"

namespace
{
constexpr double c_NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double c_Infinity = std::numeric_limits<double>::infinity();
constexpr __int64 c_Least = std::numeric_limits<__int64>::min();
constexpr __int64 c_Most = std::numeric_limits<__int64>::max();
constexpr unsigned __int64 c_MostUnsigned = ~0ull;

class CbVariantConversion : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

CbVariant converted(CbVariant variant, EType target)
{
    CbVariant const& result = variant.ConvertTo(target);
    EXPECT_EQ(&result, &variant);
    return variant;
}

template <class T>
T convertedTo(CbVariant const& variant)
{
    return variant.GetAs<T>();
}

// The refusal, and that it changes nothing.
void expectRefusal(CbVariant const& source, EType target, char const* function)
{
    CbVariant variant(source);
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", function, variant.ConvertTo(target));
    EXPECT_EQ(variant.GetType(), source.GetType()) << function;
    if (source.GetType() != CbVariant::eObject)
    {
        EXPECT_EQ(variant, source) << function;
    }
}

std::wstring widened(std::string const& text)
{
    return std::wstring(text.begin(), text.end());
}

template <class T>
struct SNumberOfText
{
    char const* text;
    T value;
};

class CSignedText : public testing::TestWithParam<SNumberOfText<__int64>>
{
};

class CUnsignedText : public testing::TestWithParam<SNumberOfText<unsigned __int64>>
{
};

class CRounding : public testing::TestWithParam<std::pair<double, __int64>>
{
};

class CUnsignedRounding : public testing::TestWithParam<std::pair<double, unsigned __int64>>
{
};

} // namespace

// ---- the kind itself

TEST_F(CbVariantConversion, ToTheKindThatIsThereTouchesNothing)
{
    for (EType const type : allKinds())
    {
        CbVariant variant = sampleOf(type);
        unsigned __int64 const cell = fieldAt<unsigned __int64>(&variant, 8);

        EXPECT_EQ(&variant.ConvertTo(type), &variant) << nameOf(type);
        EXPECT_EQ(&variant.ConvertToLocalized(type, nullptr), &variant);
        EXPECT_EQ(fieldAt<unsigned __int64>(&variant, 8), cell);
        EXPECT_EQ(variant.GetType(), type);
    }
}

TEST_F(CbVariantConversion, ToNothingEmptiesEveryKind)
{
    for (EType const type : allKinds())
    {
        EXPECT_TRUE(converted(sampleOf(type), CbVariant::eNull).IsNull()) << nameOf(type);
    }
}

TEST_F(CbVariantConversion, ToAKindThatNothingConvertsToIsRefused)
{
    for (EType const type : allKinds())
    {
        for (EType const target : {CbVariant::eByteArray, CbVariant::eObject, static_cast<EType>(11),
                                   static_cast<EType>(19), static_cast<EType>(0xFFFFFFFF)})
        {
            if (type != target)
            {
                expectRefusal(sampleOf(type), target, "CbVariant::ConvertTo");
            }
        }
    }
}

TEST_F(CbVariantConversion, OfAKindThatDoesNotExistIsRefused)
{
    for (unsigned int const type : strayKinds())
    {
        CbVariant stray;
        makeStray(stray, type);
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "convertToInt32", stray.ConvertTo(CbVariant::eInt32));
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "convertToString", stray.ConvertTo(CbVariant::eStringA));
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::ConvertTo",
                      stray.ConvertTo(static_cast<EType>(type)));
        EXPECT_EQ(stray.GetType(), type);
        EXPECT_TRUE(stray.ConvertTo(CbVariant::eNull).IsNull());
    }
}

// ---- refusals

TEST_F(CbVariantConversion, OfWhatIsNoNumberIsRefusedByTheHelperOfTheTarget)
{
    struct STarget
    {
        EType type;
        char const* helper;
    };

    static constexpr STarget c_Targets[] = {
        {CbVariant::eBool, "convertToBool"},     {CbVariant::eInt8, "convertToInt8"},
        {CbVariant::eUInt8, "convertToUInt8"},   {CbVariant::eInt16, "convertToInt16"},
        {CbVariant::eUInt16, "convertToUInt16"}, {CbVariant::eInt32, "convertToInt32"},
        {CbVariant::eUInt32, "convertToUInt32"}, {CbVariant::eInt64, "convertToInt64"},
        {CbVariant::eUInt64, "convertToUInt64"}, {CbVariant::eFloat, "convertToFloat"},
        {CbVariant::eDouble, "convertToDouble"}, {CbVariant::eChar, "convertToUInt8"},
    };

    for (STarget const& target : c_Targets)
    {
        for (EType const source : {CbVariant::eNull, CbVariant::eByteArray, CbVariant::eDateTime, CbVariant::eObject})
        {
            SCOPED_TRACE(nameOf(source));
            expectRefusal(sampleOf(source), target.type, target.helper);
        }
    }
}

TEST_F(CbVariantConversion, OfNothingBytesAndObjectsToTextIsRefused)
{
    for (EType const source : {CbVariant::eNull, CbVariant::eByteArray, CbVariant::eObject})
    {
        expectRefusal(sampleOf(source), CbVariant::eStringA, "convertToString");
        expectRefusal(sampleOf(source), CbVariant::eStringW, "convertToString");
    }
}

TEST_F(CbVariantConversion, OfWhatIsNoTextToADateTimeIsRefused)
{
    for (EType const source : allKinds())
    {
        if (source != CbVariant::eStringA && source != CbVariant::eStringW && source != CbVariant::eDateTime)
        {
            expectRefusal(sampleOf(source), CbVariant::eDateTime, "CbVariant::ConvertTo");
        }
    }
}

// ---- numbers to numbers

TEST_F(CbVariantConversion, OfIntegersIsAPlainCast)
{
    EXPECT_EQ(converted(CbVariant(300), CbVariant::eUInt8), static_cast<unsigned char>(44));
    EXPECT_EQ(converted(CbVariant(-1), CbVariant::eUInt32), 4294967295u);
    EXPECT_EQ(converted(CbVariant((1ll << 32) + 5), CbVariant::eInt32), 5);
    EXPECT_EQ(converted(CbVariant(-1), CbVariant::eUInt64), c_MostUnsigned);
    EXPECT_EQ(converted(CbVariant(0xFFFFFFFFu), CbVariant::eInt64), 0xFFFFFFFFll);
    EXPECT_EQ(converted(CbVariant(0xFFFFFFFFu), CbVariant::eInt32), -1);
    EXPECT_EQ(converted(CbVariant(static_cast<signed char>(-1)), CbVariant::eUInt16),
              static_cast<unsigned short>(65535));
    EXPECT_EQ(converted(CbVariant(static_cast<unsigned char>(200)), CbVariant::eInt8), static_cast<signed char>(-56));
    EXPECT_EQ(converted(CbVariant(static_cast<short>(-2)), CbVariant::eInt64), -2ll);
    EXPECT_EQ(converted(CbVariant(static_cast<unsigned short>(65535)), CbVariant::eInt16), static_cast<short>(-1));
    EXPECT_EQ(converted(CbVariant(c_MostUnsigned), CbVariant::eInt64), -1ll);
}

TEST_F(CbVariantConversion, OfCharactersHasTheirSign)
{
    EXPECT_EQ(converted(CbVariant('A'), CbVariant::eInt32), 65);
    EXPECT_EQ(converted(CbVariant(static_cast<char>(-23)), CbVariant::eInt32), -23);
    EXPECT_EQ(converted(CbVariant(static_cast<char>(-23)), CbVariant::eUInt8), static_cast<unsigned char>(233));
    EXPECT_EQ(converted(CbVariant(static_cast<char>(-1)), CbVariant::eDouble), -1.0);
}

TEST_F(CbVariantConversion, OfTruthValuesIsOneOrZero)
{
    EXPECT_EQ(converted(CbVariant(true), CbVariant::eInt64), 1ll);
    EXPECT_EQ(converted(CbVariant(false), CbVariant::eFloat), 0.0f);
}

TEST_F(CbVariantConversion, ToATruthValueAsksForZero)
{
    EXPECT_EQ(converted(CbVariant(256), CbVariant::eBool), true);
    EXPECT_EQ(converted(CbVariant(0u), CbVariant::eBool), false);
    EXPECT_EQ(converted(CbVariant(0.25), CbVariant::eBool), true);
    EXPECT_EQ(converted(CbVariant(-0.0), CbVariant::eBool), false);
    EXPECT_EQ(converted(CbVariant(c_NaN), CbVariant::eBool), true);
    EXPECT_EQ(converted(CbVariant(std::numeric_limits<float>::quiet_NaN()), CbVariant::eBool), true);
}

TEST_F(CbVariantConversion, ToFloatingPointNumbersRoundsOnce)
{
    EXPECT_EQ(converted(CbVariant(c_MostUnsigned), CbVariant::eDouble), 18446744073709551616.0);
    EXPECT_EQ(converted(CbVariant(c_MostUnsigned), CbVariant::eFloat), 18446744073709551616.0f);
    EXPECT_EQ(converted(CbVariant(-1ll), CbVariant::eFloat), -1.0f);
    EXPECT_EQ(converted(CbVariant(0.1), CbVariant::eFloat), 0.1f);
    EXPECT_EQ(converted(CbVariant(0.1f), CbVariant::eDouble), static_cast<double>(0.1f));
    // To a double first it would be half-way between two floats, and then the even one below.
    EXPECT_EQ(converted(CbVariant((1ll << 60) + (1ll << 36) + 1), CbVariant::eFloat),
              static_cast<float>((1ll << 60) + (1ll << 37)));
}

TEST_P(CRounding, TakesHalvesUp)
{
    EXPECT_EQ(converted(CbVariant(GetParam().first), CbVariant::eInt64), GetParam().second);
}

TEST_P(CRounding, IsCutToTheWidthOfTheTarget)
{
    CbVariant const source(GetParam().first);
    auto const expected = static_cast<unsigned __int64>(GetParam().second);

    EXPECT_EQ(converted(source, CbVariant::eInt32), static_cast<int>(expected));
    EXPECT_EQ(converted(source, CbVariant::eUInt32), static_cast<unsigned int>(expected));
    EXPECT_EQ(converted(source, CbVariant::eInt16), static_cast<short>(expected));
    EXPECT_EQ(converted(source, CbVariant::eUInt16), static_cast<unsigned short>(expected));
    EXPECT_EQ(converted(source, CbVariant::eInt8), static_cast<signed char>(expected));
    EXPECT_EQ(converted(source, CbVariant::eUInt8), static_cast<unsigned char>(expected));
}

INSTANTIATE_TEST_SUITE_P(
    CbVariant, CRounding,
    testing::Values(std::pair(2.5, 3ll), std::pair(-2.5, -2ll), std::pair(2.0, 2ll), std::pair(2.4, 2ll),
                    std::pair(-2.6, -3ll), std::pair(0.5, 1ll), std::pair(-0.5, 0ll),
                    std::pair(0.49999999999999994, 1ll),
                    // Half of one more is not a double: the sum would be rounded to the next even number.
                    std::pair(4503599627370497.0, 4503599627370497ll),
                    std::pair(-4503599627370497.0, -4503599627370497ll),
                    std::pair(9007199254740993.0, 9007199254740992ll),
                    std::pair(9223372036854774784.0, 9223372036854774784ll), std::pair(-9223372036854775808.0, c_Least),
                    std::pair(9223372036854775808.0, c_Least), std::pair(1e300, c_Least), std::pair(-1e300, c_Least),
                    std::pair(c_Infinity, c_Least), std::pair(-c_Infinity, c_Least), std::pair(c_NaN, c_Least)));

TEST_P(CUnsignedRounding, HasAPathOfItsOwnFromTwoToTheSixtyThirdUpwards)
{
    EXPECT_EQ(converted(CbVariant(GetParam().first), CbVariant::eUInt64), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(CbVariant, CUnsignedRounding,
                         testing::Values(std::pair(2.5, 3ull), std::pair(-1.0, c_MostUnsigned),
                                         std::pair(9223372036854775808.0, 1ull << 63),
                                         std::pair(18446744073709549568.0, 18446744073709549568ull),
                                         std::pair(18446744073709551616.0, 0ull), std::pair(c_Infinity, 0ull),
                                         std::pair(-1e300, 1ull << 63), std::pair(c_NaN, 1ull << 63)));

TEST_F(CbVariantConversion, OfAFloatRoundsItAsADouble)
{
    EXPECT_EQ(converted(CbVariant(2.5f), CbVariant::eInt32), 3);
    EXPECT_EQ(converted(CbVariant(-2.5f), CbVariant::eInt32), -2);
    EXPECT_EQ(converted(CbVariant(0.49999997f), CbVariant::eInt32), 0);
}

// ---- text to numbers

TEST_P(CSignedText, IsScanned)
{
    CLogRecorder const quiet;
    EXPECT_EQ(converted(CbVariant(GetParam().text), CbVariant::eInt64), GetParam().value);
    EXPECT_EQ(converted(CbVariant(widened(GetParam().text)), CbVariant::eInt64), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(CbVariant, CSignedText,
                         testing::ValuesIn(std::vector<SNumberOfText<__int64>>{
                             {"  42", 42},
                             {" \t\n\v\f\r42", 42},
                             {"0x1F", 31},
                             {"0X1f", 31},
                             {"-0x10", -16},
                             {"010", 8},
                             {"-010", -8},
                             {"08", 0},
                             {"12abc", 12},
                             {"12 34", 12},
                             {"1.9", 1},
                             {"+7", 7},
                             {"-7", -7},
                             {"0", 0},
                             {"", 0},
                             {"  ", 0},
                             {"-", 0},
                             {"0x", 0},
                             {"9223372036854775807", c_Most},
                             {"9223372036854775808", c_Most},
                             {"-9223372036854775808", c_Least},
                             {"-9223372036854775809", c_Least},
                             {"0xFFFFFFFFFFFFFFFFFF", c_Most},
                         }),
                         [](auto const& row) { return "Row" + std::to_string(row.index); });

TEST_P(CUnsignedText, IsScanned)
{
    CLogRecorder const quiet;
    EXPECT_EQ(converted(CbVariant(GetParam().text), CbVariant::eUInt64), GetParam().value);
    EXPECT_EQ(converted(CbVariant(widened(GetParam().text)), CbVariant::eUInt64), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(CbVariant, CUnsignedText,
                         testing::ValuesIn(std::vector<SNumberOfText<unsigned __int64>>{
                             {"  42", 42},
                             {"0x1F", 0},
                             {"010", 10},
                             {"12abc", 12},
                             {"+7", 7},
                             {"-1", c_MostUnsigned},
                             {"", 0},
                             {"  ", 0},
                             {"18446744073709551615", c_MostUnsigned},
                             {"18446744073709551616", c_MostUnsigned},
                             {"-99999999999999999999", c_MostUnsigned},
                         }),
                         [](auto const& row) { return "Row" + std::to_string(row.index); });

TEST_F(CbVariantConversion, OfTextWithoutANumberIsRefusedByItsScanner)
{
    for (char const* const text : {"abc", " x", "--1", "- 1", "0xg", ".5"})
    {
        SCOPED_TRACE(text);
        expectRefusal(CbVariant(text), CbVariant::eInt32, "stringToInt");
        expectRefusal(CbVariant(widened(text)), CbVariant::eInt8, "stringToInt");
    }
    for (char const* const text : {"abc", " x", "--1", "- 1", ".5"})
    {
        SCOPED_TRACE(text);
        expectRefusal(CbVariant(text), CbVariant::eUInt32, "stringToUInt");
        expectRefusal(CbVariant(widened(text)), CbVariant::eUInt8, "stringToUInt");
    }
}

TEST_F(CbVariantConversion, OfTextIsCutToTheWidthOfTheTarget)
{
    EXPECT_EQ(converted(CbVariant("300"), CbVariant::eUInt8), static_cast<unsigned char>(44));
    EXPECT_EQ(converted(CbVariant("0x1FFFFFFFF"), CbVariant::eInt32), -1);
    EXPECT_EQ(converted(CbVariant(L"-1"), CbVariant::eUInt16), static_cast<unsigned short>(65535));
}

TEST_F(CbVariantConversion, OfTextEndsAtItsFirstNul)
{
    EXPECT_EQ(converted(CbVariant(CStringA("4\0002", 3)), CbVariant::eInt32), 4);
    EXPECT_EQ(converted(CbVariant(CStringA("1\0x", 3)), CbVariant::eDouble), 1.0);
    EXPECT_EQ(converted(CbVariant(CStringW(L"true\0x", 6)), CbVariant::eBool), true);
    EXPECT_EQ(converted(CbVariant(CStringA("A\0B", 3)), CbVariant::eChar), 'A');
}

TEST_F(CbVariantConversion, OfTextToATruthValueKnowsFourWords)
{
    for (char const* const text : {"true", "TRUE", "tRuE", "1"})
    {
        EXPECT_EQ(converted(CbVariant(text), CbVariant::eBool), true) << text;
        EXPECT_EQ(converted(CbVariant(widened(text)), CbVariant::eBool), true) << text;
    }
    for (char const* const text : {"false", "FALSE", "fAlSe", "0"})
    {
        EXPECT_EQ(converted(CbVariant(text), CbVariant::eBool), false) << text;
        EXPECT_EQ(converted(CbVariant(widened(text)), CbVariant::eBool), false) << text;
    }
    for (char const* const text : {"yes", "", " true", "true ", "2", "01", "tru", "1.0"})
    {
        expectRefusal(CbVariant(text), CbVariant::eBool, "stringToBool");
        expectRefusal(CbVariant(widened(text)), CbVariant::eBool, "stringToBool");
    }
    expectRefusal(CbVariant(L"\u0166RUE"), CbVariant::eBool, "stringToBool");
}

TEST_F(CbVariantConversion, OfTextToAFloatingPointNumberTakesTheWholeText)
{
    EXPECT_EQ(converted(CbVariant("1.5"), CbVariant::eDouble), 1.5);
    EXPECT_EQ(converted(CbVariant(L" -1.5e3"), CbVariant::eDouble), -1500.0);
    EXPECT_EQ(converted(CbVariant("0.1"), CbVariant::eFloat), 0.1f);
    EXPECT_EQ(converted(CbVariant(""), CbVariant::eDouble), 0.0);
    EXPECT_EQ(converted(CbVariant(L""), CbVariant::eFloat), 0.0f);
    EXPECT_EQ(converted(CbVariant("1e999"), CbVariant::eDouble), c_Infinity);
    for (char const* const text : {"1.5x", "1.5 ", "abc", " ", "1,5", "0x10"})
    {
        expectRefusal(CbVariant(text), CbVariant::eDouble, "stringToDouble");
        expectRefusal(CbVariant(widened(text)), CbVariant::eFloat, "stringToDouble");
    }
}

TEST_F(CbVariantConversion, ToACharacterTakesTextOfOne)
{
    EXPECT_EQ(converted(CbVariant("A"), CbVariant::eChar), 'A');
    EXPECT_EQ(converted(CbVariant(L"A"), CbVariant::eChar), 'A');
    EXPECT_EQ(converted(CbVariant(L"\u20AC"), CbVariant::eChar), static_cast<char>(0xAC)) << "the low byte";
    for (char const* const text : {"AB", ""})
    {
        expectRefusal(CbVariant(text), CbVariant::eChar, "convertToChar");
        expectRefusal(CbVariant(widened(text)), CbVariant::eChar, "convertToChar");
    }
    expectRefusal(CbVariant(L"\U0001F600"), CbVariant::eChar, "convertToChar"); // two units on every target
}

TEST_F(CbVariantConversion, ToACharacterTakesOtherKindsByWayOfTheirByte)
{
    EXPECT_EQ(converted(CbVariant(65), CbVariant::eChar), 'A');
    EXPECT_EQ(converted(CbVariant(65 + 256), CbVariant::eChar), 'A');
    EXPECT_EQ(converted(CbVariant(64.5), CbVariant::eChar), 'A');
    EXPECT_EQ(converted(CbVariant(true), CbVariant::eChar), '\x01');
    expectRefusal(CbVariant(), CbVariant::eChar, "convertToUInt8");
}

// ---- to text

TEST_F(CbVariantConversion, OfIntegersToTextShowsTheLowThirtyTwoBitsSigned)
{
    struct SRow
    {
        CbVariant variant;
        char const* text;
    };

    std::vector<SRow> const rows = {
        {CbVariant(true), "1"},
        {CbVariant(false), "0"},
        {CbVariant(42), "42"},
        {CbVariant(std::numeric_limits<int>::min()), "-2147483648"},
        {CbVariant(4294967295u), "-1"},
        {CbVariant(4294967296ll), "0"},
        {CbVariant(-1ll), "-1"},
        {CbVariant(0x80000000ull), "-2147483648"},
        {CbVariant(c_MostUnsigned), "-1"},
        {CbVariant(static_cast<signed char>(-128)), "-128"},
        {CbVariant(static_cast<unsigned char>(255)), "255"},
        {CbVariant(static_cast<short>(-32768)), "-32768"},
        {CbVariant(static_cast<unsigned short>(65535)), "65535"},
    };
    for (SRow const& row : rows)
    {
        EXPECT_EQ(converted(row.variant, CbVariant::eStringA), row.text);
        EXPECT_EQ(converted(row.variant, CbVariant::eStringW), widened(row.text));
    }
}

TEST_F(CbVariantConversion, OfFloatingPointNumbersToTextShowsSixDigits)
{
    EXPECT_EQ(converted(CbVariant(1.5), CbVariant::eStringW), L"1.500000");
    EXPECT_EQ(converted(CbVariant(0.1), CbVariant::eStringA), "0.100000");
    EXPECT_EQ(converted(CbVariant(0.1f), CbVariant::eStringA), "0.100000");
    EXPECT_EQ(converted(CbVariant(-2.0f), CbVariant::eStringW), L"-2.000000");
    EXPECT_EQ(converted(CbVariant(-0.0), CbVariant::eStringA), "-0.000000");
}

TEST_F(CbVariantConversion, OfAnyDoubleToTextHasRoom)
{
    std::string const largest = convertedTo<std::string>(CbVariant(-DBL_MAX));

    EXPECT_EQ(largest.size(), 1u + 309u + 7u);
    EXPECT_EQ(largest.substr(0, 18), "-17976931348623157");
    EXPECT_EQ(convertedTo<std::wstring>(CbVariant(1e300)).size(), 301u + 7u);
}

TEST_F(CbVariantConversion, OfACharacterToTextIsOneCharacter)
{
    EXPECT_EQ(converted(CbVariant('A'), CbVariant::eStringA), "A");
    EXPECT_EQ(converted(CbVariant('A'), CbVariant::eStringW), L"A");
    EXPECT_EQ(converted(CbVariant('\0'), CbVariant::eStringW), CStringW(L"\0", 1));
    EXPECT_EQ(converted(CbVariant(static_cast<char>(0xE9)), CbVariant::eStringW), L"\uFFE9") << "with its sign";
}

TEST_F(CbVariantConversion, OfTextChangesItsWidth)
{
    EXPECT_EQ(converted(CbVariant("text"), CbVariant::eStringW), L"text");
    EXPECT_EQ(converted(CbVariant(L"text"), CbVariant::eStringA), "text");
    EXPECT_EQ(converted(CbVariant(L"\u00E4\u00F6"), CbVariant::eStringA), CStringA(L"\u00E4\u00F6"));
    EXPECT_EQ(converted(CbVariant(CStringA("a\0b", 3)), CbVariant::eStringW), CStringW(L"a\0b", 3));
}

// ---- date-times

TEST_F(CbVariantConversion, OfADateTimeToTextIsUtc)
{
    CbVariant const date(CbDateTime(2024, 5, 6, 7, 8, 9, 10));

    EXPECT_EQ(converted(date, CbVariant::eStringW), L"2024-05-06 07:08:09");
    EXPECT_EQ(converted(date, CbVariant::eStringA), "2024-05-06 07:08:09");
}

TEST_F(CbVariantConversion, OfTextToADateTimeIsUtc)
{
    EXPECT_EQ(converted(CbVariant("2024-05-06 07:08:09"), CbVariant::eDateTime), CbDateTime(2024, 5, 6, 7, 8, 9, 0));
    EXPECT_EQ(converted(CbVariant(L"2024-05-06T07:08:09"), CbVariant::eDateTime), CbDateTime(2024, 5, 6, 7, 8, 9, 0));
}

TEST_F(CbVariantConversion, OfTextThatIsNoDateTimeRaisesWhatTheDateTimeRaises)
{
    CbVariant narrow("yesterday");
    CbVariant wide(L"yesterday");

    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime",
                  narrow.ConvertTo(CbVariant::eDateTime));
    EXPECT_RAISES(CbExceptionConversion, "cbdatetime", "CbDateTime::CbDateTime", wide.ConvertTo(CbVariant::eDateTime));
    EXPECT_EQ(narrow, "yesterday");
    EXPECT_EQ(wide, L"yesterday");
}

// ---- locales

TEST_F(CbVariantConversion, LocalizedHasTheRadixMarkOfTheLocale)
{
    Locale const german = germanLocale();
    if (!german)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    CbVariant wide(1.5);
    CbVariant narrow(1.5f);
    CbVariant text("1,5");
    CbVariant wideText(L"1,5");

    wide.ConvertToLocalized(CbVariant::eStringW, german.get());
    narrow.ConvertToLocalized(CbVariant::eStringA, german.get());
    text.ConvertToLocalized(CbVariant::eDouble, german.get());
    wideText.ConvertToLocalized(CbVariant::eFloat, german.get());

    EXPECT_EQ(wide, L"1,500000");
    EXPECT_EQ(narrow, "1,500000");
    EXPECT_EQ(text, 1.5);
    EXPECT_EQ(wideText, 1.5f);
}

TEST_F(CbVariantConversion, LocalizedRefusesTheRadixMarkOfAnotherLocale)
{
    Locale const german = germanLocale();
    if (!german)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    CbVariant text("1.5");

    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "stringToDouble",
                  text.ConvertToLocalized(CbVariant::eDouble, german.get()));
    EXPECT_EQ(text, "1.5");
}

TEST_F(CbVariantConversion, FollowsTheCurrentLocale)
{
    char const* const name = findGermanName();
    if (name == nullptr)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    std::setlocale(LC_NUMERIC, name);
    CbVariant const text = converted(CbVariant(1.5), CbVariant::eStringA);
    CbVariant const number = converted(CbVariant("1,5"), CbVariant::eDouble);
    std::setlocale(LC_NUMERIC, "C");

    EXPECT_EQ(text, "1,500000");
    EXPECT_EQ(number, 1.5);
}

TEST_F(CbVariantConversion, LocalizedToOtherKindsIsTheSameAsWithoutALocale)
{
    CbVariant number("42");
    CbVariant date("2024-05-06 07:08:09");
    CbVariant refused("abc");

    EXPECT_EQ(number.ConvertToLocalized(CbVariant::eInt32, nullptr), 42);
    EXPECT_EQ(date.ConvertToLocalized(CbVariant::eDateTime, nullptr), CbDateTime(2024, 5, 6, 7, 8, 9, 0));
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "stringToInt",
                  refused.ConvertToLocalized(CbVariant::eInt32, nullptr));
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::ConvertTo",
                  refused.ConvertToLocalized(CbVariant::eObject, nullptr));
}

// ---- converted copies

TEST_F(CbVariantConversion, GetAsGivesStandardTextAndChangesNothing)
{
    CbVariant const number(42);
    CbVariant const narrow(CStringA("ab\0c", 4));
    CbVariant const wide(CStringW(L"ab\0c", 4));

    EXPECT_EQ(number.GetAs(CbTypeToType<std::string>()), "42");
    EXPECT_EQ(number.GetAs(CbTypeToType<std::wstring>()), L"42");
    EXPECT_EQ(narrow.GetAs<std::string>(), "ab");
    EXPECT_EQ(wide.GetAs<std::wstring>(), L"ab");
    EXPECT_EQ(narrow.GetAs<std::wstring>(), L"ab");
    EXPECT_EQ(wide.GetAs<std::string>(), "ab");
    EXPECT_EQ(number.GetType(), CbVariant::eInt32);
}

TEST_F(CbVariantConversion, GetAsGivesEveryTypeByConversion)
{
    CbVariant const text("42");

    EXPECT_EQ(text.GetAs<int>(), 42);
    EXPECT_EQ(text.GetAs<long>(), 42);
    EXPECT_EQ(text.GetAs<unsigned __int64>(), 42u);
    EXPECT_EQ(text.GetAs<double>(), 42.0);
    EXPECT_EQ(text.GetAs<CStringA>(), "42");
    EXPECT_EQ(text.GetAs<CStringW>(), L"42");
    EXPECT_EQ(CbVariant("1").GetAs<bool>(), true);
    EXPECT_EQ(CbVariant(L"2024-05-06 07:08:09").GetAs<CbDateTime>(), CbDateTime(2024, 5, 6, 7, 8, 9, 0));
    EXPECT_EQ(CbVariant(bytesFrom({1, 2})).GetAs<CbArray<unsigned char>>(), bytesFrom({1, 2}));
    EXPECT_EQ(text, "42");
}

TEST_F(CbVariantConversion, GetAsRaisesWhatTheConversionRaises)
{
    CbVariant const nothing;
    CbVariant const text("abc");

    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "convertToString", nothing.GetAs<std::string>());
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "convertToString", nothing.GetAs<std::wstring>());
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "stringToInt", text.GetAs<int>());
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "convertToString",
                  CbVariant(CVariantThing(1)).GetAs<std::string>());
}
