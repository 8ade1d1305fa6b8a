// The handles that this process holds.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_POSIX_HANDLECOUNT_H
#define ORVANE_TESTS_PLATFORM_KERNEL_POSIX_HANDLECOUNT_H

#include "platform/platform.h"

namespace kerneltest
{
inline unsigned int getHandleCount()
{
    return PlatformTest::GetHandleCount();
}
} // namespace kerneltest

#endif // ORVANE_TESTS_PLATFORM_KERNEL_POSIX_HANDLECOUNT_H
