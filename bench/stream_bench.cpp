// Writing to and reading from memory in a binary encoding.

#include <benchmark/benchmark.h>

#include "stream/rows.h"
#include "support/benchmain.h"

namespace
{
constexpr int c_Once = 1;
constexpr int c_ManyTimes = 64; // lists of values while growing: the buffer is exchanged several times
constexpr int c_Blocks = 8;     // blocks while growing

constexpr SWriting c_Reserved = {c_Once, SWorkload::c_Capacity};
constexpr SWriting c_ReservedBlock = {c_Once, SWorkload::c_BlockCapacity};
constexpr SWriting c_GrowingList = {c_ManyTimes, 0};
constexpr SWriting c_GrowingBlocks = {c_Blocks, 0};

SLibrary const* const c_Libraries[] = {
    &c_OrvaneRows, &c_VectorRows, &c_EncodingVectorRows,
#ifdef ORVANE_BENCH_POCO
    &c_PocoRows,
#endif
#ifdef ORVANE_BENCH_BOOST
    &c_BoostRows,
#endif
#ifdef ORVANE_BENCH_QT
    &c_QtRows,
#endif
};

template <class TValue, class... Arguments>
void addRow(char const* row, void (*SLibrary::*measure)(benchmark::State&, std::vector<TValue> const&, Arguments...),
            std::vector<TValue> const& values, Arguments... arguments)
{
    for (SLibrary const* library : c_Libraries)
    {
        if (auto const function = library->*measure)
        {
            benchmark::RegisterBenchmark((std::string(row) + '/' + library->name).c_str(),
                                         [function, &values, arguments...](benchmark::State& state)
                                         { function(state, values, arguments...); });
        }
    }
}

template <class TUnit>
std::basic_string<TUnit> makeText(std::size_t length, std::size_t seed, TUnit umlaut)
{
    std::basic_string<TUnit> text;
    for (std::size_t n = 0; n < length; ++n)
    {
        text.push_back(n % 13 == 5 ? umlaut : static_cast<TUnit>('a' + (n + seed) % 26));
    }
    return text;
}
} // namespace

SWorkload::SWorkload()
{
    for (std::size_t n = 0; n < c_Values; ++n)
    {
        int const number = static_cast<int>(n * 2654435761u >> 8);
        records.push_back({n % 3 == 0, static_cast<signed char>(n), static_cast<short>(number), number,
                           static_cast<__int64>(number) << 20, static_cast<float>(number) / 3,
                           static_cast<double>(number) / 7});
        shortNarrow.push_back(makeText<char>(c_ShortText, n, '-'));
        longNarrow.push_back(makeText<char>(c_LongText, n, '-'));
        shortWide.push_back(makeText<wchar_t>(c_ShortText, n, L'\u00E4'));
        longWide.push_back(makeText<wchar_t>(c_LongText, n, L'\u00E4'));
    }
    blocks.resize(1);
    for (std::size_t n = 0; n < c_BlockSize; ++n)
    {
        blocks[0].bytes.push_back(static_cast<unsigned char>(n * 31));
    }
}

void registerRows()
{
    static SWorkload const s_workload;
    SWorkload const& load = s_workload;

    addRow("write, reserved, 64 records", &SLibrary::writeRecords, load.records, c_Reserved);
    addRow("write, reserved, 64 narrow of 16", &SLibrary::writeNarrow, load.shortNarrow, c_Reserved);
    addRow("write, reserved, 64 narrow of 256", &SLibrary::writeNarrow, load.longNarrow, c_Reserved);
    addRow("write, reserved, 64 wide of 16", &SLibrary::writeWide, load.shortWide, c_Reserved);
    addRow("write, reserved, 64 wide of 256", &SLibrary::writeWide, load.longWide, c_Reserved);
    addRow("write, reserved, 1 MiB block", &SLibrary::writeBlocks, load.blocks, c_ReservedBlock);

    addRow("write, growing, 4096 records", &SLibrary::writeRecords, load.records, c_GrowingList);
    addRow("write, growing, 4096 narrow of 16", &SLibrary::writeNarrow, load.shortNarrow, c_GrowingList);
    addRow("write, growing, 4096 narrow of 256", &SLibrary::writeNarrow, load.longNarrow, c_GrowingList);
    addRow("write, growing, 4096 wide of 16", &SLibrary::writeWide, load.shortWide, c_GrowingList);
    addRow("write, growing, 4096 wide of 256", &SLibrary::writeWide, load.longWide, c_GrowingList);
    addRow("write, growing, 8 blocks of 1 MiB", &SLibrary::writeBlocks, load.blocks, c_GrowingBlocks);

    addRow("read, 64 records", &SLibrary::readRecords, load.records);
    addRow("read, 64 narrow of 16", &SLibrary::readNarrow, load.shortNarrow);
    addRow("read, 64 narrow of 256", &SLibrary::readNarrow, load.longNarrow);
    addRow("read, 64 wide of 16", &SLibrary::readWide, load.shortWide);
    addRow("read, 64 wide of 256", &SLibrary::readWide, load.longWide);
    addRow("read, 1 MiB block", &SLibrary::readBlocks, load.blocks);
}
