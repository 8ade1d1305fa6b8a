#include "orvane/debugging/callstack.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/debugging/cbstackwalkerbase.h"
#include "orvane/debugging/cystackwalkeroutput.h"

namespace
{
std::vector<std::wstring> linesIn(CStringW const& text)
{
    std::vector<std::wstring> lines;
    std::wstring rest(text.GetString());
    for (std::size_t end = rest.find(L'\n'); end != std::wstring::npos; end = rest.find(L'\n'))
    {
        lines.push_back(rest.substr(0, end));
        rest.erase(0, end + 1);
    }
    EXPECT_TRUE(rest.empty()) << "the last line has no end";
    return lines;
}

bool holds(std::wstring const& line, wchar_t const* text)
{
    return line.find(text) != std::wstring::npos;
}

std::size_t findLine(std::vector<std::wstring> const& lines, wchar_t const* text)
{
    for (std::size_t n = 0; n < lines.size(); ++n)
    {
        if (holds(lines[n], text))
        {
            return n;
        }
    }
    return lines.size();
}

// Kept from being merged or left out by the compiler.
int volatile s_depth = 0;

[[gnu::noinline]] CStringW startupStack()
{
    CStringW text;
    Debugging::GetCallStack(text, 0);
    return text;
}

CStringW const s_startupStack = startupStack();
} // namespace

[[gnu::noinline]] void takeInInnerStep(CStringW& text, unsigned int skip)
{
    Debugging::GetCallStack(text, skip);
    s_depth = s_depth + 1;
}

[[gnu::noinline]] void takeInOuterStep(CStringW& text, unsigned int skip)
{
    takeInInnerStep(text, skip);
    s_depth = s_depth + 1;
}

[[gnu::noinline]] void takeRecursively(CStringW& text, int depth)
{
    if (depth == 0)
    {
        Debugging::GetCallStack(text, 0);
    }
    else
    {
        takeRecursively(text, depth - 1);
    }
    s_depth = s_depth + 1;
}

TEST(GetCallStack, NamesFunctionsOutermostFirst)
{
    CStringW text;

    takeInOuterStep(text, 0);

    auto const lines = linesIn(text);
    std::size_t const outer = findLine(lines, L"takeInOuterStep");
    std::size_t const inner = findLine(lines, L"takeInInnerStep");
    ASSERT_LT(inner, lines.size()) << text.GetString();
    EXPECT_LT(outer, inner);
    EXPECT_LT(findLine(lines, L"main"), outer);
}

TEST(GetCallStack, NamesFileAndLine)
{
    CStringW text;

    takeInOuterStep(text, 0);

    auto const lines = linesIn(text);
    std::size_t const inner = findLine(lines, L"takeInInnerStep");
    ASSERT_LT(inner, lines.size());
    EXPECT_TRUE(holds(lines[inner], L"callstack_test.cpp (")) << lines[inner];
}

TEST(GetCallStack, EndsInTheTwoFramesOfTheCaptureItself)
{
    CStringW text;

    takeInOuterStep(text, 0);

    auto const lines = linesIn(text);
    ASSERT_GE(lines.size(), 3);
    EXPECT_TRUE(holds(lines[lines.size() - 1], L"WalkStack")) << lines.back();
    EXPECT_TRUE(holds(lines[lines.size() - 2], L"GetCallStack"));
    EXPECT_TRUE(holds(lines[lines.size() - 3], L"takeInInnerStep"));
}

TEST(GetCallStack, LeavesOutTheInnermostLinesThatAreSkipped)
{
    CStringW whole;
    CStringW shortened;
    unsigned int const skips[] = {0, 3};

    // One call site for both: the lines are the same then.
    for (unsigned int const skip : skips)
    {
        takeInOuterStep(skip == 0 ? whole : shortened, skip);
    }

    auto expected = linesIn(whole);
    expected.resize(expected.size() - 3);
    EXPECT_EQ(linesIn(shortened), expected);
    EXPECT_TRUE(holds(expected.back(), L"takeInOuterStep"));
}

TEST(GetCallStack, IsEmptyWhereMoreIsSkippedThanThereIs)
{
    CStringW text(L"before");
    Debugging::GetCallStack(text, 100000);
    EXPECT_STREQ(text, L"");

    Debugging::GetCallStack(text, 0xFFFFFFFF);
    EXPECT_STREQ(text, L"");
}

TEST(GetCallStack, ReplacesTheText)
{
    CStringW text(L"before");

    Debugging::GetCallStack(text, 0);

    EXPECT_EQ(text.Find(L"before"), -1);
    EXPECT_FALSE(text.IsEmpty());
}

TEST(GetCallStack, EndsAtAFunctionThatCallsItself)
{
    CStringW text;

    takeRecursively(text, 5);

    auto const lines = linesIn(text);
    ASSERT_FALSE(lines.empty());
    EXPECT_LE(lines.size(), 4) << text.GetString();
    EXPECT_TRUE(holds(lines.back(), L"WalkStack"));
}

TEST(GetCallStack, IsWholeAfterAnotherWalkerCameAndWent)
{
    class CClientsWalker : public CbStackWalkerBase
    {
    };

    CStringW text;
    takeInOuterStep(text, 0);
    ASSERT_NE(text.Find(L"takeInOuterStep"), -1) << text.GetString();
    {
        CClientsWalker walker;
        EXPECT_TRUE(walker.WalkStack());
    }

    takeInOuterStep(text, 0);

    EXPECT_NE(text.Find(L"takeInOuterStep"), -1) << text.GetString();
}

TEST(GetCallStack, IsWholeAfterAnotherWalkerOfTheProcessesOwnHandle)
{
    class CClientsWalker : public CbStackWalkerBase
    {
    public:
        CClientsWalker() : CbStackWalkerBase(0, nullptr, GetCurrentProcessId(), GetCurrentProcess())
        {
        }
    };

    CStringW text;
    takeInOuterStep(text, 0);
    {
        CClientsWalker walker;
        EXPECT_TRUE(walker.WalkStack());
    }

    takeInOuterStep(text, 0);

    EXPECT_NE(text.Find(L"takeInOuterStep"), -1) << text.GetString();
}

TEST(GetCallStack, IsWholeAfterAnotherCollectingWalkerCameAndWent)
{
    CStringW text;
    takeInOuterStep(text, 0);
    {
        CyStackWalkerOutput walker;
        EXPECT_TRUE(walker.WalkStack());
    }

    takeInOuterStep(text, 0);

    EXPECT_NE(text.Find(L"takeInOuterStep"), -1) << text.GetString();
}

TEST(GetCallStack, WorksInStaticInitialisers)
{
    EXPECT_NE(s_startupStack.Find(L"startupStack"), -1) << s_startupStack.GetString();
}
