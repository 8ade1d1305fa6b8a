// Reads the fields of an object by their place: clients compiled earlier know the places, not the names.

#ifndef ORVANE_TESTS_SUPPORT_LAYOUT_H
#define ORVANE_TESTS_SUPPORT_LAYOUT_H

#include <cstddef>

/// The field of type T that stands `offset` bytes behind the beginning of `object`.
template <class T>
T const& fieldAt(void const* object, std::size_t offset)
{
    return *reinterpret_cast<T const*>(static_cast<char const*>(object) + offset);
}

#endif // ORVANE_TESTS_SUPPORT_LAYOUT_H
