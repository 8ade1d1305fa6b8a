// A task of the pool fails several functions deep; its onException prints the exception and the way that led to it.

#include <cstdio>

#include "failurereport.h"

namespace
{
constexpr char c_SourceFile[] = "main";

int volatile s_loaded = 0; // keeps the calls from being merged by the compiler
} // namespace

[[gnu::noinline]] void readHeader(int size, CFailureReport& report)
{
    if (size < 4)
    {
        report.TakeStack();
        throw CbException(CB_SITE("readHeader"), L"the header is cut off");
    }
    s_loaded = s_loaded + 1;
}

[[gnu::noinline]] void readDocument(int size, CFailureReport& report)
{
    readHeader(size, report);
    s_loaded = s_loaded + 1;
}

[[gnu::noinline]] void openDocument(int size, CFailureReport& report)
{
    readDocument(size, report);
    s_loaded = s_loaded + 1;
}

class COpenTask : public CbTask
{
public:
    explicit COpenTask(int size) : m_size(size)
    {
    }

protected:
    TCheckedBool run() override
    {
        openDocument(m_size, m_report);
        return true;
    }

    void onException(CbException const* exception) override
    {
        std::printf("%s", CStringA(m_report.Describe(*exception)).GetString());
    }

private:
    int m_size;
    CFailureReport m_report;
};

int main()
{
    constexpr unsigned int c_PatienceMs = 60'000;
    CbSmartPointer<CbTask> const task = MakeCounted<COpenTask>(3);
    // False would not say that the task is not run: where no worker could be started for it, it is queued for the next one
    // that is free. The wait tells.
    CbThreadPool::GetInstance().AddTask(task, CbThreadPool::eTaskPriorityNormal);
    if (!task->WaitUntilTerminate(c_PatienceMs))
    {
        std::fputs("the task has not been run in a minute\n", stderr);
        return 1;
    }
    // It was to fail, and to say how.
    return task->IsSuccessful() ? 1 : 0;
}
