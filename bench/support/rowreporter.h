// The console's report, and at its end one table of rows with a column for each library.

#ifndef ORVANE_BENCH_SUPPORT_ROWREPORTER_H
#define ORVANE_BENCH_SUPPORT_ROWREPORTER_H

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

/// Reports as the console reporter does and closes with a Markdown table: the medians in nanoseconds and, in brackets,
/// orvane's time divided by the library's. Below 1 orvane is ahead.
/// A single run without repetitions counts as its own median. Rows show processor time, which other processes disturb
/// less, but for rows of several threads and those registered with real or manual time, which show that.
class CRowReporter : public benchmark::ConsoleReporter
{
public:
    CRowReporter();

    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    /// Whether a row reported an error.
    bool HasFailed() const;

private:
    struct SMedian
    {
        std::string row;
        std::string library;
        double nanoseconds;
    };

    // In the order of registration, which is not that of measuring where runs are interleaved.
    std::map<long long, SMedian> m_medians;
    bool m_hasFailed = false;
};

#endif // ORVANE_BENCH_SUPPORT_ROWREPORTER_H
