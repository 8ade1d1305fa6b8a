#include "orvane/stream/peakmemory.h"

#include <stdexcept>

#include "platform/platform.h"

#include <psapi.h>

namespace
{
PROCESS_MEMORY_COUNTERS counters()
{
    PROCESS_MEMORY_COUNTERS values{};
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &values, sizeof values))
    {
        throw std::runtime_error("GetProcessMemoryInfo fails");
    }
    return values;
}
} // namespace

// The working set: the peak of committed memory is not kept by every system that runs these tests.
unsigned long long CurrentMemory()
{
    return counters().WorkingSetSize;
}

unsigned long long PeakMemory()
{
    return counters().PeakWorkingSetSize;
}
