#include "orvane/thread/cbthreadpool.h"

#include <new>
#include <utility>

#include "orvane/datetime/cbtimer.h"
#include "orvane/exception/cbexception.h"
#include "orvane/exception/raisesite.h"
#include "orvane/thread/cbchannel.h"
#include "orvane/thread/cbcpu.h"
#include "orvane/thread/cbthread.h"
#include "orvane/thread/taskplaces.h"

template class CbSingleton<CbThreadPool>;

namespace
{
CB_RAISING_FILE("cbthreadpool");
constexpr unsigned int c_LinePriority = 807; // published

constexpr unsigned int c_ShuttingDown = 1; // of the pool's flags: no task is taken

// The nodes of the first blocks.
constexpr unsigned int c_EntryBlock = 100;
constexpr unsigned int c_ListBlock = 40;
constexpr unsigned int c_MapBlock = 128;

constexpr unsigned int c_NoThread = 0xFFFFFFFF;

// The workers to begin with, and the limit of a thread that has none of its own.
unsigned int const s_defaultTaskLimit = CbCPU::GetCount();

// Holds a critical section for a scope, after giving way to those who want it too.
//
// For workers: who submits in bulk needs the pool's lock again and again for a moment. A worker that spins for it, or has to
// be woken for it, costs the submitter more than the worker gains by being early.
class CPoliteHolder
{
public:
    explicit CPoliteHolder(CbCriticalSection const& section) : m_section(section)
    {
        for (int attempt = 0; attempt < c_Attempts; ++attempt)
        {
            if (section.TryEnter())
            {
                return;
            }
            SwitchToThread();
        }
        section.Enter();
    }

    CPoliteHolder(CPoliteHolder const&) = delete;
    CPoliteHolder& operator=(CPoliteHolder const&) = delete;

    ~CPoliteHolder()
    {
        m_section.Leave();
    }

private:
    static constexpr int c_Attempts = 64;

    CbCriticalSection const& m_section;
};

// Has the next task of a queue brought near. Another processor wrote it, most likely, and the worker that takes it looks at
// it under the pool's lock.
template <class TOpenTasks>
void prefetchHead(TOpenTasks const& tasks)
{
    if (!tasks.IsEmpty())
    {
        __builtin_prefetch(tasks.GetHead().task.Get());
    }
}

template <class TPool>
std::shared_ptr<TPool> makePool(unsigned int blockSize)
{
    auto pool = std::make_shared<TPool>(blockSize);
    pool->reserve(1);
    return pool;
}
} // namespace

// What the workers share with the pool: a worker may come back from its task when the end of the process has destroyed the
// pool already. A line of its own: threads that want the lock write there.
struct alignas(detail::CTaskPlaces::c_Line) CbThreadPool::SGate
{
    CbCriticalSection lock;
    bool isPoolGone = false; // guarded by lock

    detail::CTaskPlaces places; // of the tasks of AddFunction; needs no lock
};

// A thread that runs the tasks that the pool puts into its channel, one at a time, until that is null.
class CbThreadPool::CWorkerThread : public CbThread<CWorkerThread, CbThreadPolicyMFC>
{
public:
    CWorkerThread(CbThreadPool& pool, std::shared_ptr<SGate> gate)
        : CbThread(*this, &CWorkerThread::threadMethod, L"CWorkerThread", eThreadPriorityNormal,
                   GetProcessAffinityMask()),
          m_pool(&pool),
          m_gate(std::move(gate))
    {
    }

    // Gives an idle worker a task of that thread, whose record is `data`. Expects the pool's lock. Waits for nothing: the
    // worker has taken its task before.
    void Occupy(unsigned long threadId, SThreadData& data, CbSmartPointer<CbTask> const& task)
    {
        account(threadId, data);
        m_tasks.Put(task, INFINITE);
    }

    // Gives a worker that looks for work a task, on its own thread: nobody has to be woken through the channel. Expects the
    // pool's lock.
    void Keep(unsigned long threadId, SThreadData& data, CbSmartPointer<CbTask> task)
    {
        account(threadId, data);
        m_own = std::move(task);
    }

    // Expects the pool's lock, and an idle worker.
    void Dismiss()
    {
        m_tasks.Put(nullptr, INFINITE);
    }

    // The thread whose task this was given last; c_NoThread before the first. Expects the pool's lock.
    unsigned int GetSubmitterId() const
    {
        return m_submitterId;
    }

    // That thread's record, after the task has run. What runs keeps the record: it is good until this task is counted out.
    // Expects the pool's lock.
    SThreadData& GetSubmitter() const
    {
        return *m_submitter;
    }

protected:
    void onBeforeRun() override
    {
        lookForWork();
    }

private:
    // Expects the pool's lock.
    void account(unsigned long threadId, SThreadData& data)
    {
        ++data.running;
        m_submitterId = static_cast<unsigned int>(threadId);
        m_submitter = &data;
    }

    TCheckedBool threadMethod()
    {
        while (runNext())
        {
            lookForWork();
        }
        return true;
    }

    // False where there was null. The task is released before the worker looks for another.
    bool runNext()
    {
        CbSmartPointer<CbTask> const task = m_own != nullptr ? std::move(m_own) : m_tasks.Take(INFINITE);
        if (task == nullptr)
        {
            return false;
        }
        try
        {
            task->Run();
        }
        catch (...)
        {
            // A task reports its own failures; what it lets out is no concern of the next one.
        }
        return true;
    }

    void lookForWork()
    {
        bool isBehindOthers = false;
        {
            SDropped dropped;
            // Other threads write there, under the lock: it comes while that is waited for.
            __builtin_prefetch(m_submitter);
            CPoliteHolder const holder(m_gate->lock);
            if (!m_gate->isPoolGone)
            {
                m_pool->considerIdleWorker(*this, dropped);
                isBehindOthers = m_own == nullptr && m_pool->m_idleWorkers.GetCount() > 1;
            }
            // Otherwise nothing will come through the channel, until the process is gone.
        }
        if (isBehindOthers)
        {
            // The next task is another worker's, who may be looking out for it on this processor.
            SwitchToThread();
        }
    }

    CbThreadPool* m_pool;
    unsigned int m_submitterId = c_NoThread; // guarded by the pool's lock
    SThreadData* m_submitter = nullptr;      // guarded by the pool's lock
    CbChannel<CbTask> m_tasks;
    std::shared_ptr<SGate> m_gate;
    CbSmartPointer<CbTask> m_own; // the next task, found by the worker itself
};

void CbThreadPool::SDropped::Add(CbSmartPointer<CbTask> task) noexcept
{
    ++count;
    try
    {
        tasks.push_back(std::move(task));
    }
    catch (std::bad_alloc const&)
    {
        // The worker that drops the task has to go on.
    }
}

// ---- the record of a submitting thread

CbThreadPool::SThreadData::SThreadData(std::shared_ptr<TEntryPool> const& entries)
    : limit(s_defaultTaskLimit),
      normal(entries),
      high(entries),
      low(entries)
{
}

CbThreadPool::TOpenTasks& CbThreadPool::SThreadData::GetOpenTasks(ETaskPriority priority)
{
    switch (priority)
    {
    case eTaskPriorityHigh:
        return high;
    case eTaskPriorityNormal:
        return normal;
    case eTaskPriorityLow:
        return low;
    }
    throw CbException(CB_SITE_AT(c_LinePriority, "CbThreadPool::SThreadData::GetOpenTasks"));
}

bool CbThreadPool::SThreadData::HasRoom() const noexcept
{
    return running < limit;
}

unsigned int CbThreadPool::SThreadData::GetOpenCount() const noexcept
{
    return high.GetCount() + normal.GetCount() + low.GetCount();
}

// ---- the pool

CbThreadPool::CbThreadPool()
    : m_gate(std::make_shared<SGate>()),
      m_idleNodes(makePool<TWorkers::TPool>(c_ListBlock)),
      m_idleNodeCount(c_ListBlock),
      m_idleWorkers(m_idleNodes),
      m_waitingThreads(makePool<TThreadIds::TPool>(c_ListBlock)),
      m_idle(true, nullptr),
      m_threads(c_MapBlock),
      m_entries(makePool<TEntryPool>(c_EntryBlock))
{
    m_threads.ReserveBlocks(1);
    for (unsigned int n = 0; n < s_defaultTaskLimit; ++n)
    {
        createWorkerThread();
    }
}

CbThreadPool::~CbThreadPool()
{
    SDropped dropped;
    CbCriticalSectionAuto holder(m_gate->lock);
    m_gate->isPoolGone = true;
    // What ends with the dropped tasks may want to add others.
    m_flags |= c_ShuttingDown;
    for (auto [threadId, data] : m_threads)
    {
        takeOpenTasks(data, dropped);
    }
    holder.Leave();
}

bool CbThreadPool::AddTask(CbSmartPointer<CbTask> task, ETaskPriority priority)
{
    if (task == nullptr)
    {
        return false;
    }
    bool hasToGrow = false;
    {
        // As the worker does in lookForWork.
        __builtin_prefetch(m_entries.get());
        CbCriticalSectionAuto const holder(m_gate->lock);
        if ((m_flags & c_ShuttingDown) != 0)
        {
            return false;
        }
        task->onAdd();

        unsigned long const threadId = GetCurrentThreadId();
        SThreadData* data = &getThreadData(threadId);
        if (data->HasRoom() && !m_idleWorkers.IsEmpty())
        {
            if (task->doNotRun())
            {
                return false;
            }
            // Asked again: the hook may have come back into the pool.
            data = &getThreadData(threadId);
            if (data->HasRoom() && !m_idleWorkers.IsEmpty())
            {
                m_idleWorkers.TakeHead()->Occupy(threadId, *data, task);
                updateIdleState();
                return true;
            }
        }

        data->GetOpenTasks(priority).AddTail(STaskEntry{std::move(task)});
        hasToGrow = data->HasRoom();
        if (hasToGrow)
        {
            try
            {
                m_waitingThreads.AddTail(threadId);
            }
            catch (CbExceptionContainer const&)
            {
                // The task is queued, and workers look at all threads in the end.
            }
        }
    }
    return !hasToGrow || createWorkerThread();
}

CbSmartPointer<CbTask> CbThreadPool::AddFunction(std::function<void()> function, ETaskPriority priority)
{
    class CTaskFunction : public CbTask
    {
    public:
        explicit CTaskFunction(std::function<void()> work) : CbTask(eLateEvent), m_function(std::move(work))
        {
        }

        static void* operator new(std::size_t size, detail::CTaskPlaces& places)
        {
            static_assert(sizeof(CTaskFunction) <= detail::CTaskPlaces::c_Room);
            static_assert(alignof(CTaskFunction) <= alignof(void*));
            static_cast<void>(size);
            return places.Take();
        }

        // Where the constructor raises.
        static void operator delete(void* place, detail::CTaskPlaces& places) noexcept
        {
            static_cast<void>(places);
            detail::CTaskPlaces::GiveBack(place);
        }

        // NOLINTNEXTLINE(misc-new-delete-overloads): its new is the one above, and there is no other.
        static void operator delete(void* place) noexcept
        {
            detail::CTaskPlaces::GiveBack(place);
        }

    protected:
        TCheckedBool run() override
        {
            m_function();
            return true;
        }

    private:
        std::function<void()> m_function;
    };

    // Once it is in the pool the task is another processor's: no reference is taken here from then on.
    CbSmartPointer<CbTask> task(new (m_gate->places) CTaskFunction(std::move(function)));
    if (!AddTask(task, priority))
    {
        task.Reset();
    }
    return task;
}

void CbThreadPool::LimitTaskCount(unsigned long threadId, unsigned int maximum)
{
    SDropped dropped;
    CbCriticalSectionAuto const holder(m_gate->lock);
    if (maximum != 0)
    {
        getThreadData(threadId).limit = maximum;
        return;
    }
    SThreadData* const data = m_threads.Find(threadId);
    if (data == nullptr)
    {
        return;
    }
    if (data->running != 0)
    {
        data->limit = s_defaultTaskLimit;
        return;
    }
    takeOpenTasks(*data, dropped);
    removeThreadData(threadId);
}

void CbThreadPool::LimitTaskCount(unsigned int maximum)
{
    LimitTaskCount(GetCurrentThreadId(), maximum);
}

bool CbThreadPool::WaitUntilIdle(unsigned int timeoutMs)
{
    return m_idle.Wait(timeoutMs) == CbEvent::eWaitSignaled;
}

bool CbThreadPool::ShutdownAndWait(unsigned int timeoutMs)
{
    CbTimer timer(CbTimer::eMilliseconds);
    timer.Start();
    for (unsigned int remainingMs = timeoutMs;;)
    {
        if (!WaitUntilIdle(remainingMs))
        {
            return false;
        }
        CbCriticalSectionAuto const holder(m_gate->lock);
        if (m_idleWorkers.GetCount() == m_workerCount)
        {
            m_flags |= c_ShuttingDown;
            if (!stopWorkers(0))
            {
                // The flag stays: a pool with a worker that does not end takes no more work.
                return false;
            }
            m_flags &= ~c_ShuttingDown;
            return true;
        }
        // Work was added meanwhile. Unsigned, by contract: what has passed may be more than what was left.
        remainingMs -= static_cast<unsigned int>(timer.GetElapsedTime());
        timer.Reset();
    }
}

unsigned int CbThreadPool::getWorkerCount() const
{
    return m_workerCount.load(std::memory_order_relaxed);
}

unsigned int CbThreadPool::getIdleCount() const
{
    CbCriticalSectionAuto const holder(m_gate->lock);
    return m_idleWorkers.GetCount();
}

bool CbThreadPool::limitWorkerCount(unsigned int maximum)
{
    for (;;)
    {
        if (!WaitUntilIdle(INFINITE))
        {
            return false;
        }
        CbCriticalSectionAuto const holder(m_gate->lock);
        if (m_idleWorkers.GetCount() == m_workerCount)
        {
            return stopWorkers(maximum);
        }
    }
}

bool CbThreadPool::createWorkerThread()
{
    std::unique_ptr<CWorkerThread> worker;
    try
    {
        worker = std::make_unique<CWorkerThread>(*this, m_gate);
        CbCriticalSectionAuto const holder(m_gate->lock);
        reserveIdleNodes(m_workerCount + 1);
        // Counted before it starts: an idle worker that is not counted yet could stand for one that is busy.
        ++m_workerCount;
        updateIdleState();
    }
    catch (std::bad_alloc const&)
    {
        return false;
    }
    catch (CbExceptionContainer const&)
    {
        return false;
    }
    if (worker->Start())
    {
        // The pool's own from now on, and perhaps ended by now.
        static_cast<void>(worker.release());
        return true;
    }
    CbCriticalSectionAuto const holder(m_gate->lock);
    --m_workerCount;
    updateIdleState();
    return false;
}

// Called by a worker on its own thread, at its start and after each task. Expects the lock.
void CbThreadPool::considerIdleWorker(CWorkerThread& worker, SDropped& dropped)
{
    // The thread whose task it was.
    unsigned int const submitterId = worker.GetSubmitterId();
    if (submitterId != c_NoThread)
    {
        SThreadData* data = &worker.GetSubmitter();
        --data->running;
        if (serve(submitterId, data, worker, false, dropped))
        {
            return;
        }
        if (data != nullptr && data->GetOpenCount() == 0 && data->running == 0 && data->limit == s_defaultTaskLimit)
        {
            removeThreadData(submitterId);
        }
    }

    // One that waits for a worker. Only one: each of them has had a worker started for it.
    if (!m_waitingThreads.IsEmpty())
    {
        unsigned long const threadId = m_waitingThreads.TakeHead();
        SThreadData* data = m_threads.Find(threadId);
        if (serve(threadId, data, worker, true, dropped))
        {
            return;
        }
    }

    // Anyone with room.
    for (auto* position = m_threads.GetStart(); position != nullptr;)
    {
        unsigned int const droppedBefore = dropped.count;
        SThreadData* data = &m_threads.GetValue(position);
        if (serve(m_threads.GetKey(position), data, worker, true, dropped))
        {
            return;
        }
        // Where a task was dropped its hook may have changed the map: from the beginning then.
        position = dropped.count == droppedBefore ? m_threads.GetNext(position) : m_threads.GetStart();
    }

    m_idleWorkers.AddTail(&worker);
    updateIdleState();
}

// Gives the worker the next task of a thread; drops those that do not want to run. `data` is the thread's record, null
// where there is none, also afterwards. Expects the lock.
bool CbThreadPool::serve(unsigned long threadId, SThreadData*& data, CWorkerThread& worker, bool isLimited,
                         SDropped& dropped)
{
    for (ETaskPriority const priority : {eTaskPriorityHigh, eTaskPriorityNormal, eTaskPriorityLow})
    {
        for (;;)
        {
            if (data == nullptr || (isLimited && !data->HasRoom()))
            {
                return false;
            }
            TOpenTasks& tasks = data->GetOpenTasks(priority);
            if (tasks.IsEmpty())
            {
                break;
            }
            // Taken out whatever comes of it: a task that must not run is dropped, not tried again.
            CbSmartPointer<CbTask> task = tasks.TakeHead().task;
            prefetchHead(tasks);
            try
            {
                if (occupyWorker(task, threadId, *data, worker))
                {
                    return true;
                }
            }
            catch (...)
            {
                // A hook that fails has not said that the task may run.
            }
            dropped.Add(std::move(task));
            // The hook may have removed the record.
            data = m_threads.Find(threadId);
        }
    }
    return false;
}

// For a worker that looks for work. False where the task does not want to run. Expects the lock.
bool CbThreadPool::occupyWorker(CbSmartPointer<CbTask>& task, unsigned long threadId, SThreadData& data,
                                CWorkerThread& worker)
{
    unsigned int const removedBefore = m_removedCount;
    if (task->doNotRun())
    {
        return false;
    }
    // The hook may have come back into the pool.
    SThreadData& record = m_removedCount == removedBefore ? data : getThreadData(threadId);
    worker.Keep(threadId, record, std::move(task));
    return true;
}

// Expects the lock.
CbThreadPool::SThreadData& CbThreadPool::getThreadData(unsigned long threadId)
{
    SThreadData* const data = m_threads.Find(threadId);
    return data != nullptr ? *data : m_threads.Insert(threadId, SThreadData(m_entries));
}

// Expects the lock.
void CbThreadPool::removeThreadData(unsigned long threadId)
{
    ++m_removedCount;
    m_threads.Remove(threadId);
}

// Expects the lock.
void CbThreadPool::takeOpenTasks(SThreadData& data, SDropped& dropped)
{
    for (ETaskPriority const priority : {eTaskPriorityHigh, eTaskPriorityNormal, eTaskPriorityLow})
    {
        TOpenTasks& open = data.GetOpenTasks(priority);
        while (!open.IsEmpty())
        {
            dropped.Add(open.TakeHead().task);
        }
    }
}

// Sees to it that as many workers find a node when they become idle: they could not report that there is none. Expects the
// lock.
void CbThreadPool::reserveIdleNodes(unsigned int count)
{
    while (m_idleNodeCount < count)
    {
        unsigned int const blockSize = m_idleNodes->getNextBlockSize();
        m_idleNodes->reserve(m_idleNodes->getBlockCount() + 1);
        m_idleNodeCount += blockSize;
    }
}

// Expects the lock, and every worker to be idle.
bool CbThreadPool::stopWorkers(unsigned int maximum)
{
    while (m_workerCount > maximum)
    {
        CWorkerThread* const worker = m_idleWorkers.TakeHead();
        worker->Dismiss();
        if (!worker->WaitUntilTerminate())
        {
            m_idleWorkers.AddTail(worker);
            return false;
        }
        delete worker;
        --m_workerCount;
    }
    return true;
}

// Expects the lock.
void CbThreadPool::updateIdleState()
{
    bool const isIdle = m_idleWorkers.GetCount() == m_workerCount;
    if (isIdle != m_isIdleSet)
    {
        m_isIdleSet = isIdle;
        if (isIdle)
        {
            m_idle.Set();
        }
        else
        {
            m_idle.Reset();
        }
    }
}
