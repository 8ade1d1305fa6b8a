// Damaged variants. The first byte says what is done with what was read: nothing more, or a conversion to that kind.

#include <cstddef>
#include <cstdint>

#include "fuzzing.h"
#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "orvane/value/cbvariant.h"

namespace
{
constexpr int c_MostValues = 8;
constexpr unsigned int c_NoConversion = 0x80;
constexpr std::uint64_t c_LongestCompared = 4096;

bool isStored(CbVariant const& variant)
{
    unsigned int const type = variant.GetType();
    return type <= CbVariant::eStringA && type != 11 && type != CbVariant::eObject;
}

bool isComparable(CbVariant const& variant)
{
    // A date-time is stored to the second, and by the clock of a zone that may not have that time.
    return variant.GetType() != CbVariant::eDateTime;
}

// What was read is written as something that is read as the same.
void roundTrip(CbVariant const& variant)
{
    CbStreamWriteBinaryBuffer writer;
    variant.Serialize(writer);
    if (writer.GetCount() > c_LongestCompared)
    {
        return; // missing bytes are zeros by the megabyte
    }
    static_cast<void>(variant.ToJson());
    static_cast<void>(variant.GetHash());
    CbStreamReadBinaryBuffer reader(writer.GetArray());
    CbVariant again;
    again.Serialize(reader);
    Fuzzing::Demand(reader.GetBytesRead() == writer.GetCount(), "a variant is read to its end");
    if (isComparable(variant))
    {
        Fuzzing::Demand(again.GetType() == variant.GetType(), "a variant keeps its kind");
        Fuzzing::Demand(again == variant || variant != variant, "a variant survives a round trip");
    }
}

void convert(CbVariant& variant, CbVariant::EVariantType target)
{
    auto const before = variant.GetType();
    CbVariant const copy(variant);
    try
    {
        variant.ConvertTo(target);
        Fuzzing::Demand(variant.GetType() == target, "a converted variant has the kind");
    }
    catch (CbExceptionConversion const& raised)
    {
        Fuzzing::Demand(raised.GetCodeLine() != 0, "a conversion exception has its raise site");
        Fuzzing::Demand(variant.GetType() == before, "a refused conversion changes nothing");
        Fuzzing::Demand(variant == copy || copy != copy, "a refused conversion changes nothing");
    }
}

void readOne(CbStreamReadBinary& stream, unsigned int choice)
{
    CbVariant variant;
    try
    {
        variant.Serialize(stream);
    }
    catch (CbExceptionConversion const&)
    {
        Fuzzing::Demand(!isStored(variant), "only kinds without a stored form are refused");
        return; // destroyed as it is
    }
    Fuzzing::Demand(isStored(variant), "what was read has a stored form");
    if ((choice & c_NoConversion) == 0)
    {
        convert(variant, static_cast<CbVariant::EVariantType>(choice % 21));
        if (variant.GetType() == CbVariant::eStringW || variant.GetType() == CbVariant::eStringA)
        {
            return; // a converted text may hold characters that the wire does not
        }
    }
    roundTrip(variant);
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Fuzzing::SilenceLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    Fuzzing::ReadValues(data, size, c_MostValues, readOne);
    return 0;
}
