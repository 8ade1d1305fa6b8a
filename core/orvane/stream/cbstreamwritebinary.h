// The binary encoding, writing side.

#ifndef ORVANE_STREAM_CBSTREAMWRITEBINARY_H
#define ORVANE_STREAM_CBSTREAMWRITEBINARY_H

#include "orvane/stream/cbstreamwrite.h"

class ISerializable;

/// Turns every value into bytes and leaves the bytes to `write`.
///
/// All numbers are little-endian, without padding: `bool` and the `char` types 1 byte, `short` 2, `int` and `long` 4,
/// `__int64` 8, `float` and `double` their IEEE 754 bits in 4 and 8. Narrow text is a 4-byte length and the characters;
/// wide text is the marker FF FE FF, a length of 1, 3, 7 or 15 bytes, and UTF-16 units. Neither ends in a NUL.
/// Every value reaches `write` in one call of its width; a text in calls for the parts of its length and one for the
/// body.
/// Raises: what `write` raises; what was written before stays.
class ORVANE_API CbStreamWriteBinary : public CbStreamWrite
{
public:
    ~CbStreamWriteBinary() override;

    using CbStreamWrite::operator<<;

    /// Raises: CbExceptionStream from "CbStreamWriteBinary::operator <<" for a null pointer; nothing is written then.
    CbStreamWriteBinary& operator<<(wchar_t const* value) override;
    CbStreamWriteBinary& operator<<(char const* value) override;

    /// Raises: CbExceptionStream from "CbStreamWriteBinary::operator <<" where the value does not fit 32 bits (only
    /// where `long` is wider than that); nothing is written then.
    CbStreamWriteBinary& operator<<(long value) override;
    CbStreamWriteBinary& operator<<(unsigned long value) override;

    CbStreamWriteBinary& operator<<(char value) override;
    CbStreamWriteBinary& operator<<(double value) override;
    CbStreamWriteBinary& operator<<(float value) override;
    CbStreamWriteBinary& operator<<(__int64 value) override;
    CbStreamWriteBinary& operator<<(unsigned __int64 value) override;
    CbStreamWriteBinary& operator<<(int value) override;
    CbStreamWriteBinary& operator<<(unsigned int value) override;
    CbStreamWriteBinary& operator<<(short value) override;
    CbStreamWriteBinary& operator<<(unsigned short value) override;
    CbStreamWriteBinary& operator<<(signed char value) override;
    CbStreamWriteBinary& operator<<(unsigned char value) override;
    CbStreamWriteBinary& operator<<(bool value) override;

    /// Writes bytes as they are, without a length.
    void WriteBuffer(void const* data, unsigned __int64 size);

    /// Writes an object so that a reader creates it by its class name, or skips it where it does not know the class:
    /// the name as wide text, the size of the object's bytes in 8 bytes, and these bytes. The object is serialised
    /// twice, once to count.
    /// Raises: CbExceptionStream from "CbStreamWriteBinary::WriteChunk" for a null reference, before anything is
    /// written; what the object's Serialize raises.
    void WriteChunk(ISerializable const& object);

protected:
    CbStreamWriteBinary() = default;
    CbStreamWriteBinary(CbStreamWriteBinary const&) = default;
    CbStreamWriteBinary& operator=(CbStreamWriteBinary const&) = default;

    /// Takes `size` bytes and returns the stream. `data` may be null where `size` is 0.
    virtual CbStreamWriteBinary& write(void const* data, unsigned __int64 size) = 0;

    /// Writes the low 32 bits of a narrow text's length.
    void writeStringLengthA(unsigned __int64 length);

    /// Writes the marker and the length of a wide text, in units.
    void writeStringLengthW(unsigned __int64 length);
};

#endif // ORVANE_STREAM_CBSTREAMWRITEBINARY_H
