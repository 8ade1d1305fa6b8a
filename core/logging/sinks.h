// The places for log lines that we ship.

#ifndef ORVANE_LOGGING_SINKS_H
#define ORVANE_LOGGING_SINKS_H

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "logging/clogger.h"

namespace Logging
{
// Lines as text (standard error, file) are UTF-8 and read
//     2024-02-29 12:00:00.123 warning [Thread] 4711 cbthreadinfo:98 CbThreadInfo::Warn: the text
// with the local time and the thread's id; file and function are left out where there are none. Line breaks at the end
// of a text are dropped, further lines are indented, and control characters, in names line breaks too, are written as
// \xNN: one record stays visibly one record.

/// The sink that is there from the beginning: standard error, eLevelWarn and above. Hand it to RemoveSink for silence.
ORVANE_LOGGING_API std::shared_ptr<ISink> GetDefaultSink();

/// Lines at `minimum` and above to standard error as it is at this moment, coloured on a terminal.
/// A line that standard error does not take is lost without a report.
ORVANE_LOGGING_API std::shared_ptr<ISink> MakeStandardErrorSink(ELevel minimum = eLevelWarn);

/// Lines to the file `path`, which is continued where it exists, its folder made where it is missing. A line that would
/// take the file beyond `maximumBytes` goes to a fresh one; `maximumFiles` older ones are kept as `name.1.ext` (the
/// youngest), `name.2.ext` and so on. Each line is handed to the system before Write returns.
/// Raises: std::invalid_argument for `maximumBytes` 0, more than 200,000 files, or a path that cannot be a file name;
/// std::runtime_error where the file cannot be opened.
/// A line that the file does not take later (the disk is full, the file cannot be renamed or opened) goes to standard error,
/// the first of them behind a line of the logger "Logging" with the reason; with a failed renaming the file's lines are lost.
/// The next line opens the file anew.
ORVANE_LOGGING_API std::shared_ptr<ISink> MakeRotatingFileSink(std::wstring const& path, std::size_t maximumBytes,
                                                               std::size_t maximumFiles);

/// Every line to a function, which several threads may call at once.
/// Raises: std::invalid_argument for an empty function.
ORVANE_LOGGING_API std::shared_ptr<ISink> MakeCallbackSink(std::function<void(SRecord const&)> callback);

/// Keeps every line in memory, for tests and for a log window.
class ORVANE_LOGGING_API CRecorderSink : public ISink
{
public:
    void Write(SRecord const& record) override;

    /// A copy of the lines so far, oldest first.
    std::vector<SRecord> GetRecords() const;

    /// Hands out the lines so far and forgets them.
    std::vector<SRecord> TakeRecords();

    void Clear();

private:
    mutable std::mutex m_lock;
    std::vector<SRecord> m_records; // guarded by m_lock
};
} // namespace Logging

#endif // ORVANE_LOGGING_SINKS_H
