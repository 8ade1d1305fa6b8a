// Every way to cut a stream short and every damaged bit ends in a value or in a documented exception, without a leak,
// and in the same one whether a memory stream takes values in place or a stream of another kind delivers them.

#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/stream/cbarray_serializer.h"
#include "orvane/stream/streamtesting.h"
#include "orvane/stream/testclasses.h"
#include "support/logrecorder.h"

namespace
{
struct SDamaged
{
    char const* name;
    Bytes bytes;
    void (*read)(CbStreamReadBinary& stream, CbStreamWriteBinary& values); // writes down what it reads
};

void readChunk(CbStreamReadBinary& stream, CbStreamWriteBinary& values)
{
    std::unique_ptr<ISerializable> const object(stream.ReadChunk());
    values << (object != nullptr);
    if (object != nullptr)
    {
        values.WriteChunk(*object);
    }
}

void readChunks(CbStreamReadBinary& stream, CbStreamWriteBinary& values)
{
    readChunk(stream, values);
    readChunk(stream, values);
}

template <class TText>
void readTexts(CbStreamReadBinary& stream, CbStreamWriteBinary& values)
{
    TText first;
    TText second;
    stream >> first;
    values << first;
    stream >> second;
    values << second;
}

void readArray(CbStreamReadBinary& stream, CbStreamWriteBinary& values)
{
    CbArray<unsigned char> array;
    CbArray_Serializer::Serialize(stream, array);
    EXPECT_LE(array.GetCount(), 16u * 1024 * 1024);
    // Of an array that is mostly missing the beginning will do.
    values << array.GetCount();
    values.WriteBuffer(array.GetData(), std::min(array.GetCount(), 100u));
}

Bytes twoChunks()
{
    CGoldenFolder inner;
    inner.m_title = L"inner \U0001F600";
    CGoldenFolder folder;
    folder.m_title = L"folder";
    folder.m_children.push_back(std::make_unique<CGoldenEntry>(1, L"one", "eins"));
    folder.m_children.push_back(std::make_unique<CGoldenFolder>(inner));
    CbStreamWriteBinaryBuffer stream;
    stream.WriteChunk(folder);
    return joined({bytesOf(stream), wideText(u"Test.NobodyKnowsThis"), littleEndian(20, 8), Bytes(20, 0xEE)});
}

Bytes wideTexts()
{
    return joined({written(std::wstring(300, L'x')), wideText(u"second")});
}

Bytes array()
{
    return joined(
        {littleEndian(0xFFFFFFFF, 4), littleEndian(1, 4), littleEndian(20, 4), littleEndian(1, 4), Bytes(20, 0xEE)});
}

class DamagedStream : public testing::TestWithParam<SDamaged>
{
protected:
    // Fails the test for any outcome that is not documented. The objects must be gone in each case.
    void expectDocumentedEnd(Bytes const& bytes) const
    {
        // A block of its own size: a read beyond it is seen by the address sanitizer.
        CbStreamReadBinaryBuffer inPlace = readerOf(bytes);
        CRecordingReader delivered(bytes);

        SEnd const first = endOf(inPlace);
        SEnd const second = endOf(delivered);

        EXPECT_LE(inPlace.GetBytesRead(), bytes.size());
        EXPECT_EQ(inPlace.GetBytesRead(), delivered.GetPosition());
        EXPECT_EQ(first.function, second.function);
        EXPECT_TRUE(first.values == second.values);
    }

private:
    struct SEnd
    {
        Bytes values;
        std::string function; // that raised, or nothing
    };

    static SEnd endOf(CbStreamReadBinary& stream)
    {
        int const before = CCounted::s_instances;
        CbStreamWriteBinaryBuffer values;
        SEnd end;
        try
        {
            GetParam().read(stream, values);
        }
        catch (CbExceptionStream const& raised)
        {
            EXPECT_GT(raised.GetCodeLine(), 0);
            end.function = raised.GetFunctionName();
        }
        catch (CbExceptionWrongFileVersion const& raised)
        {
            EXPECT_GT(raised.GetCodeLine(), 0);
            end.function = raised.GetFunctionName();
        }
        EXPECT_EQ(CCounted::s_instances, before);
        end.values = bytesOf(values);
        return end;
    }

    CScopedLevel const m_level{L"Exception", Logging::eLevelOff};
};
} // namespace

TEST_P(DamagedStream, OfEveryPrefixEndsAsDocumented)
{
    for (std::size_t length = 0; length <= GetParam().bytes.size(); ++length)
    {
        SCOPED_TRACE(length);
        expectDocumentedEnd(headOf(GetParam().bytes, length));
    }
}

TEST_P(DamagedStream, WithAnyBitTurnedEndsAsDocumented)
{
    for (std::size_t i = 0; i < GetParam().bytes.size(); ++i)
    {
        for (int bit = 0; bit < 8; ++bit)
        {
            SCOPED_TRACE(testing::Message() << "byte " << i << ", bit " << bit);
            Bytes bytes = GetParam().bytes;
            bytes[i] = static_cast<unsigned char>(bytes[i] ^ (1 << bit));
            expectDocumentedEnd(bytes);
        }
    }
}

TEST_P(DamagedStream, WithAnyByteReplacedEndsAsDocumented)
{
    for (std::size_t i = 0; i < GetParam().bytes.size(); ++i)
    {
        for (int const value : {0x00, 0x7F, 0x80, 0xFE, 0xFF})
        {
            SCOPED_TRACE(testing::Message() << "byte " << i << " is " << value);
            Bytes bytes = GetParam().bytes;
            bytes[i] = static_cast<unsigned char>(value);
            expectDocumentedEnd(bytes);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Readers, DamagedStream,
    testing::Values(SDamaged{"Chunks", twoChunks(), &readChunks},
                    SDamaged{"WideTextAsCString", wideTexts(), &readTexts<CStringW>},
                    SDamaged{"WideTextAsStandardString", wideTexts(), &readTexts<std::wstring>},
                    SDamaged{"NarrowTextAsCString", joined({narrowText("first"), narrowText("second")}),
                             &readTexts<CStringA>},
                    SDamaged{"NarrowTextAsStandardString", joined({narrowText("first"), narrowText("second")}),
                             &readTexts<std::string>},
                    SDamaged{"Array", array(), &readArray}),
    [](testing::TestParamInfo<SDamaged> const& row) { return std::string(row.param.name); });
