#include "orvane/stream/traceoutput.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

#include "mfc/cstringt.h"

namespace
{
constinit std::atomic<Debugging::FnTraceA> s_narrow = nullptr;
constinit std::atomic<Debugging::FnTraceW> s_wide = nullptr;

constexpr int c_PieceLength = 1023;

template <class C, class Output>
void tracePieces(Output output, C const* text)
{
    // Copied first: what the output does may change the text that was given.
    CStringT<C> const whole(text);
    C piece[c_PieceLength + 1];
    for (int position = 0; position < whole.GetLength(); position += c_PieceLength)
    {
        int const length = std::min(c_PieceLength, whole.GetLength() - position);
        std::copy_n(whole.GetString() + position, length, piece);
        piece[length] = C();
        output(piece);
    }
}
} // namespace

void Debugging::SetTraceOutput(FnTraceA narrow, FnTraceW wide)
{
    s_narrow = narrow;
    s_wide = wide;
}

void detail::traceText(char const* text)
{
    if (Debugging::FnTraceA const output = s_narrow; output != nullptr)
    {
        tracePieces(output, text);
    }
}

void detail::traceText(wchar_t const* text)
{
    if (Debugging::FnTraceW const output = s_wide; output != nullptr)
    {
        tracePieces(output, text);
    }
}
