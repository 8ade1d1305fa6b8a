#include "orvane/sync/cbcriticalsection.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/layout.h"
#include "synctest.h"

using synctest::onAnotherThread;

static_assert(!std::is_polymorphic_v<CbCriticalSection>);
static_assert(!std::is_copy_constructible_v<CbCriticalSection> && !std::is_copy_assignable_v<CbCriticalSection>);
static_assert(!std::is_copy_constructible_v<CbCriticalSectionAuto>);
static_assert(!std::is_copy_assignable_v<CbCriticalSectionAuto>);
static_assert(std::is_same_v<decltype(std::declval<CbCriticalSection const&>().GetRecursionCount()), long>);

namespace
{
struct SLayout
{
    unsigned int ownerId;
    CRITICAL_SECTION section;
};

static_assert(sizeof(CbCriticalSection) == sizeof(SLayout));

bool isOpen(CbCriticalSection const& section)
{
    return onAnotherThread(
        [&]
        {
            bool const hasEntered = section.TryEnter();
            if (hasEntered)
            {
                section.Leave();
            }
            return hasEntered;
        });
}

void const* addressOf(std::uintptr_t number)
{
    return reinterpret_cast<void const*>(number);
}
} // namespace

TEST(CbCriticalSection, HasTheOwnerBeforeThePlatformsSection)
{
    CbCriticalSection const section;
    section.Enter();
    EXPECT_EQ(fieldAt<unsigned int>(&section, 0), GetCurrentThreadId());
    EXPECT_EQ(fieldAt<CRITICAL_SECTION>(&section, offsetof(SLayout, section)).RecursionCount, 1);
    section.Leave();
    EXPECT_EQ(fieldAt<unsigned int>(&section, 0), 0u);
    EXPECT_EQ(fieldAt<CRITICAL_SECTION>(&section, offsetof(SLayout, section)).RecursionCount, 0);
}

TEST(CbCriticalSection, BelongsToNobodyWhenItHasBeenMade)
{
    CbCriticalSection const section;

    EXPECT_FALSE(section.IsLocking());
    EXPECT_TRUE(section.IsLocking(0));
    EXPECT_FALSE(section.IsLocking(GetCurrentThreadId()));
    EXPECT_EQ(section.GetRecursionCount(), 0);
    EXPECT_TRUE(isOpen(section));
}

TEST(CbCriticalSectionEnter, MakesTheCallingThreadTheOwner)
{
    CbCriticalSection const section;
    section.Enter();

    EXPECT_TRUE(section.IsLocking());
    EXPECT_TRUE(section.IsLocking(GetCurrentThreadId()));
    EXPECT_FALSE(section.IsLocking(0));
    EXPECT_EQ(section.GetRecursionCount(), 1);
    section.Leave();
}

TEST(CbCriticalSectionEnter, IsOwnedInTheEyesOfOtherThreadsToo)
{
    CbCriticalSection const section;
    unsigned int const owner = GetCurrentThreadId();
    section.Enter();

    EXPECT_FALSE(onAnotherThread([&] { return section.IsLocking(); }));
    EXPECT_TRUE(onAnotherThread([&] { return section.IsLocking(owner); }));
    EXPECT_EQ(onAnotherThread([&] { return section.GetRecursionCount(); }), 1);
    section.Leave();
}

TEST(CbCriticalSectionLeave, OfTheInnerOfTwoEntersKeepsTheOwner)
{
    CbCriticalSection const section;
    section.Enter();
    section.Enter();
    EXPECT_EQ(section.GetRecursionCount(), 2);

    section.Leave();
    EXPECT_TRUE(section.IsLocking());
    EXPECT_EQ(section.GetRecursionCount(), 1);
    EXPECT_FALSE(isOpen(section));

    section.Leave();
    EXPECT_FALSE(section.IsLocking());
    EXPECT_TRUE(section.IsLocking(0));
    EXPECT_EQ(section.GetRecursionCount(), 0);
    EXPECT_TRUE(isOpen(section));
}

TEST(CbCriticalSectionTryEnter, EntersAFreeSectionAndOnesOwn)
{
    CbCriticalSection const section;

    EXPECT_TRUE(section.TryEnter());
    EXPECT_TRUE(section.IsLocking());
    EXPECT_TRUE(section.TryEnter());
    EXPECT_EQ(section.GetRecursionCount(), 2);
    section.Leave();
    section.Leave();
    EXPECT_TRUE(section.IsLocking(0));
}

TEST(CbCriticalSectionTryEnter, RefusedLeavesTheOwnerAsItIs)
{
    CbCriticalSection const section;
    section.Enter();

    EXPECT_FALSE(onAnotherThread([&] { return section.TryEnter(); }));
    EXPECT_TRUE(section.IsLocking());
    EXPECT_EQ(section.GetRecursionCount(), 1);
    section.Leave();
}

TEST(CbCriticalSection, LeavesTheLastErrorAlone)
{
    SetLastError(synctest::c_Untouched);
    {
        CbCriticalSection const section;
        section.Enter();
        EXPECT_TRUE(section.TryEnter());
        section.Leave();
        section.Leave();
        EXPECT_FALSE(section.IsLocking());
    }
    EXPECT_EQ(GetLastError(), synctest::c_Untouched);
}

TEST(CbCriticalSectionStress, CountsAreExactWithFourThreads)
{
    constexpr int c_Rounds = 20'000;
    CbCriticalSection const section;
    int count = 0; // guarded by section
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n)
    {
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < c_Rounds; ++round)
                {
                    EXPECT_FALSE(section.IsLocking());
                    section.Enter();
                    EXPECT_TRUE(section.IsLocking());
                    ++count;
                    section.Leave();
                }
            });
    }
    for (int look = 0; look < c_Rounds; ++look)
    {
        // Not inside, whoever is.
        EXPECT_FALSE(section.IsLocking());
        EXPECT_LE(section.GetRecursionCount(), 1);
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(count, 4 * c_Rounds);
}

TEST(CbCriticalSectionAuto, HoldsTheSectionUntilTheEndOfItsScope)
{
    CbCriticalSection const section;
    {
        CbCriticalSectionAuto const holder(section);
        EXPECT_TRUE(section.IsLocking());
        EXPECT_FALSE(isOpen(section));
    }
    EXPECT_TRUE(section.IsLocking(0));
}

TEST(CbCriticalSectionAuto, LeavesOnceHoweverOftenItIsTold)
{
    CbCriticalSection const section;
    section.Enter();
    {
        CbCriticalSectionAuto holder(section);
        EXPECT_EQ(section.GetRecursionCount(), 2);
        holder.Leave();
        holder.Leave();
        EXPECT_EQ(section.GetRecursionCount(), 1);
    }
    EXPECT_EQ(section.GetRecursionCount(), 1);
    section.Leave();
}

TEST(ReferenceCounterGetCriticalSection, ChoosesByBitsTwoToNineOfTheAddress)
{
    CbCriticalSection const* const first = &ReferenceCounter_GetCriticalSection(nullptr);
    for (std::uintptr_t address = 0; address < 4096; ++address)
    {
        EXPECT_EQ(&ReferenceCounter_GetCriticalSection(addressOf(address)), first + ((address >> 2) & 255)) << address;
    }
}

TEST(ReferenceCounterGetCriticalSection, IsTheSameForAddressesThatDifferAboveBitNine)
{
    auto const stripe = [](std::uintptr_t number) { return &ReferenceCounter_GetCriticalSection(addressOf(number)); };

    EXPECT_EQ(stripe(0x1000), stripe(0x1400));
    EXPECT_EQ(stripe(0x1000), stripe(0x7FFF'0000'1000));
    EXPECT_EQ(stripe(0x13FC), stripe(0x13FF));
    EXPECT_EQ(stripe(0x1000) + 1, stripe(0x1004));
    EXPECT_EQ(stripe(0x13FC), stripe(0x1000) + 255);
}

TEST(ReferenceCounterGetCriticalSection, Has256SectionsOfTheirOwn)
{
    std::set<CbCriticalSection const*> stripes;
    for (std::uintptr_t address = 0; address < 0x10000; address += 4)
    {
        stripes.insert(&ReferenceCounter_GetCriticalSection(addressOf(address)));
    }
    EXPECT_EQ(stripes.size(), 256u);
}

TEST(ReferenceCounterGetCriticalSection, GivesRecursiveLocks)
{
    int object = 0;
    CbCriticalSection& stripe = ReferenceCounter_GetCriticalSection(&object);

    stripe.Enter();
    ReferenceCounter_GetCriticalSection(&object).Enter();
    EXPECT_EQ(stripe.GetRecursionCount(), 2);
    EXPECT_FALSE(isOpen(stripe));
    stripe.Leave();
    stripe.Leave();
    EXPECT_TRUE(isOpen(stripe));
}

TEST(ReferenceCounterGetCriticalSectionStress, KeepsTheObjectsOfManyThreadsApart)
{
    constexpr int c_Rounds = 20'000;
    std::array<int, 3> counts{}; // each guarded by the lock of its address
    std::vector<std::thread> threads;
    for (std::size_t n = 0; n < 4; ++n)
    {
        threads.emplace_back(
            [&counts, n]
            {
                for (std::size_t round = 0; round < c_Rounds; ++round)
                {
                    int& mine = counts[(round + n) % counts.size()];
                    CbCriticalSectionAuto const holder(ReferenceCounter_GetCriticalSection(&mine));
                    ++mine;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(counts[0] + counts[1] + counts[2], 4 * c_Rounds);
}
