// Byte arrays in binary streams.

#ifndef ORVANE_STREAM_CBARRAY_SERIALIZER_H
#define ORVANE_STREAM_CBARRAY_SERIALIZER_H

#include "orvane/container/cbarray.h"
#include "orvane/export.h"

class CbStreamReadBinary;
class CbStreamWriteBinary;

/// Writes and reads byte arrays: a header of four unsigned 32-bit values (FFFFFFFF, version 1, count, element width 1)
/// and the elements as they are. An older header of two values (count, element width) is still read.
class ORVANE_API CbArray_Serializer
{
public:
    /// Writes the header and the elements. `array` may be the stream's own: it is stored as it is before the call.
    static void Serialize(CbStreamWriteBinary& stream, CbArray<unsigned char> const& array);

    /// Reads the header and the elements; elements that the stream no longer delivers are zero. A count above 16 MiB is
    /// not believed at once: the elements are read in steps of that size.
    /// Raises: as serializeHeader, and CbExceptionStream from "CbArray_Serializer::Serialize" where a count above
    /// 16 MiB is not covered by data; the array holds what arrived then.
    static void Serialize(CbStreamReadBinary& stream, CbArray<unsigned char>& array);

    /// Writes the header only.
    static void serializeHeader(CbStreamWriteBinary& stream, CbArray<unsigned char> const& array);

    /// Reads the header and makes the array as long as it says, for the caller to read the elements into. Elements that
    /// are added are zero.
    /// Raises: CbExceptionWrongFileVersion for a version above 1 (from "CbStreamRead::ReadAndCompareVersion"), a count
    /// of FFFFFFFF or an element width other than 1 (from "CbArray_Serializer::serializeHeader"); the array is
    /// unchanged then. std::bad_alloc where there is no memory for the count.
    /// Cost: memory for the count that is claimed; Serialize is the choice for data that may be damaged.
    static void serializeHeader(CbStreamReadBinary& stream, CbArray<unsigned char>& array);
};

#endif // ORVANE_STREAM_CBARRAY_SERIALIZER_H
