// Shows any file of the binary encoding.

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
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
        "  --at OFFSET           starts there: a decimal number, or 0x... in hexadecimal\n"
        "  --full                does not shorten long values\n"
        "  --help                shows this\n"
        "\n"
        "A catalogue of the example program: orvane-inspect --class 'CFileEntry=version *variant' FILE\n"
        "                                                   'wide version u32 n*chunk u32'\n"
        "A FILE whose name begins with - is given as ./-\n"
        "Exit code 0: all is as the layouts say; 1: something is damaged or left over; 2: the call is wrong.\n",
        to);
}

// Raises: std::invalid_argument.
unsigned long long parseOffset(std::string const& text)
{
    constexpr int c_Decimal = 10;
    constexpr int c_Hexadecimal = 16;
    bool const isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    char const* const begin = text.data() + (isHexadecimal ? 2 : 0);
    char const* const end = text.data() + text.size();
    unsigned long long offset = 0;
    auto const [stop, error] = std::from_chars(begin, end, offset, isHexadecimal ? c_Hexadecimal : c_Decimal);
    if (begin == end || error != std::errc() || stop != end)
    {
        throw std::invalid_argument("'" + text + "' is no offset");
    }
    return offset;
}

// The name of a class and what its chunks hold. Raises: std::invalid_argument.
std::pair<std::string, Layout> parseClass(std::string const& text)
{
    std::size_t const equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size())
    {
        throw std::invalid_argument("'" + text + "' has no layout");
    }
    if (equals == 0)
    {
        throw std::invalid_argument("'" + text + "' names no class");
    }
    return {text.substr(0, equals), ParseLayout(std::string_view(text).substr(equals + 1))};
}

// Where the system's names are wide, main's arguments are in its code page, which the library's strings know. Elsewhere
// a name is the bytes of the argument.
std::filesystem::path pathOf(char const* argument)
{
    if constexpr (std::is_same_v<std::filesystem::path::value_type, wchar_t>)
    {
        return CStringW(argument).GetString();
    }
    else
    {
        return argument;
    }
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
            options.begin = parseOffset(value());
        }
        else if (argument == "--class")
        {
            auto [name, layout] = parseClass(value());
            options.classes[std::move(name)] = std::move(layout);
        }
        else if (argument.starts_with('-'))
        {
            throw std::invalid_argument("'" + argument + "' is no option");
        }
        else if (options.file.empty())
        {
            options.file = pathOf(arguments[i]);
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

// For messages.
std::string nameOf(std::filesystem::path const& path)
{
    return CStringA(CStringW(path.c_str())).GetString();
}

// The most that is read: of a file, which tells its size beforehand, and of a pipe or a device, which may never end.
constexpr std::uintmax_t c_LargestFile = 4ULL * 1024 * 1024 * 1024;
constexpr std::uintmax_t c_LargestOther = 256ULL * 1024 * 1024;

// Raises: std::runtime_error.
void checkSize(std::filesystem::path const& path, std::uintmax_t size, bool isFile)
{
    std::uintmax_t const largest = isFile ? c_LargestFile : c_LargestOther;
    if (size > largest)
    {
        throw std::runtime_error(nameOf(path) + ": more than " + std::to_string(largest) +
                                 " bytes, the most that is read of " + (isFile ? "a file" : "what is no regular file"));
    }
}

// Raises: std::runtime_error with the reason where it cannot be read.
std::vector<unsigned char> readFile(std::filesystem::path const& path)
{
    constexpr std::size_t c_BlockSize = 262'144;
    std::error_code error;
    std::filesystem::file_status const status = std::filesystem::status(path, error);
    if (std::filesystem::is_directory(status))
    {
        throw std::system_error(std::make_error_code(std::errc::is_a_directory), nameOf(path));
    }
    bool const isFile = std::filesystem::is_regular_file(status);
    std::uintmax_t const told = isFile ? std::filesystem::file_size(path, error) : 0;
    std::uintmax_t const size = error ? 0 : told;
    checkSize(path, size, isFile);

    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::vector<unsigned char> bytes;
    bytes.reserve(static_cast<std::size_t>(size) + c_BlockSize);
    while (file)
    {
        std::size_t const before = bytes.size();
        bytes.resize(before + c_BlockSize);
        file.read(reinterpret_cast<char*>(bytes.data() + before), c_BlockSize);
        bytes.resize(before + static_cast<std::size_t>(file.gcount()));
        checkSize(path, bytes.size(), isFile);
    }
    // A file that was read ends; one that was not opened does not.
    if (!file.eof())
    {
        throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(), nameOf(path));
    }
    return bytes;
}
} // namespace

int main(int count, char** arguments)
{
    if (std::any_of(arguments, arguments + count,
                    [](std::string const& argument) { return argument == "--help" || argument == "-h"; }))
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
    catch (std::bad_alloc const&)
    {
        std::fputs("orvane-inspect: the memory is not enough for the file\n", stderr);
        return c_ExitUsage;
    }
    catch (std::exception const& exception)
    {
        std::fprintf(stderr, "orvane-inspect: %s\n", exception.what());
        return c_ExitUsage;
    }
}
