#include <algorithm>
#include <new>
#include <string>

#include "civil.h"
#include "datepictures.h"
#include "platform/platform.h"

namespace
{
int fail(DWORD error) noexcept
{
    SetLastError(error);
    return 0;
}

// At least `digits` digits.
void appendNumber(std::wstring& text, unsigned int number, std::size_t digits)
{
    std::wstring const plain = std::to_wstring(number);
    text.append(plain.size() < digits ? digits - plain.size() : 0, L'0');
    text += plain;
}

// One run of equal letters, or what stands between quotes.
class PictureReader
{
public:
    explicit PictureReader(std::wstring_view picture) : m_rest(picture)
    {
    }

    // False at the end. `count` is 0 for text that stands as it is.
    bool next(wchar_t& letter, std::size_t& count, std::wstring& text)
    {
        text.clear();
        count = 0;
        if (m_rest.empty())
        {
            return false;
        }
        letter = m_rest.front();
        if (letter == L'\'')
        {
            m_rest.remove_prefix(1);
            readQuoted(text);
            return true;
        }
        count = std::min(m_rest.find_first_not_of(letter), m_rest.size());
        text.assign(m_rest.substr(0, count));
        m_rest.remove_prefix(count);
        return true;
    }

private:
    // Two quotes stand for one.
    void readQuoted(std::wstring& text)
    {
        while (!m_rest.empty())
        {
            wchar_t const character = m_rest.front();
            m_rest.remove_prefix(1);
            if (character == L'\'')
            {
                if (m_rest.empty() || m_rest.front() != L'\'')
                {
                    return;
                }
                m_rest.remove_prefix(1);
            }
            text += character;
        }
    }

    std::wstring_view m_rest;
};

bool hasDayNumber(std::wstring_view picture)
{
    PictureReader reader(picture);
    wchar_t letter = 0;
    std::size_t count = 0;
    std::wstring text;
    while (reader.next(letter, count, text))
    {
        if (letter == L'd' && (count == 1 || count == 2))
        {
            return true;
        }
    }
    return false;
}

std::wstring renderDate(SYSTEMTIME const& date, std::wstring_view picture, locale_t locale)
{
    bool const isBesideDay = hasDayNumber(picture);
    unsigned int const weekDay = (posix::daysFromDate(date.wYear, date.wMonth, date.wDay) + 1) % 7;
    PictureReader reader(picture);
    wchar_t letter = 0;
    std::size_t count = 0;
    std::wstring text;
    std::wstring result;
    while (reader.next(letter, count, text))
    {
        if (count == 0 || (letter != L'd' && letter != L'M' && letter != L'y' && letter != L'g'))
        {
            result += text;
        }
        else if (letter == L'd' && count <= 2)
        {
            appendNumber(result, date.wDay, count);
        }
        else if (letter == L'd')
        {
            result += posix::dayName(locale, weekDay, count == 3);
        }
        else if (letter == L'M' && count <= 2)
        {
            appendNumber(result, date.wMonth, count);
        }
        else if (letter == L'M')
        {
            result += posix::monthName(locale, date.wMonth - 1u, count == 3, isBesideDay);
        }
        else if (letter == L'y')
        {
            appendNumber(result, count <= 2 ? date.wYear % 100u : date.wYear, count <= 2 ? count : 4);
        }
        // g stands for the era, which this calendar does not name.
    }
    return result;
}

std::wstring renderTime(SYSTEMTIME const& time, std::wstring_view picture, bool isForced24, locale_t locale)
{
    unsigned int const twelve = time.wHour % 12u == 0 ? 12 : time.wHour % 12u;
    PictureReader reader(picture);
    wchar_t letter = 0;
    std::size_t count = 0;
    std::wstring text;
    std::wstring result;
    while (reader.next(letter, count, text))
    {
        std::size_t const digits = std::min<std::size_t>(count, 2);
        switch (count == 0 ? L'\0' : letter)
        {
        case L'h':
            appendNumber(result, isForced24 ? time.wHour : twelve, digits);
            break;
        case L'H':
            appendNumber(result, time.wHour, digits);
            break;
        case L'm':
            appendNumber(result, time.wMinute, digits);
            break;
        case L's':
            appendNumber(result, time.wSecond, digits);
            break;
        case L't':
            result.append(posix::halfDayMark(locale, time.wHour >= 12), 0, count == 1 ? 1 : std::wstring::npos);
            break;
        default:
            result += text;
        }
    }
    return result;
}

int deliver(std::wstring const& text, LPWSTR buffer, int size) noexcept
{
    int const needed = static_cast<int>(text.size()) + 1;
    if (size == 0)
    {
        return needed;
    }
    if (size < needed)
    {
        return fail(ERROR_INSUFFICIENT_BUFFER);
    }
    text.copy(buffer, text.size());
    buffer[text.size()] = L'\0';
    return needed;
}

bool areArgumentsGood(LCID locale, LPCWSTR buffer, int size) noexcept
{
    return (locale == LOCALE_USER_DEFAULT || locale == LOCALE_SYSTEM_DEFAULT) && size >= 0 &&
           (size == 0 || buffer != nullptr);
}

SYSTEMTIME localNow() noexcept
{
    SYSTEMTIME now;
    GetSystemTime(&now);
    SystemTimeToTzSpecificLocalTime(nullptr, &now, &now);
    return now;
}
} // namespace

int GetDateFormatW(LCID locale, DWORD flags, SYSTEMTIME const* date, LPCWSTR picture, LPWSTR buffer, int size) noexcept
{
    bool const isLong = flags == DATE_LONGDATE;
    if ((flags != 0 && !isLong && flags != DATE_SHORTDATE) || (flags != 0 && picture != nullptr))
    {
        return fail(ERROR_INVALID_FLAGS);
    }
    SYSTEMTIME const shown = date != nullptr ? *date : localNow();
    if (!areArgumentsGood(locale, buffer, size) || !posix::isDate(shown))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    try
    {
        locale_t const user = posix::userLocale();
        if (picture != nullptr)
        {
            return deliver(renderDate(shown, picture, user), buffer, size);
        }
        return deliver(renderDate(shown, isLong ? posix::longPicture(user) : posix::shortPicture(user), user), buffer,
                       size);
    }
    catch (std::bad_alloc const&)
    {
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

int GetTimeFormatW(LCID locale, DWORD flags, SYSTEMTIME const* time, LPCWSTR picture, LPWSTR buffer, int size) noexcept
{
    if (flags != 0 && flags != TIME_FORCE24HOURFORMAT)
    {
        return fail(ERROR_INVALID_FLAGS);
    }
    SYSTEMTIME const shown = time != nullptr ? *time : localNow();
    if (!areArgumentsGood(locale, buffer, size) || !posix::isTimeOfDay(shown))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    if (picture == nullptr)
    {
        return fail(ERROR_NOT_SUPPORTED);
    }
    try
    {
        return deliver(renderTime(shown, picture, flags == TIME_FORCE24HOURFORMAT, posix::userLocale()), buffer, size);
    }
    catch (std::bad_alloc const&)
    {
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}
