#include "namedfile.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <new>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace posix
{
namespace
{
constexpr std::uint32_t c_Slots = 4;
constexpr std::uint32_t c_NameRoom = 260;
constexpr std::uint32_t c_Ready = 0x4F4E4D31;

struct Slot
{
    SharedObject object;
    std::uint32_t nameLength;
    wchar_t name[c_NameRoom];
};
} // namespace

struct SharedFile
{
    std::atomic<std::uint32_t> ready; // c_Ready once the file has been made
    Slot slots[c_Slots];
};

namespace
{
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

// Changes with the layout: versions that differ in it do not meet in one file.
constexpr char c_FileNameForm[] = "1-%016" PRIx64;
constexpr std::size_t c_FileNameRoom = 24;

// The bytes of a file that are locked. They stand for what they are named after, not for what is stored there.
constexpr off_t c_Users = 0; // shared: by everyone who uses a slot
constexpr off_t c_FirstSlot = 1;
constexpr off_t c_SlotChoice = c_FirstSlot + c_Slots; // while somebody looks for a slot
constexpr off_t c_Everything = 0;                     // as a length: to the end

constinit std::atomic<std::uint64_t> s_hashMask{~static_cast<std::uint64_t>(0)};

// One call at a time.
constinit int s_folder = -1;
constinit uid_t s_folderUser = 0;
constinit std::uint32_t s_forks = 0;
constinit DIR* s_sweep = nullptr; // where the last sweep left off
constinit time_t s_lastSweep = 0;

DWORD errorOf(int error) noexcept
{
    switch (error)
    {
    case EACCES:
    case EPERM:
    case ELOOP:
    case ENOTDIR:
    case EISDIR:
    case EROFS:
        return ERROR_ACCESS_DENIED;
    case ENOENT:
        return ERROR_PATH_NOT_FOUND;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
    case ENOSPC:
    case EDQUOT:
    case ENOLCK:
        return ERROR_NOT_ENOUGH_MEMORY;
    default:
        return ERROR_GEN_FAILURE;
    }
}

// ---- the folder

constexpr mode_t c_ModeBits = 07777;

void forgetFolder() noexcept
{
    if (s_sweep != nullptr)
    {
        closedir(s_sweep);
        s_sweep = nullptr;
    }
    if (s_folder >= 0)
    {
        close(s_folder);
        s_folder = -1;
    }
}

// Opens the user's folder, or makes it. It belongs to the user and is closed to everybody else, or it is not used.
DWORD openFolder() noexcept
{
    uid_t const user = geteuid();
    struct stat status = {};
    if (s_folder >= 0)
    {
        if (s_folderUser == user && fstat(s_folder, &status) == 0 && status.st_nlink != 0)
        {
            return ERROR_SUCCESS;
        }
        forgetFolder();
    }
    char path[40];
    std::snprintf(path, sizeof path, "/dev/shm/orvane-%u", static_cast<unsigned int>(user));
    if (mkdir(path, S_IRWXU) == 0)
    {
        chmod(path, S_IRWXU); // whatever the process masks out
    }
    else if (errno != EEXIST)
    {
        return errorOf(errno);
    }
    int const folder = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0)
    {
        return errorOf(errno);
    }
    if (fstat(folder, &status) != 0 || status.st_uid != user || (status.st_mode & c_ModeBits) != S_IRWXU)
    {
        close(folder);
        return ERROR_ACCESS_DENIED;
    }
    s_folder = folder;
    s_folderUser = user;
    return ERROR_SUCCESS;
}

// ---- files and their locks

struct FileName
{
    explicit FileName(std::uint64_t hash) noexcept
    {
        std::snprintf(text, sizeof text, c_FileNameForm, hash);
    }

    char text[c_FileNameRoom];
};

enum class Patience
{
    None,
    Wait // for calls of others that do not block
};

// The locks belong to the open file: the descriptor, and its copies in children of a fork.
bool lockBytes(int descriptor, short type, off_t first, off_t length, Patience patience) noexcept
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = first;
    lock.l_len = length;
    int result = 0;
    do
    {
        result = fcntl(descriptor, patience == Patience::Wait ? F_OFD_SETLKW : F_OFD_SETLK, &lock);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool isLockedByOthers() noexcept
{
    return errno == EAGAIN || errno == EACCES;
}

// Removes the file behind `descriptor` if nobody uses it. The descriptor's own locks are gone afterwards.
void removeUnused(int descriptor, char const* name) noexcept
{
    lockBytes(descriptor, F_UNLCK, 0, c_Everything, Patience::None);
    if (!lockBytes(descriptor, F_WRLCK, c_Users, 1, Patience::None))
    {
        return; // it has users: the last of them comes here too
    }
    struct stat opened = {};
    struct stat found = {};
    if (fstat(descriptor, &opened) == 0 && fstatat(s_folder, name, &found, AT_SYMLINK_NOFOLLOW) == 0 &&
        opened.st_ino == found.st_ino && opened.st_dev == found.st_dev)
    {
        unlinkat(s_folder, name, 0);
    }
}

// Closes a file that was in use.
void closeFile(int descriptor, std::uint32_t forks, char const* name) noexcept
{
    if (forks == s_forks)
    {
        removeUnused(descriptor, name);
        close(descriptor);
        return;
    }
    // A child of a fork may hold the same locks through its copy of the descriptor: only a descriptor opened since tells.
    close(descriptor);
    int const fresh = openat(s_folder, name, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (fresh >= 0)
    {
        removeUnused(fresh, name);
        close(fresh);
    }
}

// ---- slots

bool isSlotName(Slot const& slot, std::wstring_view name) noexcept
{
    return std::wstring_view(slot.name, std::min(slot.nameLength, c_NameRoom)) == name;
}

bool fillSlot(Slot& slot, std::wstring_view name, ObjectSetup const& setup) noexcept
{
    SharedObject* const object = new (&slot.object) SharedObject;
    if (!object->initialise(setup.kind, setup.value, setup.maximum))
    {
        return false;
    }
    if (setup.kind == Kind::Mutex && setup.value != 0)
    {
        object->lock();
        object->take(setup.value, SharedObject::c_NotWaiting);
        object->unlock();
    }
    slot.nameLength = static_cast<std::uint32_t>(name.size());
    std::copy(name.begin(), name.end(), slot.name);
    return true;
}

// Finds the slot that is in use for the name, or fills one that nobody uses. c_Slots where all are in use.
// The file is in use; c_SlotChoice is locked.
std::uint32_t chooseSlot(SharedFile& file, int descriptor, std::wstring_view name, ObjectSetup const& setup,
                         bool& isNew) noexcept
{
    std::uint32_t unused = c_Slots;
    for (std::uint32_t i = 0; i < c_Slots; ++i)
    {
        Slot& slot = file.slots[i];
        off_t const byte = c_FirstSlot + i;
        if (!lockBytes(descriptor, F_WRLCK, byte, 1, Patience::None))
        {
            if (isSlotName(slot, name) && lockBytes(descriptor, F_RDLCK, byte, 1, Patience::None))
            {
                isNew = false;
                return i;
            }
            continue;
        }
        lockBytes(descriptor, F_UNLCK, byte, 1, Patience::None);
        // A mutex that a thread owns beyond its last handle is still known to the kernel by its place here.
        bool const isFree = slot.nameLength == 0 || slot.object.ownerId() == 0;
        unused = isFree ? std::min(unused, i) : unused;
    }
    if (unused != c_Slots)
    {
        isNew = true;
        lockBytes(descriptor, F_RDLCK, c_FirstSlot + unused, 1, Patience::None);
        if (!fillSlot(file.slots[unused], name, setup))
        {
            return c_Slots;
        }
    }
    return unused;
}

SharedFile* mapFile(int descriptor) noexcept
{
    void* const memory = mmap(nullptr, sizeof(SharedFile), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    return memory != MAP_FAILED ? static_cast<SharedFile*>(memory) : nullptr;
}

enum class Attempt
{
    Done,
    Again,
    Failed // with the error in `error`
};

// A file that nobody uses and nobody has written yet: makes it this process's.
Attempt makeFile(std::wstring_view name, ObjectSetup const& setup, NameUse& use, mode_t mode, DWORD& error) noexcept
{
    // The memory is asked for now: a page that is missing later would end the process.
    int failure = posix_fallocate(use.descriptor, 0, sizeof(SharedFile));
    if (failure == 0 && mode != (S_IRUSR | S_IWUSR) && fchmod(use.descriptor, S_IRUSR | S_IWUSR) != 0)
    {
        failure = errno; // the process masks modes out, and this one cannot be set
    }
    if (failure != 0)
    {
        error = errorOf(failure);
        return Attempt::Failed;
    }
    use.file = mapFile(use.descriptor);
    if (use.file == nullptr || !fillSlot(use.file->slots[0], name, setup))
    {
        error = ERROR_NOT_ENOUGH_MEMORY;
        return Attempt::Failed;
    }
    use.slot = 0;
    use.file->ready.store(c_Ready, std::memory_order_release);
    lockBytes(use.descriptor, F_RDLCK, c_Users, c_FirstSlot + 1, Patience::None);
    return Attempt::Done;
}

// A file that somebody uses or has just used.
Attempt joinFile(std::wstring_view name, ObjectSetup const& setup, NameUse& use, bool& isNew, DWORD& error) noexcept
{
    use.file = mapFile(use.descriptor);
    if (use.file == nullptr)
    {
        error = ERROR_NOT_ENOUGH_MEMORY;
        return Attempt::Failed;
    }
    if (use.file->ready.load(std::memory_order_acquire) != c_Ready)
    {
        return Attempt::Again; // its maker was killed
    }
    if (!lockBytes(use.descriptor, F_WRLCK, c_SlotChoice, 1, Patience::Wait))
    {
        error = errorOf(errno);
        return Attempt::Failed;
    }
    use.slot = chooseSlot(*use.file, use.descriptor, name, setup, isNew);
    lockBytes(use.descriptor, F_UNLCK, c_SlotChoice, 1, Patience::None);
    if (use.slot == c_Slots)
    {
        error = ERROR_NOT_ENOUGH_MEMORY;
        return Attempt::Failed;
    }
    return Attempt::Done;
}

// One attempt with the file that has the name just now.
Attempt openFile(std::wstring_view name, ObjectSetup const& setup, NameUse& use, bool& isNew, char const* fileName,
                 DWORD& error) noexcept
{
    bool const isUnused = lockBytes(use.descriptor, F_WRLCK, c_Users, c_FirstSlot + 1, Patience::None);
    if (!isUnused && (!isLockedByOthers() || !lockBytes(use.descriptor, F_RDLCK, c_Users, 1, Patience::Wait)))
    {
        error = errorOf(errno);
        return Attempt::Failed;
    }
    struct stat status = {};
    if (fstat(use.descriptor, &status) != 0)
    {
        error = errorOf(errno);
        return Attempt::Failed;
    }
    use.inode = status.st_ino;
    if (status.st_nlink == 0)
    {
        return Attempt::Again; // removed by its last user meanwhile
    }
    if (isUnused && status.st_size != 0)
    {
        // Left by a process that was killed. It is not used again: a thread may own a mutex in it beyond its last handle.
        unlinkat(s_folder, fileName, 0);
        return Attempt::Again;
    }
    if (!S_ISREG(status.st_mode) || status.st_uid != s_folderUser)
    {
        error = ERROR_ACCESS_DENIED;
        return Attempt::Failed;
    }
    if (isUnused)
    {
        isNew = true;
        return makeFile(name, setup, use, status.st_mode & c_ModeBits, error);
    }
    if ((status.st_mode & c_ModeBits) != (S_IRUSR | S_IWUSR))
    {
        error = ERROR_ACCESS_DENIED;
        return Attempt::Failed;
    }
    return status.st_size == static_cast<off_t>(sizeof(SharedFile)) ? joinFile(name, setup, use, isNew, error)
                                                                    : Attempt::Again;
}
} // namespace

std::uint64_t hashOfName(std::wstring_view name) noexcept
{
    std::uint64_t hash = 0xCBF29CE484222325; // FNV-1a, a character at a time
    for (wchar_t const character : name)
    {
        hash = (hash ^ static_cast<std::uint64_t>(character)) * 0x100000001B3;
    }
    hash ^= hash >> 29;
    return (hash * 0x9E3779B97F4A7C15) & s_hashMask.load(std::memory_order_relaxed);
}

DWORD openName(std::wstring_view name, ObjectSetup const& setup, NameUse& use, bool& isNew) noexcept
{
    use.hash = hashOfName(name);
    FileName const fileName(use.hash);
    for (;;)
    {
        DWORD error = openFolder();
        if (error != ERROR_SUCCESS)
        {
            return error;
        }
        use.forks = s_forks;
        use.descriptor = openat(s_folder, fileName.text, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
        if (use.descriptor < 0)
        {
            if (errno == ENOENT)
            {
                continue; // the folder was removed meanwhile
            }
            return errorOf(errno);
        }
        Attempt const attempt = openFile(name, setup, use, isNew, fileName.text, error);
        if (attempt == Attempt::Done)
        {
            use.object = &use.file->slots[use.slot].object;
            return ERROR_SUCCESS;
        }
        unmapName(use);
        closeFile(use.descriptor, use.forks, fileName.text);
        use.descriptor = -1;
        if (attempt == Attempt::Failed)
        {
            return error;
        }
    }
}

void closeName(NameUse& use) noexcept
{
    if (use.descriptor >= 0)
    {
        closeFile(use.descriptor, use.forks, FileName(use.hash).text);
        use.descriptor = -1;
    }
}

void unmapName(NameUse& use) noexcept
{
    if (use.file != nullptr)
    {
        munmap(use.file, sizeof(SharedFile));
        use.file = nullptr;
        use.object = nullptr;
    }
}

bool isName(NameUse const& use, std::wstring_view name) noexcept
{
    return isSlotName(use.file->slots[use.slot], name);
}

void noteFork() noexcept
{
    ++s_forks;
}

void sweepNames() noexcept
{
    constexpr int c_AtOnce = 1024; // some milliseconds; the next sweep goes on from there
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    if ((s_lastSweep != 0 && now.tv_sec - s_lastSweep < 1) || openFolder() != ERROR_SUCCESS)
    {
        return;
    }
    s_lastSweep = now.tv_sec;
    if (s_sweep == nullptr)
    {
        int const folder = openat(s_folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        s_sweep = folder >= 0 ? fdopendir(folder) : nullptr;
        if (s_sweep == nullptr)
        {
            if (folder >= 0)
            {
                close(folder);
            }
            return;
        }
    }
    for (int i = 0; i < c_AtOnce; ++i)
    {
        dirent const* const entry = readdir(s_sweep);
        if (entry == nullptr)
        {
            closedir(s_sweep);
            s_sweep = nullptr;
            return;
        }
        int const file = openat(s_folder, entry->d_name, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (file >= 0)
        {
            removeUnused(file, entry->d_name);
            close(file);
        }
    }
}
} // namespace posix

void PlatformTest::SetNameHashMask(std::uint64_t mask) noexcept
{
    posix::s_hashMask.store(mask, std::memory_order_relaxed);
}
