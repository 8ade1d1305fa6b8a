// A locale with a comma for the radix mark.

#ifndef ORVANE_TESTS_SUPPORT_GERMANLOCALE_H
#define ORVANE_TESTS_SUPPORT_GERMANLOCALE_H

#include <clocale>
#include <memory>
#include <type_traits>

#include "platform/platform.h"

struct SFreeLocale
{
    void operator()(_locale_t locale) const
    {
        _free_locale(locale);
    }
};

using Locale = std::unique_ptr<std::remove_pointer_t<_locale_t>, SFreeLocale>;

/// The first name that German goes by here, for both kinds of locales: a language tag, the name on Linux and that of the
/// C runtime of Windows. Null where there is none. Leaves the numbers of the current locale those of "C".
inline char const* findGermanName()
{
    for (char const* const name : {"de-DE", "de_DE.UTF-8", "German"})
    {
        if (Locale(_create_locale(LC_ALL, name)) && std::setlocale(LC_NUMERIC, name) != nullptr)
        {
            std::setlocale(LC_NUMERIC, "C");
            return name;
        }
    }
    return nullptr;
}

inline Locale germanLocale()
{
    char const* const name = findGermanName();
    return Locale(name != nullptr ? _create_locale(LC_ALL, name) : nullptr);
}

/// The build makes the locale where it can (tests/platform); Wine has it or not.
inline constexpr char c_NoGerman[] = "this machine has no German locale";

#endif // ORVANE_TESTS_SUPPORT_GERMANLOCALE_H
