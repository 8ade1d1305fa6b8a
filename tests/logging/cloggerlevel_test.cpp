#include "logging/loggingtest.h"

using Logging::CLogger;
using Logging::ELevel;

namespace
{
struct SThreshold
{
    const char* name;
    ELevel level;
    bool debug;
    bool info;
    bool warn;
    bool error;
};

// Each level with what passes it.
constexpr SThreshold c_Thresholds[] = {
    {"Debug", Logging::eLevelDebug, true, true, true, true},
    {"Info", Logging::eLevelInfo, false, true, true, true},
    {"Warn", Logging::eLevelWarn, false, false, true, true},
    {"Error", Logging::eLevelError, false, false, false, true},
    {"Off", Logging::eLevelOff, false, false, false, false},
    {"BelowTheList", static_cast<ELevel>(-7), true, true, true, true},
    {"AboveTheList", static_cast<ELevel>(1000), false, false, false, false},
};
} // namespace

class CLoggerThreshold : public LoggingTest, public testing::WithParamInterface<SThreshold>
{
protected:
    void expectThreshold(const CLogger& logger)
    {
        const auto& expected = GetParam();
        EXPECT_EQ(logger.IsDebugEnabled(), expected.debug);
        EXPECT_EQ(logger.IsInfoEnabled(), expected.info);
        EXPECT_EQ(logger.IsWarnEnabled(), expected.warn);
        EXPECT_EQ(logger.IsErrorEnabled(), expected.error);

        m_recorder->Clear();
        logger.Info("f", 1, "g", CStringW(L"info"));
        logger.Warn("f", 1, "g", L"warn");
        logger.Error("f", 1, "g", L"error format");
        logger.Error("f", 1, "g", CStringW(L"error text"));
        std::vector<std::wstring> lines;
        const auto expect = [&](bool passes, const wchar_t* text)
        {
            if (passes)
            {
                lines.push_back(text);
            }
        };
        expect(expected.info, L"info");
        expect(expected.warn, L"warn");
        expect(expected.error, L"error format");
        expect(expected.error, L"error text");
        EXPECT_EQ(texts(), lines);
    }
};

TEST_P(CLoggerThreshold, ByNameHoldsForALoggerThatExists)
{
    const CLogger logger(L"Threshold.Exists");
    logger.RefreshLevel();
    CLogger::SetLevel(L"Threshold.Exists", GetParam().level);
    expectThreshold(logger);
}

TEST_P(CLoggerThreshold, ByNameHoldsForALoggerMadeLater)
{
    CLogger::SetLevel(L"Threshold.Later", GetParam().level);
    expectThreshold(CLogger(L"Threshold.Later"));
}

TEST_P(CLoggerThreshold, ByDefaultHoldsForALoggerThatExists)
{
    const CLogger logger(L"Threshold.Default");
    CLogger::SetDefaultLevel(GetParam().level);
    expectThreshold(logger);
}

TEST_P(CLoggerThreshold, ByDefaultHoldsForALoggerMadeLater)
{
    CLogger::SetDefaultLevel(GetParam().level);
    expectThreshold(CLogger(L"Threshold.DefaultLater"));
}

TEST_P(CLoggerThreshold, ByNameGoesBeforeTheDefault)
{
    const CLogger logger(L"Threshold.Own");
    CLogger::SetLevel(L"Threshold.Own", GetParam().level);
    CLogger::SetDefaultLevel(Logging::eLevelOff);
    expectThreshold(logger);
    CLogger::SetDefaultLevel(Logging::eLevelDebug);
    expectThreshold(logger);
}

INSTANTIATE_TEST_SUITE_P(AllLevels, CLoggerThreshold, testing::ValuesIn(c_Thresholds),
                         [](const auto& row) { return row.param.name; });

class CLoggerLevel : public LoggingTest
{
};

TEST_F(CLoggerLevel, IsInfoToBeginWith)
{
    const CLogger logger(L"Level.Initial");
    EXPECT_FALSE(logger.IsDebugEnabled());
    EXPECT_TRUE(logger.IsInfoEnabled());
}

TEST_F(CLoggerLevel, IsSharedByAllLoggersOfTheNameAndNoOthers)
{
    const CLogger one(L"Level.Shared");
    const CLogger two(L"Level.Shared");
    const CLogger other(L"Level.Other");
    CLogger::SetLevel(L"Level.Shared", Logging::eLevelOff);

    EXPECT_FALSE(one.IsErrorEnabled());
    EXPECT_FALSE(two.IsErrorEnabled());
    EXPECT_TRUE(other.IsErrorEnabled());
}

TEST_F(CLoggerLevel, FollowsEveryChangeAtOnce)
{
    const CLogger logger(L"Level.Changes");
    for (int n = 0; n < 100; ++n)
    {
        CLogger::SetLevel(L"Level.Changes", Logging::eLevelOff);
        ASSERT_FALSE(logger.IsErrorEnabled());
        CLogger::SetLevel(L"Level.Changes", Logging::eLevelDebug);
        ASSERT_TRUE(logger.IsDebugEnabled());
    }
}

TEST_F(CLoggerLevel, OfTheEmptyNameIsSetWithNull)
{
    CLogger::SetLevel(nullptr, Logging::eLevelError);
    EXPECT_FALSE(CLogger(L"").IsWarnEnabled());
    CLogger::SetLevel(L"", Logging::eLevelInfo);
    EXPECT_TRUE(CLogger(nullptr).IsInfoEnabled());
}

TEST_F(CLoggerLevel, IsNotASinksBusiness)
{
    CLogger::RemoveSink(m_recorder);
    EXPECT_TRUE(CLogger(L"Level.NoSinks").IsInfoEnabled());
    CLogger::AddSink(m_recorder);
}

TEST_F(CLoggerLevel, IsTakenAnewByRefreshLevelToo)
{
    const CLogger logger(L"Level.Refresh");
    CLogger::SetLevel(L"Level.Refresh", Logging::eLevelError);
    logger.RefreshLevel();
    EXPECT_FALSE(logger.IsWarnEnabled());
    EXPECT_TRUE(logger.IsErrorEnabled());
}

TEST_F(CLoggerLevel, MovesTheClockByOneEachTimeItIsSet)
{
    const unsigned int before = CLogger::GetLevelClock();
    CLogger::SetLevel(L"Level.Clock", Logging::eLevelError);
    EXPECT_EQ(CLogger::GetLevelClock(), before + 1);
    CLogger::SetDefaultLevel(Logging::eLevelInfo);
    EXPECT_EQ(CLogger::GetLevelClock(), before + 2);
    CLogger::SetDefaultLevel(Logging::eLevelInfo);
    EXPECT_EQ(CLogger::GetLevelClock(), before + 3);
}

TEST_F(CLoggerLevel, LeavesTheClockAloneWhenItIsOnlyAskedFor)
{
    const CLogger logger(L"Level.Asked");
    const unsigned int before = CLogger::GetLevelClock();
    logger.RefreshLevel();
    logger.Info("f", 1, "g", CStringW(L"line"));
    EXPECT_TRUE(logger.IsInfoEnabled());
    EXPECT_EQ(CLogger::GetLevelClock(), before);
}
