#include <cerrno>
#include <cstdint>
#include <cstring>
#include <langinfo.h>
#include <memory>
#include <new>

#include "platform/posix/localeinfo.h"

namespace
{
struct SCategory
{
    int category;
    int mask;
};

constexpr SCategory c_Categories[] = {
    {LC_ALL, LC_ALL_MASK},           {LC_COLLATE, LC_COLLATE_MASK}, {LC_CTYPE, LC_CTYPE_MASK},
    {LC_MONETARY, LC_MONETARY_MASK}, {LC_NUMERIC, LC_NUMERIC_MASK}, {LC_TIME, LC_TIME_MASK},
};

bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

// "de-DE" as "de_DE.UTF-8": two or three letters, a hyphen, two letters. Null for any other name.
locale_t openByTag(int mask, char const* name)
{
    std::string_view const tag = name;
    const std::size_t hyphen = tag.find('-');
    if ((hyphen != 2 && hyphen != 3) || tag.size() != hyphen + 3)
    {
        return nullptr;
    }
    char systemName[] = "xxx_XX.UTF-8";
    char* at = systemName;
    for (const char character : tag)
    {
        if (character != '-' && !isLetter(character))
        {
            return nullptr;
        }
        *at++ = character == '-' ? '_' : character;
    }
    std::strcpy(at, ".UTF-8");
    return newlocale(mask, systemName, nullptr);
}

_locale_t wrap(locale_t handle)
{
    if (handle == nullptr)
    {
        return nullptr;
    }
    const auto locale = new (std::nothrow) localeinfo_struct{handle};
    if (locale == nullptr)
    {
        freelocale(handle);
        errno = ENOMEM;
    }
    return locale;
}

char const* getInformation(nl_item item, _locale_t locale)
{
    return locale != nullptr ? nl_langinfo_l(item, locale->handle) : nl_langinfo(item);
}
} // namespace

_locale_t _create_locale(int category, char const* name) noexcept
{
    const auto known = std::ranges::find(c_Categories, category, &SCategory::category);
    if (known == std::end(c_Categories) || name == nullptr)
    {
        errno = EINVAL;
        return nullptr;
    }
    errno = 0;
    locale_t handle = newlocale(known->mask, name, nullptr);
    if (handle == nullptr && errno != ENOMEM)
    {
        handle = openByTag(known->mask, name);
    }
    if (handle == nullptr && errno != ENOMEM)
    {
        errno = ENOENT; // the C library does not always say so
    }
    return wrap(handle);
}

void _free_locale(_locale_t locale) noexcept
{
    if (locale != nullptr)
    {
        freelocale(locale->handle);
        delete locale;
    }
}

_locale_t _get_current_locale() noexcept
{
    return wrap(duplocale(uselocale(nullptr)));
}

namespace posix
{
template <>
RadixMark<char> getRadixMark<char>(_locale_t locale)
{
    return RadixMark<char>(getInformation(RADIXCHAR, locale));
}

template <>
RadixMark<wchar_t> getRadixMark<wchar_t>(_locale_t locale)
{
    // The C library hands this item's value out in place of a pointer.
    const auto value = reinterpret_cast<std::uintptr_t>(getInformation(_NL_NUMERIC_DECIMAL_POINT_WC, locale));
    const wchar_t character = static_cast<wchar_t>(value);
    return RadixMark<wchar_t>({&character, 1});
}
} // namespace posix
