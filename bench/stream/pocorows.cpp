#include <memory>
#include <sstream>

#include <Poco/BinaryReader.h>
#include <Poco/BinaryWriter.h>
#include <Poco/MemoryStream.h>
#include <Poco/UnicodeConverter.h>

#include "stream/measure.h"

namespace
{
struct SPoco
{
    using Writer = Poco::BinaryWriter;
    using Reader = Poco::BinaryReader;
    using Narrow = std::string;
    using Wide = std::wstring; // written as UTF-8: the writer has no operator for wide text

    class CReserved
    {
    public:
        explicit CReserved(std::size_t capacity)
            : m_memory(std::make_unique_for_overwrite<char[]>(capacity)),
              m_stream(m_memory.get(), static_cast<std::streamsize>(capacity)),
              m_writer(m_stream)
        {
        }

        Writer& Get()
        {
            return m_writer;
        }

    private:
        std::unique_ptr<char[]> m_memory;
        Poco::MemoryOutputStream m_stream;
        Poco::BinaryWriter m_writer;
    };

    class CGrowing
    {
    public:
        CGrowing() : m_writer(m_stream)
        {
        }

        Writer& Get()
        {
            return m_writer;
        }

        std::vector<unsigned char> GetBytes() const
        {
            std::string const bytes = m_stream.str();
            return {bytes.begin(), bytes.end()};
        }

    private:
        std::ostringstream m_stream;
        Poco::BinaryWriter m_writer;
    };

    class CSource
    {
    public:
        explicit CSource(std::vector<unsigned char> const& bytes)
            : m_stream(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size())),
              m_reader(m_stream)
        {
        }

        Reader& Get()
        {
            return m_reader;
        }

    private:
        Poco::MemoryInputStream m_stream;
        Poco::BinaryReader m_reader;
    };

    static Narrow MakeNarrow(std::string const& text)
    {
        return text;
    }

    static Wide MakeWide(std::wstring const& text)
    {
        return text;
    }

    static void Put(Writer& writer, Narrow const& text)
    {
        writer << text;
    }

    static void Put(Writer& writer, Wide const& text)
    {
        std::string utf8;
        Poco::UnicodeConverter::convert(text, utf8);
        writer << utf8;
    }

    static void Put(Writer& writer, SBlock const& block)
    {
        writer.writeRaw(reinterpret_cast<char const*>(block.bytes.data()),
                        static_cast<std::streamsize>(block.bytes.size()));
    }

    static void Take(Reader& reader, Narrow& text)
    {
        reader >> text;
    }

    static void Take(Reader& reader, Wide& text)
    {
        std::string utf8;
        reader >> utf8;
        Poco::UnicodeConverter::convert(utf8, text);
    }

    static void Take(Reader& reader, SBlock& block)
    {
        reader.readRaw(reinterpret_cast<char*>(block.bytes.data()), static_cast<std::streamsize>(block.bytes.size()));
    }
};
} // namespace

SLibrary const c_PocoRows = SMeasure<SPoco>::writeAndRead("poco");
