// Static initialisers and destructors of a client may use every class of this room, in whatever order units run.

#include <cstdlib>

#include <gtest/gtest.h>

#include "orvane/sync/cbcriticalsection.h"
#include "orvane/sync/cbevent.h"
#include "orvane/sync/cbmutex.h"
#include "orvane/sync/cbreadwritelock.h"
#include "orvane/sync/cbsemaphore.h"

namespace
{
bool worksThroughout()
{
    int object = 0;
    CbCriticalSection& stripe = ReferenceCounter_GetCriticalSection(&object);
    stripe.Enter();
    bool doesWork = stripe.IsLocking() && stripe.GetRecursionCount() == 1;
    stripe.Leave();
    doesWork = doesWork && stripe.IsLocking(0);

    CbCriticalSection const section;
    doesWork = doesWork && section.TryEnter();
    section.Leave();

    CbReadWriteLock lock;
    {
        CbReadWriteLockAuto const holder(lock, CbReadWriteLockAuto::eLockExclusive);
    }

    CbEvent const event(false, nullptr);
    doesWork = doesWork && event.Set() && event.IsSet() && !event.IsSet();

    CbMutex mutex(nullptr);
    doesWork = doesWork && mutex.TryEnter() == CbMutex::eMutexEntered;
    mutex.Leave();

    CbSemaphore semaphore(1, nullptr);
    return doesWork && semaphore.Enter(0) && semaphore.LeaveQueryIsNowUnreserved();
}

// One that is used at both ends of the program; a failure at the end ends it with an error.
class CEnds
{
public:
    CEnds() : m_didWork(worksThroughout())
    {
    }

    CEnds(CEnds const&) = delete;
    CEnds& operator=(CEnds const&) = delete;

    ~CEnds()
    {
        CbCriticalSectionAuto const holder(m_section);
        if (!m_event.Set() || !m_event.IsSet() || !worksThroughout())
        {
            std::abort();
        }
    }

    bool DidWork() const
    {
        return m_didWork;
    }

private:
    bool m_didWork;
    CbCriticalSection m_section;
    CbEvent m_event;
};

CEnds const s_ends;
} // namespace

TEST(SyncStartup, WorksInStaticInitialisersAndDestructors)
{
    EXPECT_TRUE(s_ends.DidWork());
}
