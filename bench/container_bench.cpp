// The pooled containers beside the heap, Boost and the standard library: nodes, and maps of 32-bit keys.

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "orvane/container/cblistbaseintermediate.h"
#include "orvane/container/cbmap.h"
#include "orvane/container/cbplexmanager.h"
#include "support/benchmain.h"

#ifdef ORVANE_BENCH_BOOST
#include <boost/pool/pool.hpp>
#include <boost/unordered_map.hpp>
#endif

namespace
{
// As large as a node of the thread pool's queues.
struct SNode
{
    void* next;
    void* previous;
    void* value;
};

// ---- nodes: each takes and gives back memory for one

class COrvaneNodes
{
public:
    void* Take()
    {
        return m_pool.getFreeElement();
    }

    void GiveBack(void* node)
    {
        m_pool.putFreeElement(static_cast<SNode*>(node));
    }

private:
    CbPlexManager<SNode> m_pool{100};
};

class CHeapNodes
{
public:
    void* Take()
    {
        return std::malloc(sizeof(SNode));
    }

    void GiveBack(void* node)
    {
        std::free(node);
    }
};

#ifdef ORVANE_BENCH_BOOST
class CBoostNodes
{
public:
    void* Take()
    {
        return m_pool.malloc();
    }

    void GiveBack(void* node)
    {
        m_pool.free(node);
    }

private:
    boost::pool<> m_pool{sizeof(SNode), 100};
};
#endif

template <class TNodes>
void takeAndGiveBack(benchmark::State& state)
{
    TNodes nodes;
    for (auto _ : state)
    {
        void* const node = nodes.Take();
        benchmark::DoNotOptimize(node);
        nodes.GiveBack(node);
    }
}

// All are taken before the first is given back, in the order in which they were taken.
template <class TNodes>
void takeManyAndGiveBack(benchmark::State& state, std::size_t count)
{
    TNodes nodes;
    std::vector<void*> taken(count);
    for (auto _ : state)
    {
        for (void*& node : taken)
        {
            node = nodes.Take();
        }
        benchmark::DoNotOptimize(taken.data());
        for (void* const node : taken)
        {
            nodes.GiveBack(node);
        }
    }
}

// ---- queues: one element in, one out, with a number of them waiting

template <int N>
class COrvaneQueue
{
public:
    void Put(void* value)
    {
        m_list.AddTail(value);
    }

    void* Take()
    {
        return m_list.TakeHead();
    }

private:
    CbListBaseIntermediate<void*, N> m_list{100u};
};

template <class TContainer>
class CStdQueue
{
public:
    void Put(void* value)
    {
        m_container.push_back(value);
    }

    void* Take()
    {
        void* const value = m_container.front();
        m_container.pop_front();
        return value;
    }

private:
    TContainer m_container;
};

template <class TQueue>
void passThroughQueue(benchmark::State& state)
{
    TQueue queue;
    for (int waiting = 0; waiting < 100; ++waiting)
    {
        queue.Put(&queue);
    }
    for (auto _ : state)
    {
        queue.Put(queue.Take());
        benchmark::ClobberMemory();
    }
}

// ---- maps: key and value of 32 bits

class COrvaneMap
{
public:
    explicit COrvaneMap(std::size_t size) : m_map(static_cast<unsigned int>(size))
    {
    }

    unsigned int* Find(unsigned int key)
    {
        return m_map.Find(key);
    }

    void Insert(unsigned int key, unsigned int value)
    {
        m_map.Insert(key, std::move(value));
    }

    void Remove(unsigned int key)
    {
        m_map.Remove(key);
    }

    template <class F>
    void ForEach(F const& function)
    {
        for (auto position = m_map.GetStart(); position != nullptr; position = m_map.GetNext(position))
        {
            function(m_map.GetValue(position));
        }
    }

private:
    CbMap<unsigned int, unsigned int> m_map;
};

template <class TMap>
class CUnorderedMap
{
public:
    explicit CUnorderedMap(std::size_t size) : m_map(size)
    {
    }

    unsigned int* Find(unsigned int key)
    {
        auto const found = m_map.find(key);
        return found != m_map.end() ? &found->second : nullptr;
    }

    void Insert(unsigned int key, unsigned int value)
    {
        m_map[key] = value;
    }

    void Remove(unsigned int key)
    {
        m_map.erase(key);
    }

    template <class F>
    void ForEach(F const& function)
    {
        for (auto& entry : m_map)
        {
            function(entry.second);
        }
    }

private:
    TMap m_map;
};

// Different keys as thread ids are: small numbers, multiples of four.
std::vector<unsigned int> threadIds(std::size_t count)
{
    std::vector<unsigned int> keys(count);
    for (std::size_t n = 0; n < count; ++n)
    {
        keys[n] = static_cast<unsigned int>(1000 + 4 * n);
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
    return keys;
}

// Multiples of one odd number, which are all different: a hash that is the key itself spreads them evenly.
std::vector<unsigned int> spreadKeys(std::size_t count)
{
    std::vector<unsigned int> keys(count);
    for (std::size_t n = 0; n < count; ++n)
    {
        keys[n] = static_cast<unsigned int>(n) * 2654435761u;
    }
    std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
    return keys;
}

// Different keys without any order, which favour no hash.
std::vector<unsigned int> randomKeys(std::size_t count)
{
    std::mt19937 random(3);
    std::vector<unsigned int> keys;
    while (keys.size() < count)
    {
        while (keys.size() < count)
        {
            keys.push_back(static_cast<unsigned int>(random()));
        }
        std::sort(keys.begin(), keys.end());
        keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    }
    std::shuffle(keys.begin(), keys.end(), random);
    return keys;
}

template <class TMap>
std::unique_ptr<TMap> makeMap(std::vector<unsigned int> const& keys, std::size_t count)
{
    auto map = std::make_unique<TMap>(std::size_t{128});
    for (std::size_t n = 0; n < count; ++n)
    {
        map->Insert(keys[n], keys[n]);
    }
    return map;
}

template <class TMap>
void find(benchmark::State& state, std::vector<unsigned int> const& keys)
{
    auto const map = makeMap<TMap>(keys, keys.size());
    std::vector<unsigned int> asked = keys;
    std::shuffle(asked.begin(), asked.end(), std::mt19937(2));
    std::size_t next = 0;
    for (auto _ : state)
    {
        unsigned int* const value = map->Find(asked[next]);
        benchmark::DoNotOptimize(value);
        next = next + 1 != asked.size() ? next + 1 : 0;
    }
}

template <class TMap>
void findUnknown(benchmark::State& state, std::vector<unsigned int> const& keys)
{
    auto const map = makeMap<TMap>(keys, keys.size() / 2);
    std::size_t next = keys.size() / 2;
    for (auto _ : state)
    {
        unsigned int* const value = map->Find(keys[next]);
        benchmark::DoNotOptimize(value);
        next = next + 1 != keys.size() ? next + 1 : keys.size() / 2;
    }
}

// As many entries as before after each round: the key that came first goes, and one that is not there comes.
template <class TMap>
void removeAndInsert(benchmark::State& state, std::vector<unsigned int> const& keys)
{
    std::size_t const count = keys.size() / 2;
    auto const map = makeMap<TMap>(keys, count);
    std::size_t oldest = 0;
    std::size_t fresh = count;
    for (auto _ : state)
    {
        map->Remove(keys[oldest]);
        map->Insert(keys[fresh], 1);
        benchmark::ClobberMemory();
        oldest = oldest + 1 != keys.size() ? oldest + 1 : 0;
        fresh = fresh + 1 != keys.size() ? fresh + 1 : 0;
    }
}

template <class TMap>
void walk(benchmark::State& state, std::vector<unsigned int> const& keys)
{
    auto const map = makeMap<TMap>(keys, keys.size());
    for (auto _ : state)
    {
        unsigned int sum = 0;
        map->ForEach([&](unsigned int value) { sum += value; });
        benchmark::DoNotOptimize(sum);
    }
}

// ---- rows

template <class TNodes>
void registerNodes(std::string const& library)
{
    benchmark::RegisterBenchmark(("node, one/" + library).c_str(), takeAndGiveBack<TNodes>);
    for (std::size_t const count : {std::size_t{100}, std::size_t{10'000}})
    {
        std::string const name = "nodes, " + std::to_string(count) + " and back/" + library;
        benchmark::RegisterBenchmark(name.c_str(), takeManyAndGiveBack<TNodes>, count);
    }
}

template <class TMap>
void registerMap(std::string const& library, std::string const& name, std::vector<unsigned int> const& keys)
{
    auto const row = [&](char const* what) { return what + (", " + name + '/' + library); };
    using Function = void (*)(benchmark::State&, std::vector<unsigned int> const&);
    benchmark::RegisterBenchmark(row("find").c_str(), static_cast<Function>(find<TMap>), keys);
    benchmark::RegisterBenchmark(row("find unknown").c_str(), static_cast<Function>(findUnknown<TMap>), keys);
    benchmark::RegisterBenchmark(row("remove and insert").c_str(), static_cast<Function>(removeAndInsert<TMap>), keys);
    benchmark::RegisterBenchmark(row("walk").c_str(), static_cast<Function>(walk<TMap>), keys);
}

template <class TMap>
void registerMaps(std::string const& library)
{
    registerMap<TMap>(library, "16 thread ids", threadIds(16));
    registerMap<TMap>(library, "128 thread ids", threadIds(128));
    registerMap<TMap>(library, "4096 keys", spreadKeys(4096));
    registerMap<TMap>(library, "65536 keys", spreadKeys(65'536));
    registerMap<TMap>(library, "4096 random keys", randomKeys(4096));
    registerMap<TMap>(library, "65536 random keys", randomKeys(65'536));
}
} // namespace

void registerRows()
{
    registerNodes<COrvaneNodes>("orvane");
    registerNodes<CHeapNodes>("malloc");
#ifdef ORVANE_BENCH_BOOST
    registerNodes<CBoostNodes>("boost");
#endif
    benchmark::RegisterBenchmark("queue/orvane", passThroughQueue<COrvaneQueue<17>>);
    benchmark::RegisterBenchmark("queue/orvane, singly linked", passThroughQueue<COrvaneQueue<9>>);
    benchmark::RegisterBenchmark("queue/std::list", passThroughQueue<CStdQueue<std::list<void*>>>);
    benchmark::RegisterBenchmark("queue/std::deque", passThroughQueue<CStdQueue<std::deque<void*>>>);
    registerMaps<COrvaneMap>("orvane");
#ifdef ORVANE_BENCH_BOOST
    registerMaps<CUnorderedMap<boost::unordered_map<unsigned int, unsigned int>>>("boost");
#endif
    registerMaps<CUnorderedMap<std::unordered_map<unsigned int, unsigned int>>>("std");
}
