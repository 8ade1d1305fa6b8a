// What a point in time can be asked and told, field by field.

#ifndef ORVANE_DATETIME_IDATETIME_H
#define ORVANE_DATETIME_IDATETIME_H

#include "orvane/export.h"

/// A date and a time of day, whatever its representation. The order of the virtual operations is part of the binary
/// interface.
class ORVANE_API IDateTime
{
public:
    virtual ~IDateTime();

    /// Takes over the seven fields of `other` and returns the object.
    virtual IDateTime& operator=(IDateTime const& other) = 0;

    virtual unsigned int GetYear() const = 0;
    virtual unsigned int GetMonth() const = 0;
    virtual unsigned int GetDay() const = 0;
    virtual unsigned int GetHour() const = 0;
    virtual unsigned int GetMinute() const = 0;
    virtual unsigned int GetSecond() const = 0;
    virtual unsigned int GetMillisecond() const = 0;
    virtual void SetYear(unsigned int year) = 0;
    virtual void SetMonth(unsigned int month) = 0;
    virtual void SetDay(unsigned int day) = 0;
    virtual void SetHour(unsigned int hour) = 0;
    virtual void SetMinute(unsigned int minute) = 0;
    virtual void SetSecond(unsigned int second) = 0;
    virtual void SetMillisecond(unsigned int millisecond) = 0;

protected:
    IDateTime() = default;
    IDateTime(IDateTime const&) = default;
};

#endif // ORVANE_DATETIME_IDATETIME_H
