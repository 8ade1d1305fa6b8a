// How much of an ended thread the layer of our own keeps: it can be asked for the number of its objects, Windows cannot.

#include <atomic>
#include <thread>

#include "kernelsupport.h"

using namespace kerneltest;

TEST(TerminateThread, LeavesNothingOfAThreadThatHadSuspendedItself)
{
    const auto endOne = []
    {
        const CThread thread([] { return SuspendThread(GetCurrentThread()); });
        // Once it has suspended itself the count that was there before is 1.
        ASSERT_TRUE(becomes(
            [&]
            {
                const DWORD earlier = SuspendThread(thread);
                ResumeThread(thread);
                return earlier == 1;
            }));
        ASSERT_TRUE(TerminateThread(thread, 1));
        ASSERT_TRUE(thread.Join());
    };
    endOne();
    const unsigned int before = PlatformTest::GetObjectCount();
    for (int n = 0; n < 10; ++n)
    {
        endOne();
    }

    EXPECT_TRUE(becomes([&] { return PlatformTest::GetObjectCount() <= before; }, 1'000));
}

// By a handle that is closed meanwhile: nobody else has one.
TEST(SuspendThread, OfItselfKeepsTheRecordOfAThreadThatTheLayerDidNotStart)
{
    constexpr DWORD c_SuspendResume = 2;
    std::atomic<DWORD> id = 0;
    std::atomic<HANDLE> handle = nullptr;
    std::thread thread(
        [&]
        {
            id = GetCurrentThreadId();
            while (handle == nullptr)
            {
                std::this_thread::yield();
            }
            SuspendThread(handle);
        });
    ASSERT_TRUE(becomes([&] { return id != 0u; }));
    handle = OpenThread(c_SuspendResume, FALSE, id);
    ASSERT_NE(handle.load(), nullptr);
    ASSERT_TRUE(becomes(
        [&]
        {
            settle(1); // stopped again and again it would not come to it
            const DWORD earlier = SuspendThread(handle);
            ResumeThread(handle);
            return earlier == 1;
        }));
    ASSERT_TRUE(CloseHandle(handle));

    const CHandle again(OpenThread(c_SuspendResume, FALSE, id));
    EXPECT_EQ(ResumeThread(again), 1u);
    thread.join();
}
