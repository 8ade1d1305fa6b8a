// Wine words the system's texts in its own way ("Access denied."): what both systems share is checked here.

#include <cwchar>
#include <string>

#include "platform/platform.h"
#include "gtest/gtest.h"

namespace
{
constexpr DWORD c_System = FORMAT_MESSAGE_FROM_SYSTEM;
constexpr DWORD c_SystemText = c_System | FORMAT_MESSAGE_IGNORE_INSERTS;

// The text by an allocated buffer; empty on failure, with the last error in `error`.
std::wstring getText(DWORD flags, DWORD number, DWORD language, DWORD& error)
{
    wchar_t* block = nullptr;
    SetLastError(77);
    const DWORD length = FormatMessageW(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER, nullptr, number, language,
                                        reinterpret_cast<wchar_t*>(&block), 0, nullptr);
    error = GetLastError();
    if (length == 0)
    {
        EXPECT_EQ(block, nullptr);
        return {};
    }
    EXPECT_EQ(std::wcslen(block), length);
    std::wstring text = block;
    EXPECT_EQ(LocalFree(block), nullptr);
    return text;
}

class SystemText : public testing::TestWithParam<DWORD>
{
};
} // namespace

TEST_P(SystemText, EndsInALineBreakAndLeavesTheLastError)
{
    DWORD error = 0;
    const std::wstring text = getText(c_SystemText, GetParam(), 0x400, error);
    EXPECT_EQ(error, 77u);
    ASSERT_GT(text.size(), 2u);
    EXPECT_EQ(text.substr(text.size() - 2), L"\r\n");
    EXPECT_EQ(text.find(L'\n'), text.size() - 1);
}

// 258 is missing: Wine has no text for it.
INSTANTIATE_TEST_SUITE_P(Numbers, SystemText,
                         testing::Values(0, 1, 2, 3, 4, 5, 6, 8, 13, 14, 15, 18, 32, 50, 80, 87, 112, 120, 122, 123,
                                         126, 127, 183, 193, 203, 288, 298, 487, 995, 998, 1004, 1113, 1114, 1168,
                                         1460),
                         testing::PrintToStringParamName());

TEST(FormatMessage, FailsFor317WhenANumberHasNoText)
{
    DWORD error = 0;
    EXPECT_EQ(getText(c_SystemText, 4242, 0, error), L"");
    EXPECT_EQ(error, 317u);
    EXPECT_EQ(getText(c_SystemText, 0xFFFFFFFF, 0, error), L"");
    EXPECT_EQ(error, 317u);
}

TEST(FormatMessage, RefusesATextWithInsertsWithoutArguments)
{
    DWORD error = 0;
    EXPECT_EQ(getText(c_System, 193, 0, error), L"");
    EXPECT_EQ(error, 87u);
}

TEST(FormatMessage, LeavesInsertsAsTheyAreWhenToldTo)
{
    DWORD error = 0;
    EXPECT_NE(getText(c_SystemText, 193, 0, error).find(L"%1"), std::wstring::npos);
}

TEST(FormatMessage, NeedsNoFlagForATextWithoutInserts)
{
    DWORD error = 0;
    EXPECT_NE(getText(c_System, 5, 0, error), L"");
}

TEST(FormatMessage, KnowsTheNeutralLanguageAndEnglish)
{
    DWORD error = 0;
    const std::wstring text = getText(c_SystemText, 5, 0, error);
    EXPECT_NE(text, L"");
    EXPECT_EQ(getText(c_SystemText, 5, 0x400, error), text);
    EXPECT_EQ(getText(c_SystemText, 5, 0x409, error), text);
}

TEST(FormatMessage, FailsFor1815InALanguageThatItDoesNotKnow)
{
    DWORD error = 0;
    EXPECT_EQ(getText(c_SystemText, 5, 0x9999, error), L"");
    EXPECT_EQ(error, 1815u);
}

TEST(FormatMessage, TurnsLineBreaksIntoBlanksWithoutAWidth)
{
    DWORD error = 0;
    std::wstring text = getText(c_SystemText, 5, 0, error);
    text.replace(text.size() - 2, 2, L" ");
    EXPECT_EQ(getText(c_SystemText | FORMAT_MESSAGE_MAX_WIDTH_MASK, 5, 0, error), text);
}

TEST(FormatMessage, WritesIntoTheCallersBuffer)
{
    wchar_t buffer[128];
    SetLastError(77);
    const DWORD length = FormatMessageW(c_SystemText, nullptr, 5, 0, buffer, 128, nullptr);
    ASSERT_GT(length, 0u);
    EXPECT_EQ(std::wcslen(buffer), length);
    EXPECT_EQ(GetLastError(), 77u);
}

TEST(FormatMessage, NeedsRoomForTheFinalNull)
{
    wchar_t buffer[128];
    const DWORD length = FormatMessageW(c_SystemText, nullptr, 5, 0, buffer, 128, nullptr);
    EXPECT_EQ(FormatMessageW(c_SystemText, nullptr, 5, 0, buffer, length + 1, nullptr), length);
    for (const DWORD size : {length, DWORD{1}, DWORD{0}})
    {
        SetLastError(77);
        EXPECT_EQ(FormatMessageW(c_SystemText, nullptr, 5, 0, buffer, size, nullptr), 0u);
        EXPECT_EQ(GetLastError(), 122u);
    }
}

TEST(FormatMessage, AllocatesAtLeastTheSizeAskedFor)
{
    wchar_t* block = nullptr;
    const DWORD length = FormatMessageW(c_SystemText | FORMAT_MESSAGE_ALLOCATE_BUFFER, nullptr, 5, 0,
                                        reinterpret_cast<wchar_t*>(&block), 1000, nullptr);
    ASSERT_GT(length, 0u);
    std::wmemset(block, L'x', 1000); // the sanitizer's business
    LocalFree(block);
}

TEST(FormatMessage, RefusesMissingSourcesAndBuffers)
{
    wchar_t buffer[128];
    SetLastError(77);
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, 5, 0, buffer, 128, nullptr), 0u);
    EXPECT_EQ(GetLastError(), 87u);
    SetLastError(77);
    EXPECT_EQ(FormatMessageW(c_SystemText, nullptr, 5, 0, nullptr, 128, nullptr), 0u);
    EXPECT_EQ(GetLastError(), 87u);
    SetLastError(77);
    EXPECT_EQ(FormatMessageW(c_SystemText | FORMAT_MESSAGE_ALLOCATE_BUFFER, nullptr, 5, 0, nullptr, 128, nullptr), 0u);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(LocalFree, DoesNoHarmWithNull)
{
    EXPECT_EQ(LocalFree(nullptr), nullptr);
}
