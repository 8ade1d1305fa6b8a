// How much of an ended thread the layer of our own keeps: it can be asked for the number of its objects, Windows cannot.

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
