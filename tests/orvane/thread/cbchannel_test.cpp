#include "orvane/thread/cbchannel.h"

#include <atomic>
#include <memory>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include "orvane/sync/synctest.h"
#include "support/layout.h"

using synctest::c_PatienceMs;

namespace
{
class CItem : public IReferenceCounted
{
public:
    explicit CItem(int number = 0) : m_number(number)
    {
        ++s_count;
    }

    CItem(CItem const&) = delete;
    CItem& operator=(CItem const&) = delete;

    ~CItem() override
    {
        --s_count;
    }

    unsigned int GetOwners() const
    {
        return m_counter.GetCount();
    }

    int GetNumber() const
    {
        return m_number;
    }

    static int GetCount()
    {
        return s_count;
    }

protected:
    CbReferenceCounter<unsigned int> const& getReferenceCounter() const override
    {
        return m_counter;
    }

private:
    CbReferenceCounter<unsigned int> m_counter;
    int m_number; // plain: the channel makes it visible

    static inline std::atomic<int> s_count = 0;
};

using Item = CbSmartPointer<CItem>;
using Channel = CbChannel<CItem>;

CbEvent const& slotFreeOf(Channel const& channel)
{
    return fieldAt<CbEvent>(&channel, 0);
}

CbEvent const& slotFilledOf(Channel const& channel)
{
    return fieldAt<CbEvent>(&channel, sizeof(CbEvent));
}

CItem* slotOf(Channel const& channel)
{
    return fieldAt<CItem*>(&channel, 2 * sizeof(CbEvent));
}
} // namespace

TEST(CbChannel, IsTwoEventsAndASlotInThisOrder)
{
    Channel channel;
    Item const item(new CItem);

    static_assert(sizeof(Channel) == 3 * sizeof(void*));
    EXPECT_EQ(slotOf(channel), nullptr);
    EXPECT_FALSE(slotFilledOf(channel).IsSet());
    EXPECT_TRUE(channel.Put(item, 0));
    EXPECT_EQ(slotOf(channel), item.Get());
    EXPECT_FALSE(slotFreeOf(channel).IsSet());
    EXPECT_TRUE(slotFilledOf(channel).IsSet());
}

TEST(CbChannel, StartsWithItsSlotFreeOnce)
{
    Channel const channel;

    EXPECT_TRUE(slotFreeOf(channel).IsSet());
    EXPECT_FALSE(slotFreeOf(channel).IsSet());
}

TEST(CbChannel, CannotBeCopied)
{
    static_assert(!std::is_copy_constructible_v<Channel> && !std::is_copy_assignable_v<Channel>);
}

TEST(CbChannel, HandsAnItemOver)
{
    Channel channel;
    Item const item(new CItem);

    ASSERT_TRUE(channel.Put(item, 0));
    EXPECT_EQ(item->GetOwners(), 2);
    Item const taken = channel.Take(0);

    EXPECT_EQ(taken, item);
    EXPECT_EQ(item->GetOwners(), 2);
    EXPECT_EQ(slotOf(channel), nullptr);
}

TEST(CbChannel, IsFreeAgainWhenTheItemIsTaken)
{
    Channel channel;
    Item const first(new CItem);
    Item const second(new CItem);

    ASSERT_TRUE(channel.Put(first, 0));
    EXPECT_EQ(channel.Take(0), first);
    EXPECT_TRUE(channel.Put(second, 0));
    EXPECT_EQ(channel.Take(0), second);
}

TEST(CbChannelPut, ReportsASlotThatDoesNotBecomeFree)
{
    Channel channel;
    Item const first(new CItem);
    Item const second(new CItem);
    ASSERT_TRUE(channel.Put(first, 0));

    EXPECT_FALSE(channel.Put(second, 0));
    EXPECT_FALSE(channel.Put(second, 1));

    EXPECT_EQ(second->GetOwners(), 1);
    EXPECT_EQ(channel.Take(0), first);
}

TEST(CbChannelPut, OfWhatTheSlotHoldsTakesNoSecondReference)
{
    Channel channel;
    Item const item(new CItem);
    ASSERT_TRUE(channel.Put(item, 0));
    slotFreeOf(channel).Set();

    EXPECT_TRUE(channel.Put(item, 0));

    EXPECT_EQ(item->GetOwners(), 2);
    EXPECT_EQ(channel.Take(0), item);
    EXPECT_EQ(item->GetOwners(), 1);
}

TEST(CbChannelTake, GivesNullWhereThereIsNothingInTime)
{
    Channel channel;

    EXPECT_EQ(channel.Take(0), nullptr);
    EXPECT_EQ(channel.Take(1), nullptr);

    Item const item(new CItem);
    EXPECT_TRUE(channel.Put(item, 0));
    EXPECT_EQ(channel.Take(0), item);
}

TEST(CbChannelTake, ReceivesNullAsAMessage)
{
    Channel channel;

    ASSERT_TRUE(channel.Put(nullptr, 0));
    EXPECT_FALSE(channel.Put(nullptr, 0));

    EXPECT_EQ(channel.Take(0), nullptr);
    // The message was consumed: the slot is free.
    EXPECT_TRUE(channel.Put(nullptr, 0));
}

TEST(CbChannelTake, IsWokenByNull)
{
    Channel channel;
    bool isNull = false;
    std::thread taker([&] { isNull = channel.Take(c_PatienceMs) == nullptr; });

    EXPECT_TRUE(channel.Put(nullptr, c_PatienceMs));
    taker.join();

    EXPECT_TRUE(isNull);
    // It was the message and not the end of patience: the slot is free.
    EXPECT_TRUE(channel.Put(nullptr, 0));
}

TEST(CbChannelDestruction, ReleasesAnItemThatWasNotTaken)
{
    Item const item(new CItem);
    {
        Channel channel;
        ASSERT_TRUE(channel.Put(item, 0));
        EXPECT_EQ(item->GetOwners(), 2);
    }

    EXPECT_EQ(item->GetOwners(), 1);
}

TEST(CbChannelDestruction, EndsAnItemThatNobodyElseOwns)
{
    int const before = CItem::GetCount();
    {
        Channel channel;
        ASSERT_TRUE(channel.Put(Item(new CItem), 0));
        EXPECT_EQ(CItem::GetCount(), before + 1);
    }

    EXPECT_EQ(CItem::GetCount(), before);
}

TEST(CbChannelDestruction, ClosesBothEvents)
{
    EXPECT_EQ(synctest::handlesLeftBy([] { Channel const channel; }), 0);
}

TEST(CbChannelStress, EveryItemArrivesOnceAndInOrder)
{
    constexpr int c_Rounds = 20'000;
    int const before = CItem::GetCount();
    Channel channel;
    int arrived = 0;
    std::thread taker(
        [&]
        {
            while (Item const item = channel.Take(c_PatienceMs))
            {
                if (item->GetNumber() != arrived)
                {
                    break;
                }
                ++arrived;
            }
        });
    bool isPut = true;
    for (int number = 0; number < c_Rounds && isPut; ++number)
    {
        isPut = channel.Put(Item(new CItem(number)), c_PatienceMs);
    }
    EXPECT_TRUE(isPut);
    EXPECT_TRUE(channel.Put(nullptr, c_PatienceMs));
    taker.join();

    EXPECT_EQ(arrived, c_Rounds);
    EXPECT_EQ(CItem::GetCount(), before);
}
