#include "orvane/container/cbarray.h"

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <new>
#include <numeric>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/layout.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr unsigned int c_MaximumCount = 0xFFFFFFFF;

template <class T>
std::vector<T> elementsOf(CbArray<T> const& array)
{
    return std::vector<T>(array.GetData(), array.GetData() + array.GetCount());
}

CbArray<int> numbers(unsigned int count)
{
    CbArray<int> array(count);
    std::iota(array.begin(), array.end(), 1);
    return array;
}

// Counts its instances, and raises on a copy when the number of copies that are allowed is used up. A move takes the number
// away; nothing says that it cannot raise.
class CFragile
{
public:
    CFragile() : CFragile(0)
    {
    }

    explicit CFragile(int number) : m_number(number)
    {
        ++s_instances;
    }

    CFragile(CFragile const& other) : m_number(other.m_number)
    {
        countCopy();
        ++s_instances;
    }

    CFragile& operator=(CFragile const& other)
    {
        countCopy();
        m_number = other.m_number;
        return *this;
    }

    CFragile& operator=(CFragile&& other) noexcept(false)
    {
        m_number = std::exchange(other.m_number, -1);
        return *this;
    }

    ~CFragile()
    {
        --s_instances;
    }

    int m_number;

    static inline int s_instances = 0;
    static inline int s_copiesAllowed = -1; // below 0: any number

private:
    static void countCopy()
    {
        if (s_copiesAllowed == 0)
        {
            throw std::runtime_error("no more copies");
        }
        --s_copiesAllowed;
    }
};

class CScopedCopyLimit
{
public:
    explicit CScopedCopyLimit(int copies)
    {
        CFragile::s_copiesAllowed = copies;
    }

    CScopedCopyLimit(CScopedCopyLimit const&) = delete;
    CScopedCopyLimit& operator=(CScopedCopyLimit const&) = delete;

    ~CScopedCopyLimit()
    {
        CFragile::s_copiesAllowed = -1;
    }
};

// An element type whose arrays can run out of memory.
struct SStarving
{
    std::string text;

    static inline bool s_isMemoryOut = false;
    static inline int s_blocks = 0;

    static void* operator new[](std::size_t size)
    {
        if (s_isMemoryOut)
        {
            throw std::bad_alloc();
        }
        ++s_blocks;
        return ::operator new[](size);
    }

    static void operator delete[](void* block)
    {
        if (block != nullptr)
        {
            --s_blocks;
        }
        ::operator delete[](block);
    }
};

class CScopedFamine
{
public:
    CScopedFamine()
    {
        SStarving::s_isMemoryOut = true;
    }

    CScopedFamine(CScopedFamine const&) = delete;
    CScopedFamine& operator=(CScopedFamine const&) = delete;

    ~CScopedFamine()
    {
        SStarving::s_isMemoryOut = false;
    }
};

CbArray<SStarving> starvingOf(std::initializer_list<char const*> texts)
{
    CbArray<SStarving> array;
    for (char const* const text : texts)
    {
        array.Add(SStarving{text});
    }
    return array;
}

std::vector<std::string> textsOf(CbArray<SStarving> const& array)
{
    std::vector<std::string> texts;
    for (SStarving const& element : array)
    {
        texts.push_back(element.text);
    }
    return texts;
}

// One byte wide, and refuses every block above a megabyte: huge counts are tested by what is asked for.
struct SHungryByte
{
    unsigned char value = 0;

    static inline std::size_t s_largestRequest = 0;

    // Not inlined: the optimiser would follow the refused sizes and warn of what never happens.
    [[gnu::noinline]] static void* operator new[](std::size_t size)
    {
        s_largestRequest = std::max(s_largestRequest, size);
        if (size > s_limit)
        {
            throw std::bad_alloc();
        }
        return ::operator new[](size);
    }

    static void operator delete[](void* block)
    {
        ::operator delete[](block);
    }

private:
    static inline std::size_t volatile s_limit = 1024 * 1024;
};
} // namespace

// ---- construction

TEST(CbArrayConstruction, WithoutArgumentsTakesNoMemory)
{
    CbArray<int> const array;

    EXPECT_EQ(array.GetCount(), 0);
    EXPECT_EQ(array.GetCapacity(), 0);
    EXPECT_EQ(array.GetGrowStep(), 0);
    EXPECT_EQ(array.GetData(), nullptr);
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.begin(), array.end());
}

TEST(CbArrayConstruction, WithACountMakesThatManyElementsAndNoRoomForMore)
{
    CbArray<std::string> const array(3);

    EXPECT_THAT(elementsOf(array), ElementsAre("", "", ""));
    EXPECT_EQ(array.GetCapacity(), 3);
    EXPECT_EQ(array.GetGrowStep(), 0);
    EXPECT_FALSE(array.IsEmpty());
}

TEST(CbArrayConstruction, WithACountMakesNumbersZero)
{
    EXPECT_THAT(elementsOf(CbArray<int>(4)), ElementsAre(0, 0, 0, 0));
}

TEST(CbArrayConstruction, WithACountOfZeroTakesNoMemory)
{
    CbArray<int> const array(0);

    EXPECT_EQ(array.GetData(), nullptr);
    EXPECT_EQ(array.GetCapacity(), 0);
}

TEST(CbArrayConstruction, TakesNoNumberForAnArray)
{
    static_assert(!std::is_convertible_v<unsigned int, CbArray<int>>);
    static_assert(std::is_nothrow_default_constructible_v<CbArray<int>>);
}

// ---- the members, which clients compiled earlier know by their places

namespace
{
// Data, end, count, capacity, grow step.
void expectMembers(CbArray<int> const& array, int const* data, int const* end, unsigned int count,
                   unsigned int capacity, unsigned int growStep)
{
    EXPECT_EQ(fieldAt<int*>(&array, 0), data);
    EXPECT_EQ(fieldAt<int*>(&array, 8), end);
    EXPECT_EQ(fieldAt<unsigned int>(&array, 16), count);
    EXPECT_EQ(fieldAt<unsigned int>(&array, 20), capacity);
    EXPECT_EQ(fieldAt<unsigned int>(&array, 24), growStep);
}
} // namespace

static_assert(sizeof(CbArray<int>) == 32);

TEST(CbArrayMembers, AreZeroAndNullWithoutMemory)
{
    expectMembers(CbArray<int>(), nullptr, nullptr, 0, 0, 0);
    expectMembers(CbArray<int>(0), nullptr, nullptr, 0, 0, 0);
}

TEST(CbArrayMembers, StandInTheirOrder)
{
    CbArray<int> array(3);
    expectMembers(array, array.GetData(), array.GetData() + 3, 3, 3, 0);

    array.SetGrowStep(5);
    array.Add(7);
    expectMembers(array, array.GetData(), array.GetData() + 4, 4, 8, 5);
}

TEST(CbArrayMembers, EndBehindTheLastElementHoweverTheCountChanges)
{
    CbArray<int> array;
    array.SetCapacity(10);
    int const* const data = array.GetData();
    expectMembers(array, data, nullptr, 0, 10, 0);

    array.Add(1);
    expectMembers(array, data, data + 1, 1, 10, 0);
    int const two = 2;
    array.Add(two);
    expectMembers(array, data, data + 2, 2, 10, 0);
    int const more[] = {3, 4, 5};
    array.Append(more, 3);
    expectMembers(array, data, data + 5, 5, 10, 0);
    *array.GetSpare() = 6;
    array.UseSpare(1);
    expectMembers(array, data, data + 6, 6, 10, 0);
    array.SetCount(8);
    expectMembers(array, data, data + 8, 8, 10, 0);
    array.SetCount(4);
    expectMembers(array, data, data + 4, 4, 10, 0);
    array.SetCount(0);
    expectMembers(array, data, nullptr, 0, 10, 0);
    array.SetCount(1);
    array.RemoveAll();
    expectMembers(array, data, nullptr, 0, 10, 0);
}

TEST(CbArrayMembers, EndBehindTheLastElementInAFreshBlock)
{
    CbArray<int> array = numbers(2);
    array.Add(3);
    expectMembers(array, array.GetData(), array.GetData() + 3, 3, 4, 0);
    int const more[] = {4, 5, 6};
    array.Append(more, 3);
    expectMembers(array, array.GetData(), array.GetData() + 6, 6, 8, 0);
    array.SetCount(9);
    expectMembers(array, array.GetData(), array.GetData() + 9, 9, 9, 0);
    array.SetCapacity(20);
    expectMembers(array, array.GetData(), array.GetData() + 9, 9, 20, 0);
    array.SetCapacity(7);
    expectMembers(array, array.GetData(), array.GetData() + 7, 7, 7, 0);
    array.SetCapacity(0);
    expectMembers(array, nullptr, nullptr, 0, 0, 0);
}

TEST(CbArrayMembers, GoWithTheElementsThatAreCopiedMovedAndSwapped)
{
    CbArray<int> array = numbers(3);
    array.SetCapacity(6);
    array.SetGrowStep(2);
    int const* const data = array.GetData();

    CbArray<int> const copy(array);
    expectMembers(copy, copy.GetData(), copy.GetData() + 3, 3, 3, 2);

    CbArray<int> moved(std::move(array));
    expectMembers(moved, data, data + 3, 3, 6, 2);
    expectMembers(array, nullptr, nullptr, 0, 0, 0);

    moved.Swap(array);
    expectMembers(array, data, data + 3, 3, 6, 2);
    expectMembers(moved, nullptr, nullptr, 0, 0, 0);
}

// ---- growth

TEST(CbArrayAdd, DoublesTheCapacityFromOne)
{
    CbArray<int> array;
    std::vector<unsigned int> capacities;
    for (int i = 0; i < 9; ++i)
    {
        array.Add(i);
        capacities.push_back(array.GetCapacity());
    }

    EXPECT_THAT(capacities, ElementsAre(1, 2, 4, 4, 8, 8, 8, 8, 16));
    EXPECT_THAT(elementsOf(array), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8));
}

TEST(CbArrayAdd, GrowsAFullArrayByItsGrowStep)
{
    CbArray<int> array = numbers(16);
    array.SetGrowStep(16);

    array.Add(17);

    EXPECT_EQ(array.GetCapacity(), 32);
    EXPECT_EQ(array.GetCount(), 17);
    EXPECT_EQ(array[15], 16);
    EXPECT_EQ(array[16], 17);
}

TEST(CbArrayAdd, GrowsAnEmptyArrayByItsGrowStep)
{
    CbArray<int> array;
    array.SetGrowStep(3);

    array.Add(1);

    EXPECT_EQ(array.GetCapacity(), 3);
}

TEST(CbArrayAdd, LeavesTheBlockAloneWhileThereIsRoom)
{
    CbArray<int> array;
    array.SetCapacity(2);
    int const* const block = array.GetData();

    array.Add(1);
    array.Add(2);

    EXPECT_EQ(array.GetData(), block);
    EXPECT_EQ(array.GetCapacity(), 2);
}

TEST(CbArrayAdd, TakesAnElementOfTheArrayItselfWhileItGrows)
{
    CbArray<std::string> array;
    array.Add("a text that is too long to be kept inside the string object");
    ASSERT_EQ(array.GetCount(), array.GetCapacity());

    array.Add(array[0]);

    EXPECT_THAT(elementsOf(array), ElementsAre("a text that is too long to be kept inside the string object",
                                               "a text that is too long to be kept inside the string object"));
}

TEST(CbArrayAdd, TakesAnElementOfTheArrayItselfWhereThereIsRoom)
{
    CbArray<std::string> array;
    array.SetCapacity(4);
    array.Add("own");

    array.Add(array[0]);

    EXPECT_THAT(elementsOf(array), ElementsAre("own", "own"));
}

TEST(CbArrayAdd, MovesATemporary)
{
    std::string text(100, 'x');
    char const* const characters = text.data();
    CbArray<std::string> array;

    array.Add(std::move(text));

    EXPECT_EQ(array[0].data(), characters);
}

TEST(CbArrayAdd, MovesAnElementOfTheArrayItself)
{
    CbArray<std::string> array;
    array.Add(std::string(100, 'x'));

    array.Add(std::move(array[0]));

    EXPECT_EQ(array.GetCount(), 2);
    EXPECT_EQ(array[1], std::string(100, 'x'));
}

// Add(T&&), SetCapacity and moving the array need no copies; copying the array, Append and SetCount do.
TEST(CbArrayAdd, TakesElementsThatCanOnlyBeMoved)
{
    CbArray<std::unique_ptr<int>> array;
    for (int i = 0; i < 5; ++i)
    {
        array.Add(std::make_unique<int>(i));
    }
    CbArray<std::unique_ptr<int>> const moved(std::move(array));

    ASSERT_EQ(moved.GetCount(), 5);
    EXPECT_EQ(*moved[0], 0);
    EXPECT_EQ(*moved[4], 4);
}

// ---- reserve

TEST(CbArraySetCapacity, KeepsTheElements)
{
    CbArray<int> array = numbers(3);

    array.SetCapacity(10);

    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2, 3));
    EXPECT_EQ(array.GetCapacity(), 10);
}

TEST(CbArraySetCapacity, DropsTheElementsThatDoNotFit)
{
    CbArray<int> array = numbers(5);

    array.SetCapacity(2);

    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2));
    EXPECT_EQ(array.GetCapacity(), 2);
}

TEST(CbArraySetCapacity, OfZeroGivesTheMemoryBack)
{
    CbArray<int> array = numbers(5);

    array.SetCapacity(0);

    EXPECT_EQ(array.GetData(), nullptr);
    EXPECT_EQ(array.GetCount(), 0);
    EXPECT_EQ(array.GetCapacity(), 0);
    EXPECT_EQ(array.begin(), array.end());
}

TEST(CbArraySetCapacity, KeepsTheGrowStep)
{
    CbArray<int> array;
    array.SetGrowStep(7);

    array.SetCapacity(10);

    EXPECT_EQ(array.GetGrowStep(), 7);
}

// ---- count

TEST(CbArraySetCount, GrowsTheCapacityToExactlyTheCount)
{
    CbArray<int> array = numbers(3);

    array.SetCount(5);

    EXPECT_EQ(array.GetCapacity(), 5);
    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2, 3, 0, 0));
}

TEST(CbArraySetCount, LowersTheCountAndKeepsTheBlock)
{
    CbArray<int> array = numbers(5);
    int const* const block = array.GetData();

    array.SetCount(2);

    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2));
    EXPECT_EQ(array.GetCapacity(), 5);
    EXPECT_EQ(array.GetData(), block);
    EXPECT_EQ(array.end(), block + 2);
}

TEST(CbArraySetCount, ZeroesElementsThatComeBackAfterTheyWereDropped)
{
    CbArray<int> array = numbers(5);
    array.SetCount(2);

    array.SetCount(4);

    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2, 0, 0));
}

TEST(CbArraySetCount, OfTheCountChangesNothing)
{
    CbArray<int> array = numbers(3);
    array.SetCapacity(10);
    int const* const block = array.GetData();

    array.SetCount(3);

    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2, 3));
    EXPECT_EQ(array.GetCapacity(), 10);
    EXPECT_EQ(array.GetData(), block);
}

TEST(CbArrayRemoveAll, EmptiesTheArrayAndKeepsTheBlock)
{
    CbArray<int> array = numbers(5);

    array.RemoveAll();

    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.GetCapacity(), 5);
    EXPECT_EQ(array.begin(), array.end());
}

// ---- append

struct SAppendCase
{
    char const* name;
    unsigned int capacity;
    unsigned int before;
    unsigned int growStep;
    unsigned int appended;
    unsigned int expectedCapacity;
};

class CbArrayAppendGrowth : public testing::TestWithParam<SAppendCase>
{
};

TEST_P(CbArrayAppendGrowth, EndsWithTheCapacityOfSingleAppends)
{
    SAppendCase const& row = GetParam();
    CbArray<int> array;
    array.SetGrowStep(row.growStep);
    array.SetCapacity(row.capacity);
    array.SetCount(row.before);
    CbArray<int> single(array);
    single.SetCapacity(row.capacity);
    std::vector<int> const more(row.appended, 7);

    array.Append(more.data(), row.appended);
    for (int const number : more)
    {
        single.Add(number);
    }

    EXPECT_EQ(array.GetCapacity(), row.expectedCapacity);
    EXPECT_EQ(single.GetCapacity(), row.expectedCapacity);
    EXPECT_EQ(array, single);
}

INSTANTIATE_TEST_SUITE_P(Rows, CbArrayAppendGrowth,
                         testing::Values(SAppendCase{"NothingToAnEmptyArray", 0, 0, 0, 0, 0},
                                         SAppendCase{"FiveToAnEmptyArray", 0, 0, 0, 5, 8},
                                         SAppendCase{"WhatFitsExactly", 8, 3, 0, 5, 8},
                                         SAppendCase{"OneMoreThanFits", 8, 3, 0, 6, 16},
                                         SAppendCase{"ManyTimesTheCapacity", 4096, 0, 0, 40'000, 65'536},
                                         SAppendCase{"FromAnOddCapacity", 3, 3, 0, 4, 12},
                                         SAppendCase{"OneByGrowStep", 16, 16, 16, 1, 32},
                                         SAppendCase{"OneStepExactly", 16, 16, 16, 16, 32},
                                         SAppendCase{"OneMoreThanAStep", 16, 16, 16, 17, 48},
                                         SAppendCase{"ByGrowStepFromNothing", 0, 0, 3, 7, 9}),
                         [](testing::TestParamInfo<SAppendCase> const& row) { return std::string(row.param.name); });

TEST(CbArrayAppend, PutsTheElementsBehindThoseThatAreThere)
{
    CbArray<int> array = numbers(2);
    int const more[] = {7, 8, 9};

    array.Append(more, 3);

    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2, 7, 8, 9));
}

TEST(CbArrayAppend, TakesNothingFromANullPointer)
{
    CbArray<int> array = numbers(2);

    array.Append(nullptr, 0);

    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2));
}

TEST(CbArrayAppend, TakesTheArraysOwnElementsWhileItGrows)
{
    CbArray<std::string> array;
    array.Append(std::vector<std::string>{std::string(50, 'a'), std::string(50, 'b')}.data(), 2);
    ASSERT_EQ(array.GetCapacity(), 2);

    array.Append(array.GetData(), 2);

    EXPECT_THAT(elementsOf(array),
                ElementsAre(std::string(50, 'a'), std::string(50, 'b'), std::string(50, 'a'), std::string(50, 'b')));
}

TEST(CbArrayAppend, TakesTheArraysOwnElementsWhereThereIsRoom)
{
    CbArray<std::string> array;
    array.SetCapacity(8);
    array.Append(std::vector<std::string>{"a", "b"}.data(), 2);

    array.Append(array.GetData() + 1, 1);

    EXPECT_THAT(elementsOf(array), ElementsAre("a", "b", "b"));
}

// ---- copy and move

TEST(CbArrayCopy, HasElementsOfItsOwn)
{
    CbArray<int> array = numbers(3);
    array.SetCapacity(10);
    array.SetGrowStep(5);

    CbArray<int> const copy(array);
    array[0] = 99;

    EXPECT_THAT(elementsOf(copy), ElementsAre(1, 2, 3));
    EXPECT_EQ(copy.GetCapacity(), 3);
    EXPECT_EQ(copy.GetGrowStep(), 5);
}

TEST(CbArrayCopy, OfAnEmptyArrayTakesNoMemory)
{
    CbArray<int> array;
    array.SetCapacity(10);

    CbArray<int> const copy(array);

    EXPECT_EQ(copy.GetData(), nullptr);
}

TEST(CbArrayCopy, AssignmentReplacesTheElements)
{
    CbArray<std::string> target;
    target.Add("old");
    CbArray<std::string> source;
    source.Add("new");
    source.Add("newer");

    CbArray<std::string> const& result = target = source;

    EXPECT_EQ(&result, &target);
    EXPECT_THAT(elementsOf(target), ElementsAre("new", "newer"));
    EXPECT_THAT(elementsOf(source), ElementsAre("new", "newer"));
}

TEST(CbArrayCopy, AssignmentToItselfKeepsTheElements)
{
    CbArray<std::string> array;
    array.Add("kept");
    CbArray<std::string> const& same = array;

    array = same;

    EXPECT_THAT(elementsOf(array), ElementsAre("kept"));
}

TEST(CbArrayMove, TakesTheBlockAndLeavesTheSourceEmpty)
{
    CbArray<int> source = numbers(3);
    source.SetGrowStep(5);
    int const* const block = source.GetData();

    CbArray<int> const target(std::move(source));

    EXPECT_EQ(target.GetData(), block);
    EXPECT_EQ(target.GetCount(), 3);
    EXPECT_EQ(target.GetGrowStep(), 5);
    EXPECT_EQ(source.GetData(), nullptr);
    EXPECT_EQ(source.GetCount(), 0);
    EXPECT_EQ(source.GetCapacity(), 0);
}

TEST(CbArrayMove, LeavesASourceThatCanBeUsedAgain)
{
    CbArray<int> source = numbers(3);
    CbArray<int> const target(std::move(source));

    source.Add(7);

    EXPECT_THAT(elementsOf(source), ElementsAre(7));
    EXPECT_EQ(source.GetCapacity(), 1);
}

TEST(CbArrayMove, AssignmentFreesWhatTheTargetHeld)
{
    CbArray<CFragile> target(3);
    CbArray<CFragile> source(2);
    int const before = CFragile::s_instances;

    target = std::move(source);

    EXPECT_EQ(target.GetCount(), 2);
    EXPECT_EQ(CFragile::s_instances, before - 3);
}

TEST(CbArrayMove, AssignmentToItselfKeepsTheElements)
{
    CbArray<int> array = numbers(3);
    CbArray<int>& same = array;

    array = std::move(same);

    EXPECT_THAT(elementsOf(array), ElementsAre(1, 2, 3));
}

TEST(CbArrayMove, NeverRaises)
{
    static_assert(std::is_nothrow_move_constructible_v<CbArray<std::string>>);
    static_assert(std::is_nothrow_move_assignable_v<CbArray<std::string>>);
    static_assert(std::is_nothrow_swappable_v<CbArray<std::string>>);
}

TEST(CbArraySwap, ExchangesEverything)
{
    CbArray<int> left = numbers(2);
    left.SetGrowStep(3);
    CbArray<int> right;

    swap(left, right);

    EXPECT_THAT(elementsOf(left), IsEmpty());
    EXPECT_EQ(left.GetGrowStep(), 0);
    EXPECT_THAT(elementsOf(right), ElementsAre(1, 2));
    EXPECT_EQ(right.GetGrowStep(), 3);
}

TEST(CbArrayEquality, ComparesElementsAndNotRoom)
{
    CbArray<int> roomy = numbers(3);
    roomy.SetCapacity(10);
    roomy.SetGrowStep(2);

    EXPECT_TRUE(roomy == numbers(3));
    EXPECT_FALSE(roomy == numbers(2));
    EXPECT_FALSE(roomy == CbArray<int>(3));
    EXPECT_TRUE(CbArray<int>() == CbArray<int>(0));
}

TEST(CbArrayDestruction, DestroysAllElements)
{
    int const before = CFragile::s_instances;
    {
        CbArray<CFragile> array(3);
        array.SetCapacity(10);
        array.Add(CFragile(4));
    }

    EXPECT_EQ(CFragile::s_instances, before);
}

// ---- failures: the array stays as it was

class CbArrayFailingCopy : public testing::Test
{
protected:
    CbArrayFailingCopy() : m_instancesBefore(CFragile::s_instances)
    {
        m_array.Add(CFragile(1));
        m_array.Add(CFragile(2));
    }

    void expectUnchanged() const
    {
        EXPECT_EQ(CFragile::s_instances, m_instancesBefore + 2);
        EXPECT_EQ(m_array.GetCapacity(), 2);
        ASSERT_EQ(m_array.GetCount(), 2);
        EXPECT_EQ(m_array[0].m_number, 1);
        EXPECT_EQ(m_array[1].m_number, 2);
    }

    int const m_instancesBefore;
    CbArray<CFragile> m_array;
};

// Growing an array of two copies the new element and the two that are there; each of these copies fails once.
class CbArrayFailingCopyOfThree : public CbArrayFailingCopy, public testing::WithParamInterface<int>
{
};

TEST_P(CbArrayFailingCopyOfThree, LeavesTheArrayUnchangedWhileAnAddGrowsIt)
{
    {
        CFragile const more(3);
        CScopedCopyLimit const limit(GetParam());
        EXPECT_THROW(m_array.Add(more), std::runtime_error);
    }
    expectUnchanged();
}

TEST_P(CbArrayFailingCopyOfThree, LeavesTheArrayUnchangedWhileAnAppendGrowsIt)
{
    {
        CFragile const more[] = {CFragile(3)};
        CScopedCopyLimit const limit(GetParam());
        EXPECT_THROW(m_array.Append(more, 1), std::runtime_error);
    }
    expectUnchanged();
}

TEST_P(CbArrayFailingCopyOfThree, LeavesTheElementWithItsOwnerWhileAnAddThatMovesGrowsTheArray)
{
    {
        CFragile more(3);
        CScopedCopyLimit const limit(GetParam());
        EXPECT_THROW(m_array.Add(std::move(more)), std::runtime_error);
        EXPECT_EQ(more.m_number, 3);
    }
    expectUnchanged();
}

TEST_P(CbArrayFailingCopyOfThree, KeepsAnOwnElementThatAnAddWasToMove)
{
    {
        CScopedCopyLimit const limit(GetParam());
        EXPECT_THROW(m_array.Add(std::move(m_array[0])), std::runtime_error);
    }
    expectUnchanged();
}

INSTANTIATE_TEST_SUITE_P(Copies, CbArrayFailingCopyOfThree, testing::Values(0, 1, 2));

TEST_F(CbArrayFailingCopy, LeavesTheArrayUnchangedWhileTheCapacityIsSet)
{
    {
        CScopedCopyLimit const limit(1);
        EXPECT_THROW(m_array.SetCapacity(10), std::runtime_error);
    }
    expectUnchanged();
}

TEST_F(CbArrayFailingCopy, LeavesTheTargetUnchangedWhileACopyIsAssigned)
{
    CbArray<CFragile> target(1);
    target[0].m_number = 7;
    {
        CScopedCopyLimit const limit(1);
        EXPECT_THROW(target = m_array, std::runtime_error);
    }

    EXPECT_EQ(target.GetCount(), 1);
    EXPECT_EQ(target[0].m_number, 7);
    EXPECT_EQ(CFragile::s_instances, m_instancesBefore + 3);
}

TEST_F(CbArrayFailingCopy, LeavesNothingBehindWhileACopyIsConstructed)
{
    {
        CScopedCopyLimit const limit(1);
        EXPECT_THROW(CbArray<CFragile> copy(m_array), std::runtime_error);
    }
    expectUnchanged();
}

TEST(CbArrayWithoutMemory, IsUnchangedByAnAddOfACopy)
{
    CbArray<SStarving> array = starvingOf({"one", "two"});
    SStarving const more{"three"};
    {
        CScopedFamine const famine;
        EXPECT_THROW(array.Add(more), std::bad_alloc);
    }

    EXPECT_THAT(textsOf(array), ElementsAre("one", "two"));
    EXPECT_EQ(array.GetCapacity(), 2);
}

TEST(CbArrayWithoutMemory, IsUnchangedByAnAddThatMovesAndLeavesTheElementWithItsOwner)
{
    CbArray<SStarving> array = starvingOf({"one", "two"});
    SStarving more{"a text that is too long to be kept inside the string object"};
    {
        CScopedFamine const famine;
        EXPECT_THROW(array.Add(std::move(more)), std::bad_alloc);
    }

    EXPECT_THAT(textsOf(array), ElementsAre("one", "two"));
    EXPECT_EQ(more.text, "a text that is too long to be kept inside the string object");
}

TEST(CbArrayWithoutMemory, KeepsAnOwnElementThatAnAddWasToMove)
{
    CbArray<SStarving> array = starvingOf({"a text that is too long to be kept inside the string object"});
    {
        CScopedFamine const famine;
        EXPECT_THROW(array.Add(std::move(array[0])), std::bad_alloc);
    }

    EXPECT_THAT(textsOf(array), ElementsAre("a text that is too long to be kept inside the string object"));
}

TEST(CbArrayWithoutMemory, IsUnchangedByAnAppend)
{
    CbArray<SStarving> array = starvingOf({"one", "two"});
    SStarving const more[] = {{"three"}, {"four"}};
    {
        CScopedFamine const famine;
        EXPECT_THROW(array.Append(more, 2), std::bad_alloc);
    }

    EXPECT_THAT(textsOf(array), ElementsAre("one", "two"));
    EXPECT_EQ(array.GetCapacity(), 2);
}

TEST(CbArrayWithoutMemory, IsUnchangedByANewCapacity)
{
    CbArray<SStarving> array = starvingOf({"one", "two"});
    {
        CScopedFamine const famine;
        EXPECT_THROW(array.SetCapacity(100), std::bad_alloc);
        EXPECT_THROW(array.SetCapacity(1), std::bad_alloc);
    }

    EXPECT_THAT(textsOf(array), ElementsAre("one", "two"));
    EXPECT_EQ(array.GetCapacity(), 2);
}

TEST(CbArrayWithoutMemory, IsUnchangedByANewCount)
{
    CbArray<SStarving> array = starvingOf({"one", "two"});
    {
        CScopedFamine const famine;
        EXPECT_THROW(array.SetCount(100), std::bad_alloc);
    }

    EXPECT_THAT(textsOf(array), ElementsAre("one", "two"));
    EXPECT_EQ(array.GetCapacity(), 2);
}

TEST(CbArrayWithoutMemory, IsUnchangedByAnAssignment)
{
    CbArray<SStarving> array = starvingOf({"one", "two"});
    CbArray<SStarving> const source = starvingOf({"three"});
    {
        CScopedFamine const famine;
        EXPECT_THROW(array = source, std::bad_alloc);
    }

    EXPECT_THAT(textsOf(array), ElementsAre("one", "two"));
}

TEST(CbArrayWithoutMemory, CanBeUsedOnceThereIsMemoryAgain)
{
    int const before = SStarving::s_blocks;
    {
        CbArray<SStarving> array = starvingOf({"one", "two"});
        {
            CScopedFamine const famine;
            EXPECT_THROW(array.Add(SStarving{"lost"}), std::bad_alloc);
        }
        array.Add(SStarving{"three"});

        EXPECT_THAT(textsOf(array), ElementsAre("one", "two", "three"));
    }
    EXPECT_EQ(SStarving::s_blocks, before);
}

// ---- counts at the end of 32 bits

// The refusal comes before the elements are looked at: the pointer covers one element only.
TEST(CbArrayMaximum, RefusesAnAppendBeyondItBeforeAnythingIsAllocated)
{
    CbArray<SHungryByte> array(1);
    SHungryByte const element;
    SHungryByte::s_largestRequest = 0;

    EXPECT_THROW(array.Append(&element, c_MaximumCount), std::bad_alloc);

    EXPECT_EQ(SHungryByte::s_largestRequest, 0);
    EXPECT_EQ(array.GetCount(), 1);
    EXPECT_EQ(array.GetCapacity(), 1);
}

TEST(CbArrayMaximum, IsWhatDoublingEndsWithWhereTwiceTheCapacityWouldBeMore)
{
    CbArray<SHungryByte> array(3);
    SHungryByte const element;
    SHungryByte::s_largestRequest = 0;

    // 3 doubled thirty times is 3,221,225,472, and once more passes 32 bits.
    EXPECT_THROW(array.Append(&element, 3'500'000'000u), std::bad_alloc);

    EXPECT_EQ(SHungryByte::s_largestRequest, c_MaximumCount);
    EXPECT_EQ(array.GetCount(), 3);
}

TEST(CbArrayMaximum, IsWhatAGrowStepEndsWithWhereTheNextStepWouldBeMore)
{
    CbArray<SHungryByte> array(3);
    array.SetGrowStep(0x90000000);
    SHungryByte const element;
    SHungryByte::s_largestRequest = 0;

    EXPECT_THROW(array.Append(&element, 0xA0000000), std::bad_alloc);

    EXPECT_EQ(SHungryByte::s_largestRequest, c_MaximumCount);
    EXPECT_EQ(array.GetCapacity(), 3);
}
