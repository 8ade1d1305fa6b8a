#include "orvane/stream/peakmemory.h"

#include <fstream>
#include <stdexcept>
#include <string>

namespace
{
// Address space and not resident memory: a block counts that is taken and never touched, too.
unsigned long long statusBytes(std::string const& field)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
    {
        if (line.starts_with(field))
        {
            return std::stoull(line.substr(field.size())) * 1024;
        }
    }
    throw std::runtime_error("/proc/self/status has no " + field);
}
} // namespace

unsigned long long CurrentMemory()
{
    return statusBytes("VmSize:");
}

unsigned long long PeakMemory()
{
    return statusBytes("VmPeak:");
}
