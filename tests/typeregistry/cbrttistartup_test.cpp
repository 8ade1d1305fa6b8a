// Records that are made in static initialisers, children before their parents.

#include <gtest/gtest.h>

#include "typeregistry/cbrtti.h"
#include "typeregistry/testobjects.h"

namespace
{
struct SLeaf
{
    static const CbRTTI RTTI;
};

struct SMiddle
{
    static const CbRTTI RTTI;
};

struct SRoot
{
    static const CbRTTI RTTI;
};

const bool s_nothingBefore = CbRTTI::Find(L"Startup.Leaf") == nullptr;
const CbRTTI SLeaf::RTTI(L"Startup.Leaf", SMiddle::RTTI, createOne, cloneExactly);
const bool s_leafIsFound = CbRTTI::Find(L"Startup.Leaf") == &SLeaf::RTTI;
const bool s_parentIsNotFoundYet = CbRTTI::Find(L"Startup.Middle") == nullptr;
const CbRTTI SMiddle::RTTI(L"Startup.Middle", SRoot::RTTI, nullptr, nullptr);
const CbRTTI SRoot::RTTI(L"Startup.Root", nullptr, nullptr);
} // namespace

TEST(CbRTTIStartup, FindsARecordInAStaticInitialiserRightAfterItWasMade)
{
    EXPECT_TRUE(s_nothingBefore);
    EXPECT_TRUE(s_leafIsFound);
    EXPECT_TRUE(s_parentIsNotFoundYet);
}

TEST(CbRTTIStartup, JoinsChildrenToParentsThatWereMadeLater)
{
    EXPECT_EQ(SLeaf::RTTI.GetParent(), &SMiddle::RTTI);
    EXPECT_EQ(SMiddle::RTTI.GetParent(), &SRoot::RTTI);
    EXPECT_TRUE(SLeaf::RTTI.IsKindOf(SRoot::RTTI));
    EXPECT_EQ(CbRTTI::Find(L"Startup.Root"), &SRoot::RTTI);
    EXPECT_EQ(CbRTTI::getCreate(L"Startup.Leaf"), &createOne);
}
