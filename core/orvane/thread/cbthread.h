// A thread of one's own that runs a member function of an object.

#ifndef ORVANE_THREAD_CBTHREAD_H
#define ORVANE_THREAD_CBTHREAD_H

#include <atomic>
#include <chrono>
#include <utility>

#include "mfc/cstringt.h"
#include "orvane/exception/cbcheckreturn.h"
#include "orvane/export.h"
#include "orvane/sync/cbevent.h"
#include "orvane/thread/cbflags.h"
#include "platform/platform.h"

namespace detail
{
/// What threads ask of the system, out of line: a client's instance of CbThread needs no more of the system than its types.
/// Each reports whether the system did it, with the reason in the last error.
class ORVANE_API CThreadCalls
{
public:
    /// Whether the thread's exit code reads still-active; false for null.
    static bool IsActive(HANDLE thread);

    /// Warns (CbThreadInfo::WarnOnTermination) and kills the thread with the exit code of an active one. What a log sink
    /// throws is lost.
    static void Kill(HANDLE thread);

    static void Close(HANDLE handle);
    static bool Suspend(HANDLE thread);
    static bool Resume(HANDLE thread);

    /// False for null and on time-out; a wait that fails counts as true.
    static bool WaitForEnd(HANDLE thread, unsigned int timeoutMs);

    static int GetPriority(HANDLE thread);
    static bool SetPriority(HANDLE thread, int priority);

    /// Moves `priority` by `steps` along the ladder of the seven priorities; false, and unchanged, at its end and for a
    /// value that is not on it.
    static bool MovePriority(int& priority, int steps);

    static bool SetAffinityMask(HANDLE thread, unsigned __int64 mask);
    static bool SetIdealProcessor(HANDLE thread, unsigned int processor);

    /// 0 where it cannot be read.
    static unsigned __int64 GetProcessAffinityMask();

    /// Gives the calling thread the priority, unless it has it, and the affinity. A failure does not matter.
    static void PrepareCurrent(int priority, unsigned __int64 affinityMask);
};
} // namespace detail

/// Starts the system's threads for CbThread.
class ORVANE_API CbThreadPolicyMFC
{
public:
    using FnThreadProcedure = DWORD (*)(void* object);

    /// Starts a thread of normal priority and the default stack size that runs `procedure(object)` and ends with its
    /// result. `handle` receives a handle to close, `id` the thread's id; both are stored before the thread runs anything.
    /// Reports: false, with `handle` null and the reason in the last error, where the system starts none. After true
    /// neither reference is used any more: the thread may have ended already, and what they stand in may be gone.
    static bool Start(FnThreadProcedure procedure, void* object, HANDLE& handle, unsigned int& id);
};

/// Runs a member function of an owner on a thread of its own.
///
/// Priority and affinity can be set at any time; before the thread exists they are kept and given to it when it starts. A
/// thread object can be started again once its thread has ended; the outcome is then the new run's, while the terminated
/// event stays signalled from the first end on. P starts the threads, as CbThreadPolicyMFC does.
///
/// The destructor kills a thread that still runs, unless eThreadFlagAutoDelete is set: what a killed thread was about to do
/// stays undone, its locks stay taken. It runs after those of derived classes: a class whose thread uses the class's own
/// members waits for its thread (WaitUntilTerminate) before it is destroyed, or calls endThread in its destructor.
///
/// Threads: not locked. One thread controls the object at a time; start, signals and WaitUntilTerminate order what it does
/// with what the thread does. Once its terminated event is signalled the thread does not touch the object any more, but to
/// delete it where eThreadFlagAutoDelete is set.
template <class T, class P>
class CbThread
{
public:
    /// The system's own values; others are passed on as they are.
    enum EThreadPriority : int
    {
        eThreadPriorityIdle = -15,
        eThreadPriorityLowest = -2,
        eThreadPriorityBelowNormal = -1,
        eThreadPriorityNormal = 0,
        eThreadPriorityAboveNormal = 1,
        eThreadPriorityHighest = 2,
        eThreadPriorityTimeCritical = 15
    };

    enum EFlags : unsigned int
    {
        /// The object deletes itself when its thread ends, and its destructor does not kill a running thread.
        eThreadFlagAutoDelete = 1
    };

    using TCheckedBool = CbCheckReturn<bool, CbCheckReturnPolicyAssert>;
    using FnThreadMethod = TCheckedBool (T::*)();

    /// Starts nothing. `name` is kept for GetName only; null is the empty name. `affinityMask` has a bit for each
    /// processor that the thread may run on; 0 leaves the thread where the system puts it.
    CbThread(T& owner, FnThreadMethod method, wchar_t const* name, EThreadPriority priority,
             unsigned __int64 affinityMask);

    CbThread(CbThread const&) = delete;
    CbThread& operator=(CbThread const&) = delete;

    virtual ~CbThread();

    /// Starts the thread. Reports: false where it runs already, and where the system starts none.
    virtual bool Start();

    /// Starts the thread and returns when it has run onBeforeRun, also where that failed. Reports: as Start.
    virtual TCheckedBool StartAndWait();

    /// Stops the thread wherever it stands, until Resume; true where it is stopped already. A thread that is stopped while
    /// it holds a lock keeps the lock.
    /// Reports: false before the thread has begun to run, after its end, and where the system refuses.
    bool Suspend();

    /// Lets the thread go on; true where it is not stopped. Reports: false where the thread does not run, and where the
    /// system refuses.
    bool Resume();

    /// Kills the thread where it still runs, with a warning (CbThreadInfo::WarnOnTermination), and gives up the handle. A
    /// killed thread does not signal the terminated event and runs no onAfterRun.
    void Terminate();

    /// Waits for the end of the thread itself. Reports: false without a thread and on time-out; a wait that fails counts
    /// as true.
    TCheckedBool WaitUntilTerminate(unsigned int timeoutMs) const;

    /// The count is cut to 32 bits: -1 waits for ever.
    bool WaitUntilTerminate(std::chrono::milliseconds timeout) const;

    /// Without a time-out.
    bool WaitUntilTerminate() const;

    /// Whether there is a thread that has not ended.
    bool IsRunning() const;

    /// Whether no hook and not the method has failed in this run; true before the first one.
    bool IsSuccessful() const;

    /// The thread's priority, or the one that it will get.
    EThreadPriority GetPriority() const;

    /// Stores the priority and gives it to the thread. Reports: whether the system took it; true without a thread.
    bool SetPriority(EThreadPriority priority);

    /// One step down or up the ladder of the seven priorities. Reports: false at its end and from any other value, with
    /// nothing changed; otherwise as SetPriority.
    bool SlowDown();
    bool SpeedUp();

    /// Stores the mask and gives it to the thread. Reports: whether the system took it; true without a thread.
    bool SetThreadAffinityMask(unsigned __int64 mask);

    /// Reports: whether the system took it; false without a thread.
    bool SetThreadIdealProcessor(unsigned int processor);

    /// The processors that the process may use; 0 where they cannot be read.
    static unsigned __int64 GetProcessAffinityMask();

    /// The thread's handle, which stays this object's; null before the start and after Terminate.
    HANDLE GetThreadHandle() const;

    wchar_t const* GetName() const;

    /// From now on the thread signals `event`, under a handle of its own. Not while the thread may be ending.
    void SetTerminateEvent(CbEvent& event);

    /// Threads: flags may be read and changed by any thread; those that stand when the method has returned count.
    CbFlags<EFlags> GetFlags() const;
    void SetFlags(CbFlags<EFlags> flags);
    void AddFlags(CbFlags<EFlags> flags);
    void RemoveFlags(CbFlags<EFlags> flags);

    /// Whether all of `flags` are set.
    bool IsFlagsSet(CbFlags<EFlags> flags) const;

    /// Whether any of `flags` is set.
    bool IsOneFlagSet(CbFlags<EFlags> flags) const;

protected:
    /// Runs on the new thread before the method. What it raises fails the run: the method is left out then.
    virtual void onBeforeRun();

    /// Runs on the thread after the method, in every case; `result` is 0x80004005 where the run has failed, else 0. What it
    /// raises fails the run.
    virtual void onAfterRun(unsigned int result);

    /// The id of the thread that was started last; 0 before the first start.
    unsigned long getThreadID() const;

    /// Null is the empty name. The name is not given to the system.
    void setName(wchar_t const* name);

    /// What the destructor does about the thread: for destructors of derived classes whose members the thread uses.
    void endThread();

private:
    enum EState : unsigned int
    {
        eStarted = 1,
        eRunning = 2, // inside the procedure
        eTerminated = 4,
        eSuspended = 8,
        eFailed = 16
    };

    static constexpr unsigned int c_ResultFailed = 0x80004005;
    // What the system takes at most to end a thread that has left the procedure.
    static constexpr unsigned int c_EndMs = 2'000;

    static DWORD threadProcedure(void* object) noexcept;
    unsigned int run() noexcept;
    void fail() noexcept;
    bool isState(unsigned int state) const noexcept;

    // Clients know the places. Flags, priority, mask and state are read by the thread while the controlling thread may
    // change them; no order hangs on them.
    std::atomic<CbFlags<EFlags>> m_flags;
    T& m_owner;
    FnThreadMethod m_method;
    HANDLE m_handle = nullptr;
    unsigned int m_threadId = 0;
    std::atomic<unsigned __int64> m_affinityMask;
    std::atomic<CbEvent const*> m_startSignal = nullptr; // whoever takes it out of here signals it
    CbEvent m_terminated;
    std::atomic<EThreadPriority> m_priority;
    std::atomic<unsigned int> m_state = 0;
    CStringW m_name;
};

template <class T, class P>
CbThread<T, P>::CbThread(T& owner, FnThreadMethod method, wchar_t const* name, EThreadPriority priority,
                         unsigned __int64 affinityMask)
    : m_owner(owner),
      m_method(method),
      m_affinityMask(affinityMask),
      m_terminated(true, nullptr),
      m_priority(priority),
      m_name(name)
{
}

template <class T, class P>
CbThread<T, P>::~CbThread()
{
    endThread();
}

template <class T, class P>
bool CbThread<T, P>::Start()
{
    if (m_handle != nullptr)
    {
        if (isState(eStarted) && !isState(eTerminated))
        {
            return false;
        }
        detail::CThreadCalls::Close(std::exchange(m_handle, nullptr));
    }
    m_state = eStarted;
    if (!P::Start(&threadProcedure, this, m_handle, m_threadId))
    {
        m_state.fetch_and(~static_cast<unsigned int>(eStarted));
        return false;
    }
    // Nothing more: the object may have deleted itself.
    return true;
}

template <class T, class P>
auto CbThread<T, P>::StartAndWait() -> TCheckedBool
{
    CbEvent const hasBegun(true, nullptr);
    if (!hasBegun.Reset())
    {
        // The system gave no event: there would be nothing to wait for.
        return false;
    }
    m_startSignal = &hasBegun;
    if (Start())
    {
        hasBegun.Wait(INFINITE);
        return true;
    }
    // Where a thread that ran already has taken the signal it is about to use the event.
    if (m_startSignal.exchange(nullptr) == nullptr)
    {
        hasBegun.Wait(INFINITE);
    }
    return false;
}

template <class T, class P>
bool CbThread<T, P>::Suspend()
{
    if (!isState(eRunning))
    {
        return false;
    }
    if (isState(eSuspended))
    {
        return true;
    }
    // Marked first: a thread that suspends itself has to be found so.
    m_state.fetch_or(eSuspended);
    if (!detail::CThreadCalls::Suspend(m_handle))
    {
        m_state.fetch_and(~static_cast<unsigned int>(eSuspended));
        return false;
    }
    return true;
}

template <class T, class P>
bool CbThread<T, P>::Resume()
{
    if (!isState(eRunning))
    {
        return false;
    }
    if (!isState(eSuspended))
    {
        return true;
    }
    // Unmarked first: a thread that goes on may end, and delete the object.
    HANDLE const thread = m_handle;
    m_state.fetch_and(~static_cast<unsigned int>(eSuspended));
    if (!detail::CThreadCalls::Resume(thread))
    {
        m_state.fetch_or(eSuspended);
        return false;
    }
    return true;
}

template <class T, class P>
void CbThread<T, P>::Terminate()
{
    if (m_handle == nullptr)
    {
        return;
    }
    if (detail::CThreadCalls::IsActive(m_handle))
    {
        detail::CThreadCalls::Kill(m_handle);
    }
    detail::CThreadCalls::Close(std::exchange(m_handle, nullptr));
    m_state = eTerminated;
}

template <class T, class P>
auto CbThread<T, P>::WaitUntilTerminate(unsigned int timeoutMs) const -> TCheckedBool
{
    return detail::CThreadCalls::WaitForEnd(m_handle, timeoutMs);
}

template <class T, class P>
bool CbThread<T, P>::WaitUntilTerminate(std::chrono::milliseconds timeout) const
{
    return detail::CThreadCalls::WaitForEnd(m_handle, static_cast<unsigned int>(timeout.count()));
}

template <class T, class P>
bool CbThread<T, P>::WaitUntilTerminate() const
{
    return detail::CThreadCalls::WaitForEnd(m_handle, INFINITE);
}

template <class T, class P>
bool CbThread<T, P>::IsRunning() const
{
    return detail::CThreadCalls::IsActive(m_handle);
}

template <class T, class P>
bool CbThread<T, P>::IsSuccessful() const
{
    return !isState(eFailed);
}

template <class T, class P>
auto CbThread<T, P>::GetPriority() const -> EThreadPriority
{
    return m_handle != nullptr ? static_cast<EThreadPriority>(detail::CThreadCalls::GetPriority(m_handle))
                               : m_priority.load(std::memory_order_relaxed);
}

template <class T, class P>
bool CbThread<T, P>::SetPriority(EThreadPriority priority)
{
    m_priority.store(priority, std::memory_order_relaxed);
    return m_handle == nullptr || detail::CThreadCalls::SetPriority(m_handle, priority);
}

template <class T, class P>
bool CbThread<T, P>::SlowDown()
{
    int priority = GetPriority();
    return detail::CThreadCalls::MovePriority(priority, -1) && SetPriority(static_cast<EThreadPriority>(priority));
}

template <class T, class P>
bool CbThread<T, P>::SpeedUp()
{
    int priority = GetPriority();
    return detail::CThreadCalls::MovePriority(priority, 1) && SetPriority(static_cast<EThreadPriority>(priority));
}

template <class T, class P>
bool CbThread<T, P>::SetThreadAffinityMask(unsigned __int64 mask)
{
    m_affinityMask.store(mask, std::memory_order_relaxed);
    return m_handle == nullptr || detail::CThreadCalls::SetAffinityMask(m_handle, mask);
}

template <class T, class P>
bool CbThread<T, P>::SetThreadIdealProcessor(unsigned int processor)
{
    return detail::CThreadCalls::SetIdealProcessor(m_handle, processor);
}

template <class T, class P>
unsigned __int64 CbThread<T, P>::GetProcessAffinityMask()
{
    return detail::CThreadCalls::GetProcessAffinityMask();
}

template <class T, class P>
HANDLE CbThread<T, P>::GetThreadHandle() const
{
    return m_handle;
}

template <class T, class P>
wchar_t const* CbThread<T, P>::GetName() const
{
    return m_name.GetString();
}

template <class T, class P>
void CbThread<T, P>::SetTerminateEvent(CbEvent& event)
{
    m_terminated = event;
}

template <class T, class P>
auto CbThread<T, P>::GetFlags() const -> CbFlags<EFlags>
{
    return m_flags.load(std::memory_order_relaxed);
}

template <class T, class P>
void CbThread<T, P>::SetFlags(CbFlags<EFlags> flags)
{
    m_flags.store(flags, std::memory_order_relaxed);
}

template <class T, class P>
void CbThread<T, P>::AddFlags(CbFlags<EFlags> flags)
{
    CbFlags<EFlags> before = GetFlags();
    while (!m_flags.compare_exchange_weak(before, before | flags, std::memory_order_relaxed))
    {
    }
}

template <class T, class P>
void CbThread<T, P>::RemoveFlags(CbFlags<EFlags> flags)
{
    CbFlags<EFlags> before = GetFlags();
    CbFlags<EFlags> after;
    do
    {
        after = before;
        after.Remove(flags);
    } while (!m_flags.compare_exchange_weak(before, after, std::memory_order_relaxed));
}

template <class T, class P>
bool CbThread<T, P>::IsFlagsSet(CbFlags<EFlags> flags) const
{
    return GetFlags().IsSet(flags);
}

template <class T, class P>
bool CbThread<T, P>::IsOneFlagSet(CbFlags<EFlags> flags) const
{
    return GetFlags().IsOneSet(flags);
}

template <class T, class P>
void CbThread<T, P>::onBeforeRun()
{
}

template <class T, class P>
void CbThread<T, P>::onAfterRun(unsigned int)
{
}

template <class T, class P>
unsigned long CbThread<T, P>::getThreadID() const
{
    return m_threadId;
}

template <class T, class P>
void CbThread<T, P>::setName(wchar_t const* name)
{
    m_name = CStringW(name);
}

template <class T, class P>
void CbThread<T, P>::endThread()
{
    if (m_handle == nullptr)
    {
        return;
    }
    if (IsFlagsSet(eThreadFlagAutoDelete))
    {
        detail::CThreadCalls::Close(std::exchange(m_handle, nullptr));
        return;
    }
    if (isState(eTerminated))
    {
        // It has left the procedure and is about to end: who was told by the terminated event need not kill it.
        detail::CThreadCalls::WaitForEnd(m_handle, c_EndMs);
    }
    Terminate();
}

template <class T, class P>
DWORD CbThread<T, P>::threadProcedure(void* object) noexcept
{
    return static_cast<CbThread*>(object)->run();
}

template <class T, class P>
unsigned int CbThread<T, P>::run() noexcept
{
    m_state.fetch_or(eRunning);
    detail::CThreadCalls::PrepareCurrent(m_priority.load(std::memory_order_relaxed),
                                         m_affinityMask.load(std::memory_order_relaxed));
    try
    {
        onBeforeRun();
    }
    catch (...)
    {
        fail();
    }
    if (CbEvent const* const hasBegun = m_startSignal.exchange(nullptr); hasBegun != nullptr)
    {
        hasBegun->Set();
    }

    try
    {
        if (!isState(eFailed) && !(m_owner.*m_method)().Get())
        {
            fail();
        }
    }
    catch (...)
    {
        fail();
    }

    try
    {
        onAfterRun(isState(eFailed) ? c_ResultFailed : 0);
    }
    catch (...)
    {
        fail();
    }

    // All that is needed later is taken now: who waits for the event may destroy the object.
    unsigned int const exitCode = isState(eFailed) ? 1 : 0;
    bool const isAutoDelete = IsFlagsSet(eThreadFlagAutoDelete);
    unsigned int before = m_state;
    while (!m_state.compare_exchange_weak(before, (before & ~static_cast<unsigned int>(eRunning)) | eTerminated))
    {
    }
    m_terminated.Set();
    if (isAutoDelete)
    {
        delete this;
    }
    return exitCode;
}

template <class T, class P>
void CbThread<T, P>::fail() noexcept
{
    m_state.fetch_or(eFailed);
}

template <class T, class P>
bool CbThread<T, P>::isState(unsigned int state) const noexcept
{
    return (m_state & state) != 0;
}

#endif // ORVANE_THREAD_CBTHREAD_H
