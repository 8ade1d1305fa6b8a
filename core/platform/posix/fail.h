// How calls of the layer fail.

#ifndef ORVANE_PLATFORM_POSIX_FAIL_H
#define ORVANE_PLATFORM_POSIX_FAIL_H

#include "platform/platform.h"

namespace posix
{
/// Sets the last error; returns false, which is also what calls that count return.
inline BOOL fail(DWORD error) noexcept
{
    SetLastError(error);
    return FALSE;
}
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_FAIL_H
