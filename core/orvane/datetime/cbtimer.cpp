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

// Of nearly every system's high-resolution counter.
constexpr unsigned __int64 c_UsualFrequency = 10'000'000;

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

// `resolution` × `counts` / c_UsualFrequency, multiplied first.
unsigned __int64 unitsOf(CbTimer::EResolution resolution, unsigned __int64 counts)
{
    // The next reading of the clock waits for the result of this one, so the way to it is as short as it can be. With
    // counts of 32 bits, which take seven minutes, no product of a usual unit wraps: the unit can be taken out of both
    // sides, and 32 bits are divided by a constant faster than 64.
    if (counts <= 0xFFFFFFFF)
    {
        auto const few = static_cast<unsigned int>(counts);
        switch (resolution)
        {
        case CbTimer::eSeconds:
            return few / static_cast<unsigned int>(c_UsualFrequency);
        case CbTimer::eMilliseconds:
            return few / static_cast<unsigned int>(c_UsualFrequency / CbTimer::eMilliseconds);
        case CbTimer::eMicroseconds:
            return few / static_cast<unsigned int>(c_UsualFrequency / CbTimer::eMicroseconds);
        case CbTimer::eNanoseconds:
            return counts * (CbTimer::eNanoseconds / c_UsualFrequency);
        }
    }
    return resolution * counts / c_UsualFrequency;
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

unsigned __int64 CbTimer::GetElapsedTime() const
{
    if (m_counter->QueryPerformanceFrequency() == static_cast<__int64>(c_UsualFrequency)) [[likely]]
    {
        // What the counter would call: its other choice has another frequency.
        unsigned __int64 counts = m_accumulated;
        if (m_isRunning)
        {
            // What is known is added up before the clock is read.
            counts -= m_start;
            LARGE_INTEGER count;
            ::QueryPerformanceCounter(&count);
            counts += static_cast<unsigned __int64>(count.QuadPart);
        }
        return unitsOf(m_resolution, counts);
    }
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
