#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "childprocess.h"
#include "handlecount.h"
#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

namespace
{
// A name that no other test and no other run uses: names are shared by all processes of the user.
class CName
{
public:
    CName()
    {
        static std::atomic<int> s_count = 0;
        m_narrow = "orvane-test-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++s_count);
        m_wide.assign(m_narrow.begin(), m_narrow.end());
    }

    LPCSTR Narrow() const
    {
        return m_narrow.c_str();
    }

    LPCWSTR Wide() const
    {
        return m_wide.c_str();
    }

    operator std::string() const
    {
        return m_narrow;
    }

private:
    std::string m_narrow;
    std::wstring m_wide;
};

enum EExpected
{
    eFresh,
    eExisting
};

CHandle named(HANDLE handle, DWORD error, EExpected expected)
{
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(error, expected == eExisting ? 183u : 0u);
    return CHandle(handle);
}

CHandle openEvent(CName const& name, EExpected expected, EReset reset = eAuto, bool isSet = false)
{
    SetLastError(c_Untouched);
    const HANDLE event = CreateEventW(nullptr, reset == eManual ? TRUE : FALSE, isSet ? TRUE : FALSE, name.Wide());
    return named(event, GetLastError(), expected);
}

CHandle openMutex(CName const& name, EExpected expected, bool isOwned = false)
{
    SetLastError(c_Untouched);
    const HANDLE mutex = CreateMutexW(nullptr, isOwned ? TRUE : FALSE, name.Wide());
    return named(mutex, GetLastError(), expected);
}

CHandle openSemaphore(CName const& name, EExpected expected, LONG count = 0, LONG maximum = 100)
{
    SetLastError(c_Untouched);
    const HANDLE semaphore = CreateSemaphoreW(nullptr, count, maximum, name.Wide());
    return named(semaphore, GetLastError(), expected);
}

// What a child process does and how it ends.
int runChild(std::vector<std::string> const& arguments)
{
    CChildProcess child(arguments);
    EXPECT_TRUE(child.IsStarted());
    return child.WaitForExit(c_PatienceMs);
}
} // namespace

TEST(NamedEvent, IsOneObjectForAllThatNameIt)
{
    const CName name;
    const CHandle first = openEvent(name, eFresh);
    const CHandle second = openEvent(name, eExisting);
    EXPECT_TRUE(SetEvent(first));
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
    EXPECT_EQ(look(first), WAIT_TIMEOUT);
}

TEST(NamedEvent, KeepsItsResetModeAndStateWhenItIsOpened)
{
    const CName name;
    const CHandle first = openEvent(name, eFresh, eManual, true);
    const CHandle second = openEvent(name, eExisting, eAuto, false);
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(second));
    EXPECT_EQ(look(first), WAIT_TIMEOUT);
}

TEST(NamedEvent, GoesWithItsLastHandle)
{
    const CName name;
    CHandle first = openEvent(name, eFresh, eManual, true);
    CHandle second = openEvent(name, eExisting, eManual, true);
    CHandle copy = duplicate(second);
    first.Close();
    second.Close();
    {
        const CHandle third = openEvent(name, eExisting);
        EXPECT_EQ(look(third), WAIT_OBJECT_0);
    }
    copy.Close();
    const CHandle fresh = openEvent(name, eFresh);
    EXPECT_EQ(look(fresh), WAIT_TIMEOUT);
}

TEST(NamedEvent, IsPulsedAndWaitedForAsAnyOther)
{
    const CName name;
    const CHandle first = openEvent(name, eFresh, eManual);
    const CHandle second = openEvent(name, eExisting);
    const CHandle other = makeEvent(eAuto);
    EXPECT_TRUE(SetEvent(first));
    EXPECT_TRUE(PulseEvent(second));
    EXPECT_EQ(look(first), WAIT_TIMEOUT);
    EXPECT_TRUE(succeedsInAnAttempt(
        [&](DWORD settleMs)
        {
            CWaiters waiters(
                [&]
                {
                    PulseEvent(first);
                    SetEvent(other);
                });
            waiters.Add([&] { return WaitForSingleObject(second, INFINITE); }, settleMs);
            waiters.Add([&] { return waitAny(std::array<HANDLE, 2>{other, second}, INFINITE); }, settleMs);
            EXPECT_TRUE(PulseEvent(first));
            return waiters.BecomesReleased(2, 20 * settleMs);
        }));
}

TEST(NamedSemaphore, IsOneObjectForAllThatNameIt)
{
    const CName name;
    const CHandle first = openSemaphore(name, eFresh, 2, 3);
    const CHandle second(CreateSemaphoreA(nullptr, 0, 50, name.Narrow()));
    EXPECT_EQ(GetLastError(), 183u);
    LONG previous = -1;
    EXPECT_TRUE(ReleaseSemaphore(second, 1, &previous));
    EXPECT_EQ(previous, 2);
    EXPECT_FAILS(ReleaseSemaphore(second, 1, nullptr), FALSE, 298);
    EXPECT_EQ(look(first), WAIT_OBJECT_0);
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
    EXPECT_EQ(look(first), WAIT_OBJECT_0);
    EXPECT_EQ(look(second), WAIT_TIMEOUT);
}

TEST(NamedSemaphore, FailsWith87ForCountsThatMakeNoSense)
{
    const CName name;
    EXPECT_FAILS(CreateSemaphoreW(nullptr, 2, 1, name.Wide()), nullptr, 87);
    const CHandle semaphore = openSemaphore(name, eFresh, 1, 1);
}

TEST(NamedMutex, IsOneObjectForAllThatNameIt)
{
    const CName name;
    const CHandle first = openMutex(name, eFresh, true);
    const CHandle second(CreateMutexA(nullptr, TRUE, name.Narrow()));
    EXPECT_EQ(GetLastError(), 183u);
    std::thread(
        [&]
        {
            EXPECT_EQ(look(second), WAIT_TIMEOUT);
            EXPECT_FAILS(ReleaseMutex(second), FALSE, 288);
        })
        .join();
    EXPECT_TRUE(ReleaseMutex(second)) << "an opened mutex is not taken again: one release frees it";
    EXPECT_FAILS(ReleaseMutex(first), FALSE, 288);
}

TEST(NamedMutex, IsRecursive)
{
    const CName name;
    const CHandle first = openMutex(name, eFresh);
    const CHandle second = openMutex(name, eExisting);
    EXPECT_EQ(look(first), WAIT_OBJECT_0);
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
    EXPECT_EQ(waitAny(std::array<HANDLE, 1>{first}, 0), WAIT_OBJECT_0);
    for (int n = 0; n < 3; ++n)
    {
        std::thread([&] { EXPECT_EQ(look(first), WAIT_TIMEOUT); }).join();
        EXPECT_TRUE(ReleaseMutex(n % 2 == 0 ? first : second));
    }
    EXPECT_FAILS(ReleaseMutex(first), FALSE, 288);
}

TEST(NamedMutex, IsAbandonedByAThreadOfThisProcess)
{
    const CName name;
    const CHandle mutex = openMutex(name, eFresh);
    std::thread(
        [&]
        {
            const CHandle own = openMutex(name, eExisting);
            EXPECT_EQ(look(own), WAIT_OBJECT_0);
        })
        .join();
    EXPECT_EQ(WaitForSingleObject(mutex, c_PatienceMs), WAIT_ABANDONED_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(Names, OfAnotherKindFailWith6)
{
    const CName event;
    const CName mutex;
    const CName semaphore;
    const CHandle anEvent = openEvent(event, eFresh, eAuto, true);
    const CHandle aMutex = openMutex(mutex, eFresh);
    const CHandle aSemaphore = openSemaphore(semaphore, eFresh, 1, 1);
    EXPECT_FAILS(CreateMutexW(nullptr, FALSE, event.Wide()), nullptr, 6);
    EXPECT_FAILS(CreateMutexA(nullptr, FALSE, semaphore.Narrow()), nullptr, 6);
    EXPECT_FAILS(CreateSemaphoreW(nullptr, 0, 1, event.Wide()), nullptr, 6);
    EXPECT_FAILS(CreateSemaphoreA(nullptr, 0, 1, mutex.Narrow()), nullptr, 6);
    EXPECT_FAILS(CreateEventW(nullptr, FALSE, FALSE, mutex.Wide()), nullptr, 6);
    EXPECT_FAILS(CreateEventW(nullptr, FALSE, FALSE, semaphore.Wide()), nullptr, 6);
    EXPECT_EQ(look(anEvent), WAIT_OBJECT_0);
    EXPECT_EQ(look(aSemaphore), WAIT_OBJECT_0);
    EXPECT_EQ(look(aMutex), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(aMutex));
}

TEST(Names, AreFreeForAnotherKindOnceTheObjectIsGone)
{
    const CName name;
    openEvent(name, eFresh);
    openMutex(name, eFresh);
    openSemaphore(name, eFresh);
    openEvent(name, eFresh);
}

TEST(Names, ThatAreEmptyNameNothing)
{
    const CHandle first(CreateEventW(nullptr, FALSE, FALSE, L""));
    EXPECT_EQ(GetLastError(), 0u);
    const CHandle second(CreateEventW(nullptr, FALSE, FALSE, L""));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_TRUE(SetEvent(first));
    EXPECT_EQ(look(second), WAIT_TIMEOUT);
}

TEST(Names, TellLettersOfAnotherCaseApart)
{
    const CName name;
    const std::wstring lower = std::wstring(name.Wide()) + L"-name";
    const std::wstring upper = std::wstring(name.Wide()) + L"-NAME";
    const CHandle first(CreateEventW(nullptr, FALSE, FALSE, lower.c_str()));
    const CHandle second(CreateEventW(nullptr, FALSE, FALSE, upper.c_str()));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_TRUE(SetEvent(first));
    EXPECT_EQ(look(second), WAIT_TIMEOUT);
}

TEST(Names, ReachBeyondLatinLettersAndAreLong)
{
    const CName name;
    std::wstring text = std::wstring(name.Wide()) + L"-\u00E9\u4E2D/.. %s";
    text.resize(240, L'x');
    const CHandle first(CreateEventW(nullptr, TRUE, TRUE, text.c_str()));
    EXPECT_EQ(GetLastError(), 0u);
    const CHandle second(CreateEventW(nullptr, FALSE, FALSE, text.c_str()));
    EXPECT_EQ(GetLastError(), 183u);
    EXPECT_EQ(look(second), WAIT_OBJECT_0);
    text.back() = L'y';
    const CHandle third(CreateEventW(nullptr, FALSE, FALSE, text.c_str()));
    EXPECT_EQ(GetLastError(), 0u);
}

TEST(Names, LeaveNoHandleBehind)
{
    unsigned int before = 0;
    for (int round = -3; round < 100 * c_Pace; ++round)
    {
        if (round == 0)
        {
            before = getHandleCount();
        }
        const CName name;
        const CHandle event = openEvent(name, eFresh);
        const CHandle again = openEvent(name, eExisting);
        const CHandle copy = duplicate(again);
        EXPECT_EQ(CreateMutexW(nullptr, FALSE, name.Wide()), nullptr);
    }
    EXPECT_EQ(getHandleCount(), before);
}

TEST(NamedWait, MixesNamedAndUnnamedObjects)
{
    const CName eventName;
    const CName mutexName;
    const CHandle event = openEvent(eventName, eFresh);
    const CHandle mutex = openMutex(mutexName, eFresh);
    const CHandle plain = makeEvent(eAuto);
    const std::array<HANDLE, 3> all{plain, mutex, event};
    EXPECT_EQ(waitAll(all, 0), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(plain));
    EXPECT_EQ(waitAll(all, 5), WAIT_TIMEOUT);
    EXPECT_EQ(waitAny(all, 0), WAIT_OBJECT_0);
    EXPECT_EQ(waitAny(all, 0), WAIT_OBJECT_0 + 1);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);

    CWaiters waiters(
        [&]
        {
            SetEvent(plain);
            SetEvent(event);
        });
    waiters.Add([&] { return waitAll(all, INFINITE); }, 5, [&] { EXPECT_TRUE(ReleaseMutex(mutex)); });
    EXPECT_TRUE(SetEvent(event));
    settle(5);
    EXPECT_EQ(waiters.GetReleased(), 0);
    EXPECT_TRUE(SetEvent(plain));
    EXPECT_TRUE(waiters.BecomesReleased(1));
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
    EXPECT_EQ(look(plain), WAIT_TIMEOUT);
}

TEST(NamedAcrossProcesses, AnEventIsSetByAnother)
{
    const CName name;
    const CHandle event = openEvent(name, eFresh);
    std::atomic<DWORD> result = c_Untouched;
    std::thread waiter([&] { result = WaitForSingleObject(event, c_PatienceMs); });
    EXPECT_EQ(runChild({"set", name}), 0);
    waiter.join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
    EXPECT_EQ(runChild({"set", name}), 0);
    EXPECT_EQ(look(event), WAIT_OBJECT_0) << "a set stays when its process is gone";
}

TEST(NamedAcrossProcesses, ASemaphoreCountsForAll)
{
    const CName name;
    const CHandle semaphore = openSemaphore(name, eFresh, 1, 10);
    EXPECT_EQ(runChild({"release", name}), 0);
    for (int n = 0; n < 3; ++n)
    {
        EXPECT_EQ(look(semaphore), WAIT_OBJECT_0);
    }
    EXPECT_EQ(look(semaphore), WAIT_TIMEOUT);
}

TEST(NamedAcrossProcesses, AMutexKeepsOthersOut)
{
    const CName name;
    const CHandle mutex = openMutex(name, eFresh, true);
    EXPECT_EQ(runChild({"try", name}), 0);
    EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(NamedAcrossProcesses, NamesOfAnotherKindFail)
{
    const CName eventName;
    const CName mutexName;
    const CHandle event = openEvent(eventName, eFresh);
    const CHandle mutex = openMutex(mutexName, eFresh);
    EXPECT_EQ(runChild({"kinds", eventName, mutexName}), 0);
}

TEST(NamedAcrossProcesses, EventsAreAnsweredManyTimes)
{
    constexpr int c_Rounds = 200 * c_Pace;
    const CName pingName;
    const CName pongName;
    const CHandle ping = openEvent(pingName, eFresh);
    const CHandle pong = openEvent(pongName, eFresh);
    CChildProcess child({"pingpong", pingName, pongName, std::to_string(c_Rounds)});
    for (int round = 0; round < c_Rounds; ++round)
    {
        ASSERT_TRUE(SetEvent(ping));
        ASSERT_EQ(WaitForSingleObject(pong, c_PatienceMs), WAIT_OBJECT_0) << round;
    }
    EXPECT_EQ(child.WaitForExit(c_PatienceMs), 0);
}

TEST(NamedAcrossProcesses, AWaitForAllTakesAllOrNothing)
{
    const CName semaphoreName;
    const CName eventName;
    const CName doneName;
    const CHandle semaphore = openSemaphore(semaphoreName, eFresh, 1, 10);
    const CHandle event = openEvent(eventName, eFresh);
    const CHandle done = openEvent(doneName, eFresh);
    CChildProcess child({"both", semaphoreName, eventName, doneName});
    EXPECT_EQ(WaitForSingleObject(done, 50), WAIT_TIMEOUT);
    EXPECT_EQ(look(semaphore), WAIT_OBJECT_0) << "the other process has taken nothing yet";
    EXPECT_TRUE(SetEvent(event));
    EXPECT_EQ(WaitForSingleObject(done, 20), WAIT_TIMEOUT);
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, nullptr));
    EXPECT_EQ(WaitForSingleObject(done, c_PatienceMs), WAIT_OBJECT_0);
    EXPECT_EQ(child.WaitForExit(c_PatienceMs), 0);
    EXPECT_EQ(look(semaphore), WAIT_TIMEOUT);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(NamedAcrossProcesses, AMutexHasOneOwnerAmongThreeProcesses)
{
    constexpr int c_Rounds = 100 * c_Pace;
    const CName mutexName;
    const CName semaphoreName;
    const CHandle mutex = openMutex(mutexName, eFresh);
    const CHandle semaphore = openSemaphore(semaphoreName, eFresh, 0, 0x7FFFFFFF);
    const std::vector<std::string> arguments{"count", mutexName, semaphoreName, std::to_string(c_Rounds)};
    std::vector<std::unique_ptr<CChildProcess>> children;
    for (int n = 0; n < 3; ++n)
    {
        children.push_back(std::make_unique<CChildProcess>(arguments));
    }
    for (auto const& child : children)
    {
        EXPECT_EQ(child->WaitForExit(c_PatienceMs), 0);
    }
    LONG count = -1;
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &count));
    EXPECT_EQ(count, 3 * c_Rounds);
}

TEST(NamedAcrossProcesses, AnOwnerThatEndsLeavesItsMutexAbandoned)
{
    const CName name;
    const CHandle mutex = openMutex(name, eFresh);
    EXPECT_EQ(runChild({"leave", name}), 0);
    EXPECT_EQ(WaitForSingleObject(mutex, c_PatienceMs), WAIT_ABANDONED_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
    EXPECT_EQ(runChild({"leave", name}), 0);
    EXPECT_EQ(WaitForSingleObject(mutex, c_PatienceMs), WAIT_ABANDONED_0);
    EXPECT_TRUE(ReleaseMutex(mutex));
}

// Each owner is killed: while nobody waits, while somebody waits for the mutex alone, for any, and for all.
TEST(NamedAcrossProcesses, AnOwnerThatIsKilledLeavesItsMutexAbandoned)
{
    const long long kills = getNumber("ORVANE_KERNEL_KILLS", 50);
    const CName mutexName;
    const CName readyName;
    const CHandle mutex = openMutex(mutexName, eFresh);
    const CHandle ready = openEvent(readyName, eFresh);
    const CHandle plain = makeEvent(eAuto);
    const CHandle set = makeEvent(eManual, true);
    long long abandoned = 0;
    for (long long n = 0; n < kills; ++n)
    {
        CChildProcess child({"hold", mutexName, readyName});
        ASSERT_EQ(WaitForSingleObject(ready, c_PatienceMs), WAIT_OBJECT_0);
        ASSERT_EQ(look(mutex), WAIT_TIMEOUT);
        DWORD result = c_Untouched;
        std::atomic<bool> isAboutToWait = false;
        const auto waiter = [&]
        {
            isAboutToWait = true;
            switch (n % 4)
            {
            case 2:
                result = waitAny(std::array<HANDLE, 2>{plain, mutex}, c_PatienceMs);
                result = result == WAIT_ABANDONED_0 + 1 ? WAIT_ABANDONED_0 : result;
                break;
            case 3:
                result = waitAll(std::array<HANDLE, 2>{set, mutex}, c_PatienceMs);
                result = result == WAIT_ABANDONED_0 + 1 ? WAIT_ABANDONED_0 : result;
                break;
            default:
                result = WaitForSingleObject(mutex, c_PatienceMs);
                break;
            }
            EXPECT_TRUE(ReleaseMutex(mutex));
            EXPECT_FAILS(ReleaseMutex(mutex), FALSE, 288);
        };
        if (n % 4 == 0)
        {
            child.Kill();
            waiter();
        }
        else
        {
            std::thread thread(waiter);
            EXPECT_TRUE(becomes([&] { return isAboutToWait.load(); }));
            settle(n % 3 == 0 ? 0 : 2);
            child.Kill();
            thread.join();
        }
        abandoned += result == WAIT_ABANDONED_0 ? 1 : 0;
        EXPECT_EQ(result, WAIT_ABANDONED_0) << "kill " << n;
    }
    EXPECT_EQ(abandoned, kills);
}

TEST(NamedAcrossProcesses, ANameIsFreeOnceItsOnlyProcessWasKilled)
{
    const CName mutexName;
    const CName readyName;
    const CHandle ready = openEvent(readyName, eFresh);
    CHandle mutex = openMutex(mutexName, eFresh);
    CChildProcess child({"hold", mutexName, readyName});
    ASSERT_EQ(WaitForSingleObject(ready, c_PatienceMs), WAIT_OBJECT_0);
    mutex.Close();
    child.Kill();
    const CHandle fresh = openMutex(mutexName, eFresh);
    EXPECT_EQ(look(fresh), WAIT_OBJECT_0) << "a new mutex is not abandoned";
    EXPECT_TRUE(ReleaseMutex(fresh));
}
