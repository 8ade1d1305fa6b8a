// Log lines as tests compare them: everything but the thread.

#ifndef ORVANE_TESTS_SUPPORT_LOGLINE_H
#define ORVANE_TESTS_SUPPORT_LOGLINE_H

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/logrecorder.h"

struct SLogLine
{
    std::wstring logger;
    Logging::ELevel level;
    std::string file;
    int line;
    std::string function;
    std::wstring text;

    friend bool operator==(SLogLine const&, SLogLine const&) = default;

    friend void PrintTo(SLogLine const& line, std::ostream* stream)
    {
        *stream << "{logger " << testing::PrintToString(line.logger) << ", level " << static_cast<int>(line.level)
                << ", file " << testing::PrintToString(line.file) << ", line " << line.line << ", function "
                << testing::PrintToString(line.function) << ", text " << testing::PrintToString(line.text) << '}';
    }
};

/// All that the recorder has seen, oldest first.
inline std::vector<SLogLine> linesOf(CLogRecorder const& recorder)
{
    std::vector<SLogLine> lines;
    for (Logging::SRecord const& record : recorder.GetRecords())
    {
        lines.push_back({record.logger, record.level, record.file, record.line, record.function, record.text});
    }
    return lines;
}

#endif // ORVANE_TESTS_SUPPORT_LOGLINE_H
