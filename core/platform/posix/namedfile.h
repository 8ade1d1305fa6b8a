// Where named objects live: one file for each name, in a folder of the user's own under /dev/shm.
//
// Who uses a name holds a shared lock on its file, which the system takes away with the process. So an exclusive lock that
// succeeds says that nobody uses the name: whoever gets one removes the file. There is no count that a killed process
// could leave wrong. The file of a killed process stays until somebody opens the name, or opens or closes any name: then
// the folder is swept, once a second at most.
//
// The file's name is the name's hash. Names that have the same hash share the file, each in a slot of its own with a lock
// of its own.

#ifndef ORVANE_PLATFORM_POSIX_NAMEDFILE_H
#define ORVANE_PLATFORM_POSIX_NAMEDFILE_H

#include <cstdint>
#include <string_view>

#include "namedstate.h"

namespace posix
{
struct SharedFile;

/// A named object in use by this process. The file's descriptor holds the locks that say so.
struct NameUse
{
    int descriptor = -1;
    SharedFile* file = nullptr;
    SharedObject* object = nullptr;
    std::uint64_t hash = 0;
    std::uint64_t inode = 0; // with the slot, the same order of the objects in every process
    std::uint32_t slot = 0;
    std::uint32_t forks = 0; // of this process, when the descriptor was opened
};

/// What an object is made as where the name is not in use.
struct ObjectSetup
{
    Kind kind;
    std::uint32_t value; // of a mutex: the id of the calling thread, which then owns it, or 0
    std::uint32_t maximum;
};

std::uint64_t hashOfName(std::wstring_view name) noexcept;

/// Opens the object of that name, or makes it. Returns 0 or an error:
/// 3 without /dev/shm, 4 without descriptors, 5 where the folder or file is not this user's alone, 8 without memory.
/// Calls on the names of a process come one at a time; so for the other calls below.
DWORD openName(std::wstring_view name, ObjectSetup const& setup, NameUse& use, bool& isNew) noexcept;

/// The process does not use the name any more; the memory stays. The last user removes the file.
void closeName(NameUse& use) noexcept;

/// Gives the memory of a closed name back. No thread may still own the mutex in it.
void unmapName(NameUse& use) noexcept;

bool isName(NameUse const& use, std::wstring_view name) noexcept;

/// A fork has copied the descriptors: their locks are common to both processes from now on.
void noteFork() noexcept;

/// Removes files that nobody uses, if that has not been done within the last second.
void sweepNames() noexcept;
} // namespace posix

namespace PlatformTest
{
/// Makes names collide: their hashes are cut to these bits.
ORVANE_PLATFORM_API void SetNameHashMask(std::uint64_t mask) noexcept;
} // namespace PlatformTest

#endif // ORVANE_PLATFORM_POSIX_NAMEDFILE_H
