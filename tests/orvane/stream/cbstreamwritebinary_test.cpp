#include "orvane/stream/cbstreamwritebinary.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/stream/streamtesting.h"
#include "support/logrecorder.h"
#include "support/raises.h"

using testing::ElementsAre;

namespace
{
template <class T>
std::vector<std::size_t> widthsOf(T const& value)
{
    CRecordingWriter stream;
    stream << value;
    return stream.GetWidths();
}

// The bytes of a long that is given as 64 bits, where the type has them.
template <class T>
Bytes writtenAs(__int64 value)
{
    return written(static_cast<T>(value));
}
} // namespace

// ---- primitives

TEST(CbStreamWriteBinaryPrimitive, OfTypeBoolIsOneByteZeroOrOne)
{
    EXPECT_EQ(written(true), (Bytes{0x01}));
    EXPECT_EQ(written(false), (Bytes{0x00}));
}

TEST(CbStreamWriteBinaryPrimitive, OfTheThreeCharTypesIsOneByte)
{
    EXPECT_EQ(written('A'), (Bytes{0x41}));
    EXPECT_EQ(written(static_cast<char>(-1)), (Bytes{0xFF}));
    EXPECT_EQ(written(static_cast<signed char>(-2)), (Bytes{0xFE}));
    EXPECT_EQ(written(static_cast<unsigned char>(0xFD)), (Bytes{0xFD}));
}

TEST(CbStreamWriteBinaryPrimitive, OfTheTwoShortTypesIsTwoBytes)
{
    EXPECT_EQ(written(static_cast<short>(-2)), (Bytes{0xFE, 0xFF}));
    EXPECT_EQ(written(static_cast<unsigned short>(0x1234)), (Bytes{0x34, 0x12}));
}

TEST(CbStreamWriteBinaryPrimitive, OfTheTwoIntTypesIsFourBytes)
{
    EXPECT_EQ(written(1), (Bytes{0x01, 0x00, 0x00, 0x00}));
    EXPECT_EQ(written(-2), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(written(0x89ABCDEFu), (Bytes{0xEF, 0xCD, 0xAB, 0x89}));
}

TEST(CbStreamWriteBinaryPrimitive, OfTheTwo64BitTypesIsEightBytes)
{
    EXPECT_EQ(written(static_cast<__int64>(-2)), (Bytes{0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(written(static_cast<unsigned __int64>(0x0123456789ABCDEF)),
              (Bytes{0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}));
}

TEST(CbStreamWriteBinaryPrimitive, OfTheTwoFloatingTypesIsTheirIeeeBits)
{
    EXPECT_EQ(written(1.0), (Bytes{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F}));
    EXPECT_EQ(written(1.0f), (Bytes{0x00, 0x00, 0x80, 0x3F}));
    EXPECT_EQ(written(-0.0), (Bytes{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80}));
    EXPECT_EQ(written(std::numeric_limits<double>::infinity()),
              (Bytes{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x7F}));
    EXPECT_EQ(written(std::numeric_limits<float>::denorm_min()), (Bytes{0x01, 0x00, 0x00, 0x00}));
}

TEST(CbStreamWriteBinaryPrimitive, ReachesWriteOnceInItsWidth)
{
    EXPECT_THAT(widthsOf(true), ElementsAre(1));
    EXPECT_THAT(widthsOf('a'), ElementsAre(1));
    EXPECT_THAT(widthsOf(static_cast<signed char>(1)), ElementsAre(1));
    EXPECT_THAT(widthsOf(static_cast<unsigned char>(1)), ElementsAre(1));
    EXPECT_THAT(widthsOf(static_cast<short>(1)), ElementsAre(2));
    EXPECT_THAT(widthsOf(static_cast<unsigned short>(1)), ElementsAre(2));
    EXPECT_THAT(widthsOf(1), ElementsAre(4));
    EXPECT_THAT(widthsOf(1u), ElementsAre(4));
    EXPECT_THAT(widthsOf(1l), ElementsAre(4));
    EXPECT_THAT(widthsOf(1ul), ElementsAre(4));
    EXPECT_THAT(widthsOf(static_cast<__int64>(1)), ElementsAre(8));
    EXPECT_THAT(widthsOf(static_cast<unsigned __int64>(1)), ElementsAre(8));
    EXPECT_THAT(widthsOf(1.0f), ElementsAre(4));
    EXPECT_THAT(widthsOf(1.0), ElementsAre(8));
}

// ---- long

TEST(CbStreamWriteBinaryLong, IsFourBytes)
{
    EXPECT_EQ(written(1l), (Bytes{0x01, 0x00, 0x00, 0x00}));
    EXPECT_EQ(written(-2l), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(written(4'000'000'000ul), (Bytes{0x00, 0x28, 0x6B, 0xEE}));
}

TEST(CbStreamWriteBinaryLong, TakesTheWholeRangeOf32Bits)
{
    EXPECT_EQ(writtenAs<long>(-2147483648LL), (Bytes{0x00, 0x00, 0x00, 0x80}));
    EXPECT_EQ(writtenAs<long>(2147483647), (Bytes{0xFF, 0xFF, 0xFF, 0x7F}));
    EXPECT_EQ(writtenAs<unsigned long>(0xFFFFFFFFLL), (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(CbStreamWriteBinaryLong, IsRefusedWhereItNeedsMoreThan32Bits)
{
    if constexpr (sizeof(long) == 4)
    {
        GTEST_SKIP() << "every long fits 32 bits here";
    }
    CLogRecorder const log;
    CbStreamWriteBinaryBuffer stream;
    stream << 1;
    CRecordingWriter device;

    for (__int64 const value : {2147483648LL, -2147483649LL, 0x100000000LL, std::numeric_limits<__int64>::min()})
    {
        EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<",
                      stream << static_cast<long>(value));
        EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<",
                      device << static_cast<long>(value));
    }
    for (__int64 const value : {0x100000000LL, -1LL})
    {
        EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<",
                      stream << static_cast<unsigned long>(value));
        EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<",
                      device << static_cast<unsigned long>(value));
    }
    EXPECT_EQ(stream.GetCount(), 4) << "a refused value leaves bytes behind";
    EXPECT_TRUE(device.GetWrites().empty());
}

// ---- narrow text

TEST(CbStreamWriteBinaryNarrow, IsALengthOfFourBytesAndTheCharacters)
{
    EXPECT_EQ(written(""), (Bytes{0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(written("ab"), (Bytes{0x02, 0x00, 0x00, 0x00, 0x61, 0x62}));
    EXPECT_EQ(written("\xC4\x80\xFF"), (Bytes{0x03, 0x00, 0x00, 0x00, 0xC4, 0x80, 0xFF}));
}

TEST(CbStreamWriteBinaryNarrow, IsTheSameFromEveryNarrowType)
{
    Bytes const expected{0x02, 0x00, 0x00, 0x00, 0x61, 0x62};

    EXPECT_EQ(written("ab"), expected);
    EXPECT_EQ(written(std::string("ab")), expected);
    EXPECT_EQ(written(CStringA("ab")), expected);
    EXPECT_EQ(written(CbFormatT<CStringA>("%s", "ab")), expected);
}

class CbStreamWriteBinaryNarrowLength : public testing::TestWithParam<std::size_t>
{
};

TEST_P(CbStreamWriteBinaryNarrowLength, IsAlwaysFourBytes)
{
    std::string const text(GetParam(), 'x');

    Bytes const bytes = written(text);

    EXPECT_EQ(bytes, joined({littleEndian(GetParam(), 4), Bytes(text.begin(), text.end())}));
}

INSTANTIATE_TEST_SUITE_P(Lengths, CbStreamWriteBinaryNarrowLength,
                         testing::Values(0, 1, 254, 255, 65'533, 65'534, 65'535, 70'000));

TEST(CbStreamWriteBinaryNarrow, ReachesWriteAsOneLengthAndOneBody)
{
    EXPECT_THAT(widthsOf("abc"), ElementsAre(4, 3));
    EXPECT_THAT(widthsOf(std::string(100'000, 'x')), ElementsAre(4, 100'000));
}

TEST(CbStreamWriteBinaryNarrow, ThatIsEmptyReachesWriteWithABodyOfNothing)
{
    EXPECT_THAT(widthsOf(""), ElementsAre(4, 0));
}

TEST(CbStreamWriteBinaryNarrow, FromANullPointerIsRefusedAndWritesNothing)
{
    CLogRecorder const log;
    CRecordingWriter stream;
    CbStreamWriteBinaryBuffer buffer;
    char const* const null = nullptr;

    EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<", stream << null);
    EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<", buffer << null);

    EXPECT_TRUE(stream.GetWrites().empty());
    EXPECT_EQ(buffer.GetCount(), 0);
}

TEST(CbStreamWriteBinaryNarrow, HasTheLow32BitsOfALongerLength)
{
    CRecordingWriter stream;

    stream.writeStringLengthA(0x1'0000'0002);

    EXPECT_THAT(stream.GetWrites(), ElementsAre(Bytes{0x02, 0x00, 0x00, 0x00}));
}

// ---- wide text

TEST(CbStreamWriteBinaryWide, IsAMarkerALengthAndUnits)
{
    EXPECT_EQ(written(L""), (Bytes{0xFF, 0xFE, 0xFF, 0x00}));
    EXPECT_EQ(written(L"ab"), (Bytes{0xFF, 0xFE, 0xFF, 0x02, 0x61, 0x00, 0x62, 0x00}));
    EXPECT_EQ(written(L"\u20AC\uFFFF"), (Bytes{0xFF, 0xFE, 0xFF, 0x02, 0xAC, 0x20, 0xFF, 0xFF}));
}

TEST(CbStreamWriteBinaryWide, IsTheSameFromEveryWideType)
{
    Bytes const expected{0xFF, 0xFE, 0xFF, 0x02, 0x61, 0x00, 0x62, 0x00};

    EXPECT_EQ(written(L"ab"), expected);
    EXPECT_EQ(written(std::wstring(L"ab")), expected);
    EXPECT_EQ(written(CStringW(L"ab")), expected);
    EXPECT_EQ(written(CbFormatT<CStringW>(L"%s", L"ab")), expected);
}

TEST(CbStreamWriteBinaryWide, BeyondTheBasicPlaneIsAPairOfUnits)
{
    EXPECT_EQ(written(L"\U0001F600"), (Bytes{0xFF, 0xFE, 0xFF, 0x02, 0x3D, 0xD8, 0x00, 0xDE}));
    EXPECT_EQ(written(L"a\U00010000"), (Bytes{0xFF, 0xFE, 0xFF, 0x03, 0x61, 0x00, 0x00, 0xD8, 0x00, 0xDC}));
    EXPECT_EQ(written(L"\U0010FFFF"), (Bytes{0xFF, 0xFE, 0xFF, 0x02, 0xFF, 0xDB, 0xFF, 0xDF}));
}

TEST(CbStreamWriteBinaryWide, KeepsASurrogateWithoutAPartner)
{
    EXPECT_EQ(written(L"\xD800"), (Bytes{0xFF, 0xFE, 0xFF, 0x01, 0x00, 0xD8}));
    EXPECT_EQ(written(L"x\xDFFF"), (Bytes{0xFF, 0xFE, 0xFF, 0x02, 0x78, 0x00, 0xFF, 0xDF}));
}

struct SWideLength
{
    std::size_t length;
    Bytes head;
};

class CbStreamWriteBinaryWideLength : public testing::TestWithParam<SWideLength>
{
};

TEST_P(CbStreamWriteBinaryWideLength, TakesTheFormOfItsSize)
{
    SWideLength const& row = GetParam();

    Bytes const bytes = written(std::wstring(row.length, L'x'));

    EXPECT_EQ(headOf(bytes, row.head.size()), row.head);
    EXPECT_EQ(bytes.size(), row.head.size() + 2 * row.length);
}

TEST_P(CbStreamWriteBinaryWideLength, IsFollowedByTheWholeText)
{
    SWideLength const& row = GetParam();
    std::wstring const text(row.length, L'x');
    Bytes const bytes = written(text);

    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    std::wstring read;
    stream >> read;

    EXPECT_EQ(read, text);
    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, CbStreamWriteBinaryWideLength,
    testing::Values(SWideLength{0, {0xFF, 0xFE, 0xFF, 0x00}}, SWideLength{1, {0xFF, 0xFE, 0xFF, 0x01}},
                    SWideLength{254, {0xFF, 0xFE, 0xFF, 0xFE}}, SWideLength{255, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0x00}},
                    SWideLength{256, {0xFF, 0xFE, 0xFF, 0xFF, 0x00, 0x01}},
                    SWideLength{65'533, {0xFF, 0xFE, 0xFF, 0xFF, 0xFD, 0xFF}},
                    SWideLength{65'534, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0x00, 0x00}},
                    SWideLength{65'535, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00}},
                    SWideLength{70'000, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x70, 0x11, 0x01, 0x00}}),
    [](testing::TestParamInfo<SWideLength> const& row) { return "Of" + std::to_string(row.param.length); });

TEST(CbStreamWriteBinaryWide, CountsUnitsAndNotCharacters)
{
    std::wstring text;
    for (int i = 0; i < 127; ++i)
    {
        text += L"\U0001F600";
    }

    EXPECT_EQ(headOf(written(text), 4), (Bytes{0xFF, 0xFE, 0xFF, 0xFE}));
    EXPECT_EQ(headOf(written(text + L"a"), 6), (Bytes{0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0x00}));
}

TEST(CbStreamWriteBinaryWide, ReachesWriteAsSeparateLengthFieldsAndOneBody)
{
    EXPECT_THAT(widthsOf(L"ab"), ElementsAre(1, 2, 1, 4));
    EXPECT_THAT(widthsOf(std::wstring(300, L'x')), ElementsAre(1, 2, 1, 2, 600));
    EXPECT_THAT(widthsOf(std::wstring(65'533, L'x')), ElementsAre(1, 2, 1, 2, 131'066));
    EXPECT_THAT(widthsOf(std::wstring(65'534, L'x')), ElementsAre(1, 2, 1, 2, 4, 131'068));
}

TEST(CbStreamWriteBinaryWide, ThatIsEmptyReachesWriteWithABodyOfNothing)
{
    EXPECT_THAT(widthsOf(L""), ElementsAre(1, 2, 1, 0));
}

TEST(CbStreamWriteBinaryWide, HasLengthFormsUpTo64Bits)
{
    CRecordingWriter stream;

    stream.writeStringLengthW(0xFFFFFFFE);
    EXPECT_THAT(stream.GetWrites(), ElementsAre(Bytes{0xFF}, Bytes{0xFE, 0xFF}, Bytes{0xFF}, Bytes{0xFF, 0xFF},
                                                Bytes{0xFE, 0xFF, 0xFF, 0xFF}));

    CRecordingWriter longer;
    longer.writeStringLengthW(0xFFFFFFFF);
    EXPECT_THAT(longer.GetWrites(),
                ElementsAre(Bytes{0xFF}, Bytes{0xFE, 0xFF}, Bytes{0xFF}, Bytes{0xFF, 0xFF},
                            Bytes{0xFF, 0xFF, 0xFF, 0xFF}, Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00}));
}

TEST(CbStreamWriteBinaryWide, FromANullPointerIsRefusedAndWritesNothing)
{
    CLogRecorder const log;
    CRecordingWriter stream;
    CbStreamWriteBinaryBuffer buffer;
    wchar_t const* const null = nullptr;

    EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<", stream << null);
    EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<", buffer << null);

    EXPECT_TRUE(stream.GetWrites().empty());
    EXPECT_EQ(buffer.GetCount(), 0);
}

TEST(CbStreamWriteBinaryLengths, GoThroughTheStreamsOwnOperators)
{
    // A stream that counts in the operators instead of in `write`.
    class CWriter : public CRecordingWriter
    {
    public:
        using CRecordingWriter::operator<<;

        CWriter& operator<<(unsigned char value) override
        {
            m_fields.push_back("8:" + std::to_string(value));
            return *this;
        }

        CWriter& operator<<(unsigned short value) override
        {
            m_fields.push_back("16:" + std::to_string(value));
            return *this;
        }

        CWriter& operator<<(unsigned int value) override
        {
            m_fields.push_back("32:" + std::to_string(value));
            return *this;
        }

        CWriter& operator<<(unsigned __int64 value) override
        {
            m_fields.push_back("64:" + std::to_string(value));
            return *this;
        }

        std::vector<std::string> m_fields;
    };

    CWriter stream;

    stream << "abc";
    stream << L"ab";
    stream.writeStringLengthW(0xFFFF'FFFF);

    EXPECT_THAT(stream.m_fields, ElementsAre("32:3", "8:255", "16:65534", "8:2", "8:255", "16:65534", "8:255",
                                             "16:65535", "32:4294967295", "64:4294967295"));
}

// ---- raw bytes

TEST(CbStreamWriteBinaryBytes, ReachWriteAsTheyAre)
{
    CRecordingWriter stream;

    stream.WriteBuffer("a\0b", 3);

    EXPECT_THAT(stream.GetWrites(), ElementsAre(Bytes{'a', 0, 'b'}));
}

TEST(CbStreamWriteBinaryBytes, OfSizeZeroMayHaveANullPointer)
{
    CbStreamWriteBinaryBuffer stream;

    stream.WriteBuffer(nullptr, 0);

    EXPECT_EQ(stream.GetCount(), 0);
}

TEST(CbStreamWriteBinaryFailure, OfWritePassesAndKeepsWhatWasWrittenBefore)
{
    class CFull : public CRecordingWriter
    {
    protected:
        CFull& write(void const* data, unsigned __int64 size) override
        {
            if (GetWrites().size() == 2)
            {
                throw 42;
            }
            CRecordingWriter::write(data, size);
            return *this;
        }
    };

    CFull stream;

    EXPECT_THROW(stream << 1 << L"ab", int);

    EXPECT_THAT(stream.GetWrites(), ElementsAre(Bytes{1, 0, 0, 0}, Bytes{0xFF}));
}
