#include <charconv>
#include <cmath>
#include <iterator>
#include <vector>

#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/exception/raisesite.h"
#include "orvane/text/utf16.h"
#include "orvane/value/cbvariant.h"
#include "platform/utf8.h"

namespace
{
// The class's own file, whatever part of it stands here.
CB_RAISING_FILE("cbvariant");

constexpr char c_Digits[] = "0123456789abcdef";

void appendHexadecimal(std::string& json, unsigned int value, unsigned int digits)
{
    while (digits != 0)
    {
        --digits;
        json.push_back(c_Digits[value >> 4 * digits & 0xF]);
    }
}

// What JSON does not take as it stands, and surrogates without a partner, which UTF-8 does not have.
void appendEscaped(std::string& json, unsigned int unit)
{
    switch (unit)
    {
    case '"':
        json += "\\\"";
        return;
    case '\\':
        json += "\\\\";
        return;
    case '\b':
        json += "\\b";
        return;
    case '\f':
        json += "\\f";
        return;
    case '\n':
        json += "\\n";
        return;
    case '\r':
        json += "\\r";
        return;
    case '\t':
        json += "\\t";
        return;
    default:
        json += "\\u";
        appendHexadecimal(json, unit, 4);
        return;
    }
}

bool isSurrogate(unsigned int unit)
{
    return (unit & 0xF800) == 0xD800;
}

std::string quoted(wchar_t const* text, std::size_t length)
{
    std::vector<char16_t> units(2 * length);
    units.resize(Utf16::Encode(text, length, units.data()));
    std::string json = "\"";
    for (std::size_t n = 0; n < units.size(); ++n)
    {
        unsigned int const unit = units[n];
        bool const isPair = (unit & 0xFC00) == 0xD800 && n + 1 < units.size() && (units[n + 1] & 0xFC00) == 0xDC00;
        if (isPair)
        {
            ++n;
            Utf8::appendUtf8(json, 0x10000 + ((unit & 0x3FF) << 10) + (units[n] & 0x3FFu));
        }
        else if (unit < 0x20 || unit == 0x7F || unit == '"' || unit == '\\' || isSurrogate(unit))
        {
            appendEscaped(json, unit);
        }
        else
        {
            Utf8::appendUtf8(json, unit);
        }
    }
    return json += '"';
}

struct SJson
{
    std::string operator()(std::nullptr_t) const
    {
        return "null";
    }

    std::string operator()(bool value) const
    {
        return value ? "true" : "false";
    }

    template <std::integral T>
    std::string operator()(T value) const
    {
        char text[24];
        return std::string(text, std::to_chars(text, std::end(text), value).ptr);
    }

    template <std::floating_point T>
    std::string operator()(T value) const
    {
        if (std::isnan(value))
        {
            return "\"NaN\"";
        }
        if (std::isinf(value))
        {
            return value < 0 ? "\"-Infinity\"" : "\"Infinity\"";
        }
        char text[32];
        return std::string(text, std::to_chars(text, std::end(text), value).ptr);
    }

    std::string operator()(char value) const
    {
        return (*this)(CStringA(value));
    }

    std::string operator()(CStringA const& text) const
    {
        return (*this)(CStringW(text));
    }

    std::string operator()(CStringW const& text) const
    {
        return quoted(text.GetString(), static_cast<std::size_t>(text.GetLength()));
    }

    std::string operator()(CbArray<unsigned char> const& bytes) const
    {
        std::string json = "\"";
        for (unsigned char const byte : bytes)
        {
            appendHexadecimal(json, byte, 2);
        }
        return json += '"';
    }

    std::string operator()(CbDateTime const& date) const
    {
        return std::string("\"") + date.ToString("Y-m-d\\TH:i:s.v\\Z", /*local*/ false).GetString() + '"';
    }

    std::string operator()(IObject const& object) const
    {
        std::wstring const name = object.GetClassNameW();
        return "{\"class\":" + quoted(name.data(), name.size()) + "}";
    }
};
} // namespace

std::string CbVariant::ToJson() const
{
    if (!exists(m_type))
    {
        throw CbExceptionConversion(CB_SITE("CbVariant::ToJson"));
    }
    if (m_type == eObject && m_cell.object == nullptr)
    {
        return "null";
    }
    return Visit(SJson());
}
