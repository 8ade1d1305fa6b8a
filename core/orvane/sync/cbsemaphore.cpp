#include "orvane/sync/cbsemaphore.h"

#include <limits>
#include <utility>

#include "orvane/exception/cbexception.h"
#include "orvane/exception/raisesite.h"

namespace
{
CB_RAISING_FILE("cbsemaphore");

// What the platform cannot count becomes what it refuses, instead of another number.
LONG countForPlatform(unsigned long count)
{
    return count <= static_cast<unsigned long>(std::numeric_limits<LONG>::max()) ? static_cast<LONG>(count) : -1;
}
} // namespace

CbSemaphore::CbSemaphore(unsigned long count, char const* name)
    : m_count(count),
      m_handle(CreateSemaphoreA(nullptr, countForPlatform(count), countForPlatform(count), name))
{
    if (m_handle == nullptr)
    {
        // The exception's log lines are written by others, who may leave an error of their own.
        DWORD const error = GetLastError();
        CbException failure(CB_SITE("CbSemaphore::CbSemaphore"));
        SetLastError(error);
        throw failure;
    }
}

CbSemaphore::CbSemaphore(CbSemaphore const& other) : m_count(other.m_count)
{
    duplicate(other);
}

CbSemaphore& CbSemaphore::operator=(CbSemaphore const& other)
{
    closeHandle();
    duplicate(other);
    return *this;
}

CbSemaphore::~CbSemaphore()
{
    closeHandle();
}

bool CbSemaphore::Enter(unsigned int timeoutMs)
{
    return WaitForSingleObject(m_handle, timeoutMs) == WAIT_OBJECT_0;
}

CbCheckReturn<bool, CbCheckReturnPolicyAssert> CbSemaphore::TryEnter()
{
    return Enter(0);
}

void CbSemaphore::Leave()
{
    ReleaseSemaphore(m_handle, 1, nullptr);
}

bool CbSemaphore::LeaveQueryIsNowUnreserved()
{
    LONG previous = 0;
    return ReleaseSemaphore(m_handle, 1, &previous) && static_cast<unsigned long>(previous) + 1 == m_count;
}

unsigned long CbSemaphore::GetNumResources() const
{
    return m_count;
}

// Expects no handle here.
void CbSemaphore::duplicate(CbSemaphore const& other)
{
    HANDLE copy = nullptr;
    HANDLE const process = GetCurrentProcess();
    if (DuplicateHandle(process, other.m_handle, process, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS))
    {
        m_handle = copy;
    }
}

void CbSemaphore::closeHandle()
{
    if (m_handle != nullptr)
    {
        CloseHandle(std::exchange(m_handle, nullptr));
    }
}

CbSemaphoreAuto::CbSemaphoreAuto(CbSemaphore& semaphore) : m_semaphore(semaphore)
{
    m_semaphore.Enter(INFINITE);
}

CbSemaphoreAuto::~CbSemaphoreAuto()
{
    Leave();
}

void CbSemaphoreAuto::Leave()
{
    if (!m_hasLeft)
    {
        m_semaphore.Leave();
        m_hasLeft = true;
    }
}
