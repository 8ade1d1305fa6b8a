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
    m_text.clear();
    m_ends.clear();
}

void CyStackWalkerOutput::TakeLines(CStringW& text)
{
    text.Preallocate(text.GetLength() + static_cast<int>(m_text.size()));
    while (!m_ends.empty())
    {
        std::size_t const end = m_ends.back();
        std::size_t const start = m_ends.size() > 1 ? m_ends[m_ends.size() - 2] : 0;
        text.Append(m_text.data() + start, static_cast<int>(end - start));
        m_ends.pop_back();
    }
}

void CyStackWalkerOutput::onOutputFrame(wchar_t const* text)
{
    ++m_count;
    if (m_count > 0)
    {
        // A line that memory ended in is not kept.
        m_text.resize(m_ends.empty() ? 0 : m_ends.back());
        m_text += text != nullptr ? text : L"";
        m_text += L'\n';
        m_ends.push_back(m_text.size());
    }
}
