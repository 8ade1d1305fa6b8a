// The interfaces' destructors live here, so that each table of virtual operations exists once, in the library.

#include "orvane/stream/istreamread.h"
#include "orvane/stream/istreamwrite.h"

IStreamRead::~IStreamRead() = default;

IStreamWrite::~IStreamWrite() = default;
