#include "support/benchmain.h"

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "support/rowreporter.h"

namespace
{
// A thread that waits until it is destroyed. The C library leaves out locked instructions in a process of one thread;
// the programs that are measured for have more.
class CSecondThread
{
private:
    std::jthread m_thread{[](std::stop_token stop)
                          {
                              std::mutex lock;
                              std::condition_variable_any never;
                              std::unique_lock guard(lock);
                              never.wait(guard, stop, [] { return false; });
                          }};
};

// Large blocks come from the heap and stay with it. Otherwise the C library hands them back to the system or not by what
// ran before, and a row's time is that of taking the pages in again.
void keepMemory()
{
    constexpr int c_LargestHeapBlock = 32 * 1024 * 1024; // more is not taken
    constexpr int c_Kept = 1024 * 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, c_LargestHeapBlock);
    mallopt(M_TRIM_THRESHOLD, c_Kept);
}
} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return 1;
    }
    keepMemory();
    CSecondThread const second;
    registerRows();
    CRowReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return reporter.HasFailed() ? 1 : 0;
}
