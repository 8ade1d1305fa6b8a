#include "orvane/text/typetext.h"

#include <cctype>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <cxxabi.h>

namespace
{
// How compilers write the same name differently.
struct SSpelling
{
    std::string_view theirs;
    std::string_view ours;
};

constexpr SSpelling c_Spellings[] = {
    {"(anonymous namespace)", "`anonymous namespace'"},
    {"std::__cxx11::", "std::"}, // a version of the standard library, no part of the name
    {"unsigned long long", "unsigned __int64"},
    {"long long", "__int64"},
};

void replaceAll(std::string& text, SSpelling const& spelling)
{
    std::size_t position = text.find(spelling.theirs);
    while (position != std::string::npos)
    {
        text.replace(position, spelling.theirs.size(), spelling.ours);
        position = text.find(spelling.theirs, position + spelling.ours.size());
    }
}
} // namespace

namespace detail
{
std::string readableTypeName(std::type_info const& type)
{
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const readable(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    std::string name = readable != nullptr ? readable.get() : type.name();
    for (SSpelling const& spelling : c_Spellings)
    {
        replaceAll(name, spelling);
    }
    return name;
}

std::string classText(std::string const& name)
{
    std::string const outer = withoutArguments(name);
    std::size_t const scope = outer.rfind("::");
    std::size_t const first = scope == std::string::npos ? 0 : scope + 2;
    bool const isStructure =
        outer.size() > first + 1 && outer[first] == 'S' && std::isupper(static_cast<unsigned char>(outer[first + 1]));
    return (isStructure ? "struct " : "class ") + name;
}

std::string templateText(std::string const& name, std::initializer_list<std::string> arguments)
{
    std::string text = name;
    char separator = '<';
    for (std::string const& argument : arguments)
    {
        text += separator;
        text += argument;
        separator = ',';
    }
    return text + (text.back() == '>' ? " >" : ">");
}

std::string withoutArguments(std::string const& name)
{
    if (name.empty() || name.back() != '>')
    {
        return name;
    }
    std::size_t position = name.size();
    int depth = 0;
    do
    {
        --position;
        depth += name[position] == '>' ? 1 : 0;
        depth -= name[position] == '<' ? 1 : 0;
    } while (depth > 0 && position > 0);
    return name.substr(0, position);
}
} // namespace detail
