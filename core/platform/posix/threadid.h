// The calling thread's id without a call.

#ifndef ORVANE_PLATFORM_POSIX_THREADID_H
#define ORVANE_PLATFORM_POSIX_THREADID_H

#include "platform/platform.h"

namespace posix
{
// 0: not asked for yet. Initial-exec for the reason given at the last error.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local DWORD t_threadId;

DWORD askThreadId() noexcept;

// GetCurrentThreadId for the layer's own fast paths.
inline DWORD currentThreadId() noexcept
{
    const DWORD id = t_threadId;
    return id != 0 ? id : askThreadId();
}
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_THREADID_H
