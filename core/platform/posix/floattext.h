// The digits of a floating-point conversion, before sign, width and radix mark are applied.

#ifndef ORVANE_PLATFORM_POSIX_FLOATTEXT_H
#define ORVANE_PLATFORM_POSIX_FLOATTEXT_H

#include <cstddef>
#include <memory>
#include <string_view>

namespace posix
{
/// The parts of the text of a value without its sign. Views stay good as long as the object.
struct SFloatText
{
    std::string_view prefix; // "0x" or nothing
    std::string_view whole;  // also "inf" and "nan"
    bool hasRadix = false;
    std::string_view fraction;
    std::size_t zeros = 0; // further zeros of the fraction
    std::string_view exponent;
    bool isFinite = true;

    char digits[1536];
    char exponentText[8];
    std::unique_ptr<char[]> longDigits; // where `digits` does not suffice
};

/// Renders the absolute value of `value` by `conversion`, one of e E f g G a A. A negative precision is the usual one: 6
/// digits, 13 for a and A. `isAlternate` keeps the radix mark, and with g the zeros at the end.
/// False when there is no memory for the digits.
bool renderFloat(SFloatText& text, double value, char conversion, int precision, bool isAlternate);
bool renderFloat(SFloatText& text, long double value, char conversion, int precision, bool isAlternate);
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_FLOATTEXT_H
