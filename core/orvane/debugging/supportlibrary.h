// The debugging support library: how it is found, and its functions.

#ifndef ORVANE_DEBUGGING_SUPPORTLIBRARY_H
#define ORVANE_DEBUGGING_SUPPORTLIBRARY_H

#include "orvane/export.h"
#include "platform/platform.h"

#include "platform/debughelp.h"

namespace detail
{
/// The system's calls that loading goes through, with the system's meanings; tests put others in place. The tables must
/// outlive their walkers.
struct SSupportSystem
{
    HMODULE (*loadLibrary)(char const* name);
    FARPROC (*getProcedure)(HMODULE module, char const* name);
    BOOL (*freeLibrary)(HMODULE module);
    DWORD (*getModuleFileName)(char* buffer, DWORD size);
    bool (*isFile)(char const* name);
    DWORD (*getEnvironmentVariable)(char const* name, char* buffer, DWORD size);
    DWORD (*getCurrentDirectory)(DWORD size, char* buffer);
};

/// Those of the system.
ORVANE_API SSupportSystem const& getSupportSystem();

template <class Function>
Function findFunction(SSupportSystem const& system, HMODULE module, char const* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(system.getProcedure(module, name)));
}

/// The loaded library. All functions are there, or the library is not.
class CSupportLibrary
{
public:
    explicit CSupportLibrary(SSupportSystem const& system);
    ~CSupportLibrary();

    CSupportLibrary(CSupportLibrary const&) = delete;
    CSupportLibrary& operator=(CSupportLibrary const&) = delete;

    /// Loads the library unless that was tried before. Whether it is there.
    bool Load();

    DebugHelp::FnInitialize initialize = nullptr;
    DebugHelp::FnCleanup cleanUp = nullptr;
    DebugHelp::FnStackWalk stackWalk = nullptr;
    DebugHelp::FnGetOptions getOptions = nullptr;
    DebugHelp::FnSetOptions setOptions = nullptr;
    DebugHelp::FnFunctionTable functionTable = nullptr;
    DebugHelp::FnGetLine getLine = nullptr;
    DebugHelp::FnModuleBase moduleBase = nullptr;
    DebugHelp::FnGetModule getModule = nullptr;
    DebugHelp::FnGetSymbol getSymbol = nullptr;
    DebugHelp::FnUndecorate undecorate = nullptr;
    DebugHelp::FnLoadModule loadModule = nullptr;
    DebugHelp::FnGetSearchPath getSearchPath = nullptr;

private:
    HMODULE loadAny() const;
    bool resolve();

    SSupportSystem const& m_system;
    HMODULE m_module = nullptr;
    bool m_isTried = false;
    bool m_isComplete = false;
};
} // namespace detail

#endif // ORVANE_DEBUGGING_SUPPORTLIBRARY_H
