#include "orvane/exception/iexception.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "support/virtualposition.h"

static_assert(std::is_abstract_v<IException> && std::has_virtual_destructor_v<IException>);
static_assert(std::is_nothrow_destructible_v<IException>);
static_assert(sizeof(IException) == sizeof(void*));

static_assert(std::is_same_v<decltype(&IException::Clone), std::unique_ptr<IException> (IException::*)() const>);
static_assert(std::is_same_v<decltype(&IException::GetFilename), char const* (IException::*)() const>);
static_assert(std::is_same_v<decltype(&IException::GetCodeLine), unsigned int (IException::*)() const>);
static_assert(std::is_same_v<decltype(&IException::GetFunctionName), char const* (IException::*)() const>);
static_assert(std::is_same_v<decltype(&IException::GetThreadID), unsigned int (IException::*)() const>);

TEST(IException, HasItsOperationsInPublishedOrder)
{
    EXPECT_EQ(VirtualPosition(&IException::Clone), 1u);
    EXPECT_EQ(VirtualPosition(&IException::GetFilename), 2u);
    EXPECT_EQ(VirtualPosition(&IException::GetCodeLine), 3u);
    EXPECT_EQ(VirtualPosition(&IException::GetFunctionName), 4u);
    EXPECT_EQ(VirtualPosition(&IException::GetThreadID), 5u);
}
