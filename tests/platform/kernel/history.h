// What threads did to kernel objects and what they saw, and whether some order of these calls explains it.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_HISTORY_H
#define ORVANE_TESTS_PLATFORM_KERNEL_HISTORY_H

#include <array>
#include <cstddef>
#include <ostream>
#include <vector>

#include "platform/platform.h"

namespace kerneltest
{
enum EKind : unsigned char
{
    eAutoEvent,
    eManualEvent,
    eMutex,
    eSemaphore
};

/// An object as it was made: an event's initial state, a semaphore's count and maximum.
struct SObject
{
    EKind kind = eAutoEvent;
    int initial = 0;
    int maximum = 0;
};

enum ECall : unsigned char
{
    eSet,
    eReset,
    ePulse,
    eReleaseMutex,
    eReleaseSemaphore,
    eWaitAny, // for a single object too
    eWaitAll,
    eThreadEnd // what the end of an owner does to one mutex
};

constexpr std::size_t c_MostObjects = 8;

/// One call: what was asked, what came back, and when. The times come from one counter for all threads: a call that
/// ended before another one began took effect before it.
struct SCall
{
    ECall call = eSet;
    unsigned char thread = 0;
    unsigned char count = 0;
    std::array<unsigned char, c_MostObjects> objects{};
    DWORD timeoutMs = 0;
    int amount = 0; // that a semaphore is released by

    DWORD result = 0;
    DWORD error = 0; // of a call that failed
    int previous = 0;
    unsigned long long begin = 0;
    unsigned long long end = 0;
};

enum EVerdict
{
    eExplained,
    eUnexplained,
    eUndecided // the search was given up
};

/// The calls that a search can hold apart.
constexpr std::size_t c_MostCalls = 64;

/// Whether there is an order of the calls, each at one moment between its begin and its end, in which every result is
/// what the objects give to calls that come one after the other:
/// - a wait takes one object, the lowest that is signalled, or all of them at once; it times out at a moment when it
///   could not be satisfied;
/// - a pulse sets an event and resets it, and in between nothing happens but that waits return which may block and had
///   begun: how many of them were already waiting cannot be told from outside.
EVerdict explain(std::vector<SObject> const& objects, std::vector<SCall> const& calls);

/// The calls in the order of their beginnings, a line each.
void print(std::ostream& out, std::vector<SObject> const& objects, std::vector<SCall> calls);
} // namespace kerneltest

#endif // ORVANE_TESTS_PLATFORM_KERNEL_HISTORY_H
