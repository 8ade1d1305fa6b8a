// Logs to standard error, through the sink that is there from the beginning, before main, in it and after it.

#include <cstdlib>

#include "logging/clogger.h"

namespace
{
const Logging::CLogger s_logger(L"Probe");

struct SBothEnds
{
    SBothEnds()
    {
        s_logger.Warn("probe", 1, "SBothEnds", L"before %s", L"main");
    }

    ~SBothEnds()
    {
        s_logger.Error("probe", 4, "~SBothEnds", L"after main");
        Logging::CLogger(L"Probe.New").Error("probe", 5, "~SBothEnds", L"new name after main");
    }
} s_bothEnds;
} // namespace

int main()
{
    s_logger.Info("probe", 2, "main", CStringW(L"not shown"));
    s_logger.Error("probe", 2, "main", CStringW(L"in main: 100 %s"));
    return std::atexit([] { s_logger.Warn("probe", 3, "atexit", L"at exit"); });
}
