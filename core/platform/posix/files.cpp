#include <cerrno>
#include <new>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kernelobject.h"
#include "nosuspend.h"
#include "platform/platform.h"
#include "platform/utf8.h"
#include "platform_target/civil.h"

using namespace posix;

namespace
{
HANDLE refuse(DWORD error) noexcept
{
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

std::string systemPath(LPCWSTR path)
{
    std::string text;
    for (; *path != L'\0'; ++path)
    {
        Utf8::appendUtf8(text, static_cast<char32_t>(*path));
    }
    return text;
}

// The error of a path that could not be opened; `error` is the C library's number.
DWORD openError(int error, std::string const& path) noexcept
{
    switch (error)
    {
    case ENOENT:
    {
        // A missing file and a missing folder have numbers of their own.
        std::size_t const slash = path.find_last_of('/');
        struct stat status;
        bool const hasFolder =
            slash == std::string::npos || slash == 0 || stat(path.substr(0, slash).c_str(), &status) == 0;
        return hasFolder ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
    }
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
        return ERROR_ACCESS_DENIED;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    default:
        return ERROR_GEN_FAILURE;
    }
}

// Without blocking, which a pipe's other end could do. -1 with the last error.
int openForReading(std::string const& path) noexcept
{
    int const descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0)
    {
        SetLastError(openError(errno, path));
        return -1;
    }
    struct stat status;
    if (fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode))
    {
        close(descriptor);
        SetLastError(ERROR_ACCESS_DENIED);
        return -1;
    }
    return descriptor;
}

bool isEarlier(statx_timestamp const& a, statx_timestamp const& b) noexcept
{
    return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_nsec < b.tv_nsec;
}

// Times before 1601 are told as its beginning. False, and nothing told, after the last tick.
bool tell(statx_timestamp const& time, FILETIME& told) noexcept
{
    constexpr __int64 c_LastSecond = static_cast<__int64>(c_LastTick / c_TicksASecond) - c_SecondsToEpoch;
    // Looked at before they are multiplied: file systems keep seconds of 64 bits.
    if (time.tv_sec > c_LastSecond)
    {
        return false;
    }
    unsigned __int64 ticks = 0;
    if (time.tv_sec >= -c_SecondsToEpoch)
    {
        ticks = static_cast<unsigned __int64>(time.tv_sec + c_SecondsToEpoch) * c_TicksASecond + time.tv_nsec / 100;
    }
    if (ticks > c_LastTick)
    {
        return false;
    }
    told = toFileTime(ticks);
    return true;
}
} // namespace

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD flags, HANDLE pattern) noexcept
{
    if (access != GENERIC_READ || (share & ~FILE_SHARE_READ) != 0 || security != nullptr ||
        disposition != OPEN_EXISTING || flags != 0 || pattern != nullptr)
    {
        return refuse(ERROR_NOT_SUPPORTED);
    }
    if (path == nullptr || *path == L'\0')
    {
        return refuse(ERROR_PATH_NOT_FOUND);
    }
    try
    {
        std::string const name = systemPath(path);
        NoSuspend const guard;
        int const descriptor = openForReading(name);
        if (descriptor < 0)
        {
            return INVALID_HANDLE_VALUE;
        }
        KernelObject* const object = createObject(Kind::Passive, 0);
        if (object == nullptr)
        {
            close(descriptor);
            return refuse(ERROR_NOT_ENOUGH_MEMORY);
        }
        object->descriptor = descriptor;
        HANDLE const handle = openHandle(*object);
        return handle != nullptr ? handle : INVALID_HANDLE_VALUE;
    }
    catch (std::bad_alloc const&)
    {
        return refuse(ERROR_NOT_ENOUGH_MEMORY);
    }
}

BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write) noexcept
{
    NoSuspend const guard;
    ObjectRef const ref = findObject(file);
    if (!ref)
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    Locked held(ref);
    if (!held.isHeld() || Word::kind(held.word) != Kind::Passive || held.object().descriptor < 0)
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    struct statx status;
    if (statx(held.object().descriptor, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
    {
        return fail(ERROR_GEN_FAILURE);
    }
    bool const hasCreation = (status.stx_mask & STATX_BTIME) != 0;
    statx_timestamp const& earlier =
        isEarlier(status.stx_mtime, status.stx_ctime) ? status.stx_mtime : status.stx_ctime;
    statx_timestamp const* const times[] = {hasCreation ? &status.stx_btime : &earlier, &status.stx_atime,
                                            &status.stx_mtime};
    FILETIME* const targets[] = {creation, access, write};
    FILETIME told[3];
    for (int n = 0; n < 3; ++n)
    {
        if (targets[n] != nullptr && !tell(*times[n], told[n]))
        {
            return fail(ERROR_ARITHMETIC_OVERFLOW);
        }
    }
    for (int n = 0; n < 3; ++n)
    {
        if (targets[n] != nullptr)
        {
            *targets[n] = told[n];
        }
    }
    return TRUE;
}
