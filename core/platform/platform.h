// The one door to the system: types and calls under their Win32 names, whatever the target.

#ifndef ORVANE_PLATFORM_PLATFORM_H
#define ORVANE_PLATFORM_PLATFORM_H

#include "platform_target/platform_target.h"

#endif // ORVANE_PLATFORM_PLATFORM_H
