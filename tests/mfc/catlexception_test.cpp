#include "mfc/catlexception.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "raises.h"

static_assert(std::is_same_v<decltype(CAtlException::m_hr), HRESULT>);
static_assert(std::is_signed_v<HRESULT> && sizeof(HRESULT) == 4);
static_assert(std::is_nothrow_default_constructible_v<CAtlException>);
static_assert(std::is_nothrow_constructible_v<CAtlException, HRESULT>);

TEST(CAtlException, IsAnUnspecifiedFailureByDefault)
{
    EXPECT_EQ(static_cast<unsigned int>(CAtlException().m_hr), 0x80004005U);
}

TEST(CAtlException, KeepsTheResultThatItIsGiven)
{
    EXPECT_EQ(CAtlException(static_cast<HRESULT>(0x80070057U)).m_hr, static_cast<HRESULT>(0x80070057U));
    EXPECT_EQ(CAtlException(0).m_hr, 0);
}

TEST(CAtlException, ConvertsToItsResult)
{
    HRESULT const result = CAtlException(AtlResult::c_OutOfMemory);
    EXPECT_EQ(static_cast<unsigned int>(result), 0x8007000EU);
}

TEST(AtlResult, HasTheSystemsValues)
{
    EXPECT_EQ(static_cast<unsigned int>(AtlResult::c_Fail), 0x80004005U);
    EXPECT_EQ(static_cast<unsigned int>(AtlResult::c_OutOfMemory), 0x8007000EU);
    EXPECT_EQ(static_cast<unsigned int>(AtlResult::c_InvalidArg), 0x80070057U);
}

// The library throws, the program catches: the type is one and the same on both sides.
TEST(AtlThrow, ThrowsByValueAcrossTheModuleBoundary)
{
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, AtlThrow(AtlResult::c_InvalidArg));
    EXPECT_THROW(AtlThrow(AtlResult::c_Fail), CAtlException);
}
