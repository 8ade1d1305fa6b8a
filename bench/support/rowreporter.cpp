#include "support/rowreporter.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <utility>

namespace
{
constexpr char c_Own[] = "orvane";

std::string shown(double nanoseconds)
{
    char text[32];
    std::snprintf(text, sizeof text, nanoseconds < 100 ? "%.1f" : "%.0f", nanoseconds);
    return text;
}

void addOnce(std::vector<std::string>& list, const std::string& text)
{
    if (std::find(list.begin(), list.end(), text) == list.end())
    {
        list.push_back(text);
    }
}

std::string shownRatio(double ratio)
{
    char text[32];
    std::snprintf(text, sizeof text, " (%.2f)", ratio);
    return text;
}
} // namespace

CRowReporter::CRowReporter() : ConsoleReporter(OO_Tabular)
{
}

void CRowReporter::ReportRuns(const std::vector<Run>& runs)
{
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs)
    {
        m_hasFailed = m_hasFailed || run.error_occurred;
        const bool isMedian = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
        const bool isOnly = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
        if (run.error_occurred || (!isMedian && !isOnly))
        {
            continue;
        }
        const std::string& name = run.run_name.function_name;
        const std::size_t slash = name.rfind('/');
        const std::string threads = run.threads > 1 ? ", " + std::to_string(run.threads) + " threads" : "";
        const bool isReal = run.threads > 1 || !run.run_name.time_type.empty();
        m_medians[run.family_index] = {name.substr(0, slash) + threads, name.substr(slash + 1),
                                       isReal ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime()};
    }
}

void CRowReporter::Finalize()
{
    ConsoleReporter::Finalize();
    if (m_medians.empty())
    {
        return;
    }
    std::vector<std::string> rows;
    std::vector<std::string> libraries;
    std::map<std::pair<std::string, std::string>, double> nanoseconds;
    for (const auto& [index, median] : m_medians)
    {
        addOnce(rows, median.row);
        addOnce(libraries, median.library);
        nanoseconds[{median.row, median.library}] = median.nanoseconds;
    }
    std::cout << "\n| ns, median (orvane's time divided by the library's) |";
    for (const std::string& library : libraries)
    {
        std::cout << ' ' << library << " |";
    }
    std::cout << "\n|---|";
    for (std::size_t n = 0; n < libraries.size(); ++n)
    {
        std::cout << "---|";
    }
    for (const std::string& row : rows)
    {
        const auto own = nanoseconds.find({row, c_Own});
        std::cout << "\n| " << row << " |";
        for (const std::string& library : libraries)
        {
            const auto found = nanoseconds.find({row, library});
            if (found == nanoseconds.end())
            {
                std::cout << " |";
                continue;
            }
            const bool isCompared = library != c_Own && own != nanoseconds.end();
            std::cout << ' ' << shown(found->second)
                      << (isCompared ? shownRatio(own->second / found->second) : std::string()) << " |";
        }
    }
    std::cout << std::endl;
}

bool CRowReporter::HasFailed() const
{
    return m_hasFailed;
}
