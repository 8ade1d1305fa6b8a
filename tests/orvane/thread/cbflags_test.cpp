#include "orvane/thread/cbflags.h"

#include <type_traits>

#include <gtest/gtest.h>

namespace
{
enum EColour : unsigned int
{
    eRed = 1,
    eGreen = 2,
    eBlue = 0x80000000
};

using Colours = CbFlags<EColour>;

static_assert(sizeof(Colours) == 4);
static_assert(std::is_trivially_copyable_v<Colours>);
static_assert(std::is_convertible_v<EColour, Colours> && !std::is_convertible_v<unsigned int, Colours>);
} // namespace

TEST(CbFlags, AreEmptyToBeginWith)
{
    EXPECT_TRUE(Colours().IsEmpty());
    EXPECT_EQ(Colours().GetValue(), 0u);
    EXPECT_FALSE(Colours(eBlue).IsEmpty());
}

TEST(CbFlags, KeepBitsWithoutAName)
{
    EXPECT_EQ(Colours(0x12345678u).GetValue(), 0x12345678u);
}

TEST(CbFlags, SetReplaces)
{
    Colours colours(eRed);
    colours.Set(eGreen | Colours(eBlue));
    EXPECT_EQ(colours.GetValue(), 0x80000002u);
}

TEST(CbFlags, AddKeepsWhatIsThere)
{
    Colours colours(eRed);
    colours.Add(eBlue);
    colours.Add(eRed);
    EXPECT_EQ(colours.GetValue(), 0x80000001u);
}

TEST(CbFlags, RemoveLeavesTheOthers)
{
    Colours colours(0x80000003u);
    colours.Remove(eRed | Colours(eBlue));
    colours.Remove(eBlue);
    EXPECT_EQ(colours, Colours(eGreen));
}

TEST(CbFlags, IsSetAsksForAll)
{
    Colours const colours = eRed | Colours(eGreen);
    EXPECT_TRUE(colours.IsSet(eRed));
    EXPECT_TRUE(colours.IsSet(colours));
    EXPECT_FALSE(colours.IsSet(eRed | Colours(eBlue)));
    EXPECT_TRUE(colours.IsSet(Colours())) << "all of none";
}

TEST(CbFlags, IsOneSetAsksForAny)
{
    Colours const colours = eRed | Colours(eGreen);
    EXPECT_TRUE(colours.IsOneSet(eRed | Colours(eBlue)));
    EXPECT_FALSE(colours.IsOneSet(eBlue));
    EXPECT_FALSE(colours.IsOneSet(Colours())) << "one of none";
}
