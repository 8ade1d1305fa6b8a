// Uses the registry after main, from an atexit function and from the destructors of statics of any age, and says on
// standard output how it went.

#include <cstdio>
#include <cstdlib>

#include "typeregistry/cbrtti.h"
#include "typeregistry/testobjects.h"

namespace
{
bool worksNow(const wchar_t* name)
{
    bool works = CbRTTI::Find(name) == nullptr;
    {
        const CbRTTI record(name, createTwo, nullptr);
        const auto create = CbRTTI::getCreate(name);
        works = works && CbRTTI::Find(name) == &record && create && create()->m_value == 2;
    }
    return works && CbRTTI::Find(name) == nullptr;
}

void require(bool works)
{
    if (!works)
    {
        std::_Exit(3);
    }
}

// Older than every record of the program, so destroyed after them.
struct SOldest
{
    ~SOldest()
    {
        require(CbRTTI::Find(L"Probe.Static") == nullptr);
        require(worksNow(L"Probe.Destructor"));
        std::fputs("registry after main: found created destroyed\n", stdout);
        std::fflush(stdout);
    }
} s_oldest;

const CbRTTI s_static(L"Probe.Static", createOne, nullptr);

// Younger than the record, so destroyed before it.
struct SYoungest
{
    ~SYoungest()
    {
        require(CbRTTI::Find(L"Probe.Static") == &s_static);
    }
} s_youngest;
} // namespace

int main()
{
    require(worksNow(L"Probe.Main"));
    return std::atexit([] { require(worksNow(L"Probe.AtExit")); });
}
