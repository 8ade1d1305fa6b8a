// The stopwatch.

#ifndef ORVANE_DATETIME_CBTIMER_H
#define ORVANE_DATETIME_CBTIMER_H

#include "mfc/cstringt.h"
#include "orvane/datetime/cbperformancecounter.h"
#include "orvane/export.h"

/// Adds up the time between its starts and stops and tells it in a unit of its own.
///
/// A reading is unit × counts / frequency in unsigned 64-bit arithmetic, multiplied first: it is rounded down, and wraps
/// where the product passes 64 bits, which with nanoseconds and a counter of 10 MHz it does after 1,844 seconds. Nothing
/// guards this.
/// Threads: one timer belongs to one thread at a time. A copy is a timer of its own that goes on from the same state.
class ORVANE_API CbTimer
{
public:
    /// The unit, as its number in a second. Any other number is taken too; 0 reads 0 and moves by nothing.
    enum EResolution : unsigned int
    {
        eSeconds = 1,
        eMilliseconds = 1'000,
        eMicroseconds = 1'000'000,
        eNanoseconds = 1'000'000'000
    };

    /// Milliseconds.
    CbTimer();

    /// Stopped, at 0. The first timer of the process makes the counter, under the singleton lock.
    explicit CbTimer(EResolution resolution);

    /// Nothing where it runs already.
    void Start();

    /// Keeps what has run so far; the next start adds to it. Nothing where it does not run.
    void Stop();

    /// Back to 0: a running timer runs on from there, a stopped one stays stopped.
    void Reset();

    bool IsRunning() const;

    /// The time of all finished periods and, while it runs, of this one, in the timer's unit.
    /// Cost: one reading of the counter while it runs; no allocation.
    unsigned __int64 GetElapsedTime() const;

    /// Puts the reading forward by `amount` of the unit, rounded down to whole counts. A running timer only: on a stopped
    /// one it is lost, since the next start sets the beginning of the period anew.
    void Add(unsigned __int64 amount);

    /// Puts it back, with the same limits; more than this period has run wraps.
    void Subtract(unsigned __int64 amount);

    EResolution GetResolution() const;

    /// Another unit for all that is asked from now on; the time that has run stays what it is.
    void SetResolution(EResolution resolution);

    /// The reading with its unit: 1'234'567ms.
    CStringW GetFormatted() const;
    static CStringW GetFormatted(CbTimer const& timer);

    /// `value` in groups of three digits with apostrophes between, followed without a blank by s, ms, µs (U+00B5) or ns;
    /// by nothing where the resolution is none of these four.
    static CStringW GetFormatted(unsigned __int64 value, EResolution resolution);

private:
    // Of nearly every system's high-resolution counter.
    static constexpr unsigned __int64 c_UsualFrequency = 10'000'000;

    static unsigned __int64 unitsOf(EResolution resolution, unsigned __int64 counts);

    // For any frequency.
    unsigned __int64 getElapsedTimeByCounter() const;

    unsigned __int64 now() const;
    unsigned __int64 countsOf(unsigned __int64 amount) const;

    // Clients know the places.
    CbPerformanceCounter const* m_counter;
    EResolution m_resolution;
    bool m_isRunning = false;
    unsigned __int64 m_start = 0;
    unsigned __int64 m_accumulated = 0;
};

// `resolution` × `counts` / c_UsualFrequency, multiplied first.
inline unsigned __int64 CbTimer::unitsOf(EResolution resolution, unsigned __int64 counts)
{
    // The next reading of the clock waits for the result of this one, so the way to it is as short as it can be. With
    // counts of 32 bits, which take seven minutes, no product of a usual unit wraps: the unit can be taken out of both
    // sides, and 32 bits are divided by a constant faster than 64.
    if (counts <= 0xFFFFFFFF)
    {
        auto const few = static_cast<unsigned int>(counts);
        switch (resolution)
        {
        case eSeconds:
            return few / static_cast<unsigned int>(c_UsualFrequency);
        case eMilliseconds:
            return few / static_cast<unsigned int>(c_UsualFrequency / eMilliseconds);
        case eMicroseconds:
            return few / static_cast<unsigned int>(c_UsualFrequency / eMicroseconds);
        case eNanoseconds:
            return counts * (eNanoseconds / c_UsualFrequency);
        }
    }
    return resolution * counts / c_UsualFrequency;
}

// Inline, so that measuring costs little but the reading of the clock.
inline unsigned __int64 CbTimer::GetElapsedTime() const
{
    if (m_counter->QueryPerformanceFrequency() != static_cast<__int64>(c_UsualFrequency)) [[unlikely]]
    {
        return getElapsedTimeByCounter();
    }
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

#endif // ORVANE_DATETIME_CBTIMER_H
