// Text without the white space around it.

#ifndef ORVANE_EXCEPTION_TRIMMEDTEXT_H
#define ORVANE_EXCEPTION_TRIMMEDTEXT_H

#include <cwctype>
#include <string_view>

namespace detail
{
/// The part of `text` between the white space at its two ends, as iswspace tells it; empty where there is nothing else.
inline std::wstring_view trimmedText(std::wstring_view text)
{
    auto const isSpace = [](wchar_t c) { return std::iswspace(static_cast<std::wint_t>(c)) != 0; };
    while (!text.empty() && isSpace(text.front()))
    {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back()))
    {
        text.remove_suffix(1);
    }
    return text;
}
} // namespace detail

#endif // ORVANE_EXCEPTION_TRIMMEDTEXT_H
