// Loggers and sinks in static initialisers.

#include <gtest/gtest.h>

#include "logging/clogger.h"
#include "logging/sinks.h"

namespace
{
const Logging::CLogger s_logger(L"Startup");

std::vector<Logging::SRecord> logEarly()
{
    const auto recorder = std::make_shared<Logging::CRecorderSink>();
    Logging::CLogger::RemoveSink(Logging::GetDefaultSink());
    Logging::CLogger::AddSink(recorder);
    s_logger.Error("file", 7, "function", L"%s %d", L"before main", 1);
    Logging::CLogger(L"Startup.Local").Info("file", 8, "function", CStringW(L"local"));
    Logging::CLogger::RemoveSink(recorder);
    Logging::CLogger::AddSink(Logging::GetDefaultSink());
    return recorder->TakeRecords();
}

const std::vector<Logging::SRecord> s_records = logEarly();
} // namespace

TEST(CLoggerStartup, WritesBeforeMain)
{
    ASSERT_EQ(s_records.size(), 2U);
    EXPECT_EQ(s_records[0].logger, L"Startup");
    EXPECT_EQ(s_records[0].text, L"before main 1");
    EXPECT_EQ(s_records[0].line, 7);
    EXPECT_EQ(s_records[1].logger, L"Startup.Local");
}

TEST(CLoggerStartup, LeavesAStaticLoggerUsableInMain)
{
    EXPECT_STREQ(s_logger.GetName(), L"Startup");
    EXPECT_TRUE(s_logger.IsErrorEnabled());
    EXPECT_EQ(Logging::CLogger::GetInstanceCount(L"Startup"), 1U);
}
