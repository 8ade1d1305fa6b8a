// What the tests of this folder share.

#ifndef ORVANE_TESTS_ORVANE_THREAD_THREADTEST_H
#define ORVANE_TESTS_ORVANE_THREAD_THREADTEST_H

#include "orvane/sync/cbevent.h"
#include "platform/kernel/kernelsupport.h"
#include "platform/platform.h"

namespace threadtest
{
using kerneltest::becomes;
using kerneltest::c_PatienceMs;

/// A gate that is shut until it is opened, for good.
class CGate
{
public:
    void Open() const
    {
        EXPECT_TRUE(m_event.Set());
    }

    /// Whether the gate was opened within the patience of a test.
    bool Pass() const
    {
        return m_event.Wait(c_PatienceMs) == CbEvent::eWaitSignaled;
    }

    bool IsOpen() const
    {
        return m_event.IsSet();
    }

private:
    CbEvent m_event{true, nullptr};
};

/// The exit code of an ended thread; 259 as long as it has not ended.
inline DWORD exitCodeOf(HANDLE thread)
{
    DWORD code = 0x7777;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    return code;
}
} // namespace threadtest

#endif // ORVANE_TESTS_ORVANE_THREAD_THREADTEST_H
