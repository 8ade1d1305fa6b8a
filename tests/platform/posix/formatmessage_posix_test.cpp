// The wording, which Wine does not share with Windows, and what this layer refuses where the system offers more.

#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "platform/platform.h"
#include "gtest/gtest.h"

namespace
{
constexpr DWORD c_SystemText = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;

std::wstring getText(DWORD number)
{
    wchar_t buffer[256] = L"";
    FormatMessageW(c_SystemText, nullptr, number, 0, buffer, 256, nullptr);
    return buffer;
}

DWORD getError(DWORD flags, va_list* arguments = nullptr, DWORD number = 193)
{
    wchar_t buffer[256] = L"";
    SetLastError(77);
    EXPECT_EQ(FormatMessageW(flags, nullptr, number, 0, buffer, 256, arguments), 0u);
    return GetLastError();
}

DWORD getErrorWithArguments(int count, ...)
{
    va_list arguments;
    va_start(arguments, count);
    const DWORD error = getError(FORMAT_MESSAGE_FROM_SYSTEM, &arguments);
    va_end(arguments);
    return error;
}
} // namespace

TEST(FormatMessageOnLinux, SpeaksAsWindowsDoes)
{
    EXPECT_EQ(getText(0), L"The operation completed successfully.\r\n");
    EXPECT_EQ(getText(2), L"The system cannot find the file specified.\r\n");
    EXPECT_EQ(getText(5), L"Access is denied.\r\n");
    EXPECT_EQ(getText(6), L"The handle is invalid.\r\n");
    EXPECT_EQ(getText(87), L"The parameter is incorrect.\r\n");
    EXPECT_EQ(getText(122), L"The data area passed to a system call is too small.\r\n");
    EXPECT_EQ(getText(126), L"The specified module could not be found.\r\n");
    EXPECT_EQ(getText(156), L"The recipient process has refused the signal.\r\n");
    EXPECT_EQ(getText(183), L"Cannot create a file when that file already exists.\r\n");
    EXPECT_EQ(getText(193), L"%1 is not a valid Win32 application.\r\n");
    EXPECT_EQ(getText(258), L"The wait operation timed out.\r\n");
    EXPECT_EQ(getText(288), L"Attempt to release mutex not owned by caller.\r\n");
    EXPECT_EQ(getText(298), L"Too many posts were made to a semaphore.\r\n");
    EXPECT_EQ(getText(1004), L"Invalid flags.\r\n");
    EXPECT_EQ(getText(1114), L"A dynamic link library (DLL) initialization routine failed.\r\n");
    EXPECT_EQ(getText(1815), L"The specified resource language ID cannot be found in the image file.\r\n");
}

TEST(FormatMessageOnLinux, HasATextForEachErrorThatTheLayerNames)
{
    std::regex const error("constexpr DWORD (ERROR_[A-Z0-9_]+) = ([0-9]+);");
    int found = 0;
    for (auto const& header : std::filesystem::directory_iterator(PLATFORM_HEADERS))
    {
        std::ifstream file(header.path());
        for (std::string line; std::getline(file, line);)
        {
            std::smatch match;
            if (std::regex_match(line, match, error))
            {
                ++found;
                EXPECT_NE(getText(static_cast<DWORD>(std::stoul(match[2]))), L"") << match[1];
            }
        }
    }
    EXPECT_GE(found, 45) << "of " << PLATFORM_HEADERS;
}

TEST(FormatMessageOnLinux, HasTextsOfTwoLines)
{
    EXPECT_EQ(getText(34), L"The wrong diskette is in the drive.\r\nInsert %2 (Volume Serial Number: %3) into drive "
                           L"%1.\r\n");
    wchar_t buffer[256] = L"";
    FormatMessageW(c_SystemText | FORMAT_MESSAGE_MAX_WIDTH_MASK, nullptr, 34, 0, buffer, 256, nullptr);
    EXPECT_STREQ(buffer, L"The wrong diskette is in the drive. Insert %2 (Volume Serial Number: %3) into drive %1. ");
}

TEST(FormatMessageOnLinux, RefusesInsertsInEachTextThatHasThem)
{
    for (const DWORD number : {34u, 129u, 193u, 317u})
    {
        EXPECT_EQ(getError(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, number), 87u) << number;
    }
}

TEST(FormatMessageOnLinux, DoesNotSupportInsertsWithArguments)
{
    EXPECT_EQ(getErrorWithArguments(1, L"a.exe"), 50u);
}

TEST(FormatMessageOnLinux, DoesNotSupportOtherSourcesArraysAndWidths)
{
    EXPECT_EQ(getError(FORMAT_MESSAGE_FROM_STRING), 50u);
    EXPECT_EQ(getError(FORMAT_MESSAGE_FROM_HMODULE), 50u);
    EXPECT_EQ(getError(c_SystemText | FORMAT_MESSAGE_FROM_STRING), 50u);
    EXPECT_EQ(getError(c_SystemText | FORMAT_MESSAGE_ARGUMENT_ARRAY), 50u);
    EXPECT_EQ(getError(c_SystemText | 40), 50u);
}

TEST(FormatMessageOnLinux, RefusesUnknownFlagsAndOtherLanguages)
{
    EXPECT_EQ(getError(c_SystemText | 0x8000), 87u);
    wchar_t buffer[256];
    SetLastError(77);
    EXPECT_EQ(FormatMessageW(c_SystemText, nullptr, 5, 0x407, buffer, 256, nullptr), 0u);
    EXPECT_EQ(GetLastError(), 1815u);
}

TEST(FormatMessageOnLinux, LeavesABufferAloneThatIsTooSmall)
{
    wchar_t buffer[8] = L"#######";
    EXPECT_EQ(FormatMessageW(c_SystemText, nullptr, 5, 0, buffer, 8, nullptr), 0u);
    EXPECT_STREQ(buffer, L"#######");
}
