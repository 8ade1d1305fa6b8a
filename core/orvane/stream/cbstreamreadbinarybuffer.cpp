#include "orvane/stream/cbstreamreadbinarybuffer.h"

#include <algorithm>
#include <cstring>
#include <typeinfo>

#include "orvane/stream/textlength.h"
#include "orvane/text/utf16.h"

namespace
{
// Longer texts do not notice how they are read.
constexpr unsigned int c_LongestInPlace = 16 * 1024;

// Whether no derived class is there to see the calls of `read`.
bool isPlain(CbStreamReadBinaryBuffer const& stream)
{
    return &typeid(stream) == &typeid(CbStreamReadBinaryBuffer);
}

// A text that lies whole in the block. Without units: the text is incomplete, long, or none.
struct SBody
{
    unsigned char const* units = nullptr;
    std::size_t length = 0;
    std::size_t sizeOfAll = 0; // in bytes, with what stands before the units
};

SBody bodyAt(unsigned char const* data, unsigned __int64 size, std::size_t lengthSize, std::size_t length,
             std::size_t unitSize)
{
    if (length > c_LongestInPlace || size - lengthSize < length * unitSize)
    {
        return {};
    }
    return {data + lengthSize, length, lengthSize + length * unitSize};
}

SBody findNarrow(unsigned char const* data, unsigned __int64 size)
{
    unsigned int length = 0;
    if (size < sizeof length)
    {
        return {};
    }
    std::memcpy(&length, data, sizeof length);
    return bodyAt(data, size, sizeof length, length, sizeof(char));
}

SBody findWide(unsigned char const* data, unsigned __int64 size)
{
    constexpr std::size_t c_Form8 = 4; // bytes of marker and length
    constexpr std::size_t c_Form16 = 6;
    unsigned short marker = 0;
    if (size < c_Form16 || data[0] != TextLength::c_WideMarkerByte)
    {
        return {};
    }
    std::memcpy(&marker, data + 1, sizeof marker);
    if (marker != TextLength::c_WideMarker)
    {
        return {};
    }
    if (data[3] != TextLength::c_NextForm8)
    {
        return bodyAt(data, size, c_Form8, data[3], sizeof(char16_t));
    }
    unsigned short length = 0;
    std::memcpy(&length, data + c_Form8, sizeof length);
    return bodyAt(data, size, c_Form16, length, sizeof(char16_t));
}

void assign(std::string& text, char const* characters, std::size_t length)
{
    text.assign(characters, length);
}

void assign(CStringA& text, char const* characters, std::size_t length)
{
    text.SetString(characters, static_cast<int>(length));
}

// Opens a text for `length` characters to be written.
wchar_t* open(std::wstring& text, std::size_t length)
{
    text.resize(length);
    return text.data();
}

wchar_t* open(CStringW& text, std::size_t length)
{
    return text.GetBufferSetLength(static_cast<int>(length));
}

// Ends the text behind the characters that were written.
void close(std::wstring& text, std::size_t length)
{
    text.resize(length);
}

void close(CStringW& text, std::size_t length)
{
    text.ReleaseBuffer(static_cast<int>(length));
}
} // namespace

template <class T>
inline CbStreamReadBinary& CbStreamReadBinaryBuffer::take(T& value)
{
    if (m_size - m_position < sizeof value || !isPlain(*this)) [[unlikely]]
    {
        return CbStreamReadBinary::operator>>(value);
    }
    std::memcpy(&value, m_data + m_position, sizeof value);
    advance(sizeof value);
    return *this;
}

template <class TText>
inline CbStreamReadBinary& CbStreamReadBinaryBuffer::takeNarrow(TText& text)
{
    SBody const body = isPlain(*this) ? findNarrow(m_data + m_position, m_size - m_position) : SBody();
    if (body.units == nullptr)
    {
        return CbStreamReadBinary::operator>>(text);
    }
    auto const* const characters = reinterpret_cast<char const*>(body.units);
    auto const* const nul = static_cast<char const*>(std::memchr(characters, '\0', body.length));
    assign(text, characters, nul != nullptr ? static_cast<std::size_t>(nul - characters) : body.length);
    advance(body.sizeOfAll);
    return *this;
}

template <class TText>
inline CbStreamReadBinary& CbStreamReadBinaryBuffer::takeWide(TText& text)
{
    SBody const body = isPlain(*this) ? findWide(m_data + m_position, m_size - m_position) : SBody();
    if (body.units == nullptr)
    {
        return CbStreamReadBinary::operator>>(text);
    }
    wchar_t* const characters = open(text, body.length);
    close(text, Utf16::DecodeToNul(body.units, body.length, characters));
    advance(body.sizeOfAll);
    return *this;
}

inline void CbStreamReadBinaryBuffer::advance(unsigned __int64 size)
{
    m_position += size;
    m_bytesRead += size;
}

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

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(CStringW& value)
{
    return takeWide(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(CStringA& value)
{
    return takeNarrow(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(std::wstring& value)
{
    return takeWide(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(std::string& value)
{
    return takeNarrow(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(long& value)
{
    int stored = 0;
    take(stored);
    value = stored;
    return *this;
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(unsigned long& value)
{
    unsigned int stored = 0;
    take(stored);
    value = stored;
    return *this;
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(char& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(double& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(float& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(__int64& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(unsigned __int64& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(int& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(unsigned int& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(short& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(unsigned short& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(signed char& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(unsigned char& value)
{
    return take(value);
}

CbStreamReadBinary& CbStreamReadBinaryBuffer::operator>>(bool& value)
{
    unsigned char stored = 0;
    take(stored);
    value = stored != 0;
    return *this;
}

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
        advance(delivered);
    }
    return delivered;
}
