// How text streams format floating-point numbers under a locale, as tests may replace it.

#ifndef ORVANE_STREAM_REALFORMATTER_H
#define ORVANE_STREAM_REALFORMATTER_H

#include <cstddef>

#include "orvane/export.h"
#include "platform/platform.h"

namespace detail
{
/// Formats `value` by `format` into `size` characters: the number of characters, or a negative number for a failure.
using FnFormatReal = int (*)(char* buffer, std::size_t size, char const* format, _locale_t locale, double value);

/// Replaces the C runtime's formatter for all text streams of the process; null puts it back. The C runtime fails at no
/// number, but what a stream does then is part of its contract and has to be reached.
ORVANE_API void SetRealFormatter(FnFormatReal formatter);
} // namespace detail

#endif // ORVANE_STREAM_REALFORMATTER_H
