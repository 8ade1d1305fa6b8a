#include "typeregistry/cbrtti.h"

#include <cwchar>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/runprogram.h"
#include "typeregistry/testobjects.h"

static_assert(!std::is_copy_constructible_v<CbRTTI> && !std::is_move_constructible_v<CbRTTI>);
static_assert(!std::is_copy_assignable_v<CbRTTI> && !std::is_move_assignable_v<CbRTTI>);

TEST(CbRTTIRecord, AnswersWhatItWasMadeOf)
{
    const CbRTTI parent(L"Record.Parent", nullptr, nullptr);
    const CbRTTI child(L"Record.Child", parent, createOne, cloneExactly);

    EXPECT_STREQ(child.GetName(), L"Record.Child");
    EXPECT_EQ(child.GetParent(), &parent);
    EXPECT_EQ(child.GetCreate(), &createOne);
    EXPECT_EQ(child.GetClone(), &cloneExactly);
}

TEST(CbRTTIRecord, OfARootClassHasNoParent)
{
    const CbRTTI root(L"Record.Root", createOne, cloneExactly);

    EXPECT_EQ(root.GetParent(), nullptr);
    EXPECT_EQ(root.GetCreate(), &createOne);
    EXPECT_EQ(root.GetClone(), &cloneExactly);
}

TEST(CbRTTIRecord, MayHaveNoFunctions)
{
    const CbRTTI record(L"Record.WithoutFunctions", nullptr, nullptr);

    EXPECT_EQ(record.GetCreate(), nullptr);
    EXPECT_EQ(record.GetClone(), nullptr);
}

TEST(CbRTTIRecord, CopiesTheName)
{
    wchar_t buffer[] = L"Record.Buffer";
    const CbRTTI record(buffer, createOne, nullptr);
    buffer[0] = L'X';

    EXPECT_STREQ(record.GetName(), L"Record.Buffer");
    EXPECT_EQ(CbRTTI::Find(L"Record.Buffer"), &record);
    EXPECT_EQ(CbRTTI::Find(buffer), nullptr);
}

TEST(CbRTTIRecord, RefusesANullNameAndRegistersNothing)
{
    EXPECT_THROW(CbRTTI(nullptr, createOne, nullptr), std::invalid_argument);
    const CbRTTI parent(L"Record.NullName.Parent", nullptr, nullptr);
    EXPECT_THROW(CbRTTI(nullptr, parent, createOne, nullptr), std::invalid_argument);
    EXPECT_EQ(CbRTTI::Find(nullptr), nullptr);
}

TEST(CbRTTIKinship, CoversTheRecordItselfAndAllAncestors)
{
    const CbRTTI root(L"Kin.Root", nullptr, nullptr);
    const CbRTTI middle(L"Kin.Middle", root, nullptr, nullptr);
    const CbRTTI leaf(L"Kin.Leaf", middle, nullptr, nullptr);

    EXPECT_TRUE(leaf.IsKindOf(leaf));
    EXPECT_TRUE(leaf.IsKindOf(middle));
    EXPECT_TRUE(leaf.IsKindOf(root));
}

TEST(CbRTTIKinship, EndsAtDescendantsAndSiblings)
{
    const CbRTTI root(L"Kin.Root", nullptr, nullptr);
    const CbRTTI one(L"Kin.One", root, nullptr, nullptr);
    const CbRTTI other(L"Kin.Other", root, nullptr, nullptr);

    EXPECT_FALSE(root.IsKindOf(one));
    EXPECT_FALSE(one.IsKindOf(other));
}

TEST(CbRTTIKinship, GoesByAddressAndNotByName)
{
    const CbRTTI root(L"Kin.Twin", nullptr, nullptr);
    const CbRTTI twin(L"Kin.Twin", nullptr, nullptr);
    const CbRTTI child(L"Kin.Child", root, nullptr, nullptr);

    EXPECT_TRUE(child.IsKindOf(root));
    EXPECT_FALSE(child.IsKindOf(twin));
    EXPECT_FALSE(root.IsKindOf(twin));
}

TEST(CbRTTIFind, GivesTheRecordOfThatName)
{
    const CbRTTI one(L"Find.One", createOne, nullptr);
    const CbRTTI two(L"Find.Two", createTwo, nullptr);

    EXPECT_EQ(CbRTTI::Find(L"Find.One"), &one);
    EXPECT_EQ(CbRTTI::Find(L"Find.Two"), &two);
}

TEST(CbRTTIFind, GivesNullForANameThatWasNeverRegistered)
{
    EXPECT_EQ(CbRTTI::Find(L"Find.Never"), nullptr);
    EXPECT_EQ(CbRTTI::getCreate(L"Find.Never"), nullptr);
    EXPECT_EQ(CbRTTI::getClone(L"Find.Never"), nullptr);
}

TEST(CbRTTIFind, GivesNullForANullName)
{
    EXPECT_EQ(CbRTTI::Find(nullptr), nullptr);
    EXPECT_EQ(CbRTTI::getCreate(nullptr), nullptr);
    EXPECT_EQ(CbRTTI::getClone(nullptr), nullptr);
}

TEST(CbRTTIFind, ComparesTheWholeNameAndItsCase)
{
    const CbRTTI record(L"Find.Exactly", createOne, nullptr);

    EXPECT_EQ(CbRTTI::Find(L"Find.Exactl"), nullptr);
    EXPECT_EQ(CbRTTI::Find(L"Find.Exactly2"), nullptr);
    EXPECT_EQ(CbRTTI::Find(L"find.exactly"), nullptr);
}

TEST(CbRTTIFind, TakesTheEmptyNameLikeAnyOther)
{
    EXPECT_EQ(CbRTTI::Find(L""), nullptr);
    const CbRTTI record(L"", createOne, nullptr);
    EXPECT_EQ(CbRTTI::Find(L""), &record);
}

TEST(CbRTTIFind, TakesNamesBeyondAscii)
{
    const CbRTTI record(L"Gr\u00F6\u00DFe\u4E2D", createOne, nullptr);

    EXPECT_EQ(CbRTTI::Find(L"Gr\u00F6\u00DFe\u4E2D"), &record);
    EXPECT_EQ(CbRTTI::Find(L"Gr\u00F6\u00DFe\u4E2E"), nullptr);
}

TEST(CbRTTIFind, GivesNullOnceTheRecordIsGone)
{
    {
        const CbRTTI record(L"Find.Gone", createOne, cloneExactly);
        ASSERT_EQ(CbRTTI::Find(L"Find.Gone"), &record);
    }
    EXPECT_EQ(CbRTTI::Find(L"Find.Gone"), nullptr);
    EXPECT_EQ(CbRTTI::getCreate(L"Find.Gone"), nullptr);
    EXPECT_EQ(CbRTTI::getClone(L"Find.Gone"), nullptr);
}

TEST(CbRTTIFind, GivesTheNewRecordOfANameThatWasGone)
{
    {
        const CbRTTI before(L"Find.Again", createOne, nullptr);
    }
    const CbRTTI after(L"Find.Again", createTwo, nullptr);

    EXPECT_EQ(CbRTTI::Find(L"Find.Again"), &after);
    EXPECT_EQ(CbRTTI::getCreate(L"Find.Again"), &createTwo);
}

TEST(CbRTTIFunctions, AreFoundByNameAndWork)
{
    const CbRTTI record(L"Functions.Both", createThree, cloneDoubled);

    const auto create = CbRTTI::getCreate(L"Functions.Both");
    ASSERT_NE(create, nullptr);
    const auto object = create();
    EXPECT_EQ(object->m_value, 3);

    const auto clone = CbRTTI::getClone(L"Functions.Both");
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone(*object)->m_value, 6);
}

TEST(CbRTTIFunctions, AreNullWhereTheClassHasNone)
{
    const CbRTTI neither(L"Functions.Neither", nullptr, nullptr);
    const CbRTTI onlyCreate(L"Functions.Create", createOne, nullptr);
    const CbRTTI onlyClone(L"Functions.Clone", nullptr, cloneExactly);

    EXPECT_EQ(CbRTTI::getCreate(L"Functions.Neither"), nullptr);
    EXPECT_EQ(CbRTTI::getClone(L"Functions.Neither"), nullptr);
    EXPECT_EQ(CbRTTI::getCreate(L"Functions.Create"), &createOne);
    EXPECT_EQ(CbRTTI::getClone(L"Functions.Create"), nullptr);
    EXPECT_EQ(CbRTTI::getCreate(L"Functions.Clone"), nullptr);
    EXPECT_EQ(CbRTTI::getClone(L"Functions.Clone"), &cloneExactly);
}

TEST(CbRTTIFunctions, AreNotTakenFromAYoungerRecordThatHasThem)
{
    const CbRTTI first(L"Functions.First", nullptr, nullptr);
    const CbRTTI second(L"Functions.First", createTwo, cloneExactly);

    EXPECT_EQ(CbRTTI::getCreate(L"Functions.First"), nullptr);
    EXPECT_EQ(CbRTTI::getClone(L"Functions.First"), nullptr);
}

// Three records of one name, to be destroyed in any order.
class CbRTTIDuplicates : public testing::Test
{
protected:
    CbRTTIDuplicates()
    {
        m_first.emplace(L"Duplicate", createOne, cloneExactly);
        m_second.emplace(L"Duplicate", createTwo, nullptr);
        m_third.emplace(L"Duplicate", createThree, cloneDoubled);
    }

    void expectFound(const CbRTTI* record) const
    {
        EXPECT_EQ(CbRTTI::Find(L"Duplicate"), record);
        EXPECT_EQ(CbRTTI::getCreate(L"Duplicate"), record ? record->GetCreate() : nullptr);
        EXPECT_EQ(CbRTTI::getClone(L"Duplicate"), record ? record->GetClone() : nullptr);
    }

    std::optional<CbRTTI> m_first;
    std::optional<CbRTTI> m_second;
    std::optional<CbRTTI> m_third;
};

TEST_F(CbRTTIDuplicates, LeaveTheFirstToBeFound)
{
    expectFound(&*m_first);
}

TEST_F(CbRTTIDuplicates, AreFoundInOrderOfAgeAsTheOldestGo)
{
    m_first.reset();
    expectFound(&*m_second);
    m_second.reset();
    expectFound(&*m_third);
    m_third.reset();
    expectFound(nullptr);
}

TEST_F(CbRTTIDuplicates, MayGoFromTheMiddle)
{
    m_second.reset();
    expectFound(&*m_first);
    m_first.reset();
    expectFound(&*m_third);
}

TEST_F(CbRTTIDuplicates, MayGoFromTheEnd)
{
    m_third.reset();
    expectFound(&*m_first);
    m_first.reset();
    expectFound(&*m_second);
}

TEST_F(CbRTTIDuplicates, AreFollowedByNewOnesAfterTheYoungestWent)
{
    m_third.reset();
    const CbRTTI fourth(L"Duplicate", nullptr, nullptr);
    m_first.reset();
    expectFound(&*m_second);
    m_second.reset();
    expectFound(&fourth);
}

TEST_F(CbRTTIDuplicates, MayGoYoungestFirst)
{
    m_third.reset();
    m_second.reset();
    expectFound(&*m_first);
    m_first.reset();
    expectFound(nullptr);
}

TEST(CbRTTIRegistry, KeepsTenThousandNamesApart)
{
    constexpr int c_Count = 10'000;
    const auto nameOf = [](int number) { return L"Many.ApplicationClass." + std::to_wstring(number); };
    std::vector<std::unique_ptr<CbRTTI>> records;
    for (int n = 0; n < c_Count; ++n)
    {
        records.push_back(std::make_unique<CbRTTI>(nameOf(n).c_str(), createOne, nullptr));
    }
    for (int n = 0; n < c_Count; ++n)
    {
        ASSERT_EQ(CbRTTI::Find(nameOf(n).c_str()), records[static_cast<std::size_t>(n)].get()) << n;
    }
    records.resize(c_Count / 2);
    for (int n = 0; n < c_Count; ++n)
    {
        ASSERT_EQ(CbRTTI::Find(nameOf(n).c_str()) != nullptr, n < c_Count / 2) << n;
    }
}

TEST(CbRTTIRegistry, WorksAfterMain)
{
    const auto run = runProgram(ORVANE_TYPEREGISTRY_PROBE);

    EXPECT_TRUE(run.succeeded);
    EXPECT_EQ(run.output.substr(0, 20), "registry after main:") << run.errors;
    EXPECT_NE(run.output.find("found created destroyed"), std::string::npos) << run.output;
}
