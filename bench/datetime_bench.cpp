// Date-times as text and from text, calendar fields to ticks and back, and UTC to local time.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#ifdef ORVANE_BENCH_POCO
#include <Poco/DateTime.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/DateTimeParser.h>
#endif
#ifdef ORVANE_BENCH_BOOST
#include <boost/date_time/posix_time/posix_time.hpp>
#endif
#ifdef ORVANE_BENCH_QT
#include <QDateTime>
#include <QString>
#endif
#ifdef ORVANE_BENCH_ABSL
#include <absl/time/time.h>
#endif

#include "orvane/datetime/cbdatetime.h"
#include "support/benchmain.h"

namespace
{
constexpr std::size_t c_Count = 256; // times that each row goes round; a power of 2
constexpr __int64 c_First = 1'700'000'000;
constexpr __int64 c_Step = 98'765; // a bit more than a day

// Times that are not all alike, as every library holds them.
template <class T, class Make>
std::vector<T> makeAll(Make make)
{
    std::vector<T> all;
    for (std::size_t n = 0; n < c_Count; ++n)
    {
        all.push_back(make(static_cast<std::time_t>(c_First + static_cast<__int64>(n) * c_Step)));
    }
    return all;
}

// Runs `function` for one time after the other.
template <class T, class Function>
void addRow(char const* row, std::vector<T> values, Function function)
{
    benchmark::RegisterBenchmark(row,
                                 [values = std::move(values), function](benchmark::State& state)
                                 {
                                     std::size_t n = 0;
                                     for (auto each : state)
                                     {
                                         static_cast<void>(each);
                                         auto result = function(values[n++ % c_Count]);
                                         benchmark::DoNotOptimize(result);
                                     }
                                 });
}

std::tm fieldsOf(std::time_t time)
{
    std::tm fields = {};
    gmtime_r(&time, &fields);
    return fields;
}

std::string textOf(std::time_t time)
{
    return CbDateTime(time).ToString("Y-m-d H:i:s", false).GetString();
}

void addTextRows()
{
    auto const times = makeAll<CbDateTime>([](std::time_t time) { return CbDateTime(time); });
    addRow("text of a time/orvane", times, [](CbDateTime const& time) { return time.ToString("Y-m-d H:i:s", false); });
    addRow("text of a time/strftime", makeAll<std::tm>(fieldsOf),
           [](std::tm const& fields)
           {
               char text[32];
               return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields));
           });
    auto const texts = makeAll<std::string>(textOf);
    addRow("time of a text/orvane", texts, [](std::string const& text) { return CbDateTime(text.c_str()); });
    addRow("time of a text/sscanf", texts,
           [](std::string const& text)
           {
               SYSTEMTIME fields = {};
               std::sscanf(text.c_str(), "%hu-%hu-%hu %hu:%hu:%hu", &fields.wYear, &fields.wMonth, &fields.wDay,
                           &fields.wHour, &fields.wMinute, &fields.wSecond);
               return fields;
           });
    addRow("time of a text, strictly/orvane", texts,
           [](std::string const& text) { return CbDateTime::TryParse(text).has_value(); });
#ifdef ORVANE_BENCH_POCO
    addRow(
        "text of a time/POCO",
        makeAll<Poco::DateTime>([](std::time_t time) { return Poco::DateTime(Poco::Timestamp::fromEpochTime(time)); }),
        [](Poco::DateTime const& time) { return Poco::DateTimeFormatter::format(time, "%Y-%m-%d %H:%M:%S"); });
    addRow("time of a text/POCO", texts,
           [](std::string const& text)
           {
               int zone = 0;
               return Poco::DateTimeParser::parse("%Y-%m-%d %H:%M:%S", text, zone);
           });
    addRow("time of a text, strictly/POCO", texts,
           [](std::string const& text)
           {
               int zone = 0;
               Poco::DateTime time;
               return Poco::DateTimeParser::tryParse("%Y-%m-%d %H:%M:%S", text, time, zone);
           });
#endif
#ifdef ORVANE_BENCH_BOOST
    addRow("text of a time/Boost", makeAll<boost::posix_time::ptime>(boost::posix_time::from_time_t),
           [](boost::posix_time::ptime const& time) { return boost::posix_time::to_iso_extended_string(time); });
    addRow("time of a text/Boost", texts,
           [](std::string const& text) { return boost::posix_time::time_from_string(text); });
#endif
#ifdef ORVANE_BENCH_QT
    auto const qtTime = [](std::time_t time) { return QDateTime::fromSecsSinceEpoch(time, Qt::UTC); };
    auto const qtText = [](std::time_t time) { return QString::fromStdString(textOf(time)).replace(' ', 'T') + 'Z'; };
    // Qt's own fast forms of the same length; by a format string they take several times as long.
    addRow("text of a time/Qt", makeAll<QDateTime>(qtTime),
           [](QDateTime const& time) { return time.toString(Qt::ISODate); });
    addRow("time of a text/Qt", makeAll<QString>(qtText),
           [](QString const& text) { return QDateTime::fromString(text, Qt::ISODate); });
    addRow("time of a text, strictly/Qt", makeAll<QString>(qtText),
           [](QString const& text) { return QDateTime::fromString(text, Qt::ISODate).isValid(); });
#endif
#ifdef ORVANE_BENCH_ABSL
    addRow("text of a time/absl", makeAll<absl::Time>(absl::FromTimeT),
           [](absl::Time time) { return absl::FormatTime("%Y-%m-%d %H:%M:%S", time, absl::UTCTimeZone()); });
    addRow("time of a text/absl", texts,
           [](std::string const& text)
           {
               absl::Time time;
               absl::ParseTime("%Y-%m-%d %H:%M:%S", text, &time, nullptr);
               return time;
           });
#endif
}

void addCalendarRows()
{
    auto const times = makeAll<CbDateTime>([](std::time_t time) { return CbDateTime(time); });
    addRow("fields to ticks and back/orvane", times,
           [](CbDateTime const& time) { return CbDateTime(static_cast<unsigned __int64>(time)); });
    addRow("fields to ticks and back/timegm, gmtime_r", makeAll<std::tm>(fieldsOf),
           [](std::tm fields) { return fieldsOf(timegm(&fields)); });
    addRow("seconds to fields/orvane", makeAll<__int64>([](std::time_t time) { return time; }),
           [](__int64 seconds) { return CbDateTime(seconds); });
    addRow("seconds to fields/gmtime_r", makeAll<std::time_t>([](std::time_t time) { return time; }), fieldsOf);
}

void addZoneRows()
{
    addRow("UTC to local time/orvane",
           makeAll<SYSTEMTIME>([](std::time_t time) { return static_cast<SYSTEMTIME>(CbDateTime(time)); }),
           [](SYSTEMTIME const& universal)
           {
               SYSTEMTIME local;
               SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local);
               return local;
           });
    addRow("UTC to local time/localtime_r", makeAll<std::time_t>([](std::time_t time) { return time; }),
           [](std::time_t time)
           {
               std::tm fields = {};
               localtime_r(&time, &fields);
               return fields;
           });
    addRow("local time to UTC/orvane",
           makeAll<SYSTEMTIME>([](std::time_t time) { return static_cast<SYSTEMTIME>(CbDateTime(time)); }),
           [](SYSTEMTIME const& local)
           {
               SYSTEMTIME universal;
               TzSpecificLocalTimeToSystemTime(nullptr, &local, &universal);
               return universal;
           });
    addRow("local time to UTC/mktime", makeAll<std::tm>(fieldsOf),
           [](std::tm fields)
           {
               fields.tm_isdst = -1;
               return std::mktime(&fields);
           });
}
} // namespace

void registerRows()
{
    // A zone that changes its clocks, named, so that the C library need not look at the zone file each time.
    setenv("TZ", "Europe/Berlin", 1);
    _tzset();
    addTextRows();
    addCalendarRows();
    addZoneRows();
}
