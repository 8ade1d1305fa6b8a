// A box for one object that a thread hands to another.

#ifndef ORVANE_THREAD_CBCHANNEL_H
#define ORVANE_THREAD_CBCHANNEL_H

#include <utility>

#include "orvane/memory/cbsmartpointer.h"
#include "orvane/sync/cbevent.h"

/// Hands counted objects over, one at a time, in the order in which they are put.
///
/// The box owns what is in it. Null is an item like any other: it wakes the taker, which receives null.
/// Threads: one that puts and one that takes. What the one wrote before Put, the other sees after Take.
template <class T>
class CbChannel
{
public:
    /// The slot is free.
    CbChannel() : m_slotFree(false, nullptr), m_slotFilled(false, nullptr)
    {
        m_slotFree.Set();
    }

    CbChannel(CbChannel const&) = delete;
    CbChannel& operator=(CbChannel const&) = delete;

    /// Releases an item that was not taken.
    ~CbChannel() = default;

    /// Waits until the slot is free and puts `item` there. `timeoutMs` 0 only looks, 0xFFFFFFFF waits for ever.
    /// Reports: false where the slot did not become free in time, or the wait failed; nothing has changed then.
    bool Put(CbSmartPointer<T> const& item, unsigned int timeoutMs)
    {
        if (m_slotFree.Wait(timeoutMs) != CbEvent::eWaitSignaled)
        {
            return false;
        }
        // Nothing happens where the slot holds this item already.
        m_slot = item;
        m_slotFilled.Set();
        return true;
    }

    /// Waits until the slot is filled and takes what is there.
    /// Reports: null where that was null, where there was nothing in time, or the wait failed.
    CbSmartPointer<T> Take(unsigned int timeoutMs)
    {
        if (m_slotFilled.Wait(timeoutMs) != CbEvent::eWaitSignaled)
        {
            return CbSmartPointer<T>();
        }
        CbSmartPointer<T> item(std::move(m_slot));
        m_slotFree.Set();
        return item;
    }

private:
    CbEvent m_slotFree;
    CbEvent m_slotFilled;
    CbSmartPointer<T> m_slot; // touched only by who has consumed the signal of one of the events
};

#endif // ORVANE_THREAD_CBCHANNEL_H
