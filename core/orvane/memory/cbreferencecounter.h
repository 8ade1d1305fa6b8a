// The counter that a reference-counted object embeds.

#ifndef ORVANE_MEMORY_CBREFERENCECOUNTER_H
#define ORVANE_MEMORY_CBREFERENCECOUNTER_H

#include <atomic>

#include "orvane/export.h"
#include "orvane/object/ireferencecounted.h"

template <class T>
class CbSmartPointer;

/// How many CbSmartPointers own the object that embeds this, and how the last of them disposes of it.
///
/// The object answers it from getReferenceCounter: `mutable` is not needed, all operations are const. It begins with a
/// count of 0 and no deleter; the first CbSmartPointer makes the count 1. A copy of an object is another object: a copied
/// counter begins anew, and assignment leaves the target's counter as it is.
/// Threads: the count changes without a lock. Only who takes it to 0 enters the shared lock of the counter's address
/// (ReferenceCounter_GetCriticalSection), looks again whether it still is 0, and disposes of the object after leaving.
template <>
class ORVANE_API CbReferenceCounter<unsigned int>
{
public:
    /// Disposes of an object instead of its destructor; must not raise.
    using FnDeleter = void (*)(IReferenceCounted const* object);

    CbReferenceCounter() noexcept = default;

    CbReferenceCounter(CbReferenceCounter const&) noexcept
    {
    }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): there is nothing to assign.
    CbReferenceCounter& operator=(CbReferenceCounter const&) noexcept
    {
        return *this;
    }

    ~CbReferenceCounter() = default;

    /// The owners at this moment; a snapshot where other threads own the object too.
    unsigned int GetCount() const noexcept
    {
        return m_count.load(std::memory_order_acquire);
    }

    /// What disposes of the object; null, as at the beginning, deletes it through its virtual destructor.
    /// Threads: set it before the object is shared.
    void SetDeleter(FnDeleter deleter) const noexcept
    {
        m_deleter = deleter;
    }

private:
    template <class T>
    friend class CbSmartPointer;

    // Who looks at the object without owning it. Clients know the places: the object first, the link last.
    struct SObserver
    {
        void const* object;
        void* words[2];
        SObserver* next;
    };

    static CbReferenceCounter const& of(IReferenceCounted const& object)
    {
        return object.getReferenceCounter();
    }

    void increment() const noexcept
    {
        // Who counts up owns the object already, or keeps it alive otherwise: nothing has to become visible.
        m_count.fetch_add(1, std::memory_order_relaxed);
    }

    // Whether it was the last owner's.
    bool decrement() const noexcept
    {
        // Whatever the owners did to the object is visible to the one that disposes of it.
        return m_count.fetch_sub(1, std::memory_order_acq_rel) == 1;
    }

    // The way of the object that embeds this from a count of 0 to its end.
    void dispose(IReferenceCounted const* object) const;
    void cutObserversLoose() const;

    mutable std::atomic<unsigned int> m_count = 0;
    mutable SObserver* m_observers = nullptr; // guarded by the shared lock of this address
    mutable FnDeleter m_deleter = nullptr;
};

#endif // ORVANE_MEMORY_CBREFERENCECOUNTER_H
