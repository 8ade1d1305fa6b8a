// Text streams that show how they are used.

#ifndef ORVANE_TESTS_STREAM_TEXTTESTING_H
#define ORVANE_TESTS_STREAM_TEXTTESTING_H

#include <string>
#include <vector>

#include "orvane/stream/cbstreamwriteascii.h"

/// Keeps every call of the two `write` operations by itself; a null text as "<null>".
template <class S>
class CTextRecorder : public CbStreamWriteASCIIT<S>
{
public:
    using CbStreamWriteASCIIT<S>::CbStreamWriteASCIIT;

    std::vector<std::string> m_narrow;
    std::vector<std::wstring> m_wide;

protected:
    CTextRecorder& write(wchar_t const* text) override
    {
        m_wide.emplace_back(text != nullptr ? text : L"<null>");
        return *this;
    }

    CTextRecorder& write(char const* text) override
    {
        m_narrow.emplace_back(text != nullptr ? text : "<null>");
        return *this;
    }
};

using Narrow = CbStreamWriteASCIIStringT<CStringA>;
using Wide = CbStreamWriteASCIIStringT<CStringW>;

#endif // ORVANE_TESTS_STREAM_TEXTTESTING_H
