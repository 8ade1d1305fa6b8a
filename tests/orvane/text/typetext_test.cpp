#include "orvane/text/typetext.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Declared only, as headers name what stands above them.
class CTypeTextDeclared;

namespace TypeTextTest
{
class CClass
{
public:
    struct SNested
    {
    };

    struct Snug
    {
    };

    enum ENested : unsigned int
    {
        eOne
    };
};

struct S
{
};

template <class T, class U>
class CPair
{
public:
    struct SInner
    {
    };
};
} // namespace TypeTextTest

namespace
{
class CHidden
{
};
} // namespace

using namespace TypeTextTest;

TEST(TypeText, NamesNumbersByTheirKeywords)
{
    EXPECT_EQ(detail::typeText<int>(), "int");
    EXPECT_EQ(detail::typeText<unsigned int>(), "unsigned int");
    EXPECT_EQ(detail::typeText<unsigned long>(), "unsigned long");
    EXPECT_EQ(detail::typeText<bool>(), "bool");
    EXPECT_EQ(detail::typeText<signed char>(), "signed char");
    EXPECT_EQ(detail::typeText<wchar_t>(), "wchar_t");
}

TEST(TypeText, NamesNumbersOf64BitsAlikeOnBothTargets)
{
    EXPECT_EQ(detail::typeText<long long>(), "__int64");
    EXPECT_EQ(detail::typeText<unsigned long long>(), "unsigned __int64");
}

TEST(TypeText, PutsClassBeforeTheFullNameOfAClass)
{
    EXPECT_EQ(detail::typeText<CClass>(), "class TypeTextTest::CClass");
}

TEST(TypeText, TellsAStructureByItsName)
{
    EXPECT_EQ(detail::typeText<CClass::SNested>(), "struct TypeTextTest::CClass::SNested");
}

TEST(TypeText, TakesNoOtherNameWithAnSForAStructures)
{
    EXPECT_EQ(detail::typeText<CClass::Snug>(), "class TypeTextTest::CClass::Snug");
    EXPECT_EQ(detail::typeText<S>(), "class TypeTextTest::S");
}

TEST(TypeText, PutsEnumBeforeAnEnumeration)
{
    EXPECT_EQ(detail::typeText<CClass::ENested>(), "enum TypeTextTest::CClass::ENested");
}

TEST(TypeText, PutsASpaceBeforeTheAsteriskOfAPointer)
{
    EXPECT_EQ(detail::typeText<CClass*>(), "class TypeTextTest::CClass *");
    EXPECT_EQ(detail::typeText<int**>(), "int * *");
}

TEST(TypeText, NamesAClassThatIsOnlyDeclared)
{
    EXPECT_EQ(detail::typeText<CTypeTextDeclared*>(), "class CTypeTextDeclared *");
    EXPECT_EQ(detail::typeText<CTypeTextDeclared>(), "class CTypeTextDeclared");
}

TEST(TypeText, NamesTheHiddenNamespaceOfAFile)
{
    EXPECT_EQ(detail::typeText<CHidden>(), "class `anonymous namespace'::CHidden");
}

TEST(TypeText, NamesTheArgumentsOfATemplateInTheSameWay)
{
    EXPECT_EQ((detail::typeText<CPair<unsigned long, CClass::SNested>>()),
              "class TypeTextTest::CPair<unsigned long,struct TypeTextTest::CClass::SNested>");
}

TEST(TypeText, KeepsTwoClosingBracketsApart)
{
    EXPECT_EQ((detail::typeText<CPair<int, CPair<int, CHidden*>>>()),
              "class TypeTextTest::CPair<int,class TypeTextTest::CPair<int,class `anonymous namespace'::CHidden *> >");
}

TEST(TypeText, NamesStandardTextWithoutTheLibrarysVersion)
{
    EXPECT_EQ(detail::typeText<std::string>(),
              "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >");
    EXPECT_EQ(detail::typeText<std::wstring>(),
              "class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> >");
}

TEST(TypeText, NamesCharacterTraitsAsTheStructureThatTheyAre)
{
    EXPECT_EQ(detail::typeText<std::char_traits<wchar_t>>(), "struct std::char_traits<wchar_t>");
}

TEST(TypeText, NamesTheTextClassesAsTypedAccessDoes)
{
    EXPECT_EQ(detail::typeText<CStringA>(),
              "class ATL::CStringT<char,class StrTraitMFC_DLL<char,class ATL::ChTraitsCRT<char> > >");
    EXPECT_EQ(detail::typeText<CStringW*>(),
              "class ATL::CStringT<wchar_t,class StrTraitMFC_DLL<wchar_t,class ATL::ChTraitsCRT<wchar_t> > > *");
}

TEST(TypeText, OfATemplateWithoutItsArgumentsKeepsThoseOfTheOuterOne)
{
    EXPECT_EQ(detail::withoutArguments("COuter<int>::CInner<CPair<int, long> >"), "COuter<int>::CInner");
    EXPECT_EQ(detail::withoutArguments("COuter<int>::CInner"), "COuter<int>::CInner");
    EXPECT_EQ(detail::withoutArguments(""), "");
}

TEST(TypeText, OfAClassTakesOnlyItsOwnNameForTheKeyword)
{
    EXPECT_EQ(detail::classText("SOuter::CInner<STaskEntry>"), "class SOuter::CInner<STaskEntry>");
    EXPECT_EQ(detail::classText("COuter::SInner<COuter>"), "struct COuter::SInner<COuter>");
}
