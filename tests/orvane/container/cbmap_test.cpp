#include "orvane/container/cbmap.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/container/containertest.h"
#include "orvane/container/countedheap.h"
#include "support/layout.h"

using containertest::CCounted;
using containertest::CUncopyable;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::Pointee;
using testing::Property;

namespace
{
constexpr unsigned int c_NoBucket = 0xFFFFFFFF;

using Map = CbMap<unsigned int, CCounted>;
using Association = CbMapTypes::SAssociation<unsigned int, CCounted>;

// The fields as they follow each other.
struct SMapLayout
{
    char pool[32];
    Association** buckets;
    unsigned int count;
    unsigned int bucketCount;
    unsigned int bucketMask;
    unsigned int firstUsedBucket;
};

SMapLayout const& layoutOf(Map const& map)
{
    return fieldAt<SMapLayout>(&map, 0);
}

unsigned int bucketOf(unsigned int key, unsigned int bucketCount)
{
    return static_cast<unsigned int>(Map::Hash(key) % bucketCount);
}

// The keys 0, 1, 2, ... whose bucket is that one.
std::vector<unsigned int> keysInBucket(unsigned int bucket, unsigned int bucketCount, std::size_t count)
{
    std::vector<unsigned int> keys;
    for (unsigned int key = 0; keys.size() < count; ++key)
    {
        if (bucketOf(key, bucketCount) == bucket)
        {
            keys.push_back(key);
        }
    }
    return keys;
}

// What is in the map by key, after a look at everything that links its entries.
std::map<unsigned int, int> contentOf(Map const& map)
{
    SMapLayout const& layout = layoutOf(map);
    std::map<unsigned int, int> content;
    unsigned int firstUsed = c_NoBucket;
    Association const* last = nullptr;
    for (unsigned int bucket = 0; bucket < layout.bucketCount; ++bucket)
    {
        for (Association const* entry = layout.buckets[bucket]; entry != nullptr; entry = entry->nextInBucket)
        {
            firstUsed = std::min(firstUsed, bucket);
            EXPECT_EQ(bucketOf(entry->key, layout.bucketCount), bucket);
            EXPECT_EQ(entry->previousInOrder, last);
            EXPECT_EQ(last != nullptr ? last->nextInOrder : map.GetStart(), entry);
            last = entry;
            EXPECT_TRUE(content.emplace(entry->key, entry->value.GetNumber()).second) << "twice: " << entry->key;
        }
    }
    EXPECT_TRUE(last == nullptr || last->nextInOrder == nullptr);
    EXPECT_EQ(layout.firstUsedBucket, firstUsed);
    EXPECT_EQ(layout.bucketMask, layout.bucketCount - 1);
    EXPECT_EQ(map.GetCount(), content.size());
    EXPECT_EQ(map.IsEmpty(), content.empty());
    EXPECT_EQ(map.GetStart() == nullptr, content.empty());
    return content;
}

// The key that a walk starts with; an impossible one where the map is empty.
template <class K, class V>
K firstKey(CbMap<K, V> const& map)
{
    typename CbMap<K, V>::TPosition const start = map.GetStart();
    return start != nullptr ? start->key : static_cast<K>(-1);
}

std::string textOf(CbMap<int, std::string> const& map, int key)
{
    std::string const* const text = map.Find(key);
    return text != nullptr ? *text : "nothing";
}

std::vector<unsigned int> keysInOrder(Map const& map)
{
    std::vector<unsigned int> keys;
    for (Map::TPosition position = map.GetStart(); position != nullptr; position = Map::GetNext(position))
    {
        keys.push_back(Map::GetKey(position));
    }
    return keys;
}
} // namespace

// ---- hash

TEST(CbMapHash, IsFnv1aOverTheFourBytesOfTheKey)
{
    static_assert(Map::Hash(0) == 0x4D25767F9DCE13F5);
    static_assert(Map::Hash(1) == 0xAD2ACA7747985764);
    static_assert(Map::Hash(0x64636261) == 0xFC179F83EE0724DD); // of the text "abcd"
    static_assert(Map::Hash(0xFFFFFFFF) == 0x994F76653E2A3951);
}

TEST(CbMapHash, OfAWiderKeyTakesItsLowFourBytes)
{
    using Wide = CbMap<unsigned __int64, int>;

    EXPECT_EQ(Wide::Hash(0x1122334455667788), Map::Hash(0x55667788));
    EXPECT_EQ((CbMap<unsigned long, int>::Hash(42)), Map::Hash(42));
}

TEST(CbMapHash, OfANarrowerKeyTakesFourBytesToo)
{
    EXPECT_EQ((CbMap<unsigned short, int>::Hash(0x7788)), Map::Hash(0x7788));
    EXPECT_EQ((CbMap<int, int>::Hash(-1)), Map::Hash(0xFFFFFFFF));
}

// ---- layout and construction

TEST(CbMapLayout, IsPoolBucketsCountsMaskAndFirstUsedBucketInThisOrder)
{
    Map map(100);
    static_assert(sizeof(Map) == sizeof(SMapLayout));
    EXPECT_EQ(fieldAt<unsigned int>(&map, 16), 100); // the pool's base block size
    EXPECT_EQ(layoutOf(map).count, 0);
    EXPECT_EQ(layoutOf(map).bucketCount, 64);
    EXPECT_EQ(layoutOf(map).bucketMask, 63);
    EXPECT_EQ(layoutOf(map).firstUsedBucket, c_NoBucket);

    map.Insert(7, CCounted(70));

    unsigned int const bucket = bucketOf(7, 64);
    EXPECT_EQ(layoutOf(map).count, 1);
    EXPECT_EQ(layoutOf(map).firstUsedBucket, bucket);
    EXPECT_EQ(layoutOf(map).buckets[bucket]->key, 7);
}

TEST(CbMapLayout, OfAnEntryIsKeyValueAndThreeLinks)
{
    using Entry = CbMapTypes::SAssociation<unsigned int, unsigned int>;
    static_assert(sizeof(Entry) == 8 + 3 * sizeof(void*));
    Entry const entry(1, 2u);

    EXPECT_EQ(fieldAt<unsigned int>(&entry, 0), 1);
    EXPECT_EQ(fieldAt<unsigned int>(&entry, 4), 2);
    EXPECT_EQ(entry.nextInOrder, nullptr);
    EXPECT_EQ(entry.nextInBucket, nullptr);
    EXPECT_EQ(entry.previousInOrder, nullptr);
}

TEST(CbMapConstruction, RoundsItsSizeDownToAPowerOfTwo)
{
    EXPECT_EQ(Map(128).GetBucketCount(), 128);
    EXPECT_EQ(Map(127).GetBucketCount(), 64);
    EXPECT_EQ(Map(129).GetBucketCount(), 128);
    EXPECT_EQ(Map(3).GetBucketCount(), 2);
    EXPECT_EQ(Map(1).GetBucketCount(), 1);
}

TEST(CbMapConstruction, OfASizeOfZeroIsRefusedByThePool)
{
    using Small = CbMap<unsigned long, int>;

    EXPECT_RAISES_CONTAINER("cbplexmanager", 188,
                            "CbPlexManager<struct CbMapTypes::SAssociation<unsigned long,int>,0,0,unsigned int>::"
                            "CbPlexManager",
                            Small const map(0));
}

TEST(CbMapConstruction, ReservesBlocksOfTheConstructionSize)
{
    Map map(128);

    CHeapWatch const heap;
    map.ReserveBlocks(2);

    EXPECT_THAT(heap.GetSizes(), ElementsAre(8 + 128 * sizeof(Association), 8 + 192 * sizeof(Association)));
}

TEST(CbMapConstruction, CannotBeCopied)
{
    static_assert(!std::is_copy_constructible_v<Map> && !std::is_copy_assignable_v<Map>);
    static_assert(!std::is_convertible_v<unsigned int, Map>);
}

// ---- insert, find, remove

TEST(CbMapInsert, ReturnsTheValueInTheMap)
{
    Map map(16);

    CCounted& value = map.Insert(5, CCounted(50));

    EXPECT_EQ(value.GetNumber(), 50);
    EXPECT_EQ(map.Find(5), &value);
    EXPECT_THAT(contentOf(map), ElementsAre(Pair(5u, 50)));
}

TEST(CbMapInsert, ReplacesTheValueOfAKeyThatIsThere)
{
    Map map(16);
    CCounted const* const first = &map.Insert(5, CCounted(50));
    int const before = CCounted::GetCount();

    CCounted const* const second = &map.Insert(5, CCounted(51));

    EXPECT_EQ(second, first);
    EXPECT_EQ(CCounted::GetCount(), before);
    EXPECT_THAT(contentOf(map), ElementsAre(Pair(5u, 51)));
}

TEST(CbMapInsert, OfItsOwnValueChangesNothing)
{
    CbMap<int, std::string> map(16);
    std::string& value = map.Insert(1, std::string(100, 'x'));

    map.Insert(1, std::move(value));

    EXPECT_EQ(textOf(map, 1), std::string(100, 'x'));
}

TEST(CbMapInsert, CopiesAValueThatStays)
{
    CbMap<int, std::string> map(1);
    std::string const text(100, 'x');

    map.Insert(2, std::as_const(map.Insert(1, text)));

    EXPECT_EQ(textOf(map, 2), text);
    EXPECT_EQ(textOf(map, 1), text);
}

TEST(CbMapFind, GivesNullForAKeyThatIsNotThere)
{
    Map map(1);
    map.Insert(5, CCounted(50));

    EXPECT_EQ(map.Find(6), nullptr);
    EXPECT_EQ(std::as_const(map).Find(6), nullptr);
    EXPECT_THAT(std::as_const(map).Find(5), Pointee(Property(&CCounted::GetNumber, 50)));
}

TEST(CbMapFind, TellsWideKeysApartThatHaveOneHash)
{
    CbMap<unsigned __int64, int> map(16);
    map.Insert(0x0000000100000005, 1);
    map.Insert(0x0000000200000005, 2);

    EXPECT_THAT(map.Find(0x0000000100000005), Pointee(1));
    EXPECT_THAT(map.Find(0x0000000200000005), Pointee(2));
    EXPECT_EQ(map.Find(5), nullptr);
}

TEST(CbMapRemove, SaysWhetherThereWasAnEntry)
{
    Map map(16);
    map.Insert(5, CCounted(50));
    int const before = CCounted::GetCount();

    EXPECT_FALSE(map.Remove(6));
    EXPECT_TRUE(map.Remove(5));
    EXPECT_FALSE(map.Remove(5));

    EXPECT_EQ(CCounted::GetCount(), before - 1);
    EXPECT_THAT(contentOf(map), IsEmpty());
    EXPECT_EQ(layoutOf(map).firstUsedBucket, c_NoBucket);
}

TEST(CbMapRemove, TakesAnyEntryOfABucket)
{
    std::vector<unsigned int> const keys = keysInBucket(3, 16, 3);
    for (unsigned int const removed : keys)
    {
        Map map(16);
        std::map<unsigned int, int> model;
        for (unsigned int const key : keys)
        {
            map.Insert(key, CCounted(1));
            model[key] = 1;
        }
        map.Remove(removed);
        model.erase(removed);

        EXPECT_EQ(contentOf(map), model);
    }
}

TEST(CbMapRemoveAll, DestroysAllValuesAndKeepsTheBuckets)
{
    int const before = CCounted::GetCount();
    Map map(16);
    for (unsigned int key = 0; key < 40; ++key)
    {
        map.Insert(key, CCounted(1));
    }
    unsigned int const buckets = map.GetBucketCount();

    map.RemoveAll();

    EXPECT_EQ(CCounted::GetCount(), before);
    EXPECT_THAT(contentOf(map), IsEmpty());
    EXPECT_EQ(map.GetBucketCount(), buckets);
    map.Insert(1, CCounted(10));
    EXPECT_THAT(contentOf(map), ElementsAre(Pair(1u, 10)));
}

TEST(CbMapDestruction, DestroysAllValues)
{
    int const before = CCounted::GetCount();
    {
        Map map(16);
        for (unsigned int key = 0; key < 40; ++key)
        {
            map.Insert(key, CCounted(1));
        }
        EXPECT_EQ(CCounted::GetCount(), before + 40);
    }

    EXPECT_EQ(CCounted::GetCount(), before);
}

// ---- growth and memory

TEST(CbMapGrowth, KeepsTheBucketsOfTheConstructionUntilThereAreMoreEntries)
{
    Map map(16);
    for (unsigned int key = 0; key < 16; ++key)
    {
        map.Insert(key, CCounted(static_cast<int>(key)));
    }
    EXPECT_EQ(map.GetBucketCount(), 16);

    map.Insert(16, CCounted(16));

    EXPECT_EQ(map.GetBucketCount(), 128);
    EXPECT_EQ(contentOf(map).size(), 17);
}

TEST(CbMapGrowth, LeavesFourBucketsForEachEntryFromThenOn)
{
    for (unsigned int const size : {1u, 3u, 16u, 100u, 128u})
    {
        Map map(size);
        unsigned int const initial = map.GetBucketCount();
        for (unsigned int count = 1; count <= 3000; ++count)
        {
            unsigned int const before = map.GetBucketCount();
            map.Insert(count, CCounted(1));
            unsigned int const buckets = map.GetBucketCount();
            if (count <= initial)
            {
                ASSERT_EQ(buckets, initial) << count << " entries of size " << size;
                continue;
            }
            ASSERT_GE(buckets, 4 * count) << "size " << size;
            ASSERT_EQ(buckets & (buckets - 1), 0u);
            // Grown only where it had to, and by no more than once.
            ASSERT_TRUE(buckets == before || buckets <= 8 * count) << count << " entries of size " << size;
            ASSERT_EQ(buckets != before, count == initial + 1 || 4 * count > before);
        }
    }
}

TEST(CbMapGrowth, PutsKeysWithAnyByteInAnyPlaceIntoTheBucketOfTheirHash)
{
    Map map(16);
    for (unsigned int byte = 1; byte < 256; ++byte)
    {
        for (unsigned int const factor : {0x1u, 0x100u, 0x10000u, 0x1000000u, 0x1010101u})
        {
            map.Insert(byte * factor, CCounted(1));
        }
    }

    EXPECT_EQ(map.GetBucketCount(), 8192);
    EXPECT_EQ(contentOf(map).size(), 5 * 255); // which compares each bucket with the hash
}

TEST(CbMapGrowth, LeavesTheEntriesWhereTheyAre)
{
    Map map(1);
    CCounted const* const value = &map.Insert(0, CCounted(1));
    for (unsigned int key = 1; key < 1000; ++key)
    {
        map.Insert(key, CCounted(1));
    }

    EXPECT_EQ(map.Find(0), value);
}

TEST(CbMapGrowth, DoesWithoutWhereThereIsNoMemory)
{
    Map map(1024);
    map.ReserveBlocks(2);
    {
        CHeapWatch const heap(2048 * sizeof(void*));
        for (unsigned int key = 0; key < 2000; ++key)
        {
            map.Insert(key, CCounted(1));
        }
    }

    EXPECT_EQ(map.GetBucketCount(), 1024);
    EXPECT_EQ(contentOf(map).size(), 2000);
}

TEST(CbMapMemory, IsNotTakenInASteadyState)
{
    CbMap<unsigned int, int> map(128);
    for (unsigned int key = 0; key < 500; ++key)
    {
        map.Insert(key, 1);
    }
    std::size_t requests;
    {
        CHeapWatch const heap;
        for (unsigned int key = 0; key < 10'000; ++key)
        {
            map.Remove(key);
            map.Insert(key + 500, 1);
        }
        requests = heap.GetRequestCount();
    }

    EXPECT_EQ(requests, 0);
    EXPECT_EQ(map.GetCount(), 500);
}

TEST(CbMapFailure, ToGetAnEntryLeavesTheMapAsItWas)
{
    Map map(1024);

    {
        CHeapWatch const heap(1024 * sizeof(Association));
        EXPECT_RAISES_CONTAINER("cbplexmanager", 313,
                                "CbPlexManager<struct CbMapTypes::SAssociation<unsigned int,class "
                                "containertest::CCounted>,0,0,unsigned int>::getFreeElement",
                                map.Insert(1, CCounted(1)));
    }

    EXPECT_THAT(contentOf(map), IsEmpty());
}

TEST(CbMapFailure, ToCopyAValueLeavesTheMapAsItWas)
{
    CbMap<int, CUncopyable> map(1);
    CUncopyable const value;

    EXPECT_THROW(map.Insert(1, value), std::runtime_error);

    EXPECT_EQ(map.GetCount(), 0);
    EXPECT_EQ(map.Find(1), nullptr);
}

// ---- iteration

TEST(CbMapIteration, StartsAtTheFirstUsedBucketAndFollowsTheBuckets)
{
    Map map(16);
    for (unsigned int const bucket : {9u, 3u, 12u, 0u, 15u})
    {
        map.Insert(keysInBucket(bucket, 16, 1)[0], CCounted(1));
    }

    std::vector<unsigned int> buckets;
    for (unsigned int const key : keysInOrder(map))
    {
        buckets.push_back(bucketOf(key, 16));
    }
    EXPECT_THAT(buckets, ElementsAre(0, 3, 9, 12, 15));
    EXPECT_EQ(firstKey(map), keysInBucket(0, 16, 1)[0]);
}

TEST(CbMapIteration, StartsAtTheNextUsedBucketWhenTheFirstBecomesEmpty)
{
    Map map(16);
    unsigned int const early = keysInBucket(3, 16, 1)[0];
    unsigned int const late = keysInBucket(12, 16, 1)[0];
    map.Insert(late, CCounted(1));
    map.Insert(early, CCounted(1));
    EXPECT_EQ(layoutOf(map).firstUsedBucket, 3);

    map.Remove(early);

    EXPECT_EQ(layoutOf(map).firstUsedBucket, 12);
    EXPECT_THAT(keysInOrder(map), ElementsAre(late));
}

TEST(CbMapIteration, FindsEveryEntryWhileThoseThatWereSeenAreRemoved)
{
    Map map(64);
    for (unsigned int key = 0; key < 50; ++key)
    {
        map.Insert(key, CCounted(1));
    }
    std::vector<unsigned int> seen;
    Map::TPosition position = map.GetStart();
    while (position != nullptr)
    {
        unsigned int const key = Map::GetKey(position);
        seen.push_back(key);
        position = Map::GetNext(position);
        map.Remove(key);
    }
    std::sort(seen.begin(), seen.end());

    EXPECT_EQ(seen.size(), 50);
    EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end());
    EXPECT_THAT(contentOf(map), IsEmpty());
}

TEST(CbMapIteration, GivesValuesThatCanBeChanged)
{
    CbMap<int, std::string> map(16);
    map.Insert(1, "one");
    map.Insert(2, "two");

    for (auto [key, value] : map)
    {
        value += key == 1 ? '!' : '?';
    }
    CbMap<int, std::string>::TPosition const start = map.GetStart();
    ASSERT_NE(start, nullptr);
    CbMap<int, std::string>::GetValue(start) += '.';

    EXPECT_EQ(textOf(map, 1) + textOf(map, 2), firstKey(map) == 1 ? "one!.two?" : "one!two?.");
}

TEST(CbMapIteration, OfAnEmptyMapHasNothing)
{
    Map const map(16);

    EXPECT_EQ(map.begin(), map.end());
    EXPECT_EQ(map.GetStart(), nullptr);
}

// ---- values whose destructors come back

TEST(CbMapReentry, FindsTheMapDoneWithARemovedEntry)
{
    Map map(16);
    std::map<unsigned int, int> seen;
    map.Insert(1, CCounted(10,
                           [&]
                           {
                               seen = contentOf(map);
                               map.Insert(1, CCounted(11));
                           }));
    map.Insert(2, CCounted(20));
    void const* const entry = map.Find(1);

    map.Remove(1);

    EXPECT_THAT(seen, ElementsAre(Pair(2u, 20)));
    EXPECT_THAT(contentOf(map), ElementsAre(Pair(1u, 11), Pair(2u, 20)));
    // The entry that had become free was the first to be used again.
    EXPECT_EQ(map.Find(1), entry);
}

TEST(CbMapReentry, KeepsWhatADestructorInsertsWhileTheMapIsCleared)
{
    Map map(16);
    map.Insert(1, CCounted(10, [&] { map.Insert(7, CCounted(70)); }));
    map.Insert(2, CCounted(20));

    map.RemoveAll();

    EXPECT_THAT(contentOf(map), ElementsAre(Pair(7u, 70)));
}

TEST(CbMapReentry, DestroysWhatADestructorInsertsWhileTheMapEnds)
{
    int const before = CCounted::GetCount();
    {
        Map map(16);
        map.Insert(1, CCounted(10, [&] { map.Insert(7, CCounted(70)); }));
    }

    EXPECT_EQ(CCounted::GetCount(), before);
}

// ---- against a model

class CbMapModel : public testing::TestWithParam<unsigned int>
{
};

TEST_P(CbMapModel, DoesWhatAStandardMapDoes)
{
    containertest::CRandom random;
    int const before = CCounted::GetCount();
    {
        Map map(GetParam());
        std::map<unsigned int, int> model;
        for (int step = 0; step < 30'000; ++step)
        {
            // The number of entries rises and falls, so that all ways of finding a neighbour come up.
            unsigned int const range = (step / 3000) % 2 == 0 ? 2000 : 40;
            unsigned int const key = random.Below(range) * 0x01000193;
            unsigned int const choice = random.Below(100);
            if (choice < 45)
            {
                ASSERT_EQ(map.Insert(key, CCounted(step)).GetNumber(), step);
                model[key] = step;
            }
            else if (choice < 75)
            {
                ASSERT_EQ(map.Remove(key), model.erase(key) != 0) << "step " << step;
            }
            else if (choice < 85 && !model.empty())
            {
                unsigned int const first = firstKey(map);
                ASSERT_TRUE(map.Remove(first));
                ASSERT_EQ(model.erase(first), 1) << "step " << step;
            }
            else
            {
                auto const found = model.find(key);
                CCounted const* const value = map.Find(key);
                ASSERT_EQ(value != nullptr, found != model.end()) << "step " << step;
                ASSERT_TRUE(value == nullptr || value->GetNumber() == found->second) << "step " << step;
            }
            if (step % 3000 == 2999)
            {
                map.RemoveAll();
                model.clear();
            }
            ASSERT_EQ(map.GetCount(), model.size()) << "step " << step;
            if (step % 64 == 0)
            {
                ASSERT_EQ(contentOf(map), model) << "step " << step;
            }
        }
        EXPECT_EQ(contentOf(map), model);
        EXPECT_EQ(CCounted::GetCount(), before + static_cast<int>(model.size()));
    }
    EXPECT_EQ(CCounted::GetCount(), before);
}

INSTANTIATE_TEST_SUITE_P(OfSize, CbMapModel, testing::Values(1u, 16u, 128u, 4096u));
