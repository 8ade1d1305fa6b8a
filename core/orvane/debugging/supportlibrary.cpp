#include "orvane/debugging/supportlibrary.h"

#include <type_traits>

#include "mfc/cstringt.h"

namespace
{
constexpr char c_Library[] = "dbghelp.dll";
constexpr DWORD c_NameLength = 4096;
constexpr DWORD c_VariableLength = 1024;

// Where the library stands below the folder of programs, in the order of trial.
constexpr char const* c_Installations[] = {"\\Debugging Tools for Windows\\dbghelp.dll",
                                           "\\Debugging Tools for Windows 64-Bit\\dbghelp.dll"};

bool isFile(char const* name)
{
    return GetFileAttributesA(name) != INVALID_FILE_ATTRIBUTES;
}
} // namespace

namespace detail
{
SSupportSystem const& getSupportSystem()
{
    static SSupportSystem const s_system = {
        [](char const* name) { return LoadLibraryA(name); },
        [](HMODULE module, char const* name) { return GetProcAddress(module, name); },
        [](HMODULE module) { return FreeLibrary(module); },
        [](char* buffer, DWORD size) { return GetModuleFileNameA(nullptr, buffer, size); },
        isFile,
        [](char const* name, char* buffer, DWORD size) { return GetEnvironmentVariableA(name, buffer, size); },
        [](DWORD size, char* buffer) { return GetCurrentDirectoryA(size, buffer); },
    };
    return s_system;
}

CSupportLibrary::CSupportLibrary(SSupportSystem const& system) : m_system(system)
{
}

CSupportLibrary::~CSupportLibrary()
{
    if (m_module != nullptr)
    {
        m_system.freeLibrary(m_module);
    }
}

bool CSupportLibrary::Load()
{
    if (!m_isTried)
    {
        m_isTried = true;
        m_module = loadAny();
        m_isComplete = m_module != nullptr && resolve();
    }
    return m_isComplete;
}

HMODULE CSupportLibrary::loadAny() const
{
    // A file "program.exe.local" asks the system to redirect plain names to the program's own folder.
    char name[c_NameLength] = {};
    DWORD const length = m_system.getModuleFileName(name, c_NameLength);
    bool const isRedirected = length != 0 && length < c_NameLength && m_system.isFile(CStringA(name) + ".local");
    char programs[c_VariableLength] = {};
    DWORD const programsLength = m_system.getEnvironmentVariable("ProgramFiles", programs, c_VariableLength);
    if (!isRedirected && programsLength != 0 && programsLength < c_VariableLength)
    {
        for (char const* const installation : c_Installations)
        {
            CStringA const path = CStringA(programs) + installation;
            HMODULE const module = m_system.isFile(path) ? m_system.loadLibrary(path) : nullptr;
            if (module != nullptr)
            {
                return module;
            }
        }
    }
    return m_system.loadLibrary(c_Library);
}

bool CSupportLibrary::resolve()
{
    bool isComplete = true;
    auto const find = [&](auto& function, char const* name)
    {
        function = findFunction<std::remove_reference_t<decltype(function)>>(m_system, m_module, name);
        isComplete = isComplete && function != nullptr;
    };
    find(initialize, "SymInitialize");
    find(cleanUp, "SymCleanup");
    find(stackWalk, "StackWalk64");
    find(getOptions, "SymGetOptions");
    find(setOptions, "SymSetOptions");
    find(functionTable, "SymFunctionTableAccess64");
    find(getLine, "SymGetLineFromAddr64");
    find(moduleBase, "SymGetModuleBase64");
    find(getModule, "SymGetModuleInfo64");
    find(getSymbol, "SymGetSymFromAddr64");
    find(undecorate, "UnDecorateSymbolName");
    find(loadModule, "SymLoadModule64");
    find(getSearchPath, "SymGetSearchPath");
    return isComplete;
}
} // namespace detail
