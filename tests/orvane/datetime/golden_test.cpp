// Tables made by other programs (tests/golden/datetime/make.py), the same for both targets.

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/datetime/cbdatetime.h"

namespace
{
std::vector<std::vector<std::string>> table(char const* name)
{
    std::ifstream file(std::string(ORVANE_TEST_GOLDEN) + '/' + name, std::ios::binary);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(file, line);)
    {
        std::vector<std::string> row;
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, '|');)
        {
            row.push_back(cell);
        }
        rows.push_back(row);
    }
    return rows;
}

std::string narrow(CStringW const& text)
{
    return CStringA(text).GetString();
}

std::string withTabs(std::string text)
{
    for (std::size_t at = text.find("\\t"); at != std::string::npos; at = text.find("\\t"))
    {
        text.replace(at, 2, "\t");
    }
    return text;
}

template <class C>
std::string scanned(C const* text)
{
    if (!CbDateTime::HasValidFormat(text))
    {
        return "refused";
    }
    CbDateTime const time(text);
    std::string result;
    for (unsigned int const number : {time.GetYear(), time.GetMonth(), time.GetDay(), time.GetHour(), time.GetMinute()})
    {
        result += std::to_string(number) + ' ';
    }
    return result + std::to_string(time.GetSecond());
}
} // namespace

TEST(CbDateTimeGolden, ConvertsAndRendersAsTheTableHasIt)
{
    auto const rows = table("times.txt");
    ASSERT_GT(rows.size(), 1'500u);
    for (auto const& row : rows)
    {
        ASSERT_EQ(row.size(), 5u);
        unsigned __int64 const ticks = std::stoull(row[0]);
        CbDateTime const time(ticks);
        EXPECT_EQ(static_cast<unsigned __int64>(time), ticks) << row[1];
        EXPECT_EQ(time.ToString("Y-m-d H:i:s.v", false), row[1].c_str());
        EXPECT_EQ(time.ToString("D j M y, t, g:i a", false), row[2].c_str()) << row[1];
        EXPECT_EQ(narrow(time.ToString(CbDateTime::eLongDate, false)), row[3]);
        EXPECT_EQ(narrow(time.ToString(CbDateTime::eShortDate, false)), row[4]);
        EXPECT_EQ(narrow(time.ToString(CbDateTime::eLongDateTime, false)), row[3] + ' ' + row[1].substr(11, 8));
        EXPECT_EQ(CbDateTime::TryParse(row[1]), time);
        EXPECT_EQ(CbDateTime(row[1].c_str()) + CbTimeInterval(static_cast<__int64>(time.GetMillisecond())), time);
        __int64 const seconds = static_cast<__int64>(ticks / 10'000'000) - 11'644'473'600;
        EXPECT_EQ(CbDateTime(seconds) + CbTimeInterval(static_cast<__int64>(time.GetMillisecond())), time);
    }
}

TEST(CbDateTimeGolden, ScansAsTheCLibraryDoes)
{
    auto const rows = table("scans.txt");
    ASSERT_GT(rows.size(), 1'400u);
    for (auto const& row : rows)
    {
        ASSERT_EQ(row.size(), 2u);
        std::string const text = withTabs(row[0]);
        EXPECT_EQ(scanned(text.c_str()), row[1]) << row[0];
        EXPECT_EQ(scanned(std::wstring(text.begin(), text.end()).c_str()), row[1]) << row[0];
    }
}
