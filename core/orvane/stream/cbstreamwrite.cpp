#include "orvane/stream/cbstreamwrite.h"

CbStreamWrite::~CbStreamWrite() = default;

CbStreamWrite& CbStreamWrite::operator<<(CStringW const& value)
{
    *this << value.GetString();
    return *this;
}

CbStreamWrite& CbStreamWrite::operator<<(CStringA const& value)
{
    *this << value.GetString();
    return *this;
}

CbStreamWrite& CbStreamWrite::operator<<(std::wstring const& value)
{
    *this << value.c_str();
    return *this;
}

CbStreamWrite& CbStreamWrite::operator<<(std::string const& value)
{
    *this << value.c_str();
    return *this;
}

void CbStreamWrite::WriteVersion(unsigned int version)
{
    *this << version;
}

CbStreamWrite& CbStreamWrite::operator<<(CbFormatT<CStringW> const& value)
{
    return *this << value.GetText();
}

CbStreamWrite& CbStreamWrite::operator<<(CbFormatT<CStringA> const& value)
{
    return *this << value.GetText();
}

CbStreamWrite& CbStreamWrite::operator<<(CbFormatT<std::wstring> const& value)
{
    return *this << value.GetText();
}

CbStreamWrite& CbStreamWrite::operator<<(CbFormatT<std::string> const& value)
{
    return *this << value.GetText();
}
