// The walker that collects frame lines.

#ifndef ORVANE_DEBUGGING_CYSTACKWALKEROUTPUT_H
#define ORVANE_DEBUGGING_CYSTACKWALKEROUTPUT_H

#include <cstddef>
#include <string>
#include <vector>

#include "mfc/cstringt.h"
#include "orvane/debugging/cbstackwalkerbase.h"

/// Keeps the lines of frames, the last one delivered at the front; set-up and error texts are not kept.
class ORVANE_API CyStackWalkerOutput : public CbStackWalkerBase
{
public:
    CyStackWalkerOutput();
    CyStackWalkerOutput(detail::SSupportSystem const& system, unsigned int options, char const* symbolPath);
    ~CyStackWalkerOutput() override;

    /// Forgets the lines; the next `skip` lines will not be kept.
    void Restart(unsigned int skip);

    /// Appends each line and "\n" to `text`, from the front, and forgets them.
    void TakeLines(CStringW& text);

protected:
    void onOutputFrame(wchar_t const* text) override;

private:
    __int64 m_count = 0; // below 1: lines are dropped
    // The lines as they were delivered, with their "\n", and where each ends. The memory is kept for the next walk.
    std::wstring m_text;
    std::vector<std::size_t> m_ends;
};

#endif // ORVANE_DEBUGGING_CYSTACKWALKEROUTPUT_H
