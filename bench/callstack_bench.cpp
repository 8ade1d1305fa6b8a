// A call stack as text, sixteen frames deep, function and file and line in each.

#include <string>

#include <benchmark/benchmark.h>
#ifdef ORVANE_BENCH_STACKTRACE
#define BOOST_STACKTRACE_USE_BACKTRACE
#include <boost/stacktrace.hpp>
#endif

#include "orvane/debugging/callstack.h"
#include "support/benchmain.h"

namespace
{
constexpr int c_Depth = 16;

int volatile s_calls = 0;

using FnTake = std::size_t (*)();

std::size_t takeOwn()
{
    CStringW text;
    Debugging::GetCallStack(text, 0);
    return static_cast<std::size_t>(text.GetLength());
}

#ifdef ORVANE_BENCH_STACKTRACE
std::size_t takeBoost()
{
    return boost::stacktrace::to_string(boost::stacktrace::stacktrace()).size();
}
#endif

// Different functions: the walk takes one that calls itself for a stack without an end.
template <int Depth>
[[gnu::noinline]] std::size_t descend(FnTake take)
{
    std::size_t size = 0;
    if constexpr (Depth == 0)
    {
        size = take();
    }
    else
    {
        size = descend<Depth - 1>(take);
    }
    s_calls = s_calls + 1;
    return size;
}

void addRow(char const* name, FnTake take)
{
    benchmark::RegisterBenchmark(name,
                                 [take](benchmark::State& state)
                                 {
                                     descend<c_Depth>(take);
                                     for (auto each : state)
                                     {
                                         static_cast<void>(each);
                                         benchmark::DoNotOptimize(descend<c_Depth>(take));
                                     }
                                 });
}
} // namespace

void registerRows()
{
    addRow("stack of 16 frames and the program's/orvane", takeOwn);
#ifdef ORVANE_BENCH_STACKTRACE
    addRow("stack of 16 frames and the program's/boost::stacktrace", takeBoost);
#endif
}
