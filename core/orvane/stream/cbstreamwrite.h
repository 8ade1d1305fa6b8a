// What writing has in common, whatever the encoding.

#ifndef ORVANE_STREAM_CBSTREAMWRITE_H
#define ORVANE_STREAM_CBSTREAMWRITE_H

#include "orvane/stream/istreamwrite.h"
#include "orvane/text/cbformat.h"

/// Passes the string types on as character pointers, and versions as unsigned 32-bit values.
///
/// Text therefore ends at its first NUL: a string with a NUL inside is written up to it.
class ORVANE_API CbStreamWrite : public IStreamWrite
{
public:
    ~CbStreamWrite() override;

    using IStreamWrite::operator<<;

    CbStreamWrite& operator<<(CStringW const& value) override;
    CbStreamWrite& operator<<(CStringA const& value) override;
    CbStreamWrite& operator<<(std::wstring const& value) override;
    CbStreamWrite& operator<<(std::string const& value) override;

    // Left to the encoding. Declared again so that formatted text can follow any value in a chain of calls.
    CbStreamWrite& operator<<(wchar_t const* value) override = 0;
    CbStreamWrite& operator<<(char const* value) override = 0;
    CbStreamWrite& operator<<(long value) override = 0;
    CbStreamWrite& operator<<(unsigned long value) override = 0;
    CbStreamWrite& operator<<(char value) override = 0;
    CbStreamWrite& operator<<(double value) override = 0;
    CbStreamWrite& operator<<(float value) override = 0;
    CbStreamWrite& operator<<(__int64 value) override = 0;
    CbStreamWrite& operator<<(unsigned __int64 value) override = 0;
    CbStreamWrite& operator<<(int value) override = 0;
    CbStreamWrite& operator<<(unsigned int value) override = 0;
    CbStreamWrite& operator<<(short value) override = 0;
    CbStreamWrite& operator<<(unsigned short value) override = 0;
    CbStreamWrite& operator<<(signed char value) override = 0;
    CbStreamWrite& operator<<(unsigned char value) override = 0;
    CbStreamWrite& operator<<(bool value) override = 0;

    void WriteVersion(unsigned int version) override;

    /// Writes the formatted text as its string type is written.
    CbStreamWrite& operator<<(CbFormatT<CStringW> const& value);
    CbStreamWrite& operator<<(CbFormatT<CStringA> const& value);
    CbStreamWrite& operator<<(CbFormatT<std::wstring> const& value);
    CbStreamWrite& operator<<(CbFormatT<std::string> const& value);

protected:
    CbStreamWrite() = default;
    CbStreamWrite(CbStreamWrite const&) = default;
    CbStreamWrite& operator=(CbStreamWrite const&) = default;
};

#endif // ORVANE_STREAM_CBSTREAMWRITE_H
