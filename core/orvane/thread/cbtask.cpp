#include "orvane/thread/cbtask.h"

#include "orvane/exception/raisesite.h"
#include "orvane/text/cbformat.h"

namespace
{
constexpr char c_SourceFile[] = "cbtask";
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
}
} // namespace

CbRTTI const CbTask::RTTI(L"CbTask", nullptr, nullptr);

CbTask::CbTask() : m_terminated(true, nullptr), m_creatorThreadId(GetCurrentThreadId())
{
}

CbTask::CbTask(CbTask const& other)
    : IReferenceCounted(other),
      m_terminated(other.m_terminated),
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
        m_terminated = other.m_terminated;
        m_isSuccessful.store(other.m_isSuccessful.load(std::memory_order_relaxed), std::memory_order_relaxed);
        m_creatorThreadId = other.m_creatorThreadId;
        m_runningThreadId.store(other.m_runningThreadId.load(std::memory_order_relaxed), std::memory_order_relaxed);
    }
    return *this;
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
    m_terminated.Set();
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
    return m_terminated;
}

CbTask::TCheckedBool CbTask::WaitUntilTerminate(unsigned int timeoutMs) const
{
    return m_terminated.Wait(timeoutMs) != CbEvent::eWaitTimeout;
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
    m_terminated.Reset();
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
