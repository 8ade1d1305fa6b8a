#include "orvane/mixin/cbidumpable.h"

#include "orvane/stream/cbstreamwriteascii.h"
#include "orvane/stream/cbstreamwriteasciitrace.h"

CStringW CbIDumpable<1>::ToString() const
{
    CbStreamWriteASCIIStringT<CStringW> stream;
    dump(stream);
    return CStringW(static_cast<wchar_t const*>(stream));
}

void CbIDumpable<1>::Dump(CbStreamWriteASCIIT<CStringW>& stream) const
{
    stream << ToString();
}

void CbIDumpable<1>::Dump() const
{
    CbStreamWriteASCIITrace stream;
    Dump(stream);
}
