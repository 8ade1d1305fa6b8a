#include "orvane/datetime/cbperformancecounter.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "support/layout.h"

static_assert(sizeof(CbPerformanceCounter) == 16 && !std::is_polymorphic_v<CbPerformanceCounter>);
static_assert(!std::is_default_constructible_v<CbPerformanceCounter>);
static_assert(!std::is_copy_constructible_v<CbPerformanceCounter> && !std::is_destructible_v<CbPerformanceCounter>);

TEST(CbPerformanceCounter, HasTheFrequencyOfTheSystem)
{
    LARGE_INTEGER frequency;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));

    CbPerformanceCounter const& counter = CbSingleton<CbPerformanceCounter>::GetInstance();
    EXPECT_EQ(counter.QueryPerformanceFrequency(), frequency.QuadPart);
}

TEST(CbPerformanceCounter, ReadsTheCounterOfTheSystem)
{
    CbPerformanceCounter const& counter = CbSingleton<CbPerformanceCounter>::GetInstance();
    LARGE_INTEGER before;
    LARGE_INTEGER after;

    QueryPerformanceCounter(&before);
    __int64 const now = counter.QueryPerformanceCounter();
    QueryPerformanceCounter(&after);
    EXPECT_LE(before.QuadPart, now);
    EXPECT_LE(now, after.QuadPart);
}

TEST(CbPerformanceCounter, KeepsTheFunctionFirstAndTheFrequencyBehindIt)
{
    CbPerformanceCounter const& counter = CbSingleton<CbPerformanceCounter>::GetInstance();

    EXPECT_EQ(fieldAt<__int64>(&counter, 8), counter.QueryPerformanceFrequency());
    __int64 const before = counter.QueryPerformanceCounter();
    EXPECT_GE(static_cast<__int64>(fieldAt<unsigned __int64 (*)()>(&counter, 0)()), before);
}
