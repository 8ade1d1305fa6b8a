// The walker over a support library of the test's own: what it asks for, in which order, and what it makes of failures.

#include "orvane/debugging/cbstackwalkerbase.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "mfc/cstringt.h"
#include "orvane/debugging/callstack.h"
#include "orvane/debugging/cystackwalkeroutput.h"
#include "orvane/debugging/supportlibrary.h"
#include "support/virtualposition.h"

using namespace DebugHelp;
using Texts = std::vector<std::string>;

namespace
{
constexpr char c_Plain[] = "dbghelp.dll";

// What the support library of the test does, and what was asked of it.
struct SSupport
{
    Texts loaded;                 // names of libraries asked for
    Texts resolved;               // names of functions asked for
    std::vector<HANDLE> sessions; // the handles that they began and ended with
    std::vector<HANDLE> cleanUps;
    unsigned int freed = 0;
    std::set<std::string> libraries{c_Plain};
    std::set<std::string> missing; // functions that are not there
    std::set<std::string> files;
    std::map<std::string, std::string> environment;
    std::string program = "C:\\bin\\program.exe";
    std::string directory = "C:\\work";

    bool hasMemory = true;
    bool canInitialize = true;
    bool hasSearchPath = false;
    std::string searchPath;
    DWORD options = 0;
    HANDLE snapshot = nullptr;
    unsigned int snapshotEntry = 0;
    unsigned int snapshotCount = 2;
    DWORD64 refusedBase = 0;
    Texts modules; // as the symbol handler was told them

    struct SFrame
    {
        DWORD64 pc;
        DWORD64 returnPc;
    };

    std::vector<SFrame> frames;
    std::size_t nextFrame = 0;
    bool hasSymbols = true;
    bool hasLines = true;
    bool hasModuleInformation = true;
    DWORD symbolType = 3;
    std::string symbol = "symbol";
    std::string undecorated = "function";
    std::string complete = "void function(int)";
    unsigned int readCalls = 0;
    bool readsMemory = false;
};

SSupport s_support;

BOOL initialize(HANDLE process, char const* path, BOOL)
{
    s_support.sessions.push_back(process);
    s_support.hasSearchPath = path != nullptr;
    s_support.searchPath = path != nullptr ? path : "";
    return s_support.canInitialize;
}

BOOL cleanUp(HANDLE process)
{
    s_support.cleanUps.push_back(process);
    return TRUE;
}

BOOL walk(DWORD machine, HANDLE process, HANDLE, SStackFrame* frame, void*, DebugHelp::FnReadMemory read,
          FnFunctionTable, FnModuleBase, FnTranslate)
{
    EXPECT_EQ(machine, 0x8664u);
    if (s_support.readsMemory)
    {
        char byte = 0;
        DWORD count = 0;
        read(process, reinterpret_cast<ULONG_PTR>(c_Plain), &byte, 1, &count);
        EXPECT_EQ(count, 1u);
        EXPECT_EQ(byte, 'd');
    }
    if (frame->reserved[0] == 0)
    {
        // A walk that begins.
        frame->reserved[0] = 1;
        s_support.nextFrame = 0;
    }
    if (s_support.nextFrame == s_support.frames.size())
    {
        SetLastError(487);
        return FALSE;
    }
    auto const& taken = s_support.frames[s_support.nextFrame++];
    frame->pc.offset = taken.pc;
    frame->returnPc.offset = taken.returnPc;
    return TRUE;
}

DWORD getOptions()
{
    return s_support.options;
}

DWORD setOptions(DWORD options)
{
    return s_support.options = options;
}

void* functionTable(HANDLE, DWORD64)
{
    return nullptr;
}

BOOL getLine(HANDLE, DWORD64, DWORD* displacement, SLine* line)
{
    static char s_name[] = "file.cpp";
    *displacement = 0;
    line->fileName = s_name;
    line->number = 12;
    SetLastError(487);
    return s_support.hasLines;
}

DWORD64 moduleBase(HANDLE, DWORD64)
{
    return 0x1000;
}

BOOL getModule(HANDLE, DWORD64, SModule* module)
{
    if (!s_support.hasModuleInformation)
    {
        SetLastError(126);
        return FALSE;
    }
    EXPECT_EQ(module->size, sizeof(SModule));
    module->base = 0x1000;
    module->symbolType = s_support.symbolType;
    std::strcpy(module->moduleName, "module");
    std::strcpy(module->imageName, "image");
    std::strcpy(module->loadedImageName, "loaded image");
    std::strcpy(module->loadedPdbName, "module.pdb");
    return TRUE;
}

BOOL getSymbol(HANDLE, DWORD64, DWORD64* displacement, SSymbol* symbol)
{
    if (!s_support.hasSymbols)
    {
        SetLastError(487);
        return FALSE;
    }
    EXPECT_EQ(symbol->maxNameLength, 2048u);
    *displacement = 5;
    std::strcpy(reinterpret_cast<char*>(symbol) + offsetof(SSymbol, name), s_support.symbol.c_str());
    return TRUE;
}

DWORD undecorate(char const*, char* target, DWORD, DWORD flags)
{
    std::string const& text = flags == 0 ? s_support.complete : s_support.undecorated;
    EXPECT_TRUE(flags == 0 || flags == 0x1000);
    std::strcpy(target, text.c_str());
    return static_cast<DWORD>(text.size());
}

DWORD64 loadModule(HANDLE, HANDLE, char const* image, char const* module, DWORD64 base, DWORD size)
{
    s_support.modules.push_back(std::string(image) + '|' + module + '|' + std::to_string(base) + '|' +
                                std::to_string(size));
    if (base == s_support.refusedBase)
    {
        SetLastError(193);
        return 0;
    }
    return base;
}

BOOL getSearchPath(HANDLE, char* path, DWORD)
{
    std::strcpy(path, " one;two; ");
    return TRUE;
}

HANDLE createSnapshot(DWORD flags, DWORD)
{
    EXPECT_EQ(flags, 8u);
    s_support.snapshotEntry = 0;
    return s_support.snapshot;
}

BOOL nextEntry(HANDLE, SModuleEntry* entry)
{
    if (s_support.snapshotEntry == s_support.snapshotCount)
    {
        return FALSE;
    }
    EXPECT_EQ(entry->size, sizeof(SModuleEntry));
    std::strcpy(entry->path, s_support.snapshotEntry == 0 ? "C:\\a.exe" : "C:\\b.dll");
    std::strcpy(entry->name, s_support.snapshotEntry == 0 ? "a.exe" : "b.dll");
    entry->base = reinterpret_cast<BYTE*>(static_cast<ULONG_PTR>(0x1000 * (s_support.snapshotEntry + 1)));
    entry->imageSize = 256;
    ++s_support.snapshotEntry;
    return TRUE;
}

BOOL enumerateModules(HANDLE, HMODULE* modules, DWORD size, DWORD* needed)
{
    EXPECT_EQ(size, 8096u);
    modules[0] = reinterpret_cast<HMODULE>(&s_support);
    *needed = sizeof(HMODULE);
    return TRUE;
}

DWORD getFileName(HANDLE, HMODULE, char* name, DWORD)
{
    std::strcpy(name, "C:\\listed.exe");
    return 13;
}

DWORD getBaseName(HANDLE, HMODULE, char* name, DWORD)
{
    std::strcpy(name, "listed.exe");
    return 10;
}

BOOL getInformation(HANDLE, HMODULE, SModuleInformation* information, DWORD)
{
    information->base = reinterpret_cast<void*>(static_cast<ULONG_PTR>(0x7000));
    information->imageSize = 77;
    return TRUE;
}

template <class Function>
FARPROC asProcedure(Function function)
{
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

std::map<std::string, FARPROC> const& functions()
{
    static std::map<std::string, FARPROC> const s_functions = {
        {"SymInitialize", asProcedure(&initialize)},
        {"SymCleanup", asProcedure(&cleanUp)},
        {"StackWalk64", asProcedure(&walk)},
        {"SymGetOptions", asProcedure(&getOptions)},
        {"SymSetOptions", asProcedure(&setOptions)},
        {"SymFunctionTableAccess64", asProcedure(&functionTable)},
        {"SymGetLineFromAddr64", asProcedure(&getLine)},
        {"SymGetModuleBase64", asProcedure(&moduleBase)},
        {"SymGetModuleInfo64", asProcedure(&getModule)},
        {"SymGetSymFromAddr64", asProcedure(&getSymbol)},
        {"UnDecorateSymbolName", asProcedure(&undecorate)},
        {"SymLoadModule64", asProcedure(&loadModule)},
        {"SymGetSearchPath", asProcedure(&getSearchPath)},
        {"CreateToolhelp32Snapshot", asProcedure(&createSnapshot)},
        {"Module32First", asProcedure(&nextEntry)},
        {"Module32Next", asProcedure(&nextEntry)},
        {"EnumProcessModules", asProcedure(&enumerateModules)},
        {"GetModuleFileNameExA", asProcedure(&getFileName)},
        {"GetModuleBaseNameA", asProcedure(&getBaseName)},
        {"GetModuleInformation", asProcedure(&getInformation)},
    };
    return s_functions;
}

DWORD give(std::string const& text, char* buffer, DWORD size)
{
    if (size <= text.size())
    {
        return static_cast<DWORD>(text.size()) + 1;
    }
    std::strcpy(buffer, text.c_str());
    return static_cast<DWORD>(text.size());
}

detail::SSupportSystem const s_system = {
    [](char const* name)
    {
        s_support.loaded.emplace_back(name);
        return s_support.libraries.contains(name) ? reinterpret_cast<HMODULE>(&s_support) : HMODULE();
    },
    [](HMODULE, char const* name)
    {
        s_support.resolved.emplace_back(name);
        auto const found = functions().find(name);
        return found != functions().end() && !s_support.missing.contains(name) ? found->second : FARPROC();
    },
    [](HMODULE)
    {
        ++s_support.freed;
        return BOOL(TRUE);
    },
    [](char* buffer, DWORD size) { return give(s_support.program, buffer, size); },
    [](char const* name) { return s_support.files.contains(name); },
    [](char const* name, char* buffer, DWORD size)
    {
        auto const found = s_support.environment.find(name);
        return found != s_support.environment.end() ? give(found->second, buffer, size) : DWORD(0);
    },
    [](DWORD size, char* buffer)
    {
        if (!s_support.hasMemory)
        {
            throw std::bad_alloc();
        }
        return give(s_support.directory, buffer, size);
    },
};

// Keeps all outputs and all calls.
class CWalker : public CbStackWalkerBase
{
public:
    explicit CWalker(unsigned int options = 0, char const* symbolPath = nullptr)
        : CbStackWalkerBase(s_system, options, symbolPath)
    {
    }

    using CbStackWalkerBase::onModuleLoaded;
    using CbStackWalkerBase::onSupportError;
    using CbStackWalkerBase::onSymbolsReady;

    Texts m_setup;
    Texts m_frames;
    Texts m_errors;
    std::vector<EEntryKind> m_kinds;
    std::vector<SFrameEntry> m_entries;
    bool m_isRaising = false;
    bool m_isRaisingInSetup = false; // by the texts of modules
    bool m_isRaisingInErrors = false;

    void onFrame(EEntryKind kind, SFrameEntry const& entry) override
    {
        m_kinds.push_back(kind);
        m_entries.push_back(entry);
        CbStackWalkerBase::onFrame(kind, entry);
    }

protected:
    void onOutputSetup(wchar_t const* text) override
    {
        if (m_isRaisingInSetup && std::wstring_view(text).starts_with(L"Loading"))
        {
            throw std::runtime_error("no room");
        }
        m_setup.emplace_back(CStringA(text).GetString());
    }

    void onOutputFrame(wchar_t const* text) override
    {
        if (m_isRaising)
        {
            throw std::runtime_error("no room");
        }
        m_frames.emplace_back(CStringA(text).GetString());
    }

    void onOutputError(wchar_t const* text) override
    {
        if (m_isRaisingInErrors)
        {
            throw std::runtime_error("no room");
        }
        m_errors.emplace_back(CStringA(text).GetString());
    }
};

// Keeps of the frames what is short.
class CBriefWalker : public CWalker
{
public:
    std::vector<unsigned __int64> m_addresses;

    void onFrame(EEntryKind kind, SFrameEntry const& entry) override
    {
        m_kinds.push_back(kind);
        m_addresses.push_back(entry.address);
    }
};

// A thread that has not begun: it may be stopped under the sanitizers too.
class CWaitingThread
{
public:
    CWaitingThread()
        : m_handle(CreateThread(
              nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, CREATE_SUSPENDED, nullptr))
    {
    }

    CWaitingThread(CWaitingThread const&) = delete;
    CWaitingThread& operator=(CWaitingThread const&) = delete;

    ~CWaitingThread()
    {
        ResumeThread(m_handle);
        WaitForSingleObject(m_handle, INFINITE);
        CloseHandle(m_handle);
    }

    operator HANDLE() const
    {
        return m_handle;
    }

private:
    HANDLE m_handle;
};

struct SWalkerPositions : public CbStackWalkerBase
{
    static std::vector<std::size_t> Get()
    {
        using S = SWalkerPositions;
        return {VirtualPosition(&S::onSymbolsReady), VirtualPosition(&S::onModuleLoaded),
                VirtualPosition(&S::onFrame),        VirtualPosition(&S::onSupportError),
                VirtualPosition(&S::onOutputSetup),  VirtualPosition(&S::onOutputFrame),
                VirtualPosition(&S::onOutputError)};
    }
};

class StackWalker : public testing::Test
{
protected:
    StackWalker()
    {
        s_support = {};
    }
};

CbStackWalkerBase::SFrameEntry entryOf(unsigned __int64 address)
{
    CbStackWalkerBase::SFrameEntry entry;
    std::memset(&entry, 0, sizeof entry);
    entry.address = address;
    return entry;
}
} // namespace

static_assert(CbStackWalkerBase::eFirstEntry == 0 && CbStackWalkerBase::eNextEntry == 1 &&
              CbStackWalkerBase::eLastEntry == 2);

TEST_F(StackWalker, HasItsOperationsInTheirOrder)
{
    EXPECT_EQ(SWalkerPositions::Get(), (std::vector<std::size_t>{1, 2, 3, 4, 5, 6, 7}));
}

// ---- loading

TEST_F(StackWalker, LoadsNothingBeforeItIsAsked)
{
    CWalker const walker;

    EXPECT_TRUE(s_support.loaded.empty());
}

TEST_F(StackWalker, LoadsThePlainNameWhereNothingIsInstalled)
{
    s_support.environment["ProgramFiles"] = "P:";
    CWalker walker;

    EXPECT_TRUE(walker.LoadModules());

    EXPECT_EQ(s_support.loaded[0], c_Plain);
}

TEST_F(StackWalker, PrefersTheInstallationsInTheirOrder)
{
    s_support.environment["ProgramFiles"] = "P:";
    std::string const first = "P:\\Debugging Tools for Windows\\dbghelp.dll";
    std::string const second = "P:\\Debugging Tools for Windows 64-Bit\\dbghelp.dll";
    s_support.files = {first, second};
    s_support.libraries = {second, c_Plain};
    CWalker walker;

    EXPECT_TRUE(walker.LoadModules());

    ASSERT_GE(s_support.loaded.size(), 2u);
    EXPECT_EQ(s_support.loaded[0], first);
    EXPECT_EQ(s_support.loaded[1], second);
    EXPECT_EQ(s_support.loaded.size(), 2 + 3u); // and the libraries that list modules
}

TEST_F(StackWalker, LoadsThePlainNameWhereTheFolderOfProgramsHasTooLongAName)
{
    std::string const most(1023, 'P');
    std::string const below = "\\Debugging Tools for Windows\\dbghelp.dll";
    s_support.files = {most + below, most + "P" + below, below};
    s_support.environment["ProgramFiles"] = most + "P";
    CWalker first;
    EXPECT_TRUE(first.LoadModules());
    EXPECT_EQ(s_support.loaded[0], c_Plain);

    s_support.loaded.clear();
    s_support.environment["ProgramFiles"] = most;
    CWalker second;
    EXPECT_TRUE(second.LoadModules());
    EXPECT_EQ(s_support.loaded[0], most + below);
}

TEST_F(StackWalker, LoadsThePlainNameWhereTheProgramIsRedirected)
{
    s_support.environment["ProgramFiles"] = "P:";
    s_support.files = {"P:\\Debugging Tools for Windows\\dbghelp.dll", "C:\\bin\\program.exe.local"};
    s_support.libraries.insert("P:\\Debugging Tools for Windows\\dbghelp.dll");
    CWalker walker;

    EXPECT_TRUE(walker.LoadModules());

    EXPECT_EQ(s_support.loaded[0], c_Plain);
}

TEST_F(StackWalker, ResolvesThirteenNames)
{
    CWalker walker;
    walker.LoadModules();

    EXPECT_EQ(s_support.resolved,
              (Texts{"SymInitialize", "SymCleanup", "StackWalk64", "SymGetOptions", "SymSetOptions",
                     "SymFunctionTableAccess64", "SymGetLineFromAddr64", "SymGetModuleBase64", "SymGetModuleInfo64",
                     "SymGetSymFromAddr64", "UnDecorateSymbolName", "SymLoadModule64", "SymGetSearchPath"}));
}

TEST_F(StackWalker, FailsWith1114WithoutTheLibrary)
{
    s_support.libraries.clear();
    CWalker walker;
    SetLastError(0);
    EXPECT_FALSE(walker.LoadModules());
    EXPECT_EQ(GetLastError(), 1114u);

    SetLastError(0);
    EXPECT_FALSE(walker.WalkStack());
    EXPECT_EQ(GetLastError(), 1114u);
    EXPECT_TRUE(walker.m_setup.empty() && walker.m_frames.empty() && walker.m_errors.empty());
    EXPECT_EQ(s_support.loaded.size(), 1u) << "it is tried once";
}

TEST_F(StackWalker, FailsWith1114WithoutOneOfTheFunctions)
{
    s_support.missing = {"SymGetSearchPath"};
    CWalker walker;

    EXPECT_FALSE(walker.LoadModules());

    EXPECT_EQ(GetLastError(), 1114u);
}

TEST_F(StackWalker, EndsTheSessionAndFreesTheLibraryAtItsEnd)
{
    {
        CWalker walker;
        walker.LoadModules();
        EXPECT_EQ(s_support.freed, 0u);
    }

    EXPECT_EQ(s_support.cleanUps.size(), 1u);
    EXPECT_EQ(s_support.freed, 1u);
}

TEST_F(StackWalker, HasASessionUnderAHandleOfItsOwn)
{
    HANDLE const process = GetCurrentProcess();
    HANDLE copy = nullptr;
    ASSERT_TRUE(DuplicateHandle(process, process, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS));
    // On Linux, where sessions are nothing, the handle of the process is its own duplicate.
    bool const areHandlesApart = copy != process;
    CloseHandle(copy);
    {
        CWalker first;
        CWalker second;
        EXPECT_TRUE(first.LoadModules());
        EXPECT_TRUE(second.LoadModules());
        EXPECT_TRUE(first.LoadModules());
        ASSERT_EQ(s_support.sessions.size(), 2u);
        if (areHandlesApart)
        {
            EXPECT_NE(s_support.sessions[0], process);
            EXPECT_NE(s_support.sessions[1], process);
            EXPECT_NE(s_support.sessions[0], s_support.sessions[1]);
        }
    }

    EXPECT_EQ(s_support.cleanUps, (std::vector<HANDLE>{s_support.sessions[1], s_support.sessions[0]}));
    for (HANDLE const closed : s_support.cleanUps)
    {
        EXPECT_EQ(DuplicateHandle(process, closed, process, nullptr, 0, FALSE, DUPLICATE_SAME_ACCESS) != FALSE,
                  !areHandlesApart);
    }
}

// ---- initialisation

TEST_F(StackWalker, GivesNoSearchPathWithoutTheOption)
{
    CWalker walker(0x2F, "mine");
    walker.LoadModules();

    EXPECT_FALSE(s_support.hasSearchPath);
}

TEST_F(StackWalker, BuildsTheSearchPathInItsOrder)
{
    s_support.environment = {{"_NT_SYMBOL_PATH", "S:"},
                             {"_NT_ALTERNATE_SYMBOL_PATH", "A:"},
                             {"SYSTEMROOT", "W:\\win"},
                             {"SYSTEMDRIVE", "W:"}};
    CWalker walker(0x10, "mine");
    walker.LoadModules();

    std::string const expected = "mine;.;C:\\work;C:\\bin;S:;A:;W:\\win;W:\\win\\system32;SRV*W:\\websymbols*";
    EXPECT_EQ(s_support.searchPath.substr(0, expected.size()), expected);
    EXPECT_TRUE(s_support.searchPath.ends_with(";"));
}

TEST_F(StackWalker, LeavesOutOfTheSearchPathWhatIsNotThere)
{
    s_support.program = "/usr/bin/program";
    CWalker walker(0x10);
    walker.LoadModules();

    std::string const expected = ".;C:\\work;/usr/bin;SRV*c:\\websymbols*";
    EXPECT_EQ(s_support.searchPath.substr(0, expected.size()), expected);
}

TEST_F(StackWalker, LeavesOutOfTheSearchPathVariablesOf1024CharactersAndMore)
{
    std::string const most(1023, 'S');
    s_support.environment = {{"_NT_SYMBOL_PATH", most},
                             {"_NT_ALTERNATE_SYMBOL_PATH", std::string(1024, 'A')},
                             {"SYSTEMROOT", std::string(5000, 'W')},
                             {"SYSTEMDRIVE", std::string(1024, 'D')}};
    CWalker walker(0x10);
    walker.LoadModules();

    std::string const expected = ".;C:\\work;C:\\bin;" + most + ";SRV*c:\\websymbols*";
    EXPECT_EQ(s_support.searchPath.substr(0, expected.size()), expected);
    EXPECT_TRUE(s_support.searchPath.ends_with(";"));
}

TEST_F(StackWalker, CutsASearchPathThatIsTooLong)
{
    s_support.environment = {{"_NT_SYMBOL_PATH", std::string(1023, 'S')},
                             {"_NT_ALTERNATE_SYMBOL_PATH", std::string(1023, 'A')},
                             {"SYSTEMROOT", std::string(1023, 'W')}};
    CWalker walker(0x10);
    walker.LoadModules();

    EXPECT_EQ(s_support.searchPath.size(), 4095u);
}

TEST_F(StackWalker, FailsWith8WithoutMemoryForTheSearchPath)
{
    s_support.hasMemory = false;
    CWalker walker(0x10);

    EXPECT_FALSE(walker.WalkStack());
    EXPECT_EQ(GetLastError(), 8u);
    EXPECT_TRUE(walker.m_errors.empty());
    EXPECT_TRUE(s_support.modules.empty());

    s_support.hasMemory = true;
    EXPECT_TRUE(walker.LoadModules());
}

TEST_F(StackWalker, ReportsALibraryThatCannotBeInitialized)
{
    s_support.canInitialize = false;
    CWalker walker;

    EXPECT_FALSE(walker.WalkStack());

    EXPECT_EQ(walker.m_errors,
              (Texts{"Error while initializing dbghelp.dll, GetLastError: 0 (Address: 0000000000000000)"}));
    EXPECT_TRUE(s_support.modules.empty());
}

TEST_F(StackWalker, AsksForLinesAndReportsThePath)
{
    CWalker walker;
    walker.LoadModules();

    EXPECT_EQ(s_support.options & 0x10, 0x10u);
    ASSERT_FALSE(walker.m_setup.empty());
    std::string const expected = "Init stack walker:\n\tSymbol search path:\n\t\tone\n\t\ttwo\n\tSymOptions: 528\n\t"
                                 "UserName: '";
    EXPECT_EQ(walker.m_setup[0].substr(0, expected.size()), expected);
}

// ---- modules

TEST_F(StackWalker, LoadsTheModulesOfASnapshotOnce)
{
    s_support.libraries.insert("kernel32.dll");
    CWalker walker;

    EXPECT_TRUE(walker.LoadModules());
    EXPECT_TRUE(walker.LoadModules());

    EXPECT_EQ(s_support.modules, (Texts{"C:\\a.exe|a.exe|4096|256", "C:\\b.dll|b.dll|8192|256"}));
    ASSERT_EQ(walker.m_setup.size(), 3u);
    EXPECT_EQ(walker.m_setup[1],
              "Loading stack walker\n\tC:\\a.exe\n\ta.exe (0000000000001000)\n\tsize: 256 (result: 0)\n\t"
              "SymType: 'PDB'\n\tPDB: 'module.pdb'");
}

TEST_F(StackWalker, TakesTheSecondLibraryOfSnapshots)
{
    s_support.libraries.insert("tlhelp32.dll");
    CWalker walker;
    walker.LoadModules();

    EXPECT_EQ(s_support.loaded, (Texts{c_Plain, "kernel32.dll", "tlhelp32.dll", "version.dll", "version.dll"}));
    EXPECT_EQ(s_support.modules.size(), 2u);
}

TEST_F(StackWalker, TakesTheListOfModulesWhereThereIsNoSnapshot)
{
    s_support.libraries.insert("psapi.dll");
    CWalker walker;
    walker.LoadModules();

    EXPECT_EQ(s_support.modules, (Texts{"C:\\listed.exe|listed.exe|28672|77"}));
}

TEST_F(StackWalker, TakesTheListOfModulesWhereSnapshotsAreEmpty)
{
    s_support.libraries.insert({"kernel32.dll", "tlhelp32.dll", "psapi.dll"});
    s_support.snapshotCount = 0;
    CWalker walker;
    walker.LoadModules();

    EXPECT_EQ(s_support.modules, (Texts{"C:\\listed.exe|listed.exe|28672|77"}));
    EXPECT_EQ(s_support.loaded, (Texts{c_Plain, "kernel32.dll", "tlhelp32.dll", "psapi.dll", "version.dll"}));
}

TEST_F(StackWalker, TakesTheListOfModulesWhereSnapshotsCannotBeHad)
{
    s_support.libraries.insert({"kernel32.dll", "psapi.dll"});
    s_support.snapshot = INVALID_HANDLE_VALUE;
    CWalker walker;
    walker.LoadModules();

    EXPECT_EQ(s_support.modules, (Texts{"C:\\listed.exe|listed.exe|28672|77"}));
}

TEST_F(StackWalker, ReportsAModuleThatCannotBeLoaded)
{
    s_support.libraries.insert("kernel32.dll");
    s_support.refusedBase = 0x2000;
    CWalker walker;

    EXPECT_TRUE(walker.LoadModules());

    EXPECT_EQ(walker.m_errors, (Texts{"LoadModule, GetLastError: 193 (Address: 0000000000002000)"}));
    EXPECT_NE(walker.m_setup[2].find("(result: 193)"), std::string::npos);
}

TEST_F(StackWalker, ClosesTheSnapshotWhereASetupOutputRaises)
{
    s_support.libraries.insert("kernel32.dll");
    s_support.snapshot = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CWalker walker;
    walker.m_isRaisingInSetup = true;

    EXPECT_THROW(walker.LoadModules(), std::runtime_error);

    EXPECT_FALSE(SetEvent(s_support.snapshot));
    EXPECT_EQ(GetLastError(), 6u);
}

TEST_F(StackWalker, ClosesTheSnapshotWhereAnErrorOutputRaises)
{
    s_support.libraries.insert("kernel32.dll");
    s_support.snapshot = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    s_support.refusedBase = 0x1000;
    CWalker walker;
    walker.m_isRaisingInErrors = true;

    EXPECT_THROW(walker.LoadModules(), std::runtime_error);

    EXPECT_FALSE(SetEvent(s_support.snapshot));
    EXPECT_EQ(GetLastError(), 6u);
}

TEST_F(StackWalker, LoadsTheModulesAnewAfterAnOutputRaised)
{
    s_support.libraries.insert("kernel32.dll");
    CWalker walker;
    walker.m_isRaisingInSetup = true;
    EXPECT_THROW(walker.LoadModules(), std::runtime_error);

    walker.m_isRaisingInSetup = false;
    EXPECT_TRUE(walker.LoadModules());

    EXPECT_EQ(walker.m_setup.size(), 3u);
}

// ---- walking

TEST_F(StackWalker, ShowsEachFrameAndTellsTheEnd)
{
    s_support.frames = {{0x10, 0x20}, {0x20, 0x30}, {0x30, 0}};
    CWalker walker;
    SetLastError(5);

    EXPECT_TRUE(walker.WalkStack());

    EXPECT_EQ(GetLastError(), 0u);
    using S = CbStackWalkerBase;
    EXPECT_EQ(walker.m_kinds,
              (std::vector<S::EEntryKind>{S::eFirstEntry, S::eNextEntry, S::eNextEntry, S::eLastEntry}));
    EXPECT_EQ(walker.m_frames, (Texts(3, "file.cpp (12): void function(int)")));
    EXPECT_TRUE(walker.m_errors.empty());
    S::SFrameEntry const& entry = walker.m_entries[1];
    EXPECT_EQ(entry.address, 0x20u);
    EXPECT_STREQ(entry.name, "symbol");
    EXPECT_STREQ(entry.undecoratedName, "function");
    EXPECT_EQ(entry.displacement, 5u);
    EXPECT_EQ(entry.line, 12u);
    EXPECT_STREQ(entry.moduleName, "module");
    EXPECT_STREQ(entry.imageName, "image");
    EXPECT_STREQ(entry.loadedImageName, "loaded image");
    EXPECT_EQ(entry.moduleBase, 0x1000u);
    EXPECT_STREQ(entry.symbolType, "PDB");
}

TEST_F(StackWalker, ShowsNothingOfAFrameWithoutAnAddress)
{
    s_support.frames = {{0, 0x20}, {0x20, 0}};
    CWalker walker;
    walker.WalkStack();

    EXPECT_EQ(walker.m_kinds.size(), 3u);
    EXPECT_EQ(walker.m_frames.size(), 1u);
}

TEST_F(StackWalker, StopsAtAFrameThatReturnsToItself)
{
    s_support.frames = {{0x10, 0x20}, {0x20, 0x20}, {0x30, 0}};
    CWalker walker;

    EXPECT_TRUE(walker.WalkStack());

    EXPECT_EQ(walker.m_frames.size(), 1u);
    EXPECT_EQ(walker.m_errors, (Texts{"StackWalk64-Endless-Callstack!, GetLastError: 0 (Address: 0000000000000020)"}));
}

TEST_F(StackWalker, ReportsAWalkThatFailsAtOnce)
{
    CWalker walker;

    EXPECT_TRUE(walker.WalkStack());

    ASSERT_EQ(walker.m_errors.size(), 1u);
    EXPECT_EQ(walker.m_errors[0].substr(0, 31), "StackWalk64, GetLastError: 487 ");
    EXPECT_TRUE(walker.m_kinds.empty());
}

TEST_F(StackWalker, ReportsWhereAWalkStoodThatFailsAtOnce)
{
    CWalker walker;
    CWaitingThread const thread;
    alignas(16) CONTEXT context;
    std::memset(&context, 0, sizeof context);
    context.Rip = 0xABCDEF;

    EXPECT_TRUE(walker.WalkStack(nullptr, &context));
    EXPECT_TRUE(walker.WalkStack(thread, &context));

    EXPECT_EQ(walker.m_errors, (Texts(2, "StackWalk64, GetLastError: 487 (Address: 0000000000ABCDEF)")));
}

TEST_F(StackWalker, ReportsWhereAStoppedThreadStoodWhoseWalkFailsAtOnce)
{
    CWalker walker;
    CWaitingThread const thread;
    alignas(16) CONTEXT context;
    std::memset(&context, 0, sizeof context);
    context.ContextFlags = CONTEXT_FULL;
    ASSERT_TRUE(GetThreadContext(thread, &context));
    ASSERT_NE(context.Rip, 0u);
    CStringA expected;
    expected.Format("StackWalk64, GetLastError: 487 (Address: %p)",
                    reinterpret_cast<void*>(static_cast<ULONG_PTR>(context.Rip)));

    EXPECT_TRUE(walker.WalkStack(thread));

    EXPECT_EQ(walker.m_errors, (Texts{expected.GetString()}));
    EXPECT_TRUE(walker.m_kinds.empty());
}

TEST_F(StackWalker, ShowsAllFramesOfAStoppedThread)
{
    using S = CbStackWalkerBase;
    CWaitingThread const thread;
    for (std::size_t const count : {1u, 2u, 4096u, 4097u, 8192u, 8193u, 20000u})
    {
        SCOPED_TRACE(count);
        s_support.frames.clear();
        for (std::size_t n = 1; n <= count; ++n)
        {
            s_support.frames.push_back({n, n < count ? n + 1 : 0});
        }
        CBriefWalker walker;

        EXPECT_TRUE(walker.WalkStack(thread));

        ASSERT_EQ(walker.m_kinds.size(), count + 1);
        EXPECT_EQ(walker.m_kinds.front(), S::eFirstEntry);
        EXPECT_EQ(std::count(walker.m_kinds.begin(), walker.m_kinds.end(), S::eNextEntry),
                  static_cast<std::ptrdiff_t>(count) - 1);
        EXPECT_EQ(walker.m_kinds.back(), S::eLastEntry);
        for (std::size_t n = 0; n < count; ++n)
        {
            ASSERT_EQ(walker.m_addresses[n], n + 1);
        }
        EXPECT_TRUE(walker.m_errors.empty());
    }
}

TEST_F(StackWalker, LetsAStoppedThreadGoOn)
{
    s_support.frames.assign(5000, {0x10, 0x20});
    CWaitingThread const thread;
    CBriefWalker walker;

    EXPECT_TRUE(walker.WalkStack(thread));

    EXPECT_EQ(walker.m_kinds.size(), 5000u);
    EXPECT_EQ(SuspendThread(thread), 1u) << "once, as it was made";
    EXPECT_EQ(ResumeThread(thread), 2u);
}

TEST_F(StackWalker, ReportsNothingOfAWalkThatFailsLater)
{
    s_support.frames = {{0x10, 0x20}};
    CWalker walker;

    EXPECT_TRUE(walker.WalkStack());

    EXPECT_TRUE(walker.m_errors.empty());
    EXPECT_EQ(walker.m_kinds.size(), 1u);
}

TEST_F(StackWalker, ShowsTheModuleWhereTheLineIsMissing)
{
    s_support.frames = {{0x10, 0}};
    s_support.hasLines = false;
    CWalker walker;
    walker.WalkStack();

    EXPECT_EQ(walker.m_frames, (Texts{"0000000000000010 (module): (filename not available): void function(int)"}));
    EXPECT_EQ(walker.m_errors, (Texts{"SymGetLineFromAddr64, GetLastError: 487 (Address: 0000000000000010)"}));
}

TEST_F(StackWalker, ShowsAnAddressWhereNothingIsKnown)
{
    s_support.frames = {{0xABCDEF, 0}};
    s_support.hasSymbols = false;
    s_support.hasLines = false;
    s_support.hasModuleInformation = false;
    CWalker walker;
    walker.WalkStack();

    EXPECT_EQ(walker.m_frames, (Texts{"0000000000ABCDEF ((module-name not available)): (filename not available): "
                                      "(function-name not available)"}));
    EXPECT_EQ(walker.m_errors, (Texts{"SymGetSymFromAddr64, GetLastError: 487 (Address: 0000000000ABCDEF)",
                                      "SymGetLineFromAddr64, GetLastError: 487 (Address: 0000000000ABCDEF)",
                                      "SymGetModuleInfo64, GetLastError: 126 (Address: 0000000000ABCDEF)"}));
    EXPECT_EQ(walker.m_entries[0].symbolType, nullptr);
}

TEST_F(StackWalker, PrefersTheFullestNameThatIsKnown)
{
    s_support.frames = {{0x10, 0x20}};
    s_support.complete = "";
    CWalker first;
    first.WalkStack();
    EXPECT_EQ(first.m_frames, (Texts{"file.cpp (12): function"}));

    s_support.undecorated = "";
    CWalker second;
    second.WalkStack();
    EXPECT_EQ(second.m_frames, (Texts{"file.cpp (12): symbol"}));
}

TEST_F(StackWalker, ShowsLongNamesWhole)
{
    s_support.frames = {{0x10, 0x20}, {0x20, 0x30}};
    s_support.complete = std::string(2000, 'x');
    CWalker walker;
    walker.WalkStack();

    EXPECT_EQ(walker.m_frames, (Texts(2, "file.cpp (12): " + s_support.complete)));
}

TEST_F(StackWalker, ReadsTheProcessUnlessTheCallerDoes)
{
    s_support.readsMemory = true;
    CWalker walker;
    walker.WalkStack();
    EXPECT_EQ(s_support.readCalls, 0u);

    auto const read = [](HANDLE, unsigned __int64, void* buffer, DWORD, DWORD* count, void* userData) -> BOOL
    {
        *static_cast<char*>(buffer) = 'd';
        *count = 1;
        ++static_cast<SSupport*>(userData)->readCalls;
        return TRUE;
    };
    walker.WalkStack(nullptr, nullptr, read, &s_support);
    EXPECT_EQ(s_support.readCalls, 1u);
}

TEST_F(StackWalker, LetsWhatAnOutputRaisesThrough)
{
    s_support.frames = {{0x10, 0}};
    CWalker walker;
    walker.m_isRaising = true;

    EXPECT_THROW(walker.WalkStack(), std::runtime_error);
}

TEST_F(StackWalker, NamesTheKindsOfSymbols)
{
    char const* const expected[] = {"-nosymbols-", "COFF", "CV",  "PDB",     "-exported-",
                                    "-deferred-",  "SYM",  "DIA", "Virtual", nullptr};
    for (DWORD type = 0; type < 10; ++type)
    {
        s_support.symbolType = type;
        s_support.frames = {{0x10, 0}};
        CWalker walker;
        walker.WalkStack();
        EXPECT_STREQ(walker.m_entries[0].symbolType, expected[type]);
    }
}

// ---- texts

TEST_F(StackWalker, ShowsAFileVersionThatIsKnown)
{
    CWalker walker;

    walker.onModuleLoaded("image", "module", 0xAB, 3, 4, "DIA", "p.pdb", 0x0001000200030004);

    EXPECT_EQ(walker.m_setup,
              (Texts{"Loading stack walker\n\timage\n\tmodule (00000000000000AB)\n\tsize: 3 (result: 4)\n\t"
                     "SymType: 'DIA'\n\tPDB: 'p.pdb'\n\tfileVersion: 1.2.3.4"}));
}

TEST_F(StackWalker, TakesAPathWithoutSeparatorsAsItIs)
{
    CWalker walker;

    walker.onSymbolsReady("  one  ", 7, "me");

    EXPECT_EQ(walker.m_setup,
              (Texts{"Init stack walker:\n\tSymbol search path:\n\t\tone\n\tSymOptions: 7\n\tUserName: 'me'"}));
}

TEST_F(StackWalker, ShowsNoLineForTheLastEntry)
{
    CWalker walker;

    walker.onFrame(CbStackWalkerBase::eLastEntry, entryOf(0x10));

    EXPECT_TRUE(walker.m_frames.empty());
}

// ---- the collecting walker

TEST_F(StackWalker, CollectsFrameLinesOnlyTheLastDeliveredFirst)
{
    s_support.frames = {{0x10, 0x20}, {0x20, 0}};
    s_support.hasLines = false;
    CyStackWalkerOutput walker(s_system, 0, nullptr);
    CStringW text;

    walker.Restart(0);
    walker.WalkStack();
    walker.TakeLines(text);

    EXPECT_STREQ(text, L"0000000000000020 (module): (filename not available): void function(int)\n"
                       L"0000000000000010 (module): (filename not available): void function(int)\n");
}

TEST_F(StackWalker, KeepsTheLinesOfACallStackWhoseWalkRaises)
{
    class CFailing : public CyStackWalkerOutput
    {
    public:
        CFailing() : CyStackWalkerOutput(s_system, 0, nullptr)
        {
        }

    protected:
        void onFrame(EEntryKind kind, SFrameEntry const& entry) override
        {
            if (entry.address == 0x30)
            {
                throw 1; // of no kind that is known
            }
            CyStackWalkerOutput::onFrame(kind, entry);
        }
    };

    s_support.frames = {{0x10, 0x20}, {0x20, 0x30}, {0x30, 0x40}, {0x40, 0}};
    s_support.hasLines = false;
    CFailing walker;
    CStringW text(L"before");

    EXPECT_NO_THROW(detail::takeCallStack(walker, text, 0));

    EXPECT_STREQ(text, L"0000000000000020 (module): (filename not available): void function(int)\n"
                       L"0000000000000010 (module): (filename not available): void function(int)\n");
}

TEST_F(StackWalker, LeavesACallStackEmptyWhoseWalkRaisesAtOnce)
{
    class CFailing : public CyStackWalkerOutput
    {
    public:
        CFailing() : CyStackWalkerOutput(s_system, 0, nullptr)
        {
        }

    protected:
        void onSymbolsReady(char const*, DWORD, char const*) override
        {
            throw std::runtime_error("no symbols");
        }
    };

    CFailing walker;
    CStringW text(L"before");

    EXPECT_NO_THROW(detail::takeCallStack(walker, text, 0));

    EXPECT_STREQ(text, L"");
}

TEST_F(StackWalker, DropsTheFirstLinesThatAreSkipped)
{
    s_support.frames = {{0x10, 0x20}, {0x20, 0x30}, {0x30, 0}};
    s_support.hasLines = false;
    CyStackWalkerOutput walker(s_system, 0, nullptr);
    CStringW text;

    walker.Restart(2);
    walker.WalkStack();
    walker.TakeLines(text);

    EXPECT_STREQ(text, L"0000000000000030 (module): (filename not available): void function(int)\n");
}
