#include "orvane/stream/cbstreamreadbinarybuffer.h"

#include <limits>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/stream/streamtesting.h"
#include "support/layout.h"
#include "support/logrecorder.h"
#include "support/raises.h"

using testing::ElementsAre;

// ---- the members, which clients compiled earlier know by their places

namespace
{
// Data, size, position, bytes read.
void expectMembers(CbStreamReadBinaryBuffer const& stream, unsigned char const* data, unsigned __int64 size,
                   unsigned __int64 position, unsigned __int64 bytesRead)
{
    EXPECT_EQ(fieldAt<unsigned char const*>(&stream, 8), data);
    EXPECT_EQ(fieldAt<unsigned __int64>(&stream, 16), size);
    EXPECT_EQ(fieldAt<unsigned __int64>(&stream, 24), position);
    EXPECT_EQ(fieldAt<unsigned __int64>(&stream, 32), bytesRead);
}
} // namespace

static_assert(sizeof(CbStreamReadBinaryBuffer) == 40);

TEST(CbStreamReadBinaryBufferMembers, StandInTheirOrder)
{
    Bytes const bytes(20, 1);
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    expectMembers(stream, bytes.data(), 20, 0, 0);

    int value = 0;
    stream >> value;
    expectMembers(stream, bytes.data(), 20, 4, 4);
    unsigned char data[7];
    stream.ReadBuffer(data, sizeof data);
    expectMembers(stream, bytes.data(), 20, 11, 11);

    CbStreamReadBinaryBuffer copy(stream);
    stream.ReadBuffer(data, 1);
    expectMembers(copy, bytes.data(), 20, 11, 11);
    copy = stream;
    expectMembers(copy, bytes.data(), 20, 12, 12);

    CbArray<unsigned char> const array(5);
    expectMembers(CbStreamReadBinaryBuffer(array), array.GetData(), 5, 0, 0);
}

TEST(CbStreamReadBinaryBufferConstruction, ReadsAnArrayInPlace)
{
    CbArray<unsigned char> array(2);
    CbStreamReadBinaryBuffer stream(array);
    array[0] = 5;
    char value = 0;

    stream >> value;

    EXPECT_EQ(value, 5);
}

TEST(CbStreamReadBinaryBufferConstruction, EndsAtTheArraysCountAndNotAtItsCapacity)
{
    CLogRecorder const log;
    CbArray<unsigned char> array(2);
    array.SetCapacity(100);
    CbStreamReadBinaryBuffer stream(array);
    int value = 0;

    EXPECT_THROW(stream >> value, CbExceptionStream);

    EXPECT_EQ(stream.GetBytesRead(), 2);
}

TEST(CbStreamReadBinaryBufferConstruction, RefusesAnArrayThatIsATemporary)
{
    static_assert(!std::is_constructible_v<CbStreamReadBinaryBuffer, CbArray<unsigned char>>);
    static_assert(!std::is_constructible_v<CbStreamReadBinaryBuffer, CbArray<unsigned char>&&>);
    static_assert(std::is_constructible_v<CbStreamReadBinaryBuffer, CbArray<unsigned char>&>);
    static_assert(std::is_constructible_v<CbStreamReadBinaryBuffer, CbArray<unsigned char> const&>);
    static_assert(!std::is_convertible_v<CbArray<unsigned char> const&, CbStreamReadBinaryBuffer>);
}

TEST(CbStreamReadBinaryBufferConstruction, TakesANullBlockOfSizeZero)
{
    CLogRecorder const log;
    CbStreamReadBinaryBuffer stream(nullptr, 0);
    CbArray<unsigned char> const array;
    CbStreamReadBinaryBuffer ofArray(array);
    char value = 0;

    EXPECT_EQ(stream.ReadBuffer(&value, 1), 0);
    EXPECT_EQ(ofArray.ReadBuffer(&value, 1), 0);
    EXPECT_THROW(stream >> value, CbExceptionStream);
    EXPECT_EQ(stream.GetBytesRead(), 0);
}

TEST(CbStreamReadBinaryBufferRead, CountsTheBytesThatItDelivered)
{
    Bytes const bytes(10, 1);
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    int number = 0;
    short half = 0;
    unsigned char rest[8];

    EXPECT_EQ(stream.GetBytesRead(), 0);
    stream >> number;
    EXPECT_EQ(stream.GetBytesRead(), 4);
    stream >> half;
    EXPECT_EQ(stream.GetBytesRead(), 6);
    stream.ReadBuffer(rest, 8);
    EXPECT_EQ(stream.GetBytesRead(), 10);
    stream.ReadBuffer(rest, 8);
    EXPECT_EQ(stream.GetBytesRead(), 10);
}

TEST(CbStreamReadBinaryBufferRead, OfAnIntFromThreeBytesRaisesAndHasReadThree)
{
    CLogRecorder const log;
    Bytes const bytes{1, 2, 3};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    int value = 0;

    EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>", stream >> value);

    EXPECT_EQ(stream.GetBytesRead(), 3);
}

TEST(CbStreamReadBinaryBufferRead, OfTheLargestSizeDeliversWhatIsThere)
{
    Bytes const bytes{1, 2, 3};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    unsigned char data[3];
    char first = 0;
    stream >> first;

    EXPECT_EQ(stream.ReadBuffer(data, std::numeric_limits<unsigned __int64>::max()), 2);

    EXPECT_EQ(data[0], 2);
    EXPECT_EQ(data[1], 3);
}

TEST(CbStreamReadBinaryBufferRead, OfSizeZeroTakesANullPointer)
{
    Bytes const bytes{1};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_EQ(stream.ReadBuffer(nullptr, 0), 0);
    EXPECT_EQ(stream.GetBytesRead(), 0);
}

TEST(CbStreamReadBinaryBufferCopy, SharesTheBlockAndHasAPositionOfItsOwn)
{
    Bytes const bytes{1, 2, 3};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    char value = 0;
    stream >> value;

    CbStreamReadBinaryBuffer copy(stream);
    EXPECT_EQ(copy.GetBytesRead(), 1);
    copy >> value;
    EXPECT_EQ(value, 2);
    EXPECT_EQ(copy.GetBytesRead(), 2);

    stream >> value;
    EXPECT_EQ(value, 2);
    EXPECT_EQ(stream.GetBytesRead(), 2);
}

TEST(CbStreamReadBinaryBufferCopy, AssignmentTakesBlockAndPosition)
{
    Bytes const bytes{1, 2, 3};
    Bytes const others{7};
    CbStreamReadBinaryBuffer source = readerOf(bytes);
    CbStreamReadBinaryBuffer target = readerOf(others);
    char value = 0;
    source >> value;

    CbStreamReadBinaryBuffer const& result = target = source;
    target >> value;

    EXPECT_EQ(&result, &target);
    EXPECT_EQ(value, 2);
    EXPECT_EQ(source.GetBytesRead(), 1);
    EXPECT_EQ(target.GetBytesRead(), 2);
}

TEST(CbStreamReadBinaryBufferMove, TakesBlockAndPosition)
{
    Bytes const bytes{1, 2, 3};
    CbStreamReadBinaryBuffer source = readerOf(bytes);
    char value = 0;
    source >> value;

    CbStreamReadBinaryBuffer constructed(std::move(source));
    CbStreamReadBinaryBuffer assigned(nullptr, 0);
    assigned = std::move(constructed);
    assigned >> value;

    EXPECT_EQ(value, 2);
    EXPECT_EQ(assigned.GetBytesRead(), 2);
}

// ---- classes derived from it

namespace
{
class CWatchedReader : public CbStreamReadBinaryBuffer
{
public:
    using CbStreamReadBinaryBuffer::CbStreamReadBinaryBuffer;

    std::vector<unsigned __int64> m_widths;

protected:
    unsigned __int64 read(void* data, unsigned __int64 size) override
    {
        m_widths.push_back(size);
        return CbStreamReadBinaryBuffer::read(data, size);
    }
};
} // namespace

TEST(CbStreamReadBinaryBufferDerived, SeesEveryCallOfRead)
{
    CbStreamWriteBinaryBuffer writer;
    writer << 1 << true << 2.0 << 3l << "abc" << L"ab" << std::string("a") << CStringW(L"a");
    CWatchedReader stream(writer.GetArray());
    int number = 0;
    bool flag = false;
    double fraction = 0;
    long wide = 0;
    CStringA narrowText;
    CStringW wideText;
    std::string narrow;
    std::wstring text;

    stream >> number >> flag >> fraction >> wide >> narrowText >> wideText >> narrow >> text;

    EXPECT_THAT(stream.m_widths, ElementsAre(4, 1, 8, 4, 4, 3, 1, 2, 1, 4, 4, 1, 1, 2, 1, 2));
    EXPECT_EQ(stream.GetBytesRead(), writer.GetCount());
}

TEST(CbStreamReadBinaryBufferDerived, DecidesWhatItsReadDelivers)
{
    class CEnciphered : public CbStreamReadBinaryBuffer
    {
    public:
        using CbStreamReadBinaryBuffer::CbStreamReadBinaryBuffer;

    protected:
        unsigned __int64 read(void* data, unsigned __int64 size) override
        {
            unsigned __int64 const delivered = CbStreamReadBinaryBuffer::read(data, size);
            for (unsigned __int64 i = 0; i < delivered; ++i)
            {
                static_cast<unsigned char*>(data)[i] ^= 0x55;
            }
            return delivered;
        }
    };

    Bytes bytes = joined({narrowText("narrow"), wideText(u"wide"), littleEndian(7, 2)});
    for (unsigned char& byte : bytes)
    {
        byte ^= 0x55;
    }
    CEnciphered stream(bytes.data(), bytes.size());
    std::string narrow;
    CStringW wide;
    short number = 0;

    stream >> narrow >> wide >> number;

    EXPECT_EQ(narrow, "narrow");
    EXPECT_STREQ(wide.GetString(), L"wide");
    EXPECT_EQ(number, 7);
}

TEST(CbStreamReadBinaryBufferDerived, SeesLengthsAndSiblingTypesInItsOwnOperators)
{
    class CWatched : public CbStreamReadBinaryBuffer
    {
    public:
        using CbStreamReadBinaryBuffer::CbStreamReadBinaryBuffer;
        using CbStreamReadBinaryBuffer::operator>>;

        CWatched& operator>>(unsigned int& value) override
        {
            CbStreamReadBinaryBuffer::operator>>(value);
            ++m_numbers;
            return *this;
        }

        CWatched& operator>>(CStringW& value) override
        {
            CbStreamReadBinaryBuffer::operator>>(value);
            ++m_texts;
            return *this;
        }

        int m_numbers = 0;
        int m_texts = 0;
    };

    Bytes const bytes = joined({narrowText("abc"), wideText(u"ab")});
    CWatched stream(bytes.data(), bytes.size());
    std::string narrow;
    std::wstring wide;

    stream >> narrow >> wide;

    EXPECT_EQ(stream.m_numbers, 1);
    EXPECT_EQ(stream.m_texts, 1);
    EXPECT_EQ(narrow, "abc");
    EXPECT_EQ(wide, L"ab");
}
