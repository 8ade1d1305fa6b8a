// Client classes that register themselves, and the factory helpers.

#include "orvane/object/classrecord.h"

#include <typeinfo>

#include <gtest/gtest.h>

#include "orvane/object/iserializable.h"

class CbShape : public IObject
{
    CB_DECLARE_CLASS(CbShape);

public:
    CbShape()
    {
        ++s_alive;
    }

    CbShape(CbShape const& other) : IObject(other), m_corners(other.m_corners)
    {
        ++s_alive;
    }

    CbShape& operator=(CbShape const&) = default;

    ~CbShape() override
    {
        --s_alive;
    }

    static int s_alive;
    int m_corners = 0;
};

// Its record stands before its parent's.
class CbSquare : public CbShape
{
    CB_DECLARE_CLASS(CbSquare);
};

CB_IMPLEMENT_CLASS_OF(CbSquare, CbShape);
CB_IMPLEMENT_CLASS(CbShape);
int CbShape::s_alive = 0;

namespace
{
// Has a record of its own and fills only the operation that answers it.
class CRenamed : public CbShape
{
public:
    static CbRTTI const RTTI;

    CbRTTI const& GetRTTI() const override
    {
        return RTTI;
    }
};

CbRTTI const CRenamed::RTTI(L"ClassRecord.Renamed", CbShape::RTTI, nullptr, nullptr);

// Has no record of its own.
class CUnregistered : public CbShape
{
};

// Says that it is of a class that nobody has registered.
class CStranger : public CbShape
{
public:
    wchar_t const* GetClassNameW() const override
    {
        return L"ClassRecord.NobodyKnowsThis";
    }
};

std::unique_ptr<IObject> createNothing()
{
    return nullptr;
}

std::unique_ptr<IObject> cloneToNothing(IObject const&)
{
    return nullptr;
}

class CEmptyHanded : public CbShape
{
public:
    static CbRTTI const RTTI;

    CbRTTI const& GetRTTI() const override
    {
        return RTTI;
    }
};

CbRTTI const CEmptyHanded::RTTI(L"ClassRecord.EmptyHanded", createNothing, cloneToNothing);
} // namespace

TEST(ClassRecordMacros, RegisterAClassUnderItsOwnName)
{
    EXPECT_STREQ(CbShape::RTTI.GetName(), L"CbShape");
    EXPECT_STREQ(CbSquare::RTTI.GetName(), L"CbSquare");
    EXPECT_EQ(CbRTTI::Find(L"CbShape"), &CbShape::RTTI);
    EXPECT_EQ(CbRTTI::Find(L"CbSquare"), &CbSquare::RTTI);
}

TEST(ClassRecordMacros, GiveARootClassNoParentAndOthersTheirs)
{
    EXPECT_EQ(CbShape::RTTI.GetParent(), nullptr);
    EXPECT_EQ(CbSquare::RTTI.GetParent(), &CbShape::RTTI);
}

TEST(ClassRecordMacros, AnswerTheRecordOfTheDynamicClass)
{
    CbSquare const square;
    IObject const& object = square;
    CbShape const& shape = square;

    EXPECT_EQ(&object.GetRTTI(), &CbSquare::RTTI);
    EXPECT_STREQ(object.GetClassNameW(), L"CbSquare");
    EXPECT_TRUE(shape.Is(CbSquare::RTTI));
    EXPECT_FALSE(shape.Is(CbShape::RTTI));
    EXPECT_TRUE(shape.IsKindOf(CbShape::RTTI));
    EXPECT_TRUE(shape.IsKindOf(CbSquare::RTTI));
}

TEST(ClassRecordMacros, DoNotTakeAParentForItsChild)
{
    CbShape const shape;

    EXPECT_TRUE(shape.Is(CbShape::RTTI));
    EXPECT_FALSE(shape.Is(CbSquare::RTTI));
    EXPECT_FALSE(shape.IsKindOf(CbSquare::RTTI));
}

TEST(ClassRecordMacros, CompareRecordsByAddressAndNotByName)
{
    CbShape const shape;
    CbRTTI const namesake(L"CbShape", nullptr, nullptr);

    EXPECT_FALSE(shape.Is(namesake));
    EXPECT_FALSE(shape.IsKindOf(namesake));
}

TEST(ClassRecordMacros, LetASubclassThatFillsOnlyGetRTTIReportItsOwnName)
{
    CRenamed const object;
    CbShape const& shape = object;

    EXPECT_STREQ(shape.GetClassNameW(), L"ClassRecord.Renamed");
    EXPECT_TRUE(shape.Is(CRenamed::RTTI));
    EXPECT_FALSE(shape.Is(CbShape::RTTI));
    EXPECT_TRUE(shape.IsKindOf(CbShape::RTTI));
}

TEST(ClassRecordMacros, LetASubclassWithoutARecordReportItsParent)
{
    CUnregistered const object;

    EXPECT_STREQ(object.GetClassNameW(), L"CbShape");
    EXPECT_TRUE(object.Is(CbShape::RTTI));
}

TEST(ClassRecordCreate, GivesANewObjectOfTheClassOfThatName)
{
    std::unique_ptr<IObject> const first = Factory::CreateByName(L"CbSquare");
    std::unique_ptr<IObject> const second = Factory::CreateByName(L"CbSquare");

    ASSERT_NE(first, nullptr);
    EXPECT_EQ(typeid(*first), typeid(CbSquare));
    EXPECT_NE(first, second);
}

TEST(ClassRecordCreate, GivesNothingForAnUnknownName)
{
    EXPECT_EQ(Factory::CreateByName(L"ClassRecord.NobodyKnowsThis"), nullptr);
    EXPECT_EQ(Factory::CreateByName(L""), nullptr);
    EXPECT_EQ(Factory::CreateByName(nullptr), nullptr);
}

TEST(ClassRecordCreate, TakesNamesToTheLetter)
{
    EXPECT_EQ(Factory::CreateByName(L"cbsquare"), nullptr);
    EXPECT_EQ(Factory::CreateByName(L"CbSquare "), nullptr);
    EXPECT_EQ(Factory::CreateByName(L"CbSquar"), nullptr);
}

TEST(ClassRecordCreate, GivesNothingForAClassWithoutCreateFunction)
{
    EXPECT_EQ(Factory::CreateByName(L"ClassRecord.Renamed"), nullptr);
}

TEST(ClassRecordCreate, GivesNothingWhereTheCreateFunctionDoes)
{
    EXPECT_EQ(Factory::CreateByName(L"ClassRecord.EmptyHanded"), nullptr);
}

TEST(ClassRecordClone, MakesACopyOfTheDynamicClass)
{
    CbSquare square;
    square.m_corners = 4;
    IObject const& object = square;

    std::unique_ptr<CbShape> const copy = Factory::CloneAs<CbShape>(object);

    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(typeid(*copy), typeid(CbSquare));
    EXPECT_EQ(copy->m_corners, 4);
    EXPECT_NE(copy.get(), &square);
}

TEST(ClassRecordClone, GivesNothingForAClassWithoutCloneFunction)
{
    EXPECT_EQ(Factory::CloneAs<IObject>(CRenamed()), nullptr);
}

TEST(ClassRecordClone, GivesNothingForAClassThatIsNotRegistered)
{
    EXPECT_EQ(Factory::CloneAs<IObject>(CStranger()), nullptr);
}

TEST(ClassRecordClone, GivesNothingWhereTheCloneFunctionDoes)
{
    EXPECT_EQ(Factory::CloneAs<IObject>(CEmptyHanded()), nullptr);
}

TEST(ClassRecordClone, DestroysACopyThatIsNotOfTheWantedInterface)
{
    CbSquare const square;
    int const alive = CbShape::s_alive;

    EXPECT_EQ(Factory::CloneAs<ISerializable>(square), nullptr);
    EXPECT_EQ(CbShape::s_alive, alive);
}

TEST(ClassRecordClone, RefusesAnObjectOfAnotherClass)
{
    CbRTTI::FnClone const clone = CbRTTI::getClone(L"CbSquare");
    ASSERT_NE(clone, nullptr);

    EXPECT_THROW(static_cast<void>(clone(CbShape())), std::bad_cast);
}

TEST(ClassRecordClone, OfAParentTakesAnObjectOfAChildAndCopiesTheParentsPart)
{
    CbSquare square;
    square.m_corners = 4;

    std::unique_ptr<IObject> const copy = CbShape::RTTI.GetClone()(square);

    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(typeid(*copy), typeid(CbShape));
    EXPECT_EQ(static_cast<CbShape const&>(*copy).m_corners, 4);
}
