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

    /// The bytes delivered so far.
    unsigned __int64 GetBytesRead() const;

protected:
    /// Delivers what is there, at most `size` bytes.
    unsigned __int64 read(void* data, unsigned __int64 size) override;

private:
    unsigned char const* m_data;
    unsigned __int64 m_size;
    unsigned __int64 m_position = 0;
    unsigned __int64 m_bytesRead = 0;
};

#endif // ORVANE_STREAM_CBSTREAMREADBINARYBUFFER_H
