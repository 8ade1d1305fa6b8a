#include "orvane/text/utf16.h"

#include <cstdint>
#include <cstring>

#include <emmintrin.h>

namespace
{
constexpr bool c_SameWidth = sizeof(wchar_t) == sizeof(char16_t);
constexpr std::size_t c_Step = 16; // characters that the vector loops take at a time

constexpr char16_t c_Replacement = 0xFFFD;
constexpr std::uint32_t c_FirstSupplementary = 0x10000;
constexpr std::uint32_t c_LastCodePoint = 0x10FFFF;

bool isHighSurrogate(char16_t unit)
{
    return (unit & 0xFC00) == 0xD800;
}

bool isLowSurrogate(char16_t unit)
{
    return (unit & 0xFC00) == 0xDC00;
}

bool isSupplementary(std::uint32_t point)
{
    return point >= c_FirstSupplementary && point <= c_LastCodePoint;
}

__m128i load(void const* from)
{
    return _mm_loadu_si128(static_cast<__m128i const*>(from));
}

// Whether all sixteen 32-bit characters at `text` fit one unit each.
bool fitsUnits(wchar_t const* text)
{
    __m128i const any =
        _mm_or_si128(_mm_or_si128(load(text), load(text + 4)), _mm_or_si128(load(text + 8), load(text + 12)));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_srli_epi32(any, 16), _mm_setzero_si128())) == 0xFFFF;
}

// Eight 32-bit characters below 0x10000 as units. The pack instruction takes signed numbers: the sign is extended first.
__m128i packUnits(__m128i low, __m128i high)
{
    return _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(low, 16), 16), _mm_srai_epi32(_mm_slli_epi32(high, 16), 16));
}

std::size_t encodeOne(wchar_t character, char16_t* units)
{
    std::uint32_t const point = static_cast<std::uint32_t>(character);
    if (!isSupplementary(point))
    {
        units[0] = point < c_FirstSupplementary ? static_cast<char16_t>(point) : c_Replacement;
        return 1;
    }
    units[0] = static_cast<char16_t>(0xD800 + ((point - c_FirstSupplementary) >> 10));
    units[1] = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
    return 2;
}
} // namespace

std::size_t Utf16::CountUnits(wchar_t const* text, std::size_t length)
{
    std::size_t units = length;
    if constexpr (!c_SameWidth)
    {
        std::size_t i = 0;
        while (i < length)
        {
            if (length - i >= c_Step && fitsUnits(text + i))
            {
                i += c_Step;
                continue;
            }
            std::size_t const stop = length - i >= c_Step ? i + c_Step : length;
            for (; i < stop; ++i)
            {
                units += isSupplementary(static_cast<std::uint32_t>(text[i])) ? 1u : 0u;
            }
        }
    }
    return units;
}

std::size_t Utf16::Encode(wchar_t const* text, std::size_t length, char16_t* units)
{
    if constexpr (c_SameWidth)
    {
        if (length != 0)
        {
            std::memcpy(units, text, length * sizeof(char16_t));
        }
        return length;
    }
    char16_t* out = units;
    std::size_t i = 0;
    while (i < length)
    {
        if (length - i >= c_Step && fitsUnits(text + i))
        {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), packUnits(load(text + i), load(text + i + 4)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), packUnits(load(text + i + 8), load(text + i + 12)));
            out += c_Step;
            i += c_Step;
            continue;
        }
        std::size_t const stop = length - i >= c_Step ? i + c_Step : length;
        for (; i < stop; ++i)
        {
            out += encodeOne(text[i], out);
        }
    }
    return static_cast<std::size_t>(out - units);
}

std::size_t Utf16::Decode(char16_t const* units, std::size_t length, wchar_t* text)
{
    if constexpr (c_SameWidth)
    {
        if (length != 0)
        {
            std::memcpy(text, units, length * sizeof(char16_t));
        }
        return length;
    }
    __m128i const zero = _mm_setzero_si128();
    __m128i const surrogateBits = _mm_set1_epi16(static_cast<short>(0xF800));
    __m128i const surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
    wchar_t* out = text;
    std::size_t i = 0;
    while (i < length)
    {
        if (length - i >= c_Step)
        {
            __m128i const low = load(units + i);
            __m128i const high = load(units + i + 8);
            __m128i const found = _mm_or_si128(_mm_cmpeq_epi16(_mm_and_si128(low, surrogateBits), surrogate),
                                               _mm_cmpeq_epi16(_mm_and_si128(high, surrogateBits), surrogate));
            if (_mm_movemask_epi8(found) == 0)
            {
                __m128i* const to = reinterpret_cast<__m128i*>(out);
                _mm_storeu_si128(to, _mm_unpacklo_epi16(low, zero));
                _mm_storeu_si128(to + 1, _mm_unpackhi_epi16(low, zero));
                _mm_storeu_si128(to + 2, _mm_unpacklo_epi16(high, zero));
                _mm_storeu_si128(to + 3, _mm_unpackhi_epi16(high, zero));
                out += c_Step;
                i += c_Step;
                continue;
            }
        }
        // A pair may reach over the end of the step; the next step then starts one unit later.
        std::size_t const stop = length - i >= c_Step ? i + c_Step : length;
        while (i < stop)
        {
            char16_t const unit = units[i++];
            if (isHighSurrogate(unit) && i < length && isLowSurrogate(units[i]))
            {
                *out++ = static_cast<wchar_t>(c_FirstSupplementary + ((unit & 0x3FFu) << 10) + (units[i++] & 0x3FFu));
            }
            else
            {
                *out++ = static_cast<wchar_t>(unit);
            }
        }
    }
    return static_cast<std::size_t>(out - text);
}
