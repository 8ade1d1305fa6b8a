// How threads end: what they leave behind, and what can be asked of them afterwards.

#include <thread>

#include "kernelsupport.h"

using namespace kerneltest;

namespace
{
constexpr unsigned long long c_TicksPerMillisecond = 10'000;

struct STimes
{
    unsigned long long created = 0;
    unsigned long long exited = 0;
    unsigned long long used = 0; // in the kernel and out of it
};

unsigned long long toNumber(FILETIME const& time)
{
    return (static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

STimes timesOf(HANDLE thread)
{
    FILETIME created{};
    FILETIME exited{};
    FILETIME kernel{};
    FILETIME user{};
    EXPECT_TRUE(GetThreadTimes(thread, &created, &exited, &kernel, &user));
    return {toNumber(created), toNumber(exited), toNumber(kernel) + toNumber(user)};
}
} // namespace

TEST(ThreadTimes, OfATerminatedThreadAreItsOwn)
{
    // The ending thread has worked, the ended one has not.
    constexpr unsigned long long c_Work = 200 * c_TicksPerMillisecond;
    const CHandle never = makeEvent(eManual);
    const CBegunThread idle([&] { return WaitForSingleObject(never, INFINITE); });
    ASSERT_TRUE(becomes([] { return timesOf(GetCurrentThread()).used >= c_Work; }));

    ASSERT_TRUE(TerminateThread(idle, 1));
    ASSERT_TRUE(idle.Join());

    EXPECT_LT(timesOf(idle).used, c_Work);
}

TEST(ThreadTimes, OfAThreadThatEndedBeforeAnybodyAskedBeginAfterThoseOfOneThatWasThere)
{
    const CHandle before = duplicate(GetCurrentThread());
    CHandle ended;
    std::thread([&ended] { ended = duplicate(GetCurrentThread()); }).join();

    const STimes times = timesOf(ended);

    EXPECT_GE(times.created, timesOf(before).created);
    EXPECT_LE(times.created, times.exited);
}
