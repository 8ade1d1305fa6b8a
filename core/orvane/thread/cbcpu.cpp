#include "orvane/thread/cbcpu.h"

#include "platform/platform.h"

unsigned int CbCPU::GetCount()
{
    SYSTEM_INFO information{};
    BOOL isEmulated = FALSE;
    if (IsWow64Process(GetCurrentProcess(), &isEmulated) && isEmulated)
    {
        GetNativeSystemInfo(&information);
    }
    else
    {
        GetSystemInfo(&information);
    }
    return information.dwNumberOfProcessors;
}
