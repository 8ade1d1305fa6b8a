#include "orvane/sync/cbmutex.h"

#include <exception>
#include <utility>

#include "orvane/exception/cblatesterror.h"

namespace
{
// The reason of a failure with the system's words for it, for who steps through here in a debugger. Nobody else is told;
// the last error keeps the number.
void captureLatestError() noexcept
{
    try
    {
        [[maybe_unused]] CbLatestError const latest;
    }
    catch (std::exception const&)
    {
        // No memory for the words.
    }
}
} // namespace

CbMutex::CbMutex(char const* name) : m_handle(CreateMutexA(nullptr, FALSE, name))
{
    captureLatestError();
}

CbMutex::CbMutex(CbMutex const& other)
{
    if (this != &other)
    {
        duplicate(other);
    }
}

CbMutex& CbMutex::operator=(CbMutex const& other)
{
    if (this != &other)
    {
        closeHandle();
        duplicate(other);
    }
    return *this;
}

CbMutex::CbMutex(CbMutex&& other) noexcept
{
    // A mutex that is built from itself has no handle yet to take.
    if (this != &other)
    {
        m_handle = std::exchange(other.m_handle, nullptr);
    }
}

CbMutex& CbMutex::operator=(CbMutex&& other) noexcept
{
    if (this != &other)
    {
        closeHandle();
        m_handle = std::exchange(other.m_handle, nullptr);
    }
    return *this;
}

CbMutex::~CbMutex()
{
    closeHandle();
}

CbMutex::EState CbMutex::Enter(unsigned int timeoutMs)
{
    if (m_handle == nullptr)
    {
        return eMutexError;
    }
    switch (WaitForSingleObject(m_handle, timeoutMs))
    {
    case WAIT_OBJECT_0:
        return eMutexEntered;
    case WAIT_ABANDONED:
        return eMutexAbandoned;
    case WAIT_TIMEOUT:
        return eMutexTimeout;
    default:
        captureLatestError();
        return eMutexError;
    }
}

CbMutex::EState CbMutex::TryEnter()
{
    return Enter(0);
}

void CbMutex::Leave() const
{
    if (m_handle != nullptr && !ReleaseMutex(m_handle))
    {
        captureLatestError();
    }
}

bool CbMutex::IsValid() const
{
    return m_handle != nullptr;
}

// Expects no handle here.
void CbMutex::duplicate(CbMutex const& other)
{
    HANDLE copy = nullptr;
    HANDLE const process = GetCurrentProcess();
    if (DuplicateHandle(process, other.m_handle, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS))
    {
        m_handle = copy;
    }
}

void CbMutex::closeHandle()
{
    if (m_handle != nullptr)
    {
        CloseHandle(std::exchange(m_handle, nullptr));
    }
}

CbMutexAuto::CbMutexAuto(CbMutex& mutex) : m_mutex(mutex)
{
    m_mutex.Enter(INFINITE);
}

CbMutexAuto::~CbMutexAuto()
{
    Leave();
}

void CbMutexAuto::Leave()
{
    if (!m_hasLeft)
    {
        m_mutex.Leave();
        m_hasLeft = true;
    }
}
