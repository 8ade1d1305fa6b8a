// The kernel's mutex, which a name shares between processes.

#ifndef ORVANE_SYNC_CBMUTEX_H
#define ORVANE_SYNC_CBMUTEX_H

#include "orvane/export.h"
#include "platform/platform.h"

/// A recursive mutex of the system.
///
/// Each Enter that enters needs a Leave of its own by the same thread. A copy is the same mutex, and so are two of one
/// name, in whatever processes. Closing a handle does not leave: destroy a copy only when the rest is done by others.
/// Raises: nothing. A mutex that could not be made, or that was moved from, is not valid, and cannot be entered.
/// Reports: where the system refuses, its reason is the thread's last error.
/// Threads: any; but what assigns, moves or destroys the object itself needs it alone.
/// Origin: CreateMutexA and its relatives.
class ORVANE_API CbMutex
{
public:
    enum EState : int
    {
        eMutexError = -2,   // not valid, or the wait failed
        eMutexTimeout = -1, // not entered in time
        eMutexEntered = 1,
        eMutexAbandoned =
            2 // entered; the thread inside before ended without leaving, so the guarded data may be half done
    };

    /// Makes a free mutex, or opens the one of that name; null makes one without a name.
    /// Reports: by IsValid. The last error is 183 where there was one of that name, and 6 where the name is of another kind.
    explicit CbMutex(char const* name);

    /// The copy has a handle of its own to the same mutex, or is not valid where there is none.
    CbMutex(CbMutex const& other);

    /// Closes its own handle first. To itself it does nothing.
    CbMutex& operator=(CbMutex const& other);

    /// The source is not valid any more.
    CbMutex(CbMutex&& other) noexcept;
    CbMutex& operator=(CbMutex&& other) noexcept;

    ~CbMutex();

    /// `timeoutMs` 0 only looks, INFINITE (0xFFFFFFFF) waits for ever.
    EState Enter(unsigned int timeoutMs);

    /// Enters where that needs no wait.
    EState TryEnter();

    /// Does nothing where the mutex is not valid or the calling thread not inside; the last error is 288 for the latter.
    void Leave() const;

    bool IsValid() const;

private:
    void duplicate(CbMutex const& other);
    void closeHandle();

    HANDLE m_handle = nullptr;
};

/// Holds a mutex for a scope. Waits for it without end, and does not look whether it was entered: on a mutex that is not
/// valid it holds nothing.
class ORVANE_API CbMutexAuto
{
public:
    explicit CbMutexAuto(CbMutex& mutex);
    ~CbMutexAuto();

    CbMutexAuto(CbMutexAuto const&) = delete;
    CbMutexAuto& operator=(CbMutexAuto const&) = delete;

    /// Leaves before the end of the scope; once only, whatever is called later.
    void Leave();

private:
    CbMutex& m_mutex;
    bool m_hasLeft = false;
};

#endif // ORVANE_SYNC_CBMUTEX_H
