#include "orvane/debugging/callstack.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>
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

constexpr int c_Calls = 100;
constexpr int c_Threads = 4;

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

// The library's own walker has them all.
static_assert(CbStackWalkerBase::c_AllOptions == 63);

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

// Its own name and those of its callers say nothing of the capture.
[[gnu::noinline]] void takeOftenInThread(std::vector<std::wstring>& wrong, std::atomic<int>& missing)
{
    --missing;
    while (missing != 0)
    {
        std::this_thread::yield();
    }
    for (int n = 0; n < c_Calls; ++n)
    {
        // Each second stack is skipped as a whole: a thread that were let in between would take the other's number.
        unsigned int const skip = n % 2 == 0 ? 0 : 100000;
        CStringW text;
        Debugging::GetCallStack(text, skip);
        auto const lines = linesIn(text);
        bool const isWhole = skip != 0
                                 ? lines.empty()
                                 : lines.size() > 2 && findLine(lines, L"takeOftenInThread") == lines.size() - 3 &&
                                       findLine(lines, L"GetCallStack") == lines.size() - 2 &&
                                       findLine(lines, L"WalkStack") == lines.size() - 1;
        if (!isWhole)
        {
            wrong.emplace_back(text.GetString());
        }
    }
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

TEST(GetCallStack, KeepsTheStacksOfThreadsApart)
{
    std::vector<std::vector<std::wstring>> wrong(c_Threads);
    std::atomic<int> missing = c_Threads;
    {
        std::vector<std::jthread> threads;
        for (std::vector<std::wstring>& mine : wrong)
        {
            threads.emplace_back(takeOftenInThread, std::ref(mine), std::ref(missing));
        }
    }

    for (std::vector<std::wstring> const& mine : wrong)
    {
        EXPECT_TRUE(mine.empty()) << mine.size() << " of " << c_Calls << ", the first:\n" << mine.front();
    }
}

TEST(GetCallStack, IsTakenFromItsBeginningToItsEndBeforeTheNextOne)
{
    // Holds the lock of the walks until others have come to it.
    class CHolding : public CbStackWalkerBase
    {
    public:
        std::atomic<bool> m_isInside = false;
        std::atomic<int> m_waiting = 0;

    protected:
        void onOutputFrame(wchar_t const*) override
        {
            if (m_isInside.exchange(true))
            {
                return;
            }
            while (m_waiting != 2)
            {
                std::this_thread::yield();
            }
            for (int n = 0; n < 1000; ++n)
            {
                std::this_thread::yield();
            }
        }
    };

    CHolding holding;
    for (int round = 0; round < 10; ++round)
    {
        holding.m_isInside = false;
        holding.m_waiting = 0;
        auto const take = [&holding](CStringW& text, unsigned int skip)
        {
            while (!holding.m_isInside)
            {
                std::this_thread::yield();
            }
            ++holding.m_waiting;
            Debugging::GetCallStack(text, skip);
        };
        CStringW whole;
        CStringW skipped;
        {
            std::jthread const first(take, std::ref(whole), 0);
            std::jthread const second(take, std::ref(skipped), 100000);
            holding.WalkStack();
            holding.m_isInside = true; // a walk without frames lets them go too
        }
        ASSERT_NE(whole.Find(L"WalkStack"), -1) << "round " << round << ": " << whole.GetString();
        ASSERT_STREQ(skipped, L"") << "round " << round;
    }
}

TEST(GetCallStack, UsesAWalkerThatBuildsTheSearchPath)
{
    class COwnPath : public CyStackWalkerOutput
    {
    public:
        std::string m_path;

    protected:
        void onSymbolsReady(char const* searchPath, DWORD, char const*) override
        {
            m_path = searchPath;
        }
    };

    COwnPath walker;
    EXPECT_TRUE(walker.LoadModules());

    EXPECT_NE(walker.m_path.find("SRV*"), std::string::npos) << walker.m_path;
}

TEST(GetCallStack, WorksInStaticInitialisers)
{
    EXPECT_NE(s_startupStack.Find(L"startupStack"), -1) << s_startupStack.GetString();
}
