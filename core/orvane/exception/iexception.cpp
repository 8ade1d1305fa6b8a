#include "orvane/exception/iexception.h"

IException::~IException() = default;
