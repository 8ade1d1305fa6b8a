// Formatting with the Windows meaning, the same on every target.

#include <cstdarg>
#include <string>

#include <gtest/gtest.h>

#include "mfc/cstringt.h"
#include "platform/platform.h"
#include "raises.h"

namespace
{
template <class S>
S formatByList(typename S::XCHAR const* format, ...)
{
    S text;
    va_list arguments;
    va_start(arguments, format);
    text.FormatV(format, arguments);
    va_end(arguments);
    return text;
}

template <class S>
void appendByList(S& text, typename S::XCHAR const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    text.AppendFormatV(format, arguments);
    va_end(arguments);
}

CStringA formatted(char const* format, ...)
{
    CStringA text;
    va_list arguments;
    va_start(arguments, format);
    text.FormatV(format, arguments);
    va_end(arguments);
    return text;
}

CStringW formatted(wchar_t const* format, ...)
{
    CStringW text;
    va_list arguments;
    va_start(arguments, format);
    text.FormatV(format, arguments);
    va_end(arguments);
    return text;
}
} // namespace

TEST(CStringTFormat, TakesTextOfTheOwnWidthForSmallS)
{
    CStringA narrow;
    narrow.Format("<%s|%5s|%-5s|%.2s>", "abc", "abc", "abc", "abc");
    EXPECT_EQ(narrow, "<abc|  abc|abc  |ab>");
    CStringW wide;
    wide.Format(L"<%s|%5s|%-5s|%.2s>", L"abc", L"abc", L"abc", L"abc");
    EXPECT_EQ(wide, L"<abc|  abc|abc  |ab>");
}

TEST(CStringTFormat, TakesTextOfTheOtherWidthForCapitalS)
{
    EXPECT_EQ(formatted("<%S|%hs|%ls>", L"abc", "de", L"fg"), "<abc|de|fg>");
    EXPECT_EQ(formatted(L"<%S|%hs|%ls>", "abc", "de", L"fg"), L"<abc|de|fg>");
}

TEST(CStringTFormat, TakesCharactersOfEitherWidth)
{
    EXPECT_EQ(formatted("%c%C", 'a', L'b'), "ab");
    EXPECT_EQ(formatted(L"%c%C", L'a', 'b'), L"ab");
}

TEST(CStringTFormat, WritesIntegersOfEverySize)
{
    EXPECT_EQ(formatted("%d %u %x %X %o", -5, 5U, 255U, 255U, 8U), "-5 5 ff FF 10");
    EXPECT_EQ(formatted(L"%05d|%-5d|%+d|%#x", 42, 42, 42, 42U), L"00042|42   |+42|0x2a");
    __int64 const large = -9'000'000'000;
    unsigned __int64 const larger = 18'000'000'000'000'000'000U;
    EXPECT_EQ(formatted("%I64d %I64u %lld", large, larger, large), "-9000000000 18000000000000000000 -9000000000");
    EXPECT_EQ(formatted(L"%I64d %I64u %I64X", large, larger, larger),
              L"-9000000000 18000000000000000000 F9CCD8A1C5080000");
}

TEST(CStringTFormat, WritesPointersAsSixteenCapitalDigits)
{
    void* const address = reinterpret_cast<void*>(static_cast<std::uintptr_t>(0xABCDEF));
    EXPECT_EQ(formatted("%p", address), "0000000000ABCDEF");
    EXPECT_EQ(formatted(L"%p", address), L"0000000000ABCDEF");
}

TEST(CStringTFormat, WritesFloatingPointNumbers)
{
    EXPECT_EQ(formatted("%f %.2f %lf", 1.5, 2.25, -0.5), "1.500000 2.25 -0.500000");
    EXPECT_EQ(formatted(L"%8.3f|%g", 3.14159, 0.5), L"   3.142|0.5");
}

TEST(CStringTFormat, WritesAPercentSign)
{
    EXPECT_EQ(formatted("100%%"), "100%");
    EXPECT_EQ(formatted(L"100%%"), L"100%");
}

TEST(CStringTFormat, EmptyFormatsGiveTheEmptyText)
{
    CStringW text(L"old");
    text.Format(L"");
    EXPECT_TRUE(text.IsEmpty());
    text.AppendFormat(L"");
    EXPECT_TRUE(text.IsEmpty());
}

class CStringTFormatLength : public testing::TestWithParam<int>
{
};

// Around the room that a short text has, and far beyond.
INSTANTIATE_TEST_SUITE_P(Lengths, CStringTFormatLength,
                         testing::Values(0, 1, 254, 255, 256, 257, 258, 511, 512, 513, 100'000));

TEST_P(CStringTFormatLength, FormatsTextsOfEveryLengthWhole)
{
    CStringA const narrowPart('x', GetParam());
    CStringA narrow;
    narrow.Format("%s", narrowPart.GetString());
    EXPECT_EQ(narrow, narrowPart);
    narrow.AppendFormat("%s!", narrowPart.GetString());
    EXPECT_EQ(narrow, narrowPart + narrowPart + '!');

    CStringW const widePart(L'x', GetParam());
    CStringW wide;
    wide.Format(L"%s", widePart.GetString());
    EXPECT_EQ(wide, widePart);
    wide.AppendFormat(L"%s!", widePart.GetString());
    EXPECT_EQ(wide, widePart + widePart + L'!');
}

TEST_P(CStringTFormatLength, FormatsItsOwnContentIntoItself)
{
    CStringA narrow('n', GetParam());
    narrow.Format("<%s>", narrow.GetString());
    EXPECT_EQ(narrow, CStringA('<') + CStringA('n', GetParam()) + '>');
    CStringW wide(L'w', GetParam());
    wide.AppendFormat(L"<%s>", wide.GetString());
    EXPECT_EQ(wide, CStringW(L'w', GetParam()) + L'<' + CStringW(L'w', GetParam()) + L'>');
}

TEST(CStringTFormat, TakesItselfAsTheFormat)
{
    CStringA text("%d and %d");
    text.Format(text, 1, 2);
    EXPECT_EQ(text, "1 and 2");
}

TEST(CStringTFormat, FormatsAndAppendsByArgumentList)
{
    EXPECT_EQ(formatByList<CStringA>("%d-%s", 7, "x"), "7-x");
    EXPECT_EQ(formatByList<CStringW>(L"%d-%s", 7, L"x"), L"7-x");
    CStringA narrow("a");
    appendByList(narrow, "%d", 1);
    EXPECT_EQ(narrow, "a1");
    CStringW wide(L"a");
    appendByList(wide, L"%300d", 1);
    EXPECT_EQ(wide.GetLength(), 301);
    EXPECT_EQ(wide[0], L'a');
    EXPECT_EQ(wide[300], L'1');
}

TEST(CStringTFormat, KeepsNulCharactersThatItWrites)
{
    CStringA const text = formatted("a%cb", 0);
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_EQ(text.GetAt(2), 'b');
}

TEST(CStringTFormat, AppendsBehindNulCharacters)
{
    CStringW text(L'\0', 2);
    text.AppendFormat(L"%d", 5);
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_EQ(text.GetAt(2), L'5');
}

TEST(CStringTFormat, RefusesANullFormatAndLeavesTheText)
{
    CStringA narrow("kept");
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, narrow.Format(nullptr));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, narrow.AppendFormat(nullptr));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, formatByList<CStringA>(nullptr));
    EXPECT_EQ(narrow, "kept");
    CStringW wide(L"kept");
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, wide.Format(nullptr));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, wide.AppendFormat(nullptr));
    EXPECT_EQ(wide, L"kept");
}

TEST(CStringTFormat, RefusesATextThatAnIntCannotCountAndLeavesTheText)
{
    CStringA narrow("kept");
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, narrow.Format("%2147483647d%2147483647d", 1, 2));
    EXPECT_EQ(narrow, "kept");
    CStringW wide(L"kept");
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, wide.AppendFormat(L"%2147483647d%2147483647d", 1, 2));
    EXPECT_EQ(wide, L"kept");
}
