// Stretches of code in which the calling thread must not be stopped by another one.

#ifndef ORVANE_PLATFORM_POSIX_NOSUSPEND_H
#define ORVANE_PLATFORM_POSIX_NOSUSPEND_H

#include <atomic>

namespace posix
{
/// What the handler of a stop request sees of its thread. Written by the thread itself, read by the handler on it.
struct ThreadRecord;

struct StopState
{
    std::atomic<unsigned int> depth{0};            // stretches that the thread is in
    std::atomic<ThreadRecord*> requested{nullptr}; // a request came meanwhile and is due at the end of the outermost
};

StopState& stopState() noexcept;

/// Carries out a request that came while `depth` was above 0.
void carryOutStop() noexcept;

/// A thread that holds one of the layer's locks is not stopped before it has let go of it: the thread that stops it may
/// need the lock next.
class NoSuspend
{
public:
    NoSuspend() noexcept : m_state(stopState())
    {
        m_state.depth.store(m_state.depth.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    NoSuspend(NoSuspend const&) = delete;
    NoSuspend& operator=(NoSuspend const&) = delete;

    ~NoSuspend()
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        unsigned int const depth = m_state.depth.load(std::memory_order_relaxed) - 1;
        m_state.depth.store(depth, std::memory_order_relaxed);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (depth == 0 && m_state.requested.load(std::memory_order_relaxed) != nullptr)
        {
            carryOutStop();
        }
    }

private:
    StopState& m_state;
};
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_NOSUSPEND_H
