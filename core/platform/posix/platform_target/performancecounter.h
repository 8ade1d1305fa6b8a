// Counts of time that only rise.

#ifndef ORVANE_PLATFORM_POSIX_PERFORMANCECOUNTER_H
#define ORVANE_PLATFORM_POSIX_PERFORMANCECOUNTER_H

#include "platform/export.h"
#include "platform_target/types.h"

union LARGE_INTEGER
{
    struct
    {
        DWORD LowPart;
        LONG HighPart;
    } u;

    LONGLONG QuadPart;
};

static_assert(sizeof(LARGE_INTEGER) == 8);

/// Tenths of microseconds by the system's steady clock; they rest while the machine sleeps.
/// Reports: FALSE with the last error 998 for a null pointer. Success leaves the last error alone.
ORVANE_PLATFORM_API BOOL QueryPerformanceCounter(LARGE_INTEGER* count) noexcept;

/// The counts in a second: 10,000,000, always. Reports as QueryPerformanceCounter.
ORVANE_PLATFORM_API BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) noexcept;

/// Milliseconds since the system was started, those that it slept included.
ORVANE_PLATFORM_API ULONGLONG GetTickCount64() noexcept;

namespace PlatformTest
{
/// Whether there is a performance counter, as at the beginning. Without one QueryPerformanceFrequency fails with the last
/// error 120 and gives 0, as on hardware that has none.
ORVANE_PLATFORM_API void SetPerformanceCounterPresent(bool isPresent) noexcept;
} // namespace PlatformTest

#endif // ORVANE_PLATFORM_POSIX_PERFORMANCECOUNTER_H
