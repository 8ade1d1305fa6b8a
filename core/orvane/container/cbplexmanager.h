// The pool that list nodes and map entries come from.

#ifndef ORVANE_CONTAINER_CBPLEXMANAGER_H
#define ORVANE_CONTAINER_CBPLEXMANAGER_H

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "orvane/exception/cbexceptioncontainer.h"
#include "orvane/exception/raisesite.h"
#include "orvane/text/typetext.h"
#include "platform/platform.h"

namespace detail
{
/// The most bytes that one block of a pool takes from the heap.
constexpr unsigned __int64 c_MaximumBlockBytes = 0xFFFFFFFF;

/// How many of `count` elements the next block takes: all, or as many as stay within the most bytes beside the block's
/// link word. 0 where not even one does.
constexpr unsigned __int64 elementsOfNextBlock(unsigned __int64 count, unsigned __int64 elementBytes)
{
    return std::min(count, (c_MaximumBlockBytes - sizeof(void*)) / elementBytes);
}
} // namespace detail

/// Hands out elements of one size from blocks of growing size, and takes them back on a free list.
///
/// Elements are raw memory: who takes one constructs in it, and destroys before giving it back. The first block has the
/// base size; each further one half as many more, cut to a whole number at every step (100, 150, 225, 337, 505, 757). Of
/// a fresh block the last element is handed out first, and always the one that came back last. Blocks go back to the heap
/// when the pool is destroyed; elements that are out then are freed with them, not destroyed. A and B are 0.
/// Threads: no lock. The owner guards it.
/// Cost: taking and giving back are a pop and a push; a fresh block is one `malloc` and touches each of its elements.
template <class E, int A = 0, int B = 0, class C = unsigned int>
class CbPlexManager
{
    static_assert(A == 0 && B == 0, "other pools than this one do not exist");
    static_assert(std::is_unsigned_v<C>);
    static_assert(alignof(E) <= alignof(void*), "a block starts with one link word, its elements follow at once");

public:
    /// Takes no memory yet.
    /// Raises: CbExceptionContainer from "CbPlexManager<...>::CbPlexManager", line 188, for a size of 0.
    explicit CbPlexManager(C baseBlockSize) : m_baseBlockSize(baseBlockSize)
    {
        if (baseBlockSize == 0)
        {
            raise(c_LineNoBaseBlockSize, "CbPlexManager");
        }
    }

    CbPlexManager(CbPlexManager const&) = delete;
    CbPlexManager& operator=(CbPlexManager const&) = delete;

    ~CbPlexManager()
    {
        while (m_blocks != nullptr)
        {
            void* const block = m_blocks;
            m_blocks = linkIn(block);
            std::free(block);
        }
    }

    /// An element, not constructed.
    /// Raises: CbExceptionContainer from "CbPlexManager<...>::getFreeElement", line 313, where no element is free and the
    /// heap gives no block, or an element is too large for one; the pool is as it was.
    E* getFreeElement()
    {
        if (m_freeElements == nullptr) [[unlikely]]
        {
            addBlock("getFreeElement");
        }
        void* const element = m_freeElements;
        m_freeElements = linkIn(element);
        return static_cast<E*>(element);
    }

    /// Takes back an element of this pool, which the caller has destroyed.
    void putFreeElement(E* element) noexcept
    {
        setLink(element, m_freeElements);
        m_freeElements = element;
    }

    /// Makes blocks until there are `blockCount` of them.
    /// Raises: as getFreeElement, from "CbPlexManager<...>::reserve"; the blocks that were made stay.
    void reserve(C blockCount)
    {
        while (m_blockCount < blockCount)
        {
            addBlock("reserve");
        }
    }

    C getBaseBlockSize() const noexcept
    {
        return m_baseBlockSize;
    }

    /// A block that had to be split for its bytes counts once.
    C getBlockCount() const noexcept
    {
        return m_blockCount;
    }

    /// How many elements the next block will have. What would pass the largest number stops there.
    C getNextBlockSize() const noexcept
    {
        if (m_fixedBlockSize != 0)
        {
            return m_fixedBlockSize;
        }
        C size = m_baseBlockSize;
        for (C block = 0; block < m_blockCount; ++block)
        {
            C const next = grown(size);
            if (next == size)
            {
                // It grows no more: 1 stays 1.
                break;
            }
            size = next;
        }
        return size;
    }

    /// From now on every block has that many elements; 0 goes back to growing.
    void setFixedBlockSize(C size) noexcept
    {
        m_fixedBlockSize = size;
    }

private:
    static constexpr char const* c_SourceFile = "cbplexmanager";
    static constexpr unsigned int c_LineNoBaseBlockSize = 188; // published
    static constexpr unsigned int c_LineNoBlock = 313;         // published

    // An element that is smaller than a link takes the room of a link: it has to hold one while it is free.
    static constexpr unsigned __int64 c_ElementBytes = std::max(sizeof(E), sizeof(void*));

    // Through memcpy: elements need not be aligned for pointers, and links stand where other objects stood.
    static void* linkIn(void const* place) noexcept
    {
        void* link;
        std::memcpy(&link, place, sizeof link);
        return link;
    }

    static void setLink(void* place, void* link) noexcept
    {
        std::memcpy(place, &link, sizeof link);
    }

    C grown(C size) const noexcept
    {
        float const next = static_cast<float>(size) * m_growthFactor;
        return next < static_cast<float>(std::numeric_limits<C>::max()) ? static_cast<C>(next)
                                                                        : std::numeric_limits<C>::max();
    }

    [[gnu::noinline]] void addBlock(char const* caller)
    {
        bool hasBlock = false;
        unsigned __int64 missing = getNextBlockSize();
        while (missing != 0)
        {
            unsigned __int64 const count = detail::elementsOfNextBlock(missing, c_ElementBytes);
            void* const block = count != 0 ? std::malloc(sizeof(void*) + count * c_ElementBytes) : nullptr;
            if (block == nullptr)
            {
                break;
            }
            setLink(block, m_blocks);
            m_blocks = block;
            char* element = static_cast<char*>(block) + sizeof(void*);
            for (unsigned __int64 n = 0; n < count; ++n, element += c_ElementBytes)
            {
                setLink(element, m_freeElements);
                m_freeElements = element;
            }
            missing -= count;
            hasBlock = true;
        }
        if (!hasBlock)
        {
            raise(c_LineNoBlock, caller);
        }
        ++m_blockCount;
    }

    [[noreturn, gnu::noinline]] static void raise(unsigned int line, char const* member)
    {
        std::string const function = detail::templateText("CbPlexManager", {detail::typeText<E>(), std::to_string(A),
                                                                            std::to_string(B), detail::typeText<C>()}) +
                                     "::" + member;
        throw CbExceptionContainer(CB_SITE_AT(line, function.c_str()));
    }

    void* m_blocks = nullptr;       // the latest block; its first word links to the one before
    void* m_freeElements = nullptr; // the first word of a free element links to the next
    C m_baseBlockSize;
    C m_fixedBlockSize = 0;
    C m_blockCount = 0;
    float m_growthFactor = 1.5F;
};

namespace detail
{
/// Takes an element and constructs it. What the construction raises goes on after the element went back.
template <class E, class TPool, class... A>
E* makeElement(TPool& pool, A&&... arguments)
{
    E* const raw = pool.getFreeElement();
    if constexpr (std::is_nothrow_constructible_v<E, A...>)
    {
        return ::new (static_cast<void*>(raw)) E(std::forward<A>(arguments)...);
    }
    else
    {
        try
        {
            return ::new (static_cast<void*>(raw)) E(std::forward<A>(arguments)...);
        }
        catch (...)
        {
            pool.putFreeElement(raw);
            throw;
        }
    }
}

/// Gives back an element that no container knows any more. Its value is taken out first and destroyed last, when
/// neither the pool nor the container is touched any more: the value's destructor may come back into both.
template <class TPool, class E>
void dropElement(TPool& pool, E* element)
{
    using TValue = decltype(element->value);
    if constexpr (std::is_nothrow_move_constructible_v<TValue>)
    {
        [[maybe_unused]] TValue const last(std::move(element->value));
        std::destroy_at(element);
        pool.putFreeElement(element);
    }
    else
    {
        // To move it out could raise. The element is the pool's only after the value is gone.
        std::destroy_at(element);
        pool.putFreeElement(element);
    }
}
} // namespace detail

#endif // ORVANE_CONTAINER_CBPLEXMANAGER_H
