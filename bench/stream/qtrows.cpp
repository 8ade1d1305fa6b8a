#include <QByteArray>
#include <QDataStream>
#include <QString>

#include "stream/measure.h"

namespace
{
struct SQt
{
    using Writer = QDataStream;
    using Reader = QDataStream;
    using Narrow = QByteArray;
    using Wide = QString; // UTF-16 in memory already

    class CGrowing
    {
    public:
        CGrowing() : m_stream(&m_bytes, QIODevice::WriteOnly)
        {
            m_stream.setByteOrder(QDataStream::LittleEndian);
        }

        Writer& Get()
        {
            return m_stream;
        }

        std::vector<unsigned char> GetBytes() const
        {
            return {m_bytes.begin(), m_bytes.end()};
        }

    protected:
        QByteArray m_bytes;

    private:
        QDataStream m_stream;
    };

    class CReserved : public CGrowing
    {
    public:
        explicit CReserved(std::size_t capacity)
        {
            m_bytes.reserve(static_cast<int>(capacity));
        }
    };

    class CSource
    {
    public:
        explicit CSource(std::vector<unsigned char> const& bytes)
            : m_stream(
                  QByteArray::fromRawData(reinterpret_cast<char const*>(bytes.data()), static_cast<int>(bytes.size())))
        {
            m_stream.setByteOrder(QDataStream::LittleEndian);
        }

        Reader& Get()
        {
            return m_stream;
        }

    private:
        QDataStream m_stream;
    };

    static Narrow MakeNarrow(std::string const& text)
    {
        return QByteArray(text.data(), static_cast<int>(text.size()));
    }

    static Wide MakeWide(std::wstring const& text)
    {
        return QString::fromStdWString(text);
    }

    template <class T>
    static void Put(Writer& writer, T const& text)
    {
        writer << text;
    }

    static void Put(Writer& writer, SBlock const& block)
    {
        writer.writeRawData(reinterpret_cast<char const*>(block.bytes.data()), static_cast<int>(block.bytes.size()));
    }

    template <class T>
    static void Take(Reader& reader, T& text)
    {
        reader >> text;
    }

    static void Take(Reader& reader, SBlock& block)
    {
        reader.readRawData(reinterpret_cast<char*>(block.bytes.data()), static_cast<int>(block.bytes.size()));
    }
};
} // namespace

SLibrary const c_QtRows = SMeasure<SQt>::writeAndRead("qt");
