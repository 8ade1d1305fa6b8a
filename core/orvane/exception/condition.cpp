#include "orvane/exception/condition.h"

#include "logging/clogger.h"
#include "orvane/exception/cbexceptioncondition.h"

namespace
{
Logging::CLogger const s_logger(L"Condition");
Logging::CLogger const s_exceptionLogger(L"Exception"); // as every file that raises
} // namespace

void Condition::HandleUnfulfilledCondition(char const* file, unsigned int line, char const* function,
                                           EConditionHandling handling)
{
    s_logger.Warn(file, static_cast<int>(line), function, L"Unfulfilled Condition");
    if (handling == eHandlingThrow)
    {
        throw CbExceptionCondition(file, line, function);
    }
}
