// The memory of this process.

#ifndef ORVANE_TESTS_STREAM_PEAKMEMORY_H
#define ORVANE_TESTS_STREAM_PEAKMEMORY_H

/// What the process has in use now, in bytes.
unsigned long long CurrentMemory();

/// The most it has ever had, in bytes. Less CurrentMemory() from before an operation it is an upper bound of what the
/// operation took, whatever the process had at its peak before.
unsigned long long PeakMemory();

#endif // ORVANE_TESTS_STREAM_PEAKMEMORY_H
