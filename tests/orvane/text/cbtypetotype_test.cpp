#include "orvane/text/cbtypetotype.h"

#include <type_traits>

#include <gtest/gtest.h>

static_assert(std::is_same_v<CbTypeToType<int>::Type, int>);
static_assert(std::is_same_v<CbTypeToType<char const&>::Type, char const&>);
static_assert(std::is_empty_v<CbTypeToType<int>> && std::is_default_constructible_v<CbTypeToType<void>>);

namespace
{
int pick(CbTypeToType<int>)
{
    return 1;
}

int pick(CbTypeToType<unsigned int>)
{
    return 2;
}
} // namespace

TEST(CbTypeToType, PicksAnOverloadByTheType)
{
    EXPECT_EQ(pick(CbTypeToType<int>()), 1);
    EXPECT_EQ(pick(CbTypeToType<unsigned int>()), 2);
}
