// What the wrappers of plain values have in common.

#ifndef ORVANE_VALUE_CBBASETYPE_H
#define ORVANE_VALUE_CBBASETYPE_H

#include <compare>
#include <concepts>

#include "mfc/cstringt.h"
#include "orvane/memory/cbreferencecounter.h"
#include "orvane/object/ireferencecounted.h"
#include "orvane/object/iserializable.h"
#include "orvane/stream/cbstreamreadbinary.h"
#include "orvane/stream/cbstreamwritebinary.h"

namespace detail
{
template <class T>
concept WrappedText = std::same_as<T, CStringW>;
} // namespace detail

/// The registered parent of all wrappers. It has no data and cannot be created by name.
class ORVANE_API CbBaseTypeRTTIHolder
{
public:
    static CbRTTI const RTTI;

    virtual CbRTTI const& GetRTTI() const;

    /// The name in the record that GetRTTI returns.
    wchar_t const* GetClassNameW() const;

    /// Whether that record is `record` itself.
    bool Is(CbRTTI const& record) const;

    /// Whether that record is `record` or one below it.
    bool IsKindOf(CbRTTI const& record) const;
};

/// A plain value as an object of the library: counted, named, stored.
///
/// Only the classes derived from it that cbwrappers.h names are registered; an object of the template itself answers with
/// its parent's record. A wrapper turns into its value, by reference, wherever a T is expected, and can be changed in place.
/// CbString has the comparisons, + and += of text as well; it does not turn into a pointer by itself: `text->GetString()`.
/// Serialising writes and reads the value by the stream's operator for T and nothing else; what the operator raises is
/// raised.
/// Threads: a plain value, but for the count.
template <class T>
class CbBaseType : public IReferenceCounted, public ISerializable, public CbBaseTypeRTTIHolder
{
public:
    /// Zero; empty text.
    CbBaseType() : m_value()
    {
    }

    CbBaseType(T const& value) : m_value(value)
    {
    }

    /// Copies the value. The copy has a count of its own, which is 0.
    CbBaseType(CbBaseType const& other)
        : IReferenceCounted(other),
          ISerializable(other),
          CbBaseTypeRTTIHolder(other),
          m_value(other.m_value)
    {
    }

    ~CbBaseType() override = default;

    /// Replaces the value; the count is this object's as before.
    CbBaseType& operator=(CbBaseType const& other)
    {
        m_value = other.m_value;
        return *this;
    }

    CbBaseType& operator=(T const& value)
    {
        m_value = value;
        return *this;
    }

    operator T&()
    {
        return m_value;
    }

    operator T const&() const
    {
        return m_value;
    }

    T& operator*()
    {
        return m_value;
    }

    T const& operator*() const
    {
        return m_value;
    }

    T* operator->()
    {
        return &m_value;
    }

    T const* operator->() const
    {
        return &m_value;
    }

    /// For text, to which the operators of numbers do not apply: what `T += addend` does. Gives the value.
    template <class TAddend>

    requires detail::WrappedText<T> T& operator+=(TAddend const& addend)
    {
        m_value += addend;
        return m_value;
    }

    CbRTTI const& GetRTTI() const override
    {
        return CbBaseTypeRTTIHolder::GetRTTI();
    }

    wchar_t const* GetClassNameW() const override
    {
        return GetRTTI().GetName();
    }

    void Serialize(CbStreamWriteBinary& stream) const override
    {
        stream << m_value;
    }

    void Serialize(CbStreamReadBinary& stream) override
    {
        stream >> m_value;
    }

protected:
    CbReferenceCounter<unsigned int> const& getReferenceCounter() const override
    {
        return m_referenceCounter;
    }

private:
    CbReferenceCounter<unsigned int> m_referenceCounter;
    T m_value;
};

namespace detail
{
// Text in a wrapper. The operators of text do not see through it, for they are found by the text class alone.
template <class T>
concept TextWrapper = std::derived_from<T, CbBaseType<CStringW>>;

template <class T>
concept TextPointer = std::same_as<T, wchar_t const*> || std::same_as<T, wchar_t*>;

template <class T>
concept TextOrCharacter = TextPointer<std::decay_t<T>> || std::same_as<T, wchar_t>;
} // namespace detail

// Nothing is converted to find these, so that they stand beside the operators of text without ambiguity.
template <detail::TextWrapper TLeft, detail::TextWrapper TRight>
bool operator==(TLeft const& left, TRight const& right)
{
    return *left == *right;
}

template <detail::TextWrapper TLeft, class TRight>
requires detail::TextPointer<std::decay_t<TRight>>

bool operator==(TLeft const& left, TRight const& right)
{
    return *left == right;
}

template <detail::TextWrapper TLeft, detail::TextWrapper TRight>
std::strong_ordering operator<=>(TLeft const& left, TRight const& right)
{
    return *left <=> *right;
}

template <detail::TextWrapper TLeft, class TRight>

requires detail::TextPointer<std::decay_t<TRight>> std::strong_ordering operator<=>(TLeft const& left,
                                                                                    TRight const& right)
{
    return *left <=> right;
}

template <detail::TextWrapper TLeft, detail::TextWrapper TRight>
CStringW operator+(TLeft const& left, TRight const& right)
{
    return *left + *right;
}

template <detail::TextWrapper TLeft, detail::TextOrCharacter TRight>
CStringW operator+(TLeft const& left, TRight const& right)
{
    return *left + right;
}

template <detail::TextOrCharacter TLeft, detail::TextWrapper TRight>
CStringW operator+(TLeft const& left, TRight const& right)
{
    return left + *right;
}

#endif // ORVANE_VALUE_CBBASETYPE_H
