#include <memory>
#include <sstream>
#include <streambuf>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/string.hpp>

#include "stream/measure.h"

namespace
{
// Without a header and without the conversion of the stream's locale: the archive at its lightest.
constexpr unsigned int c_Flags = boost::archive::no_header | boost::archive::no_codecvt;

// A stream buffer over memory that was made elsewhere.
class CMemoryBuffer : public std::streambuf
{
public:
    CMemoryBuffer(char* data, std::size_t size)
    {
        setp(data, data + size);
        setg(data, data, data + size);
    }
};

struct SBoost
{
    using Writer = boost::archive::binary_oarchive;
    using Reader = boost::archive::binary_iarchive;
    using Narrow = std::string;
    using Wide = std::wstring; // written as it lies in memory, 4 bytes a character

    class CReserved
    {
    public:
        explicit CReserved(std::size_t capacity)
            : m_memory(std::make_unique_for_overwrite<char[]>(capacity)),
              m_buffer(m_memory.get(), capacity),
              m_archive(m_buffer, c_Flags)
        {
        }

        Writer& Get()
        {
            return m_archive;
        }

    private:
        std::unique_ptr<char[]> m_memory;
        CMemoryBuffer m_buffer;
        boost::archive::binary_oarchive m_archive;
    };

    class CGrowing
    {
    public:
        CGrowing() : m_buffer(std::ios::out | std::ios::binary), m_archive(m_buffer, c_Flags)
        {
        }

        Writer& Get()
        {
            return m_archive;
        }

        std::vector<unsigned char> GetBytes() const
        {
            std::string const bytes = m_buffer.str();
            return {bytes.begin(), bytes.end()};
        }

    private:
        std::stringbuf m_buffer;
        boost::archive::binary_oarchive m_archive;
    };

    class CSource
    {
    public:
        // The buffer is only read from.
        explicit CSource(std::vector<unsigned char> const& bytes)
            : m_buffer(const_cast<char*>(reinterpret_cast<char const*>(bytes.data())), bytes.size()),
              m_archive(m_buffer, c_Flags)
        {
        }

        Reader& Get()
        {
            return m_archive;
        }

    private:
        CMemoryBuffer m_buffer;
        boost::archive::binary_iarchive m_archive;
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
        writer.save_binary(block.bytes.data(), block.bytes.size());
    }

    template <class T>
    static void Take(Reader& reader, T& text)
    {
        reader >> text;
    }

    static void Take(Reader& reader, SBlock& block)
    {
        reader.load_binary(block.bytes.data(), block.bytes.size());
    }
};
} // namespace

SLibrary const c_BoostRows = SMeasure<SBoost>::writeAndRead("boost");
