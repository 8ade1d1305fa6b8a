// Variants in text streams.

#ifndef ORVANE_VALUE_CBVARIANTTEXT_H
#define ORVANE_VALUE_CBVARIANTTEXT_H

#include <concepts>

#include "orvane/stream/cbstreamwriteascii.h"
#include "orvane/value/cbvariant.h"

namespace detail
{
/// Writes a value as a text stream writes it, and what such a stream has no operator for as text.
template <class S>
class CVariantWriter
{
public:
    explicit CVariantWriter(CbStreamWriteASCIIT<S>& stream) : m_stream(stream)
    {
    }

    void operator()(std::nullptr_t) const
    {
        m_stream << "null";
    }

    void operator()(CbArray<unsigned char> const& bytes) const
    {
        constexpr char c_Digits[] = "0123456789abcdef";
        CStringA text;
        for (unsigned char const byte : bytes)
        {
            text += c_Digits[byte >> 4];
            text += c_Digits[byte & 0xF];
        }
        m_stream << text;
    }

    void operator()(CbDateTime const& date) const
    {
        m_stream << date.ToString("Y-m-d H:i:s", /*local*/ false);
    }

    void operator()(IObject const& object) const
    {
        m_stream << object.GetClassNameW();
    }

    template <class T>

    requires(!std::derived_from<T, IObject>) void operator()(T const& value) const
    {
        m_stream << value;
    }

private:
    CbStreamWriteASCIIT<S>& m_stream;
};
} // namespace detail

/// Writes the value for people, without its kind: numbers, truth values and text as the stream writes them by themselves,
/// bytes as hexadecimal digits, date-times as "2024-05-06 07:08:09" in UTC, an object as the name of its class, nothing as
/// "null".
/// Raises: CbExceptionConversion from "CbVariant::Visit" for a missing object and a kind that does not exist, with nothing
/// written; what the stream raises.
template <class S>
CbStreamWriteASCIIT<S>& operator<<(CbStreamWriteASCIIT<S>& stream, CbVariant const& variant)
{
    variant.Visit(detail::CVariantWriter<S>(stream));
    return stream;
}

#endif // ORVANE_VALUE_CBVARIANTTEXT_H
