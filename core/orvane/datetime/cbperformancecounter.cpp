#include "orvane/datetime/cbperformancecounter.h"

namespace
{
constexpr __int64 c_MillisecondsPerSecond = 1'000;

unsigned __int64 readCounter()
{
    LARGE_INTEGER count;
    ::QueryPerformanceCounter(&count);
    return static_cast<unsigned __int64>(count.QuadPart);
}

unsigned __int64 readMilliseconds()
{
    return GetTickCount64();
}
} // namespace

template class CbSingleton<CbPerformanceCounter>;

CbPerformanceCounter::CbPerformanceCounter() : m_count(&readMilliseconds), m_frequency(c_MillisecondsPerSecond)
{
    LARGE_INTEGER frequency;
    if (::QueryPerformanceFrequency(&frequency))
    {
        m_count = &readCounter;
        m_frequency = frequency.QuadPart;
    }
}
