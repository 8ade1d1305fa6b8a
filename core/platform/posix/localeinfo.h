// What stands behind a _locale_t, and what the calls of this layer read from a locale.

#ifndef ORVANE_PLATFORM_POSIX_LOCALEINFO_H
#define ORVANE_PLATFORM_POSIX_LOCALEINFO_H

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <locale.h>
#include <string_view>

#include "platform/platform.h"

struct localeinfo_struct
{
    locale_t handle; // owned
};

namespace posix
{
/// The mark between the whole and the fractional digits; narrow text may take several bytes for it.
template <class C>
class RadixMark
{
public:
    explicit RadixMark(std::basic_string_view<C> text) : m_length(std::min(text.size(), std::size(m_text)))
    {
        text.copy(m_text, m_length);
    }

    std::basic_string_view<C> GetText() const
    {
        return {m_text, m_length};
    }

private:
    C m_text[4];
    std::size_t m_length;
};

/// The mark of `locale`, or of the calling thread's current one for null.
template <class C>
RadixMark<C> getRadixMark(_locale_t locale);

template <>
RadixMark<char> getRadixMark<char>(_locale_t locale);

template <>
RadixMark<wchar_t> getRadixMark<wchar_t>(_locale_t locale);
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_LOCALEINFO_H
