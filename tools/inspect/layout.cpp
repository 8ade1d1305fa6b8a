#include "layout.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

namespace
{
// In the order of EItem.
constexpr std::array<std::string_view, 18> c_Names = {"bool",   "char", "i8",      "u8",      "i16",   "u16",
                                                      "i32",    "u32",  "i64",     "u64",     "float", "double",
                                                      "narrow", "wide", "version", "variant", "array", "chunk"};

constexpr std::string_view c_Blanks = " \t\r\n";

class CParser
{
public:
    explicit CParser(std::string_view text) : m_rest(text)
    {
    }

    Layout Parse()
    {
        Layout layout = parseItems(0);
        if (!m_rest.empty())
        {
            throw std::invalid_argument("a parenthesis is closed that was not opened");
        }
        if (layout.empty())
        {
            throw std::invalid_argument("the layout is empty");
        }
        return layout;
    }

private:
    static constexpr unsigned int c_Deepest = 64;

    // Up to the end of the text or a closing parenthesis.
    Layout parseItems(unsigned int depth)
    {
        Layout items;
        for (skipBlanks(); !m_rest.empty() && m_rest.front() != ')'; skipBlanks())
        {
            items.push_back(parseItem(depth));
        }
        return items;
    }

    SItem parseItem(unsigned int depth)
    {
        SItem item;
        std::string_view const begin = m_rest;
        std::size_t const star = m_rest.find_first_of("*() \t\r\n");
        if (star != std::string_view::npos && m_rest[star] == '*')
        {
            item.times = parseTimes(m_rest.substr(0, star));
            m_rest.remove_prefix(star + 1);
        }
        if (m_rest.starts_with('('))
        {
            if (depth == c_Deepest)
            {
                throw std::invalid_argument("parentheses stand too deep in each other");
            }
            m_rest.remove_prefix(1);
            item.items = parseItems(depth + 1);
            if (m_rest.empty())
            {
                throw std::invalid_argument("a parenthesis is not closed");
            }
            m_rest.remove_prefix(1);
            return item;
        }
        std::string_view const name = m_rest.substr(0, m_rest.find_first_of("() \t\r\n"));
        if (name.empty())
        {
            throw std::invalid_argument("no type stands behind '" + std::string(begin.substr(0, star + 1)) + "'");
        }
        auto const* const found = std::find(c_Names.begin(), c_Names.end(), name);
        if (found == c_Names.end())
        {
            throw std::invalid_argument("'" + std::string(name) + "' is no type");
        }
        item.kind = static_cast<EItem>(found - c_Names.begin());
        m_rest.remove_prefix(name.size());
        return item;
    }

    static unsigned long long parseTimes(std::string_view text)
    {
        if (text.empty())
        {
            return SItem::c_ToTheEnd;
        }
        if (text == "n")
        {
            return SItem::c_AsCounted;
        }
        unsigned long long times = 0;
        auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), times);
        if (error != std::errc() || end != text.data() + text.size() || times >= SItem::c_ToTheEnd)
        {
            throw std::invalid_argument("'" + std::string(text) + "' is no number of times");
        }
        return times;
    }

    void skipBlanks()
    {
        m_rest.remove_prefix(std::min(m_rest.find_first_not_of(c_Blanks), m_rest.size()));
    }

    std::string_view m_rest;
};
} // namespace

Layout ParseLayout(std::string_view text)
{
    return CParser(text).Parse();
}

std::string_view NameOf(EItem kind)
{
    return kind == EItem::eGroup ? "group" : c_Names[static_cast<std::size_t>(kind)];
}
