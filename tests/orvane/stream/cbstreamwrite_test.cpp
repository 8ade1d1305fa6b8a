#include "orvane/stream/cbstreamwrite.h"

#include <gtest/gtest.h>

#include "orvane/stream/streamtesting.h"

namespace
{
// Shows which of the two character operators a text goes through.
class CTextWriter : public CRecordingWriter
{
public:
    using CRecordingWriter::operator<<;

    CTextWriter& operator<<(wchar_t const* value) override
    {
        m_wide.emplace_back(value);
        return *this;
    }

    CTextWriter& operator<<(char const* value) override
    {
        m_narrow.emplace_back(value);
        return *this;
    }

    std::vector<std::wstring> m_wide;
    std::vector<std::string> m_narrow;
};
} // namespace

TEST(CbStreamWriteText, OfBothNarrowTypesGoesThroughTheNarrowPointerOperator)
{
    CTextWriter stream;

    stream << CStringA("a") << std::string("b") << CbFormatT<CStringA>("%s", "c") << CbFormatT<std::string>("%d", 4);

    EXPECT_EQ(stream.m_narrow, (std::vector<std::string>{"a", "b", "c", "4"}));
    EXPECT_TRUE(stream.m_wide.empty());
    EXPECT_TRUE(stream.GetWrites().empty());
}

TEST(CbStreamWriteText, OfBothWideTypesGoesThroughTheWidePointerOperator)
{
    CTextWriter stream;

    stream << CStringW(L"a") << std::wstring(L"b") << CbFormatT<CStringW>(L"%s", L"c")
           << CbFormatT<std::wstring>(L"%d", 4);

    EXPECT_EQ(stream.m_wide, (std::vector<std::wstring>{L"a", L"b", L"c", L"4"}));
    EXPECT_TRUE(stream.m_narrow.empty());
}

TEST(CbStreamWriteText, EndsAtItsFirstNulInEveryStringType)
{
    std::string const narrow("ab\0cd", 5);
    std::wstring const wide(L"ab\0cd", 5);

    EXPECT_EQ(written(narrow), narrowText("ab"));
    EXPECT_EQ(written(CStringA(narrow.data(), 5)), narrowText("ab"));
    EXPECT_EQ(written(wide), wideText(u"ab"));
    EXPECT_EQ(written(CStringW(wide.data(), 5)), wideText(u"ab"));
}

TEST(CbStreamWriteText, ThatStartsWithANulIsEmpty)
{
    EXPECT_EQ(written(std::string("\0a", 2)), narrowText(""));
    EXPECT_EQ(written(std::wstring(L"\0a", 2)), wideText(u""));
}

TEST(CbStreamWriteFormat, GivesTheBytesOfTheFormattedText)
{
    EXPECT_EQ(written(CbFormatT<CStringA>("%d-%s", 5, "x")), narrowText("5-x"));
    EXPECT_EQ(written(CbFormatT<std::string>("%d-%s", 5, "x")), narrowText("5-x"));
    EXPECT_EQ(written(CbFormatT<CStringW>(L"%d-%s", 5, L"x")), wideText(u"5-x"));
    EXPECT_EQ(written(CbFormatT<std::wstring>(L"%d-%s", 5, L"x")), wideText(u"5-x"));
}

TEST(CbStreamWriteFormat, OfNothingGivesAnEmptyText)
{
    EXPECT_EQ(written(CbFormatT<CStringA>("%s", "")), narrowText(""));
    EXPECT_EQ(written(CbFormatT<std::wstring>(L"")), wideText(u""));
}

TEST(CbStreamWriteFormat, EndsAtItsFirstNul)
{
    EXPECT_EQ(written(CbFormatT<std::string>("a%cb", 0)), narrowText("a"));
}

TEST(CbStreamWriteVersion, IsFourBytes)
{
    CbStreamWriteBinaryBuffer stream;

    stream.WriteVersion(7);

    EXPECT_EQ(bytesOf(stream), (Bytes{0x07, 0x00, 0x00, 0x00}));
}

TEST(CbStreamWriteVersion, IsWrittenThroughTheOperatorForUnsignedInt)
{
    class CWriter : public CRecordingWriter
    {
    public:
        using CRecordingWriter::operator<<;

        CWriter& operator<<(unsigned int value) override
        {
            m_value = value;
            return *this;
        }

        unsigned int m_value = 0;
    };

    CWriter stream;

    stream.WriteVersion(0xFFFFFFFF);

    EXPECT_EQ(stream.m_value, 0xFFFFFFFF);
    EXPECT_TRUE(stream.GetWrites().empty());
}
