#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

namespace
{
class CSection
{
public:
    CSection()
    {
        InitializeCriticalSection(&m_section);
    }

    CSection(CSection const&) = delete;
    CSection& operator=(CSection const&) = delete;

    ~CSection()
    {
        DeleteCriticalSection(&m_section);
    }

    CRITICAL_SECTION* Get()
    {
        return &m_section;
    }

    int GetRecursions() const
    {
        return static_cast<int>(m_section.RecursionCount);
    }

private:
    CRITICAL_SECTION m_section;
};

bool canEnterElsewhere(CSection& section)
{
    bool isEntered = false;
    std::thread(
        [&]
        {
            isEntered = TryEnterCriticalSection(section.Get()) != FALSE;
            if (isEntered)
            {
                LeaveCriticalSection(section.Get());
            }
        })
        .join();
    return isEntered;
}
} // namespace

TEST(CriticalSection, CountsTheEntriesOfItsOwner)
{
    CSection section;
    EXPECT_EQ(section.GetRecursions(), 0);
    for (int n = 1; n <= 1'000; ++n)
    {
        if (n % 2 == 0)
        {
            EnterCriticalSection(section.Get());
        }
        else
        {
            EXPECT_TRUE(TryEnterCriticalSection(section.Get()));
        }
        EXPECT_EQ(section.GetRecursions(), n);
    }
    EXPECT_FALSE(canEnterElsewhere(section));
    for (int n = 999; n >= 0; --n)
    {
        LeaveCriticalSection(section.Get());
        EXPECT_EQ(section.GetRecursions(), n);
        if (n == 1)
        {
            EXPECT_FALSE(canEnterElsewhere(section));
        }
    }
    EXPECT_TRUE(canEnterElsewhere(section));
    EXPECT_EQ(section.GetRecursions(), 0);
}

TEST(CriticalSection, KeepsItsCountThroughARefusedTry)
{
    CSection section;
    EnterCriticalSection(section.Get());
    EnterCriticalSection(section.Get());
    EXPECT_FALSE(canEnterElsewhere(section));
    EXPECT_EQ(section.GetRecursions(), 2);
    LeaveCriticalSection(section.Get());
    LeaveCriticalSection(section.Get());
}

TEST(CriticalSection, MayBeMadeAgainAtTheSamePlace)
{
    CRITICAL_SECTION section;
    for (int n = 0; n < 100; ++n)
    {
        InitializeCriticalSection(&section);
        EnterCriticalSection(&section);
        EXPECT_EQ(section.RecursionCount, 1);
        LeaveCriticalSection(&section);
        DeleteCriticalSection(&section);
    }
}

TEST(CriticalSection, ReleasesAThreadThatWaitsToEnter)
{
    CSection section;
    EnterCriticalSection(section.Get());
    std::atomic<bool> isEntered = false;
    std::atomic<bool> isAboutToEnter = false;
    std::thread other(
        [&]
        {
            isAboutToEnter = true;
            EnterCriticalSection(section.Get());
            isEntered = true;
            LeaveCriticalSection(section.Get());
        });
    EXPECT_TRUE(becomes([&] { return isAboutToEnter.load(); }));
    settle(10);
    EXPECT_FALSE(isEntered);
    LeaveCriticalSection(section.Get());
    other.join();
    EXPECT_TRUE(isEntered);
}

TEST(CriticalSectionStress, HasOneOwnerAtATime)
{
    constexpr int c_Rounds = 20'000 * c_Pace;
    CSection section;
    long long counter = 0; // plain: the section alone guards it
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id)
    {
        threads.emplace_back(
            [&, id]
            {
                for (int round = 0; round < c_Rounds;)
                {
                    if ((round + id) % 5 == 0)
                    {
                        if (!TryEnterCriticalSection(section.Get()))
                        {
                            std::this_thread::yield();
                            continue;
                        }
                    }
                    else
                    {
                        EnterCriticalSection(section.Get());
                    }
                    ++counter;
                    if (round % 7 == 0)
                    {
                        EnterCriticalSection(section.Get());
                        counter += section.GetRecursions() == 2 ? 0 : 1'000'000'000;
                        LeaveCriticalSection(section.Get());
                    }
                    LeaveCriticalSection(section.Get());
                    ++round;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(counter, 4LL * c_Rounds);
    EXPECT_EQ(section.GetRecursions(), 0);
}

TEST(CriticalSectionStress, LetsBothRacersInWhenItIsNewlyMade)
{
    constexpr int c_Rounds = 300 * c_Pace;
    CStartingLine line(2);
    std::atomic<CRITICAL_SECTION*> current = nullptr;
    std::atomic<int> entered = 0;
    std::thread other(
        [&]
        {
            for (int round = 0; round < c_Rounds; ++round)
            {
                line.Meet();
                CRITICAL_SECTION* const section = current;
                EnterCriticalSection(section);
                ++entered;
                LeaveCriticalSection(section);
                line.Meet();
            }
        });
    for (int round = 0; round < c_Rounds; ++round)
    {
        auto section = std::make_unique<CRITICAL_SECTION>();
        InitializeCriticalSection(section.get());
        current = section.get();
        line.Meet();
        EnterCriticalSection(section.get());
        ++entered;
        LeaveCriticalSection(section.get());
        line.Meet();
        DeleteCriticalSection(section.get());
    }
    other.join();
    EXPECT_EQ(entered.load(), 2 * c_Rounds);
}

namespace
{
class CReaderWriterLock
{
public:
    CReaderWriterLock()
    {
        InitializeSRWLock(&m_lock);
    }

    SRWLOCK* Get()
    {
        return &m_lock;
    }

private:
    SRWLOCK m_lock;
};
} // namespace

TEST(ReaderWriterLock, LetsReadersInTogether)
{
    constexpr int c_Readers = 5;
    CReaderWriterLock lock;
    std::atomic<int> inside = 0;
    std::vector<std::thread> threads;
    for (int n = 0; n < c_Readers; ++n)
    {
        threads.emplace_back(
            [&]
            {
                AcquireSRWLockShared(lock.Get());
                ++inside;
                EXPECT_TRUE(becomes([&] { return inside == c_Readers; })) << "the readers do not get in together";
                ReleaseSRWLockShared(lock.Get());
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

TEST(ReaderWriterLock, KeepsAWriterOutWhileAReaderIsInside)
{
    CReaderWriterLock lock;
    std::atomic<bool> isInside = false;
    std::atomic<bool> isAboutToEnter = false;
    AcquireSRWLockShared(lock.Get());
    std::thread writer(
        [&]
        {
            isAboutToEnter = true;
            AcquireSRWLockExclusive(lock.Get());
            isInside = true;
            ReleaseSRWLockExclusive(lock.Get());
        });
    EXPECT_TRUE(becomes([&] { return isAboutToEnter.load(); }));
    settle(10);
    EXPECT_FALSE(isInside);
    ReleaseSRWLockShared(lock.Get());
    writer.join();
    EXPECT_TRUE(isInside);
}

TEST(ReaderWriterLock, KeepsEverybodyOutWhileAWriterIsInside)
{
    CReaderWriterLock lock;
    std::atomic<int> inside = 0;
    std::atomic<int> aboutToEnter = 0;
    AcquireSRWLockExclusive(lock.Get());
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n)
    {
        threads.emplace_back(
            [&, n]
            {
                ++aboutToEnter;
                if (n % 2 == 0)
                {
                    AcquireSRWLockShared(lock.Get());
                    ++inside;
                    ReleaseSRWLockShared(lock.Get());
                }
                else
                {
                    AcquireSRWLockExclusive(lock.Get());
                    ++inside;
                    ReleaseSRWLockExclusive(lock.Get());
                }
            });
    }
    EXPECT_TRUE(becomes([&] { return aboutToEnter == 4; }));
    settle(10);
    EXPECT_EQ(inside, 0);
    ReleaseSRWLockExclusive(lock.Get());
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(inside, 4);
}

TEST(ReaderWriterLock, IsFreeWhenItIsAllZero)
{
    SRWLOCK lock{};
    AcquireSRWLockExclusive(&lock);
    ReleaseSRWLockExclusive(&lock);
    AcquireSRWLockShared(&lock);
    AcquireSRWLockShared(&lock);
    ReleaseSRWLockShared(&lock);
    ReleaseSRWLockShared(&lock);
    EXPECT_EQ(lock.Ptr, nullptr);
}

TEST(ReaderWriterLockStress, WritersAreAloneAndReadersSeeThemWhole)
{
    constexpr int c_Rounds = 10'000 * c_Pace;
    CReaderWriterLock lock;
    long long left = 0; // plain: the lock alone guards them
    long long right = 0;
    std::atomic<long long> wrong = 0;
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id)
    {
        threads.emplace_back(
            [&, id]
            {
                for (int round = 0; round < c_Rounds; ++round)
                {
                    if ((round + id) % 4 == 0)
                    {
                        AcquireSRWLockExclusive(lock.Get());
                        ++left;
                        ++right;
                        ReleaseSRWLockExclusive(lock.Get());
                    }
                    else
                    {
                        AcquireSRWLockShared(lock.Get());
                        wrong += left == right ? 0 : 1;
                        ReleaseSRWLockShared(lock.Get());
                    }
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(left, c_Rounds);
    EXPECT_EQ(right, c_Rounds);
}
