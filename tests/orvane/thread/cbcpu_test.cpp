#include "orvane/thread/cbcpu.h"

#include <gtest/gtest.h>

#include "platform/platform.h"

TEST(CbCPU, CountsTheSystemsProcessors)
{
    SYSTEM_INFO information{};
    GetSystemInfo(&information);
    EXPECT_GE(CbCPU::GetCount(), 1u);
    EXPECT_EQ(CbCPU::GetCount(), information.dwNumberOfProcessors);
}
