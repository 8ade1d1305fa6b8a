#include "logging/sinks.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include "logging/default/minimumsink.h"
#include "mfc/cstringt.h"
#include "platform/utf8.h"

// The sinks of spdlog are used by themselves, without its registry of loggers: that one is a static object, gone when
// the last lines before the end of the process are written.
namespace
{
using Logging::ELevel;
using Logging::SRecord;

constexpr char c_Pattern[] = "%Y-%m-%d %H:%M:%S.%e %^%l%$ [%n] %t %v";
constexpr std::size_t c_MaximumFiles = 200'000;
constexpr unsigned long c_ReplacementCharacter = 0xFFFD;

bool isLineBreak(wchar_t unit)
{
    return unit == L'\n' || unit == L'\r';
}

// Takes the next character off `text`: a pair of surrogates is one, whatever the width of wchar_t; half of a pair and
// what is no character at all are replaced.
unsigned long takeCodePoint(std::wstring_view& text)
{
    const auto isBetween = [](unsigned long value, unsigned long low, unsigned long high)
    { return low <= value && value <= high; };
    const auto unit = static_cast<unsigned long>(text.front());
    text.remove_prefix(1);
    if (isBetween(unit, 0xD800, 0xDBFF) && !text.empty())
    {
        const auto second = static_cast<unsigned long>(text.front());
        if (isBetween(second, 0xDC00, 0xDFFF))
        {
            text.remove_prefix(1);
            return 0x10000 + ((unit - 0xD800) << 10) + (second - 0xDC00);
        }
    }
    return isBetween(unit, 0xD800, 0xDFFF) || unit > 0x10FFFF ? c_ReplacementCharacter : unit;
}

bool isControl(unsigned long codePoint)
{
    return (codePoint < 0x20 && codePoint != '\t') || (codePoint >= 0x7F && codePoint < 0xA0);
}

void appendCharacter(std::string& out, unsigned long codePoint)
{
    constexpr char c_Digits[] = "0123456789ABCDEF";
    if (isControl(codePoint))
    {
        out += "\\x";
        out += c_Digits[codePoint >> 4];
        out += c_Digits[codePoint & 0xF];
    }
    else
    {
        Utf8::appendUtf8(out, static_cast<char32_t>(codePoint));
    }
}

// A name as it is shown: UTF-8 in one line, control characters spelt out.
void appendName(std::string& out, std::wstring_view name)
{
    while (!name.empty())
    {
        appendCharacter(out, takeCodePoint(name));
    }
}

// The same for a name in the ANSI code page.
void appendName(std::string& out, const std::string& name)
{
    const bool isPlain = std::all_of(name.begin(), name.end(), [](char unit) { return ' ' <= unit && unit <= '~'; });
    if (isPlain)
    {
        out += name;
        return;
    }
    const CStringW wide(name.c_str());
    appendName(out, std::wstring_view(wide.GetString(), static_cast<std::size_t>(wide.GetLength())));
}

// A text as it is shown: UTF-8, no line breaks at the end, further lines indented, control characters spelt out.
void appendShown(std::string& out, std::wstring_view text)
{
    while (!text.empty() && isLineBreak(text.back()))
    {
        text.remove_suffix(1);
    }
    while (!text.empty())
    {
        const unsigned long codePoint = takeCodePoint(text);
        if (codePoint == '\r' && !text.empty() && text.front() == L'\n')
        {
            continue;
        }
        if (codePoint == '\n')
        {
            out += spdlog::details::os::default_eol;
            out += "    ";
            continue;
        }
        appendCharacter(out, codePoint);
    }
}

std::string shown(const SRecord& record)
{
    std::string out;
    out.reserve(record.file.size() + record.function.size() + record.text.size() + 32);
    if (!record.file.empty())
    {
        appendName(out, record.file);
        out += ':';
        out += std::to_string(record.line);
        out += record.function.empty() ? ": " : " ";
    }
    if (!record.function.empty())
    {
        appendName(out, record.function);
        out += ": ";
    }
    appendShown(out, record.text);
    return out;
}

spdlog::level::level_enum levelOf(const SRecord& record)
{
    switch (record.level)
    {
    case Logging::eLevelDebug:
        return spdlog::level::debug;
    case Logging::eLevelInfo:
        return spdlog::level::info;
    case Logging::eLevelWarn:
        return spdlog::level::warn;
    default:
        return spdlog::level::err;
    }
}

void writeTo(spdlog::sinks::sink& sink, const SRecord& record)
{
    std::string logger;
    appendName(logger, record.logger);
    const std::string text = shown(record);
    spdlog::details::log_msg message(logger, levelOf(record), text);
    message.thread_id = record.threadId;
    sink.log(message);
}

class CStandardErrorSink final : public Logging::CMinimumSink
{
public:
    explicit CStandardErrorSink(ELevel minimum) : CMinimumSink(minimum)
    {
        m_sink.set_pattern(c_Pattern);
    }

    void Write(const SRecord& record) override
    {
        if (record.level >= GetMinimum())
        {
            writeTo(m_sink, record);
        }
    }

private:
    spdlog::sinks::stderr_color_sink_mt m_sink;
};

class CRotatingFileSink final : public Logging::ISink
{
public:
    CRotatingFileSink(spdlog::filename_t path, std::size_t maximumBytes, std::size_t maximumFiles)
        : m_path(std::move(path)),
          m_maximumBytes(maximumBytes),
          m_maximumFiles(maximumFiles)
    {
        try
        {
            open();
        }
        catch (const spdlog::spdlog_ex& failure)
        {
            throw std::runtime_error(failure.what());
        }
    }

    void Write(const SRecord& record) override
    {
        const std::scoped_lock guard(m_lock);
        try
        {
            if (!m_sink)
            {
                open();
            }
            writeTo(*m_sink, record);
            m_sink->flush();
            m_isFailureTold = false;
        }
        catch (const spdlog::spdlog_ex& failure)
        {
            // A sink that failed half-way through a rotation has no file any more and must not be used again.
            m_sink.reset();
            showElsewhere(record, failure.what());
        }
    }

private:
    // A full disk is no reason for the one who logs to fail: exceptions log themselves while they are raised. Expects m_lock.
    void showElsewhere(const SRecord& record, const char* reason)
    {
        CStandardErrorSink sink(Logging::eLevelDebug);
        if (!std::exchange(m_isFailureTold, true))
        {
            const CStringW text(reason);
            sink.Write({L"Logging", Logging::eLevelError, "", 0, "", text.GetString(), record.threadId});
        }
        sink.Write(record);
    }

    // Expects m_lock, except in the constructor.
    void open()
    {
        auto sink = std::make_unique<spdlog::sinks::rotating_file_sink_st>(m_path, m_maximumBytes, m_maximumFiles);
        sink->set_pattern(c_Pattern);
        m_sink = std::move(sink);
    }

    const spdlog::filename_t m_path;
    const std::size_t m_maximumBytes;
    const std::size_t m_maximumFiles;
    std::mutex m_lock;
    std::unique_ptr<spdlog::sinks::rotating_file_sink_st> m_sink; // guarded by m_lock; null after a failure
    bool m_isFailureTold = false; // guarded by m_lock; since the last line that went well
};

class CCallbackSink final : public Logging::ISink
{
public:
    explicit CCallbackSink(std::function<void(const SRecord&)> callback) : m_callback(std::move(callback))
    {
    }

    void Write(const SRecord& record) override
    {
        m_callback(record);
    }

private:
    const std::function<void(const SRecord&)> m_callback;
};

// The path as the system takes it: wide on Windows, UTF-8 on Linux, whatever the locale.
spdlog::filename_t fileNameOf(const std::wstring& path)
{
    if (path.empty() || path.find(L'\0') != std::wstring::npos)
    {
        throw std::invalid_argument("MakeRotatingFileSink: no file can have this name");
    }
    std::string utf8;
    for (std::wstring_view rest = path; !rest.empty();)
    {
        const auto unit = static_cast<unsigned long>(rest.front());
        const unsigned long codePoint = takeCodePoint(rest);
        if (codePoint == c_ReplacementCharacter && unit != c_ReplacementCharacter)
        {
            throw std::invalid_argument("MakeRotatingFileSink: the name holds what is no character");
        }
        Utf8::appendUtf8(utf8, static_cast<char32_t>(codePoint));
    }
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).native();
}
} // namespace

std::shared_ptr<Logging::ISink> Logging::GetDefaultSink()
{
    // Never destroyed, as the list of sinks that it is in.
    static const auto& s_sink = *new std::shared_ptr<ISink>(MakeStandardErrorSink());
    return s_sink;
}

std::shared_ptr<Logging::ISink> Logging::MakeStandardErrorSink(ELevel minimum)
{
    return std::make_shared<CStandardErrorSink>(minimum);
}

std::shared_ptr<Logging::ISink> Logging::MakeRotatingFileSink(const std::wstring& path, std::size_t maximumBytes,
                                                              std::size_t maximumFiles)
{
    if (maximumBytes == 0)
    {
        throw std::invalid_argument("MakeRotatingFileSink: a file needs room for at least one byte");
    }
    if (maximumFiles > c_MaximumFiles)
    {
        throw std::invalid_argument("MakeRotatingFileSink: more than 200,000 files");
    }
    return std::make_shared<CRotatingFileSink>(fileNameOf(path), maximumBytes, maximumFiles);
}

std::shared_ptr<Logging::ISink> Logging::MakeCallbackSink(std::function<void(const SRecord&)> callback)
{
    if (!callback)
    {
        throw std::invalid_argument("MakeCallbackSink: no function");
    }
    return std::make_shared<CCallbackSink>(std::move(callback));
}

void Logging::CRecorderSink::Write(const SRecord& record)
{
    const std::scoped_lock guard(m_lock);
    m_records.push_back(record);
}

std::vector<Logging::SRecord> Logging::CRecorderSink::GetRecords() const
{
    const std::scoped_lock guard(m_lock);
    return m_records;
}

std::vector<Logging::SRecord> Logging::CRecorderSink::TakeRecords()
{
    const std::scoped_lock guard(m_lock);
    return std::exchange(m_records, {});
}

void Logging::CRecorderSink::Clear()
{
    const std::scoped_lock guard(m_lock);
    m_records.clear();
}
