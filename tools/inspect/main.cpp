// Shows any file of the binary encoding.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "inspector.h"
#include "logging/clogger.h"

namespace
{
constexpr int c_ExitUnsound = 1;
constexpr int c_ExitUsage = 2;

struct SOptions
{
    std::filesystem::path file;
    std::optional<Layout> layout;
    std::map<std::string, Layout> classes;
    unsigned long long begin = 0;
    bool isFull = false;
};

void printUsage(std::FILE* to)
{
    std::fputs(
        "orvane-inspect [OPTION...] FILE [LAYOUT]   shows the values of a file\n"
        "\n"
        "LAYOUT says what the file holds: types with blanks between them. Without one, what looks like chunks, texts\n"
        "and arrays is shown, and bytes between them.\n"
        "  bool char i8 u8 i16 u16 i32 u32 i64 u64 float double   numbers\n"
        "  narrow wide                                            texts\n"
        "  version variant array chunk                            what the names say\n"
        "  3*TYPE  n*TYPE  *TYPE  (TYPE TYPE...)                  three times; as often as the last whole number "
        "said;\n"
        "                                                         to the end; a group\n"
        "  --class NAME=LAYOUT   what the chunks of a class hold; may be given for many classes\n"
        "  --at OFFSET           starts there; 0x... is hexadecimal\n"
        "  --full                does not shorten long values\n"
        "  --help                shows this\n"
        "\n"
        "A catalogue of the example program: orvane-inspect --class 'CFileEntry=version *variant' FILE\n"
        "                                                   'wide version u32 n*chunk u32'\n"
        "Exit code 0: all is as the layouts say; 1: something is damaged or left over; 2: the call is wrong.\n",
        to);
}

// Raises: std::invalid_argument with the reason.
SOptions parseArguments(int count, char** arguments)
{
    SOptions options;
    for (int i = 1; i < count; ++i)
    {
        std::string const argument = arguments[i];
        auto const value = [&]
        {
            if (++i == count)
            {
                throw std::invalid_argument(argument + " needs a value");
            }
            return std::string(arguments[i]);
        };
        if (argument == "--full")
        {
            options.isFull = true;
        }
        else if (argument == "--at")
        {
            std::string const text = value();
            char* end = nullptr;
            errno = 0;
            options.begin = std::strtoull(text.c_str(), &end, 0);
            if (end == text.c_str() || *end != '\0' || errno != 0)
            {
                throw std::invalid_argument("'" + text + "' is no offset");
            }
        }
        else if (argument == "--class")
        {
            std::string const text = value();
            std::size_t const equals = text.find('=');
            if (equals == std::string::npos)
            {
                throw std::invalid_argument("'" + text + "' has no layout");
            }
            options.classes[text.substr(0, equals)] = ParseLayout(std::string_view(text).substr(equals + 1));
        }
        else if (argument.starts_with("--"))
        {
            throw std::invalid_argument("'" + argument + "' is no option");
        }
        else if (options.file.empty())
        {
            options.file = argument;
        }
        else if (!options.layout)
        {
            options.layout = ParseLayout(argument);
        }
        else
        {
            throw std::invalid_argument("'" + argument + "' is too much");
        }
    }
    if (options.file.empty())
    {
        throw std::invalid_argument("which file?");
    }
    return options;
}

// Raises: std::system_error where it cannot be read.
std::vector<unsigned char> readFile(std::filesystem::path const& path)
{
    constexpr std::size_t c_BlockSize = 262'144;
    std::ifstream file(path, std::ios::binary);
    std::vector<unsigned char> bytes;
    while (file)
    {
        std::size_t const size = bytes.size();
        bytes.resize(size + c_BlockSize);
        file.read(reinterpret_cast<char*>(bytes.data() + size), c_BlockSize);
        bytes.resize(size + static_cast<std::size_t>(file.gcount()));
    }
    // A file that was read ends; one that was not opened does not.
    if (!file.eof())
    {
        throw std::system_error(errno, std::generic_category(), path.generic_string());
    }
    return bytes;
}
} // namespace

int main(int count, char** arguments)
{
    if (std::any_of(arguments, arguments + count, [](std::string const& argument) { return argument == "--help"; }))
    {
        printUsage(stdout);
        return EXIT_SUCCESS;
    }
    // What is damaged is said where it stands, not in the log as well.
    Logging::CLogger::SetDefaultLevel(Logging::eLevelOff);
    try
    {
        SOptions options = parseArguments(count, arguments);
        std::vector<unsigned char> const bytes = readFile(options.file);
        if (options.begin > bytes.size())
        {
            throw std::invalid_argument("the file ends before that offset");
        }
        CInspector inspector(stdout, std::move(options.classes), options.isFull);
        auto const begin = static_cast<std::size_t>(options.begin);
        bool const isSound =
            options.layout ? inspector.Show(bytes, begin, *options.layout) : inspector.Guess(bytes, begin);
        return isSound ? EXIT_SUCCESS : c_ExitUnsound;
    }
    catch (std::invalid_argument const& exception)
    {
        std::fprintf(stderr, "orvane-inspect: %s; --help tells more\n", exception.what());
        return c_ExitUsage;
    }
    catch (std::exception const& exception)
    {
        std::fprintf(stderr, "orvane-inspect: %s\n", exception.what());
        return c_ExitUsage;
    }
}
