// The slim reader/writer lock.

#ifndef ORVANE_SYNC_CBREADWRITELOCK_H
#define ORVANE_SYNC_CBREADWRITELOCK_H

#include "orvane/export.h"
#include "platform/platform.h"

/// Makes what derives from it neither copyable nor assignable.
class ORVANE_API INonCopyable
{
public:
    virtual ~INonCopyable();

    INonCopyable(INonCopyable const&) = delete;
    INonCopyable& operator=(INonCopyable const&) = delete;

protected:
    INonCopyable() = default;
};

/// A lock that many readers share or one writer has alone.
///
/// Not recursive in either mode, no way from shared to exclusive, and no notion of who holds it. Destroying it while it
/// is held, and leaving it in the mode in which it is not held, are errors of the program that nobody looks for.
/// Reports: nothing; there is no failure. The thread's last error stays as it is.
/// Threads: what was written before a leave is visible to who enters next.
/// Origin: SRWLOCK.
class ORVANE_API CbReadWriteLock : public INonCopyable
{
public:
    CbReadWriteLock();
    ~CbReadWriteLock() override;

    void EnterShared();
    void LeaveShared();
    void EnterExclusive();
    void LeaveExclusive();

private:
    SRWLOCK m_lock;
};

/// Holds a reader/writer lock for a scope.
class ORVANE_API CbReadWriteLockAuto : public INonCopyable
{
public:
    enum ELockType : unsigned int
    {
        eLockShared = 0,
        eLockExclusive = 1
    };

    /// Any type but 0 is exclusive.
    CbReadWriteLockAuto(CbReadWriteLock& lock, ELockType type);
    ~CbReadWriteLockAuto() override;

    /// Leaves before the end of the scope; once only, whatever is called later.
    void Leave();

private:
    CbReadWriteLock& m_lock;
    unsigned int m_type; // ELockType
    bool m_hasLeft = false;
};

#endif // ORVANE_SYNC_CBREADWRITELOCK_H
