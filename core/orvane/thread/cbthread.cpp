#include "orvane/thread/cbthread.h"

#include <algorithm>
#include <iterator>

#include "orvane/thread/cbthreadinfo.h"

namespace
{
constexpr int c_Ladder[] = {THREAD_PRIORITY_IDLE,         THREAD_PRIORITY_LOWEST,       THREAD_PRIORITY_BELOW_NORMAL,
                            THREAD_PRIORITY_NORMAL,       THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_HIGHEST,
                            THREAD_PRIORITY_TIME_CRITICAL};

constexpr DWORD c_Failed = 0xFFFFFFFF; // of calls that give a count or a place
} // namespace

namespace detail
{
bool CThreadCalls::IsActive(HANDLE thread)
{
    DWORD exitCode = 0;
    return thread != nullptr && GetExitCodeThread(thread, &exitCode) && exitCode == STILL_ACTIVE;
}

void CThreadCalls::Kill(HANDLE thread)
{
    try
    {
        CbThreadInfo::WarnOnTermination(thread);
    }
    catch (...)
    {
        // A log that fails is no reason to let the thread run on in an object that goes.
    }
    TerminateThread(thread, STILL_ACTIVE);
}

void CThreadCalls::Close(HANDLE handle)
{
    CloseHandle(handle);
}

bool CThreadCalls::Suspend(HANDLE thread)
{
    return SuspendThread(thread) != c_Failed;
}

bool CThreadCalls::Resume(HANDLE thread)
{
    return ResumeThread(thread) != c_Failed;
}

bool CThreadCalls::WaitForEnd(HANDLE thread, unsigned int timeoutMs)
{
    return thread != nullptr && WaitForSingleObject(thread, timeoutMs) != WAIT_TIMEOUT;
}

int CThreadCalls::GetPriority(HANDLE thread)
{
    return GetThreadPriority(thread);
}

bool CThreadCalls::SetPriority(HANDLE thread, int priority)
{
    return SetThreadPriority(thread, priority) != FALSE;
}

bool CThreadCalls::MovePriority(int& priority, int steps)
{
    int const* const at = std::find(std::begin(c_Ladder), std::end(c_Ladder), priority);
    if (at == std::end(c_Ladder) || steps < std::begin(c_Ladder) - at || steps >= std::end(c_Ladder) - at)
    {
        return false;
    }
    priority = at[steps];
    return true;
}

bool CThreadCalls::SetAffinityMask(HANDLE thread, unsigned __int64 mask)
{
    return SetThreadAffinityMask(thread, mask) != 0;
}

bool CThreadCalls::SetIdealProcessor(HANDLE thread, unsigned int processor)
{
    // Not every system looks at the handle.
    return thread != nullptr && SetThreadIdealProcessor(thread, processor) != c_Failed;
}

unsigned __int64 CThreadCalls::GetProcessAffinityMask()
{
    DWORD_PTR process = 0;
    DWORD_PTR system = 0;
    return ::GetProcessAffinityMask(GetCurrentProcess(), &process, &system) ? process : 0;
}

void CThreadCalls::PrepareCurrent(int priority, unsigned __int64 affinityMask)
{
    HANDLE const thread = GetCurrentThread();
    if (GetThreadPriority(thread) != priority)
    {
        SetThreadPriority(thread, priority);
    }
    SetThreadAffinityMask(thread, affinityMask);
}
} // namespace detail

bool CbThreadPolicyMFC::Start(FnThreadProcedure procedure, void* object, HANDLE& handle, unsigned int& id)
{
    DWORD threadId = 0;
    HANDLE const created = CreateThread(nullptr, 0, procedure, object, CREATE_SUSPENDED, &threadId);
    if (created == nullptr)
    {
        return false;
    }
    HANDLE const process = GetCurrentProcess();
    HANDLE copy = nullptr;
    if (!DuplicateHandle(process, created, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS))
    {
        copy = nullptr;
    }
    handle = copy;
    id = threadId;
    bool const isResumed = copy != nullptr && ResumeThread(created) != c_Failed;
    if (!isResumed)
    {
        // It has run nothing yet, and never will.
        DWORD const reason = GetLastError();
        TerminateThread(created, 0);
        if (copy != nullptr)
        {
            CloseHandle(copy);
            handle = nullptr;
        }
        SetLastError(reason);
    }
    CloseHandle(created);
    return isResumed;
}
