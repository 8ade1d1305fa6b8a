#include "support/rowreporter.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace
{
constexpr char c_Own[] = "orvane";

std::string shown(double nanoseconds)
{
    char text[32];
    std::snprintf(text, sizeof text, nanoseconds < 100 ? "%.1f" : "%.0f", nanoseconds);
    return text;
}

std::string shownRatio(double ratio)
{
    char text[32];
    std::snprintf(text, sizeof text, " (%.2f)", ratio);
    return text;
}
} // namespace

// Every row counts the same unit, so that columns can be compared without looking at it.
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
        const std::string library = name.substr(slash + 1);
        if (std::find(m_libraries.begin(), m_libraries.end(), library) == m_libraries.end())
        {
            m_libraries.push_back(library);
        }
        const std::string threads = run.threads > 1 ? ", " + std::to_string(run.threads) + " threads" : "";
        row(name.substr(0, slash) + threads).nanoseconds[library] =
            run.threads > 1 ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
    }
}

void CRowReporter::Finalize()
{
    ConsoleReporter::Finalize();
    if (m_rows.empty())
    {
        return;
    }
    std::cout << "\n| ns, median (orvane's time divided by the library's) |";
    for (const std::string& library : m_libraries)
    {
        std::cout << ' ' << library << " |";
    }
    std::cout << "\n|---|";
    for (std::size_t n = 0; n < m_libraries.size(); ++n)
    {
        std::cout << "---|";
    }
    for (const SRow& each : m_rows)
    {
        const auto own = each.nanoseconds.find(c_Own);
        std::cout << "\n| " << each.name << " |";
        for (const std::string& library : m_libraries)
        {
            const auto found = each.nanoseconds.find(library);
            if (found == each.nanoseconds.end())
            {
                std::cout << " |";
                continue;
            }
            const bool isCompared = library != c_Own && own != each.nanoseconds.end();
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

CRowReporter::SRow& CRowReporter::row(const std::string& name)
{
    const auto found = std::find_if(m_rows.begin(), m_rows.end(), [&](const SRow& each) { return each.name == name; });
    return found != m_rows.end() ? *found : m_rows.emplace_back(SRow{name, {}});
}
