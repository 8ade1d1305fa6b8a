#include <ostream>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "gtest/gtest.h"

namespace
{
std::wstring toWide(std::string_view text, DWORD flags = 0)
{
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_UTF8, flags, text.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'#');
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, flags, text.data(), length, wide.data(), size), size);
    return wide;
}

std::string toUtf8(std::wstring_view text, DWORD flags = 0)
{
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '#');
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, flags, text.data(), length, narrow.data(), size, nullptr, nullptr), size);
    return narrow;
}

struct SPair
{
    char const* name;
    std::string_view utf8;
    std::wstring_view wide;
};

void PrintTo(SPair const& pair, std::ostream* out)
{
    *out << pair.name;
}

std::string getName(testing::TestParamInfo<SPair> const& info)
{
    return info.param.name;
}

class WellFormedText : public testing::TestWithParam<SPair>
{
};

class MalformedText : public testing::TestWithParam<SPair>
{
};

using namespace std::string_view_literals;
constexpr SPair c_WellFormed[] = {
    {"OneLetter", "a", L"a"},
    {"NullInside", "a\0b"sv, L"a\0b"sv},
    {"LastOfOneByte", "\x7F", L"\x7F"},
    {"FirstOfTwoBytes", "\xC2\x80", L"\x80"},
    {"LastOfTwoBytes", "\xDF\xBF", L"\x7FF"},
    {"FirstOfThreeBytes", "\xE0\xA0\x80", L"\x800"},
    {"BeforeTheSurrogates", "\xED\x9F\xBF", L"\xD7FF"},
    {"BehindTheSurrogates", "\xEE\x80\x80", L"\xE000"},
    {"LastOfThreeBytes", "\xEF\xBF\xBF", L"\xFFFF"},
    {"FirstOfFourBytes", "\xF0\x90\x80\x80", L"\U00010000"},
    {"LastCodePoint", "\xF4\x8F\xBF\xBF", L"\U0010FFFF"},
    {"Mixed", "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80!", L"gr\u00FC\u00DF \u20AC \U0001F600!"},
    {"FifteenLetters", "abcdefghijklmno", L"abcdefghijklmno"},
    {"SixteenLetters", "abcdefghijklmnop", L"abcdefghijklmnop"},
    {"SeventeenLetters", "abcdefghijklmnopq", L"abcdefghijklmnopq"},
    {"OtherAtTheEndOfABlock", "abcdefghijklmn\xC3\xBC", L"abcdefghijklmn\u00FC"},
    {"OtherAcrossABlock",
     "abcdefghijklmno\xC3\xBC"
     "abcdefghijklmnopqr",
     L"abcdefghijklmno\u00FC"
     L"abcdefghijklmnopqr"},
    {"OtherBehindABlock", "abcdefghijklmnop\xE2\x82\xAC", L"abcdefghijklmnop\u20AC"},
    {"FortyLetters", "abcdefghijklmnopqrstuvwxyzabcdefghijklmn", L"abcdefghijklmnopqrstuvwxyzabcdefghijklmn"},
};

// Wine takes an encoded surrogate (ED A0 80) for two faults and a value beyond the last code point (F4 90 80 80) for
// three; Windows, as Unicode recommends, counts a fault for each byte of them. Neither stands here.
constexpr SPair c_Malformed[] = {
    {"LoneByte", "\xFF", L"\uFFFD"},
    {"LoneContinuations", "\x80\x80", L"\uFFFD\uFFFD"},
    {"OverlongNull", "\xC0\x80", L"\uFFFD\uFFFD"},
    {"TwoBytesCutShort", "a\xC3", L"a\uFFFD"},
    {"ThreeBytesCutShort", "\xE2\x82", L"\uFFFD"},
    {"ThreeBytesBrokenOff", "\xE2\x82z", L"\uFFFDz"},
    {"ThreeBytesBrokenOffEarly", "\xE2(\xA1", L"\uFFFD(\uFFFD"},
    {"FourBytesCutShort", "\xF0\x9F\x98", L"\uFFFD"},
    {"FourBytesBrokenOff", "\xF0\x9F\x98z", L"\uFFFDz"},
    {"FiveByteForm", "\xF8\x88\x80\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"BehindABlock", "abcdefghijklmnop\xFFz", L"abcdefghijklmnop\uFFFDz"},
};
} // namespace

TEST_P(WellFormedText, IsConvertedToWideText)
{
    EXPECT_EQ(toWide(GetParam().utf8), GetParam().wide);
    EXPECT_EQ(toWide(GetParam().utf8, MB_ERR_INVALID_CHARS), GetParam().wide);
}

TEST_P(WellFormedText, IsConvertedToUtf8)
{
    EXPECT_EQ(toUtf8(GetParam().wide), GetParam().utf8);
    EXPECT_EQ(toUtf8(GetParam().wide, WC_ERR_INVALID_CHARS), GetParam().utf8);
}

TEST_P(WellFormedText, DoesNotFitIntoOneCharacterLess)
{
    const std::string_view utf8Text = GetParam().utf8;
    const int utf8Length = static_cast<int>(utf8Text.size());
    const int wideLength = static_cast<int>(GetParam().wide.size());
    std::wstring wide(GetParam().wide.size(), L'#');
    std::string utf8(GetParam().utf8.size(), '#');
    // Wine lets the first half of a surrogate pair stand where the second one has no room.
    const bool endsInFourBytes = utf8Length >= 4 && static_cast<unsigned char>(utf8Text[utf8Text.size() - 4]) >= 0xF0;
    if (wideLength > 1 && !endsInFourBytes)
    {
        SetLastError(77);
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, utf8Text.data(), utf8Length, wide.data(), wideLength - 1), 0);
        EXPECT_EQ(GetLastError(), 122u);
        EXPECT_EQ(wide.back(), L'#');
    }
    if (utf8Length > 1)
    {
        SetLastError(77);
        EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, GetParam().wide.data(), wideLength, utf8.data(), utf8Length - 1,
                                      nullptr, nullptr),
                  0);
        EXPECT_EQ(GetLastError(), 122u);
        EXPECT_EQ(utf8.back(), '#');
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, WellFormedText, testing::ValuesIn(c_WellFormed), getName);

TEST_P(MalformedText, IsReplacedPartByPart)
{
    EXPECT_EQ(toWide(GetParam().utf8), GetParam().wide);
}

TEST_P(MalformedText, FailsFor1113WhenItIsRefused)
{
    wchar_t target[64];
    const int length = static_cast<int>(GetParam().utf8.size());
    SetLastError(77);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, GetParam().utf8.data(), length, target, 64), 0);
    EXPECT_EQ(GetLastError(), 1113u);
    SetLastError(77);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, GetParam().utf8.data(), length, nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), 1113u);
}

INSTANTIATE_TEST_SUITE_P(Rows, MalformedText, testing::ValuesIn(c_Malformed), getName);

TEST(MultiByteToWideChar, CountsTheFinalNullOfATextWithoutALength)
{
    wchar_t target[4] = {L'#', L'#', L'#', L'#'};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, nullptr, 0), 4);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, target, 4), 4);
    EXPECT_STREQ(target, L"abc");
}

TEST(MultiByteToWideChar, WritesNoNullAfterATextWithALength)
{
    wchar_t target[4] = {L'#', L'#', L'#', L'#'};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, target, 4), 3);
    EXPECT_EQ(target[3], L'#');
}

TEST(MultiByteToWideChar, TakesTheProcessCodePage)
{
    wchar_t target[4];
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", -1, target, 4), 4);
    EXPECT_STREQ(target, L"abc");
}

TEST(MultiByteToWideChar, LeavesTheLastErrorOnSuccess)
{
    wchar_t target[4];
    SetLastError(77);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, target, 4), 3);
    EXPECT_EQ(GetLastError(), 77u);
}

TEST(MultiByteToWideChar, RefusesArgumentsWithoutAMeaning)
{
    wchar_t target[4];
    const auto getError = [&target](UINT codePage, char const* text, int length, wchar_t* to, int size)
    {
        SetLastError(77);
        EXPECT_EQ(MultiByteToWideChar(codePage, 0, text, length, to, size), 0);
        return GetLastError();
    };
    EXPECT_EQ(getError(12345, "abc", 3, target, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, "abc", 0, target, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, nullptr, 3, target, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, nullptr, -1, target, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, "abc", 3, nullptr, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, "abc", 3, target, -1), 87u);
}

TEST(MultiByteToWideChar, RefusesUnknownFlags)
{
    wchar_t target[4];
    SetLastError(77);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0x10, "abc", 3, target, 4), 0);
    EXPECT_EQ(GetLastError(), 1004u);
}

TEST(WideCharToMultiByte, CountsTheFinalNullOfATextWithoutALength)
{
    char target[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"abc", -1, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"abc", -1, target, 4, nullptr, nullptr), 4);
    EXPECT_STREQ(target, "abc");
}

TEST(WideCharToMultiByte, TakesTheProcessCodePage)
{
    char target[4];
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"abc", -1, target, 4, nullptr, nullptr), 4);
    EXPECT_STREQ(target, "abc");
}

TEST(WideCharToMultiByte, ReplacesALoneSurrogate)
{
    const wchar_t text[] = {L'a', static_cast<wchar_t>(0xD800), L'b'};
    EXPECT_EQ(toUtf8({text, 3}), "a\xEF\xBF\xBD"
                                 "b");
    const wchar_t low[] = {static_cast<wchar_t>(0xDFFF), L'b'};
    EXPECT_EQ(toUtf8({low, 2}), "\xEF\xBF\xBD"
                                "b");
}

TEST(WideCharToMultiByte, FailsFor1113WhenALoneSurrogateIsRefused)
{
    char target[8];
    const wchar_t text[] = {L'a', static_cast<wchar_t>(0xD800)};
    SetLastError(77);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text, 2, target, 8, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), 1113u);
    SetLastError(77);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text, 2, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), 1113u);
}

TEST(WideCharToMultiByte, RefusesArgumentsWithoutAMeaning)
{
    char target[4];
    const auto getError = [](UINT codePage, wchar_t const* text, int length, char* to, int size)
    {
        SetLastError(77);
        EXPECT_EQ(WideCharToMultiByte(codePage, 0, text, length, to, size, nullptr, nullptr), 0);
        return GetLastError();
    };
    EXPECT_EQ(getError(12345, L"abc", 3, target, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, L"abc", 0, target, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, nullptr, 3, target, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, L"abc", 3, nullptr, 4), 87u);
    EXPECT_EQ(getError(CP_UTF8, L"abc", 3, target, -1), 87u);
}

TEST(WideCharToMultiByte, RefusesUnknownFlags)
{
    char target[4];
    SetLastError(77);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0x10000, L"abc", 3, target, 4, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), 1004u);
}
