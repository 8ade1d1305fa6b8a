// What the debugging functions keep of an address.

#include <cstddef>
#include <exception>
#include <string>

#include "platform/debughelp.h"
#include "platform/platform.h"
#include "gtest/gtest.h"

using namespace DebugHelp;

namespace
{
template <class Function>
Function find(char const* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(LoadLibraryA("dbghelp.dll"), name)));
}

// The name of the symbol at the address; empty where there is none.
std::string symbolAt(DWORD64 address)
{
    alignas(SSymbol) char memory[sizeof(SSymbol) + 256] = {};
    auto& symbol = *reinterpret_cast<SSymbol*>(memory);
    symbol.size = sizeof symbol;
    symbol.maxNameLength = 256;
    return find<FnGetSymbol>("SymGetSymFromAddr64")(GetCurrentProcess(), address, nullptr, &symbol)
               ? memory + offsetof(SSymbol, name)
               : "";
}

std::string undecorated(char const* name, DWORD flags)
{
    char text[256] = {};
    DWORD const length = find<FnUndecorate>("UnDecorateSymbolName")(name, text, sizeof text, flags);
    return std::string(text, length);
}

std::string moduleAt(DWORD64 address)
{
    SModule module;
    module.size = sizeof module;
    return find<FnGetModule>("SymGetModuleInfo64")(GetCurrentProcess(), address, &module) ? module.moduleName : "";
}
} // namespace

TEST(DebugFunctions, KnowAModuleThatIsToldAfterItsAddressWasAskedFor)
{
    constexpr DWORD64 c_Base = 0x10000;
    constexpr DWORD c_Size = 0x100;
    auto const load = find<FnLoadModule>("SymLoadModule64");
    EXPECT_EQ(symbolAt(c_Base + 1), "");
    EXPECT_EQ(moduleAt(c_Base + 1), "");

    load(GetCurrentProcess(), nullptr, "image", "first", c_Base, c_Size);
    EXPECT_EQ(moduleAt(c_Base + 1), "first");
    EXPECT_EQ(moduleAt(c_Base + c_Size), "");

    load(GetCurrentProcess(), nullptr, "image", "second", c_Base, c_Size);
    EXPECT_EQ(moduleAt(c_Base + 1), "second");
}

TEST(DebugFunctions, UndecorateTheNameOfTheLastSymbolAndOthers)
{
    // A function of a library, which has its name without debug data too.
    auto const address = reinterpret_cast<DWORD64>(static_cast<void (*)()>(&std::terminate));
    std::string const name = symbolAt(address);
    ASSERT_EQ(name, "_ZSt9terminatev");

    EXPECT_EQ(undecorated(name.c_str(), c_UndecorateComplete), "std::terminate()");
    EXPECT_EQ(undecorated(name.c_str(), c_UndecorateNameOnly), "std::terminate");
    EXPECT_EQ(undecorated("_ZNK5Outer5innerIiEEvd", c_UndecorateComplete), "void Outer::inner<int>(double) const");
    EXPECT_EQ(undecorated("_ZNK5Outer5innerIiEEvd", c_UndecorateNameOnly), "Outer::inner<int>");
    EXPECT_EQ(undecorated("_ZSt9terminate", c_UndecorateComplete), "std::terminate");
    EXPECT_EQ(undecorated("plain", c_UndecorateComplete), "plain");
}
