// Named objects as this process sees them, and where they differ from unnamed ones:
//
// - Waiters are not served in the order in which they came. Each signal is taken by one waiter that waited for it or by
//   whoever comes before that; a mutex can be taken again by who has just released it.
// - A reset, a pulse or the next set right after a set take nothing from those that waited when it came: as many waits for
//   one or any are released as Windows releases. That is exact while no waiter is killed; later signals may then release
//   one waiter too many for each that was, never one too few.
// - A wait for all sees what is signalled when it looks, and looks when something changes. Signals that are gone by then
//   do not complete it: a pulse of an automatic event never does, that of a manual one does where the rest is there still.
//   A pulse of an unnamed event does not complete a wait for all that has named members.
// - A mutex whose owner was killed is abandoned within a millisecond for whoever waits for it. Should the kernel wake a
//   waiter that is killed in the same moment, the others find out within 100 ms. One thread's end abandons the last 2,048
//   of its mutexes: that is how far the kernel follows a thread's list.
// - A process that is stopped, not killed, in the middle of a call keeps the others waiting until it goes on.
// - A wait for any of several looks at named members one after the other, not at one moment.
// - In the child of a fork the handles work on. The child owns no mutex, whatever its parent's thread owned.
// - Without futex_waitv (before Linux 5.16) a wait with several words to sleep on looks once in a millisecond.
// - Processes that share names share one numbering of processes: containers with one of their own do not mix.

#ifndef ORVANE_PLATFORM_POSIX_NAMED_H
#define ORVANE_PLATFORM_POSIX_NAMED_H

#include <atomic>
#include <cstdint>

#include "namedfile.h"

namespace posix
{
/// One for each name that the process uses, however many handles it has: a second descriptor of the same file would give
/// up the first one's claim when it is closed.
class NamedObject
{
public:
    NameUse use;
    ObjectRef object;             // what handles name; guarded by the lock of the table
    std::uint32_t references = 0; // of kernel objects; guarded by the lock of the table
    NamedObject* next = nullptr;  // in the table, or in the list of those that are still owned

    /// The thread of this process that took the mutex last and did not release it, or 0.
    std::atomic<std::uint32_t> localOwner{0};
};

/// Takes the signalled object for the calling thread; its lock is held. Whether its owner had ended.
bool takeNamed(NamedObject& named, std::uint32_t threadId, SharedObject::Moment begun) noexcept;
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_NAMED_H
