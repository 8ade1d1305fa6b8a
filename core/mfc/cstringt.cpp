#include "mfc/cstringt.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <utility>

#include "mfc/catlexception.h"
#include "platform/platform.h"
#include "platform/utf8.h"

namespace
{
// Most formatted texts fit here and need one pass and no memory beyond the target's.
constexpr std::size_t c_ShortText = 256;

// The characters written without a NUL, or a negative number for failure and for a text longer than `room`.
int print(char* target, std::size_t room, char const* format, va_list arguments)
{
    return _vsnprintf(target, room, format, arguments);
}

int print(wchar_t* target, std::size_t room, wchar_t const* format, va_list arguments)
{
    return _vsnwprintf(target, room, format, arguments);
}

int count(char const* format, va_list arguments)
{
    return _vscprintf(format, arguments);
}

int count(wchar_t const* format, va_list arguments)
{
    return _vscwprintf(format, arguments);
}

template <class C>
void formatInto(std::basic_string<C>& target, std::size_t keep, C const* format, va_list arguments)
{
    if (format == nullptr)
    {
        detail::refuseArgument();
    }

    // Both passes write elsewhere first: the arguments may point into the target.
    va_list copy;
    va_copy(copy, arguments);
    C brief[c_ShortText];
    int length = print(brief, c_ShortText, format, copy);
    va_end(copy);
    if (length >= 0 && static_cast<std::size_t>(length) <= c_ShortText)
    {
        target.replace(keep, std::basic_string<C>::npos, brief, static_cast<std::size_t>(length));
        return;
    }

    va_copy(copy, arguments);
    length = count(format, copy);
    va_end(copy);
    if (length < 0)
    {
        detail::refuseArgument();
    }
    std::basic_string<C> text(static_cast<std::size_t>(length), C());
    if (print(text.data(), text.size() + 1, format, arguments) != length)
    {
        detail::refuseArgument();
    }
    if (keep == 0)
    {
        target = std::move(text);
    }
    else
    {
        target.replace(keep, std::basic_string<C>::npos, text);
    }
}

// The system calls count in int.
int systemLength(std::size_t length)
{
    if (length > INT_MAX)
    {
        detail::refuseArgument();
    }
    return static_cast<int>(length);
}

char toLower(char ch)
{
    return static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
}

wchar_t toLower(wchar_t ch)
{
    return static_cast<wchar_t>(std::towlower(static_cast<wint_t>(ch)));
}

char toUpper(char ch)
{
    return static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
}

wchar_t toUpper(wchar_t ch)
{
    return static_cast<wchar_t>(std::towupper(static_cast<wint_t>(ch)));
}

constexpr bool c_IsWideUtf16 = sizeof(wchar_t) == sizeof(char16_t);

// The UTF-16 units of wide text of 32-bit characters. Lone surrogates are units, what is no code point is U+FFFD.
template <class TMap>
class CUnits
{
public:
    CUnits(std::wstring_view text, TMap map) : m_rest(text), m_map(map)
    {
    }

    // The next unit; -1 behind the last one.
    int Next()
    {
        if (m_second != 0)
        {
            return std::exchange(m_second, 0);
        }
        if (m_rest.empty())
        {
            return -1;
        }
        auto const point = static_cast<char32_t>(m_map(m_rest.front()));
        m_rest.remove_prefix(1);
        if (point < 0x10000)
        {
            return static_cast<int>(point);
        }
        if (point > 0x10FFFF)
        {
            return static_cast<int>(Utf8::c_Replacement);
        }
        m_second = static_cast<int>(0xDC00 + (point & 0x3FF));
        return static_cast<int>(0xD800 + ((point - 0x10000) >> 10));
    }

private:
    std::wstring_view m_rest;
    TMap m_map;
    int m_second = 0;
};

// The order of two texts whose first characters differ. Texts of the same units are ordered by those characters, so that
// only equal ones are neither before nor behind one another.
template <class C, class TMap>
int compareDifferent(std::basic_string_view<C> a, std::basic_string_view<C> b, TMap map)
{
    C const left = map(a.front());
    C const right = map(b.front());
    if constexpr (std::is_same_v<C, wchar_t> && !c_IsWideUtf16)
    {
        // Below the surrogates characters and units are the same; above them a pair is below the last units.
        constexpr char32_t c_FirstSurrogate = 0xD800;
        auto const leftPoint = static_cast<char32_t>(left);
        auto const rightPoint = static_cast<char32_t>(right);
        if (leftPoint >= c_FirstSurrogate && rightPoint >= c_FirstSurrogate)
        {
            CUnits leftUnits(a, map);
            CUnits rightUnits(b, map);
            int unit = 0;
            int order = 0;
            do
            {
                unit = leftUnits.Next();
                order = unit - rightUnits.Next();
            } while (order == 0 && unit >= 0);
            if (order != 0)
            {
                return order;
            }
        }
        return leftPoint < rightPoint ? -1 : 1;
    }
    return std::char_traits<C>::lt(left, right) ? -1 : 1;
}

// `first` is where to begin: up to there the texts are the same.
template <class C, class TMap>
int compareFrom(std::size_t first, std::basic_string_view<C> a, std::basic_string_view<C> b, TMap map)
{
    std::size_t const common = std::min(a.size(), b.size());
    for (std::size_t n = first; n < common; ++n)
    {
        if (map(a[n]) != map(b[n]))
        {
            return compareDifferent(a.substr(n), b.substr(n), map);
        }
    }
    return (a.size() > b.size()) - (a.size() < b.size());
}

template <class C>
int compareLower(std::basic_string_view<C> a, std::basic_string_view<C> b)
{
    return compareFrom(0, a, b, [](C ch) { return toLower(ch); });
}
} // namespace

namespace detail
{
void refuseArgument()
{
    AtlThrow(AtlResult::c_InvalidArg);
}

void formatText(std::string& target, std::size_t keep, char const* format, va_list arguments)
{
    formatInto(target, keep, format, arguments);
}

void formatText(std::wstring& target, std::size_t keep, wchar_t const* format, va_list arguments)
{
    formatInto(target, keep, format, arguments);
}

void convertText(std::string& target, wchar_t const* text, std::size_t length)
{
    int const given = systemLength(length);
    std::string result;
    if (given != 0)
    {
        int const needed = WideCharToMultiByte(CP_ACP, 0, text, given, nullptr, 0, nullptr, nullptr);
        if (needed <= 0)
        {
            refuseArgument();
        }
        result.resize(static_cast<std::size_t>(needed));
        if (WideCharToMultiByte(CP_ACP, 0, text, given, result.data(), needed, nullptr, nullptr) != needed)
        {
            refuseArgument();
        }
    }
    target = std::move(result);
}

void convertText(std::wstring& target, char const* text, std::size_t length)
{
    int const given = systemLength(length);
    std::wstring result;
    if (given != 0)
    {
        int const needed = MultiByteToWideChar(CP_ACP, 0, text, given, nullptr, 0);
        if (needed <= 0)
        {
            refuseArgument();
        }
        result.resize(static_cast<std::size_t>(needed));
        if (MultiByteToWideChar(CP_ACP, 0, text, given, result.data(), needed) != needed)
        {
            refuseArgument();
        }
    }
    target = std::move(result);
}

void lowerText(char* text, std::size_t length)
{
    std::transform(text, text + length, text, [](char ch) { return toLower(ch); });
}

void lowerText(wchar_t* text, std::size_t length)
{
    std::transform(text, text + length, text, [](wchar_t ch) { return toLower(ch); });
}

void upperText(char* text, std::size_t length)
{
    std::transform(text, text + length, text, [](char ch) { return toUpper(ch); });
}

void upperText(wchar_t* text, std::size_t length)
{
    std::transform(text, text + length, text, [](wchar_t ch) { return toUpper(ch); });
}

int compareText(std::wstring_view a, std::wstring_view b) noexcept
{
    if constexpr (c_IsWideUtf16)
    {
        return a.compare(b);
    }
    // Long texts that begin alike are gone through by blocks, short ones are not worth the calls.
    constexpr std::size_t c_Block = 16;
    std::size_t const common = std::min(a.size(), b.size());
    std::size_t same = 0;
    while (common - same > c_Block && std::wmemcmp(a.data() + same, b.data() + same, c_Block) == 0)
    {
        same += c_Block;
    }
    return compareFrom(same, a, b, [](wchar_t ch) { return ch; });
}

int compareTextNoCase(std::string_view a, std::string_view b)
{
    return compareLower(a, b);
}

int compareTextNoCase(std::wstring_view a, std::wstring_view b)
{
    return compareLower(a, b);
}

int collateText(char const* a, char const* b)
{
    return std::strcoll(a, b);
}

int collateText(wchar_t const* a, wchar_t const* b)
{
    return std::wcscoll(a, b);
}
} // namespace detail
