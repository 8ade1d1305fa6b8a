// Prints the call stack of an exception that is raised several functions deep.

#include <cstdio>

#include "failurereport.h"

namespace
{
constexpr char c_SourceFile[] = "main";

CFailureReport s_report;

int volatile s_loaded = 0; // keeps the calls from being merged by the compiler
} // namespace

[[gnu::noinline]] void readHeader(int size)
{
    if (size < 4)
    {
        s_report.TakeStack();
        throw CbExceptionStream(CB_SITE("readHeader"));
    }
    s_loaded = s_loaded + 1;
}

[[gnu::noinline]] void readDocument(int size)
{
    readHeader(size);
    s_loaded = s_loaded + 1;
}

[[gnu::noinline]] void openDocument(int size)
{
    readDocument(size);
    s_loaded = s_loaded + 1;
}

int main()
{
    try
    {
        openDocument(3);
    }
    catch (IException const& exception)
    {
        std::printf("%s", CStringA(s_report.Describe(exception)).GetString());
        return 0;
    }
    return 1;
}
