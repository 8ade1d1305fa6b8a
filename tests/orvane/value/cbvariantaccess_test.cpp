// The forty accessors against every kind: exactly the own kind, with the function text of each.

#include <functional>

#include <gtest/gtest.h>

#include "orvane/value/varianttesting.h"
#include "support/logrecorder.h"
#include "support/raises.h"

namespace
{
constexpr char c_NarrowName[] =
    "class ATL::CStringT<char,class StrTraitMFC_DLL<char,class ATL::ChTraitsCRT<char> > > &";
constexpr char c_WideName[] =
    "class ATL::CStringT<wchar_t,class StrTraitMFC_DLL<wchar_t,class ATL::ChTraitsCRT<wchar_t> > > &";

struct SAccessor
{
    std::string function;
    EType demands;
    std::function<void(CbVariant&)> access;
};

template <class T>
SAccessor byReference(char const* type, EType demands)
{
    return {std::string("CbVariant::operator ") + type, demands,
            [](CbVariant& variant) { static_cast<void>(&variant.operator T&()); }};
}

template <class T>
SAccessor byValue(char const* type, EType demands)
{
    return {std::string("CbVariant::operator ") + type, demands,
            [](CbVariant& variant) { static_cast<void>(std::as_const(variant).operator T()); }};
}

template <class T>
SAccessor byConstReference(std::string const& type, EType demands)
{
    return {"CbVariant::operator const " + type, demands,
            [](CbVariant& variant) { static_cast<void>(&std::as_const(variant).operator T const&()); }};
}

std::vector<SAccessor> const& accessors()
{
    using I64 = __int64;
    using U64 = unsigned __int64;
    using Bytes8 = CbArray<unsigned char>;
    static std::vector<SAccessor> const s_accessors = {
        byReference<bool>("bool &", CbVariant::eBool),
        byValue<bool>("bool", CbVariant::eBool),
        byReference<char>("char &", CbVariant::eChar),
        byValue<char>("char", CbVariant::eChar),
        byReference<signed char>("signed char &", CbVariant::eInt8),
        byValue<signed char>("signed char", CbVariant::eInt8),
        byReference<unsigned char>("unsigned char &", CbVariant::eUInt8),
        byValue<unsigned char>("unsigned char", CbVariant::eUInt8),
        byReference<short>("short &", CbVariant::eInt16),
        byValue<short>("short", CbVariant::eInt16),
        byReference<unsigned short>("unsigned short &", CbVariant::eUInt16),
        byValue<unsigned short>("unsigned short", CbVariant::eUInt16),
        byReference<int>("int &", CbVariant::eInt32),
        byValue<int>("int", CbVariant::eInt32),
        byReference<unsigned int>("unsigned int &", CbVariant::eUInt32),
        byValue<unsigned int>("unsigned int", CbVariant::eUInt32),
        byReference<long>("long &", CbVariant::eInt32),
        byValue<long>("long", CbVariant::eInt32),
        byReference<unsigned long>("unsigned long &", CbVariant::eUInt32),
        byValue<unsigned long>("unsigned long", CbVariant::eUInt32),
        byReference<I64>("__int64 &", CbVariant::eInt64),
        byValue<I64>("__int64", CbVariant::eInt64),
        byReference<U64>("unsigned __int64 &", CbVariant::eUInt64),
        byValue<U64>("unsigned __int64", CbVariant::eUInt64),
        byReference<float>("float &", CbVariant::eFloat),
        byValue<float>("float", CbVariant::eFloat),
        byReference<double>("double &", CbVariant::eDouble),
        byValue<double>("double", CbVariant::eDouble),
        byValue<char const*>("const char *", CbVariant::eStringA),
        byValue<wchar_t const*>("const wchar_t *", CbVariant::eStringW),
        byConstReference<CStringA>(c_NarrowName, CbVariant::eStringA),
        byReference<CStringA>(c_NarrowName, CbVariant::eStringA),
        byConstReference<CStringW>(c_WideName, CbVariant::eStringW),
        byReference<CStringW>(c_WideName, CbVariant::eStringW),
        byConstReference<Bytes8>("class CbArray<unsigned char> &", CbVariant::eByteArray),
        byReference<Bytes8>("class CbArray<unsigned char> &", CbVariant::eByteArray),
        byConstReference<CbDateTime>("class CbDateTime &", CbVariant::eDateTime),
        byReference<CbDateTime>("class CbDateTime &", CbVariant::eDateTime),
        byConstReference<IObject>("class IObject &", CbVariant::eObject),
        byReference<IObject>("class IObject &", CbVariant::eObject),
    };
    return s_accessors;
}

class CbVariantAccess : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};
} // namespace

TEST_F(CbVariantAccess, HasFortyOperators)
{
    EXPECT_EQ(accessors().size(), 40u);
}

TEST_F(CbVariantAccess, GivesExactlyItsOwnKind)
{
    for (SAccessor const& accessor : accessors())
    {
        SCOPED_TRACE(accessor.function);
        for (EType const type : allKinds())
        {
            SCOPED_TRACE(nameOf(type));
            CbVariant variant = sampleOf(type);
            if (type == accessor.demands)
            {
                EXPECT_NO_THROW(accessor.access(variant));
            }
            else
            {
                EXPECT_RAISES(CbExceptionConversion, "cbvariant", accessor.function.c_str(), accessor.access(variant));
            }
            EXPECT_EQ(variant.GetType(), type);
            if (type != CbVariant::eObject)
            {
                EXPECT_EQ(variant, sampleOf(type)) << "access changes nothing";
            }
        }
    }
}

TEST_F(CbVariantAccess, RefusesKindsThatDoNotExist)
{
    for (SAccessor const& accessor : accessors())
    {
        SCOPED_TRACE(accessor.function);
        for (unsigned int const type : strayKinds())
        {
            CbVariant variant;
            makeStray(variant, type);
            EXPECT_RAISES(CbExceptionConversion, "cbvariant", accessor.function.c_str(), accessor.access(variant));
        }
    }
}

TEST_F(CbVariantAccess, ReadsAnIntAsLongButNotAsAWiderInteger)
{
    CbVariant const variant(5);

    EXPECT_EQ(variant.operator long(), 5);
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator __int64",
                  static_cast<void>(variant.operator __int64()));
}

// g++ remarks on the choice that this test is about.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"

TEST_F(CbVariantAccess, OfAVariantThatIsNotConstReportsTheReference)
{
    CbVariant variant("text");

    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator int &", {
        int const number = variant;
        static_cast<void>(number);
    });
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator int", {
        int const number = std::as_const(variant);
        static_cast<void>(number);
    });
}

#pragma GCC diagnostic pop

TEST_F(CbVariantAccess, WritesThroughReferences)
{
    CbVariant number(5);
    CbVariant text(L"text");
    CbVariant bytes(bytesFrom({1}));
    CbVariant date(CbDateTime(2024, 1, 2, 3, 4, 5, 6));

    static_cast<int&>(number) = -6;
    static_cast<CStringW&>(text) += L" and more";
    static_cast<CbArray<unsigned char>&>(bytes).Add(2);
    static_cast<CbDateTime&>(date).SetYear(2025);

    EXPECT_EQ(number, -6);
    EXPECT_EQ(text, L"text and more");
    EXPECT_EQ(bytes, bytesFrom({1, 2}));
    EXPECT_EQ(date, CbDateTime(2025, 1, 2, 3, 4, 5, 6));
}

TEST_F(CbVariantAccess, ExtendsALongReferenceBySign)
{
    CbVariant negative(-5);
    CbVariant large(0xFFFFFFFBu);

    EXPECT_EQ(negative.operator long&(), -5l);
    EXPECT_EQ(large.operator unsigned long&(), 0xFFFFFFFBul);
}

TEST_F(CbVariantAccess, ExtendsALongReferenceAnewAfterTheIntChanged)
{
    CbVariant variant(-5);
    static_cast<void>(variant.operator long&());
    variant.operator int&() = 6;

    EXPECT_EQ(variant.operator long&(), 6l);
}

TEST_F(CbVariantAccess, TakesTheLowBitsOfWhatIsWrittenThroughALongReference)
{
    CbVariant variant(0);
    CbVariant unsignedVariant(0u);

    variant.operator long&() = -7;
    unsignedVariant.operator unsigned long&() = 0xFFFFFFF9ul;

    EXPECT_EQ(variant, -7);
    EXPECT_EQ(unsignedVariant, 0xFFFFFFF9u);
}

TEST_F(CbVariantAccess, GivesTextWithItsNul)
{
    CbVariant const narrow("text");
    CbVariant const wide(L"text");

    EXPECT_STREQ(narrow.operator char const*(), "text");
    EXPECT_EQ(std::wstring(wide.operator wchar_t const*()), L"text");
}
