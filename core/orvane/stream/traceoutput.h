// Where the text of the trace streams goes.

#ifndef ORVANE_STREAM_TRACEOUTPUT_H
#define ORVANE_STREAM_TRACEOUTPUT_H

#include "orvane/export.h"

namespace Debugging
{
/// Take one piece of narrow or of wide text: at most 1,023 characters, never none, with a closing NUL. The piece is good
/// for the time of the call only.
using FnTraceA = void (*)(char const* piece);
using FnTraceW = void (*)(wchar_t const* piece);

/// Sets what receives the pieces of the trace streams from now on, in both widths. Null, as at the start of the program,
/// lets the pieces of that width go nowhere.
/// Threads: any. A trace statement that runs meanwhile uses the one before or the new one; the functions are called on
/// the tracing threads, several at a time, without a lock.
ORVANE_API void SetTraceOutput(FnTraceA narrow, FnTraceW wide);
} // namespace Debugging

namespace detail
{
/// Hands the text to the trace output in pieces, in order. Null and an empty text give none.
/// Cost: a load where there is no output for the width.
void traceText(char const* text);
void traceText(wchar_t const* text);
} // namespace detail

#endif // ORVANE_STREAM_TRACEOUTPUT_H
