// The loops that are measured, for a library that describes itself:
//
//   struct Library
//   {
//       using Writer = ...; using Reader = ...;            // what client code writes to and reads from, by reference
//       class CReserved { CReserved(std::size_t); ... };   // a stream into memory that was made in advance
//       class CGrowing { ... };                            // a stream into memory that grows
//       class CSource { CSource(bytes); ... };             // a stream from memory
//       // each of the three: Writer& or Reader& Get(); the writing ones: std::vector<unsigned char> GetBytes()
//       using Narrow = ...; using Wide = ...;              // the library's own text types
//       static Narrow MakeNarrow(std::string const&); static Wide MakeWide(std::wstring const&);
//       static void Put(Writer&, T const&); static void Take(Reader&, T&);   // for Narrow, Wide and SBlock
//   };
//
// Client code is compiled without knowledge of the stream behind the reference, as a class's own serialisation is.

#ifndef ORVANE_BENCH_STREAM_MEASURE_H
#define ORVANE_BENCH_STREAM_MEASURE_H

#include <utility>

#include "stream/rows.h"

template <class TLibrary>
struct SMeasure
{
    using Writer = typename TLibrary::Writer;
    using Reader = typename TLibrary::Reader;
    using Narrow = typename TLibrary::Narrow;
    using Wide = typename TLibrary::Wide;

    static void putOne(Writer& writer, SRecord const& record)
    {
        writer << record.flag;
        writer << record.letter;
        writer << record.small;
        writer << record.number;
        writer << record.big;
        writer << record.ratio;
        writer << record.exact;
    }

    static void takeOne(Reader& reader, SRecord& record)
    {
        reader >> record.flag;
        reader >> record.letter;
        reader >> record.small;
        reader >> record.number;
        reader >> record.big;
        reader >> record.ratio;
        reader >> record.exact;
    }

    template <class T>
    static void putOne(Writer& writer, T const& value)
    {
        TLibrary::Put(writer, value);
    }

    template <class T>
    static void takeOne(Reader& reader, T& value)
    {
        TLibrary::Take(reader, value);
    }

    template <class T>
    [[gnu::noipa]] static void putAll(Writer& writer, std::vector<T> const& values)
    {
        for (T const& value : values)
        {
            putOne(writer, value);
        }
    }

    template <class T>
    [[gnu::noipa]] static void takeAll(Reader& reader, std::vector<T>& values)
    {
        for (T& value : values)
        {
            takeOne(reader, value);
        }
    }

    template <class TStream, class T, class... Arguments>
    static void writeTo(benchmark::State& state, std::vector<T> const& values, int rounds, Arguments... arguments)
    {
        for (auto each : state)
        {
            static_cast<void>(each);
            TStream stream(arguments...);
            for (int round = 0; round < rounds; ++round)
            {
                putAll(stream.Get(), values);
            }
            benchmark::DoNotOptimize(stream);
            benchmark::ClobberMemory();
        }
    }

    template <class T>
    static void write(benchmark::State& state, std::vector<T> const& values, SWriting writing)
    {
        if (writing.capacity != 0)
        {
            writeTo<typename TLibrary::CReserved>(state, values, writing.rounds, writing.capacity);
        }
        else
        {
            writeTo<typename TLibrary::CGrowing>(state, values, writing.rounds);
        }
    }

    template <class T>
    static void read(benchmark::State& state, std::vector<T> const& values)
    {
        typename TLibrary::CGrowing written;
        putAll(written.Get(), values);
        std::vector<unsigned char> const bytes = written.GetBytes();
        std::vector<T> targets(values);
        for (auto each : state)
        {
            static_cast<void>(each);
            typename TLibrary::CSource stream(bytes);
            takeAll(stream.Get(), targets);
            benchmark::DoNotOptimize(targets.data());
            benchmark::ClobberMemory();
        }
    }

    static void writeRecords(benchmark::State& state, std::vector<SRecord> const& records, SWriting writing)
    {
        write(state, records, writing);
    }

    static void writeNarrow(benchmark::State& state, std::vector<std::string> const& texts, SWriting writing)
    {
        write(state, made(texts, &TLibrary::MakeNarrow), writing);
    }

    static void writeWide(benchmark::State& state, std::vector<std::wstring> const& texts, SWriting writing)
    {
        write(state, made(texts, &TLibrary::MakeWide), writing);
    }

    static void writeBlocks(benchmark::State& state, std::vector<SBlock> const& blocks, SWriting writing)
    {
        write(state, blocks, writing);
    }

    static void readRecords(benchmark::State& state, std::vector<SRecord> const& records)
    {
        read(state, records);
    }

    static void readNarrow(benchmark::State& state, std::vector<std::string> const& texts)
    {
        read(state, made(texts, &TLibrary::MakeNarrow));
    }

    static void readWide(benchmark::State& state, std::vector<std::wstring> const& texts)
    {
        read(state, made(texts, &TLibrary::MakeWide));
    }

    static void readBlocks(benchmark::State& state, std::vector<SBlock> const& blocks)
    {
        read(state, blocks);
    }

    static constexpr SLibrary writeAndRead(char const* name)
    {
        return {name, writeRecords, writeNarrow, writeWide, writeBlocks, readRecords, readNarrow, readWide, readBlocks};
    }

private:
    template <class TFrom, class TTo>
    static std::vector<TTo> made(std::vector<TFrom> const& texts, TTo (*make)(TFrom const&))
    {
        std::vector<TTo> result;
        for (TFrom const& text : texts)
        {
            result.push_back(make(text));
        }
        return result;
    }
};

#endif // ORVANE_BENCH_STREAM_MEASURE_H
