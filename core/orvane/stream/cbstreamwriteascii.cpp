#include "orvane/stream/cbstreamwriteascii.h"

#include <atomic>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/raisesite.h"
#include "orvane/stream/realformatter.h"

namespace
{
CB_RAISING_FILE("cbstreamwriteascii");

// The function text of a formatting failure: the same with every compiler.
template <class C>
constexpr char const* c_Function = nullptr;

template <>
constexpr char const* c_Function<char> =
    "CbStreamWriteASCIIT<class ATL::CStringT<char,class StrTraitMFC_DLL<char,class "
    "ATL::ChTraitsCRT<char> > > >::operator <<";

template <>
constexpr char const* c_Function<wchar_t> =
    "CbStreamWriteASCIIT<class ATL::CStringT<wchar_t,class StrTraitMFC_DLL<wchar_t,"
    "class ATL::ChTraitsCRT<wchar_t> > > >::operator <<";

// Sign, whole part of the largest double, a radix mark of several bytes, six digits, and room to spare.
constexpr std::size_t c_RealLength = std::numeric_limits<double>::max_exponent10 + 32;

int formatReal(char* buffer, std::size_t size, char const* format, _locale_t locale, double value)
{
    return _snprintf_l(buffer, size, format, locale, value);
}

constinit std::atomic<detail::FnFormatReal> s_formatReal = formatReal;

template <class C>
constexpr C c_True[] = {'t', 'r', 'u', 'e', '\0'};

template <class C>
constexpr C c_False[] = {'f', 'a', 'l', 's', 'e', '\0'};

template <class C>
void appendText(CStringT<C>& target, C const* text)
{
    target.Append(text);
}

// Text of the other width. ASCII is the same in every code page and goes straight to its place: a number needs no text
// in between.
template <class C, class Y>
void appendText(CStringT<C>& target, Y const* text)
{
    if (text == nullptr)
    {
        return;
    }
    using Unit = std::make_unsigned_t<Y>;
    int const before = target.GetLength();
    std::size_t const length = std::char_traits<Y>::length(text);
    if (length > static_cast<std::size_t>(std::numeric_limits<int>::max() - before))
    {
        target += CStringT<C>(text); // refuses it
        return;
    }
    C* const place = target.GetBufferSetLength(before + static_cast<int>(length)) + before;
    for (std::size_t n = 0; n < length; ++n)
    {
        if (static_cast<Unit>(text[n]) >= 0x80)
        {
            target.Truncate(before);
            target += CStringT<C>(text);
            return;
        }
        place[n] = static_cast<C>(text[n]);
    }
}
} // namespace

void detail::SetRealFormatter(FnFormatReal formatter)
{
    s_formatReal = formatter != nullptr ? formatter : formatReal;
}

template <class S>
CbStreamWriteASCIIT<S>::CbStreamWriteASCIIT(_locale_t locale) : m_locale(locale)
{
}

template <class S>
CbStreamWriteASCIIT<S>::CbStreamWriteASCIIT(CbStreamWriteASCIIT const& other) = default;

template <class S>
CbStreamWriteASCIIT<S>::CbStreamWriteASCIIT(CbStreamWriteASCIIT&& other) noexcept = default;

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator=(CbStreamWriteASCIIT const& other) = default;

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator=(CbStreamWriteASCIIT&& other) noexcept = default;

template <class S>
CbStreamWriteASCIIT<S>::~CbStreamWriteASCIIT() = default;

template <class S>
_locale_t CbStreamWriteASCIIT<S>::SetLocale(_locale_t locale)
{
    return std::exchange(m_locale, locale);
}

template <class S>
bool CbStreamWriteASCIIT<S>::IsLocalize() const
{
    return m_locale != nullptr;
}

template <class S>
void CbStreamWriteASCIIT<S>::SetTruncateFloats(bool isTruncating)
{
    m_isTruncating = isTruncating;
}

template <class S>
bool CbStreamWriteASCIIT<S>::IsTruncateFloats() const
{
    return m_isTruncating;
}

template <class S>
void CbStreamWriteASCIIT<S>::WriteAddress(void const* address)
{
    m_scratch.Format("0x%p", address);
    write(m_scratch.GetString());
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(wchar_t const* value)
{
    return write(value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(char const* value)
{
    return write(value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(long value)
{
    return writeInteger(value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(unsigned long value)
{
    return writeInteger(value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(char value)
{
    return write(S(value).GetString());
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(double value)
{
    return writeReal("%lf", value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(float value)
{
    return writeReal("%f", static_cast<double>(value));
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(__int64 value)
{
    return writeInteger(value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(unsigned __int64 value)
{
    return writeInteger(value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(int value)
{
    return writeInteger(value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(unsigned int value)
{
    return writeInteger(value);
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(short value)
{
    return writeInteger(static_cast<int>(value));
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(unsigned short value)
{
    return writeInteger(static_cast<unsigned int>(value));
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(signed char value)
{
    return writeInteger(static_cast<int>(value));
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(unsigned char value)
{
    return writeInteger(static_cast<unsigned int>(value));
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::operator<<(bool value)
{
    return write(value ? c_True<TChar> : c_False<TChar>);
}

template <class S>
template <class T>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::writeInteger(T value)
{
    char digits[std::numeric_limits<unsigned __int64>::digits10 + 2]; // and one for a sign
    char* const end = std::to_chars(digits, std::end(digits), value).ptr;
    m_scratch.SetString(digits, static_cast<int>(end - digits));
    return write(m_scratch.GetString());
}

template <class S>
CbStreamWriteASCIIT<S>& CbStreamWriteASCIIT<S>::writeReal(char const* format, double value)
{
    if (m_locale != nullptr)
    {
        char buffer[c_RealLength];
        int const length = s_formatReal.load()(buffer, std::size(buffer), format, m_locale, value);
        if (length < 0)
        {
            throw CbExceptionStream(CB_SITE(c_Function<TChar>));
        }
        m_scratch.SetString(buffer, length);
    }
    else
    {
        m_scratch.Format(format, value);
    }
    truncate();
    return write(m_scratch.GetString());
}

template <class S>
void CbStreamWriteASCIIT<S>::truncate()
{
    // A point at the very beginning is none of a number.
    if (m_isTruncating && m_scratch.Find('.') > 0)
    {
        m_scratch.TrimRight('0');
        int const last = m_scratch.GetLength() - 1;
        if (m_scratch[last] == '.')
        {
            m_scratch.Truncate(last);
        }
    }
}

template <class S>
CbStreamWriteASCIIStringT<S>::CbStreamWriteASCIIStringT(_locale_t locale) : CbStreamWriteASCIIT<S>(locale)
{
}

template <class S>
CbStreamWriteASCIIStringT<S>::CbStreamWriteASCIIStringT(TChar const* text, _locale_t locale)
    : CbStreamWriteASCIIT<S>(locale),
      m_text(text)
{
}

template <class S>
CbStreamWriteASCIIStringT<S>::CbStreamWriteASCIIStringT(CbStreamWriteASCIIStringT const& other) = default;

template <class S>
CbStreamWriteASCIIStringT<S>::CbStreamWriteASCIIStringT(CbStreamWriteASCIIStringT&& other) noexcept = default;

template <class S>
CbStreamWriteASCIIStringT<S>& CbStreamWriteASCIIStringT<S>::operator=(CbStreamWriteASCIIStringT const& other) = default;

template <class S>
CbStreamWriteASCIIStringT<S>&
CbStreamWriteASCIIStringT<S>::operator=(CbStreamWriteASCIIStringT&& other) noexcept = default;

template <class S>
CbStreamWriteASCIIStringT<S>::~CbStreamWriteASCIIStringT() = default;

template <class S>
unsigned int CbStreamWriteASCIIStringT<S>::GetLength() const
{
    return static_cast<unsigned int>(m_text.GetLength());
}

template <class S>
bool CbStreamWriteASCIIStringT<S>::IsEmpty() const
{
    return m_text.IsEmpty();
}

template <class S>
void CbStreamWriteASCIIStringT<S>::Empty()
{
    m_text.Empty();
}

template <class S>
CbStreamWriteASCIIStringT<S>::operator TChar const*() const
{
    return m_text.GetString();
}

template <class S>
CbStreamWriteASCIIStringT<S>& CbStreamWriteASCIIStringT<S>::write(wchar_t const* text)
{
    appendText(m_text, text);
    return *this;
}

template <class S>
CbStreamWriteASCIIStringT<S>& CbStreamWriteASCIIStringT<S>::write(char const* text)
{
    appendText(m_text, text);
    return *this;
}

template class CbStreamWriteASCIIT<CStringA>;
template class CbStreamWriteASCIIT<CStringW>;
template class CbStreamWriteASCIIStringT<CStringA>;
template class CbStreamWriteASCIIStringT<CStringW>;
