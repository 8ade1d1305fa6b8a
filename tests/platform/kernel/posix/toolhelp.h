// The calls that list the process's threads are the layer's own on this target.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_POSIX_TOOLHELP_H
#define ORVANE_TESTS_PLATFORM_KERNEL_POSIX_TOOLHELP_H

#include "platform/platform.h"

#endif // ORVANE_TESTS_PLATFORM_KERNEL_POSIX_TOOLHELP_H
