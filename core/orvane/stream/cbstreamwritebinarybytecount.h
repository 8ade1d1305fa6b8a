// A binary stream that only counts.

#ifndef ORVANE_STREAM_CBSTREAMWRITEBINARYBYTECOUNT_H
#define ORVANE_STREAM_CBSTREAMWRITEBINARYBYTECOUNT_H

#include "orvane/stream/cbstreamwritebinary.h"

/// Counts the bytes that would be written, and stores nothing.
class ORVANE_API CbStreamWriteBinaryByteCount : public CbStreamWriteBinary
{
public:
    CbStreamWriteBinaryByteCount();
    CbStreamWriteBinaryByteCount(CbStreamWriteBinaryByteCount const& other);
    CbStreamWriteBinaryByteCount& operator=(CbStreamWriteBinaryByteCount const& other);
    ~CbStreamWriteBinaryByteCount() override;

    /// The bytes counted so far.
    unsigned __int64 GetByteCount() const;

protected:
    CbStreamWriteBinaryByteCount& write(void const* data, unsigned __int64 size) override;

private:
    unsigned __int64 m_byteCount = 0;
};

#endif // ORVANE_STREAM_CBSTREAMWRITEBINARYBYTECOUNT_H
