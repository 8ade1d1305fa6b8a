#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <string>

#include "platform/posix/localeinfo.h"

namespace
{
// Where the parts of a number stand in its text.
template <class C>
struct SNumberSpan
{
    C const* begin; // behind blanks and sign
    C const* end;
    C const* radix;    // null: none
    C const* exponent; // the letter; null: none
    bool isNegative;
};

template <class C>
bool isDigit(C character)
{
    return character >= C('0') && character <= C('9');
}

bool isBlank(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

// The blanks of the wide C runtime of Windows; the C library leaves out those that forbid a line break.
bool isBlank(wchar_t character)
{
    return (character <= 0x7F && isBlank(static_cast<char>(character))) || character == 0x85 || character == 0xA0 ||
           character == 0x1680 || (character >= 0x2000 && character <= 0x200A) || character == 0x2028 ||
           character == 0x2029 || character == 0x202F || character == 0x205F || character == 0x3000;
}

template <class C>
C const* skipDigits(C const* at)
{
    while (isDigit(*at))
    {
        ++at;
    }
    return at;
}

template <class C>
bool startsWith(C const* at, std::basic_string_view<C> head)
{
    for (const C character : head)
    {
        if (*at++ != character)
        {
            return false;
        }
    }
    return !head.empty();
}

// `begin` equals `end` when there is no number.
template <class C>
SNumberSpan<C> findNumber(C const* at, std::basic_string_view<C> radix)
{
    while (isBlank(*at))
    {
        ++at;
    }
    SNumberSpan<C> span{};
    span.isNegative = *at == C('-');
    at += *at == C('-') || *at == C('+') ? 1 : 0;
    span.begin = at;
    span.end = at;

    C const* const wholeEnd = skipDigits(at);
    auto digits = wholeEnd - at;
    at = wholeEnd;
    if (startsWith(at, radix))
    {
        C const* const fraction = at + radix.size();
        C const* const fractionEnd = skipDigits(fraction);
        digits += fractionEnd - fraction;
        span.radix = at;
        at = fractionEnd;
    }
    if (digits == 0)
    {
        return span;
    }
    span.end = at;

    if (*at == C('e') || *at == C('E') || *at == C('d') || *at == C('D'))
    {
        C const* const exponent = at++;
        at += *at == C('-') || *at == C('+') ? 1 : 0;
        if (isDigit(*at))
        {
            span.exponent = exponent;
            span.end = skipDigits(at);
        }
    }
    return span;
}

// The number spelt as std::from_chars wants it, with no plus before the exponent's digits or with one: it takes both.
// `target` has room for `span.end - span.begin` characters.
template <class C>
char* respell(SNumberSpan<C> const& span, std::size_t radixLength, char* target)
{
    C const* at = span.begin;
    while (at != span.end)
    {
        if (at == span.radix)
        {
            *target++ = '.';
            at += radixLength;
        }
        else
        {
            *target++ = at == span.exponent ? 'e' : static_cast<char>(*at);
            ++at;
        }
    }
    return target;
}

// Too large or too small: the C library tells which, and leaves the reason in errno.
double convertOutOfRange(char const* begin, char const* end)
{
    static const locale_t s_plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(std::string(begin, end).c_str(), nullptr, s_plain);
}

double convert(char const* begin, char const* end)
{
    double value = 0;
    return std::from_chars(begin, end, value).ec == std::errc() ? value : convertOutOfRange(begin, end);
}

template <class C>
double parse(C const* text, C** end, _locale_t locale)
{
    if (end != nullptr)
    {
        *end = const_cast<C*>(text);
    }
    if (text == nullptr)
    {
        errno = EINVAL;
        return 0;
    }
    const auto mark = posix::getRadixMark<C>(locale);
    const auto radix = mark.GetText();
    const SNumberSpan<C> span = findNumber(text, radix);
    const auto length = static_cast<std::size_t>(span.end - span.begin);
    if (length == 0)
    {
        return 0;
    }
    if (end != nullptr)
    {
        *end = const_cast<C*>(span.end);
    }

    char buffer[128];
    std::string longer;
    char* spelling = buffer;
    if (length > std::size(buffer))
    {
        longer.resize(length);
        spelling = longer.data();
    }
    const double value = convert(spelling, respell(span, radix.size(), spelling));
    return span.isNegative ? -value : value;
}
} // namespace

double _strtod_l(char const* text, char** end, _locale_t locale)
{
    return parse(text, end, locale);
}

double _wcstod_l(wchar_t const* text, wchar_t** end, _locale_t locale)
{
    return parse(text, end, locale);
}
