#include "orvane/thread/cbtask.h"

#include <utility>

#include "orvane/exception/raisesite.h"
#include "orvane/text/cbformat.h"

namespace
{
CB_RAISING_FILE("cbtask");
constexpr unsigned int c_LineOther = 62; // published

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
    catch (...)
    {
        // A sink of the log, while the replacement was made. Who waits for the task must not wait for the log.
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

CbTask::CbTask(ELateEvent) : m_terminated(nullptr), m_event(eUnmade), m_creatorThreadId(GetCurrentThreadId())
{
}

CbTask::~CbTask() = default;

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
    noteTerminated(true);
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
    // Pairs with the release at the end of makeEvent.
    unsigned char seen = m_event.load(std::memory_order_acquire);
    while (seen != eMade)
    {
        if ((seen & eMaking) != 0)
        {
            // Another thread is about to be done with it.
            SwitchToThread();
            seen = m_event.load(std::memory_order_acquire);
        }
        else if (m_event.compare_exchange_weak(seen, static_cast<unsigned char>(seen | eMaking),
                                               std::memory_order_acquire))
        {
            makeEvent();
            break;
        }
    }
    return m_terminated;
}

CbTask::TCheckedBool CbTask::WaitUntilTerminate(unsigned int timeoutMs) const
{
    // Pairs with the release of noteTerminated.
    unsigned char const seen = m_event.load(std::memory_order_acquire);
    bool const isSet = (seen & eSet) != 0;
    if (isSet || (seen != eMade && timeoutMs == 0))
    {
        // What the event's own wait would leave.
        SetLastError(0);
        return isSet;
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
    noteTerminated(false);
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

// Expects the calling thread to have noted that it makes the event. Where the system gives none, all that the event is
// asked to do fails from then on, as it does for a task that has its event from the beginning.
void CbTask::makeEvent() const
{
    CbEvent made;
    std::swap(m_terminated.m_handle, made.m_handle);
    unsigned char seen = m_event.load(std::memory_order_relaxed);
    do
    {
        // The task may end, or be added again, meanwhile.
        static_cast<void>((seen & eSet) != 0 ? m_terminated.Set() : m_terminated.Reset());
    } while (!m_event.compare_exchange_weak(seen, eMade, std::memory_order_acq_rel));
}

// Sets or resets the event, or notes it for who makes that. The last that is done to a task that has ended: one step, on
// the note or on the event, releases who waits.
void CbTask::noteTerminated(bool isTerminated)
{
    unsigned char seen = m_event.load(std::memory_order_acquire);
    while (seen != eMade)
    {
        auto const wanted = static_cast<unsigned char>(isTerminated ? seen | eSet : seen & ~eSet);
        // Pairs with the acquiring loads of who waits, and of who makes the event.
        if (m_event.compare_exchange_weak(seen, wanted, std::memory_order_acq_rel))
        {
            return;
        }
    }
    static_cast<void>(isTerminated ? m_terminated.Set() : m_terminated.Reset());
}
