// Locks within a process: alone, nested, and with two threads that want them.

#include <mutex>
#include <shared_mutex>
#include <string>

#include <pthread.h>

#include <benchmark/benchmark.h>

#include "orvane/sync/cbcriticalsection.h"
#include "orvane/sync/cbreadwritelock.h"
#include "platform/platform.h"
#include "support/benchmain.h"

namespace
{
// ---- recursive locks

class CSection
{
public:
    void Enter()
    {
        m_lock.Enter();
    }

    void Leave()
    {
        m_lock.Leave();
    }

private:
    CbCriticalSection m_lock;
};

class CPlatformSection
{
public:
    CPlatformSection()
    {
        InitializeCriticalSection(&m_lock);
    }

    CPlatformSection(CPlatformSection const&) = delete;
    CPlatformSection& operator=(CPlatformSection const&) = delete;

    ~CPlatformSection()
    {
        DeleteCriticalSection(&m_lock);
    }

    void Enter()
    {
        EnterCriticalSection(&m_lock);
    }

    void Leave()
    {
        LeaveCriticalSection(&m_lock);
    }

private:
    CRITICAL_SECTION m_lock;
};

class CStdRecursive
{
public:
    void Enter()
    {
        m_lock.lock();
    }

    void Leave()
    {
        m_lock.unlock();
    }

private:
    std::recursive_mutex m_lock;
};

class CPthreadRecursive
{
public:
    CPthreadRecursive()
    {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&m_lock, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }

    CPthreadRecursive(CPthreadRecursive const&) = delete;
    CPthreadRecursive& operator=(CPthreadRecursive const&) = delete;

    ~CPthreadRecursive()
    {
        pthread_mutex_destroy(&m_lock);
    }

    void Enter()
    {
        pthread_mutex_lock(&m_lock);
    }

    void Leave()
    {
        pthread_mutex_unlock(&m_lock);
    }

private:
    pthread_mutex_t m_lock;
};

// ---- reader/writer locks

class CReadWrite
{
public:
    void EnterShared()
    {
        m_lock.EnterShared();
    }

    void LeaveShared()
    {
        m_lock.LeaveShared();
    }

    void Enter()
    {
        m_lock.EnterExclusive();
    }

    void Leave()
    {
        m_lock.LeaveExclusive();
    }

private:
    CbReadWriteLock m_lock;
};

class CPlatformReadWrite
{
public:
    void EnterShared()
    {
        AcquireSRWLockShared(&m_lock);
    }

    void LeaveShared()
    {
        ReleaseSRWLockShared(&m_lock);
    }

    void Enter()
    {
        AcquireSRWLockExclusive(&m_lock);
    }

    void Leave()
    {
        ReleaseSRWLockExclusive(&m_lock);
    }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};

class CStdShared
{
public:
    void EnterShared()
    {
        m_lock.lock_shared();
    }

    void LeaveShared()
    {
        m_lock.unlock_shared();
    }

    void Enter()
    {
        m_lock.lock();
    }

    void Leave()
    {
        m_lock.unlock();
    }

private:
    std::shared_mutex m_lock;
};

class CPthreadReadWrite
{
public:
    CPthreadReadWrite()
    {
        pthread_rwlock_init(&m_lock, nullptr);
    }

    CPthreadReadWrite(CPthreadReadWrite const&) = delete;
    CPthreadReadWrite& operator=(CPthreadReadWrite const&) = delete;

    ~CPthreadReadWrite()
    {
        pthread_rwlock_destroy(&m_lock);
    }

    void EnterShared()
    {
        pthread_rwlock_rdlock(&m_lock);
    }

    void LeaveShared()
    {
        pthread_rwlock_unlock(&m_lock);
    }

    void Enter()
    {
        pthread_rwlock_wrlock(&m_lock);
    }

    void Leave()
    {
        pthread_rwlock_unlock(&m_lock);
    }

private:
    pthread_rwlock_t m_lock;
};

// ---- rows

// One lock of each kind, on cache lines of its own, and what it guards.
template <class TLock>
struct SGuarded
{
    alignas(128) TLock lock;
    alignas(128) long long value = 0;
};

template <class TLock>
SGuarded<TLock>& guarded()
{
    static SGuarded<TLock> s_guarded;
    return s_guarded;
}

template <class TLock>
void enterAndLeave(benchmark::State& state)
{
    SGuarded<TLock>& shared = guarded<TLock>();
    for (auto _ : state)
    {
        shared.lock.Enter();
        benchmark::DoNotOptimize(++shared.value);
        shared.lock.Leave();
    }
}

template <class TLock>
void enterAgain(benchmark::State& state)
{
    SGuarded<TLock>& shared = guarded<TLock>();
    shared.lock.Enter();
    for (auto _ : state)
    {
        shared.lock.Enter();
        benchmark::DoNotOptimize(++shared.value);
        shared.lock.Leave();
    }
    shared.lock.Leave();
}

template <class TLock>
void share(benchmark::State& state)
{
    SGuarded<TLock>& shared = guarded<TLock>();
    for (auto _ : state)
    {
        shared.lock.EnterShared();
        benchmark::DoNotOptimize(shared.value);
        shared.lock.LeaveShared();
    }
}

// One write in 16, as of a table that is seldom changed.
template <class TLock>
void shareMostly(benchmark::State& state)
{
    SGuarded<TLock>& shared = guarded<TLock>();
    unsigned int round = 0;
    for (auto _ : state)
    {
        if (++round % 16 == 0)
        {
            shared.lock.Enter();
            benchmark::DoNotOptimize(++shared.value);
            shared.lock.Leave();
        }
        else
        {
            shared.lock.EnterShared();
            benchmark::DoNotOptimize(shared.value);
            shared.lock.LeaveShared();
        }
    }
}

template <class TLock>
void registerRecursive(std::string const& library)
{
    benchmark::RegisterBenchmark(("critical section/" + library).c_str(), enterAndLeave<TLock>);
    benchmark::RegisterBenchmark(("critical section, nested/" + library).c_str(), enterAgain<TLock>);
    benchmark::RegisterBenchmark(("critical section/" + library).c_str(), enterAndLeave<TLock>)
        ->Threads(2)
        ->UseRealTime();
}

template <class TLock>
void registerReadWrite(std::string const& library)
{
    benchmark::RegisterBenchmark(("shared/" + library).c_str(), share<TLock>);
    benchmark::RegisterBenchmark(("exclusive/" + library).c_str(), enterAndLeave<TLock>);
    benchmark::RegisterBenchmark(("shared/" + library).c_str(), share<TLock>)->Threads(2)->UseRealTime();
    benchmark::RegisterBenchmark(("exclusive/" + library).c_str(), enterAndLeave<TLock>)->Threads(2)->UseRealTime();
    benchmark::RegisterBenchmark(("1 of 16 exclusive/" + library).c_str(), shareMostly<TLock>)
        ->Threads(2)
        ->UseRealTime();
}
} // namespace

void registerRows()
{
    registerRecursive<CSection>("orvane");
    registerRecursive<CPlatformSection>("platform layer");
    registerRecursive<CStdRecursive>("std");
    registerRecursive<CPthreadRecursive>("pthread");
    registerReadWrite<CReadWrite>("orvane");
    registerReadWrite<CPlatformReadWrite>("platform layer");
    registerReadWrite<CStdShared>("std");
    registerReadWrite<CPthreadReadWrite>("pthread");
}
