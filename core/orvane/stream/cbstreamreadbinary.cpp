#include "orvane/stream/cbstreamreadbinary.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/raisesite.h"
#include "orvane/object/iserializable.h"
#include "orvane/stream/textlength.h"
#include "orvane/text/utf16.h"

namespace
{
CB_RAISING_FILE("cbstreamreadbinary");

constexpr unsigned __int64 c_SmallText = 512;      // units that are read on the stack
constexpr unsigned __int64 c_FirstStep = 1u << 20; // bytes of a text body that are taken on its length's word
constexpr unsigned __int64 c_SkipBlock = 256;      // bytes that are skipped at a time

[[noreturn]] void raiseShort()
{
    throw CbExceptionStream(CB_SITE("CbStreamReadBinary::operator >>"));
}
} // namespace

// The body of a text up to its first NUL, where bytes that do not arrive count as NUL.
template <class TUnit>
class CbStreamReadBinary::CTextBody
{
public:
    CTextBody(CbStreamReadBinary& stream, unsigned __int64 length)
    {
        if (length <= c_SmallText)
        {
            std::fill_n(m_small, length, TUnit());
            stream.read(m_small, length * sizeof(TUnit));
            m_text = upToNul(m_small, static_cast<std::size_t>(length));
            return;
        }
        unsigned __int64 step = c_FirstStep / sizeof(TUnit);
        unsigned __int64 offset = 0;
        bool isComplete = true;
        while (offset < length && isComplete)
        {
            step = std::min(step, length - offset);
            enlarge(static_cast<std::size_t>(offset), static_cast<std::size_t>(offset + step));
            unsigned __int64 const size = step * sizeof(TUnit);
            isComplete = stream.read(m_large.get() + offset, size) == size;
            offset += step;
            step *= 2;
        }
        m_text = upToNul(m_large.get(), static_cast<std::size_t>(offset));
    }

    CTextBody(CTextBody const&) = delete;
    CTextBody& operator=(CTextBody const&) = delete;

    std::basic_string_view<TUnit> Get() const
    {
        return m_text;
    }

private:
    struct SFree
    {
        void operator()(TUnit* units) const noexcept
        {
            std::free(units);
        }
    };

    // The system has zeros at hand: what does not arrive is never touched.
    void enlarge(std::size_t count, std::size_t enlarged)
    {
        std::unique_ptr<TUnit[], SFree> larger(static_cast<TUnit*>(std::calloc(enlarged, sizeof(TUnit))));
        if (larger == nullptr)
        {
            throw std::bad_alloc();
        }
        std::copy_n(m_large.get(), count, larger.get());
        m_large = std::move(larger);
    }

    static std::basic_string_view<TUnit> upToNul(TUnit const* units, std::size_t count)
    {
        TUnit const* const end = std::char_traits<TUnit>::find(units, count, TUnit());
        return {units, end != nullptr ? static_cast<std::size_t>(end - units) : count};
    }

    TUnit m_small[c_SmallText];
    std::unique_ptr<TUnit[], SFree> m_large;
    std::basic_string_view<TUnit> m_text;
};

template <class T>
inline CbStreamReadBinary& CbStreamReadBinary::readPrimitive(T& value)
{
    if (read(&value, sizeof value) != sizeof value)
    {
        raiseShort();
    }
    return *this;
}

CbStreamReadBinary::~CbStreamReadBinary() = default;

CbStreamReadBinary& CbStreamReadBinary::operator>>(CStringW& value)
{
    CTextBody<char16_t> const body(*this, readStringLengthW());
    std::u16string_view const units = body.Get();
    std::wstring text(units.size(), L'\0');
    text.resize(Utf16::Decode(units.data(), units.size(), text.data()));
    value = text;
    return *this;
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(CStringA& value)
{
    CTextBody<char> const body(*this, readStringLengthA());
    value = std::string(body.Get());
    return *this;
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(std::wstring& value)
{
    CStringW text;
    *this >> text;
    value = text.GetString();
    return *this;
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(std::string& value)
{
    CStringA text;
    *this >> text;
    value = text.GetString();
    return *this;
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(long& value)
{
    int stored = 0;
    readPrimitive(stored);
    value = stored;
    return *this;
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(unsigned long& value)
{
    unsigned int stored = 0;
    readPrimitive(stored);
    value = stored;
    return *this;
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(char& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(double& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(float& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(__int64& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(unsigned __int64& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(int& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(unsigned int& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(short& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(unsigned short& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(signed char& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(unsigned char& value)
{
    return readPrimitive(value);
}

CbStreamReadBinary& CbStreamReadBinary::operator>>(bool& value)
{
    unsigned char stored = 0;
    readPrimitive(stored);
    value = stored != 0;
    return *this;
}

unsigned __int64 CbStreamReadBinary::ReadBuffer(void* data, unsigned __int64 size)
{
    return read(data, size);
}

ISerializable* CbStreamReadBinary::ReadChunk()
{
    CStringW className;
    unsigned __int64 size = 0;
    *this >> className;
    *this >> size;

    std::unique_ptr<IObject> object;
    CbRTTI const* const record = CbRTTI::Find(className.GetString());
    if (record != nullptr && record->GetCreate() != nullptr)
    {
        object = record->GetCreate()();
    }
    auto* const serializable = dynamic_cast<ISerializable*>(object.get());
    if (serializable == nullptr)
    {
        object.reset();
        skip(size);
        return nullptr;
    }
    serializable->Serialize(*this);
    static_cast<void>(object.release());
    return serializable;
}

unsigned __int64 CbStreamReadBinary::readStringLengthA()
{
    unsigned int length = 0;
    *this >> length;
    return length;
}

unsigned __int64 CbStreamReadBinary::readStringLengthW()
{
    unsigned char markerByte = 0;
    *this >> markerByte;
    unsigned short marker = 0;
    if (markerByte == TextLength::c_WideMarkerByte)
    {
        *this >> marker;
    }
    if (marker != TextLength::c_WideMarker)
    {
        throw CbExceptionStream(CB_SITE("CbStreamReadBinary::readStringLengthW"));
    }

    unsigned char length8 = 0;
    *this >> length8;
    if (length8 != TextLength::c_NextForm8)
    {
        return length8;
    }
    unsigned short length16 = 0;
    *this >> length16;
    if (length16 != TextLength::c_NextForm16)
    {
        return length16;
    }
    unsigned int length32 = 0;
    *this >> length32;
    if (length32 != TextLength::c_NextForm32)
    {
        return length32;
    }
    unsigned __int64 length64 = 0;
    *this >> length64;
    return length64;
}

// Skipping past the end is no error: a stored size may be damaged, and what follows will tell.
void CbStreamReadBinary::skip(unsigned __int64 size)
{
    unsigned char scratch[c_SkipBlock];
    for (unsigned __int64 block = c_SkipBlock; size != 0; block /= 2)
    {
        while (size >= block)
        {
            // Where nothing arrives any more, nothing is left to be skipped, whatever the size claims.
            if (read(scratch, block) == 0)
            {
                return;
            }
            size -= block;
        }
    }
}
