#include "orvane/stream/cbstreamwritebinarybuffer.h"

namespace
{
constexpr unsigned int c_DefaultCapacity = 4096;
constexpr unsigned __int64 c_MaximumCount = 0xFFFFFFFF;
} // namespace

CbStreamWriteBinaryBuffer::CbStreamWriteBinaryBuffer() : CbStreamWriteBinaryBuffer(c_DefaultCapacity)
{
}

CbStreamWriteBinaryBuffer::CbStreamWriteBinaryBuffer(unsigned int capacity)
{
    m_array.SetCapacity(capacity);
}

CbStreamWriteBinaryBuffer::CbStreamWriteBinaryBuffer(CbStreamWriteBinaryBuffer const& other) = default;

CbStreamWriteBinaryBuffer& CbStreamWriteBinaryBuffer::operator=(CbStreamWriteBinaryBuffer const& other) = default;

CbStreamWriteBinaryBuffer::CbStreamWriteBinaryBuffer(CbStreamWriteBinaryBuffer&& other) noexcept = default;

CbStreamWriteBinaryBuffer& CbStreamWriteBinaryBuffer::operator=(CbStreamWriteBinaryBuffer&& other) noexcept = default;

CbStreamWriteBinaryBuffer::~CbStreamWriteBinaryBuffer() = default;

unsigned __int64 CbStreamWriteBinaryBuffer::GetCount() const
{
    return m_array.GetCount();
}

unsigned char* CbStreamWriteBinaryBuffer::GetData()
{
    return m_array.GetData();
}

unsigned char const* CbStreamWriteBinaryBuffer::GetData() const
{
    return m_array.GetData();
}

CbArray<unsigned char> const& CbStreamWriteBinaryBuffer::GetArray() const
{
    return m_array;
}

CbArray<unsigned char>&& CbStreamWriteBinaryBuffer::ExtractArray()
{
    return std::move(m_array);
}

CbStreamWriteBinaryBuffer& CbStreamWriteBinaryBuffer::write(void const* data, unsigned __int64 size)
{
    if (size > c_MaximumCount)
    {
        throw std::bad_alloc();
    }
    m_array.Append(static_cast<unsigned char const*>(data), static_cast<unsigned int>(size));
    return *this;
}
