// Random scripts: threads set, reset, pulse, wait, release, duplicate and close, and what they see must be explained by
// some order of their calls.
//
// ORVANE_KERNEL_SEED (or --seed=N) repeats a run, ORVANE_KERNEL_SCRIPTS (or --scripts=N) sets its length.

#include <algorithm>
#include <array>
#include <atomic>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "history.h"
#include "kernelsupport.h"
#include "pace.h"

using namespace kerneltest;

namespace
{
long long s_seed = 0;
long long s_scripts = 0;

// What the main thread is called in a history.
constexpr unsigned char c_MainThread = 200;

// How long the threads of a script may stand still before the objects they wait for are set.
constexpr DWORD c_RescueMs = 4;

struct SPlan
{
    SCall call;
    bool isRenewed = false; // the thread changes its handle of the first object for another one before
};

struct SScript
{
    std::vector<SObject> objects;
    std::vector<std::vector<SPlan>> threads;
    bool isClosedEarly = false; // the handles that the objects were made with go while the threads run
};

using Random = std::mt19937_64;

int upTo(Random& random, int limit)
{
    return static_cast<int>(random() % static_cast<unsigned int>(limit));
}

SObject makeObject(Random& random)
{
    switch (upTo(random, 8))
    {
    case 0:
    case 1:
    case 2:
        return {eAutoEvent, upTo(random, 2), 1};
    case 3:
    case 4:
        return {eManualEvent, upTo(random, 2), 1};
    case 5:
        return {eMutex, 0, 0};
    default:
        break;
    }
    const int maximum = 1 + upTo(random, 4);
    return {eSemaphore, upTo(random, maximum + 1), maximum};
}

SCall makeWait(Random& random, std::vector<SObject> const& objects)
{
    SCall call;
    std::vector<unsigned char> order(objects.size());
    for (std::size_t n = 0; n < order.size(); ++n)
    {
        order[n] = static_cast<unsigned char>(n);
    }
    std::shuffle(order.begin(), order.end(), random);
    call.call = upTo(random, 2) == 0 ? eWaitAny : eWaitAll;
    call.count =
        static_cast<unsigned char>(upTo(random, 3) == 0 ? 1 : 1 + upTo(random, static_cast<int>(order.size())));
    std::copy_n(order.begin(), call.count, call.objects.begin());
    bool hasMutex = false;
    for (unsigned char n = 0; n < call.count; ++n)
    {
        hasMutex = hasMutex || objects[call.objects[n]].kind == eMutex;
    }
    switch (upTo(random, 8))
    {
    case 0:
    case 1:
    case 2:
        call.timeoutMs = 0;
        break;
    case 3:
        // Threads that wait for each other's mutexes for ever could not be helped.
        call.timeoutMs = hasMutex ? 2 : INFINITE;
        break;
    default:
        call.timeoutMs = static_cast<DWORD>(1 + upTo(random, 2));
        break;
    }
    return call;
}

SCall makeCall(Random& random, std::vector<SObject> const& objects)
{
    if (upTo(random, 2) == 0)
    {
        return makeWait(random, objects);
    }
    SCall call;
    const auto object = static_cast<unsigned char>(upTo(random, static_cast<int>(objects.size())));
    call.objects[0] = object;
    call.count = 1;
    switch (objects[object].kind)
    {
    case eMutex:
        call.call = eReleaseMutex;
        return call;
    case eSemaphore:
        call.call = eReleaseSemaphore;
        call.amount = 1 + upTo(random, 2);
        return call;
    default:
        break;
    }
    const int which = upTo(random, 6);
    call.call = which == 0 ? eReset : which == 1 ? ePulse : eSet;
    return call;
}

SScript makeScript(Random& random)
{
    SScript script;
    const int objectCount = 1 + upTo(random, static_cast<int>(c_MostObjects));
    for (int n = 0; n < objectCount; ++n)
    {
        script.objects.push_back(makeObject(random));
    }
    // Few threads more often than many: what goes wrong mostly needs two or three.
    const int threadCount = upTo(random, 3) == 0 ? 2 + upTo(random, 15) : 2 + upTo(random, 4);
    const int callCount = std::max(1, (6 + upTo(random, 22)) / threadCount);
    for (int thread = 0; thread < threadCount; ++thread)
    {
        std::vector<SPlan> plans;
        for (int n = 0; n < callCount; ++n)
        {
            SPlan plan;
            plan.call = makeCall(random, script.objects);
            plan.call.thread = static_cast<unsigned char>(thread);
            plan.isRenewed = upTo(random, 4) == 0;
            plans.push_back(plan);
        }
        script.threads.push_back(std::move(plans));
    }
    script.isClosedEarly = upTo(random, 3) == 0;
    return script;
}

CHandle create(SObject const& object)
{
    switch (object.kind)
    {
    case eAutoEvent:
        return makeEvent(eAuto, object.initial != 0);
    case eManualEvent:
        return makeEvent(eManual, object.initial != 0);
    case eMutex:
        return makeMutex();
    case eSemaphore:
        break;
    }
    return makeSemaphore(object.initial, object.maximum);
}

// One script on its way.
class CRun
{
public:
    explicit CRun(SScript const& script)
        : m_script(script),
          m_line(static_cast<int>(script.threads.size()) + 1),
          m_histories(script.threads.size()),
          m_running(static_cast<int>(script.threads.size()))
    {
    }

    // The calls with their results; none when they became too many to judge.
    std::vector<SCall> Execute(bool areOwnThreads)
    {
        std::vector<CHandle> objects;
        for (SObject const& object : m_script.objects)
        {
            objects.push_back(create(object));
        }
        std::vector<std::vector<CHandle>> handles(m_script.threads.size());
        for (auto& own : handles)
        {
            for (CHandle const& object : objects)
            {
                own.push_back(duplicate(object));
            }
        }
        std::vector<CHandle> rescuers;
        for (CHandle const& object : objects)
        {
            rescuers.push_back(duplicate(object));
        }
        std::vector<std::thread> threads;
        std::vector<std::unique_ptr<CThread>> ownThreads;
        for (std::size_t n = 0; n < m_script.threads.size(); ++n)
        {
            const auto body = [this, n, &handles] { play(n, handles[n]); };
            if (areOwnThreads)
            {
                ownThreads.push_back(std::make_unique<CThread>(
                    [body]
                    {
                        body();
                        return 0u;
                    }));
            }
            else
            {
                threads.emplace_back(body);
            }
        }
        m_line.Meet();
        if (m_script.isClosedEarly)
        {
            objects.clear();
        }
        while (WaitForSingleObject(m_done, c_RescueMs) != WAIT_OBJECT_0)
        {
            rescue(rescuers);
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        for (auto const& thread : ownThreads)
        {
            EXPECT_TRUE(thread->Join());
        }
        return collect();
    }

private:
    void play(std::size_t thread, std::vector<CHandle>& handles)
    {
        std::vector<SCall>& history = m_histories[thread];
        m_line.Meet();
        for (SPlan const& plan : m_script.threads[thread])
        {
            if (plan.isRenewed)
            {
                CHandle& handle = handles[plan.call.objects[0]];
                CHandle other = duplicate(handle);
                handle.Close();
                handle = std::move(other);
            }
            SCall call = plan.call;
            carryOut(call, handles);
            history.push_back(call);
        }
        for (CHandle& handle : handles)
        {
            handle.Close();
        }
        m_ends[thread] = m_clock.fetch_add(1);
        if (m_running.fetch_sub(1) == 1)
        {
            SetEvent(m_done);
        }
    }

    void carryOut(SCall& call, std::vector<CHandle> const& handles)
    {
        std::array<HANDLE, c_MostObjects> wanted{};
        for (unsigned char n = 0; n < call.count; ++n)
        {
            wanted[n] = handles[call.objects[n]];
        }
        LONG previous = -1;
        SetLastError(0);
        call.begin = m_clock.fetch_add(1);
        switch (call.call)
        {
        case eSet:
            call.result = SetEvent(wanted[0]) ? 1 : 0;
            break;
        case eReset:
            call.result = ResetEvent(wanted[0]) ? 1 : 0;
            break;
        case ePulse:
            call.result = PulseEvent(wanted[0]) ? 1 : 0;
            break;
        case eReleaseMutex:
            call.result = ReleaseMutex(wanted[0]) ? 1 : 0;
            break;
        case eReleaseSemaphore:
            call.result = ReleaseSemaphore(wanted[0], call.amount, &previous) ? 1 : 0;
            break;
        case eWaitAny:
        case eWaitAll:
            call.result = call.count == 1
                              ? WaitForSingleObject(wanted[0], call.timeoutMs)
                              : WaitForMultipleObjects(call.count, wanted.data(), call.call == eWaitAll ? TRUE : FALSE,
                                                       call.timeoutMs);
            break;
        case eThreadEnd:
            break;
        }
        call.end = m_clock.fetch_add(1);
        call.error = GetLastError();
        call.previous = static_cast<int>(previous);
    }

    // Gives a signal to each object, so that waits without a time-out end too.
    void rescue(std::vector<CHandle> const& handles)
    {
        for (std::size_t n = 0; n < handles.size(); ++n)
        {
            if (m_script.objects[n].kind == eMutex)
            {
                continue;
            }
            SCall call;
            call.call = m_script.objects[n].kind == eSemaphore ? eReleaseSemaphore : eSet;
            call.thread = c_MainThread;
            call.objects[0] = static_cast<unsigned char>(n);
            call.count = 1;
            call.amount = 1;
            carryOut(call, handles);
            m_rescues.push_back(call);
        }
    }

    std::vector<SCall> collect()
    {
        std::vector<SCall> all = m_rescues;
        const unsigned long long joined = m_clock.fetch_add(1);
        for (std::size_t thread = 0; thread < m_histories.size(); ++thread)
        {
            std::array<int, c_MostObjects> held{};
            for (SCall const& call : m_histories[thread])
            {
                all.push_back(call);
                countHeld(call, held);
            }
            for (std::size_t n = 0; n < held.size(); ++n)
            {
                if (held[n] > 0)
                {
                    SCall end;
                    end.call = eThreadEnd;
                    end.thread = static_cast<unsigned char>(thread);
                    end.objects[0] = static_cast<unsigned char>(n);
                    end.count = 1;
                    end.begin = m_ends[thread];
                    end.end = joined;
                    all.push_back(end);
                }
            }
        }
        return all.size() <= c_MostCalls ? all : std::vector<SCall>();
    }

    // How often the thread owns each mutex after the call.
    void countHeld(SCall const& call, std::array<int, c_MostObjects>& held) const
    {
        if (call.call == eReleaseMutex && call.result != 0)
        {
            --held[call.objects[0]];
        }
        if (call.call == eWaitAll && (call.result == WAIT_OBJECT_0 || call.result - WAIT_ABANDONED_0 < call.count))
        {
            for (unsigned char n = 0; n < call.count; ++n)
            {
                held[call.objects[n]] += m_script.objects[call.objects[n]].kind == eMutex ? 1 : 0;
            }
        }
        if (call.call == eWaitAny)
        {
            const DWORD place = call.result >= WAIT_ABANDONED_0 ? call.result - WAIT_ABANDONED_0 : call.result;
            if (place < call.count)
            {
                held[call.objects[place]] += m_script.objects[call.objects[place]].kind == eMutex ? 1 : 0;
            }
        }
    }

    SScript const& m_script;
    CStartingLine m_line;
    std::vector<std::vector<SCall>> m_histories;
    std::vector<SCall> m_rescues;
    std::array<unsigned long long, 32> m_ends{};
    std::atomic<unsigned long long> m_clock = 1;
    std::atomic<int> m_running;
    CHandle m_done = makeEvent(eManual);
};

// What the scripts have met: a run that never saw an abandoned mutex has not tested one.
struct SCoverage
{
    long long checked = 0;
    long long undecided = 0;
    long long calls = 0;
    long long timeouts = 0;
    long long takenByAny = 0;
    long long takenByAll = 0;
    long long abandoned = 0;
    long long pulses = 0;
    long long rescues = 0;

    void Add(std::vector<SCall> const& history)
    {
        for (SCall const& call : history)
        {
            ++calls;
            pulses += call.call == ePulse ? 1 : 0;
            rescues += call.thread == c_MainThread ? 1 : 0;
            if (call.call == eWaitAny || call.call == eWaitAll)
            {
                timeouts += call.result == WAIT_TIMEOUT ? 1 : 0;
                abandoned += call.result - WAIT_ABANDONED_0 < c_MostObjects ? 1 : 0;
                takenByAny += call.call == eWaitAny && call.result < c_MostObjects ? 1 : 0;
                takenByAll += call.call == eWaitAll && call.count > 1 && call.result < c_MostObjects ? 1 : 0;
            }
        }
    }
};
} // namespace

TEST(RandomScripts, AreExplainedBySomeOrderOfTheirCalls)
{
    std::cout << "seed " << s_seed << ", " << s_scripts << " scripts (--seed=N --scripts=N)\n";
    SCoverage coverage;
    int failures = 0;
    for (long long n = 0; n < s_scripts && failures < 3; ++n)
    {
        Random random(static_cast<unsigned long long>(s_seed) * 1'000'003ULL + static_cast<unsigned long long>(n));
        const SScript script = makeScript(random);
        const std::vector<SCall> history = CRun(script).Execute(n % 2 == 0);
        const EVerdict verdict = history.empty() ? eUndecided : explain(script.objects, history);
        coverage.Add(history);
        ++(verdict == eUndecided ? coverage.undecided : coverage.checked);
        if (verdict == eUnexplained)
        {
            ++failures;
            std::ostringstream text;
            print(text, script.objects, history);
            ADD_FAILURE() << "seed " << s_seed << ", script " << n << " has no order that explains it\n" << text.str();
        }
    }
    std::cout << coverage.checked << " judged, " << coverage.undecided << " too large; " << coverage.calls << " calls, "
              << coverage.timeouts << " time-outs, " << coverage.takenByAny << " taken by any, " << coverage.takenByAll
              << " by all, " << coverage.abandoned << " abandoned, " << coverage.pulses << " pulses, "
              << coverage.rescues << " rescues\n";
    EXPECT_LE(coverage.undecided * 10, s_scripts) << "most scripts must be judged";
    if (s_scripts >= 100)
    {
        EXPECT_GT(coverage.timeouts, 0);
        EXPECT_GT(coverage.takenByAny, 0);
        EXPECT_GT(coverage.takenByAll, 0);
        EXPECT_GT(coverage.abandoned, 0);
        EXPECT_GT(coverage.pulses, 0);
    }
}

int main(int argumentCount, char** arguments)
{
    testing::InitGoogleTest(&argumentCount, arguments);
    s_seed = getNumber("ORVANE_KERNEL_SEED", std::random_device()());
    s_scripts = getNumber("ORVANE_KERNEL_SCRIPTS", 200 * c_Pace);
    for (int n = 1; n < argumentCount; ++n)
    {
        const std::string argument = arguments[n];
        if (argument.rfind("--seed=", 0) == 0)
        {
            s_seed = std::stoll(argument.substr(7));
        }
        else if (argument.rfind("--scripts=", 0) == 0)
        {
            s_scripts = std::stoll(argument.substr(10));
        }
        else
        {
            std::cerr << "unknown argument " << argument << '\n';
            return 2;
        }
    }
    return RUN_ALL_TESTS();
}
