// The values that can be written to a stream.

#ifndef ORVANE_STREAM_ISTREAMWRITE_H
#define ORVANE_STREAM_ISTREAMWRITE_H

#include <cstddef>
#include <string>

#include "mfc/cstringt.h"
#include "orvane/export.h"
#include "platform/platform.h"

/// A stream that values are written to, whatever its encoding.
///
/// Every serialisable class writes itself through these operators only. Their order is part of the binary interface.
/// `long` and `unsigned long` are 32 bits wide in every binary encoding, also where the type is wider; text streams write
/// the whole value. `int` and `__int64` are the same everywhere and the better choice in stored layouts.
/// Threads: a stream belongs to one thread at a time.
class ORVANE_API IStreamWrite
{
public:
    virtual ~IStreamWrite();

    virtual IStreamWrite& operator<<(CStringW const& value) = 0;
    virtual IStreamWrite& operator<<(CStringA const& value) = 0;
    virtual IStreamWrite& operator<<(std::wstring const& value) = 0;
    virtual IStreamWrite& operator<<(std::string const& value) = 0;
    virtual IStreamWrite& operator<<(wchar_t const* value) = 0;
    virtual IStreamWrite& operator<<(char const* value) = 0;
    virtual IStreamWrite& operator<<(long value) = 0;
    virtual IStreamWrite& operator<<(unsigned long value) = 0;
    virtual IStreamWrite& operator<<(char value) = 0;
    virtual IStreamWrite& operator<<(double value) = 0;
    virtual IStreamWrite& operator<<(float value) = 0;
    virtual IStreamWrite& operator<<(__int64 value) = 0;
    virtual IStreamWrite& operator<<(unsigned __int64 value) = 0;
    virtual IStreamWrite& operator<<(int value) = 0;
    virtual IStreamWrite& operator<<(unsigned int value) = 0;
    virtual IStreamWrite& operator<<(short value) = 0;
    virtual IStreamWrite& operator<<(unsigned short value) = 0;
    virtual IStreamWrite& operator<<(signed char value) = 0;
    virtual IStreamWrite& operator<<(unsigned char value) = 0;
    virtual IStreamWrite& operator<<(bool value) = 0;

    /// Writes a format version: an unsigned 32-bit value.
    virtual void WriteVersion(unsigned int version) = 0;

    /// Pointers that are no text would become `bool`.
    IStreamWrite& operator<<(void const*) = delete;
    IStreamWrite& operator<<(std::nullptr_t) = delete;

protected:
    IStreamWrite() = default;
    IStreamWrite(IStreamWrite const&) = default;
    IStreamWrite& operator=(IStreamWrite const&) = default;
};

#endif // ORVANE_STREAM_ISTREAMWRITE_H
