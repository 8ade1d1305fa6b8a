#include "orvane/sync/cbmutex.h"

#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/sync/cbevent.h"
#include "support/layout.h"
#include "synctest.h"

using synctest::c_PatienceMs;
using synctest::c_Untouched;
using synctest::onAnotherThread;
using synctest::uniqueName;

static_assert(!std::is_polymorphic_v<CbMutex> && sizeof(CbMutex) == sizeof(HANDLE));
static_assert(std::is_copy_constructible_v<CbMutex> && std::is_copy_assignable_v<CbMutex>);
static_assert(std::is_nothrow_move_constructible_v<CbMutex> && std::is_nothrow_move_assignable_v<CbMutex>);
static_assert(!std::is_copy_constructible_v<CbMutexAuto> && !std::is_copy_assignable_v<CbMutexAuto>);
static_assert(CbMutex::eMutexError == -2 && CbMutex::eMutexTimeout == -1);
static_assert(CbMutex::eMutexEntered == 1 && CbMutex::eMutexAbandoned == 2);

namespace
{
HANDLE handleOf(CbMutex const& mutex)
{
    return fieldAt<HANDLE>(&mutex, 0);
}

// What another thread finds; it leaves again what it entered.
CbMutex::EState lookFromAnotherThread(CbMutex& mutex)
{
    return onAnotherThread(
        [&]
        {
            CbMutex::EState const state = mutex.TryEnter();
            mutex.Leave();
            return state;
        });
}

// A mutex that could not be made: the name belongs to an event.
class CRefused
{
public:
    explicit CRefused(char const* stem) : m_name(uniqueName(stem)), m_event(true, synctest::wide(m_name).c_str())
    {
    }

    char const* GetName() const
    {
        return m_name.c_str();
    }

private:
    std::string m_name;
    CbEvent m_event;
};
} // namespace

TEST(CbMutex, WithoutANameIsValidAndFree)
{
    CbMutex mutex(nullptr);

    EXPECT_TRUE(mutex.IsValid());
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexEntered);
}

TEST(CbMutex, WithoutANameIsOneOfItsOwn)
{
    CbMutex first(nullptr);
    CbMutex second(nullptr);
    EXPECT_EQ(first.TryEnter(), CbMutex::eMutexEntered);
    EXPECT_EQ(lookFromAnotherThread(second), CbMutex::eMutexEntered);
    first.Leave();
}

TEST(CbMutexEnter, IsRecursiveAndEachEnterNeedsItsLeave)
{
    CbMutex mutex(nullptr);

    EXPECT_EQ(mutex.Enter(INFINITE), CbMutex::eMutexEntered);
    EXPECT_EQ(mutex.Enter(c_PatienceMs), CbMutex::eMutexEntered);
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexTimeout);
    mutex.Leave();
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexTimeout);
    mutex.Leave();
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexEntered);
}

TEST(CbMutexEnter, TimesOutWhileAnotherThreadIsInside)
{
    CbMutex mutex(nullptr);
    EXPECT_EQ(mutex.TryEnter(), CbMutex::eMutexEntered);

    EXPECT_EQ(onAnotherThread([&] { return mutex.Enter(0); }), CbMutex::eMutexTimeout);
    EXPECT_EQ(onAnotherThread([&] { return mutex.Enter(1); }), CbMutex::eMutexTimeout);
    mutex.Leave();
}

TEST(CbMutexEnter, WaitsUntilTheOtherThreadLeaves)
{
    CbMutex mutex(nullptr);
    EXPECT_EQ(mutex.TryEnter(), CbMutex::eMutexEntered);
    int written = 0; // guarded by mutex
    std::jthread const waiter(
        [&]
        {
            EXPECT_EQ(mutex.Enter(INFINITE), CbMutex::eMutexEntered);
            EXPECT_EQ(written, 1);
            mutex.Leave();
        });
    written = 1;
    mutex.Leave();
}

TEST(CbMutexEnter, OfAMutexWhoseOwnerEndedIsAbandonedAndEntered)
{
    CbMutex mutex(nullptr);
    EXPECT_EQ(onAnotherThread([&] { return mutex.Enter(0); }), CbMutex::eMutexEntered);

    EXPECT_EQ(mutex.Enter(c_PatienceMs), CbMutex::eMutexAbandoned);
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexTimeout);
    EXPECT_EQ(mutex.TryEnter(), CbMutex::eMutexEntered);
    mutex.Leave();
    mutex.Leave();
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexEntered);
}

TEST(CbMutexName, MakesTwoObjectsOneMutexForTwoThreads)
{
    std::string const name = uniqueName("exclusion");
    CbMutex mine(name.c_str());
    EXPECT_TRUE(mine.IsValid());
    EXPECT_EQ(mine.TryEnter(), CbMutex::eMutexEntered);

    auto const lookByName = [&]
    {
        return onAnotherThread(
            [&]
            {
                CbMutex theirs(name.c_str());
                CbMutex::EState const state = theirs.TryEnter();
                theirs.Leave();
                return state;
            });
    };
    EXPECT_EQ(lookByName(), CbMutex::eMutexTimeout);
    mine.Leave();
    EXPECT_EQ(lookByName(), CbMutex::eMutexEntered);
}

TEST(CbMutexName, OfAnExistingMutexIsToldByTheLastErrorOnly)
{
    std::string const name = uniqueName("existing");
    SetLastError(c_Untouched);
    CbMutex const first(name.c_str());
    EXPECT_NE(GetLastError(), 183u);
    CbMutex const second(name.c_str());
    EXPECT_EQ(GetLastError(), 183u);
    EXPECT_TRUE(first.IsValid() && second.IsValid());
}

TEST(CbMutexName, OfAnotherKindGivesAnInvalidMutex)
{
    CRefused const refused("other-kind");
    SetLastError(c_Untouched);
    CbMutex mutex(refused.GetName());

    EXPECT_FALSE(mutex.IsValid());
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_EQ(handleOf(mutex), nullptr);
    EXPECT_EQ(mutex.Enter(INFINITE), CbMutex::eMutexError);
}

TEST(CbMutexStress, TwoObjectsOfOneNameExcludeTheirThreads)
{
    constexpr int c_Rounds = 2'000;
    std::string const name = uniqueName("stress");
    int count = 0; // guarded by the mutex of that name
    {
        std::vector<std::jthread> threads;
        for (int n = 0; n < 2; ++n)
        {
            threads.emplace_back(
                [&]
                {
                    CbMutex mutex(name.c_str());
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        CbMutexAuto const holder(mutex);
                        ++count;
                    }
                });
        }
    }
    EXPECT_EQ(count, 2 * c_Rounds);
}

TEST(CbMutexStress, OneObjectExcludesManyThreads)
{
    constexpr int c_Rounds = 2'000;
    CbMutex mutex(nullptr);
    int count = 0; // guarded by mutex
    {
        std::vector<std::jthread> threads;
        for (int n = 0; n < 4; ++n)
        {
            threads.emplace_back(
                [&]
                {
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        CbMutexAuto const holder(mutex);
                        ++count;
                    }
                });
        }
    }
    EXPECT_EQ(count, 4 * c_Rounds);
}

TEST(CbMutexCopy, IsTheSameMutexUnderAHandleOfItsOwn)
{
    CbMutex mutex(nullptr);
    CbMutex copy(mutex);
    EXPECT_TRUE(copy.IsValid());
    EXPECT_NE(handleOf(copy), handleOf(mutex));

    EXPECT_EQ(copy.TryEnter(), CbMutex::eMutexEntered);
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexTimeout);
    mutex.Leave();
    EXPECT_EQ(lookFromAnotherThread(copy), CbMutex::eMutexEntered);
}

TEST(CbMutexCopy, OutlivesItsSourceWithTheMutexHeld)
{
    CbMutex copy(nullptr);
    {
        CbMutex mutex(nullptr);
        EXPECT_EQ(mutex.TryEnter(), CbMutex::eMutexEntered);
        copy = mutex;
    }
    EXPECT_EQ(lookFromAnotherThread(copy), CbMutex::eMutexTimeout);
    copy.Leave();
    EXPECT_EQ(lookFromAnotherThread(copy), CbMutex::eMutexEntered);
}

TEST(CbMutexCopy, OfAnInvalidMutexIsInvalid)
{
    CRefused const refused("copy-of-invalid");
    CbMutex const invalid(refused.GetName());
    CbMutex const copy(invalid);
    EXPECT_FALSE(copy.IsValid());

    CbMutex assigned(nullptr);
    assigned = invalid;
    EXPECT_FALSE(assigned.IsValid());
}

TEST(CbMutexCopy, ToItselfDoesNothing)
{
    CbMutex mutex(nullptr);
    HANDLE const handle = handleOf(mutex);
    CbMutex& same = mutex;
    SetLastError(c_Untouched);

    mutex = same;
    EXPECT_EQ(handleOf(mutex), handle);
    mutex = std::move(same);
    EXPECT_EQ(handleOf(mutex), handle);
    EXPECT_EQ(GetLastError(), c_Untouched);
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexEntered);
}

TEST(CbMutexMove, TakesTheHandleAndLeavesTheSourceInvalid)
{
    CbMutex source(nullptr);
    HANDLE const handle = handleOf(source);
    CbMutex target(std::move(source));

    EXPECT_EQ(handleOf(target), handle);
    EXPECT_FALSE(source.IsValid());
    EXPECT_EQ(source.Enter(INFINITE), CbMutex::eMutexError);
    EXPECT_EQ(source.TryEnter(), CbMutex::eMutexError);

    CbMutex assigned(nullptr);
    assigned = std::move(target);
    EXPECT_EQ(handleOf(assigned), handle);
    EXPECT_FALSE(target.IsValid());
}

TEST(CbMutexLeave, OfAnInvalidMutexDoesNothing)
{
    CbMutex source(nullptr);
    CbMutex const target(std::move(source));
    SetLastError(c_Untouched);
    source.Leave();
    EXPECT_EQ(GetLastError(), c_Untouched);
}

TEST(CbMutexLeave, ByAThreadThatIsNotInsideFailsWith288AndChangesNothing)
{
    CbMutex mutex(nullptr);
    EXPECT_EQ(mutex.TryEnter(), CbMutex::eMutexEntered);
    EXPECT_EQ(onAnotherThread(
                  [&]
                  {
                      SetLastError(c_Untouched);
                      mutex.Leave();
                      return GetLastError();
                  }),
              288u);
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexTimeout);
    mutex.Leave();
}

TEST(CbMutexHandles, AreAllClosed)
{
    EXPECT_EQ(synctest::handlesLeftBy(
                  []
                  {
                      for (int n = 0; n < 100; ++n)
                      {
                          CbMutex mutex(nullptr);
                          CbMutex copy(mutex);
                          CbMutex moved(std::move(copy));
                          CbMutex assigned(nullptr);
                          assigned = mutex;
                          mutex = std::move(assigned);
                          CbMutex& same = moved;
                          moved = same;
                      }
                  }),
              0);
}

TEST(CbMutexHandles, AreNotLeftByFailedCreations)
{
    CRefused const refused("failed-creations");
    EXPECT_EQ(synctest::handlesLeftBy(
                  [&]
                  {
                      for (int n = 0; n < 100; ++n)
                      {
                          CbMutex const mutex(refused.GetName());
                      }
                  }),
              0);
}

TEST(CbMutexAuto, HoldsTheMutexUntilTheEndOfItsScope)
{
    CbMutex mutex(nullptr);
    {
        CbMutexAuto const holder(mutex);
        EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexTimeout);
    }
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexEntered);
}

TEST(CbMutexAuto, LeavesOnceHoweverOftenItIsTold)
{
    CbMutex mutex(nullptr);
    EXPECT_EQ(mutex.TryEnter(), CbMutex::eMutexEntered);
    {
        CbMutexAuto holder(mutex);
        EXPECT_FALSE(fieldAt<bool>(&holder, sizeof(void*)));
        holder.Leave();
        EXPECT_TRUE(fieldAt<bool>(&holder, sizeof(void*)));
        holder.Leave();
    }
    // The outer enter is still to be left.
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexTimeout);
    mutex.Leave();
    EXPECT_EQ(lookFromAnotherThread(mutex), CbMutex::eMutexEntered);
}

TEST(CbMutexAuto, OnAnInvalidMutexHoldsNothing)
{
    CbMutex source(nullptr);
    CbMutex const target(std::move(source));
    SetLastError(c_Untouched);
    {
        CbMutexAuto holder(source);
        holder.Leave();
    }
    EXPECT_EQ(GetLastError(), c_Untouched);
}
