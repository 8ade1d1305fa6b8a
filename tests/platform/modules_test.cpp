// Libraries by name, the process's surroundings, and the module snapshot: the same on both targets.

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "platform/debughelp.h"
#include "platform/platform.h"

namespace
{
using FnCreate = HANDLE (*)(DWORD flags, DWORD processId);
using FnNext = BOOL (*)(HANDLE snapshot, DebugHelp::SModuleEntry* entry);

template <class Function>
Function find(HMODULE module, char const* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}
} // namespace

TEST(Library, ThatIsMissingFailsWith126)
{
    SetLastError(0);
    EXPECT_EQ(LoadLibraryA("there-is-no-such-library.dll"), nullptr);
    EXPECT_EQ(GetLastError(), 126u);
}

TEST(Library, WithoutAFunctionFailsWith127)
{
    HMODULE const module = LoadLibraryA("KERNEL32.dll");
    ASSERT_NE(module, nullptr);

    SetLastError(0);
    EXPECT_EQ(GetProcAddress(module, "ThereIsNoSuchFunction"), nullptr);
    EXPECT_EQ(GetLastError(), 127u);

    EXPECT_TRUE(FreeLibrary(module));
}

TEST(Library, OfDebuggingHasTheThirteenFunctions)
{
    HMODULE const module = LoadLibraryA("dbghelp.dll");
    ASSERT_NE(module, nullptr);

    for (char const* const name :
         {"SymInitialize", "SymCleanup", "StackWalk64", "SymGetOptions", "SymSetOptions", "SymFunctionTableAccess64",
          "SymGetLineFromAddr64", "SymGetModuleBase64", "SymGetModuleInfo64", "SymGetSymFromAddr64",
          "UnDecorateSymbolName", "SymLoadModule64", "SymGetSearchPath"})
    {
        EXPECT_NE(GetProcAddress(module, name), nullptr) << name;
    }
    EXPECT_TRUE(FreeLibrary(module));
}

TEST(Executable, HasAFullNameAndAFile)
{
    char name[4096] = {};
    DWORD const length = GetModuleFileNameA(nullptr, name, sizeof name);

    EXPECT_EQ(length, std::strlen(name));
    EXPECT_NE(std::string(name).find("orvane_modules_test"), std::string::npos);
    EXPECT_NE(GetFileAttributesA(name), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetFileAttributesA(name) & FILE_ATTRIBUTE_DIRECTORY, 0u);
}

TEST(FileAttributes, OfNoFileFailWith2)
{
    SetLastError(0);
    EXPECT_EQ(GetFileAttributesA("there-is-no-such-file"), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), 2u);
}

TEST(FileAttributes, OfAFolderSaySo)
{
    EXPECT_NE(GetFileAttributesA(".") & FILE_ATTRIBUTE_DIRECTORY, 0u);
}

TEST(EnvironmentVariable, ThatIsMissingFailsWith203)
{
    char value[8];
    SetLastError(0);
    EXPECT_EQ(GetEnvironmentVariableA("THERE_IS_NO_SUCH_VARIABLE", value, sizeof value), 0u);
    EXPECT_EQ(GetLastError(), 203u);
}

TEST(EnvironmentVariable, TellsTheRoomItNeeds)
{
    char value[4096] = {};
    DWORD const length = GetEnvironmentVariableA("PATH", value, sizeof value);
    ASSERT_GT(length, 1u);
    ASSERT_LT(length, sizeof value);

    EXPECT_EQ(std::strlen(value), length);
    char small[1];
    EXPECT_EQ(GetEnvironmentVariableA("PATH", small, 1), length + 1);
}

TEST(CurrentDirectory, IsAFolder)
{
    char name[4096] = {};
    DWORD const length = GetCurrentDirectoryA(sizeof name, name);

    EXPECT_EQ(length, std::strlen(name));
    EXPECT_NE(GetFileAttributesA(name) & FILE_ATTRIBUTE_DIRECTORY, 0u);
    EXPECT_EQ(GetCurrentDirectoryA(1, name), length + 1);
}

TEST(ProcessMemory, IsCopied)
{
    int const value = 4711;
    int copy = 0;
    std::size_t count = 0;

    EXPECT_TRUE(ReadProcessMemory(GetCurrentProcess(), &value, &copy, sizeof copy, &count));

    EXPECT_EQ(copy, 4711);
    EXPECT_EQ(count, sizeof copy);
}

TEST(ProcessMemory, ThatIsNotThereFails)
{
    int copy = 0;
    EXPECT_FALSE(
        ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<void const*>(16), &copy, sizeof copy, nullptr));
}

TEST(ModuleSnapshot, HoldsTheProgramFirst)
{
    HMODULE const library = LoadLibraryA("kernel32.dll");
    auto const create = find<FnCreate>(library, "CreateToolhelp32Snapshot");
    auto const first = find<FnNext>(library, "Module32First");
    auto const next = find<FnNext>(library, "Module32Next");
    ASSERT_TRUE(create != nullptr && first != nullptr && next != nullptr);
    HANDLE const snapshot = create(DebugHelp::c_SnapModule, GetCurrentProcessId());
    ASSERT_NE(snapshot, INVALID_HANDLE_VALUE);

    DebugHelp::SModuleEntry entry{};
    EXPECT_FALSE(first(snapshot, &entry)) << "without a size";
    entry.size = sizeof entry;
    ASSERT_TRUE(first(snapshot, &entry));
    EXPECT_NE(std::string(entry.name).find("orvane_modules_test"), std::string::npos);
    EXPECT_NE(std::string(entry.path).find("orvane_modules_test"), std::string::npos);
    unsigned int count = 1;
    bool hasRuntime = false;
    while (next(snapshot, &entry))
    {
        ++count;
        hasRuntime = hasRuntime || std::string(entry.name).find("libstdc++") != std::string::npos;
        EXPECT_GT(entry.imageSize, 0u);
    }
    EXPECT_GT(count, 2u);
    EXPECT_TRUE(hasRuntime);
    EXPECT_TRUE(CloseHandle(snapshot));
    FreeLibrary(library);
}
