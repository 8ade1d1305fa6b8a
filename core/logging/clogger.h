// Named loggers and the places their lines go to.

#ifndef ORVANE_LOGGING_CLOGGER_H
#define ORVANE_LOGGING_CLOGGER_H

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "logging/export.h"
#include "mfc/cstringt.h"

namespace Logging
{
/// How much a line matters. A logger writes the lines at its level and above; `eLevelOff` silences it.
/// A value outside the list counts as the nearest one in it.
enum ELevel : int
{
    eLevelDebug,
    eLevelInfo,
    eLevelWarn,
    eLevelError,
    eLevelOff
};

/// One line of the log as a sink receives it.
struct SRecord
{
    std::wstring logger;   // the logger's name
    ELevel level;          // eLevelInfo, eLevelWarn or eLevelError
    std::string file;      // the raise site's source file, as passed
    int line;              // its line
    std::string function;  // its function, as passed
    std::wstring text;     // the text, formatted, as passed: nothing is escaped or cut
    unsigned int threadId; // the system's id of the logging thread
};

/// A place that log lines go to.
class ORVANE_LOGGING_API ISink
{
public:
    virtual ~ISink();

    /// Takes one line. Called on the logging thread, without any lock of the logger held, by several threads at once.
    /// May log, add and remove sinks. What it throws reaches the caller of the logger, after the other sinks have had
    /// the line; of several exceptions the first one does.
    virtual void Write(SRecord const& record) = 0;
};

/// A logger of one name. Loggers of the same name share their level; all loggers share the sinks.
///
/// Usable before `main` (in the static initialisers of any module) and after it.
/// Levels: eLevelInfo unless set by name or by default. A change is seen by every logger at once.
/// Sinks: standard error with eLevelWarn and above to begin with (logging/sinks.h).
/// Threads: any, also on one object.
/// Cost: making one is cheap enough for a local object. A name stays in memory once it was used.
class ORVANE_LOGGING_API CLogger
{
public:
    /// A logger of that name; the name is copied. A null name is the empty name.
    explicit CLogger(wchar_t const* name);

    CLogger(CLogger const&) = delete;
    CLogger& operator=(CLogger const&) = delete;
    ~CLogger();

    wchar_t const* GetName() const;

    /// Writes a text as it stands to every sink.
    /// `file` and `function` may be null and are then empty. Raises what a sink throws.
    void Info(char const* file, int line, char const* function, CStringW const& text) const;
    void Error(char const* file, int line, char const* function, CStringW const& text) const;

    /// Formats (Windows meaning: `%s` takes wide text) and writes. A format that cannot be formatted is written as it
    /// stands; a null format is an empty text. Raises what a sink throws.
    void Warn(char const* file, int line, char const* function, wchar_t const* format, ...) const;
    void Error(char const* file, int line, char const* function, wchar_t const* format, ...) const;

    bool IsDebugEnabled() const;
    bool IsInfoEnabled() const;
    bool IsWarnEnabled() const;
    bool IsErrorEnabled() const;

    /// Takes the level anew when the level clock has moved. All operations that need the level do so by themselves.
    void RefreshLevel() const;

    /// Counts the calls that set a level; a logger that saw the same clock holds the current level.
    static unsigned int GetLevelClock();

    /// Adds a sink; a sink that is added twice receives every line twice. A null sink is ignored.
    static void AddSink(std::shared_ptr<ISink> sink);

    /// Takes out a sink (once); an unknown sink is ignored. A line that another thread writes just then may still
    /// reach it.
    static void RemoveSink(std::shared_ptr<ISink> const& sink);

    /// Sets the level of the loggers of one name, whether they exist already or are made later.
    static void SetLevel(wchar_t const* name, ELevel level);

    /// Sets the level of all names that have none of their own.
    static void SetDefaultLevel(ELevel level);

    /// Loggers of this name made so far.
    static unsigned int GetInstanceCount(wchar_t const* name);

private:
    struct SName;
    struct SLibrary;

    ELevel refreshedLevel() const;
    bool isEnabled(ELevel level) const;
    bool isWanted(ELevel level) const;
    void write(ELevel level, char const* file, int line, char const* function, std::wstring_view text) const;

    SName* m_name; // what loggers of this name share; never freed
    // The level in the low half, the level clock that it was taken at in the high half: in one word, so that threads
    // that refresh the same logger cannot leave an old level beside a new clock. 0 has never been refreshed.
    mutable std::atomic<unsigned long long> m_level;
};
} // namespace Logging

#endif // ORVANE_LOGGING_CLOGGER_H
