#include "orvane/value/cbvariant.h"

#include <memory>
#include <string_view>

#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/exception/raisesite.h"
#include "orvane/stream/cbarray_serializer.h"
#include "orvane/stream/cbstreamreadbinary.h"
#include "orvane/stream/cbstreamwritebinary.h"

namespace
{
CB_RAISING_FILE("cbvariant");

constexpr unsigned int c_Version = 0;

std::unique_ptr<IObject> createObject(CbRTTI const& record)
{
    CbRTTI::FnCreate const create = record.GetCreate();
    return create != nullptr ? create() : nullptr;
}

std::unique_ptr<IObject> cloneObject(IObject const& object)
{
    CbRTTI::FnClone const clone = object.GetRTTI().GetClone();
    return clone != nullptr ? clone(object) : nullptr;
}

// Neighbouring numbers, and equal numbers of different kinds, are to lie apart.
std::size_t mix(unsigned int type, std::size_t hash)
{
    unsigned __int64 value = (static_cast<unsigned __int64>(type) << 58) ^ hash;
    value ^= value >> 32;
    value *= 0x9E3779B97F4A7C15;
    value ^= value >> 29;
    return static_cast<std::size_t>(value);
}

// Of what decides about equality: not of the day of the week.
std::size_t hashDate(CbDateTime const& date)
{
    std::size_t hash = 0;
    for (unsigned int const field : {date.GetYear(), date.GetMonth(), date.GetDay(), date.GetHour(), date.GetMinute(),
                                     date.GetSecond(), date.GetMillisecond()})
    {
        hash = mix(0, hash * 31 + field);
    }
    return hash;
}

std::size_t hashBytes(CbArray<unsigned char> const& bytes)
{
    return std::hash<std::string_view>()({reinterpret_cast<char const*>(bytes.GetData()), bytes.GetCount()});
}
} // namespace

CbVariant::CbVariant(CbRTTI const& record) : CbVariant()
{
    std::unique_ptr<IObject> object = createObject(record);
    if (object == nullptr)
    {
        throw CbExceptionConversion(CB_SITE("CbVariant::CbVariant"));
    }
    hold(object.release());
}

// ---- assignment

template <class TText, class TValue>
CbVariant& CbVariant::assignText(EVariantType type, TText* UCell::*place, TValue const& value)
{
    if (m_type == type)
    {
        *(m_cell.*place) = value;
        return *this;
    }
    return hold(makeText<TText>(value));
}

CbVariant& CbVariant::operator=(char const* value)
{
    return assignText(eStringA, &UCell::textA, value);
}

CbVariant& CbVariant::operator=(CStringA const& value)
{
    return assignText(eStringA, &UCell::textA, value);
}

CbVariant& CbVariant::operator=(std::string const& value)
{
    return *this = value.c_str();
}

CbVariant& CbVariant::operator=(wchar_t const* value)
{
    return assignText(eStringW, &UCell::textW, value);
}

CbVariant& CbVariant::operator=(CStringW const& value)
{
    return assignText(eStringW, &UCell::textW, value);
}

CbVariant& CbVariant::operator=(std::wstring const& value)
{
    return *this = value.c_str();
}

CbVariant& CbVariant::operator=(CbArray<unsigned char> const& value)
{
    return hold(new CbArray<unsigned char>(value));
}

CbVariant& CbVariant::operator=(CbArray<unsigned char>&& value)
{
    return hold(new CbArray<unsigned char>(std::move(value)));
}

CbVariant& CbVariant::operator=(CbDateTime const& value)
{
    if (m_type == eDateTime)
    {
        *m_cell.date = value;
        return *this;
    }
    return hold(new CbDateTime(value));
}

CbVariant& CbVariant::operator=(IObject const& value)
{
    std::unique_ptr<IObject> clone;
    try
    {
        clone = cloneObject(value);
    }
    catch (...)
    {
        hold(static_cast<IObject*>(nullptr));
        throw;
    }
    bool const isCloned = clone != nullptr;
    hold(clone.release());
    if (!isCloned)
    {
        throw CbExceptionConversion(CB_SITE("CbVariant::operator ="));
    }
    return *this;
}

// Narrow text is carried most: here and at the end nothing stands between it and the heap.
void CbVariant::constructFrom(CbVariant const& other)
{
    if (other.m_type == eStringA)
    {
        m_cell.textA = makeText<CStringA>(*other.m_cell.textA);
        return;
    }
    m_type = eNull;
    m_cell.bits = 0;
    copyFrom(other);
}

void CbVariant::copyFrom(CbVariant const& other)
{
    switch (other.m_type)
    {
    case eStringA:
        *this = *other.m_cell.textA;
        return;
    case eStringW:
        *this = *other.m_cell.textW;
        return;
    case eByteArray:
        *this = *other.m_cell.bytes;
        return;
    case eDateTime:
        *this = *other.m_cell.date;
        return;
    case eObject:
        if (other.m_cell.object == nullptr)
        {
            hold(static_cast<IObject*>(nullptr));
            throw CbExceptionConversion(CB_SITE("CbVariant::operator ="));
        }
        *this = *other.m_cell.object;
        return;
    default:
        if (!isPlain(other.m_type))
        {
            throw CbExceptionConversion(CB_SITE("CbVariant::operator ="));
        }
        store(other.m_type, other.m_cell.bits);
        return;
    }
}

// ---- ownership

void CbVariant::free() noexcept
{
    do
    {
        EVariantType const type = m_type;
        UCell const cell = m_cell;
        m_type = eNull;
        m_cell.bits = 0;
        switch (type)
        {
        case eStringA:
            freeText(cell.textA);
            return;
        case eStringW:
            freeText(cell.textW);
            return;
        case eByteArray:
            delete cell.bytes;
            return;
        case eDateTime:
            delete cell.date;
            return;
        case eObject:
            delete cell.object; // may write into the variant
            break;
        default:
            return;
        }
    } while (!isPlain(m_type));
}

void CbVariant::end() noexcept
{
    if (m_type == eStringA)
    {
        freeText(m_cell.textA);
        return;
    }
    free();
}

// The new value may come from the old one's inside, so it is complete by now.
template <class T>
CbVariant& CbVariant::own(EVariantType type, T* UCell::*place, T* value) noexcept
{
    if (!isPlain(m_type))
    {
        free();
    }
    m_type = type;
    m_cell.*place = value;
    return *this;
}

CbVariant& CbVariant::hold(CStringA* text) noexcept
{
    return own(eStringA, &UCell::textA, text);
}

CbVariant& CbVariant::hold(CStringW* text) noexcept
{
    return own(eStringW, &UCell::textW, text);
}

CbVariant& CbVariant::hold(CbArray<unsigned char>* bytes) noexcept
{
    return own(eByteArray, &UCell::bytes, bytes);
}

CbVariant& CbVariant::hold(CbDateTime* date) noexcept
{
    return own(eDateTime, &UCell::date, date);
}

CbVariant& CbVariant::hold(IObject* object) noexcept
{
    return own(eObject, &UCell::object, object);
}

void CbVariant::refuse(unsigned int line, char const* function)
{
    throw CbExceptionConversion(c_SourceFile, line, function);
}

// ---- comparison

bool CbVariant::operator==(CbVariant const& other) const
{
    if (m_type != other.m_type)
    {
        return false;
    }
    switch (m_type)
    {
    case eNull:
        return true;
    case eBool:
        return m_cell.asBool == other.m_cell.asBool;
    case eChar:
    case eInt8:
    case eUInt8:
        return m_cell.asUInt8 == other.m_cell.asUInt8;
    case eInt16:
    case eUInt16:
        return m_cell.asUInt16 == other.m_cell.asUInt16;
    case eInt32:
    case eUInt32:
        return m_cell.asUInt32 == other.m_cell.asUInt32;
    case eInt64:
    case eUInt64:
        return m_cell.asUInt64 == other.m_cell.asUInt64;
    case eFloat:
        return m_cell.asFloat == other.m_cell.asFloat;
    case eDouble:
        return m_cell.asDouble == other.m_cell.asDouble;
    case eStringA:
        return *m_cell.textA == *other.m_cell.textA;
    case eStringW:
        return *m_cell.textW == *other.m_cell.textW;
    case eByteArray:
        return *m_cell.bytes == *other.m_cell.bytes;
    case eDateTime:
        return *m_cell.date == *other.m_cell.date;
    default:
        throw CbExceptionConversion(CB_SITE("CbVariant::operator =="));
    }
}

bool CbVariant::equals(char const* text) const
{
    return m_type == eStringA && *m_cell.textA == text;
}

bool CbVariant::equals(wchar_t const* text) const
{
    return m_type == eStringW && *m_cell.textW == text;
}

template <class TBefore>
bool CbVariant::isInOrder(CbVariant const& right, char const* function, TBefore before) const
{
    switch (right.m_type)
    {
    case eNull:
        return false;
    case eBool:
    case eUInt8:
        return before(m_cell.asUInt8, right.m_cell.asUInt8);
    case eChar:
    case eInt8:
        return before(m_cell.asInt8, right.m_cell.asInt8);
    case eInt16:
        return before(m_cell.asInt16, right.m_cell.asInt16);
    case eUInt16:
        return before(m_cell.asUInt16, right.m_cell.asUInt16);
    case eInt32:
        return before(m_cell.asInt32, right.m_cell.asInt32);
    case eUInt32:
        return before(m_cell.asUInt32, right.m_cell.asUInt32);
    case eInt64:
        return before(m_cell.asInt64, right.m_cell.asInt64);
    case eUInt64:
        return before(m_cell.asUInt64, right.m_cell.asUInt64);
    case eFloat:
        return before(m_cell.asFloat, right.m_cell.asFloat);
    case eDouble:
        return before(m_cell.asDouble, right.m_cell.asDouble);
    case eStringA:
        return before(*m_cell.textA, *right.m_cell.textA);
    case eStringW:
        return before(*m_cell.textW, *right.m_cell.textW);
    case eDateTime:
        return before(*m_cell.date, *right.m_cell.date);
    default:
        throw CbExceptionConversion(CB_SITE(function));
    }
}

bool CbVariant::operator<(CbVariant const& right) const
{
    return isInOrder(right, "CbVariant::operator <", [](auto const& left, auto const& other) { return left < other; });
}

bool CbVariant::operator>(CbVariant const& right) const
{
    return isInOrder(right, "CbVariant::operator >", [](auto const& left, auto const& other) { return other < left; });
}

std::size_t CbVariant::GetHash() const
{
    switch (m_type)
    {
    case eNull:
    case eBool:
    case eChar:
    case eInt8:
    case eUInt8:
        return mix(m_type, m_cell.asUInt8);
    case eInt16:
    case eUInt16:
        return mix(m_type, m_cell.asUInt16);
    case eInt32:
    case eUInt32:
        return mix(m_type, m_cell.asUInt32);
    case eInt64:
    case eUInt64:
        return mix(m_type, m_cell.asUInt64);
    case eFloat:
        return mix(m_type, std::hash<float>()(m_cell.asFloat)); // one hash for both zeros
    case eDouble:
        return mix(m_type, std::hash<double>()(m_cell.asDouble));
    case eStringA:
        return mix(m_type, std::hash<CStringA>()(*m_cell.textA));
    case eStringW:
        return mix(m_type, std::hash<CStringW>()(*m_cell.textW));
    case eByteArray:
        return mix(m_type, hashBytes(*m_cell.bytes));
    case eDateTime:
        return mix(m_type, hashDate(*m_cell.date));
    default:
        throw CbExceptionConversion(CB_SITE("CbVariant::GetHash"));
    }
}

// ---- serialisation

void CbVariant::Serialize(CbStreamWriteBinary& stream) const
{
    stream.WriteVersion(c_Version);
    stream << static_cast<unsigned int>(m_type);
    switch (m_type)
    {
    case eNull:
        return;
    case eBool:
        stream << m_cell.asBool;
        return;
    case eInt32:
        stream << m_cell.asInt32;
        return;
    case eInt64:
        stream << m_cell.asInt64;
        return;
    case eUInt32:
        stream << m_cell.asUInt32;
        return;
    case eFloat:
        stream << m_cell.asFloat;
        return;
    case eDouble:
        stream << m_cell.asDouble;
        return;
    case eChar:
        stream << m_cell.asChar;
        return;
    case eStringW:
        stream << *m_cell.textW;
        return;
    case eByteArray:
        CbArray_Serializer::Serialize(stream, *m_cell.bytes);
        return;
    case eDateTime:
        stream << m_cell.date->ToString(c_DateForm, /*local*/ true);
        return;
    case eInt8:
        stream << m_cell.asInt8;
        return;
    case eUInt8:
        stream << m_cell.asUInt8;
        return;
    case eInt16:
        stream << m_cell.asInt16;
        return;
    case eUInt16:
        stream << m_cell.asUInt16;
        return;
    case eUInt64:
        stream << m_cell.asUInt64;
        return;
    case eStringA:
        stream << *m_cell.textA;
        return;
    default:
        throw CbExceptionConversion(CB_SITE("CbVariant::Serialize"));
    }
}

namespace
{
// The cell is whole whatever becomes of the reading: a value that is cut short leaves nothing of itself.
template <class T>
T readNumber(CbStreamReadBinary& stream)
{
    T value{};
    stream >> value;
    return value;
}
} // namespace

void CbVariant::Serialize(CbStreamReadBinary& stream)
{
    SetNull();
    stream.ReadAndCompareVersion(c_Version);
    auto const type = static_cast<EVariantType>(readNumber<unsigned int>(stream));

    // From here on the variant has the kind, with a value that it can be asked for and destroyed with.
    m_type = isPlain(type) ? type : eNull;
    switch (type)
    {
    case eNull:
        return;
    case eBool:
        *this = readNumber<bool>(stream);
        return;
    case eInt32:
        *this = readNumber<int>(stream);
        return;
    case eInt64:
        *this = readNumber<__int64>(stream);
        return;
    case eUInt32:
        *this = readNumber<unsigned int>(stream);
        return;
    case eFloat:
        *this = readNumber<float>(stream);
        return;
    case eDouble:
        *this = readNumber<double>(stream);
        return;
    case eChar:
        *this = readNumber<char>(stream);
        return;
    case eInt8:
        *this = readNumber<signed char>(stream);
        return;
    case eUInt8:
        *this = readNumber<unsigned char>(stream);
        return;
    case eInt16:
        *this = readNumber<short>(stream);
        return;
    case eUInt16:
        *this = readNumber<unsigned short>(stream);
        return;
    case eUInt64:
        *this = readNumber<unsigned __int64>(stream);
        return;
    case eStringW:
        hold(makeText<CStringW>());
        stream >> *m_cell.textW;
        return;
    case eStringA:
        hold(makeText<CStringA>());
        stream >> *m_cell.textA;
        return;
    case eByteArray:
        hold(new CbArray<unsigned char>());
        CbArray_Serializer::Serialize(stream, *m_cell.bytes);
        return;
    case eDateTime:
        hold(new CbDateTime(CbDateTime::c_Invalid));
        readDate(stream);
        return;
    default:
        m_type = type;
        throw CbExceptionConversion(CB_SITE("CbVariant::Serialize"));
    }
}

void CbVariant::readDate(CbStreamReadBinary& stream)
{
    CStringW text;
    stream >> text;
    try
    {
        *m_cell.date = CbDateTime(text.GetString(), /*local*/ true);
    }
    catch (...)
    {
        SetNull(); // by contract: the text is consumed, so what follows is read as if nothing had happened
    }
}
