#include "logging/sinks.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "logging/loggingtest.h"
#include "mfc/cstringt.h"
#include "support/runprogram.h"
#include "support/temporaryfolder.h"

using Logging::CLogger;
using Logging::ELevel;
using Logging::SRecord;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{
constexpr std::size_t c_Large = 1'000'000;

SRecord recordOf(std::wstring text, ELevel level = Logging::eLevelError)
{
    return {L"Sink", level, "cbfile", 98, "CbClass::Member", std::move(text), 4711};
}

// The lines of a text with either kind of line end.
std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
    {
        if (!line.empty() && line.back() == '\r')
        {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

std::string withoutFigures(std::string line)
{
    std::replace_if(
        line.begin(), line.end(), [](char ch) { return ch >= '0' && ch <= '9'; }, '#');
    return line;
}
} // namespace

// ---- the recorder

TEST(CRecorderSink, KeepsLinesInOrder)
{
    Logging::CRecorderSink sink;
    sink.Write(recordOf(L"one"));
    sink.Write(recordOf(L"two"));

    const auto records = sink.GetRecords();
    ASSERT_THAT(records, SizeIs(2));
    EXPECT_EQ(records[0].text, L"one");
    EXPECT_EQ(records[1].text, L"two");
    EXPECT_THAT(sink.GetRecords(), SizeIs(2));
}

TEST(CRecorderSink, ForgetsTheLinesItHandsOut)
{
    Logging::CRecorderSink sink;
    sink.Write(recordOf(L"one"));

    EXPECT_THAT(sink.TakeRecords(), SizeIs(1));
    EXPECT_THAT(sink.GetRecords(), IsEmpty());
}

TEST(CRecorderSink, ForgetsAllLinesWhenCleared)
{
    Logging::CRecorderSink sink;
    sink.Write(recordOf(L"one"));
    sink.Clear();

    EXPECT_THAT(sink.GetRecords(), IsEmpty());
}

// ---- the function

TEST(CallbackSink, PassesTheRecordOn)
{
    std::wstring text;
    unsigned int threadId = 0;
    const auto sink = Logging::MakeCallbackSink(
        [&](const SRecord& record)
        {
            text = record.text;
            threadId = record.threadId;
        });
    sink->Write(recordOf(L"line"));

    EXPECT_EQ(text, L"line");
    EXPECT_EQ(threadId, 4711U);
}

TEST(CallbackSink, RefusesAnEmptyFunction)
{
    EXPECT_THROW(Logging::MakeCallbackSink(nullptr), std::invalid_argument);
    EXPECT_THROW(Logging::MakeCallbackSink(std::function<void(const SRecord&)>()), std::invalid_argument);
}

// ---- the file

class RotatingFileSink : public testing::Test
{
protected:
    const std::filesystem::path& folder() const
    {
        return m_folder.path();
    }

    std::filesystem::path file(const char* name = "log.txt") const
    {
        return folder() / name;
    }

    std::shared_ptr<Logging::ISink> make(std::size_t maximumBytes = c_Large, std::size_t maximumFiles = 2) const
    {
        return Logging::MakeRotatingFileSink(file().wstring(), maximumBytes, maximumFiles);
    }

    std::vector<std::string> fileNames() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder()))
        {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

private:
    TemporaryFolder m_folder;
};

TEST_F(RotatingFileSink, WritesTimeLevelLoggerThreadSiteAndText)
{
    make()->Write(recordOf(L"what happened"));

    const auto lines = linesOf(readFile(file()));
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(withoutFigures(lines[0]),
              "####-##-## ##:##:##.### error [Sink] #### cbfile:## CbClass::Member: what happened");
    EXPECT_THAT(lines[0], EndsWith(" error [Sink] 4711 cbfile:98 CbClass::Member: what happened"));
}

TEST_F(RotatingFileSink, NamesEveryLevel)
{
    const auto sink = make();
    sink->Write(recordOf(L"d", Logging::eLevelDebug));
    sink->Write(recordOf(L"i", Logging::eLevelInfo));
    sink->Write(recordOf(L"w", Logging::eLevelWarn));
    sink->Write(recordOf(L"e", Logging::eLevelError));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(HasSubstr(" debug ["), HasSubstr(" info ["),
                                                       HasSubstr(" warning ["), HasSubstr(" error [")));
}

TEST_F(RotatingFileSink, HandsEachLineToTheSystemAtOnce)
{
    const auto sink = make();
    sink->Write(recordOf(L"one"));
    EXPECT_THAT(linesOf(readFile(file())), SizeIs(1));
    sink->Write(recordOf(L"two"));
    EXPECT_THAT(linesOf(readFile(file())), SizeIs(2));
}

TEST_F(RotatingFileSink, LeavesOutFileAndFunctionWhereThereAreNone)
{
    const auto sink = make();
    sink->Write({L"Sink", Logging::eLevelInfo, "", 0, "", L"bare", 1});
    sink->Write({L"Sink", Logging::eLevelInfo, "cbfile", 7, "", L"no function", 1});
    sink->Write({L"Sink", Logging::eLevelInfo, "", 7, "Function", L"no file", 1});

    EXPECT_THAT(linesOf(readFile(file())),
                ElementsAre(EndsWith("[Sink] 1 bare"), EndsWith("[Sink] 1 cbfile:7: no function"),
                            EndsWith("[Sink] 1 Function: no file")));
}

TEST_F(RotatingFileSink, WritesUtf8)
{
    make()->Write(recordOf(L"Gr\u00F6\u00DFe \u4E2D \U0001F600"));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith("Gr\xC3\xB6\xC3\x9F"
                                                                "e \xE4\xB8\xAD \xF0\x9F\x98\x80")));
}

TEST_F(RotatingFileSink, WritesAPairOfSurrogatesAsOneCharacterAndHalfAPairAsAReplacement)
{
    const wchar_t high = 0xD83D;
    const wchar_t low = 0xDE00;
    const auto sink = make();
    sink->Write(recordOf({high, low}));
    sink->Write(recordOf({L'a', high}));
    sink->Write(recordOf({low, high, L'z'}));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": \xF0\x9F\x98\x80"), EndsWith(": a\xEF\xBF\xBD"),
                                                       EndsWith(": \xEF\xBF\xBD\xEF\xBF\xBDz")));
}

TEST_F(RotatingFileSink, DropsLineBreaksAtTheEndOfAText)
{
    const auto sink = make();
    sink->Write(recordOf(L"one\r\n\r\n"));
    sink->Write(recordOf(L"two\n"));
    sink->Write(recordOf(L"\n"));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": one"), EndsWith(": two"), EndsWith("Member: ")));
}

TEST_F(RotatingFileSink, IndentsFurtherLinesOfAText)
{
    make()->Write(recordOf(L"first\nsecond\r\n  third\n\nlast\n"));

    EXPECT_THAT(linesOf(readFile(file())),
                ElementsAre(EndsWith(": first"), "    second", "      third", "    ", "    last"));
}

TEST_F(RotatingFileSink, SpellsOutControlCharacters)
{
    make()->Write(recordOf(std::wstring(L"a\x1B[31m\tb\rc\x9B\x7F\0d", 14)));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": a\\x1B[31m\tb\\x0Dc\\x9B\\x7F\\x00d")));
}

TEST_F(RotatingFileSink, SpellsOutControlCharactersAndLineBreaksInNames)
{
    make()->Write({L"Lo\ngger\x1B", Logging::eLevelError, "fi\nle\x1B[31m", 7, "fun\r\nction\x7F", L"text", 4711});

    EXPECT_THAT(linesOf(readFile(file())),
                ElementsAre(EndsWith("[Lo\\x0Agger\\x1B] 4711 fi\\x0Ale\\x1B[31m:7 fun\\x0D\\x0Action\\x7F: text")));
}

TEST_F(RotatingFileSink, TakesNamesFromTheAnsiCodePage)
{
    const std::wstring name = L"Gr\u00F6\u00DFe";
    const CStringA ansi(name.c_str());
    if (CStringW(ansi) != name.c_str())
    {
        GTEST_SKIP() << "the ANSI code page has no such letters";
    }
    make()->Write({L"Sink", Logging::eLevelError, ansi.GetString(), 7, ansi.GetString(), L"text", 4711});

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith("Gr\xC3\xB6\xC3\x9F"
                                                                "e:7 Gr\xC3\xB6\xC3\x9F"
                                                                "e: text")));
}

TEST_F(RotatingFileSink, KeepsPercentAndBraces)
{
    make()->Write(recordOf(L"100 %s %v {} {0}"));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": 100 %s %v {} {0}")));
}

TEST_F(RotatingFileSink, ContinuesAFileThatExists)
{
    make()->Write(recordOf(L"one"));
    make()->Write(recordOf(L"two"));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": one"), EndsWith(": two")));
}

TEST_F(RotatingFileSink, BeginsAFreshFileAndKeepsTheOlderOnes)
{
    // Room for one line and not for two.
    const auto sink = make(120, 2);
    for (const auto* text : {L"one", L"two", L"three", L"four"})
    {
        sink->Write(recordOf(text));
    }

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": four")));
    EXPECT_THAT(linesOf(readFile(file("log.1.txt"))), ElementsAre(EndsWith(": three")));
    EXPECT_THAT(linesOf(readFile(file("log.2.txt"))), ElementsAre(EndsWith(": two")));
    EXPECT_THAT(fileNames(), SizeIs(3));
}

TEST_F(RotatingFileSink, KeepsNoOlderFileWhenNoneIsWanted)
{
    const auto sink = make(120, 0);
    sink->Write(recordOf(L"one"));
    sink->Write(recordOf(L"two"));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": two")));
    EXPECT_THAT(fileNames(), ElementsAre("log.txt"));
}

TEST_F(RotatingFileSink, WritesALineThatIsLargerThanAFileWhole)
{
    const auto sink = make(10, 1);
    sink->Write(recordOf(std::wstring(1000, L'x')));

    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(std::string(1000, 'x'))));
}

TEST_F(RotatingFileSink, TakesFileNamesBeyondAscii)
{
    if (!std::ofstream(folder() / u8"Gr\u00F6\u00DFe\u4E2D.probe"))
    {
        GTEST_SKIP() << "Wine takes such names in a UTF-8 locale only: ORVANE_WINE_LOCALE=C.UTF-8, as under ctest";
    }
    const auto sink = Logging::MakeRotatingFileSink(folder().wstring() + L"/Gr\u00F6\u00DFe\u4E2D.txt", 120, 1);
    sink->Write(recordOf(L"one"));
    sink->Write(recordOf(L"two"));

    EXPECT_THAT(linesOf(readFile(folder() / u8"Gr\u00F6\u00DFe\u4E2D.txt")), ElementsAre(EndsWith(": two")));
    EXPECT_THAT(linesOf(readFile(folder() / u8"Gr\u00F6\u00DFe\u4E2D.1.txt")), ElementsAre(EndsWith(": one")));
}

TEST_F(RotatingFileSink, MakesTheFolderWhereItIsMissing)
{
    const auto path = file("new") / "deeper" / "log.txt";
    Logging::MakeRotatingFileSink(path.wstring(), c_Large, 1)->Write(recordOf(L"one"));

    EXPECT_THAT(linesOf(readFile(path)), SizeIs(1));
}

TEST_F(RotatingFileSink, RefusesSizesAndNamesThatCannotBe)
{
    EXPECT_THROW(make(0, 1), std::invalid_argument);
    EXPECT_THROW(make(100, 200'001), std::invalid_argument);
    EXPECT_THROW(Logging::MakeRotatingFileSink(L"", 100, 1), std::invalid_argument);
    EXPECT_THROW(Logging::MakeRotatingFileSink(file().wstring() + std::wstring(L"\0x", 2), 100, 1),
                 std::invalid_argument);
    EXPECT_THROW(Logging::MakeRotatingFileSink(file().wstring() + static_cast<wchar_t>(0xD83D), 100, 1),
                 std::invalid_argument);
    EXPECT_THAT(fileNames(), IsEmpty());
}

namespace
{
template <class F>
std::vector<std::string> linesOnStandardError(const F& action)
{
    testing::internal::CaptureStderr();
    action();
    return linesOf(testing::internal::GetCapturedStderr());
}
} // namespace

TEST_F(RotatingFileSink, RaisesWhereTheFileCannotBeOpened)
{
    std::filesystem::create_directory(file());

    EXPECT_THROW(make(), std::runtime_error);
}

TEST_F(RotatingFileSink, ShowsTheLineOnStandardErrorWhereTheFileCannotBeRenamedAndGoesOnWhenItCan)
{
    const auto sink = make(120, 1);
    sink->Write(recordOf(L"one"));
    // A folder with something in it can be neither removed nor renamed onto.
    std::filesystem::create_directories(file("log.1.txt") / "occupied");
    EXPECT_THAT(linesOnStandardError([&] { sink->Write(recordOf(L"two")); }),
                ElementsAre(HasSubstr(" error [Logging] "), EndsWith(": two")));

    std::filesystem::remove_all(file("log.1.txt"));
    sink->Write(recordOf(L"three"));
    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": three")));
}

TEST_F(RotatingFileSink, ShowsLinesOnStandardErrorAndTheReasonOnceUntilTheFileCanBeOpenedAgain)
{
    const auto sink = make(120, 1);
    sink->Write(recordOf(L"one"));
    std::filesystem::create_directories(file("log.1.txt") / "occupied");
    EXPECT_THAT(linesOnStandardError([&] { sink->Write(recordOf(L"two")); }),
                ElementsAre(HasSubstr(" error [Logging] "), EndsWith(": two")));
    // Nothing is open after a failure, so the name can be taken away, on Windows too.
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());
    EXPECT_THAT(linesOnStandardError(
                    [&]
                    {
                        sink->Write(recordOf(L"three", Logging::eLevelDebug));
                        sink->Write(recordOf(L"four"));
                    }),
                ElementsAre(EndsWith(": three"), EndsWith(": four")));

    std::filesystem::remove(file());
    sink->Write(recordOf(L"five"));
    EXPECT_THAT(linesOf(readFile(file())), ElementsAre(EndsWith(": five")));
    // The next line would have to have the file renamed.
    EXPECT_THAT(linesOnStandardError([&] { sink->Write(recordOf(L"six")); }), SizeIs(2));
}

TEST_F(RotatingFileSink, TakesLinesOfManyThreads)
{
    const auto sink = make(2'000, 100);
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread)
        {
            threads.emplace_back(
                [&]
                {
                    for (int n = 0; n < 100; ++n)
                    {
                        sink->Write(recordOf(L"line"));
                    }
                });
        }
    }

    std::size_t count = 0;
    for (const auto& name : fileNames())
    {
        for (const auto& line : linesOf(readFile(file(name.c_str()))))
        {
            EXPECT_THAT(line, EndsWith("[Sink] 4711 cbfile:98 CbClass::Member: line"));
            ++count;
        }
    }
    EXPECT_EQ(count, 400U);
}

// ---- standard error

TEST(StandardErrorSink, WritesTheLinesAtItsMinimumAndAbove)
{
    testing::internal::CaptureStderr();
    // Made here: it takes standard error as it is when the sink is made.
    const auto sink = Logging::MakeStandardErrorSink(Logging::eLevelInfo);
    sink->Write(recordOf(L"debug", Logging::eLevelDebug));
    sink->Write(recordOf(L"info", Logging::eLevelInfo));
    sink->Write(recordOf(L"error", Logging::eLevelError));
    const auto lines = linesOf(testing::internal::GetCapturedStderr());

    EXPECT_THAT(lines, ElementsAre(EndsWith(" info [Sink] 4711 cbfile:98 CbClass::Member: info"),
                                   EndsWith(" error [Sink] 4711 cbfile:98 CbClass::Member: error")));
}

TEST(StandardErrorSink, TakesWarningsAndAboveUnlessToldOtherwise)
{
    testing::internal::CaptureStderr();
    const auto sink = Logging::MakeStandardErrorSink();
    sink->Write(recordOf(L"info", Logging::eLevelInfo));
    sink->Write(recordOf(L"warn", Logging::eLevelWarn));
    const auto lines = linesOf(testing::internal::GetCapturedStderr());

    EXPECT_THAT(lines, ElementsAre(EndsWith(": warn")));
}

class StandardErrorSinkInUse : public LoggingTest
{
};

TEST_F(StandardErrorSinkInUse, GetsTheSameLinesAloneAndInCompany)
{
    CLogger::RemoveSink(m_recorder);
    testing::internal::CaptureStderr();
    const auto sink = Logging::MakeStandardErrorSink(Logging::eLevelError);
    CLogger::AddSink(sink);
    const CLogger logger(L"Sink");
    logger.Warn("f", 1, "g", L"below, alone");
    logger.Error("f", 1, "g", L"above, alone");
    // A sink beside it that takes everything changes nothing for it.
    CLogger::AddSink(m_recorder);
    logger.Warn("f", 1, "g", L"below, in company");
    logger.Error("f", 1, "g", L"above, in company");
    CLogger::RemoveSink(sink);
    const auto lines = linesOf(testing::internal::GetCapturedStderr());

    EXPECT_THAT(lines, ElementsAre(EndsWith("above, alone"), EndsWith("above, in company")));
    EXPECT_THAT(texts(), ElementsAre(L"below, in company", L"above, in company"));
}

TEST(DefaultSink, IsAlwaysTheSame)
{
    EXPECT_NE(Logging::GetDefaultSink(), nullptr);
    EXPECT_EQ(Logging::GetDefaultSink(), Logging::GetDefaultSink());
}

TEST(DefaultSink, ShowsWarningsAndErrorsBeforeMainInItAndAfterIt)
{
    const auto run = runProgram(ORVANE_LOGGING_PROBE);

    EXPECT_TRUE(run.succeeded);
    EXPECT_THAT(run.output, IsEmpty());
    EXPECT_THAT(linesOf(run.errors),
                ElementsAre(EndsWith("probe:1 SBothEnds: before main"), EndsWith("probe:2 main: in main: 100 %s"),
                            EndsWith("probe:3 atexit: at exit"), EndsWith("probe:4 ~SBothEnds: after main"),
                            EndsWith("probe:5 ~SBothEnds: new name after main")));
    EXPECT_THAT(run.errors, HasSubstr(" warning [Probe] "));
    EXPECT_THAT(run.errors, HasSubstr(" error [Probe.New] "));
    // No colours where nobody looks at a terminal.
    EXPECT_EQ(run.errors.find('\x1B'), std::string::npos);
}
