// What a locale says about dates: names, and the pictures of its date forms.

#ifndef ORVANE_PLATFORM_POSIX_DATEPICTURES_H
#define ORVANE_PLATFORM_POSIX_DATEPICTURES_H

#include <string>

#include <locale.h>

namespace posix
{
/// The locale that the environment asks for (LC_ALL, LC_TIME, LANG), taken when it is first needed; "C" where there is no
/// such one. Of its categories only LC_TIME is the user's. Never freed.
locale_t userLocale();

/// A locale's picture of a date, in the letters of GetDateFormatW. "C" and "POSIX" write as American English does.
std::wstring longPicture(locale_t locale);
std::wstring shortPicture(locale_t locale);

/// Names: days from 0 (Sunday), months from 0. A month that stands beside a day may have another form.
wchar_t const* dayName(locale_t locale, unsigned int day, bool isAbbreviated);
wchar_t const* monthName(locale_t locale, unsigned int month, bool isAbbreviated, bool isBesideDay);

/// "AM" or "PM"; empty where the locale has none.
wchar_t const* halfDayMark(locale_t locale, bool isAfternoon);
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_DATEPICTURES_H
