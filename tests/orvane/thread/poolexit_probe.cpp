// Ends a process that has a pool; the argument names the state that the pool is in.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "orvane/sync/cbevent.h"
#include "orvane/thread/cbthreadpool.h"

namespace
{
CbThreadPool& pool()
{
    return CbThreadPool::GetInstance();
}

CbSmartPointer<CbTask> add(std::function<void()> work)
{
    return pool().AddFunction(std::move(work), CbThreadPool::eTaskPriorityNormal);
}

// Never destroyed: tasks that are still running when the process ends use them.
struct SGates
{
    CbEvent isInside{true, nullptr};
    CbEvent leave{true, nullptr};
};

SGates& gates()
{
    static SGates& s_gates = *new SGates;
    return s_gates;
}

void block()
{
    gates().isInside.Set();
    gates().leave.Wait(0xFFFFFFFF);
}

// Lets the running task go while the process ends, before the pool is destroyed or after it.
struct SLastAct
{
    ~SLastAct()
    {
        gates().leave.Set();
    }
};
} // namespace

int main(int count, char** arguments)
{
    std::string const state = count > 1 ? arguments[1] : "";
    std::printf("%s\n", state.c_str());
    std::fflush(stdout);
    if (state == "idle")
    {
        add([] {})->WaitUntilTerminate(0xFFFFFFFF).Ignore();
    }
    else if (state == "running")
    {
        add(block);
        gates().isInside.Wait(0xFFFFFFFF);
        return pool().ShutdownAndWait(5) ? 1 : 0;
    }
    else if (state == "queued")
    {
        pool().LimitTaskCount(1);
        add(block);
        gates().isInside.Wait(0xFFFFFFFF);
        for (int n = 0; n < 500; ++n)
        {
            add([] { std::abort(); });
        }
        return 0;
    }
    else if (state == "inside")
    {
        add([] { std::exit(0); });
        CbEvent(true, nullptr).Wait(0xFFFFFFFF);
    }
    else if (state == "returning")
    {
        // The task returns while the process's static objects go.
        static SLastAct s_before;
        pool();
        static SLastAct s_after;
        for (int n = 0; n < 4; ++n)
        {
            add(block);
        }
        gates().isInside.Wait(0xFFFFFFFF);
    }
    else if (state == "stopped")
    {
        add([] {})->WaitUntilTerminate(0xFFFFFFFF).Ignore();
        return pool().ShutdownAndWait(0xFFFFFFFF) ? 0 : 1;
    }
    return 0;
}
