// What reading has in common, whatever the encoding.

#ifndef ORVANE_STREAM_CBSTREAMREAD_H
#define ORVANE_STREAM_CBSTREAMREAD_H

#include "orvane/stream/istreamread.h"

/// Compares format versions; the values are the encoding's affair.
class ORVANE_API CbStreamRead : public IStreamRead
{
public:
    ~CbStreamRead() override;

    using IStreamRead::operator>>;

    /// Reads an unsigned 32-bit value. Every version up to `expected`, 0 included, is returned unchanged.
    /// Raises: CbExceptionWrongFileVersion from "CbStreamRead::ReadAndCompareVersion" for a newer one.
    unsigned int ReadAndCompareVersion(unsigned int expected) override;

protected:
    CbStreamRead() = default;
    CbStreamRead(CbStreamRead const&) = default;
    CbStreamRead& operator=(CbStreamRead const&) = default;
};

#endif // ORVANE_STREAM_CBSTREAMREAD_H
