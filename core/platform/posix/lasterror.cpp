#include "platform/platform.h"

namespace
{
// Initial-exec: read on every failure path and by wrappers around every call. The C library keeps room for so few bytes
// also when the library is loaded late.
[[gnu::tls_model("initial-exec")]] constinit thread_local DWORD t_lastError = 0;
} // namespace

DWORD GetLastError() noexcept
{
    return t_lastError;
}

void SetLastError(DWORD error) noexcept
{
    t_lastError = error;
}
