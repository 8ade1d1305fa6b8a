#include <atomic>
#include <thread>

#include "platform/platform.h"
#include "gtest/gtest.h"

TEST(LastError, IsWhatWasSetLast)
{
    SetLastError(ERROR_INVALID_HANDLE);
    EXPECT_EQ(GetLastError(), 6u);
    SetLastError(0xFFFFFFFF);
    EXPECT_EQ(GetLastError(), 0xFFFFFFFFu);
}

TEST(LastError, StaysWhenItIsRead)
{
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_EQ(GetLastError(), 5u);
}

TEST(LastError, BelongsToTheThread)
{
    // The threads meet without a call between setting and reading: one that waits may change the last error.
    std::atomic<bool> isOtherSet = false;
    std::atomic<bool> isOwnSet = false;
    DWORD other = 0;
    std::thread thread(
        [&]
        {
            SetLastError(ERROR_INVALID_HANDLE);
            isOtherSet = true;
            while (!isOwnSet)
            {
            }
            other = GetLastError();
        });
    while (!isOtherSet)
    {
    }
    SetLastError(ERROR_ACCESS_DENIED);
    isOwnSet = true;
    const DWORD own = GetLastError();
    thread.join();
    EXPECT_EQ(own, 5u);
    EXPECT_EQ(other, 6u);
}

TEST(LastError, IsZeroInANewThread)
{
    SetLastError(ERROR_ACCESS_DENIED);
    DWORD first = 77;
    std::thread([&first] { first = GetLastError(); }).join();
    EXPECT_EQ(first, 0u);
}
