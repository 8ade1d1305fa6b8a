#include "orvane/container/cblistbaseintermediate.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
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

namespace
{
using SinglyLinked = CbListBaseIntermediate<CCounted, 9>;
using DoublyLinked = CbListBaseIntermediate<CCounted, 17>;

template <class TList>
class PooledList : public testing::Test
{
};

using Lists = testing::Types<SinglyLinked, DoublyLinked>;

class ListName
{
public:
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, SinglyLinked> ? "SinglyLinked" : "DoublyLinked";
    }
};

template <class TList>
using NodeOf = typename TList::TNode;

template <class TList>
NodeOf<TList> const* headOf(TList const& list)
{
    return fieldAt<NodeOf<TList> const*>(&list, 0);
}

template <class TList>
NodeOf<TList> const* tailOf(TList const& list)
{
    return fieldAt<NodeOf<TList> const*>(&list, sizeof(void*));
}

// The numbers in the list, after a look at everything that links them.
template <class TList>
std::vector<int> numbersOf(TList const& list)
{
    std::vector<int> numbers;
    NodeOf<TList> const* last = nullptr;
    for (NodeOf<TList> const* node = headOf(list); node != nullptr; node = node->next)
    {
        if constexpr (std::is_same_v<TList, DoublyLinked>)
        {
            EXPECT_EQ(node->previous, last);
        }
        numbers.push_back(node->value.GetNumber());
        last = node;
    }
    EXPECT_EQ(tailOf(list), last);
    EXPECT_EQ(list.GetCount(), numbers.size());
    EXPECT_EQ(list.IsEmpty(), numbers.empty());
    return numbers;
}

template <class TList>
void addAll(TList& list, std::initializer_list<int> numbers)
{
    for (int const number : numbers)
    {
        list.AddTail(CCounted(number));
    }
}

TYPED_TEST_SUITE(PooledList, Lists, ListName);
} // namespace

// ---- layout

TYPED_TEST(PooledList, IsHeadTailPoolAndCountInThisOrder)
{
    auto const pool = std::make_shared<typename TypeParam::TPool>(10u);
    TypeParam list(pool);
    addAll(list, {1, 2});

    static_assert(sizeof(TypeParam) == 3 * sizeof(void*) + sizeof(std::shared_ptr<int>));
    EXPECT_EQ(headOf(list)->value.GetNumber(), 1);
    EXPECT_EQ(tailOf(list)->value.GetNumber(), 2);
    EXPECT_EQ(fieldAt<std::shared_ptr<typename TypeParam::TPool>>(&list, 2 * sizeof(void*)), pool);
    EXPECT_EQ(fieldAt<unsigned int>(&list, 4 * sizeof(void*)), 2);
}

TEST(CbNodeLinked, HasALinkMoreWhereItIsDoublyLinked)
{
    static_assert(sizeof(CbNodeLinked<void*, 0>) == 2 * sizeof(void*));
    static_assert(sizeof(CbNodeLinked<void*, 1>) == 3 * sizeof(void*));
    CbNodeLinked<int, 0> const singly(1);
    CbNodeLinked<int, 1> const doubly(2);

    EXPECT_EQ(singly.next, nullptr);
    EXPECT_EQ(doubly.next, nullptr);
    EXPECT_EQ(doubly.previous, nullptr);
}

TYPED_TEST(PooledList, CannotBeCopied)
{
    static_assert(!std::is_copy_constructible_v<TypeParam> && !std::is_copy_assignable_v<TypeParam>);
    static_assert(std::is_nothrow_move_constructible_v<TypeParam> && std::is_nothrow_move_assignable_v<TypeParam>);
    static_assert(!std::is_convertible_v<unsigned int, TypeParam>);
}

// ---- elements

TYPED_TEST(PooledList, StartsEmpty)
{
    TypeParam const list(10u);

    EXPECT_THAT(numbersOf(list), IsEmpty());
}

TYPED_TEST(PooledList, KeepsTheOrderInWhichElementsWereAdded)
{
    TypeParam list(10u);

    addAll(list, {1, 2, 3});

    EXPECT_THAT(numbersOf(list), ElementsAre(1, 2, 3));
    EXPECT_EQ(list.GetHead().GetNumber(), 1);
    EXPECT_EQ(std::as_const(list).GetHead().GetNumber(), 1);
}

TYPED_TEST(PooledList, TakesTheValueOver)
{
    TypeParam list(10u);
    int const before = CCounted::GetCount();
    CCounted value(7);

    list.AddTail(std::move(value));

    EXPECT_EQ(CCounted::GetCount(), before + 1);
}

TEST(PooledListOfCopyables, CopiesAValueThatStays)
{
    CbListBaseIntermediate<std::string, 17> list(10u);
    std::string const value(100, 'x');

    list.AddTail(value);
    list.AddTail(list.GetHead());

    EXPECT_EQ(list.TakeHead(), value);
    EXPECT_EQ(list.TakeHead(), value);
}

TYPED_TEST(PooledList, DestroysTheHeadThatItRemoves)
{
    TypeParam list(10u);
    addAll(list, {1, 2});
    int const before = CCounted::GetCount();

    list.RemoveHead();

    EXPECT_EQ(CCounted::GetCount(), before - 1);
    EXPECT_THAT(numbersOf(list), ElementsAre(2));
}

TYPED_TEST(PooledList, IsEmptyWhenItsLastElementIsRemoved)
{
    TypeParam list(10u);
    addAll(list, {1});

    list.RemoveHead();

    EXPECT_THAT(numbersOf(list), IsEmpty());
    addAll(list, {2});
    EXPECT_THAT(numbersOf(list), ElementsAre(2));
}

TYPED_TEST(PooledList, GivesTheNodeOfARemovedHeadOutNext)
{
    TypeParam list(10u);
    addAll(list, {1, 2});
    void const* const node = headOf(list);

    list.RemoveHead();
    addAll(list, {3});

    EXPECT_EQ(tailOf(list), node);
}

TYPED_TEST(PooledList, HandsOutTheHeadThatIsTaken)
{
    TypeParam list(10u);
    addAll(list, {1, 2});
    int const before = CCounted::GetCount();

    CCounted const taken = list.TakeHead();

    EXPECT_EQ(taken.GetNumber(), 1);
    EXPECT_EQ(CCounted::GetCount(), before);
    EXPECT_THAT(numbersOf(list), ElementsAre(2));
}

TYPED_TEST(PooledList, DestroysEverythingWhenItIsCleared)
{
    int const before = CCounted::GetCount();
    auto const pool = std::make_shared<typename TypeParam::TPool>(10u);
    TypeParam list(pool);
    addAll(list, {1, 2, 3});

    list.RemoveAll();

    EXPECT_EQ(CCounted::GetCount(), before);
    EXPECT_THAT(numbersOf(list), IsEmpty());
    addAll(list, {4, 5, 6, 7, 8, 9, 10, 11, 12, 13});
    EXPECT_EQ(pool->getBlockCount(), 1);
}

TYPED_TEST(PooledList, DestroysEverythingWhenItEnds)
{
    int const before = CCounted::GetCount();
    auto const pool = std::make_shared<typename TypeParam::TPool>(2u);
    {
        TypeParam list(pool);
        addAll(list, {1, 2});
    }

    EXPECT_EQ(CCounted::GetCount(), before);
    TypeParam other(pool);
    addAll(other, {1, 2});
    EXPECT_EQ(pool->getBlockCount(), 1);
}

TYPED_TEST(PooledList, SharesAPoolWithOthers)
{
    auto const pool = std::make_shared<typename TypeParam::TPool>(2u);
    TypeParam first(pool);
    TypeParam second(pool);

    addAll(first, {1});
    addAll(second, {2});
    first.RemoveHead();
    addAll(second, {3});

    EXPECT_EQ(pool->getBlockCount(), 1);
    EXPECT_THAT(numbersOf(second), ElementsAre(2, 3));
}

TYPED_TEST(PooledList, NeedsNoMemoryInASteadyState)
{
    TypeParam list(10u);
    addAll(list, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    std::size_t requests;
    {
        CHeapWatch const heap;
        for (int round = 0; round < 1000; ++round)
        {
            CCounted value = list.TakeHead();
            list.AddTail(std::move(value));
        }
        requests = heap.GetRequestCount();
    }

    EXPECT_EQ(requests, 0);
    EXPECT_EQ(list.GetCount(), 10);
}

// ---- move and absorb

TYPED_TEST(PooledList, LeavesAnEmptyListBehindThatCanBeUsedWhenItIsMoved)
{
    TypeParam source(10u);
    addAll(source, {1, 2});

    TypeParam target(std::move(source));
    addAll(source, {3});
    addAll(target, {4});

    EXPECT_THAT(numbersOf(target), ElementsAre(1, 2, 4));
    EXPECT_THAT(numbersOf(source), ElementsAre(3));
}

TYPED_TEST(PooledList, DestroysWhatItHeldWhenAnotherIsMovedIn)
{
    TypeParam source(10u);
    TypeParam target(10u);
    addAll(source, {1, 2});
    addAll(target, {3, 4, 5});
    int const before = CCounted::GetCount();

    target = std::move(source);

    EXPECT_EQ(CCounted::GetCount(), before - 3);
    EXPECT_THAT(numbersOf(target), ElementsAre(1, 2));
    EXPECT_THAT(numbersOf(source), IsEmpty());
}

TYPED_TEST(PooledList, KeepsItsElementsWhenItIsMovedToItself)
{
    TypeParam list(10u);
    addAll(list, {1, 2});
    TypeParam& same = list;

    list = std::move(same);

    EXPECT_THAT(numbersOf(list), ElementsAre(1, 2));
}

TYPED_TEST(PooledList, AbsorbsTheNodesOfAListWithTheSamePool)
{
    auto const pool = std::make_shared<typename TypeParam::TPool>(10u);
    TypeParam list(pool);
    TypeParam other(pool);
    addAll(list, {1, 2});
    addAll(other, {3, 4});
    void const* const node = headOf(other);

    list.Absorb(other);

    EXPECT_THAT(numbersOf(list), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(numbersOf(other), IsEmpty());
    EXPECT_EQ(headOf(list)->next->next, node);
}

TYPED_TEST(PooledList, AbsorbsTheValuesOfAListWithAnotherPool)
{
    TypeParam list(10u);
    TypeParam other(10u);
    addAll(list, {1});
    addAll(other, {2, 3});
    int const before = CCounted::GetCount();

    list.Absorb(other);

    EXPECT_THAT(numbersOf(list), ElementsAre(1, 2, 3));
    EXPECT_THAT(numbersOf(other), IsEmpty());
    EXPECT_EQ(CCounted::GetCount(), before);
}

TYPED_TEST(PooledList, AbsorbsIntoAnEmptyListAndFromAnEmptyOne)
{
    auto const pool = std::make_shared<typename TypeParam::TPool>(10u);
    TypeParam list(pool);
    TypeParam other(pool);
    addAll(other, {1, 2});

    list.Absorb(other);
    list.Absorb(other);
    list.Absorb(list);

    EXPECT_THAT(numbersOf(list), ElementsAre(1, 2));
    EXPECT_THAT(numbersOf(other), IsEmpty());
}

// ---- values whose destructors come back

TYPED_TEST(PooledList, IsDoneWithAHeadBeforeItsDestructorComesBack)
{
    TypeParam list(2u);
    std::vector<int> seen;
    std::function<void()> const comeBack = [&]
    {
        seen = numbersOf(list);
        addAll(list, {8, 9});
    };
    list.AddTail(CCounted(1, comeBack));
    addAll(list, {2});
    void const* const node = headOf(list);

    list.RemoveHead();

    EXPECT_THAT(seen, ElementsAre(2));
    EXPECT_THAT(numbersOf(list), ElementsAre(2, 8, 9));
    // The node that had become free was the first to be used again.
    EXPECT_EQ(headOf(list)->next, node);
}

TYPED_TEST(PooledList, LetsADestructorEmptyIt)
{
    TypeParam list(2u);
    list.AddTail(CCounted(1, [&] { list.RemoveHead(); }));
    addAll(list, {2, 3});

    list.RemoveHead();

    EXPECT_THAT(numbersOf(list), ElementsAre(3));
}

TYPED_TEST(PooledList, LetsADestructorEndTheListItself)
{
    auto list = std::make_unique<TypeParam>(2u);
    list->AddTail(CCounted(1, [&] { list.reset(); }));
    addAll(*list, {2, 3});
    int const before = CCounted::GetCount();

    list->RemoveHead();

    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(CCounted::GetCount(), before - 3);
}

TYPED_TEST(PooledList, KeepsWhatADestructorAddsWhileItIsCleared)
{
    TypeParam list(2u);
    list.AddTail(CCounted(1, [&] { addAll(list, {7}); }));
    addAll(list, {2});

    list.RemoveAll();

    EXPECT_THAT(numbersOf(list), ElementsAre(7));
}

TYPED_TEST(PooledList, DestroysWhatADestructorAddsWhileItEnds)
{
    int const before = CCounted::GetCount();
    {
        TypeParam list(2u);
        list.AddTail(CCounted(1, [&] { addAll(list, {7}); }));
    }

    EXPECT_EQ(CCounted::GetCount(), before);
}

// ---- failures

TYPED_TEST(PooledList, RaisesWhenAnEmptyOneIsRemovedFromAndStaysUsable)
{
    CLogRecorder const quiet;
    TypeParam list(10u);

    EXPECT_THROW(list.RemoveHead(), CbExceptionContainer);
    EXPECT_THROW(list.GetHead(), CbExceptionContainer);
    EXPECT_THROW(std::as_const(list).GetHead(), CbExceptionContainer);
    EXPECT_THROW(list.TakeHead(), CbExceptionContainer);

    EXPECT_THAT(numbersOf(list), IsEmpty());
    addAll(list, {1});
    EXPECT_THAT(numbersOf(list), ElementsAre(1));
}

TEST(PooledListFailure, OfAnEmptyListIsRaisedFromItsPublishedLine)
{
    CbListBaseIntermediate<CbThreadPool::STaskEntry, 17> entries(100u);
    CbListBaseIntermediate<unsigned long, 9> ids(40u);

    EXPECT_RAISES_CONTAINER("cblistbaseintermediate", 490,
                            "CbListBaseIntermediate<struct CbThreadPool::STaskEntry,17>::RemoveHead",
                            entries.RemoveHead());
    EXPECT_RAISES_CONTAINER("cblistbaseintermediate", 490, "CbListBaseIntermediate<unsigned long,9>::RemoveHead",
                            ids.RemoveHead());
}

TEST(PooledListFailure, OfAPoolWithoutASizeIsThePools)
{
    using List = CbListBaseIntermediate<unsigned long, 9>;

    EXPECT_RAISES_CONTAINER("cbplexmanager", 188,
                            "CbPlexManager<class CbNodeLinked<unsigned long,0>,0,0,unsigned int>::CbPlexManager",
                            List const list(0u));
}

TYPED_TEST(PooledList, IsAsItWasWhereItGetsNoNode)
{
    CLogRecorder const quiet;
    TypeParam list(1000u);
    int const before = CCounted::GetCount();
    {
        CHeapWatch const heap(1000 * sizeof(NodeOf<TypeParam>));
        EXPECT_THROW(addAll(list, {1}), CbExceptionContainer);
    }

    EXPECT_THAT(numbersOf(list), IsEmpty());
    EXPECT_EQ(CCounted::GetCount(), before);
}

TEST(PooledListFailure, OfACopyLeavesTheListAsItWas)
{
    CbListBaseIntermediate<CUncopyable, 17> list(1u);
    CUncopyable const value;

    EXPECT_THROW(list.AddTail(value), std::runtime_error);

    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_TRUE(list.IsEmpty());
}

// Moving such a value can raise, so it is destroyed where it lies.
TEST(PooledListOfOldValues, DestroysThemWithoutMovingThem)
{
    struct COld
    {
        explicit COld(std::shared_ptr<int> number) : m_number(std::move(number))
        {
        }

        COld(COld const& other) : m_number(other.m_number)
        {
            if (m_number.use_count() > 2)
            {
                throw std::runtime_error("too many copies");
            }
        }

        COld& operator=(COld const&) = default;

        std::shared_ptr<int> m_number;
    };

    auto const number = std::make_shared<int>(1);
    CbListBaseIntermediate<std::optional<COld>, 17> list(1u);
    list.AddTail(std::optional<COld>());
    list.GetHead().emplace(number);
    EXPECT_EQ(number.use_count(), 2);

    list.RemoveHead();

    EXPECT_EQ(number.use_count(), 1);
    EXPECT_EQ(list.GetCount(), 0);
}

// ---- count

TEST(CbListPolicyElementCount, CountsUpAndDown)
{
    CbListPolicyElementCount<1, 0> count;
    count.incElementCount();
    count.incElementCount();
    count.decElementCount();
    EXPECT_EQ(count.getElementCount(), 1);

    count.resetElementCount();
    EXPECT_EQ(count.getElementCount(), 0);
    static_assert(sizeof(count) == sizeof(unsigned int));
}

TEST(CbListPolicyElementCount, TakesAnothersCountOver)
{
    CbListPolicyElementCount<1, 0> count;
    count.incElementCount();
    CbListPolicyElementCount<1, 0> other;
    other.incElementCount();
    other.incElementCount();

    count.absorbElementCount(other);

    EXPECT_EQ(count.getElementCount(), 3);
    EXPECT_EQ(other.getElementCount(), 0);
}

TEST(CbListPolicyElementCount, OfAListThatDoesNotCountHasNothing)
{
    CbListPolicyElementCount<0, 0> count;
    CbListPolicyElementCount<0, 0> other;

    count.incElementCount();
    count.decElementCount();
    count.resetElementCount();
    count.absorbElementCount(other);

    static_assert(std::is_empty_v<CbListPolicyElementCount<0, 0>>);
}

// ---- against a model

TYPED_TEST(PooledList, DoesWhatADequeDoes)
{
    containertest::CRandom random;
    int const before = CCounted::GetCount();
    {
        auto const pool = std::make_shared<typename TypeParam::TPool>(3u);
        TypeParam lists[] = {TypeParam(pool), TypeParam(pool), TypeParam(3u)};
        std::deque<int> models[3];
        for (int step = 0; step < 20'000; ++step)
        {
            std::size_t const which = random.Below(3);
            TypeParam& list = lists[which];
            std::deque<int>& model = models[which];
            unsigned int const choice = random.Below(100);
            if (choice < 50)
            {
                list.AddTail(CCounted(step));
                model.push_back(step);
            }
            else if (choice < 90 && !model.empty())
            {
                ASSERT_EQ(list.GetHead().GetNumber(), model.front()) << "step " << step;
                if (choice % 2 == 0)
                {
                    ASSERT_EQ(list.TakeHead().GetNumber(), model.front()) << "step " << step;
                }
                else
                {
                    list.RemoveHead();
                }
                model.pop_front();
            }
            else if (choice < 94)
            {
                std::size_t const other = random.Below(3);
                list.Absorb(lists[other]);
                if (other != which)
                {
                    model.insert(model.end(), models[other].begin(), models[other].end());
                    models[other].clear();
                }
            }
            else if (choice < 96)
            {
                std::size_t const other = random.Below(3);
                list = std::move(lists[other]);
                if (other != which)
                {
                    model = std::move(models[other]);
                    models[other].clear();
                }
            }
            else if (choice < 97)
            {
                list.RemoveAll();
                model.clear();
            }
            ASSERT_EQ(list.GetCount(), model.size()) << "step " << step;
            if (step % 64 == 0)
            {
                ASSERT_EQ(numbersOf(list), std::vector<int>(model.begin(), model.end())) << "step " << step;
            }
        }
        std::size_t left = 0;
        for (std::deque<int> const& model : models)
        {
            left += model.size();
        }
        EXPECT_EQ(CCounted::GetCount(), before + static_cast<int>(left));
    }
    EXPECT_EQ(CCounted::GetCount(), before);
}
