#include "orvane/sync/cbreadwritelock.h"

INonCopyable::~INonCopyable() = default;

CbReadWriteLock::CbReadWriteLock()
{
    InitializeSRWLock(&m_lock);
}

CbReadWriteLock::~CbReadWriteLock() = default;

void CbReadWriteLock::EnterShared()
{
    AcquireSRWLockShared(&m_lock);
}

void CbReadWriteLock::LeaveShared()
{
    ReleaseSRWLockShared(&m_lock);
}

void CbReadWriteLock::EnterExclusive()
{
    AcquireSRWLockExclusive(&m_lock);
}

void CbReadWriteLock::LeaveExclusive()
{
    ReleaseSRWLockExclusive(&m_lock);
}

CbReadWriteLockAuto::CbReadWriteLockAuto(CbReadWriteLock& lock, ELockType type) : m_lock(lock), m_type(type)
{
    if (m_type != eLockShared)
    {
        m_lock.EnterExclusive();
    }
    else
    {
        m_lock.EnterShared();
    }
}

CbReadWriteLockAuto::~CbReadWriteLockAuto()
{
    Leave();
}

void CbReadWriteLockAuto::Leave()
{
    if (m_hasLeft)
    {
        return;
    }
    if (m_type != eLockShared)
    {
        m_lock.LeaveExclusive();
    }
    else
    {
        m_lock.LeaveShared();
    }
    m_hasLeft = true;
}
