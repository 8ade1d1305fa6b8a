#include "mfc/cstringt.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>

#include "mfc/catlexception.h"
#include "platform/platform.h"

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

template <class C>
int compareLower(std::basic_string_view<C> a, std::basic_string_view<C> b)
{
    std::size_t const common = std::min(a.size(), b.size());
    for (std::size_t n = 0; n < common; ++n)
    {
        C const left = toLower(a[n]);
        C const right = toLower(b[n]);
        if (left != right)
        {
            return std::char_traits<C>::lt(left, right) ? -1 : 1;
        }
    }
    return (a.size() > b.size()) - (a.size() < b.size());
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
