// Owners of a shared object: one taken and released, alone and by two threads, and one handed on.

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>

#ifdef ORVANE_BENCH_BOOST
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#endif

#include "orvane/memory/cbsmartpointer.h"
#include "support/benchmain.h"

namespace
{
// ---- objects of one number, on cache lines of their own

class alignas(128) CCounted : public IReferenceCounted
{
public:
    long long value = 1;

protected:
    CbReferenceCounter<unsigned int> const& getReferenceCounter() const override
    {
        return m_counter;
    }

private:
    CbReferenceCounter<unsigned int> m_counter;
};

#ifdef ORVANE_BENCH_BOOST
class alignas(128) CIntrusive : public boost::intrusive_ref_counter<CIntrusive, boost::thread_safe_counter>
{
public:
    virtual ~CIntrusive() = default;

    long long value = 1;
};

struct SBoost
{
    using Pointer = boost::intrusive_ptr<CIntrusive>;

    static Pointer make()
    {
        return Pointer(new CIntrusive);
    }
};

// Answers its counter by a virtual call, as our objects do.
class alignas(128) CIntrusiveVirtual
{
public:
    virtual ~CIntrusiveVirtual() = default;

    long long value = 1;

protected:
    virtual std::atomic<unsigned int>& getCounter() const
    {
        return m_counter;
    }

private:
    friend void intrusive_ptr_add_ref(CIntrusiveVirtual const* object)
    {
        object->getCounter().fetch_add(1, std::memory_order_relaxed);
    }

    friend void intrusive_ptr_release(CIntrusiveVirtual const* object)
    {
        if (object->getCounter().fetch_sub(1, std::memory_order_acq_rel) == 1)
        {
            delete object;
        }
    }

    mutable std::atomic<unsigned int> m_counter = 0;
};

struct SBoostVirtual
{
    using Pointer = boost::intrusive_ptr<CIntrusiveVirtual>;

    static Pointer make()
    {
        return Pointer(new CIntrusiveVirtual);
    }
};
#endif

struct alignas(128) SPlain
{
    long long value = 1;
};

struct SOrvane
{
    using Pointer = CbSmartPointer<CCounted>;

    static Pointer make()
    {
        return MakeCounted<CCounted>();
    }
};

struct SStd
{
    using Pointer = std::shared_ptr<SPlain>;

    static Pointer make()
    {
        return std::make_shared<SPlain>();
    }
};

// ---- rows

template <class TKind>
typename TKind::Pointer const& shared()
{
    static typename TKind::Pointer const s_shared = TKind::make();
    return s_shared;
}

// Taken, looked through, and released.
template <class TKind>
void copyAndRelease(benchmark::State& state)
{
    typename TKind::Pointer const& source = shared<TKind>();
    for (auto _ : state)
    {
        typename TKind::Pointer copy(source);
        benchmark::DoNotOptimize(copy);
        benchmark::DoNotOptimize(copy->value);
    }
}

template <class TKind>
void move(benchmark::State& state)
{
    typename TKind::Pointer here = shared<TKind>();
    typename TKind::Pointer there;
    for (auto _ : state)
    {
        there = std::move(here);
        benchmark::DoNotOptimize(there);
        here = std::move(there);
        benchmark::DoNotOptimize(here);
    }
}

template <class TKind>
void makeAndDispose(benchmark::State& state)
{
    for (auto _ : state)
    {
        typename TKind::Pointer made = TKind::make();
        benchmark::DoNotOptimize(made);
    }
}

template <class TKind>
void registerKind(std::string const& library)
{
    benchmark::RegisterBenchmark(("copy and release/" + library).c_str(), copyAndRelease<TKind>);
    benchmark::RegisterBenchmark(("copy and release/" + library).c_str(), copyAndRelease<TKind>)
        ->Threads(2)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("move to and fro/" + library).c_str(), move<TKind>);
    benchmark::RegisterBenchmark(("make and dispose/" + library).c_str(), makeAndDispose<TKind>);
}
} // namespace

void registerRows()
{
    registerKind<SOrvane>("orvane");
#ifdef ORVANE_BENCH_BOOST
    registerKind<SBoost>("boost");
    registerKind<SBoostVirtual>("boost, virtual counter");
#endif
    registerKind<SStd>("std");
}
