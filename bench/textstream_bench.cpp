// Values as text into a collecting stream, and trace statements that go nowhere.

#include <sstream>
#include <string>

#include <benchmark/benchmark.h>
#ifdef ORVANE_BENCH_QT
#include <QString>
#include <QTextStream>
#endif

#include "orvane/stream/cbstreamwriteascii.h"
#include "orvane/stream/cbstreamwriteasciitrace.h"
#include "support/benchmain.h"

namespace
{
constexpr int c_Values = 64;

struct SValues
{
    int numbers[c_Values];
    double reals[c_Values];
};

SValues const& values()
{
    static SValues const s_values = []
    {
        SValues made;
        for (int n = 0; n < c_Values; ++n)
        {
            made.numbers[n] = (n % 2 == 0 ? 1 : -1) * n * n * n * 7919;
            made.reals[n] = n * 1234.56789 / (n % 7 + 1);
        }
        return made;
    }();
    return s_values;
}

struct SOwnNarrow
{
    CbStreamWriteASCIIStringT<CStringA> stream;
};

struct SOwnWide
{
    CbStreamWriteASCIIStringT<CStringW> stream;
};

// The same text: six digits behind the point, words for truth values.
struct SStandard
{
    SStandard()
    {
        stream.setf(std::ios::fixed | std::ios::boolalpha);
    }

    std::ostringstream stream;
};

#ifdef ORVANE_BENCH_QT
struct SQt
{
    SQt() : stream(&text)
    {
        stream.setRealNumberNotation(QTextStream::FixedNotation);
    }

    QString text;
    QTextStream stream;
};
#endif

// A fresh stream takes all the values; the time is for one of them.
template <class Holder, class Put>
void addRow(std::string const& name, Put put)
{
    benchmark::RegisterBenchmark(name.c_str(),
                                 [put](benchmark::State& state)
                                 {
                                     while (state.KeepRunningBatch(c_Values))
                                     {
                                         Holder holder;
                                         for (int n = 0; n < c_Values; ++n)
                                         {
                                             put(holder.stream, n);
                                         }
                                         benchmark::DoNotOptimize(holder);
                                         benchmark::ClobberMemory();
                                     }
                                 });
}

template <class Put>
void addRows(std::string const& row, Put put)
{
    addRow<SOwnNarrow>(row + "/orvane", put);
    addRow<SOwnWide>(row + "/orvane, wide", put);
    addRow<SStandard>(row + "/std::ostringstream", put);
#ifdef ORVANE_BENCH_QT
    addRow<SQt>(row + "/QTextStream", put);
#endif
}
} // namespace

void registerRows()
{
    addRows("int", [](auto& stream, int n) { stream << values().numbers[n]; });
    addRows("double", [](auto& stream, int n) { stream << values().reals[n]; });
    addRow<SOwnNarrow>("bool/orvane", [](auto& stream, int n) { stream << (n % 2 == 0); });
    addRow<SOwnWide>("bool/orvane, wide", [](auto& stream, int n) { stream << (n % 2 == 0); });
    addRow<SStandard>("bool/std::ostringstream", [](auto& stream, int n) { stream << (n % 2 == 0); });
#ifdef ORVANE_BENCH_QT
    addRow<SQt>("bool/QTextStream", [](auto& stream, int n) { stream << (n % 2 == 0 ? "true" : "false"); });
#endif
    addRows("text of 12 characters", [](auto& stream, int) { stream << "entry number"; });
    benchmark::RegisterBenchmark("trace statement without an output/orvane",
                                 [](benchmark::State& state)
                                 {
                                     for (auto each : state)
                                     {
                                         static_cast<void>(each);
                                         CbStreamWriteASCIITrace() << L"read " << 42 << L" entries\n";
                                     }
                                 });
}
