#include "orvane/stream/testclasses.h"

CB_IMPLEMENT_CLASS(CGoldenEntry);
CB_IMPLEMENT_CLASS(CGoldenFolder);
