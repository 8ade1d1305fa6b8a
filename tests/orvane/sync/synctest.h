// What the tests of this folder share.

#ifndef ORVANE_TESTS_ORVANE_SYNC_SYNCTEST_H
#define ORVANE_TESTS_ORVANE_SYNC_SYNCTEST_H

#include <string>
#include <thread>

#include "handlecount.h"
#include "platform/platform.h"

namespace synctest
{
/// How long a wait that has to end may take.
constexpr unsigned int c_PatienceMs = 120'000;

/// A last error that no call sets.
constexpr DWORD c_Untouched = 0x7777;

/// The result of `function`, called on another thread that has ended by then.
template <class F>
auto onAnotherThread(F const& function)
{
    decltype(function()) result{};
    std::thread([&] { result = function(); }).join();
    return result;
}

/// A name that no other process uses.
inline std::string uniqueName(char const* stem)
{
    return std::string("orvane-sync-test-") + stem + '-' + std::to_string(GetCurrentProcessId());
}

inline std::wstring wide(std::string const& text)
{
    return std::wstring(text.begin(), text.end());
}

/// How many more handles are open after `function` than before. It runs once beforehand: what the system opens at a first
/// use stays open.
template <class F>
int handlesLeftBy(F const& function)
{
    function();
    unsigned int const before = kerneltest::getHandleCount();
    function();
    return static_cast<int>(kerneltest::getHandleCount()) - static_cast<int>(before);
}
} // namespace synctest

#endif // ORVANE_TESTS_ORVANE_SYNC_SYNCTEST_H
