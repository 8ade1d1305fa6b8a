#include "pathtext.h"

#include <type_traits>

#include "orvane/orvane.h"

namespace fs = std::filesystem;

namespace
{
std::wstring decoded(std::u16string const& units)
{
    std::wstring text(units.size(), L'\0');
    text.resize(Utf16::Decode(units.data(), units.size(), text.data()));
    return text;
}
} // namespace

// Where the system's names are wide, main's arguments are in its code page, which the library's strings know. Elsewhere
// a name is the bytes of the argument.
fs::path PathOf(char const* argument)
{
    if constexpr (std::is_same_v<fs::path::value_type, wchar_t>)
    {
        return CStringW(argument).GetString();
    }
    else
    {
        return argument;
    }
}

// By way of UTF-16: to wide text the standard library converts by the locale, and in that of a program which sets none
// only plain ASCII is text.
std::wstring WideTextOf(fs::path const& path)
{
    return decoded(path.u16string());
}

std::wstring GenericTextOf(fs::path const& path)
{
    return decoded(path.generic_u16string());
}

std::wstring ShownTextOf(fs::path const& path)
{
    try
    {
        return GenericTextOf(path);
    }
    catch (fs::filesystem_error const&)
    {
        constexpr unsigned int c_Ascii = 0x80;
        std::wstring text;
        for (fs::path::value_type const unit : path.native())
        {
            auto const value = static_cast<std::make_unsigned_t<fs::path::value_type>>(unit);
            text += value < c_Ascii ? static_cast<wchar_t>(value) : L'?';
        }
        return text + L" (a name that is no text)";
    }
}

std::string NarrowTextOf(fs::path const& path)
{
    return CStringA(ShownTextOf(path).c_str()).GetString();
}
