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

void store(void* to, __m128i value)
{
    _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

bool isZero(__m128i value)
{
    return _mm_movemask_epi8(_mm_cmpeq_epi8(value, _mm_setzero_si128())) == 0xFFFF;
}

// Units may lie at odd addresses.
char16_t unitAt(unsigned char const* units, std::size_t index)
{
    char16_t unit = 0;
    std::memcpy(&unit, units + index * sizeof unit, sizeof unit);
    return unit;
}

void putUnit(unsigned char* units, std::size_t index, char16_t unit)
{
    std::memcpy(units + index * sizeof unit, &unit, sizeof unit);
}

// Sixteen 32-bit characters as units, or false where one of them is NUL, the last unit or does not fit one unit.
// The pack instruction takes signed numbers and lets the others become the ends of its range, so the characters are
// moved into that range and back.
bool packUnits(wchar_t const* text, __m128i& low, __m128i& high)
{
    __m128i const middle = _mm_set1_epi32(0x8000);
    __m128i const first = _mm_set1_epi16(static_cast<short>(0x8000));
    __m128i const last = _mm_set1_epi16(0x7FFF);
    low = _mm_packs_epi32(_mm_sub_epi32(load(text), middle), _mm_sub_epi32(load(text + 4), middle));
    high = _mm_packs_epi32(_mm_sub_epi32(load(text + 8), middle), _mm_sub_epi32(load(text + 12), middle));
    __m128i const ends =
        _mm_or_si128(_mm_cmpeq_epi16(_mm_min_epi16(low, high), first), _mm_cmpeq_epi16(_mm_max_epi16(low, high), last));
    low = _mm_xor_si128(low, first);
    high = _mm_xor_si128(high, first);
    return _mm_movemask_epi8(ends) == 0;
}

// The NULs among sixteen units.
__m128i nulsOf(__m128i low, __m128i high)
{
    __m128i const zero = _mm_setzero_si128();
    return _mm_or_si128(_mm_cmpeq_epi16(low, zero), _mm_cmpeq_epi16(high, zero));
}

// Not zero where there is a surrogate among sixteen units. They are moved so that the surrogates are the lowest of the
// signed numbers.
__m128i surrogatesOf(__m128i low, __m128i high)
{
    __m128i const offset = _mm_set1_epi16(static_cast<short>(0x8000 - 0xD800));
    __m128i const end = _mm_set1_epi16(static_cast<short>(0x8800));
    return _mm_cmplt_epi16(_mm_min_epi16(_mm_add_epi16(low, offset), _mm_add_epi16(high, offset)), end);
}

// Not zero where one of the sixteen 32-bit characters at `text` does not fit one unit.
__m128i beyondUnits(wchar_t const* text)
{
    __m128i const any =
        _mm_or_si128(_mm_or_si128(load(text), load(text + 4)), _mm_or_si128(load(text + 8), load(text + 12)));
    return _mm_srli_epi32(any, 16);
}

// Writes a character's units from `index` on and returns the index behind them.
std::size_t encodeOne(wchar_t character, unsigned char* units, std::size_t index)
{
    std::uint32_t const point = static_cast<std::uint32_t>(character);
    if (!isSupplementary(point))
    {
        putUnit(units, index, point < c_FirstSupplementary ? static_cast<char16_t>(point) : c_Replacement);
        return index + 1;
    }
    putUnit(units, index, static_cast<char16_t>(0xD800 + ((point - c_FirstSupplementary) >> 10)));
    putUnit(units, index + 1, static_cast<char16_t>(0xDC00 + (point & 0x3FF)));
    return index + 2;
}

// The number of units before the first NUL, or `length`.
[[maybe_unused]] std::size_t countToNul(unsigned char const* units, std::size_t length)
{
    std::size_t i = 0;
    while (length - i >= c_Step && isZero(nulsOf(load(units + i * 2), load(units + i * 2 + 16))))
    {
        i += c_Step;
    }
    while (i < length && unitAt(units, i) != 0)
    {
        ++i;
    }
    return i;
}

// Where a character and a unit are the same thing.
template <bool t_EndsAtNul>
[[maybe_unused]] std::size_t copyUnits(unsigned char const* from, std::size_t length, unsigned char* to)
{
    std::size_t const count = t_EndsAtNul ? countToNul(from, length) : length;
    if (count != 0)
    {
        std::memcpy(to, from, count * sizeof(char16_t));
    }
    return count;
}

template <bool t_EndsAtNul>
std::size_t encode(wchar_t const* text, std::size_t length, unsigned char* units)
{
    std::size_t count = 0;
    std::size_t i = 0;
    while (i < length)
    {
        if (length - i >= c_Step)
        {
            __m128i low;
            __m128i high;
            if (packUnits(text + i, low, high))
            {
                store(units + count * 2, low);
                store(units + count * 2 + 16, high);
                count += c_Step;
                i += c_Step;
                continue;
            }
        }
        std::size_t const stop = length - i >= c_Step ? i + c_Step : length;
        for (; i < stop; ++i)
        {
            if (t_EndsAtNul && text[i] == L'\0')
            {
                return count;
            }
            count = encodeOne(text[i], units, count);
        }
    }
    return count;
}

template <bool t_EndsAtNul>
std::size_t decode(unsigned char const* units, std::size_t length, wchar_t* text)
{
    __m128i const zero = _mm_setzero_si128();
    wchar_t* out = text;
    std::size_t i = 0;
    while (i < length)
    {
        if (length - i >= c_Step)
        {
            __m128i const low = load(units + i * 2);
            __m128i const high = load(units + i * 2 + 16);
            __m128i const surrogates = surrogatesOf(low, high);
            __m128i const special = t_EndsAtNul ? _mm_or_si128(surrogates, nulsOf(low, high)) : surrogates;
            if (_mm_movemask_epi8(special) == 0)
            {
                store(out, _mm_unpacklo_epi16(low, zero));
                store(out + 4, _mm_unpackhi_epi16(low, zero));
                store(out + 8, _mm_unpacklo_epi16(high, zero));
                store(out + 12, _mm_unpackhi_epi16(high, zero));
                out += c_Step;
                i += c_Step;
                continue;
            }
        }
        // A pair may reach over the end of the step; the next step then starts one unit later.
        std::size_t const stop = length - i >= c_Step ? i + c_Step : length;
        while (i < stop)
        {
            char16_t const unit = unitAt(units, i);
            if (t_EndsAtNul && unit == 0)
            {
                return static_cast<std::size_t>(out - text);
            }
            ++i;
            if (isHighSurrogate(unit) && i < length && isLowSurrogate(unitAt(units, i)))
            {
                char16_t const second = unitAt(units, i++);
                *out++ = static_cast<wchar_t>(c_FirstSupplementary + ((unit & 0x3FFu) << 10) + (second & 0x3FFu));
            }
            else
            {
                *out++ = static_cast<wchar_t>(unit);
            }
        }
    }
    return static_cast<std::size_t>(out - text);
}

template <bool t_EndsAtNul>
std::size_t encodeAny(wchar_t const* text, std::size_t length, void* units)
{
    auto* const bytes = static_cast<unsigned char*>(units);
    if constexpr (c_SameWidth)
    {
        return copyUnits<t_EndsAtNul>(reinterpret_cast<unsigned char const*>(text), length, bytes);
    }
    else
    {
        return encode<t_EndsAtNul>(text, length, bytes);
    }
}

template <bool t_EndsAtNul>
std::size_t decodeAny(void const* units, std::size_t length, wchar_t* text)
{
    auto const* const bytes = static_cast<unsigned char const*>(units);
    if constexpr (c_SameWidth)
    {
        return copyUnits<t_EndsAtNul>(bytes, length, reinterpret_cast<unsigned char*>(text));
    }
    else
    {
        return decode<t_EndsAtNul>(bytes, length, text);
    }
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
            if (length - i >= c_Step && isZero(beyondUnits(text + i)))
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

std::size_t Utf16::Encode(wchar_t const* text, std::size_t length, void* units)
{
    return encodeAny<false>(text, length, units);
}

std::size_t Utf16::EncodeToNul(wchar_t const* text, std::size_t length, void* units)
{
    return encodeAny<true>(text, length, units);
}

std::size_t Utf16::Decode(void const* units, std::size_t length, wchar_t* text)
{
    return decodeAny<false>(units, length, text);
}

std::size_t Utf16::DecodeToNul(void const* units, std::size_t length, wchar_t* text)
{
    return decodeAny<true>(units, length, text);
}
