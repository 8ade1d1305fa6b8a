// What the logger and the sinks that come with it agree on beyond the interface.

#ifndef ORVANE_LOGGING_MINIMUMSINK_H
#define ORVANE_LOGGING_MINIMUMSINK_H

#include "logging/clogger.h"

namespace Logging
{
// A sink that takes the lines at its minimum and above. The logger asks for the minimum when the sink is added, so that
// a line which every sink would drop is neither formatted nor copied into a record.
class CMinimumSink : public ISink
{
public:
    explicit CMinimumSink(ELevel minimum) : m_minimum(minimum)
    {
    }

    ELevel GetMinimum() const
    {
        return m_minimum;
    }

private:
    const ELevel m_minimum;
};
} // namespace Logging

#endif // ORVANE_LOGGING_MINIMUMSINK_H
