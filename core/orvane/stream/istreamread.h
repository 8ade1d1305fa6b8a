// The values that can be read from a stream.

#ifndef ORVANE_STREAM_ISTREAMREAD_H
#define ORVANE_STREAM_ISTREAMREAD_H

#include <string>

#include "mfc/cstringt.h"
#include "orvane/export.h"
#include "platform/platform.h"

/// A stream that values are read from, whatever its encoding.
///
/// Every serialisable class reads itself through these operators only. Their order is part of the binary interface.
/// `long` and `unsigned long` are 32 bits wide in the binary encoding, also where the type is wider: `int` and `__int64`
/// are the same everywhere and the better choice in stored layouts. On Linux `std::size_t` and `std::int64_t` are such
/// types; on Windows they are read in 8 bytes.
/// Threads: a stream belongs to one thread at a time.
class ORVANE_API IStreamRead
{
public:
    virtual ~IStreamRead();

    virtual IStreamRead& operator>>(CStringW& value) = 0;
    virtual IStreamRead& operator>>(CStringA& value) = 0;
    virtual IStreamRead& operator>>(std::wstring& value) = 0;
    virtual IStreamRead& operator>>(std::string& value) = 0;
    virtual IStreamRead& operator>>(long& value) = 0;
    virtual IStreamRead& operator>>(unsigned long& value) = 0;
    virtual IStreamRead& operator>>(char& value) = 0;
    virtual IStreamRead& operator>>(double& value) = 0;
    virtual IStreamRead& operator>>(float& value) = 0;
    virtual IStreamRead& operator>>(__int64& value) = 0;
    virtual IStreamRead& operator>>(unsigned __int64& value) = 0;
    virtual IStreamRead& operator>>(int& value) = 0;
    virtual IStreamRead& operator>>(unsigned int& value) = 0;
    virtual IStreamRead& operator>>(short& value) = 0;
    virtual IStreamRead& operator>>(unsigned short& value) = 0;
    virtual IStreamRead& operator>>(signed char& value) = 0;
    virtual IStreamRead& operator>>(unsigned char& value) = 0;
    virtual IStreamRead& operator>>(bool& value) = 0;

    /// Reads a stored format version and returns it.
    /// Raises: CbExceptionWrongFileVersion where it is above `expected`; the version's bytes are consumed then.
    virtual unsigned int ReadAndCompareVersion(unsigned int expected) = 0;

protected:
    IStreamRead() = default;
    IStreamRead(IStreamRead const&) = default;
    IStreamRead& operator=(IStreamRead const&) = default;
};

#endif // ORVANE_STREAM_ISTREAMREAD_H
