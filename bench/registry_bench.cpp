// Finding a class by its name among 10,000.

#include <algorithm>
#include <memory>
#include <mutex>
#include <random>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "support/benchmain.h"
#include "typeregistry/cbrtti.h"

class IObject
{
public:
    virtual ~IObject() = default;
};

namespace
{
constexpr std::size_t c_Classes = 10'000;

std::unique_ptr<IObject> create()
{
    return std::make_unique<IObject>();
}

// Looks up text without making a string of it.
struct STextHash
{
    using is_transparent = void;

    std::size_t operator()(std::wstring_view text) const
    {
        return std::hash<std::wstring_view>()(text);
    }
};

struct STextEqual
{
    using is_transparent = void;

    bool operator()(std::wstring_view left, std::wstring_view right) const
    {
        return left == right;
    }
};

// The classes, registered, and the same records in the maps that one would write instead.
struct SClasses
{
    SClasses()
    {
        for (std::size_t n = 0; n < c_Classes; ++n)
        {
            std::wstring const name = L"CbClientObject" + std::to_wstring(n * 7919 % 1'000'003);
            records.push_back(std::make_unique<CbRTTI>(name.c_str(), &create, nullptr));
            map.emplace(name, records.back().get());
            viewMap.emplace(name, records.back().get());
            names.push_back(name);
        }
        std::shuffle(names.begin(), names.end(), std::mt19937(1));
    }

    std::vector<std::unique_ptr<CbRTTI>> records;
    std::vector<std::wstring> names; // in the order in which they are asked for
    std::shared_mutex lock;
    std::unordered_map<std::wstring, CbRTTI const*> map;
    std::unordered_map<std::wstring, CbRTTI const*, STextHash, STextEqual> viewMap;
};

SClasses& classes()
{
    static SClasses s_classes;
    return s_classes;
}

CbRTTI const* findInRegistry(wchar_t const* name)
{
    return CbRTTI::Find(name);
}

CbRTTI const* findInMap(wchar_t const* name)
{
    std::shared_lock const guard(classes().lock);
    auto const found = classes().map.find(name);
    return found != classes().map.end() ? found->second : nullptr;
}

CbRTTI const* findInViewMap(wchar_t const* name)
{
    std::shared_lock const guard(classes().lock);
    auto const found = classes().viewMap.find(std::wstring_view(name));
    return found != classes().viewMap.end() ? found->second : nullptr;
}

template <class TResult>
void addRow(char const* row, std::vector<std::wstring> const& names, TResult (*find)(wchar_t const*), int threads,
            bool isFound = true)
{
    auto* const registered =
        benchmark::RegisterBenchmark(row,
                                     [&names, find, isFound](benchmark::State& state)
                                     {
                                         // Threads start at different names, so that they do not follow each other through the cache.
                                         std::size_t n =
                                             names.size() / 2 * static_cast<std::size_t>(state.thread_index());
                                         bool isRight = true;
                                         for (auto each : state)
                                         {
                                             static_cast<void>(each);
                                             n = n + 1 < names.size() ? n + 1 : 0;
                                             isRight = isRight && (find(names[n].c_str()) != nullptr) == isFound;
                                         }
                                         if (!isRight)
                                         {
                                             state.SkipWithError("a look-up gave the wrong answer");
                                         }
                                     });
    registered->Threads(threads)->UseRealTime();
}
} // namespace

void registerRows()
{
    static std::vector<std::wstring> const s_one = {classes().names.front()};
    static std::vector<std::wstring> s_unknown;
    for (std::wstring const& name : classes().names)
    {
        s_unknown.push_back(name + L"X");
    }
    for (int const threads : {1, 2})
    {
        addRow("find, any of 10,000/orvane", classes().names, &findInRegistry, threads);
        addRow("find, any of 10,000/map of strings", classes().names, &findInMap, threads);
        addRow("find, any of 10,000/map of views", classes().names, &findInViewMap, threads);
        addRow("find, the same of 10,000/orvane", s_one, &findInRegistry, threads);
        addRow("find, the same of 10,000/map of strings", s_one, &findInMap, threads);
        addRow("find, the same of 10,000/map of views", s_one, &findInViewMap, threads);
    }
    addRow("create function, any of 10,000/orvane", classes().names, &CbRTTI::getCreate, 1);
    addRow("find, unknown among 10,000/orvane", s_unknown, &findInRegistry, 1, false);
    addRow("find, unknown among 10,000/map of strings", s_unknown, &findInMap, 1, false);
    addRow("find, unknown among 10,000/map of views", s_unknown, &findInViewMap, 1, false);
}
