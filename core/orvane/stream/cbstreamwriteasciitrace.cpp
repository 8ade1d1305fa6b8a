#include "orvane/stream/cbstreamwriteasciitrace.h"

#include "orvane/stream/traceoutput.h"

CbStreamWriteASCIITrace::CbStreamWriteASCIITrace() = default;
CbStreamWriteASCIITrace::CbStreamWriteASCIITrace(CbStreamWriteASCIITrace const& other) = default;
CbStreamWriteASCIITrace::CbStreamWriteASCIITrace(CbStreamWriteASCIITrace&& other) noexcept = default;
CbStreamWriteASCIITrace& CbStreamWriteASCIITrace::operator=(CbStreamWriteASCIITrace const& other) = default;
CbStreamWriteASCIITrace& CbStreamWriteASCIITrace::operator=(CbStreamWriteASCIITrace&& other) noexcept = default;
CbStreamWriteASCIITrace::~CbStreamWriteASCIITrace() = default;

CbStreamWriteASCIITrace& CbStreamWriteASCIITrace::write(wchar_t const* text)
{
    detail::traceText(text);
    return *this;
}

CbStreamWriteASCIITrace& CbStreamWriteASCIITrace::write(char const* text)
{
    detail::traceText(text);
    return *this;
}

CbStreamWriteASCIITraceDiagnostic::CbStreamWriteASCIITraceDiagnostic() = default;
CbStreamWriteASCIITraceDiagnostic::CbStreamWriteASCIITraceDiagnostic(CbStreamWriteASCIITraceDiagnostic const& other) =
    default;
CbStreamWriteASCIITraceDiagnostic::CbStreamWriteASCIITraceDiagnostic(
    CbStreamWriteASCIITraceDiagnostic&& other) noexcept = default;
CbStreamWriteASCIITraceDiagnostic&
CbStreamWriteASCIITraceDiagnostic::operator=(CbStreamWriteASCIITraceDiagnostic const& other) = default;
CbStreamWriteASCIITraceDiagnostic&
CbStreamWriteASCIITraceDiagnostic::operator=(CbStreamWriteASCIITraceDiagnostic&& other) noexcept = default;
CbStreamWriteASCIITraceDiagnostic::~CbStreamWriteASCIITraceDiagnostic() = default;

CbStreamWriteASCIITraceDiagnostic& CbStreamWriteASCIITraceDiagnostic::write(wchar_t const* text)
{
    CbStreamWriteASCIITrace() << text;
    return *this;
}

CbStreamWriteASCIITraceDiagnostic& CbStreamWriteASCIITraceDiagnostic::write(char const* text)
{
    CbStreamWriteASCIITrace() << text;
    return *this;
}
