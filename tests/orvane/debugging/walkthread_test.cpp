// Walks of other threads, which are stopped meanwhile.

#include <atomic>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "mfc/cstringt.h"
#include "orvane/debugging/callstack.h"
#include "orvane/debugging/cbstackwalkerbase.h"

namespace
{
constexpr unsigned int c_PatienceMs = 60000;
constexpr int c_Rounds = 200;
constexpr int c_Depth = 5000; // even

// A session of its own with the support library: a duplicate of the process's handle.
HANDLE ownProcess()
{
    HANDLE duplicate = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), GetCurrentProcess(), &duplicate, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return duplicate != nullptr ? duplicate : GetCurrentProcess();
}

class CCollector : public CbStackWalkerBase
{
public:
    CCollector() : CbStackWalkerBase(0, nullptr, GetCurrentProcessId(), ownProcess())
    {
    }

    std::wstring m_text;

protected:
    void onOutputFrame(wchar_t const* text) override
    {
        m_text.append(text).append(L"\n");
    }
};

// Keeps of the frames no more than how many there are.
class CCounter : public CbStackWalkerBase
{
public:
    CCounter() : CbStackWalkerBase(0)
    {
    }

    unsigned int m_even = 0;
    unsigned int m_odd = 0;
    unsigned int m_ends = 0;
    EEntryKind m_last = eFirstEntry;

protected:
    void onFrame(EEntryKind kind, SFrameEntry const& entry) override
    {
        std::string_view const name = entry.name;
        bool const isFrame = kind != eLastEntry;
        m_even += isFrame && name.find("evenStep") != std::string_view::npos ? 1u : 0u;
        m_odd += isFrame && name.find("oddStep") != std::string_view::npos ? 1u : 0u;
        m_ends += isFrame ? 0u : 1u;
        m_last = kind;
    }
};

struct SThread
{
    explicit SThread(LPTHREAD_START_ROUTINE start, void* parameter)
        : handle(CreateThread(nullptr, 0, start, parameter, 0, nullptr))
    {
    }

    SThread(SThread const&) = delete;
    SThread& operator=(SThread const&) = delete;

    ~SThread()
    {
        WaitForSingleObject(handle, INFINITE);
        CloseHandle(handle);
    }

    HANDLE handle;
};

struct SGate
{
    std::atomic<bool> isInside = false;
    std::atomic<bool> isEnding = false;
    std::atomic<unsigned int> rounds = 0;
};

void awaitInside(SGate const& gate)
{
    while (!gate.isInside)
    {
        std::this_thread::yield();
    }
}
} // namespace

[[gnu::noinline]] void turnInOtherThread(SGate& gate)
{
    gate.isInside = true;
    while (!gate.isEnding)
    {
        gate.rounds = gate.rounds + 1;
    }
}

[[gnu::noinline]] void callTurn(SGate& gate)
{
    turnInOtherThread(gate);
    gate.rounds = 0;
}

// Two that call each other: one that calls itself would end the walk.
[[gnu::noinline]] void oddStep(SGate& gate, int depth);

[[gnu::noinline]] void evenStep(SGate& gate, int depth)
{
    if (depth == 0)
    {
        turnInOtherThread(gate);
    }
    else
    {
        oddStep(gate, depth - 1);
    }
    gate.rounds = 1;
}

[[gnu::noinline]] void oddStep(SGate& gate, int depth)
{
    evenStep(gate, depth - 1);
    gate.rounds = 2;
}

namespace
{
DWORD descend(void* gate)
{
    evenStep(*static_cast<SGate*>(gate), c_Depth);
    return 0;
}

DWORD turn(void* gate)
{
    callTurn(*static_cast<SGate*>(gate));
    return 0;
}

DWORD allocate(void* parameter)
{
    auto& gate = *static_cast<SGate*>(parameter);
    std::vector<std::string> kept(64);
    for (unsigned int n = 0; !gate.isEnding; ++n)
    {
        kept[n % 64].assign(n % 3000, 'x');
        kept[n % 64].shrink_to_fit();
        gate.isInside = true;
    }
    return 0;
}

DWORD walkItself(void* parameter)
{
    auto& gate = *static_cast<SGate*>(parameter);
    CStringW text;
    while (!gate.isEnding)
    {
        Debugging::GetCallStack(text, 0);
        gate.isInside = true;
    }
    return 0;
}
} // namespace

TEST(WalkThread, NamesItsFunctionsInnermostFirst)
{
    SGate gate;
    SThread const thread(turn, &gate);
    awaitInside(gate);
    CCollector walker;

    EXPECT_TRUE(walker.WalkStack(thread.handle));
    gate.isEnding = true;

    std::size_t const inner = walker.m_text.find(L"turnInOtherThread");
    std::size_t const outer = walker.m_text.find(L"callTurn");
    ASSERT_NE(inner, std::wstring::npos) << walker.m_text;
    ASSERT_NE(outer, std::wstring::npos) << walker.m_text;
    EXPECT_LT(inner, outer);
    EXPECT_EQ(walker.m_text.find(L"WalkStack"), std::wstring::npos);
}

TEST(WalkThread, ShowsAllFramesOfADeepStackAndItsEnd)
{
    SGate gate;
    SThread const thread(descend, &gate);
    awaitInside(gate);
    CCounter walker;

    EXPECT_TRUE(walker.WalkStack(thread.handle));
    gate.isEnding = true;

    EXPECT_EQ(walker.m_even, c_Depth / 2 + 1u);
    EXPECT_EQ(walker.m_odd, c_Depth / 2u);
    EXPECT_EQ(walker.m_ends, 1u);
    EXPECT_EQ(walker.m_last, CbStackWalkerBase::eLastEntry);
}

TEST(WalkThread, LetsItGoOnAfterwards)
{
    SGate gate;
    SThread const thread(turn, &gate);
    awaitInside(gate);
    CCollector walker;

    walker.WalkStack(thread.handle);

    unsigned int const before = gate.rounds;
    while (gate.rounds == before)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(SuspendThread(thread.handle), 0u);
    EXPECT_EQ(ResumeThread(thread.handle), 1u);
    gate.isEnding = true;
}

TEST(WalkThread, NeverWaitsForTheAllocatorThatItHolds)
{
    SGate gate;
    SThread const thread(allocate, &gate);
    awaitInside(gate);
    CCollector walker;

    for (int round = 0; round < c_Rounds; ++round)
    {
        walker.m_text.clear();
        ASSERT_TRUE(walker.WalkStack(thread.handle));
    }
    gate.isEnding = true;
}

TEST(WalkThread, NeverWaitsForAWalkThatItIsIn)
{
    SGate gate;
    SThread const thread(walkItself, &gate);
    awaitInside(gate);
    CCollector walker;

    for (int round = 0; round < c_Rounds; ++round)
    {
        ASSERT_TRUE(walker.WalkStack(thread.handle));
    }
    gate.isEnding = true;
}

TEST(WalkThread, FailsForAThreadThatHasEnded)
{
    SGate gate;
    gate.isEnding = true;
    SThread const thread(turn, &gate);
    ASSERT_EQ(WaitForSingleObject(thread.handle, c_PatienceMs), WAIT_OBJECT_0);
    CCollector walker;

    EXPECT_FALSE(walker.WalkStack(thread.handle));
    EXPECT_TRUE(walker.m_text.empty());
}

TEST(WalkThread, BeginsAtAGivenContext)
{
    CCollector walker;
    alignas(16) CONTEXT context;
    RtlCaptureContext(&context);

    EXPECT_TRUE(walker.WalkStack(nullptr, &context));

    EXPECT_EQ(walker.m_text.find(L"WalkStack"), std::wstring::npos) << walker.m_text;
    EXPECT_NE(walker.m_text.find(L"BeginsAtAGivenContext"), std::wstring::npos);
}
