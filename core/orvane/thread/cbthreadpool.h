// The pool of worker threads that the whole process shares.

#ifndef ORVANE_THREAD_CBTHREADPOOL_H
#define ORVANE_THREAD_CBTHREADPOOL_H

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "orvane/container/cblistbaseintermediate.h"
#include "orvane/container/cbmap.h"
#include "orvane/memory/cbsingleton.h"
#include "orvane/memory/cbsmartpointer.h"
#include "orvane/sync/cbcriticalsection.h"
#include "orvane/sync/cbevent.h"
#include "orvane/thread/cbtask.h"

class CbThreadPool;
extern template class ORVANE_API CbSingleton<CbThreadPool>;

/// Runs tasks that any thread hands to it: `CbThreadPool::GetInstance().AddTask(task, CbThreadPool::eTaskPriorityNormal);`
///
/// Work is accounted to the thread that submits it. Each has a limit of tasks that run at the same time (at first the
/// number of processors) and a queue for each priority, first in first out. A task goes to an idle worker at once where its
/// submitter has room under the limit, past tasks that are queued; otherwise it is queued. A worker that has run a task
/// takes the next one of the same submitter, the highest priority first and whatever the limit; otherwise one of a thread
/// that waits for a worker, otherwise one of any thread with room; otherwise it is idle. So a thread that floods the pool
/// keeps only its own share busy. What a task submits is accounted to the worker's own thread.
///
/// The pool begins with a worker for each processor and grows by one whenever a task finds room but no idle worker: a task
/// may wait for tasks that it submits. It shrinks by ShutdownAndWait only.
///
/// At the end of the process the pool lets go of what is queued and neither stops nor waits for its workers: who needs the
/// work done waits for it before. A task that is running then may go on until the process is gone.
/// Threads: any. The hooks doNotRun and onAdd of tasks run under the pool's lock; tasks run, and end, without it. Lock
/// order: the pool's lock, then a worker's channel.
class ORVANE_API CbThreadPool : public CbSingleton<CbThreadPool>
{
public:
    enum ETaskPriority : unsigned int
    {
        eTaskPriorityLow = 0,
        eTaskPriorityNormal = 1,
        eTaskPriorityHigh = 2
    };

    CbThreadPool(CbThreadPool const&) = delete;
    CbThreadPool& operator=(CbThreadPool const&) = delete;

    /// Hands the task to a worker, or queues it, for the calling thread. The task's onAdd is called first, also where the
    /// task is then refused.
    /// Reports: false for null, while the pool is shutting down, where an idle worker was there and the task's doNotRun is
    /// true, and where the worker that it needed could not be started: it stays queued then. A queued task whose doNotRun
    /// is true when its turn comes is dropped without being run, and its terminated event is not set.
    /// Raises: CbException from file "cbthreadpool", line 807, function "CbThreadPool::SThreadData::GetOpenTasks" where
    /// the task has to be queued and the priority is none of the three; CbExceptionContainer where there is no memory;
    /// what the task's hooks raise. The task is not queued then.
    /// Cost: a task that finds an idle worker is not queued; in a steady state nothing is allocated.
    bool AddTask(CbSmartPointer<CbTask> task, ETaskPriority priority);

    /// Wraps a function in a task. Returns the task, to wait for; empty where AddTask reports false: where no worker could
    /// be started the task is queued all the same and will run, so what the function refers to must live on. An empty
    /// function fails the task when it runs. Raises: as AddTask.
    /// Cost: the task's terminated event is made when it is asked or waited for first. Tasks come from blocks of sixteen
    /// (two kilobytes), which go when all tasks in them are released.
    CbSmartPointer<CbTask> AddFunction(std::function<void()> function, ETaskPriority priority);

    /// Sets the most tasks of a thread that run at the same time. Neither stops nor starts anything: queued tasks take up
    /// what room there is when a worker looks for work next.
    /// 0 resets the thread to the default; where nothing of it runs its queued tasks are dropped with its record.
    void LimitTaskCount(unsigned long threadId, unsigned int maximum);

    /// The same for the calling thread.
    void LimitTaskCount(unsigned int maximum);

    /// Waits until every worker is idle. Reports: false on time-out. 0 only looks, 0xFFFFFFFF waits for ever.
    bool WaitUntilIdle(unsigned int timeoutMs);

    /// Waits until every worker is idle and ends them all. The pool can be used again: the next task starts a worker.
    /// Reports: false where the workers were not idle in time; nothing was stopped then.
    /// Not from inside a task, whose own worker would never be idle. Where work is added while it waits, the time that has
    /// passed is taken off in unsigned arithmetic: more than was left makes the wait a very long one.
    /// Threads: holds the pool's lock while workers end: what their threads still do at their end must not need the pool.
    bool ShutdownAndWait(unsigned int timeoutMs);

protected:
    /// A snapshot.
    unsigned int getWorkerCount() const;

    /// A snapshot; takes the pool's lock.
    unsigned int getIdleCount() const;

    /// Waits until every worker is idle, without a time-out, and ends workers until at most `maximum` are left.
    /// Reports: false where the wait fails.
    bool limitWorkerCount(unsigned int maximum);

private:
    friend class CbSingleton<CbThreadPool>;

    class CWorkerThread;
    struct SGate;

    // A queued task.
    struct STaskEntry
    {
        CbSmartPointer<CbTask> task;
    };

    using TOpenTasks = CbListBaseIntermediate<STaskEntry, 17>;
    using TEntryPool = TOpenTasks::TPool;

    // What is accounted to one submitting thread.
    struct SThreadData
    {
        explicit SThreadData(std::shared_ptr<TEntryPool> const& entries);

        // Raises: CbException, line 807, for a priority that there is not.
        TOpenTasks& GetOpenTasks(ETaskPriority priority);

        bool HasRoom() const noexcept;
        unsigned int GetOpenCount() const noexcept;

        unsigned int limit;
        unsigned int running = 0; // tasks that are handed to workers
        TOpenTasks normal;        // first: most tasks are, and what is written for each of them stands together
        TOpenTasks high;
        TOpenTasks low;
    };

    using TWorkers = CbListBaseIntermediate<CWorkerThread*, 9>;
    using TThreadIds = CbListBaseIntermediate<unsigned long, 9>;

    // Tasks that are released once the pool's lock is left: what ends with them may do anything.
    struct SDropped
    {
        // Without memory for it the task is released here and now.
        void Add(CbSmartPointer<CbTask> task) noexcept;

        std::vector<CbSmartPointer<CbTask>> tasks;
        unsigned int count = 0; // of all that were added
    };

    CbThreadPool();
    ~CbThreadPool();

    bool createWorkerThread();
    void considerIdleWorker(CWorkerThread& worker, SDropped& dropped);
    bool serve(unsigned long threadId, SThreadData*& data, CWorkerThread& worker, bool isLimited, SDropped& dropped);
    bool occupyWorker(CbSmartPointer<CbTask>& task, unsigned long threadId, SThreadData& data, CWorkerThread& worker);
    SThreadData& getThreadData(unsigned long threadId);
    void removeThreadData(unsigned long threadId);
    static void takeOpenTasks(SThreadData& data, SDropped& dropped);
    void reserveIdleNodes(unsigned int count);
    bool stopWorkers(unsigned int maximum);
    void updateIdleState();

    // Changed under the lock, read without.
    std::atomic<unsigned int> m_flags = 0;
    std::atomic<unsigned int> m_workerCount = 0;

    std::shared_ptr<SGate> m_gate; // the lock, which guards all that follows

    std::shared_ptr<TWorkers::TPool> m_idleNodes;
    unsigned int m_idleNodeCount; // that m_idleNodes has: at least one for each worker
    bool m_isIdleSet = false;     // what m_idle is

    TWorkers m_idleWorkers;
    TThreadIds m_waitingThreads; // queued a task while they had room and no worker was idle
    CbEvent m_idle;              // set as long as every worker is idle; waited on without the lock
    CbMap<unsigned long, SThreadData> m_threads;
    std::shared_ptr<TEntryPool> m_entries;
    unsigned int m_removedCount = 0; // records that were removed
};

#endif // ORVANE_THREAD_CBTHREADPOOL_H
