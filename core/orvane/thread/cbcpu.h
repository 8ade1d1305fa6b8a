// The machine's processors.

#ifndef ORVANE_THREAD_CBCPU_H
#define ORVANE_THREAD_CBCPU_H

#include "orvane/export.h"

/// What the library knows of the processors.
class ORVANE_API CbCPU
{
public:
    /// The logical processors of the system, at least 1; the native count where the process runs under 32-bit emulation.
    /// Threads: any.
    static unsigned int GetCount();
};

#endif // ORVANE_THREAD_CBCPU_H
