#include <cstdlib>
#include <cstring>
#include <string_view>

#include <pwd.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "platform/platform.h"
#include "platform/posix/stackcapture.h"

struct ModuleHandle
{
    char const* name;
    FARPROC (*find)(char const* name) noexcept;
};

namespace
{
template <class Function>
FARPROC asProcedure(Function function) noexcept
{
    return reinterpret_cast<FARPROC>(function);
}

FARPROC findKernelFunction(char const* name) noexcept
{
    std::string_view const wanted(name);
    if (wanted == "CreateToolhelp32Snapshot")
    {
        return asProcedure(&CreateToolhelp32Snapshot);
    }
    if (wanted == "Module32First")
    {
        return asProcedure(&posix::firstModule);
    }
    return wanted == "Module32Next" ? asProcedure(&posix::nextModule) : nullptr;
}

constinit ModuleHandle s_modules[] = {{"kernel32.dll", findKernelFunction}, {"dbghelp.dll", posix::findDebugFunction}};

bool isModule(HMODULE module) noexcept
{
    if (module == &s_modules[0] || module == &s_modules[1])
    {
        return true;
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

// Copies a text where there is room: its length, or the room that it needs.
DWORD giveText(std::string_view text, char* buffer, DWORD size) noexcept
{
    auto const length = static_cast<DWORD>(text.size());
    if (buffer == nullptr || size <= length)
    {
        return length + 1;
    }
    text.copy(buffer, length);
    buffer[length] = '\0';
    return length;
}
} // namespace

HMODULE LoadLibraryA(LPCSTR name) noexcept
{
    for (ModuleHandle& module : s_modules)
    {
        if (name != nullptr && strcasecmp(name, module.name) == 0)
        {
            return &module;
        }
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) noexcept
{
    if (!isModule(module))
    {
        return nullptr;
    }
    FARPROC const found = name != nullptr ? module->find(name) : nullptr;
    if (found == nullptr)
    {
        SetLastError(ERROR_PROC_NOT_FOUND);
    }
    return found;
}

BOOL FreeLibrary(HMODULE module) noexcept
{
    return isModule(module);
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) noexcept
{
    if (module != nullptr || buffer == nullptr || size == 0)
    {
        SetLastError(module != nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
        return 0;
    }
    ssize_t const length = readlink("/proc/self/exe", buffer, size);
    if (length < 0)
    {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return 0;
    }
    if (static_cast<DWORD>(length) == size)
    {
        buffer[size - 1] = '\0';
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    buffer[length] = '\0';
    return static_cast<DWORD>(length);
}

DWORD GetFileAttributesA(LPCSTR name) noexcept
{
    struct stat status = {};
    if (name == nullptr || stat(name, &status) != 0)
    {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_FILE_ATTRIBUTES;
    }
    return S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
}

DWORD GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD size) noexcept
{
    char const* const value = name != nullptr ? std::getenv(name) : nullptr;
    if (value == nullptr)
    {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
    return giveText(value, buffer, size);
}

DWORD GetCurrentDirectoryA(DWORD size, LPSTR buffer) noexcept
{
    char name[4096];
    if (getcwd(name, sizeof name) == nullptr)
    {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return 0;
    }
    return giveText(name, buffer, size);
}

BOOL GetUserNameA(LPSTR buffer, DWORD* size) noexcept
{
    if (buffer == nullptr || size == nullptr)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    passwd entry = {};
    passwd* found = nullptr;
    char memory[1024];
    std::string_view name = "unknown";
    if (getpwuid_r(getuid(), &entry, memory, sizeof memory, &found) == 0 && found != nullptr)
    {
        name = entry.pw_name;
    }
    DWORD const given = *size;
    *size = static_cast<DWORD>(name.size()) + 1;
    if (giveText(name, buffer, given) > name.size())
    {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    return TRUE;
}

BOOL ReadProcessMemory(HANDLE process, void const* address, void* buffer, std::size_t size, std::size_t* read) noexcept
{
    if (process != GetCurrentProcess())
    {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    iovec const target{buffer, size};
    iovec const source{const_cast<void*>(address), size};
    ssize_t const count = process_vm_readv(getpid(), &target, 1, &source, 1, 0);
    if (read != nullptr)
    {
        *read = count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    if (count != static_cast<ssize_t>(size))
    {
        SetLastError(ERROR_NOACCESS);
        return FALSE;
    }
    return TRUE;
}

// The frame of this function tells where the caller stands once it has returned.
[[gnu::noinline]] void RtlCaptureContext(CONTEXT* context) noexcept
{
    auto const frame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    *context = {};
    context->ContextFlags = CONTEXT_CONTROL;
    context->Rip = reinterpret_cast<std::uintptr_t>(__builtin_return_address(0));
    context->Rsp = frame + 2 * sizeof(void*);
    context->Rbp = *reinterpret_cast<std::uintptr_t const*>(frame);
}

HANDLE GetProcessHeap() noexcept
{
    return &s_modules;
}

BOOL HeapLock(HANDLE) noexcept
{
    return TRUE;
}

BOOL HeapUnlock(HANDLE) noexcept
{
    return TRUE;
}
