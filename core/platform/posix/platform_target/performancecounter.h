// Counts of time that only rise.

#ifndef ORVANE_PLATFORM_POSIX_PERFORMANCECOUNTER_H
#define ORVANE_PLATFORM_POSIX_PERFORMANCECOUNTER_H

#include <ctime>

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

namespace PlatformDetail
{
// As on Windows. A finer one would leave a stopwatch in nanoseconds less time before its arithmetic wraps.
constexpr LONGLONG c_CountsPerSecond = 10'000'000;
constexpr unsigned int c_NanosecondsPerCount = 1'000'000'000 / c_CountsPerSecond;

// FALSE with the last error of a null pointer.
ORVANE_PLATFORM_API BOOL refuseNoCount() noexcept;
} // namespace PlatformDetail

/// Tenths of microseconds by the system's steady clock; they rest while the machine sleeps.
/// Reports: FALSE with the last error 998 for a null pointer. Success leaves the last error alone.
/// Cost: that of the clock alone; it is inline for who reads it in every measurement.
inline BOOL QueryPerformanceCounter(LARGE_INTEGER* count) noexcept
{
    if (count == nullptr)
    {
        return PlatformDetail::refuseNoCount();
    }
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    // Nanoseconds are fewer than 2^32, which is divided faster than the signed 64 bits that they come in.
    count->QuadPart = time.tv_sec * PlatformDetail::c_CountsPerSecond +
                      static_cast<unsigned int>(time.tv_nsec) / PlatformDetail::c_NanosecondsPerCount;
    return TRUE;
}

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
