// Damaged texts, numbers, versions and arrays. The first byte chooses what is read, again and again, from the rest.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

#include "fuzzing.h"
#include "orvane/stream/cbarray_serializer.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"

namespace
{
constexpr int c_MostValues = 16;

// A text that was read is written as something that is read as the same text, by its own type and by its sibling.
template <class TText, class TSibling>
void readText(CbStreamReadBinary& stream)
{
    TText text;
    stream >> text;

    CbStreamWriteBinaryBuffer writer;
    writer << text;
    CbStreamReadBinaryBuffer reader(writer.GetArray());
    TText again;
    reader >> again;
    Fuzzing::Demand(text == again, "a text survives a round trip");
    Fuzzing::Demand(reader.GetBytesRead() == writer.GetCount(), "a text is read to its end");

    CbStreamReadBinaryBuffer other(writer.GetArray());
    TSibling sibling;
    other >> sibling;
    Fuzzing::Demand(TSibling(text) == sibling, "a text is the same in its sibling type");
}

template <class T>
void readNumber(CbStreamReadBinary& stream)
{
    T value{};
    stream >> value;

    CbStreamWriteBinaryBuffer writer;
    writer << value;
    CbStreamReadBinaryBuffer reader(writer.GetArray());
    T again{};
    reader >> again;
    // By bits: a NaN is not equal to itself.
    Fuzzing::Demand(std::memcmp(&value, &again, sizeof value) == 0, "a number survives a round trip");
}

void readVersion(CbStreamReadBinary& stream)
{
    Fuzzing::Demand(stream.ReadAndCompareVersion(7) <= 7, "a version is not above the expected one");
}

void readArray(CbStreamReadBinary& stream)
{
    CbArray<unsigned char> array;
    CbArray_Serializer::Serialize(stream, array);

    // Arrays of bytes that are missing are zeros by the megabyte: a sample of the sizes will do.
    if (array.GetCount() <= 4096)
    {
        CbStreamWriteBinaryBuffer writer;
        CbArray_Serializer::Serialize(writer, array);
        CbStreamReadBinaryBuffer reader(writer.GetArray());
        CbArray<unsigned char> again;
        CbArray_Serializer::Serialize(reader, again);
        Fuzzing::Demand(array == again, "an array survives a round trip");
    }
}

void skipChunk(CbStreamReadBinary& stream)
{
    Fuzzing::Demand(stream.ReadChunk() == nullptr, "there is no class to be created");
}

using Reader = void (*)(CbStreamReadBinary&);
constexpr Reader c_Readers[] = {
    &readText<CStringW, std::wstring>,
    &readText<CStringA, std::string>,
    &readText<std::wstring, CStringW>,
    &readText<std::string, CStringA>,
    &readNumber<long>,
    &readNumber<unsigned long>,
    &readNumber<char>,
    &readNumber<double>,
    &readNumber<float>,
    &readNumber<__int64>,
    &readNumber<unsigned __int64>,
    &readNumber<int>,
    &readNumber<unsigned int>,
    &readNumber<short>,
    &readNumber<unsigned short>,
    &readNumber<signed char>,
    &readNumber<unsigned char>,
    &readNumber<bool>,
    &readVersion,
    &readArray,
    &skipChunk,
};
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Fuzzing::SilenceLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    Fuzzing::ReadValues(data, size, c_MostValues,
                        [](CbStreamReadBinary& stream, unsigned int choice)
                        { c_Readers[choice % std::size(c_Readers)](stream); });
    return 0;
}
