#include "stream/measure.h"

#include "orvane/text/utf16.h"

namespace
{
constexpr std::size_t c_DefaultCapacity = 4096; // that of the stream it stands beside

// Appends the bytes that a stream would append, piece by piece, to a vector that the compiler sees.
class CVectorWriter
{
public:
    explicit CVectorWriter(std::size_t capacity)
    {
        m_bytes.reserve(capacity);
    }

    void Append(void const* data, std::size_t size)
    {
        auto const* const bytes = static_cast<unsigned char const*>(data);
        m_bytes.insert(m_bytes.end(), bytes, bytes + size);
    }

    template <class T>
    CVectorWriter& operator<<(T const& value)
    {
        Append(&value, sizeof value);
        return *this;
    }

    std::vector<unsigned char> const& GetBytes() const
    {
        return m_bytes;
    }

private:
    std::vector<unsigned char> m_bytes;
};

struct SVector
{
    using Writer = CVectorWriter;
    using Reader = SVector; // not read from
    using Narrow = std::string;
    using Wide = std::u16string; // encoded in advance: appending is what is measured

    class CReserved
    {
    public:
        explicit CReserved(std::size_t capacity) : m_writer(capacity)
        {
        }

        Writer& Get()
        {
            return m_writer;
        }

    private:
        CVectorWriter m_writer;
    };

    class CGrowing : public CReserved
    {
    public:
        CGrowing() : CReserved(c_DefaultCapacity)
        {
        }
    };

    static Narrow MakeNarrow(std::string const& text)
    {
        return text;
    }

    static Wide MakeWide(std::wstring const& text)
    {
        Wide units(Utf16::CountUnits(text.data(), text.size()), u'\0');
        Utf16::Encode(text.data(), text.size(), units.data());
        return units;
    }

    static void Put(Writer& writer, Narrow const& text)
    {
        writer << static_cast<unsigned int>(text.size());
        writer.Append(text.data(), text.size());
    }

    static void Put(Writer& writer, Wide const& units)
    {
        PutUnits(writer, units.data(), units.size());
    }

    static void PutUnits(Writer& writer, char16_t const* units, std::size_t count)
    {
        writer << static_cast<unsigned char>(0xFF);
        writer << static_cast<unsigned short>(0xFFFE);
        if (count < 0xFF)
        {
            writer << static_cast<unsigned char>(count);
        }
        else
        {
            writer << static_cast<unsigned char>(0xFF);
            writer << static_cast<unsigned short>(count);
        }
        writer.Append(units, count * sizeof(char16_t));
    }

    static void Put(Writer& writer, SBlock const& block)
    {
        writer.Append(block.bytes.data(), block.bytes.size());
    }
};

// Wide text as client code holds it: encoded when it is appended.
struct SEncodingVector : SVector
{
    using Wide = std::wstring;

    static Wide MakeWide(std::wstring const& text)
    {
        return text;
    }

    static void Put(Writer& writer, Wide const& text)
    {
        char16_t units[2 * SWorkload::c_LongText];
        PutUnits(writer, units, Utf16::Encode(text.data(), text.size(), units));
    }
};

using Measure = SMeasure<SVector>;
} // namespace

SLibrary const c_VectorRows = {"vector",
                               Measure::writeRecords,
                               Measure::writeNarrow,
                               Measure::writeWide,
                               Measure::writeBlocks,
                               nullptr,
                               nullptr,
                               nullptr,
                               nullptr};

SLibrary const c_EncodingVectorRows = {
    "encoding vector", nullptr, nullptr, SMeasure<SEncodingVector>::writeWide, nullptr, nullptr,
    nullptr,           nullptr, nullptr};
