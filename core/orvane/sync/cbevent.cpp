#include "orvane/sync/cbevent.h"

#include <type_traits>
#include <utility>

static_assert(std::is_standard_layout_v<CbEvent>, "the handle stands at the event's own address");

namespace
{
// What one wait takes at most.
constexpr unsigned int c_MaximumCount = 64;
static_assert(c_MaximumCount == MAXIMUM_WAIT_OBJECTS);

unsigned int cut(std::chrono::milliseconds timeout)
{
    return static_cast<unsigned int>(timeout.count());
}

CbEvent::EWaitResult resultOf(DWORD waitResult)
{
    switch (waitResult)
    {
    case WAIT_TIMEOUT:
        return CbEvent::eWaitTimeout;
    case WAIT_FAILED:
        return CbEvent::eWaitFailed;
    default:
        return CbEvent::eWaitSignaled;
    }
}

// Expects 1 to 64 handles.
CbEvent::EWaitResult waitForAll(HANDLE const* handles, unsigned int count, unsigned int timeoutMs)
{
    SetLastError(0);
    return resultOf(WaitForMultipleObjects(count, handles, TRUE, timeoutMs));
}

// Expects 1 to 64 handles.
CbEvent::EWaitResult waitForAny(HANDLE const* handles, unsigned int count, unsigned int timeoutMs, unsigned int& index)
{
    SetLastError(0);
    DWORD const waitResult = WaitForMultipleObjects(count, handles, FALSE, timeoutMs);
    CbEvent::EWaitResult const result = resultOf(waitResult);
    if (result == CbEvent::eWaitSignaled)
    {
        index = waitResult;
    }
    return result;
}

HANDLE const* handlesOf(CbArray<CbEvent> const& events)
{
    return reinterpret_cast<HANDLE const*>(events.GetData());
}
} // namespace

// Handles of one's own to a group's events, closed at the end, which leaves the last error of the wait alone. An event
// that cannot be duplicated is null here and fails the wait.
class CbEvent::CDuplicates
{
public:
    // Expects up to 64 events.
    explicit CDuplicates(CbArray<CbEvent const*> const& events)
    {
        HANDLE const process = GetCurrentProcess();
        for (CbEvent const* event : events)
        {
            HANDLE copy = nullptr;
            bool const isCopied =
                DuplicateHandle(process, event->m_handle, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS) != FALSE;
            m_handles[m_count++] = isCopied ? copy : nullptr;
        }
    }

    CDuplicates(CDuplicates const&) = delete;
    CDuplicates& operator=(CDuplicates const&) = delete;

    ~CDuplicates()
    {
        DWORD const error = GetLastError();
        for (unsigned int n = 0; n < m_count; ++n)
        {
            if (m_handles[n] != nullptr)
            {
                CloseHandle(m_handles[n]);
            }
        }
        SetLastError(error);
    }

    HANDLE const* GetData() const
    {
        return m_handles;
    }

private:
    HANDLE m_handles[c_MaximumCount];
    unsigned int m_count = 0;
};

CbEvent::CbEvent() : CbEvent(true, nullptr)
{
}

CbEvent::CbEvent(bool manualReset, wchar_t const* name)
    : m_handle(CreateEventW(nullptr, manualReset ? TRUE : FALSE, FALSE, name))
{
}

CbEvent::CbEvent(CbEvent const& other)
{
    duplicate(other);
}

CbEvent& CbEvent::operator=(CbEvent const& other)
{
    // Closed first and without a look whether it is the same object: assigned to itself an event loses its handle.
    closeHandle();
    duplicate(other);
    return *this;
}

CbEvent::~CbEvent()
{
    closeHandle();
}

bool CbEvent::Set() const
{
    SetLastError(0);
    return SetEvent(m_handle) == 1;
}

bool CbEvent::Reset() const
{
    SetLastError(0);
    return ResetEvent(m_handle) == 1;
}

bool CbEvent::Pulse() const
{
    SetLastError(0);
    return PulseEvent(m_handle) == 1;
}

bool CbEvent::IsSet() const
{
    return Wait(0) == eWaitSignaled;
}

CbEvent::EWaitResult CbEvent::Wait(unsigned int timeoutMs) const
{
    SetLastError(0);
    return resultOf(WaitForSingleObject(m_handle, timeoutMs));
}

CbEvent::EWaitResult CbEvent::Wait(std::chrono::milliseconds timeout) const
{
    return Wait(cut(timeout));
}

CbEvent::EWaitResult CbEvent::WaitForSingleEvent(CbEvent const& event, unsigned int timeoutMs)
{
    return event.Wait(timeoutMs);
}

CbEvent::EWaitResult CbEvent::WaitForSingleEvent(CbEvent const& event, std::chrono::milliseconds timeout)
{
    return event.Wait(timeout);
}

CbEvent::EWaitResult CbEvent::WaitForMultipleEvents(CbArray<CbEvent> const& events, unsigned int timeoutMs)
{
    if (events.GetCount() > c_MaximumCount)
    {
        return eWaitFailed;
    }
    if (events.IsEmpty())
    {
        return eWaitSignaled;
    }
    return waitForAll(handlesOf(events), events.GetCount(), timeoutMs);
}

CbEvent::EWaitResult CbEvent::WaitForMultipleEvents(CbArray<CbEvent> const& events, std::chrono::milliseconds timeout)
{
    return WaitForMultipleEvents(events, cut(timeout));
}

CbEvent::EWaitResult CbEvent::WaitForMultipleEvents(CbArray<CbEvent const*> const& events, unsigned int timeoutMs)
{
    if (events.GetCount() > c_MaximumCount)
    {
        return eWaitFailed;
    }
    if (events.IsEmpty())
    {
        return eWaitSignaled;
    }
    CDuplicates const duplicates(events);
    return waitForAll(duplicates.GetData(), events.GetCount(), timeoutMs);
}

CbEvent::EWaitResult CbEvent::WaitForMultipleEvents(CbArray<CbEvent const*> const& events,
                                                    std::chrono::milliseconds timeout)
{
    return WaitForMultipleEvents(events, cut(timeout));
}

CbEvent::EWaitResult CbEvent::WaitForSingleEvent(CbArray<CbEvent> const& events, unsigned int timeoutMs,
                                                 unsigned int& index)
{
    if (events.GetCount() > c_MaximumCount)
    {
        return eWaitFailed;
    }
    if (events.IsEmpty())
    {
        return eWaitSignaled;
    }
    return waitForAny(handlesOf(events), events.GetCount(), timeoutMs, index);
}

CbEvent::EWaitResult CbEvent::WaitForSingleEvent(CbArray<CbEvent> const& events, std::chrono::milliseconds timeout,
                                                 unsigned int& index)
{
    return WaitForSingleEvent(events, cut(timeout), index);
}

CbEvent::EWaitResult CbEvent::WaitForSingleEvent(CbArray<CbEvent const*> const& events, unsigned int timeoutMs,
                                                 unsigned int& index)
{
    if (events.GetCount() > c_MaximumCount)
    {
        return eWaitFailed;
    }
    if (events.IsEmpty())
    {
        return eWaitSignaled;
    }
    CDuplicates const duplicates(events);
    return waitForAny(duplicates.GetData(), events.GetCount(), timeoutMs, index);
}

CbEvent::EWaitResult CbEvent::WaitForSingleEvent(CbArray<CbEvent const*> const& events,
                                                 std::chrono::milliseconds timeout, unsigned int& index)
{
    return WaitForSingleEvent(events, cut(timeout), index);
}

// Expects no handle here.
void CbEvent::duplicate(CbEvent const& other)
{
    HANDLE copy = nullptr;
    HANDLE const process = GetCurrentProcess();
    if (DuplicateHandle(process, other.m_handle, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS))
    {
        m_handle = copy;
    }
}

void CbEvent::closeHandle()
{
    if (m_handle != nullptr)
    {
        CloseHandle(std::exchange(m_handle, nullptr));
    }
}
