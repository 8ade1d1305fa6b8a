// Makes a catalogue of the files below a directory, reads it back by class name and compares; or shows a catalogue.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "catalogfile.h"

namespace fs = std::filesystem;

namespace
{
constexpr int c_ExitFailed = 1;
constexpr int c_ExitUsage = 2;

struct SOptions
{
    std::vector<fs::path> roots;
    fs::path output = "catalog.orvane";
    std::optional<fs::path> show;
    unsigned long limit = ~0ul;
};

void printUsage(std::FILE* to)
{
    std::fputs(
        "catalog [--output FILE] [PATH...]   writes a catalogue of the files at and below PATH (default: a system\n"
        "                                    directory), reads it back and compares\n"
        "catalog --show FILE [--limit N]     lists a catalogue\n",
        to);
}

// A directory of some thousand files that is there on an ordinary machine.
fs::path defaultRoot()
{
    std::error_code ignored;
    for (char const* candidate : {"/usr/include", "C:/Windows/System32", "."})
    {
        if (fs::is_directory(candidate, ignored))
        {
            return candidate;
        }
    }
    return ".";
}

bool parseArguments(int count, char** arguments, SOptions& options)
{
    for (int i = 1; i < count; ++i)
    {
        std::string const argument = arguments[i];
        bool const hasValue = i + 1 < count;
        if (argument == "--output" && hasValue)
        {
            options.output = arguments[++i];
        }
        else if (argument == "--show" && hasValue)
        {
            options.show = arguments[++i];
        }
        else if (argument == "--limit" && hasValue)
        {
            options.limit = std::strtoul(arguments[++i], nullptr, 10);
        }
        else if (argument.starts_with("--"))
        {
            return false;
        }
        else
        {
            options.roots.emplace_back(argument);
        }
    }
    if (options.roots.empty())
    {
        options.roots.push_back(defaultRoot());
    }
    return true;
}

// The files at and below the roots, in the order of their names, which no file system's own order disturbs. A root that
// is not there is kept: reading it will say why it cannot be read.
std::vector<fs::path> findFiles(std::vector<fs::path> const& roots)
{
    std::vector<fs::path> files;
    auto const options =
        fs::directory_options::skip_permission_denied | fs::directory_options::follow_directory_symlink;
    for (fs::path const& root : roots)
    {
        std::error_code error;
        if (!fs::is_directory(root, error))
        {
            files.push_back(root);
            continue;
        }
        for (fs::recursive_directory_iterator at(root, options, error), end; at != end; at.increment(error))
        {
            std::error_code ignored;
            if (at->is_regular_file(ignored))
            {
                files.push_back(at->path());
            }
            if (error)
            {
                break;
            }
        }
        if (error)
        {
            std::fprintf(stderr, "catalog: stopped walking %s: %s\n", root.string().c_str(), error.message().c_str());
        }
    }
    std::sort(files.begin(), files.end(),
              [](fs::path const& a, fs::path const& b) { return a.generic_u8string() < b.generic_u8string(); });
    return files;
}

// Reads one file on a thread of the pool.
class CFileTask : public CbTask
{
public:
    explicit CFileTask(fs::path file) : m_file(std::move(file))
    {
    }

    // Small files first: what a large one takes keeps nobody waiting.
    CbThreadPool::ETaskPriority GetPriority() const
    {
        constexpr std::uintmax_t c_Small = std::uintmax_t{64} * 1024;
        constexpr std::uintmax_t c_Large = std::uintmax_t{4} * 1024 * 1024;
        std::error_code error;
        std::uintmax_t const size = fs::file_size(m_file, error);
        if (error || size < c_Small)
        {
            return CbThreadPool::eTaskPriorityHigh;
        }
        return size < c_Large ? CbThreadPool::eTaskPriorityNormal : CbThreadPool::eTaskPriorityLow;
    }

    // Once the task has ended.
    bool HasFailed() const
    {
        return m_hasFailed;
    }

    CFileEntry TakeEntry()
    {
        return std::move(m_entry);
    }

protected:
    TCheckedBool run() override
    {
        m_entry = CFileEntry::FromFile(m_file);
        return true;
    }

    void onException(CbException const*) override
    {
        // The exception has written itself and its cause to the log; the other files go on.
        m_hasFailed = true;
    }

private:
    fs::path m_file;
    CFileEntry m_entry;
    bool m_hasFailed = false;
};

// A line that shows how far the work is, where standard error is a terminal.
class CProgress
{
public:
    explicit CProgress(std::size_t total) : m_total(total)
    {
    }

    CProgress(CProgress const&) = delete;
    CProgress& operator=(CProgress const&) = delete;

    ~CProgress()
    {
        if (m_isShown)
        {
            std::fprintf(stderr, "\r%*s\r", c_Width, "");
        }
    }

    void Advance()
    {
        if (m_isShown && ++m_done % c_Step == 0)
        {
            std::fprintf(stderr, "\r%zu of %zu files", m_done, m_total);
        }
    }

private:
    static constexpr int c_Width = 60;
    static constexpr std::size_t c_Step = 32;

    bool const m_isShown = isatty(2) != 0;
    std::size_t const m_total;
    std::size_t m_done = 0;
};

int makeCatalog(SOptions const& options)
{
    constexpr std::size_t c_Ahead = 256; // tasks in the pool at a time
    constexpr unsigned int c_NoTimeout = 0xFFFFFFFF;

    auto const started = std::chrono::steady_clock::now();
    std::vector<CFileEntry> entries;
    unsigned __int64 bytes = 0;
    std::size_t failed = 0;
    {
        std::vector<fs::path> const files = findFiles(options.roots);
        CProgress progress(files.size());
        std::deque<CbSmartPointer<CFileTask>> tasks;
        for (std::size_t next = 0; next < files.size() || !tasks.empty();)
        {
            if (next < files.size() && tasks.size() < c_Ahead)
            {
                tasks.push_back(MakeCounted<CFileTask>(files[next++]));
                // False is no failure: what found no worker of its own is queued for the others.
                CbThreadPool::GetInstance().AddTask(tasks.back(), tasks.back()->GetPriority());
                continue;
            }
            // Whichever ends first: the catalogue has the order of the names.
            CbSmartPointer<CFileTask> const task = std::move(tasks.front());
            tasks.pop_front();
            task->WaitUntilTerminate(c_NoTimeout).Ignore();
            if (task->HasFailed())
            {
                ++failed;
            }
            else
            {
                entries.push_back(task->TakeEntry());
                bytes += entries.back().GetSize();
            }
            progress.Advance();
        }
    }
    WriteCatalog(options.output, entries);

    std::size_t equal = 0;
    std::size_t position = 0;
    unsigned int const read =
        ReadCatalog(options.output,
                    [&](std::unique_ptr<ISerializable> object)
                    {
                        auto const* const entry = dynamic_cast<CFileEntry const*>(object.get());
                        equal += entry != nullptr && position < entries.size() && *entry == entries[position] ? 1u : 0u;
                        ++position;
                    });
    auto const elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - started);

    std::printf("files catalogued  %zu (%llu bytes)\n", entries.size(), static_cast<unsigned long long>(bytes));
    std::printf("files unreadable  %zu\n", failed);
    std::printf("catalogue         %s, %llu bytes\n", options.output.generic_string().c_str(),
                static_cast<unsigned long long>(fs::file_size(options.output)));
    std::printf("read back         %u entries, %zu equal\n", read, equal);
    std::printf("time              %.2f s\n", elapsed.count());
    if (equal != entries.size() || read != entries.size())
    {
        std::fputs("catalog: what was read back differs from what was written\n", stderr);
        return c_ExitFailed;
    }
    return EXIT_SUCCESS;
}

void printEntry(CFileEntry const& entry)
{
    CStringA first;
    for (unsigned char const byte : entry.GetFirstBytes())
    {
        first.AppendFormat("%02x", byte);
    }
    // As text a date-time is UTC.
    CStringA const written = entry.GetWritten().IsNull() ? CStringA("unknown") : entry.GetWritten().GetAs<CStringA>();
    std::printf("%10llu  %016llx  %s  %s\n%12s%s\n", static_cast<unsigned long long>(entry.GetSize()),
                static_cast<unsigned long long>(entry.GetDigest()), written.GetString(),
                CStringA(entry.GetPath()).GetString(), "", first.GetString());
}

int showCatalog(SOptions const& options)
{
    unsigned long shown = 0;
    unsigned long unknown = 0;
    unsigned int const count = ReadCatalog(*options.show,
                                           [&](std::unique_ptr<ISerializable> object)
                                           {
                                               auto const* const entry = dynamic_cast<CFileEntry const*>(object.get());
                                               if (entry == nullptr)
                                               {
                                                   ++unknown;
                                               }
                                               else if (shown < options.limit)
                                               {
                                                   ++shown;
                                                   printEntry(*entry);
                                               }
                                           });
    std::printf("%u entries, %lu shown, %lu of unknown classes\n", count, shown, unknown);
    return EXIT_SUCCESS;
}
} // namespace

int main(int count, char** arguments)
{
    SOptions options;
    if (!parseArguments(count, arguments, options))
    {
        printUsage(stderr);
        return c_ExitUsage;
    }
    try
    {
        return options.show ? showCatalog(options) : makeCatalog(options);
    }
    catch (IException const& exception)
    {
        fs::path const& file = options.show ? *options.show : options.output;
        std::fprintf(stderr, "catalog: %s: %s (raised at %s:%u)\n", file.generic_string().c_str(),
                     options.show ? "cannot be read: missing, not a catalogue, or damaged"
                                  : "cannot be written or read back",
                     exception.GetFilename(), exception.GetCodeLine());
        return c_ExitFailed;
    }
    catch (std::exception const& exception)
    {
        std::fprintf(stderr, "catalog: %s\n", exception.what());
        return c_ExitFailed;
    }
}
