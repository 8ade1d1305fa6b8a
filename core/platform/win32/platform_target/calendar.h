// Calendar arithmetic: _gmtime64_s, _localtime64_s and _mktime64 are the C runtime's own.

#ifndef ORVANE_PLATFORM_WIN32_CALENDAR_H
#define ORVANE_PLATFORM_WIN32_CALENDAR_H

#include <time.h>

#endif // ORVANE_PLATFORM_WIN32_CALENDAR_H
