// The Win32 subset on Linux, in two parts.
//
// types.h is what the public interface shows and clients may use, performancecounter.h what inline timers read; these are
// installed. system.h is the rest, which only the library and its tests call; it is not installed, so that clients see no
// more of Win32 than the interface needs.

#ifndef ORVANE_PLATFORM_POSIX_PLATFORM_TARGET_H
#define ORVANE_PLATFORM_POSIX_PLATFORM_TARGET_H

#include "platform_target/performancecounter.h"
#include "platform_target/types.h"

#if __has_include("platform_target/system.h")
#include "platform_target/system.h"
#endif

#endif // ORVANE_PLATFORM_POSIX_PLATFORM_TARGET_H
