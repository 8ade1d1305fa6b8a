#include "orvane/memory/cbreferencecounter.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counted.h"
#include "orvane/sync/cbcriticalsection.h"
#include "support/layout.h"

using memorytest::CCounted;
using memorytest::Counter;
using memorytest::Events;
using testing::ElementsAre;

using Pointer = CbSmartPointer<CCounted>;

static_assert(sizeof(Counter) == 24 && alignof(Counter) == alignof(void*));
static_assert(!std::is_polymorphic_v<Counter> && std::is_standard_layout_v<Counter>);
static_assert(std::is_nothrow_copy_constructible_v<Counter> && std::is_nothrow_copy_assignable_v<Counter>);

namespace
{
// An entry of the list of observers, as clients lay it out.
struct SEntry
{
    void const* object;
    void* first;
    void* second;
    SEntry* next;
};

SEntry*& observersOf(Counter const& counter)
{
    return const_cast<SEntry*&>(fieldAt<SEntry*>(&counter, 8));
}

bool canBeEnteredByOthers(CbCriticalSection const& section)
{
    bool wasEntered = false;
    std::thread(
        [&]
        {
            wasEntered = section.TryEnter();
            if (wasEntered)
            {
                section.Leave();
            }
        })
        .join();
    return wasEntered;
}

// What the deleter saw.
struct SDeletion
{
    int count = 0;
    IReferenceCounted const* object = nullptr;
    bool wasLockFree = false;
    bool wasListEmpty = false;
};

SDeletion s_deletion;

void remember(IReferenceCounted const* object)
{
    Counter const& counter = static_cast<CCounted const*>(object)->GetCounter();
    ++s_deletion.count;
    s_deletion.object = object;
    s_deletion.wasLockFree = canBeEnteredByOthers(ReferenceCounter_GetCriticalSection(&counter));
    s_deletion.wasListEmpty = observersOf(counter) == nullptr;
}

class CbReferenceCounterDisposal : public testing::Test
{
protected:
    CbReferenceCounterDisposal()
    {
        s_deletion = SDeletion();
    }

    Events events;
};
} // namespace

TEST(CbReferenceCounter, BeginsWithoutOwnersObserversAndDeleter)
{
    Counter const counter;

    EXPECT_EQ(counter.GetCount(), 0u);
    EXPECT_EQ(fieldAt<unsigned int>(&counter, 0), 0u);
    EXPECT_EQ(fieldAt<void*>(&counter, 8), nullptr);
    EXPECT_EQ(fieldAt<Counter::FnDeleter>(&counter, 16), nullptr);
}

TEST(CbReferenceCounter, KeepsTheCountFirstAndTheDeleterLast)
{
    Events events;
    auto* const object = new CCounted("a", events);
    Pointer const first(object);
    Pointer const second(object);
    object->GetCounter().SetDeleter(&remember);

    EXPECT_EQ(fieldAt<unsigned int>(&object->GetCounter(), 0), 2u);
    EXPECT_EQ(fieldAt<Counter::FnDeleter>(&object->GetCounter(), 16), &remember);
    object->GetCounter().SetDeleter(nullptr);
}

TEST(CbReferenceCounter, OfACopiedObjectBeginsAnew)
{
    Events events;
    SEntry entry{};
    Pointer const owner(new CCounted("a", events));
    owner->GetCounter().SetDeleter(&remember);
    observersOf(owner->GetCounter()) = &entry;

    CCounted const copy(*owner);
    EXPECT_EQ(copy.GetCount(), 0u);
    EXPECT_EQ(fieldAt<void*>(&copy.GetCounter(), 8), nullptr);
    EXPECT_EQ(fieldAt<Counter::FnDeleter>(&copy.GetCounter(), 16), nullptr);

    observersOf(owner->GetCounter()) = nullptr;
    owner->GetCounter().SetDeleter(nullptr);
}

TEST(CbReferenceCounter, StaysAsItIsWhenItsObjectIsAssigned)
{
    Events events;
    CCounted const source("source", events);
    source.GetCounter().SetDeleter(&remember);
    Pointer const owner(new CCounted("a", events));

    *owner = source;
    EXPECT_EQ(owner->GetCount(), 1u);
    EXPECT_EQ(fieldAt<Counter::FnDeleter>(&owner->GetCounter(), 16), nullptr);
}

TEST_F(CbReferenceCounterDisposal, DeletesThroughTheVirtualDestructor)
{
    class CDerived : public CCounted
    {
    public:
        explicit CDerived(Events& record) : CCounted("base", record), m_record(&record)
        {
        }

        CDerived(CDerived const&) = delete;
        CDerived& operator=(CDerived const&) = delete;

        ~CDerived() override
        {
            m_record->push_back("derived: end");
        }

    private:
        Events* m_record;
    };

    CbSmartPointer<CCounted>(new CDerived(events)).Reset();
    EXPECT_THAT(events, ElementsAre("base: counter", "base: counter", "derived: end", "base: end"));
}

TEST_F(CbReferenceCounterDisposal, CallsADeleterInsteadOfTheDestructor)
{
    auto const object = std::make_unique<CCounted>("a", events);
    object->GetCounter().SetDeleter(&remember);

    Pointer(object.get()).Reset();
    EXPECT_EQ(s_deletion.count, 1);
    EXPECT_EQ(s_deletion.object, object.get());
    EXPECT_THAT(events, ElementsAre("a: counter", "a: counter"));
}

TEST_F(CbReferenceCounterDisposal, CallsTheDeleterOutsideTheLock)
{
    auto const object = std::make_unique<CCounted>("a", events);
    object->GetCounter().SetDeleter(&remember);

    Pointer(object.get()).Reset();
    EXPECT_TRUE(s_deletion.wasLockFree);
}

TEST_F(CbReferenceCounterDisposal, DestroysOutsideTheLock)
{
    auto* const object = new CCounted("a", events);
    CbCriticalSection const& stripe = ReferenceCounter_GetCriticalSection(&object->GetCounter());
    bool wasFree = false;
    object->atEnd = [&] { wasFree = canBeEnteredByOthers(stripe); };

    Pointer(object).Reset();
    EXPECT_TRUE(wasFree);
}

TEST_F(CbReferenceCounterDisposal, CutsAllObserversLooseBefore)
{
    auto const object = std::make_unique<CCounted>("a", events);
    int other = 0;
    SEntry third{object.get(), &other, &other, nullptr};
    SEntry second{object.get(), &other, &other, &third};
    SEntry first{object.get(), &other, &other, &second};
    observersOf(object->GetCounter()) = &first;
    object->GetCounter().SetDeleter(&remember);

    Pointer(object.get()).Reset();
    EXPECT_TRUE(s_deletion.wasListEmpty);
    for (SEntry const* entry : {&first, &second, &third})
    {
        EXPECT_EQ(entry->object, nullptr);
        EXPECT_EQ(entry->first, nullptr);
        EXPECT_EQ(entry->second, nullptr);
        EXPECT_EQ(entry->next, nullptr);
    }
}

TEST_F(CbReferenceCounterDisposal, LeavesObserversAloneWhileThereIsAnOwner)
{
    Pointer const owner(new CCounted("a", events));
    SEntry entry{owner.Get(), nullptr, nullptr, nullptr};
    observersOf(owner->GetCounter()) = &entry;

    Pointer(owner).Reset();
    EXPECT_EQ(entry.object, owner.Get());
    EXPECT_EQ(observersOf(owner->GetCounter()), &entry);
    observersOf(owner->GetCounter()) = nullptr;
}

TEST_F(CbReferenceCounterDisposal, EntersTheLockForTheLastOwnerOnly)
{
    auto* const object = new CCounted("a", events);
    Pointer const owner(object);
    Pointer second(object);
    CbCriticalSectionAuto const holder(ReferenceCounter_GetCriticalSection(&object->GetCounter()));

    std::thread([&] { second.Reset(); }).join();
    EXPECT_EQ(object->GetCount(), 1u);
}

TEST_F(CbReferenceCounterDisposal, LetsAnObjectLiveThatWasTakenAgainUnderTheLock)
{
    auto* const object = new CCounted("a", events);
    SEntry entry{object, nullptr, nullptr, nullptr};
    observersOf(object->GetCounter()) = &entry;
    int ends = 0;
    object->atEnd = [&] { ++ends; };
    Pointer last(object);
    CbCriticalSectionAuto holder(ReferenceCounter_GetCriticalSection(&object->GetCounter()));

    std::thread other([&] { last.Reset(); });
    while (object->GetCount() != 0)
    {
        std::this_thread::yield();
    }
    // The other thread is on its way to the lock.
    Pointer again(object);
    holder.Leave();
    other.join();

    EXPECT_EQ(ends, 0);
    EXPECT_EQ(object->GetCount(), 1u);
    EXPECT_EQ(entry.object, object);
    again.Reset();
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(entry.object, nullptr);
}

namespace
{
// Counts its end in a place of its own. While it is wanted, two threads meet in each object on their way to its counter.
class CMeetingPlace : public IReferenceCounted
{
public:
    explicit CMeetingPlace(std::atomic<int>& ends) : m_ends(&ends)
    {
    }

    CMeetingPlace(CMeetingPlace const&) = delete;
    CMeetingPlace& operator=(CMeetingPlace const&) = delete;

    ~CMeetingPlace() override
    {
        ++*m_ends;
    }

    static inline std::atomic<bool> s_isMeeting = false;

protected:
    Counter const& getReferenceCounter() const override
    {
        if (s_isMeeting)
        {
            // Both are to go on in the same moment, so the first one gives its processor up only where the other may have none.
            constexpr int c_Looks = 10'000;
            ++m_arrived;
            for (int look = 0; m_arrived < 2; ++look)
            {
                if (look >= c_Looks)
                {
                    std::this_thread::yield();
                }
            }
        }
        return m_counter;
    }

private:
    mutable std::atomic<int> m_arrived = 0;
    std::atomic<int>* m_ends;
    Counter m_counter;
};
} // namespace

TEST(CbReferenceCounterStress, DisposesOnceWhenTwoThreadsDropTheLastTwoReferences)
{
    constexpr std::size_t c_Objects = 50'000;
    std::vector<std::atomic<int>> ends(c_Objects);
    std::vector<CbSmartPointer<CMeetingPlace>> left;
    for (std::atomic<int>& place : ends)
    {
        left.push_back(MakeCounted<CMeetingPlace>(place));
    }
    std::vector<CbSmartPointer<CMeetingPlace>> right = left;

    CMeetingPlace::s_isMeeting = true;
    auto const dropAll = [](std::vector<CbSmartPointer<CMeetingPlace>>& owners)
    {
        for (CbSmartPointer<CMeetingPlace>& owner : owners)
        {
            owner.Reset();
        }
    };
    std::thread other([&] { dropAll(right); });
    dropAll(left);
    other.join();
    CMeetingPlace::s_isMeeting = false;

    EXPECT_EQ(std::count(ends.begin(), ends.end(), 1), c_Objects);
}
