// Where an exception of the light family was raised.

#ifndef ORVANE_EXCEPTION_RAISERECORD_H
#define ORVANE_EXCEPTION_RAISERECORD_H

#include <string>

#include "orvane/exception/iexception.h"

namespace Logging
{
class CLogger;
}

namespace detail
{
/// The fields that all light kinds hold.
struct ORVANE_API SRaiseRecord
{
    /// Stores the raise site and the calling thread's id. A null text is stored as an empty one.
    SRaiseRecord(char const* raiseFile, unsigned int raiseLine, char const* raiseFunction);

    /// Moves copy too: an exception that was moved from can still be reported.
    SRaiseRecord(SRaiseRecord const&) = default;
    SRaiseRecord& operator=(SRaiseRecord const&) = default;

    /// Writes the kind's one line. The logger decides by its level; it is not asked first.
    void Log(Logging::CLogger const& logger, wchar_t const* text) const;

    std::string file;
    unsigned int line;
    std::string function;
    unsigned int threadId;
};
} // namespace detail

#endif // ORVANE_EXCEPTION_RAISERECORD_H
