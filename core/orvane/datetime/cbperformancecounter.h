// The process's count of short times.

#ifndef ORVANE_DATETIME_CBPERFORMANCECOUNTER_H
#define ORVANE_DATETIME_CBPERFORMANCECOUNTER_H

#include "orvane/export.h"
#include "orvane/memory/cbsingleton.h"
#include "platform/platform.h"

class CbPerformanceCounter;

// One object for the library and all its clients.
extern template class ORVANE_API CbSingleton<CbPerformanceCounter>;

/// A count that only rises, and how often it does so in a second. Exists once: CbPerformanceCounter::GetInstance().
///
/// Chosen when it is made: the system's high-resolution counter (10 MHz on Linux), else the milliseconds since the system
/// was started.
/// Threads: any; nothing changes after it is made.
class ORVANE_API CbPerformanceCounter : public CbSingleton<CbPerformanceCounter>
{
public:
    CbPerformanceCounter(CbPerformanceCounter const&) = delete;
    CbPerformanceCounter& operator=(CbPerformanceCounter const&) = delete;

    /// The count now.
    __int64 QueryPerformanceCounter() const
    {
        return static_cast<__int64>(m_count());
    }

    /// Counts per second.
    __int64 QueryPerformanceFrequency() const
    {
        return m_frequency;
    }

private:
    friend class CbSingleton<CbPerformanceCounter>;

    using FnCount = unsigned __int64 (*)();

    CbPerformanceCounter();
    ~CbPerformanceCounter() = default;

    // Clients know the places.
    FnCount m_count;
    __int64 m_frequency;
};

#endif // ORVANE_DATETIME_CBPERFORMANCECOUNTER_H
