#include <algorithm>
#include <new>
#include <string>

#include "datepictures.h"
#include "fail.h"
#include "platform/platform.h"
#include "platform_target/civil.h"

using posix::fail;

namespace
{
// At least `digits` digits.
void appendNumber(std::wstring& text, unsigned int number, std::size_t digits)
{
    std::wstring const plain = std::to_wstring(number);
    text.append(plain.size() < digits ? digits - plain.size() : 0, L'0');
    text += plain;
}

// What a picture is made of: a run of equal letters, or text that stands as it is, whose count is 0.
struct Piece
{
    wchar_t letter = 0;
    std::size_t count = 0;
    std::wstring text;
};

class PictureReader
{
public:
    explicit PictureReader(std::wstring_view picture) : m_rest(picture)
    {
    }

    // False at the end.
    bool next(Piece& piece)
    {
        piece = {};
        if (m_rest.empty())
        {
            return false;
        }
        piece.letter = m_rest.front();
        if (piece.letter == L'\'')
        {
            m_rest.remove_prefix(1);
            readQuoted(piece.text);
            return true;
        }
        piece.count = std::min(m_rest.find_first_not_of(piece.letter), m_rest.size());
        piece.text.assign(m_rest.substr(0, piece.count));
        m_rest.remove_prefix(piece.count);
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
    for (Piece piece; reader.next(piece);)
    {
        if (piece.letter == L'd' && (piece.count == 1 || piece.count == 2))
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
    std::wstring result;
    for (Piece piece; reader.next(piece);)
    {
        if (piece.count == 0 ||
            (piece.letter != L'd' && piece.letter != L'M' && piece.letter != L'y' && piece.letter != L'g'))
        {
            result += piece.text;
        }
        else if (piece.letter == L'd' && piece.count <= 2)
        {
            appendNumber(result, date.wDay, piece.count);
        }
        else if (piece.letter == L'd')
        {
            result += posix::dayName(locale, weekDay, piece.count == 3);
        }
        else if (piece.letter == L'M' && piece.count <= 2)
        {
            appendNumber(result, date.wMonth, piece.count);
        }
        else if (piece.letter == L'M')
        {
            result += posix::monthName(locale, date.wMonth - 1u, piece.count == 3, isBesideDay);
        }
        else if (piece.letter == L'y')
        {
            appendNumber(result, piece.count <= 2 ? date.wYear % 100u : date.wYear, piece.count <= 2 ? piece.count : 4);
        }
        // g stands for the era, which this calendar does not name.
    }
    return result;
}

std::wstring renderTime(SYSTEMTIME const& time, std::wstring_view picture, bool isForced24, locale_t locale)
{
    unsigned int const twelve = time.wHour % 12u == 0 ? 12 : time.wHour % 12u;
    PictureReader reader(picture);
    std::wstring result;
    for (Piece piece; reader.next(piece);)
    {
        std::size_t const digits = std::min<std::size_t>(piece.count, 2);
        switch (piece.count == 0 ? L'\0' : piece.letter)
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
            result.append(posix::halfDayMark(locale, time.wHour >= 12), 0, piece.count == 1 ? 1 : std::wstring::npos);
            break;
        default:
            result += piece.text;
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
        std::wstring const form = picture != nullptr ? std::wstring(picture)
                                  : isLong           ? posix::longPicture(user)
                                                     : posix::shortPicture(user);
        return deliver(renderDate(shown, form, user), buffer, size);
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
