// Chunks of damaged streams, with a client's classes in them. What can be read is written and read again.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fuzzing.h"
#include "orvane/object/classrecord.h"
#include "orvane/object/iserializable.h"
#include "orvane/stream/cbarray_serializer.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"

namespace
{
constexpr int c_DeepestNode = 16;
constexpr unsigned int c_MostChildren = 64;
constexpr int c_MostChunks = 8;

int s_instances = 0;

class CCounted
{
public:
    CCounted()
    {
        ++s_instances;
    }

    CCounted(CCounted const&)
    {
        ++s_instances;
    }

    CCounted& operator=(CCounted const&) = default;

    ~CCounted()
    {
        --s_instances;
    }
};

// Values of every kind.
class Leaf : public ISerializable
{
    CB_DECLARE_CLASS(Leaf);

public:
    void Serialize(CbStreamWriteBinary& stream) const override
    {
        stream.WriteVersion(2);
        stream << m_number << m_flag << m_narrow << m_wide;
        CbArray_Serializer::Serialize(stream, m_bytes);
    }

    void Serialize(CbStreamReadBinary& stream) override
    {
        unsigned int const version = stream.ReadAndCompareVersion(2);
        stream >> m_number >> m_flag >> m_narrow >> m_wide;
        if (version >= 2)
        {
            CbArray_Serializer::Serialize(stream, m_bytes);
        }
    }

private:
    __int64 m_number = 0;
    bool m_flag = false;
    CStringA m_narrow;
    std::wstring m_wide;
    CbArray<unsigned char> m_bytes;
    CCounted m_counted;
};

// A title and chunks. Refuses to nest deeper than a stack should go.
class Node : public ISerializable
{
    CB_DECLARE_CLASS(Node);

public:
    Node() = default;

    Node(Node const& other) : m_title(other.m_title)
    {
    }

    void Serialize(CbStreamWriteBinary& stream) const override
    {
        stream.WriteVersion(1);
        stream << m_title << static_cast<unsigned int>(m_children.size());
        for (auto const& child : m_children)
        {
            stream.WriteChunk(*child);
        }
    }

    void Serialize(CbStreamReadBinary& stream) override
    {
        CDepth const depth;
        stream.ReadAndCompareVersion(1);
        unsigned int count = 0;
        stream >> m_title >> count;
        if (count > c_MostChildren)
        {
            throw CbExceptionStream("fuzz_readchunk", 1, "Node::Serialize");
        }
        for (unsigned int i = 0; i < count; ++i)
        {
            std::unique_ptr<ISerializable> child(stream.ReadChunk());
            if (child != nullptr)
            {
                m_children.push_back(std::move(child));
            }
        }
    }

private:
    class CDepth
    {
    public:
        CDepth()
        {
            if (s_depth == c_DeepestNode)
            {
                throw CbExceptionStream("fuzz_readchunk", 1, "Node::Serialize");
            }
            ++s_depth;
        }

        CDepth(CDepth const&) = delete;
        CDepth& operator=(CDepth const&) = delete;

        ~CDepth()
        {
            --s_depth;
        }

    private:
        static inline int s_depth = 0;
    };

    CStringW m_title;
    std::vector<std::unique_ptr<ISerializable>> m_children;
    CCounted m_counted;
};

// Can be created, and is nothing that reads itself.
class Stone : public IObject
{
    CB_DECLARE_CLASS(Stone);

private:
    CCounted m_counted;
};

CB_IMPLEMENT_CLASS(Leaf);
CB_IMPLEMENT_CLASS(Node);
CB_IMPLEMENT_CLASS(Stone);
CbRTTI const s_hollow(
    L"Hollow", [] { return std::unique_ptr<IObject>(); }, nullptr);
CbRTTI const s_barren(L"Barren", nullptr, nullptr);

CbArray<unsigned char> writtenChunk(ISerializable const& object)
{
    CbStreamWriteBinaryBuffer stream;
    stream.WriteChunk(object);
    return stream.ExtractArray();
}

// What was read once is a valid object, and survives a round trip.
void demandRoundTrip(ISerializable const& object)
{
    CbArray<unsigned char> const first = writtenChunk(object);
    CbStreamReadBinaryBuffer stream(first);
    std::unique_ptr<ISerializable> const again(stream.ReadChunk());
    Fuzzing::Demand(again != nullptr, "a chunk that was written can be read");
    Fuzzing::Demand(stream.GetBytesRead() == first.GetCount(), "a chunk is read to its end");
    Fuzzing::Demand(writtenChunk(*again) == first, "a chunk is the same when it is written again");
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Fuzzing::SilenceLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    CbStreamReadBinaryBuffer stream(data, size);
    Fuzzing::ReadDamaged(
        [&]
        {
            for (int i = 0; i < c_MostChunks && stream.GetBytesRead() < size; ++i)
            {
                std::unique_ptr<ISerializable> const object(stream.ReadChunk());
                if (object != nullptr)
                {
                    demandRoundTrip(*object);
                }
            }
        });
    Fuzzing::Demand(stream.GetBytesRead() <= size, "no more is read than is there");
    Fuzzing::Demand(s_instances == 0, "every object is destroyed");
    return 0;
}
