#include "orvane/datetime/cbtimeinterval.h"

#include <iterator>

#include "orvane/datetime/calendar.h"
#include "orvane/datetime/digitgroups.h"
#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/exception/raisesite.h"

namespace
{
CB_RAISING_FILE("cbtimeinterval");

constexpr __int64 c_Day = 86'400'000;
// Milliseconds per unit, in the order of CbTimeInterval::EResolution.
constexpr __int64 c_Factors[] = {365 * c_Day, 366 * c_Day, 7 * c_Day, c_Day, 3'600'000, 60'000, 1'000, 1};

__int64 getFactor(CbTimeInterval::EResolution unit)
{
    if (unit >= std::size(c_Factors))
    {
        throw CbExceptionConversion(CB_SITE("GetFactor"));
    }
    return c_Factors[unit];
}

__int64 getLength(CbTimeInterval::EMonths month, unsigned int year)
{
    if (month > CbTimeInterval::eDecember)
    {
        throw CbExceptionConversion(CB_SITE("CbTimeInterval::CbTimeInterval"));
    }
    return Calendar::GetDaysInMonth(year, month + 1) * c_Day;
}

// Overflow is not detected; it wraps.
__int64 wrap(unsigned __int64 value)
{
    return static_cast<__int64>(value);
}

unsigned __int64 bits(__int64 value)
{
    return static_cast<unsigned __int64>(value);
}
} // namespace

ITimeInterval::~ITimeInterval() = default;

CbTimeInterval::CbTimeInterval() = default;

CbTimeInterval::CbTimeInterval(__int64 milliseconds) : m_milliseconds(milliseconds)
{
}

CbTimeInterval::CbTimeInterval(EResolution unit, int count) : m_milliseconds(wrap(bits(getFactor(unit)) * bits(count)))
{
}

CbTimeInterval::CbTimeInterval(EMonths month, unsigned int year) : m_milliseconds(getLength(month, year))
{
}

CbTimeInterval::CbTimeInterval(std::chrono::milliseconds duration) : m_milliseconds(duration.count())
{
}

CbTimeInterval::~CbTimeInterval() = default;

__int64 CbTimeInterval::GetMilliseconds() const
{
    return m_milliseconds;
}

__int64 CbTimeInterval::Get(EResolution unit) const
{
    return m_milliseconds / getFactor(unit);
}

std::chrono::milliseconds CbTimeInterval::GetDuration() const
{
    return std::chrono::milliseconds(m_milliseconds);
}

bool CbTimeInterval::operator==(CbTimeInterval const& other) const
{
    return m_milliseconds == other.m_milliseconds;
}

bool CbTimeInterval::operator!=(CbTimeInterval const& other) const
{
    return m_milliseconds != other.m_milliseconds;
}

CbTimeInterval& CbTimeInterval::operator+=(CbTimeInterval const& other)
{
    m_milliseconds = wrap(bits(m_milliseconds) + bits(other.m_milliseconds));
    return *this;
}

CbTimeInterval& CbTimeInterval::operator-=(CbTimeInterval const& other)
{
    m_milliseconds = wrap(bits(m_milliseconds) - bits(other.m_milliseconds));
    return *this;
}

CbTimeInterval& CbTimeInterval::operator*=(__int64 factor)
{
    m_milliseconds = wrap(bits(m_milliseconds) * bits(factor));
    return *this;
}

CbTimeInterval& CbTimeInterval::operator/=(__int64 divisor)
{
    m_milliseconds /= divisor;
    return *this;
}

std::wstring CbTimeInterval::ToString(EResolution unit, bool grouped) const
{
    __int64 const count = Get(unit);
    if (grouped && count > 0)
    {
        return detail::groupDigits(static_cast<unsigned __int64>(count));
    }
    return std::to_wstring(count);
}

CbTimeInterval operator+(CbTimeInterval left, CbTimeInterval const& right)
{
    return left += right;
}

CbTimeInterval operator-(CbTimeInterval left, CbTimeInterval const& right)
{
    return left -= right;
}

CbTimeInterval operator*(CbTimeInterval left, __int64 right)
{
    return left *= right;
}

CbTimeInterval operator/(CbTimeInterval left, __int64 right)
{
    return left /= right;
}
