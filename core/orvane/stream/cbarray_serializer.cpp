#include "orvane/stream/cbarray_serializer.h"

#include <algorithm>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/exception/raisesite.h"
#include "orvane/stream/cbstreamreadbinary.h"
#include "orvane/stream/cbstreamwritebinary.h"

namespace
{
CB_RAISING_FILE("cbarray_serializer");

constexpr unsigned int c_Marker = 0xFFFFFFFF; // where the older form has its count
constexpr unsigned int c_Version = 1;
constexpr unsigned int c_ElementWidth = 1;
constexpr unsigned int c_Step = 16 * 1024 * 1024; // bytes that are taken on the count's word

unsigned int readCount(CbStreamReadBinary& stream)
{
    unsigned int count = 0;
    stream >> count;
    if (count == c_Marker)
    {
        stream.ReadAndCompareVersion(c_Version);
        stream >> count;
    }
    unsigned int elementWidth = 0;
    stream >> elementWidth;
    if (count == c_Marker)
    {
        throw CbExceptionWrongFileVersion(CB_SITE("CbArray_Serializer::serializeHeader"));
    }
    if (elementWidth != c_ElementWidth)
    {
        throw CbExceptionWrongFileVersion(CB_SITE("CbArray_Serializer::serializeHeader"));
    }
    return count;
}

void writeHeader(CbStreamWriteBinary& stream, unsigned int count)
{
    stream << c_Marker;
    stream.WriteVersion(c_Version);
    stream << count;
    stream << c_ElementWidth;
}
} // namespace

void CbArray_Serializer::Serialize(CbStreamWriteBinary& stream, CbArray<unsigned char> const& array)
{
    // The array may be the stream's own: the header makes it longer, and may move its elements.
    unsigned int const count = array.GetCount();
    writeHeader(stream, count);
    if (count != 0)
    {
        stream.WriteBuffer(array.GetData(), count);
    }
}

void CbArray_Serializer::Serialize(CbStreamReadBinary& stream, CbArray<unsigned char>& array)
{
    unsigned int const count = readCount(stream);
    array.RemoveAll();
    while (array.GetCount() < count)
    {
        unsigned int const offset = array.GetCount();
        unsigned int const step = std::min(c_Step, count - offset);
        // The block ends at exactly the count; on the way there it doubles, so that steps cost no more than appends.
        if (offset + step > array.GetCapacity())
        {
            unsigned __int64 const doubled = static_cast<unsigned __int64>(array.GetCapacity()) * 2;
            array.SetCapacity(static_cast<unsigned int>(std::clamp<unsigned __int64>(doubled, offset + step, count)));
        }
        array.SetCount(offset + step);
        unsigned __int64 const delivered = stream.ReadBuffer(array.GetData() + offset, step);
        if (delivered < step && count > c_Step)
        {
            array.SetCount(offset + static_cast<unsigned int>(delivered));
            throw CbExceptionStream(CB_SITE("CbArray_Serializer::Serialize"));
        }
    }
}

void CbArray_Serializer::serializeHeader(CbStreamWriteBinary& stream, CbArray<unsigned char> const& array)
{
    writeHeader(stream, array.GetCount());
}

void CbArray_Serializer::serializeHeader(CbStreamReadBinary& stream, CbArray<unsigned char>& array)
{
    array.SetCount(readCount(stream));
}
