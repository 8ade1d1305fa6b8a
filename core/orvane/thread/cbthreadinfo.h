// What is known about the threads of the process.

#ifndef ORVANE_THREAD_CBTHREADINFO_H
#define ORVANE_THREAD_CBTHREADINFO_H

#include "orvane/export.h"
#include "platform/platform.h"

/// Facts about the threads of the process.
class ORVANE_API CbThreadInfo
{
public:
    /// The id of the process's main thread: the one that was created first. 0 where the system's threads cannot be
    /// listed; the next call looks again.
    /// Threads: any. The answer is remembered without a lock: first calls at the same time may each look.
    static unsigned int GetMainThreadId();

    /// Writes the warning "Thread %d forcefully terminated\n" with the thread's id to the logger "Thread". For those who
    /// are about to kill a thread.
    /// Raises: what a sink throws.
    static void WarnOnTermination(HANDLE thread);
};

#endif // ORVANE_THREAD_CBTHREADINFO_H
