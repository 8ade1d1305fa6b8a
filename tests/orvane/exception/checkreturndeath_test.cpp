// Compiled with assertions on, whatever the build type: what the assert policy does in debug builds.

#include <gtest/gtest.h>

#include "orvane/exception/cbcheckreturn.h"

namespace
{
using Result = CbCheckReturn<bool, CbCheckReturnPolicyAssert>;

void dropResult()
{
    Result const dropped(true);
}
} // namespace

TEST(CbCheckReturnPolicyAssertDeath, ComesWithADroppedResultInDebugBuilds)
{
    EXPECT_DEATH(dropResult(), "a result that must be examined was dropped");
}

TEST(CbCheckReturnPolicyAssertDeath, DoesNotComeWithAnExaminedResult)
{
    Result(true).Ignore();
    EXPECT_TRUE(Result(true).Get());
    bool const value = Result(true);
    EXPECT_TRUE(value);
}
