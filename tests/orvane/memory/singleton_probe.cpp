// Makes singletons and ends; their report lines go to standard output. The argument names the end.

#include <cstdio>
#include <cstring>
#include <thread>

#include "orvane/datetime/cbtimer.h"
#include "orvane/memory/cbsingleton.h"
#include "platform/platform.h"

namespace
{
void print(Singleton::ELogEvent event, wchar_t const* line)
{
    std::printf("%u %ls\n", static_cast<unsigned int>(event), line);
    // Libraries end after the last flush of the C library.
    std::fflush(stdout);
}
} // namespace

// Outside any namespace: the names are shown.
class CFirst
{
};

class CSecond : public CbSingleton<CSecond>
{
public:
    CSecond(CSecond const&) = delete;
    CSecond& operator=(CSecond const&) = delete;

private:
    friend class CbSingleton<CSecond>;

    CSecond() = default;

    ~CSecond()
    {
        std::printf("  CSecond goes, %u left\n", Singleton::GetSingletonCount());
        std::fflush(stdout);
    }
};

// Asks for another one while it is made.
class CThird
{
public:
    CThird()
    {
        CbSingleton<CFirst>::GetInstance();
    }
};

namespace
{
// A static object that was there before all singletons, and so goes after them.
class CLast
{
public:
    CLast()
    {
        // Builds the stream first, so that it goes later than this.
        Singleton::SetLogListener(&print);
    }

    CLast(CLast const&) = delete;
    CLast& operator=(CLast const&) = delete;

    ~CLast()
    {
        if (asksAgain)
        {
            std::printf("  %u left\n", Singleton::GetSingletonCount());
            CSecond const* const again = &CSecond::GetInstance();
            std::printf("  %s, %u left\n", again == &CSecond::GetInstance() ? "one" : "two",
                        Singleton::GetSingletonCount());
            std::fflush(stdout);
        }
    }

    bool asksAgain = false;
};

CLast s_last;

// Another thread enters the singleton lock and stays inside.
void lockForGood()
{
    // Never closed: the other thread has it as long as there is one.
    HANDLE const isInside = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread(
        [isInside]
        {
            Singleton::GetCriticalSectionSingleton().Enter();
            SetEvent(isInside);
            Sleep(INFINITE);
        })
        .detach();
    WaitForSingleObject(isInside, INFINITE);
}
} // namespace

int main(int argc, char** argv)
{
    char const* const end = argc > 1 ? argv[1] : "";
    if (std::strcmp(end, "order") == 0)
    {
        CbTimer const timer;
        CSecond::GetInstance();
        CbSingleton<CFirst>::GetInstance();
        return 0;
    }
    if (std::strcmp(end, "nested") == 0)
    {
        CbSingleton<CThird>::GetInstance();
        return 0;
    }
    if (std::strcmp(end, "locked") == 0)
    {
        CbTimer const timer;
        CSecond::GetInstance();
        lockForGood();
        return 0;
    }
    if (std::strcmp(end, "again") == 0)
    {
        CSecond::GetInstance();
        s_last.asksAgain = true;
        return 0;
    }
    return 1;
}
