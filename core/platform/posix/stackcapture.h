// The frames of a thread's stack, as they stand at one moment.

#ifndef ORVANE_PLATFORM_POSIX_STACKCAPTURE_H
#define ORVANE_PLATFORM_POSIX_STACKCAPTURE_H

#include <cstdint>

#include "platform/platform.h"

namespace posix
{
/// What is asked for, and room for a stretch of frames.
struct StackCapture
{
    static constexpr unsigned int c_Room = 64;

    struct Frame
    {
        std::uintptr_t pc;
        std::uintptr_t sp;
    };

    std::uintptr_t fromSp = 0; // from the frame on that this stack pointer belongs to
    unsigned int count = 0;
    bool isComplete = false; // there are no frames behind these
    Frame frames[c_Room];
};

/// Takes frames of the calling thread, the innermost first. No lock, no memory: fit for a signal's handler.
void captureOwnStack(StackCapture& capture) noexcept;

/// Takes frames of the calling thread or of one that is suspended. False where the thread is neither.
bool captureStack(HANDLE thread, StackCapture& capture) noexcept;

/// The functions of "dbghelp.dll" by name; null for any other.
FARPROC findDebugFunction(char const* name) noexcept;

/// The tool-help functions for modules.
BOOL firstModule(HANDLE snapshot, void* entry) noexcept;
BOOL nextModule(HANDLE snapshot, void* entry) noexcept;
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_STACKCAPTURE_H
