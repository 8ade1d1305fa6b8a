#include "orvane/sync/cbsemaphore.h"

#include <atomic>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/exception/cbexception.h"
#include "orvane/sync/cbmutex.h"
#include "support/layout.h"
#include "support/logrecorder.h"
#include "support/raises.h"
#include "synctest.h"

using synctest::c_PatienceMs;
using synctest::c_Untouched;
using synctest::uniqueName;

static_assert(std::has_virtual_destructor_v<CbSemaphore> && sizeof(CbSemaphore) == 24);
static_assert(std::is_copy_constructible_v<CbSemaphore> && !std::is_copy_assignable_v<CbSemaphore>);
static_assert(!std::is_copy_constructible_v<CbSemaphoreAuto> && !std::is_copy_assignable_v<CbSemaphoreAuto>);

namespace
{
// The error that a refused construction leaves.
DWORD errorOf(unsigned long count, char const* name)
{
    CLogRecorder const recorder;
    SetLastError(c_Untouched);
    try
    {
        CbSemaphore const semaphore(count, name);
    }
    catch (CbException const&)
    {
        return GetLastError();
    }
    return 0;
}
} // namespace

TEST(CbSemaphore, HasTheCountBeforeTheHandle)
{
    CbSemaphore const semaphore(7, nullptr);
    EXPECT_EQ(fieldAt<unsigned long>(&semaphore, 8), 7u);
    EXPECT_NE(fieldAt<HANDLE>(&semaphore, 16), nullptr);
    EXPECT_EQ(semaphore.GetNumResources(), 7u);
}

TEST(CbSemaphore, OfTwoIsEnteredTwiceAndTellsWhenAllAreFreeAgain)
{
    CbSemaphore semaphore(2, nullptr);

    EXPECT_TRUE(semaphore.Enter(0));
    EXPECT_TRUE(semaphore.Enter(0));
    EXPECT_FALSE(semaphore.Enter(0));
    EXPECT_FALSE(semaphore.LeaveQueryIsNowUnreserved());
    EXPECT_TRUE(semaphore.LeaveQueryIsNowUnreserved());
    EXPECT_EQ(semaphore.GetNumResources(), 2u);

    // All are free: a third leave is ignored.
    SetLastError(c_Untouched);
    semaphore.Leave();
    EXPECT_EQ(GetLastError(), 298u);
    SetLastError(c_Untouched);
    EXPECT_FALSE(semaphore.LeaveQueryIsNowUnreserved());
    EXPECT_EQ(GetLastError(), 298u);
    EXPECT_TRUE(semaphore.Enter(0));
    EXPECT_TRUE(semaphore.Enter(0));
    EXPECT_FALSE(semaphore.Enter(1));
}

TEST(CbSemaphore, GivesAResourceToAThreadThatWaits)
{
    CbSemaphore semaphore(1, nullptr);
    EXPECT_TRUE(semaphore.Enter(0));
    int written = 0; // handed over with the resource
    std::jthread const waiter(
        [&]
        {
            EXPECT_TRUE(semaphore.Enter(INFINITE));
            EXPECT_EQ(written, 1);
        });
    written = 1;
    semaphore.Leave();
}

TEST(CbSemaphore, OfNoneIsRefusedByThePlatform)
{
    {
        CLogRecorder const recorder;
        EXPECT_RAISES(CbException, "cbsemaphore", "CbSemaphore::CbSemaphore", CbSemaphore(0, nullptr));
        EXPECT_EQ(recorder.GetRecords(L"Exception").size(), 1u);
    }
    EXPECT_EQ(errorOf(0, nullptr), 87u);
}

TEST(CbSemaphore, TakesAsManyAsThePlatformCountsAndNoMore)
{
    EXPECT_EQ(CbSemaphore(0x7FFFFFFF, nullptr).GetNumResources(), 0x7FFFFFFFu);
    EXPECT_EQ(errorOf(0x80000000, nullptr), 87u);
    EXPECT_EQ(errorOf(0xFFFFFFFF, nullptr), 87u);
    {
        CLogRecorder const recorder;
        EXPECT_RAISES(CbException, "cbsemaphore", "CbSemaphore::CbSemaphore", CbSemaphore(0x80000000, nullptr));
    }
}

TEST(CbSemaphore, OfANameOfAnotherKindIsRefusedWithoutAHandleLeft)
{
    std::string const name = uniqueName("kind-clash");
    CbMutex const mutex(name.c_str());
    EXPECT_EQ(errorOf(1, name.c_str()), 6u);
    EXPECT_EQ(synctest::handlesLeftBy(
                  [&]
                  {
                      for (int n = 0; n < 100; ++n)
                      {
                          EXPECT_EQ(errorOf(1, name.c_str()), 6u);
                          EXPECT_EQ(errorOf(0, nullptr), 87u);
                      }
                  }),
              0);
}

TEST(CbSemaphore, OfAnExistingNameIsThatSemaphoreAndKeepsTheCountItWasMadeWith)
{
    std::string const name = uniqueName("semaphore");
    CbSemaphore first(1, name.c_str());
    CbSemaphore second(5, name.c_str());

    EXPECT_EQ(second.GetNumResources(), 5u);
    EXPECT_TRUE(second.Enter(0));
    EXPECT_FALSE(first.Enter(0));
    EXPECT_FALSE(second.LeaveQueryIsNowUnreserved());
    EXPECT_TRUE(first.Enter(0));
    EXPECT_TRUE(first.LeaveQueryIsNowUnreserved());
}

TEST(CbSemaphoreCopy, IsTheSameSemaphoreWithTheSameCount)
{
    CbSemaphore semaphore(1, nullptr);
    CbSemaphore copy(semaphore);

    EXPECT_EQ(copy.GetNumResources(), 1u);
    EXPECT_NE(fieldAt<HANDLE>(&copy, 16), fieldAt<HANDLE>(&semaphore, 16));
    EXPECT_TRUE(copy.Enter(0));
    EXPECT_FALSE(semaphore.Enter(0));
    EXPECT_TRUE(semaphore.LeaveQueryIsNowUnreserved());
}

TEST(CbSemaphoreCopy, LeavesNoHandle)
{
    EXPECT_EQ(synctest::handlesLeftBy(
                  []
                  {
                      CbSemaphore const semaphore(1, nullptr);
                      for (int n = 0; n < 1'000; ++n)
                      {
                          CbSemaphore const copy(semaphore);
                      }
                  }),
              0);
}

TEST(CbSemaphoreTryEnter, GivesAResultThatIsNotYetExamined)
{
    CbSemaphore semaphore(1, nullptr);

    auto const entered = semaphore.TryEnter();
    EXPECT_FALSE(entered.IsExamined());
    EXPECT_TRUE(entered.Get());
    EXPECT_TRUE(entered.IsExamined());

    auto const refused = semaphore.TryEnter();
    EXPECT_FALSE(refused.IsExamined());
    EXPECT_FALSE(refused);
    semaphore.Leave();
}

TEST(CbSemaphoreAuto, HoldsAResourceUntilTheEndOfItsScope)
{
    CbSemaphore semaphore(1, nullptr);
    {
        CbSemaphoreAuto const holder(semaphore);
        EXPECT_FALSE(semaphore.Enter(0));
    }
    EXPECT_TRUE(semaphore.Enter(0));
}

TEST(CbSemaphoreAuto, LeavesOnceHoweverOftenItIsTold)
{
    CbSemaphore semaphore(3, nullptr);
    EXPECT_TRUE(semaphore.Enter(0));
    {
        CbSemaphoreAuto holder(semaphore);
        EXPECT_FALSE(fieldAt<bool>(&holder, sizeof(void*)));
        holder.Leave();
        EXPECT_TRUE(fieldAt<bool>(&holder, sizeof(void*)));
        holder.Leave();
    }
    // One of the three is still taken.
    EXPECT_TRUE(semaphore.Enter(0));
    EXPECT_TRUE(semaphore.Enter(0));
    EXPECT_FALSE(semaphore.Enter(0));
}

TEST(CbSemaphoreStress, NeverHasMoreInsideThanResources)
{
    constexpr int c_Rounds = 2'000;
    constexpr int c_Resources = 2;
    CbSemaphore semaphore(c_Resources, nullptr);
    std::atomic<int> inside = 0;
    std::atomic<int> tooMany = 0;
    {
        std::vector<std::jthread> threads;
        for (int n = 0; n < 5; ++n)
        {
            threads.emplace_back(
                [&]
                {
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        EXPECT_TRUE(semaphore.Enter(c_PatienceMs));
                        tooMany += ++inside > c_Resources ? 1 : 0;
                        --inside;
                        semaphore.Leave();
                    }
                });
        }
    }
    EXPECT_EQ(tooMany, 0);
    EXPECT_TRUE(semaphore.Enter(0));
    EXPECT_TRUE(semaphore.LeaveQueryIsNowUnreserved());
}
