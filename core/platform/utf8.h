// UTF-8, one code point at a time.

#ifndef ORVANE_PLATFORM_UTF8_H
#define ORVANE_PLATFORM_UTF8_H

#include <cstddef>
#include <string>

namespace Utf8
{
/// What stands in for text that cannot be converted.
constexpr char32_t c_Replacement = 0xFFFD;

/// Not a code point: the bytes are malformed.
constexpr char32_t c_Malformed = 0xFFFFFFFF;

/// True for surrogates and for what lies beyond the last code point.
constexpr bool isUnencodable(char32_t point)
{
    return point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF);
}

/// Decodes the code point at `at`, which is before `end`, and moves behind it. Malformed bytes give c_Malformed, and `at`
/// moves behind the longest head of a well-formed sequence there, or else behind one byte.
inline char32_t decodeUtf8(char const*& at, char const* end)
{
    const auto lead = static_cast<unsigned char>(*at++);
    if (lead < 0x80)
    {
        return lead;
    }
    // The second byte's range is narrower where a wider one would encode surrogates, too much, or too little.
    unsigned int lowest = 0x80;
    unsigned int highest = 0xBF;
    int following = 1;
    char32_t point = lead & 0x1F;
    if (lead >= 0xF0)
    {
        following = 3;
        point = lead & 0x07;
        lowest = lead == 0xF0 ? 0x90 : lowest;
        highest = lead == 0xF4 ? 0x8F : highest;
    }
    else if (lead >= 0xE0)
    {
        following = 2;
        point = lead & 0x0F;
        lowest = lead == 0xE0 ? 0xA0 : lowest;
        highest = lead == 0xED ? 0x9F : highest;
    }
    if (lead < 0xC2 || lead > 0xF4)
    {
        return c_Malformed;
    }
    for (; following > 0; --following)
    {
        if (at == end)
        {
            return c_Malformed;
        }
        const auto next = static_cast<unsigned char>(*at);
        if (next < lowest || next > highest)
        {
            return c_Malformed;
        }
        ++at;
        point = (point << 6) | (next & 0x3Fu);
        lowest = 0x80;
        highest = 0xBF;
    }
    return point;
}

/// The number of bytes that encodeUtf8 writes.
constexpr std::size_t lengthUtf8(char32_t point)
{
    if (point < 0x80)
    {
        return 1;
    }
    if (point < 0x800)
    {
        return 2;
    }
    return point < 0x10000 || isUnencodable(point) ? 3 : 4;
}

/// Writes the bytes of `point`, or of U+FFFD when it cannot be encoded, into up to 4 bytes; returns their number.
inline std::size_t encodeUtf8(char32_t point, char* target)
{
    if (isUnencodable(point))
    {
        point = c_Replacement;
    }
    const auto following = [point](int shift) { return static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80)
    {
        target[0] = static_cast<char>(point);
        return 1;
    }
    if (point < 0x800)
    {
        target[0] = static_cast<char>(0xC0 | (point >> 6));
        target[1] = following(0);
        return 2;
    }
    if (point < 0x10000)
    {
        target[0] = static_cast<char>(0xE0 | (point >> 12));
        target[1] = following(6);
        target[2] = following(0);
        return 3;
    }
    target[0] = static_cast<char>(0xF0 | (point >> 18));
    target[1] = following(12);
    target[2] = following(6);
    target[3] = following(0);
    return 4;
}

inline void appendUtf8(std::string& text, char32_t point)
{
    char bytes[4];
    text.append(bytes, encodeUtf8(point, bytes));
}

/// `length`, less the bytes of a sequence that `text` begins at its end but has no room to finish.
inline std::size_t lengthOfWholeUtf8(char const* text, std::size_t length)
{
    for (std::size_t back = 1; back <= 3 && back <= length; ++back)
    {
        char const* at = text + (length - back);
        const auto byte = static_cast<unsigned char>(*at);
        if (byte >= 0xC0)
        {
            char const* const end = text + length;
            const std::size_t needed = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
            const bool isUnfinished =
                needed > back && decodeUtf8(at, end) == c_Malformed && at == end && byte >= 0xC2 && byte <= 0xF4;
            return isUnfinished ? length - back : length;
        }
        if (byte < 0x80)
        {
            return length;
        }
    }
    return length;
}
} // namespace Utf8

#endif // ORVANE_PLATFORM_UTF8_H
