// Tagged values: copied, assigned, converted, stored.

#include <any>
#include <string>
#include <utility>
#include <variant>

#include <benchmark/benchmark.h>
#ifdef ORVANE_BENCH_POCO
#include <Poco/Dynamic/Var.h>
#endif
#ifdef ORVANE_BENCH_QT
#include <QByteArray>
#include <QDataStream>
#include <QDateTime>
#include <QVariant>
#endif

#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "orvane/value/cbvariant.h"
#include "support/benchmain.h"

namespace
{
using StdVariant = std::variant<std::monostate, bool, int, long long, double, std::string, std::wstring>;

constexpr char c_Text[] = "a text of twenty-eight chars";
static_assert(sizeof c_Text - 1 == 28);

template <class Function>
void addRow(std::string const& row, Function function)
{
    benchmark::RegisterBenchmark(row.c_str(),
                                 [function](benchmark::State& state) mutable
                                 {
                                     for (auto each : state)
                                     {
                                         static_cast<void>(each);
                                         function();
                                     }
                                 });
}

// A copy is made and destroyed.
template <class T>
void addCopyRow(std::string const& row, T const& value)
{
    addRow(row,
           [value]() mutable
           {
               benchmark::DoNotOptimize(value);
               T copy(value);
               benchmark::DoNotOptimize(copy);
           });
}

// One of two values of the same kind is assigned to a third.
template <class T>
void addAssignRow(std::string const& row, T const& value, T const& other)
{
    addRow(row,
           [value, other, target = value]() mutable
           {
               benchmark::DoNotOptimize(value);
               target = value;
               benchmark::DoNotOptimize(target);
               target = other;
               benchmark::DoNotOptimize(target);
           });
}

template <class T, class TMake>
void addValueRows(std::string const& library, TMake make)
{
    addCopyRow<T>("copy, number/" + library, make(4711));
    addCopyRow<T>("copy, text of 28/" + library, make(std::string(c_Text)));
    addAssignRow<T>("assign twice, number/" + library, make(4711), make(12));
    addAssignRow<T>("assign twice, text of 28/" + library, make(std::string(c_Text)),
                    make(std::string(c_Text).replace(0, 1, "A")));
}

// ---- orvane

void addConversionRows()
{
    addRow("int to text and back/orvane",
           []
           {
               CbVariant value(4711);
               value.ConvertTo(CbVariant::eStringA).ConvertTo(CbVariant::eInt32);
               benchmark::DoNotOptimize(value);
           });
    addRow("int to wide text and back/orvane",
           []
           {
               CbVariant value(4711);
               value.ConvertTo(CbVariant::eStringW).ConvertTo(CbVariant::eInt32);
               benchmark::DoNotOptimize(value);
           });
    addRow("double to text and back/orvane",
           []
           {
               CbVariant value(4711.125);
               value.ConvertTo(CbVariant::eStringA).ConvertTo(CbVariant::eDouble);
               benchmark::DoNotOptimize(value);
           });
}

void addStoreRow(std::string const& kind, CbVariant const& value)
{
    addRow("write and read, " + kind + "/orvane",
           [value]
           {
               CbStreamWriteBinaryBuffer writer(256);
               value.Serialize(writer);
               CbStreamReadBinaryBuffer reader(writer.GetArray());
               CbVariant again;
               again.Serialize(reader);
               benchmark::DoNotOptimize(again);
           });
}

CbArray<unsigned char> makeBytes()
{
    CbArray<unsigned char> bytes(64);
    for (unsigned int n = 0; n < bytes.GetCount(); ++n)
    {
        bytes[n] = static_cast<unsigned char>(n);
    }
    return bytes;
}

void addStoreRows()
{
    addStoreRow("null", CbVariant());
    addStoreRow("bool", CbVariant(true));
    addStoreRow("char", CbVariant('A'));
    addStoreRow("8 bits", CbVariant(static_cast<signed char>(-2)));
    addStoreRow("8 bits unsigned", CbVariant(static_cast<unsigned char>(200)));
    addStoreRow("16 bits", CbVariant(static_cast<short>(-2)));
    addStoreRow("16 bits unsigned", CbVariant(static_cast<unsigned short>(200)));
    addStoreRow("32 bits", CbVariant(-2));
    addStoreRow("32 bits unsigned", CbVariant(200u));
    addStoreRow("64 bits", CbVariant(-2ll));
    addStoreRow("64 bits unsigned", CbVariant(200ull));
    addStoreRow("float", CbVariant(1.5f));
    addStoreRow("double", CbVariant(1.5));
    addStoreRow("narrow text of 28", CbVariant(c_Text));
    addStoreRow("wide text of 28", CbVariant(CStringW(c_Text)));
    addStoreRow("64 bytes", CbVariant(makeBytes()));
    addStoreRow("date-time", CbVariant(CbDateTime(2024, 5, 6, 7, 8, 9, 0)));
}

// ---- Poco

#ifdef ORVANE_BENCH_POCO
void addPocoRows()
{
    using Poco::Dynamic::Var;
    addValueRows<Var>("poco", [](auto const& value) { return Var(value); });
    addRow("int to text and back/poco",
           []
           {
               Var value(4711);
               value = value.convert<std::string>();
               value = value.convert<int>();
               benchmark::DoNotOptimize(value);
           });
    addRow("double to text and back/poco",
           []
           {
               Var value(4711.125);
               value = value.convert<std::string>();
               value = value.convert<double>();
               benchmark::DoNotOptimize(value);
           });
}
#endif

// ---- Qt

#ifdef ORVANE_BENCH_QT
QVariant makeQt(int value)
{
    return QVariant(value);
}

QVariant makeQt(std::string const& text)
{
    return QVariant(QString::fromStdString(text));
}

void addQtStoreRow(std::string const& kind, QVariant const& value)
{
    addRow("write and read, " + kind + "/qt",
           [value]
           {
               QByteArray bytes;
               bytes.reserve(256);
               QDataStream writer(&bytes, QIODevice::WriteOnly);
               writer << value;
               QDataStream reader(bytes);
               QVariant again;
               reader >> again;
               benchmark::DoNotOptimize(again);
           });
}

void addQtRows()
{
    addValueRows<QVariant>("qt", [](auto const& value) { return makeQt(value); });
    for (char const* const row : {"int to text and back/qt", "int to wide text and back/qt"})
    {
        addRow(row,
               []
               {
                   QVariant value(4711);
                   value.convert(QMetaType::QString);
                   value.convert(QMetaType::Int);
                   benchmark::DoNotOptimize(value);
               });
    }
    addRow("double to text and back/qt",
           []
           {
               QVariant value(4711.125);
               value.convert(QMetaType::QString);
               value.convert(QMetaType::Double);
               benchmark::DoNotOptimize(value);
           });

    addQtStoreRow("null", QVariant());
    addQtStoreRow("bool", QVariant(true));
    addQtStoreRow("char", QVariant::fromValue('A'));
    addQtStoreRow("8 bits", QVariant::fromValue(static_cast<signed char>(-2)));
    addQtStoreRow("8 bits unsigned", QVariant::fromValue(static_cast<unsigned char>(200)));
    addQtStoreRow("16 bits", QVariant::fromValue(static_cast<short>(-2)));
    addQtStoreRow("16 bits unsigned", QVariant::fromValue(static_cast<unsigned short>(200)));
    addQtStoreRow("32 bits", QVariant(-2));
    addQtStoreRow("32 bits unsigned", QVariant(200u));
    addQtStoreRow("64 bits", QVariant(-2ll));
    addQtStoreRow("64 bits unsigned", QVariant(200ull));
    addQtStoreRow("float", QVariant(1.5f));
    addQtStoreRow("double", QVariant(1.5));
    addQtStoreRow("narrow text of 28", QVariant(QByteArray(c_Text)));
    addQtStoreRow("wide text of 28", makeQt(std::string(c_Text)));
    CbArray<unsigned char> const bytes = makeBytes();
    addQtStoreRow("64 bytes", QVariant(QByteArray(reinterpret_cast<char const*>(bytes.GetData()), 64)));
    addQtStoreRow("date-time", QVariant(QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC)));
    addQtStoreRow("date-time, local", QVariant(QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::LocalTime)));
}
#endif
} // namespace

void registerRows()
{
    addValueRows<CbVariant>("orvane", [](auto const& value) { return CbVariant(value); });
    addValueRows<StdVariant>("std::variant", [](auto const& value) { return StdVariant(value); });
    addValueRows<std::any>("std::any", [](auto const& value) { return std::any(value); });
    addConversionRows();
    addStoreRows();
#ifdef ORVANE_BENCH_POCO
    addPocoRows();
#endif
#ifdef ORVANE_BENCH_QT
    addQtRows();
#endif
}
