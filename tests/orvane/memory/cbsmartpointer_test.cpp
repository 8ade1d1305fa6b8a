#include "orvane/memory/cbsmartpointer.h"

#include <algorithm>
#include <memory>
#include <set>
#include <stdexcept>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counted.h"
#include "orvane/object/cbaserializable.h"

using memorytest::CCounted;
using memorytest::Counter;
using memorytest::Events;
using testing::ElementsAre;
using testing::IsEmpty;

using Pointer = CbSmartPointer<CCounted>;

namespace
{
class CDerived : public CCounted
{
public:
    using CCounted::CCounted;
};
} // namespace

using DerivedPointer = CbSmartPointer<CDerived>;

static_assert(sizeof(Pointer) == sizeof(void*));
static_assert(std::is_nothrow_default_constructible_v<Pointer> && std::is_nothrow_copy_constructible_v<Pointer>);
static_assert(std::is_nothrow_move_constructible_v<Pointer> && std::is_nothrow_move_assignable_v<Pointer>);
static_assert(std::is_convertible_v<CCounted*, Pointer> && std::is_convertible_v<std::nullptr_t, Pointer>);
static_assert(std::is_convertible_v<CDerived*, Pointer> && std::is_convertible_v<DerivedPointer, Pointer>);
static_assert(std::is_convertible_v<Pointer, CbSmartPointer<CCounted const>>);
static_assert(!std::is_constructible_v<DerivedPointer, Pointer> && !std::is_constructible_v<DerivedPointer, CCounted*>);
static_assert(!std::is_assignable_v<DerivedPointer&, Pointer> && !std::is_assignable_v<Pointer&, int*>);
static_assert(!std::is_constructible_v<Pointer, CbSmartPointer<CCounted const>>);
static_assert(!std::is_convertible_v<Pointer, bool> && std::is_constructible_v<bool, Pointer>);

TEST(CbSmartPointer, IsEmptyByDefault)
{
    Pointer const pointer;

    EXPECT_EQ(pointer.Get(), nullptr);
    EXPECT_FALSE(pointer);
}

TEST(CbSmartPointer, MayHoldNull)
{
    Pointer pointer(nullptr);
    Pointer const copy(pointer);
    pointer = copy;
    pointer.Reset();

    EXPECT_EQ(pointer.Get(), nullptr);
}

TEST(CbSmartPointer, TakesAReferenceToAPlainPointer)
{
    Events events;
    auto* const object = new CCounted("a", events);

    Pointer const first(object);
    EXPECT_EQ(object->GetCount(), 1u);
    Pointer const second = object;
    EXPECT_EQ(object->GetCount(), 2u);
    EXPECT_EQ(second.Get(), object);
    EXPECT_EQ(second.operator->(), object);
    EXPECT_EQ(&*second, object);
    EXPECT_TRUE(second);
}

TEST(CbSmartPointer, ReleasesAtTheEndOfItsScope)
{
    Events events;
    Pointer const owner(new CCounted("a", events));
    {
        Pointer const second(owner);
        EXPECT_EQ(owner->GetCount(), 2u);
    }
    EXPECT_EQ(owner->GetCount(), 1u);
}

TEST(CbSmartPointer, AsksForTheCounterOnceForEachCopyAndEachRelease)
{
    Events events;
    Pointer first(new CCounted("a", events));
    EXPECT_THAT(events, ElementsAre("a: counter"));
    Pointer second(first);
    EXPECT_THAT(events, ElementsAre("a: counter", "a: counter"));
    first.Reset();
    EXPECT_THAT(events, ElementsAre("a: counter", "a: counter", "a: counter"));
    second.Reset();
    EXPECT_THAT(events, ElementsAre("a: counter", "a: counter", "a: counter", "a: counter", "a: end"));
}

TEST(CbSmartPointer, MovesWithoutTouchingTheCounter)
{
    Events events;
    DerivedPointer source(new CDerived("a", events));
    CDerived* const object = source.Get();
    events.clear();

    DerivedPointer constructed(std::move(source));
    Pointer converted(std::move(constructed));
    Pointer assigned;
    assigned = std::move(converted);
    Pointer swapped;
    swapped.Swap(assigned);
    swap(assigned, swapped);

    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(assigned.Get(), object);
    EXPECT_EQ(object->GetCount(), 1u);
    EXPECT_FALSE(source);
    EXPECT_FALSE(constructed);
    EXPECT_FALSE(converted);
    EXPECT_FALSE(swapped);
}

TEST(CbSmartPointer, ConvertsByCopyAndByMove)
{
    Events events;
    DerivedPointer const derived(new CDerived("a", events));

    Pointer base(derived);
    EXPECT_EQ(base, derived);
    EXPECT_EQ(derived->GetCount(), 2u);

    CbSmartPointer<CCounted const> constant;
    constant = base;
    EXPECT_EQ(derived->GetCount(), 3u);
    constant = std::move(base);
    EXPECT_FALSE(base);
    EXPECT_EQ(constant.Get(), derived.Get());
    EXPECT_EQ(derived->GetCount(), 2u);
}

TEST(CbSmartPointerAssign, ReleasesTheOldObjectBeforeItTakesTheNewOne)
{
    Events events;
    Pointer target(new CCounted("old", events));
    Pointer const source(new CCounted("new", events));
    events.clear();

    target = source;
    EXPECT_THAT(events, ElementsAre("old: counter", "old: end", "new: counter"));
    EXPECT_EQ(target, source);
}

TEST(CbSmartPointerAssign, DoesSoWithAPlainPointer)
{
    Events events;
    Pointer target(new CCounted("old", events));
    auto* const object = new CCounted("new", events);
    events.clear();

    target = object;
    EXPECT_THAT(events, ElementsAre("old: counter", "old: end", "new: counter"));
    EXPECT_EQ(object->GetCount(), 1u);
}

TEST(CbSmartPointerAssign, DoesNothingWithTheObjectThatItHolds)
{
    Events events;
    Pointer target(new CCounted("a", events));
    Pointer const other(target);
    events.clear();

    target = other;
    target = target.Get();
    target.Reset(target.Get());
    Pointer const& itself = target;
    target = itself;
    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(target->GetCount(), 2u);
}

TEST(CbSmartPointerAssign, ReleasesWithNull)
{
    Events events;
    Pointer target(new CCounted("a", events));

    target = nullptr;
    EXPECT_FALSE(target);
    EXPECT_THAT(events, ElementsAre("a: counter", "a: counter", "a: end"));
}

TEST(CbSmartPointerAssign, MovesOverAnotherObjectAtTheCostOfItsReleaseOnly)
{
    Events events;
    Pointer target(new CCounted("old", events));
    Pointer source(new CCounted("new", events));
    CCounted const* const object = source.Get();
    events.clear();

    target = std::move(source);
    EXPECT_THAT(events, ElementsAre("old: counter", "old: end"));
    EXPECT_EQ(target.Get(), object);
    EXPECT_FALSE(source);
    EXPECT_EQ(object->GetCount(), 1u);
}

TEST(CbSmartPointerAssign, EmptiesTheSourceOfAMoveThatHoldsTheSameObject)
{
    Events events;
    Pointer target(new CCounted("a", events));
    Pointer source(target);

    target = std::move(source);
    EXPECT_FALSE(source);
    EXPECT_TRUE(target);
    EXPECT_EQ(target->GetCount(), 1u);
}

TEST(CbSmartPointerAssign, KeepsTheObjectInAMoveToItself)
{
    Events events;
    Pointer target(new CCounted("a", events));
    Pointer& itself = target;

    target = std::move(itself);
    ASSERT_TRUE(target);
    EXPECT_EQ(target->GetCount(), 1u);
}

TEST(CbSmartPointerAssign, MovesOutOfTheObjectThatItReleases)
{
    struct SNode : public CCounted
    {
        using CCounted::CCounted;
        CbSmartPointer<SNode> next;
    };

    Events events;
    CbSmartPointer<SNode> head(new SNode("first", events));
    head->next = new SNode("second", events);
    SNode const* const second = head->next.Get();
    events.clear();

    head = std::move(head->next);
    EXPECT_EQ(head.Get(), second);
    EXPECT_EQ(second->GetCount(), 1u);
    EXPECT_THAT(events, ElementsAre("first: counter", "first: end"));
}

TEST(CbSmartPointerRelease, EmptiesThePointerBeforeTheObjectGoes)
{
    Events events;
    Pointer pointer(new CCounted("a", events));
    CCounted const* seen = pointer.Get();
    pointer->atEnd = [&] { seen = pointer.Get(); };

    pointer.Reset();
    EXPECT_EQ(seen, nullptr);
}

TEST(CbSmartPointerRelease, FetchesTheCounterWhileThePointerIsSet)
{
    Events events;
    Pointer pointer(new CCounted("a", events));
    CCounted const* const object = pointer.Get();
    CCounted const* seen = nullptr;
    pointer->atCounter = [&] { seen = pointer.Get(); };

    pointer.Reset();
    EXPECT_EQ(seen, object);
}

TEST(CbSmartPointerRelease, TwiceDoesNothingMore)
{
    Events events;
    Pointer const owner(new CCounted("a", events));
    Pointer pointer(owner);

    pointer.Reset();
    pointer.Reset();
    EXPECT_EQ(owner->GetCount(), 1u);
}

TEST(CbSmartPointerReset, TakesTheNewObjectAfterReleasingTheOld)
{
    Events events;
    Pointer pointer(new CCounted("old", events));
    auto* const object = new CCounted("new", events);
    events.clear();

    pointer.Reset(object);
    EXPECT_THAT(events, ElementsAre("old: counter", "old: end", "new: counter"));
    EXPECT_EQ(pointer.Get(), object);
}

TEST(CbSmartPointerCompare, GoesByTheObjectsAddresses)
{
    Events events;
    DerivedPointer const derived(new CDerived("a", events));
    Pointer const same(derived);
    Pointer const other(new CCounted("b", events));
    events.clear();

    EXPECT_TRUE(same == derived);
    EXPECT_TRUE(same != other);
    EXPECT_TRUE(same == derived.Get());
    EXPECT_TRUE(derived.Get() == same);
    EXPECT_TRUE(same != other.Get());
    EXPECT_TRUE(same != nullptr);
    EXPECT_TRUE(nullptr == Pointer());
    EXPECT_EQ(same < other, std::less<CCounted*>()(same.Get(), other.Get()));
    EXPECT_EQ(other < same, std::less<CCounted*>()(other.Get(), same.Get()));
    EXPECT_TRUE(same <= derived);
    // Comparing counts nothing.
    EXPECT_THAT(events, IsEmpty());
}

TEST(CbSmartPointerCompare, ServesContainers)
{
    Events events;
    Pointer const first(new CCounted("a", events));
    Pointer const second(new CCounted("b", events));

    std::unordered_set<Pointer> const hashed = {first, second, first};
    EXPECT_EQ(hashed.size(), 2u);
    EXPECT_TRUE(hashed.contains(second));
    EXPECT_EQ(std::hash<Pointer>()(first), std::hash<CCounted*>()(first.Get()));
    EXPECT_EQ((std::set<Pointer>{first, second, first}.size()), 2u);
}

TEST(MakeCounted, GivesTheFirstOwnerOfANewObject)
{
    Events events;
    auto const object = MakeCounted<CCounted>("a", events);

    static_assert(std::is_same_v<decltype(object), Pointer const>);
    EXPECT_EQ(object->GetCount(), 1u);
}

TEST(MakeCounted, LeavesNothingWhereTheConstructorRaises)
{
    struct SRefusing : public CCounted
    {
        explicit SRefusing(Events& events) : CCounted("a", events)
        {
            throw std::runtime_error("refused");
        }
    };

    Events events;
    EXPECT_THROW(MakeCounted<SRefusing>(events), std::runtime_error);
    EXPECT_THAT(events, ElementsAre("a: end"));
}

namespace
{
// Storable and counted: the counted interface is the second base.
class CStored : public CbASerializable
{
public:
    explicit CStored(int& ends) : m_ends(&ends)
    {
    }

    CStored(CStored const&) = default;
    CStored& operator=(CStored const&) = default;

    ~CStored() override
    {
        ++*m_ends;
    }

    CbRTTI const& GetRTTI() const override
    {
        static CbRTTI const record(L"SmartPointer.Stored", nullptr, nullptr);
        return record;
    }

    wchar_t const* GetClassNameW() const override
    {
        return GetRTTI().GetName();
    }

    void Serialize(CbStreamWriteBinary&) const override
    {
    }

    void Serialize(CbStreamReadBinary&) override
    {
    }

protected:
    Counter const& getReferenceCounter() const override
    {
        return m_counter;
    }

private:
    int* m_ends;
    Counter m_counter;
};
} // namespace

TEST(CbSmartPointer, OwnsObjectsWhoseCountedInterfaceIsNotTheFirstBase)
{
    int ends = 0;
    CbSmartPointer<CStored> owner = MakeCounted<CStored>(ends);
    CbSmartPointer<CbASerializable> asBase = owner;
    owner.Reset();
    EXPECT_EQ(ends, 0);
    asBase.Reset();
    EXPECT_EQ(ends, 1);
}

TEST(CbSmartPointer, LeavesAnObjectThatItNeverHeldToOthers)
{
    int ends = 0;
    std::unique_ptr<IObject>(new CStored(ends)).reset();
    EXPECT_EQ(ends, 1);
}

namespace
{
class CDeclared;

// What a header holds that only declares the class.
struct SHolder
{
    SHolder();
    ~SHolder();
    SHolder(SHolder const&) = delete;
    SHolder& operator=(SHolder const&) = delete;

    CbSmartPointer<CDeclared> place;
};

class CDeclared : public CCounted
{
public:
    using CCounted::CCounted;
};

SHolder::SHolder() = default;
SHolder::~SHolder() = default;
} // namespace

TEST(CbSmartPointer, ReleasesWhatTheOldObjectsEndPutThere)
{
    Events events;
    {
        CbSmartPointer<CCounted> pointer = MakeCounted<CCounted>("old", events);
        pointer->atEnd = [&] { pointer = MakeCounted<CCounted>("meanwhile", events); };
        CbSmartPointer<CCounted> const assigned = MakeCounted<CCounted>("assigned", events);

        pointer = assigned;

        EXPECT_EQ(pointer, assigned);
        EXPECT_EQ(assigned->GetCount(), 2u);
        EXPECT_EQ(std::count(events.begin(), events.end(), "meanwhile: end"), 1);
    }
    EXPECT_EQ(std::count(events.begin(), events.end(), "assigned: end"), 1);
}

TEST(CbSmartPointer, ReleasesWhatTheOldObjectsEndPutThereWhenAnotherIsMovedIn)
{
    Events events;
    {
        CbSmartPointer<CCounted> pointer = MakeCounted<CCounted>("old", events);
        pointer->atEnd = [&] { pointer = MakeCounted<CCounted>("meanwhile", events); };
        CbSmartPointer<CCounted> moved = MakeCounted<CCounted>("moved", events);

        pointer = std::move(moved);

        EXPECT_EQ(pointer->GetCount(), 1u);
        EXPECT_EQ(std::count(events.begin(), events.end(), "meanwhile: end"), 1);
        EXPECT_EQ(std::count(events.begin(), events.end(), "moved: end"), 0);
    }
    EXPECT_EQ(std::count(events.begin(), events.end(), "moved: end"), 1);
}

TEST(CbSmartPointer, ReleasesWhatItsObjectsEndPutThereWhenItEndsItself)
{
    Events events;
    {
        CbSmartPointer<CCounted> pointer = MakeCounted<CCounted>("old", events);
        pointer->atEnd = [&] { pointer = MakeCounted<CCounted>("meanwhile", events); };
    }
    EXPECT_EQ(std::count(events.begin(), events.end(), "meanwhile: end"), 1);
}

TEST(CbSmartPointer, KeepsWhatItsObjectsEndPutThereWhenItIsReset)
{
    Events events;
    CbSmartPointer<CCounted> pointer = MakeCounted<CCounted>("old", events);
    pointer->atEnd = [&] { pointer = MakeCounted<CCounted>("meanwhile", events); };

    pointer.Reset();

    ASSERT_TRUE(pointer);
    EXPECT_EQ(pointer->GetCount(), 1u);
    EXPECT_EQ(std::count(events.begin(), events.end(), "old: end"), 1);
    EXPECT_EQ(std::count(events.begin(), events.end(), "meanwhile: end"), 0);
}

TEST(CbSmartPointer, MayBeAMemberWhereItsClassIsOnlyDeclared)
{
    Events events;
    {
        SHolder holder;
        holder.place = MakeCounted<CDeclared>("a", events);
    }
    EXPECT_THAT(events, ElementsAre("a: counter", "a: counter", "a: end"));
}
