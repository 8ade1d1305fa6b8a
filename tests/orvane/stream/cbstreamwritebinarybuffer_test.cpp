#include "orvane/stream/cbstreamwritebinarybuffer.h"

#include <limits>
#include <new>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/stream/streamtesting.h"
#include "support/layout.h"

using testing::ElementsAre;

TEST(CbStreamWriteBinaryBufferConstruction, ReservesFourKibibytes)
{
    CbStreamWriteBinaryBuffer const stream;

    EXPECT_EQ(stream.GetCount(), 0);
    EXPECT_EQ(stream.GetArray().GetCount(), 0);
    EXPECT_EQ(stream.GetArray().GetCapacity(), 4096);
    EXPECT_EQ(stream.GetArray().GetGrowStep(), 0);
}

TEST(CbStreamWriteBinaryBufferConstruction, ReservesTheGivenCapacity)
{
    EXPECT_EQ(CbStreamWriteBinaryBuffer(100).GetArray().GetCapacity(), 100);
    EXPECT_EQ(CbStreamWriteBinaryBuffer(0).GetArray().GetCapacity(), 0);
    EXPECT_EQ(CbStreamWriteBinaryBuffer(100).GetCount(), 0);
}

static_assert(sizeof(CbStreamWriteBinaryBuffer) == 40);

TEST(CbStreamWriteBinaryBufferMembers, AreTheArrayAlone)
{
    CbStreamWriteBinaryBuffer stream(100);
    stream << 1;

    EXPECT_EQ(static_cast<void const*>(&stream.GetArray()), &fieldAt<char>(&stream, 8));
    EXPECT_EQ(fieldAt<unsigned char*>(&stream, 8), stream.GetData());
}

TEST(CbStreamWriteBinaryBufferConstruction, TakesNoNumberForAStream)
{
    static_assert(!std::is_convertible_v<unsigned int, CbStreamWriteBinaryBuffer>);
}

TEST(CbStreamWriteBinaryBufferGrowth, FromTheDefaultIsOneDoublingAt4097Bytes)
{
    CbStreamWriteBinaryBuffer stream;
    Bytes const block(4096, 1);
    stream.WriteBuffer(block.data(), block.size());
    unsigned char const* const data = stream.GetData();
    EXPECT_EQ(stream.GetArray().GetCapacity(), 4096);

    stream << 'x';

    EXPECT_EQ(stream.GetCount(), 4097);
    EXPECT_EQ(stream.GetArray().GetCapacity(), 8192);
    EXPECT_NE(stream.GetData(), data);
}

TEST(CbStreamWriteBinaryBufferGrowth, Of4097BytesAtOnceIsOneDoubling)
{
    CbStreamWriteBinaryBuffer stream;
    Bytes const block(4097, 1);

    stream.WriteBuffer(block.data(), block.size());

    EXPECT_EQ(stream.GetArray().GetCapacity(), 8192);
    EXPECT_EQ(bytesOf(stream), block);
}

TEST(CbStreamWriteBinaryBufferGrowth, FromNothingIs1And2And4And8)
{
    CbStreamWriteBinaryBuffer stream(0);
    std::vector<unsigned int> capacities;
    for (int i = 0; i < 9; ++i)
    {
        stream << 'x';
        capacities.push_back(stream.GetArray().GetCapacity());
    }

    EXPECT_THAT(capacities, ElementsAre(1, 2, 4, 4, 8, 8, 8, 8, 16));
}

TEST(CbStreamWriteBinaryBufferGrowth, FromNothingByFiveBytesAtOnceIs8)
{
    CbStreamWriteBinaryBuffer stream(0);

    stream.WriteBuffer("abcde", 5);

    EXPECT_EQ(stream.GetArray().GetCapacity(), 8);
    EXPECT_EQ(stream.GetCount(), 5);
}

TEST(CbStreamWriteBinaryBufferGrowth, TakesTheStreamsOwnBytes)
{
    CbStreamWriteBinaryBuffer stream(3);
    stream.WriteBuffer("abc", 3);

    stream.WriteBuffer(stream.GetData(), stream.GetCount());

    EXPECT_EQ(bytesOf(stream), (Bytes{'a', 'b', 'c', 'a', 'b', 'c'}));
}

// No memory is asked for: the size is refused before the data are looked at.
TEST(CbStreamWriteBinaryBufferGrowth, Beyond32BitsIsRefusedAndKeepsTheBytes)
{
    CbStreamWriteBinaryBuffer stream;
    stream << 1;

    EXPECT_THROW(stream.WriteBuffer("x", 0x1'0000'0000), std::bad_alloc);
    EXPECT_THROW(stream.WriteBuffer("x", 0xFFFF'FFFF), std::bad_alloc);
    EXPECT_THROW(stream.WriteBuffer("x", std::numeric_limits<unsigned __int64>::max()), std::bad_alloc);

    EXPECT_EQ(bytesOf(stream), littleEndian(1, 4));
}

TEST(CbStreamWriteBinaryBufferData, IsTheFirstByte)
{
    CbStreamWriteBinaryBuffer stream;
    stream << 0x01020304;
    CbStreamWriteBinaryBuffer const& constant = stream;

    EXPECT_EQ(stream.GetData(), stream.GetArray().GetData());
    EXPECT_EQ(constant.GetData(), stream.GetData());
    EXPECT_EQ(constant.GetData()[0], 0x04);
    stream.GetData()[0] = 0x05;
    EXPECT_EQ(constant.GetData()[0], 0x05);
}

TEST(CbStreamWriteBinaryBufferExtractArray, HandsTheBlockOverAndLeavesTheStreamEmpty)
{
    CbStreamWriteBinaryBuffer stream;
    stream << 1;
    unsigned char const* const block = stream.GetData();

    CbArray<unsigned char> const array(stream.ExtractArray());

    EXPECT_EQ(array.GetData(), block);
    EXPECT_EQ(bytesOf(array), littleEndian(1, 4));
    EXPECT_EQ(stream.GetCount(), 0);
    EXPECT_TRUE(stream.GetArray().IsEmpty());
}

TEST(CbStreamWriteBinaryBufferExtractArray, LeavesAStreamThatCanBeWrittenToAgain)
{
    CbStreamWriteBinaryBuffer stream;
    stream << 1;
    CbArray<unsigned char> const array(stream.ExtractArray());

    stream << static_cast<short>(2);

    EXPECT_EQ(bytesOf(stream), littleEndian(2, 2));
    EXPECT_EQ(bytesOf(array), littleEndian(1, 4));
}

TEST(CbStreamWriteBinaryBufferExtractArray, ThatIsNotMovedFromChangesNothing)
{
    CbStreamWriteBinaryBuffer stream;
    stream << 1;

    CbArray<unsigned char>&& array = stream.ExtractArray();

    EXPECT_EQ(array.GetCount(), 4);
    EXPECT_EQ(stream.GetCount(), 4);
}

TEST(CbStreamWriteBinaryBufferCopy, HasBytesOfItsOwn)
{
    CbStreamWriteBinaryBuffer stream;
    stream << 1;

    CbStreamWriteBinaryBuffer copy(stream);
    copy << 'x';
    stream.GetData()[0] = 9;

    EXPECT_EQ(bytesOf(copy), (Bytes{1, 0, 0, 0, 'x'}));
    EXPECT_EQ(bytesOf(stream), (Bytes{9, 0, 0, 0}));
}

TEST(CbStreamWriteBinaryBufferCopy, AssignmentReplacesTheBytes)
{
    CbStreamWriteBinaryBuffer source;
    source << 1;
    CbStreamWriteBinaryBuffer target;
    target << "old";

    CbStreamWriteBinaryBuffer const& result = target = source;

    EXPECT_EQ(&result, &target);
    EXPECT_EQ(bytesOf(target), littleEndian(1, 4));
    EXPECT_EQ(bytesOf(source), littleEndian(1, 4));
}

TEST(CbStreamWriteBinaryBufferMove, TakesTheBytesAndLeavesTheSourceEmpty)
{
    CbStreamWriteBinaryBuffer source;
    source << 1;
    unsigned char const* const block = source.GetData();

    CbStreamWriteBinaryBuffer constructed(std::move(source));
    EXPECT_EQ(constructed.GetData(), block);
    EXPECT_EQ(source.GetCount(), 0);

    CbStreamWriteBinaryBuffer assigned;
    assigned << "old";
    assigned = std::move(constructed);
    EXPECT_EQ(bytesOf(assigned), littleEndian(1, 4));
    EXPECT_EQ(constructed.GetCount(), 0);

    source << 'x';
    EXPECT_EQ(bytesOf(source), (Bytes{'x'}));
}

TEST(CbStreamWriteBinaryBufferRoundTrip, ReproducesEveryValue)
{
    CbStreamWriteBinaryBuffer writer;
    writer << -2l << 4'000'000'000ul << 'A' << -1.0e300 << 1.5f << static_cast<__int64>(-5)
           << static_cast<unsigned __int64>(0xFEDCBA9876543210) << -7 << 0xFFFFFFF0u << static_cast<short>(-8)
           << static_cast<unsigned short>(0xFFF0) << static_cast<signed char>(-9) << static_cast<unsigned char>(0xF0)
           << true << "narrow" << L"wide \U0001F600";
    CbStreamReadBinaryBuffer reader(writer.GetArray());

    long aLong = 0;
    unsigned long anUnsignedLong = 0;
    char aChar = 0;
    double aDouble = 0;
    float aFloat = 0;
    __int64 an64 = 0;
    unsigned __int64 anUnsigned64 = 0;
    int anInt = 0;
    unsigned int anUnsignedInt = 0;
    short aShort = 0;
    unsigned short anUnsignedShort = 0;
    signed char aSignedChar = 0;
    unsigned char anUnsignedChar = 0;
    bool aBool = false;
    std::string narrow;
    std::wstring wide;
    reader >> aLong >> anUnsignedLong >> aChar >> aDouble >> aFloat >> an64 >> anUnsigned64 >> anInt >> anUnsignedInt >>
        aShort >> anUnsignedShort >> aSignedChar >> anUnsignedChar >> aBool >> narrow >> wide;

    EXPECT_EQ(aLong, -2);
    EXPECT_EQ(anUnsignedLong, 4'000'000'000ul);
    EXPECT_EQ(aChar, 'A');
    EXPECT_EQ(aDouble, -1.0e300);
    EXPECT_EQ(aFloat, 1.5f);
    EXPECT_EQ(an64, -5);
    EXPECT_EQ(anUnsigned64, 0xFEDCBA9876543210);
    EXPECT_EQ(anInt, -7);
    EXPECT_EQ(anUnsignedInt, 0xFFFFFFF0);
    EXPECT_EQ(aShort, -8);
    EXPECT_EQ(anUnsignedShort, 0xFFF0);
    EXPECT_EQ(aSignedChar, -9);
    EXPECT_EQ(anUnsignedChar, 0xF0);
    EXPECT_TRUE(aBool);
    EXPECT_EQ(narrow, "narrow");
    EXPECT_EQ(wide, L"wide \U0001F600");
    EXPECT_EQ(reader.GetBytesRead(), writer.GetCount());
}

// ---- the same bytes whatever the room

struct SPlacedText
{
    char const* name;
    std::wstring wide;
    std::string narrow;
};

class CbStreamWriteBinaryBufferPlacing : public testing::TestWithParam<SPlacedText>
{
protected:
    // Writes the value into every small capacity, and once byte by byte.
    template <class T>
    static void expectSameBytes(T const& value)
    {
        CRecordingWriter calls;
        calls << 1 << value << 'x';
        CbArray<unsigned char> bytes;
        for (Bytes const& call : calls.GetWrites())
        {
            bytes.Append(call.data(), static_cast<unsigned int>(call.size()));
        }
        for (unsigned int capacity = 0; capacity < bytes.GetCount() + 70; ++capacity)
        {
            SCOPED_TRACE(capacity);
            CbStreamWriteBinaryBuffer stream(capacity);
            CbArray<unsigned char> oneByOne;
            oneByOne.SetCapacity(capacity);
            for (unsigned char const byte : bytes)
            {
                oneByOne.Add(byte);
            }

            stream << 1 << value << 'x';

            ASSERT_TRUE(stream.GetArray() == bytes);
            ASSERT_EQ(stream.GetArray().GetCapacity(), oneByOne.GetCapacity());
        }
    }
};

TEST_P(CbStreamWriteBinaryBufferPlacing, OfWideTextGivesTheBytesAndTheGrowthOfSingleWrites)
{
    expectSameBytes(GetParam().wide);
    expectSameBytes(CStringW(GetParam().wide));
    expectSameBytes(GetParam().wide.c_str());
}

TEST_P(CbStreamWriteBinaryBufferPlacing, OfNarrowTextGivesTheBytesAndTheGrowthOfSingleWrites)
{
    expectSameBytes(GetParam().narrow);
    expectSameBytes(CStringA(GetParam().narrow));
    expectSameBytes(GetParam().narrow.c_str());
}

namespace
{
std::wstring pairs(int count)
{
    std::wstring text;
    for (int i = 0; i < count; ++i)
    {
        text += L"\U0001F600";
    }
    return text;
}
} // namespace

INSTANTIATE_TEST_SUITE_P(
    Texts, CbStreamWriteBinaryBufferPlacing,
    testing::Values(SPlacedText{"Empty", L"", ""}, SPlacedText{"Short", L"abc", "abc"},
                    SPlacedText{"Of254Units", std::wstring(254, L'x'), std::string(254, 'x')},
                    SPlacedText{"Of255Units", std::wstring(255, L'x'), std::string(255, 'x')},
                    // 127 and 128 pairs are 254 and 256 units, whatever the number of characters in memory.
                    SPlacedText{"Of127Pairs", pairs(127), "x"}, SPlacedText{"Of128Pairs", pairs(128), "x"},
                    SPlacedText{"OfAnOddNumberOfUnits", L"a" + pairs(127), "x"},
                    SPlacedText{"ThatEndsAtANul", std::wstring(L"ab\0cd", 5), std::string("ab\0cd", 5)},
                    SPlacedText{"ThatStartsWithANul", std::wstring(L"\0cd", 3), std::string("\0cd", 3)},
                    SPlacedText{"LongThatEndsEarly", std::wstring(10, L'x') + L'\0' + std::wstring(300, L'y'),
                                std::string(10, 'x') + '\0' + std::string(300, 'y')},
                    SPlacedText{"LongThatEndsAt254", std::wstring(254, L'x') + L'\0' + std::wstring(50, L'y'),
                                std::string(254, 'x') + '\0' + std::string(50, 'y')},
                    SPlacedText{"LongThatEndsAt255", std::wstring(255, L'x') + L'\0' + std::wstring(50, L'y'),
                                std::string(255, 'x') + '\0' + std::string(50, 'y')}),
    [](testing::TestParamInfo<SPlacedText> const& row) { return std::string(row.param.name); });

TEST(CbStreamWriteBinaryBufferLongText, AroundTheLimitGivesTheBytesOfSingleWrites)
{
    for (std::size_t const length : {16'383u, 16'384u, 16'385u, 32'766u, 32'767u, 32'768u, 65'533u, 65'534u})
    {
        SCOPED_TRACE(length);
        for (std::wstring const& text : {std::wstring(length, L'x'), pairs(static_cast<int>(length / 2))})
        {
            CRecordingWriter calls;
            calls << text;
            CbStreamWriteBinaryBuffer stream(300'000);

            stream << text;

            Bytes bytes;
            for (Bytes const& call : calls.GetWrites())
            {
                bytes.insert(bytes.end(), call.begin(), call.end());
            }
            EXPECT_TRUE(bytesOf(stream) == bytes);
        }
    }
}

// ---- classes derived from it

TEST(CbStreamWriteBinaryBufferDerived, SeesEveryCallOfWrite)
{
    class CWatched : public CbStreamWriteBinaryBuffer
    {
    public:
        std::vector<unsigned __int64> m_widths;

    protected:
        CWatched& write(void const* data, unsigned __int64 size) override
        {
            m_widths.push_back(size);
            CbStreamWriteBinaryBuffer::write(data, size);
            return *this;
        }
    };

    CWatched stream;

    stream << 1 << true << 2.0 << 3l << "abc" << L"ab" << std::string("a") << CStringW(L"a");

    EXPECT_THAT(stream.m_widths, ElementsAre(4, 1, 8, 4, 4, 3, 1, 2, 1, 4, 4, 1, 1, 2, 1, 2));
    EXPECT_EQ(stream.GetCount(), 4 + 1 + 8 + 4 + 7 + 8 + 5 + 6);
}

TEST(CbStreamWriteBinaryBufferDerived, SeesLengthFieldsInItsOwnOperators)
{
    class CWatched : public CbStreamWriteBinaryBuffer
    {
    public:
        using CbStreamWriteBinaryBuffer::operator<<;

        CWatched& operator<<(unsigned int value) override
        {
            m_values.push_back(value);
            CbStreamWriteBinaryBuffer::operator<<(value);
            return *this;
        }

        std::vector<unsigned int> m_values;
    };

    CWatched stream;

    stream << "abc";
    stream.WriteVersion(7);

    EXPECT_THAT(stream.m_values, ElementsAre(3, 7));
    EXPECT_EQ(bytesOf(stream), joined({narrowText("abc"), littleEndian(7, 4)}));
}
