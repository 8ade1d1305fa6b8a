#include <pthread.h>
#include <unistd.h>

#include "platform/platform.h"

namespace
{
// 0: not asked for yet. Initial-exec for the reason given at the last error.
[[gnu::tls_model("initial-exec")]] constinit thread_local DWORD t_threadId = 0;

// Only the thread that forks lives on in the child, under a new id.
void forgetThreadId()
{
    t_threadId = 0;
}

// An id is kept only when forks are heard of; without memory for that, every call asks the kernel.
DWORD askThreadId() noexcept
{
    static const bool s_isForkHeard = pthread_atfork(nullptr, nullptr, forgetThreadId) == 0;
    const DWORD id = static_cast<DWORD>(gettid());
    if (s_isForkHeard)
    {
        t_threadId = id;
    }
    return id;
}
} // namespace

DWORD GetCurrentThreadId() noexcept
{
    const DWORD id = t_threadId;
    return id != 0 ? id : askThreadId();
}
