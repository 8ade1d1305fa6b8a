#include "orvane/thread/cbthreadruntasks.h"

#include <utility>

#include "orvane/exception/condition.h"
#include "orvane/exception/raisesite.h"

template class CbThread<CbThreadRunTasks, CbThreadPolicyMFC>;

namespace
{
CB_RAISING_FILE("cbthreadruntasks");
constexpr unsigned int c_LineNullTask = 64; // published

constexpr unsigned int c_BlockSize = 10; // of the queue's nodes

// The places of the events.
constexpr unsigned int c_Break = 0;
constexpr unsigned int c_NewTask = 1;
constexpr unsigned int c_EventCount = 2;
} // namespace

CbThreadRunTasks::CbThreadRunTasks(wchar_t const* name, bool leaveWhenEmpty)
    : CbThread(*this, &CbThreadRunTasks::threadMethod, name, eThreadPriorityNormal, GetProcessAffinityMask()),
      m_events(c_EventCount),
      m_queue(c_BlockSize),
      m_leaveWhenEmpty(leaveWhenEmpty)
{
}

CbThreadRunTasks::~CbThreadRunTasks()
{
    // The thread may be running a task that adds others. All nodes come from one pool and go back to it under the lock;
    // the tasks are released without it.
    TQueue unrun = takeAll();
    while (takeHead(unrun) != nullptr)
    {
    }
    // Before lock and events go: the thread may be using them.
    endThread();
}

void CbThreadRunTasks::AddTask(CbSmartPointer<CbTask> task)
{
    if (task == nullptr)
    {
        Condition::HandleUnfulfilledCondition(CB_SITE_AT(c_LineNullTask, "CbThreadRunTasks::AddTask"),
                                              Condition::eHandlingThrow);
    }
    {
        CbCriticalSectionAuto const holder(m_queueLock);
        m_queue.AddTail(std::move(task));
    }
    m_events[c_NewTask].Set();
}

void CbThreadRunTasks::Break()
{
    m_events[c_Break].Set();
}

CbThreadRunTasks::TCheckedBool CbThreadRunTasks::threadMethod()
{
    for (;;)
    {
        while (CbSmartPointer<CbTask> const task = takeHead(m_queue))
        {
            task->Run();
        }
        if (m_leaveWhenEmpty)
        {
            return true;
        }
        // For both, by contract: the class comment says what follows from it.
        static_cast<void>(CbEvent::WaitForMultipleEvents(m_events, INFINITE));
        if (m_events[c_Break].IsSet())
        {
            return true;
        }
        m_events[c_NewTask].Reset();
    }
}

// Null where the queue is empty: no null is ever queued.
CbSmartPointer<CbTask> CbThreadRunTasks::takeHead(TQueue& queue)
{
    CbCriticalSectionAuto const holder(m_queueLock);
    return queue.IsEmpty() ? CbSmartPointer<CbTask>() : queue.TakeHead();
}

CbThreadRunTasks::TQueue CbThreadRunTasks::takeAll()
{
    CbCriticalSectionAuto const holder(m_queueLock);
    return std::move(m_queue);
}
