// Date-times from text: the fixed form, read as the C runtime scans it, and ISO 8601, read strictly.

#ifndef ORVANE_DATETIME_DATETIMETEXT_H
#define ORVANE_DATETIME_DATETIMETEXT_H

#include <cstddef>
#include <string_view>

#include "orvane/datetime/calendar.h"
#include "orvane/text/numberscan.h"

namespace DateTimeText
{
// ---- the fixed form

/// Whether the marks of the fixed form stand in their places, at the head of a text that ends in a NUL.
template <class C>
bool HasShape(C const* text)
{
    constexpr std::size_t c_Length = 19;
    if (text == nullptr)
    {
        return false;
    }
    for (std::size_t at = 0; at < c_Length; ++at)
    {
        if (text[at] == C('\0'))
        {
            return false;
        }
    }
    return text[4] == C('-') && text[7] == C('-') && text[13] == C(':') && text[16] == C(':') &&
           (text[10] == C(' ') || text[10] == C('T'));
}

/// Reads a number as `%hu` does: blanks, a sign, digits. The number is cut to 16 bits after the sign has been applied;
/// one that 64 bits do not hold is 65535. False, and `text` anywhere, where there are no digits.
template <class C>
bool ScanNumber(C const*& text, WORD& number)
{
    unsigned __int64 value = 0;
    if (NumberScan::ScanUnsigned(text, value) != NumberScan::eNumber)
    {
        return false;
    }
    number = static_cast<WORD>(value);
    return true;
}

/// Scans text of the fixed form into `fields`, which stay as they are where the marks are not in their places; else
/// milliseconds and the day of the week become 0. Whether all six numbers were there; those before the fault are set in
/// any case.
template <class C>
bool Scan(C const* text, SYSTEMTIME& fields)
{
    if (!HasShape(text))
    {
        return false;
    }
    bool const hasBlank = text[10] == C(' ');
    fields.wMilliseconds = 0;
    fields.wDayOfWeek = 0;
    auto const skipMark = [&text](char mark) { return *text == C(mark) && *text++ != C('\0'); };
    auto const skipMiddle = [&]
    {
        if (!hasBlank)
        {
            return skipMark('T');
        }
        text = NumberScan::SkipBlanks(text); // a blank in a scan format stands for any number of them, none included
        return true;
    };
    return ScanNumber(text, fields.wYear) && skipMark('-') && ScanNumber(text, fields.wMonth) && skipMark('-') &&
           ScanNumber(text, fields.wDay) && skipMiddle() && ScanNumber(text, fields.wHour) && skipMark(':') &&
           ScanNumber(text, fields.wMinute) && skipMark(':') && ScanNumber(text, fields.wSecond);
}

// ---- ISO 8601

/// What a strictly read text says.
struct SMoment
{
    SYSTEMTIME fields;   // in their ranges
    int offsetInMinutes; // east of UTC
};

/// Reads from the head of a text.
template <class C>
class CStrictReader
{
public:
    explicit CStrictReader(std::basic_string_view<C> text) : m_text(text)
    {
    }

    /// The whole text. False where it is not of the form, or says what the calendar or the clock does not have.
    bool Read(SMoment& moment)
    {
        SYSTEMTIME& fields = moment.fields;
        fields = {};
        moment.offsetInMinutes = 0;
        return readNumber(4, fields.wYear) && skip('-') && readNumber(2, fields.wMonth) && skip('-') &&
               readNumber(2, fields.wDay) && (skip('T') || skip('t') || skip(' ')) && readNumber(2, fields.wHour) &&
               skip(':') && readNumber(2, fields.wMinute) && skip(':') && readNumber(2, fields.wSecond) &&
               readFraction(fields.wMilliseconds) && readZone(moment.offsetInMinutes) && m_text.empty() &&
               Calendar::IsDate(fields) && Calendar::IsTimeOfDay(fields);
    }

private:
    bool skip(char mark)
    {
        if (m_text.empty() || m_text.front() != C(mark))
        {
            return false;
        }
        m_text.remove_prefix(1);
        return true;
    }

    bool hasDigit() const
    {
        return !m_text.empty() && m_text.front() >= C('0') && m_text.front() <= C('9');
    }

    unsigned int takeDigit()
    {
        unsigned int const digit = static_cast<unsigned int>(m_text.front() - C('0'));
        m_text.remove_prefix(1);
        return digit;
    }

    bool readNumber(int digits, WORD& number)
    {
        unsigned int value = 0;
        for (int n = 0; n < digits; ++n)
        {
            if (!hasDigit())
            {
                return false;
            }
            value = value * 10 + takeDigit();
        }
        number = static_cast<WORD>(value);
        return true;
    }

    bool readFraction(WORD& milliseconds)
    {
        if (!skip('.') && !skip(','))
        {
            return true;
        }
        if (!hasDigit())
        {
            return false;
        }
        unsigned int value = 0;
        for (unsigned int weight = 100; hasDigit(); weight /= 10)
        {
            value += takeDigit() * weight;
        }
        milliseconds = static_cast<WORD>(value);
        return true;
    }

    bool readZone(int& minutes)
    {
        if (m_text.empty() || skip('Z') || skip('z'))
        {
            return true;
        }
        bool const isWest = skip('-');
        if (!isWest && !skip('+'))
        {
            return false;
        }
        WORD hour = 0;
        WORD minute = 0;
        if (!readNumber(2, hour) || hour > 23)
        {
            return false;
        }
        if (!m_text.empty())
        {
            skip(':');
            if (!readNumber(2, minute) || minute > 59)
            {
                return false;
            }
        }
        minutes = hour * 60 + minute;
        minutes = isWest ? -minutes : minutes;
        return true;
    }

    std::basic_string_view<C> m_text;
};
} // namespace DateTimeText

#endif // ORVANE_DATETIME_DATETIMETEXT_H
