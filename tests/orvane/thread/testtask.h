// The task of most tests: its steps are what the test says, and what was called is written down.

#ifndef ORVANE_TESTS_ORVANE_THREAD_TESTTASK_H
#define ORVANE_TESTS_ORVANE_THREAD_TESTTASK_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "orvane/memory/cbsmartpointer.h"
#include "orvane/thread/cbtask.h"

namespace threadtest
{
class CTestTask : public CbTask
{
public:
    CTestTask() = default;

    explicit CTestTask(std::function<void()> work)
    {
        body = [work = std::move(work)]
        {
            work();
            return true;
        };
    }

    CTestTask(CTestTask const&) = default;
    CTestTask& operator=(CTestTask const&) = default;

    ~CTestTask() override
    {
        if (onEnd)
        {
            onEnd();
        }
    }

    using CbTask::getReferenceCounter;

    std::function<void()> before = [] {};
    std::function<bool()> body = [] { return true; };
    std::function<void()> after = [] {};
    std::function<void(CbException const*)> report = [](CbException const*) {};
    std::function<bool()> isUnwanted = [] { return false; };
    std::function<void()> add = [] {};
    std::function<void()> onEnd;

    /// The hooks that were called, in order: b(efore), r(un), a(fter), x (exception), + (add), c(ancel).
    std::string calls;

protected:
    bool doNotRun() const override
    {
        return isUnwanted();
    }

    void onAdd() override
    {
        calls += '+';
        CbTask::onAdd();
        add();
    }

    void onBeforeRun() override
    {
        calls += 'b';
        before();
    }

    TCheckedBool run() override
    {
        calls += 'r';
        return body();
    }

    void onAfterRun() override
    {
        calls += 'a';
        after();
    }

    void onCancel() override
    {
        calls += 'c';
    }

    void onException(CbException const* exception) override
    {
        calls += 'x';
        report(exception);
    }
};

using TaskPointer = CbSmartPointer<CTestTask>;

inline TaskPointer makeTask()
{
    return MakeCounted<CTestTask>();
}

inline TaskPointer makeTask(std::function<void()> work)
{
    return MakeCounted<CTestTask>(std::move(work));
}
} // namespace threadtest

#endif // ORVANE_TESTS_ORVANE_THREAD_TESTTASK_H
