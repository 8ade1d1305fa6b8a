// What stands in place of the name of a day or month that cannot be had.

#ifndef ORVANE_DATETIME_DATEERRORTEXT_H
#define ORVANE_DATETIME_DATEERRORTEXT_H

#include "platform/platform.h"

namespace DateErrorText
{
/// By the last error that the platform left.
inline wchar_t const* Get(DWORD error)
{
    switch (error)
    {
    case ERROR_INSUFFICIENT_BUFFER:
        return L"ERROR_INSUFFICIENT_BUFFER";
    case ERROR_INVALID_PARAMETER:
        return L"ERROR_INVALID_PARAMETER";
    case ERROR_INVALID_FLAGS:
        return L"ERROR_INVALID_FLAGS";
    default:
        return L"UNKNOWN ERROR";
    }
}
} // namespace DateErrorText

#endif // ORVANE_DATETIME_DATEERRORTEXT_H
