// Events and semaphores: alone, in groups, and between two threads that wake each other.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#ifdef ORVANE_BENCH_POCO
#include <Poco/Event.h>
#endif
#ifdef ORVANE_BENCH_QT
#include <QSemaphore>
#endif

#include "orvane/sync/cbevent.h"
#include "orvane/sync/cbsemaphore.h"
#include "platform/platform.h"
#include "support/benchmain.h"

namespace
{
// ---- automatic events: Set lets one Wait pass

class COrvaneEvent
{
public:
    void Set()
    {
        m_event.Set();
    }

    void Wait()
    {
        m_event.Wait(INFINITE);
    }

private:
    CbEvent m_event{false, nullptr};
};

class CPlatformEvent
{
public:
    CPlatformEvent() : m_event(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    {
    }

    CPlatformEvent(CPlatformEvent const&) = delete;
    CPlatformEvent& operator=(CPlatformEvent const&) = delete;

    ~CPlatformEvent()
    {
        CloseHandle(m_event);
    }

    void Set()
    {
        SetEvent(m_event);
    }

    void Wait()
    {
        WaitForSingleObject(m_event, INFINITE);
    }

private:
    HANDLE m_event;
};

// What one writes with the standard library.
class CStdEvent
{
public:
    void Set()
    {
        {
            const std::lock_guard guard(m_lock);
            m_isSet = true;
        }
        m_change.notify_one();
    }

    void Wait()
    {
        std::unique_lock guard(m_lock);
        m_change.wait(guard, [this] { return m_isSet; });
        m_isSet = false;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_change;
    bool m_isSet = false;
};

class CStdSemaphore
{
public:
    void Set()
    {
        m_semaphore.release();
    }

    void Wait()
    {
        m_semaphore.acquire();
    }

private:
    std::counting_semaphore<> m_semaphore{0};
};

class CPthreadEvent
{
public:
    CPthreadEvent() = default;
    CPthreadEvent(CPthreadEvent const&) = delete;
    CPthreadEvent& operator=(CPthreadEvent const&) = delete;

    ~CPthreadEvent()
    {
        pthread_cond_destroy(&m_change);
        pthread_mutex_destroy(&m_lock);
    }

    void Set()
    {
        pthread_mutex_lock(&m_lock);
        m_isSet = true;
        pthread_cond_signal(&m_change);
        pthread_mutex_unlock(&m_lock);
    }

    void Wait()
    {
        pthread_mutex_lock(&m_lock);
        while (!m_isSet)
        {
            pthread_cond_wait(&m_change, &m_lock);
        }
        m_isSet = false;
        pthread_mutex_unlock(&m_lock);
    }

private:
    pthread_mutex_t m_lock = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t m_change = PTHREAD_COND_INITIALIZER;
    bool m_isSet = false;
};

class CEventFd
{
public:
    CEventFd() : m_file(eventfd(0, EFD_CLOEXEC))
    {
    }

    CEventFd(CEventFd const&) = delete;
    CEventFd& operator=(CEventFd const&) = delete;

    ~CEventFd()
    {
        close(m_file);
    }

    void Set()
    {
        eventfd_write(m_file, 1);
    }

    void Wait()
    {
        eventfd_t count = 0;
        eventfd_read(m_file, &count);
    }

    int GetFile() const
    {
        return m_file;
    }

private:
    int m_file;
};

// The least that sleeps: a word and the kernel, no looking before the sleep.
class CFutexEvent
{
public:
    void Set()
    {
        if (m_state.exchange(1, std::memory_order_release) == 2)
        {
            syscall(SYS_futex, &m_state, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
        }
    }

    void Wait()
    {
        for (;;)
        {
            std::uint32_t expected = 1;
            if (m_state.compare_exchange_strong(expected, 0, std::memory_order_acquire))
            {
                return;
            }
            if (expected == 2 || m_state.compare_exchange_strong(expected, 2))
            {
                syscall(SYS_futex, &m_state, FUTEX_WAIT_PRIVATE, 2, nullptr, nullptr, 0);
            }
        }
    }

private:
    std::atomic<std::uint32_t> m_state = 0;
};

#ifdef ORVANE_BENCH_POCO
class CPocoEvent
{
public:
    void Set()
    {
        m_event.set();
    }

    void Wait()
    {
        m_event.wait();
    }

private:
    Poco::Event m_event{Poco::Event::EVENT_AUTORESET};
};
#endif

#ifdef ORVANE_BENCH_QT
class CQtSemaphore
{
public:
    void Set()
    {
        m_semaphore.release();
    }

    void Wait()
    {
        m_semaphore.acquire();
    }

private:
    QSemaphore m_semaphore;
};
#endif

// ---- rows of one thread

template <class TEvent>
void setAndWait(benchmark::State& state)
{
    TEvent event;
    for (auto _ : state)
    {
        event.Set();
        event.Wait();
    }
}

void makeAndClose(benchmark::State& state)
{
    for (auto _ : state)
    {
        CbEvent event(false, nullptr);
        benchmark::DoNotOptimize(event);
    }
}

void makeAndCloseEventFd(benchmark::State& state)
{
    for (auto _ : state)
    {
        CEventFd event;
        benchmark::DoNotOptimize(event);
    }
}

void takeAndGive(benchmark::State& state)
{
    CbSemaphore semaphore(4, nullptr);
    for (auto _ : state)
    {
        semaphore.Enter(INFINITE);
        semaphore.Leave();
    }
}

void takeAndGiveStd(benchmark::State& state)
{
    std::counting_semaphore<> semaphore(4);
    for (auto _ : state)
    {
        semaphore.acquire();
        semaphore.release();
    }
}

#ifdef ORVANE_BENCH_QT
void takeAndGiveQt(benchmark::State& state)
{
    QSemaphore semaphore(4);
    for (auto _ : state)
    {
        semaphore.acquire();
        semaphore.release();
    }
}
#endif

// ---- groups. Each round sets what the wait then consumes.

CbArray<CbEvent> makeGroup(unsigned int count)
{
    CbArray<CbEvent> group;
    for (unsigned int n = 0; n < count; ++n)
    {
        group.Add(CbEvent(false, nullptr));
    }
    return group;
}

void waitAny(benchmark::State& state)
{
    const CbArray<CbEvent> group = makeGroup(static_cast<unsigned int>(state.range(0)));
    unsigned int next = 0;
    unsigned int found = 0;
    for (auto _ : state)
    {
        next = (next + 5) % group.GetCount();
        group[next].Set();
        CbEvent::WaitForSingleEvent(group, INFINITE, found);
        if (found != next)
        {
            state.SkipWithError("another event was found");
            return;
        }
    }
}

void waitAll(benchmark::State& state)
{
    const CbArray<CbEvent> group = makeGroup(static_cast<unsigned int>(state.range(0)));
    for (auto _ : state)
    {
        for (unsigned int n = 0; n < group.GetCount(); ++n)
        {
            group[n].Set();
        }
        if (CbEvent::WaitForMultipleEvents(group, INFINITE) != CbEvent::eWaitSignaled)
        {
            state.SkipWithError("the wait failed");
            return;
        }
    }
}

std::vector<pollfd> lookAt(std::vector<CEventFd> const& group)
{
    std::vector<pollfd> looked;
    for (CEventFd const& event : group)
    {
        looked.push_back({event.GetFile(), POLLIN, 0});
    }
    return looked;
}

void waitAnyPoll(benchmark::State& state)
{
    std::vector<CEventFd> group(static_cast<std::size_t>(state.range(0)));
    std::vector<pollfd> looked = lookAt(group);
    std::size_t next = 0;
    for (auto _ : state)
    {
        next = (next + 5) % group.size();
        group[next].Set();
        poll(looked.data(), looked.size(), -1);
        std::size_t found = 0;
        while (looked[found].revents == 0)
        {
            ++found;
        }
        group[found].Wait();
        benchmark::DoNotOptimize(found);
    }
}

// As far as poll goes: it tells when one is set, so each is asked for until all are; then each is taken.
void waitAllPoll(benchmark::State& state)
{
    std::vector<CEventFd> group(static_cast<std::size_t>(state.range(0)));
    std::vector<pollfd> looked = lookAt(group);
    for (auto _ : state)
    {
        for (CEventFd& event : group)
        {
            event.Set();
        }
        int set = 0;
        while (set < static_cast<int>(looked.size()))
        {
            set = poll(looked.data(), looked.size(), -1);
        }
        for (CEventFd& event : group)
        {
            event.Wait();
        }
    }
}

// ---- ping-pong: one time is the way from a Set to the other thread's return from its wait and back

void runOn(unsigned int processor)
{
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(processor, &processors);
    sched_setaffinity(0, sizeof processors, &processors);
}

class CProcessors
{
public:
    CProcessors()
    {
        sched_getaffinity(0, sizeof m_before, &m_before);
    }

    CProcessors(CProcessors const&) = delete;
    CProcessors& operator=(CProcessors const&) = delete;

    ~CProcessors()
    {
        sched_setaffinity(0, sizeof m_before, &m_before);
    }

private:
    cpu_set_t m_before{};
};

template <class TEvent>
void pingPong(benchmark::State& state, unsigned int otherProcessor)
{
    constexpr int c_RoundsPerIteration = 100;
    const CProcessors keeper;
    runOn(0);
    TEvent ping;
    TEvent pong;
    std::atomic<bool> isOver = false;
    std::thread other(
        [&]
        {
            runOn(otherProcessor);
            for (;;)
            {
                ping.Wait();
                if (isOver)
                {
                    return;
                }
                pong.Set();
            }
        });
    for (auto _ : state)
    {
        for (int round = 0; round < c_RoundsPerIteration; ++round)
        {
            ping.Set();
            pong.Wait();
        }
    }
    // Two ways each.
    state.SetItemsProcessed(state.iterations() * c_RoundsPerIteration * 2);
    isOver = true;
    ping.Set();
    other.join();
}

template <class TEvent>
void registerEvent(std::string const& library)
{
    benchmark::RegisterBenchmark(("set and wait/" + library).c_str(), setAndWait<TEvent>);
    benchmark::RegisterBenchmark(("100 ping-pongs, two processors/" + library).c_str(),
                                 [](benchmark::State& state) { pingPong<TEvent>(state, 1); })
        ->UseRealTime();
    benchmark::RegisterBenchmark(("100 ping-pongs, one processor/" + library).c_str(),
                                 [](benchmark::State& state) { pingPong<TEvent>(state, 0); })
        ->UseRealTime();
}

using Row = void (*)(benchmark::State&);

void registerGroup(int count, std::string const& library, Row any, Row all)
{
    const std::string ofMany = std::to_string(count);
    benchmark::RegisterBenchmark(("set one of " + ofMany + ", wait for any/" + library).c_str(), any)->Arg(count);
    benchmark::RegisterBenchmark(("set all of " + ofMany + ", wait for all/" + library).c_str(), all)->Arg(count);
}
} // namespace

void registerRows()
{
    registerEvent<COrvaneEvent>("orvane");
    registerEvent<CPlatformEvent>("platform layer");
    registerEvent<CStdEvent>("std");
    registerEvent<CStdSemaphore>("std semaphore");
    registerEvent<CPthreadEvent>("pthread");
    registerEvent<CEventFd>("eventfd");
    registerEvent<CFutexEvent>("futex");
#ifdef ORVANE_BENCH_POCO
    registerEvent<CPocoEvent>("poco");
#endif
#ifdef ORVANE_BENCH_QT
    registerEvent<CQtSemaphore>("qt");
#endif
    benchmark::RegisterBenchmark("make and close/orvane", makeAndClose);
    benchmark::RegisterBenchmark("make and close/eventfd", makeAndCloseEventFd);
    benchmark::RegisterBenchmark("semaphore, take and give/orvane", takeAndGive);
    benchmark::RegisterBenchmark("semaphore, take and give/std semaphore", takeAndGiveStd);
#ifdef ORVANE_BENCH_QT
    benchmark::RegisterBenchmark("semaphore, take and give/qt", takeAndGiveQt);
#endif
    for (const int count : {8, 64})
    {
        registerGroup(count, "orvane", waitAny, waitAll);
        registerGroup(count, "eventfd", waitAnyPoll, waitAllPoll);
    }
}
