// Integers from the head of a text, as the C runtime's scanf reads them.

#ifndef ORVANE_TEXT_NUMBERSCAN_H
#define ORVANE_TEXT_NUMBERSCAN_H

#include "platform/platform.h"

/// Both widths alike: blanks are those of the C locale, digits those of ASCII.
namespace NumberScan
{
enum EOutcome
{
    eNumber, // what follows the number is not looked at
    eEnd,    // the text ends where a digit would have to come
    eNone    // something else stands there
};

/// White space of the C locale, in both widths and whatever the locale.
template <class C>
C const* SkipBlanks(C const* text)
{
    while (*text == C(' ') || (*text >= C('\t') && *text <= C('\r')))
    {
        ++text;
    }
    return text;
}

namespace detail
{
/// The sign at the head of `text`, which moves behind it.
template <class C>
bool takeSign(C const*& text)
{
    bool const isNegative = *text == C('-');
    if (isNegative || *text == C('+'))
    {
        ++text;
    }
    return isNegative;
}

/// The base that a prefix says; `text` moves behind "0x" only: the 0 of an octal number is a digit.
template <class C>
unsigned int takeBase(C const*& text)
{
    if (*text != C('0'))
    {
        return 10;
    }
    if (text[1] == C('x') || text[1] == C('X'))
    {
        text += 2;
        return 16;
    }
    return 8;
}

/// 16 for what is no digit in any base.
template <class C>
unsigned int digitOf(C character)
{
    if (character >= C('0') && character <= C('9'))
    {
        return static_cast<unsigned int>(character - C('0'));
    }
    if (character >= C('a') && character <= C('f'))
    {
        return static_cast<unsigned int>(character - C('a')) + 10;
    }
    if (character >= C('A') && character <= C('F'))
    {
        return static_cast<unsigned int>(character - C('A')) + 10;
    }
    return 16;
}

template <class C>
EOutcome scanDigits(C const*& text, unsigned int base, unsigned __int64& value, bool& isTooLarge)
{
    constexpr unsigned __int64 c_Most = ~0ull;
    if (digitOf(*text) >= base)
    {
        return *text == C('\0') ? eEnd : eNone;
    }
    for (unsigned int digit = digitOf(*text); digit < base; digit = digitOf(*++text))
    {
        isTooLarge = isTooLarge || value > (c_Most - digit) / base;
        value = value * base + digit;
    }
    return eNumber;
}
} // namespace detail

/// As "%I64i": blanks, a sign, digits; hexadecimal after 0x, octal after 0. What 64 bits do not hold becomes the
/// nearest value that they do. `value` is 0 where there is no number.
template <class C>
EOutcome ScanSigned(C const* text, __int64& value)
{
    constexpr unsigned __int64 c_Limit = 1ull << 63;
    text = SkipBlanks(text);
    bool const isNegative = detail::takeSign(text);
    unsigned int const base = detail::takeBase(text);
    unsigned __int64 magnitude = 0;
    bool isTooLarge = false;
    EOutcome const outcome = detail::scanDigits(text, base, magnitude, isTooLarge);
    if (isTooLarge || magnitude >= c_Limit)
    {
        magnitude = isNegative ? c_Limit : c_Limit - 1;
    }
    value = static_cast<__int64>(isNegative ? 0 - magnitude : magnitude);
    return outcome;
}

/// As "%I64u": blanks, a sign, decimal digits. A minus wraps; what 64 bits do not hold becomes the largest number.
/// `text` moves behind the number; anywhere where there is none.
template <class C>
EOutcome ScanUnsigned(C const*& text, unsigned __int64& value)
{
    text = SkipBlanks(text);
    bool const isNegative = detail::takeSign(text);
    bool isTooLarge = false;
    value = 0;
    EOutcome const outcome = detail::scanDigits(text, 10, value, isTooLarge);
    if (isTooLarge)
    {
        value = ~0ull;
    }
    else if (isNegative)
    {
        value = 0 - value;
    }
    return outcome;
}
} // namespace NumberScan

#endif // ORVANE_TEXT_NUMBERSCAN_H
