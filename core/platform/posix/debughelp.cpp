// The debugging support functions: frames by the compiler's unwinder, symbols and lines by its reader of debug data.
//
// The reader is lock-free and keeps what it has read; it is made by the first SymInitialize and knows the modules of that
// moment. The table of modules has a lock of the layer, under which no thread is suspended.

#include "platform/debughelp.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <backtrace.h>

#include "platform/posix/fail.h"
#include "platform/posix/futex.h"
#include "platform/posix/nosuspend.h"
#include "platform/posix/stackcapture.h"

using namespace DebugHelp;
using namespace posix;

namespace
{
constexpr DWORD c_DeferredSymbols = 5; // debug data are read when they are first asked for

struct SLoadedModule
{
    DWORD64 base;
    DWORD size;
    std::string image;
    std::string name;
};

// What an address stands for. The reader keeps its texts for good.
struct SPlace
{
    char const* name = nullptr; // of the symbol; null: none
    std::uintptr_t start = 0;
    std::uintptr_t size = 0;
    char const* file = nullptr; // null: none
    int line = 0;
    std::string completeName; // of the symbol, undecorated; in it the name without result and parameters
    std::size_t nameStart = 0;
    std::size_t nameLength = 0;
    // The first module that holds the address, and when that was found.
    std::size_t module = 0;
    unsigned int modulesVersion = 0; // 0: never
};

constexpr std::size_t c_MostKept = 4096; // places; all are forgotten then

struct STable
{
    FutexMutex lock;
    std::vector<SLoadedModule> modules;
    unsigned int modulesVersion = 1; // a number for each state of the modules
    std::string searchPath;
    // What has been looked up before: programs ask for the same places again and again.
    std::unordered_map<std::uintptr_t, SPlace> places;
    // The place that was asked for last: a frame is asked for several times in a row.
    std::uintptr_t lastAddress = 0;
    SPlace* last = nullptr;
};

// Never destroyed: walks go on in static destructors.
STable& table()
{
    static STable& s_table = *new STable;
    return s_table;
}

std::atomic<DWORD> s_options{0};

class TableGuard
{
public:
    TableGuard() : m_table(table())
    {
        m_table.lock.lock();
    }

    TableGuard(TableGuard const&) = delete;
    TableGuard& operator=(TableGuard const&) = delete;

    ~TableGuard()
    {
        m_table.lock.unlock();
    }

    STable* operator->() const
    {
        return &m_table;
    }

    // Null where it has not been looked up.
    SPlace* findPlace(std::uintptr_t address) const
    {
        if (m_table.last == nullptr || m_table.lastAddress != address)
        {
            auto const known = m_table.places.find(address);
            if (known == m_table.places.end())
            {
                return nullptr;
            }
            m_table.last = &known->second;
            m_table.lastAddress = address;
        }
        return m_table.last;
    }

    SPlace* keepPlace(std::uintptr_t address, SPlace const& place) const
    {
        if (m_table.places.size() >= c_MostKept)
        {
            m_table.last = nullptr;
            m_table.places.clear();
        }
        return &m_table.places.emplace(address, place).first->second;
    }

    SLoadedModule const* findModule(DWORD64 address) const
    {
        SPlace* const place = findPlace(address);
        if (place == nullptr)
        {
            return moduleAt(searchModules(address));
        }
        if (place->modulesVersion != m_table.modulesVersion)
        {
            place->module = searchModules(address);
            place->modulesVersion = m_table.modulesVersion;
        }
        return moduleAt(place->module);
    }

private:
    std::size_t searchModules(DWORD64 address) const
    {
        auto const holds = [address](SLoadedModule const& module)
        { return address >= module.base && address - module.base < module.size; };
        auto const found = std::find_if(m_table.modules.begin(), m_table.modules.end(), holds);
        return static_cast<std::size_t>(found - m_table.modules.begin());
    }

    // Null behind the last.
    SLoadedModule const* moduleAt(std::size_t index) const
    {
        return index < m_table.modules.size() ? &m_table.modules[index] : nullptr;
    }

    NoSuspend const m_noSuspend;
    STable& m_table;
};

void ignoreError(void*, char const*, int)
{
    // What cannot be read has no symbol and no line.
}

backtrace_state* reader() noexcept
{
    static backtrace_state* const s_reader = backtrace_create_state(nullptr, 1, ignoreError, nullptr);
    return s_reader;
}

void copyText(std::string_view text, char* target, std::size_t room) noexcept
{
    target[text.copy(target, room - 1)] = '\0';
}

// ---- symbols

void onSymbol(void* data, std::uintptr_t, char const* name, std::uintptr_t start, std::uintptr_t size)
{
    auto& found = *static_cast<SPlace*>(data);
    found.name = name;
    found.start = start;
    found.size = size;
}

SPlace findSymbol(std::uintptr_t address) noexcept
{
    SPlace found;
    if (backtrace_state* const state = reader(); state != nullptr)
    {
        backtrace_syminfo(state, address, onSymbol, ignoreError, &found);
    }
    return found;
}

// Called for the innermost inlined function first: it is where the code stands.
int onLine(void* data, std::uintptr_t, char const* file, int line, char const*)
{
    auto& found = *static_cast<SPlace*>(data);
    found.file = file;
    found.line = line;
    return 1;
}

// A program counter is a return address as a rule, and may lie behind the last instruction of its function: the code in
// front of it is meant, unless it is where a function starts.
SPlace readPlace(std::uintptr_t address) noexcept
{
    SPlace found = findSymbol(address);
    bool const isStart = found.name != nullptr && found.start == address;
    std::uintptr_t const code = isStart ? address : address - 1;
    if (!isStart && (found.name == nullptr || address - found.start >= found.size))
    {
        found = findSymbol(code);
    }
    if (backtrace_state* const state = reader(); state != nullptr)
    {
        backtrace_pcinfo(state, code, onLine, ignoreError, &found);
    }
    return found;
}

// ---- names

// Where the list of parameters of a complete name begins; its end where there is none.
std::size_t findParameters(std::string_view name) noexcept
{
    std::size_t const close = name.rfind(')');
    int depth = 0;
    for (std::size_t at = close; at != std::string_view::npos; --at)
    {
        depth += name[at] == ')' ? 1 : name[at] == '(' ? -1 : 0;
        if (depth == 0)
        {
            return at;
        }
        if (at == 0)
        {
            break;
        }
    }
    return name.size();
}

// The qualified name alone, without result and parameters. Results stand before the names of templates' functions.
std::string_view nameOnly(std::string_view name) noexcept
{
    name = name.substr(0, findParameters(name));
    int depth = 0;
    for (std::size_t at = name.size(); at-- > 0;)
    {
        char const ch = name[at];
        bool const isArrow = ch == '>' && at > 0 && name[at - 1] == '-';
        depth += (ch == '>' && !isArrow) || ch == ')' ? 1 : ch == '<' || ch == '(' ? -1 : 0;
        if (ch == ' ' && depth == 0)
        {
            constexpr std::string_view c_Operator = "operator";
            return name.substr(0, at).ends_with(c_Operator) ? name : name.substr(at + 1);
        }
    }
    return name;
}

struct SFree
{
    void operator()(char* text) const
    {
        std::free(text);
    }
};

// The undecorated name, or the given one where it is not a decorated one.
std::string completeName(char const* name)
{
    // Other names would be read as those of types.
    bool const isDecorated = std::string_view(name).starts_with("_Z");
    int status = 0;
    std::unique_ptr<char, SFree> const complete(isDecorated ? abi::__cxa_demangle(name, nullptr, nullptr, &status)
                                                            : nullptr);
    return complete ? complete.get() : name;
}

// ---- places

SPlace lookUp(std::uintptr_t address)
{
    SPlace place = readPlace(address);
    if (place.name != nullptr)
    {
        place.completeName = completeName(place.name);
        std::string_view const name = nameOnly(place.completeName);
        place.nameStart = static_cast<std::size_t>(name.data() - place.completeName.data());
        place.nameLength = name.size();
    }
    return place;
}

// Calls `use` with what is known of the address.
template <class Use>
BOOL withPlace(std::uintptr_t address, Use const& use) noexcept
{
    {
        TableGuard const guard;
        if (SPlace const* const known = guard.findPlace(address); known != nullptr)
        {
            return use(*known);
        }
    }
    try
    {
        SPlace const place = lookUp(address);
        TableGuard const guard;
        return use(*guard.keepPlace(address, place));
    }
    catch (std::bad_alloc const&)
    {
        return use(readPlace(address)); // looked up anew the next time
    }
}

BOOL getSymbol(HANDLE, DWORD64 address, DWORD64* displacement, SSymbol* symbol) noexcept
{
    if (symbol == nullptr || symbol->size < sizeof(SSymbol) || symbol->maxNameLength == 0)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    return withPlace(address,
                     [&](SPlace const& place)
                     {
                         if (place.name == nullptr)
                         {
                             return fail(ERROR_MOD_NOT_FOUND);
                         }
                         symbol->address = place.start;
                         symbol->length = static_cast<DWORD>(place.size);
                         symbol->flags = 0;
                         copyText(place.name, symbol->name, symbol->maxNameLength);
                         if (displacement != nullptr)
                         {
                             *displacement = address - place.start;
                         }
                         return BOOL(TRUE);
                     });
}

BOOL getLine(HANDLE, DWORD64 address, DWORD* displacement, SLine* line) noexcept
{
    if (line == nullptr || line->size < sizeof(SLine))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    return withPlace(address,
                     [&](SPlace const& place)
                     {
                         if (place.file == nullptr)
                         {
                             return fail(ERROR_INVALID_ADDRESS);
                         }
                         line->key = nullptr;
                         line->number = static_cast<DWORD>(place.line);
                         line->fileName = const_cast<char*>(place.file);
                         line->address = address;
                         if (displacement != nullptr)
                         {
                             *displacement = 0;
                         }
                         return BOOL(TRUE);
                     });
}

DWORD giveName(std::string_view name, char* target, DWORD size) noexcept
{
    copyText(name, target, size);
    return static_cast<DWORD>(std::min<std::size_t>(name.size(), size - 1));
}

DWORD undecorate(char const* name, char* target, DWORD size, DWORD flags) noexcept
{
    if (name == nullptr || target == nullptr || size == 0)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    bool const isNameOnly = (flags & c_UndecorateNameOnly) != 0;
    try
    {
        {
            // As a rule it is the name of the symbol that was asked for just before.
            TableGuard const guard;
            SPlace const* const last = guard->last;
            if (last != nullptr && !last->completeName.empty() && std::strcmp(last->name, name) == 0)
            {
                std::string_view const complete = last->completeName;
                return giveName(isNameOnly ? complete.substr(last->nameStart, last->nameLength) : complete, target,
                                size);
            }
        }
        std::string const complete = completeName(name);
        return giveName(isNameOnly ? nameOnly(complete) : complete, target, size);
    }
    catch (std::bad_alloc const&)
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
}

// ---- modules

BOOL initialize(HANDLE, char const* searchPath, BOOL) noexcept
{
    if (reader() == nullptr)
    {
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    // The first question makes the reader take note of the modules: not to happen while a thread stands.
    static_cast<void>(findSymbol(reinterpret_cast<std::uintptr_t>(&reader)));
    try
    {
        TableGuard const guard;
        guard->searchPath = searchPath != nullptr ? searchPath : "";
    }
    catch (std::bad_alloc const&)
    {
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    return TRUE;
}

BOOL cleanUp(HANDLE) noexcept
{
    return TRUE; // the modules are the process's, for all who ask
}

DWORD64 loadModule(HANDLE, HANDLE, char const* image, char const* name, DWORD64 base, DWORD size) noexcept
{
    if (image == nullptr || base == 0 || size == 0)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    try
    {
        SLoadedModule module{base, size, image, name != nullptr ? name : ""};
        TableGuard const guard;
        ++guard->modulesVersion;
        std::erase_if(guard->modules, [base](SLoadedModule const& known) { return known.base == base; });
        guard->modules.push_back(std::move(module));
    }
    catch (std::bad_alloc const&)
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    return base;
}

DWORD64 getModuleBase(HANDLE, DWORD64 address) noexcept
{
    TableGuard const guard;
    SLoadedModule const* const module = guard.findModule(address);
    if (module == nullptr)
    {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    return module->base;
}

BOOL getModule(HANDLE, DWORD64 address, SModule* information) noexcept
{
    if (information == nullptr || information->size < sizeof(SModule))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    TableGuard const guard;
    SLoadedModule const* const module = guard.findModule(address);
    if (module == nullptr)
    {
        return fail(ERROR_MOD_NOT_FOUND);
    }
    // Of the texts no more than their ends is cleared: they are most of it.
    information->base = module->base;
    information->imageSize = module->size;
    information->timeDateStamp = 0;
    information->checkSum = 0;
    information->symbolCount = 0;
    information->symbolType = c_DeferredSymbols;
    information->loadedPdbName[0] = '\0';
    information->cvSignature = 0;
    information->cvData[0] = '\0';
    std::memset(&information->pdbSignature, 0, sizeof(SModule) - offsetof(SModule, pdbSignature));
    copyText(module->name, information->moduleName, std::size(information->moduleName));
    copyText(module->image, information->imageName, std::size(information->imageName));
    copyText(module->image, information->loadedImageName, std::size(information->loadedImageName));
    information->machineType = c_MachineX64;
    return TRUE;
}

BOOL getSearchPath(HANDLE, char* path, DWORD size) noexcept
{
    if (path == nullptr || size == 0)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    TableGuard const guard;
    copyText(guard->searchPath, path, size);
    return TRUE;
}

DWORD getOptions() noexcept
{
    return s_options;
}

DWORD setOptions(DWORD options) noexcept
{
    s_options = options;
    return options;
}

// The unwinder reads the tables itself.
void* getFunctionTable(HANDLE, DWORD64) noexcept
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
}

// ---- the walk

// A stretch of the stack that the calling thread walks, and whose it is: a walk within a walk takes it away.
struct SStretch
{
    DWORD64 owner = 0;
    unsigned int position = 0;
    StackCapture capture;
};

thread_local SStretch t_stretch;
std::atomic<DWORD64> s_lastOwner{0};

// Makes the frame at the position and the one behind it present, as far as there are any.
bool presentFrame(SStretch& stretch, HANDLE thread) noexcept
{
    StackCapture& capture = stretch.capture;
    if (stretch.position + 1 >= capture.count && !capture.isComplete)
    {
        capture.fromSp = capture.frames[stretch.position].sp;
        stretch.position = 0;
        if (!captureStack(thread, capture))
        {
            return false;
        }
    }
    return stretch.position < capture.count;
}

// Begins at the registers for a new frame, at the frame's place where another walk came in between, or goes on.
bool advance(SStretch& stretch, HANDLE thread, SStackFrame& frame, CONTEXT const& context) noexcept
{
    bool const isNew = frame.reserved[0] == 0;
    if (isNew || frame.reserved[0] != stretch.owner)
    {
        stretch.owner = ++s_lastOwner;
        frame.reserved[0] = stretch.owner;
        stretch.position = 0;
        stretch.capture.fromSp = isNew ? context.Rsp : frame.stack.offset;
        if (!captureStack(thread, stretch.capture) || stretch.capture.count == 0)
        {
            return false;
        }
        if (isNew && context.Rip != 0)
        {
            stretch.capture.frames[0].pc = context.Rip; // the frame may have gone on since
        }
    }
    stretch.position += isNew ? 0 : 1;
    return stretch.position < stretch.capture.count && presentFrame(stretch, thread);
}

SAddress flat(DWORD64 offset) noexcept
{
    return {offset, 0, c_FlatAddress};
}

BOOL walkStack(DWORD machine, HANDLE, HANDLE thread, SStackFrame* frame, void* registers, FnReadMemory, FnFunctionTable,
               FnModuleBase, FnTranslate) noexcept
{
    if (machine != c_MachineX64 || frame == nullptr || registers == nullptr)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    auto& context = *static_cast<CONTEXT*>(registers);
    SStretch& stretch = t_stretch;
    if (!advance(stretch, thread, *frame, context))
    {
        return fail(ERROR_INVALID_ADDRESS);
    }
    StackCapture const& capture = stretch.capture;
    StackCapture::Frame const& own = capture.frames[stretch.position];
    bool const isLast = stretch.position + 1 == capture.count;
    StackCapture::Frame const next = isLast ? StackCapture::Frame{0, 0} : capture.frames[stretch.position + 1];
    frame->pc = flat(own.pc);
    frame->returnPc = flat(next.pc);
    frame->stack = flat(own.sp);
    frame->frame = flat(next.sp);
    frame->isVirtual = TRUE;
    context.Rip = own.pc;
    context.Rsp = own.sp;
    return TRUE;
}

struct SEntry
{
    std::string_view name;
    FARPROC function;
};
} // namespace

FARPROC posix::findDebugFunction(char const* name) noexcept
{
    static SEntry const s_entries[] = {
        {"SymInitialize", reinterpret_cast<FARPROC>(&initialize)},
        {"SymCleanup", reinterpret_cast<FARPROC>(&cleanUp)},
        {"StackWalk64", reinterpret_cast<FARPROC>(&walkStack)},
        {"SymGetOptions", reinterpret_cast<FARPROC>(&getOptions)},
        {"SymSetOptions", reinterpret_cast<FARPROC>(&setOptions)},
        {"SymFunctionTableAccess64", reinterpret_cast<FARPROC>(&getFunctionTable)},
        {"SymGetLineFromAddr64", reinterpret_cast<FARPROC>(&getLine)},
        {"SymGetModuleBase64", reinterpret_cast<FARPROC>(&getModuleBase)},
        {"SymGetModuleInfo64", reinterpret_cast<FARPROC>(&getModule)},
        {"SymGetSymFromAddr64", reinterpret_cast<FARPROC>(&getSymbol)},
        {"UnDecorateSymbolName", reinterpret_cast<FARPROC>(&undecorate)},
        {"SymLoadModule64", reinterpret_cast<FARPROC>(&loadModule)},
        {"SymGetSearchPath", reinterpret_cast<FARPROC>(&getSearchPath)},
    };
    auto const found = std::find_if(std::begin(s_entries), std::end(s_entries),
                                    [name](SEntry const& entry) { return entry.name == name; });
    return found != std::end(s_entries) ? found->function : nullptr;
}
