#include <atomic>
#include <ctime>

#include "platform/platform.h"

namespace
{
// As on Windows. A finer one would leave a stopwatch in nanoseconds less time before its arithmetic wraps.
constexpr LONGLONG c_CountsPerSecond = 10'000'000;
constexpr LONGLONG c_NanosecondsPerCount = 1'000'000'000 / c_CountsPerSecond;

constinit std::atomic<bool> s_isPresent = true;
} // namespace

BOOL QueryPerformanceCounter(LARGE_INTEGER* count) noexcept
{
    if (count == nullptr)
    {
        SetLastError(ERROR_NOACCESS);
        return FALSE;
    }
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    count->QuadPart = time.tv_sec * c_CountsPerSecond + time.tv_nsec / c_NanosecondsPerCount;
    return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) noexcept
{
    if (frequency == nullptr)
    {
        SetLastError(ERROR_NOACCESS);
        return FALSE;
    }
    if (!s_isPresent)
    {
        frequency->QuadPart = 0;
        SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
        return FALSE;
    }
    frequency->QuadPart = c_CountsPerSecond;
    return TRUE;
}

ULONGLONG GetTickCount64() noexcept
{
    timespec time;
    clock_gettime(CLOCK_BOOTTIME, &time);
    return static_cast<ULONGLONG>(time.tv_sec) * 1'000 + static_cast<ULONGLONG>(time.tv_nsec) / 1'000'000;
}

void PlatformTest::SetPerformanceCounterPresent(bool isPresent) noexcept
{
    s_isPresent = isPresent;
}
