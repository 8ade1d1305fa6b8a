// A hash map with 32-bit keys whose entries come from a pool.

#ifndef ORVANE_CONTAINER_CBMAP_H
#define ORVANE_CONTAINER_CBMAP_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "orvane/container/cbplexmanager.h"
#include "platform/platform.h"

namespace detail
{
// FNV-1a takes a hash on by one byte: mixed into the low eight bits, then multiplied. Arithmetic of 32 bits gives the low
// half of what arithmetic of 64 bits gives.
template <class THash>
constexpr THash hashOn(THash hash, unsigned int byte) noexcept
{
    return (hash ^ byte) * static_cast<THash>(0x100000001b3);
}

inline constexpr unsigned __int64 c_HashBasis = 0xcbf29ce484222325;

// The low half after the first byte, for each value of it: a step of a look-up that need not be computed.
inline constexpr auto c_HashesOfFirstByte = []
{
    std::array<unsigned int, 256> hashes{};
    for (unsigned int byte = 0; byte < hashes.size(); ++byte)
    {
        hashes[byte] = hashOn(static_cast<unsigned int>(c_HashBasis), byte);
    }
    return hashes;
}();
} // namespace detail

/// What maps are made of.
struct CbMapTypes
{
    /// One entry of a map. All links are null when it is made.
    template <class K, class V>
    struct SAssociation
    {
        template <class TValue>
        SAssociation(K initialKey, TValue&& initialValue) noexcept(noexcept(V(std::forward<TValue>(initialValue))))
            : key(initialKey),
              value(std::forward<TValue>(initialValue))
        {
        }

        SAssociation(SAssociation const&) = delete;
        SAssociation& operator=(SAssociation const&) = delete;

        K key;
        V value;
        SAssociation* nextInOrder = nullptr;
        SAssociation* nextInBucket = nullptr;
        SAssociation* previousInOrder = nullptr;
    };
};

/// Values by key; keys are integers.
///
/// The number of buckets is a power of two. That of the construction stays until there are more entries than buckets;
/// from then on there are at least four for each entry. It never falls. A key's bucket is its hash masked by the number
/// of buckets less one. Entries are walked in the order of their buckets, from the first that is used; an insertion may
/// change the order. Pointers and references to values, and positions, are good until the entry is removed.
/// A value is destroyed when the map is done with its entry: its destructor may come back into the map.
/// Threads: no lock. The owner guards it.
/// Cost: in a steady state nothing is taken from the heap: removed entries are used again.
template <class K, class V>
class CbMap
{
    static_assert(std::is_integral_v<K> || std::is_enum_v<K>, "the hash is that of a number");

public:
    using TAssociation = CbMapTypes::SAssociation<K, V>;

    /// An entry while the map is walked; null behind the last one.
    using TPosition = TAssociation*;

    /// What an iterator shows.
    struct SEntry
    {
        K const& key;
        V& value;
    };

    class CIterator
    {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = SEntry;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = SEntry;

        explicit CIterator(TPosition position = nullptr) noexcept : m_position(position)
        {
        }

        SEntry operator*() const noexcept
        {
            return {m_position->key, m_position->value};
        }

        CIterator& operator++() noexcept
        {
            m_position = m_position->nextInOrder;
            return *this;
        }

        CIterator operator++(int) noexcept
        {
            CIterator const before(*this);
            ++*this;
            return before;
        }

        friend bool operator==(CIterator const&, CIterator const&) = default;

    private:
        TPosition m_position;
    };

    /// An empty map with `size` buckets, rounded down to a power of two, and room for `size` entries in the first block
    /// of its pool.
    /// Raises: CbExceptionContainer as the pool's constructor for a size of 0; std::bad_alloc.
    explicit CbMap(unsigned int size)
        : m_associations(size),
          m_buckets(new TAssociation*[std::bit_floor(size)]()),
          m_bucketCount(std::bit_floor(size)),
          m_bucketMask(m_bucketCount - 1)
    {
    }

    CbMap(CbMap const&) = delete;
    CbMap& operator=(CbMap const&) = delete;

    ~CbMap()
    {
        // Again where the destructor of a value has inserted one.
        while (m_count != 0)
        {
            RemoveAll();
        }
    }

    /// The value of that key; null where there is none.
    V* Find(K key) noexcept
    {
        TAssociation* const association = find(key);
        return association != nullptr ? &association->value : nullptr;
    }

    V const* Find(K key) const noexcept
    {
        TAssociation const* const association = find(key);
        return association != nullptr ? &association->value : nullptr;
    }

    /// Puts a value under a key, in place of the one that is there, and returns the value in the map.
    /// Raises: CbExceptionContainer where the pool gives no entry, and what moving or copying the value raises; the map
    /// is as it was, but for a value that its own assignment left half changed.
    V& Insert(K key, V&& value)
    {
        return insert(key, std::move(value));
    }

    V& Insert(K key, V const& value)
    {
        return insert(key, value);
    }

    /// Whether there was an entry of that key. Its value is destroyed last.
    bool Remove(K key)
    {
        unsigned int const bucket = bucketOf(key);
        TAssociation** link = &m_buckets[bucket];
        while (*link != nullptr && (*link)->key != key)
        {
            link = &(*link)->nextInBucket;
        }
        TAssociation* const association = *link;
        if (association == nullptr)
        {
            return false;
        }
        *link = association->nextInBucket;
        unlinkFromOrder(*association);
        --m_count;
        if (bucket == m_firstUsedBucket && m_buckets[bucket] == nullptr)
        {
            // The order is that of the buckets: the next entry is in the next used one.
            TAssociation const* const next = association->nextInOrder;
            m_firstUsedBucket = next != nullptr ? bucketOf(next->key) : c_NoBucket;
        }
        detail::dropElement(m_associations, association);
        return true;
    }

    /// Removes all entries; the buckets and the memory of the entries stay. What a value's destructor inserts meanwhile
    /// stays too.
    void RemoveAll()
    {
        TAssociation* association = GetStart();
        std::fill_n(m_buckets.get(), m_bucketCount, nullptr);
        m_count = 0;
        m_firstUsedBucket = c_NoBucket;
        while (association != nullptr)
        {
            TAssociation* const next = association->nextInOrder;
            detail::dropElement(m_associations, association);
            association = next;
        }
    }

    unsigned int GetCount() const noexcept
    {
        return m_count;
    }

    bool IsEmpty() const noexcept
    {
        return m_count == 0;
    }

    unsigned int GetBucketCount() const noexcept
    {
        return m_bucketCount;
    }

    /// Makes blocks of entries until there are `blockCount`. Raises: as CbPlexManager::reserve.
    void ReserveBlocks(unsigned int blockCount)
    {
        m_associations.reserve(blockCount);
    }

    /// 64-bit FNV-1a over the key's four bytes, least significant first; of a wider key over its low four.
    static constexpr unsigned __int64 Hash(K key) noexcept
    {
        auto const bits = static_cast<unsigned int>(key);
        unsigned __int64 hash = detail::c_HashBasis;
        for (int shift = 0; shift < 32; shift += 8)
        {
            hash = detail::hashOn(hash, (bits >> shift) & 0xFF);
        }
        return hash;
    }

    /// The first entry, which is the first of the first used bucket; null where the map is empty.
    TPosition GetStart() const noexcept
    {
        return m_count != 0 ? m_buckets[m_firstUsedBucket] : nullptr;
    }

    /// The entry behind `position`; null behind the last one. Ask before the entry at `position` is removed.
    static TPosition GetNext(TPosition position) noexcept
    {
        return position->nextInOrder;
    }

    static K const& GetKey(TPosition position) noexcept
    {
        return position->key;
    }

    static V& GetValue(TPosition position) noexcept
    {
        return position->value;
    }

    /// `for (auto [key, value] : map)`; `value` can be changed in place.
    CIterator begin() const noexcept
    {
        return CIterator(GetStart());
    }

    CIterator end() const noexcept
    {
        return CIterator();
    }

private:
    static constexpr unsigned int c_NoBucket = 0xFFFFFFFF;
    static constexpr unsigned int c_MaximumBucketCount = 0x80000000;
    static constexpr unsigned int c_BucketsPerEntry = 4; // at least, of a map that has grown

    // The hash, masked. The mask takes low bits alone, so its low half is enough.
    unsigned int bucketOf(K key) const noexcept
    {
        auto const bits = static_cast<unsigned int>(key);
        unsigned int hash = detail::c_HashesOfFirstByte[bits & 0xFF];
        for (int shift = 8; shift < 32; shift += 8)
        {
            hash = detail::hashOn(hash, (bits >> shift) & 0xFF);
        }
        return hash & m_bucketMask;
    }

    TAssociation* find(K key) const noexcept
    {
        TAssociation* association = m_buckets[bucketOf(key)];
        while (association != nullptr && association->key != key)
        {
            association = association->nextInBucket;
        }
        return association;
    }

    template <class TValue>
    V& insert(K key, TValue&& value)
    {
        if (TAssociation* const existing = find(key); existing != nullptr)
        {
            if (&existing->value != &value)
            {
                existing->value = std::forward<TValue>(value);
            }
            return existing->value;
        }
        auto* const fresh = detail::makeElement<TAssociation>(m_associations, key, std::forward<TValue>(value));
        if (isFull()) [[unlikely]]
        {
            grow();
        }
        link(*fresh);
        return fresh->value;
    }

    // Puts a new entry where it belongs: first in its bucket, and in the order of the buckets.
    void link(TAssociation& fresh) noexcept
    {
        unsigned int const bucket = bucketOf(fresh.key);
        TAssociation* const first = m_buckets[bucket];
        if (first != nullptr)
        {
            fresh.nextInBucket = first;
            linkBetween(first->previousInOrder, fresh, first);
        }
        else if (m_count != 0 && bucket > m_firstUsedBucket)
        {
            TAssociation* const before = lastBefore(bucket);
            linkBetween(before, fresh, before->nextInOrder);
        }
        else
        {
            linkBetween(nullptr, fresh, GetStart());
        }
        m_buckets[bucket] = &fresh;
        m_firstUsedBucket = std::min(m_firstUsedBucket, bucket);
        ++m_count;
    }

    // The last entry, in order, of all buckets before `bucket`, which is not used and behind the first used one.
    TAssociation* lastBefore(unsigned int bucket) const noexcept
    {
        TAssociation* last;
        if (static_cast<unsigned __int64>(m_count) * m_count * 8 < m_bucketCount)
        {
            // Fewer entries than empty buckets between two of them, eight of which are passed as fast as one entry.
            last = m_buckets[m_firstUsedBucket];
            while (last->nextInOrder != nullptr && bucketOf(last->nextInOrder->key) < bucket)
            {
                last = last->nextInOrder;
            }
            return last;
        }
        do
        {
            last = m_buckets[--bucket];
        } while (last == nullptr);
        while (last->nextInBucket != nullptr)
        {
            last = last->nextInBucket;
        }
        return last;
    }

    static void linkBetween(TAssociation* previous, TAssociation& fresh, TAssociation* next) noexcept
    {
        fresh.previousInOrder = previous;
        fresh.nextInOrder = next;
        if (previous != nullptr)
        {
            previous->nextInOrder = &fresh;
        }
        if (next != nullptr)
        {
            next->previousInOrder = &fresh;
        }
    }

    static void unlinkFromOrder(TAssociation& association) noexcept
    {
        if (association.previousInOrder != nullptr)
        {
            association.previousInOrder->nextInOrder = association.nextInOrder;
        }
        if (association.nextInOrder != nullptr)
        {
            association.nextInOrder->previousInOrder = association.previousInOrder;
        }
    }

    // Whether one more entry wants more buckets. All of those that the map was made with may be used, after that a
    // quarter: a second entry in a bucket costs its finder another wait for memory and a branch predicted wrongly.
    bool isFull() const noexcept
    {
        bool const hasGrown = m_bucketCount > m_associations.getBaseBlockSize();
        return m_count >= (hasGrown ? m_bucketCount / c_BucketsPerEntry : m_bucketCount);
    }

    // Twice as many buckets as the entries need. Without memory for that they stay as they are, and get fuller.
    void grow()
    {
        if (m_bucketCount == c_MaximumBucketCount)
        {
            return;
        }
        unsigned __int64 const wanted = static_cast<unsigned __int64>(m_count) * 2 * c_BucketsPerEntry;
        auto const bucketCount =
            static_cast<unsigned int>(std::min<unsigned __int64>(std::bit_floor(wanted), c_MaximumBucketCount));
        std::unique_ptr<TAssociation*[]> buckets(new (std::nothrow) TAssociation*[bucketCount]());
        if (buckets == nullptr)
        {
            return;
        }
        TAssociation* association = GetStart();
        m_buckets = std::move(buckets);
        m_bucketCount = bucketCount;
        m_bucketMask = bucketCount - 1;
        // Chains first; the order follows from them.
        while (association != nullptr)
        {
            TAssociation*& first = m_buckets[bucketOf(association->key)];
            association->nextInBucket = std::exchange(first, association);
            association = association->nextInOrder;
        }
        linkInOrder();
    }

    void linkInOrder() noexcept
    {
        m_firstUsedBucket = c_NoBucket;
        TAssociation* last = nullptr;
        for (unsigned int bucket = 0; bucket < m_bucketCount; ++bucket)
        {
            TAssociation* association = m_buckets[bucket];
            if (association != nullptr)
            {
                m_firstUsedBucket = std::min(m_firstUsedBucket, bucket);
            }
            for (; association != nullptr; association = association->nextInBucket)
            {
                linkBetween(last, *association, nullptr);
                last = association;
            }
        }
    }

    CbPlexManager<TAssociation, 0, 0, unsigned int> m_associations;
    std::unique_ptr<TAssociation*[]> m_buckets; // the first entry of each bucket, or null
    unsigned int m_count = 0;
    unsigned int m_bucketCount;
    unsigned int m_bucketMask;
    unsigned int m_firstUsedBucket = c_NoBucket;
};

#endif // ORVANE_CONTAINER_CBMAP_H
