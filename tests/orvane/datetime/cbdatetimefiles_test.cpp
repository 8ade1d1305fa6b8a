#include <chrono>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "handlecount.h"
#include "orvane/datetime/cbdatetime.h"
#include "support/temporaryfolder.h"

namespace
{
CbDateTime const c_Before(2024, 5, 6, 7, 8, 9, 10);

class CbDateTimeFiles : public testing::Test
{
protected:
    CbDateTimeFiles() : m_path((m_folder.path() / "file").wstring())
    {
        std::ofstream(m_folder.path() / "file") << "content";
    }

    // The time of the last write becomes one of 2011.
    void writeLongAgo() const
    {
        using namespace std::chrono;
        sys_seconds const then = sys_days(year(2011) / February / 3) + hours(4) + minutes(5);
        auto const written = file_clock::from_sys(then);
        std::filesystem::last_write_time(m_folder.path() / "file", time_point_cast<file_clock::duration>(written));
    }

    TemporaryFolder const m_folder;
    std::wstring const m_path;
};

CbDateTime const c_LongAgo(2011, 2, 3, 4, 5, 0, 0);

// What the system tells.
CbDateTime createdBySystem(std::wstring const& path)
{
    HANDLE const file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    FILETIME created = {};
    EXPECT_TRUE(GetFileTime(file, &created, nullptr, nullptr));
    CloseHandle(file);
    return CbDateTime(created);
}
} // namespace

TEST_F(CbDateTimeFiles, TellWhenTheyWereWritten)
{
    writeLongAgo();
    CbDateTime time = c_Before;
    EXPECT_TRUE(time.ReadFileModificationTime(m_path.c_str()));
    EXPECT_EQ(time, c_LongAgo);
}

TEST_F(CbDateTimeFiles, TellWhenTheyWereCreated)
{
    CbDateTime time = c_Before;
    EXPECT_TRUE(time.ReadFileCreationTime(m_path.c_str()));
    CbDateTime const now;
    CbTimeInterval const age = now - time;
    EXPECT_GE(age.GetMilliseconds(), -1'000) << "file systems and clocks differ by a tick";
    EXPECT_LT(age.GetMilliseconds(), 3'600'000);
}

TEST_F(CbDateTimeFiles, KeepTheirCreationTimeWhenTheyAreWritten)
{
    writeLongAgo();
    if (createdBySystem(m_path) == c_LongAgo)
    {
        GTEST_SKIP() << "the file system keeps no creation time";
    }
    CbDateTime time = c_Before;
    EXPECT_TRUE(time.ReadFileCreationTime(m_path.c_str()));
    CbTimeInterval const age = CbDateTime() - time;
    EXPECT_GE(age.GetMilliseconds(), -1'000) << "file systems and clocks differ by a tick";
    EXPECT_LT(age.GetMilliseconds(), 3'600'000);
}

TEST_F(CbDateTimeFiles, LeaveTheObjectWhereThereIsNone)
{
    CbDateTime time = c_Before;
    EXPECT_FALSE(time.ReadFileCreationTime((m_path + L"-missing").c_str()));
    EXPECT_FALSE(time.ReadFileModificationTime((m_path + L"-missing").c_str()));
    EXPECT_FALSE(time.ReadFileCreationTime(L""));
    EXPECT_FALSE(time.ReadFileModificationTime(nullptr));
    EXPECT_FALSE(time.ReadFileModificationTime(m_folder.path().wstring().c_str())) << "a folder";
    EXPECT_EQ(time, c_Before);
}

TEST_F(CbDateTimeFiles, AreClosedAgain)
{
    CbDateTime time;
    EXPECT_TRUE(time.ReadFileCreationTime(m_path.c_str())); // what the system opens at a first use stays open
    unsigned int const before = kerneltest::getHandleCount();
    for (int n = 0; n < 10; ++n)
    {
        EXPECT_TRUE(time.ReadFileCreationTime(m_path.c_str()));
        EXPECT_TRUE(time.ReadFileModificationTime(m_path.c_str()));
        EXPECT_FALSE(time.ReadFileModificationTime((m_path + L"-missing").c_str()));
    }
    EXPECT_EQ(kerneltest::getHandleCount(), before);
    EXPECT_TRUE(std::filesystem::remove(m_folder.path() / "file"));
}
