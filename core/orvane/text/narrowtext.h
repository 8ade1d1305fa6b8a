// Narrow text that may end before its length does.

#ifndef ORVANE_TEXT_NARROWTEXT_H
#define ORVANE_TEXT_NARROWTEXT_H

#include <cstddef>

#include <emmintrin.h>

namespace NarrowText
{
/// Copies the characters of `text` before its first NUL, at most `length` of them, and returns their number. What lies
/// behind them at `target`, up to `length`, is undefined.
/// Cost: one pass, where looking for the NUL and copying would be two; most texts are too short to pay for both calls.
/// Threads: a plain function.
inline std::size_t CopyToNul(char const* text, std::size_t length, unsigned char* target)
{
    constexpr std::size_t c_Step = sizeof(__m128i);
    std::size_t at = 0;
    // Four steps at once as long as there is no NUL in them.
    for (; length - at >= 4 * c_Step; at += 4 * c_Step)
    {
        auto const* const from = reinterpret_cast<__m128i const*>(text + at);
        auto* const to = reinterpret_cast<__m128i*>(target + at);
        __m128i const first = _mm_loadu_si128(from);
        __m128i const second = _mm_loadu_si128(from + 1);
        __m128i const third = _mm_loadu_si128(from + 2);
        __m128i const fourth = _mm_loadu_si128(from + 3);
        __m128i const lowest = _mm_min_epu8(_mm_min_epu8(first, second), _mm_min_epu8(third, fourth));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(lowest, _mm_setzero_si128())) != 0)
        {
            break;
        }
        _mm_storeu_si128(to, first);
        _mm_storeu_si128(to + 1, second);
        _mm_storeu_si128(to + 2, third);
        _mm_storeu_si128(to + 3, fourth);
    }
    for (; length - at >= c_Step; at += c_Step)
    {
        __m128i const part = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text + at));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + at), part);
        int const nuls = _mm_movemask_epi8(_mm_cmpeq_epi8(part, _mm_setzero_si128()));
        if (nuls != 0)
        {
            return at + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned int>(nuls)));
        }
    }
    for (; at < length && text[at] != '\0'; ++at)
    {
        target[at] = static_cast<unsigned char>(text[at]);
    }
    return at;
}
} // namespace NarrowText

#endif // ORVANE_TEXT_NARROWTEXT_H
