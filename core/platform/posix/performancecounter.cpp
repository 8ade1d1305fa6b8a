#include <atomic>
#include <ctime>

#include "platform/platform.h"

namespace
{
constinit std::atomic<bool> s_isPresent = true;
} // namespace

BOOL PlatformDetail::refuseNoCount() noexcept
{
    SetLastError(ERROR_NOACCESS);
    return FALSE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) noexcept
{
    if (frequency == nullptr)
    {
        return PlatformDetail::refuseNoCount();
    }
    if (!s_isPresent)
    {
        frequency->QuadPart = 0;
        SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
        return FALSE;
    }
    frequency->QuadPart = PlatformDetail::c_CountsPerSecond;
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
