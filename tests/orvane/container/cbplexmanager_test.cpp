#include "orvane/container/cbplexmanager.h"

#include <cstdint>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/container/cbnodelinked.h"
#include "orvane/container/containertest.h"
#include "orvane/container/countedheap.h"
#include "support/layout.h"

using testing::ElementsAre;

namespace
{
struct SElement
{
    unsigned __int64 first;
    unsigned __int64 second;
};

struct SSmall
{
    char letter;
};

struct SOdd
{
    char letters[9];
};

// 255 of these and a link word stay within 0xFFFFFFFF bytes, 256 do not.
struct SHuge
{
    char bytes[16 * 1024 * 1024];
};

struct STooLarge
{
    char bytes[0xFFFFFFFF];
};

using Pool = CbPlexManager<SElement>;
using TaskNode = CbNodeLinked<CbThreadPool::STaskEntry, 1>;

// Takes elements until the next one would need a block, and says how many there were.
template <class E>
unsigned int takeWhatIsThere(CbPlexManager<E>& pool)
{
    unsigned int const blocks = pool.getBlockCount();
    unsigned int taken = 0;
    do
    {
        pool.getFreeElement();
        ++taken;
    } while (fieldAt<void*>(&pool, sizeof(void*)) != nullptr);
    EXPECT_LE(pool.getBlockCount(), blocks + 1);
    return taken;
}

std::vector<unsigned int> firstBlocks(unsigned int baseBlockSize, std::size_t count)
{
    Pool pool(baseBlockSize);
    std::vector<unsigned int> sizes;
    while (sizes.size() < count)
    {
        unsigned int const announced = pool.getNextBlockSize();
        sizes.push_back(takeWhatIsThere(pool));
        EXPECT_EQ(sizes.back(), announced);
    }
    return sizes;
}
} // namespace

// ---- layout

TEST(CbPlexManagerLayout, IsTwoPointersFourNumbersAndNothingElse)
{
    Pool pool(100);
    pool.setFixedBlockSize(7);
    void const* const element = pool.getFreeElement();
    void const* const block = fieldAt<void*>(&pool, 0);

    static_assert(sizeof(Pool) == 32);
    EXPECT_EQ(fieldAt<void*>(block, 0), nullptr);
    EXPECT_EQ(static_cast<char const*>(element), static_cast<char const*>(block) + 8 + 6 * sizeof(SElement));
    EXPECT_EQ(fieldAt<void const*>(&pool, 8), static_cast<char const*>(element) - sizeof(SElement));
    EXPECT_EQ(fieldAt<unsigned int>(&pool, 16), 100);
    EXPECT_EQ(fieldAt<unsigned int>(&pool, 20), 7);
    EXPECT_EQ(fieldAt<unsigned int>(&pool, 24), 1);
    EXPECT_EQ(fieldAt<float>(&pool, 28), 1.5F);
}

TEST(CbPlexManagerLayout, CannotBeCopied)
{
    static_assert(!std::is_copy_constructible_v<Pool> && !std::is_copy_assignable_v<Pool>);
    static_assert(!std::is_convertible_v<unsigned int, Pool>);
}

// ---- block sizes

TEST(CbPlexManagerBlocks, GrowByHalfCutToAWholeNumberAtEveryStep)
{
    EXPECT_THAT(firstBlocks(100, 6), ElementsAre(100, 150, 225, 337, 505, 757));
    EXPECT_THAT(firstBlocks(10, 6), ElementsAre(10, 15, 22, 33, 49, 73));
    EXPECT_THAT(firstBlocks(3, 5), ElementsAre(3, 4, 6, 9, 13));
}

TEST(CbPlexManagerBlocks, OfOneElementStayThatSmall)
{
    EXPECT_THAT(firstBlocks(1, 4), ElementsAre(1, 1, 1, 1));
}

TEST(CbPlexManagerBlocks, HaveTheFixedSizeWhereThereIsOne)
{
    Pool pool(10);
    pool.setFixedBlockSize(3);

    EXPECT_EQ(takeWhatIsThere(pool), 3);
    EXPECT_EQ(takeWhatIsThere(pool), 3);
}

TEST(CbPlexManagerBlocks, CountFixedOnesWhenTheyGrowAgain)
{
    Pool pool(10);
    pool.setFixedBlockSize(3);
    pool.reserve(2);

    pool.setFixedBlockSize(0);

    EXPECT_EQ(pool.getNextBlockSize(), 22);
}

TEST(CbPlexManagerBlocks, AreAnnouncedUpToTheLargestNumber)
{
    CbPlexManager<SSmall> pool(3'000'000'000);
    pool.setFixedBlockSize(1);
    pool.reserve(1);

    pool.setFixedBlockSize(0);

    EXPECT_EQ(pool.getNextBlockSize(), 0xFFFFFFFF);
}

TEST(CbPlexManagerBlocks, AreNotMadeBeforeTheFirstElementIsTaken)
{
    CHeapWatch const heap;

    Pool const pool(100);

    EXPECT_EQ(pool.getBlockCount(), 0);
    EXPECT_EQ(heap.GetRequestCount(), 0);
}

TEST(CbPlexManagerBlocks, TakeALinkWordAndTheirElementsFromTheHeap)
{
    Pool pool(100);
    CHeapWatch const heap;

    pool.reserve(2);

    EXPECT_THAT(heap.GetSizes(), ElementsAre(8 + 100 * 16, 8 + 150 * 16));
}

TEST(CbPlexManagerBlocks, LinkToTheOneMadeBefore)
{
    Pool pool(2);
    pool.reserve(1);
    void const* const older = fieldAt<void*>(&pool, 0);

    pool.reserve(2);

    EXPECT_EQ(fieldAt<void const*>(fieldAt<void*>(&pool, 0), 0), older);
}

TEST(CbPlexManagerReserve, MakesBlocksUntilThereAreSoMany)
{
    Pool pool(10);

    pool.reserve(3);
    EXPECT_EQ(pool.getBlockCount(), 3);
    pool.reserve(2);
    EXPECT_EQ(pool.getBlockCount(), 3);
    pool.reserve(0);
    EXPECT_EQ(pool.getBlockCount(), 3);
    EXPECT_EQ(takeWhatIsThere(pool), 10 + 15 + 22);
}

// ---- elements

TEST(CbPlexManagerElements, OfAFreshBlockComeLastFirst)
{
    Pool pool(4);
    std::vector<SElement*> elements;
    for (int n = 0; n < 4; ++n)
    {
        elements.push_back(pool.getFreeElement());
    }

    EXPECT_EQ(elements[1], elements[0] - 1);
    EXPECT_EQ(elements[2], elements[0] - 2);
    EXPECT_EQ(elements[3], elements[0] - 3);
}

TEST(CbPlexManagerElements, ThatCameBackLastAreHandedOutFirst)
{
    Pool pool(4);
    SElement* const first = pool.getFreeElement();
    SElement* const second = pool.getFreeElement();
    pool.putFreeElement(first);
    pool.putFreeElement(second);

    EXPECT_EQ(pool.getFreeElement(), second);
    EXPECT_EQ(pool.getFreeElement(), first);
}

TEST(CbPlexManagerElements, ThatAllCameBackNeedNoMemoryAgain)
{
    Pool pool(10);
    std::vector<SElement*> elements;
    for (int n = 0; n < 10; ++n)
    {
        elements.push_back(pool.getFreeElement());
    }
    for (SElement* const element : elements)
    {
        pool.putFreeElement(element);
    }
    std::set<SElement*> again;
    std::size_t requests;
    {
        CHeapWatch const heap;
        for (SElement*& element : elements)
        {
            element = pool.getFreeElement();
        }
        requests = heap.GetRequestCount();
    }
    again.insert(elements.begin(), elements.end());

    EXPECT_EQ(requests, 0);
    EXPECT_EQ(pool.getBlockCount(), 1);
    EXPECT_EQ(again.size(), 10);
}

TEST(CbPlexManagerElements, AreNotConstructed)
{
    CbPlexManager<CbNodeLinked<containertest::CCounted, 0>> pool(4);
    int const before = containertest::CCounted::GetCount();

    pool.getFreeElement();

    EXPECT_EQ(containertest::CCounted::GetCount(), before);
}

TEST(CbPlexManagerElements, SmallerThanALinkTakeTheRoomOfOne)
{
    CbPlexManager<SSmall> pool(3);
    auto const first = reinterpret_cast<std::uintptr_t>(pool.getFreeElement());
    auto const second = reinterpret_cast<std::uintptr_t>(pool.getFreeElement());

    EXPECT_EQ(first - second, sizeof(void*));
}

TEST(CbPlexManagerElements, OfAnOddSizeLieCloselyTogether)
{
    CbPlexManager<SOdd> pool(3);
    auto const first = reinterpret_cast<std::uintptr_t>(pool.getFreeElement());
    auto const second = reinterpret_cast<std::uintptr_t>(pool.getFreeElement());

    EXPECT_EQ(first - second, 9);
    EXPECT_EQ(takeWhatIsThere(pool), 1);
}

// ---- blocks above 0xFFFFFFFF bytes

TEST(CbPlexManagerSplitting, KeepsEachBlockWithinTheBytesThatItMayHave)
{
    static_assert(detail::elementsOfNextBlock(100, 16) == 100);
    static_assert(detail::elementsOfNextBlock(268'435'455, 16) == 268'435'455); // 8 bytes and 0xFFFFFFF0 are 0xFFFFFFF8
    static_assert(detail::elementsOfNextBlock(268'435'456, 16) == 268'435'455);
    static_assert(detail::elementsOfNextBlock(0xFFFFFFFF, 16) == 268'435'455);
    static_assert(detail::elementsOfNextBlock(1, 0xFFFFFFF7) == 1);
    static_assert(detail::elementsOfNextBlock(1, 0xFFFFFFF8) == 0);
}

TEST(CbPlexManagerSplitting, MakesOneBlockOfSeveralPieces)
{
    constexpr std::size_t c_ElementBytes = 16 * 1024 * 1024;
    CbPlexManager<SHuge> pool(300);
    std::vector<std::size_t> sizes;
    {
        CHeapWatch const heap;
        pool.reserve(1);
        sizes = heap.GetSizes();
    }
    void const* const last = fieldAt<void*>(&pool, 0);
    void const* const first = fieldAt<void*>(last, 0);

    EXPECT_THAT(sizes, ElementsAre(8 + 255 * c_ElementBytes, 8 + 45 * c_ElementBytes));
    EXPECT_EQ(fieldAt<void*>(first, 0), nullptr);
    EXPECT_EQ(static_cast<void const*>(pool.getFreeElement()),
              static_cast<char const*>(last) + 8 + 44 * c_ElementBytes);
    EXPECT_EQ(takeWhatIsThere(pool), 299);
    EXPECT_EQ(pool.getBlockCount(), 1);
    EXPECT_EQ(pool.getNextBlockSize(), 450);
}

TEST(CbPlexManagerSplitting, GoesOnWithThePiecesThatThereWasMemoryFor)
{
    constexpr std::size_t c_ElementBytes = 16 * 1024 * 1024;
    CbPlexManager<SHuge> pool(300);
    {
        CHeapWatch const heap(c_ElementBytes, 1);
        pool.reserve(1);
    }

    EXPECT_EQ(pool.getBlockCount(), 1);
    EXPECT_EQ(takeWhatIsThere(pool), 255);
}

TEST(CbPlexManagerSplitting, GivesNothingWhereTheFirstPieceIsRefused)
{
    constexpr std::size_t c_ElementBytes = 16 * 1024 * 1024;
    CbPlexManager<SHuge> pool(300);
    CHeapWatch const heap(c_ElementBytes);

    EXPECT_RAISES_CONTAINER("cbplexmanager", 313,
                            "CbPlexManager<struct `anonymous namespace'::SHuge,0,0,unsigned int>::reserve",
                            pool.reserve(1));

    EXPECT_EQ(pool.getBlockCount(), 0);
}

// ---- failures

TEST(CbPlexManagerFailure, OfABaseBlockSizeOfZeroIsRaisedFromItsPublishedLine)
{
    EXPECT_RAISES_CONTAINER("cbplexmanager", 188,
                            "CbPlexManager<class CbNodeLinked<struct CbThreadPool::STaskEntry,1>,0,0,unsigned int>::"
                            "CbPlexManager",
                            CbPlexManager<TaskNode> const pool(0));
}

TEST(CbPlexManagerFailure, OfTheHeapIsRaisedFromItsPublishedLine)
{
    CbPlexManager<TaskNode> pool(1000);
    CHeapWatch const heap(1000 * sizeof(TaskNode));

    EXPECT_RAISES_CONTAINER("cbplexmanager", 313,
                            "CbPlexManager<class CbNodeLinked<struct CbThreadPool::STaskEntry,1>,0,0,unsigned int>::"
                            "getFreeElement",
                            pool.getFreeElement());

    EXPECT_EQ(pool.getBlockCount(), 0);
}

TEST(CbPlexManagerFailure, OfTheHeapLeavesThePoolUsable)
{
    CLogRecorder const quiet;
    Pool pool(1000);
    {
        CHeapWatch const heap(1000 * sizeof(SElement));
        EXPECT_THROW(pool.getFreeElement(), CbExceptionContainer);
    }

    EXPECT_NE(pool.getFreeElement(), nullptr);
    EXPECT_EQ(pool.getBlockCount(), 1);
}

TEST(CbPlexManagerFailure, OfAnElementThatFitsNoBlockIsThatOfTheHeap)
{
    CbPlexManager<STooLarge> pool(1);

    EXPECT_RAISES_CONTAINER("cbplexmanager", 313,
                            "CbPlexManager<struct `anonymous namespace'::STooLarge,0,0,unsigned int>::getFreeElement",
                            pool.getFreeElement());
}

// ---- made and dropped elements

TEST(PoolElement, GoesBackWhereItsConstructionRaises)
{
    using Node = CbNodeLinked<containertest::CUncopyable, 0>;
    CbPlexManager<Node> pool(1);
    containertest::CUncopyable const value;

    EXPECT_THROW(detail::makeElement<Node>(pool, value), std::runtime_error);

    pool.getFreeElement();
    EXPECT_EQ(pool.getBlockCount(), 1);
}
