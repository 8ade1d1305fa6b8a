// What a span of time can be asked.

#ifndef ORVANE_DATETIME_ITIMEINTERVAL_H
#define ORVANE_DATETIME_ITIMEINTERVAL_H

#include "orvane/export.h"
#include "platform/platform.h"

/// A span of time, whatever its representation. The order of the virtual operations is part of the binary interface.
class ORVANE_API ITimeInterval
{
public:
    virtual ~ITimeInterval();

    /// The span in whole milliseconds; negative towards the past.
    virtual __int64 GetMilliseconds() const = 0;

protected:
    ITimeInterval() = default;
    ITimeInterval(ITimeInterval const&) = default;
    ITimeInterval& operator=(ITimeInterval const&) = default;
};

#endif // ORVANE_DATETIME_ITIMEINTERVAL_H
