// What only this layer promises of its locks: that misuse does no harm, who goes first, and that errno stays.

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/platform.h"

namespace
{
template <class F>
void onAnotherThread(F const& function)
{
    std::thread(function).join();
}

// Waits for a writer to wait: readers are kept out from then on.
void awaitWaitingWriter(SRWLOCK& lock)
{
    while (TryAcquireSRWLockShared(&lock))
    {
        ReleaseSRWLockShared(&lock);
        std::this_thread::yield();
    }
}

// The readers that wait are counted in bits 32 to 47 of the word.
void awaitWaitingReader(SRWLOCK& lock)
{
    const std::atomic_ref<void*> word(lock.Ptr);
    while ((reinterpret_cast<ULONG_PTR>(word.load()) >> 32 & 0xFFFF) == 0)
    {
        std::this_thread::yield();
    }
}
} // namespace

TEST(CriticalSectionPosix, OfZeroBytesIsFree)
{
    CRITICAL_SECTION section;
    std::memset(&section, 0, sizeof section);

    EXPECT_TRUE(TryEnterCriticalSection(&section));
    EXPECT_EQ(section.RecursionCount, 1);
    LeaveCriticalSection(&section);
}

TEST(CriticalSectionPosix, ALeaveByAThreadThatIsNotInsideChangesNothing)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);

    LeaveCriticalSection(&section);
    EXPECT_EQ(section.RecursionCount, 0);

    EnterCriticalSection(&section);
    onAnotherThread(
        [&]
        {
            LeaveCriticalSection(&section);
            EXPECT_FALSE(TryEnterCriticalSection(&section));
        });
    EXPECT_EQ(section.RecursionCount, 1);
    LeaveCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    LeaveCriticalSection(&section);
}

TEST(CriticalSectionPosix, LeavesErrnoAloneWhenItWaitsAndWhenItWakes)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    errno = EDOM;
    std::vector<std::jthread> threads;
    for (int n = 0; n < 4; ++n)
    {
        threads.emplace_back(
            [&]
            {
                errno = ERANGE;
                for (int round = 0; round < 5'000; ++round)
                {
                    EnterCriticalSection(&section);
                    EXPECT_EQ(errno, ERANGE);
                    LeaveCriticalSection(&section);
                }
                EXPECT_EQ(errno, ERANGE);
            });
    }
    threads.clear();
    DeleteCriticalSection(&section);
}

TEST(SlimLockPosix, AReaderWaitsBehindAWriterThatWaits)
{
    SRWLOCK lock = SRWLOCK_INIT;
    std::atomic<bool> hasWritten = false;
    AcquireSRWLockShared(&lock);
    std::jthread const writer(
        [&]
        {
            AcquireSRWLockExclusive(&lock);
            hasWritten = true;
            ReleaseSRWLockExclusive(&lock);
        });
    awaitWaitingWriter(lock);
    std::jthread const reader(
        [&]
        {
            AcquireSRWLockShared(&lock);
            EXPECT_TRUE(hasWritten);
            ReleaseSRWLockShared(&lock);
        });

    EXPECT_FALSE(hasWritten);
    ReleaseSRWLockShared(&lock);
}

// Readers that wait share the lock next, though a writer has waited for as long.
TEST(SlimLockPosix, ReadersThatWaitGoBeforeTheNextWriter)
{
    SRWLOCK lock = SRWLOCK_INIT;
    std::atomic<bool> hasRead = false;
    std::atomic<bool> isWritten = false;
    AcquireSRWLockShared(&lock);
    std::jthread const first(
        [&]
        {
            AcquireSRWLockExclusive(&lock);
            awaitWaitingReader(lock);
            ReleaseSRWLockExclusive(&lock);
            AcquireSRWLockExclusive(&lock);
            EXPECT_TRUE(hasRead);
            isWritten = true;
            ReleaseSRWLockExclusive(&lock);
        });
    awaitWaitingWriter(lock);
    std::jthread const reader(
        [&]
        {
            AcquireSRWLockShared(&lock);
            EXPECT_FALSE(isWritten);
            hasRead = true;
            ReleaseSRWLockShared(&lock);
        });
    ReleaseSRWLockShared(&lock);
}

TEST(SlimLockPosix, AReleaseOfWhatIsNotHeldChangesNothing)
{
    SRWLOCK lock = SRWLOCK_INIT;
    ReleaseSRWLockShared(&lock);
    ReleaseSRWLockExclusive(&lock);
    EXPECT_EQ(lock.Ptr, nullptr);

    AcquireSRWLockExclusive(&lock);
    ReleaseSRWLockShared(&lock);
    EXPECT_FALSE(TryAcquireSRWLockShared(&lock));
    ReleaseSRWLockExclusive(&lock);

    AcquireSRWLockShared(&lock);
    ReleaseSRWLockExclusive(&lock);
    EXPECT_FALSE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockShared(&lock);
    EXPECT_TRUE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockExclusive(&lock);
}

TEST(SlimLockPosix, IsFreeAfterAHandOver)
{
    SRWLOCK lock = SRWLOCK_INIT;
    AcquireSRWLockExclusive(&lock);
    std::jthread reader(
        [&]
        {
            AcquireSRWLockShared(&lock);
            ReleaseSRWLockShared(&lock);
        });
    awaitWaitingReader(lock);
    ReleaseSRWLockExclusive(&lock);
    reader.join();

    // The turned phase stays in the word and keeps nobody out.
    EXPECT_TRUE(TryAcquireSRWLockShared(&lock));
    EXPECT_TRUE(TryAcquireSRWLockShared(&lock));
    ReleaseSRWLockShared(&lock);
    ReleaseSRWLockShared(&lock);
    EXPECT_TRUE(TryAcquireSRWLockExclusive(&lock));
    ReleaseSRWLockExclusive(&lock);
}
