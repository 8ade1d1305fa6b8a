// Makes a catalogue of the files below a directory, reads it back by class name and compares; or shows a catalogue.

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "catalogfile.h"
#include "pathtext.h"

namespace fs = std::filesystem;

namespace
{
constexpr int c_ExitFailed = 1;
constexpr int c_ExitUsage = 2;

struct SOptions
{
    std::vector<fs::path> roots;
    std::optional<fs::path> output;
    std::optional<fs::path> show;
    std::optional<unsigned long> limit;
    bool isHelpWanted = false;
};

void printUsage(std::FILE* to)
{
    std::fputs(
        "catalog [--output FILE] [PATH...]   writes a catalogue of the files at and below PATH (default: a system\n"
        "                                    directory), reads it back and compares; FILE is catalog.orvane by "
        "default\n"
        "catalog --show FILE [--limit N]     lists a catalogue, or its first N entries\n"
        "catalog --help                      shows this\n"
        "A name that begins with - is given as ./-\n"
        "Exit code 0: all is in the catalogue; 1: something could not be read or written; 2: the call is wrong, and\n"
        "nothing was written.\n",
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

// Raises: std::invalid_argument.
unsigned long parseNumber(std::string const& text)
{
    unsigned long number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
    {
        throw std::invalid_argument("'" + text + "' is no number");
    }
    return number;
}

// Refuses what makes no sense together: a call that is wrong must not replace a file. Raises: std::invalid_argument.
void checkOptions(SOptions const& options)
{
    if (options.show && !options.roots.empty())
    {
        throw std::invalid_argument("--show takes one file, '" + NarrowTextOf(options.roots.front()) + "' is too much");
    }
    if (options.show && options.output)
    {
        throw std::invalid_argument("--show writes nothing, --output does");
    }
    if (options.limit && !options.show)
    {
        throw std::invalid_argument("--limit goes with --show");
    }
}

// Raises: std::invalid_argument with the reason.
SOptions parseArguments(int count, char** arguments)
{
    SOptions options;
    for (int i = 1; i < count && !options.isHelpWanted; ++i)
    {
        std::string const argument = arguments[i];
        auto const value = [&]
        {
            // What begins with a dash is an option whose turn it is not.
            if (++i == count || arguments[i][0] == '-')
            {
                throw std::invalid_argument(argument + " needs a value");
            }
            return arguments[i];
        };
        if (argument == "--help" || argument == "-h")
        {
            options.isHelpWanted = true;
        }
        else if (argument == "--output")
        {
            options.output = PathOf(value());
        }
        else if (argument == "--show")
        {
            options.show = PathOf(value());
        }
        else if (argument == "--limit")
        {
            options.limit = parseNumber(value());
        }
        else if (argument.starts_with('-'))
        {
            throw std::invalid_argument("'" + argument + "' is no option");
        }
        else
        {
            options.roots.push_back(PathOf(arguments[i]));
        }
    }
    if (!options.isHelpWanted)
    {
        checkOptions(options);
    }
    return options;
}

// Where a name stands in a catalogue: by its code points, which no file system's own order disturbs. What has no text
// comes first; it will not be in the catalogue.
std::u8string orderOf(fs::path const& path)
{
    try
    {
        return path.generic_u8string();
    }
    catch (fs::filesystem_error const&)
    {
        return {};
    }
}

// The files at and below paths.
class CFinder
{
public:
    // A path that is not there is kept: reading it will say why it cannot be read.
    void Add(fs::path const& root)
    {
        std::error_code ignored;
        if (!fs::is_directory(root, ignored))
        {
            m_files.push_back(root);
            return;
        }
        std::vector<fs::path> directories = {root};
        while (!directories.empty())
        {
            fs::path const directory = std::move(directories.back());
            directories.pop_back();
            if (!standsInItself(directory, root))
            {
                addDirectory(directory, directories);
            }
        }
    }

    // In the order of their names.
    std::vector<fs::path> TakeFiles()
    {
        std::sort(m_files.begin(), m_files.end(),
                  [](fs::path const& a, fs::path const& b) { return orderOf(a) < orderOf(b); });
        return std::move(m_files);
    }

    // Of directories, and of what stands in them, that could not be looked at.
    std::size_t GetUnreadableCount() const
    {
        return m_unreadable;
    }

private:
    // Whether a link leads back to a directory on the way here.
    static bool standsInItself(fs::path const& directory, fs::path const& root)
    {
        std::error_code ignored;
        fs::path above = directory;
        while (above.native().size() > root.native().size())
        {
            above = above.parent_path();
            if (fs::equivalent(directory, above, ignored))
            {
                return true;
            }
        }
        return false;
    }

    void addDirectory(fs::path const& directory, std::vector<fs::path>& directories)
    {
        std::error_code error;
        for (fs::directory_iterator at(directory, error), end; at != end; at.increment(error))
        {
            addEntry(*at, directories);
        }
        if (error)
        {
            refuse(directory, error);
        }
    }

    // Links are followed; one that leads nowhere, and what is no file, is passed over.
    void addEntry(fs::directory_entry const& entry, std::vector<fs::path>& directories)
    {
        std::error_code error;
        fs::file_status const status = entry.status(error);
        if (fs::is_directory(status))
        {
            directories.push_back(entry.path());
        }
        else if (fs::is_regular_file(status))
        {
            m_files.push_back(entry.path());
        }
        else if (!fs::exists(status) && !leadsNowhere(entry, status))
        {
            refuse(entry.path(), error ? error : std::make_error_code(std::errc::no_such_file_or_directory));
        }
    }

    static bool leadsNowhere(fs::directory_entry const& entry, fs::file_status const& status)
    {
        std::error_code ignored;
        return status.type() == fs::file_type::not_found && entry.is_symlink(ignored);
    }

    void refuse(fs::path const& path, std::error_code const& error)
    {
        ++m_unreadable;
        std::fprintf(stderr, "catalog: %s cannot be read: %s\n", NarrowTextOf(path).c_str(), error.message().c_str());
    }

    std::vector<fs::path> m_files;
    std::size_t m_unreadable = 0;
};

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

// What becomes of the files that were found.
struct SCollected
{
    std::vector<CFileEntry> entries; // in the order of the names
    unsigned __int64 bytes = 0;
    std::size_t unreadable = 0;
};

SCollected collect(std::vector<fs::path> const& roots)
{
    constexpr std::size_t c_Ahead = 256; // tasks in the pool at a time
    constexpr unsigned int c_NoTimeout = 0xFFFFFFFF;

    CFinder finder;
    for (fs::path const& root : roots)
    {
        finder.Add(root);
    }
    std::vector<fs::path> const files = finder.TakeFiles();
    SCollected collected;
    collected.unreadable = finder.GetUnreadableCount();
    CProgress progress(files.size());
    std::deque<CbSmartPointer<CFileTask>> tasks;
    for (std::size_t next = 0; next < files.size() || !tasks.empty();)
    {
        if (next < files.size() && tasks.size() < c_Ahead)
        {
            tasks.push_back(MakeCounted<CFileTask>(files[next++]));
            // False says here that no further worker could be started for the task: it is queued for those there are.
            // The other reasons do not arise: there is a task, it is never to be dropped, nobody shuts the pool down.
            CbThreadPool::GetInstance().AddTask(tasks.back(), tasks.back()->GetPriority());
            continue;
        }
        // Whichever ends first: the catalogue has the order of the names.
        CbSmartPointer<CFileTask> const task = std::move(tasks.front());
        tasks.pop_front();
        task->WaitUntilTerminate(c_NoTimeout).Ignore();
        if (task->HasFailed())
        {
            ++collected.unreadable;
        }
        else
        {
            collected.entries.push_back(task->TakeEntry());
            collected.bytes += collected.entries.back().GetSize();
        }
        progress.Advance();
    }
    return collected;
}

int makeCatalog(std::vector<fs::path> const& roots, fs::path const& output)
{
    auto const started = std::chrono::steady_clock::now();
    SCollected const collected = collect(roots);
    std::vector<CFileEntry> const& entries = collected.entries;
    if (entries.empty() && collected.unreadable != 0)
    {
        std::fprintf(stderr, "catalog: nothing could be read, so %s is not written\n", NarrowTextOf(output).c_str());
        return c_ExitFailed;
    }
    WriteCatalog(output, entries);

    std::size_t equal = 0;
    std::size_t position = 0;
    unsigned int const read =
        ReadCatalog(output,
                    [&](std::unique_ptr<ISerializable> object)
                    {
                        auto const* const entry = dynamic_cast<CFileEntry const*>(object.get());
                        equal += entry != nullptr && position < entries.size() && *entry == entries[position] ? 1u : 0u;
                        ++position;
                    });
    auto const elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - started);

    std::printf("files catalogued  %zu (%llu bytes)\n", entries.size(),
                static_cast<unsigned long long>(collected.bytes));
    std::printf("files unreadable  %zu\n", collected.unreadable);
    std::printf("catalogue         %s, %llu bytes\n", NarrowTextOf(output).c_str(),
                static_cast<unsigned long long>(fs::file_size(output)));
    std::printf("read back         %u entries, %zu equal\n", read, equal);
    std::printf("time              %.2f s\n", elapsed.count());
    if (equal != entries.size() || read != entries.size())
    {
        std::fputs("catalog: what was read back differs from what was written\n", stderr);
        return c_ExitFailed;
    }
    return collected.unreadable == 0 ? EXIT_SUCCESS : c_ExitFailed;
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

int showCatalog(fs::path const& file, unsigned long limit)
{
    unsigned long shown = 0;
    unsigned long unknown = 0;
    unsigned int const count = ReadCatalog(file,
                                           [&](std::unique_ptr<ISerializable> object)
                                           {
                                               auto const* const entry = dynamic_cast<CFileEntry const*>(object.get());
                                               if (entry == nullptr)
                                               {
                                                   ++unknown;
                                               }
                                               else if (shown < limit)
                                               {
                                                   ++shown;
                                                   printEntry(*entry);
                                               }
                                           });
    std::printf("%u entries, %lu shown, %lu of unknown classes\n", count, shown, unknown);
    return EXIT_SUCCESS;
}

// What the system gave as the reason, if it did: that of the first cause which has one.
std::string reasonOf(IException const& exception)
{
    std::shared_ptr<IException> history;
    IException const* cause = &exception;
    while (auto const* const full = dynamic_cast<CbException const*>(cause))
    {
        if (auto const* const standard = dynamic_cast<CbExceptionStd const*>(full))
        {
            return standard->GetInformation();
        }
        history = full->GetHistory();
        cause = history.get();
    }
    return "not a catalogue, or damaged";
}

// `what` the program was about to do with its file, which `work` does.
template <class TWork>
int reportFailure(fs::path const& file, char const* what, TWork work)
{
    try
    {
        return work();
    }
    catch (IException const& exception)
    {
        std::fprintf(stderr, "catalog: %s: cannot be %s: %s (raised at %s:%u)\n", NarrowTextOf(file).c_str(), what,
                     reasonOf(exception).c_str(), exception.GetFilename(), exception.GetCodeLine());
        return c_ExitFailed;
    }
}

int run(SOptions const& options)
{
    if (options.show)
    {
        unsigned long const limit = options.limit.value_or(~0ul);
        return reportFailure(*options.show, "read", [&] { return showCatalog(*options.show, limit); });
    }
    std::vector<fs::path> const roots = options.roots.empty() ? std::vector{defaultRoot()} : options.roots;
    fs::path const output = options.output.value_or("catalog.orvane");
    return reportFailure(output, "written or read back", [&] { return makeCatalog(roots, output); });
}
} // namespace

int main(int count, char** arguments)
{
    try
    {
        SOptions const options = parseArguments(count, arguments);
        if (options.isHelpWanted)
        {
            printUsage(stdout);
            return EXIT_SUCCESS;
        }
        return run(options);
    }
    catch (std::invalid_argument const& exception)
    {
        std::fprintf(stderr, "catalog: %s\n\n", exception.what());
        printUsage(stderr);
        return c_ExitUsage;
    }
    catch (std::exception const& exception)
    {
        std::fprintf(stderr, "catalog: %s\n", exception.what());
        return c_ExitFailed;
    }
}
