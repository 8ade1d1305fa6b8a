// Named objects as this process sees them.

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
