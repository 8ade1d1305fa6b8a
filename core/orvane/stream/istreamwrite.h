// The values that can be written to a stream.

#ifndef ORVANE_STREAM_ISTREAMWRITE_H
#define ORVANE_STREAM_ISTREAMWRITE_H

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>

#include "mfc/cstringt.h"
#include "orvane/export.h"
#include "platform/platform.h"

namespace detail
{
/// A function, or a pointer to one.
template <class T>
concept Function = std::is_function_v<std::remove_pointer_t<std::remove_cvref_t<T>>>;

/// An object that becomes a pointer to a function by itself, as a lambda without captures does.
template <class T>
concept BecomesFunction =
    std::is_class_v<std::remove_cvref_t<T>> && std::is_convertible_v<T, bool> && Function<decltype(+std::declval<T>())>;

/// What has no value to write, and an address that would become `true`.
template <class T>
concept FunctionOrMember = Function<T> || BecomesFunction<T> || std::is_member_pointer_v<std::remove_cvref_t<T>>;
} // namespace detail

/// A stream that values are written to, whatever its encoding.
///
/// Every serialisable class writes itself through these operators only. Their order is part of the binary interface.
/// `long` and `unsigned long` are 32 bits wide in the binary encoding, also where the type is wider: `int` and `__int64`
/// are the same everywhere and the better choice in stored layouts. On Linux `std::size_t` and `std::int64_t` are such
/// types: `stream << text.size()` writes 4 bytes there, and raises for more than they hold, but 8 bytes on Windows. Name
/// the width: `stream << static_cast<unsigned __int64>(text.size())`. Text streams write the whole value.
/// Threads: a stream belongs to one thread at a time.
class ORVANE_API IStreamWrite
{
public:
    virtual ~IStreamWrite();

    virtual IStreamWrite& operator<<(CStringW const& value) = 0;
    virtual IStreamWrite& operator<<(CStringA const& value) = 0;
    virtual IStreamWrite& operator<<(std::wstring const& value) = 0;
    virtual IStreamWrite& operator<<(std::string const& value) = 0;
    virtual IStreamWrite& operator<<(wchar_t const* value) = 0;
    virtual IStreamWrite& operator<<(char const* value) = 0;
    virtual IStreamWrite& operator<<(long value) = 0;
    virtual IStreamWrite& operator<<(unsigned long value) = 0;
    virtual IStreamWrite& operator<<(char value) = 0;
    virtual IStreamWrite& operator<<(double value) = 0;
    virtual IStreamWrite& operator<<(float value) = 0;
    virtual IStreamWrite& operator<<(__int64 value) = 0;
    virtual IStreamWrite& operator<<(unsigned __int64 value) = 0;
    virtual IStreamWrite& operator<<(int value) = 0;
    virtual IStreamWrite& operator<<(unsigned int value) = 0;
    virtual IStreamWrite& operator<<(short value) = 0;
    virtual IStreamWrite& operator<<(unsigned short value) = 0;
    virtual IStreamWrite& operator<<(signed char value) = 0;
    virtual IStreamWrite& operator<<(unsigned char value) = 0;
    virtual IStreamWrite& operator<<(bool value) = 0;

    /// Writes a format version: an unsigned 32-bit value.
    virtual void WriteVersion(unsigned int version) = 0;

    /// Pointers that are no text, be it to objects, functions or members, would become `bool`.
    IStreamWrite& operator<<(void const volatile*) = delete;
    IStreamWrite& operator<<(std::nullptr_t) = delete;
    template <detail::FunctionOrMember T>
    IStreamWrite& operator<<(T&& value) = delete;

protected:
    IStreamWrite() = default;
    IStreamWrite(IStreamWrite const&) = default;
    IStreamWrite& operator=(IStreamWrite const&) = default;
};

#endif // ORVANE_STREAM_ISTREAMWRITE_H
