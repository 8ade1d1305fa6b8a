#include "platform/posix/floattext.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>

namespace posix
{
namespace
{
// No value has more digits behind the radix mark than this; those asked for beyond are zeros.
template <class T>
constexpr int c_MostDigits = std::numeric_limits<T>::digits - std::numeric_limits<T>::min_exponent + 1;

// Room for every whole part, the most digits, and an exponent.
template <class T>
constexpr std::size_t c_MostCharacters = std::numeric_limits<T>::max_exponent10 + c_MostDigits<T> + 16;

static_assert(c_MostCharacters<double> <= sizeof(SFloatText::digits));

// True when `value` lies exactly half-way between two texts with `places` digits behind the radix mark (before it, when
// negative): an odd multiple of 2 to the power e does so exactly when e is -places - 1 and fives suffice.
template <class T>
bool isTie(T value, int places)
{
    if (value == 0)
    {
        return false;
    }
    constexpr int bits = std::numeric_limits<T>::digits;
    int exponent = 0;
    auto odd = static_cast<unsigned long long>(std::ldexp(std::frexp(value, &exponent), bits));
    const int trailing = std::countr_zero(odd);
    odd >>= trailing;
    if (exponent - bits + trailing != -places - 1)
    {
        return false;
    }
    for (; places < 0; ++places)
    {
        if (odd % 5 != 0)
        {
            return false;
        }
        odd /= 5;
    }
    return true;
}

template <class T>
std::string_view toText(SFloatText& text, T value, std::chars_format format, int precision)
{
    const auto result = std::to_chars(text.digits, std::end(text.digits), value, format, precision);
    if (result.ec == std::errc())
    {
        return {text.digits, result.ptr};
    }
    if (!text.longDigits)
    {
        text.longDigits.reset(new (std::nothrow) char[c_MostCharacters<T>]);
    }
    char* const begin = text.longDigits.get();
    if (begin == nullptr)
    {
        return {};
    }
    const auto longer = std::to_chars(begin, begin + c_MostCharacters<T>, value, format, precision);
    return longer.ec == std::errc() ? std::string_view(begin, longer.ptr) : std::string_view();
}

char* mutableAt(SFloatText& text, std::string_view digits)
{
    return text.longDigits && digits.data() == text.longDigits.get() ? text.longDigits.get() : text.digits;
}

// The number behind "e" in a text with an exponent.
int readExponent(std::string_view digits)
{
    std::size_t at = digits.find('e') + 1;
    at += digits[at] == '+' ? 1U : 0U;
    int exponent = 0;
    std::from_chars(digits.data() + at, digits.data() + digits.size(), exponent);
    return exponent;
}

// Rounds a tie away from zero. The library rounds it to an even last digit: that is away from zero when the last digit
// kept is odd, and else the digit goes up by one, which never carries. One digit more shows the tie whole.
template <class T>
std::string_view renderTie(SFloatText& text, T value, std::chars_format format, int precision)
{
    const std::string_view whole = toText(text, value, format, precision + 1);
    if (whole.empty())
    {
        return {};
    }
    char* const begin = mutableAt(text, whole);
    char* const end = begin + whole.size();
    char* const five = std::find(begin, end, 'e') - 1;
    char* last = five - 1;
    char* cut = five; // what goes: the five, and a radix mark that would then stand at the end
    if (*last == '.')
    {
        cut = last--;
    }
    if ((*last - '0') % 2 != 0)
    {
        return toText(text, value, format, precision);
    }
    ++*last;
    char* const newEnd = std::copy(five + 1, end, cut);
    return {begin, newEnd};
}

template <class T>
std::string_view renderFixed(SFloatText& text, T value, int precision)
{
    return isTie(value, precision) ? renderTie(text, value, std::chars_format::fixed, precision)
                                   : toText(text, value, std::chars_format::fixed, precision);
}

template <class T>
std::string_view renderScientific(SFloatText& text, T value, int precision)
{
    const std::string_view digits = toText(text, value, std::chars_format::scientific, precision);
    return !digits.empty() && isTie(value, precision - readExponent(digits))
               ? renderTie(text, value, std::chars_format::scientific, precision)
               : digits;
}

// Points the parts at a text of digits, perhaps a radix mark, and perhaps an exponent that begins with `exponentLetter`.
void split(SFloatText& text, std::string_view digits, char exponentLetter)
{
    const std::size_t exponent = std::min(digits.find(exponentLetter), digits.size());
    const std::string_view mantissa = digits.substr(0, exponent);
    const std::size_t radix = std::min(mantissa.find('.'), mantissa.size());
    text.whole = mantissa.substr(0, radix);
    text.hasRadix = radix != mantissa.size();
    text.fraction = text.hasRadix ? mantissa.substr(radix + 1) : std::string_view();
    text.exponent = digits.substr(exponent);
}

// Windows writes three exponent digits at least.
void widenExponent(SFloatText& text)
{
    constexpr std::size_t c_Short = std::string_view("e+00").size();
    if (text.exponent.size() != c_Short)
    {
        return;
    }
    char* const target = text.exponentText;
    target[0] = text.exponent[0];
    target[1] = text.exponent[1];
    target[2] = '0';
    target[3] = text.exponent[2];
    target[4] = text.exponent[3];
    text.exponent = {target, c_Short + 1};
}

template <class T>
bool renderGeneral(SFloatText& text, T value, int precision, bool isAlternate)
{
    const int significant = std::max(precision, 1);
    const int rendered = std::min(significant, c_MostDigits<T>);
    std::string_view digits = renderScientific(text, value, rendered - 1);
    if (digits.empty())
    {
        return false;
    }
    const int exponent = readExponent(digits);
    int fraction = significant - 1;
    if (exponent >= -4 && exponent < significant)
    {
        fraction -= exponent;
        digits = renderFixed(text, value, std::min(fraction, c_MostDigits<T>));
    }
    split(text, digits, 'e');
    if (digits.empty())
    {
        return false;
    }
    if (isAlternate)
    {
        text.hasRadix = true;
        text.zeros = static_cast<std::size_t>(fraction) - text.fraction.size();
        return true;
    }
    text.fraction = text.fraction.substr(0, text.fraction.find_last_not_of('0') + 1);
    text.hasRadix = !text.fraction.empty();
    return true;
}

template <class T>
bool renderFinite(SFloatText& text, T value, char kind, int precision, bool isAlternate)
{
    if (kind == 'g')
    {
        const bool isRendered = renderGeneral(text, value, precision, isAlternate);
        widenExponent(text);
        return isRendered;
    }
    const int rendered = std::min(precision, c_MostDigits<T>);
    const std::string_view digits = kind == 'f'   ? renderFixed(text, value, rendered)
                                    : kind == 'e' ? renderScientific(text, value, rendered)
                                                  : toText(text, value, std::chars_format::hex, rendered);
    split(text, digits, kind == 'a' ? 'p' : 'e');
    if (kind == 'a')
    {
        text.prefix = "0x";
    }
    else
    {
        widenExponent(text);
    }
    text.hasRadix = text.hasRadix || isAlternate;
    text.zeros = static_cast<std::size_t>(precision - rendered);
    return !digits.empty();
}

void toUpper(char* begin, char* end)
{
    std::transform(begin, end, begin,
                   [](char character) {
                       return character >= 'a' && character <= 'z' ? static_cast<char>(character - ('a' - 'A'))
                                                                   : character;
                   });
}

template <class T>
bool render(SFloatText& text, T value, char conversion, int precision, bool isAlternate)
{
    const bool isUpper = conversion < 'a';
    const char kind = isUpper ? static_cast<char>(conversion + ('a' - 'A')) : conversion;
    if (!std::isfinite(value))
    {
        text.isFinite = false;
        text.whole = std::isnan(value) ? (isUpper ? "NAN" : "nan") : (isUpper ? "INF" : "inf");
        return true;
    }
    const int usual = kind == 'a' ? 13 : 6;
    if (!renderFinite(text, std::abs(value), kind, precision < 0 ? usual : precision, isAlternate))
    {
        return false;
    }
    if (!isUpper)
    {
        return true;
    }
    if (kind == 'a')
    {
        char* const begin = mutableAt(text, text.whole);
        toUpper(begin, begin + (text.exponent.data() + text.exponent.size() - text.whole.data()));
        text.prefix = "0X";
    }
    else if (!text.exponent.empty())
    {
        // The exponent may stand in either buffer.
        std::copy(text.exponent.begin(), text.exponent.end(), text.exponentText);
        text.exponent = {text.exponentText, text.exponent.size()};
        text.exponentText[0] = 'E';
    }
    return true;
}
} // namespace

bool renderFloat(SFloatText& text, double value, char conversion, int precision, bool isAlternate)
{
    return render(text, value, conversion, precision, isAlternate);
}

bool renderFloat(SFloatText& text, long double value, char conversion, int precision, bool isAlternate)
{
    return render(text, value, conversion, precision, isAlternate);
}
} // namespace posix
