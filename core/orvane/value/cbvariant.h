// A value of one of seventeen kinds, or none.

#ifndef ORVANE_VALUE_CBVARIANT_H
#define ORVANE_VALUE_CBVARIANT_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "mfc/cstringt.h"
#include "orvane/container/cbarray.h"
#include "orvane/datetime/cbdatetime.h"
#include "orvane/object/iobject.h"
#include "orvane/text/cbtypetotype.h"
#include "platform/platform.h"

class CbStreamReadBinary;
class CbStreamWriteBinary;
class CbVariant;

namespace detail
{
/// The number of the kind that a value of the type T has in a variant, 0 where it has none.
template <class T>
inline constexpr unsigned int c_VariantKind = 0;

template <>
inline constexpr unsigned int c_VariantKind<bool> = 1;
template <>
inline constexpr unsigned int c_VariantKind<int> = 2;
template <>
inline constexpr unsigned int c_VariantKind<long> = 2;
template <>
inline constexpr unsigned int c_VariantKind<__int64> = 3;
template <>
inline constexpr unsigned int c_VariantKind<unsigned int> = 4;
template <>
inline constexpr unsigned int c_VariantKind<unsigned long> = 4;
template <>
inline constexpr unsigned int c_VariantKind<float> = 5;
template <>
inline constexpr unsigned int c_VariantKind<double> = 6;
template <>
inline constexpr unsigned int c_VariantKind<char> = 7;
template <>
inline constexpr unsigned int c_VariantKind<CStringW> = 8;
template <>
inline constexpr unsigned int c_VariantKind<std::wstring> = 8;
template <>
inline constexpr unsigned int c_VariantKind<wchar_t const*> = 8;
template <>
inline constexpr unsigned int c_VariantKind<wchar_t*> = 8;
template <>
inline constexpr unsigned int c_VariantKind<CbArray<unsigned char>> = 9;
template <>
inline constexpr unsigned int c_VariantKind<CbDateTime> = 10;
template <>
inline constexpr unsigned int c_VariantKind<signed char> = 12;
template <>
inline constexpr unsigned int c_VariantKind<unsigned char> = 13;
template <>
inline constexpr unsigned int c_VariantKind<short> = 14;
template <>
inline constexpr unsigned int c_VariantKind<unsigned short> = 15;
template <>
inline constexpr unsigned int c_VariantKind<unsigned __int64> = 16;
template <>
inline constexpr unsigned int c_VariantKind<CStringA> = 18;
template <>
inline constexpr unsigned int c_VariantKind<std::string> = 18;
template <>
inline constexpr unsigned int c_VariantKind<char const*> = 18;
template <>
inline constexpr unsigned int c_VariantKind<char*> = 18;

/// What a variant compares with as it stands; arrays of characters count as the pointers they become.
template <class T>
concept VariantValue = c_VariantKind<std::decay_t<T>>
!= 0 || std::same_as<T, std::nullptr_t>;

/// What would become a number of another kind, or a truth value, without anybody wanting it.
template <class T>
concept OtherCharacter =
    std::same_as<T, wchar_t> || std::same_as<T, char8_t> || std::same_as<T, char16_t> || std::same_as<T, char32_t>;

// Lambdas without captures turn into pointers to functions, and these into truth values.
template <class T>
concept BecomesAPointer =
    std::is_class_v<T> && !std::derived_from<T, CbVariant> && !std::derived_from<T, IObject> && requires(T const& value)
{
    requires std::is_pointer_v<decltype(+value)>;
    requires !VariantValue<decltype(+value)>;
};

/// Would be a truth value: a pointer to a member, and what turns into a pointer that is no text.
template <class T>
concept OtherPointer = std::is_member_pointer_v<T> || BecomesAPointer<T>;

template <class T>
concept NoCharacter = !std::same_as<std::remove_cv_t<T>, char> && !std::same_as<std::remove_cv_t<T>, wchar_t>;
} // namespace detail

/// A tagged value: nothing, or exactly one value of a kind.
///
/// Typed access asks for exactly the kind and never converts: `int n = v;` raises where v holds a short. Conversion is an
/// operation by itself, ConvertTo; GetAs gives a converted copy.
/// The kind stands first, a cell of 8 bytes behind it. Numbers live in the cell; texts, bytes, date-times and objects in
/// a heap object that the variant alone owns.
/// `long` and `unsigned long` are kept as `int` and `unsigned int` on every target. Wide characters and pointers that are
/// no text, to members and functions too, are refused by the compiler: they would become numbers and truth values.
/// A new value is made before the old one is freed, so that a variant may be given a part of what it holds. A held object's
/// destructor finds the variant empty; what it writes there is freed too, and the variant has what the operation gives it.
/// Raises: CbExceptionConversion from the file "cbvariant" as said at the operations; std::bad_alloc where memory ends,
/// with the variant unchanged.
/// Threads: a plain value. Share it for reading, guard it for writing.
class ORVANE_API CbVariant
{
public:
    /// The kinds. The numbers are stored and never change; 11 is unused. Any other number can only come out of a damaged
    /// stream, and every operation that looks at the kind refuses it.
    enum EVariantType : unsigned int
    {
        eNull = 0,
        eBool = 1,
        eInt32 = 2,
        eInt64 = 3,
        eUInt32 = 4,
        eFloat = 5,
        eDouble = 6,
        eChar = 7,
        eStringW = 8,
        eByteArray = 9,
        eDateTime = 10,
        eInt8 = 12,
        eUInt8 = 13,
        eInt16 = 14,
        eUInt16 = 15,
        eUInt64 = 16,
        eObject = 17,
        eStringA = 18
    };

    /// Holds nothing.
    CbVariant() noexcept : m_type(eNull)
    {
        m_cell.bits = 0;
    }

    /// A deep copy. Raises: as the assignment.
    CbVariant(CbVariant const& other) : m_type(other.m_type), m_cell(other.m_cell)
    {
        if (!isPlain(m_type))
        {
            constructFrom(other);
        }
    }

    /// Takes the value over; the source holds nothing afterwards.
    CbVariant(CbVariant&& other) noexcept : m_type(other.m_type), m_cell(other.m_cell)
    {
        other.m_type = eNull;
        other.m_cell.bits = 0;
    }

    /// A new object of the class of that record.
    /// Raises: CbExceptionConversion from "CbVariant::CbVariant" where the class gives none; what its constructor raises.
    explicit CbVariant(CbRTTI const& record);

    // As the assignments of the same values, and raising as they do.
    explicit CbVariant(bool value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(char value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(signed char value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(unsigned char value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(short value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(unsigned short value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(int value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(unsigned int value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(long value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(unsigned long value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(__int64 value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(unsigned __int64 value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(float value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(double value) noexcept : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(char const* value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(CStringA const& value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(std::string const& value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(wchar_t const* value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(CStringW const& value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(std::wstring const& value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(CbArray<unsigned char> const& value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(CbArray<unsigned char>&& value) : CbVariant()
    {
        *this = std::move(value);
    }

    explicit CbVariant(CbDateTime const& value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(IObject const& value) : CbVariant()
    {
        *this = value;
    }

    explicit CbVariant(std::nullptr_t) noexcept : CbVariant()
    {
    }

    template <detail::OtherCharacter T>
    explicit CbVariant(T) = delete;

    template <detail::NoCharacter T>
    explicit CbVariant(T*) = delete;

    template <detail::OtherPointer T>
    explicit CbVariant(T const&) = delete;

    ~CbVariant()
    {
        if (!isPlain(m_type))
        {
            end();
        }
    }

    // ---- state

    EVariantType GetType() const noexcept
    {
        return m_type;
    }

    bool IsNull() const noexcept
    {
        return m_type == eNull;
    }

    /// Frees the value, and leaves nothing.
    void SetNull() noexcept
    {
        if (!isPlain(m_type))
        {
            free();
        }
        m_type = eNull;
        m_cell.bits = 0;
    }

    void Swap(CbVariant& other) noexcept
    {
        std::swap(m_type, other.m_type);
        std::swap(m_cell, other.m_cell);
    }

    friend void swap(CbVariant& left, CbVariant& right) noexcept
    {
        left.Swap(right);
    }

    // ---- assignment

    /// A deep copy; nothing for the variant itself.
    /// Raises: CbExceptionConversion from "CbVariant::operator =" for a kind that does not exist, with the variant
    /// unchanged; as the assignment of an object.
    CbVariant& operator=(CbVariant const& other)
    {
        if (isPlain(m_type) && isPlain(other.m_type))
        {
            m_type = other.m_type;
            m_cell = other.m_cell;
        }
        else if (m_type == eStringA && other.m_type == eStringA)
        {
            *m_cell.textA = *other.m_cell.textA;
        }
        else if (m_type == eStringW && other.m_type == eStringW)
        {
            *m_cell.textW = *other.m_cell.textW;
        }
        else if (this != &other)
        {
            copyFrom(other);
        }
        return *this;
    }

    /// Takes the value over; the source holds nothing afterwards. Nothing for the variant itself.
    CbVariant& operator=(CbVariant&& other) noexcept
    {
        if (this != &other)
        {
            CbVariant taken(std::move(other));
            if (!isPlain(m_type))
            {
                free(); // may end `other`
            }
            m_type = taken.m_type;
            m_cell = taken.m_cell;
            taken.m_type = eNull;
        }
        return *this;
    }

    CbVariant& operator=(bool value) noexcept
    {
        return store(eBool, value ? 1u : 0u);
    }

    CbVariant& operator=(char value) noexcept
    {
        return store(eChar, static_cast<unsigned char>(value));
    }

    CbVariant& operator=(signed char value) noexcept
    {
        return store(eInt8, static_cast<unsigned char>(value));
    }

    CbVariant& operator=(unsigned char value) noexcept
    {
        return store(eUInt8, value);
    }

    CbVariant& operator=(short value) noexcept
    {
        return store(eInt16, static_cast<unsigned short>(value));
    }

    CbVariant& operator=(unsigned short value) noexcept
    {
        return store(eUInt16, value);
    }

    CbVariant& operator=(int value) noexcept
    {
        return store(eInt32, static_cast<unsigned int>(value));
    }

    CbVariant& operator=(unsigned int value) noexcept
    {
        return store(eUInt32, value);
    }

    /// Becomes eInt32 and eUInt32.
    /// Raises: CbExceptionConversion from "CbVariant::operator =" where the value does not fit 32 bits (only where `long`
    /// is wider than that); the variant is unchanged then.
    CbVariant& operator=(long value)
    {
        if (value != static_cast<int>(value))
        {
            refuse(__LINE__, "CbVariant::operator =");
        }
        return *this = static_cast<int>(value);
    }

    CbVariant& operator=(unsigned long value)
    {
        if (value != static_cast<unsigned int>(value))
        {
            refuse(__LINE__, "CbVariant::operator =");
        }
        return *this = static_cast<unsigned int>(value);
    }

    CbVariant& operator=(__int64 value) noexcept
    {
        return store(eInt64, static_cast<unsigned __int64>(value));
    }

    CbVariant& operator=(unsigned __int64 value) noexcept
    {
        return store(eUInt64, value);
    }

    CbVariant& operator=(float value) noexcept
    {
        return store(eFloat, std::bit_cast<unsigned int>(value));
    }

    CbVariant& operator=(double value) noexcept
    {
        return store(eDouble, std::bit_cast<unsigned __int64>(value));
    }

    /// Text is assigned into the string that the variant has, where it has one of that width. Text ends at its first NUL,
    /// that of standard strings too; a CStringA or CStringW is copied as it is. A null pointer is the empty text.
    CbVariant& operator=(char const* value);
    CbVariant& operator=(CStringA const& value);
    CbVariant& operator=(std::string const& value);
    CbVariant& operator=(wchar_t const* value);
    CbVariant& operator=(CStringW const& value);
    CbVariant& operator=(std::wstring const& value);

    CbVariant& operator=(CbArray<unsigned char> const& value);
    CbVariant& operator=(CbArray<unsigned char>&& value);

    /// Assigned into the date-time that the variant has, where it has one.
    CbVariant& operator=(CbDateTime const& value);

    /// Holds a clone, made by the class record of `value`.
    /// Raises: CbExceptionConversion from "CbVariant::operator =" where there is no clone, and what the clone function
    /// raises. The variant is of the kind eObject without an object then: it can be destroyed, emptied and assigned to.
    CbVariant& operator=(IObject const& value);

    CbVariant& operator=(std::nullptr_t) noexcept
    {
        SetNull();
        return *this;
    }

    template <detail::OtherCharacter T>
    CbVariant& operator=(T) = delete;

    template <detail::NoCharacter T>
    CbVariant& operator=(T*) = delete;

    template <detail::OtherPointer T>
    CbVariant& operator=(T const&) = delete;

    // ---- typed access
    //
    // Each asks for exactly its kind. References and pointers are good until the variant is changed or destroyed.
    // Raises: CbExceptionConversion for any other kind, from "CbVariant::operator int &" and so on, which for a variant
    // that is not const is the reference even where a copy is taken; the variant is unchanged.

#define CB_VARIANT_NUMBER(Type, kind, member)                                                                          \
    operator Type&()                                                                                                   \
    {                                                                                                                  \
        if (m_type != (kind)) [[unlikely]]                                                                             \
        {                                                                                                              \
            refuse(__LINE__, "CbVariant::operator " #Type " &");                                                       \
        }                                                                                                              \
        return m_cell.member;                                                                                          \
    }                                                                                                                  \
    operator Type() const                                                                                              \
    {                                                                                                                  \
        if (m_type != (kind)) [[unlikely]]                                                                             \
        {                                                                                                              \
            refuse(__LINE__, "CbVariant::operator " #Type);                                                            \
        }                                                                                                              \
        return m_cell.member;                                                                                          \
    }                                                                                                                  \
    static_assert(true)

    CB_VARIANT_NUMBER(bool, eBool, asBool);
    CB_VARIANT_NUMBER(char, eChar, asChar);
    CB_VARIANT_NUMBER(signed char, eInt8, asInt8);
    CB_VARIANT_NUMBER(unsigned char, eUInt8, asUInt8);
    CB_VARIANT_NUMBER(short, eInt16, asInt16);
    CB_VARIANT_NUMBER(unsigned short, eUInt16, asUInt16);
    CB_VARIANT_NUMBER(int, eInt32, asInt32);
    CB_VARIANT_NUMBER(unsigned int, eUInt32, asUInt32);
    CB_VARIANT_NUMBER(__int64, eInt64, asInt64);
    CB_VARIANT_NUMBER(unsigned __int64, eUInt64, asUInt64);
    CB_VARIANT_NUMBER(float, eFloat, asFloat);
    CB_VARIANT_NUMBER(double, eDouble, asDouble);

#undef CB_VARIANT_NUMBER

    /// For the kinds eInt32 and eUInt32. Of what is written through the reference the low 32 bits count.
    operator long&()
    {
        if (m_type != eInt32) [[unlikely]]
        {
            refuse(__LINE__, "CbVariant::operator long &");
        }
        m_cell.asLong = m_cell.asInt32; // `long` may be wider than what is kept
        return m_cell.asLong;
    }

    operator long() const
    {
        if (m_type != eInt32) [[unlikely]]
        {
            refuse(__LINE__, "CbVariant::operator long");
        }
        return m_cell.asInt32;
    }

    operator unsigned long&()
    {
        if (m_type != eUInt32) [[unlikely]]
        {
            refuse(__LINE__, "CbVariant::operator unsigned long &");
        }
        m_cell.asULong = m_cell.asUInt32;
        return m_cell.asULong;
    }

    operator unsigned long() const
    {
        if (m_type != eUInt32) [[unlikely]]
        {
            refuse(__LINE__, "CbVariant::operator unsigned long");
        }
        return m_cell.asUInt32;
    }

    operator char const*() const
    {
        if (m_type != eStringA) [[unlikely]]
        {
            refuse(__LINE__, "CbVariant::operator const char *");
        }
        return m_cell.textA->GetString();
    }

    operator wchar_t const*() const
    {
        if (m_type != eStringW) [[unlikely]]
        {
            refuse(__LINE__, "CbVariant::operator const wchar_t *");
        }
        return m_cell.textW->GetString();
    }

#define CB_VARIANT_OWNED(Type, kind, member, name)                                                                     \
    operator Type const&() const                                                                                       \
    {                                                                                                                  \
        if (m_type != (kind)) [[unlikely]]                                                                             \
        {                                                                                                              \
            refuse(__LINE__, "CbVariant::operator const class " name " &");                                            \
        }                                                                                                              \
        return *m_cell.member;                                                                                         \
    }                                                                                                                  \
    operator Type&()                                                                                                   \
    {                                                                                                                  \
        if (m_type != (kind)) [[unlikely]]                                                                             \
        {                                                                                                              \
            refuse(__LINE__, "CbVariant::operator class " name " &");                                                  \
        }                                                                                                              \
        return *m_cell.member;                                                                                         \
    }                                                                                                                  \
    static_assert(true)

    CB_VARIANT_OWNED(CStringA, eStringA, textA,
                     "ATL::CStringT<char,class StrTraitMFC_DLL<char,class ATL::ChTraitsCRT<char> > >");
    CB_VARIANT_OWNED(CStringW, eStringW, textW,
                     "ATL::CStringT<wchar_t,class StrTraitMFC_DLL<wchar_t,class ATL::ChTraitsCRT<wchar_t> > >");
    CB_VARIANT_OWNED(CbArray<unsigned char>, eByteArray, bytes, "CbArray<unsigned char>");
    CB_VARIANT_OWNED(CbDateTime, eDateTime, date, "CbDateTime");

#undef CB_VARIANT_OWNED

    /// Also refused where the variant is of the kind eObject without an object.
    operator IObject const&() const
    {
        if (m_type != eObject || m_cell.object == nullptr) [[unlikely]]
        {
            refuse(__LINE__, "CbVariant::operator const class IObject &");
        }
        return *m_cell.object;
    }

    operator IObject&()
    {
        if (m_type != eObject || m_cell.object == nullptr) [[unlikely]]
        {
            refuse(__LINE__, "CbVariant::operator class IObject &");
        }
        return *m_cell.object;
    }

    /// Calls `visitor` with the value by reference, or with nullptr where there is none, and gives its result, which must
    /// be of one type for all kinds. What is written through the reference is the variant's value.
    /// Raises: CbExceptionConversion from "CbVariant::Visit" for a kind that does not exist and for a missing object.
    template <class TVisitor>
    decltype(auto) Visit(TVisitor&& visitor)
    {
        return visit(*this, visitor);
    }

    template <class TVisitor>
    decltype(auto) Visit(TVisitor&& visitor) const
    {
        return visit(*this, visitor);
    }

    // ---- conversion

    /// Becomes a value of the kind `target` and returns the variant; one that has the kind already is not touched.
    ///
    /// Numbers are cast without range checks: 300 becomes 44 as eUInt8. Floating-point numbers are rounded first, halves
    /// upwards; NaN, and what a signed 64-bit number does not hold, count as -2^63; but eUInt64 takes 2^63 and more as it is,
    /// and 2^64 and more as 0. Text is read as scanf's "%i" reads
    /// signed numbers and "%u" unsigned ones, trailing characters ignored, and as strtod reads floating-point numbers,
    /// which must be the whole text. Blank text is the integer 0; a number beyond 64 bits is the nearest that fits.
    /// Every integer becomes text by "%d", of its low 32 bits; floating-point numbers by "%f". Radix marks are those of
    /// the C runtime's current locale. Date-times are texts of the form "2024-05-06 07:08:09", UTC.
    /// docs/variant-conversions.md has all combinations.
    /// Raises: CbExceptionConversion from the helper that refuses ("convertToInt32", "stringToBool", ...) or from
    /// "CbVariant::ConvertTo" for a target that nothing converts to and where memory ends; date-times raise from
    /// "CbDateTime::CbDateTime". The variant is unchanged then.
    CbVariant& ConvertTo(EVariantType target);

    /// The same with the radix mark of `locale`, which stays the caller's. Null is the current one.
    CbVariant& ConvertToLocalized(EVariantType target, _locale_t locale);

    /// A copy of the value, converted to the kind of T by ConvertTo; the variant itself stays. T is any type that can be
    /// assigned, but for pointers and objects. Standard strings end at the first NUL of the text.
    /// Raises: as the copy (CbExceptionConversion from "CbVariant::operator ="), then as ConvertTo.
    template <class T>
    T GetAs(CbTypeToType<T> = {}) const
    {
        static_assert(detail::c_VariantKind<T> != 0 && !std::is_pointer_v<T>,
                      "a variant has no values of this type that could be handed out as a copy");
        if constexpr (std::same_as<T, std::string>)
        {
            return getNarrow();
        }
        else if constexpr (std::same_as<T, std::wstring>)
        {
            return getWide();
        }
        else
        {
            constexpr auto target = static_cast<EVariantType>(detail::c_VariantKind<T>);
            if (m_type == target)
            {
                return getValue<T>();
            }
            CbVariant copy(*this);
            return std::as_const(copy.ConvertTo(target)).template getValue<T>();
        }
    }

    // ---- comparison

    /// Whether kind and value are the same; values of different kinds are different. Text by characters, all of them;
    /// floating-point numbers as such (a NaN equals nothing); date-times but for the day of the week.
    /// Raises: CbExceptionConversion from "CbVariant::operator ==" for two objects, and for two of a kind that does not
    /// exist.
    bool operator==(CbVariant const& other) const;

    bool operator!=(CbVariant const& other) const
    {
        return !(*this == other);
    }

    /// Whether the variant holds that value in the kind that it would have here: CbVariant(5) == 5, but not 5u. Texts are
    /// compared with pointers to text up to the NUL; nullptr asks whether there is nothing.
    template <detail::VariantValue T>
    bool operator==(T const& value) const
    {
        using Value = std::decay_t<T>;
        if constexpr (std::same_as<Value, std::nullptr_t>)
        {
            return IsNull();
        }
        else if constexpr (std::is_arithmetic_v<Value>)
        {
            return m_type == detail::c_VariantKind<Value> && getValue<Value>() == value;
        }
        else if constexpr (std::is_pointer_v<Value>)
        {
            return equals(static_cast<std::remove_pointer_t<Value> const*>(value));
        }
        else if constexpr (std::same_as<Value, std::string> || std::same_as<Value, std::wstring>)
        {
            return equals(value.c_str());
        }
        else
        {
            return m_type == detail::c_VariantKind<Value> && getValue<Value>() == value;
        }
    }

    /// What can be no value of a variant is not compared with one by way of some conversion.
    template <class T>
    requires(!detail::VariantValue<T> && !std::derived_from<T, CbVariant>) bool
    operator==(T const& value) const = delete;

    /// The order of two variants of the same kind. The kind of `right` alone decides and that of the left side is not
    /// looked at: its cell is read as if it were of that kind, so that with another kind there the answer means nothing
    /// and, where `right` holds a text or a date-time, memory is read that is none. Nothing is before nothing; text goes
    /// by the values of the characters, wide text by its UTF-16 units.
    /// Raises: CbExceptionConversion from "CbVariant::operator <" and "CbVariant::operator >" where `right` holds bytes,
    /// an object, or what does not exist.
    bool operator<(CbVariant const& right) const;
    bool operator>(CbVariant const& right) const;

    /// Equal variants have equal hashes.
    /// Raises: CbExceptionConversion from "CbVariant::GetHash" for what operator== raises for.
    std::size_t GetHash() const;

    // ---- serialisation

    /// Writes the version 0, the kind, and the value by the stream's own operator; date-times as local text, to the
    /// second; text up to its first NUL.
    /// Raises: CbExceptionConversion from "CbVariant::Serialize" for an object and a kind that does not exist, after
    /// version and kind have been written; what the stream raises.
    void Serialize(CbStreamWriteBinary& stream) const;

    /// Reads what the other one writes. A date-time's text that is none gives nothing, and the stream stays in step.
    /// Raises: CbExceptionWrongFileVersion for a version above 0 (the variant is empty then);
    /// CbExceptionConversion from "CbVariant::Serialize" for a kind without a stored form: the variant has that kind and
    /// no value then, and is to be emptied, assigned to or destroyed; what the stream and CbArray_Serializer raise: the
    /// variant has the stored kind then, with the value 0, an empty or partly read text or array, or an invalid date.
    void Serialize(CbStreamReadBinary& stream);

    // ---- for people

    /// The value as JSON text in UTF-8, for logs and tools; it does not tell the kind. Null is null, numbers are numbers
    /// in their shortest form, but NaN and infinities the strings "NaN", "Infinity" and "-Infinity"; text and char are
    /// strings; bytes a string of hexadecimal digits; a date-time "2024-05-06T07:08:09.123Z", its fields as they
    /// are: CbDateTime::TryParse reads those of a date of the years 1601 to 9999; an object {"class":"CbInt32"}, and null where it is missing.
    /// Raises: CbExceptionConversion from "CbVariant::ToJson" for a kind that does not exist.
    std::string ToJson() const;

private:
    class CConversion;

    // Date-times as text, stored and converted; the parsing constructor reads it back.
    static constexpr wchar_t const* c_DateForm = L"Y-m-d H:i:s";

    union UCell
    {
        unsigned __int64 bits;
        bool asBool;
        char asChar;
        signed char asInt8;
        unsigned char asUInt8;
        short asInt16;
        unsigned short asUInt16;
        int asInt32;
        unsigned int asUInt32;
        long asLong;
        unsigned long asULong;
        __int64 asInt64;
        unsigned __int64 asUInt64;
        float asFloat;
        double asDouble;
        CStringA* textA;
        CStringW* textW;
        CbArray<unsigned char>* bytes;
        CbDateTime* date;
        IObject* object; // may be null
    };

    // Whether a value of the kind is nothing but its cell; the other kinds own something or do not exist.
    static constexpr bool isPlain(unsigned int type) noexcept
    {
        constexpr unsigned int c_PlainKinds = 0x1F0FF; // 0 to 7 and 12 to 16
        return type <= eUInt64 && (c_PlainKinds >> type & 1u) != 0;
    }

    static constexpr bool exists(unsigned int type) noexcept
    {
        constexpr unsigned int c_Unused = 11;
        return type <= eStringA && type != c_Unused;
    }

    [[noreturn]] static void refuse(unsigned int line, char const* function);

    // A text object's block comes from the C heap itself: a copy takes two blocks, and the standard operators in between
    // show in its time (docs/benchmarks.md).
    template <class TText, class... TArguments>
    static TText* makeText(TArguments&&... arguments)
    {
        void* const block = std::malloc(sizeof(TText));
        if (block == nullptr)
        {
            throw std::bad_alloc();
        }
        try
        {
            return ::new (block) TText(std::forward<TArguments>(arguments)...);
        }
        catch (...)
        {
            std::free(block);
            throw;
        }
    }

    template <class TText>
    static void freeText(TText* text) noexcept
    {
        if (text != nullptr)
        {
            std::destroy_at(text);
            std::free(text);
        }
    }

    // Frees what the variant owns, and what a destructor puts there meanwhile; leaves a value that owns nothing.
    void free() noexcept;

    // The same at the end of the variant's life.
    void end() noexcept;

    // The whole cell at once: copies read it as a whole.
    CbVariant& store(EVariantType type, unsigned __int64 bits) noexcept
    {
        if (!isPlain(m_type))
        {
            free();
        }
        m_type = type;
        m_cell.bits = bits;
        return *this;
    }

    // Each takes the object over and frees what was held before.
    CbVariant& hold(CStringA* text) noexcept;
    CbVariant& hold(CStringW* text) noexcept;
    CbVariant& hold(CbArray<unsigned char>* bytes) noexcept;
    CbVariant& hold(CbDateTime* date) noexcept;
    CbVariant& hold(IObject* object) noexcept;

    template <class T>
    CbVariant& own(EVariantType type, T* UCell::*place, T* value) noexcept;

    // A text goes into the string object that is there.
    template <class TText, class TValue>
    CbVariant& assignText(EVariantType type, TText* UCell::*place, TValue const& value);

    // By the kind of the right side.
    template <class TBefore>
    bool isInOrder(CbVariant const& right, char const* function, TBefore before) const;

    // For a variant that is being made and owns nothing, whatever its kind says.
    void constructFrom(CbVariant const& other);
    void copyFrom(CbVariant const& other);
    bool equals(char const* text) const;
    bool equals(wchar_t const* text) const;
    std::string getNarrow() const;
    std::wstring getWide() const;
    CbVariant& convert(EVariantType target, _locale_t locale);
    void readDate(CbStreamReadBinary& stream);

    // The value by the operator of its type.
    template <class T>
    decltype(auto) getValue() const
    {
        if constexpr (std::is_arithmetic_v<T>)
        {
            return this->operator T();
        }
        else
        {
            return this->operator T const&();
        }
    }

    template <class TVariant, class T>
    using TPassed = std::conditional_t<std::is_const_v<TVariant>, T const&, T&>;

    template <class TVariant, class TVisitor>
    static decltype(auto) visit(TVariant& variant, TVisitor& visitor)
    {
        auto& cell = variant.m_cell;
        switch (variant.m_type)
        {
        case eNull:
            return std::invoke(visitor, nullptr);
        case eBool:
            return std::invoke(visitor, cell.asBool);
        case eInt32:
            return std::invoke(visitor, cell.asInt32);
        case eInt64:
            return std::invoke(visitor, cell.asInt64);
        case eUInt32:
            return std::invoke(visitor, cell.asUInt32);
        case eFloat:
            return std::invoke(visitor, cell.asFloat);
        case eDouble:
            return std::invoke(visitor, cell.asDouble);
        case eChar:
            return std::invoke(visitor, cell.asChar);
        case eStringW:
            return std::invoke(visitor, static_cast<TPassed<TVariant, CStringW>>(*cell.textW));
        case eByteArray:
            return std::invoke(visitor, static_cast<TPassed<TVariant, CbArray<unsigned char>>>(*cell.bytes));
        case eDateTime:
            return std::invoke(visitor, static_cast<TPassed<TVariant, CbDateTime>>(*cell.date));
        case eInt8:
            return std::invoke(visitor, cell.asInt8);
        case eUInt8:
            return std::invoke(visitor, cell.asUInt8);
        case eInt16:
            return std::invoke(visitor, cell.asInt16);
        case eUInt16:
            return std::invoke(visitor, cell.asUInt16);
        case eUInt64:
            return std::invoke(visitor, cell.asUInt64);
        case eStringA:
            return std::invoke(visitor, static_cast<TPassed<TVariant, CStringA>>(*cell.textA));
        case eObject:
            if (cell.object != nullptr)
            {
                return std::invoke(visitor, static_cast<TPassed<TVariant, IObject>>(*cell.object));
            }
            break;
        default:
            break;
        }
        refuse(__LINE__, "CbVariant::Visit");
    }

    EVariantType m_type;
    UCell m_cell;
};

static_assert(sizeof(CbVariant) == 16);

template <>
struct std::hash<CbVariant>
{
    std::size_t operator()(CbVariant const& variant) const
    {
        return variant.GetHash();
    }
};

#endif // ORVANE_VALUE_CBVARIANT_H
