// File times that few file systems keep. A file on Windows has none of them.

#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "handlecount.h"
#include "orvane/datetime/cbdatetime.h"
#include "support/temporaryfolder.h"

namespace
{
constexpr __int64 c_First = -11'644'473'600;     // 1601-01-01 00:00:00
constexpr __int64 c_LastWhole = 910'692'730'085; // 30828-09-14 02:48:05
CbDateTime const c_Before(2024, 5, 6, 7, 8, 9, 10);

// On a file system in memory, which keeps all seconds of 64 bits.
class FileTimes : public testing::Test
{
protected:
    FileTimes()
    {
        if (std::filesystem::exists("/dev/shm"))
        {
            m_folder.emplace("/dev/shm");
            std::ofstream(path()) << "content";
        }
    }

    void SetUp() override
    {
        if (!m_folder || !write(c_First - 1, 0) || !write(c_LastWhole + 1, 0))
        {
            GTEST_SKIP() << "no file system at /dev/shm that keeps such times";
        }
    }

    // Whether the file now has the time.
    bool write(__int64 seconds, long nanoseconds)
    {
        timespec const times[] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
        struct stat status;
        return utimensat(AT_FDCWD, path().c_str(), times, 0) == 0 && stat(path().c_str(), &status) == 0 &&
               status.st_mtim.tv_sec == seconds && status.st_mtim.tv_nsec == nanoseconds;
    }

    bool read(CbDateTime& time)
    {
        return time.ReadFileModificationTime(path().wstring().c_str());
    }

    CbDateTime told(__int64 seconds, long nanoseconds)
    {
        EXPECT_TRUE(write(seconds, nanoseconds)) << seconds;
        CbDateTime time = c_Before;
        EXPECT_TRUE(read(time)) << seconds;
        return time;
    }

    std::filesystem::path path() const
    {
        return m_folder->path() / "file";
    }

    std::optional<TemporaryFolder> m_folder;
};
} // namespace

TEST_F(FileTimes, AreToldToTheMillisecond)
{
    EXPECT_EQ(told(-1, 999'000'000), CbDateTime(1969, 12, 31, 23, 59, 59, 999));
    EXPECT_EQ(told(c_First, 1'000'000), CbDateTime(1601, 1, 1, 0, 0, 0, 1));
    EXPECT_EQ(told(c_LastWhole, 477'580'700), CbDateTime(30'828, 9, 14, 2, 48, 5, 477));
}

TEST_F(FileTimes, Before1601AreToldAsItsBeginning)
{
    EXPECT_TRUE(told(c_First - 1, 999'999'999).IsInvalid());
    EXPECT_TRUE(told(-922'337'203'685, 500'000'000).IsInvalid());
    EXPECT_TRUE(told(INT64_MIN / 8, 0).IsInvalid());
}

TEST_F(FileTimes, AreNotToldWhereTicksDoNotCountThem)
{
    struct STime
    {
        __int64 seconds;
        long nanoseconds;
    };

    for (STime const time : {STime{c_LastWhole, 477'580'800}, STime{c_LastWhole + 1, 0}, STime{1'200'000'000'000, 0},
                             STime{INT64_MAX / 4, 0}})
    {
        ASSERT_TRUE(write(time.seconds, time.nanoseconds)) << time.seconds;
        CbDateTime taken = c_Before;
        EXPECT_FALSE(read(taken)) << time.seconds;
        EXPECT_EQ(taken, c_Before) << time.seconds;
    }
}

TEST_F(FileTimes, LeaveNoHandleWhereTheyAreNotTold)
{
    ASSERT_TRUE(write(c_LastWhole + 1, 0));
    CbDateTime time;
    unsigned int const before = kerneltest::getHandleCount();
    EXPECT_FALSE(read(time));
    EXPECT_EQ(kerneltest::getHandleCount(), before);
}
