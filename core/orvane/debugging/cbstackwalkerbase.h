// Walks the call stack of a thread of this process.

#ifndef ORVANE_DEBUGGING_CBSTACKWALKERBASE_H
#define ORVANE_DEBUGGING_CBSTACKWALKERBASE_H

#include <memory>

#include "orvane/export.h"
#include "platform/platform.h"

namespace detail
{
class CWalkerState;
struct SSupportSystem;
} // namespace detail

/// Resolves each frame to function, source line and module by the system's debugging support library, and hands it to
/// operations that a class derived from this one replaces. The library is loaded when it is first needed.
///
/// Threads: a walker is used by one thread at a time. Walks of all walkers take turns: the support library is not made
/// for several at once. Another thread is suspended while its frames are taken, and goes on before they are resolved
/// and shown, so neither can wait for a lock that it holds. A stack of more than 4,096 frames is taken again as a whole,
/// with more room, until all of it fits: the thread stands several times then.
/// Origin: the thirteen functions of dbghelp.dll; on Linux the compiler's unwinder and its reader of debug data.
class ORVANE_API CbStackWalkerBase
{
public:
    /// Bit of the options: builds the path on which symbols are searched for.
    static constexpr unsigned int c_BuildSearchPath = 0x10;
    static constexpr unsigned int c_AllOptions = 63;

    enum EEntryKind : unsigned int
    {
        eFirstEntry,
        eNextEntry,
        eLastEntry // after the walk's end; the entry is that of the frame before
    };

    /// What is known of a frame. Texts are empty where it is not.
    struct SFrameEntry
    {
        static constexpr unsigned int c_TextLength = 2048;

        unsigned __int64 address; // the program counter
        char name[c_TextLength];
        char undecoratedName[c_TextLength];
        char fullyUndecoratedName[c_TextLength];
        unsigned __int64 displacement; // from the symbol's beginning
        unsigned int line;             // 0: not known
        char fileName[c_TextLength];
        char moduleName[c_TextLength];
        char imageName[c_TextLength];
        char loadedImageName[c_TextLength];
        unsigned __int64 moduleBase;
        char const* symbolType; // null: not known
    };

    /// Reads memory of the walked process as ReadProcessMemory does. `userData` is what WalkStack was given.
    using FnReadMemory = BOOL (*)(HANDLE process, unsigned __int64 address, void* buffer, DWORD size, DWORD* read,
                                  void* userData);

    /// Walks the calling process, in a session of its own with the support library. `symbolPath` comes first on the search
    /// path; null is none. It is copied.
    explicit CbStackWalkerBase(unsigned int options = c_AllOptions, char const* symbolPath = nullptr);

    /// Under a process handle of the caller's, which must stay open. The support library keeps one session for each
    /// handle, so no two walkers may have the same one. What GetCurrentProcess() gives stands for the process: the walker
    /// makes a duplicate of its own then.
    CbStackWalkerBase(unsigned int options, char const* symbolPath, DWORD processId, HANDLE process);

    CbStackWalkerBase(CbStackWalkerBase const&) = delete;
    CbStackWalkerBase& operator=(CbStackWalkerBase const&) = delete;

    /// Ends the session and releases the library.
    virtual ~CbStackWalkerBase();

    /// Loads the support library and tells it the modules of the process; later calls have nothing to do.
    /// Reports: false with the last error 1114 without the library, 8 without memory, else that of the support library or
    /// of the handle's duplication.
    bool LoadModules();

    /// Walks the stack of `thread`; null is the calling thread. `context` is where to begin; null is where the thread
    /// stands. `readMemory` null reads the process's memory.
    /// Reports: false where LoadModules does, or where the thread cannot be suspended or its registers not be had.
    /// Raises: what the output operations raise; std::bad_alloc.
    bool WalkStack(HANDLE thread = nullptr, CONTEXT const* context = nullptr, FnReadMemory readMemory = nullptr,
                   void* userData = nullptr);

protected:
    /// Loads through `system`, which must outlive the walker.
    CbStackWalkerBase(detail::SSupportSystem const& system, unsigned int options, char const* symbolPath);

    // Each formats a text and passes it to one of the outputs below. Clients know the order.
    virtual void onSymbolsReady(char const* searchPath, DWORD symbolOptions, char const* userName);
    virtual void onModuleLoaded(char const* imageName, char const* moduleName, unsigned __int64 base, DWORD size,
                                DWORD result, char const* symbolType, char const* pdbName,
                                unsigned __int64 fileVersion);
    virtual void onFrame(EEntryKind kind, SFrameEntry const& entry);
    virtual void onSupportError(char const* text, DWORD error, unsigned __int64 address);

    // The outputs: nothing.
    virtual void onOutputSetup(wchar_t const* text);
    virtual void onOutputFrame(wchar_t const* text);
    virtual void onOutputError(wchar_t const* text);

private:
    friend class detail::CWalkerState;

    std::unique_ptr<detail::CWalkerState> m_state;
};

#endif // ORVANE_DEBUGGING_CBSTACKWALKERBASE_H
