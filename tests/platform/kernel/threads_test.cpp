#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "kernelsupport.h"
#include "pace.h"
#include "toolhelp.h"

using namespace kerneltest;

namespace
{
constexpr DWORD c_StillActive = 259;

// A thread that stays until it is let go.
class CGuest
{
public:
    CGuest()
    {
        EXPECT_EQ(WaitForSingleObject(m_isHere, c_PatienceMs), WAIT_OBJECT_0);
    }

    CGuest(CGuest const&) = delete;
    CGuest& operator=(CGuest const&) = delete;

    ~CGuest()
    {
        Leave();
    }

    void Leave()
    {
        EXPECT_TRUE(SetEvent(m_leave));
        EXPECT_TRUE(m_thread.Join());
    }

    operator HANDLE() const
    {
        return m_thread;
    }

    DWORD GetId() const
    {
        return m_thread.GetId();
    }

private:
    CHandle m_isHere = makeEvent(eAuto);
    CHandle m_leave = makeEvent(eManual);
    CThread m_thread{[this]
                     {
                         SetEvent(m_isHere);
                         return WaitForSingleObject(m_leave, c_PatienceMs);
                     }};
};

unsigned long long toNumber(FILETIME const& time)
{
    return (static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

// The threads of this process in a snapshot.
std::vector<DWORD> listOwnThreads()
{
    std::vector<DWORD> ids;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    EXPECT_NE(snapshot, minusOne());
    EXPECT_NE(snapshot, nullptr);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    BOOL isThere = Thread32First(snapshot, &entry);
    EXPECT_TRUE(isThere);
    while (isThere)
    {
        if (entry.th32OwnerProcessID == GetCurrentProcessId())
        {
            ids.push_back(entry.th32ThreadID);
        }
        SetLastError(c_Untouched);
        isThere = Thread32Next(snapshot, &entry);
    }
    EXPECT_EQ(GetLastError(), 18u);
    EXPECT_TRUE(CloseHandle(snapshot));
    return ids;
}
} // namespace

TEST(CreateThread, RunsTheFunctionOnAThreadOfItsOwn)
{
    DWORD inside = 0;
    const CThread thread(
        [&]
        {
            inside = GetCurrentThreadId();
            return 5u;
        });
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(inside, thread.GetId());
    EXPECT_NE(inside, GetCurrentThreadId());
    EXPECT_EQ(thread.GetExitCode(), 5u);
}

TEST(CreateThread, NeedsNoPlaceForTheId)
{
    std::atomic<int> value = 0;
    const CHandle thread(CreateThread(
        nullptr, 0,
        [](void* parameter) -> DWORD
        {
            *static_cast<std::atomic<int>*>(parameter) = 3;
            return 0;
        },
        &value, 0, nullptr));
    EXPECT_EQ(WaitForSingleObject(thread, c_PatienceMs), WAIT_OBJECT_0);
    EXPECT_EQ(value, 3);
}

TEST(Thread, IsSignalledForGoodWhenItHasEnded)
{
    CGuest guest;
    EXPECT_EQ(look(guest), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(guest, 2), WAIT_TIMEOUT);
    guest.Leave();
    EXPECT_EQ(look(guest), WAIT_OBJECT_0);
    EXPECT_EQ(look(guest), WAIT_OBJECT_0);
    EXPECT_EQ(waitAll(std::array<HANDLE, 1>{guest}, 0), WAIT_OBJECT_0);
}

TEST(Thread, ReleasesAllThatWaitForItsEnd)
{
    const CHandle leave = makeEvent(eManual);
    const CHandle never = makeEvent(eManual);
    const CThread thread([&] { return WaitForSingleObject(leave, c_PatienceMs); });
    const std::array<HANDLE, 2> any{never, thread};
    CWaiters waiters([&] { SetEvent(leave); });
    waiters.Add([&] { return WaitForSingleObject(thread, INFINITE); }, 2);
    waiters.Add([&] { return waitAny(any, INFINITE); }, 2);
    waiters.Add([&] { return waitAll(std::array<HANDLE, 2>{thread, leave}, INFINITE); }, 2);
    EXPECT_EQ(waiters.GetReleased(), 0);
    EXPECT_TRUE(SetEvent(leave));
    EXPECT_TRUE(waiters.BecomesReleased(3));
    EXPECT_EQ(waiters.GetResult(0), WAIT_OBJECT_0);
    EXPECT_EQ(waiters.GetResult(1), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(waiters.GetResult(2), WAIT_OBJECT_0);
}

TEST(Thread, RunsOnWhenItsHandleIsClosed)
{
    const CHandle go = makeEvent(eAuto);
    const CHandle done = makeEvent(eAuto);
    std::array<HANDLE, 2> events{go, done};
    CHandle thread(CreateThread(
        nullptr, 0,
        [](void* parameter) -> DWORD
        {
            const auto& both = *static_cast<std::array<HANDLE, 2>*>(parameter);
            WaitForSingleObject(both[0], c_PatienceMs);
            SetEvent(both[1]);
            return 0;
        },
        &events, 0, nullptr));
    thread.Close();
    EXPECT_TRUE(SetEvent(go));
    EXPECT_EQ(WaitForSingleObject(done, c_PatienceMs), WAIT_OBJECT_0);
}

TEST(ExitCode, Is259WhileTheThreadIsActive)
{
    CGuest guest;
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(guest, &code));
    EXPECT_EQ(code, c_StillActive);
    EXPECT_TRUE(GetExitCodeThread(GetCurrentThread(), &code));
    EXPECT_EQ(code, c_StillActive);
    guest.Leave();
    EXPECT_TRUE(GetExitCodeThread(guest, &code));
    EXPECT_EQ(code, WAIT_OBJECT_0);
}

TEST(ExitCode, IsWhateverTheFunctionReturns)
{
    for (const DWORD expected : {0u, 1u, 259u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    {
        const CThread thread([&] { return expected; });
        EXPECT_TRUE(thread.Join());
        EXPECT_EQ(thread.GetExitCode(), expected);
    }
}

TEST(SuspendedThread, DoesNotRunBeforeItIsResumed)
{
    std::atomic<bool> isRun = false;
    const CThread thread(
        [&]
        {
            isRun = true;
            return 7u;
        },
        CREATE_SUSPENDED);
    EXPECT_EQ(WaitForSingleObject(thread, 20), WAIT_TIMEOUT);
    EXPECT_FALSE(isRun);
    EXPECT_NE(thread.GetId(), 0u);
    EXPECT_EQ(GetThreadId(thread), thread.GetId());
    EXPECT_EQ(thread.GetExitCode(), c_StillActive);
    EXPECT_EQ(ResumeThread(thread), 1u);
    EXPECT_TRUE(thread.Join());
    EXPECT_TRUE(isRun);
    EXPECT_EQ(thread.GetExitCode(), 7u);
}

TEST(SuspendedThread, RunsWhenItWasResumedAsOftenAsSuspended)
{
    std::atomic<bool> isRun = false;
    const CThread thread(
        [&]
        {
            isRun = true;
            return 0u;
        },
        CREATE_SUSPENDED);
    EXPECT_EQ(SuspendThread(thread), 1u);
    EXPECT_EQ(SuspendThread(thread), 2u);
    EXPECT_EQ(ResumeThread(thread), 3u);
    EXPECT_EQ(ResumeThread(thread), 2u);
    EXPECT_EQ(WaitForSingleObject(thread, 20), WAIT_TIMEOUT);
    EXPECT_FALSE(isRun);
    EXPECT_EQ(ResumeThread(thread), 1u);
    EXPECT_TRUE(thread.Join());
}

TEST(ResumeThread, DoesNothingToAThreadThatRuns)
{
    const CGuest guest;
    EXPECT_EQ(ResumeThread(guest), 0u);
    EXPECT_EQ(ResumeThread(guest), 0u);
    EXPECT_EQ(SuspendThread(guest), 0u);
    EXPECT_EQ(ResumeThread(guest), 1u);
}

TEST(SuspendThread, RefusesMoreThan127Times)
{
    const CThread thread([] { return 0u; }, CREATE_SUSPENDED);
    for (DWORD n = 1; n < 127; ++n)
    {
        EXPECT_EQ(SuspendThread(thread), n);
    }
    EXPECT_FAILS(SuspendThread(thread), 0xFFFFFFFFu, 156);
    for (DWORD n = 127; n > 0; --n)
    {
        EXPECT_EQ(ResumeThread(thread), n);
    }
}

TEST(SuspendThread, FailsForAThreadThatHasEnded)
{
    const CThread thread([] { return 0u; });
    EXPECT_TRUE(thread.Join());
    EXPECT_FAILS(SuspendThread(thread), 0xFFFFFFFFu, 5);
}

TEST(TerminateThread, EndsAThreadThatWaits)
{
    const CHandle event = makeEvent(eAuto);
    const CBegunThread thread([&] { return WaitForSingleObject(event, INFINITE); });
    settle(5);
    EXPECT_TRUE(TerminateThread(thread, 42));
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(thread.GetExitCode(), 42u);
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(look(event), WAIT_OBJECT_0) << "a thread that is gone takes no signal";
}

TEST(TerminateThread, TakesAThreadOutOfTheQueuesOfAWaitForAll)
{
    const CHandle first = makeEvent(eAuto, true);
    const CHandle second = makeEvent(eAuto);
    const std::array<HANDLE, 2> both{first, second};
    const CBegunThread thread([&] { return waitAll(both, INFINITE); });
    settle(5);
    EXPECT_TRUE(TerminateThread(thread, 1));
    EXPECT_TRUE(thread.Join());
    EXPECT_TRUE(SetEvent(second));
    EXPECT_EQ(waitAll(both, 0), WAIT_OBJECT_0);
}

TEST(TerminateThread, EndsAThreadThatRuns)
{
    std::atomic<unsigned int> turns = 0;
    const CThread thread(
        [&]() -> DWORD
        {
            for (;;)
            {
                ++turns;
            }
        });
    EXPECT_TRUE(becomes([&] { return turns > 1000; }));
    EXPECT_TRUE(TerminateThread(thread, 0xFFFFFFFE));
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(thread.GetExitCode(), 0xFFFFFFFEu);
    const unsigned int end = turns;
    settle(5);
    EXPECT_EQ(turns, end);
}

TEST(TerminateThread, EndsAThreadThatWasNeverResumed)
{
    std::atomic<bool> isRun = false;
    const CThread thread(
        [&]
        {
            isRun = true;
            return 0u;
        },
        CREATE_SUSPENDED);
    EXPECT_TRUE(TerminateThread(thread, 3));
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(thread.GetExitCode(), 3u);
    EXPECT_FALSE(isRun);
}

TEST(TerminateThread, EndsAThreadThatIsSuspended)
{
    const CHandle never = makeEvent(eAuto);
    const CBegunThread thread([&] { return WaitForSingleObject(never, INFINITE); });
    EXPECT_EQ(SuspendThread(thread), 0u);
    EXPECT_EQ(SuspendThread(thread), 1u);
    EXPECT_TRUE(TerminateThread(thread, 9));
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(thread.GetExitCode(), 9u);
}

// Windows leaves the thread as it ended, whatever it reports. Wine changes the exit code: what they share is that the
// thread stays ended and the process lives.
TEST(TerminateThread, DoesNoHarmToAThreadThatHasEnded)
{
    const CThread thread([] { return 5u; });
    EXPECT_TRUE(thread.Join());
    TerminateThread(thread, 6);
    EXPECT_EQ(look(thread), WAIT_OBJECT_0);
    EXPECT_NE(thread.GetExitCode(), c_StillActive);
}

TEST(TerminateThreadStress, LeavesTheProcessAlive)
{
    const CHandle event = makeEvent(eManual);
    for (int round = 0; round < 30 * c_Pace; ++round)
    {
        std::atomic<int> turns = 0;
        const CThread thread(
            [&]() -> DWORD
            {
                for (;;)
                {
                    ++turns;
                    WaitForSingleObject(event, 0);
                }
            });
        EXPECT_TRUE(becomes([&] { return turns > round % 50; }));
        EXPECT_TRUE(TerminateThread(thread, static_cast<DWORD>(round)));
        EXPECT_TRUE(thread.Join());
        EXPECT_EQ(thread.GetExitCode(), static_cast<DWORD>(round));
    }
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
}

TEST(TerminateThreadStress, OfAThreadThatStopsAnotherOneLeavesThatOneToBeResumed)
{
    for (int round = 0; round < 4 * c_Pace; ++round)
    {
        std::atomic<bool> isOver = false;
        std::atomic<int> turns = 0;
        const CThread victim(
            [&]
            {
                while (!isOver)
                {
                }
                return 0u;
            });
        const CThread stopper(
            [&]() -> DWORD
            {
                for (;;)
                {
                    SuspendThread(victim);
                    ResumeThread(victim);
                    ++turns;
                }
            });
        const bool isTurning = becomes([&] { return turns > round % 50; });
        const BOOL isEnded = TerminateThread(stopper, 1);
        isOver = true;
        const DWORD stops = ResumeThread(victim);
        EXPECT_TRUE(isTurning);
        EXPECT_TRUE(isEnded);
        EXPECT_LE(stops, 1u);
        ASSERT_TRUE(victim.Join());
    }
}

TEST(ThreadPriority, IsNormalAtFirst)
{
    const CGuest guest;
    EXPECT_EQ(GetThreadPriority(guest), THREAD_PRIORITY_NORMAL);
    EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_NORMAL);
}

TEST(ThreadPriority, IsWhatWasSet)
{
    const CGuest guest;
    for (const int priority :
         {THREAD_PRIORITY_IDLE, THREAD_PRIORITY_LOWEST, THREAD_PRIORITY_BELOW_NORMAL, THREAD_PRIORITY_NORMAL,
          THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_HIGHEST, THREAD_PRIORITY_TIME_CRITICAL})
    {
        EXPECT_TRUE(SetThreadPriority(guest, priority));
        EXPECT_EQ(GetThreadPriority(guest), priority);
    }
    EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_NORMAL);
}

TEST(ThreadPriority, HasTheNumbersOfWindows)
{
    EXPECT_EQ(THREAD_PRIORITY_IDLE, -15);
    EXPECT_EQ(THREAD_PRIORITY_LOWEST, -2);
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, -1);
    EXPECT_EQ(THREAD_PRIORITY_NORMAL, 0);
    EXPECT_EQ(THREAD_PRIORITY_ABOVE_NORMAL, 1);
    EXPECT_EQ(THREAD_PRIORITY_HIGHEST, 2);
    EXPECT_EQ(THREAD_PRIORITY_TIME_CRITICAL, 15);
}

TEST(ThreadPriority, MayBeSetBeforeTheThreadRuns)
{
    int inside = 77;
    const CThread thread(
        [&]
        {
            inside = GetThreadPriority(GetCurrentThread());
            return 0u;
        },
        CREATE_SUSPENDED);
    EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_BELOW_NORMAL));
    EXPECT_EQ(ResumeThread(thread), 1u);
    EXPECT_TRUE(thread.Join());
    EXPECT_EQ(inside, THREAD_PRIORITY_BELOW_NORMAL);
}

TEST(ThreadPriority, IsNotInheritedByAThreadThatAThreadStarts)
{
    int inside = 77;
    std::thread(
        [&]
        {
            EXPECT_TRUE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_LOWEST));
            const CThread thread(
                [&]
                {
                    inside = GetThreadPriority(GetCurrentThread());
                    return 0u;
                });
            EXPECT_TRUE(thread.Join());
        })
        .join();
    EXPECT_EQ(inside, THREAD_PRIORITY_NORMAL);
}

TEST(ThreadPriority, Fails87ForANumberThatIsNone)
{
    const CGuest guest;
    EXPECT_TRUE(SetThreadPriority(guest, THREAD_PRIORITY_HIGHEST));
    for (const int priority : {3, 14, 16, -3, -14, -16, 1000, -1000})
    {
        EXPECT_FAILS(SetThreadPriority(guest, priority), FALSE, 87);
    }
    EXPECT_EQ(GetThreadPriority(guest), THREAD_PRIORITY_HIGHEST);
}

TEST(Affinity, OfTheProcessHasAProcessor)
{
    DWORD_PTR process = 0;
    DWORD_PTR system = 0;
    EXPECT_TRUE(GetProcessAffinityMask(GetCurrentProcess(), &process, &system));
    EXPECT_NE(process, 0u);
    EXPECT_EQ(process & ~system, 0u);
}

TEST(Affinity, OfAThreadIsThatOfTheProcessUntilItIsSet)
{
    DWORD_PTR process = 0;
    DWORD_PTR system = 0;
    ASSERT_TRUE(GetProcessAffinityMask(GetCurrentProcess(), &process, &system));
    const CGuest guest;
    const DWORD_PTR one = process & (~process + 1);
    EXPECT_EQ(SetThreadAffinityMask(guest, one), process);
    EXPECT_EQ(SetThreadAffinityMask(guest, process), one);
    EXPECT_EQ(SetThreadAffinityMask(guest, process), process);
}

// Wine takes a mask that is only partly outside and uses the rest; Windows refuses it. One that is all outside is
// refused by both.
TEST(Affinity, FailsWith87OutsideThatOfTheProcess)
{
    DWORD_PTR process = 0;
    DWORD_PTR system = 0;
    ASSERT_TRUE(GetProcessAffinityMask(GetCurrentProcess(), &process, &system));
    const CGuest guest;
    EXPECT_FAILS(SetThreadAffinityMask(guest, 0), 0u, 87);
    if (~process != 0)
    {
        EXPECT_FAILS(SetThreadAffinityMask(guest, ~process), 0u, 87);
        SetLastError(c_Untouched);
        if (SetThreadAffinityMask(guest, process | (~process & (process + 1))) == 0)
        {
            EXPECT_EQ(GetLastError(), 87u);
        }
    }
    EXPECT_EQ(SetThreadAffinityMask(guest, process), process) << "a mask that was refused changes nothing";
}

// Wine only pretends: 0 for everything. What it shares with Windows is that a processor that exists is not refused.
TEST(IdealProcessor, TakesAProcessorThatExists)
{
    const CGuest guest;
    EXPECT_NE(SetThreadIdealProcessor(guest, 0), 0xFFFFFFFFu);
    EXPECT_EQ(SetThreadIdealProcessor(guest, 0), 0u);
}

TEST(SystemInfo, CountsTheProcessors)
{
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    SYSTEM_INFO native{};
    GetNativeSystemInfo(&native);
    EXPECT_GE(info.dwNumberOfProcessors, 1u);
    EXPECT_EQ(info.dwNumberOfProcessors, native.dwNumberOfProcessors);
}

TEST(ThreadId, IsThatOfTheThreadItself)
{
    const CGuest guest;
    EXPECT_EQ(GetThreadId(guest), guest.GetId());
    EXPECT_EQ(GetThreadId(GetCurrentThread()), GetCurrentThreadId());
    EXPECT_NE(guest.GetId(), GetCurrentThreadId());
}

TEST(OpenThread, GivesAHandleOfTheThreadWithThatId)
{
    CGuest guest;
    const DWORD rights = 0x00100000 | 0x0040; // synchronise, query
    const CHandle opened(OpenThread(rights, FALSE, guest.GetId()));
    ASSERT_NE(static_cast<HANDLE>(opened), nullptr);
    EXPECT_EQ(look(opened), WAIT_TIMEOUT);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(opened, &code));
    EXPECT_EQ(code, c_StillActive);
    guest.Leave();
    EXPECT_EQ(look(opened), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeThread(opened, &code));
    EXPECT_EQ(code, WAIT_OBJECT_0);
}

TEST(OpenThread, GivesAHandleOfAThreadThatTheLayerDidNotStart)
{
    const CHandle self(OpenThread(0x00100000 | 0x0040, FALSE, GetCurrentThreadId()));
    ASSERT_NE(static_cast<HANDLE>(self), nullptr);
    EXPECT_EQ(look(self), WAIT_TIMEOUT);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(self, &code));
    EXPECT_EQ(code, c_StillActive);
}

TEST(OpenThread, FailsWith87ForAnIdOfNoThread)
{
    EXPECT_FAILS(OpenThread(0x00100000, FALSE, 0), nullptr, 87);
    EXPECT_FAILS(OpenThread(0x00100000, FALSE, 0xFFFFFFF0), nullptr, 87);
}

namespace
{
// A thread that makes no call but for its id, until the end of the scope: nobody has opened it, and it waits for nothing
// that is the system's to signal.
class CStranger
{
public:
    CStranger()
    {
        std::promise<DWORD> isHere;
        m_thread = std::thread(
            [this, &isHere]
            {
                isHere.set_value(GetCurrentThreadId());
                m_leave.get_future().wait();
            });
        m_id = isHere.get_future().get();
    }

    CStranger(CStranger const&) = delete;
    CStranger& operator=(CStranger const&) = delete;

    ~CStranger()
    {
        m_leave.set_value();
        m_thread.join();
    }

    DWORD GetId() const
    {
        return m_id;
    }

private:
    std::promise<void> m_leave;
    DWORD m_id = 0;
    std::thread m_thread;
};
} // namespace

TEST(OpenThreadStress, ThreadsThatOpenAndCloseTheSameThreadLeaveOtherObjectsAlone)
{
    constexpr int c_Rounds = 5'000 * c_Pace;
    const CStranger stranger;
    std::atomic<int> wrong = 0;
    std::atomic<bool> isOver = false;
    std::vector<std::thread> openers;
    for (int n = 0; n < 3; ++n)
    {
        openers.emplace_back(
            [&]
            {
                for (int round = 0; round < c_Rounds && wrong == 0; ++round)
                {
                    const HANDLE thread = OpenThread(0x0040, FALSE, stranger.GetId());
                    wrong += GetThreadId(thread) == stranger.GetId() && CloseHandle(thread) ? 0 : 1;
                }
            });
    }
    // A handle that came to name a freed thread's object would name one of these next.
    std::thread maker(
        [&]
        {
            while (!isOver)
            {
                const CHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
                const CHandle semaphore(CreateSemaphoreW(nullptr, 1, 1, nullptr));
                wrong += SetEvent(event) && look(event) == WAIT_OBJECT_0 ? 0 : 1;
                wrong += look(semaphore) == WAIT_OBJECT_0 && look(semaphore) == WAIT_TIMEOUT ? 0 : 1;
            }
        });
    for (std::thread& opener : openers)
    {
        opener.join();
    }
    isOver = true;
    maker.join();
    EXPECT_EQ(wrong, 0);
}

TEST(OpenThreadStress, ThreadsThatOpenAnUnknownThreadTogetherGetTheSameObject)
{
    constexpr int c_Openers = 4;
    constexpr int c_Rounds = 200 * c_Pace;
    const CStranger stranger;
    std::array<HANDLE, c_Openers> opened{};
    CStartingLine line(c_Openers + 1);
    std::vector<std::thread> openers;
    for (HANDLE& handle : opened)
    {
        openers.emplace_back(
            [&]
            {
                for (int round = 0; round < c_Rounds; ++round)
                {
                    line.Meet();
                    handle = OpenThread(0x0060, FALSE, stranger.GetId()); // to ask it and to set it
                    line.Meet();
                    line.Meet();
                    CloseHandle(handle);
                    line.Meet();
                }
            });
    }
    int wrong = 0;
    for (int round = 0; round < c_Rounds; ++round)
    {
        line.Meet();
        line.Meet();
        // What is set through one handle shows through the others.
        const int priority = round % 2 == 0 ? THREAD_PRIORITY_LOWEST : THREAD_PRIORITY_BELOW_NORMAL;
        wrong += SetThreadPriority(opened[0], priority) ? 0 : 1;
        for (const HANDLE handle : opened)
        {
            wrong += GetThreadPriority(handle) == priority ? 0 : 1;
        }
        line.Meet();
        line.Meet();
    }
    for (std::thread& opener : openers)
    {
        opener.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(ThreadTimes, GrowWithTheThreadsStarts)
{
    // A start may be told in ticks of 10 ms, so a later thread may show the same time.
    const CGuest early;
    settle(30);
    const CGuest late;
    FILETIME created{};
    FILETIME exited{};
    FILETIME kernel{};
    FILETIME user{};
    ASSERT_TRUE(GetThreadTimes(early, &created, &exited, &kernel, &user));
    const unsigned long long first = toNumber(created);
    ASSERT_TRUE(GetThreadTimes(late, &created, &exited, &kernel, &user));
    EXPECT_LT(first, toNumber(created));
    ASSERT_TRUE(GetThreadTimes(early, &created, &exited, &kernel, &user));
    EXPECT_EQ(first, toNumber(created)) << "a start does not move";
}

// Rights to read the control data alone do not suffice for the times on Windows: 5, and nothing is written. A layer
// without rights gives the times.
TEST(ThreadTimes, AreWholeOrUntouched)
{
    const CGuest guest;
    const CHandle opened(OpenThread(0x20000, FALSE, guest.GetId()));
    ASSERT_NE(static_cast<HANDLE>(opened), nullptr);
    FILETIME created{};
    FILETIME exited{};
    FILETIME kernel{};
    FILETIME user{};
    SetLastError(c_Untouched);
    if (GetThreadTimes(opened, &created, &exited, &kernel, &user))
    {
        FILETIME direct{};
        EXPECT_TRUE(GetThreadTimes(guest, &direct, &exited, &kernel, &user));
        EXPECT_EQ(toNumber(created), toNumber(direct));
    }
    else
    {
        EXPECT_EQ(GetLastError(), 5u);
        EXPECT_EQ(toNumber(created), 0u);
    }
}

TEST(ThreadSnapshot, ListsEachThreadOfTheProcessOnce)
{
    const CGuest first;
    const CGuest second;
    DWORD third = 0;
    CHandle isHere = makeEvent(eAuto);
    CHandle leave = makeEvent(eAuto);
    std::thread foreign(
        [&]
        {
            third = GetCurrentThreadId();
            SetEvent(isHere);
            WaitForSingleObject(leave, c_PatienceMs);
        });
    EXPECT_EQ(WaitForSingleObject(isHere, c_PatienceMs), WAIT_OBJECT_0);
    const CThread suspended([] { return 0u; }, CREATE_SUSPENDED);

    const std::vector<DWORD> ids = listOwnThreads();
    for (const DWORD id : {GetCurrentThreadId(), first.GetId(), second.GetId(), third, suspended.GetId()})
    {
        EXPECT_EQ(std::count(ids.begin(), ids.end(), id), 1) << id;
    }
    EXPECT_EQ(std::set<DWORD>(ids.begin(), ids.end()).size(), ids.size());
    EXPECT_EQ(ResumeThread(suspended), 1u);
    EXPECT_TRUE(SetEvent(leave));
    foreign.join();
}

TEST(ThreadSnapshot, CanBeReadFromTheBeginningAgain)
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    EXPECT_TRUE(Thread32First(snapshot, &entry));
    const DWORD first = entry.th32ThreadID;
    Thread32Next(snapshot, &entry);
    EXPECT_TRUE(Thread32First(snapshot, &entry));
    EXPECT_EQ(entry.th32ThreadID, first);
    EXPECT_TRUE(CloseHandle(snapshot));
}

TEST(ThreadSnapshot, ShowsNoThreadThatStartsLater)
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    const CGuest late;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL isThere = Thread32First(snapshot, &entry); isThere; isThere = Thread32Next(snapshot, &entry))
    {
        EXPECT_NE(entry.th32ThreadID, late.GetId());
    }
    EXPECT_TRUE(CloseHandle(snapshot));
}

TEST(ThreadSnapshot, FailsWith6ForAHandleThatIsNone)
{
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (SBadHandle const& bad : getBadHandles())
    {
        SCOPED_TRACE(bad.name);
        EXPECT_FAILS(Thread32First(bad.handle, &entry), FALSE, 6);
        EXPECT_FAILS(Thread32Next(bad.handle, &entry), FALSE, 6);
    }
}

TEST(ThreadCalls, FailWith6ForAHandleThatIsNoThread)
{
    const CHandle event = makeEvent(eAuto);
    std::vector<SBadHandle> handles = getBadHandles();
    handles.push_back({"event", event});
    DWORD code = c_Untouched;
    FILETIME time{1, 2};
    for (SBadHandle const& bad : handles)
    {
        SCOPED_TRACE(bad.name);
        EXPECT_FAILS(ResumeThread(bad.handle), 0xFFFFFFFFu, 6);
        EXPECT_FAILS(SuspendThread(bad.handle), 0xFFFFFFFFu, 6);
        EXPECT_FAILS(TerminateThread(bad.handle, 0), FALSE, 6);
        EXPECT_FAILS(GetExitCodeThread(bad.handle, &code), FALSE, 6);
        EXPECT_FAILS(GetThreadId(bad.handle), 0u, 6);
        EXPECT_FAILS(SetThreadPriority(bad.handle, 0), FALSE, 6);
        EXPECT_FAILS(GetThreadPriority(bad.handle), 0x7FFFFFFF, 6);
        EXPECT_FAILS(SetThreadAffinityMask(bad.handle, 1), 0u, 6);
        EXPECT_FAILS(GetThreadTimes(bad.handle, &time, &time, &time, &time), FALSE, 6);
    }
    EXPECT_EQ(code, c_Untouched);
    EXPECT_EQ(time.dwHighDateTime, 2u);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(ThreadStress, ManyThreadsComeAndGo)
{
    std::atomic<int> runs = 0;
    for (int round = 0; round < 10 * c_Pace; ++round)
    {
        std::vector<std::unique_ptr<CThread>> threads;
        std::vector<HANDLE> handles;
        for (DWORD n = 0; n < 20; ++n)
        {
            threads.push_back(std::make_unique<CThread>(
                [&runs, n]
                {
                    ++runs;
                    return n;
                },
                n % 2 == 0 ? CREATE_SUSPENDED : 0));
            handles.push_back(*threads.back());
        }
        for (std::size_t n = 0; n < handles.size(); n += 2)
        {
            EXPECT_EQ(ResumeThread(handles[n]), 1u);
        }
        EXPECT_EQ(WaitForMultipleObjects(20, handles.data(), TRUE, c_PatienceMs), WAIT_OBJECT_0);
        for (std::size_t n = 0; n < handles.size(); ++n)
        {
            EXPECT_EQ(threads[n]->GetExitCode(), n);
        }
    }
    EXPECT_EQ(runs, 200 * c_Pace);
}
