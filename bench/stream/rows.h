// The rows of the stream benchmark, the same for every library.

#ifndef ORVANE_BENCH_STREAM_ROWS_H
#define ORVANE_BENCH_STREAM_ROWS_H

#include <cstddef>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "platform/platform.h"

/// One value of each primitive.
struct SRecord
{
    bool flag;
    signed char letter;
    short small;
    int number;
    __int64 big;
    float ratio;
    double exact;
};

/// A block of bytes that is written and read in one call.
struct SBlock
{
    std::vector<unsigned char> bytes;
};

/// What is written and read. Each list is one stream's contents, or is written several times over.
struct SWorkload
{
    static constexpr std::size_t c_Values = 64;
    static constexpr std::size_t c_ShortText = 16;
    static constexpr std::size_t c_LongText = 256;
    static constexpr std::size_t c_BlockSize = 1024 * 1024;

    /// Room for any of the lists, in any of the encodings.
    static constexpr std::size_t c_Capacity = 80 * 1024;
    static constexpr std::size_t c_BlockCapacity = c_BlockSize + 64;

    SWorkload();

    std::vector<SRecord> records;
    std::vector<std::string> shortNarrow;
    std::vector<std::string> longNarrow;
    std::vector<std::wstring> shortWide;
    std::vector<std::wstring> longWide;
    std::vector<SBlock> blocks; // one
};

/// How a list is written.
struct SWriting
{
    int rounds;           // times that the list is written to one stream
    std::size_t capacity; // bytes reserved in advance; 0: the stream grows from its default size
};

/// A library's measurements; null where it has no such row. Each iteration makes a stream over memory, writes or reads
/// a list, and destroys the stream. Reading goes into the same targets every time.
struct SLibrary
{
    char const* name;
    void (*writeRecords)(benchmark::State&, std::vector<SRecord> const&, SWriting);
    void (*writeNarrow)(benchmark::State&, std::vector<std::string> const&, SWriting);
    void (*writeWide)(benchmark::State&, std::vector<std::wstring> const&, SWriting);
    void (*writeBlocks)(benchmark::State&, std::vector<SBlock> const&, SWriting);
    void (*readRecords)(benchmark::State&, std::vector<SRecord> const&);
    void (*readNarrow)(benchmark::State&, std::vector<std::string> const&);
    void (*readWide)(benchmark::State&, std::vector<std::wstring> const&);
    void (*readBlocks)(benchmark::State&, std::vector<SBlock> const&);
};

extern SLibrary const c_OrvaneRows;
extern SLibrary const c_VectorRows;
extern SLibrary const c_EncodingVectorRows;
extern SLibrary const c_PocoRows;
extern SLibrary const c_BoostRows;
extern SLibrary const c_QtRows;

#endif // ORVANE_BENCH_STREAM_ROWS_H
