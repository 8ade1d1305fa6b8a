// What only the layer of our own promises: where Wine departs from Windows, and what it can be asked beyond Windows.

#include <array>
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "childprocess.h"
#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

namespace
{
std::ptrdiff_t countEntries(std::filesystem::path const& folder)
{
    std::error_code error;
    return std::distance(std::filesystem::directory_iterator(folder, error), std::filesystem::directory_iterator());
}

std::ptrdiff_t countDescriptors()
{
    return countEntries("/proc/self/fd");
}

// The files in shared memory that this process has open. None is opened here to look inside: closing a second descriptor
// of a file gives the process's claim to it up.
std::vector<std::string> listOwnFiles()
{
    std::vector<std::string> files;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        std::error_code error;
        const std::string file = std::filesystem::read_symlink(entry.path(), error).string();
        if (file.rfind("/dev/shm/", 0) == 0 && std::filesystem::is_regular_file(file, error))
        {
            files.push_back(file);
        }
    }
    return files;
}

std::wstring makeName(char const* what)
{
    const std::string name = "orvane-posix-test-" + std::to_string(GetCurrentProcessId()) + "-" + what;
    return {name.begin(), name.end()};
}
} // namespace

TEST(StaleHandle, FailsWhileItsPlaceIsUsedAThousandTimes)
{
    CHandle first = makeEvent(eManual, true);
    const HANDLE stale = first;
    first.Close();
    for (int n = 0; n < 1'000; ++n)
    {
        const CHandle other = makeEvent(eManual, true);
        ASSERT_NE(static_cast<HANDLE>(other), stale);
        ASSERT_EQ(WaitForSingleObject(stale, 0), WAIT_FAILED);
        ASSERT_FALSE(SetEvent(stale));
        ASSERT_FALSE(CloseHandle(stale));
        ASSERT_EQ(look(other), WAIT_OBJECT_0);
    }
}

TEST(StaleHandle, FailsWhileOthersOfItsObjectLive)
{
    CHandle first = makeEvent(eManual, true);
    const CHandle second = duplicate(first);
    const HANDLE stale = first;
    first.Close();
    EXPECT_FAILS(WaitForSingleObject(stale, INFINITE), WAIT_FAILED, 6);
    EXPECT_FAILS(ResetEvent(stale), FALSE, 6);
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
}

TEST(ProcessPseudoHandle, CannotBeWaitedOn)
{
    EXPECT_FAILS(WaitForSingleObject(GetCurrentProcess(), 0), WAIT_FAILED, 6);
}

TEST(ObjectCount, FollowsTheObjectsNotTheHandles)
{
    const unsigned int before = PlatformTest::GetObjectCount();
    CHandle event = makeEvent(eAuto);
    CHandle copy = duplicate(event);
    EXPECT_EQ(PlatformTest::GetObjectCount(), before + 1);
    event.Close();
    EXPECT_EQ(PlatformTest::GetObjectCount(), before + 1);
    copy.Close();
    EXPECT_EQ(PlatformTest::GetObjectCount(), before);
}

TEST(ObjectCount, HoldsAnObjectThatIsWaitedForUntilTheWaitHasEnded)
{
    const unsigned int before = PlatformTest::GetObjectCount();
    EXPECT_TRUE(succeedsInAnAttempt(
        [&](DWORD settleMs)
        {
            CHandle event = makeEvent(eAuto);
            const HANDLE raw = event;
            DWORD result = c_Untouched;
            std::thread waiter([&] { result = WaitForSingleObject(raw, 10 * settleMs); });
            settle(settleMs);
            event.Close();
            const unsigned int during = PlatformTest::GetObjectCount();
            waiter.join();
            return during == before + 1 && result == WAIT_TIMEOUT;
        }));
    EXPECT_EQ(PlatformTest::GetObjectCount(), before);
}

TEST(ObjectCount, IsUnchangedAfterManyUses)
{
    unsigned int handles = 0;
    unsigned int objects = 0;
    std::ptrdiff_t descriptors = 0;
    for (int round = -10; round < 10'000 * c_Pace; ++round)
    {
        if (round == 0)
        {
            handles = PlatformTest::GetHandleCount();
            objects = PlatformTest::GetObjectCount();
            descriptors = countDescriptors();
        }
        CHandle event = makeEvent(eAuto);
        CHandle copy = duplicate(event);
        event = std::move(copy);
        CreateSemaphoreW(nullptr, -1, 1, nullptr);
        waitAll(std::array<HANDLE, 2>{event, nullptr}, 0);
    }
    EXPECT_EQ(PlatformTest::GetHandleCount(), handles);
    EXPECT_EQ(PlatformTest::GetObjectCount(), objects);
    EXPECT_EQ(countDescriptors(), descriptors);
}

TEST(TerminateThread, OfAThreadThatTheLayerNeverSawLeavesItsHandleGood)
{
    std::atomic<pid_t> id = 0;
    std::thread(
        [&id]
        {
            id = gettid();
            for (;;)
            {
                pause();
            }
        })
        .detach();
    ASSERT_TRUE(becomes([&] { return id != 0; }));
    const unsigned int before = PlatformTest::GetObjectCount();
    CHandle opened(OpenThread(1, FALSE, static_cast<DWORD>(id)));
    ASSERT_NE(static_cast<HANDLE>(opened), nullptr);

    EXPECT_TRUE(TerminateThread(opened, 7));
    DWORD code = c_Untouched;
    EXPECT_TRUE(GetExitCodeThread(opened, &code));
    EXPECT_EQ(code, 7u);
    EXPECT_EQ(look(opened), WAIT_OBJECT_0);
    const CHandle event = makeEvent(eManual);
    opened.Close();
    EXPECT_TRUE(SetEvent(event)) << "closing the thread's handle ended another object";
    EXPECT_EQ(PlatformTest::GetObjectCount(), before + 1);
}

// Who waits for a lock may be stopped, or ended: it is not inside, and a lock that is free is free for the others.

namespace
{
enum class EFate
{
    eStopped,
    eEnded
};

// Calls `use` while the thread, which waits for a lock, is stopped or after it was ended.
template <class U>
void useWithout(CThread const& waiter, EFate fate, U const& use)
{
    settle(2); // into its sleep
    const bool isFateMet = fate == EFate::eEnded ? TerminateThread(waiter, 1) != FALSE : SuspendThread(waiter) == 0;
    use();
    EXPECT_TRUE(isFateMet);
    if (fate == EFate::eStopped)
    {
        EXPECT_EQ(ResumeThread(waiter), 1u);
    }
    EXPECT_TRUE(waiter.Join());
}

// A section says in bit 2 of its word that a thread has waited for too long and has precedence.
void useSectionWithoutAStarvingWaiter(EFate fate)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    std::atomic<bool> isOver = false;
    EnterCriticalSection(&section);
    const CThread waiter(
        [&]
        {
            while (!isOver)
            {
                EnterCriticalSection(&section);
                LeaveCriticalSection(&section);
            }
            return 0u;
        });
    EXPECT_TRUE(becomes(
        [&]
        {
            settle(2); // which is too long for the waiter
            LeaveCriticalSection(&section);
            EnterCriticalSection(&section);
            settle(2);
            return (std::atomic_ref(section.LockCount).load() & 4) != 0;
        }));
    useWithout(waiter, fate,
               [&]
               {
                   isOver = true;
                   LeaveCriticalSection(&section);
                   EXPECT_TRUE(TryEnterCriticalSection(&section));
                   LeaveCriticalSection(&section);
                   EnterCriticalSection(&section);
                   LeaveCriticalSection(&section);
               });
}

void useLockWithoutAWaitingWriter(EFate fate)
{
    SRWLOCK lock = SRWLOCK_INIT;
    AcquireSRWLockShared(&lock);
    const CThread waiter(
        [&]
        {
            AcquireSRWLockExclusive(&lock);
            ReleaseSRWLockExclusive(&lock);
            return 0u;
        });
    EXPECT_TRUE(becomes(
        [&]
        {
            const bool isShared = TryAcquireSRWLockShared(&lock) != 0;
            if (isShared)
            {
                ReleaseSRWLockShared(&lock);
            }
            return !isShared;
        }));
    useWithout(waiter, fate,
               [&]
               {
                   ReleaseSRWLockShared(&lock);
                   AcquireSRWLockShared(&lock);
                   AcquireSRWLockShared(&lock);
                   ReleaseSRWLockShared(&lock);
                   ReleaseSRWLockShared(&lock);
                   AcquireSRWLockExclusive(&lock);
                   ReleaseSRWLockExclusive(&lock);
               });
}

// The readers that wait are counted in bits 32 to 47 of the word, the writers above.
ULONG_PTR countWaiting(SRWLOCK& lock)
{
    return reinterpret_cast<ULONG_PTR>(std::atomic_ref<void*>(lock.Ptr).load()) >> 32;
}

// A writer leaves the lock to a reader that waits.
void leaveToAReader(SRWLOCK& lock)
{
    AcquireSRWLockExclusive(&lock);
    const CThread reader(
        [&]
        {
            AcquireSRWLockShared(&lock);
            ReleaseSRWLockShared(&lock);
            return 0u;
        });
    EXPECT_TRUE(becomes([&] { return countWaiting(lock) != 0; }));
    ReleaseSRWLockExclusive(&lock);
    EXPECT_TRUE(reader.Join());
}

void useLockWithoutAWaitingReader(EFate fate)
{
    SRWLOCK lock = SRWLOCK_INIT;
    AcquireSRWLockExclusive(&lock);
    const CThread waiter(
        [&]
        {
            AcquireSRWLockShared(&lock);
            ReleaseSRWLockShared(&lock);
            return 0u;
        });
    EXPECT_TRUE(becomes([&] { return countWaiting(lock) != 0; }));
    useWithout(waiter, fate,
               [&]
               {
                   ReleaseSRWLockExclusive(&lock);
                   AcquireSRWLockExclusive(&lock);
                   ReleaseSRWLockExclusive(&lock);
                   EXPECT_TRUE(TryAcquireSRWLockShared(&lock));
                   ReleaseSRWLockShared(&lock);
                   EXPECT_TRUE(TryAcquireSRWLockExclusive(&lock));
                   ReleaseSRWLockExclusive(&lock);
               });
}
} // namespace

TEST(SuspendThread, OfAStarvingWaiterLeavesAFreeSectionToOthers)
{
    useSectionWithoutAStarvingWaiter(EFate::eStopped);
}

TEST(TerminateThread, OfAStarvingWaiterLeavesAFreeSectionToOthers)
{
    useSectionWithoutAStarvingWaiter(EFate::eEnded);
}

TEST(SuspendThread, OfAWaitingWriterLeavesAFreeLockToOthers)
{
    useLockWithoutAWaitingWriter(EFate::eStopped);
}

TEST(TerminateThread, OfAWaitingWriterLeavesAFreeLockToOthers)
{
    useLockWithoutAWaitingWriter(EFate::eEnded);
}

TEST(SuspendThread, OfAWaitingReaderLeavesAFreeLockToOthers)
{
    useLockWithoutAWaitingReader(EFate::eStopped);
}

TEST(TerminateThread, OfAWaitingReaderLeavesAFreeLockToOthers)
{
    useLockWithoutAWaitingReader(EFate::eEnded);
}

TEST(SuspendThread, OfAWaitingReaderThatMissesManyTurnsOfTheLockLeavesItsCountsRight)
{
    for (int const turns : {2, 32})
    {
        SRWLOCK lock = SRWLOCK_INIT;
        AcquireSRWLockExclusive(&lock);
        const CThread late(
            [&]
            {
                AcquireSRWLockShared(&lock);
                ReleaseSRWLockShared(&lock);
                return 0u;
            });
        ASSERT_TRUE(becomes([&] { return countWaiting(lock) != 0; }));
        ASSERT_EQ(SuspendThread(late), 0u);
        ReleaseSRWLockExclusive(&lock);
        AcquireSRWLockShared(&lock); // in place of the one that was meant
        ReleaseSRWLockShared(&lock);
        for (int turn = 1; turn < turns; ++turn)
        {
            leaveToAReader(lock);
        }
        ASSERT_EQ(ResumeThread(late), 1u);
        ASSERT_TRUE(late.Join());

        EXPECT_EQ(countWaiting(lock), 0u) << turns;
    }
}

// On Windows a thread that is ended while it makes objects may leave the heap locked.
TEST(TerminateThreadStress, OfAThreadThatOwnsManyMutexesAbandonsEachOfThem)
{
    constexpr std::size_t c_Mutexes = 2'000 * c_Pace;
    for (int round = 0; round < 5; ++round)
    {
        std::vector<CHandle> mutexes(c_Mutexes);
        std::atomic<bool> isOwner = false;
        const CThread owner(
            [&]() -> DWORD
            {
                for (CHandle& mutex : mutexes)
                {
                    mutex = makeMutex(true);
                }
                isOwner = true;
                for (;;)
                {
                    CloseHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
                }
            });
        EXPECT_TRUE(becomes([&] { return isOwner.load(); }));
        EXPECT_TRUE(TerminateThread(owner, 1));
        EXPECT_TRUE(owner.Join());
        int abandoned = 0;
        for (CHandle const& mutex : mutexes)
        {
            abandoned += look(mutex) == WAIT_ABANDONED_0 && ReleaseMutex(mutex) ? 1 : 0;
        }
        EXPECT_EQ(abandoned, static_cast<int>(c_Mutexes));
    }
}

TEST(ReleaseSemaphore, FailsWith87ForACountBelowOne)
{
    const CHandle semaphore = makeSemaphore(1, 5);
    LONG previous = -5;
    EXPECT_FAILS(ReleaseSemaphore(semaphore, 0, &previous), FALSE, 87);
    EXPECT_FAILS(ReleaseSemaphore(semaphore, -1, &previous), FALSE, 87);
    EXPECT_EQ(previous, -5);
}

TEST(WaitForAll, FailsWith87ForOneObjectTwice)
{
    const CHandle event = makeEvent(eAuto, true);
    const CHandle other = makeEvent(eManual, true);
    const CHandle copy = duplicate(event);
    EXPECT_FAILS(waitAll(std::array<HANDLE, 3>{event, other, event}, INFINITE), WAIT_FAILED, 87);
    EXPECT_FAILS(waitAll(std::array<HANDLE, 3>{event, other, copy}, 0), WAIT_FAILED, 87);
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
    EXPECT_FAILS(waitAll(std::array<HANDLE, 3>{copy, other, event}, INFINITE), WAIT_FAILED, 87);
}

TEST(IdealProcessor, IsKeptAndMustExist)
{
    const CHandle leave = makeEvent(eManual);
    const CThread thread([&] { return WaitForSingleObject(leave, c_PatienceMs); });
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    EXPECT_NE(SetThreadIdealProcessor(thread, info.dwNumberOfProcessors - 1), 0xFFFFFFFFu);
    EXPECT_EQ(SetThreadIdealProcessor(thread, MAXIMUM_PROCESSORS), info.dwNumberOfProcessors - 1);
    EXPECT_FAILS(SetThreadIdealProcessor(thread, MAXIMUM_PROCESSORS + 1), 0xFFFFFFFFu, 87);
    EXPECT_FAILS(SetThreadIdealProcessor(leave, 0), 0xFFFFFFFFu, 6);
    EXPECT_FAILS(SetThreadIdealProcessor(nullptr, 0), 0xFFFFFFFFu, 6);
    EXPECT_TRUE(SetEvent(leave));
}

TEST(Affinity, FailsWith87WhenItIsPartlyOutsideThatOfTheProcess)
{
    DWORD_PTR process = 0;
    DWORD_PTR system = 0;
    ASSERT_TRUE(GetProcessAffinityMask(GetCurrentProcess(), &process, &system));
    if (~process == 0)
    {
        GTEST_SKIP() << "the process may run on each of 64 processors";
    }
    EXPECT_FAILS(SetThreadAffinityMask(GetCurrentThread(), process | (~process & (process + 1))), 0u, 87);
}

TEST(TerminateThread, FailsWith5ForAThreadThatHasEndedAndKeepsItsExitCode)
{
    const CThread thread([] { return 5u; });
    EXPECT_TRUE(thread.Join());
    EXPECT_FAILS(TerminateThread(thread, 6), FALSE, 5);
    EXPECT_EQ(thread.GetExitCode(), 5u);
}

TEST(CreateThread, FailsWithoutAFunctionOrWithAFlagItDoesNotKnow)
{
    EXPECT_FAILS(CreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr), nullptr, 87);
    const auto function = [](void*) -> DWORD { return 0; };
    EXPECT_FAILS(CreateThread(nullptr, 0, function, nullptr, 0x4000'0000, nullptr), nullptr, 87);
}

TEST(ThreadSnapshot, FailsWith87WithoutASize)
{
    const CHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    EXPECT_FAILS(Thread32First(snapshot, &entry), FALSE, 87);
}

TEST(NamedFiles, AreGoneWithTheLastHandle)
{
    const std::ptrdiff_t descriptors = countDescriptors();
    std::vector<std::string> files;
    {
        const std::wstring name = makeName("gone");
        const CHandle event(CreateEventW(nullptr, FALSE, FALSE, name.c_str()));
        const CHandle again(CreateEventW(nullptr, FALSE, FALSE, name.c_str()));
        const CHandle mutex(CreateMutexW(nullptr, TRUE, makeName("mutex").c_str()));
        EXPECT_EQ(CreateMutexW(nullptr, FALSE, name.c_str()), nullptr);
        files = listOwnFiles();
        EXPECT_TRUE(ReleaseMutex(mutex));
    }
    ASSERT_EQ(files.size(), 2u);
    EXPECT_FALSE(std::filesystem::exists(files[0]));
    EXPECT_FALSE(std::filesystem::exists(files[1]));
    EXPECT_EQ(countDescriptors(), descriptors);
}

TEST(NamedFiles, ArePrivateToTheUser)
{
    const CHandle event(CreateEventW(nullptr, FALSE, FALSE, makeName("private").c_str()));
    const std::vector<std::string> files = listOwnFiles();
    ASSERT_FALSE(files.empty());
    for (std::string const& file : files)
    {
        using std::filesystem::perms;
        const perms others = perms::group_all | perms::others_all;
        EXPECT_EQ(std::filesystem::status(file).permissions() & others, perms::none) << file;
        const std::filesystem::path folder = std::filesystem::path(file).parent_path();
        EXPECT_EQ(std::filesystem::status(folder).permissions() & others, perms::none) << folder;
    }
}

TEST(NamedFiles, SurviveAnOwnerThatClosesItsHandleAndEnds)
{
    const std::wstring name = makeName("closed");
    std::thread(
        [&]
        {
            CHandle mutex(CreateMutexW(nullptr, TRUE, name.c_str()));
            mutex.Close();
        })
        .join();
    std::vector<std::string> files;
    {
        const CHandle mutex(CreateMutexW(nullptr, FALSE, name.c_str()));
        files = listOwnFiles();
        const DWORD result = WaitForSingleObject(mutex, c_PatienceMs);
        EXPECT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_ABANDONED_0) << result;
        EXPECT_TRUE(ReleaseMutex(mutex));
    }
    ASSERT_FALSE(files.empty());
    EXPECT_FALSE(std::filesystem::exists(files[0]));
}

TEST(NamedNames, FailWith206AboveTheirLongest)
{
    const std::wstring longest(260, L'n');
    const std::wstring tooLong(261, L'n');
    const CHandle event(CreateEventW(nullptr, FALSE, FALSE, longest.c_str()));
    EXPECT_NE(static_cast<HANDLE>(event), nullptr);
    EXPECT_FAILS(CreateEventW(nullptr, FALSE, FALSE, tooLong.c_str()), nullptr, 206);
}
