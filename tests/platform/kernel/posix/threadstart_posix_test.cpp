// What a thread starts with, whatever the one that starts it has been given: the system hands processors, niceness and
// blocked signals on, and is asked here for what it keeps. Windows hands on none of them.

#include <algorithm>
#include <atomic>
#include <bit>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <sched.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

namespace
{
struct SState
{
    cpu_set_t processors{};
    int nice = 0;

    bool operator==(SState const& other) const
    {
        return CPU_EQUAL(&processors, &other.processors) && nice == other.nice;
    }
};

SState askSystem()
{
    SState state;
    EXPECT_EQ(sched_getaffinity(0, sizeof state.processors, &state.processors), 0);
    state.nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    return state;
}

// Priorities are told to the system where it lets a thread have the niceness of the process, and the least beside it, back.
// The limit counts down from 20.
bool canRestoreNice(int processNice)
{
    rlimit limit{};
    getrlimit(RLIMIT_NICE, &limit);
    return geteuid() == 0 || limit.rlim_cur >= static_cast<rlim_t>(20 - std::max(processNice - 15, -20));
}

// Runs on a thread that has one processor only, the first, and is nicer than the process.
void runConfined(std::function<void()> const& function)
{
    std::thread(
        [&]
        {
            SState const before = askSystem();
            cpu_set_t first;
            CPU_ZERO(&first);
            for (std::size_t processor = 0; CPU_COUNT(&first) == 0; ++processor)
            {
                if (CPU_ISSET(processor, &before.processors))
                {
                    CPU_SET(processor, &first);
                }
            }
            ASSERT_EQ(sched_setaffinity(0, sizeof first, &first), 0);
            if (canRestoreNice(before.nice))
            {
                ASSERT_EQ(setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), std::min(before.nice + 3, 19)), 0);
            }
            function();
        })
        .join();
}

// A thread that the calling one starts, stops and lets go on.
void stopAsSoonAsMade()
{
    const CHandle leave = makeEvent(eManual);
    const CThread thread([&] { return WaitForSingleObject(leave, c_PatienceMs); });
    ASSERT_EQ(SuspendThread(thread), 0u);
    ASSERT_TRUE(SetEvent(leave));
    ASSERT_EQ(look(thread), WAIT_TIMEOUT);
    ASSERT_EQ(ResumeThread(thread), 1u);
    ASSERT_TRUE(thread.Join());
}
} // namespace

TEST(CreateThread, GivesTheThreadTheProcessorsAndTheNicenessOfTheProcess)
{
    SState const process = askSystem();
    std::optional<SState> inside;
    runConfined(
        [&]
        {
            const CThread thread(
                [&]
                {
                    inside = askSystem();
                    return 0u;
                });
            EXPECT_TRUE(thread.Join());
        });
    EXPECT_TRUE(inside == process);
}

TEST(CreateThread, LeavesProcessorsAndPriorityThatAreSetAtOnceAsTheyAre)
{
    DWORD_PTR process = 0;
    DWORD_PTR system = 0;
    ASSERT_TRUE(GetProcessAffinityMask(GetCurrentProcess(), &process, &system));
    SState wished = askSystem();
    const unsigned int last = static_cast<unsigned int>(std::bit_width(process)) - 1;
    CPU_ZERO(&wished.processors);
    CPU_SET(last, &wished.processors);
    wished.nice = canRestoreNice(wished.nice) ? std::min(wished.nice + 10, 19) : wished.nice;
    runConfined(
        [&]
        {
            for (int round = 0; round < 50 * c_Pace; ++round)
            {
                const CHandle mayLook = makeEvent(eAuto);
                std::optional<SState> inside;
                const CThread thread(
                    [&]
                    {
                        WaitForSingleObject(mayLook, c_PatienceMs);
                        inside = askSystem();
                        return 0u;
                    });
                ASSERT_NE(SetThreadAffinityMask(thread, DWORD_PTR{1} << last), 0u);
                ASSERT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_LOWEST));
                ASSERT_TRUE(SetEvent(mayLook));
                ASSERT_TRUE(thread.Join());
                ASSERT_TRUE(inside == wished) << "round " << round;
            }
        });
}

TEST(SuspendThread, StopsAThreadWhoseStarterBlocksAllSignals)
{
    std::thread(
        []
        {
            sigset_t all;
            sigfillset(&all);
            ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &all, nullptr), 0);
            stopAsSoonAsMade();
        })
        .join();
}

TEST(ThreadStress, AThreadThatEndsAtOnceHasTheIdThatItsStarterIsTold)
{
    for (int round = 0; round < 200 * c_Pace; ++round)
    {
        DWORD inside = 0;
        const CThread thread(
            [&]
            {
                inside = GetCurrentThreadId();
                return 0u;
            });
        ASSERT_TRUE(thread.Join());
        ASSERT_EQ(inside, thread.GetId());
    }
}

// On Windows a thread that is ended while it starts leaves the loader's lock taken, and no other one starts.
TEST(SuspendStress, AThreadIsStoppedOrEndedAsSoonAsItIsMade)
{
    const CHandle never = makeEvent(eManual);
    for (int round = 0; round < 20 * c_Pace; ++round)
    {
        ASSERT_NO_FATAL_FAILURE(stopAsSoonAsMade());
        const CThread ended([&] { return WaitForSingleObject(never, c_PatienceMs); });
        ASSERT_TRUE(TerminateThread(ended, 7));
        ASSERT_TRUE(ended.Join());
        ASSERT_EQ(ended.GetExitCode(), 7u);
    }
}

namespace
{
std::set<DWORD> listThreads()
{
    std::set<DWORD> ids;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/task"))
    {
        ids.insert(static_cast<DWORD>(std::stoul(entry.path().filename())));
    }
    return ids;
}
} // namespace

// A thread of the layer's may be waited for by who opens it; one that the layer takes for a stranger may not.
TEST(OpenThreadStress, AThreadThatIsJustBeingStartedIsNoStranger)
{
    constexpr DWORD c_Synchronize = 0x00100000;
    const CHandle isOpened = makeEvent(eAuto);
    std::atomic<bool> isReady = false;
    std::atomic<bool> isOver = false;
    std::atomic<int> strangers = 0;
    std::thread opener(
        [&]
        {
            std::set<DWORD> seen = listThreads();
            isReady = true;
            while (!isOver)
            {
                for (DWORD const id : listThreads())
                {
                    // Once, when it is new: it stays until it has been opened.
                    if (seen.insert(id).second)
                    {
                        const CHandle thread(OpenThread(c_Synchronize, FALSE, id));
                        strangers += static_cast<HANDLE>(thread) == nullptr ? 1 : 0;
                        SetEvent(isOpened);
                    }
                }
            }
        });
    EXPECT_TRUE(becomes([&] { return isReady.load(); }));
    for (int round = 0; round < 50 * c_Pace; ++round)
    {
        const CThread thread([&] { return WaitForSingleObject(isOpened, c_PatienceMs); });
        ASSERT_TRUE(thread.Join());
        ASSERT_EQ(thread.GetExitCode(), WAIT_OBJECT_0);
    }
    isOver = true;
    opener.join();
    EXPECT_EQ(strangers, 0);
}
