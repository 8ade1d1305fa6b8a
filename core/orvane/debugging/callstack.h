// The calling thread's call stack as text.

#ifndef ORVANE_DEBUGGING_CALLSTACK_H
#define ORVANE_DEBUGGING_CALLSTACK_H

#include "mfc/cstringt.h"
#include "orvane/export.h"

class CbCriticalSection;
class CyStackWalkerOutput;

namespace Debugging
{
/// Replaces `text` by the calling thread's call stack: a line for each frame, the outermost first, each ended by "\n".
/// `skip` leaves out that many of the innermost frames; the two innermost are those of the capture itself. A line is
/// "file (line): function", or "address (module): (filename not available): function" where the line is not known.
/// A function that calls itself directly ends the stack: repeated frames are taken for one that never ends.
/// Raises: std::bad_alloc for the text; what goes wrong in the walk leaves lines out or the text empty.
/// Threads: any, one at a time; the others wait.
/// Cost: the first call loads the support library and debug data, later ones about half a microsecond a frame on Linux (docs/benchmarks.md).
ORVANE_API void GetCallStack(CStringW& text, unsigned int skip);
} // namespace Debugging

namespace detail
{
/// The library-wide lock of stack walks. Taken before a thread is suspended, so that no suspended thread holds it.
CbCriticalSection const& getCallStackLock();

/// GetCallStack by a walker of the caller's: tests hand over one whose walk fails.
ORVANE_API void takeCallStack(CyStackWalkerOutput& walker, CStringW& text, unsigned int skip);
} // namespace detail

#endif // ORVANE_DEBUGGING_CALLSTACK_H
