// Formatting into text, and wide text to UTF-16 and back.

#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#ifdef ORVANE_BENCH_FMT
#include <fmt/format.h>
#include <fmt/xchar.h>
#endif

#include "mfc/cstringt.h"
#include "orvane/text/utf16.h"
#include "platform/platform.h"
#include "support/benchmain.h"

namespace
{
constexpr std::size_t c_LengthLimit = 128; // characters that the C library formats into
constexpr int c_Number = 4711;
constexpr double c_Ratio = 12.375;
wchar_t const* const c_Name = L"CbDateTime";

template <class Function>
void addRow(char const* row, Function function)
{
    benchmark::RegisterBenchmark(row,
                                 [function](benchmark::State& state)
                                 {
                                     for (auto each : state)
                                     {
                                         static_cast<void>(each);
                                         auto result = function();
                                         benchmark::DoNotOptimize(result);
                                     }
                                 });
}

CStringW formatOwn(wchar_t const* format, ...)
{
    CStringW text;
    va_list arguments;
    va_start(arguments, format);
    text.FormatV(format, arguments);
    va_end(arguments);
    return text;
}

// As one would write it: into an array, and from there into a string.
std::wstring formatLibrary(wchar_t const* format, ...)
{
    wchar_t text[c_LengthLimit];
    va_list arguments;
    va_start(arguments, format);
    int const length = std::vswprintf(text, c_LengthLimit, format, arguments);
    va_end(arguments);
    return length > 0 ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring();
}

void addFormatRows()
{
    addRow("format, number/orvane", [] { return formatOwn(L"%d", c_Number); });
    addRow("format, number/vswprintf", [] { return formatLibrary(L"%d", c_Number); });
    addRow("format, text and number/orvane", [] { return formatOwn(L"%s: line %d", c_Name, c_Number); });
    addRow("format, text and number/vswprintf", [] { return formatLibrary(L"%ls: line %d", c_Name, c_Number); });
    addRow("format, real number/orvane", [] { return formatOwn(L"%.3f", c_Ratio); });
    addRow("format, real number/vswprintf", [] { return formatLibrary(L"%.3f", c_Ratio); });
#ifdef ORVANE_BENCH_FMT
    addRow("format, number/fmt", [] { return fmt::format(L"{}", c_Number); });
    addRow("format, text and number/fmt", [] { return fmt::format(L"{}: line {}", c_Name, c_Number); });
    addRow("format, real number/fmt", [] { return fmt::format(L"{:.3f}", c_Ratio); });
#endif
}

// One character after the other, without a table or a vector instruction.
[[gnu::noipa]] std::size_t encodePlainly(wchar_t const* text, std::size_t length, char16_t* units)
{
    std::size_t count = 0;
    for (std::size_t n = 0; n < length; ++n)
    {
        auto const point = static_cast<unsigned int>(text[n]);
        if (point < 0x10000)
        {
            units[count++] = static_cast<char16_t>(point);
        }
        else
        {
            units[count++] = static_cast<char16_t>(0xD7C0 + (point >> 10));
            units[count++] = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
        }
    }
    return count;
}

[[gnu::noipa]] std::size_t decodePlainly(char16_t const* units, std::size_t length, wchar_t* text)
{
    std::size_t count = 0;
    for (std::size_t n = 0; n < length; ++n)
    {
        unsigned int const unit = units[n];
        if ((unit & 0xFC00) == 0xD800 && n + 1 < length && (units[n + 1] & 0xFC00) == 0xDC00)
        {
            text[count++] = static_cast<wchar_t>(0x10000 + ((unit & 0x3FF) << 10) + (units[++n] & 0x3FFu));
        }
        else
        {
            text[count++] = static_cast<wchar_t>(unit);
        }
    }
    return count;
}

[[gnu::noipa]] void copyPlainly(void* to, void const* from, std::size_t size)
{
    std::memcpy(to, from, size);
}

struct STexts
{
    STexts(std::size_t length, std::size_t pairEvery) : units(2 * length), decoded(2 * length)
    {
        for (std::size_t n = 0; n < length; ++n)
        {
            bool const isPair = pairEvery != 0 && n % pairEvery == pairEvery - 1;
            text.push_back(isPair ? static_cast<wchar_t>(0x1F600 + n % 64) : static_cast<wchar_t>(0x61 + n % 500));
        }
        unitCount = Utf16::Encode(text.data(), text.size(), units.data());
    }

    std::wstring text;
    std::vector<char16_t> units;
    std::vector<wchar_t> decoded;
    std::size_t unitCount;
};

void addUtf16Rows(std::string const& kind, STexts& texts)
{
    std::string const encode = "encode, " + kind + '/';
    std::string const decode = "decode, " + kind + '/';
    addRow((encode + "orvane").c_str(),
           [&texts]
           {
               benchmark::ClobberMemory();
               return Utf16::Encode(texts.text.data(), texts.text.size(), texts.units.data());
           });
    addRow((encode + "plain loop").c_str(),
           [&texts]
           {
               benchmark::ClobberMemory();
               return encodePlainly(texts.text.data(), texts.text.size(), texts.units.data());
           });
    addRow((encode + "memcpy of the text").c_str(),
           [&texts]
           {
               copyPlainly(texts.decoded.data(), texts.text.data(), texts.text.size() * sizeof(wchar_t));
               return texts.text.size();
           });
    addRow((decode + "orvane").c_str(),
           [&texts]
           {
               benchmark::ClobberMemory();
               return Utf16::Decode(texts.units.data(), texts.unitCount, texts.decoded.data());
           });
    addRow((decode + "plain loop").c_str(),
           [&texts]
           {
               benchmark::ClobberMemory();
               return decodePlainly(texts.units.data(), texts.unitCount, texts.decoded.data());
           });
    addRow((decode + "memcpy of the text").c_str(),
           [&texts]
           {
               copyPlainly(texts.decoded.data(), texts.text.data(), texts.text.size() * sizeof(wchar_t));
               return texts.text.size();
           });
}
} // namespace

void registerRows()
{
    addFormatRows();
    static STexts s_short(16, 0);
    static STexts s_long(4096, 0);
    static STexts s_pairs(4096, 40);
    addUtf16Rows("16 characters", s_short);
    addUtf16Rows("4096 characters", s_long);
    addUtf16Rows("4096 characters, a pair in 40", s_pairs);
}
