// Critical sections and slim reader/writer locks, as both targets have them.

#include <algorithm>
#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/platform.h"

namespace
{
constexpr DWORD c_Untouched = 0x7777;

class CSection
{
public:
    CSection()
    {
        InitializeCriticalSection(&section);
    }

    CSection(CSection const&) = delete;
    CSection& operator=(CSection const&) = delete;

    ~CSection()
    {
        DeleteCriticalSection(&section);
    }

    CRITICAL_SECTION section;
};

template <class F>
auto onAnotherThread(F const& function)
{
    decltype(function()) result{};
    std::thread([&] { result = function(); }).join();
    return result;
}

HANDLE selfAsOwner()
{
    return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(GetCurrentThreadId()));
}

bool tryEnterAndLeave(CRITICAL_SECTION& section)
{
    if (!TryEnterCriticalSection(&section))
    {
        return false;
    }
    LeaveCriticalSection(&section);
    return true;
}

// Lets threads begin together, so that they meet.
class CGate
{
public:
    explicit CGate(unsigned int count) : m_missing(static_cast<int>(count))
    {
    }

    void Pass()
    {
        --m_missing;
        while (m_missing > 0)
        {
            std::this_thread::yield();
        }
    }

private:
    std::atomic<int> m_missing;
};

// Static initialisers may lock before any other code of the program has run.
SRWLOCK s_lock = SRWLOCK_INIT;

const bool s_wasTakenAtStart = []
{
    AcquireSRWLockExclusive(&s_lock);
    const bool wasShared = TryAcquireSRWLockShared(&s_lock) != 0;
    ReleaseSRWLockExclusive(&s_lock);
    return !wasShared;
}();
} // namespace

TEST(CriticalSection, IsFreeWhenItHasBeenMade)
{
    CSection own;

    EXPECT_EQ(own.section.RecursionCount, 0);
    EXPECT_EQ(own.section.OwningThread, nullptr);
    EXPECT_TRUE(onAnotherThread([&] { return tryEnterAndLeave(own.section); }));
}

TEST(CriticalSection, NamesTheThreadInsideAndCountsItsEnters)
{
    CSection own;

    EnterCriticalSection(&own.section);
    EXPECT_EQ(own.section.RecursionCount, 1);
    EXPECT_EQ(own.section.OwningThread, selfAsOwner());
    EnterCriticalSection(&own.section);
    EXPECT_EQ(own.section.RecursionCount, 2);
    EXPECT_TRUE(TryEnterCriticalSection(&own.section));
    EXPECT_EQ(own.section.RecursionCount, 3);

    LeaveCriticalSection(&own.section);
    LeaveCriticalSection(&own.section);
    EXPECT_EQ(own.section.RecursionCount, 1);
    EXPECT_EQ(own.section.OwningThread, selfAsOwner());
    LeaveCriticalSection(&own.section);
    EXPECT_EQ(own.section.RecursionCount, 0);
    EXPECT_EQ(own.section.OwningThread, nullptr);
}

TEST(CriticalSection, IsClosedToOtherThreadsUntilTheLastLeave)
{
    CSection own;
    const auto isOpen = [&] { return onAnotherThread([&] { return tryEnterAndLeave(own.section); }); };

    EnterCriticalSection(&own.section);
    EnterCriticalSection(&own.section);
    EXPECT_FALSE(isOpen());
    LeaveCriticalSection(&own.section);
    EXPECT_FALSE(isOpen());
    LeaveCriticalSection(&own.section);
    EXPECT_TRUE(isOpen());
}

TEST(CriticalSection, ARefusedTryLeavesOwnerAndCountAlone)
{
    CSection own;
    EnterCriticalSection(&own.section);

    EXPECT_FALSE(onAnotherThread([&] { return TryEnterCriticalSection(&own.section) != FALSE; }));

    EXPECT_EQ(own.section.RecursionCount, 1);
    EXPECT_EQ(own.section.OwningThread, selfAsOwner());
    LeaveCriticalSection(&own.section);
}

TEST(CriticalSection, LeavesTheLastErrorAlone)
{
    SetLastError(c_Untouched);
    {
        CSection own;
        EnterCriticalSection(&own.section);
        TryEnterCriticalSection(&own.section);
        LeaveCriticalSection(&own.section);
        LeaveCriticalSection(&own.section);
    }
    EXPECT_EQ(GetLastError(), c_Untouched);
}

TEST(CriticalSection, LetsEveryWaiterInOnce)
{
    constexpr int c_Waiters = 8;
    CSection own;
    int inside = 0; // guarded by own
    std::atomic<int> started = 0;
    std::vector<std::jthread> threads;

    EnterCriticalSection(&own.section);
    for (int n = 0; n < c_Waiters; ++n)
    {
        threads.emplace_back(
            [&]
            {
                ++started;
                EnterCriticalSection(&own.section);
                ++inside;
                LeaveCriticalSection(&own.section);
            });
    }
    while (started != c_Waiters)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(inside, 0);
    LeaveCriticalSection(&own.section);
    threads.clear();

    EXPECT_EQ(inside, c_Waiters);
    EXPECT_TRUE(tryEnterAndLeave(own.section));
}

class CriticalSectionStress : public testing::TestWithParam<unsigned int>
{
};

INSTANTIATE_TEST_SUITE_P(Threads, CriticalSectionStress,
                         testing::Values(1u, 2u, std::max(3u, std::thread::hardware_concurrency()), 12u),
                         [](auto const& row)
                         { return std::to_string(row.index) + "_of_" + std::to_string(row.param); });

TEST_P(CriticalSectionStress, NoEnterIsLostAndNobodyMeetsAnother)
{
    constexpr int c_Rounds = 100'000;
    CSection own;
    CGate gate(GetParam());
    long long count = 0; // guarded by own, as is the next
    HANDLE visitor = nullptr;
    std::atomic<int> met = 0;
    {
        std::vector<std::jthread> threads;
        for (unsigned int n = 0; n < GetParam(); ++n)
        {
            threads.emplace_back(
                [&, n]
                {
                    gate.Pass();
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        if ((static_cast<unsigned int>(round) + n) % 3 != 0 || !TryEnterCriticalSection(&own.section))
                        {
                            EnterCriticalSection(&own.section);
                        }
                        visitor = selfAsOwner();
                        EnterCriticalSection(&own.section);
                        ++count;
                        LeaveCriticalSection(&own.section);
                        met += visitor == selfAsOwner() && own.section.RecursionCount == 1 ? 0 : 1;
                        LeaveCriticalSection(&own.section);
                    }
                });
        }
    }

    EXPECT_EQ(count, static_cast<long long>(GetParam()) * c_Rounds);
    EXPECT_EQ(met, 0);
    EXPECT_EQ(own.section.RecursionCount, 0);
}

TEST(CriticalSectionStress, AWaiterGetsInWhileAnotherThreadHardlyEverLeaves)
{
    constexpr int c_Visits = 20;
    CSection own;
    std::atomic<bool> isOver = false;
    std::jthread const hog(
        [&]
        {
            while (!isOver)
            {
                EnterCriticalSection(&own.section);
                for (int n = 0; n < 2'000; ++n)
                {
                    static_cast<void>(isOver.load());
                }
                LeaveCriticalSection(&own.section);
            }
        });

    for (int visit = 0; visit < c_Visits; ++visit)
    {
        EnterCriticalSection(&own.section);
        EXPECT_EQ(own.section.OwningThread, selfAsOwner());
        LeaveCriticalSection(&own.section);
    }
    isOver = true;
}

// What ends with the last use of an object is often guarded by a section inside the object.
TEST(CriticalSectionStress, CanBeDeletedAsSoonAsTheOtherThreadHasLeft)
{
    constexpr int c_Rounds = 3'000;

    struct SShared
    {
        CSection own;
        int users = 2; // guarded by own
    };

    std::atomic<SShared*> handedOut = nullptr;
    std::atomic<int> deleted = 0;
    const auto use = [&](SShared* shared)
    {
        EnterCriticalSection(&shared->own.section);
        const bool isLast = --shared->users == 0;
        LeaveCriticalSection(&shared->own.section);
        if (isLast)
        {
            delete shared;
            ++deleted;
        }
    };
    std::jthread other(
        [&]
        {
            for (int round = 0; round < c_Rounds; ++round)
            {
                SShared* shared = nullptr;
                while ((shared = handedOut.exchange(nullptr)) == nullptr)
                {
                    std::this_thread::yield();
                }
                use(shared);
            }
        });
    for (int round = 0; round < c_Rounds; ++round)
    {
        auto* const shared = new SShared;
        handedOut = shared;
        use(shared);
        while (handedOut != nullptr)
        {
            std::this_thread::yield();
        }
    }
    other.join();

    EXPECT_EQ(deleted, c_Rounds);
}

TEST(SlimLock, WorksInStaticInitialisers)
{
    EXPECT_TRUE(s_wasTakenAtStart);
    EXPECT_TRUE(TryAcquireSRWLockExclusive(&s_lock));
    ReleaseSRWLockExclusive(&s_lock);
}

TEST(SlimLock, IsSharedByReadersAndClosedToWritersMeanwhile)
{
    SRWLOCK lock;
    InitializeSRWLock(&lock);

    AcquireSRWLockShared(&lock);
    EXPECT_TRUE(onAnotherThread([&] { return TryAcquireSRWLockShared(&lock); }));
    EXPECT_FALSE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockShared(&lock);
    EXPECT_FALSE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockShared(&lock);
    EXPECT_TRUE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockExclusive(&lock);
}

TEST(SlimLock, IsClosedToAllWhileAWriterHasIt)
{
    SRWLOCK lock = SRWLOCK_INIT;

    AcquireSRWLockExclusive(&lock);
    EXPECT_FALSE(onAnotherThread([&] { return TryAcquireSRWLockShared(&lock); }));
    EXPECT_FALSE(onAnotherThread([&] { return TryAcquireSRWLockExclusive(&lock); }));
    ReleaseSRWLockExclusive(&lock);
    EXPECT_TRUE(TryAcquireSRWLockShared(&lock));
    ReleaseSRWLockShared(&lock);
}

TEST(SlimLock, LeavesTheLastErrorAlone)
{
    SetLastError(c_Untouched);
    SRWLOCK lock = SRWLOCK_INIT;
    AcquireSRWLockExclusive(&lock);
    TryAcquireSRWLockShared(&lock);
    ReleaseSRWLockExclusive(&lock);
    AcquireSRWLockShared(&lock);
    TryAcquireSRWLockExclusive(&lock);
    ReleaseSRWLockShared(&lock);
    EXPECT_EQ(GetLastError(), c_Untouched);
}

TEST(SlimLock, LetsAllReadersInTogetherWhenAWriterLetsGo)
{
    constexpr int c_Readers = 6;
    SRWLOCK lock = SRWLOCK_INIT;
    std::atomic<int> started = 0;
    std::atomic<int> inside = 0;
    AcquireSRWLockExclusive(&lock);
    std::vector<std::jthread> readers;
    for (int n = 0; n < c_Readers; ++n)
    {
        readers.emplace_back(
            [&]
            {
                ++started;
                AcquireSRWLockShared(&lock);
                ++inside;
                // Ends only when all are inside at once.
                while (inside != c_Readers)
                {
                    std::this_thread::yield();
                }
                ReleaseSRWLockShared(&lock);
            });
    }
    while (started != c_Readers)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(inside, 0);
    ReleaseSRWLockExclusive(&lock);
    readers.clear();

    EXPECT_EQ(inside, c_Readers);
    EXPECT_TRUE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockExclusive(&lock);
}

struct SCrowd
{
    unsigned int readers;
    unsigned int writers;
    char const* name;
};

class SlimLockStress : public testing::TestWithParam<SCrowd>
{
};

INSTANTIATE_TEST_SUITE_P(Crowds, SlimLockStress,
                         testing::Values(SCrowd{0, 1, "OneWriter"}, SCrowd{0, 2, "TwoWriters"},
                                         SCrowd{0, 8, "EightWriters"}, SCrowd{1, 1, "OneOfEach"},
                                         SCrowd{3, 1, "MostlyReaders"}, SCrowd{1, 3, "MostlyWriters"},
                                         SCrowd{8, 8, "EightOfEach"}),
                         [](auto const& row) { return row.param.name; });

TEST_P(SlimLockStress, ReadersSeeWholeChangesAndNoChangeIsLost)
{
    constexpr int c_Rounds = 20'000;
    SRWLOCK lock = SRWLOCK_INIT;
    CGate gate(GetParam().readers + GetParam().writers);
    std::array<long long, 3> values{}; // guarded by lock; equal outside of a change
    std::atomic<int> halves = 0;
    {
        std::vector<std::jthread> threads;
        for (unsigned int n = 0; n < GetParam().writers; ++n)
        {
            threads.emplace_back(
                [&]
                {
                    gate.Pass();
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        if (round % 4 != 0 || !TryAcquireSRWLockExclusive(&lock))
                        {
                            AcquireSRWLockExclusive(&lock);
                        }
                        for (long long& value : values)
                        {
                            ++value;
                        }
                        ReleaseSRWLockExclusive(&lock);
                    }
                });
        }
        for (unsigned int n = 0; n < GetParam().readers; ++n)
        {
            threads.emplace_back(
                [&]
                {
                    gate.Pass();
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        if (round % 4 != 0 || !TryAcquireSRWLockShared(&lock))
                        {
                            AcquireSRWLockShared(&lock);
                        }
                        halves += values[0] == values[1] && values[1] == values[2] ? 0 : 1;
                        ReleaseSRWLockShared(&lock);
                    }
                });
        }
    }

    EXPECT_EQ(halves, 0);
    EXPECT_EQ(values[2], static_cast<long long>(GetParam().writers) * c_Rounds);
    EXPECT_TRUE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockExclusive(&lock);
}

TEST(SlimLockStress, AWriterGetsInAgainstAStreamOfReaders)
{
    constexpr int c_Visits = 20;
    SRWLOCK lock = SRWLOCK_INIT;
    std::atomic<bool> isOver = false;
    std::vector<std::jthread> readers;
    for (int n = 0; n < 4; ++n)
    {
        readers.emplace_back(
            [&]
            {
                while (!isOver)
                {
                    AcquireSRWLockShared(&lock);
                    for (int look = 0; look < 2'000; ++look)
                    {
                        static_cast<void>(isOver.load());
                    }
                    ReleaseSRWLockShared(&lock);
                }
            });
    }
    for (int visit = 0; visit < c_Visits; ++visit)
    {
        AcquireSRWLockExclusive(&lock);
        EXPECT_FALSE(TryAcquireSRWLockShared(&lock));
        ReleaseSRWLockExclusive(&lock);
    }
    isOver = true;
}

TEST(SlimLockStress, AReaderGetsInAgainstAStreamOfWriters)
{
    constexpr int c_Visits = 20;
    SRWLOCK lock = SRWLOCK_INIT;
    std::atomic<bool> isOver = false;
    std::vector<std::jthread> writers;
    for (int n = 0; n < 4; ++n)
    {
        writers.emplace_back(
            [&]
            {
                while (!isOver)
                {
                    AcquireSRWLockExclusive(&lock);
                    for (int look = 0; look < 2'000; ++look)
                    {
                        static_cast<void>(isOver.load());
                    }
                    ReleaseSRWLockExclusive(&lock);
                }
            });
    }
    for (int visit = 0; visit < c_Visits; ++visit)
    {
        AcquireSRWLockShared(&lock);
        EXPECT_FALSE(TryAcquireSRWLockExclusive(&lock));
        ReleaseSRWLockShared(&lock);
    }
    isOver = true;
}

TEST(SlimLockStress, CanGoAsSoonAsTheOtherThreadHasReleasedIt)
{
    constexpr int c_Rounds = 3'000;

    struct SShared
    {
        SRWLOCK lock = SRWLOCK_INIT;
        std::atomic<int> users = 2;
    };

    std::atomic<SShared*> handedOut = nullptr;
    std::atomic<int> deleted = 0;
    const auto useAsWriter = [&](SShared* shared)
    {
        AcquireSRWLockExclusive(&shared->lock);
        const bool isLast = --shared->users == 0;
        ReleaseSRWLockExclusive(&shared->lock);
        if (isLast)
        {
            delete shared;
            ++deleted;
        }
    };
    const auto useAsReader = [&](SShared* shared)
    {
        AcquireSRWLockShared(&shared->lock);
        const bool isLast = --shared->users == 0;
        ReleaseSRWLockShared(&shared->lock);
        if (isLast)
        {
            delete shared;
            ++deleted;
        }
    };
    std::jthread other(
        [&]
        {
            for (int round = 0; round < c_Rounds; ++round)
            {
                SShared* shared = nullptr;
                while ((shared = handedOut.exchange(nullptr)) == nullptr)
                {
                    std::this_thread::yield();
                }
                round % 2 == 0 ? useAsReader(shared) : useAsWriter(shared);
            }
        });
    for (int round = 0; round < c_Rounds; ++round)
    {
        auto* const shared = new SShared;
        handedOut = shared;
        useAsWriter(shared);
        while (handedOut != nullptr)
        {
            std::this_thread::yield();
        }
    }
    other.join();

    EXPECT_EQ(deleted, c_Rounds);
}
