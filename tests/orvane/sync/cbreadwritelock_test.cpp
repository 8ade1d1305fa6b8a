#include "orvane/sync/cbreadwritelock.h"

#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/layout.h"
#include "synctest.h"

using Auto = CbReadWriteLockAuto;

static_assert(std::has_virtual_destructor_v<INonCopyable>);
static_assert(sizeof(INonCopyable) == sizeof(void*));
static_assert(std::is_base_of_v<INonCopyable, CbReadWriteLock> && std::is_base_of_v<INonCopyable, Auto>);
static_assert(!std::is_copy_constructible_v<CbReadWriteLock> && !std::is_copy_assignable_v<CbReadWriteLock>);
static_assert(!std::is_move_constructible_v<CbReadWriteLock> && !std::is_move_assignable_v<CbReadWriteLock>);
static_assert(!std::is_copy_constructible_v<Auto> && !std::is_copy_assignable_v<Auto>);
static_assert(sizeof(CbReadWriteLock) == 16 && sizeof(Auto) == 24);
static_assert(Auto::eLockShared == 0 && Auto::eLockExclusive == 1);

namespace
{
// The platform's lock inside: whether it is held, and how, can only be asked there.
SRWLOCK& slimLockOf(CbReadWriteLock const& lock)
{
    return const_cast<SRWLOCK&>(fieldAt<SRWLOCK>(&lock, sizeof(void*)));
}

enum EHeld
{
    eFree,
    eShared,
    eExclusive
};

EHeld howHeld(CbReadWriteLock const& lock)
{
    return synctest::onAnotherThread(
        [&]
        {
            SRWLOCK& slimLock = slimLockOf(lock);
            if (TryAcquireSRWLockExclusive(&slimLock))
            {
                ReleaseSRWLockExclusive(&slimLock);
                return eFree;
            }
            if (TryAcquireSRWLockShared(&slimLock))
            {
                ReleaseSRWLockShared(&slimLock);
                return eShared;
            }
            return eExclusive;
        });
}
} // namespace

TEST(INonCopyable, MakesWhatDerivesFromItNeitherCopyableNorAssignable)
{
    class CDerived : public INonCopyable
    {
    };

    EXPECT_FALSE(std::is_copy_constructible_v<CDerived>);
    EXPECT_FALSE(std::is_copy_assignable_v<CDerived>);
    EXPECT_TRUE(std::is_default_constructible_v<CDerived>);
}

TEST(CbReadWriteLock, IsFreeWhenItHasBeenMade)
{
    CbReadWriteLock const lock;
    EXPECT_EQ(howHeld(lock), eFree);
}

TEST(CbReadWriteLock, IsSharedByReadersUntilTheLastLeaves)
{
    CbReadWriteLock lock;
    lock.EnterShared();
    std::thread([&] { lock.EnterShared(); }).join();
    EXPECT_EQ(howHeld(lock), eShared);
    lock.LeaveShared();
    EXPECT_EQ(howHeld(lock), eShared);
    lock.LeaveShared();
    EXPECT_EQ(howHeld(lock), eFree);
}

TEST(CbReadWriteLock, IsAWritersAlone)
{
    CbReadWriteLock lock;
    lock.EnterExclusive();
    EXPECT_EQ(howHeld(lock), eExclusive);
    lock.LeaveExclusive();
    EXPECT_EQ(howHeld(lock), eFree);
}

TEST(CbReadWriteLock, LeavesTheLastErrorAlone)
{
    SetLastError(synctest::c_Untouched);
    {
        CbReadWriteLock lock;
        lock.EnterShared();
        lock.LeaveShared();
        Auto const holder(lock, Auto::eLockExclusive);
    }
    EXPECT_EQ(GetLastError(), synctest::c_Untouched);
}

TEST(CbReadWriteLock, IsDestroyedThroughItsBase)
{
    std::unique_ptr<INonCopyable> lock = std::make_unique<CbReadWriteLock>();
    CbReadWriteLock target;
    std::unique_ptr<INonCopyable> holder = std::make_unique<Auto>(target, Auto::eLockExclusive);
    EXPECT_EQ(howHeld(target), eExclusive);
    holder.reset();
    EXPECT_EQ(howHeld(target), eFree);
    lock.reset();
}

TEST(CbReadWriteLockAuto, HoldsTheLockInItsModeUntilTheEndOfItsScope)
{
    CbReadWriteLock lock;
    {
        Auto const holder(lock, Auto::eLockShared);
        EXPECT_EQ(howHeld(lock), eShared);
    }
    EXPECT_EQ(howHeld(lock), eFree);
    {
        Auto const holder(lock, Auto::eLockExclusive);
        EXPECT_EQ(howHeld(lock), eExclusive);
    }
    EXPECT_EQ(howHeld(lock), eFree);
}

TEST(CbReadWriteLockAuto, TakesAnyTypeButZeroAsExclusive)
{
    CbReadWriteLock lock;
    for (unsigned int type : {2u, 5u, 0x100u, 0xFFFFFFFFu})
    {
        {
            Auto const holder(lock, static_cast<Auto::ELockType>(type));
            EXPECT_EQ(howHeld(lock), eExclusive) << type;
        }
        EXPECT_EQ(howHeld(lock), eFree) << type;
    }
}

TEST(CbReadWriteLockAuto, LeavesOnceHoweverOftenItIsTold)
{
    CbReadWriteLock lock;
    lock.EnterShared();
    {
        Auto holder(lock, Auto::eLockShared);
        holder.Leave();
        holder.Leave();
        EXPECT_EQ(howHeld(lock), eShared);
    }
    EXPECT_EQ(howHeld(lock), eShared);
    lock.LeaveShared();
    EXPECT_EQ(howHeld(lock), eFree);

    {
        Auto holder(lock, static_cast<Auto::ELockType>(5));
        holder.Leave();
        EXPECT_EQ(howHeld(lock), eFree);
        lock.EnterExclusive();
    }
    EXPECT_EQ(howHeld(lock), eExclusive);
    lock.LeaveExclusive();
}

TEST(CbReadWriteLockAuto, HasLockTypeAndMarkInThisOrder)
{
    CbReadWriteLock lock;
    Auto holder(lock, static_cast<Auto::ELockType>(5));
    EXPECT_EQ(fieldAt<CbReadWriteLock*>(&holder, 8), &lock);
    EXPECT_EQ(fieldAt<unsigned int>(&holder, 16), 5u);
    EXPECT_FALSE(fieldAt<bool>(&holder, 20));
    holder.Leave();
    EXPECT_TRUE(fieldAt<bool>(&holder, 20));
}

TEST(CbReadWriteLockStress, ReadersSeeWholeChanges)
{
    constexpr int c_Rounds = 5'000;
    CbReadWriteLock lock;
    std::array<int, 2> values{}; // guarded by lock; equal outside of a change
    std::atomic<int> halves = 0;
    {
        std::vector<std::jthread> threads;
        for (int n = 0; n < 2; ++n)
        {
            threads.emplace_back(
                [&]
                {
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        Auto const holder(lock, Auto::eLockExclusive);
                        ++values[0];
                        ++values[1];
                    }
                });
            threads.emplace_back(
                [&]
                {
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        Auto const holder(lock, Auto::eLockShared);
                        halves += values[0] == values[1] ? 0 : 1;
                    }
                });
        }
    }
    EXPECT_EQ(halves, 0);
    EXPECT_EQ(values[1], 2 * c_Rounds);
}
