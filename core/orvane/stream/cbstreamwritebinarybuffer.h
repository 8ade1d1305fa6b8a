// A binary stream into memory.

#ifndef ORVANE_STREAM_CBSTREAMWRITEBINARYBUFFER_H
#define ORVANE_STREAM_CBSTREAMWRITEBINARYBUFFER_H

#include "orvane/container/cbarray.h"
#include "orvane/stream/cbstreamwritebinary.h"

/// Collects what is written in a byte array that it owns.
///
/// The array's capacity grows as if every byte were appended by itself (doubling), but in one step.
/// Raises: std::bad_alloc where memory runs out or the count would pass 0xFFFFFFFF bytes; the bytes written before
/// stay.
class ORVANE_API CbStreamWriteBinaryBuffer : public CbStreamWriteBinary
{
public:
    /// Reserves 4,096 bytes.
    CbStreamWriteBinaryBuffer();

    /// Reserves `capacity` bytes.
    explicit CbStreamWriteBinaryBuffer(unsigned int capacity);

    /// Copies the bytes.
    CbStreamWriteBinaryBuffer(CbStreamWriteBinaryBuffer const& other);
    CbStreamWriteBinaryBuffer& operator=(CbStreamWriteBinaryBuffer const& other);

    /// Takes the bytes over; the source is empty, without memory, and can be written to again.
    CbStreamWriteBinaryBuffer(CbStreamWriteBinaryBuffer&& other) noexcept;
    CbStreamWriteBinaryBuffer& operator=(CbStreamWriteBinaryBuffer&& other) noexcept;

    ~CbStreamWriteBinaryBuffer() override;

    using CbStreamWriteBinary::operator<<;

    // The operations of the encoding, done in place. A class derived from this one sees every value in its `write`.
    CbStreamWriteBinary& operator<<(CStringW const& value) override;
    CbStreamWriteBinary& operator<<(CStringA const& value) override;
    CbStreamWriteBinary& operator<<(std::wstring const& value) override;
    CbStreamWriteBinary& operator<<(std::string const& value) override;
    CbStreamWriteBinary& operator<<(wchar_t const* value) override;
    CbStreamWriteBinary& operator<<(char const* value) override;
    CbStreamWriteBinary& operator<<(long value) override;
    CbStreamWriteBinary& operator<<(unsigned long value) override;
    CbStreamWriteBinary& operator<<(char value) override;
    CbStreamWriteBinary& operator<<(double value) override;
    CbStreamWriteBinary& operator<<(float value) override;
    CbStreamWriteBinary& operator<<(__int64 value) override;
    CbStreamWriteBinary& operator<<(unsigned __int64 value) override;
    CbStreamWriteBinary& operator<<(int value) override;
    CbStreamWriteBinary& operator<<(unsigned int value) override;
    CbStreamWriteBinary& operator<<(short value) override;
    CbStreamWriteBinary& operator<<(unsigned short value) override;
    CbStreamWriteBinary& operator<<(signed char value) override;
    CbStreamWriteBinary& operator<<(unsigned char value) override;
    CbStreamWriteBinary& operator<<(bool value) override;

    /// The number of bytes written so far.
    unsigned __int64 GetCount() const;

    /// The first byte; good until more is written.
    unsigned char* GetData();
    unsigned char const* GetData() const;

    CbArray<unsigned char> const& GetArray() const;

    /// The byte array, for the caller to move from: `CbArray<unsigned char> bytes(stream.ExtractArray());`
    /// Once it is moved from, the stream is empty, without memory, and can be written to again.
    CbArray<unsigned char>&& ExtractArray();

protected:
    CbStreamWriteBinaryBuffer& write(void const* data, unsigned __int64 size) override;

private:
    template <class T>
    CbStreamWriteBinary& put(T value);

    CbArray<unsigned char> m_array;
};

#endif // ORVANE_STREAM_CBSTREAMWRITEBINARYBUFFER_H
