#include "orvane/stream/cbstreamwritebinarybytecount.h"

CbStreamWriteBinaryByteCount::CbStreamWriteBinaryByteCount() = default;

CbStreamWriteBinaryByteCount::CbStreamWriteBinaryByteCount(CbStreamWriteBinaryByteCount const& other) = default;

CbStreamWriteBinaryByteCount&
CbStreamWriteBinaryByteCount::operator=(CbStreamWriteBinaryByteCount const& other) = default;

CbStreamWriteBinaryByteCount::~CbStreamWriteBinaryByteCount() = default;

unsigned __int64 CbStreamWriteBinaryByteCount::GetByteCount() const
{
    return m_byteCount;
}

CbStreamWriteBinaryByteCount& CbStreamWriteBinaryByteCount::write(void const*, unsigned __int64 size)
{
    m_byteCount += size;
    return *this;
}
