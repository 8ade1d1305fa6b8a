#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "stream/measure.h"

namespace
{
// The binary streams are what bytes are written to; everything else goes through the operators of the interface.
struct SOrvane
{
    using Writer = CbStreamWriteBinary;
    using Reader = CbStreamReadBinary;
    using Narrow = std::string;
    using Wide = std::wstring;

    class CReserved
    {
    public:
        explicit CReserved(std::size_t capacity) : m_stream(static_cast<unsigned int>(capacity))
        {
        }

        Writer& Get()
        {
            return m_stream;
        }

    private:
        CbStreamWriteBinaryBuffer m_stream;
    };

    class CGrowing
    {
    public:
        Writer& Get()
        {
            return m_stream;
        }

        std::vector<unsigned char> GetBytes() const
        {
            return {m_stream.GetData(), m_stream.GetData() + m_stream.GetCount()};
        }

    private:
        CbStreamWriteBinaryBuffer m_stream;
    };

    class CSource
    {
    public:
        explicit CSource(std::vector<unsigned char> const& bytes) : m_stream(bytes.data(), bytes.size())
        {
        }

        Reader& Get()
        {
            return m_stream;
        }

    private:
        CbStreamReadBinaryBuffer m_stream;
    };

    static Narrow MakeNarrow(std::string const& text)
    {
        return text;
    }

    static Wide MakeWide(std::wstring const& text)
    {
        return text;
    }

    template <class T>
    static void Put(Writer& writer, T const& text)
    {
        writer << text;
    }

    static void Put(Writer& writer, SBlock const& block)
    {
        writer.WriteBuffer(block.bytes.data(), block.bytes.size());
    }

    template <class T>
    static void Take(Reader& reader, T& text)
    {
        reader >> text;
    }

    static void Take(Reader& reader, SBlock& block)
    {
        reader.ReadBuffer(block.bytes.data(), block.bytes.size());
    }
};
} // namespace

SLibrary const c_OrvaneRows = SMeasure<SOrvane>::writeAndRead("orvane");
