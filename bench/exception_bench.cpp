// Raising an exception: built, logged, thrown and caught.

#include <memory>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include "logging/sinks.h"
#include "orvane/exception/cbexceptionstd.h"
#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/raisesite.h"
#include "support/benchmain.h"

namespace
{
constexpr char const* c_SourceFile = "exception_bench";

// A recorder instead of standard error for the time of a row, with errors logged or not.
class CRecording
{
public:
    explicit CRecording(Logging::ELevel level) : m_sink(std::make_shared<Logging::CRecorderSink>())
    {
        Logging::CLogger::SetLevel(L"Exception", level);
        Logging::CLogger::RemoveSink(Logging::GetDefaultSink());
        Logging::CLogger::AddSink(m_sink);
    }

    CRecording(CRecording const&) = delete;
    CRecording& operator=(CRecording const&) = delete;

    ~CRecording()
    {
        Logging::CLogger::RemoveSink(m_sink);
        Logging::CLogger::AddSink(Logging::GetDefaultSink());
        Logging::CLogger::SetLevel(L"Exception", Logging::eLevelInfo);
    }

    // Forgets the lines now and then, so that the recorder neither grows without end nor starts anew each time.
    void Next()
    {
        constexpr unsigned int c_KeptRaises = 1000;
        if (++m_raises % c_KeptRaises == 0)
        {
            m_lines += m_sink->TakeRecords().size();
        }
    }

    std::size_t GetLines()
    {
        m_lines += m_sink->TakeRecords().size();
        return m_lines;
    }

private:
    std::shared_ptr<Logging::CRecorderSink> m_sink;
    std::size_t m_lines = 0;
    unsigned int m_raises = 0;
};

[[noreturn, gnu::noipa]] void raiseOwn()
{
    throw CbException(CB_SITE("raiseOwn"));
}

[[noreturn, gnu::noipa]] void raiseOwnWithMessage()
{
    throw CbException(CB_SITE("raiseOwnWithMessage"), L"the file has no header");
}

[[noreturn, gnu::noipa]] void raiseOwnWithCause()
{
    try
    {
        throw std::runtime_error("the disk is full");
    }
    catch (std::exception const& cause)
    {
        throw CbException(CB_SITE("raiseOwnWithCause"), CbExceptionStd(CB_SITE("raiseOwnWithCause"), cause));
    }
}

[[noreturn, gnu::noipa]] void raiseLight()
{
    throw CbExceptionStream(CB_SITE("raiseLight"));
}

[[noreturn, gnu::noipa]] void raiseStandard()
{
    throw std::runtime_error("the file has no header");
}

template <class TException>
void raiseAndCatch(void (*raise)())
{
    try
    {
        raise();
    }
    catch (TException const& exception)
    {
        benchmark::DoNotOptimize(&exception);
    }
}

template <class TException>
void addOwn(char const* row, void (*raise)(), Logging::ELevel level, std::size_t linesEach)
{
    benchmark::RegisterBenchmark(row,
                                 [=](benchmark::State& state)
                                 {
                                     CRecording recording(level);
                                     std::size_t raises = 0;
                                     for (auto each : state)
                                     {
                                         static_cast<void>(each);
                                         raiseAndCatch<TException>(raise);
                                         recording.Next();
                                         ++raises;
                                     }
                                     if (recording.GetLines() != raises * linesEach)
                                     {
                                         state.SkipWithError("the recorder has not received what is measured");
                                     }
                                 });
}

void addStandard(char const* row)
{
    benchmark::RegisterBenchmark(row,
                                 [](benchmark::State& state)
                                 {
                                     for (auto each : state)
                                     {
                                         static_cast<void>(each);
                                         raiseAndCatch<std::exception>(&raiseStandard);
                                     }
                                 });
}
} // namespace

void registerRows()
{
    addOwn<CbException>("raise, both lines/orvane", &raiseOwn, Logging::eLevelInfo, 2);
    addStandard("raise, both lines/std::runtime_error");
    addOwn<CbException>("raise, both lines, message/orvane", &raiseOwnWithMessage, Logging::eLevelInfo, 2);
    addOwn<CbException>("raise, error line off/orvane", &raiseOwn, Logging::eLevelOff, 1);
    addOwn<CbException>("raise with a cause, four lines/orvane", &raiseOwnWithCause, Logging::eLevelInfo, 4);
    addOwn<IException>("raise, light kind, its line/orvane", &raiseLight, Logging::eLevelInfo, 1);
    addOwn<IException>("raise, light kind, line off/orvane", &raiseLight, Logging::eLevelOff, 0);
}
