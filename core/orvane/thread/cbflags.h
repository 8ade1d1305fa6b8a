// Sets of flags that an enumeration names.

#ifndef ORVANE_THREAD_CBFLAGS_H
#define ORVANE_THREAD_CBFLAGS_H

/// A set of the bits of an enumeration, 32 of them. What takes a set takes a single flag as well.
/// Threads: a plain value, 4 bytes, fit for std::atomic.
template <class E>
class CbFlags
{
public:
    /// The empty set.
    constexpr CbFlags() noexcept = default;

    constexpr CbFlags(E flag) noexcept : m_value(static_cast<unsigned int>(flag))
    {
    }

    /// Bits that the enumeration does not name are kept too.
    constexpr explicit CbFlags(unsigned int value) noexcept : m_value(value)
    {
    }

    constexpr unsigned int GetValue() const noexcept
    {
        return m_value;
    }

    /// Replaces the set.
    constexpr void Set(CbFlags flags) noexcept
    {
        m_value = flags.m_value;
    }

    constexpr void Add(CbFlags flags) noexcept
    {
        m_value |= flags.m_value;
    }

    constexpr void Remove(CbFlags flags) noexcept
    {
        m_value &= ~flags.m_value;
    }

    /// Whether all of `flags` are in the set; true for none.
    constexpr bool IsSet(CbFlags flags) const noexcept
    {
        return (m_value & flags.m_value) == flags.m_value;
    }

    /// Whether any of `flags` is in the set; false for none.
    constexpr bool IsOneSet(CbFlags flags) const noexcept
    {
        return (m_value & flags.m_value) != 0;
    }

    constexpr bool IsEmpty() const noexcept
    {
        return m_value == 0;
    }

    friend constexpr CbFlags operator|(CbFlags left, CbFlags right) noexcept
    {
        return CbFlags(left.m_value | right.m_value);
    }

    friend constexpr bool operator==(CbFlags, CbFlags) noexcept = default;

private:
    unsigned int m_value = 0;
};

#endif // ORVANE_THREAD_CBFLAGS_H
