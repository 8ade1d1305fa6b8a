#include "orvane/debugging/callstack.h"

#include <new>

#include "orvane/debugging/cystackwalkeroutput.h"
#include "orvane/sync/cbcriticalsection.h"

namespace
{
// Made when the library is loaded, or earlier by the first call, and never destroyed: static destructors walk too.
struct SShared
{
    CbCriticalSection lock;
    CyStackWalkerOutput walker; // guarded by lock
};

SShared& getShared()
{
    alignas(SShared) static unsigned char s_memory[sizeof(SShared)];
    static SShared& s_shared = *new (s_memory) SShared;
    return s_shared;
}

[[maybe_unused]] SShared const& s_madeAtStart = getShared();

// Under the lock. Inlined always: the walk's own frame and the caller's are the innermost two.
[[gnu::always_inline]] inline void takeStack(CyStackWalkerOutput& walker, CStringW& text, unsigned int skip)
{
    walker.Restart(skip);
    try
    {
        walker.WalkStack();
    }
    catch (...)
    {
        // The lines until then are what there is.
    }
    walker.TakeLines(text);
}
} // namespace

CbCriticalSection const& detail::getCallStackLock()
{
    return getShared().lock;
}

void Debugging::GetCallStack(CStringW& text, unsigned int skip)
{
    text.Empty();
    SShared& shared = getShared();
    CbCriticalSectionAuto const holder(shared.lock);
    takeStack(shared.walker, text, skip);
}

void detail::takeCallStack(CyStackWalkerOutput& walker, CStringW& text, unsigned int skip)
{
    text.Empty();
    CbCriticalSectionAuto const holder(getCallStackLock());
    takeStack(walker, text, skip);
}
