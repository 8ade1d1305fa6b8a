// All of the library.

#ifndef ORVANE_ORVANE_H
#define ORVANE_ORVANE_H

#include "orvane/container/cbarray.h"
#include "orvane/datetime/cbdatetime.h"
#include "orvane/datetime/cbdatetime_serializer.h"
#include "orvane/datetime/cbtimeinterval.h"
#include "orvane/exception/cbcheckreturn.h"
#include "orvane/exception/cbexception.h"
#include "orvane/exception/cbexceptioncondition.h"
#include "orvane/exception/cbexceptioncontainer.h"
#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/exception/cbexceptionnotimplemented.h"
#include "orvane/exception/cbexceptionpreconditionviolation.h"
#include "orvane/exception/cbexceptionstd.h"
#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionunknownextension.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/exception/cblatesterror.h"
#include "orvane/exception/condition.h"
#include "orvane/exception/raisesite.h"
#include "orvane/object/cbaserializable.h"
#include "orvane/object/classrecord.h"
#include "orvane/stream/cbarray_serializer.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybytecount.h"
#include "orvane/sync/cbcriticalsection.h"
#include "orvane/sync/cbevent.h"
#include "orvane/sync/cbmutex.h"
#include "orvane/sync/cbreadwritelock.h"
#include "orvane/sync/cbsemaphore.h"
#include "orvane/text/cbformat.h"
#include "orvane/text/cbstr.h"
#include "orvane/text/utf16.h"

#endif // ORVANE_ORVANE_H
