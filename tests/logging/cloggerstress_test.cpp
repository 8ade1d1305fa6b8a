#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "logging/loggingtest.h"

using Logging::CLogger;

namespace
{
constexpr int c_Threads = 8;
constexpr int c_Rounds = 500;
} // namespace

class CLoggerStress : public LoggingTest
{
protected:
    // Runs `work(thread)` on all threads and returns when they are through.
    template <class Work>
    static void onAllThreads(const Work& work)
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < c_Threads; ++thread)
        {
            threads.emplace_back([&work, thread] { work(thread); });
        }
    }
};

TEST_F(CLoggerStress, NoLineIsLostOrMixedUpBetweenThreads)
{
    const CLogger shared(L"Stress.Lines");
    onAllThreads(
        [&](int thread)
        {
            for (int round = 0; round < c_Rounds; ++round)
            {
                shared.Warn("file", round, "function", L"%d %d", thread, round);
            }
        });

    const auto records = m_recorder->GetRecords();
    ASSERT_EQ(records.size(), static_cast<std::size_t>(c_Threads * c_Rounds));
    std::vector<int> next(c_Threads, 0);
    for (const auto& record : records)
    {
        const int thread = std::stoi(record.text);
        const int round = next[static_cast<std::size_t>(thread)]++;
        ASSERT_EQ(record.text, std::to_wstring(thread) + L" " + std::to_wstring(round));
        ASSERT_EQ(record.line, round);
    }
}

TEST_F(CLoggerStress, ASinkThatStaysGetsEveryLineWhileOthersComeAndGo)
{
    std::atomic<int> missed{0};
    onAllThreads(
        [&](int thread)
        {
            for (int round = 0; round < c_Rounds; ++round)
            {
                if (thread % 2 == 0)
                {
                    const auto passing = std::make_shared<Logging::CRecorderSink>();
                    CLogger::AddSink(passing);
                    CLogger(L"Stress.Sinks").Error("f", 1, "g", L"own");
                    // Its own thread's line is in it, whatever the other threads do.
                    missed += passing->GetRecords().empty() ? 1 : 0;
                    CLogger::RemoveSink(passing);
                }
                else
                {
                    CLogger(L"Stress.Sinks").Error("f", 1, "g", L"other");
                }
            }
        });

    EXPECT_EQ(missed.load(), 0);
    EXPECT_EQ(m_recorder->GetRecords().size(), static_cast<std::size_t>(c_Threads * c_Rounds));
}

TEST_F(CLoggerStress, InstancesOfNewAndOldNamesAreAllCounted)
{
    onAllThreads(
        [&](int)
        {
            for (int round = 0; round < c_Rounds; ++round)
            {
                const CLogger common(L"Stress.Instances");
                const CLogger fresh((L"Stress.Instances." + std::to_wstring(round)).c_str());
            }
        });

    EXPECT_EQ(CLogger::GetInstanceCount(L"Stress.Instances"), static_cast<unsigned int>(c_Threads * c_Rounds));
    for (int round = 0; round < c_Rounds; ++round)
    {
        EXPECT_EQ(CLogger::GetInstanceCount((L"Stress.Instances." + std::to_wstring(round)).c_str()),
                  static_cast<unsigned int>(c_Threads))
            << round;
    }
}

// Threads that refresh one logger at the same time must not leave it with an old level that it takes for the current
// one: who set the level sees it at once, whatever the others were doing just then.
TEST_F(CLoggerStress, ALevelIsSeenAtOnceWhileOtherThreadsRefreshTheLogger)
{
    constexpr int c_Readers = 3;
    constexpr int c_Changes = 300'000;
    const CLogger logger(L"Stress.Level");
    std::atomic<int> running{0};
    std::atomic<bool> done{false};
    std::vector<std::jthread> readers;
    for (int thread = 0; thread < c_Readers; ++thread)
    {
        readers.emplace_back(
            [&]
            {
                ++running;
                while (!done.load(std::memory_order_relaxed))
                {
                    logger.RefreshLevel();
                }
            });
    }
    while (running < c_Readers)
    {
        std::this_thread::yield();
    }
    int stale = 0;
    for (int change = 0; change < c_Changes; ++change)
    {
        const bool enabled = change % 2 == 0;
        CLogger::SetLevel(L"Stress.Level", enabled ? Logging::eLevelDebug : Logging::eLevelOff);
        stale += logger.IsErrorEnabled() == enabled ? 0 : 1;
    }
    done.store(true, std::memory_order_relaxed);
    readers.clear();

    EXPECT_EQ(stale, 0);
}
