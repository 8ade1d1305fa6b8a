// Child processes of a test.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_WIN32_CHILDPROCESS_H
#define ORVANE_TESTS_PLATFORM_KERNEL_WIN32_CHILDPROCESS_H

#include <string>
#include <vector>

#include "platform/platform.h"

namespace kerneltest
{
/// One run of the program orvane_kernel_child, which stands beside the test program.
class CChildProcess
{
public:
    /// Arguments hold neither blanks nor quotes.
    explicit CChildProcess(std::vector<std::string> const& arguments)
    {
        wchar_t path[1024];
        const DWORD length = GetModuleFileNameW(nullptr, path, 1024);
        std::wstring program(path, length);
        program.replace(program.find_last_of(L"\\/") + 1, std::wstring::npos, L"orvane_kernel_child.exe");
        std::wstring line = L'"' + program + L'"';
        for (std::string const& argument : arguments)
        {
            line += L' ' + std::wstring(argument.begin(), argument.end());
        }
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                           &process))
        {
            m_process = process.hProcess;
            CloseHandle(process.hThread);
        }
    }

    CChildProcess(CChildProcess const&) = delete;
    CChildProcess& operator=(CChildProcess const&) = delete;

    ~CChildProcess()
    {
        Kill();
        if (m_process != nullptr)
        {
            CloseHandle(m_process);
        }
    }

    bool IsStarted() const
    {
        return m_process != nullptr;
    }

    /// The exit code; -1 when the process does not end in time or was killed.
    int WaitForExit(unsigned int timeoutMs)
    {
        DWORD code = 0;
        if (m_process == nullptr || WaitForSingleObject(m_process, timeoutMs) != WAIT_OBJECT_0 ||
            !GetExitCodeProcess(m_process, &code) || code == c_Killed)
        {
            return -1;
        }
        return static_cast<int>(code);
    }

    /// Ends the process without its doing; returns when it is gone.
    void Kill()
    {
        if (m_process != nullptr && TerminateProcess(m_process, c_Killed))
        {
            WaitForSingleObject(m_process, INFINITE);
        }
    }

private:
    static constexpr DWORD c_Killed = 0xDEAD;

    HANDLE m_process = nullptr;
};
} // namespace kerneltest

#endif // ORVANE_TESTS_PLATFORM_KERNEL_WIN32_CHILDPROCESS_H
