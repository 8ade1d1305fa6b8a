#include "orvane/datetime/cbtimer.h"

#include "orvane/datetime/digitgroups.h"

namespace
{
struct SSuffix
{
    CbTimer::EResolution resolution;
    wchar_t const* text;
};

constexpr SSuffix c_Suffixes[] = {
    {CbTimer::eSeconds, L"s"},
    {CbTimer::eMilliseconds, L"ms"},
    {CbTimer::eMicroseconds, L"\u00B5s"},
    {CbTimer::eNanoseconds, L"ns"},
};

wchar_t const* suffixOf(CbTimer::EResolution resolution)
{
    for (SSuffix const& suffix : c_Suffixes)
    {
        if (suffix.resolution == resolution)
        {
            return suffix.text;
        }
    }
    return L"";
}
} // namespace

static_assert(sizeof(CbTimer) == 32);

CbTimer::CbTimer() : CbTimer(eMilliseconds)
{
}

CbTimer::CbTimer(EResolution resolution)
    : m_counter(&CbSingleton<CbPerformanceCounter>::GetInstance()),
      m_resolution(resolution)
{
}

void CbTimer::Start()
{
    if (!m_isRunning)
    {
        m_start = now();
        m_isRunning = true;
    }
}

void CbTimer::Stop()
{
    if (m_isRunning)
    {
        m_accumulated += now() - m_start;
        m_isRunning = false;
    }
}

void CbTimer::Reset()
{
    m_start = now();
    m_accumulated = 0;
}

bool CbTimer::IsRunning() const
{
    return m_isRunning;
}

unsigned __int64 CbTimer::getElapsedTimeByCounter() const
{
    unsigned __int64 const counts = (m_isRunning ? now() - m_start : 0) + m_accumulated;
    return m_resolution * counts / static_cast<unsigned __int64>(m_counter->QueryPerformanceFrequency());
}

void CbTimer::Add(unsigned __int64 amount)
{
    m_start -= countsOf(amount);
}

void CbTimer::Subtract(unsigned __int64 amount)
{
    m_start += countsOf(amount);
}

CbTimer::EResolution CbTimer::GetResolution() const
{
    return m_resolution;
}

void CbTimer::SetResolution(EResolution resolution)
{
    m_resolution = resolution;
}

CStringW CbTimer::GetFormatted() const
{
    return GetFormatted(*this);
}

CStringW CbTimer::GetFormatted(CbTimer const& timer)
{
    return GetFormatted(timer.GetElapsedTime(), timer.m_resolution);
}

CStringW CbTimer::GetFormatted(unsigned __int64 value, EResolution resolution)
{
    return CStringW(detail::groupDigits(value).c_str()) + suffixOf(resolution);
}

unsigned __int64 CbTimer::now() const
{
    return static_cast<unsigned __int64>(m_counter->QueryPerformanceCounter());
}

unsigned __int64 CbTimer::countsOf(unsigned __int64 amount) const
{
    if (m_resolution == 0)
    {
        return 0;
    }
    return static_cast<unsigned __int64>(m_counter->QueryPerformanceFrequency()) * amount / m_resolution;
}
