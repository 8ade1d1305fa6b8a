// What the fuzz targets share.

#ifndef ORVANE_FUZZ_FUZZING_H
#define ORVANE_FUZZ_FUZZING_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "logging/sinks.h"
#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"

namespace Fuzzing
{
/// Damaged input raises all the time: nothing of it is logged.
inline void SilenceLog()
{
    Logging::CLogger::SetDefaultLevel(Logging::eLevelOff);
    Logging::CLogger::RemoveSink(Logging::GetDefaultSink());
}

/// Ends the run where something does not hold, and keeps the input.
inline void Demand(bool holds, char const* what)
{
    if (!holds)
    {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

/// Runs a reader. The documented exceptions of the streams pass as results; any other one ends the run.
template <class TReader>
void ReadDamaged(TReader reader)
{
    try
    {
        reader();
    }
    catch (CbExceptionStream const& raised)
    {
        Demand(raised.GetCodeLine() != 0, "a stream exception has its raise site");
    }
    catch (CbExceptionWrongFileVersion const& raised)
    {
        Demand(raised.GetCodeLine() != 0, "a version exception has its raise site");
    }
}

/// Reads at most so many values from the input behind its first byte, which is what `readOne` is given as its choice.
template <class TReader>
void ReadValues(std::uint8_t const* data, std::size_t size, int most, TReader readOne)
{
    if (size == 0)
    {
        return;
    }
    CbStreamReadBinaryBuffer stream(data + 1, size - 1);
    ReadDamaged(
        [&]
        {
            for (int i = 0; i < most && stream.GetBytesRead() < size - 1; ++i)
            {
                readOne(stream, data[0]);
            }
        });
    Demand(stream.GetBytesRead() <= size - 1, "no more is read than is there");
}
} // namespace Fuzzing

#endif // ORVANE_FUZZ_FUZZING_H
