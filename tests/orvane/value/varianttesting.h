// Variants of every kind, also of those that only a damaged stream makes.

#ifndef ORVANE_TESTS_VALUE_VARIANTTESTING_H
#define ORVANE_TESTS_VALUE_VARIANTTESTING_H

#include <initializer_list>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/object/classrecord.h"
#include "orvane/stream/streamtesting.h"
#include "orvane/value/cbvariant.h"

using EType = CbVariant::EVariantType;

/// The kinds that exist, in the order of their numbers.
inline std::vector<EType> allKinds()
{
    return {CbVariant::eNull,     CbVariant::eBool,   CbVariant::eInt32,  CbVariant::eInt64,   CbVariant::eUInt32,
            CbVariant::eFloat,    CbVariant::eDouble, CbVariant::eChar,   CbVariant::eStringW, CbVariant::eByteArray,
            CbVariant::eDateTime, CbVariant::eInt8,   CbVariant::eUInt8,  CbVariant::eInt16,   CbVariant::eUInt16,
            CbVariant::eUInt64,   CbVariant::eObject, CbVariant::eStringA};
}

inline char const* nameOf(EType type)
{
    static char const* const c_Names[] = {
        "eNull",     "eBool", "eInt32", "eInt64", "eUInt32", "eFloat",  "eDouble", "eChar",   "eStringW", "eByteArray",
        "eDateTime", "11",    "eInt8",  "eUInt8", "eInt16",  "eUInt16", "eUInt64", "eObject", "eStringA"};
    return type < std::size(c_Names) ? c_Names[type] : "stray";
}

/// An object that can be created and cloned.
class CVariantThing : public IObject
{
    CB_DECLARE_CLASS(CVariantThing);

public:
    CVariantThing()
    {
        ++s_instances;
    }

    explicit CVariantThing(int number) : m_number(number)
    {
        ++s_instances;
    }

    CVariantThing(CVariantThing const& other) : IObject(other), m_number(other.m_number)
    {
        ++s_instances;
    }

    CVariantThing& operator=(CVariantThing const&) = delete;

    ~CVariantThing() override
    {
        --s_instances;
    }

    int m_number = 7;

    static inline int s_instances = 0;
};

/// An object whose record has neither a create nor a clone function.
class CVariantStone : public IObject
{
public:
    static CbRTTI const RTTI;

    CbRTTI const& GetRTTI() const override
    {
        return RTTI;
    }

    wchar_t const* GetClassNameW() const override
    {
        return RTTI.GetName();
    }
};

inline CbArray<unsigned char> bytesFrom(std::initializer_list<unsigned char> values)
{
    CbArray<unsigned char> bytes;
    for (unsigned char const value : values)
    {
        bytes.Add(value);
    }
    return bytes;
}

/// A value of the kind; its numbers are 1, its text is "1".
inline CbVariant sampleOf(EType type)
{
    switch (type)
    {
    case CbVariant::eBool:
        return CbVariant(true);
    case CbVariant::eInt32:
        return CbVariant(1);
    case CbVariant::eInt64:
        return CbVariant(static_cast<__int64>(1));
    case CbVariant::eUInt32:
        return CbVariant(1u);
    case CbVariant::eFloat:
        return CbVariant(1.0f);
    case CbVariant::eDouble:
        return CbVariant(1.0);
    case CbVariant::eChar:
        return CbVariant('1');
    case CbVariant::eStringW:
        return CbVariant(L"1");
    case CbVariant::eByteArray:
        return CbVariant(bytesFrom({1}));
    case CbVariant::eDateTime:
        return CbVariant(CbDateTime(2024, 5, 6, 7, 8, 9, 10));
    case CbVariant::eInt8:
        return CbVariant(static_cast<signed char>(1));
    case CbVariant::eUInt8:
        return CbVariant(static_cast<unsigned char>(1));
    case CbVariant::eInt16:
        return CbVariant(static_cast<short>(1));
    case CbVariant::eUInt16:
        return CbVariant(static_cast<unsigned short>(1));
    case CbVariant::eUInt64:
        return CbVariant(static_cast<unsigned __int64>(1));
    case CbVariant::eObject:
        return CbVariant(CVariantThing(1));
    case CbVariant::eStringA:
        return CbVariant("1");
    default:
        return CbVariant();
    }
}

/// The kinds that a variant can have without a value that it could be asked for: the object is missing, or the kind does
/// not exist.
inline std::vector<unsigned int> strayKinds()
{
    return {11, 19, 0xFFFFFFFF};
}

/// Reads a stored kind that has no stored form, which leaves the variant with it.
inline void makeStray(CbVariant& variant, unsigned int type)
{
    Bytes const bytes = joined({littleEndian(0, 4), littleEndian(type, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    try
    {
        variant.Serialize(stream);
    }
    catch (CbExceptionConversion const&)
    {
    }
}

inline Bytes serialized(CbVariant const& variant)
{
    CbStreamWriteBinaryBuffer stream;
    variant.Serialize(stream);
    return bytesOf(stream);
}

/// Without it a failed expectation would show a variant by one of its conversions.
inline void PrintTo(CbVariant const& variant, std::ostream* out)
{
    *out << nameOf(variant.GetType()) << ' ';
    try
    {
        *out << variant.ToJson();
    }
    catch (CbExceptionConversion const&)
    {
        *out << "without a value";
    }
}

#endif // ORVANE_TESTS_VALUE_VARIANTTESTING_H
