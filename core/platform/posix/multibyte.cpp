#include <climits>
#include <cstring>
#include <cwchar>
#include <emmintrin.h>

#include "fail.h"
#include "platform/platform.h"
#include "platform/utf8.h"

using posix::fail;

namespace
{
// Characters in one step of the loops that look for nothing but ASCII.
constexpr std::size_t c_Block = 16;

// What both directions ask of their arguments; 0 when there is nothing to refuse.
DWORD checkArguments(UINT codePage, DWORD flags, DWORD allowedFlag, void const* text, int length, void const* target,
                     int size)
{
    if (codePage != CP_ACP && codePage != CP_THREAD_ACP && codePage != CP_UTF8)
    {
        return ERROR_INVALID_PARAMETER;
    }
    if (text == nullptr || length == 0 || size < 0 || (size > 0 && target == nullptr) || (size > 0 && target == text))
    {
        return ERROR_INVALID_PARAMETER;
    }
    return (flags & ~allowedFlag) != 0 ? ERROR_INVALID_FLAGS : ERROR_SUCCESS;
}

__m128i load(void const* at)
{
    return _mm_loadu_si128(static_cast<__m128i const*>(at));
}

void store(void* at, __m128i value)
{
    _mm_storeu_si128(static_cast<__m128i*>(at), value);
}

bool isAsciiBlock(char const* text)
{
    return _mm_movemask_epi8(load(text)) == 0;
}

void widenBlock(char const* text, wchar_t* target)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i bytes = load(text);
    const __m128i low = _mm_unpacklo_epi8(bytes, zero);
    const __m128i high = _mm_unpackhi_epi8(bytes, zero);
    store(target, _mm_unpacklo_epi16(low, zero));
    store(target + 4, _mm_unpackhi_epi16(low, zero));
    store(target + 8, _mm_unpacklo_epi16(high, zero));
    store(target + 12, _mm_unpackhi_epi16(high, zero));
}

// Writes a block of ASCII and returns true, or returns false for a block with anything else in it.
bool narrowBlock(wchar_t const* text, char* target)
{
    const __m128i a = load(text);
    const __m128i b = load(text + 4);
    const __m128i c = load(text + 8);
    const __m128i d = load(text + 12);
    const __m128i all = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
    const __m128i beyond = _mm_and_si128(all, _mm_set1_epi32(~0x7F));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(beyond, _mm_setzero_si128())) != 0xFFFF)
    {
        return false;
    }
    store(target, _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
    return true;
}

// The number of characters; or 0 for malformed bytes where they are refused.
std::size_t countWide(char const* text, char const* end, bool isStrict)
{
    std::size_t count = 0;
    while (text != end)
    {
        if (static_cast<std::size_t>(end - text) >= c_Block && isAsciiBlock(text))
        {
            text += c_Block;
            count += c_Block;
            continue;
        }
        if (Utf8::decodeUtf8(text, end) == Utf8::c_Malformed && isStrict)
        {
            return 0;
        }
        ++count;
    }
    return count;
}

std::size_t countUtf8(wchar_t const* text, wchar_t const* end, bool isStrict)
{
    std::size_t count = 0;
    for (; text != end; ++text)
    {
        const auto point = static_cast<char32_t>(*text);
        if (isStrict && Utf8::isUnencodable(point))
        {
            return 0;
        }
        count += Utf8::lengthUtf8(point);
    }
    return count;
}

int writeWide(char const* text, char const* end, wchar_t* target, std::size_t size, bool isStrict)
{
    std::size_t written = 0;
    char const* nextBlock = text; // where it is worth while to look for a block again
    while (text != end)
    {
        if (text >= nextBlock && static_cast<std::size_t>(end - text) >= c_Block && size - written >= c_Block)
        {
            if (isAsciiBlock(text))
            {
                widenBlock(text, target + written);
                text += c_Block;
                written += c_Block;
                continue;
            }
            nextBlock = text + c_Block;
        }
        char32_t point = Utf8::decodeUtf8(text, end);
        if (point == Utf8::c_Malformed)
        {
            if (isStrict)
            {
                return fail(ERROR_NO_UNICODE_TRANSLATION);
            }
            point = Utf8::c_Replacement;
        }
        if (written == size)
        {
            return fail(ERROR_INSUFFICIENT_BUFFER);
        }
        target[written++] = static_cast<wchar_t>(point);
    }
    return static_cast<int>(written);
}

int writeUtf8(wchar_t const* text, wchar_t const* end, char* target, std::size_t size, bool isStrict)
{
    std::size_t written = 0;
    wchar_t const* nextBlock = text; // where it is worth while to look for a block again
    while (text != end)
    {
        if (text >= nextBlock && static_cast<std::size_t>(end - text) >= c_Block && size - written >= c_Block)
        {
            if (narrowBlock(text, target + written))
            {
                text += c_Block;
                written += c_Block;
                continue;
            }
            nextBlock = text + c_Block;
        }
        const auto point = static_cast<char32_t>(*text++);
        if (point < 0x80 && written != size)
        {
            target[written++] = static_cast<char>(point);
            continue;
        }
        if (isStrict && Utf8::isUnencodable(point))
        {
            return fail(ERROR_NO_UNICODE_TRANSLATION);
        }
        if (size - written < Utf8::lengthUtf8(point))
        {
            return fail(ERROR_INSUFFICIENT_BUFFER);
        }
        written += Utf8::encodeUtf8(point, target + written);
    }
    return static_cast<int>(written);
}
} // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR target, int size) noexcept
{
    if (const DWORD error = checkArguments(codePage, flags, MB_ERR_INVALID_CHARS, text, length, target, size);
        error != ERROR_SUCCESS)
    {
        return fail(error);
    }
    const std::size_t bytes = length < 0 ? std::strlen(text) + 1 : static_cast<std::size_t>(length);
    if (bytes > INT_MAX)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const bool isStrict = (flags & MB_ERR_INVALID_CHARS) != 0;
    if (size == 0)
    {
        const std::size_t count = countWide(text, text + bytes, isStrict);
        return count != 0 ? static_cast<int>(count) : fail(ERROR_NO_UNICODE_TRANSLATION);
    }
    return writeWide(text, text + bytes, target, static_cast<std::size_t>(size), isStrict);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR target, int size,
                        LPCSTR defaultChar, BOOL* usedDefaultChar) noexcept
{
    if (const DWORD error = checkArguments(codePage, flags, WC_ERR_INVALID_CHARS, text, length, target, size);
        error != ERROR_SUCCESS)
    {
        return fail(error);
    }
    if (defaultChar != nullptr || usedDefaultChar != nullptr)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const std::size_t characters = length < 0 ? std::wcslen(text) + 1 : static_cast<std::size_t>(length);
    if (characters > INT_MAX)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    const bool isStrict = (flags & WC_ERR_INVALID_CHARS) != 0;
    if (size == 0)
    {
        const std::size_t count = countUtf8(text, text + characters, isStrict);
        if (count > INT_MAX)
        {
            return fail(ERROR_ARITHMETIC_OVERFLOW);
        }
        return count != 0 ? static_cast<int>(count) : fail(ERROR_NO_UNICODE_TRANSLATION);
    }
    return writeUtf8(text, text + characters, target, static_cast<std::size_t>(size), isStrict);
}
