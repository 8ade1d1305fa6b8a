#include "orvane/exception/cbcheckreturn.h"

#include <cstring>
#include <stdexcept>
#include <type_traits>

#include <gtest/gtest.h>

namespace
{
// Counts the results that were dropped unexamined.
class CCountingPolicy
{
public:
    static void OnUnexamined() noexcept
    {
        ++s_dropped;
    }

    static int s_dropped;
};

int CCountingPolicy::s_dropped = 0;

using Result = CbCheckReturn<bool, CCountingPolicy>;
using LibraryResult = CbCheckReturn<bool, CbCheckReturnPolicyAssert>;

static_assert(sizeof(LibraryResult) == 2 && alignof(LibraryResult) == 1);
static_assert(std::is_convertible_v<bool, LibraryResult> && std::is_convertible_v<LibraryResult, bool>);
static_assert(!std::is_default_constructible_v<LibraryResult>);
static_assert(std::is_copy_constructible_v<LibraryResult> && std::is_copy_assignable_v<LibraryResult>);
static_assert(std::is_nothrow_constructible_v<LibraryResult, bool> && std::is_nothrow_destructible_v<LibraryResult>);
static_assert(!std::is_polymorphic_v<LibraryResult>);

Result answer(bool value)
{
    return value;
}

class CbCheckReturnTest : public testing::Test
{
protected:
    CbCheckReturnTest()
    {
        CCountingPolicy::s_dropped = 0;
    }

    static int dropped()
    {
        return CCountingPolicy::s_dropped;
    }
};

using CbCheckReturnExamining = CbCheckReturnTest;
using CbCheckReturnDropping = CbCheckReturnTest;
using CbCheckReturnCopy = CbCheckReturnTest;
using CbCheckReturnLayout = CbCheckReturnTest;
} // namespace

TEST_F(CbCheckReturnExamining, HasNotHappenedWhenTheResultIsMade)
{
    Result const result(true);

    EXPECT_FALSE(result.IsExamined());
    result.Ignore();
}

TEST_F(CbCheckReturnExamining, HappensByGet)
{
    {
        Result const yes(true);
        Result const no(false);
        EXPECT_TRUE(yes.Get());
        EXPECT_FALSE(no.Get());
        EXPECT_TRUE(yes.IsExamined());
        EXPECT_TRUE(no.IsExamined());
    }
    EXPECT_EQ(dropped(), 0);
}

TEST_F(CbCheckReturnExamining, HappensByConversion)
{
    {
        Result const yes(true);
        Result const no(false);
        bool const isYes = yes;
        bool const isNo = no;
        EXPECT_TRUE(isYes);
        EXPECT_FALSE(isNo);
        EXPECT_TRUE(yes.IsExamined());
        EXPECT_TRUE(no.IsExamined());
    }
    EXPECT_EQ(dropped(), 0);
}

TEST_F(CbCheckReturnExamining, HappensInACondition)
{
    int taken = 0;
    if (answer(true))
    {
        ++taken;
    }
    if (!answer(false))
    {
        ++taken;
    }

    EXPECT_EQ(taken, 2);
    EXPECT_EQ(dropped(), 0);
}

TEST_F(CbCheckReturnExamining, HappensByIgnoring)
{
    answer(false).Ignore();

    EXPECT_EQ(dropped(), 0);
}

TEST_F(CbCheckReturnExamining, DoesNotHappenByAskingForIt)
{
    {
        Result const result(true);
        EXPECT_FALSE(result.IsExamined());
        EXPECT_FALSE(result.IsExamined());
    }
    EXPECT_EQ(dropped(), 1);
}

TEST_F(CbCheckReturnExamining, StaysOnceItHappened)
{
    Result const result(true);
    result.Ignore();

    EXPECT_TRUE(result.Get());
    EXPECT_TRUE(result.IsExamined());
}

TEST_F(CbCheckReturnDropping, IsReportedToThePolicyOnce)
{
    {
        Result const result(true);
        EXPECT_EQ(dropped(), 0);
    }
    EXPECT_EQ(dropped(), 1);
}

TEST_F(CbCheckReturnDropping, IsReportedWhateverTheValue)
{
    {
        Result const result(false);
    }
    EXPECT_EQ(dropped(), 1);
}

TEST_F(CbCheckReturnDropping, IsReportedForAReturnedResult)
{
    static_cast<void>(answer(true));

    EXPECT_EQ(dropped(), 1);
}

TEST_F(CbCheckReturnDropping, IsForgivenWhileAnExceptionLeavesTheScope)
{
    try
    {
        Result const result(true);
        throw std::runtime_error("on the way");
    }
    catch (std::runtime_error const&)
    {
    }

    EXPECT_EQ(dropped(), 0);
}

TEST_F(CbCheckReturnDropping, ByTheLibrarysPolicyChangesNothingInReleaseBuilds)
{
#ifdef NDEBUG
    {
        LibraryResult const result(true);
    }
    SUCCEED();
#else
    GTEST_SKIP() << "assertions are on in this build; orvane_checkreturn_death_test shows what they do";
#endif
}

TEST_F(CbCheckReturnCopy, StartsUnexaminedAndAnswersForTheOriginal)
{
    {
        Result const original(true);
        Result const copy(original);
        EXPECT_TRUE(original.IsExamined());
        EXPECT_FALSE(copy.IsExamined());
    }
    EXPECT_EQ(dropped(), 1);
}

TEST_F(CbCheckReturnCopy, OfAnExaminedResultHasToBeExaminedAgain)
{
    Result const original(true);
    original.Ignore();
    Result const copy(original);

    EXPECT_FALSE(copy.IsExamined());
    EXPECT_TRUE(copy.Get());
}

TEST_F(CbCheckReturnCopy, ByAssignmentTakesTheValueAndTheDuty)
{
    {
        Result const source(true);
        Result target(false);
        target.Ignore();
        target = source;
        EXPECT_TRUE(source.IsExamined());
        EXPECT_FALSE(target.IsExamined());
    }
    EXPECT_EQ(dropped(), 1);
}

TEST_F(CbCheckReturnCopy, ByAssignmentToItselfChangesNothing)
{
    Result result(true);
    Result& alias = result;
    result = alias;
    EXPECT_FALSE(result.IsExamined());

    result.Ignore();
    result = alias;
    EXPECT_TRUE(result.IsExamined());
    EXPECT_TRUE(result.Get());
}

TEST_F(CbCheckReturnCopy, TakesAPlainValueByAssignment)
{
    Result result(true);
    result = false;

    EXPECT_FALSE(result.IsExamined());
    EXPECT_FALSE(result.Get());
}

TEST_F(CbCheckReturnLayout, HoldsTheValueFirstAndTheFlagSecond)
{
    static_assert(sizeof(Result) == 2);
    Result const result(true);
    unsigned char bytes[2];
    std::memcpy(bytes, &result, sizeof bytes);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[1], 0);

    result.Ignore();
    std::memcpy(bytes, &result, sizeof bytes);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[1], 1);
}

TEST_F(CbCheckReturnLayout, TakesOtherValuesThanTruth)
{
    CbCheckReturn<int, CCountingPolicy> const result(42);

    EXPECT_FALSE(result.IsExamined());
    EXPECT_EQ(result.Get(), 42);
    EXPECT_TRUE(result.IsExamined());
}
