// Formatting as tests use it: counted first, then written, with both results compared.

#ifndef ORVANE_TESTS_PLATFORM_FORMATCALLS_H
#define ORVANE_TESTS_PLATFORM_FORMATCALLS_H

#include <cstdarg>
#include <string>

#include "platform/platform.h"
#include "gtest/gtest.h"

namespace formatcalls
{
inline int count(char const* format, va_list arguments)
{
    return _vscprintf(format, arguments);
}

inline int count(wchar_t const* format, va_list arguments)
{
    return _vscwprintf(format, arguments);
}

inline int write(char* buffer, std::size_t size, char const* format, va_list arguments)
{
    return _vsnprintf(buffer, size, format, arguments);
}

inline int write(wchar_t* buffer, std::size_t size, wchar_t const* format, va_list arguments)
{
    return _vsnwprintf(buffer, size, format, arguments);
}

/// The length that the counting function tells.
template <class C>
int countText(C const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = count(format, arguments);
    va_end(arguments);
    return length;
}

/// The result of writing into `size` characters.
template <class C>
int writeText(C* buffer, std::size_t size, C const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = write(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

/// The formatted text.
template <class C>
std::basic_string<C> text(C const* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = count(format, arguments);
    va_end(arguments);
    EXPECT_GE(length, 0);
    if (length < 0)
    {
        return {};
    }
    std::basic_string<C> written(static_cast<std::size_t>(length) + 1, C('#'));
    va_start(arguments, format);
    EXPECT_EQ(write(written.data(), written.size(), format, arguments), length);
    va_end(arguments);
    EXPECT_EQ(written.back(), C(0));
    written.pop_back();
    return written;
}

/// ASCII as wide text.
inline std::wstring widen(std::string const& narrow)
{
    return {narrow.begin(), narrow.end()};
}
} // namespace formatcalls

#endif // ORVANE_TESTS_PLATFORM_FORMATCALLS_H
