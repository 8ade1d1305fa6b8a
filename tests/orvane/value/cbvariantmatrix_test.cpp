// The table of all conversions in docs/variant-conversions.md, made from what the code gives. A difference fails and shows
// the whole table; with ORVANE_UPDATE_DOCS set in the environment it is written instead.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "orvane/value/varianttesting.h"
#include "support/logrecorder.h"
#include "support/temporaryfolder.h"

namespace
{
constexpr char c_Page[] = ORVANE_TEST_DOCS "/variant-conversions.md";
constexpr char c_Begin[] = "<!-- begin of the table -->\n";
constexpr char c_End[] = "<!-- end of the table -->\n";

std::vector<CbVariant> sources()
{
    std::vector<CbVariant> values;
    values.emplace_back();
    values.emplace_back(true);
    values.emplace_back('A');
    values.emplace_back(static_cast<signed char>(-1));
    values.emplace_back(static_cast<unsigned char>(200));
    values.emplace_back(static_cast<short>(-300));
    values.emplace_back(static_cast<unsigned short>(65535));
    values.emplace_back(300);
    values.emplace_back(4294967295u);
    values.emplace_back(-4294967297ll);
    values.emplace_back(18446744073709551615ull);
    values.emplace_back(-2.5f);
    values.emplace_back(2.5);
    values.emplace_back(L"010");
    values.emplace_back(L"1");
    values.emplace_back("0x1F");
    values.emplace_back("2024-05-06 07:08:09");
    values.emplace_back(bytesFrom({0, 255}));
    values.emplace_back(CbDateTime(2024, 5, 6, 7, 8, 9, 10));
    values.emplace_back(CVariantThing(1));
    return values;
}

std::vector<EType> targets()
{
    return {CbVariant::eNull,      CbVariant::eBool,     CbVariant::eChar,   CbVariant::eInt8,    CbVariant::eUInt8,
            CbVariant::eInt16,     CbVariant::eUInt16,   CbVariant::eInt32,  CbVariant::eUInt32,  CbVariant::eInt64,
            CbVariant::eUInt64,    CbVariant::eFloat,    CbVariant::eDouble, CbVariant::eStringW, CbVariant::eStringA,
            CbVariant::eByteArray, CbVariant::eDateTime, CbVariant::eObject};
}

// Characters by their bytes: beyond ASCII they are what the code page says.
std::string shownResult(CbVariant const& variant)
{
    if (variant.GetType() != CbVariant::eChar)
    {
        return "`" + variant.ToJson() + "`";
    }
    auto const byte = static_cast<unsigned char>(variant.operator char());
    char text[8];
    std::snprintf(text, sizeof text, byte >= 0x20 && byte < 0x7F ? "'%c'" : "'\\x%02X'", byte);
    return std::string("`") + text + "`";
}

std::string cellOf(CbVariant variant, EType target)
{
    if (variant.GetType() == target)
    {
        return "=";
    }
    try
    {
        return shownResult(variant.ConvertTo(target));
    }
    catch (CbExceptionConversion const& raised)
    {
        return raised.GetFunctionName();
    }
}

std::string makeTable()
{
    std::ostringstream table;
    table << "| from |";
    for (EType const target : targets())
    {
        table << ' ' << nameOf(target) << " |";
    }
    table << "\n|---|";
    for (std::size_t n = 0; n < targets().size(); ++n)
    {
        table << "---|";
    }
    table << '\n';
    for (CbVariant const& source : sources())
    {
        table << "| " << nameOf(source.GetType()) << " `" << source.ToJson() << "` |";
        for (EType const target : targets())
        {
            table << ' ' << cellOf(source, target) << " |";
        }
        table << '\n';
    }
    return table.str();
}
} // namespace

TEST(CbVariantMatrix, StandsInTheDocumentsAsTheCodeGivesIt)
{
    CLogRecorder const quiet;
    std::string const table = makeTable();
    std::string page = readFile(c_Page);
    std::size_t const begin = page.find(c_Begin);
    std::size_t const end = page.find(c_End);
    ASSERT_NE(begin, std::string::npos);
    ASSERT_NE(end, std::string::npos);
    std::size_t const first = begin + sizeof c_Begin - 1;

    if (std::getenv("ORVANE_UPDATE_DOCS") != nullptr)
    {
        page.replace(first, end - first, table);
        std::ofstream(c_Page, std::ios::binary) << page;
        return;
    }
    EXPECT_EQ(page.substr(first, end - first), table);
}

TEST(CbVariantMatrix, HasEveryKindAsASourceAndAsATarget)
{
    for (EType const type : allKinds())
    {
        auto const isType = [type](CbVariant const& source) { return source.GetType() == type; };
        std::vector<CbVariant> const values = sources();
        std::vector<EType> const columns = targets();
        EXPECT_TRUE(std::any_of(values.begin(), values.end(), isType)) << nameOf(type);
        EXPECT_EQ(std::count(columns.begin(), columns.end(), type), 1) << nameOf(type);
    }
}
