#include "orvane/mixin/cbiclassname.h"

#include <stdexcept>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "orvane/stream/streamtesting.h"
#include "support/layout.h"
#include "support/virtualposition.h"

using NameA = CbIClassName<0, CStringA>;
using NameW = CbIClassName<0, CStringW>;
using OpenA = CbIClassName<1, CStringA>;
using OpenW = CbIClassName<1, CStringW>;

namespace
{
template <class T, class Name>
concept LetsSet = requires(T object, Name name)
{
    object.SetName(name);
};

template <class T, class Name>
concept LetsSetFromInside = requires(T object, Name name)
{
    object.setName(name);
};

class CNamed : public NameW
{
public:
    using NameW::NameW;

    void Rename(wchar_t const* name)
    {
        setName(name);
    }

    unsigned __int64 GetMemoryUsage() const override
    {
        return NameW::GetMemoryUsage() + 100;
    }
};

// A client's stream, which gives the target a part of the text before it raises.
class CHalfReader : public CbStreamReadBinaryBuffer
{
public:
    explicit CHalfReader(Bytes const& bytes) : CbStreamReadBinaryBuffer(readerOf(bytes))
    {
    }

    using CbStreamReadBinaryBuffer::operator>>;

    CHalfReader& operator>>(CStringA& value) override
    {
        value = "half";
        throw std::runtime_error("cut");
    }

    CHalfReader& operator>>(CStringW& value) override
    {
        value = L"half";
        throw std::runtime_error("cut");
    }
};
} // namespace

static_assert(std::is_base_of_v<NameA, OpenA> && std::is_base_of_v<NameW, OpenW>);
static_assert(std::has_virtual_destructor_v<NameA>);
static_assert(sizeof(NameW) == sizeof(void*) + sizeof(CStringW) && sizeof(OpenW) == sizeof(NameW));
static_assert(!LetsSet<NameA, char const*> && !LetsSetFromInside<NameA, char const*>);
static_assert(LetsSet<OpenA, char const*> && LetsSet<OpenA, CStringA> && !LetsSetFromInside<OpenA, char const*>);
static_assert(std::is_nothrow_move_constructible_v<OpenA> && std::is_nothrow_move_assignable_v<OpenA>);
static_assert(std::is_same_v<decltype(std::declval<NameA const&>().GetName()), CStringA const&>);

TEST(CbIClassNamePosition, OfGetMemoryUsageIs1)
{
    EXPECT_EQ(VirtualPosition(&NameA::GetMemoryUsage), 1);
    EXPECT_EQ(VirtualPosition(&OpenW::GetMemoryUsage), 1);
}

TEST(CbIClassNameLayout, IsTheName)
{
    NameW const name(L"abc");

    EXPECT_STREQ(fieldAt<CStringW>(&name, sizeof(void*)).GetString(), L"abc");
}

TEST(CbIClassName, IsEmptyAtFirstOrAsGiven)
{
    EXPECT_STREQ(NameA().GetName(), "");
    EXPECT_STREQ(OpenW().GetName(), L"");
    EXPECT_STREQ(NameA("abc").GetName(), "abc");
    EXPECT_STREQ(NameW(CStringW(L"abc")).GetName(), L"abc");
    EXPECT_STREQ(OpenA(CStringA("abc")).GetName(), "abc");
    EXPECT_STREQ(OpenW(L"abc").GetName(), L"abc");
    EXPECT_STREQ(NameA(static_cast<char const*>(nullptr)).GetName(), "");
}

TEST(CbIClassName, IsSetByTheClassWith0)
{
    CNamed object(L"a");

    object.Rename(L"bc");

    EXPECT_STREQ(object.GetName(), L"bc");
}

TEST(CbIClassName, IsSetByEverybodyWith1)
{
    OpenA object("a");

    object.SetName("bc");
    EXPECT_STREQ(object.GetName(), "bc");
    object.SetName(CStringA("de"));
    EXPECT_STREQ(object.GetName(), "de");
    object.SetName(static_cast<char const*>(nullptr));
    EXPECT_STREQ(object.GetName(), "");
}

TEST(CbIClassNameMemoryUsage, Is16AndTwoBytesACharacterInBothWidths)
{
    EXPECT_EQ(NameA("abc").GetMemoryUsage(), 22u);
    EXPECT_EQ(NameA().GetMemoryUsage(), 16u);
    EXPECT_EQ(NameW(L"abc").GetMemoryUsage(), 22u);
    EXPECT_EQ(NameW().GetMemoryUsage(), 16u);
    EXPECT_EQ(OpenA("abcd").GetMemoryUsage(), 24u);
    EXPECT_EQ(OpenW(L"abcd").GetMemoryUsage(), 24u);
    EXPECT_EQ(NameW(L"\U0001F600").GetMemoryUsage(), 20u);
}

TEST(CbIClassNameMemoryUsage, IsAskedOfTheObjectsOwnClass)
{
    CNamed const object(L"abc");
    NameW const& name = object;

    EXPECT_EQ(name.GetMemoryUsage(), 122u);
}

TEST(CbIClassNameCopy, SharesNothing)
{
    OpenW source(L"a");
    OpenW copy(source);
    OpenW assigned;
    assigned = source;

    source.SetName(L"b");

    EXPECT_STREQ(copy.GetName(), L"a");
    EXPECT_STREQ(assigned.GetName(), L"a");
}

TEST(CbIClassNameMove, CopiesWith0)
{
    NameA source("abc");

    NameA const target(std::move(source));

    EXPECT_STREQ(source.GetName(), "abc");
    EXPECT_STREQ(target.GetName(), "abc");
}

TEST(CbIClassNameMove, TakesTheNameOverWith1)
{
    OpenA source("abc");
    OpenA target(std::move(source));
    EXPECT_STREQ(source.GetName(), "");
    EXPECT_STREQ(target.GetName(), "abc");

    source = std::move(target);
    EXPECT_STREQ(source.GetName(), "abc");
    EXPECT_STREQ(target.GetName(), "");
}

TEST(CbIClassNameMove, ToItselfChangesNothing)
{
    OpenA object("abc");
    OpenA& same = object;

    object = std::move(same);

    EXPECT_STREQ(object.GetName(), "abc");
}

TEST(CbIClassNameSerialize, WritesTheNameAsOneString)
{
    CbStreamWriteBinaryBuffer narrow;
    CbStreamWriteBinaryBuffer wide;

    NameA("ab").Serialize(static_cast<CbStreamWrite&>(narrow));
    OpenW(L"ab").Serialize(static_cast<CbStreamWrite&>(wide));

    EXPECT_EQ(bytesOf(narrow), (Bytes{2, 0, 0, 0, 'a', 'b'}));
    EXPECT_EQ(bytesOf(wide), (Bytes{0xFF, 0xFE, 0xFF, 2, 'a', 0, 'b', 0}));
}

TEST(CbIClassNameSerialize, KeepsTheNameWhereTheStreamEndsWithinTheLength)
{
    Bytes const narrow{2, 0, 0};
    Bytes const wide{0xFF, 0xFE, 0xFF, 0xFF, 2};
    CbStreamReadBinaryBuffer narrowStream = readerOf(narrow);
    CbStreamReadBinaryBuffer wideStream = readerOf(wide);
    OpenA first("before");
    NameW second(L"before");

    EXPECT_THROW(first.Serialize(narrowStream), CbExceptionStream);
    EXPECT_THROW(second.Serialize(wideStream), CbExceptionStream);

    EXPECT_STREQ(first.GetName(), "before");
    EXPECT_STREQ(second.GetName(), L"before");
}

TEST(CbIClassNameSerialize, KeepsTheNameWhereTheStreamRaisesHavingReadAPart)
{
    Bytes const none;
    CHalfReader stream(none);
    NameA first("before");
    OpenW second(L"before");

    EXPECT_THROW(first.Serialize(stream), std::runtime_error);
    EXPECT_THROW(second.Serialize(stream), std::runtime_error);

    EXPECT_STREQ(first.GetName(), "before");
    EXPECT_STREQ(second.GetName(), L"before");
}

TEST(CbIClassNameSerialize, ReadsTheNameAsOneString)
{
    Bytes const narrow{2, 0, 0, 0, 'a', 'b', 'c'};
    Bytes const wide{0xFF, 0xFE, 0xFF, 2, 'a', 0, 'b', 0};
    CbStreamReadBinaryBuffer narrowStream = readerOf(narrow);
    CbStreamReadBinaryBuffer wideStream = readerOf(wide);
    OpenA first("x");
    NameW second;

    first.Serialize(narrowStream);
    second.Serialize(wideStream);

    EXPECT_STREQ(first.GetName(), "ab");
    EXPECT_STREQ(second.GetName(), L"ab");
    char next = 0;
    narrowStream >> next;
    EXPECT_EQ(next, 'c');
}
