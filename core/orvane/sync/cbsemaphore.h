// The kernel's counting semaphore.

#ifndef ORVANE_SYNC_CBSEMAPHORE_H
#define ORVANE_SYNC_CBSEMAPHORE_H

#include "orvane/exception/cbcheckreturn.h"
#include "orvane/export.h"
#include "platform/platform.h"

/// A number of equal resources, all free at the beginning, which threads take and give back one at a time.
///
/// A copy is the same semaphore, and so are two of one name; each object has the number it was made with, which for a
/// second one of a name need not be the semaphore's.
/// Reports: where the system refuses, its reason is the thread's last error.
/// Threads: any. What a thread wrote before Leave is visible after the Enter that this made possible.
/// Origin: CreateSemaphoreA and its relatives.
class ORVANE_API CbSemaphore
{
public:
    /// Makes a semaphore of `count` resources, or opens the one of that name; null makes one without a name.
    /// Raises: CbException from "CbSemaphore::CbSemaphore" where the system refuses: for a count of 0 or above 0x7FFFFFFF,
    /// and for a name of another kind. The last error holds the reason.
    CbSemaphore(unsigned long count, char const* name);

    /// The copy has a handle of its own to the same semaphore.
    CbSemaphore(CbSemaphore const& other);

    virtual ~CbSemaphore();

    /// Takes a resource; whether there was one in time. `timeoutMs` 0 only looks, 0xFFFFFFFF waits for ever.
    bool Enter(unsigned int timeoutMs);

    /// Takes a resource where one is free. The result must be examined.
    CbCheckReturn<bool, CbCheckReturnPolicyAssert> TryEnter();

    /// Gives a resource back. Does nothing where all are free; the last error is 298 then.
    void Leave();

    /// Gives a resource back; whether all are free now. False also where it was not taken back, as all were free.
    bool LeaveQueryIsNowUnreserved();

    /// The number the object was made with, not how many are free.
    unsigned long GetNumResources() const;

private:
    // The number stays the one that this object was made with.
    CbSemaphore& operator=(CbSemaphore const& other);

    void duplicate(CbSemaphore const& other);
    void closeHandle();

    unsigned long m_count;
    HANDLE m_handle = nullptr;
};

/// Holds a resource of a semaphore for a scope. Waits for it without end.
class ORVANE_API CbSemaphoreAuto
{
public:
    explicit CbSemaphoreAuto(CbSemaphore& semaphore);
    ~CbSemaphoreAuto();

    CbSemaphoreAuto(CbSemaphoreAuto const&) = delete;
    CbSemaphoreAuto& operator=(CbSemaphoreAuto const&) = delete;

    /// Leaves before the end of the scope; once only, whatever is called later.
    void Leave();

private:
    CbSemaphore& m_semaphore;
    bool m_hasLeft = false;
};

#endif // ORVANE_SYNC_CBSEMAPHORE_H
