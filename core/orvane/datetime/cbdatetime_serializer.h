// Any date-time in binary streams.

#ifndef ORVANE_DATETIME_CBDATETIME_SERIALIZER_H
#define ORVANE_DATETIME_CBDATETIME_SERIALIZER_H

#include "orvane/export.h"

class CbStreamReadBinary;
class CbStreamWriteBinary;
class IDateTime;

/// Writes and reads an IDateTime as CbDateTime serialises itself: the version 0 and the ticks since 1601.
class ORVANE_API CbDateTime_Serializer
{
public:
    /// Fields that are no time of the years 1601 to 30827 are written as tick 0.
    static void Serialize(CbStreamWriteBinary& stream, IDateTime const& value);

    /// Sets year, month, day, hour, minute, second and millisecond, in that order; to 0 all of them for ticks from 2^63 on,
    /// which are no time.
    /// Raises: CbExceptionWrongFileVersion for a version above 0, CbExceptionStream where the data end; nothing is set then.
    static void Serialize(CbStreamReadBinary& stream, IDateTime& value);
};

#endif // ORVANE_DATETIME_CBDATETIME_SERIALIZER_H
