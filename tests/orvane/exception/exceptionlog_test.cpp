// What exceptions of the full family write to the log, line by line and byte by byte.

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptioncondition.h"
#include "orvane/exception/cbexceptionnotimplemented.h"
#include "orvane/exception/cbexceptionpreconditionviolation.h"
#include "orvane/exception/cbexceptionstd.h"
#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionunknownextension.h"
#include "orvane/exception/testkinds.h"
#include "platform/platform.h"
#include "support/logline.h"

using Logging::eLevelError;
using Logging::eLevelInfo;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
SLogLine analytics(std::string const& file, int line, std::wstring const& type, std::wstring const& message)
{
    return {L"Analytics",
            eLevelInfo,
            file,
            line,
            "",
            LR"({"logtype":"application", "actiontype":"exception", "data":{"type":")" + type + LR"(","message":")" +
                message + LR"("}})"};
}

SLogLine entry(std::string const& file, int line, std::string const& function, std::wstring const& text)
{
    return {L"Exception", eLevelError, file, line, function, text};
}

class CFailingSink : public Logging::ISink
{
public:
    explicit CFailingSink(std::wstring logger) : m_logger(std::move(logger))
    {
    }

    void Write(Logging::SRecord const& record) override
    {
        if (record.logger == m_logger)
        {
            throw std::runtime_error("the disk is full");
        }
    }

private:
    std::wstring m_logger;
};

class ExceptionLog : public testing::Test
{
protected:
    // The error entries alone.
    std::vector<std::wstring> entryTexts() const
    {
        std::vector<std::wstring> texts;
        for (Logging::SRecord const& record : m_recorder.GetRecords(L"Exception"))
        {
            texts.push_back(record.text);
        }
        return texts;
    }

    CLogRecorder m_recorder;
};

using ExceptionLogHistory = ExceptionLog;
using ExceptionLogMessage = ExceptionLog;
using ExceptionLogFileName = ExceptionLog;
using ExceptionLogLevel = ExceptionLog;
using ExceptionLogSilence = ExceptionLog;
using ExceptionLogLoggers = ExceptionLog;
using ExceptionLogFailure = ExceptionLog;
using ExceptionLogThreads = ExceptionLog;
} // namespace

// ---- one exception

TEST_F(ExceptionLog, OfAnExceptionWithAMessageIsOneStructuredLineAndOneEntry)
{
    CbException const exception("c:\\src\\alpha", 7, "Alpha::Run", L"x");

    EXPECT_THAT(
        linesOf(m_recorder),
        ElementsAre(
            SLogLine{L"Analytics", eLevelInfo, "c:\\src\\alpha", 7, "",
                     L"{\"logtype\":\"application\", \"actiontype\":\"exception\", \"data\":{\"type\":\"CbException\","
                     L"\"message\":\"x\"}}"},
            SLogLine{L"Exception", eLevelError, "c:\\src\\alpha", 7, "Alpha::Run",
                     L"Exception: 'CbException' (alpha:7): 'x'\n"}));
}

TEST_F(ExceptionLog, OfAnExceptionWithoutAMessageHasNoMessagePart)
{
    CbException const exception("c:\\src\\alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("c:\\src\\alpha", 7, L"CbException", L""),
                            entry("c:\\src\\alpha", 7, "Alpha::Run", L"Exception: 'CbException' (alpha:7)\n")));
}

TEST_F(ExceptionLog, OfAConditionStandsUnderItsOwnName)
{
    CbExceptionCondition const exception("alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("alpha", 7, L"CbExceptionCondition", L""),
                            entry("alpha", 7, "Alpha::Run", L"Exception: 'CbExceptionCondition' (alpha:7)\n")));
}

TEST_F(ExceptionLog, OfANotImplementedStandsUnderItsOwnName)
{
    CbExceptionNotImplemented const exception("alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("alpha", 7, L"CbExceptionNotImplemented", L""),
                            entry("alpha", 7, "Alpha::Run", L"Exception: 'CbExceptionNotImplemented' (alpha:7)\n")));
}

TEST_F(ExceptionLog, OfAPreconditionViolationStandsUnderItsOwnName)
{
    CbExceptionPreconditionViolation const exception("alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("alpha", 7, L"CbExceptionPreconditionViolation", L""),
                                                 entry("alpha", 7, "Alpha::Run",
                                                       L"Exception: 'CbExceptionPreconditionViolation' (alpha:7)\n")));
}

TEST_F(ExceptionLog, OfAnUnknownExtensionStandsUnderTheNameOfItsBase)
{
    CbExceptionUnknownExtension const exception("alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("alpha", 7, L"CbException", L""),
                            entry("alpha", 7, "Alpha::Run", L"Exception: 'CbException' (alpha:7)\n")));
}

TEST_F(ExceptionLog, OfAWrappedStandardExceptionHasItsTextAsTheMessage)
{
    CbExceptionStd const exception("alpha", 7, "Alpha::Run", std::runtime_error("no luck"));

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("alpha", 7, L"CbExceptionStd", L"no luck"),
                            entry("alpha", 7, "Alpha::Run", L"Exception: 'CbExceptionStd' (alpha:7): 'no luck'\n")));
}

TEST_F(ExceptionLog, OfAClientsKindStandsUnderItsRecord)
{
    CbExceptionClient const plain("alpha", 7, "Alpha::Run");
    CbExceptionClient const withMessage("beta", 8, "Beta::Run", L"x");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("alpha", 7, L"CbExceptionClient", L""),
                            entry("alpha", 7, "Alpha::Run", L"Exception: 'CbExceptionClient' (alpha:7)\n"),
                            analytics("beta", 8, L"CbExceptionClient", L"x"),
                            entry("beta", 8, "Beta::Run", L"Exception: 'CbExceptionClient' (beta:8): 'x'\n")));
}

TEST_F(ExceptionLog, OfAClientsClassWithoutARecordStandsUnderItsBase)
{
    CExceptionUnregistered const exception("alpha", 7, "Alpha::Run");

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (alpha:7)\n"));
}

TEST_F(ExceptionLog, IsWrittenOnceWhenTheExceptionIsThrownAndRethrown)
{
    try
    {
        try
        {
            throw CbException("alpha", 7, "Alpha::Run");
        }
        catch (CbException const&)
        {
            throw;
        }
    }
    catch (IException const&)
    {
        EXPECT_EQ(m_recorder.GetRecords().size(), 2u);
    }
    EXPECT_EQ(m_recorder.GetRecords().size(), 2u);
}

TEST_F(ExceptionLog, CarriesNullTextsAsEmptyOnes)
{
    CbException const exception(nullptr, 0, nullptr);

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("", 0, L"CbException", L""),
                                                 entry("", 0, "", L"Exception: 'CbException' (:0)\n")));
}

// ---- messages

TEST_F(ExceptionLogMessage, ThatIsNullCountsAsNone)
{
    wchar_t const* const none = nullptr;
    CbException const exception("alpha", 7, "Alpha::Run", none);
    CbExceptionClient const client("beta", 8, "Beta::Run", none);

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("alpha", 7, L"CbException", L""),
                            entry("alpha", 7, "Alpha::Run", L"Exception: 'CbException' (alpha:7)\n"),
                            analytics("beta", 8, L"CbExceptionClient", L""),
                            entry("beta", 8, "Beta::Run", L"Exception: 'CbExceptionClient' (beta:8)\n")));
}

TEST_F(ExceptionLogMessage, ThatIsEmptyStandsBetweenItsQuotes)
{
    CbException const exception("alpha", 7, "Alpha::Run", L"");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("alpha", 7, L"CbException", L""),
                            entry("alpha", 7, "Alpha::Run", L"Exception: 'CbException' (alpha:7): ''\n")));
}

TEST_F(ExceptionLogMessage, WithPercentSignsReachesBothLinesUntouched)
{
    CbException const exception("alpha", 7, "Alpha::Run", L"100% %s %d %n %%");

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("alpha", 7, L"CbException", L"100% %s %d %n %%"),
                                                 entry("alpha", 7, "Alpha::Run",
                                                       L"Exception: 'CbException' (alpha:7): '100% %s %d %n %%'\n")));
}

TEST_F(ExceptionLogMessage, WithQuotesAndBackslashesIsNotEscaped)
{
    CbException const exception("alpha", 7, "Alpha::Run", L"say \"no\" to c:\\temp 'now'");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(SLogLine{L"Analytics", eLevelInfo, "alpha", 7, "",
                                     L"{\"logtype\":\"application\", \"actiontype\":\"exception\", \"data\":{\"type\":"
                                     L"\"CbException\",\"message\":\"say \"no\" to c:\\temp 'now'\"}}"},
                            entry("alpha", 7, "Alpha::Run",
                                  L"Exception: 'CbException' (alpha:7): 'say \"no\" to c:\\temp 'now''\n")));
}

TEST_F(ExceptionLogMessage, WithLineBreaksKeepsThem)
{
    CbException const exception("alpha", 7, "Alpha::Run", L"one\r\ntwo\tthree");

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("alpha", 7, L"CbException", L"one\r\ntwo\tthree"),
                                                 entry("alpha", 7, "Alpha::Run",
                                                       L"Exception: 'CbException' (alpha:7): 'one\r\ntwo\tthree'\n")));
}

TEST_F(ExceptionLogMessage, OfAnyLengthIsLoggedWhole)
{
    std::wstring const message(100'000, L'm');
    CbException const exception("alpha", 7, "Alpha::Run", message.c_str());

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("alpha", 7, L"CbException", message),
                                                 entry("alpha", 7, "Alpha::Run",
                                                       L"Exception: 'CbException' (alpha:7): '" + message + L"'\n")));
}

TEST_F(ExceptionLogMessage, BeyondAsciiIsLoggedAsItIs)
{
    CbException const exception("alpha", 7, "Alpha::Run", L"\u00E9\u4E2D\U0001F600");

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (alpha:7): '\u00E9\u4E2D\U0001F600'\n"));
}

TEST_F(ExceptionLogMessage, StandsBesideACauseThatShowsNone)
{
    CbException const inner("inner", 1, "function", L"of the cause");
    m_recorder.Clear();
    CbException const exception("alpha", 7, "Alpha::Run", inner, L"x");

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("alpha", 7, L"CbException", L"x"),
                                                 entry("alpha", 7, "Alpha::Run",
                                                       L"Exception: 'CbException' (alpha:7): 'x'\n"
                                                       L"\t-\tException: 'CbException' (inner:1)\n")));
}

// ---- file names and lines

TEST_F(ExceptionLogFileName, IsShortenedAtTheLastBackslashInTheEntryOnly)
{
    CbException const exception("c:\\src\\deep\\alpha.cpp", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("c:\\src\\deep\\alpha.cpp", 7, L"CbException", L""),
                                                 entry("c:\\src\\deep\\alpha.cpp", 7, "Alpha::Run",
                                                       L"Exception: 'CbException' (alpha.cpp:7)\n")));
}

TEST_F(ExceptionLogFileName, IsNotShortenedAtASlash)
{
    CbException const exception("/src/deep/alpha.cpp", 7, "Alpha::Run");

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (/src/deep/alpha.cpp:7)\n"));
}

TEST_F(ExceptionLogFileName, KeepsTheSlashesBehindTheLastBackslash)
{
    CbException const exception("c:\\src/deep/alpha.cpp", 7, "Alpha::Run");

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (src/deep/alpha.cpp:7)\n"));
}

TEST_F(ExceptionLogFileName, WithoutABackslashIsShownWhole)
{
    CbException const exception("alpha.cpp", 7, "Alpha::Run");

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (alpha.cpp:7)\n"));
}

TEST_F(ExceptionLogFileName, ThatEndsInABackslashIsShownEmpty)
{
    CbException const exception("c:\\src\\", 7, "Alpha::Run");

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (:7)\n"));
}

TEST_F(ExceptionLogFileName, WithPercentSignsIsShownUntouched)
{
    CbException const exception("c:\\%s\\100%d", 7, "Alpha::%s");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("c:\\%s\\100%d", 7, L"CbException", L""),
                            entry("c:\\%s\\100%d", 7, "Alpha::%s", L"Exception: 'CbException' (100%d:7)\n")));
}

TEST_F(ExceptionLogFileName, OfACauseIsShortenedToo)
{
    CbException const inner("c:\\src\\inner", 1, "function");
    m_recorder.Clear();
    CbException const exception("alpha", 7, "Alpha::Run", inner);

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (alpha:7)\n"
                                          L"\t-\tException: 'CbException' (inner:1)\n"));
}

TEST_F(ExceptionLogFileName, StandsBeforeALineThatIsShownSigned)
{
    CbException const exception("alpha", 4'294'967'295u, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(analytics("alpha", -1, L"CbException", L""),
                            entry("alpha", -1, "Alpha::Run", L"Exception: 'CbException' (alpha:-1)\n")));
}

// ---- causes

TEST_F(ExceptionLogHistory, OfThreeIsListedWithGrowingIndentation)
{
    CbException const oldest("gamma", 30, "Gamma::Run");
    CbExceptionNotImplemented const middle("beta", 20, "Beta::Run", oldest);
    m_recorder.Clear();
    CbExceptionPreconditionViolation const latest("alpha", 10, "Alpha::Run", middle);

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("alpha", 10, L"CbExceptionPreconditionViolation", L""),
                                                 entry("alpha", 10, "Alpha::Run",
                                                       L"Exception: 'CbExceptionPreconditionViolation' (alpha:10)\n"
                                                       L"\t-\tException: 'CbExceptionNotImplemented' (beta:20)\n"
                                                       L"\t\t-\tException: 'CbException' (gamma:30)\n")));
}

TEST_F(ExceptionLogHistory, DoesNotListALightCause)
{
    CbExceptionStream const inner("inner", 1, "function");
    m_recorder.Clear();
    CbException const exception("alpha", 7, "Alpha::Run", inner);

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (alpha:7)\n"));
}

TEST_F(ExceptionLogHistory, EndsAtALightCauseInTheMiddleOfAChain)
{
    CbException const oldest("oldest", 1, "function");
    CExceptionLight const light(&oldest);
    CbExceptionClient const middle("middle", 2, "function", light);
    m_recorder.Clear();
    CbException const latest("latest", 3, "function", middle);

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (latest:3)\n"
                                          L"\t-\tException: 'CbExceptionClient' (middle:2)\n"));
}

TEST_F(ExceptionLogHistory, ListsAnUnknownExtensionUnderItsOwnName)
{
    CbExceptionUnknownExtension const inner("inner", 1, "function");
    m_recorder.Clear();
    CbException const exception("alpha", 7, "Alpha::Run", inner);

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (alpha:7)\n"
                                          L"\t-\tException: 'CbExceptionUnknownExtension' (inner:1)\n"));
}

TEST_F(ExceptionLogHistory, ListsAWrappedStandardExceptionWithoutItsText)
{
    CbExceptionStd const inner("inner", 1, "function", std::runtime_error("no luck"));
    m_recorder.Clear();
    CbExceptionNotImplemented const exception("alpha", 7, "Alpha::Run", inner);

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbExceptionNotImplemented' (alpha:7)\n"
                                          L"\t-\tException: 'CbExceptionStd' (inner:1)\n"));
}

TEST_F(ExceptionLogHistory, ListsAClientsKindUnderItsRecord)
{
    CbExceptionClient const inner("inner", 1, "function", L"message");
    m_recorder.Clear();
    CbExceptionClient const exception("alpha", 7, "Alpha::Run", inner);
    CbExceptionClient const withMessage("beta", 8, "Beta::Run", inner, L"x");

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("alpha", 7, L"CbExceptionClient", L""),
                                                 entry("alpha", 7, "Alpha::Run",
                                                       L"Exception: 'CbExceptionClient' (alpha:7)\n"
                                                       L"\t-\tException: 'CbExceptionClient' (inner:1)\n"),
                                                 analytics("beta", 8, L"CbExceptionClient", L"x"),
                                                 entry("beta", 8, "Beta::Run",
                                                       L"Exception: 'CbExceptionClient' (beta:8): 'x'\n"
                                                       L"\t-\tException: 'CbExceptionClient' (inner:1)\n")));
}

TEST_F(ExceptionLogHistory, DoesNotListACauseThatCannotBeCloned)
{
    CbExceptionUncloneable const inner("inner", 1, "function");
    m_recorder.Clear();
    CbException const exception("alpha", 7, "Alpha::Run", inner);

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (alpha:7)\n"));
}

TEST_F(ExceptionLogHistory, OfTwentyIsListedToTheEnd)
{
    std::wstring expected;
    std::unique_ptr<CbException> latest = std::make_unique<CbException>("chain", 0u, "function");
    for (unsigned int line = 1; line <= 20; ++line)
    {
        m_recorder.Clear();
        latest = std::make_unique<CbException>("chain", line, "function", *latest);
    }
    expected = L"Exception: 'CbException' (chain:20)\n";
    for (int depth = 1; depth <= 20; ++depth)
    {
        expected += std::wstring(static_cast<std::size_t>(depth), L'\t') + L"-\tException: 'CbException' (chain:" +
                    std::to_wstring(20 - depth) + L")\n";
    }

    EXPECT_THAT(entryTexts(), ElementsAre(expected));
}

// ---- levels

TEST_F(ExceptionLogLevel, OffForErrorsLeavesTheStructuredLineAlone)
{
    CScopedLevel const off(L"Exception", Logging::eLevelOff);
    CbException const exception("alpha", 7, "Alpha::Run", L"x");

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(analytics("alpha", 7, L"CbException", L"x")));
}

TEST_F(ExceptionLogLevel, OffForErrorsSparesTheWalkThroughTheCauses)
{
    CbExceptionClient const inner("inner", 1, "function");
    CbExceptionClient::s_timesAsked = 0;
    std::unique_ptr<IException> const clone = inner.Clone();
    int const askedByCloning = CbExceptionClient::s_timesAsked;

    CbExceptionClient::s_timesAsked = 0;
    CbException const listed("alpha", 7, "Alpha::Run", inner);
    EXPECT_GT(CbExceptionClient::s_timesAsked, askedByCloning);

    CScopedLevel const off(L"Exception", Logging::eLevelOff);
    CbExceptionClient::s_timesAsked = 0;
    CbException const unlisted("alpha", 7, "Alpha::Run", inner);
    EXPECT_EQ(CbExceptionClient::s_timesAsked, askedByCloning);
}

TEST_F(ExceptionLogLevel, ErrorAdmitsTheEntry)
{
    CScopedLevel const error(L"Exception", eLevelError);
    CbException const exception("alpha", 7, "Alpha::Run");

    EXPECT_THAT(entryTexts(), ElementsAre(L"Exception: 'CbException' (alpha:7)\n"));
}

TEST_F(ExceptionLogLevel, OfTheStructuredLineDoesNotTouchTheEntry)
{
    CScopedLevel const off(L"Analytics", Logging::eLevelOff);
    CbException const exception("alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(entry("alpha", 7, "Alpha::Run", L"Exception: 'CbException' (alpha:7)\n")));
}

// ---- what does not log

TEST_F(ExceptionLogSilence, CoversCopiesMovesClonesAndAssignments)
{
    CbException original("alpha", 7, "function", CbException("inner", 1, "function"));
    CbExceptionStd wrapped("beta", 8, "function", std::runtime_error("no luck"));
    CbExceptionCondition condition("gamma", 9, "function");
    m_recorder.Clear();

    CbException copy(original);
    CbException moved(std::move(copy));
    copy = original;
    moved = std::move(original);
    CbExceptionStd wrappedCopy(wrapped);
    wrappedCopy = wrapped;
    CbExceptionStd const wrappedMoved(std::move(wrapped));
    CbExceptionCondition const conditionCopy(condition);
    CbExceptionCondition const conditionMoved(std::move(condition));
    std::unique_ptr<IException> const clone = moved.Clone();
    std::unique_ptr<IException> const conditionClone = conditionCopy.Clone();
    std::unique_ptr<IException> const wrappedClone = wrappedMoved.Clone();

    EXPECT_THAT(linesOf(m_recorder), IsEmpty());
}

TEST_F(ExceptionLogSilence, CoversWhatIsAskedOfAnException)
{
    CbException const exception("alpha", 7, "function", CbException("inner", 1, "function"));
    m_recorder.Clear();

    static_cast<void>(exception.GetFilename());
    static_cast<void>(exception.GetHistory());
    static_cast<void>(exception.GetClassNameW());
    static_cast<void>(exception.IsKindOf(CbException::RTTI));

    EXPECT_THAT(linesOf(m_recorder), IsEmpty());
}

TEST_F(ExceptionLogSilence, CoversTheCloneOfTheCause)
{
    CbExceptionCondition const inner("inner", 1, "function");
    m_recorder.Clear();
    CbException const exception("alpha", 7, "function", inner);

    EXPECT_EQ(m_recorder.GetRecords(L"Analytics").size(), 1u);
    EXPECT_EQ(m_recorder.GetRecords(L"Exception").size(), 1u);
}

// ---- the logger objects

TEST_F(ExceptionLogLoggers, ForStructuredLinesAreMadeOneForEachException)
{
    unsigned int const before = Logging::CLogger::GetInstanceCount(L"Analytics");
    CbException const plain("alpha", 7, "function");
    CbExceptionCondition const condition("beta", 8, "function");
    CbExceptionClient const client("gamma", 9, "function", condition, L"x");

    EXPECT_EQ(Logging::CLogger::GetInstanceCount(L"Analytics"), before + 3);
}

TEST_F(ExceptionLogLoggers, ForStructuredLinesAreNotMadeForCopies)
{
    CbException const original("alpha", 7, "function");
    unsigned int const before = Logging::CLogger::GetInstanceCount(L"Analytics");
    CbException const copy(original);
    std::unique_ptr<IException> const clone = original.Clone();

    EXPECT_EQ(Logging::CLogger::GetInstanceCount(L"Analytics"), before);
}

TEST_F(ExceptionLogLoggers, ForEntriesAreMadeAtStartUpAndNeverAgain)
{
    unsigned int const before = Logging::CLogger::GetInstanceCount(L"Exception");
    CbException const plain("alpha", 7, "function");
    CbExceptionCondition const condition("beta", 8, "function");
    CbExceptionStream const stream("gamma", 9, "function");

    EXPECT_EQ(Logging::CLogger::GetInstanceCount(L"Exception"), before);
}

TEST_F(ExceptionLogLoggers, ForEntriesAreOneForEachFileThatLogsThemOrRaises)
{
    // cbexception and the four light kinds log; condition, and fourteen files with CB_RAISING_FILE, raise.
    EXPECT_EQ(Logging::CLogger::GetInstanceCount(L"Exception"), 20u);
}

// ---- failures of the log

TEST_F(ExceptionLogFailure, OfTheStructuredLineReachesTheCallerOfTheConstructor)
{
    auto const sink = std::make_shared<CFailingSink>(L"Analytics");
    Logging::CLogger::AddSink(sink);
    EXPECT_THROW(CbException("alpha", 7, "function"), std::runtime_error);
    Logging::CLogger::RemoveSink(sink);

    EXPECT_THAT(entryTexts(), IsEmpty());
}

TEST_F(ExceptionLogFailure, OfTheEntryReachesTheCallerOfTheConstructor)
{
    auto const sink = std::make_shared<CFailingSink>(L"Exception");
    Logging::CLogger::AddSink(sink);
    EXPECT_THROW(CbException("alpha", 7, "function"), std::runtime_error);
    EXPECT_THROW(CbExceptionStream("alpha", 7, "function"), std::runtime_error);
    Logging::CLogger::RemoveSink(sink);
}

// ---- threads

TEST_F(ExceptionLogThreads, AllWriteTheirLinesUnderTheirOwnIds)
{
    constexpr int c_Threads = 8;
    constexpr unsigned int c_Exceptions = 50;
    std::vector<unsigned int> ids(c_Threads);
    std::vector<std::thread> threads;
    for (int n = 0; n < c_Threads; ++n)
    {
        threads.emplace_back(
            [n, &ids]
            {
                ids[static_cast<std::size_t>(n)] = static_cast<unsigned int>(GetCurrentThreadId());
                for (unsigned int line = 1; line <= c_Exceptions; ++line)
                {
                    CbException const exception("alpha", line, "function", L"message");
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }

    EXPECT_EQ(m_recorder.GetRecords(L"Analytics").size(), c_Threads * c_Exceptions);
    for (unsigned int const id : ids)
    {
        int expectedLine = 1;
        for (Logging::SRecord const& record : m_recorder.GetRecords(L"Exception"))
        {
            if (record.threadId == id)
            {
                EXPECT_EQ(record.line, expectedLine);
                EXPECT_EQ(record.text,
                          L"Exception: 'CbException' (alpha:" + std::to_wstring(expectedLine) + L"): 'message'\n");
                ++expectedLine;
            }
        }
        EXPECT_EQ(expectedLine, static_cast<int>(c_Exceptions) + 1);
    }
}
