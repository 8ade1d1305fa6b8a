#include "orvane/stream/cbstreamread.h"

#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/exception/raisesite.h"

namespace
{
CB_RAISING_FILE("cbstreamread");
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
