#include <algorithm>

#include "platform_target/civil.h"
#include "timezone.h"

namespace posix
{
namespace
{
constexpr int c_Hour = 3600;
constexpr int c_DefaultTime = 2 * c_Hour;

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

// The first second of a year, since 1970; any year from 1601 on.
__int64 startOfYear(int year)
{
    return daysFromDate(static_cast<unsigned int>(year), 1, 1) * c_SecondsADay - c_SecondsToEpoch;
}
} // namespace

// Reads from the head of a text; each step leaves the text behind what it has read, or says that it cannot.
class ZoneRule::Parser
{
public:
    explicit Parser(std::string_view text) : m_text(text)
    {
    }

    bool isAtEnd() const
    {
        return m_text.empty();
    }

    bool skip(char character)
    {
        if (m_text.empty() || m_text.front() != character)
        {
            return false;
        }
        m_text.remove_prefix(1);
        return true;
    }

    // Three letters or more, or anything in angle brackets.
    bool skipName()
    {
        if (skip('<'))
        {
            std::size_t const end = m_text.find('>');
            if (end == std::string_view::npos)
            {
                return false;
            }
            m_text.remove_prefix(end + 1);
            return true;
        }
        std::size_t const length =
            static_cast<std::size_t>(std::find_if_not(m_text.begin(), m_text.end(), isLetter) - m_text.begin());
        m_text.remove_prefix(length);
        return length >= 3;
    }

    bool readNumber(int& number, int least, int most)
    {
        if (m_text.empty() || !isDigit(m_text.front()))
        {
            return false;
        }
        number = 0;
        while (!m_text.empty() && isDigit(m_text.front()) && number <= most)
        {
            number = number * 10 + (m_text.front() - '0');
            m_text.remove_prefix(1);
        }
        return number >= least && number <= most;
    }

    // [+-]hours[:minutes[:seconds]]
    bool readTime(int& seconds, int mostHours)
    {
        bool const isNegative = skip('-');
        if (!isNegative)
        {
            skip('+');
        }
        int hours = 0;
        int minutes = 0;
        int rest = 0;
        if (!readNumber(hours, 0, mostHours) || (skip(':') && !readNumber(minutes, 0, 59)) ||
            (skip(':') && !readNumber(rest, 0, 59)))
        {
            return false;
        }
        seconds = hours * c_Hour + minutes * 60 + rest;
        seconds = isNegative ? -seconds : seconds;
        return true;
    }

    bool readMoment(Moment& moment)
    {
        if (!readDay(moment))
        {
            return false;
        }
        moment.seconds = c_DefaultTime;
        return !skip('/') || readTime(moment.seconds, 167);
    }

private:
    bool readDay(Moment& moment)
    {
        if (skip('M'))
        {
            moment.kind = DayKind::WeekDay;
            return readNumber(moment.month, 1, 12) && skip('.') && readNumber(moment.week, 1, 5) && skip('.') &&
                   readNumber(moment.day, 0, 6);
        }
        if (skip('J'))
        {
            moment.kind = DayKind::Julian;
            return readNumber(moment.day, 1, 365);
        }
        moment.kind = DayKind::DayOfYear;
        return readNumber(moment.day, 0, 365);
    }

    std::string_view m_text;
};

std::optional<ZoneRule> ZoneRule::parse(std::string_view text)
{
    Parser parser(text);
    ZoneRule rule;
    int west = 0;
    if (!parser.skipName() || !parser.readTime(west, 24))
    {
        return std::nullopt;
    }
    rule.m_standardOffset = -west;
    if (parser.isAtEnd())
    {
        return rule;
    }
    rule.m_hasDaylightSaving = true;
    rule.m_daylightOffset = rule.m_standardOffset + c_Hour;
    if (!parser.skipName())
    {
        return std::nullopt;
    }
    if (!parser.isAtEnd() && !parser.skip(','))
    {
        if (!parser.readTime(west, 24))
        {
            return std::nullopt;
        }
        rule.m_daylightOffset = -west;
        if (!parser.isAtEnd() && !parser.skip(','))
        {
            return std::nullopt;
        }
    }
    if (parser.isAtEnd())
    {
        return rule; // by the rule of the United States, as the C library has it
    }
    if (!parser.readMoment(rule.m_toDaylight) || !parser.skip(',') || !parser.readMoment(rule.m_toStandard) ||
        !parser.isAtEnd())
    {
        return std::nullopt;
    }
    return rule;
}

void ZoneRule::addChanges(int year, std::vector<OffsetChange>& changes) const
{
    OffsetChange const toDaylight = {secondsOf(m_toDaylight, year) - m_standardOffset, m_daylightOffset};
    OffsetChange const toStandard = {secondsOf(m_toStandard, year) - m_daylightOffset, m_standardOffset};
    bool const isDaylightFirst = toDaylight.start <= toStandard.start;
    changes.push_back(isDaylightFirst ? toDaylight : toStandard);
    changes.push_back(isDaylightFirst ? toStandard : toDaylight);
}

// By the clock that is in force before the moment, as if it showed UTC.
__int64 ZoneRule::secondsOf(Moment const& moment, int year)
{
    unsigned int const ofYear = static_cast<unsigned int>(year);
    __int64 days = 0; // of the year
    switch (moment.kind)
    {
    case DayKind::Julian:
        days = moment.day - 1 + (isLeapYear(ofYear) && moment.day >= 60 ? 1 : 0);
        break;
    case DayKind::DayOfYear:
        days = moment.day;
        break;
    case DayKind::WeekDay:
    {
        unsigned int const month = static_cast<unsigned int>(moment.month);
        unsigned int const first = daysFromDate(ofYear, month, 1);
        int const weekDay = static_cast<int>((first + 1) % 7); // 1601 began on a Monday
        int day = (moment.day - weekDay + 7) % 7 + 7 * (moment.week - 1);
        if (day >= static_cast<int>(daysInMonth(ofYear, month)))
        {
            day -= 7; // the fifth is the last
        }
        days = static_cast<__int64>(first) - daysFromDate(ofYear, 1, 1) + day;
        break;
    }
    }
    return startOfYear(year) + days * c_SecondsADay + moment.seconds;
}
} // namespace posix
