#include <limits>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/stream/streamtesting.h"
#include "orvane/stream/testclasses.h"
#include "support/logrecorder.h"
#include "support/raises.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace
{
// Reads as many bytes as it is told, and may refuse then.
class CReading : public ISerializable
{
public:
    CbRTTI const& GetRTTI() const override
    {
        return *s_record;
    }

    wchar_t const* GetClassNameW() const override
    {
        return s_record->GetName();
    }

    void Serialize(CbStreamWriteBinary&) const override
    {
        ADD_FAILURE() << "nothing is written here";
    }

    void Serialize(CbStreamReadBinary& stream) override
    {
        m_bytes.resize(s_bytesToRead);
        m_bytes.resize(static_cast<std::size_t>(stream.ReadBuffer(m_bytes.data(), s_bytesToRead)));
        if (s_refuses)
        {
            throw std::runtime_error("refused");
        }
    }

    static std::unique_ptr<IObject> Create()
    {
        return std::make_unique<CReading>();
    }

    Bytes m_bytes;
    CCounted m_counted;

    static inline CbRTTI const* s_record = nullptr;
    static inline std::size_t s_bytesToRead = 0;
    static inline bool s_refuses = false;
};

// An object that is no ISerializable.
class CDumb : public IObject
{
public:
    CbRTTI const& GetRTTI() const override
    {
        return *CReading::s_record;
    }

    wchar_t const* GetClassNameW() const override
    {
        return L"Dumb";
    }

    static std::unique_ptr<IObject> Create()
    {
        ++s_made;
        return std::make_unique<CDumb>();
    }

    CCounted m_counted;

    static inline int s_made = 0;
};

std::unique_ptr<IObject> createNothing()
{
    return nullptr;
}

std::unique_ptr<IObject> createWithFailure()
{
    throw std::runtime_error("cannot be created");
}

Bytes chunkHead(std::u16string const& name, unsigned __int64 size)
{
    return joined({wideText(name), littleEndian(size, 8)});
}

Bytes chunkOf(std::u16string const& name, Bytes const& payload)
{
    return joined({chunkHead(name, payload.size()), payload});
}

int nextInt(CbStreamReadBinary& stream)
{
    int value = 0;
    stream >> value;
    return value;
}
} // namespace

class CbStreamReadBinaryChunk : public testing::Test
{
protected:
    CbStreamReadBinaryChunk() : m_reading(L"Test.Reading", &CReading::Create, nullptr), m_before(CCounted::s_instances)
    {
        CReading::s_record = &m_reading;
        CReading::s_bytesToRead = 3;
        CReading::s_refuses = false;
    }

    int livingObjects() const
    {
        return CCounted::s_instances - m_before;
    }

    CbRTTI const m_reading;
    CLogRecorder const m_log;

private:
    int const m_before;
};

// ---- objects that are created

TEST_F(CbStreamReadBinaryChunk, CreatesAnObjectByNameAndLetsItRead)
{
    Bytes const bytes = joined({chunkOf(u"Test.Reading", {1, 2, 3}), littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    std::unique_ptr<ISerializable> const object(stream.ReadChunk());

    auto const* const reading = dynamic_cast<CReading const*>(object.get());
    ASSERT_NE(reading, nullptr);
    EXPECT_EQ(reading->m_bytes, (Bytes{1, 2, 3}));
    EXPECT_EQ(nextInt(stream), 77);
}

TEST_F(CbStreamReadBinaryChunk, HandsTheObjectToTheCaller)
{
    Bytes const bytes = chunkOf(u"Test.Reading", {1, 2, 3});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    ISerializable const* const object = stream.ReadChunk();
    EXPECT_EQ(livingObjects(), 1);
    delete object;

    EXPECT_EQ(livingObjects(), 0);
}

TEST_F(CbStreamReadBinaryChunk, FindsAClassByANameBeyondAscii)
{
    CbRTTI const record(L"Gr\u00f6\u00dfe\u20ac\U0001F600", &CReading::Create, nullptr);
    Bytes const bytes = chunkOf(u"Gr\u00f6\u00dfe\u20ac\U0001F600", {1, 2, 3});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    std::unique_ptr<ISerializable> const object(stream.ReadChunk());

    EXPECT_NE(object, nullptr);
}

TEST_F(CbStreamReadBinaryChunk, DoesNotCompareTheSizeWithWhatAnObjectLeaves)
{
    Bytes const bytes = joined({chunkHead(u"Test.Reading", 7), Bytes{1, 2, 3}, littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    std::unique_ptr<ISerializable> const object(stream.ReadChunk());

    EXPECT_NE(object, nullptr);
    EXPECT_EQ(nextInt(stream), 77);
}

TEST_F(CbStreamReadBinaryChunk, DoesNotCompareTheSizeWithWhatAnObjectTakesBeyondIt)
{
    Bytes const bytes = joined({chunkHead(u"Test.Reading", 1), Bytes{1, 2, 3}, littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    std::unique_ptr<ISerializable> const object(stream.ReadChunk());

    EXPECT_EQ(dynamic_cast<CReading&>(*object).m_bytes, (Bytes{1, 2, 3}));
    EXPECT_EQ(nextInt(stream), 77);
}

TEST_F(CbStreamReadBinaryChunk, ReadsWhatWriteChunkWrote)
{
    CGoldenEntry const entry(42, L"Gr\u00f6\u00dfe \U0001F600", "note");
    CbStreamWriteBinaryBuffer writer;
    writer.WriteChunk(entry);
    writer << 77;
    CbStreamReadBinaryBuffer reader(writer.GetArray());

    std::unique_ptr<ISerializable> const object(reader.ReadChunk());

    auto const* const read = dynamic_cast<CGoldenEntry const*>(object.get());
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->m_number, 42);
    EXPECT_EQ(read->m_title, L"Gr\u00f6\u00dfe \U0001F600");
    EXPECT_EQ(read->m_note, "note");
    EXPECT_EQ(nextInt(reader), 77);
}

// ---- failures of the object

TEST_F(CbStreamReadBinaryChunk, WhoseObjectRaisesDestroysItAndLetsTheExceptionPass)
{
    CReading::s_refuses = true;
    Bytes const bytes = chunkOf(u"Test.Reading", {1, 2, 3, 4});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_THROW(stream.ReadChunk(), std::runtime_error);

    EXPECT_EQ(livingObjects(), 0);
    EXPECT_EQ(stream.GetBytesRead(), chunkHead(u"Test.Reading", 4).size() + 3);
}

TEST_F(CbStreamReadBinaryChunk, OfANewerVersionIsRefusedByItsObject)
{
    Bytes const bytes = chunkOf(u"CGoldenEntry", littleEndian(2, 4));
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_RAISES(CbExceptionWrongFileVersion, "cbstreamread", "CbStreamRead::ReadAndCompareVersion",
                  stream.ReadChunk());

    EXPECT_EQ(livingObjects(), 0);
}

TEST_F(CbStreamReadBinaryChunk, NestedThatIsCutShortDestroysAllObjects)
{
    CGoldenFolder folder;
    folder.m_children.push_back(std::make_unique<CGoldenEntry>(1, L"a", "b"));
    folder.m_children.push_back(std::make_unique<CGoldenEntry>(2, L"c", "d"));
    int const before = livingObjects();
    CbStreamWriteBinaryBuffer writer;
    writer.WriteChunk(folder);
    CbStreamReadBinaryBuffer reader(writer.GetData(), writer.GetCount() - 6);

    EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>", reader.ReadChunk());

    EXPECT_EQ(livingObjects(), before);
}

TEST_F(CbStreamReadBinaryChunk, WhoseCreateFunctionRaisesLetsTheExceptionPass)
{
    CbRTTI const record(L"Test.CreateRaises", &createWithFailure, nullptr);
    Bytes const bytes = chunkOf(u"Test.CreateRaises", {1, 2});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_THROW(stream.ReadChunk(), std::runtime_error);

    EXPECT_EQ(stream.GetBytesRead(), bytes.size() - 2);
}

// ---- chunks that are skipped

TEST_F(CbStreamReadBinaryChunk, OfAnUnknownClassIsSkippedExactly)
{
    for (std::size_t const size : {0u, 1u, 2u, 127u, 128u, 255u, 256u, 257u, 511u, 512u, 1000u})
    {
        SCOPED_TRACE(size);
        Bytes const bytes = joined({chunkOf(u"Test.NobodyKnowsThis", Bytes(size, 0xEE)), littleEndian(77, 4)});
        CbStreamReadBinaryBuffer stream = readerOf(bytes);

        EXPECT_EQ(stream.ReadChunk(), nullptr);

        EXPECT_EQ(nextInt(stream), 77);
    }
}

TEST_F(CbStreamReadBinaryChunk, OfAnEmptyNameIsSkippedExactly)
{
    Bytes const bytes = joined({chunkOf(u"", Bytes(10, 0xEE)), littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_EQ(stream.ReadChunk(), nullptr);

    EXPECT_EQ(nextInt(stream), 77);
}

TEST_F(CbStreamReadBinaryChunk, OfAClassWithoutACreateFunctionIsSkippedExactly)
{
    CbRTTI const record(L"Test.NotCreatable", nullptr, nullptr);
    Bytes const bytes = joined({chunkOf(u"Test.NotCreatable", Bytes(300, 0xEE)), littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_EQ(stream.ReadChunk(), nullptr);

    EXPECT_EQ(nextInt(stream), 77);
}

TEST_F(CbStreamReadBinaryChunk, WhoseCreateFunctionGivesNothingIsSkippedExactly)
{
    CbRTTI const record(L"Test.CreatesNothing", &createNothing, nullptr);
    Bytes const bytes = joined({chunkOf(u"Test.CreatesNothing", Bytes(300, 0xEE)), littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_EQ(stream.ReadChunk(), nullptr);

    EXPECT_EQ(nextInt(stream), 77);
}

TEST_F(CbStreamReadBinaryChunk, WhoseObjectIsNotSerialisableIsSkippedExactlyAndTheObjectDestroyed)
{
    CbRTTI const record(L"Test.Dumb", &CDumb::Create, nullptr);
    int const madeBefore = CDumb::s_made;
    Bytes const bytes = joined({chunkOf(u"Test.Dumb", Bytes(300, 0xEE)), littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_EQ(stream.ReadChunk(), nullptr);

    EXPECT_EQ(CDumb::s_made, madeBefore + 1);
    EXPECT_EQ(livingObjects(), 0);
    EXPECT_EQ(nextInt(stream), 77);
}

TEST_F(CbStreamReadBinaryChunk, OfAnExceptionClassIsSkippedExactly)
{
    Bytes const bytes = joined({chunkOf(u"CbExceptionCondition", Bytes(5, 0xEE)), littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_EQ(stream.ReadChunk(), nullptr);

    EXPECT_EQ(nextInt(stream), 77);
}

TEST_F(CbStreamReadBinaryChunk, WhoseNameDiffersInCaseIsSkipped)
{
    Bytes const bytes = chunkOf(u"test.reading", {1, 2, 3});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_EQ(stream.ReadChunk(), nullptr);

    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
}

// ---- how skipping reads

struct SSkip
{
    unsigned __int64 size;
    std::vector<unsigned __int64> reads;
};

class CbStreamReadBinarySkip : public testing::TestWithParam<SSkip>
{
};

TEST_P(CbStreamReadBinarySkip, ReadsBlocksOfDecreasingSize)
{
    CRecordingReader stream(chunkOf(u"X", Bytes(static_cast<std::size_t>(GetParam().size), 0xEE)));
    std::vector<unsigned __int64> expected{1, 2, 1, 2, 8};
    expected.insert(expected.end(), GetParam().reads.begin(), GetParam().reads.end());

    EXPECT_EQ(stream.ReadChunk(), nullptr);

    EXPECT_THAT(stream.GetReads(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, CbStreamReadBinarySkip,
    testing::Values(SSkip{0, {}}, SSkip{1, {1}}, SSkip{3, {2, 1}}, SSkip{255, {128, 64, 32, 16, 8, 4, 2, 1}},
                    SSkip{256, {256}}, SSkip{257, {256, 1}}, SSkip{512, {256, 256}},
                    SSkip{767, {256, 256, 128, 64, 32, 16, 8, 4, 2, 1}}, SSkip{644, {256, 256, 128, 4}}),
    [](testing::TestParamInfo<SSkip> const& row) { return "Of" + std::to_string(row.param.size); });

TEST(CbStreamReadBinarySkipBeyondTheEnd, RaisesNothingAndTakesWhatIsThere)
{
    Bytes const bytes = joined({chunkHead(u"X", 1000), Bytes(300, 0xEE)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_EQ(stream.ReadChunk(), nullptr);

    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
}

TEST(CbStreamReadBinarySkipBeyondTheEnd, StopsWhereNothingArrivesWhateverTheSizeClaims)
{
    for (unsigned __int64 const size : {static_cast<unsigned __int64>(1) << 62, static_cast<unsigned __int64>(1) << 32,
                                        std::numeric_limits<unsigned __int64>::max()})
    {
        SCOPED_TRACE(size);
        CRecordingReader stream(joined({chunkHead(u"X", size), Bytes(300, 0xEE)}));

        EXPECT_EQ(stream.ReadChunk(), nullptr);

        EXPECT_LE(stream.GetReads().size(), 5 + 4) << "reads on although nothing arrives";
    }
}

// ---- heads that are cut short

TEST_F(CbStreamReadBinaryChunk, WhoseHeadIsCutShortIsRefused)
{
    Bytes const head = chunkHead(u"N", 5);
    for (std::size_t length = 0; length < head.size(); ++length)
    {
        SCOPED_TRACE(length);
        Bytes const bytes = headOf(head, length);
        CbStreamReadBinaryBuffer stream = readerOf(bytes);

        EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>", stream.ReadChunk());

        EXPECT_EQ(stream.GetBytesRead(), length);
    }
}

TEST_F(CbStreamReadBinaryChunk, WithoutAWideNameIsRefused)
{
    Bytes const bytes = joined({narrowText("Test.Reading"), littleEndian(3, 8), Bytes{1, 2, 3}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::readStringLengthW", stream.ReadChunk());
}
