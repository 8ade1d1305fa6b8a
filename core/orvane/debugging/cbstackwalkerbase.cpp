#include "orvane/debugging/cbstackwalkerbase.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "mfc/cstringt.h"
#include "orvane/debugging/callstack.h"
#include "orvane/debugging/supportlibrary.h"
#include "orvane/sync/cbcriticalsection.h"
#include "orvane/text/textbuffer.h"

using namespace DebugHelp;

namespace
{
constexpr DWORD c_PathLength = 4096;
constexpr DWORD c_VariableLength = 1024;
constexpr DWORD c_ModuleListSize = 8096; // bytes
// Of a stopped thread at first; more is asked for where that is not enough.
constexpr std::size_t c_FirstFrames = 4096;
constexpr char c_SymbolServer[] = "*https://msdl.microsoft.com/download/symbols;";

constexpr char const* c_SymbolTypes[] = {"-nosymbols-", "COFF", "CV",  "PDB",    "-exported-",
                                         "-deferred-",  "SYM",  "DIA", "Virtual"};

char const* symbolTypeText(DWORD type)
{
    return type < std::size(c_SymbolTypes) ? c_SymbolTypes[type] : nullptr;
}

template <std::size_t Room>
void copyText(char const* text, char (&target)[Room])
{
    std::size_t const length = std::min(std::strlen(text), Room - 1);
    std::memcpy(target, text, length);
    target[length] = '\0';
}

// Not the whole of it: the texts are long.
void clearEntry(CbStackWalkerBase::SFrameEntry& entry)
{
    for (char* const text : {entry.name, entry.undecoratedName, entry.fullyUndecoratedName, entry.fileName,
                             entry.moduleName, entry.imageName, entry.loadedImageName})
    {
        *text = '\0';
    }
    entry.displacement = 0;
    entry.line = 0;
    entry.moduleBase = 0;
    entry.symbolType = nullptr;
}

void clearModule(SModule& module)
{
    module.size = sizeof module;
    module.base = 0;
    module.symbolType = 0;
    for (char* const text : {module.moduleName, module.imageName, module.loadedImageName})
    {
        *text = '\0';
    }
}

char const* orEmpty(char const* text)
{
    return text != nullptr ? text : "";
}

void const* pointerOf(unsigned __int64 address)
{
    return reinterpret_cast<void const*>(static_cast<ULONG_PTR>(address));
}

// Text as wide text, by the thread's code page. What that has no characters for is left out.
class CWideText
{
public:
    explicit CWideText(std::string_view text)
    {
        int const length = static_cast<int>(text.size());
        m_short[0] = L'\0';
        if (length == 0)
        {
            return;
        }
        // A byte gives one character at most. Should a code page see that otherwise, the room is asked for.
        if (text.size() < std::size(m_short))
        {
            int const written = MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), length, m_short, c_Room - 1);
            m_short[written] = L'\0';
            if (written != 0)
            {
                return;
            }
        }
        int const needed = MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), length, nullptr, 0);
        int const written =
            MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), length, m_long.GetBufferSetLength(needed), needed);
        m_long.Truncate(written);
        m_text = m_long;
    }

    CWideText(CWideText const&) = delete;
    CWideText& operator=(CWideText const&) = delete;

    operator wchar_t const*() const
    {
        return m_text;
    }

private:
    static constexpr int c_Room = 512;

    wchar_t m_short[c_Room];
    CStringW m_long;
    wchar_t const* m_text = m_short;
};

CWideText toWide(CStringA const& text)
{
    return CWideText(std::string_view(text, static_cast<std::size_t>(text.GetLength())));
}

// Frames and errors, one at a time; most never leave it.
using CLine = detail::CTextBuffer<512>;

// A loaded library for a scope.
class CScopedLibrary
{
public:
    CScopedLibrary(detail::SSupportSystem const& system, char const* name)
        : m_system(system),
          m_module(system.loadLibrary(name))
    {
    }

    CScopedLibrary(CScopedLibrary const&) = delete;
    CScopedLibrary& operator=(CScopedLibrary const&) = delete;

    ~CScopedLibrary()
    {
        if (m_module != nullptr)
        {
            m_system.freeLibrary(m_module);
        }
    }

    template <class Function>
    Function Find(char const* name) const
    {
        return m_module != nullptr ? detail::findFunction<Function>(m_system, m_module, name) : nullptr;
    }

private:
    detail::SSupportSystem const& m_system;
    HMODULE m_module;
};

// What the support library's read function is called for; it takes no data of its own.
struct SReading
{
    CbStackWalkerBase::FnReadMemory function = nullptr;
    void* userData = nullptr;
};

thread_local SReading t_reading;

BOOL readMemory(HANDLE process, DWORD64 address, void* buffer, DWORD size, DWORD* read)
{
    if (t_reading.function != nullptr)
    {
        return t_reading.function(process, address, buffer, size, read, t_reading.userData);
    }
    std::size_t count = 0;
    BOOL const isRead = ReadProcessMemory(process, pointerOf(address), buffer, size, &count);
    *read = static_cast<DWORD>(count);
    return isRead;
}

class CScopedReading
{
public:
    explicit CScopedReading(SReading reading) : m_before(std::exchange(t_reading, reading))
    {
    }

    CScopedReading(CScopedReading const&) = delete;
    CScopedReading& operator=(CScopedReading const&) = delete;

    ~CScopedReading()
    {
        t_reading = m_before;
    }

private:
    SReading m_before;
};

// Stops another thread for a scope. The heap is locked first: the support library takes memory, and the thread might
// hold its lock.
class CScopedSuspension
{
public:
    explicit CScopedSuspension(HANDLE thread) : m_thread(thread)
    {
        HeapLock(GetProcessHeap());
        m_isStopped = SuspendThread(m_thread) != c_Failed;
        if (!m_isStopped)
        {
            HeapUnlock(GetProcessHeap());
        }
    }

    CScopedSuspension(CScopedSuspension const&) = delete;
    CScopedSuspension& operator=(CScopedSuspension const&) = delete;

    ~CScopedSuspension()
    {
        if (m_isStopped)
        {
            ResumeThread(m_thread);
            HeapUnlock(GetProcessHeap());
        }
    }

    bool IsGood() const
    {
        return m_isStopped;
    }

private:
    static constexpr DWORD c_Failed = 0xFFFFFFFF;

    HANDLE m_thread;
    bool m_isStopped = false;
};

// A handle that is closed with its holder.
class CScopedHandle
{
public:
    explicit CScopedHandle(HANDLE handle = nullptr) : m_handle(handle)
    {
    }

    CScopedHandle(CScopedHandle const&) = delete;
    CScopedHandle& operator=(CScopedHandle const&) = delete;

    ~CScopedHandle()
    {
        if (m_handle != nullptr && m_handle != INVALID_HANDLE_VALUE)
        {
            CloseHandle(m_handle);
        }
    }

    HANDLE Get() const
    {
        return m_handle;
    }

    // For an empty holder.
    HANDLE* Receive()
    {
        return &m_handle;
    }

private:
    HANDLE m_handle;
};

SAddress flat(DWORD64 offset)
{
    return {offset, 0, c_FlatAddress};
}
} // namespace

namespace detail
{
/// All of a walker but its outputs.
class CWalkerState
{
public:
    CWalkerState(SSupportSystem const& system, unsigned int options, char const* symbolPath, DWORD processId,
                 HANDLE process)
        : m_system(system),
          m_library(system),
          m_options(options),
          m_symbolPath(symbolPath),
          m_processId(processId),
          m_process(process)
    {
    }

    ~CWalkerState()
    {
        if (m_isInitialized)
        {
            m_library.cleanUp(m_process);
        }
    }

    CWalkerState(CWalkerState const&) = delete;
    CWalkerState& operator=(CWalkerState const&) = delete;

    bool LoadModules(CbStackWalkerBase& walker);

    // Memory that a walk needs, taken before a thread is stopped.
    struct SBuffers
    {
        struct SFrame
        {
            DWORD64 pc;
            DWORD64 returnPc;
        };

        alignas(SSymbol) char symbol[sizeof(SSymbol) + CbStackWalkerBase::SFrameEntry::c_TextLength];
        SModule module;
        CbStackWalkerBase::SFrameEntry entry;
        // Of a stopped thread: its frames, and where and why there are none.
        std::vector<SFrame> frames;
        DWORD64 failedPc;
        DWORD failure;
    };

    // Shows the frames from the registers on.
    void Walk(CbStackWalkerBase& walker, HANDLE thread, CONTEXT& context, SBuffers& buffers);

    // Stops the thread, and shows its frames when it goes on. False where it cannot be stopped.
    bool WalkStopped(CbStackWalkerBase& walker, HANDLE thread, SBuffers& buffers);

private:
    CStringA buildSearchPath() const;
    void addVariable(CStringA& path, char const* name, char const* suffix = "") const;
    CStringA getVariable(char const* name) const;
    bool takeSession();
    bool initialize(CbStackWalkerBase& walker);
    bool loadBySnapshot(CbStackWalkerBase& walker, char const* libraryName);
    bool loadByList(CbStackWalkerBase& walker);
    void loadModule(CbStackWalkerBase& walker, char const* image, char const* name, DWORD64 base, DWORD size);
    unsigned __int64 getFileVersion(char const* image) const;
    // Hands each frame to `take` until that is false; whether there was any. `failedPc` is where it stood otherwise.
    template <class Take>
    bool walkFrames(HANDLE thread, CONTEXT& context, DWORD64& failedPc, Take const& take);
    bool takeStopped(HANDLE thread, CONTEXT& context, SBuffers& buffers);
    void showTaken(CbStackWalkerBase& walker, SBuffers& buffers);
    // False at the end of the walk.
    bool showFrame(CbStackWalkerBase& walker, SBuffers& buffers, SBuffers::SFrame frame, bool isFirst);
    void resolve(CbStackWalkerBase& walker, SBuffers& buffers, DWORD64 pc);

    SSupportSystem const& m_system;
    CSupportLibrary m_library;
    unsigned int m_options;
    CStringA m_symbolPath;
    DWORD m_processId;
    CScopedHandle m_ownProcess; // closed after the session's end
    HANDLE m_process;
    bool m_isInitialized = false;
    bool m_hasModules = false;
};

bool CWalkerState::LoadModules(CbStackWalkerBase& walker)
{
    if (!m_library.Load())
    {
        SetLastError(ERROR_DLL_INIT_FAILED);
        return false;
    }
    if (m_hasModules)
    {
        return true;
    }
    if (!m_isInitialized && !initialize(walker))
    {
        return false;
    }
    if (!loadBySnapshot(walker, "kernel32.dll") && !loadBySnapshot(walker, "tlhelp32.dll"))
    {
        loadByList(walker);
    }
    m_hasModules = true;
    return true;
}

// The support library keeps one session for each handle, refuses a second one of the same, and ends it for all who use it.
// So a walker that was given no real handle has a duplicate of its own.
bool CWalkerState::takeSession()
{
    HANDLE const process = GetCurrentProcess();
    if (m_process != process)
    {
        return true;
    }
    if (!DuplicateHandle(process, process, process, m_ownProcess.Receive(), 0, FALSE, DUPLICATE_SAME_ACCESS))
    {
        return false;
    }
    m_process = m_ownProcess.Get();
    return true;
}

bool CWalkerState::initialize(CbStackWalkerBase& walker)
{
    if (!takeSession())
    {
        return false;
    }
    CStringA path;
    bool const isBuilding = (m_options & CbStackWalkerBase::c_BuildSearchPath) != 0;
    if (isBuilding)
    {
        try
        {
            path = buildSearchPath();
        }
        catch (std::bad_alloc const&)
        {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return false;
        }
    }
    if (!m_library.initialize(m_process, isBuilding ? path.GetString() : nullptr, FALSE))
    {
        walker.onSupportError("Error while initializing dbghelp.dll", 0, 0);
        return false;
    }
    m_isInitialized = true;
    DWORD const options = m_library.getOptions() | c_OptionLoadLines | c_OptionFailCriticalErrors;
    m_library.setOptions(options);
    char found[c_PathLength] = {};
    if (!m_library.getSearchPath(m_process, found, c_PathLength))
    {
        walker.onSupportError("SymGetSearchPath", GetLastError(), 0);
    }
    char user[c_VariableLength] = {};
    DWORD size = c_VariableLength;
    GetUserNameA(user, &size);
    walker.onSymbolsReady(found, options, user);
    return true;
}

CStringA CWalkerState::getVariable(char const* name) const
{
    char value[c_VariableLength] = {};
    DWORD const length = m_system.getEnvironmentVariable(name, value, c_VariableLength);
    return length != 0 && length < c_VariableLength ? CStringA(value) : CStringA();
}

void CWalkerState::addVariable(CStringA& path, char const* name, char const* suffix) const
{
    CStringA const value = getVariable(name);
    if (!value.IsEmpty())
    {
        path += value + suffix + ";";
    }
}

CStringA CWalkerState::buildSearchPath() const
{
    CStringA path;
    path.Preallocate(static_cast<int>(c_PathLength));
    if (!m_symbolPath.IsEmpty())
    {
        path += m_symbolPath + ";";
    }
    path += ".;";
    char name[c_VariableLength] = {};
    DWORD length = m_system.getCurrentDirectory(c_VariableLength, name);
    if (length != 0 && length < c_VariableLength)
    {
        path += CStringA(name) + ";";
    }
    length = m_system.getModuleFileName(name, c_VariableLength);
    if (length != 0 && length < c_VariableLength)
    {
        CStringA folder(name);
        int const cut = std::max({folder.ReverseFind('\\'), folder.ReverseFind('/'), folder.ReverseFind(':')});
        folder.Truncate(std::max(cut, 0));
        path += folder + ";";
    }
    addVariable(path, "_NT_SYMBOL_PATH");
    addVariable(path, "_NT_ALTERNATE_SYMBOL_PATH");
    addVariable(path, "SYSTEMROOT");
    addVariable(path, "SYSTEMROOT", "\\system32");
    CStringA const drive = getVariable("SYSTEMDRIVE");
    path += "SRV*" + (drive.IsEmpty() ? CStringA("c:") : drive) + "\\websymbols" + c_SymbolServer;
    // What the support library is given has room for so many characters.
    path.Truncate(static_cast<int>(c_PathLength) - 1);
    return path;
}

bool CWalkerState::loadBySnapshot(CbStackWalkerBase& walker, char const* libraryName)
{
    using FnCreate = HANDLE (*)(DWORD flags, DWORD processId);
    using FnNext = BOOL (*)(HANDLE snapshot, SModuleEntry * entry);
    CScopedLibrary const library(m_system, libraryName);
    auto const create = library.Find<FnCreate>("CreateToolhelp32Snapshot");
    auto const first = library.Find<FnNext>("Module32First");
    auto const next = library.Find<FnNext>("Module32Next");
    if (create == nullptr || first == nullptr || next == nullptr)
    {
        return false;
    }
    CScopedHandle const snapshot(create(c_SnapModule, m_processId));
    if (snapshot.Get() == INVALID_HANDLE_VALUE)
    {
        return false;
    }
    SModuleEntry entry{};
    entry.size = sizeof entry;
    bool hasAny = false;
    for (BOOL isThere = first(snapshot.Get(), &entry); isThere; isThere = next(snapshot.Get(), &entry))
    {
        loadModule(walker, entry.path, entry.name, reinterpret_cast<ULONG_PTR>(entry.base), entry.imageSize);
        hasAny = true;
    }
    return hasAny;
}

bool CWalkerState::loadByList(CbStackWalkerBase& walker)
{
    using FnEnumerate = BOOL (*)(HANDLE process, HMODULE * modules, DWORD size, DWORD * needed);
    using FnName = DWORD (*)(HANDLE process, HMODULE module, char* name, DWORD size);
    using FnInformation = BOOL (*)(HANDLE process, HMODULE module, SModuleInformation * information, DWORD size);
    CScopedLibrary const library(m_system, "psapi.dll");
    auto const enumerate = library.Find<FnEnumerate>("EnumProcessModules");
    auto const getFileName = library.Find<FnName>("GetModuleFileNameExA");
    auto const getBaseName = library.Find<FnName>("GetModuleBaseNameA");
    auto const getInformation = library.Find<FnInformation>("GetModuleInformation");
    if (enumerate == nullptr || getFileName == nullptr || getBaseName == nullptr || getInformation == nullptr)
    {
        return false;
    }
    std::vector<HMODULE> modules(c_ModuleListSize / sizeof(HMODULE));
    DWORD needed = 0;
    if (!enumerate(m_process, modules.data(), c_ModuleListSize, &needed))
    {
        return false;
    }
    modules.resize(std::min<std::size_t>(needed / sizeof(HMODULE), modules.size()));
    for (HMODULE const module : modules)
    {
        SModuleInformation information{};
        char image[c_VariableLength] = {};
        char name[c_VariableLength] = {};
        getInformation(m_process, module, &information, sizeof information);
        getFileName(m_process, module, image, c_VariableLength);
        getBaseName(m_process, module, name, c_VariableLength);
        loadModule(walker, image, name, reinterpret_cast<ULONG_PTR>(information.base), information.imageSize);
    }
    return !modules.empty();
}

void CWalkerState::loadModule(CbStackWalkerBase& walker, char const* image, char const* name, DWORD64 base, DWORD size)
{
    SetLastError(ERROR_SUCCESS);
    DWORD result = ERROR_SUCCESS;
    if (m_library.loadModule(m_process, nullptr, image, name, base, size) == 0)
    {
        // No error: the support library knows the module already.
        result = GetLastError();
        if (result != ERROR_SUCCESS)
        {
            walker.onSupportError("LoadModule", result, base);
        }
    }
    SModule module{};
    module.size = sizeof module;
    bool const isKnown = m_library.getModule(m_process, base, &module) != FALSE;
    walker.onModuleLoaded(image, name, base, size, result, isKnown ? orEmpty(symbolTypeText(module.symbolType)) : "",
                          isKnown ? module.loadedPdbName : "", getFileVersion(image));
}

// 0 where it is not known.
unsigned __int64 CWalkerState::getFileVersion(char const* image) const
{
    struct SFixedVersion
    {
        DWORD signature;
        DWORD structureVersion;
        DWORD high;
        DWORD low;
    };

    using FnSize = DWORD (*)(char const* file, DWORD* handle);
    using FnGet = BOOL (*)(char const* file, DWORD handle, DWORD size, void* data);
    using FnQuery = BOOL (*)(void const* block, char const* name, void** value, UINT* length);
    CScopedLibrary const library(m_system, "version.dll");
    auto const getSize = library.Find<FnSize>("GetFileVersionInfoSizeA");
    auto const get = library.Find<FnGet>("GetFileVersionInfoA");
    auto const query = library.Find<FnQuery>("VerQueryValueA");
    DWORD handle = 0;
    DWORD const size = getSize != nullptr && get != nullptr && query != nullptr ? getSize(image, &handle) : 0;
    if (size == 0)
    {
        return 0;
    }
    std::vector<char> block(size);
    void* value = nullptr;
    UINT length = 0;
    if (!get(image, 0, size, block.data()) || !query(block.data(), "\\", &value, &length) ||
        length < sizeof(SFixedVersion))
    {
        return 0;
    }
    auto const& version = *static_cast<SFixedVersion const*>(value);
    return static_cast<unsigned __int64>(version.high) << 32 | version.low;
}

template <class Take>
bool CWalkerState::walkFrames(HANDLE thread, CONTEXT& context, DWORD64& failedPc, Take const& take)
{
    SStackFrame frame{};
    frame.pc = flat(context.Rip);
    frame.frame = flat(context.Rbp);
    frame.stack = flat(context.Rsp);
    bool hasAny = false;
    while (m_library.stackWalk(c_MachineX64, m_process, thread, &frame, &context, readMemory, m_library.functionTable,
                               m_library.moduleBase, nullptr))
    {
        bool const isFirst = !std::exchange(hasAny, true);
        if (!take(SBuffers::SFrame{frame.pc.offset, frame.returnPc.offset}, isFirst))
        {
            return true;
        }
    }
    failedPc = frame.pc.offset;
    return hasAny;
}

void CWalkerState::Walk(CbStackWalkerBase& walker, HANDLE thread, CONTEXT& context, SBuffers& buffers)
{
    DWORD64 failedPc = 0;
    if (!walkFrames(thread, context, failedPc,
                    [&](SBuffers::SFrame frame, bool isFirst) { return showFrame(walker, buffers, frame, isFirst); }))
    {
        walker.onSupportError("StackWalk64", GetLastError(), failedPc);
    }
}

bool CWalkerState::WalkStopped(CbStackWalkerBase& walker, HANDLE thread, SBuffers& buffers)
{
    for (std::size_t room = c_FirstFrames;; room *= 2)
    {
        // Memory cannot be had while the thread stands, and what was taken before tells nothing once it has gone on: where
        // there was too little room, the whole stack is taken anew.
        buffers.frames.clear();
        buffers.frames.reserve(room);
        alignas(16) CONTEXT registers;
        std::memset(&registers, 0, sizeof registers);
        registers.ContextFlags = CONTEXT_FULL;
        CScopedSuspension const suspension(thread);
        if (!suspension.IsGood() || !GetThreadContext(thread, &registers))
        {
            return false;
        }
        if (takeStopped(thread, registers, buffers))
        {
            break;
        }
    }
    showTaken(walker, buffers);
    return true;
}

// False where the room did not do.
bool CWalkerState::takeStopped(HANDLE thread, CONTEXT& context, SBuffers& buffers)
{
    bool isWhole = true;
    auto const take = [&](SBuffers::SFrame frame, bool)
    {
        isWhole = buffers.frames.size() < buffers.frames.capacity();
        if (isWhole)
        {
            buffers.frames.push_back(frame);
        }
        return isWhole && frame.pc != frame.returnPc && frame.returnPc != 0;
    };
    if (!walkFrames(thread, context, buffers.failedPc, take))
    {
        buffers.failure = GetLastError();
    }
    return isWhole;
}

void CWalkerState::showTaken(CbStackWalkerBase& walker, SBuffers& buffers)
{
    bool isFirst = true;
    for (SBuffers::SFrame const& frame : buffers.frames)
    {
        if (!showFrame(walker, buffers, frame, isFirst))
        {
            return;
        }
        isFirst = false;
    }
    if (buffers.frames.empty())
    {
        walker.onSupportError("StackWalk64", buffers.failure, buffers.failedPc);
    }
}

bool CWalkerState::showFrame(CbStackWalkerBase& walker, SBuffers& buffers, SBuffers::SFrame frame, bool isFirst)
{
    if (frame.pc == frame.returnPc)
    {
        walker.onSupportError("StackWalk64-Endless-Callstack!", 0, frame.pc);
        return false;
    }
    CbStackWalkerBase::SFrameEntry& entry = buffers.entry;
    clearEntry(entry);
    entry.address = frame.pc;
    if (frame.pc != 0)
    {
        resolve(walker, buffers, frame.pc);
    }
    walker.onFrame(isFirst ? CbStackWalkerBase::eFirstEntry : CbStackWalkerBase::eNextEntry, entry);
    if (frame.returnPc == 0)
    {
        walker.onFrame(CbStackWalkerBase::eLastEntry, entry);
        SetLastError(ERROR_SUCCESS);
        return false;
    }
    return true;
}

void CWalkerState::resolve(CbStackWalkerBase& walker, SBuffers& buffers, DWORD64 pc)
{
    CbStackWalkerBase::SFrameEntry& entry = buffers.entry;
    constexpr DWORD c_TextLength = CbStackWalkerBase::SFrameEntry::c_TextLength;
    auto* const symbol = new (buffers.symbol) SSymbol{};
    symbol->size = sizeof *symbol;
    symbol->maxNameLength = c_TextLength;
    if (m_library.getSymbol(m_process, pc, &entry.displacement, symbol))
    {
        char const* const name = buffers.symbol + offsetof(SSymbol, name);
        copyText(name, entry.name);
        m_library.undecorate(name, entry.undecoratedName, c_TextLength, c_UndecorateNameOnly);
        m_library.undecorate(name, entry.fullyUndecoratedName, c_TextLength, c_UndecorateComplete);
    }
    else
    {
        walker.onSupportError("SymGetSymFromAddr64", GetLastError(), pc);
    }

    SLine line{};
    line.size = sizeof line;
    DWORD displacement = 0;
    if (m_library.getLine(m_process, pc, &displacement, &line))
    {
        entry.line = line.number;
        copyText(orEmpty(line.fileName), entry.fileName);
    }
    else
    {
        walker.onSupportError("SymGetLineFromAddr64", GetLastError(), pc);
    }

    SModule& module = buffers.module;
    clearModule(module);
    if (m_library.getModule(m_process, pc, &module))
    {
        entry.symbolType = symbolTypeText(module.symbolType);
        copyText(module.moduleName, entry.moduleName);
        copyText(module.imageName, entry.imageName);
        copyText(module.loadedImageName, entry.loadedImageName);
        entry.moduleBase = module.base;
    }
    else
    {
        walker.onSupportError("SymGetModuleInfo64", GetLastError(), pc);
    }
}
} // namespace detail

CbStackWalkerBase::CbStackWalkerBase(unsigned int options, char const* symbolPath)
    : CbStackWalkerBase(detail::getSupportSystem(), options, symbolPath)
{
}

CbStackWalkerBase::CbStackWalkerBase(unsigned int options, char const* symbolPath, DWORD processId, HANDLE process)
    : m_state(
          std::make_unique<detail::CWalkerState>(detail::getSupportSystem(), options, symbolPath, processId, process))
{
}

CbStackWalkerBase::CbStackWalkerBase(detail::SSupportSystem const& system, unsigned int options, char const* symbolPath)
    : m_state(std::make_unique<detail::CWalkerState>(system, options, symbolPath, GetCurrentProcessId(),
                                                     GetCurrentProcess()))
{
}

CbStackWalkerBase::~CbStackWalkerBase()
{
    CbCriticalSectionAuto const holder(detail::getCallStackLock());
    m_state.reset();
}

bool CbStackWalkerBase::LoadModules()
{
    CbCriticalSectionAuto const holder(detail::getCallStackLock());
    return m_state->LoadModules(*this);
}

bool CbStackWalkerBase::WalkStack(HANDLE thread, CONTEXT const* context, FnReadMemory readMemoryFunction,
                                  void* userData)
{
    CbCriticalSectionAuto const holder(detail::getCallStackLock());
    if (!m_state->LoadModules(*this))
    {
        return false;
    }
    // Large, and cleared where it is used.
    auto const buffers = std::make_unique_for_overwrite<detail::CWalkerState::SBuffers>();
    bool const isOwn = thread == nullptr || GetThreadId(thread) == GetCurrentThreadId();
    CScopedReading const reading({readMemoryFunction, userData});
    if (!isOwn && context == nullptr)
    {
        return m_state->WalkStopped(*this, thread, *buffers);
    }
    alignas(16) CONTEXT registers;
    std::memset(&registers, 0, sizeof registers);
    if (context != nullptr)
    {
        registers = *context;
    }
    else
    {
        registers.ContextFlags = CONTEXT_FULL;
        RtlCaptureContext(&registers);
    }
    m_state->Walk(*this, isOwn ? GetCurrentThread() : thread, registers, *buffers);
    return true;
}

void CbStackWalkerBase::onSymbolsReady(char const* searchPath, DWORD symbolOptions, char const* userName)
{
    CStringA path(searchPath);
    path.Trim();
    if (!path.IsEmpty() && path[path.GetLength() - 1] == ';')
    {
        path.Truncate(path.GetLength() - 1);
    }
    path.Replace(";", "\n\t\t");
    CStringA text;
    text.Format("Init stack walker:\n\tSymbol search path:\n\t\t%s\n\tSymOptions: %d\n\tUserName: '%s'",
                path.GetString(), static_cast<int>(symbolOptions), orEmpty(userName));
    onOutputSetup(toWide(text));
}

void CbStackWalkerBase::onModuleLoaded(char const* imageName, char const* moduleName, unsigned __int64 base, DWORD size,
                                       DWORD result, char const* symbolType, char const* pdbName,
                                       unsigned __int64 fileVersion)
{
    CStringA text;
    text.Format("Loading stack walker\n\t%s\n\t%s (%p)\n\tsize: %d (result: %d)\n\tSymType: '%s'\n\tPDB: '%s'",
                orEmpty(imageName), orEmpty(moduleName), pointerOf(base), static_cast<int>(size),
                static_cast<int>(result), orEmpty(symbolType), orEmpty(pdbName));
    if (fileVersion != 0)
    {
        auto const part = [fileVersion](int shift) { return static_cast<int>(fileVersion >> shift & 0xFFFF); };
        text.AppendFormat("\n\tfileVersion: %d.%d.%d.%d", part(48), part(32), part(16), part(0));
    }
    onOutputSetup(toWide(text));
}

void CbStackWalkerBase::onFrame(EEntryKind kind, SFrameEntry const& entry)
{
    if (kind == eLastEntry || entry.address == 0)
    {
        return;
    }
    char const* name = "(function-name not available)";
    for (char const* const known : {entry.fullyUndecoratedName, entry.undecoratedName, entry.name})
    {
        if (*known != '\0')
        {
            name = known;
            break;
        }
    }
    CLine text;
    if (*entry.fileName != '\0')
    {
        text.Add(entry.fileName);
        text.Add(" (");
        text.AddInt(static_cast<int>(entry.line));
        text.Add("): ");
    }
    else
    {
        text.AddAddress(entry.address);
        text.Add(" (");
        text.Add(*entry.moduleName != '\0' ? entry.moduleName : "(module-name not available)");
        text.Add("): (filename not available): ");
    }
    text.Add(name);
    onOutputFrame(CWideText(text.GetText()));
}

void CbStackWalkerBase::onSupportError(char const* text, DWORD error, unsigned __int64 address)
{
    CLine line;
    line.Add(orEmpty(text));
    line.Add(", GetLastError: ");
    line.AddInt(static_cast<int>(error));
    line.Add(" (Address: ");
    line.AddAddress(address);
    line.Add(')');
    onOutputError(CWideText(line.GetText()));
}

void CbStackWalkerBase::onOutputSetup(wchar_t const*)
{
}

void CbStackWalkerBase::onOutputFrame(wchar_t const*)
{
}

void CbStackWalkerBase::onOutputError(wchar_t const*)
{
}
