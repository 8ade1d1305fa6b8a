#include "orvane/stream/cbarray_serializer.h"

#include <numeric>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/stream/streamtesting.h"
#include "support/logrecorder.h"
#include "support/raises.h"

using testing::ElementsAre;

namespace
{
constexpr unsigned int c_Marker = 0xFFFFFFFF;
constexpr unsigned int c_BelievedCount = 16 * 1024 * 1024;

CbArray<unsigned char> arrayOf(Bytes const& bytes)
{
    CbArray<unsigned char> array;
    array.Append(bytes.data(), static_cast<unsigned int>(bytes.size()));
    return array;
}

Bytes fields(std::initializer_list<unsigned int> values)
{
    Bytes bytes;
    for (unsigned int const value : values)
    {
        bytes = joined({bytes, littleEndian(value, 4)});
    }
    return bytes;
}

Bytes readArray(Bytes const& bytes)
{
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array;
    CbArray_Serializer::Serialize(stream, array);
    return bytesOf(array);
}
} // namespace

// ---- writing

TEST(CbArraySerializerWriting, IsTheHeaderAndTheElements)
{
    CbStreamWriteBinaryBuffer stream;

    CbArray_Serializer::Serialize(stream, arrayOf({7, 0, 255}));

    EXPECT_EQ(bytesOf(stream), (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x01,
                                      0x00, 0x00, 0x00, 7, 0, 255}));
}

TEST(CbArraySerializerWriting, OfAnEmptyArrayIsTheHeaderAlone)
{
    CRecordingWriter stream;

    CbArray_Serializer::Serialize(stream, CbArray<unsigned char>());

    EXPECT_THAT(stream.GetWrites(),
                ElementsAre(littleEndian(c_Marker, 4), littleEndian(1, 4), littleEndian(0, 4), littleEndian(1, 4)));
}

TEST(CbArraySerializerWriting, ReachesWriteAsFourFieldsAndOneBlock)
{
    CRecordingWriter stream;

    CbArray_Serializer::Serialize(stream, arrayOf(Bytes(1000, 1)));

    EXPECT_THAT(stream.GetWidths(), ElementsAre(4, 4, 4, 4, 1000));
}

TEST(CbArraySerializerWriting, OfTheHeaderAloneLeavesTheElementsToTheCaller)
{
    CbStreamWriteBinaryBuffer stream;

    CbArray_Serializer::serializeHeader(stream, arrayOf({7, 8}));

    EXPECT_EQ(bytesOf(stream), fields({c_Marker, 1, 2, 1}));
}

// The array may be the stream's own, which grows while its header is written: it is stored as it was before. The capacities
// are those with which the block is exchanged for the header, for the elements, for both at once, and not at all.
TEST(CbArraySerializerWriting, OfTheStreamsOwnArrayIsThatOfACopy)
{
    for (unsigned int const capacity : {2u, 5u, 16u, 17u, 18u, 19u, 4096u})
    {
        SCOPED_TRACE(capacity);
        CbStreamWriteBinaryBuffer stream(capacity);
        CbStreamWriteBinaryBuffer expected(capacity);
        stream << static_cast<short>(0x0807);
        expected << static_cast<short>(0x0807);

        CbArray_Serializer::Serialize(stream, stream.GetArray());
        CbArray_Serializer::Serialize(expected, arrayOf({0x07, 0x08}));

        EXPECT_EQ(bytesOf(stream), joined({Bytes{0x07, 0x08}, fields({c_Marker, 1, 2, 1}), Bytes{0x07, 0x08}}));
        EXPECT_EQ(bytesOf(stream), bytesOf(expected));
        EXPECT_EQ(stream.GetArray().GetCapacity(), expected.GetArray().GetCapacity());
    }
}

TEST(CbArraySerializerWriting, OfTheStreamsOwnArrayThatIsEmptyIsTheHeaderAlone)
{
    for (unsigned int const capacity : {0u, 4096u})
    {
        CbStreamWriteBinaryBuffer stream(capacity);

        CbArray_Serializer::Serialize(stream, stream.GetArray());

        EXPECT_EQ(bytesOf(stream), fields({c_Marker, 1, 0, 1}));
    }
}

TEST(CbArraySerializerWriting, OfTheHeaderOfTheStreamsOwnArrayHasTheCountFromBefore)
{
    CbStreamWriteBinaryBuffer stream;
    stream << static_cast<short>(0x0807);

    CbArray_Serializer::serializeHeader(stream, stream.GetArray());

    EXPECT_EQ(bytesOf(stream), joined({Bytes{0x07, 0x08}, fields({c_Marker, 1, 2, 1})}));
}

// ---- reading the header

TEST(CbArraySerializerHeader, MakesTheArrayAsLongAsItSays)
{
    Bytes const bytes = fields({c_Marker, 1, 5, 1});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array;

    CbArray_Serializer::serializeHeader(stream, array);

    EXPECT_EQ(array.GetCount(), 5);
    EXPECT_EQ(array.GetCapacity(), 5);
    EXPECT_EQ(bytesOf(array), Bytes(5, 0));
    EXPECT_EQ(stream.GetBytesRead(), 16);
}

TEST(CbArraySerializerHeader, OfTheOlderFormIsCountAndWidth)
{
    Bytes const bytes = fields({5, 1});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array;

    CbArray_Serializer::serializeHeader(stream, array);

    EXPECT_EQ(array.GetCount(), 5);
    EXPECT_EQ(stream.GetBytesRead(), 8);
}

TEST(CbArraySerializerHeader, OfVersionZeroIsAccepted)
{
    Bytes const bytes = fields({c_Marker, 0, 5, 1});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array;

    CbArray_Serializer::serializeHeader(stream, array);

    EXPECT_EQ(array.GetCount(), 5);
}

TEST(CbArraySerializerHeader, OfTheSameCountLeavesTheArrayAlone)
{
    Bytes const bytes = fields({c_Marker, 1, 3, 1});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array = arrayOf({1, 2, 3});
    unsigned char const* const block = array.GetData();

    CbArray_Serializer::serializeHeader(stream, array);

    EXPECT_EQ(array.GetData(), block);
    EXPECT_EQ(bytesOf(array), (Bytes{1, 2, 3}));
}

TEST(CbArraySerializerHeader, OfASmallerCountKeepsTheCapacity)
{
    Bytes const bytes = fields({c_Marker, 1, 2, 1});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array(10);

    CbArray_Serializer::serializeHeader(stream, array);

    EXPECT_EQ(array.GetCount(), 2);
    EXPECT_EQ(array.GetCapacity(), 10);
}

TEST(CbArraySerializerHeader, OfALargerCountThatFitsKeepsTheCapacity)
{
    Bytes const bytes = fields({c_Marker, 1, 5, 1});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array = arrayOf({1, 2});
    array.SetCapacity(10);

    CbArray_Serializer::serializeHeader(stream, array);

    EXPECT_EQ(array.GetCapacity(), 10);
    EXPECT_EQ(bytesOf(array), (Bytes{1, 2, 0, 0, 0}));
}

struct SRefusedHeader
{
    char const* name;
    std::vector<unsigned int> fields;
    char const* file;
    char const* function;
};

class CbArraySerializerRefusal : public testing::TestWithParam<SRefusedHeader>
{
protected:
    Bytes bytes() const
    {
        Bytes all;
        for (unsigned int const field : GetParam().fields)
        {
            all = joined({all, littleEndian(field, 4)});
        }
        return joined({all, Bytes(20, 0xEE)});
    }

    CLogRecorder const m_log;
    CbArray<unsigned char> m_array = arrayOf({1, 2, 3});
};

TEST_P(CbArraySerializerRefusal, OfTheHeaderLeavesTheArrayAsItWas)
{
    Bytes const stored = bytes();
    CbStreamReadBinaryBuffer stream = readerOf(stored);

    EXPECT_RAISES(CbExceptionWrongFileVersion, GetParam().file, GetParam().function,
                  CbArray_Serializer::serializeHeader(stream, m_array));

    EXPECT_EQ(bytesOf(m_array), (Bytes{1, 2, 3}));
    EXPECT_EQ(m_array.GetCapacity(), 4);
}

TEST_P(CbArraySerializerRefusal, OfTheWholeLeavesTheArrayAsItWas)
{
    Bytes const stored = bytes();
    CbStreamReadBinaryBuffer stream = readerOf(stored);

    EXPECT_RAISES(CbExceptionWrongFileVersion, GetParam().file, GetParam().function,
                  CbArray_Serializer::Serialize(stream, m_array));

    EXPECT_EQ(bytesOf(m_array), (Bytes{1, 2, 3}));
    EXPECT_EQ(m_array.GetCapacity(), 4);
}

constexpr char const* c_HeaderFile = "cbarray_serializer";
constexpr char const* c_HeaderFunction = "CbArray_Serializer::serializeHeader";
constexpr char const* c_VersionFile = "cbstreamread";
constexpr char const* c_VersionFunction = "CbStreamRead::ReadAndCompareVersion";

INSTANTIATE_TEST_SUITE_P(
    Rows, CbArraySerializerRefusal,
    testing::Values(SRefusedHeader{"Version2", {c_Marker, 2, 5, 1}, c_VersionFile, c_VersionFunction},
                    SRefusedHeader{"TheHighestVersion", {c_Marker, c_Marker, 5, 1}, c_VersionFile, c_VersionFunction},
                    SRefusedHeader{"CountOfAllOnes", {c_Marker, 1, c_Marker, 1}, c_HeaderFile, c_HeaderFunction},
                    SRefusedHeader{"WidthZero", {c_Marker, 1, 5, 0}, c_HeaderFile, c_HeaderFunction},
                    SRefusedHeader{"WidthTwo", {c_Marker, 1, 5, 2}, c_HeaderFile, c_HeaderFunction},
                    SRefusedHeader{"WidthTwoInTheOlderForm", {5, 2}, c_HeaderFile, c_HeaderFunction},
                    SRefusedHeader{"WidthTwoOfNothing", {c_Marker, 1, 0, 2}, c_HeaderFile, c_HeaderFunction}),
    [](testing::TestParamInfo<SRefusedHeader> const& row) { return std::string(row.param.name); });

TEST(CbArraySerializerHeader, ThatIsCutShortIsAStreamFailureAndLeavesTheArrayAsItWas)
{
    CLogRecorder const log;
    for (Bytes const& whole : {fields({c_Marker, 1, 5, 1}), fields({5, 1})})
    {
        for (std::size_t length = 0; length < whole.size(); ++length)
        {
            SCOPED_TRACE(length);
            Bytes const bytes = headOf(whole, length);
            CbStreamReadBinaryBuffer stream = readerOf(bytes);
            CbStreamReadBinaryBuffer again = readerOf(bytes);
            CbArray<unsigned char> array = arrayOf({1, 2, 3});

            EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>",
                          CbArray_Serializer::serializeHeader(stream, array));
            EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>",
                          CbArray_Serializer::Serialize(again, array));

            EXPECT_EQ(bytesOf(array), (Bytes{1, 2, 3}));
        }
    }
}

// ---- reading header and elements

TEST(CbArraySerializerReading, GivesTheElements)
{
    EXPECT_EQ(readArray(joined({fields({c_Marker, 1, 3, 1}), Bytes{7, 0, 255}})), (Bytes{7, 0, 255}));
    EXPECT_EQ(readArray(joined({fields({c_Marker, 0, 3, 1}), Bytes{7, 0, 255}})), (Bytes{7, 0, 255}));
    EXPECT_EQ(readArray(joined({fields({3, 1}), Bytes{7, 0, 255}})), (Bytes{7, 0, 255}));
}

TEST(CbArraySerializerReading, OfACountOfZeroReadsNoElements)
{
    CRecordingReader stream(joined({fields({c_Marker, 1, 0, 1}), Bytes(10, 0xEE)}));
    CbArray<unsigned char> array = arrayOf({1, 2, 3});

    CbArray_Serializer::Serialize(stream, array);

    EXPECT_TRUE(array.IsEmpty());
    EXPECT_THAT(stream.GetReads(), ElementsAre(4, 4, 4, 4));
}

TEST(CbArraySerializerReading, AsksForTheElementsInOneBlock)
{
    CRecordingReader stream(joined({fields({c_Marker, 1, 1000, 1}), Bytes(1000, 0xEE)}));
    CbArray<unsigned char> array;

    CbArray_Serializer::Serialize(stream, array);

    EXPECT_THAT(stream.GetReads(), ElementsAre(4, 4, 4, 4, 1000));
    EXPECT_EQ(array.GetCapacity(), 1000);
}

TEST(CbArraySerializerReading, StopsBehindTheElements)
{
    Bytes const bytes = joined({fields({c_Marker, 1, 2, 1}), Bytes{7, 8}, littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array;
    int next = 0;

    CbArray_Serializer::Serialize(stream, array);
    stream >> next;

    EXPECT_EQ(next, 77);
}

TEST(CbArraySerializerReading, ReplacesWhatTheArrayHeld)
{
    Bytes const bytes = joined({fields({c_Marker, 1, 2, 1}), Bytes{7, 8}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array = arrayOf({1, 2, 3, 4, 5});

    CbArray_Serializer::Serialize(stream, array);

    EXPECT_EQ(bytesOf(array), (Bytes{7, 8}));
}

TEST(CbArraySerializerReading, MakesElementsThatAreMissingZero)
{
    Bytes const bytes = joined({fields({c_Marker, 1, 5, 1}), Bytes{7, 8}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array = arrayOf({1, 2, 3, 4, 5, 6});

    CbArray_Serializer::Serialize(stream, array);

    EXPECT_EQ(bytesOf(array), (Bytes{7, 8, 0, 0, 0}));
}

TEST(CbArraySerializerReading, BelievesACountOf16Mebibytes)
{
    Bytes const array = readArray(joined({fields({c_Marker, 1, c_BelievedCount, 1}), Bytes{7, 8}}));

    EXPECT_EQ(array.size(), c_BelievedCount);
    EXPECT_EQ(headOf(array, 3), (Bytes{7, 8, 0}));
}

TEST(CbArraySerializerReading, RefusesALargerCountThatIsNotCoveredAndKeepsWhatArrived)
{
    CLogRecorder const log;
    for (unsigned int const count : {c_BelievedCount + 1, 0x80000000u, 0xFFFFFFFEu})
    {
        SCOPED_TRACE(count);
        Bytes const bytes = joined({fields({c_Marker, 1, count, 1}), Bytes{7, 8}});
        CbStreamReadBinaryBuffer stream = readerOf(bytes);
        CbArray<unsigned char> array = arrayOf({1, 2, 3});

        EXPECT_RAISES(CbExceptionStream, "cbarray_serializer", "CbArray_Serializer::Serialize",
                      CbArray_Serializer::Serialize(stream, array));

        EXPECT_EQ(bytesOf(array), (Bytes{7, 8}));
    }
}

TEST(CbArraySerializerReading, RefusesALargerCountThatLacksItsLastByte)
{
    CLogRecorder const log;
    unsigned int const count = 2 * c_BelievedCount + 5;
    Bytes const bytes = joined({fields({count, 1}), Bytes(count - 1, 7)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array;

    EXPECT_RAISES(CbExceptionStream, "cbarray_serializer", "CbArray_Serializer::Serialize",
                  CbArray_Serializer::Serialize(stream, array));

    EXPECT_EQ(array.GetCount(), count - 1);
}

TEST(CbArraySerializerReading, TakesLargeCountsThatAreCovered)
{
    for (unsigned int const count :
         {c_BelievedCount, c_BelievedCount + 1, 2 * c_BelievedCount, 2 * c_BelievedCount + 5})
    {
        SCOPED_TRACE(count);
        CbArray<unsigned char> array(count);
        std::iota(array.begin(), array.end(), static_cast<unsigned char>(3));
        CbStreamWriteBinaryBuffer writer;
        CbArray_Serializer::Serialize(writer, array);
        CbStreamReadBinaryBuffer reader(writer.GetArray());
        CbArray<unsigned char> read;

        CbArray_Serializer::Serialize(reader, read);

        EXPECT_TRUE(read == array);
        EXPECT_EQ(read.GetCapacity(), count);
        EXPECT_EQ(reader.GetBytesRead(), writer.GetCount());
    }
}
