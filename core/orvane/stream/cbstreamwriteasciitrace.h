// Text streams for trace statements.

#ifndef ORVANE_STREAM_CBSTREAMWRITEASCIITRACE_H
#define ORVANE_STREAM_CBSTREAMWRITEASCIITRACE_H

#include "orvane/stream/cbstreamwriteascii.h"

/// Hands text to the trace output (Debugging::SetTraceOutput) in pieces of at most 1,023 characters, each write by itself.
///
/// There is no trace output unless the program sets one, and the text goes nowhere then: trace statements can stay where
/// they are. `CbStreamWriteASCIITrace() << L"read " << count << L" entries\n";`
/// Threads: a stream belongs to one thread at a time.
class ORVANE_API CbStreamWriteASCIITrace : public CbStreamWriteASCIIT<CStringW>
{
public:
    CbStreamWriteASCIITrace();
    CbStreamWriteASCIITrace(CbStreamWriteASCIITrace const& other);
    CbStreamWriteASCIITrace(CbStreamWriteASCIITrace&& other) noexcept;
    CbStreamWriteASCIITrace& operator=(CbStreamWriteASCIITrace const& other);
    CbStreamWriteASCIITrace& operator=(CbStreamWriteASCIITrace&& other) noexcept;
    ~CbStreamWriteASCIITrace() override;

protected:
    CbStreamWriteASCIITrace& write(wchar_t const* text) override;
    CbStreamWriteASCIITrace& write(char const* text) override;
};

/// The same for diagnostic output: each write goes through a CbStreamWriteASCIITrace of its own.
class ORVANE_API CbStreamWriteASCIITraceDiagnostic : public CbStreamWriteASCIIT<CStringW>
{
public:
    CbStreamWriteASCIITraceDiagnostic();
    CbStreamWriteASCIITraceDiagnostic(CbStreamWriteASCIITraceDiagnostic const& other);
    CbStreamWriteASCIITraceDiagnostic(CbStreamWriteASCIITraceDiagnostic&& other) noexcept;
    CbStreamWriteASCIITraceDiagnostic& operator=(CbStreamWriteASCIITraceDiagnostic const& other);
    CbStreamWriteASCIITraceDiagnostic& operator=(CbStreamWriteASCIITraceDiagnostic&& other) noexcept;
    ~CbStreamWriteASCIITraceDiagnostic() override;

protected:
    CbStreamWriteASCIITraceDiagnostic& write(wchar_t const* text) override;
    CbStreamWriteASCIITraceDiagnostic& write(char const* text) override;
};

#endif // ORVANE_STREAM_CBSTREAMWRITEASCIITRACE_H
