#include "orvane/sync/cbevent.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/sync/cbmutex.h"
#include "support/layout.h"
#include "synctest.h"

using std::chrono::milliseconds;
using synctest::c_PatienceMs;
using synctest::c_Untouched;
using synctest::uniqueName;

using Group = CbArray<CbEvent>;
using Pointers = CbArray<CbEvent const*>;

static_assert(sizeof(CbEvent) == sizeof(HANDLE) && alignof(CbEvent) == alignof(HANDLE));
static_assert(!std::is_polymorphic_v<CbEvent> && std::is_standard_layout_v<CbEvent>);
static_assert(std::is_copy_constructible_v<CbEvent> && std::is_copy_assignable_v<CbEvent>);
static_assert(CbEvent::eWaitFailed == 0 && CbEvent::eWaitSignaled == 1 && CbEvent::eWaitTimeout == 2);

namespace
{
constexpr bool c_Manual = true;
constexpr bool c_Automatic = false;

HANDLE handleOf(CbEvent const& event)
{
    return fieldAt<HANDLE>(&event, 0);
}

// An event without a handle: the name belongs to a mutex.
class CBroken
{
public:
    explicit CBroken(char const* stem)
        : m_name(uniqueName(stem)),
          m_mutex(m_name.c_str()),
          event(c_Manual, synctest::wide(m_name).c_str())
    {
    }

private:
    std::string m_name;
    CbMutex m_mutex;

public:
    CbEvent const event;
};

Pointers pointersTo(Group const& group)
{
    Pointers pointers;
    for (CbEvent const& event : group)
    {
        pointers.Add(&event);
    }
    return pointers;
}

Group automaticEvents(unsigned int count)
{
    Group group(count);
    for (CbEvent& event : group)
    {
        event = CbEvent(c_Automatic, nullptr);
    }
    return group;
}

// Both ways to name a group: the events themselves, and pointers to them.
struct SForm
{
    char const* name;
    CbEvent::EWaitResult (*waitForAll)(Group const&, unsigned int);
    CbEvent::EWaitResult (*waitForAny)(Group const&, unsigned int, unsigned int&);
    CbEvent::EWaitResult (*waitForAllIn)(Group const&, milliseconds);
    CbEvent::EWaitResult (*waitForAnyIn)(Group const&, milliseconds, unsigned int&);
};

const SForm c_Forms[] = {
    {"Events", [](Group const& group, unsigned int ms) { return CbEvent::WaitForMultipleEvents(group, ms); },
     [](Group const& group, unsigned int ms, unsigned int& index)
     { return CbEvent::WaitForSingleEvent(group, ms, index); },
     [](Group const& group, milliseconds time) { return CbEvent::WaitForMultipleEvents(group, time); },
     [](Group const& group, milliseconds time, unsigned int& index)
     { return CbEvent::WaitForSingleEvent(group, time, index); }},
    {"Pointers",
     [](Group const& group, unsigned int ms) { return CbEvent::WaitForMultipleEvents(pointersTo(group), ms); },
     [](Group const& group, unsigned int ms, unsigned int& index)
     { return CbEvent::WaitForSingleEvent(pointersTo(group), ms, index); },
     [](Group const& group, milliseconds time) { return CbEvent::WaitForMultipleEvents(pointersTo(group), time); },
     [](Group const& group, milliseconds time, unsigned int& index)
     { return CbEvent::WaitForSingleEvent(pointersTo(group), time, index); }},
};

class CbEventGroup : public testing::TestWithParam<SForm>
{
protected:
    CbEvent::EWaitResult waitForAll(Group const& group, unsigned int timeoutMs) const
    {
        return GetParam().waitForAll(group, timeoutMs);
    }

    CbEvent::EWaitResult waitForAny(Group const& group, unsigned int timeoutMs)
    {
        index = c_NoIndex;
        return GetParam().waitForAny(group, timeoutMs, index);
    }

    static constexpr unsigned int c_NoIndex = 4711;
    unsigned int index = c_NoIndex;
};

INSTANTIATE_TEST_SUITE_P(Forms, CbEventGroup, testing::ValuesIn(c_Forms),
                         [](auto const& row) { return row.param.name; });
} // namespace

TEST(CbEvent, ByDefaultStaysSetUntilItIsReset)
{
    CbEvent const event;

    EXPECT_FALSE(event.IsSet());
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(event.IsSet());
    EXPECT_EQ(event.Wait(0), CbEvent::eWaitSignaled);
    EXPECT_TRUE(event.Reset());
    EXPECT_FALSE(event.IsSet());
}

TEST(CbEvent, OfAutomaticResetIsConsumedByTheQuestion)
{
    CbEvent const event(c_Automatic, nullptr);

    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(event.Set());
    EXPECT_TRUE(event.IsSet());
    EXPECT_FALSE(event.IsSet());
}

TEST(CbEventReset, TakesBackASignalThatNobodyHasConsumed)
{
    CbEvent const event(c_Automatic, nullptr);
    event.Set();
    EXPECT_TRUE(event.Reset());
    EXPECT_TRUE(event.Reset());
    EXPECT_FALSE(event.IsSet());
}

TEST(CbEventPulse, LeavesTheEventResetWhenNobodyWaits)
{
    for (bool isManual : {c_Manual, c_Automatic})
    {
        CbEvent const event(isManual, nullptr);
        EXPECT_TRUE(event.Pulse());
        EXPECT_FALSE(event.IsSet());
        event.Set();
        EXPECT_TRUE(event.Pulse());
        EXPECT_FALSE(event.IsSet());
    }
}

TEST(CbEventPulse, ReleasesWhoWaits)
{
    CbEvent const event;
    std::atomic<bool> isReleased = false;
    std::jthread const waiter(
        [&]
        {
            EXPECT_EQ(event.Wait(c_PatienceMs), CbEvent::eWaitSignaled);
            isReleased = true;
        });
    // Repeated until it meets the wait: a pulse before it is lost by contract.
    while (!isReleased)
    {
        EXPECT_TRUE(event.Pulse());
        std::this_thread::yield();
    }
    EXPECT_FALSE(event.IsSet());
}

TEST(CbEventWait, TimesOutOnAnEventThatIsNotSet)
{
    CbEvent const event;
    EXPECT_EQ(event.Wait(0), CbEvent::eWaitTimeout);
    EXPECT_EQ(event.Wait(1), CbEvent::eWaitTimeout);
    EXPECT_EQ(event.Wait(milliseconds(0)), CbEvent::eWaitTimeout);
    EXPECT_EQ(event.Wait(milliseconds(1)), CbEvent::eWaitTimeout);
    EXPECT_EQ(CbEvent::WaitForSingleEvent(event, 0), CbEvent::eWaitTimeout);
    EXPECT_EQ(CbEvent::WaitForSingleEvent(event, milliseconds(0)), CbEvent::eWaitTimeout);
}

TEST(CbEventWait, ConsumesAnAutomaticEvent)
{
    CbEvent const event(c_Automatic, nullptr);
    event.Set();
    EXPECT_EQ(event.Wait(c_PatienceMs), CbEvent::eWaitSignaled);
    EXPECT_EQ(event.Wait(0), CbEvent::eWaitTimeout);
    event.Set();
    EXPECT_EQ(CbEvent::WaitForSingleEvent(event, c_PatienceMs), CbEvent::eWaitSignaled);
    EXPECT_EQ(CbEvent::WaitForSingleEvent(event, milliseconds(1)), CbEvent::eWaitTimeout);
}

TEST(CbEventWait, CutsTheCountOfMillisecondsTo32Bits)
{
    CbEvent const event;
    // 2^32 is 0: it only looks.
    EXPECT_EQ(event.Wait(milliseconds(0x1'0000'0000)), CbEvent::eWaitTimeout);
    EXPECT_EQ(event.Wait(milliseconds(-0x1'0000'0000)), CbEvent::eWaitTimeout);
    EXPECT_EQ(event.Wait(milliseconds(0x1'0000'0001)), CbEvent::eWaitTimeout);
    EXPECT_EQ(CbEvent::WaitForSingleEvent(event, milliseconds(0x5'0000'0000)), CbEvent::eWaitTimeout);
}

TEST(CbEventWait, OfMinusOneMillisecondWaitsForEver)
{
    CbEvent const asked(c_Automatic, nullptr);
    CbEvent const answered(c_Automatic, nullptr);
    std::jthread const other(
        [&]
        {
            for (int round = 0; round < 100; ++round)
            {
                EXPECT_EQ(asked.Wait(milliseconds(-1)), CbEvent::eWaitSignaled);
                answered.Set();
            }
        });
    for (int round = 0; round < 100; ++round)
    {
        asked.Set();
        EXPECT_EQ(CbEvent::WaitForSingleEvent(answered, milliseconds(-1)), CbEvent::eWaitSignaled);
    }
}

TEST(CbEventWait, ShowsWhatWasWrittenBeforeTheSet)
{
    CbEvent const event;
    int written = 0; // handed over by event
    std::jthread const reader(
        [&]
        {
            EXPECT_EQ(event.Wait(INFINITE), CbEvent::eWaitSignaled);
            EXPECT_EQ(written, 1);
        });
    written = 1;
    event.Set();
}

TEST(CbEventLastError, IsSetToZeroBeforeEachCall)
{
    CbEvent const event;
    auto const isCleared = [](auto const& call)
    {
        SetLastError(5);
        call();
        return GetLastError() == 0;
    };
    EXPECT_TRUE(isCleared([&] { EXPECT_TRUE(event.Set()); }));
    EXPECT_TRUE(isCleared([&] { EXPECT_TRUE(event.IsSet()); }));
    EXPECT_TRUE(isCleared([&] { EXPECT_TRUE(event.Reset()); }));
    EXPECT_TRUE(isCleared([&] { EXPECT_TRUE(event.Pulse()); }));
    EXPECT_TRUE(isCleared([&] { EXPECT_FALSE(event.IsSet()); }));
    EXPECT_TRUE(isCleared([&] { EXPECT_EQ(event.Wait(0), CbEvent::eWaitTimeout); }));
    EXPECT_TRUE(isCleared([&] { EXPECT_EQ(event.Wait(milliseconds(0)), CbEvent::eWaitTimeout); }));
    EXPECT_TRUE(isCleared([&] { EXPECT_EQ(CbEvent::WaitForSingleEvent(event, 0), CbEvent::eWaitTimeout); }));
}

TEST(CbEventLastError, IsTheSystemsReasonOnAnEventWithoutAHandle)
{
    CBroken const broken("reasons");
    EXPECT_EQ(handleOf(broken.event), nullptr);
    auto const reasonOf = [](auto const& call)
    {
        SetLastError(c_Untouched);
        call();
        return GetLastError();
    };
    EXPECT_EQ(reasonOf([&] { EXPECT_FALSE(broken.event.Set()); }), 6u);
    EXPECT_EQ(reasonOf([&] { EXPECT_FALSE(broken.event.Reset()); }), 6u);
    EXPECT_EQ(reasonOf([&] { EXPECT_FALSE(broken.event.Pulse()); }), 6u);
    EXPECT_EQ(reasonOf([&] { EXPECT_FALSE(broken.event.IsSet()); }), 6u);
    EXPECT_EQ(reasonOf([&] { EXPECT_EQ(broken.event.Wait(INFINITE), CbEvent::eWaitFailed); }), 6u);
    EXPECT_EQ(reasonOf([&] { EXPECT_EQ(broken.event.Wait(milliseconds(-1)), CbEvent::eWaitFailed); }), 6u);
    EXPECT_EQ(reasonOf([&] { EXPECT_EQ(CbEvent::WaitForSingleEvent(broken.event, 0), CbEvent::eWaitFailed); }), 6u);
}

TEST(CbEventName, OpensTheEventThatIsThere)
{
    std::wstring const name = synctest::wide(uniqueName("event"));
    CbEvent const first(c_Automatic, name.c_str());
    first.Set();
    // It keeps its automatic reset and its signal, whatever is asked for.
    CbEvent const second(c_Manual, name.c_str());
    EXPECT_TRUE(second.IsSet());
    EXPECT_FALSE(second.IsSet());
    second.Set();
    EXPECT_TRUE(first.IsSet());
}

TEST(CbEventName, OfAnotherKindGivesAnEventWithoutAHandle)
{
    SetLastError(c_Untouched);
    CBroken const broken("event-kind");
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_EQ(handleOf(broken.event), nullptr);
}

TEST(CbEventCopy, IsTheSameEventUnderAHandleOfItsOwn)
{
    CbEvent const event;
    CbEvent const copy(event);
    EXPECT_NE(handleOf(copy), handleOf(event));
    copy.Set();
    EXPECT_TRUE(event.IsSet());

    CbEvent assigned(c_Automatic, nullptr);
    assigned = event;
    EXPECT_TRUE(assigned.IsSet());
    EXPECT_TRUE(assigned.Reset());
    EXPECT_FALSE(copy.IsSet());
}

TEST(CbEventCopy, OutlivesItsSource)
{
    CbEvent copy;
    {
        CbEvent const event(c_Automatic, nullptr);
        event.Set();
        copy = event;
    }
    EXPECT_TRUE(copy.IsSet());
    EXPECT_FALSE(copy.IsSet());
}

TEST(CbEventCopy, LeavesTheEventThatItReplacesToItsOtherCopies)
{
    CbEvent const other;
    CbEvent event;
    CbEvent const keeper(event);
    event = other;
    event.Set();
    EXPECT_FALSE(keeper.IsSet());
    EXPECT_TRUE(keeper.Set());
}

TEST(CbEventCopy, OfAnEventWithoutAHandleHasNone)
{
    CBroken const broken("copy-of-broken");
    CbEvent const copy(broken.event);
    EXPECT_EQ(copy.Wait(0), CbEvent::eWaitFailed);
    CbEvent assigned;
    assigned = broken.event;
    EXPECT_FALSE(assigned.Set());
}

// Contract: there is no look whether source and target are one.
TEST(CbEventCopy, ToItselfEndsWithoutAUsableHandle)
{
    CbEvent event;
    CbEvent const copy(event);
    CbEvent const& same = event;
    event = same;

    EXPECT_EQ(event.Wait(0), CbEvent::eWaitFailed);
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_FALSE(event.Set());
    // Its copies do not notice, and it can be assigned again.
    EXPECT_TRUE(copy.Set());
    event = copy;
    EXPECT_TRUE(event.IsSet());
}

TEST(CbEventHandles, AreNotLeftByAHundredThousandCopies)
{
    CbEvent const event;
    EXPECT_EQ(synctest::handlesLeftBy(
                  [&event]
                  {
                      for (int n = 0; n < 100'000; ++n)
                      {
                          CbEvent const copy(event);
                      }
                  }),
              0);
}

TEST(CbEventHandles, AreNotLeftByAssignments)
{
    EXPECT_EQ(synctest::handlesLeftBy(
                  []
                  {
                      CbEvent const event;
                      CbEvent target;
                      CbEvent const& same = target;
                      for (int n = 0; n < 1'000; ++n)
                      {
                          target = event;
                          target = same;
                          target = same;
                      }
                  }),
              0);
}

TEST(CbEventHandles, AreNotLeftByFailedCreations)
{
    CBroken const broken("failed-events");
    EXPECT_EQ(synctest::handlesLeftBy(
                  []
                  {
                      for (int n = 0; n < 100; ++n)
                      {
                          CBroken const another("failed-events");
                          EXPECT_FALSE(another.event.Set());
                      }
                  }),
              0);
}

TEST(CbEventArray, OfNElementsIsNManualResetEvents)
{
    Group const group(3);
    for (CbEvent const& event : group)
    {
        EXPECT_FALSE(event.IsSet());
        EXPECT_TRUE(event.Set());
        EXPECT_TRUE(event.IsSet());
        EXPECT_TRUE(event.IsSet());
        EXPECT_TRUE(event.Reset());
    }
    group[1].Set();
    EXPECT_FALSE(group[0].IsSet());
    EXPECT_TRUE(group[1].IsSet());
    EXPECT_FALSE(group[2].IsSet());
}

TEST(CbEventArray, IsAnArrayOfHandles)
{
    Group const group(3);
    auto const* const handles = reinterpret_cast<HANDLE const*>(group.GetData());
    for (unsigned int n = 0; n < 3; ++n)
    {
        EXPECT_EQ(handles[n], handleOf(group[n]));
    }
}

TEST(CbEventArray, GrowsByEventsOfTheirOwn)
{
    Group group(1);
    group.SetCount(3);
    group[1].Set();
    EXPECT_FALSE(group[0].IsSet());
    EXPECT_TRUE(group[1].IsSet());
    EXPECT_FALSE(group[2].IsSet());
}

TEST_P(CbEventGroup, IsWaitedForUntilAllAreSet)
{
    Group const group(3);
    group[0].Set();
    group[2].Set();
    EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitTimeout);
    EXPECT_EQ(waitForAll(group, 1), CbEvent::eWaitTimeout);
    group[1].Set();
    EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitSignaled);
    EXPECT_EQ(waitForAll(group, c_PatienceMs), CbEvent::eWaitSignaled);
}

TEST_P(CbEventGroup, OfAutomaticEventsIsConsumedAllOrNothing)
{
    Group const group = automaticEvents(2);
    group[0].Set();
    EXPECT_EQ(waitForAll(group, 1), CbEvent::eWaitTimeout);
    // What was set is set still.
    group[1].Set();
    EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitSignaled);
    EXPECT_FALSE(group[0].IsSet());
    EXPECT_FALSE(group[1].IsSet());
}

TEST_P(CbEventGroup, TellsTheLowestThatIsSetAndConsumesOnlyThat)
{
    Group const group = automaticEvents(8);
    EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitTimeout);
    EXPECT_EQ(index, c_NoIndex);
    group[5].Set();
    group[3].Set();

    EXPECT_EQ(waitForAny(group, c_PatienceMs), CbEvent::eWaitSignaled);
    EXPECT_EQ(index, 3u);
    EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitSignaled);
    EXPECT_EQ(index, 5u);
    EXPECT_EQ(waitForAny(group, 1), CbEvent::eWaitTimeout);
    EXPECT_EQ(index, c_NoIndex);
}

TEST_P(CbEventGroup, WithEventsThreeAndFiveSetTellsThree)
{
    Group const group(6);
    group[3].Set();
    group[5].Set();
    EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitSignaled);
    EXPECT_EQ(index, 3u);
}

TEST_P(CbEventGroup, OfSixtyFourIsWaitedFor)
{
    Group const group(64);
    EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitTimeout);
    EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitTimeout);
    group[63].Set();
    EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitSignaled);
    EXPECT_EQ(index, 63u);
    EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitTimeout);
    for (CbEvent const& event : group)
    {
        event.Set();
    }
    EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitSignaled);
    EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitSignaled);
    EXPECT_EQ(index, 0u);
}

TEST_P(CbEventGroup, OfSixtyFiveFailsAtOnceAndTouchesNothing)
{
    Group const group(65);
    for (CbEvent const& event : group)
    {
        event.Set();
    }
    SetLastError(c_Untouched);
    EXPECT_EQ(waitForAll(group, INFINITE), CbEvent::eWaitFailed);
    EXPECT_EQ(waitForAny(group, INFINITE), CbEvent::eWaitFailed);
    EXPECT_EQ(index, c_NoIndex);
    EXPECT_EQ(GetLastError(), c_Untouched);
}

TEST_P(CbEventGroup, OfNoneIsSetAndTouchesNothing)
{
    Group const group;
    SetLastError(c_Untouched);
    EXPECT_EQ(waitForAll(group, INFINITE), CbEvent::eWaitSignaled);
    EXPECT_EQ(waitForAny(group, INFINITE), CbEvent::eWaitSignaled);
    EXPECT_EQ(index, c_NoIndex);
    EXPECT_EQ(GetLastError(), c_Untouched);
}

TEST_P(CbEventGroup, SetsTheLastErrorToZeroUnlessItFails)
{
    Group const group(2);
    SetLastError(5);
    EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitTimeout);
    EXPECT_EQ(GetLastError(), 0u);
    SetLastError(5);
    EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitTimeout);
    EXPECT_EQ(GetLastError(), 0u);
    group[0].Set();
    group[1].Set();
    SetLastError(5);
    EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitSignaled);
    EXPECT_EQ(GetLastError(), 0u);
    SetLastError(5);
    EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitSignaled);
    EXPECT_EQ(GetLastError(), 0u);
}

TEST_P(CbEventGroup, WithAnEventWithoutAHandleFailsWithTheSystemsReason)
{
    Group group(3);
    CbEvent const& same = group[1];
    group[1] = same;
    SetLastError(c_Untouched);
    EXPECT_EQ(waitForAll(group, INFINITE), CbEvent::eWaitFailed);
    EXPECT_EQ(GetLastError(), 6u);
    SetLastError(c_Untouched);
    EXPECT_EQ(waitForAny(group, INFINITE), CbEvent::eWaitFailed);
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_EQ(index, c_NoIndex);
}

TEST_P(CbEventGroup, CutsTheCountOfMillisecondsTo32Bits)
{
    Group const group(2);
    EXPECT_EQ(GetParam().waitForAllIn(group, milliseconds(0x1'0000'0000)), CbEvent::eWaitTimeout);
    EXPECT_EQ(GetParam().waitForAnyIn(group, milliseconds(0x1'0000'0000), index), CbEvent::eWaitTimeout);
    EXPECT_EQ(index, c_NoIndex);
    group[1].Set();
    EXPECT_EQ(GetParam().waitForAnyIn(group, milliseconds(-1), index), CbEvent::eWaitSignaled);
    EXPECT_EQ(index, 1u);
    group[0].Set();
    EXPECT_EQ(GetParam().waitForAllIn(group, milliseconds(-1)), CbEvent::eWaitSignaled);

    SetLastError(c_Untouched);
    EXPECT_EQ(GetParam().waitForAllIn(Group(65), milliseconds(-1)), CbEvent::eWaitFailed);
    EXPECT_EQ(GetParam().waitForAllIn(Group(), milliseconds(-1)), CbEvent::eWaitSignaled);
}

TEST_P(CbEventGroup, IsReleasedByAnotherThread)
{
    Group const group(3);
    {
        std::jthread const setter(
            [&]
            {
                for (CbEvent const& event : group)
                {
                    event.Set();
                }
            });
        EXPECT_EQ(waitForAll(group, c_PatienceMs), CbEvent::eWaitSignaled);
    }
    Group const others(3);
    {
        std::jthread const setter([&] { others[2].Set(); });
        EXPECT_EQ(waitForAny(others, c_PatienceMs), CbEvent::eWaitSignaled);
    }
    EXPECT_EQ(index, 2u);
}

TEST_P(CbEventGroup, LeavesNoHandleWhateverTheResult)
{
    EXPECT_EQ(synctest::handlesLeftBy(
                  [this]
                  {
                      Group group(3);
                      Group const tooMany(65);
                      for (int n = 0; n < 100; ++n)
                      {
                          waitForAll(group, 0);
                          waitForAny(group, 0);
                          waitForAll(tooMany, 0);
                          group[0].Set();
                          waitForAny(group, 0);
                          group[1].Set();
                          group[2].Set();
                          EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitSignaled);
                          for (CbEvent const& event : group)
                          {
                              event.Reset();
                          }
                      }
                      CbEvent const& same = group[1];
                      group[1] = same;
                      for (int n = 0; n < 100; ++n)
                      {
                          EXPECT_EQ(waitForAll(group, 0), CbEvent::eWaitFailed);
                          EXPECT_EQ(waitForAny(group, 0), CbEvent::eWaitFailed);
                      }
                  }),
              0);
}

TEST(CbEventPointers, OfAnAutomaticEventConsumeTheEventItself)
{
    CbEvent const event(c_Automatic, nullptr);
    Pointers pointers;
    pointers.Add(&event);
    event.Set();
    EXPECT_EQ(CbEvent::WaitForMultipleEvents(pointers, 0), CbEvent::eWaitSignaled);
    EXPECT_FALSE(event.IsSet());
}

TEST(CbEventStress, EverySetReleasesTheWaiterOnce)
{
    constexpr int c_Rounds = 5'000;
    CbEvent const ready(c_Automatic, nullptr);
    CbEvent const taken(c_Automatic, nullptr);
    int value = 0; // handed back and forth by the events
    std::jthread const consumer(
        [&]
        {
            for (int n = 0; n < c_Rounds; ++n)
            {
                ASSERT_EQ(ready.Wait(c_PatienceMs), CbEvent::eWaitSignaled) << "round " << n;
                ++value;
                taken.Set();
            }
        });
    for (int round = 0; round < c_Rounds; ++round)
    {
        ready.Set();
        ASSERT_EQ(taken.Wait(c_PatienceMs), CbEvent::eWaitSignaled) << "round " << round;
        ASSERT_EQ(value, round + 1);
    }
}

TEST(CbEventStress, WaitsForAllDoNotShareAnAutomaticEvent)
{
    constexpr int c_Rounds = 500;
    Group const group = automaticEvents(3);
    for (CbEvent const& event : group)
    {
        event.Set();
    }
    int count = 0; // guarded by holding all events of the group
    {
        std::vector<std::jthread> threads;
        for (int n = 0; n < 4; ++n)
        {
            threads.emplace_back(
                [&]
                {
                    for (int round = 0; round < c_Rounds; ++round)
                    {
                        ASSERT_EQ(CbEvent::WaitForMultipleEvents(group, c_PatienceMs), CbEvent::eWaitSignaled);
                        ++count;
                        for (CbEvent const& event : group)
                        {
                            event.Set();
                        }
                    }
                });
        }
    }
    EXPECT_EQ(count, 4 * c_Rounds);
}
