#include "orvane/thread/cbthreadinfo.h"

#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "support/logline.h"
#include "support/logrecorder.h"

namespace
{
// The first question of this process is asked by a thread that is not the main one, before main.
struct SFirstQuestion
{
    unsigned int asker = 0;
    unsigned int answer = 0;
    unsigned int mainThread = GetCurrentThreadId();

    SFirstQuestion()
    {
        std::thread(
            [this]
            {
                asker = GetCurrentThreadId();
                answer = CbThreadInfo::GetMainThreadId();
            })
            .join();
    }
};

SFirstQuestion const s_first;

HANDLE openOwnThread()
{
    HANDLE own = nullptr;
    EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &own, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    return own;
}
} // namespace

TEST(CbThreadInfoGetMainThreadId, FindsTheOldestThreadFromAnotherOne)
{
    EXPECT_NE(s_first.asker, s_first.mainThread);
    EXPECT_EQ(s_first.answer, s_first.mainThread);
}

TEST(CbThreadInfoGetMainThreadId, AnswersTheSameOnEveryThread)
{
    EXPECT_EQ(CbThreadInfo::GetMainThreadId(), s_first.mainThread);
    unsigned int elsewhere = 0;
    std::thread([&] { elsewhere = CbThreadInfo::GetMainThreadId(); }).join();
    EXPECT_EQ(elsewhere, s_first.mainThread);
}

TEST(CbThreadInfoWarnOnTermination, NamesTheThread)
{
    CLogRecorder const recorder;
    HANDLE const own = openOwnThread();
    CbThreadInfo::WarnOnTermination(own);
    CloseHandle(own);
    std::vector<SLogLine> const expected{
        {L"Thread", Logging::eLevelWarn, "cbthreadinfo", 98, "CbThreadInfo::WarnOnTermination",
         L"Thread " + std::to_wstring(static_cast<int>(GetCurrentThreadId())) + L" forcefully terminated\n"}};
    EXPECT_EQ(linesOf(recorder), expected);
}

TEST(CbThreadInfoWarnOnTermination, WritesNothingWhereWarningsAreDisabled)
{
    CLogRecorder const recorder;
    HANDLE const own = openOwnThread();
    {
        CScopedLevel const level(L"Thread", Logging::eLevelError);
        CbThreadInfo::WarnOnTermination(own);
        EXPECT_TRUE(recorder.GetRecords().empty());
    }
    // The level is looked at anew once it was set.
    CbThreadInfo::WarnOnTermination(own);
    CloseHandle(own);
    EXPECT_EQ(recorder.GetRecords(L"Thread").size(), 1u);
}
