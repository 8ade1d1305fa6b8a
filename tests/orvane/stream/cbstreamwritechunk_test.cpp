#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/stream/cbstreamwritebinarybytecount.h"
#include "orvane/stream/streamtesting.h"
#include "orvane/stream/testclasses.h"
#include "support/logrecorder.h"
#include "support/raises.h"

using testing::ElementsAre;

namespace
{
// An object that is written only: its record has no functions.
class CWrittenOnly : public ISerializable
{
public:
    CbRTTI const& GetRTTI() const override
    {
        static CbRTTI const s_record(L"WrittenOnly", nullptr, nullptr);
        return s_record;
    }

    wchar_t const* GetClassNameW() const override
    {
        return m_name;
    }

    void Serialize(CbStreamReadBinary&) override
    {
        ADD_FAILURE() << "nothing is read here";
    }

    wchar_t const* m_name = L"WrittenOnly";
};

class CBytes : public CWrittenOnly
{
public:
    explicit CBytes(std::string bytes) : m_bytes(std::move(bytes))
    {
    }

    using CWrittenOnly::Serialize;

    void Serialize(CbStreamWriteBinary& stream) const override
    {
        m_streams.push_back(&stream);
        stream.WriteBuffer(m_bytes.data(), m_bytes.size());
    }

    std::string m_bytes;
    mutable std::vector<CbStreamWriteBinary const*> m_streams;
};

class CRefusing : public CWrittenOnly
{
public:
    using CWrittenOnly::Serialize;

    void Serialize(CbStreamWriteBinary& stream) const override
    {
        stream << 1;
        throw std::string("refused");
    }
};

class CNeverAsked : public CWrittenOnly
{
public:
    using CWrittenOnly::Serialize;

    void Serialize(CbStreamWriteBinary&) const override
    {
    }
};

Bytes chunkOf(std::u16string const& name, Bytes const& payload)
{
    return joined({wideText(name), littleEndian(payload.size(), 8), payload});
}

// The null reference is what the library's own test is for: sanitizers must not be quicker.
__attribute__((no_sanitize("null", "undefined"))) void writeNullReference(CbStreamWriteBinary& stream)
{
    ISerializable const* volatile const null = nullptr;
    stream.WriteChunk(*null);
}
} // namespace

TEST(CbStreamWriteBinaryChunk, IsTheNameThe64BitSizeAndThePayload)
{
    CbStreamWriteBinaryBuffer stream;

    stream.WriteChunk(CBytes("abc"));

    EXPECT_EQ(bytesOf(stream), chunkOf(u"WrittenOnly", {'a', 'b', 'c'}));
}

TEST(CbStreamWriteBinaryChunk, OfNothingHasSizeZero)
{
    CbStreamWriteBinaryBuffer stream;

    stream.WriteChunk(CNeverAsked());

    EXPECT_EQ(bytesOf(stream), chunkOf(u"WrittenOnly", {}));
}

TEST(CbStreamWriteBinaryChunk, HasTheNameThatTheObjectAnswers)
{
    CbStreamWriteBinaryBuffer stream;
    CBytes object("a");
    object.m_name = L"Gr\u00f6\u00dfe\u20ac\U0001F600";

    stream.WriteChunk(object);

    EXPECT_EQ(bytesOf(stream), chunkOf(u"Gr\u00f6\u00dfe\u20ac\U0001F600", {'a'}));
}

TEST(CbStreamWriteBinaryChunk, SerialisesItsObjectTwiceFirstToCount)
{
    CbStreamWriteBinaryBuffer stream;
    CBytes const object("abc");

    stream.WriteChunk(object);

    ASSERT_EQ(object.m_streams.size(), 2);
    EXPECT_NE(object.m_streams[0], &stream);
    EXPECT_EQ(object.m_streams[1], &stream);
}

TEST(CbStreamWriteBinaryChunk, ReachesWriteAsNameSizeAndWhatTheObjectWrites)
{
    CRecordingWriter stream;
    CBytes object("abc");
    object.m_name = L"N";

    stream.WriteChunk(object);

    EXPECT_THAT(stream.GetWrites(), ElementsAre(Bytes{0xFF}, Bytes{0xFE, 0xFF}, Bytes{0x01}, Bytes{'N', 0},
                                                littleEndian(3, 8), Bytes{'a', 'b', 'c'}));
}

TEST(CbStreamWriteBinaryChunk, WithinAChunkIsCountedWhole)
{
    CGoldenFolder inner;
    inner.m_title = L"i";
    CGoldenFolder outer;
    outer.m_title = L"o";
    outer.m_children.push_back(std::make_unique<CGoldenFolder>(inner));
    CbStreamWriteBinaryBuffer stream;

    stream.WriteChunk(outer);

    Bytes const innerChunk =
        chunkOf(u"CGoldenFolder", joined({littleEndian(2, 4), wideText(u"i"), littleEndian(0, 4)}));
    EXPECT_EQ(bytesOf(stream),
              chunkOf(u"CGoldenFolder", joined({littleEndian(2, 4), wideText(u"o"), littleEndian(1, 4), innerChunk})));
}

TEST(CbStreamWriteBinaryChunk, IsCountedAsItIsWritten)
{
    CbStreamWriteBinaryBuffer buffer;
    CbStreamWriteBinaryByteCount counter;
    CGoldenEntry const object(1, L"title", "note");

    buffer.WriteChunk(object);
    counter.WriteChunk(object);

    EXPECT_EQ(counter.GetByteCount(), buffer.GetCount());
}

TEST(CbStreamWriteBinaryChunk, OfANullReferenceIsRefusedAndWritesNothing)
{
    CLogRecorder const log;
    CRecordingWriter stream;

    EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::WriteChunk",
                  writeNullReference(stream));

    EXPECT_TRUE(stream.GetWrites().empty());
}

TEST(CbStreamWriteBinaryChunk, WhoseObjectRaisesWhileItIsCountedWritesNothing)
{
    CRecordingWriter stream;

    EXPECT_THROW(stream.WriteChunk(CRefusing()), std::string);

    EXPECT_TRUE(stream.GetWrites().empty());
}
