// The pointer that owns reference-counted objects.

#ifndef ORVANE_MEMORY_CBSMARTPOINTER_H
#define ORVANE_MEMORY_CBSMARTPOINTER_H

#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

#include "orvane/memory/cbreferencecounter.h"

namespace detail
{
// Whether a pointer to U is one to T.
template <class U, class T>
concept PointsTo = std::convertible_to<U*, T*>;
} // namespace detail

/// Owns an object together with all other CbSmartPointers to it; the last one disposes of it.
///
/// The count stands in the object (T implements IReferenceCounted), so a plain pointer to an object that is owned already
/// may be made an owner at any time. One pointer wide. T may be incomplete where the pointer is only declared.
/// Assigning another object releases the old one first and then takes the new one: what only the old object keeps alive
/// must be moved or copied out before it is assigned. Assigning the object that is held does nothing. What the old object's
/// end puts into the pointer is released too: the pointer has the object that was assigned.
/// Moves change no count: they cost no atomic operation but for the release of what the target held.
/// Raises: nothing; it disposes of objects, whose destructors and deleters must not raise.
/// Threads: owners of one object may be used by different threads at once; one CbSmartPointer by one thread at a time.
template <class T>
class CbSmartPointer
{
public:
    using element_type = T;

    constexpr CbSmartPointer() noexcept = default;

    /// Takes a reference; null owns nothing.
    CbSmartPointer(T* object) noexcept : m_pointer(object)
    {
        take();
    }

    CbSmartPointer(CbSmartPointer const& other) noexcept : CbSmartPointer(other.m_pointer)
    {
    }

    /// Empties `other`.
    CbSmartPointer(CbSmartPointer&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr))
    {
    }

    template <detail::PointsTo<T> U>
    CbSmartPointer(CbSmartPointer<U> const& other) noexcept : CbSmartPointer(static_cast<T*>(other.m_pointer))
    {
    }

    template <detail::PointsTo<T> U>
    CbSmartPointer(CbSmartPointer<U>&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr))
    {
    }

    ~CbSmartPointer()
    {
        if (release())
        {
            drop(m_pointer);
        }
    }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): assign() does nothing for what is held already.
    CbSmartPointer& operator=(CbSmartPointer const& other) noexcept
    {
        assign(other.m_pointer);
        return *this;
    }

    /// Empties `other`, but for an assignment to itself.
    CbSmartPointer& operator=(CbSmartPointer&& other) noexcept
    {
        if (this != &other)
        {
            adopt(std::exchange(other.m_pointer, nullptr));
        }
        return *this;
    }

    template <detail::PointsTo<T> U>
    CbSmartPointer& operator=(CbSmartPointer<U> const& other) noexcept
    {
        assign(other.m_pointer);
        return *this;
    }

    template <detail::PointsTo<T> U>
    CbSmartPointer& operator=(CbSmartPointer<U>&& other) noexcept
    {
        adopt(std::exchange(other.m_pointer, nullptr));
        return *this;
    }

    template <detail::PointsTo<T> U>
    CbSmartPointer& operator=(U* object) noexcept
    {
        assign(object);
        return *this;
    }

    /// The object, still owned by this; null where there is none.
    T* Get() const noexcept
    {
        return m_pointer;
    }

    T* operator->() const noexcept
    {
        return m_pointer;
    }

    T& operator*() const noexcept
    {
        return *m_pointer;
    }

    explicit operator bool() const noexcept
    {
        return m_pointer != nullptr;
    }

    /// Releases. This is empty before the object goes: its destructor finds nothing here; what it puts here stays.
    void Reset() noexcept
    {
        release();
    }

    /// As the assignment of `object`.
    void Reset(T* object) noexcept
    {
        assign(object);
    }

    void Swap(CbSmartPointer& other) noexcept
    {
        std::swap(m_pointer, other.m_pointer);
    }

    friend void swap(CbSmartPointer& left, CbSmartPointer& right) noexcept
    {
        left.Swap(right);
    }

private:
    template <class U>
    friend class CbSmartPointer;

    using Counter = CbReferenceCounter<unsigned int>;

    void take() const noexcept
    {
        if (m_pointer != nullptr)
        {
            Counter::of(*m_pointer).increment();
        }
    }

    // Whether the object is gone. Its end may have put another one here, or have ended this: only who goes on living looks.
    bool release() noexcept
    {
        if (m_pointer == nullptr)
        {
            return false;
        }
        T* const object = m_pointer;
        Counter const& counter = Counter::of(*object);
        m_pointer = nullptr;
        if (counter.decrement())
        {
            counter.dispose(object);
            return true;
        }
        return false;
    }

    // Releases an object whose reference no pointer has any more.
    static void drop(T* object) noexcept
    {
        if (object != nullptr) [[unlikely]]
        {
            dropOwned(object);
        }
    }

    // Hardly ever called, so it does not stand in its callers.
    [[gnu::noinline]] static void dropOwned(T* object) noexcept
    {
        CbSmartPointer owner;
        owner.m_pointer = object;
    }

    void assign(T* object) noexcept
    {
        if (m_pointer != object)
        {
            T* const meanwhile = release() ? m_pointer : nullptr;
            m_pointer = object;
            take();
            drop(meanwhile);
        }
    }

    // Expects a reference that comes with the object.
    void adopt(T* object) noexcept
    {
        T* const meanwhile = release() ? m_pointer : nullptr;
        m_pointer = object;
        drop(meanwhile);
    }

    T* m_pointer = nullptr;
};

/// Compared by the addresses of the objects, with plain pointers as well.
template <class T, class U>
bool operator==(CbSmartPointer<T> const& left, CbSmartPointer<U> const& right) noexcept
{
    return left.Get() == right.Get();
}

template <class T, class U>
bool operator==(CbSmartPointer<T> const& left, U* right) noexcept
{
    return left.Get() == right;
}

template <class T>
bool operator==(CbSmartPointer<T> const& left, std::nullptr_t) noexcept
{
    return left.Get() == nullptr;
}

template <class T, class U>
std::strong_ordering operator<=>(CbSmartPointer<T> const& left, CbSmartPointer<U> const& right) noexcept
{
    return std::compare_three_way()(left.Get(), right.Get());
}

template <class T>
struct std::hash<CbSmartPointer<T>>
{
    std::size_t operator()(CbSmartPointer<T> const& pointer) const noexcept
    {
        return std::hash<T*>()(pointer.Get());
    }
};

/// A new T made of `arguments`, and its first owner. Raises: what the constructor of T and the allocation raise.
template <class T, class... A>
CbSmartPointer<T> MakeCounted(A&&... arguments)
{
    return CbSmartPointer<T>(new T(std::forward<A>(arguments)...));
}

#endif // ORVANE_MEMORY_CBSMARTPOINTER_H
