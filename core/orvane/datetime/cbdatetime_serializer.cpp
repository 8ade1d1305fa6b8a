#include "orvane/datetime/cbdatetime_serializer.h"

#include "orvane/datetime/cbdatetime.h"
#include "orvane/stream/cbstreamreadbinary.h"

namespace
{
constexpr unsigned int c_Version = 0;
constexpr unsigned __int64 c_FirstThatIsNoTime = 1ull << 63;
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
    if (ticks >= c_FirstThatIsNoTime)
    {
        return;
    }
    CbDateTime const time(ticks);
    value.SetYear(time.GetYear());
    value.SetMonth(time.GetMonth());
    value.SetDay(time.GetDay());
    value.SetHour(time.GetHour());
    value.SetMinute(time.GetMinute());
    value.SetSecond(time.GetSecond());
    value.SetMillisecond(time.GetMillisecond());
}
