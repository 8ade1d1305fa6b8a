// A stopwatch that runs, beside the bare reading of a clock.

#include <chrono>
#include <ctime>

#include <benchmark/benchmark.h>

#include "orvane/datetime/cbtimer.h"
#include "platform/platform.h"
#include "support/benchmain.h"

namespace
{
void readTimer(benchmark::State& state)
{
    CbTimer timer(CbTimer::eMicroseconds);
    timer.Start();
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(timer.GetElapsedTime());
    }
}

void readCounter(benchmark::State& state)
{
    for (auto _ : state)
    {
        LARGE_INTEGER count;
        QueryPerformanceCounter(&count);
        benchmark::DoNotOptimize(count);
    }
}

void readClock(benchmark::State& state)
{
    for (auto _ : state)
    {
        timespec time;
        clock_gettime(CLOCK_MONOTONIC, &time);
        benchmark::DoNotOptimize(time);
    }
}

// The same reading made of the standard library.
void readSteadyClock(benchmark::State& state)
{
    using namespace std::chrono;
    auto const start = steady_clock::now();
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(duration_cast<microseconds>(steady_clock::now() - start).count());
    }
}
} // namespace

void registerRows()
{
    benchmark::RegisterBenchmark("reading/orvane", readTimer);
    benchmark::RegisterBenchmark("reading/platform layer", readCounter);
    benchmark::RegisterBenchmark("reading/clock_gettime", readClock);
    benchmark::RegisterBenchmark("reading/std", readSteadyClock);
}
