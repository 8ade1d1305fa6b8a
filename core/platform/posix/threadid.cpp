#include "threadid.h"

#include <pthread.h>
#include <unistd.h>

namespace posix
{
constinit thread_local DWORD t_threadId = 0;

namespace
{
// Only the thread that forks lives on in the child, under a new id.
void forgetThreadId()
{
    t_threadId = 0;
}
} // namespace

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
} // namespace posix

DWORD GetCurrentThreadId() noexcept
{
    return posix::currentThreadId();
}
