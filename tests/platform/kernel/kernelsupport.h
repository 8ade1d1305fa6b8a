// What the tests of kernel objects share: owned handles, threads, waiting crowds, and patience.
//
// No call tells whether another thread has already queued itself in a wait. Where a test needs that, it makes attempts:
// it starts the thread, lets it settle for a while, acts, and looks whether the outcome is the one of a queued thread.
// An attempt that came too early is repeated with a longer while. So an outcome that a wrong implementation never gives
// fails every attempt, a right one needs a single good attempt, and no length of time decides on right or wrong.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_KERNELSUPPORT_H
#define ORVANE_TESTS_PLATFORM_KERNEL_KERNELSUPPORT_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/platform.h"
#include "gtest/gtest.h"

namespace kerneltest
{
/// How long a wait that has to end may take.
constexpr DWORD c_PatienceMs = 120'000;

/// A last error that no call sets.
constexpr DWORD c_Untouched = 0x7777;

/// Tries of an outcome that depends on where other threads are.
constexpr int c_Attempts = 12;

using Clock = std::chrono::steady_clock;

/// A handle that closes itself.
class CHandle
{
public:
    CHandle() = default;

    explicit CHandle(HANDLE handle) : m_handle(handle)
    {
    }

    CHandle(CHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr))
    {
    }

    CHandle& operator=(CHandle&& other) noexcept
    {
        std::swap(m_handle, other.m_handle);
        return *this;
    }

    ~CHandle()
    {
        Close();
    }

    operator HANDLE() const
    {
        return m_handle;
    }

    void Close()
    {
        if (m_handle != nullptr)
        {
            EXPECT_TRUE(CloseHandle(std::exchange(m_handle, nullptr)));
        }
    }

private:
    HANDLE m_handle = nullptr;
};

enum EReset
{
    eAuto,
    eManual
};

inline CHandle makeEvent(EReset reset, bool isSet = false)
{
    CHandle event(CreateEventW(nullptr, reset == eManual ? TRUE : FALSE, isSet ? TRUE : FALSE, nullptr));
    EXPECT_NE(static_cast<HANDLE>(event), nullptr);
    return event;
}

inline CHandle makeMutex(bool isOwned = false)
{
    CHandle mutex(CreateMutexW(nullptr, isOwned ? TRUE : FALSE, nullptr));
    EXPECT_NE(static_cast<HANDLE>(mutex), nullptr);
    return mutex;
}

inline CHandle makeSemaphore(LONG count, LONG maximum)
{
    CHandle semaphore(CreateSemaphoreW(nullptr, count, maximum, nullptr));
    EXPECT_NE(static_cast<HANDLE>(semaphore), nullptr);
    return semaphore;
}

/// Another handle of the same object.
inline CHandle duplicate(HANDLE source)
{
    HANDLE copy = nullptr;
    EXPECT_TRUE(
        DuplicateHandle(GetCurrentProcess(), source, GetCurrentProcess(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    return CHandle(copy);
}

/// Looks once: what a wait that does not block gives.
inline DWORD look(HANDLE handle)
{
    return WaitForSingleObject(handle, 0);
}

template <std::size_t N>
DWORD waitAny(std::array<HANDLE, N> const& handles, DWORD timeoutMs)
{
    return WaitForMultipleObjects(static_cast<DWORD>(N), handles.data(), FALSE, timeoutMs);
}

template <std::size_t N>
DWORD waitAll(std::array<HANDLE, N> const& handles, DWORD timeoutMs)
{
    return WaitForMultipleObjects(static_cast<DWORD>(N), handles.data(), TRUE, timeoutMs);
}

/// Whether a condition comes true within the patience of a test.
template <class C>
bool becomes(C const& condition, DWORD patienceMs = c_PatienceMs)
{
    const auto end = Clock::now() + std::chrono::milliseconds(patienceMs);
    while (!condition())
    {
        if (Clock::now() > end)
        {
            return condition();
        }
        std::this_thread::yield();
    }
    return true;
}

/// Lets other threads run for a while. Never decides on right or wrong: see the head of this file.
inline void settle(DWORD whileMs)
{
    const CHandle never = makeEvent(eManual);
    EXPECT_EQ(WaitForSingleObject(never, whileMs), WAIT_TIMEOUT);
}

/// Whether one of several attempts succeeds; each is told how long to let its threads settle.
template <class A>
bool succeedsInAnAttempt(A const& attempt)
{
    DWORD settleMs = 2;
    for (int n = 0; n < c_Attempts && !testing::Test::HasFailure(); ++n)
    {
        if (attempt(settleMs))
        {
            return true;
        }
        settleMs = settleMs < 128 ? settleMs * 2 : settleMs;
    }
    return false;
}

/// A thread that CreateThread starts. The body must outlive the thread: it is kept here, and the end waits for it.
class CThread
{
public:
    explicit CThread(std::function<DWORD()> body, DWORD flags = 0) : m_body(std::move(body))
    {
        m_handle = CHandle(CreateThread(nullptr, 0, &CThread::run, &m_body, flags, &m_id));
        EXPECT_NE(static_cast<HANDLE>(m_handle), nullptr);
    }

    CThread(CThread const&) = delete;
    CThread& operator=(CThread const&) = delete;

    ~CThread()
    {
        EXPECT_TRUE(Join());
    }

    operator HANDLE() const
    {
        return m_handle;
    }

    DWORD GetId() const
    {
        return m_id;
    }

    bool Join() const
    {
        return WaitForSingleObject(m_handle, c_PatienceMs) == WAIT_OBJECT_0;
    }

    DWORD GetExitCode() const
    {
        DWORD code = c_Untouched;
        EXPECT_TRUE(GetExitCodeThread(m_handle, &code));
        return code;
    }

private:
    static DWORD run(void* body)
    {
        return (*static_cast<std::function<DWORD()>*>(body))();
    }

    std::function<DWORD()> m_body;
    DWORD m_id = 0;
    CHandle m_handle;
};

struct SHasBegun
{
    CHandle hasBegun = makeEvent(eAuto);
};

/// A thread that has begun its body when it is made. It may be ended then: one that is ended while Windows starts it leaves
/// the loader's lock taken, and no other one starts.
class CBegunThread : private SHasBegun, public CThread
{
public:
    explicit CBegunThread(std::function<DWORD()> body)
        : CThread(
              [this, body = std::move(body)]
              {
                  SetEvent(hasBegun);
                  return body();
              })
    {
        EXPECT_EQ(WaitForSingleObject(hasBegun, c_PatienceMs), WAIT_OBJECT_0);
    }
};

/// Threads that each wait once. The order of their returns is exact when the test releases them one by one.
class CWaiters
{
public:
    /// `release` frees a waiter that is left over; the end of the crowd repeats it until none is.
    explicit CWaiters(std::function<void()> release) : m_release(std::move(release))
    {
    }

    CWaiters(CWaiters const&) = delete;
    CWaiters& operator=(CWaiters const&) = delete;

    ~CWaiters()
    {
        EXPECT_TRUE(becomes(
            [this]
            {
                if (GetReleased() != static_cast<int>(m_threads.size()))
                {
                    m_release();
                }
                return GetReleased() == static_cast<int>(m_threads.size());
            }));
        for (std::thread& thread : m_threads)
        {
            thread.join();
        }
    }

    /// Starts a thread that calls `wait`; `leave`, if given, runs when its return has been counted.
    void Add(std::function<DWORD()> wait, DWORD settleMs, std::function<void()> leave = {})
    {
        const std::size_t index = m_threads.size();
        ASSERT_LT(index, c_Most);
        std::atomic<bool> isAboutToWait = false;
        m_threads.emplace_back(
            [this, index, &isAboutToWait, wait = std::move(wait), leave = std::move(leave)]
            {
                isAboutToWait = true;
                m_results[index] = wait();
                const int place = m_arrived.fetch_add(1);
                m_order[static_cast<std::size_t>(place)] = static_cast<int>(index);
                m_released.fetch_add(1);
                if (leave)
                {
                    leave();
                }
            });
        ASSERT_TRUE(becomes([&] { return isAboutToWait.load(); }));
        settle(settleMs);
    }

    int GetReleased() const
    {
        return m_released.load();
    }

    bool BecomesReleased(int count, DWORD patienceMs = c_PatienceMs) const
    {
        return becomes([&] { return GetReleased() >= count; }, patienceMs);
    }

    /// What the wait of thread `index` gave, once it has returned.
    DWORD GetResult(std::size_t index) const
    {
        return m_results[index];
    }

    /// The threads that have returned, the earliest first.
    std::vector<int> GetOrder() const
    {
        return {m_order.begin(), m_order.begin() + GetReleased()};
    }

private:
    static constexpr std::size_t c_Most = 64;

    std::function<void()> m_release;
    std::vector<std::thread> m_threads;
    std::array<DWORD, c_Most> m_results{};
    std::array<int, c_Most> m_order{};
    std::atomic<int> m_arrived = 0;
    std::atomic<int> m_released = 0;
};

/// Threads that begin a round together, spinning: the rounds of a race.
class CStartingLine
{
public:
    explicit CStartingLine(int count) : m_count(count)
    {
    }

    void Meet()
    {
        const int round = m_round.load();
        if (m_arrived.fetch_add(1) + 1 == m_count)
        {
            m_arrived = 0;
            m_round.fetch_add(1);
            return;
        }
        for (int spin = 0; m_round.load() == round; ++spin)
        {
            if (spin > 200)
            {
                std::this_thread::yield();
            }
        }
    }

private:
    const int m_count;
    std::atomic<int> m_arrived = 0;
    std::atomic<int> m_round = 0;
};

/// A number from the environment, or `otherwise`.
inline long long getNumber(char const* variable, long long otherwise)
{
    char const* const text = std::getenv(variable);
    return text != nullptr && *text != '\0' ? std::strtoll(text, nullptr, 0) : otherwise;
}

/// Handles that no object goes by. A null one, values that were never given out, an address that is none of ours.
struct SBadHandle
{
    char const* name;
    HANDLE handle;
};

inline std::vector<SBadHandle> getBadHandles()
{
    static int s_own = 0;
    return {
        {"null", nullptr},
        {"large", reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x7FFFFFF0))},
        {"beyond 32 bits", reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x0123'4567'89AB'CDE0))},
        {"address", &s_own},
        {"odd", reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(0x55555555'55555555))},
    };
}

/// No object but the pseudo handle of the process, and that is neither an event nor a mutex nor a semaphore.
inline HANDLE minusOne()
{
    return reinterpret_cast<HANDLE>(~static_cast<ULONG_PTR>(0));
}
} // namespace kerneltest

/// The call fails: it gives `result` and leaves `error` as the last error.
#define EXPECT_FAILS(call, result, error)                                                                              \
    do                                                                                                                 \
    {                                                                                                                  \
        SetLastError(kerneltest::c_Untouched);                                                                         \
        const auto orvaneResult = (call);                                                                              \
        const DWORD orvaneError = GetLastError();                                                                      \
        EXPECT_EQ(orvaneResult, result) << #call;                                                                      \
        EXPECT_EQ(orvaneError, static_cast<DWORD>(error)) << #call;                                                    \
    } while (false)

#endif // ORVANE_TESTS_PLATFORM_KERNEL_KERNELSUPPORT_H
