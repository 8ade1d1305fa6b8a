// A formatted text as a value, to be written to a stream in one expression.

#ifndef ORVANE_TEXT_CBFORMAT_H
#define ORVANE_TEXT_CBFORMAT_H

#include <cstdarg>
#include <string>
#include <type_traits>

#include "orvane/text/cbstr.h"

namespace detail
{
template <class S>
struct SCharacterOf
{
    using Type = typename S::value_type;
};

template <class C>
struct SCharacterOf<CStringT<C>>
{
    using Type = C;
};
} // namespace detail

/// Text of the type S (CStringA, CStringW, std::string or std::wstring), formatted when it is made:
/// `stream << CbFormatT<CStringW>(L"%d of %d", done, total);`
/// Formats have the Windows meaning on every target (see CbStrT).
/// Raises: CbStrT<...>::CException, of the standard string of the same width, for a null format and for what cannot be
/// formatted.
/// Threads: a plain value.
template <class S>
class CbFormatT
{
public:
    using TChar = typename detail::SCharacterOf<S>::Type;

    explicit CbFormatT(TChar const* format, ...)
    {
        CbStrT<std::basic_string<TChar>> text;
        va_list arguments;
        va_start(arguments, format);
        try
        {
            text.FormatV(format, arguments);
        }
        catch (...)
        {
            va_end(arguments);
            throw;
        }
        va_end(arguments);
        m_text = text.Get();
    }

    S const& GetText() const
    {
        return m_text;
    }

private:
    S m_text;
};

#endif // ORVANE_TEXT_CBFORMAT_H
