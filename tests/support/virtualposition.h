// Where a virtual operation stands in its class's table.

#ifndef ORVANE_TESTS_SUPPORT_VIRTUALPOSITION_H
#define ORVANE_TESTS_SUPPORT_VIRTUALPOSITION_H

#include <cstddef>
#include <cstdint>
#include <cstring>

/// The position of a virtual operation, counted from the virtual destructor at 0. Read from the pointer to member, whose
/// first word is 1 plus the offset in the table (the common C++ ABI, which both targets' compilers follow); the
/// destructor has two entries there. For an operation of a class without a virtual destructor add 1.
template <class TMember>
std::size_t VirtualPosition(TMember member)
{
    static_assert(sizeof(member) >= sizeof(std::uintptr_t));
    std::uintptr_t word = 0;
    std::memcpy(&word, &member, sizeof word);
    return (word - 1) / sizeof(void*) - 1;
}

#endif // ORVANE_TESTS_SUPPORT_VIRTUALPOSITION_H
