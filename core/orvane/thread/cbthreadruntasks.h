// A thread with a queue of tasks.

#ifndef ORVANE_THREAD_CBTHREADRUNTASKS_H
#define ORVANE_THREAD_CBTHREADRUNTASKS_H

#include "orvane/container/cbarray.h"
#include "orvane/container/cblistbaseintermediate.h"
#include "orvane/memory/cbsmartpointer.h"
#include "orvane/sync/cbcriticalsection.h"
#include "orvane/thread/cbtask.h"
#include "orvane/thread/cbthread.h"

class CbThreadRunTasks;
extern template class ORVANE_API CbThread<CbThreadRunTasks, CbThreadPolicyMFC>;

/// Runs the tasks of its queue, first in first out, on a thread of its own.
///
/// Tasks that are queued before the start, or while the thread works its queue off, run. Once the queue is empty the thread
/// ends (leave when empty), or waits until it is told to break and a task was added since it last began to wait; it ends
/// then, at once: what was added after it found its queue empty does not run. So a break alone does not end it before some
/// task was added, and a task alone does not wake it. A break is for good: started again, the thread ends as soon as its
/// queue is empty and a task was added.
///
/// The destructor releases the tasks that were not run and kills a thread that still runs.
/// Threads: any may add tasks and break; the rest as CbThread. No lock is held while a task runs.
class ORVANE_API CbThreadRunTasks : public CbThread<CbThreadRunTasks, CbThreadPolicyMFC>
{
public:
    /// Normal priority, the process's processors; not started.
    CbThreadRunTasks(wchar_t const* name, bool leaveWhenEmpty);

    ~CbThreadRunTasks() override;

    /// Queues a task; its onAdd is not called, and its terminated event stays as it is.
    /// Raises: CbExceptionCondition from file "cbthreadruntasks", line 64, function "CbThreadRunTasks::AddTask" for null,
    /// CbExceptionContainer where there is no memory; nothing is queued then.
    void AddTask(CbSmartPointer<CbTask> task);

    /// Has the thread end when it waits next.
    void Break();

private:
    using TQueue = CbListBaseIntermediate<CbSmartPointer<CbTask>, 17>;

    TCheckedBool threadMethod();
    CbSmartPointer<CbTask> takeHead(TQueue& queue);
    TQueue takeAll();

    CbCriticalSection m_queueLock;
    CbArray<CbEvent> m_events; // break, new task
    TQueue m_queue;            // guarded by m_queueLock
    bool m_leaveWhenEmpty;
};

#endif // ORVANE_THREAD_CBTHREADRUNTASKS_H
