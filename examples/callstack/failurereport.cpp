#include "failurereport.h"

#include <utility>

namespace
{
// The capture's own two frames, and that of TakeStack.
constexpr unsigned int c_OwnFrames = 3;
} // namespace

void CFailureReport::TakeStack()
{
    CStringW stack;
    Debugging::GetCallStack(stack, c_OwnFrames);
    m_stack = std::move(stack);
}

CStringW CFailureReport::Describe(IException const& exception) const
{
    CbStreamWriteASCIIStringT<CStringW> text;
    text << L"raised in " << exception.GetFunctionName() << L", " << exception.GetFilename() << ":"
         << exception.GetCodeLine() << L"\ncalled by, outermost first:\n"
         << m_stack;
    return CStringW(static_cast<wchar_t const*>(text));
}
