#include "orvane/stream/cbstreamread.h"

#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/exception/raisesite.h"

namespace
{
constexpr char const* c_SourceFile = "cbstreamread";
} // namespace

CbStreamRead::~CbStreamRead() = default;

unsigned int CbStreamRead::ReadAndCompareVersion(unsigned int expected)
{
    unsigned int stored = 0;
    *this >> stored;
    if (stored > expected)
    {
        throw CbExceptionWrongFileVersion(CB_SITE("CbStreamRead::ReadAndCompareVersion"));
    }
    return stored;
}
