// What a program tells of a failure: the exception and the way that led to it.

#ifndef ORVANE_EXAMPLES_CALLSTACK_FAILUREREPORT_H
#define ORVANE_EXAMPLES_CALLSTACK_FAILUREREPORT_H

#include "orvane/orvane.h"

/// Remembers the calling thread's call stack where something goes wrong, to be shown where it is handled: an exception
/// knows where it was raised, but not from where that was called.
class CFailureReport
{
public:
    /// Takes the stack of the caller. Call it right before raising.
    void TakeStack();

    /// The exception's file, line and function, and below it the stack that was taken, outermost first.
    CStringW Describe(IException const& exception) const;

private:
    CStringW m_stack;
};

#endif // ORVANE_EXAMPLES_CALLSTACK_FAILUREREPORT_H
