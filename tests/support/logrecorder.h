// Keeps the log lines of a test.

#ifndef ORVANE_TESTS_SUPPORT_LOGRECORDER_H
#define ORVANE_TESTS_SUPPORT_LOGRECORDER_H

#include <memory>
#include <string>
#include <vector>

#include "logging/sinks.h"

/// Records every line that is logged as long as it lives, and keeps standard error quiet meanwhile.
class CLogRecorder
{
public:
    CLogRecorder() : m_sink(std::make_shared<Logging::CRecorderSink>())
    {
        Logging::CLogger::RemoveSink(Logging::GetDefaultSink());
        Logging::CLogger::AddSink(m_sink);
    }

    CLogRecorder(CLogRecorder const&) = delete;
    CLogRecorder& operator=(CLogRecorder const&) = delete;

    ~CLogRecorder()
    {
        Logging::CLogger::RemoveSink(m_sink);
        Logging::CLogger::AddSink(Logging::GetDefaultSink());
    }

    std::vector<Logging::SRecord> GetRecords() const
    {
        return m_sink->GetRecords();
    }

    /// The lines of one logger, oldest first.
    std::vector<Logging::SRecord> GetRecords(std::wstring const& logger) const
    {
        std::vector<Logging::SRecord> records;
        for (Logging::SRecord const& record : m_sink->GetRecords())
        {
            if (record.logger == logger)
            {
                records.push_back(record);
            }
        }
        return records;
    }

    void Clear()
    {
        m_sink->Clear();
    }

private:
    std::shared_ptr<Logging::CRecorderSink> m_sink;
};

/// Sets a logger's level for a scope.
class CScopedLevel
{
public:
    CScopedLevel(wchar_t const* name, Logging::ELevel level) : m_name(name)
    {
        Logging::CLogger::SetLevel(name, level);
    }

    CScopedLevel(CScopedLevel const&) = delete;
    CScopedLevel& operator=(CScopedLevel const&) = delete;

    ~CScopedLevel()
    {
        Logging::CLogger::SetLevel(m_name.c_str(), Logging::eLevelInfo);
    }

private:
    std::wstring m_name;
};

#endif // ORVANE_TESTS_SUPPORT_LOGRECORDER_H
