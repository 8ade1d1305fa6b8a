// The kernel's wait on a word, and the small mutex made of it.

#ifndef ORVANE_PLATFORM_POSIX_FUTEX_H
#define ORVANE_PLATFORM_POSIX_FUTEX_H

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace posix
{
/// Sleeps while `*word` holds `expected`, until it is woken or the steady clock reaches `deadline` (null: for ever).
/// False once the deadline has passed; true otherwise, for any reason or none.
inline bool futexWait(std::uint32_t const* word, std::uint32_t expected, timespec const* deadline) noexcept
{
    long const result = syscall(SYS_futex, word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected, deadline, nullptr,
                                FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

/// Wakes up to `count` sleepers. The word may be gone already: then nobody sleeps on it.
inline void futexWake(std::uint32_t const* word, int count) noexcept
{
    syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, count, nullptr, nullptr, 0);
}

inline std::uint32_t const* addressOf(std::atomic<std::uint32_t> const& word) noexcept
{
    return reinterpret_cast<std::uint32_t const*>(&word);
}

inline void spinPause() noexcept
{
    __builtin_ia32_pause();
}

/// A mutex of four bytes that works in any static order.
class FutexMutex
{
public:
    void lock() noexcept
    {
        std::uint32_t state = c_Free;
        if (!m_state.compare_exchange_strong(state, c_Held, std::memory_order_acquire, std::memory_order_relaxed))
        {
            lockSlow();
        }
    }

    void unlock() noexcept
    {
        if (m_state.exchange(c_Free, std::memory_order_release) == c_Contended)
        {
            futexWake(addressOf(m_state), 1);
        }
    }

private:
    static constexpr std::uint32_t c_Free = 0;
    static constexpr std::uint32_t c_Held = 1;
    static constexpr std::uint32_t c_Contended = 2;
    static constexpr int c_Spins = 40;

    void lockSlow() noexcept
    {
        for (int i = 0; i < c_Spins; ++i)
        {
            std::uint32_t state = c_Free;
            if (m_state.load(std::memory_order_relaxed) == c_Free &&
                m_state.compare_exchange_weak(state, c_Held, std::memory_order_acquire, std::memory_order_relaxed))
            {
                return;
            }
            spinPause();
        }
        while (m_state.exchange(c_Contended, std::memory_order_acquire) != c_Free)
        {
            futexWait(addressOf(m_state), c_Contended, nullptr);
        }
    }

    std::atomic<std::uint32_t> m_state{c_Free};
};
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_FUTEX_H
