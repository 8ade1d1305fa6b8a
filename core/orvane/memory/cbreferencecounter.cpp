#include "orvane/memory/cbreferencecounter.h"

#include "orvane/sync/cbcriticalsection.h"

// Clients compiled earlier know the places of the fields.
static_assert(sizeof(std::atomic<unsigned int>) == 4 && std::atomic<unsigned int>::is_always_lock_free);
static_assert(sizeof(CbReferenceCounter<unsigned int>) == 24);

void CbReferenceCounter<unsigned int>::dispose(IReferenceCounted const* object) const
{
    {
        CbCriticalSectionAuto const holder(ReferenceCounter_GetCriticalSection(this));
        // An observer that looked under the lock may own the object by now.
        if (m_count.load(std::memory_order_acquire) != 0)
        {
            return;
        }
        cutObserversLoose();
    }

    // Outside the lock: unrelated objects share it, and a destructor may do anything.
    if (m_deleter != nullptr)
    {
        m_deleter(object);
    }
    else
    {
        delete object;
    }
}

// Expects the shared lock of this address.
void CbReferenceCounter<unsigned int>::cutObserversLoose() const
{
    while (m_observers != nullptr)
    {
        SObserver& observer = *m_observers;
        m_observers = observer.next;
        observer = SObserver{};
    }
}
