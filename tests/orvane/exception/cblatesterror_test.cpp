#include "orvane/exception/cblatesterror.h"

#include <cstddef>
#include <cwctype>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include "orvane/exception/trimmedtext.h"
#include "platform/platform.h"
#include "support/layout.h"

static_assert(!std::is_polymorphic_v<CbLatestError>);
static_assert(std::is_copy_constructible_v<CbLatestError> && std::is_copy_assignable_v<CbLatestError>);
static_assert(std::is_nothrow_move_constructible_v<CbLatestError>);
static_assert(std::is_nothrow_move_assignable_v<CbLatestError> && std::is_nothrow_destructible_v<CbLatestError>);

namespace
{
// Numbers with bit 29 set belong to applications; the system has no texts for them.
constexpr unsigned int c_Unknown = 0xE0001234;

struct SLayout
{
    unsigned int number;
    std::wstring message;
};

static_assert(sizeof(CbLatestError) == sizeof(SLayout));

// The system's own text, as it stands; empty where there is none.
std::wstring systemText(unsigned int number)
{
    wchar_t* buffer = nullptr;
    DWORD const length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, number,
                                        0x400, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    std::wstring const text = length != 0 ? std::wstring(buffer, length) : std::wstring();
    if (length != 0)
    {
        LocalFree(buffer);
    }
    return text;
}

std::wstring trimmed(std::wstring text)
{
    while (!text.empty() && std::iswspace(static_cast<std::wint_t>(text.front())))
    {
        text.erase(text.begin());
    }
    while (!text.empty() && std::iswspace(static_cast<std::wint_t>(text.back())))
    {
        text.pop_back();
    }
    return text;
}
} // namespace

TEST(CbLatestErrorConstructor, TakesTheThreadsLastError)
{
    SetLastError(5);
    CbLatestError const error;

    EXPECT_EQ(error.GetLatestErrorNumber(), 5u);
    EXPECT_TRUE(error.IsError());
    EXPECT_EQ(error.GetLatestErrorMessage(), trimmed(systemText(5)));
}

TEST(CbLatestErrorConstructor, TakesAGivenNumberAndNotTheLastError)
{
    SetLastError(5);
    CbLatestError const error(2);

    EXPECT_EQ(error.GetLatestErrorNumber(), 2u);
    EXPECT_TRUE(error.IsError());
    EXPECT_EQ(error.GetLatestErrorMessage(), trimmed(systemText(2)));
}

TEST(CbLatestErrorConstructor, OfZeroIsNoErrorAndHasTheSystemsTextForIt)
{
    CbLatestError const error(0);

    EXPECT_FALSE(error.IsError());
    EXPECT_EQ(error.GetLatestErrorNumber(), 0u);
    EXPECT_STRNE(error.GetLatestErrorMessage(), L"");
    EXPECT_EQ(error.GetLatestErrorMessage(), trimmed(systemText(0)));
}

TEST(CbLatestErrorConstructor, OfAThreadWithoutErrorIsNoError)
{
    SetLastError(0);
    CbLatestError const error;

    EXPECT_FALSE(error.IsError());
    EXPECT_EQ(error.GetLatestErrorNumber(), 0u);
}

TEST(CbLatestErrorConstructor, TakesTheErrorOfItsOwnThread)
{
    SetLastError(1004);
    unsigned int untouched = 0;
    unsigned int own = 0;
    std::thread other(
        [&untouched, &own]
        {
            untouched = CbLatestError().GetLatestErrorNumber();
            SetLastError(2);
            own = CbLatestError().GetLatestErrorNumber();
        });
    other.join();

    EXPECT_NE(untouched, 1004u);
    EXPECT_EQ(own, 2u);
}

TEST(CbLatestErrorConstructor, OfAnUnknownNumberHasNoText)
{
    CbLatestError const error(c_Unknown);

    EXPECT_EQ(error.GetLatestErrorNumber(), c_Unknown);
    EXPECT_TRUE(error.IsError());
    EXPECT_STREQ(error.GetLatestErrorMessage(), L"");
}

TEST(CbLatestErrorMessage, HasNoTrailingLineBreak)
{
    std::wstring const message = CbLatestError(2).GetLatestErrorMessage();

    ASSERT_FALSE(message.empty());
    EXPECT_EQ(message.find_first_of(L"\r\n"), std::wstring::npos);
    // The system's own text has one.
    EXPECT_EQ(systemText(2).back(), L'\n');
}

TEST(CbLatestErrorMessage, IsTheSystemsTextTrimmedForEveryNumber)
{
    int texts = 0;
    for (unsigned int number = 0; number <= 2000; ++number)
    {
        std::wstring const text = systemText(number);
        std::wstring const message = CbLatestError(number).GetLatestErrorMessage();
        EXPECT_EQ(message, trimmed(text)) << number;
        texts += text.empty() ? 0 : 1;
    }

    EXPECT_GE(texts, 10);
}

TEST(CbLatestErrorMessage, StartsAndEndsWithoutWhiteSpaceForEveryNumber)
{
    for (unsigned int number = 0; number <= 2000; ++number)
    {
        std::wstring const message = CbLatestError(number).GetLatestErrorMessage();
        if (!message.empty())
        {
            EXPECT_FALSE(std::iswspace(static_cast<std::wint_t>(message.front()))) << number;
            EXPECT_FALSE(std::iswspace(static_cast<std::wint_t>(message.back()))) << number;
        }
    }
}

// No text of the system's begins with white space or is nothing else.
TEST(CbLatestErrorTrimming, RemovesTheWhiteSpaceAtBothEndsAndNoneBetween)
{
    EXPECT_EQ(detail::trimmedText(L" \t a b\r\n"), L"a b");
    EXPECT_EQ(detail::trimmedText(L"\n\va"), L"a");
    EXPECT_EQ(detail::trimmedText(L"a\f "), L"a");
    EXPECT_EQ(detail::trimmedText(L"a  b"), L"a  b");
}

TEST(CbLatestErrorTrimming, LeavesNothingOfATextOfWhiteSpaceOnly)
{
    EXPECT_EQ(detail::trimmedText(L" \r\n\t"), L"");
    EXPECT_EQ(detail::trimmedText(L" "), L"");
    EXPECT_EQ(detail::trimmedText(L""), L"");
}

TEST(CbLatestErrorTrimming, LooksNoFurtherThanTheText)
{
    std::wstring_view const more = L" a  b ";

    EXPECT_EQ(detail::trimmedText(more.substr(0, 1)), L"");
    EXPECT_EQ(detail::trimmedText(more.substr(2, 1)), L"");
    EXPECT_EQ(detail::trimmedText(more.substr(1, 2)), L"a");
}

TEST(CbLatestErrorUpdate, TakesTheLastErrorAnew)
{
    CbLatestError error(2);
    SetLastError(5);
    error.Update();

    EXPECT_EQ(error.GetLatestErrorNumber(), 5u);
    EXPECT_EQ(error.GetLatestErrorMessage(), trimmed(systemText(5)));
}

TEST(CbLatestErrorUpdate, ToNoErrorTakesTheTextOfZero)
{
    CbLatestError error(2);
    SetLastError(0);
    error.Update();

    EXPECT_FALSE(error.IsError());
    EXPECT_EQ(error.GetLatestErrorMessage(), trimmed(systemText(0)));
}

TEST(CbLatestErrorUpdate, ToAnUnknownNumberKeepsTheEarlierText)
{
    CbLatestError error(2);
    SetLastError(c_Unknown);
    error.Update();

    EXPECT_EQ(error.GetLatestErrorNumber(), c_Unknown);
    EXPECT_TRUE(error.IsError());
    EXPECT_EQ(error.GetLatestErrorMessage(), trimmed(systemText(2)));
}

TEST(CbLatestErrorUpdate, FromAnUnknownToAKnownNumberFindsTheText)
{
    CbLatestError error(c_Unknown);
    SetLastError(2);
    error.Update();

    EXPECT_EQ(error.GetLatestErrorMessage(), trimmed(systemText(2)));
}

TEST(CbLatestErrorLastError, StaysAsItWasWhateverIsAsked)
{
    for (unsigned int const number : {0u, 2u, 5u, c_Unknown})
    {
        SetLastError(number);
        CbLatestError error;
        EXPECT_EQ(GetLastError(), number) << "default constructor";
        CbLatestError const given(c_Unknown);
        EXPECT_EQ(GetLastError(), number) << "constructor from an unknown number";
        CbLatestError const known(2);
        EXPECT_EQ(GetLastError(), number) << "constructor from a known number";
        error.Update();
        EXPECT_EQ(GetLastError(), number) << "Update";
        static_cast<void>(error.GetLatestErrorMessage());
        CbLatestError copy(error);
        copy = given;
        EXPECT_EQ(GetLastError(), number) << "copies";
    }
}

TEST(CbLatestErrorCopy, HasNumberAndText)
{
    CbLatestError const original(2);
    SetLastError(5);
    CbLatestError const copy(original);
    CbLatestError assigned(5);
    assigned = original;

    EXPECT_EQ(copy.GetLatestErrorNumber(), 2u);
    EXPECT_STREQ(copy.GetLatestErrorMessage(), original.GetLatestErrorMessage());
    EXPECT_EQ(assigned.GetLatestErrorNumber(), 2u);
    EXPECT_STREQ(assigned.GetLatestErrorMessage(), original.GetLatestErrorMessage());
}

TEST(CbLatestErrorCopy, TakesAKeptTextAlong)
{
    CbLatestError original(2);
    SetLastError(c_Unknown);
    original.Update();
    CbLatestError const copy(original);

    // A copy that asked the system again would have none.
    EXPECT_EQ(copy.GetLatestErrorNumber(), c_Unknown);
    EXPECT_EQ(copy.GetLatestErrorMessage(), trimmed(systemText(2)));
}

TEST(CbLatestErrorCopy, ByMoveHasNumberAndText)
{
    CbLatestError source(2);
    CbLatestError target(std::move(source));
    EXPECT_EQ(target.GetLatestErrorNumber(), 2u);
    EXPECT_EQ(target.GetLatestErrorMessage(), trimmed(systemText(2)));

    CbLatestError assigned(5);
    assigned = std::move(target);
    EXPECT_EQ(assigned.GetLatestErrorNumber(), 2u);
    EXPECT_EQ(assigned.GetLatestErrorMessage(), trimmed(systemText(2)));
}

TEST(CbLatestErrorLayout, HoldsTheNumberFirst)
{
    CbLatestError const error(2);

    EXPECT_EQ(fieldAt<unsigned int>(&error, offsetof(SLayout, number)), 2u);
    EXPECT_EQ(fieldAt<std::wstring>(&error, offsetof(SLayout, message)), error.GetLatestErrorMessage());
}
