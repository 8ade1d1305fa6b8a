#include <climits>
#include <vector>

#include "kernelsupport.h"

using namespace kerneltest;

namespace
{
// Takes all that a semaphore holds and says how much that was.
int drain(HANDLE semaphore)
{
    int count = 0;
    while (look(semaphore) == WAIT_OBJECT_0)
    {
        ++count;
    }
    return count;
}
} // namespace

TEST(CreateSemaphoreW, GivesTheCountAskedFor)
{
    EXPECT_EQ(drain(makeSemaphore(0, 1)), 0);
    EXPECT_EQ(drain(makeSemaphore(1, 1)), 1);
    EXPECT_EQ(drain(makeSemaphore(3, 7)), 3);
    EXPECT_EQ(drain(makeSemaphore(7, 7)), 7);
}

TEST(CreateSemaphoreW, TakesNarrowNamesToo)
{
    SetLastError(c_Untouched);
    const CHandle semaphore(CreateSemaphoreA(nullptr, 2, 2, nullptr));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(drain(semaphore), 2);
}

TEST(CreateSemaphoreW, FailsWith87ForCountsThatMakeNoSense)
{
    EXPECT_FAILS(CreateSemaphoreW(nullptr, -1, 1, nullptr), nullptr, 87);
    EXPECT_FAILS(CreateSemaphoreW(nullptr, 2, 1, nullptr), nullptr, 87);
    EXPECT_FAILS(CreateSemaphoreW(nullptr, 0, 0, nullptr), nullptr, 87);
    EXPECT_FAILS(CreateSemaphoreW(nullptr, 0, -1, nullptr), nullptr, 87);
    EXPECT_FAILS(CreateSemaphoreW(nullptr, INT_MIN, INT_MAX, nullptr), nullptr, 87);
    EXPECT_FAILS(CreateSemaphoreA(nullptr, 2, 1, nullptr), nullptr, 87);
}

TEST(ReleaseSemaphore, GivesTheCountBefore)
{
    const CHandle semaphore = makeSemaphore(1, 10);
    LONG previous = -5;
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &previous));
    EXPECT_EQ(previous, 1);
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 4, &previous));
    EXPECT_EQ(previous, 2);
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 4, nullptr));
    EXPECT_EQ(drain(semaphore), 10);
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 10, &previous));
    EXPECT_EQ(previous, 0);
}

TEST(ReleaseSemaphore, FailsWith298AboveTheMaximumAndLeavesTheCount)
{
    const CHandle semaphore = makeSemaphore(2, 3);
    LONG previous = -5;
    EXPECT_FAILS(ReleaseSemaphore(semaphore, 2, &previous), FALSE, 298);
    EXPECT_EQ(previous, -5);
    EXPECT_FAILS(ReleaseSemaphore(semaphore, INT_MAX, nullptr), FALSE, 298);
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &previous));
    EXPECT_EQ(previous, 2);
    EXPECT_FAILS(ReleaseSemaphore(semaphore, 1, &previous), FALSE, 298);
    EXPECT_EQ(drain(semaphore), 3);
}

TEST(ReleaseSemaphore, CountsUpToTheLargestNumber)
{
    const CHandle semaphore = makeSemaphore(INT_MAX - 1, INT_MAX);
    LONG previous = 0;
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &previous));
    EXPECT_EQ(previous, INT_MAX - 1);
    EXPECT_FAILS(ReleaseSemaphore(semaphore, 1, nullptr), FALSE, 298);
    EXPECT_FAILS(ReleaseSemaphore(semaphore, INT_MAX, nullptr), FALSE, 298);
    EXPECT_EQ(look(semaphore), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &previous));
    EXPECT_EQ(previous, INT_MAX - 1);
}

// Windows refuses a count below 1 with 87. Wine lets 0 pass and calls a negative one too many (298): what they share is
// that the count stays as it is.
TEST(ReleaseSemaphore, AddsNothingForACountBelowOne)
{
    const CHandle semaphore = makeSemaphore(2, 5);
    ReleaseSemaphore(semaphore, 0, nullptr);
    EXPECT_FALSE(ReleaseSemaphore(semaphore, -1, nullptr));
    EXPECT_FALSE(ReleaseSemaphore(semaphore, INT_MIN, nullptr));
    EXPECT_EQ(drain(semaphore), 2);
}

TEST(ReleaseSemaphore, FailsWith6ForAHandleThatIsNoSemaphore)
{
    for (SBadHandle const& bad : getBadHandles())
    {
        SCOPED_TRACE(bad.name);
        EXPECT_FAILS(ReleaseSemaphore(bad.handle, 1, nullptr), FALSE, 6);
    }
    EXPECT_FAILS(ReleaseSemaphore(minusOne(), 1, nullptr), FALSE, 6);
    const CHandle event = makeEvent(eAuto);
    const CHandle mutex = makeMutex();
    EXPECT_FAILS(ReleaseSemaphore(event, 1, nullptr), FALSE, 6);
    EXPECT_FAILS(ReleaseSemaphore(mutex, 1, nullptr), FALSE, 6);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);

    CHandle semaphore = makeSemaphore(0, 1);
    const HANDLE closed = semaphore;
    semaphore.Close();
    LONG previous = -5;
    EXPECT_FAILS(ReleaseSemaphore(closed, 1, &previous), FALSE, 6);
    EXPECT_EQ(previous, -5);
}

TEST(ReleaseSemaphore, ReleasesAsManyWaitersAsItAddsInTheOrderOfTheirArrival)
{
    const std::vector<int> arrival = {0, 1, 2, 3, 4, 5};
    EXPECT_TRUE(succeedsInAnAttempt(
        [&](DWORD settleMs)
        {
            const CHandle semaphore = makeSemaphore(0, 100);
            CWaiters waiters([&] { ReleaseSemaphore(semaphore, 1, nullptr); });
            for (int n = 0; n < 6; ++n)
            {
                waiters.Add([&] { return WaitForSingleObject(semaphore, INFINITE); }, settleMs);
            }
            LONG previous = -5;
            EXPECT_TRUE(ReleaseSemaphore(semaphore, 3, &previous));
            EXPECT_EQ(previous, 0);
            EXPECT_TRUE(waiters.BecomesReleased(3));
            settle(settleMs);
            EXPECT_EQ(waiters.GetReleased(), 3);
            // The first three may return in any order among themselves.
            bool areFirst = true;
            for (const int thread : waiters.GetOrder())
            {
                areFirst = areFirst && thread < 3;
            }
            for (int n = 4; n <= 6; ++n)
            {
                EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, nullptr));
                EXPECT_TRUE(waiters.BecomesReleased(n));
            }
            EXPECT_EQ(look(semaphore), WAIT_TIMEOUT);
            const std::vector<int> order = waiters.GetOrder();
            return areFirst && std::vector<int>(order.begin() + 3, order.end()) == std::vector<int>{3, 4, 5};
        }));
}
