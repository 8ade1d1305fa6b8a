// Spans of time in whole milliseconds.

#ifndef ORVANE_DATETIME_CBTIMEINTERVAL_H
#define ORVANE_DATETIME_CBTIMEINTERVAL_H

#include <chrono>
#include <string>

#include "orvane/datetime/itimeinterval.h"

/// A signed span of time, counted in whole milliseconds.
///
/// What the difference of two date-times is, and what moves a date-time:
/// `reminder = appointment - CbTimeInterval(CbTimeInterval::eMinute, 15);`
/// Years are fixed numbers of days here; the calendar belongs to CbDateTime. There is no order and no overflow check.
/// Threads: a plain value. Share it for reading, guard it for writing.
class ORVANE_API CbTimeInterval : public ITimeInterval
{
public:
    /// Units of length. A value outside the list is refused wherever a unit is taken.
    enum EResolution : unsigned int
    {
        eYear,     // 365 days
        eLeapYear, // 366 days
        eWeek,
        eDay,
        eHour,
        eMinute,
        eSecond,
        eMillisecond
    };

    /// Months, for their lengths.
    enum EMonths : unsigned int
    {
        eJanuary,
        eFebruary,
        eMarch,
        eApril,
        eMay,
        eJune,
        eJuly,
        eAugust,
        eSeptember,
        eOctober,
        eNovember,
        eDecember
    };

    /// No time at all.
    CbTimeInterval();

    CbTimeInterval(__int64 milliseconds);

    /// `count` units of `unit`; `count` may be negative.
    /// Raises: CbExceptionConversion from "GetFactor" for an unknown unit.
    CbTimeInterval(EResolution unit, int count);

    /// The length of that month; February has 29 days where CbDateTime::IsLeapYear(year).
    /// Raises: CbExceptionConversion from "CbTimeInterval::CbTimeInterval" for an unknown month.
    CbTimeInterval(EMonths month, unsigned int year);

    /// Takes whole milliseconds: `CbTimeInterval(std::chrono::minutes(15))`.
    explicit CbTimeInterval(std::chrono::milliseconds duration);

    CbTimeInterval(CbTimeInterval const& other) = default;
    CbTimeInterval& operator=(CbTimeInterval const& other) = default;
    ~CbTimeInterval() override;

    __int64 GetMilliseconds() const override;

    /// The whole units that fit, truncated towards zero: -1,500 ms hold -1 second.
    /// Raises: CbExceptionConversion from "GetFactor" for an unknown unit.
    __int64 Get(EResolution unit) const;

    std::chrono::milliseconds GetDuration() const;

    bool operator==(CbTimeInterval const& other) const;
    bool operator!=(CbTimeInterval const& other) const;

    CbTimeInterval& operator+=(CbTimeInterval const& other);
    CbTimeInterval& operator-=(CbTimeInterval const& other);
    CbTimeInterval& operator*=(__int64 factor);

    /// Truncates towards zero. Division by 0 is the processor's fault.
    CbTimeInterval& operator/=(__int64 divisor);

    /// The whole units as decimal text. `grouped` puts an apostrophe between groups of three digits of numbers from 1,000
    /// on ("1'234'567"), whatever the locale; negative numbers are never grouped.
    /// Raises: CbExceptionConversion from "GetFactor" for an unknown unit.
    std::wstring ToString(EResolution unit, bool grouped) const;

private:
    __int64 m_milliseconds = 0;
};

ORVANE_API CbTimeInterval operator+(CbTimeInterval left, CbTimeInterval const& right);
ORVANE_API CbTimeInterval operator-(CbTimeInterval left, CbTimeInterval const& right);
ORVANE_API CbTimeInterval operator*(CbTimeInterval left, __int64 right);
ORVANE_API CbTimeInterval operator/(CbTimeInterval left, __int64 right);

#endif // ORVANE_DATETIME_CBTIMEINTERVAL_H
