#include "orvane/stream/cbstreamwritebinary.h"

#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <memory>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/raisesite.h"
#include "orvane/object/iserializable.h"
#include "orvane/stream/cbstreamwritebinarybytecount.h"
#include "orvane/stream/textlength.h"
#include "orvane/text/utf16.h"

static_assert(std::endian::native == std::endian::little, "values are written as they lie in memory");
static_assert(sizeof(int) == 4 && sizeof(short) == 2 && sizeof(float) == 4 && sizeof(double) == 8);

namespace
{
CB_RAISING_FILE("cbstreamwritebinary");

// Wide text up to this length is encoded on the stack.
constexpr std::size_t c_SmallText = 512;

[[noreturn]] void raiseWrite()
{
    throw CbExceptionStream(CB_SITE("CbStreamWriteBinary::operator <<"));
}

// A reference is never null to the optimiser. The address takes a way that it cannot follow, so the test stays.
bool isNullReference(ISerializable const& object)
{
    std::uintptr_t const volatile address = reinterpret_cast<std::uintptr_t>(&object);
    return address == 0;
}
} // namespace

CbStreamWriteBinary::~CbStreamWriteBinary() = default;

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(wchar_t const* value)
{
    if (value == nullptr)
    {
        raiseWrite();
    }
    std::size_t const length = std::wcslen(value);
    if constexpr (sizeof(wchar_t) == sizeof(char16_t))
    {
        writeStringLengthW(length);
        return write(value, length * sizeof(char16_t));
    }
    if (length <= c_SmallText)
    {
        char16_t units[2 * c_SmallText];
        std::size_t const count = Utf16::Encode(value, length, units);
        writeStringLengthW(count);
        return write(units, count * sizeof(char16_t));
    }
    std::size_t const count = Utf16::CountUnits(value, length);
    auto const units = std::make_unique_for_overwrite<char16_t[]>(count);
    Utf16::Encode(value, length, units.get());
    writeStringLengthW(count);
    return write(units.get(), count * sizeof(char16_t));
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(char const* value)
{
    if (value == nullptr)
    {
        raiseWrite();
    }
    std::size_t const length = std::strlen(value);
    writeStringLengthA(length);
    return write(value, length);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(long value)
{
    int const stored = static_cast<int>(value);
    if (stored != value)
    {
        raiseWrite();
    }
    return write(&stored, sizeof stored);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(unsigned long value)
{
    unsigned int const stored = static_cast<unsigned int>(value);
    if (stored != value)
    {
        raiseWrite();
    }
    return write(&stored, sizeof stored);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(char value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(double value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(float value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(__int64 value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(unsigned __int64 value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(int value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(unsigned int value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(short value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(unsigned short value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(signed char value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(unsigned char value)
{
    return write(&value, sizeof value);
}

CbStreamWriteBinary& CbStreamWriteBinary::operator<<(bool value)
{
    unsigned char const stored = value ? 1 : 0;
    return write(&stored, sizeof stored);
}

void CbStreamWriteBinary::WriteBuffer(void const* data, unsigned __int64 size)
{
    write(data, size);
}

void CbStreamWriteBinary::WriteChunk(ISerializable const& object)
{
    if (isNullReference(object))
    {
        throw CbExceptionStream(CB_SITE("CbStreamWriteBinary::WriteChunk"));
    }
    CbStreamWriteBinaryByteCount counter;
    object.Serialize(counter);
    *this << object.GetClassNameW();
    *this << counter.GetByteCount();
    object.Serialize(*this);
}

void CbStreamWriteBinary::writeStringLengthA(unsigned __int64 length)
{
    *this << static_cast<unsigned int>(length);
}

void CbStreamWriteBinary::writeStringLengthW(unsigned __int64 length)
{
    *this << TextLength::c_WideMarkerByte;
    *this << TextLength::c_WideMarker;
    if (length < TextLength::c_Form8End)
    {
        *this << static_cast<unsigned char>(length);
        return;
    }
    *this << TextLength::c_NextForm8;
    if (length < TextLength::c_Form16End)
    {
        *this << static_cast<unsigned short>(length);
        return;
    }
    *this << TextLength::c_NextForm16;
    if (length < TextLength::c_Form32End)
    {
        *this << static_cast<unsigned int>(length);
        return;
    }
    *this << TextLength::c_NextForm32;
    *this << length;
}
