// Points in time: a calendar date and a time of day, UTC, to the millisecond.

#ifndef ORVANE_DATETIME_CBDATETIME_H
#define ORVANE_DATETIME_CBDATETIME_H

#include <chrono>
#include <concepts>
#include <optional>
#include <string_view>
#include <type_traits>

#include "mfc/cstringt.h"
#include "mfc/ctime.h"
#include "orvane/datetime/cbtimeinterval.h"
#include "orvane/datetime/idatetime.h"

class CbStreamReadBinary;
class CbStreamWriteBinary;

namespace detail
{
/// Integers that are neither of the two that a date-time is made of, nor a truth value or a character.
template <class T>
concept OtherInteger = std::integral<T> && !std::same_as<T, __int64> && !std::same_as<T, unsigned __int64> &&
                       !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t>;

/// What such an integer stands for: a signed one counts seconds since 1970, an unsigned one ticks since 1601.
template <OtherInteger T>
using DateTimeNumber = std::conditional_t<std::is_signed_v<T>, __int64, unsigned __int64>;
} // namespace detail

/// A point in time.
///
/// The state is one SYSTEMTIME record, always UTC; `bool local` arguments convert to or from the current time zone for that
/// one operation. Fields are stored as they are given, 16 bits of each, without a check. Where a number is made of them,
/// fields that are no time of the years 1601 to 30827 give tick 0 (a tick is 100 ns, counted from 1601-01-01 UTC): they
/// compare, subtract and serialise as 1601-01-01. The day of the week is carried along where a conversion knows it, and read
/// by nothing.
/// Numbers of 2^63 ticks and above are no time: constructors make a record of zeros of them, assignments, moves and
/// reading leave the object as it was.
/// Threads: a plain value. Share it for reading, guard it for writing.
class ORVANE_API CbDateTime : public IDateTime
{
public:
    /// Fixed text forms. Any other value gives empty text.
    enum EFormat : int
    {
        eLongDateTime = 0, // the long date, a blank, the time of day
        eLongDate = 1,
        eShortDate = 2
    };

    /// The mark of "no time": 1601-01-01 00:00:00.000, which is tick 0. Ready before any static initialiser runs.
    static CbDateTime const c_Invalid;

    /// The current time.
    CbDateTime();

    CbDateTime(FILETIME const& time);

    /// Ticks since 1601.
    CbDateTime(unsigned __int64 ticks);

    CbDateTime(SYSTEMTIME const& time);
    CbDateTime(CbDateTime const& other);
    CbDateTime(IDateTime const& other);

    /// The time's UTC fields; milliseconds 0.
    CbDateTime(CTime const& time);

    /// Seconds since 1970, negative ones before. Dates before 1601 are those of the same calendar, counted back.
    CbDateTime(__int64 const& seconds);

    /// Seconds since 1970 for the signed types, ticks since 1601 for the unsigned ones.
    template <detail::OtherInteger T>
    CbDateTime(T number) : CbDateTime(static_cast<detail::DateTimeNumber<T>>(number))
    {
    }

    /// UTC fields, unchecked.
    CbDateTime(unsigned int year, unsigned int month, unsigned int day, unsigned int hour, unsigned int minute,
               unsigned int second, unsigned int millisecond);

    /// Text in the fixed form (see HasValidFormat), taken as UTC.
    /// Raises: CbExceptionConversion from "CbDateTime::CbDateTime" for any other text.
    CbDateTime(char const* text);
    CbDateTime(wchar_t const* text);

    /// The same; `local` takes it as local time. Fields that are no time stay unconverted.
    CbDateTime(char const* text, bool local);
    CbDateTime(wchar_t const* text, bool local);

    /// Cuts to milliseconds, downwards.
    template <class TDuration>
    explicit CbDateTime(std::chrono::sys_time<TDuration> const& time)
        : CbDateTime(SMilliseconds{std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch().count()})
    {
    }

    ~CbDateTime() override;

    /// As the constructors; what a source does not say (the day of the week of a CTime or an IDateTime) stays.
    CbDateTime& operator=(FILETIME const& time);
    CbDateTime& operator=(SYSTEMTIME const& time);
    CbDateTime& operator=(CbDateTime const& other);
    CbDateTime& operator=(CTime const& time);
    CbDateTime& operator=(__int64 const& seconds);
    CbDateTime& operator=(unsigned __int64 ticks);
    CbDateTime& operator=(IDateTime const& other) override;

    template <detail::OtherInteger T>
    CbDateTime& operator=(T number)
    {
        return *this = static_cast<detail::DateTimeNumber<T>>(number);
    }

    /// Raises: CbExceptionConversion from "CbDateTime::operator =" for text that is not of the fixed form. The object is
    /// unchanged where the marks are not in their places; otherwise the fields before the fault may have been taken over.
    CbDateTime& operator=(char const* text);
    CbDateTime& operator=(wchar_t const* text);

    /// Zero for fields that are no time.
    operator FILETIME() const;
    operator unsigned __int64() const;

    operator SYSTEMTIME() const;

    /// The fields read as local time, as CTime's constructor reads them, daylight saving time by the zone's rule; the
    /// assignment from a CTime reads it as UTC.
    /// Raises: CAtlException with AtlResult::c_Fail for a field out of range (year from 1900), with AtlResult::c_InvalidArg
    /// for a time that the C runtime does not know (before 1970, after 3000).
    operator CTime() const;

    /// To the millisecond; fields that are no time give 1601-01-01. It converts to a clock's time point by itself:
    /// `std::chrono::system_clock::time_point then = date.GetSysTime();`
    std::chrono::sys_time<std::chrono::milliseconds> GetSysTime() const;

    unsigned int GetYear() const override;
    unsigned int GetMonth() const override;
    unsigned int GetDay() const override;
    unsigned int GetHour() const override;
    unsigned int GetMinute() const override;
    unsigned int GetSecond() const override;
    unsigned int GetMillisecond() const override;
    void SetYear(unsigned int year) override;
    void SetMonth(unsigned int month) override;
    void SetDay(unsigned int day) override;
    void SetHour(unsigned int hour) override;
    void SetMinute(unsigned int minute) override;
    void SetSecond(unsigned int second) override;
    void SetMillisecond(unsigned int millisecond) override;

    /// The current time.
    static CbDateTime Now();
    CbDateTime& SetNow();

    /// Becomes c_Invalid.
    CbDateTime& Invalidate();

    /// Whether all fields but the day of the week are those of c_Invalid. A record that is no time is not invalid.
    bool IsInvalid() const;
    bool IsValid() const;

    static bool IsLeapYear(unsigned int year);

    template <std::integral T>

    requires(!std::same_as<T, unsigned int> && !std::same_as<T, bool>) static bool IsLeapYear(T year)
    {
        return IsLeapYear(static_cast<unsigned int>(year));
    }

    /// Of the object's year; `local`: of its year in local time.
    bool IsLeapYear(bool local) const;

    /// Takes over when the file was created, or last written. False, and the object unchanged, where the file cannot be
    /// opened for reading (null included) or does not tell.
    bool ReadFileCreationTime(wchar_t const* path);
    bool ReadFileModificationTime(wchar_t const* path);

    /// All fields but the day of the week.
    bool operator==(CbDateTime const& other) const;
    bool operator!=(CbDateTime const& other) const;

    /// By tick numbers, unsigned.
    bool operator<(CbDateTime const& other) const;
    bool operator<=(CbDateTime const& other) const;
    bool operator>(CbDateTime const& other) const;
    bool operator>=(CbDateTime const& other) const;

    /// Moves the time, unless it would leave the range of ticks.
    CbDateTime& operator+=(ITimeInterval const& interval);
    CbDateTime& operator-=(ITimeInterval const& interval);

    /// Renders `format` character by character. Tokens: d j day (two digits, plain), D l its name (three letters, full), m n
    /// month, F M its name (full, abbreviated), t days in the month, Y y year (four digits, the last two), a A am or pm in
    /// small and capital letters, G H hour, g h hour modulo 12, i minute, s second, v millisecond. A backslash takes the
    /// next character as it stands; at the end it gives nothing. All other characters stand as they are.
    /// Names are those of the user's locale. Hour 12 is am, and g and h show noon and midnight as 0.
    /// `local` renders local time, or the stored fields where they are no time. Where a name cannot be had, one of
    /// "ERROR_INVALID_PARAMETER" (no day of the calendar), "ERROR_INSUFFICIENT_BUFFER", "ERROR_INVALID_FLAGS" and "UNKNOWN
    /// ERROR" stands in its place. A null format is an empty one.
    /// Raises: CbExceptionConversion from "CbDateTime::ToString" for the token t in a month outside 1 to 12.
    CStringA ToString(char const* format, bool local) const;

    /// The same by way of the narrow form: what the ANSI code page does not hold is lost.
    CStringW ToString(wchar_t const* format, bool local) const;

    /// The user's locale's forms. Dates are always those of the stored UTC fields; `local` moves only the time of day of
    /// eLongDateTime, so that near midnight its two parts may belong to different days. What is no date or no time of day
    /// is left out.
    CStringW ToString(EFormat form, bool local) const;

    /// Whether the text begins in the fixed form that the constructors take: "2024-05-06 07:08:09", or with a T in place of
    /// the blank. The marks must be in their places; the numbers are scanned as sscanf scans "%hu", so blanks and signs may
    /// stand before their digits ("-7" is 65529) and they are not checked. What follows is not looked at. Null is no text.
    static bool HasValidFormat(char const* text);
    static bool HasValidFormat(wchar_t const* text);

    /// Reads one text strictly, from its first to its last character: "2024-05-06T07:08:09", with a blank or a small t in
    /// place of the T, then a fraction of any length after a point or comma (cut to milliseconds), then Z or an offset from
    /// UTC of hours and minutes (+05:30, -0330, +01). Without either it is UTC.
    /// Reports: empty for anything else: other forms, numbers out of range, days that the month does not have, years before
    /// 1601 (also by the offset), a leap second, 24:00.
    static std::optional<CbDateTime> TryParse(std::string_view text);
    static std::optional<CbDateTime> TryParse(std::wstring_view text);

    /// Writes the version 0 and the ticks as unsigned 64-bit number.
    void Serialize(CbStreamWriteBinary& stream) const;

    /// Raises: CbExceptionWrongFileVersion for a version above 0, CbExceptionStream where the data end; the object is
    /// unchanged then.
    void Serialize(CbStreamReadBinary& stream);

private:
    // Since 1970.
    struct SMilliseconds
    {
        __int64 count;
    };

    // Fields that are known before the program runs.
    struct SConstant
    {
        SYSTEMTIME fields;
    };

    explicit CbDateTime(SMilliseconds milliseconds);

    constexpr explicit CbDateTime(SConstant const& constant) : m_fields(constant.fields)
    {
    }

    CbDateTime& assignTicks(unsigned __int64 ticks);
    SYSTEMTIME getFields(bool local) const;
    void convertToUniversal();

    SYSTEMTIME m_fields;
};

ORVANE_API CbDateTime operator+(CbDateTime left, ITimeInterval const& right);
ORVANE_API CbDateTime operator-(CbDateTime left, ITimeInterval const& right);

/// The whole milliseconds from `right` to `left`, by their ticks, truncated towards zero.
ORVANE_API CbTimeInterval operator-(CbDateTime const& left, CbDateTime const& right);

static_assert(sizeof(CbDateTime) == sizeof(void*) + sizeof(SYSTEMTIME));

#endif // ORVANE_DATETIME_CBDATETIME_H
