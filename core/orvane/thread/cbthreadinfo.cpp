#include "orvane/thread/cbthreadinfo.h"

#include <atomic>

#include "logging/clogger.h"

namespace
{
constexpr char c_SourceFile[] = "cbthreadinfo";
constexpr int c_LineKilled = 98; // published

Logging::CLogger const s_logger(L"Thread");

constinit std::atomic<unsigned int> s_mainThreadId = 0; // 0: not found yet

unsigned __int64 toNumber(FILETIME const& time)
{
    return (static_cast<unsigned __int64>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

unsigned int findMainThread()
{
    HANDLE const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
    {
        return 0;
    }

    DWORD const process = GetCurrentProcessId();
    unsigned int earliestId = 0;
    unsigned __int64 earliest = ~static_cast<unsigned __int64>(0);
    // Preset once: the right to read control is not the right to read times on every system. A thread that does not give
    // its time counts as old as the one before it, and so never displaces one; where none gives it, the first listed
    // thread is taken, which is the process's first.
    FILETIME created{};
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL isThere = Thread32First(snapshot, &entry); isThere; isThere = Thread32Next(snapshot, &entry))
    {
        HANDLE const thread =
            entry.th32OwnerProcessID == process ? OpenThread(READ_CONTROL, FALSE, entry.th32ThreadID) : nullptr;
        if (thread == nullptr)
        {
            continue;
        }
        FILETIME exited{};
        FILETIME kernel{};
        FILETIME user{};
        GetThreadTimes(thread, &created, &exited, &kernel, &user);
        CloseHandle(thread);
        if (toNumber(created) < earliest)
        {
            earliest = toNumber(created);
            earliestId = entry.th32ThreadID;
        }
    }
    CloseHandle(snapshot);
    return earliestId;
}
} // namespace

unsigned int CbThreadInfo::GetMainThreadId()
{
    unsigned int id = s_mainThreadId.load(std::memory_order_relaxed);
    if (id == 0)
    {
        id = findMainThread();
        s_mainThreadId.store(id, std::memory_order_relaxed);
    }
    return id;
}

void CbThreadInfo::WarnOnTermination(HANDLE thread)
{
    s_logger.RefreshLevel();
    if (s_logger.IsWarnEnabled())
    {
        s_logger.Warn(c_SourceFile, c_LineKilled, "CbThreadInfo::WarnOnTermination",
                      L"Thread %d forcefully terminated\n", static_cast<int>(GetThreadId(thread)));
    }
}
