#include "orvane/datetime/cbdatetime.h"

#include "orvane/datetime/calendar.h"
#include "orvane/datetime/dateerrortext.h"
#include "orvane/datetime/datetimetext.h"
#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/exception/raisesite.h"
#include "orvane/stream/cbstreamreadbinary.h"
#include "orvane/stream/cbstreamwritebinary.h"
#include "orvane/text/textbuffer.h"

namespace
{
CB_RAISING_FILE("cbdatetime");

constexpr unsigned int c_Version = 0;
constexpr unsigned __int64 c_TicksAMillisecond = 10'000;
constexpr unsigned __int64 c_MillisecondsTo1970 = 1'000ull * Calendar::c_SecondsTo1970;
constexpr unsigned __int64 c_TicksAMinute = 600'000'000;
constexpr unsigned __int64 c_LastTick = 0x7FFFFFFFFFFFFFFF;

constexpr int c_DateBuffer = 1'024; // characters, as those of the time of day with the final null
constexpr int c_TimeBuffer = 9;

unsigned __int64 join(FILETIME const& time)
{
    return static_cast<unsigned __int64>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

FILETIME split(unsigned __int64 ticks)
{
    FILETIME time;
    time.dwLowDateTime = static_cast<DWORD>(ticks);
    time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return time;
}

// Whether the platform's conversions take the fields. Asked here too: not every system looks at the days of the month.
bool isTime(SYSTEMTIME const& fields)
{
    return Calendar::IsDate(fields) && Calendar::IsTimeOfDay(fields);
}

FILETIME fileTimeOf(SYSTEMTIME const& fields)
{
    FILETIME time;
    if (!isTime(fields) || !SystemTimeToFileTime(&fields, &time))
    {
        return split(0);
    }
    return time;
}

bool areEqual(SYSTEMTIME const& a, SYSTEMTIME const& b)
{
    return a.wYear == b.wYear && a.wMonth == b.wMonth && a.wDay == b.wDay && a.wHour == b.wHour &&
           a.wMinute == b.wMinute && a.wSecond == b.wSecond && a.wMilliseconds == b.wMilliseconds;
}

WORD cut(unsigned int value)
{
    return static_cast<WORD>(value);
}

// ---- file times

bool readFileTime(wchar_t const* path, FILETIME* creation, FILETIME* modification)
{
    HANDLE const file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
    {
        return false;
    }
    bool const isRead = GetFileTime(file, creation, nullptr, modification) != FALSE;
    CloseHandle(file);
    return isRead;
}

// ---- names and fixed forms

// A date as the user's locale writes it; empty, with the last error, where the fields are no date.
CStringW dateText(SYSTEMTIME const& fields, DWORD flags, wchar_t const* picture)
{
    if (!Calendar::IsDate(fields))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return CStringW();
    }
    // Only the date: a time of day out of range does not make a date wrong.
    SYSTEMTIME date = {};
    date.wYear = fields.wYear;
    date.wMonth = fields.wMonth;
    date.wDay = fields.wDay;
    wchar_t text[c_DateBuffer];
    int const size = GetDateFormatW(LOCALE_USER_DEFAULT, flags, &date, picture, text, c_DateBuffer);
    return size > 0 ? CStringW(text, size - 1) : CStringW();
}

CStringW timeText(SYSTEMTIME const& fields)
{
    if (!Calendar::IsTimeOfDay(fields))
    {
        return CStringW();
    }
    SYSTEMTIME time = fields;
    time.wYear = 1601; // any day will do
    time.wMonth = 1;
    time.wDay = 1;
    wchar_t text[c_TimeBuffer];
    int const size =
        GetTimeFormatW(LOCALE_USER_DEFAULT, TIME_FORCE24HOURFORMAT, &time, L"hh:mm:ss", text, c_TimeBuffer);
    return size > 0 ? CStringW(text, size - 1) : CStringW();
}

CStringW nameText(SYSTEMTIME const& fields, wchar_t const* picture)
{
    CStringW const name = dateText(fields, 0, picture);
    return name.IsEmpty() ? CStringW(DateErrorText::Get(GetLastError())) : name;
}

CStringW weekdayStart(SYSTEMTIME const& fields)
{
    constexpr int c_Length = 3;
    CStringW const name = dateText(fields, 0, L"dddd");
    return name.IsEmpty() ? CStringW(DateErrorText::Get(GetLastError())) : name.Left(c_Length);
}

// ---- rendering

// Most texts never leave it.
using CTextBuffer = detail::CTextBuffer<128>;

// Renders one token; false for a character that is none.
bool renderNumber(CTextBuffer& text, char token, SYSTEMTIME const& fields)
{
    switch (token)
    {
    case 'd':
        text.AddNumber(fields.wDay, 2);
        return true;
    case 'j':
        text.AddNumber(fields.wDay, 1);
        return true;
    case 'm':
        text.AddNumber(fields.wMonth, 2);
        return true;
    case 'n':
        text.AddNumber(fields.wMonth, 1);
        return true;
    case 'Y':
        text.AddNumber(fields.wYear, 4);
        return true;
    case 'y':
        text.AddNumber(fields.wYear % 100u, 2);
        return true;
    case 'G':
        text.AddNumber(fields.wHour, 1);
        return true;
    case 'H':
        text.AddNumber(fields.wHour, 2);
        return true;
    // Noon and midnight print as 0: the token is hour modulo 12 by contract, and hour 12 is still am.
    case 'g':
        text.AddNumber(fields.wHour % 12u, 1);
        return true;
    case 'h':
        text.AddNumber(fields.wHour % 12u, 2);
        return true;
    case 'i':
        text.AddNumber(fields.wMinute, 2);
        return true;
    case 's':
        text.AddNumber(fields.wSecond, 2);
        return true;
    case 'v':
        text.AddNumber(fields.wMilliseconds % 1000u, 3);
        return true;
    default:
        return false;
    }
}

bool renderWord(CTextBuffer& text, char token, SYSTEMTIME const& fields)
{
    switch (token)
    {
    case 'D':
        text.Add(CStringA(weekdayStart(fields)).GetString());
        return true;
    case 'l':
        text.Add(CStringA(nameText(fields, L"dddd")).GetString());
        return true;
    case 'F':
        text.Add(CStringA(nameText(fields, L"MMMM")).GetString());
        return true;
    case 'M':
        text.Add(CStringA(nameText(fields, L"MMM")).GetString());
        return true;
    case 'a':
        text.Add(fields.wHour <= 12 ? "am" : "pm");
        return true;
    case 'A':
        text.Add(fields.wHour <= 12 ? "AM" : "PM");
        return true;
    default:
        return false;
    }
}
} // namespace

IDateTime::~IDateTime() = default;

constinit CbDateTime const CbDateTime::c_Invalid(CbDateTime::SConstant{{1601, 1, 1, 1, 0, 0, 0, 0}});

CbDateTime::CbDateTime()
{
    GetSystemTime(&m_fields);
}

CbDateTime::CbDateTime(FILETIME const& time) : CbDateTime(join(time))
{
}

CbDateTime::CbDateTime(unsigned __int64 ticks) : m_fields()
{
    assignTicks(ticks);
}

CbDateTime::CbDateTime(SYSTEMTIME const& time) : m_fields(time)
{
}

CbDateTime::CbDateTime(CbDateTime const& other) : IDateTime(other), m_fields(other.m_fields)
{
}

CbDateTime::CbDateTime(IDateTime const& other) : m_fields()
{
    CbDateTime::operator=(other);
}

CbDateTime::CbDateTime(CTime const& time) : m_fields()
{
    *this = time;
}

CbDateTime::CbDateTime(__int64 const& seconds) : m_fields(Calendar::GetFields(seconds))
{
}

CbDateTime::CbDateTime(unsigned int year, unsigned int month, unsigned int day, unsigned int hour, unsigned int minute,
                       unsigned int second, unsigned int millisecond)
    : m_fields{cut(year), cut(month), 0, cut(day), cut(hour), cut(minute), cut(second), cut(millisecond)}
{
}

CbDateTime::CbDateTime(char const* text) : CbDateTime(text, false)
{
}

CbDateTime::CbDateTime(wchar_t const* text) : CbDateTime(text, false)
{
}

CbDateTime::CbDateTime(char const* text, bool local) : m_fields()
{
    if (!DateTimeText::Scan(text, m_fields))
    {
        throw CbExceptionConversion(CB_SITE("CbDateTime::CbDateTime"));
    }
    if (local)
    {
        convertToUniversal();
    }
}

CbDateTime::CbDateTime(wchar_t const* text, bool local) : m_fields()
{
    if (!DateTimeText::Scan(text, m_fields))
    {
        throw CbExceptionConversion(CB_SITE("CbDateTime::CbDateTime"));
    }
    if (local)
    {
        convertToUniversal();
    }
}

CbDateTime::CbDateTime(SMilliseconds milliseconds)
{
    __int64 seconds = milliseconds.count / 1'000;
    __int64 rest = milliseconds.count % 1'000;
    if (rest < 0)
    {
        rest += 1'000;
        --seconds;
    }
    m_fields = Calendar::GetFields(seconds);
    m_fields.wMilliseconds = static_cast<WORD>(rest);
}

CbDateTime::~CbDateTime() = default;

CbDateTime& CbDateTime::operator=(FILETIME const& time)
{
    return assignTicks(join(time));
}

CbDateTime& CbDateTime::operator=(SYSTEMTIME const& time)
{
    m_fields = time;
    return *this;
}

CbDateTime& CbDateTime::operator=(CbDateTime const& other)
{
    m_fields = other.m_fields;
    return *this;
}

CbDateTime& CbDateTime::operator=(CTime const& time)
{
    WORD const dayOfWeek = m_fields.wDayOfWeek;
    m_fields = Calendar::GetFields(time.GetTime());
    m_fields.wDayOfWeek = dayOfWeek;
    return *this;
}

CbDateTime& CbDateTime::operator=(__int64 const& seconds)
{
    m_fields = Calendar::GetFields(seconds);
    return *this;
}

CbDateTime& CbDateTime::operator=(unsigned __int64 ticks)
{
    return assignTicks(ticks);
}

CbDateTime& CbDateTime::operator=(IDateTime const& other)
{
    m_fields.wYear = cut(other.GetYear());
    m_fields.wMonth = cut(other.GetMonth());
    m_fields.wDay = cut(other.GetDay());
    m_fields.wHour = cut(other.GetHour());
    m_fields.wMinute = cut(other.GetMinute());
    m_fields.wSecond = cut(other.GetSecond());
    m_fields.wMilliseconds = cut(other.GetMillisecond());
    return *this;
}

CbDateTime& CbDateTime::operator=(char const* text)
{
    if (!DateTimeText::Scan(text, m_fields))
    {
        throw CbExceptionConversion(CB_SITE("CbDateTime::operator ="));
    }
    return *this;
}

CbDateTime& CbDateTime::operator=(wchar_t const* text)
{
    if (!DateTimeText::Scan(text, m_fields))
    {
        throw CbExceptionConversion(CB_SITE("CbDateTime::operator ="));
    }
    return *this;
}

CbDateTime::operator FILETIME() const
{
    return fileTimeOf(m_fields);
}

CbDateTime::operator unsigned __int64() const
{
    return join(fileTimeOf(m_fields));
}

CbDateTime::operator SYSTEMTIME() const
{
    return m_fields;
}

CbDateTime::operator CTime() const
{
    return CTime(m_fields.wYear, m_fields.wMonth, m_fields.wDay, m_fields.wHour, m_fields.wMinute, m_fields.wSecond,
                 -1); // daylight saving time as the zone has it
}

std::chrono::sys_time<std::chrono::milliseconds> CbDateTime::GetSysTime() const
{
    unsigned __int64 const milliseconds = join(fileTimeOf(m_fields)) / c_TicksAMillisecond;
    return std::chrono::sys_time<std::chrono::milliseconds>(
        std::chrono::milliseconds(static_cast<__int64>(milliseconds - c_MillisecondsTo1970)));
}

unsigned int CbDateTime::GetYear() const
{
    return m_fields.wYear;
}

unsigned int CbDateTime::GetMonth() const
{
    return m_fields.wMonth;
}

unsigned int CbDateTime::GetDay() const
{
    return m_fields.wDay;
}

unsigned int CbDateTime::GetHour() const
{
    return m_fields.wHour;
}

unsigned int CbDateTime::GetMinute() const
{
    return m_fields.wMinute;
}

unsigned int CbDateTime::GetSecond() const
{
    return m_fields.wSecond;
}

unsigned int CbDateTime::GetMillisecond() const
{
    return m_fields.wMilliseconds;
}

void CbDateTime::SetYear(unsigned int year)
{
    m_fields.wYear = cut(year);
}

void CbDateTime::SetMonth(unsigned int month)
{
    m_fields.wMonth = cut(month);
}

void CbDateTime::SetDay(unsigned int day)
{
    m_fields.wDay = cut(day);
}

void CbDateTime::SetHour(unsigned int hour)
{
    m_fields.wHour = cut(hour);
}

void CbDateTime::SetMinute(unsigned int minute)
{
    m_fields.wMinute = cut(minute);
}

void CbDateTime::SetSecond(unsigned int second)
{
    m_fields.wSecond = cut(second);
}

void CbDateTime::SetMillisecond(unsigned int millisecond)
{
    m_fields.wMilliseconds = cut(millisecond);
}

CbDateTime CbDateTime::Now()
{
    return CbDateTime();
}

CbDateTime& CbDateTime::SetNow()
{
    GetSystemTime(&m_fields);
    return *this;
}

CbDateTime& CbDateTime::Invalidate()
{
    return *this = c_Invalid;
}

bool CbDateTime::IsInvalid() const
{
    return areEqual(m_fields, c_Invalid.m_fields);
}

bool CbDateTime::IsValid() const
{
    return !IsInvalid();
}

bool CbDateTime::IsLeapYear(unsigned int year)
{
    return Calendar::IsLeapYear(year);
}

bool CbDateTime::IsLeapYear(bool local) const
{
    return Calendar::IsLeapYear(getFields(local).wYear);
}

bool CbDateTime::ReadFileCreationTime(wchar_t const* path)
{
    FILETIME time;
    if (!readFileTime(path, &time, nullptr))
    {
        return false;
    }
    assignTicks(join(time));
    return true;
}

bool CbDateTime::ReadFileModificationTime(wchar_t const* path)
{
    FILETIME time;
    if (!readFileTime(path, nullptr, &time))
    {
        return false;
    }
    assignTicks(join(time));
    return true;
}

bool CbDateTime::operator==(CbDateTime const& other) const
{
    return areEqual(m_fields, other.m_fields);
}

bool CbDateTime::operator!=(CbDateTime const& other) const
{
    return !areEqual(m_fields, other.m_fields);
}

bool CbDateTime::operator<(CbDateTime const& other) const
{
    return join(fileTimeOf(m_fields)) < join(fileTimeOf(other.m_fields));
}

bool CbDateTime::operator<=(CbDateTime const& other) const
{
    return !(other < *this);
}

bool CbDateTime::operator>(CbDateTime const& other) const
{
    return other < *this;
}

bool CbDateTime::operator>=(CbDateTime const& other) const
{
    return !(*this < other);
}

// A sum that leaves the range of ticks, in either direction, wraps to a number that is no time.
CbDateTime& CbDateTime::operator+=(ITimeInterval const& interval)
{
    auto const milliseconds = static_cast<unsigned __int64>(interval.GetMilliseconds());
    return assignTicks(join(fileTimeOf(m_fields)) + milliseconds * c_TicksAMillisecond);
}

CbDateTime& CbDateTime::operator-=(ITimeInterval const& interval)
{
    auto const milliseconds = static_cast<unsigned __int64>(interval.GetMilliseconds());
    return assignTicks(join(fileTimeOf(m_fields)) - milliseconds * c_TicksAMillisecond);
}

CStringA CbDateTime::ToString(char const* format, bool local) const
{
    CTextBuffer text;
    if (format == nullptr || *format == '\0')
    {
        return text.Take();
    }
    SYSTEMTIME const fields = getFields(local);
    for (; *format != '\0'; ++format)
    {
        if (*format == '\\')
        {
            ++format;
            if (*format == '\0')
            {
                break;
            }
            text.Add(*format);
        }
        else if (*format == 't')
        {
            if (fields.wMonth < 1 || fields.wMonth > 12)
            {
                throw CbExceptionConversion(CB_SITE("CbDateTime::ToString"));
            }
            text.AddNumber(Calendar::GetDaysInMonth(fields.wYear, fields.wMonth), 2);
        }
        else if (!renderNumber(text, *format, fields) && !renderWord(text, *format, fields))
        {
            text.Add(*format);
        }
    }
    return text.Take();
}

CStringW CbDateTime::ToString(wchar_t const* format, bool local) const
{
    return CStringW(ToString(CStringA(format).GetString(), local));
}

CStringW CbDateTime::ToString(EFormat form, bool local) const
{
    switch (form)
    {
    case eLongDateTime:
    {
        // The date is that of the stored fields, also beside a local time of day.
        CStringW text;
        text.Format(L"%s %s", dateText(m_fields, DATE_LONGDATE, nullptr).GetString(),
                    timeText(getFields(local)).GetString());
        return text;
    }
    case eLongDate:
        return dateText(m_fields, DATE_LONGDATE, nullptr);
    case eShortDate:
        return dateText(m_fields, DATE_SHORTDATE, nullptr);
    default:
        return CStringW();
    }
}

bool CbDateTime::HasValidFormat(char const* text)
{
    SYSTEMTIME fields;
    return DateTimeText::Scan(text, fields);
}

bool CbDateTime::HasValidFormat(wchar_t const* text)
{
    SYSTEMTIME fields;
    return DateTimeText::Scan(text, fields);
}

namespace
{
// The moment in UTC ticks; false where it lies before 1601.
bool ticksOf(DateTimeText::SMoment const& moment, unsigned __int64& ticks)
{
    unsigned __int64 const local = join(fileTimeOf(moment.fields));
    ticks = local - static_cast<unsigned __int64>(moment.offsetInMinutes) * c_TicksAMinute;
    return ticks <= c_LastTick;
}

template <class C>
std::optional<CbDateTime> tryParse(std::basic_string_view<C> text)
{
    DateTimeText::SMoment moment;
    unsigned __int64 ticks = 0;
    if (!DateTimeText::CStrictReader<C>(text).Read(moment) || !ticksOf(moment, ticks))
    {
        return std::nullopt;
    }
    return CbDateTime(ticks);
}
} // namespace

std::optional<CbDateTime> CbDateTime::TryParse(std::string_view text)
{
    return tryParse(text);
}

std::optional<CbDateTime> CbDateTime::TryParse(std::wstring_view text)
{
    return tryParse(text);
}

void CbDateTime::Serialize(CbStreamWriteBinary& stream) const
{
    stream.WriteVersion(c_Version);
    stream << join(fileTimeOf(m_fields));
}

void CbDateTime::Serialize(CbStreamReadBinary& stream)
{
    stream.ReadAndCompareVersion(c_Version);
    unsigned __int64 ticks = 0;
    stream >> ticks;
    assignTicks(ticks);
}

CbDateTime& CbDateTime::assignTicks(unsigned __int64 ticks)
{
    if (ticks <= c_LastTick)
    {
        FILETIME const time = split(ticks);
        FileTimeToSystemTime(&time, &m_fields); // refuses no others
    }
    return *this;
}

// The fields to show; those that are no time, or have none in the zone, stay as they are.
SYSTEMTIME CbDateTime::getFields(bool local) const
{
    SYSTEMTIME fields;
    if (local && isTime(m_fields) && SystemTimeToTzSpecificLocalTime(nullptr, &m_fields, &fields))
    {
        return fields;
    }
    return m_fields;
}

void CbDateTime::convertToUniversal()
{
    SYSTEMTIME fields;
    if (isTime(m_fields) && TzSpecificLocalTimeToSystemTime(nullptr, &m_fields, &fields))
    {
        m_fields = fields;
    }
}

CbDateTime operator+(CbDateTime left, ITimeInterval const& right)
{
    return left += right;
}

CbDateTime operator-(CbDateTime left, ITimeInterval const& right)
{
    return left -= right;
}

CbTimeInterval operator-(CbDateTime const& left, CbDateTime const& right)
{
    unsigned __int64 const ticks = static_cast<unsigned __int64>(left) - static_cast<unsigned __int64>(right);
    return CbTimeInterval(static_cast<__int64>(ticks) / static_cast<__int64>(c_TicksAMillisecond));
}
