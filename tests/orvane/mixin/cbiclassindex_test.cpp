#include "orvane/mixin/cbiclassindex.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "orvane/stream/streamtesting.h"

static_assert(sizeof(CbIClassIndex<0>) == sizeof(unsigned int) && sizeof(CbIClassIndex<1>) == sizeof(unsigned int));
static_assert(!std::is_polymorphic_v<CbIClassIndex<0>> && !std::is_polymorphic_v<CbIClassIndex<1>>);

namespace
{
template <class T>
concept LetsSet = requires(T object)
{
    object.SetIndex(1u);
};

template <class T>
concept LetsSetFromInside = requires(T object)
{
    object.setIndex(1u);
};

class CSlot : public CbIClassIndex<0>
{
public:
    void MoveTo(unsigned int index)
    {
        setIndex(index);
    }
};
} // namespace

static_assert(!LetsSet<CbIClassIndex<0>> && !LetsSetFromInside<CbIClassIndex<0>>);
static_assert(LetsSet<CbIClassIndex<1>> && !LetsSetFromInside<CbIClassIndex<1>>);

TEST(CbIClassIndex, IsZeroAtFirstOrAsGiven)
{
    EXPECT_EQ(CbIClassIndex<0>().GetIndex(), 0u);
    EXPECT_EQ(CbIClassIndex<1>().GetIndex(), 0u);
    EXPECT_EQ(CbIClassIndex<0>(7).GetIndex(), 7u);
    EXPECT_EQ(CbIClassIndex<1>(0xFFFFFFFF).GetIndex(), 0xFFFFFFFFu);
}

TEST(CbIClassIndex, IsSetByTheClassWith0AndByEverybodyWith1)
{
    CSlot slot;
    slot.MoveTo(3);
    CbIClassIndex<1> open;
    open.SetIndex(4);

    EXPECT_EQ(slot.GetIndex(), 3u);
    EXPECT_EQ(open.GetIndex(), 4u);
}

TEST(CbIClassIndexSerialize, WritesTheIndexAlone)
{
    CbStreamWriteBinaryBuffer stream;

    CbIClassIndex<0>(0x01020304).Serialize(static_cast<CbStreamWrite&>(stream));

    EXPECT_EQ(bytesOf(stream), (Bytes{4, 3, 2, 1}));
}

TEST(CbIClassIndexSerialize, ReadsTheIndexAlone)
{
    Bytes const bytes{4, 3, 2, 1, 9};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbIClassIndex<1> index;

    index.Serialize(stream);

    EXPECT_EQ(index.GetIndex(), 0x01020304u);
    unsigned char next = 0;
    stream >> next;
    EXPECT_EQ(next, 9);
}

TEST(CbIClassIndexSerialize, KeepsTheIndexWhereTheStreamRaises)
{
    Bytes const bytes{4, 3};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbIClassIndex<0> index(5);

    EXPECT_THROW(index.Serialize(stream), CbExceptionStream);

    EXPECT_EQ(index.GetIndex(), 5u);
}
