#include "orvane/stream/cbstreamwritebinarybuffer.h"

#include <cstring>
#include <cwchar>
#include <typeinfo>

#include "orvane/stream/textlength.h"
#include "orvane/text/narrowtext.h"
#include "orvane/text/utf16.h"

namespace
{
constexpr unsigned int c_DefaultCapacity = 4096;
constexpr unsigned __int64 c_MaximumCount = 0xFFFFFFFF;

// Longer texts do not notice how they are written.
constexpr std::size_t c_LongestInPlace = 16'384;
constexpr std::size_t c_LongestLength = 6; // bytes before a wide text of that length

// Whether no derived class is there to see the calls of `write`.
bool isPlain(CbStreamWriteBinaryBuffer const& stream)
{
    return &typeid(stream) == &typeid(CbStreamWriteBinaryBuffer);
}

// Writes a text of at most `length` characters, up to its first NUL, into spare capacity. False: nothing is written.
[[gnu::always_inline]] inline bool putInPlace(CbArray<unsigned char>& array, char const* text, std::size_t length)
{
    std::size_t const spare = array.GetCapacity() - array.GetCount();
    if (length > c_LongestInPlace || spare < sizeof(unsigned int) + length)
    {
        return false;
    }
    unsigned char* const target = array.GetSpare();
    unsigned int const written =
        static_cast<unsigned int>(NarrowText::CopyToNul(text, length, target + sizeof written));
    std::memcpy(target, &written, sizeof written);
    array.UseSpare(static_cast<unsigned int>(sizeof written) + written);
    return true;
}

bool putInPlace(CbArray<unsigned char>& array, wchar_t const* text, std::size_t length)
{
    std::size_t const spare = array.GetCapacity() - array.GetCount();
    if (length > c_LongestInPlace || spare < c_LongestLength + 2 * length * sizeof(char16_t))
    {
        return false;
    }
    // The body goes behind the length that it has unless it ends early or holds pairs: then it moves.
    bool const isShort = length < TextLength::c_Form8End;
    unsigned char* const target = array.GetSpare();
    std::size_t lengthSize = isShort ? 4 : c_LongestLength;
    std::size_t const units = Utf16::EncodeToNul(text, length, target + lengthSize);
    if ((units < TextLength::c_Form8End) != isShort)
    {
        std::size_t const fitting = isShort ? c_LongestLength : 4;
        std::memmove(target + fitting, target + lengthSize, units * sizeof(char16_t));
        lengthSize = fitting;
    }
    target[0] = TextLength::c_WideMarkerByte;
    std::memcpy(target + 1, &TextLength::c_WideMarker, sizeof TextLength::c_WideMarker);
    if (lengthSize == c_LongestLength)
    {
        unsigned short const length16 = static_cast<unsigned short>(units);
        target[3] = TextLength::c_NextForm8;
        std::memcpy(target + 4, &length16, sizeof length16);
    }
    else
    {
        target[3] = static_cast<unsigned char>(units);
    }
    array.UseSpare(static_cast<unsigned int>(lengthSize + units * sizeof(char16_t)));
    return true;
}
} // namespace

template <class T>
inline CbStreamWriteBinary& CbStreamWriteBinaryBuffer::put(T value)
{
    if (!isPlain(*this)) [[unlikely]]
    {
        return write(&value, sizeof value);
    }
    unsigned char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    m_array.Append(bytes, sizeof value);
    return *this;
}

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

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(CStringW const& value)
{
    if (!isPlain(*this) || !putInPlace(m_array, value.GetString(), static_cast<std::size_t>(value.GetLength())))
    {
        CbStreamWriteBinary::operator<<(value);
    }
    return *this;
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(CStringA const& value)
{
    if (!isPlain(*this) || !putInPlace(m_array, value.GetString(), static_cast<std::size_t>(value.GetLength())))
    {
        CbStreamWriteBinary::operator<<(value);
    }
    return *this;
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(std::wstring const& value)
{
    if (!isPlain(*this) || !putInPlace(m_array, value.data(), value.size()))
    {
        CbStreamWriteBinary::operator<<(value);
    }
    return *this;
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(std::string const& value)
{
    if (!isPlain(*this) || !putInPlace(m_array, value.data(), value.size()))
    {
        CbStreamWriteBinary::operator<<(value);
    }
    return *this;
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(wchar_t const* value)
{
    if (value == nullptr || !isPlain(*this) || !putInPlace(m_array, value, std::wcslen(value)))
    {
        CbStreamWriteBinary::operator<<(value);
    }
    return *this;
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(char const* value)
{
    if (value == nullptr || !isPlain(*this) || !putInPlace(m_array, value, std::strlen(value)))
    {
        CbStreamWriteBinary::operator<<(value);
    }
    return *this;
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(long value)
{
    int const stored = static_cast<int>(value);
    return stored == value ? put(stored) : CbStreamWriteBinary::operator<<(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(unsigned long value)
{
    unsigned int const stored = static_cast<unsigned int>(value);
    return stored == value ? put(stored) : CbStreamWriteBinary::operator<<(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(char value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(double value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(float value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(__int64 value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(unsigned __int64 value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(int value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(unsigned int value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(short value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(unsigned short value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(signed char value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(unsigned char value)
{
    return put(value);
}

CbStreamWriteBinary& CbStreamWriteBinaryBuffer::operator<<(bool value)
{
    return put(static_cast<unsigned char>(value ? 1 : 0));
}

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
