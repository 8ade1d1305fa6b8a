// The debugging support library's functions and structures, under the names and with the layouts that Windows documents.
//
// The library is loaded at run time and never linked, so its own header is not needed; a source of the Windows target
// compares the layouts with it. On Linux the platform layer answers the same names itself.

#ifndef ORVANE_PLATFORM_DEBUGHELP_H
#define ORVANE_PLATFORM_DEBUGHELP_H

#include <cstddef>

#include "platform/platform.h"

namespace DebugHelp
{
constexpr DWORD c_MachineX64 = 0x8664;
constexpr DWORD c_FlatAddress = 3;

constexpr DWORD c_OptionLoadLines = 0x10;
constexpr DWORD c_OptionFailCriticalErrors = 0x200;

constexpr DWORD c_UndecorateComplete = 0;
constexpr DWORD c_UndecorateNameOnly = 0x1000;

constexpr DWORD c_SnapModule = 8;

struct SAddress
{
    DWORD64 offset;
    WORD segment;
    DWORD mode;
};

struct SStackFrame
{
    SAddress pc;
    SAddress returnPc;
    SAddress frame;
    SAddress stack;
    SAddress backingStore;
    void* functionTableEntry;
    DWORD64 parameters[4];
    BOOL isFar;
    BOOL isVirtual;
    DWORD64 reserved[3];
    DWORD64 kernelHelp[14];
};

struct SSymbol
{
    DWORD size; // of this structure
    DWORD64 address;
    DWORD length;
    DWORD flags;
    DWORD maxNameLength;
    char name[1]; // and what stands behind it
};

struct SLine
{
    DWORD size; // of this structure
    void* key;
    DWORD number;
    char* fileName;
    DWORD64 address;
};

struct SModule
{
    DWORD size; // of this structure
    DWORD64 base;
    DWORD imageSize;
    DWORD timeDateStamp;
    DWORD checkSum;
    DWORD symbolCount;
    DWORD symbolType;
    char moduleName[32];
    char imageName[256];
    char loadedImageName[256];
    char loadedPdbName[256];
    DWORD cvSignature;
    char cvData[260 * 3];
    DWORD pdbSignature;
    DWORD pdbSignature70[4];
    DWORD pdbAge;
    BOOL isPdbUnmatched;
    BOOL isDbgUnmatched;
    BOOL hasLineNumbers;
    BOOL hasGlobalSymbols;
    BOOL hasTypeInfo;
    BOOL isSourceIndexed;
    BOOL hasPublics;
    DWORD machineType;
    DWORD reserved;
};

/// An entry of a module snapshot, in narrow text.
struct SModuleEntry
{
    DWORD size; // of this structure
    DWORD moduleId;
    DWORD processId;
    DWORD globalUsage;
    DWORD processUsage;
    BYTE* base;
    DWORD imageSize;
    HMODULE module;
    char name[256];
    char path[260];
};

struct SModuleInformation
{
    void* base;
    DWORD imageSize;
    void* entryPoint;
};

using FnReadMemory = BOOL (*)(HANDLE process, DWORD64 address, void* buffer, DWORD size, DWORD* read);
using FnFunctionTable = void* (*)(HANDLE process, DWORD64 address);
using FnModuleBase = DWORD64 (*)(HANDLE process, DWORD64 address);
using FnTranslate = DWORD64 (*)(HANDLE process, HANDLE thread, SAddress* address);

using FnInitialize = BOOL (*)(HANDLE process, char const* searchPath, BOOL isInvading);
using FnCleanup = BOOL (*)(HANDLE process);
using FnStackWalk = BOOL (*)(DWORD machine, HANDLE process, HANDLE thread, SStackFrame* frame, void* context,
                             FnReadMemory readMemory, FnFunctionTable functionTable, FnModuleBase moduleBase,
                             FnTranslate translate);
using FnGetOptions = DWORD (*)();
using FnSetOptions = DWORD (*)(DWORD options);
using FnGetLine = BOOL (*)(HANDLE process, DWORD64 address, DWORD* displacement, SLine* line);
using FnGetModule = BOOL (*)(HANDLE process, DWORD64 address, SModule* module);
using FnGetSymbol = BOOL (*)(HANDLE process, DWORD64 address, DWORD64* displacement, SSymbol* symbol);
using FnUndecorate = DWORD (*)(char const* name, char* target, DWORD size, DWORD flags);
using FnLoadModule = DWORD64 (*)(HANDLE process, HANDLE file, char const* image, char const* module, DWORD64 base,
                                 DWORD size);
using FnGetSearchPath = BOOL (*)(HANDLE process, char* path, DWORD size);

static_assert(sizeof(SAddress) == 16 && sizeof(SStackFrame) == 264);
} // namespace DebugHelp

#endif // ORVANE_PLATFORM_DEBUGHELP_H
