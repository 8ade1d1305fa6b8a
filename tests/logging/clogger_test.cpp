#include "logging/clogger.h"

#include <thread>
#include <type_traits>

#include <gmock/gmock.h>

#include "logging/loggingtest.h"
#include "platform/platform.h"

using Logging::CLogger;
using testing::ElementsAre;

static_assert(!std::is_copy_constructible_v<CLogger> && !std::is_copy_assignable_v<CLogger>);

class CLoggerLine : public LoggingTest
{
};

TEST_F(CLoggerLine, CarriesWhatTheCallerPassed)
{
    CLogger(L"Line.All").Error("cbfile", 98, "CbClass::Member", CStringW(L"what happened"));

    const auto records = m_recorder->GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].logger, L"Line.All");
    EXPECT_EQ(records[0].level, Logging::eLevelError);
    EXPECT_EQ(records[0].file, "cbfile");
    EXPECT_EQ(records[0].line, 98);
    EXPECT_EQ(records[0].function, "CbClass::Member");
    EXPECT_EQ(records[0].text, L"what happened");
}

TEST_F(CLoggerLine, CarriesTheLevelOfTheOperation)
{
    const CLogger logger(L"Line.Level");
    logger.Info("f", 1, "g", CStringW(L"i"));
    logger.Warn("f", 1, "g", L"w");
    logger.Error("f", 1, "g", L"e");
    logger.Error("f", 1, "g", CStringW(L"e"));

    std::vector<Logging::ELevel> levels;
    for (const auto& record : m_recorder->GetRecords())
    {
        levels.push_back(record.level);
    }
    EXPECT_THAT(levels,
                ElementsAre(Logging::eLevelInfo, Logging::eLevelWarn, Logging::eLevelError, Logging::eLevelError));
}

TEST_F(CLoggerLine, CarriesTheIdOfTheLoggingThread)
{
    const CLogger logger(L"Line.Thread");
    unsigned int otherId = 0;
    logger.Error("f", 1, "g", L"here");
    std::jthread(
        [&]
        {
            otherId = GetCurrentThreadId();
            logger.Error("f", 1, "g", L"there");
        })
        .join();

    const auto records = m_recorder->GetRecords();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].threadId, GetCurrentThreadId());
    EXPECT_EQ(records[1].threadId, otherId);
    EXPECT_NE(records[0].threadId, records[1].threadId);
}

TEST_F(CLoggerLine, TakesNullFileAndFunctionAsEmpty)
{
    CLogger(L"Line.Null").Info(nullptr, 0, nullptr, CStringW(L"text"));
    CLogger(L"Line.Null").Warn(nullptr, -1, nullptr, L"text");

    const auto records = m_recorder->GetRecords();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].file, "");
    EXPECT_EQ(records[0].function, "");
    EXPECT_EQ(records[1].line, -1);
}

TEST_F(CLoggerLine, KeepsAGivenTextAsItStands)
{
    const CLogger logger(L"Line.Verbatim");
    logger.Info("f", 1, "g", CStringW(L"100 %s %d %n %%"));
    logger.Error("f", 1, "g", CStringW(L"%s\r\n{\"message\":\"%d\"}\r\n"));

    EXPECT_THAT(texts(), ElementsAre(L"100 %s %d %n %%", L"%s\r\n{\"message\":\"%d\"}\r\n"));
}

TEST_F(CLoggerLine, KeepsNulCharactersOfAGivenText)
{
    CLogger(L"Line.Nul").Info("f", 1, "g", CStringW(L"a\0b", 3));

    EXPECT_THAT(texts(), ElementsAre(std::wstring(L"a\0b", 3)));
}

TEST_F(CLoggerLine, KeepsAnEmptyText)
{
    CLogger(L"Line.Empty").Info("f", 1, "g", CStringW());

    EXPECT_THAT(texts(), ElementsAre(L""));
}

TEST_F(CLoggerLine, KeepsALongText)
{
    const std::wstring text(100'000, L'x');
    const CLogger logger(L"Line.Long");
    logger.Info("f", 1, "g", CStringW(text.c_str()));
    logger.Warn("f", 1, "g", L"%s", text.c_str());

    EXPECT_THAT(texts(), ElementsAre(text, text));
}

TEST_F(CLoggerLine, FormatsWarningsAndErrorsWithWideText)
{
    const CLogger logger(L"Line.Format");
    logger.Warn("f", 1, "g", L"%s: %d of %u", L"Gr\u00F6\u00DFe", -3, 7U);
    logger.Error("f", 1, "g", L"%08X %c %%", 0xBEEF, L'x');

    EXPECT_THAT(texts(), ElementsAre(L"Gr\u00F6\u00DFe: -3 of 7", L"0000BEEF x %"));
}

TEST_F(CLoggerLine, TakesAnotherWidthByItsOwnConversion)
{
    CLogger(L"Line.Narrow").Warn("f", 1, "g", L"%S and %s", "narrow", L"wide");

    EXPECT_THAT(texts(), ElementsAre(L"narrow and wide"));
}

TEST_F(CLoggerLine, TakesANullFormatAsAnEmptyText)
{
    const CLogger logger(L"Line.NullFormat");
    const wchar_t* const none = nullptr;
    logger.Warn("f", 1, "g", none);
    logger.Error("f", 1, "g", none);

    EXPECT_THAT(texts(), ElementsAre(L"", L""));
}

TEST_F(CLoggerLine, TakesAFormatThatCannotBeFormattedAsItStands)
{
    // Longer than a length can say.
    const CLogger logger(L"Line.Unformattable");
    logger.Warn("f", 1, "g", L"%2147483647d%2147483647d", 1, 2);
    logger.Error("f", 1, "g", L"%2147483647d%2147483647d", 1, 2);

    EXPECT_THAT(texts(), ElementsAre(L"%2147483647d%2147483647d", L"%2147483647d%2147483647d"));
}

TEST(CLoggerName, IsCopied)
{
    wchar_t buffer[] = L"Name.Buffer";
    const CLogger logger(buffer);
    buffer[0] = L'X';

    EXPECT_STREQ(logger.GetName(), L"Name.Buffer");
}

TEST(CLoggerName, IsEmptyForNull)
{
    EXPECT_STREQ(CLogger(nullptr).GetName(), L"");
}

TEST(CLoggerName, SharesNothingWithNamesThatOnlyLookAlike)
{
    const CLogger one(L"Name.Case");
    EXPECT_EQ(CLogger::GetInstanceCount(L"name.case"), 0U);
    EXPECT_EQ(CLogger::GetInstanceCount(L"Name.Cas"), 0U);
    EXPECT_EQ(CLogger::GetInstanceCount(L"Name.Case2"), 0U);
}

TEST(CLoggerInstanceCount, IsZeroForANameThatNobodyUsed)
{
    EXPECT_EQ(CLogger::GetInstanceCount(L"Instances.Never"), 0U);
    EXPECT_EQ(CLogger::GetInstanceCount(L"Instances.Never"), 0U);
}

TEST(CLoggerInstanceCount, CountsLoggersMadeAndNotLoggersAlive)
{
    {
        const CLogger first(L"Instances.Made");
        EXPECT_EQ(CLogger::GetInstanceCount(L"Instances.Made"), 1U);
    }
    const CLogger second(L"Instances.Made");
    EXPECT_EQ(CLogger::GetInstanceCount(L"Instances.Made"), 2U);
}

TEST(CLoggerInstanceCount, TakesNullAsTheEmptyName)
{
    const unsigned int before = CLogger::GetInstanceCount(L"");
    const CLogger logger(nullptr);
    EXPECT_EQ(CLogger::GetInstanceCount(L""), before + 1);
    EXPECT_EQ(CLogger::GetInstanceCount(nullptr), before + 1);
}

TEST(CLoggerInstanceCount, IsNotMovedByALevelForTheName)
{
    CLogger::SetLevel(L"Instances.LevelOnly", Logging::eLevelError);
    EXPECT_EQ(CLogger::GetInstanceCount(L"Instances.LevelOnly"), 0U);
}

TEST(CLoggerInstanceCount, KeepsManyNamesApart)
{
    // Several times as many names as the table of names has buckets.
    constexpr int c_Count = 5'000;
    const auto nameOf = [](int number) { return L"Instances.Many." + std::to_wstring(number); };
    for (int n = 0; n < c_Count; ++n)
    {
        const CLogger logger(nameOf(n).c_str());
        ASSERT_STREQ(logger.GetName(), nameOf(n).c_str());
    }
    for (int n = 0; n < c_Count; ++n)
    {
        ASSERT_EQ(CLogger::GetInstanceCount(nameOf(n).c_str()), 1U) << n;
    }
}
