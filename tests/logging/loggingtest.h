// A test that sees its own log lines and nothing else does.

#ifndef ORVANE_TESTS_LOGGING_LOGGINGTEST_H
#define ORVANE_TESTS_LOGGING_LOGGINGTEST_H

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "logging/clogger.h"
#include "logging/sinks.h"

// A recorder in the place of the default sink, the default level as in a new process. Levels by name stay for the rest
// of the process, so each test takes names of its own.
class LoggingTest : public testing::Test
{
protected:
    LoggingTest() : m_recorder(std::make_shared<Logging::CRecorderSink>())
    {
        Logging::CLogger::RemoveSink(Logging::GetDefaultSink());
        Logging::CLogger::AddSink(m_recorder);
    }

    ~LoggingTest() override
    {
        Logging::CLogger::RemoveSink(m_recorder);
        Logging::CLogger::AddSink(Logging::GetDefaultSink());
        Logging::CLogger::SetDefaultLevel(Logging::eLevelInfo);
    }

    std::vector<std::wstring> texts() const
    {
        std::vector<std::wstring> result;
        for (const auto& record : m_recorder->GetRecords())
        {
            result.push_back(record.text);
        }
        return result;
    }

    const std::shared_ptr<Logging::CRecorderSink> m_recorder;
};

#endif // ORVANE_TESTS_LOGGING_LOGGINGTEST_H
