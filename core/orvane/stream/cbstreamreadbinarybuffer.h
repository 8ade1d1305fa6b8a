// A binary stream over a block of memory.

#ifndef ORVANE_STREAM_CBSTREAMREADBINARYBUFFER_H
#define ORVANE_STREAM_CBSTREAMREADBINARYBUFFER_H

#include "orvane/container/cbarray.h"
#include "orvane/stream/cbstreamreadbinary.h"

/// Reads from a block of memory in place. The block is not owned: it must stay as it is as long as the reader is used.
/// Copies share the block, each with a position of its own.
class ORVANE_API CbStreamReadBinaryBuffer : public CbStreamReadBinary
{
public:
    explicit CbStreamReadBinaryBuffer(CbArray<unsigned char> const& array);
    explicit CbStreamReadBinaryBuffer(CbArray<unsigned char>&& array) = delete;

    /// `data` may be null where `size` is 0.
    CbStreamReadBinaryBuffer(void const* data, unsigned __int64 size);

    CbStreamReadBinaryBuffer(CbStreamReadBinaryBuffer const& other);
    CbStreamReadBinaryBuffer& operator=(CbStreamReadBinaryBuffer const& other);
    ~CbStreamReadBinaryBuffer() override;

    using CbStreamReadBinary::operator>>;

    // The operations of the encoding, done in place. A class derived from this one sees every value in its `read`.
    CbStreamReadBinary& operator>>(CStringW& value) override;
    CbStreamReadBinary& operator>>(CStringA& value) override;
    CbStreamReadBinary& operator>>(std::wstring& value) override;
    CbStreamReadBinary& operator>>(std::string& value) override;
    CbStreamReadBinary& operator>>(long& value) override;
    CbStreamReadBinary& operator>>(unsigned long& value) override;
    CbStreamReadBinary& operator>>(char& value) override;
    CbStreamReadBinary& operator>>(double& value) override;
    CbStreamReadBinary& operator>>(float& value) override;
    CbStreamReadBinary& operator>>(__int64& value) override;
    CbStreamReadBinary& operator>>(unsigned __int64& value) override;
    CbStreamReadBinary& operator>>(int& value) override;
    CbStreamReadBinary& operator>>(unsigned int& value) override;
    CbStreamReadBinary& operator>>(short& value) override;
    CbStreamReadBinary& operator>>(unsigned short& value) override;
    CbStreamReadBinary& operator>>(signed char& value) override;
    CbStreamReadBinary& operator>>(unsigned char& value) override;
    CbStreamReadBinary& operator>>(bool& value) override;

    /// The bytes delivered so far.
    unsigned __int64 GetBytesRead() const;

protected:
    /// Delivers what is there, at most `size` bytes.
    unsigned __int64 read(void* data, unsigned __int64 size) override;

private:
    template <class T>
    CbStreamReadBinary& take(T& value);

    template <class TText>
    CbStreamReadBinary& takeNarrow(TText& text);

    template <class TText>
    CbStreamReadBinary& takeWide(TText& text);

    void advance(unsigned __int64 size);

    unsigned char const* m_data;
    unsigned __int64 m_size;
    unsigned __int64 m_position = 0;
    unsigned __int64 m_bytesRead = 0;
};

#endif // ORVANE_STREAM_CBSTREAMREADBINARYBUFFER_H
