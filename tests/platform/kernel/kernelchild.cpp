// A process that uses named objects as the test tells it: `orvane_kernel_child VERB NAME...`.
// The exit code is 0 when all went as the verb says, and otherwise the number of the step that did not.

#include <array>
#include <cstdlib>
#include <string>

#include "platform/platform.h"

namespace
{
constexpr DWORD c_PatienceMs = 120'000;

std::wstring widen(char const* text)
{
    const std::string narrow = text;
    return {narrow.begin(), narrow.end()};
}

// An object that must exist already.
HANDLE openEvent(char const* name)
{
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, widen(name).c_str());
    return GetLastError() == 183 ? event : nullptr;
}

HANDLE openMutex(char const* name)
{
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, widen(name).c_str());
    return GetLastError() == 183 ? mutex : nullptr;
}

HANDLE openSemaphore(char const* name)
{
    const HANDLE semaphore = CreateSemaphoreW(nullptr, 0, 1, widen(name).c_str());
    return GetLastError() == 183 ? semaphore : nullptr;
}

// set EVENT: sets it.
int set(char const* const* names)
{
    const HANDLE event = openEvent(names[0]);
    if (event == nullptr)
    {
        return 1;
    }
    return SetEvent(event) ? 0 : 2;
}

// release SEMAPHORE: adds 2 where 1 was.
int release(char const* const* names)
{
    const HANDLE semaphore = openSemaphore(names[0]);
    LONG previous = -1;
    if (semaphore == nullptr)
    {
        return 1;
    }
    return ReleaseSemaphore(semaphore, 2, &previous) && previous == 1 ? 0 : 2;
}

// hold MUTEX READY: takes the mutex twice, says so, and waits to be killed.
int hold(char const* const* names)
{
    const HANDLE mutex = openMutex(names[0]);
    const HANDLE ready = openEvent(names[1]);
    if (mutex == nullptr || ready == nullptr)
    {
        return 1;
    }
    const DWORD first = WaitForSingleObject(mutex, c_PatienceMs);
    if ((first != WAIT_OBJECT_0 && first != WAIT_ABANDONED_0) || WaitForSingleObject(mutex, 0) != WAIT_OBJECT_0)
    {
        return 2;
    }
    SetEvent(ready);
    const HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    WaitForSingleObject(never, c_PatienceMs);
    return 3;
}

// leave MUTEX: takes the mutex and ends as its owner.
int leave(char const* const* names)
{
    const HANDLE mutex = openMutex(names[0]);
    if (mutex == nullptr)
    {
        return 1;
    }
    return WaitForSingleObject(mutex, c_PatienceMs) == WAIT_OBJECT_0 ? 0 : 2;
}

// try MUTEX: the mutex is owned elsewhere.
int tryMutex(char const* const* names)
{
    const HANDLE mutex = openMutex(names[0]);
    if (mutex == nullptr)
    {
        return 1;
    }
    if (WaitForSingleObject(mutex, 0) != WAIT_TIMEOUT || WaitForSingleObject(mutex, 10) != WAIT_TIMEOUT)
    {
        return 2;
    }
    SetLastError(0);
    return !ReleaseMutex(mutex) && GetLastError() == 288 ? 0 : 3;
}

// pingpong PING PONG ROUNDS: answers each ping.
int pingPong(char const* const* names)
{
    const HANDLE ping = openEvent(names[0]);
    const HANDLE pong = openEvent(names[1]);
    if (ping == nullptr || pong == nullptr)
    {
        return 1;
    }
    const int rounds = std::atoi(names[2]);
    for (int round = 0; round < rounds; ++round)
    {
        if (WaitForSingleObject(ping, c_PatienceMs) != WAIT_OBJECT_0 || !SetEvent(pong))
        {
            return 2;
        }
    }
    return 0;
}

// kinds EVENT MUTEX: their names are taken for other kinds.
int kinds(char const* const* names)
{
    const std::wstring event = widen(names[0]);
    const std::wstring mutex = widen(names[1]);
    const HANDLE wrong[] = {CreateMutexW(nullptr, FALSE, event.c_str()), CreateSemaphoreW(nullptr, 1, 1, event.c_str()),
                            CreateEventW(nullptr, FALSE, FALSE, mutex.c_str()),
                            CreateSemaphoreW(nullptr, 1, 1, mutex.c_str())};
    if (GetLastError() != 6)
    {
        return 1;
    }
    for (const HANDLE handle : wrong)
    {
        if (handle != nullptr)
        {
            return 2;
        }
    }
    return openEvent(names[0]) != nullptr && openMutex(names[1]) != nullptr ? 0 : 3;
}

// both SEMAPHORE EVENT DONE: waits for all of them, then says so.
int both(char const* const* names)
{
    const std::array<HANDLE, 2> objects{openSemaphore(names[0]), openEvent(names[1])};
    const HANDLE done = openEvent(names[2]);
    if (objects[0] == nullptr || objects[1] == nullptr || done == nullptr)
    {
        return 1;
    }
    if (WaitForMultipleObjects(2, objects.data(), TRUE, c_PatienceMs) != WAIT_OBJECT_0)
    {
        return 2;
    }
    return SetEvent(done) ? 0 : 3;
}

// count MUTEX SEMAPHORE ROUNDS: counts up under the mutex; the semaphore is the counter.
int count(char const* const* names)
{
    const HANDLE mutex = openMutex(names[0]);
    const HANDLE semaphore = openSemaphore(names[1]);
    if (mutex == nullptr || semaphore == nullptr)
    {
        return 1;
    }
    const int rounds = std::atoi(names[2]);
    for (int round = 0; round < rounds; ++round)
    {
        LONG before = 0;
        LONG after = 0;
        if (WaitForSingleObject(mutex, c_PatienceMs) != WAIT_OBJECT_0)
        {
            return 2;
        }
        if (!ReleaseSemaphore(semaphore, 1, &before) || !ReleaseSemaphore(semaphore, 1, &after) ||
            after != before + 1 || WaitForSingleObject(semaphore, 0) != WAIT_OBJECT_0)
        {
            return 3;
        }
        if (!ReleaseMutex(mutex))
        {
            return 4;
        }
    }
    return 0;
}

struct SVerb
{
    char const* name;
    int names;
    int (*run)(char const* const* names);
};

constexpr SVerb c_Verbs[] = {
    {"set", 1, set},     {"release", 1, release},   {"hold", 2, hold}, {"leave", 1, leave}, {"try", 1, tryMutex},
    {"kinds", 2, kinds}, {"pingpong", 3, pingPong}, {"both", 3, both}, {"count", 3, count},
};
} // namespace

int main(int argumentCount, char** arguments)
{
    for (SVerb const& verb : c_Verbs)
    {
        if (argumentCount == verb.names + 2 && std::string(arguments[1]) == verb.name)
        {
            return verb.run(arguments + 2);
        }
    }
    return 100;
}
