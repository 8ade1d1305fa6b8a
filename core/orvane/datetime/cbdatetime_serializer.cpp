#include "orvane/datetime/cbdatetime_serializer.h"

#include "orvane/datetime/cbdatetime.h"
#include "orvane/stream/cbstreamreadbinary.h"

namespace
{
constexpr unsigned int c_Version = 0;
} // namespace

void CbDateTime_Serializer::Serialize(CbStreamWriteBinary& stream, IDateTime const& value)
{
    CbDateTime(value).Serialize(stream);
}

void CbDateTime_Serializer::Serialize(CbStreamReadBinary& stream, IDateTime& value)
{
    stream.ReadAndCompareVersion(c_Version);
    unsigned __int64 ticks = 0;
    stream >> ticks;
    CbDateTime const time(ticks); // zeros where the ticks are no time
    value.SetYear(time.GetYear());
    value.SetMonth(time.GetMonth());
    value.SetDay(time.GetDay());
    value.SetHour(time.GetHour());
    value.SetMinute(time.GetMinute());
    value.SetSecond(time.GetSecond());
    value.SetMillisecond(time.GetMillisecond());
}
