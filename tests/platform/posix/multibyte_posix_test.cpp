// Where Wine is not as strict as Windows documents, and what follows from wide characters of 32 bits.

#include <string>
#include <string_view>

#include "platform/platform.h"
#include "gtest/gtest.h"

namespace
{
std::wstring toWide(std::string_view text)
{
    wchar_t target[64];
    const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), target, 64);
    return {target, static_cast<std::size_t>(length)};
}
} // namespace

TEST(MultiByteToWideCharOnLinux, CountsAFaultForEachByteOfWhatCannotBeEncoded)
{
    EXPECT_EQ(toWide("\xED\xA0\x80"), L"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(toWide("\xF4\x90\x80\x80"), L"\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(toWide("\xE0\x9F\xBF"), L"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(toWide("\xF0\x8F\xBF\xBF"), L"\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(toWide("\xF5\x80\x80\x80"), L"\uFFFD\uFFFD\uFFFD\uFFFD");
}

TEST(MultiByteToWideCharOnLinux, TakesTheProcessCodePageForUtf8)
{
    EXPECT_EQ(toWide("\xE2\x82\xAC"), L"\u20AC");
}

TEST(MultiByteToWideCharOnLinux, GivesOneCharacterForACodePoint)
{
    EXPECT_EQ(toWide("\xF0\x9F\x98\x80").size(), 1u);
}

TEST(MultiByteToWideCharOnLinux, RefusesTheTextAsItsOwnTarget)
{
    wchar_t both[8] = L"abc";
    SetLastError(77);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<char*>(both), 3, both, 8), 0);
    EXPECT_EQ(GetLastError(), 87u);
    SetLastError(77);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, both, 3, reinterpret_cast<char*>(both), 8, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(WideCharToMultiByteOnLinux, RefusesDefaultCharacters)
{
    char target[8];
    BOOL isUsed = FALSE;
    SetLastError(77);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, L"abc", 3, target, 8, "?", nullptr), 0);
    EXPECT_EQ(GetLastError(), 87u);
    SetLastError(77);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"abc", 3, target, 8, nullptr, &isUsed), 0);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(WideCharToMultiByteOnLinux, ReplacesWhatLiesBeyondTheLastCodePoint)
{
    char target[8];
    for (const wchar_t character : {static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)})
    {
        EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, &character, 1, nullptr, 0, nullptr, nullptr), 3);
        EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, &character, 1, target, 8, nullptr, nullptr), 3);
        EXPECT_EQ(std::string(target, 3), "\xEF\xBF\xBD");
        SetLastError(77);
        EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, &character, 1, target, 8, nullptr, nullptr), 0);
        EXPECT_EQ(GetLastError(), 1113u);
    }
}
