#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "logging/loggingtest.h"

using Logging::CLogger;
using Logging::ISink;
using Logging::SRecord;
using testing::ElementsAre;

class CLoggerSinks : public LoggingTest
{
protected:
    static void log(const wchar_t* text)
    {
        CLogger(L"Sinks").Error("f", 1, "g", CStringW(text));
    }
};

TEST_F(CLoggerSinks, AllReceiveEveryLine)
{
    const auto second = std::make_shared<Logging::CRecorderSink>();
    CLogger::AddSink(second);
    log(L"line");
    CLogger::RemoveSink(second);

    EXPECT_EQ(m_recorder->GetRecords().size(), 1U);
    EXPECT_EQ(second->GetRecords().size(), 1U);
}

TEST_F(CLoggerSinks, ReceiveNothingBeforeTheyAreAddedAndAfterTheyAreRemoved)
{
    const auto sink = std::make_shared<Logging::CRecorderSink>();
    log(L"before");
    CLogger::AddSink(sink);
    log(L"between");
    CLogger::RemoveSink(sink);
    log(L"after");

    const auto records = sink->GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text, L"between");
}

TEST_F(CLoggerSinks, ReceiveALineAsOftenAsTheyWereAdded)
{
    CLogger::AddSink(m_recorder);
    log(L"twice");
    CLogger::RemoveSink(m_recorder);
    log(L"once");

    EXPECT_THAT(texts(), ElementsAre(L"twice", L"twice", L"once"));
}

TEST_F(CLoggerSinks, MayBeUnknownWhenRemoved)
{
    CLogger::RemoveSink(std::make_shared<Logging::CRecorderSink>());
    CLogger::RemoveSink(nullptr);
    log(L"line");

    EXPECT_THAT(texts(), ElementsAre(L"line"));
}

TEST_F(CLoggerSinks, IgnoreANullSink)
{
    CLogger::AddSink(nullptr);
    log(L"line");

    EXPECT_THAT(texts(), ElementsAre(L"line"));
}

TEST_F(CLoggerSinks, MayBeNone)
{
    CLogger::RemoveSink(m_recorder);
    log(L"into the void");
    CLogger(L"Sinks").Warn("f", 1, "g", L"%s", L"likewise");
    CLogger::AddSink(m_recorder);

    EXPECT_TRUE(texts().empty());
}

TEST_F(CLoggerSinks, AreKeptAliveByTheLogger)
{
    std::vector<std::wstring> lines;
    std::weak_ptr<ISink> watched;
    {
        const auto sink = Logging::MakeCallbackSink([&](const SRecord& record) { lines.push_back(record.text); });
        watched = sink;
        CLogger::AddSink(sink);
    }
    log(L"line");
    EXPECT_THAT(lines, ElementsAre(L"line"));

    CLogger::RemoveSink(watched.lock());
    EXPECT_TRUE(watched.expired());
}

TEST_F(CLoggerSinks, MayLogFromInsideWrite)
{
    int depth = 0;
    const auto sink = Logging::MakeCallbackSink(
        [&](const SRecord&)
        {
            if (++depth == 1)
            {
                log(L"inner");
            }
        });
    CLogger::AddSink(sink);
    log(L"outer");
    CLogger::RemoveSink(sink);

    EXPECT_EQ(depth, 2);
    EXPECT_THAT(texts(), ElementsAre(L"outer", L"inner"));
}

TEST_F(CLoggerSinks, MayAddAndRemoveSinksFromInsideWrite)
{
    const auto added = std::make_shared<Logging::CRecorderSink>();
    std::shared_ptr<ISink> once;
    once = Logging::MakeCallbackSink(
        [&](const SRecord&)
        {
            CLogger::RemoveSink(once);
            CLogger::AddSink(added);
        });
    CLogger::AddSink(once);
    log(L"first");
    log(L"second");
    CLogger::RemoveSink(added);

    // The line that is being written goes to the sinks there were when it began.
    const auto records = added->GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text, L"second");
}

TEST_F(CLoggerSinks, MayLogFromTheirDestructors)
{
    struct SFarewell : ISink
    {
        ~SFarewell() override
        {
            log(L"farewell");
        }

        void Write(const SRecord&) override
        {
        }
    };

    std::shared_ptr<ISink> sink = std::make_shared<SFarewell>();
    const std::weak_ptr<ISink> watched = sink;
    CLogger::AddSink(std::move(sink));
    CLogger::RemoveSink(watched.lock());

    EXPECT_TRUE(watched.expired());
    EXPECT_THAT(texts(), ElementsAre(L"farewell"));
}

TEST_F(CLoggerSinks, MaySetLevelsFromInsideWrite)
{
    const auto sink =
        Logging::MakeCallbackSink([](const SRecord&) { CLogger::SetLevel(L"Sinks.Silenced", Logging::eLevelOff); });
    CLogger::AddSink(sink);
    const CLogger logger(L"Sinks.Silenced");
    logger.Error("f", 1, "g", L"first");
    logger.Error("f", 1, "g", L"second");
    CLogger::RemoveSink(sink);

    EXPECT_THAT(texts(), ElementsAre(L"first"));
}

TEST_F(CLoggerSinks, LetTheirExceptionsReachTheCaller)
{
    const auto sink = Logging::MakeCallbackSink([](const SRecord&) { throw std::domain_error("full"); });
    CLogger::AddSink(sink);
    EXPECT_THROW(log(L"text"), std::domain_error);
    EXPECT_THROW(CLogger(L"Sinks").Warn("f", 1, "g", L"%s", L"format"), std::domain_error);
    CLogger::RemoveSink(sink);
    EXPECT_NO_THROW(log(L"after"));
}

TEST_F(CLoggerSinks, ReceiveTheLineThatAnotherSinkThrewAt)
{
    const auto throwing = Logging::MakeCallbackSink([](const SRecord&) { throw std::domain_error("first"); });
    const auto alsoThrowing = Logging::MakeCallbackSink([](const SRecord&) { throw std::range_error("second"); });
    const auto last = std::make_shared<Logging::CRecorderSink>();
    CLogger::AddSink(throwing);
    CLogger::AddSink(alsoThrowing);
    CLogger::AddSink(last);
    EXPECT_THROW(log(L"line"), std::domain_error);
    CLogger::RemoveSink(throwing);
    CLogger::RemoveSink(alsoThrowing);
    CLogger::RemoveSink(last);

    EXPECT_THAT(texts(), ElementsAre(L"line"));
    EXPECT_EQ(last->GetRecords().size(), 1U);
}
