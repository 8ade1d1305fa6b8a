// What a fork does to the cached id: the other target has no fork.

#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "platform/platform.h"
#include "gtest/gtest.h"

TEST(CurrentThreadIdOnLinux, IsTheKernelsId)
{
    EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(gettid()));
    std::thread([] { EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(gettid())); }).join();
}

TEST(CurrentThreadIdOnLinux, IsAskedForAnewInTheChildOfAFork)
{
    EXPECT_NE(GetCurrentThreadId(), 0u); // cached before the fork
    const pid_t child = fork();
    if (child == 0)
    {
        _exit(GetCurrentThreadId() == static_cast<DWORD>(getpid()) ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(GetCurrentThreadId(), static_cast<DWORD>(gettid()));
}

TEST(CurrentThreadIdOnLinux, IsAskedForAnewWhenAnotherThreadForks)
{
    std::thread(
        []
        {
            EXPECT_NE(GetCurrentThreadId(), 0u);
            const pid_t child = fork();
            if (child == 0)
            {
                _exit(GetCurrentThreadId() == static_cast<DWORD>(getpid()) ? 0 : 1);
            }
            int status = -1;
            EXPECT_EQ(waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        })
        .join();
}
