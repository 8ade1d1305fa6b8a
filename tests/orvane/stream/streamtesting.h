// Byte blocks, and streams that show how they are used.

#ifndef ORVANE_TESTS_STREAM_STREAMTESTING_H
#define ORVANE_TESTS_STREAM_STREAMTESTING_H

#include <algorithm>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/stream/cbstreamreadbinary.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinary.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"

using Bytes = std::vector<unsigned char>;

inline Bytes bytesOf(CbArray<unsigned char> const& array)
{
    return Bytes(array.begin(), array.end());
}

inline Bytes bytesOf(CbStreamWriteBinaryBuffer const& stream)
{
    return bytesOf(stream.GetArray());
}

/// The bytes of the blocks, one after the other.
inline Bytes joined(std::initializer_list<Bytes> blocks)
{
    Bytes all;
    for (Bytes const& block : blocks)
    {
        all.insert(all.end(), block.begin(), block.end());
    }
    return all;
}

/// The first bytes of a block.
inline Bytes headOf(Bytes const& bytes, std::size_t count)
{
    return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, bytes.size())));
}

/// The bytes of a file of a folder of golden files.
inline Bytes goldenFile(char const* folder, std::string const& name)
{
    std::ifstream file(std::string(folder) + "/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << folder << "/" << name << " cannot be opened";
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// So many letters, from a on and again.
template <class C>
std::basic_string<C> letters(std::size_t count)
{
    std::basic_string<C> text;
    for (std::size_t i = 0; i < count; ++i)
    {
        text.push_back(static_cast<C>('a' + i % 26));
    }
    return text;
}

/// A number's low bytes, the lowest first, laid out by arithmetic.
inline Bytes littleEndian(unsigned __int64 number, unsigned int width)
{
    Bytes bytes;
    for (unsigned int i = 0; i < width; ++i)
    {
        bytes.push_back(static_cast<unsigned char>(number >> (8 * i)));
    }
    return bytes;
}

/// Narrow text as it is stored.
inline Bytes narrowText(std::string const& text)
{
    return joined({littleEndian(text.size(), 4), Bytes(text.begin(), text.end())});
}

/// Wide text of less than 255 units as it is stored.
inline Bytes wideText(std::u16string const& units)
{
    Bytes bytes{0xFF, 0xFE, 0xFF, static_cast<unsigned char>(units.size())};
    for (char16_t const unit : units)
    {
        bytes.push_back(static_cast<unsigned char>(unit & 0xFF));
        bytes.push_back(static_cast<unsigned char>(unit >> 8));
    }
    return bytes;
}

/// A reader over a block of bytes, which must outlive it.
inline CbStreamReadBinaryBuffer readerOf(Bytes const& bytes)
{
    return CbStreamReadBinaryBuffer(bytes.data(), bytes.size());
}

CbStreamReadBinaryBuffer readerOf(Bytes&&) = delete;

/// Keeps every call of `write` by itself.
class CRecordingWriter : public CbStreamWriteBinary
{
public:
    std::vector<Bytes> const& GetWrites() const
    {
        return m_writes;
    }

    std::vector<std::size_t> GetWidths() const
    {
        std::vector<std::size_t> widths;
        for (Bytes const& bytes : m_writes)
        {
            widths.push_back(bytes.size());
        }
        return widths;
    }

    /// What was written, in one block.
    Bytes GetBytes() const
    {
        Bytes all;
        for (Bytes const& bytes : m_writes)
        {
            all.insert(all.end(), bytes.begin(), bytes.end());
        }
        return all;
    }

    using CbStreamWriteBinary::writeStringLengthA;
    using CbStreamWriteBinary::writeStringLengthW;

protected:
    CRecordingWriter& write(void const* data, unsigned __int64 size) override
    {
        auto const* const first = static_cast<unsigned char const*>(data);
        m_writes.emplace_back(first, first + size);
        return *this;
    }

private:
    std::vector<Bytes> m_writes;
};

/// Delivers a block of bytes and keeps the size of every call of `read`.
class CRecordingReader : public CbStreamReadBinary
{
public:
    explicit CRecordingReader(Bytes bytes) : m_bytes(std::move(bytes))
    {
    }

    std::vector<unsigned __int64> const& GetReads() const
    {
        return m_reads;
    }

    std::size_t GetPosition() const
    {
        return m_position;
    }

    using CbStreamReadBinary::readStringLengthA;
    using CbStreamReadBinary::readStringLengthW;

protected:
    unsigned __int64 read(void* data, unsigned __int64 size) override
    {
        m_reads.push_back(size);
        auto const delivered = static_cast<std::size_t>(std::min<unsigned __int64>(size, m_bytes.size() - m_position));
        if (delivered != 0)
        {
            std::memcpy(data, m_bytes.data() + m_position, delivered);
        }
        m_position += delivered;
        return delivered;
    }

private:
    Bytes m_bytes;
    std::size_t m_position = 0;
    std::vector<unsigned __int64> m_reads;
};

/// Which of the operators of a stream was used last.
class COperatorWatch : public CbStreamWriteBinaryBuffer
{
public:
    using CbStreamWriteBinaryBuffer::operator<<;

#define ORVANE_WATCHED_OPERATOR(Type)                                                                                  \
    CbStreamWriteBinary& operator<<(Type value) override                                                               \
    {                                                                                                                  \
        m_used = #Type;                                                                                                \
        return CbStreamWriteBinaryBuffer::operator<<(value);                                                           \
    }                                                                                                                  \
    static_assert(true)

    ORVANE_WATCHED_OPERATOR(bool);
    ORVANE_WATCHED_OPERATOR(char);
    ORVANE_WATCHED_OPERATOR(signed char);
    ORVANE_WATCHED_OPERATOR(unsigned char);
    ORVANE_WATCHED_OPERATOR(short);
    ORVANE_WATCHED_OPERATOR(unsigned short);
    ORVANE_WATCHED_OPERATOR(int);
    ORVANE_WATCHED_OPERATOR(unsigned int);
    ORVANE_WATCHED_OPERATOR(long);
    ORVANE_WATCHED_OPERATOR(unsigned long);
    ORVANE_WATCHED_OPERATOR(__int64);
    ORVANE_WATCHED_OPERATOR(unsigned __int64);
    ORVANE_WATCHED_OPERATOR(float);
    ORVANE_WATCHED_OPERATOR(double);

#undef ORVANE_WATCHED_OPERATOR

    std::string const& GetUsed() const
    {
        return m_used;
    }

private:
    std::string m_used;
};

/// The operator by which an object's last value is written.
template <class T>
std::string operatorFor(T const& object)
{
    COperatorWatch stream;
    object.Serialize(stream);
    return stream.GetUsed();
}

/// What a value is written as. Memory streams write in place; the encoding itself, which streams to other devices get, has
/// to give the same bytes.
template <class T>
Bytes written(T const& value)
{
    CbStreamWriteBinaryBuffer stream;
    stream << value;
    CRecordingWriter device;
    device << value;
    Bytes bytes = bytesOf(stream);
    EXPECT_TRUE(device.GetBytes() == bytes) << "a memory stream and the encoding itself write different bytes";
    return bytes;
}

/// The value that bytes are read as. Memory streams read in place; the encoding itself, which streams from other devices
/// get, has to give the same value and to take as many bytes.
template <class T>
T readAs(Bytes const& bytes)
{
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    T value{};
    stream >> value;
    CRecordingReader device(bytes);
    T fromDevice{};
    device >> fromDevice;
    if constexpr (std::is_arithmetic_v<T>)
    {
        // By its bits: no comparison finds a not-a-number equal to itself.
        EXPECT_EQ(std::memcmp(&fromDevice, &value, sizeof value), 0) << "read as " << value << " and as " << fromDevice;
    }
    else
    {
        EXPECT_TRUE(fromDevice == value) << "a memory stream and the encoding itself read different texts";
    }
    EXPECT_EQ(device.GetPosition(), stream.GetBytesRead());
    return value;
}

#endif // ORVANE_TESTS_STREAM_STREAMTESTING_H
