// The unit of work that threads run.

#ifndef ORVANE_THREAD_CBTASK_H
#define ORVANE_THREAD_CBTASK_H

#include <atomic>
#include <functional>

#include "orvane/exception/cbcheckreturn.h"
#include "orvane/exception/cbexception.h"
#include "orvane/export.h"
#include "orvane/memory/cbreferencecounter.h"
#include "orvane/sync/cbevent.h"
#include "typeregistry/cbrtti.h"

/// Work to be run by a thread, counted by its owners. A derived class supplies `run`, and the hooks that it needs.
///
/// A task may be run again. What a waiter sees when the terminated event releases it is final for that run: the success
/// flag, and what the after-run handler did.
/// Threads: not locked; one thread runs a task at a time. IsRunning, IsThreaded and IsSuccessful may be asked on any, and
/// are snapshots there; the waits too.
class ORVANE_API CbTask : public IReferenceCounted
{
public:
    using TCheckedBool = CbCheckReturn<bool, CbCheckReturnPolicyAssert>;

    static CbRTTI const RTTI;

    /// Not successful, its terminated event not set. The calling thread is the task's creator.
    CbTask();

    /// The copy has a count of its own and shares the terminated event; flag, threads and handler are the source's.
    CbTask(CbTask const& other);

    /// The same, but that this keeps its count. Assigning a task to itself does nothing.
    CbTask& operator=(CbTask const& other);

    ~CbTask() override;

    /// Runs the task on the calling thread: onBeforeRun, run and onAfterRun, each only where the one before succeeded.
    /// Then the handler is called, whatever the outcome, and the terminated event is set last.
    /// An exception out of one of the three fails the run and is reported to onException: a CbException as it is, any
    /// other replaced by a CbException from file "cbtask", line 62, function "CbTaskHelper::tryAndCatch". What a sink of the
    /// log raises while that is made fails the run as well, and there is nothing to report.
    /// Raises: what onException and the handler raise; the terminated event is not set then.
    /// Returns this task. The caller owns it: nothing of it is touched once the event is set.
    CbTask& Run();

    /// Whether a thread is running it.
    bool IsRunning() const;

    /// Whether a thread other than its creator is running it.
    bool IsThreaded() const;

    /// The outcome of the last run; while one is under way, of its steps so far.
    bool IsSuccessful() const;

    /// Set at the end of a run. Only onAdd resets it.
    CbEvent const& GetTerminatedEvent() const;

    /// Reports: false on time-out only; a wait that fails counts as true. 0 only looks, 0xFFFFFFFF waits for ever.
    TCheckedBool WaitUntilTerminate(unsigned int timeoutMs) const;

    /// What is called at the end of each run, on the thread that ran the task. Empty calls nothing.
    /// Threads: not while the task may be running.
    void SetOnAfterRunTaskHandler(std::function<void(CbTask const&)> handler);

protected:
    CbReferenceCounter<unsigned int> const& getReferenceCounter() const override;

public:
    /// The record of the class; that of a derived class without a record is CbTask's.
    virtual CbRTTI const& GetRTTI() const;

protected:
    /// The work. Reports: whether it succeeded. What it raises fails the run; of an exception that is no CbException no
    /// text is kept (see Run): catch it here and raise a CbException with a CbExceptionStd of it as the cause.
    virtual TCheckedBool run() = 0;

    /// Asked by the thread pool, under its lock, before it gives the task to a worker: true drops the task unrun.
    virtual bool doNotRun() const;

    /// Called by the thread pool, under its lock, when the task is added. Resets the terminated event.
    virtual void onAdd();

    virtual void onBeforeRun();

    /// Not after a run that failed.
    virtual void onAfterRun();

    /// For clients; the library never calls it.
    virtual void onCancel();

    /// Receives what a hook or the work raised; the pointer is good for the call. Nothing else reports it but the log
    /// entries that an exception writes itself.
    virtual void onException(CbException const* exception);

public:
    /// The name in the class record.
    wchar_t const* GetClassNameW() const;

    /// Whether the task is exactly of the record's class.
    bool Is(CbRTTI const& record) const;

    /// Whether the task is of the record's class or of one below it.
    bool IsKindOf(CbRTTI const& record) const;

private:
    friend class CbThreadPool; // asks doNotRun, calls onAdd, and makes tasks whose event is made late

    static constexpr unsigned int c_NoThread = 0xFFFFFFFF;

    enum ELateEvent
    {
        eLateEvent
    };

    // The terminated event is made when it is asked or waited for first. For tasks that most submitters never wait for.
    explicit CbTask(ELateEvent);

    // How far the event is; 0 where it is there and tells itself whether it is set.
    enum EEvent : unsigned char
    {
        eMade = 0,
        eSet = 1, // once it will be there
        eUnmade = 2,
        eMaking = 4 // by a thread that asks or waits
    };

    void makeEvent() const;
    void noteTerminated(bool isTerminated);

    // Clients know the places. Flag and running thread are plain reads for who asks; the event orders what waiters see.
    CbReferenceCounter<unsigned int> m_references;
    mutable CbEvent m_terminated; // made late by the thread that has set eMaking
    std::atomic<bool> m_isSuccessful = false;
    mutable std::atomic<unsigned char> m_event = eMade;
    unsigned int m_creatorThreadId;
    std::atomic<unsigned int> m_runningThreadId = c_NoThread;
    std::function<void(CbTask const&)> m_onAfterRunTask;
};

#endif // ORVANE_THREAD_CBTASK_H
