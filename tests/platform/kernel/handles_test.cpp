#include <set>
#include <vector>

#include "handlecount.h"
#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

TEST(CloseHandle, FailsWith6ForAHandleThatStandsForNothing)
{
    for (SBadHandle const& bad : getBadHandles())
    {
        SCOPED_TRACE(bad.name);
        EXPECT_FAILS(CloseHandle(bad.handle), FALSE, 6);
    }
}

TEST(CloseHandle, FailsWith6TheSecondTime)
{
    const HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    EXPECT_TRUE(CloseHandle(event));
    EXPECT_FAILS(CloseHandle(event), FALSE, 6);
    EXPECT_FAILS(WaitForSingleObject(event, 0), WAIT_FAILED, 6);
}

TEST(CloseHandle, OfAnObjectLeavesTheOthersAlone)
{
    CHandle first = makeEvent(eAuto, true);
    const CHandle second = makeEvent(eAuto, true);
    first.Close();
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
}

TEST(Handle, IsNeitherNullNorThatOfAnyOtherObject)
{
    std::vector<CHandle> owned;
    std::set<HANDLE> seen;
    for (int n = 0; n < 1'000; ++n)
    {
        owned.push_back(n % 3 == 0 ? makeEvent(eAuto) : n % 3 == 1 ? makeMutex() : makeSemaphore(0, 1));
        EXPECT_NE(static_cast<HANDLE>(owned.back()), nullptr);
        EXPECT_NE(static_cast<HANDLE>(owned.back()), minusOne());
        EXPECT_TRUE(seen.insert(owned.back()).second);
    }
}

TEST(DuplicateHandle, GivesAnotherHandleOfTheSameObject)
{
    const CHandle event = makeEvent(eAuto);
    const CHandle copy = duplicate(event);
    EXPECT_NE(static_cast<HANDLE>(event), static_cast<HANDLE>(copy));
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(look(copy), WAIT_OBJECT_0);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(copy));
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
}

TEST(DuplicateHandle, KeepsTheObjectUntilItsLastHandleIsClosed)
{
    CHandle first = makeSemaphore(2, 5);
    CHandle second = duplicate(first);
    const CHandle third = duplicate(second);
    first.Close();
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
    second.Close();
    EXPECT_EQ(look(third), WAIT_OBJECT_0);
    EXPECT_EQ(look(third), WAIT_TIMEOUT);
}

TEST(DuplicateHandle, TakesTheInheritFlag)
{
    const CHandle event = makeEvent(eManual, true);
    HANDLE copy = nullptr;
    EXPECT_TRUE(
        DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &copy, 0, TRUE, DUPLICATE_SAME_ACCESS));
    EXPECT_EQ(look(CHandle(copy)), WAIT_OBJECT_0);
}

TEST(DuplicateHandle, MayReplaceItsOwnSource)
{
    HANDLE event = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    const HANDLE source = event;
    EXPECT_TRUE(
        DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &event, 0, FALSE, DUPLICATE_SAME_ACCESS));
    EXPECT_NE(event, source);
    EXPECT_TRUE(CloseHandle(source));
    EXPECT_EQ(look(CHandle(event)), WAIT_OBJECT_0);
}

TEST(DuplicateHandle, FailsWith6ForASourceThatStandsForNothing)
{
    for (SBadHandle const& bad : getBadHandles())
    {
        SCOPED_TRACE(bad.name);
        HANDLE copy = nullptr;
        EXPECT_FAILS(DuplicateHandle(GetCurrentProcess(), bad.handle, GetCurrentProcess(), &copy, 0, FALSE,
                                     DUPLICATE_SAME_ACCESS),
                     FALSE, 6);
        EXPECT_EQ(copy, nullptr);
    }
    CHandle event = makeEvent(eAuto);
    const HANDLE closed = event;
    event.Close();
    HANDLE copy = nullptr;
    EXPECT_FAILS(
        DuplicateHandle(GetCurrentProcess(), closed, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS),
        FALSE, 6);
    EXPECT_EQ(copy, nullptr);
}

TEST(DuplicateHandle, FailsWith6ForAProcessThatIsNone)
{
    const CHandle event = makeEvent(eAuto);
    HANDLE copy = nullptr;
    EXPECT_FAILS(DuplicateHandle(nullptr, event, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS), FALSE,
                 6);
    EXPECT_FAILS(DuplicateHandle(GetCurrentProcess(), event, nullptr, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS), FALSE,
                 6);
    EXPECT_FAILS(DuplicateHandle(event, event, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS), FALSE, 6);
    EXPECT_EQ(copy, nullptr);
}

TEST(DuplicateHandle, MakesAHandleOfTheCurrentProcessesPseudoHandle)
{
    const HANDLE process = GetCurrentProcess();
    const char source = 'x';
    char target = 0;
    std::size_t count = 0;
    for (int round = 0; round < 2; ++round)
    {
        HANDLE copy = nullptr;
        ASSERT_TRUE(DuplicateHandle(process, process, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS));
        EXPECT_NE(copy, nullptr);
        EXPECT_TRUE(ReadProcessMemory(copy, &source, &target, 1, &count));
        EXPECT_EQ(target, 'x');
        EXPECT_TRUE(CloseHandle(copy));
    }
}

TEST(DuplicateHandle, MakesAHandleForOthersOfTheCurrentThreadsPseudoHandle)
{
    CHandle self;
    CHandle leave = makeEvent(eAuto);
    CHandle isMade = makeEvent(eAuto);
    CThread thread(
        [&]
        {
            self = duplicate(GetCurrentThread());
            SetEvent(isMade);
            WaitForSingleObject(leave, c_PatienceMs);
            return 12u;
        });
    ASSERT_EQ(WaitForSingleObject(isMade, c_PatienceMs), WAIT_OBJECT_0);
    EXPECT_EQ(GetThreadId(self), thread.GetId());
    EXPECT_EQ(look(self), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(leave));
    EXPECT_EQ(WaitForSingleObject(self, c_PatienceMs), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(self, &code));
    EXPECT_EQ(code, 12u);
}

TEST(DuplicateHandle, MakesAHandleOfAThreadThatTheLayerDidNotStart)
{
    CHandle self;
    DWORD id = 0;
    std::thread(
        [&]
        {
            self = duplicate(GetCurrentThread());
            id = GetCurrentThreadId();
            EXPECT_EQ(look(self), WAIT_TIMEOUT);
        })
        .join();
    EXPECT_EQ(GetThreadId(self), id);
    EXPECT_EQ(WaitForSingleObject(self, c_PatienceMs), WAIT_OBJECT_0);
}

TEST(HandleCount, RisesWithAHandleAndFallsWithItsClose)
{
    const unsigned int before = getHandleCount();
    CHandle event = makeEvent(eAuto);
    EXPECT_EQ(getHandleCount(), before + 1);
    CHandle copy = duplicate(event);
    EXPECT_EQ(getHandleCount(), before + 2);
    event.Close();
    copy.Close();
    EXPECT_EQ(getHandleCount(), before);
}

TEST(HandleCount, IsUnchangedAfterManyUses)
{
    constexpr int c_Rounds = 1'000 * c_Pace;
    // What the system keeps for itself is there after the first round.
    unsigned int before = 0;
    for (int round = -10; round < c_Rounds; ++round)
    {
        if (round == 0)
        {
            before = getHandleCount();
        }
        CHandle event = makeEvent(eAuto, true);
        const CHandle copy = duplicate(event);
        const CHandle mutex = makeMutex(round % 2 == 0);
        const CHandle semaphore = makeSemaphore(1, 1);
        EXPECT_EQ(CreateSemaphoreW(nullptr, 2, 1, nullptr), nullptr);
        HANDLE none = nullptr;
        EXPECT_FALSE(
            DuplicateHandle(GetCurrentProcess(), nullptr, GetCurrentProcess(), &none, 0, FALSE, DUPLICATE_SAME_ACCESS));
        event.Close();
        EXPECT_EQ(waitAll(std::array<HANDLE, 3>{copy, mutex, semaphore}, 0), WAIT_OBJECT_0);
    }
    EXPECT_EQ(getHandleCount(), before);
}

TEST(HandleCount, IsUnchangedAfterManyThreads)
{
    unsigned int before = 0;
    for (int round = -5; round < 20 * c_Pace; ++round)
    {
        if (round == 0)
        {
            before = getHandleCount();
        }
        const CThread thread([] { return 1u; });
    }
    // A thread that has ended may need a moment to let go of what the system holds for it.
    EXPECT_TRUE(becomes([&] { return getHandleCount() <= before; }, 5'000)) << getHandleCount() << " of " << before;
}

// The value of a closed handle may be given out again on Windows: what is right on both is that a handle reaches its
// own object and no other, however many were closed before it.
TEST(HandleStress, EachHandleReachesItsOwnObjectWhileOthersComeAndGo)
{
    constexpr int c_Rounds = 300 * c_Pace;
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id)
    {
        threads.emplace_back(
            []
            {
                for (int round = 0; round < c_Rounds; ++round)
                {
                    const CHandle set = makeEvent(eAuto, true);
                    const CHandle unset = makeEvent(eAuto);
                    const CHandle copy = duplicate(set);
                    ASSERT_EQ(look(unset), WAIT_TIMEOUT);
                    ASSERT_EQ(look(copy), WAIT_OBJECT_0);
                    ASSERT_EQ(look(set), WAIT_TIMEOUT);
                    ASSERT_TRUE(SetEvent(unset));
                    ASSERT_EQ(look(unset), WAIT_OBJECT_0);
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}
