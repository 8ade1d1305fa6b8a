// The contiguous dynamic array.

#ifndef ORVANE_CONTAINER_CBARRAY_H
#define ORVANE_CONTAINER_CBARRAY_H

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/platform.h"

namespace detail
{
/// Copies elements to where none of them lies. Bytes often come in the widths of numbers: these are single moves.
template <class T>
inline void copyElements(T const* from, unsigned int count, T* to)
{
    if constexpr (sizeof(T) == 1 && std::is_trivially_copyable_v<T>)
    {
        switch (count)
        {
        case 1:
            std::memcpy(to, from, 1);
            return;
        case 2:
            std::memcpy(to, from, 2);
            return;
        case 4:
            std::memcpy(to, from, 4);
            return;
        case 8:
            std::memcpy(to, from, 8);
            return;
        default:
            std::memcpy(to, from, count);
            return;
        }
    }
    else
    {
        std::copy_n(from, count, to);
    }
}
} // namespace detail

/// A growing array of default-constructible elements in one block.
///
/// Count and capacity are unsigned 32-bit numbers. An append to a full array grows it by the grow step or, where that
/// is 0, to twice its capacity (from 0 to 1). Pointers and references to elements are good until the capacity changes.
/// Raises: std::bad_alloc where memory runs out or the count would pass 0xFFFFFFFF; the array is then as it was before,
/// but for what an element's own copying did, and so is what was to be added. The same holds where a copy of an element
/// raises while the array grows: elements are moved then only where that cannot raise or there is no other way.
/// Threads: a plain container. Share it for reading, guard it for writing.
template <class T>
class CbArray
{
public:
    /// An empty array without memory.
    CbArray() noexcept = default;

    /// An array of `count` elements, each value-initialised (bytes and numbers are zero).
    explicit CbArray(unsigned int count) : m_data(count != 0 ? new T[count]() : nullptr), m_capacity(count)
    {
        setUsed(count);
    }

    /// A copy of the elements and the grow step, with the capacity of the count.
    CbArray(CbArray const& other) : m_growStep(other.m_growStep)
    {
        if (other.m_count != 0)
        {
            std::unique_ptr<T[]> fresh(new T[other.m_count]);
            std::copy(other.begin(), other.end(), fresh.get());
            m_data = fresh.release();
            m_capacity = other.m_count;
            setUsed(other.m_count);
        }
    }

    /// Takes the elements over; the source is empty, without memory, afterwards.
    CbArray(CbArray&& other) noexcept
    {
        Swap(other);
    }

    CbArray& operator=(CbArray const& other)
    {
        if (this != &other)
        {
            CbArray copy(other);
            Swap(copy);
        }
        return *this;
    }

    CbArray& operator=(CbArray&& other) noexcept
    {
        CbArray taken(std::move(other));
        Swap(taken);
        return *this;
    }

    ~CbArray()
    {
        delete[] m_data;
    }

    void Swap(CbArray& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_end, other.m_end);
        std::swap(m_count, other.m_count);
        std::swap(m_capacity, other.m_capacity);
        std::swap(m_growStep, other.m_growStep);
    }

    /// The first element; null where the capacity is 0.
    T* GetData() noexcept
    {
        return m_data;
    }

    T const* GetData() const noexcept
    {
        return m_data;
    }

    unsigned int GetCount() const noexcept
    {
        return m_count;
    }

    unsigned int GetCapacity() const noexcept
    {
        return m_capacity;
    }

    /// 0: growth doubles the capacity.
    unsigned int GetGrowStep() const noexcept
    {
        return m_growStep;
    }

    bool IsEmpty() const noexcept
    {
        return m_count == 0;
    }

    void SetGrowStep(unsigned int growStep) noexcept
    {
        m_growStep = growStep;
    }

    /// Moves the elements into a block of exactly `capacity` elements; those that do not fit are dropped.
    void SetCapacity(unsigned int capacity)
    {
        if (capacity == 0)
        {
            adopt(nullptr, 0, 0);
        }
        else if (capacity != m_capacity)
        {
            // Not within the call: where that raises, g++ 12 destroys the new elements a second time.
            T* const fresh = new T[capacity];
            adopt(fresh, capacity, std::min(m_count, capacity));
        }
    }

    /// Makes the array `count` elements long. Elements that are added are value-initialised. The capacity grows to
    /// exactly `count` where it is smaller and never shrinks.
    void SetCount(unsigned int count)
    {
        if (count > m_capacity)
        {
            SetCapacity(count);
        }
        if (count > m_count)
        {
            if constexpr (std::is_trivially_copyable_v<T>)
            {
                std::fill(m_data + m_count, m_data + count, T());
            }
            else
            {
                // A value of its own for each: copies may share what they stand for.
                std::generate(m_data + m_count, m_data + count, [] { return T(); });
            }
        }
        setUsed(count);
    }

    /// Appends a copy; `element` may be one of the array's own.
    void Add(T const& element)
    {
        if (m_count == m_capacity)
        {
            appendToFresh(std::addressof(element), 1);
            return;
        }
        m_data[m_count] = element;
        setUsed(m_count + 1);
    }

    void Add(T&& element)
    {
        if (m_count == m_capacity)
        {
            if constexpr (movesWhileGrowing())
            {
                unsigned int const capacity = grownCapacity(1);
                unsigned int const kept = m_count;
                std::unique_ptr<T[]> fresh(new T[capacity]);
                // Not before there is memory, and before the others move: it may be one of them.
                fresh[kept] = std::move(element);
                adopt(fresh.release(), capacity, kept);
                setUsed(kept + 1);
            }
            else
            {
                // What is moved would be lost where the copy of another one raises.
                appendToFresh(std::addressof(element), 1);
            }
            return;
        }
        m_data[m_count] = std::move(element);
        setUsed(m_count + 1);
    }

    /// Appends copies of `count` elements, which may be the array's own. The capacity ends as if they had been appended
    /// one by one, but the block is exchanged once at most.
    void Append(T const* elements, unsigned int count)
    {
        if (count > m_capacity - m_count) [[unlikely]]
        {
            appendToFresh(elements, count);
        }
        else if (count != 0)
        {
            detail::copyElements(elements, count, m_data + m_count);
            m_count += count;
            m_end = m_data + m_count;
        }
    }

    /// The first of the elements that the capacity has beyond the count, for up to `GetCapacity() - GetCount()` of them
    /// to be written in place and taken in by UseSpare. Null where the capacity is 0.
    T* GetSpare() noexcept
    {
        return m_data + m_count;
    }

    /// Takes in the first `count` spare elements as they are. There must be so many.
    void UseSpare(unsigned int count) noexcept
    {
        setUsed(m_count + count);
    }

    /// Empties the array; the capacity stays. Elements keep their values until they are overwritten or freed.
    void RemoveAll() noexcept
    {
        setUsed(0);
    }

    /// `index` must be below the count.
    T& operator[](unsigned int index) noexcept
    {
        return m_data[index];
    }

    T const& operator[](unsigned int index) const noexcept
    {
        return m_data[index];
    }

    T* begin() noexcept
    {
        return m_data;
    }

    T* end() noexcept
    {
        return m_data + m_count;
    }

    T const* begin() const noexcept
    {
        return m_data;
    }

    T const* end() const noexcept
    {
        return m_data + m_count;
    }

    /// Whether both hold equal elements in the same order; capacity and grow step do not count.
    friend bool operator==(CbArray const& left, CbArray const& right)
    {
        return std::equal(left.begin(), left.end(), right.begin(), right.end());
    }

private:
    // What the capacity becomes when `count` more elements are appended one by one to an array they do not fit in.
    unsigned int grownCapacity(unsigned int count) const
    {
        constexpr unsigned __int64 c_Maximum = 0xFFFFFFFF;
        unsigned __int64 const needed = static_cast<unsigned __int64>(m_count) + count;
        if (needed > c_Maximum)
        {
            throw std::bad_alloc();
        }
        unsigned __int64 capacity = m_capacity;
        if (m_growStep != 0)
        {
            unsigned __int64 const steps = (needed - capacity + m_growStep - 1) / m_growStep;
            capacity += steps * m_growStep;
        }
        else
        {
            while (capacity < needed)
            {
                capacity = capacity != 0 ? capacity * 2 : 1;
            }
        }
        return static_cast<unsigned int>(std::min(capacity, c_Maximum));
    }

    // The appended elements go to a larger block first: they may lie in the one that is given up. Kept out of Append, so
    // that an append that fits is short.
    [[gnu::noinline]] void appendToFresh(T const* elements, unsigned int count)
    {
        unsigned int const capacity = grownCapacity(count);
        unsigned int const kept = m_count;
        std::unique_ptr<T[]> fresh(new T[capacity]);
        std::copy_n(elements, count, fresh.get() + kept);
        adopt(fresh.release(), capacity, kept);
        setUsed(kept + count);
    }

    // Whether elements go to a larger block by moving. Where that may raise half-way, copies leave the old block whole.
    static constexpr bool movesWhileGrowing() noexcept
    {
        return std::is_nothrow_move_assignable_v<T> || !std::is_copy_assignable_v<T>;
    }

    // Moves the first `kept` elements into `fresh` and lets that be the block. Takes `fresh` over also where it raises.
    void adopt(T* fresh, unsigned int capacity, unsigned int kept)
    {
        std::unique_ptr<T[]> owner(fresh);
        if constexpr (movesWhileGrowing())
        {
            std::move(m_data, m_data + kept, fresh);
        }
        else
        {
            std::copy(m_data, m_data + kept, fresh);
        }
        delete[] m_data;
        m_data = owner.release();
        m_capacity = capacity;
        setUsed(kept);
    }

    void setUsed(unsigned int count) noexcept
    {
        m_count = count;
        m_end = count != 0 ? m_data + count : nullptr;
    }

    T* m_data = nullptr;
    T* m_end = nullptr; // one past the last element in use; null while there is none
    unsigned int m_count = 0;
    unsigned int m_capacity = 0;
    unsigned int m_growStep = 0; // 0: double
};

template <class T>
void swap(CbArray<T>& left, CbArray<T>& right) noexcept
{
    left.Swap(right);
}

#endif // ORVANE_CONTAINER_CBARRAY_H
