// The calls that list the system's threads stand in a header of their own on this target.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_WIN32_TOOLHELP_H
#define ORVANE_TESTS_PLATFORM_KERNEL_WIN32_TOOLHELP_H

#include "platform/platform.h"

#include <tlhelp32.h>

#endif // ORVANE_TESTS_PLATFORM_KERNEL_WIN32_TOOLHELP_H
