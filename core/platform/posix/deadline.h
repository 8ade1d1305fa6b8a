// The end of a wait, by the steady clock.

#ifndef ORVANE_PLATFORM_POSIX_DEADLINE_H
#define ORVANE_PLATFORM_POSIX_DEADLINE_H

#include <ctime>

#include "platform/platform.h"

namespace posix
{
/// INFINITE never ends.
class Deadline
{
public:
    explicit Deadline(DWORD timeoutMs) noexcept : m_isEndless(timeoutMs == INFINITE)
    {
        if (!m_isEndless)
        {
            clock_gettime(CLOCK_MONOTONIC, &m_time);
            m_time.tv_sec += static_cast<time_t>(timeoutMs / 1000);
            m_time.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1'000'000;
            if (m_time.tv_nsec >= 1'000'000'000)
            {
                m_time.tv_nsec -= 1'000'000'000;
                ++m_time.tv_sec;
            }
        }
    }

    /// As the kernel takes it: null for ever.
    timespec const* get() const noexcept
    {
        return m_isEndless ? nullptr : &m_time;
    }

    bool hasPassed() const noexcept
    {
        if (m_isEndless)
        {
            return false;
        }
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return now.tv_sec != m_time.tv_sec ? now.tv_sec > m_time.tv_sec : now.tv_nsec >= m_time.tv_nsec;
    }

    bool isBefore(Deadline const& other) const noexcept
    {
        if (m_isEndless || other.m_isEndless)
        {
            return !m_isEndless;
        }
        return m_time.tv_sec != other.m_time.tv_sec ? m_time.tv_sec < other.m_time.tv_sec
                                                    : m_time.tv_nsec < other.m_time.tv_nsec;
    }

private:
    bool m_isEndless;
    timespec m_time{};
};
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_DEADLINE_H
