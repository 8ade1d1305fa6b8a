#include <thread>

#include "platform/platform.h"
#include "gtest/gtest.h"

TEST(CurrentThreadId, IsNotZeroAndStays)
{
    const DWORD id = GetCurrentThreadId();
    EXPECT_NE(id, 0u);
    EXPECT_EQ(GetCurrentThreadId(), id);
}

TEST(CurrentThreadId, DiffersBetweenThreadsThatLiveAtTheSameTime)
{
    DWORD outer = 0;
    DWORD inner = 0;
    std::thread(
        [&]
        {
            outer = GetCurrentThreadId();
            std::thread([&] { inner = GetCurrentThreadId(); }).join();
            EXPECT_EQ(GetCurrentThreadId(), outer);
        })
        .join();
    EXPECT_NE(outer, 0u);
    EXPECT_NE(inner, 0u);
    EXPECT_NE(outer, inner);
    EXPECT_NE(outer, GetCurrentThreadId());
    EXPECT_NE(inner, GetCurrentThreadId());
}
