#include "orvane/debugging/cystackwalkeroutput.h"

CyStackWalkerOutput::CyStackWalkerOutput() = default;

CyStackWalkerOutput::CyStackWalkerOutput(detail::SSupportSystem const& system, unsigned int options,
                                         char const* symbolPath)
    : CbStackWalkerBase(system, options, symbolPath)
{
}

CyStackWalkerOutput::~CyStackWalkerOutput() = default;

void CyStackWalkerOutput::Restart(unsigned int skip)
{
    m_count = -static_cast<__int64>(skip);
    m_lines.clear();
}

void CyStackWalkerOutput::TakeLines(CStringW& text)
{
    for (; !m_lines.empty(); m_lines.pop_front())
    {
        text += m_lines.front();
        text += L'\n';
    }
}

void CyStackWalkerOutput::onOutputFrame(wchar_t const* text)
{
    ++m_count;
    if (m_count > 0)
    {
        m_lines.emplace_front(text);
    }
}
