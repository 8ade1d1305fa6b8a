#include "orvane/exception/raiserecord.h"

#include "logging/clogger.h"
#include "platform/platform.h"

namespace detail
{
SRaiseRecord::SRaiseRecord(char const* raiseFile, unsigned int raiseLine, char const* raiseFunction)
    : file(raiseFile != nullptr ? raiseFile : ""),
      line(raiseLine),
      function(raiseFunction != nullptr ? raiseFunction : ""),
      threadId(GetCurrentThreadId())
{
}

void SRaiseRecord::Log(Logging::CLogger const& logger, wchar_t const* text) const
{
    logger.Error(file.c_str(), static_cast<int>(line), function.c_str(), text);
}
} // namespace detail
