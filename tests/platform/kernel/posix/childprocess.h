// Child processes of a test.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_POSIX_CHILDPROCESS_H
#define ORVANE_TESTS_PLATFORM_KERNEL_POSIX_CHILDPROCESS_H

#include <csignal>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace kerneltest
{
/// One run of the program orvane_kernel_child, which stands beside the test program.
class CChildProcess
{
public:
    explicit CChildProcess(std::vector<std::string> const& arguments)
    {
        const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        std::string program = folder / "orvane_kernel_child";
        std::vector<std::string> texts(arguments);
        std::vector<char*> values{program.data()};
        for (std::string& text : texts)
        {
            values.push_back(text.data());
        }
        values.push_back(nullptr);
        if (posix_spawn(&m_id, program.c_str(), nullptr, nullptr, values.data(), environ) != 0)
        {
            m_id = -1;
        }
    }

    CChildProcess(CChildProcess const&) = delete;
    CChildProcess& operator=(CChildProcess const&) = delete;

    ~CChildProcess()
    {
        Kill();
    }

    bool IsStarted() const
    {
        return m_id > 0;
    }

    /// The exit code; -1 when the process does not end in time or was killed.
    int WaitForExit(unsigned int timeoutMs)
    {
        if (m_id <= 0 || m_isReaped)
        {
            return m_code;
        }
        const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, m_id, 0));
        pollfd entry{descriptor, POLLIN, 0};
        const bool isEnded = poll(&entry, 1, static_cast<int>(timeoutMs)) == 1;
        close(descriptor);
        if (isEnded)
        {
            reap();
        }
        return m_code;
    }

    /// Ends the process without its doing; returns when it is gone.
    void Kill()
    {
        if (m_id > 0 && !m_isReaped)
        {
            kill(m_id, SIGKILL);
            reap();
        }
    }

private:
    void reap()
    {
        int status = 0;
        waitpid(m_id, &status, 0);
        m_isReaped = true;
        m_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    pid_t m_id = -1;
    int m_code = -1;
    bool m_isReaped = false;
};
} // namespace kerneltest

#endif // ORVANE_TESTS_PLATFORM_KERNEL_POSIX_CHILDPROCESS_H
