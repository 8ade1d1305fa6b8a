// The handles that this process holds.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_WIN32_HANDLECOUNT_H
#define ORVANE_TESTS_PLATFORM_KERNEL_WIN32_HANDLECOUNT_H

#include <cstddef>
#include <vector>

#include "platform/platform.h"

namespace kerneltest
{
/// From the system's table of all handles: GetProcessHandleCount always gives 0 under Wine.
inline unsigned int getHandleCount()
{
    struct SEntry
    {
        void* object;
        ULONG_PTR processId;
        ULONG_PTR handle;
        ULONG access;
        USHORT creatorBackTraceIndex;
        USHORT objectTypeIndex;
        ULONG attributes;
        ULONG reserved;
    };

    struct SHead
    {
        ULONG_PTR count;
        ULONG_PTR reserved;
    };

    using Query = LONG (*)(int, void*, ULONG, ULONG*);
    constexpr int c_ExtendedHandles = 64;

    static const Query s_query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<std::byte> table(1 << 20);
    ULONG used = 0;
    while (s_query(c_ExtendedHandles, table.data(), static_cast<ULONG>(table.size()), &used) < 0)
    {
        table.resize(table.size() * 2);
    }
    const auto* const head = reinterpret_cast<SHead const*>(table.data());
    const auto* const entries = reinterpret_cast<SEntry const*>(head + 1);
    unsigned int count = 0;
    for (ULONG_PTR n = 0; n < head->count; ++n)
    {
        count += entries[n].processId == GetCurrentProcessId() ? 1u : 0u;
    }
    return count;
}
} // namespace kerneltest

#endif // ORVANE_TESTS_PLATFORM_KERNEL_WIN32_HANDLECOUNT_H
