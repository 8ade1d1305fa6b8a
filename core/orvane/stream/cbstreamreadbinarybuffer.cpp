#include "orvane/stream/cbstreamreadbinarybuffer.h"

#include <algorithm>
#include <cstring>

CbStreamReadBinaryBuffer::CbStreamReadBinaryBuffer(CbArray<unsigned char> const& array)
    : CbStreamReadBinaryBuffer(array.GetData(), array.GetCount())
{
}

CbStreamReadBinaryBuffer::CbStreamReadBinaryBuffer(void const* data, unsigned __int64 size)
    : m_data(static_cast<unsigned char const*>(data)),
      m_size(size)
{
}

CbStreamReadBinaryBuffer::CbStreamReadBinaryBuffer(CbStreamReadBinaryBuffer const& other) = default;

CbStreamReadBinaryBuffer& CbStreamReadBinaryBuffer::operator=(CbStreamReadBinaryBuffer const& other) = default;

CbStreamReadBinaryBuffer::~CbStreamReadBinaryBuffer() = default;

unsigned __int64 CbStreamReadBinaryBuffer::GetBytesRead() const
{
    return m_bytesRead;
}

unsigned __int64 CbStreamReadBinaryBuffer::read(void* data, unsigned __int64 size)
{
    unsigned __int64 const delivered = std::min(size, m_size - m_position);
    if (delivered != 0)
    {
        std::memcpy(data, m_data + m_position, static_cast<std::size_t>(delivered));
        m_position += delivered;
        m_bytesRead += delivered;
    }
    return delivered;
}
