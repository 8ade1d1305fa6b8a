// The layouts of platform/debughelp.h are those of the system's own header.

#include "platform/debughelp.h"

#include <cstddef>

#include <dbghelp.h>
#include <psapi.h>
// The narrow entry, whatever the rest of the program uses.
#undef MODULEENTRY32

static_assert(sizeof(DebugHelp::SAddress) == sizeof(ADDRESS64));
static_assert(sizeof(DebugHelp::SStackFrame) == sizeof(STACKFRAME64));
static_assert(offsetof(DebugHelp::SStackFrame, reserved) == offsetof(STACKFRAME64, Reserved));
static_assert(offsetof(DebugHelp::SStackFrame, returnPc) == offsetof(STACKFRAME64, AddrReturn));
static_assert(offsetof(DebugHelp::SStackFrame, stack) == offsetof(STACKFRAME64, AddrStack));
static_assert(sizeof(DebugHelp::SSymbol) == sizeof(IMAGEHLP_SYMBOL64));
static_assert(offsetof(DebugHelp::SSymbol, name) == offsetof(IMAGEHLP_SYMBOL64, Name));
static_assert(sizeof(DebugHelp::SLine) == sizeof(IMAGEHLP_LINE64));
static_assert(offsetof(DebugHelp::SLine, fileName) == offsetof(IMAGEHLP_LINE64, FileName));
static_assert(sizeof(DebugHelp::SModule) == sizeof(IMAGEHLP_MODULE64));
static_assert(offsetof(DebugHelp::SModule, moduleName) == offsetof(IMAGEHLP_MODULE64, ModuleName));
static_assert(offsetof(DebugHelp::SModule, loadedPdbName) == offsetof(IMAGEHLP_MODULE64, LoadedPdbName));
static_assert(sizeof(DebugHelp::SModuleEntry) == sizeof(MODULEENTRY32));
static_assert(offsetof(DebugHelp::SModuleEntry, path) == offsetof(MODULEENTRY32, szExePath));
static_assert(sizeof(DebugHelp::SModuleInformation) == sizeof(MODULEINFO));
static_assert(DebugHelp::c_SnapModule == TH32CS_SNAPMODULE && DebugHelp::c_MachineX64 == IMAGE_FILE_MACHINE_AMD64);
static_assert(DebugHelp::c_OptionLoadLines == SYMOPT_LOAD_LINES &&
              DebugHelp::c_UndecorateNameOnly == UNDNAME_NAME_ONLY);
static_assert(DebugHelp::c_FlatAddress == AddrModeFlat);
