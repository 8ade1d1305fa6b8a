#include "datepictures.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include <langinfo.h>

namespace posix
{
namespace
{
// The C library knows no long form of a date. Those of common languages, each for all its countries but those before it.
struct LongForm
{
    std::string_view prefix; // of the locale's name
    wchar_t const* picture;
};

constexpr LongForm c_LongForms[] = {
    {"en_US", L"dddd, MMMM d, yyyy"},
    {"en_CA", L"MMMM d, yyyy"},
    {"en", L"dd MMMM yyyy"},
    {"cs", L"dddd d. MMMM yyyy"},
    {"da", L"d. MMMM yyyy"},
    {"de", L"dddd, d. MMMM yyyy"},
    {"es", L"dddd, d 'de' MMMM 'de' yyyy"},
    {"fi", L"dddd d. MMMM yyyy"},
    {"fr", L"dddd d MMMM yyyy"},
    {"hu", L"yyyy. MMMM d., dddd"},
    {"it", L"dddd d MMMM yyyy"},
    {"ja", L"yyyy'年'M'月'd'日'"},
    {"ko", L"yyyy'년' M'월' d'일' dddd"},
    {"nb", L"dddd d. MMMM yyyy"},
    {"nl", L"dddd d MMMM yyyy"},
    {"pl", L"dddd, d MMMM yyyy"},
    {"pt", L"dddd, d 'de' MMMM 'de' yyyy"},
    {"ru", L"d MMMM yyyy 'г.'"},
    {"sv", L"'den 'd MMMM yyyy"},
    {"tr", L"d MMMM yyyy dddd"},
    {"uk", L"d MMMM yyyy 'р.'"},
    {"zh", L"yyyy'年'M'月'd'日'"},
};

// As strftime writes it -> as a picture has it. `isBare` is true after "%-", which asks for no leading zero.
wchar_t const* pictureOf(wchar_t conversion, bool isBare)
{
    switch (conversion)
    {
    case L'd':
        return isBare ? L"d" : L"dd";
    case L'e':
        return L"d";
    case L'm':
        return isBare ? L"M" : L"MM";
    case L'b':
    case L'h':
        return L"MMM";
    case L'B':
        return L"MMMM";
    case L'a':
        return L"ddd";
    case L'A':
        return L"dddd";
    case L'y':
    case L'g':
        return L"yy";
    case L'Y':
    case L'G':
        return L"yyyy";
    case L'D':
        return L"MM/dd/yy";
    case L'F':
        return L"yyyy-MM-dd";
    default:
        return L"";
    }
}

// The locale's text of one item that the C library keeps as wide characters.
wchar_t const* wideItem(nl_item item, locale_t locale)
{
    return reinterpret_cast<wchar_t const*>(nl_langinfo_l(item, locale));
}

nl_item itemAfter(nl_item first, unsigned int count)
{
    return first + static_cast<nl_item>(count);
}

std::string_view nameOf(locale_t locale)
{
    return nl_langinfo_l(NL_LOCALE_NAME(LC_TIME), locale);
}

bool isLikeAmerican(std::string_view name)
{
    return name == "C" || name == "POSIX" || name.starts_with("C.") || name.starts_with("en_US");
}
} // namespace

locale_t userLocale()
{
    // All items that are asked for here belong to this category. One that the system does not know must not matter: remote
    // terminals send LC_CTYPE as their own system writes it.
    static locale_t const s_locale = []
    {
        locale_t const wanted = newlocale(LC_TIME_MASK, "", nullptr);
        return wanted != nullptr ? wanted : newlocale(LC_TIME_MASK, "C", nullptr);
    }();
    return s_locale;
}

std::wstring longPicture(locale_t locale)
{
    std::string_view const name = nameOf(locale);
    if (isLikeAmerican(name))
    {
        return c_LongForms[0].picture;
    }
    auto const known = std::find_if(std::begin(c_LongForms), std::end(c_LongForms),
                                    [name](LongForm const& form)
                                    {
                                        return name.starts_with(form.prefix) &&
                                               (name.size() == form.prefix.size() ||
                                                !std::strchr("abcdefghijklmnopqrstuvwxyz", name[form.prefix.size()]));
                                    });
    if (known != std::end(c_LongForms))
    {
        return known->picture;
    }
    // In the order of the short form.
    std::wstring const brief = shortPicture(locale);
    std::size_t const day = brief.find(L'd');
    std::size_t const month = brief.find(L'M');
    std::size_t const year = brief.find(L'y');
    if (year < month)
    {
        return L"yyyy MMMM d, dddd";
    }
    return month < day ? L"dddd, MMMM d, yyyy" : L"dddd, d MMMM yyyy";
}

std::wstring shortPicture(locale_t locale)
{
    if (isLikeAmerican(nameOf(locale)))
    {
        return L"M/d/yyyy";
    }
    std::wstring picture;
    for (wchar_t const* at = wideItem(_NL_WD_FMT, locale); *at != L'\0'; ++at)
    {
        if (*at == L'%')
        {
            bool isBare = false;
            for (++at; *at == L'-' || *at == L'O' || *at == L'E' || *at == L'_' || *at == L'0'; ++at)
            {
                isBare = isBare || *at == L'-';
            }
            if (*at == L'\0')
            {
                break;
            }
            picture += pictureOf(*at, isBare);
        }
        else if (*at == L'\'')
        {
            picture += L"''''";
        }
        else
        {
            // Quoted: letters of a picture may be meant as text.
            picture.append({L'\'', *at, L'\''});
        }
    }
    return picture;
}

wchar_t const* dayName(locale_t locale, unsigned int day, bool isAbbreviated)
{
    return wideItem(itemAfter(isAbbreviated ? _NL_WABDAY_1 : _NL_WDAY_1, day), locale);
}

wchar_t const* monthName(locale_t locale, unsigned int month, bool isAbbreviated, bool isBesideDay)
{
    if (isAbbreviated)
    {
        return wideItem(itemAfter(isBesideDay ? _NL_WABMON_1 : _NL_WABALTMON_1, month), locale);
    }
    return wideItem(itemAfter(isBesideDay ? _NL_WMON_1 : _NL_WALTMON_1, month), locale);
}

wchar_t const* halfDayMark(locale_t locale, bool isAfternoon)
{
    return wideItem(isAfternoon ? _NL_WPM_STR : _NL_WAM_STR, locale);
}
} // namespace posix
