#include "orvane/thread/cbtask.h"

#include <cstdint>

#include "orvane/exception/raisesite.h"
#include "orvane/text/cbformat.h"

namespace
{
constexpr char c_SourceFile[] = "cbtask";
constexpr unsigned int c_LineOther = 62; // published

// What stands for an event that is not made yet, and for one that is set. No system gives such handles.
HANDLE unmade()
{
    return reinterpret_cast<HANDLE>(std::uintptr_t{1});
}

HANDLE unmadeAndSet()
{
    return reinterpret_cast<HANDLE>(std::uintptr_t{2});
}

bool isMade(HANDLE handle)
{
    return handle != unmade() && handle != unmadeAndSet();
}

// Runs one step of a task where the one before succeeded. `report` receives the exception that came out of it.
template <class TStep, class TReport>
bool tryAndCatch(CbTask const& task, bool isWanted, TStep const& step, TReport const& report)
{
    if (!isWanted)
    {
        return false;
    }
    try
    {
        try
        {
            return step();
        }
        catch (CbException const&)
        {
            throw;
        }
        catch (...)
        {
            throw CbException(
                CB_SITE_AT(c_LineOther, "CbTaskHelper::tryAndCatch"),
                CbFormatT<CStringW>(L"Unknown exception in task '%s'", task.GetClassNameW()).GetText().GetString());
        }
    }
    catch (CbException const& exception)
    {
        report(&exception);
        return false;
    }
}
} // namespace

CbRTTI const CbTask::RTTI(L"CbTask", nullptr, nullptr);

CbTask::CbTask() : m_terminated(true, nullptr), m_creatorThreadId(GetCurrentThreadId())
{
}

CbTask::CbTask(CbTask const& other)
    : IReferenceCounted(other),
      m_terminated(other.GetTerminatedEvent()),
      m_isSuccessful(other.m_isSuccessful.load(std::memory_order_relaxed)),
      m_creatorThreadId(other.m_creatorThreadId),
      m_runningThreadId(other.m_runningThreadId.load(std::memory_order_relaxed)),
      m_onAfterRunTask(other.m_onAfterRunTask)
{
}

CbTask& CbTask::operator=(CbTask const& other)
{
    // An event that is assigned to itself would be lost.
    if (this != &other)
    {
        m_onAfterRunTask = other.m_onAfterRunTask;
        static_cast<void>(GetTerminatedEvent());
        m_terminated = other.GetTerminatedEvent();
        m_isSuccessful.store(other.m_isSuccessful.load(std::memory_order_relaxed), std::memory_order_relaxed);
        m_creatorThreadId = other.m_creatorThreadId;
        m_runningThreadId.store(other.m_runningThreadId.load(std::memory_order_relaxed), std::memory_order_relaxed);
    }
    return *this;
}

CbTask::CbTask(ELateEvent) : m_terminated(unmade()), m_creatorThreadId(GetCurrentThreadId())
{
}

CbTask::~CbTask()
{
    std::atomic_ref<HANDLE> const handle = terminatedHandle();
    if (!isMade(handle.load(std::memory_order_relaxed)))
    {
        // Nothing to close.
        handle.store(nullptr, std::memory_order_relaxed);
    }
}

CbTask& CbTask::Run()
{
    m_runningThreadId.store(GetCurrentThreadId(), std::memory_order_relaxed);

    bool isSuccessful = true;
    auto const report = [this](CbException const* exception) { onException(exception); };
    auto const take = [&](auto const& step)
    {
        isSuccessful = tryAndCatch(*this, isSuccessful, step, report);
        m_isSuccessful.store(isSuccessful, std::memory_order_relaxed);
    };
    take(
        [this]
        {
            onBeforeRun();
            return true;
        });
    take([this] { return run().Get(); });
    take(
        [this]
        {
            onAfterRun();
            return true;
        });

    m_runningThreadId.store(c_NoThread, std::memory_order_relaxed);
    if (m_onAfterRunTask)
    {
        m_onAfterRunTask(*this);
    }
    setTerminated();
    return *this;
}

bool CbTask::IsRunning() const
{
    return m_runningThreadId.load(std::memory_order_relaxed) != c_NoThread;
}

bool CbTask::IsThreaded() const
{
    unsigned int const running = m_runningThreadId.load(std::memory_order_relaxed);
    return running != c_NoThread && running != m_creatorThreadId;
}

bool CbTask::IsSuccessful() const
{
    return m_isSuccessful.load(std::memory_order_relaxed);
}

CbEvent const& CbTask::GetTerminatedEvent() const
{
    std::atomic_ref<HANDLE> const handle = terminatedHandle();
    for (HANDLE seen = handle.load(std::memory_order_acquire); !isMade(seen);)
    {
        CbEvent made;
        if (made.m_handle == nullptr || (seen == unmadeAndSet() && !made.Set()))
        {
            // What stands there is no handle: all that the event does fails.
            break;
        }
        // Acquire and release: the end of the run may have come before, and comes after, for who waits for the event.
        if (handle.compare_exchange_strong(seen, made.m_handle, std::memory_order_acq_rel, std::memory_order_acquire))
        {
            made.m_handle = nullptr;
            break;
        }
        // The run has ended meanwhile, or another thread has made the event.
    }
    return m_terminated;
}

CbTask::TCheckedBool CbTask::WaitUntilTerminate(unsigned int timeoutMs) const
{
    HANDLE const seen = terminatedHandle().load(std::memory_order_acquire);
    if (seen == unmadeAndSet() || (seen == unmade() && timeoutMs == 0))
    {
        // What the event's own wait would leave.
        SetLastError(0);
        return seen == unmadeAndSet();
    }
    return GetTerminatedEvent().Wait(timeoutMs) != CbEvent::eWaitTimeout;
}

void CbTask::SetOnAfterRunTaskHandler(std::function<void(CbTask const&)> handler)
{
    m_onAfterRunTask.swap(handler);
}

CbReferenceCounter<unsigned int> const& CbTask::getReferenceCounter() const
{
    return m_references;
}

CbRTTI const& CbTask::GetRTTI() const
{
    return RTTI;
}

bool CbTask::doNotRun() const
{
    return false;
}

void CbTask::onAdd()
{
    resetTerminated();
}

void CbTask::onBeforeRun()
{
}

void CbTask::onAfterRun()
{
}

void CbTask::onCancel()
{
}

void CbTask::onException(CbException const*)
{
}

wchar_t const* CbTask::GetClassNameW() const
{
    return GetRTTI().GetName();
}

bool CbTask::Is(CbRTTI const& record) const
{
    return &GetRTTI() == &record;
}

bool CbTask::IsKindOf(CbRTTI const& record) const
{
    return GetRTTI().IsKindOf(record);
}

// An event is one handle, at its own address.
std::atomic_ref<HANDLE> CbTask::terminatedHandle() const noexcept
{
    return std::atomic_ref<HANDLE>(m_terminated.m_handle);
}

// The last that is done to a task: one step on the field, or on the event, releases who waits.
void CbTask::setTerminated()
{
    HANDLE seen = unmade();
    // Pairs with the acquiring loads of who waits.
    if (!terminatedHandle().compare_exchange_strong(seen, unmadeAndSet(), std::memory_order_acq_rel) &&
        seen != unmadeAndSet())
    {
        m_terminated.Set();
    }
}

void CbTask::resetTerminated()
{
    HANDLE seen = unmadeAndSet();
    if (!terminatedHandle().compare_exchange_strong(seen, unmade(), std::memory_order_acq_rel) && seen != unmade())
    {
        m_terminated.Reset();
    }
}
