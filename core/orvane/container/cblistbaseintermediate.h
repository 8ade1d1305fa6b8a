// Linked lists whose nodes come from a pool, which several lists may share.

#ifndef ORVANE_CONTAINER_CBLISTBASEINTERMEDIATE_H
#define ORVANE_CONTAINER_CBLISTBASEINTERMEDIATE_H

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "orvane/container/cbnodelinked.h"
#include "orvane/container/cbplexmanager.h"
#include "orvane/exception/cbexceptioncontainer.h"
#include "orvane/exception/raisesite.h"
#include "orvane/text/typetext.h"

/// Whether a list counts its elements. C = 0: it does not, and nothing here does anything.
template <int C, int Z>
class CbListPolicyElementCount;

template <>
class CbListPolicyElementCount<0, 0>
{
public:
    void incElementCount() noexcept
    {
    }

    void decElementCount() noexcept
    {
    }

    void resetElementCount() noexcept
    {
    }

    void absorbElementCount(CbListPolicyElementCount&) noexcept
    {
    }
};

template <>
class CbListPolicyElementCount<1, 0>
{
public:
    void incElementCount() noexcept
    {
        ++m_elementCount;
    }

    void decElementCount() noexcept
    {
        --m_elementCount;
    }

    void resetElementCount() noexcept
    {
        m_elementCount = 0;
    }

    /// Adds the other list's count, which is 0 afterwards.
    void absorbElementCount(CbListPolicyElementCount& other) noexcept
    {
        unsigned int const taken = std::exchange(other.m_elementCount, 0);
        m_elementCount += taken;
    }

    unsigned int getElementCount() const noexcept
    {
        return m_elementCount;
    }

private:
    unsigned int m_elementCount = 0;
};

/// A list that grows at its tail, shrinks at its head and counts its elements. N = 9 is singly linked, N = 17 doubly.
///
/// References to elements are good until the element is removed. A value is destroyed when list and pool are done with
/// it: its destructor may come back into both.
/// Threads: no lock. The owner guards the list, and lists that share a pool together.
/// Owns: the values, and its share of the pool.
template <class T, int N>
class CbListBaseIntermediate
{
    static_assert(N == 9 || N == 17, "9 is a singly linked list, 17 a doubly linked one");

public:
    using TNode = CbNodeLinked<T, (N & 16) ? 1 : 0>;
    using TPool = CbPlexManager<TNode, 0, 0, unsigned int>;

    /// An empty list that takes its nodes from `pool`, which must not be null.
    explicit CbListBaseIntermediate(std::shared_ptr<TPool> pool) noexcept : m_pool(std::move(pool))
    {
    }

    /// An empty list with a pool of its own. Raises: as the pool's constructor for a size of 0.
    explicit CbListBaseIntermediate(unsigned int baseBlockSize) : m_pool(std::make_shared<TPool>(baseBlockSize))
    {
    }

    CbListBaseIntermediate(CbListBaseIntermediate const&) = delete;
    CbListBaseIntermediate& operator=(CbListBaseIntermediate const&) = delete;

    /// Takes the elements over. The source is empty afterwards and still has the pool.
    // NOLINTNEXTLINE(performance-move-constructor-init): the source keeps its pool.
    CbListBaseIntermediate(CbListBaseIntermediate&& other) noexcept : m_pool(other.m_pool)
    {
        take(other);
    }

    /// The same; what the list held before is destroyed last.
    CbListBaseIntermediate& operator=(CbListBaseIntermediate&& other) noexcept
    {
        if (this != &other)
        {
            CbListBaseIntermediate const before(std::move(*this));
            m_pool = other.m_pool;
            take(other);
        }
        return *this;
    }

    ~CbListBaseIntermediate()
    {
        // Again where the destructor of a value has added one.
        while (!IsEmpty())
        {
            RemoveAll();
        }
    }

    /// Raises: CbExceptionContainer where the pool gives no node, and what moving or copying the value raises; the list
    /// is as it was. `value` may be one of the list's own.
    void AddTail(T&& value)
    {
        append(detail::makeElement<TNode>(*m_pool, std::move(value)));
    }

    void AddTail(T const& value)
    {
        append(detail::makeElement<TNode>(*m_pool, value));
    }

    /// Destroys the first value and gives its node back.
    /// Raises: CbExceptionContainer from "CbListBaseIntermediate<...>::RemoveHead", line 490, where the list is empty.
    void RemoveHead()
    {
        if (m_head == nullptr)
        {
            raise(c_LineEmptyList, "RemoveHead");
        }
        detail::dropElement(*m_pool, unlinkHead());
    }

    /// The first value. Raises: CbExceptionContainer from "CbListBaseIntermediate<...>::GetHead" where there is none.
    T& GetHead()
    {
        if (m_head == nullptr)
        {
            raise(__LINE__, "GetHead");
        }
        return m_head->value;
    }

    T const& GetHead() const
    {
        if (m_head == nullptr)
        {
            raise(__LINE__, "GetHead");
        }
        return m_head->value;
    }

    /// Removes the first value and returns it.
    /// Raises: CbExceptionContainer from "CbListBaseIntermediate<...>::TakeHead" where there is none; what moving the
    /// value raises, with the list as it was.
    T TakeHead()
    {
        if (m_head == nullptr)
        {
            raise(__LINE__, "TakeHead");
        }
        T value(std::move(m_head->value));
        detail::dropElement(*m_pool, unlinkHead());
        return value;
    }

    unsigned int GetCount() const noexcept
    {
        return m_elementCount.getElementCount();
    }

    bool IsEmpty() const noexcept
    {
        return m_head == nullptr;
    }

    /// Destroys all values, first to last, and gives their nodes back. What a value's destructor adds meanwhile stays.
    void RemoveAll()
    {
        // Held here: the destructor of a value may end the list.
        std::shared_ptr<TPool> const pool = m_pool;
        TNode* node = std::exchange(m_head, nullptr);
        m_tail = nullptr;
        m_elementCount.resetElementCount();
        while (node != nullptr)
        {
            TNode* const next = node->next;
            detail::dropElement(*pool, node);
            node = next;
        }
    }

    /// Appends all elements of `other`, which is empty afterwards. Where both have one pool the nodes change hands;
    /// otherwise the values are moved one by one.
    /// Raises: nothing with one pool; otherwise as AddTail, with the values that were not moved yet still in `other`.
    void Absorb(CbListBaseIntermediate& other)
    {
        if (this == &other)
        {
            return;
        }
        if (m_pool == other.m_pool)
        {
            take(other);
            return;
        }
        while (!other.IsEmpty())
        {
            AddTail(std::move(other.m_head->value));
            other.RemoveHead();
        }
    }

private:
    static constexpr char const* c_SourceFile = "cblistbaseintermediate";
    static constexpr unsigned int c_LineEmptyList = 490; // published

    static void setPrevious(TNode& node, TNode* previous) noexcept
    {
        if constexpr (std::is_same_v<TNode, CbNodeLinked<T, 1>>)
        {
            node.previous = previous;
        }
    }

    void append(TNode* node) noexcept
    {
        setPrevious(*node, m_tail);
        (m_tail != nullptr ? m_tail->next : m_head) = node;
        m_tail = node;
        m_elementCount.incElementCount();
    }

    // Takes the first node out of the list and counts it out; there must be one.
    TNode* unlinkHead() noexcept
    {
        TNode* const head = m_head;
        m_head = head->next;
        if (m_head != nullptr)
        {
            if constexpr (N == 17)
            {
                // The new head is here now, to be written to. The one after it is next, and comes meanwhile: another
                // processor may have it.
                __builtin_prefetch(m_head->next);
            }
            setPrevious(*m_head, nullptr);
        }
        else
        {
            m_tail = nullptr;
        }
        m_elementCount.decElementCount();
        return head;
    }

    // Appends the nodes of a list with the same pool.
    void take(CbListBaseIntermediate& other) noexcept
    {
        if (other.m_head != nullptr)
        {
            setPrevious(*other.m_head, m_tail);
            (m_tail != nullptr ? m_tail->next : m_head) = std::exchange(other.m_head, nullptr);
            m_tail = std::exchange(other.m_tail, nullptr);
            m_elementCount.absorbElementCount(other.m_elementCount);
        }
    }

    [[noreturn, gnu::noinline]] static void raise(unsigned int line, char const* member)
    {
        std::string const function =
            detail::templateText("CbListBaseIntermediate", {detail::typeText<T>(), std::to_string(N)}) + "::" + member;
        throw CbExceptionContainer(CB_SITE_AT(line, function.c_str()));
    }

    TNode* m_head = nullptr;
    TNode* m_tail = nullptr;
    std::shared_ptr<TPool> m_pool;
    CbListPolicyElementCount<1, 0> m_elementCount;
};

#endif // ORVANE_CONTAINER_CBLISTBASEINTERMEDIATE_H
