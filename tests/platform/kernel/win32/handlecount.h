// The handles that this process holds.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_WIN32_HANDLECOUNT_H
#define ORVANE_TESTS_PLATFORM_KERNEL_WIN32_HANDLECOUNT_H

#include <cstdint>

#include "platform/platform.h"

namespace kerneltest
{
/// Asks for each value that a handle may have, multiples of four: the tests hold far fewer than these. GetProcessHandleCount
/// always gives 0 under Wine, and a query of the system's table of all handles ends Wine's server when a process that is
/// just starting or ending holds none.
inline unsigned int getHandleCount()
{
    constexpr std::uintptr_t c_Values = 4'096;
    unsigned int count = 0;
    for (std::uintptr_t n = 1; n <= c_Values; ++n)
    {
        DWORD flags = 0;
        count += GetHandleInformation(reinterpret_cast<HANDLE>(n * 4), &flags) ? 1u : 0u;
    }
    return count;
}
} // namespace kerneltest

#endif // ORVANE_TESTS_PLATFORM_KERNEL_WIN32_HANDLECOUNT_H
