// The kernel's event, and waits for groups of events.

#ifndef ORVANE_SYNC_CBEVENT_H
#define ORVANE_SYNC_CBEVENT_H

#include <chrono>
#include <cstddef>

#include "orvane/container/cbarray.h"
#include "orvane/export.h"
#include "platform/platform.h"

/// A signal that threads wait for.
///
/// A manual-reset event stays set until Reset and releases everyone; an automatic one releases one wait and is reset by
/// it. A copy is the same event, and so are two of one name. The object is one handle, so that the elements of a
/// CbArray<CbEvent> are an array of handles. An event that could not be made has no handle: all it does fails.
/// Raises: nothing.
/// Reports: each operation that asks the system sets the thread's last error to 0 first; on a failure it is the system's
/// reason (6 for an event without a handle).
/// Threads: any. What a thread wrote before Set is visible after the wait that Set released. What assigns or destroys the
/// object itself needs it alone.
/// Origin: CreateEventW and its relatives.
class ORVANE_API CbEvent
{
public:
    enum EWaitResult : int
    {
        eWaitFailed = 0, // refused arguments, or the wait itself failed
        eWaitSignaled = 1,
        eWaitTimeout = 2
    };

    /// A manual-reset event without a name.
    CbEvent();

    /// Not set. Opens the event of that name where there is one: its reset mode and state stay. Null makes one without a
    /// name.
    CbEvent(bool manualReset, wchar_t const* name);

    /// The copy has a handle of its own to the same event.
    CbEvent(CbEvent const& other);

    /// Closes its own handle first. Assigned to itself the event ends without a handle.
    CbEvent& operator=(CbEvent const& other);

    ~CbEvent();

    bool Set() const;
    bool Reset() const;

    /// Releases who waits at this moment (one, with an automatic event) and leaves the event reset. A thread that is kept
    /// from its wait for a moment misses it: prefer Set.
    bool Pulse() const;

    /// Whether the event is set. To ask an automatic event is to wait for it: the signal is consumed.
    bool IsSet() const;

    /// `timeoutMs` 0 only looks, 0xFFFFFFFF waits for ever.
    EWaitResult Wait(unsigned int timeoutMs) const;

    /// The count of milliseconds is cut to 32 bits, here and in all waits below: -1 waits for ever.
    EWaitResult Wait(std::chrono::milliseconds timeout) const;

    /// Wait on that event.
    static EWaitResult WaitForSingleEvent(CbEvent const& event, unsigned int timeoutMs);
    static EWaitResult WaitForSingleEvent(CbEvent const& event, std::chrono::milliseconds timeout);

    /// Waits until all events of the group are set; automatic ones are consumed then, all or none. An empty group is set.
    /// Reports: eWaitFailed for more than 64 events. Neither that nor an empty group touches the last error.
    static EWaitResult WaitForMultipleEvents(CbArray<CbEvent> const& events, unsigned int timeoutMs);
    static EWaitResult WaitForMultipleEvents(CbArray<CbEvent> const& events, std::chrono::milliseconds timeout);

    /// The same with pointers, none of them null. Waits on handles of its own, which it closes: the events may go before
    /// the wait is over.
    static EWaitResult WaitForMultipleEvents(CbArray<CbEvent const*> const& events, unsigned int timeoutMs);
    static EWaitResult WaitForMultipleEvents(CbArray<CbEvent const*> const& events, std::chrono::milliseconds timeout);

    /// Waits until any event of the group is set. `index` receives its place, the lowest where there are several; only
    /// that one is consumed. Reports as the waits for all; `index` is untouched unless an event was set.
    static EWaitResult WaitForSingleEvent(CbArray<CbEvent> const& events, unsigned int timeoutMs, unsigned int& index);
    static EWaitResult WaitForSingleEvent(CbArray<CbEvent> const& events, std::chrono::milliseconds timeout,
                                          unsigned int& index);
    static EWaitResult WaitForSingleEvent(CbArray<CbEvent const*> const& events, unsigned int timeoutMs,
                                          unsigned int& index);
    static EWaitResult WaitForSingleEvent(CbArray<CbEvent const*> const& events, std::chrono::milliseconds timeout,
                                          unsigned int& index);

private:
    friend class CbTask; // whose event may be made late

    class CDuplicates;

    // Without a handle, to begin with.
    explicit CbEvent(std::nullptr_t) noexcept
    {
    }

    void duplicate(CbEvent const& other);
    void closeHandle();

    HANDLE m_handle = nullptr;
};

static_assert(sizeof(CbEvent) == sizeof(HANDLE), "an array of events is an array of handles");

#endif // ORVANE_SYNC_CBEVENT_H
