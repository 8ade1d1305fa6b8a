#include "logging/clogger.h"

#include <algorithm>
#include <cstdarg>
#include <exception>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "logging/default/minimumsink.h"
#include "logging/sinks.h"
#include "mfc/catlexception.h"
#include "platform/platform.h"

namespace
{
using Logging::ELevel;

constexpr std::size_t c_BucketCount = 1024;
constexpr int c_NoLevel = -1;
constexpr unsigned int c_LevelBits = 32;

// A value outside the enumeration counts as the nearest one in it.
ELevel nearestLevel(ELevel level)
{
    return std::clamp(level, Logging::eLevelDebug, Logging::eLevelOff);
}

// The sinks at one moment. A list is never changed but replaced, so that lines are written without a lock.
struct SSinkEntry
{
    std::shared_ptr<Logging::ISink> sink;
    ELevel minimum;
};

using SinkList = std::vector<SSinkEntry>;

ELevel minimumOf(const Logging::ISink& sink)
{
    const auto* minimumSink = dynamic_cast<const Logging::CMinimumSink*>(&sink);
    return minimumSink ? nearestLevel(minimumSink->GetMinimum()) : Logging::eLevelDebug;
}

ELevel minimumOf(const SinkList& sinks)
{
    ELevel minimum = Logging::eLevelOff;
    for (const auto& entry : sinks)
    {
        minimum = std::min(minimum, entry.minimum);
    }
    return minimum;
}

std::wstring_view viewOf(const wchar_t* text)
{
    return text ? std::wstring_view(text) : std::wstring_view();
}

std::wstring_view viewOf(const CStringW& text)
{
    return {text.GetString(), static_cast<std::size_t>(text.GetLength())};
}

CStringW formatted(const wchar_t* format, va_list arguments)
{
    if (!format)
    {
        return CStringW();
    }
    try
    {
        CStringW text;
        text.FormatV(format, arguments);
        return text;
    }
    catch (const CAtlException&)
    {
        return CStringW(format);
    }
}
} // namespace

// What the loggers of one name share.
struct Logging::CLogger::SName
{
    explicit SName(std::wstring_view text, SName* nextOfBucket) : name(text), next(nextOfBucket)
    {
    }

    const std::wstring name;
    SName* const next;
    std::atomic<int> level{c_NoLevel}; // c_NoLevel: follows the default level
    std::atomic<unsigned int> instanceCount{0};
};

// What all loggers share. Never destroyed: loggers are used before this module's statics exist and after they are gone.
struct Logging::CLogger::SLibrary
{
    static SLibrary& instance()
    {
        static SLibrary& s_instance = *new SLibrary;
        return s_instance;
    }

    // Names are only ever added, so that a known one is found without a lock.
    SName* find(std::wstring_view name) const
    {
        return find(name, bucketOf(name));
    }

    SName& findOrAdd(std::wstring_view name)
    {
        const std::size_t bucket = bucketOf(name);
        if (SName* known = find(name, bucket))
        {
            return *known;
        }
        const std::scoped_lock guard(nameLock);
        if (SName* known = find(name, bucket))
        {
            return *known;
        }
        auto* added = new SName(name, buckets[bucket].load(std::memory_order_relaxed));
        // Pairs with the acquire in find: the name is seen constructed.
        buckets[bucket].store(added, std::memory_order_release);
        return *added;
    }

    std::shared_ptr<const SinkList> getSinks() const
    {
        const std::scoped_lock guard(sinkLock);
        return sinks;
    }

    // Replaces the list by what `change` makes of a copy of it.
    template <class Change>
    void changeSinks(const Change& change)
    {
        // Freed without the lock: the last owner of a sink runs its destructor, which may log.
        std::shared_ptr<const SinkList> before;
        const std::scoped_lock guard(sinkLock);
        auto after = std::make_shared<SinkList>(*sinks);
        change(*after);
        minimum.store(minimumOf(*after), std::memory_order_relaxed);
        before = std::exchange(sinks, std::move(after));
    }

    std::atomic<SName*> buckets[c_BucketCount]{};
    std::mutex nameLock; // held while a name is added

    std::atomic<ELevel> defaultLevel{eLevelInfo};
    // Starts at 1: a logger that has not looked yet holds 0. Whoever sets a level stores it first and releases it by
    // moving the clock; whoever reads the clock acquires, and so reads a level at least as new as that clock.
    std::atomic<unsigned int> levelClock{1};

    mutable std::mutex sinkLock;
    std::shared_ptr<const SinkList> sinks; // guarded by sinkLock
    // The lowest level that any sink takes. A hint, read without the lock: a line beside a change of the sinks may meet
    // the list before or after it in any case.
    std::atomic<ELevel> minimum;

private:
    SLibrary()
    {
        const auto first = GetDefaultSink();
        sinks = std::make_shared<const SinkList>(SinkList{{first, minimumOf(*first)}});
        minimum.store(minimumOf(*sinks), std::memory_order_relaxed);
    }

    static std::size_t bucketOf(std::wstring_view name)
    {
        return std::hash<std::wstring_view>()(name) % c_BucketCount;
    }

    SName* find(std::wstring_view name, std::size_t bucket) const
    {
        SName* each = buckets[bucket].load(std::memory_order_acquire);
        while (each && each->name != name)
        {
            each = each->next;
        }
        return each;
    }
};

Logging::ISink::~ISink() = default;

Logging::CLogger::CLogger(const wchar_t* name) : m_name(&SLibrary::instance().findOrAdd(viewOf(name))), m_level(0)
{
    m_name->instanceCount.fetch_add(1, std::memory_order_relaxed);
}

Logging::CLogger::~CLogger() = default;

const wchar_t* Logging::CLogger::GetName() const
{
    return m_name->name.c_str();
}

void Logging::CLogger::Info(const char* file, int line, const char* function, const CStringW& text) const
{
    if (isWanted(eLevelInfo))
    {
        write(eLevelInfo, file, line, function, viewOf(text));
    }
}

void Logging::CLogger::Error(const char* file, int line, const char* function, const CStringW& text) const
{
    if (isWanted(eLevelError))
    {
        write(eLevelError, file, line, function, viewOf(text));
    }
}

void Logging::CLogger::Warn(const char* file, int line, const char* function, const wchar_t* format, ...) const
{
    if (isWanted(eLevelWarn))
    {
        va_list arguments;
        va_start(arguments, format);
        const CStringW text = formatted(format, arguments);
        va_end(arguments);
        write(eLevelWarn, file, line, function, viewOf(text));
    }
}

void Logging::CLogger::Error(const char* file, int line, const char* function, const wchar_t* format, ...) const
{
    if (isWanted(eLevelError))
    {
        va_list arguments;
        va_start(arguments, format);
        const CStringW text = formatted(format, arguments);
        va_end(arguments);
        write(eLevelError, file, line, function, viewOf(text));
    }
}

bool Logging::CLogger::IsDebugEnabled() const
{
    return isEnabled(eLevelDebug);
}

bool Logging::CLogger::IsInfoEnabled() const
{
    return isEnabled(eLevelInfo);
}

bool Logging::CLogger::IsWarnEnabled() const
{
    return isEnabled(eLevelWarn);
}

bool Logging::CLogger::IsErrorEnabled() const
{
    return isEnabled(eLevelError);
}

void Logging::CLogger::RefreshLevel() const
{
    refreshedLevel();
}

unsigned int Logging::CLogger::GetLevelClock()
{
    // Pairs with the release in SetLevel and SetDefaultLevel.
    return SLibrary::instance().levelClock.load(std::memory_order_acquire);
}

void Logging::CLogger::AddSink(std::shared_ptr<ISink> sink)
{
    if (sink)
    {
        const ELevel minimum = minimumOf(*sink);
        SLibrary::instance().changeSinks([&](SinkList& sinks) { sinks.push_back({std::move(sink), minimum}); });
    }
}

void Logging::CLogger::RemoveSink(const std::shared_ptr<ISink>& sink)
{
    SLibrary::instance().changeSinks(
        [&](SinkList& sinks)
        {
            const auto found =
                std::find_if(sinks.begin(), sinks.end(), [&](const SSinkEntry& entry) { return entry.sink == sink; });
            if (found != sinks.end())
            {
                sinks.erase(found);
            }
        });
}

void Logging::CLogger::SetLevel(const wchar_t* name, ELevel level)
{
    auto& library = SLibrary::instance();
    library.findOrAdd(viewOf(name)).level.store(nearestLevel(level), std::memory_order_relaxed);
    library.levelClock.fetch_add(1, std::memory_order_release);
}

void Logging::CLogger::SetDefaultLevel(ELevel level)
{
    auto& library = SLibrary::instance();
    library.defaultLevel.store(nearestLevel(level), std::memory_order_relaxed);
    library.levelClock.fetch_add(1, std::memory_order_release);
}

unsigned int Logging::CLogger::GetInstanceCount(const wchar_t* name)
{
    const SName* known = SLibrary::instance().find(viewOf(name));
    return known ? known->instanceCount.load(std::memory_order_relaxed) : 0;
}

Logging::ELevel Logging::CLogger::refreshedLevel() const
{
    const unsigned int clock = GetLevelClock();
    const unsigned long long known = m_level.load(std::memory_order_relaxed);
    if (known >> c_LevelBits == clock)
    {
        return static_cast<ELevel>(known & 0xFF);
    }
    const int own = m_name->level.load(std::memory_order_relaxed);
    const ELevel level =
        own == c_NoLevel ? SLibrary::instance().defaultLevel.load(std::memory_order_relaxed) : static_cast<ELevel>(own);
    // Relaxed: the word carries both halves, and nothing else is read on its word.
    m_level.store((static_cast<unsigned long long>(clock) << c_LevelBits) | static_cast<unsigned int>(level),
                  std::memory_order_relaxed);
    return level;
}

bool Logging::CLogger::isEnabled(ELevel level) const
{
    return level >= refreshedLevel();
}

// Whether a line of that level would reach a sink.
bool Logging::CLogger::isWanted(ELevel level) const
{
    return level >= SLibrary::instance().minimum.load(std::memory_order_relaxed) && isEnabled(level);
}

void Logging::CLogger::write(ELevel level, const char* file, int line, const char* function,
                             std::wstring_view text) const
{
    const auto sinks = SLibrary::instance().getSinks();
    const SRecord record{.logger = m_name->name,
                         .level = level,
                         .file = file ? file : "",
                         .line = line,
                         .function = function ? function : "",
                         .text = std::wstring(text),
                         .threadId = GetCurrentThreadId()};
    std::exception_ptr firstFailure;
    for (const auto& entry : *sinks)
    {
        if (level < entry.minimum)
        {
            continue;
        }
        try
        {
            entry.sink->Write(record);
        }
        catch (...)
        {
            if (!firstFailure)
            {
                firstFailure = std::current_exception();
            }
        }
    }
    if (firstFailure)
    {
        std::rethrow_exception(firstFailure);
    }
}
