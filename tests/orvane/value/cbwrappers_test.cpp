#include "orvane/value/cbwrappers.h"

#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/memory/cbsmartpointer.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "orvane/stream/streamtesting.h"
#include "support/layout.h"
#include "support/logrecorder.h"
#include "support/raises.h"
#include "support/virtualposition.h"

namespace
{
// A row of the family: the wrapper, its value, a value to work with and that value as it is stored.
template <class TWrapper, class TValue>
struct SRow
{
    using Wrapper = TWrapper;
    using Value = TValue;
};

using Rows = testing::Types<SRow<CbBool, bool>, SRow<CbChar, char>, SRow<CbInt8, signed char>,
                            SRow<CbUInt8, unsigned char>, SRow<CbInt16, short>, SRow<CbUInt16, unsigned short>,
                            SRow<CbInt32, int>, SRow<CbUInt32, unsigned int>, SRow<CbLong, long>,
                            SRow<CbULong, unsigned long>, SRow<CbInt64, __int64>, SRow<CbUInt64, unsigned __int64>,
                            SRow<CbFloat32, float>, SRow<CbFloat64, double>, SRow<CbString, CStringW>>;

template <class T>
struct SSample
{
    static T Get()
    {
        return static_cast<T>(65);
    }

    static T GetOther()
    {
        return static_cast<T>(66);
    }
};

template <>
struct SSample<bool>
{
    static bool Get()
    {
        return true;
    }

    static bool GetOther()
    {
        return false;
    }
};

template <>
struct SSample<CStringW>
{
    static CStringW Get()
    {
        return CStringW(L"A");
    }

    static CStringW GetOther()
    {
        return CStringW(L"B");
    }
};

// The row's facts that are not types.
struct SFacts
{
    std::wstring name;
    Bytes stored; // the sample
};

template <class TWrapper>
SFacts factsOf();

#define FACTS(Class, ...)                                                                                              \
    template <>                                                                                                        \
    SFacts factsOf<Class>()                                                                                            \
    {                                                                                                                  \
        return {L## #Class, Bytes{__VA_ARGS__}};                                                                       \
    }

FACTS(CbBool, 0x01)
FACTS(CbChar, 0x41)
FACTS(CbInt8, 0x41)
FACTS(CbUInt8, 0x41)
FACTS(CbInt16, 0x41, 0x00)
FACTS(CbUInt16, 0x41, 0x00)
FACTS(CbInt32, 0x41, 0x00, 0x00, 0x00)
FACTS(CbUInt32, 0x41, 0x00, 0x00, 0x00)
FACTS(CbLong, 0x41, 0x00, 0x00, 0x00)
FACTS(CbULong, 0x41, 0x00, 0x00, 0x00)
FACTS(CbInt64, 0x41, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00)
FACTS(CbUInt64, 0x41, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00)
FACTS(CbFloat32, 0x00, 0x00, 0x82, 0x42)
FACTS(CbFloat64, 0x00, 0x00, 0x00, 0x00, 0x00, 0x40, 0x50, 0x40)
FACTS(CbString, 0xFF, 0xFE, 0xFF, 0x01, 0x41, 0x00)

#undef FACTS

class RowName
{
public:
    template <class TRow>
    static std::string GetName(int)
    {
        std::wstring const name = factsOf<typename TRow::Wrapper>().name;
        return std::string(name.begin(), name.end());
    }
};

template <class TRow>
class Wrapper : public testing::Test
{
};

TYPED_TEST_SUITE(Wrapper, Rows, RowName);

// A class between the wrapper and the test that can be watched, and sees the count.
template <class TWrapper>
class CWatched : public TWrapper
{
public:
    explicit CWatched(int& alive) : m_alive(alive)
    {
        ++m_alive;
    }

    CWatched(CWatched const&) = delete;
    CWatched& operator=(CWatched const&) = delete;

    ~CWatched() override
    {
        --m_alive;
    }

private:
    int& m_alive;
};

// The count that an object embeds, by its place behind the three tables.
template <class T>
unsigned int countOf(CbBaseType<T> const& wrapper)
{
    return fieldAt<CbReferenceCounter<unsigned int>>(&wrapper, 3 * sizeof(void*)).GetCount();
}

template <class TValue>
Bytes storedWith(TValue const& value)
{
    CbStreamWriteBinaryBuffer stream;
    stream << value;
    return bytesOf(stream);
}

Bytes storedOf(ISerializable const& object)
{
    CbStreamWriteBinaryBuffer stream;
    object.Serialize(stream);
    return bytesOf(stream);
}
} // namespace

// ---- values

TYPED_TEST(Wrapper, StartsWithZeroOrEmptyText)
{
    typename TypeParam::Wrapper const wrapper;

    EXPECT_EQ(*wrapper, typename TypeParam::Value());
}

TYPED_TEST(Wrapper, HoldsTheValueItIsMadeOf)
{
    using Value = typename TypeParam::Value;
    Value const value = SSample<Value>::Get();

    typename TypeParam::Wrapper const wrapper(value);

    EXPECT_EQ(*wrapper, value);
    EXPECT_EQ(static_cast<Value const&>(wrapper), value);
    EXPECT_EQ(*wrapper.operator->(), value);
}

TYPED_TEST(Wrapper, GivesTheValueItselfToBeChanged)
{
    using Value = typename TypeParam::Value;
    typename TypeParam::Wrapper wrapper;
    Value& value = wrapper;

    value = SSample<Value>::Get();

    EXPECT_EQ(*wrapper, SSample<Value>::Get());
    EXPECT_EQ(&*wrapper, &value);
    EXPECT_EQ(wrapper.operator->(), &value);
    EXPECT_EQ(&static_cast<Value const&>(std::as_const(wrapper)), &value);
    EXPECT_EQ(&*std::as_const(wrapper), &value);
    EXPECT_EQ(std::as_const(wrapper).operator->(), &value);
}

TYPED_TEST(Wrapper, TakesAnotherValue)
{
    using Value = typename TypeParam::Value;
    typename TypeParam::Wrapper wrapper(SSample<Value>::Get());

    CbBaseType<Value> const& result = wrapper = SSample<Value>::GetOther();

    EXPECT_EQ(&result, &wrapper);
    EXPECT_EQ(*wrapper, SSample<Value>::GetOther());
}

TYPED_TEST(Wrapper, TakesTheValueOfAnother)
{
    using Value = typename TypeParam::Value;
    typename TypeParam::Wrapper wrapper;
    typename TypeParam::Wrapper const other(SSample<Value>::Get());

    typename TypeParam::Wrapper const& result = wrapper = other;

    EXPECT_EQ(&result, &wrapper);
    EXPECT_EQ(*wrapper, SSample<Value>::Get());
}

TEST(CbInt32, IsUsedWhereANumberIsExpected)
{
    CbInt32 number(5);

    number += 2;
    int const sum = number + 1;

    EXPECT_EQ(number, 7);
    EXPECT_EQ(sum, 8);
}

TEST(CbString, IsUsedWhereATextIsExpected)
{
    CbString text(L"one");

    text = L"two";

    EXPECT_EQ(text->GetLength(), 3);
    EXPECT_STREQ(text->GetString(), L"two");
}

TEST(CbString, ComparesAsItsText)
{
    CbString const two(L"two");
    CbString one(L"one");
    CbString const again(L"two");

    EXPECT_TRUE(two == again);
    EXPECT_TRUE(two != one);
    EXPECT_TRUE(one < two);
    EXPECT_TRUE(two >= again);
    EXPECT_TRUE(two == L"two");
    EXPECT_TRUE(L"two" == two);
    EXPECT_TRUE(one != L"two");
    EXPECT_TRUE(one < L"two");
    EXPECT_TRUE(L"two" > one);
    EXPECT_TRUE(two == CStringW(L"two"));
    EXPECT_TRUE(CStringW(L"two") == two);
    EXPECT_TRUE(one < CStringW(L"two"));
    EXPECT_FALSE(CStringW(L"two") < one);
}

TEST(CbString, IsAddedToTextAndTakesMoreOfIt)
{
    CbString const two(L"two");
    CbString text(L"one");

    text += L", ";
    text += two;
    text += L'!';
    text += CStringW(L"?");

    EXPECT_TRUE(text == L"one, two!?");
    EXPECT_EQ(two + two, L"twotwo");
    EXPECT_EQ(two + L"x", L"twox");
    EXPECT_EQ(L"x" + two, L"xtwo");
    EXPECT_EQ(two + L'x', L"twox");
    EXPECT_EQ(L'x' + two, L"xtwo");
    EXPECT_EQ(text + two, L"one, two!?two");
}

// ---- count

TYPED_TEST(Wrapper, StartsWithoutOwners)
{
    typename TypeParam::Wrapper const wrapper;

    EXPECT_EQ(countOf(wrapper), 0);
}

TYPED_TEST(Wrapper, HasACountOfItsOwnWhenItIsACopy)
{
    using TWrapper = typename TypeParam::Wrapper;
    CbSmartPointer<TWrapper> const owned(new TWrapper(SSample<typename TypeParam::Value>::Get()));
    CbSmartPointer<TWrapper> const second(owned);

    TWrapper const copy(*owned);

    EXPECT_EQ(*copy, SSample<typename TypeParam::Value>::Get());
    EXPECT_EQ(countOf(copy), 0);
    EXPECT_EQ(countOf(*owned), 2);
}

TYPED_TEST(Wrapper, KeepsItsCountWhenItIsAssigned)
{
    using TWrapper = typename TypeParam::Wrapper;
    CbSmartPointer<TWrapper> const owned(new TWrapper());
    TWrapper const other(SSample<typename TypeParam::Value>::Get());

    *owned = other;
    *owned = SSample<typename TypeParam::Value>::Get();

    EXPECT_EQ(countOf(*owned), 1);
    EXPECT_EQ(countOf(other), 0);
}

TYPED_TEST(Wrapper, IsDeletedOnceByItsLastSmartPointer)
{
    int alive = 0;
    CbSmartPointer<typename TypeParam::Wrapper> first(new CWatched<typename TypeParam::Wrapper>(alive));
    CbSmartPointer<IReferenceCounted> second(first);

    first.Reset();
    EXPECT_EQ(alive, 1);
    second.Reset();

    EXPECT_EQ(alive, 0);
}

TYPED_TEST(Wrapper, IsDeletedThroughItsObjectPart)
{
    int alive = 0;
    std::unique_ptr<IObject> object(new CWatched<typename TypeParam::Wrapper>(alive));
    EXPECT_NE(static_cast<void const*>(object.get()),
              static_cast<void const*>(dynamic_cast<IReferenceCounted const*>(object.get())));

    object.reset();

    EXPECT_EQ(alive, 0);
}

TYPED_TEST(Wrapper, CanPassFromAUniqueOwnerToCountedOnes)
{
    int alive = 0;
    std::unique_ptr<IObject> object(new CWatched<typename TypeParam::Wrapper>(alive));

    CbSmartPointer<typename TypeParam::Wrapper> counted(dynamic_cast<typename TypeParam::Wrapper*>(object.release()));
    EXPECT_EQ(countOf(*counted), 1);
    counted.Reset();

    EXPECT_EQ(alive, 0);
}

// ---- identity

TYPED_TEST(Wrapper, AnswersWithItsOwnRecord)
{
    using TWrapper = typename TypeParam::Wrapper;
    TWrapper const wrapper;
    CbBaseTypeRTTIHolder const& holder = wrapper;
    IObject const& object = wrapper;

    EXPECT_EQ(&wrapper.GetRTTI(), &TWrapper::RTTI);
    EXPECT_EQ(&holder.GetRTTI(), &TWrapper::RTTI);
    EXPECT_EQ(&object.GetRTTI(), &TWrapper::RTTI);
    EXPECT_EQ(wrapper.GetClassNameW(), factsOf<TWrapper>().name);
    EXPECT_EQ(holder.GetClassNameW(), factsOf<TWrapper>().name);
    EXPECT_EQ(object.GetClassNameW(), factsOf<TWrapper>().name);
}

TYPED_TEST(Wrapper, IsItselfAndAKindOfItsParent)
{
    using TWrapper = typename TypeParam::Wrapper;
    TWrapper const wrapper;
    CbBaseTypeRTTIHolder const& holder = wrapper;

    EXPECT_TRUE(wrapper.Is(TWrapper::RTTI));
    EXPECT_TRUE(holder.Is(TWrapper::RTTI));
    EXPECT_FALSE(wrapper.Is(CbBaseTypeRTTIHolder::RTTI));
    EXPECT_FALSE(holder.Is(CbBaseTypeRTTIHolder::RTTI));
    EXPECT_TRUE(wrapper.IsKindOf(TWrapper::RTTI));
    EXPECT_TRUE(wrapper.IsKindOf(CbBaseTypeRTTIHolder::RTTI));
    EXPECT_TRUE(holder.IsKindOf(CbBaseTypeRTTIHolder::RTTI));
    bool const isInt32 = std::is_same_v<TWrapper, CbInt32>;
    EXPECT_EQ(wrapper.IsKindOf(CbInt32::RTTI), isInt32);
}

TYPED_TEST(Wrapper, IsRegisteredBelowTheCommonParent)
{
    using TWrapper = typename TypeParam::Wrapper;
    std::wstring const name = factsOf<TWrapper>().name;

    EXPECT_EQ(CbRTTI::Find(name.c_str()), &TWrapper::RTTI);
    EXPECT_EQ(TWrapper::RTTI.GetName(), name);
    EXPECT_EQ(TWrapper::RTTI.GetParent(), &CbBaseTypeRTTIHolder::RTTI);
}

TYPED_TEST(Wrapper, IsCreatedByItsNameWithoutAValue)
{
    using TWrapper = typename TypeParam::Wrapper;

    std::unique_ptr<IObject> const object = Factory::CreateByName(factsOf<TWrapper>().name.c_str());

    ASSERT_NE(object, nullptr);
    ASSERT_EQ(typeid(*object), typeid(TWrapper));
    auto const& wrapper = dynamic_cast<TWrapper const&>(*object);
    EXPECT_EQ(*wrapper, typename TypeParam::Value());
    EXPECT_EQ(countOf(wrapper), 0);
}

TYPED_TEST(Wrapper, IsClonedByItsName)
{
    using TWrapper = typename TypeParam::Wrapper;
    using Value = typename TypeParam::Value;
    TWrapper wrapper(SSample<Value>::Get());

    std::unique_ptr<IObject> const object = CbRTTI::getClone(factsOf<TWrapper>().name.c_str())(wrapper);
    wrapper = SSample<Value>::GetOther();

    ASSERT_EQ(typeid(*object), typeid(TWrapper));
    EXPECT_EQ(*dynamic_cast<TWrapper const&>(*object), SSample<Value>::Get());
}

TYPED_TEST(Wrapper, RefusesToCloneAnObjectOfAnotherClass)
{
    CbBaseType<typename TypeParam::Value> const unnamed;

    EXPECT_THROW(static_cast<void>(TypeParam::Wrapper::RTTI.GetClone()(unnamed)), std::bad_cast);
}

TYPED_TEST(Wrapper, WithoutANameAnswersWithTheCommonParentsRecord)
{
    CbBaseType<typename TypeParam::Value> const unnamed;
    IObject const& object = unnamed;

    EXPECT_EQ(&object.GetRTTI(), &CbBaseTypeRTTIHolder::RTTI);
    EXPECT_STREQ(object.GetClassNameW(), L"CbBaseTypeRTTIHolder");
    EXPECT_STREQ(unnamed.GetClassNameW(), L"CbBaseTypeRTTIHolder");
    EXPECT_TRUE(unnamed.Is(CbBaseTypeRTTIHolder::RTTI));
    EXPECT_TRUE(unnamed.IsKindOf(CbBaseTypeRTTIHolder::RTTI));
}

TEST(CbBaseTypeRTTIHolder, IsARootThatIsNeitherCreatedNorCloned)
{
    EXPECT_EQ(CbRTTI::Find(L"CbBaseTypeRTTIHolder"), &CbBaseTypeRTTIHolder::RTTI);
    EXPECT_EQ(CbBaseTypeRTTIHolder::RTTI.GetParent(), nullptr);
    EXPECT_EQ(CbRTTI::getCreate(L"CbBaseTypeRTTIHolder"), nullptr);
    EXPECT_EQ(CbRTTI::getClone(L"CbBaseTypeRTTIHolder"), nullptr);
}

TEST(CbBaseTypeRTTIHolder, CanBeCopiedAndMoved)
{
    static_assert(std::is_copy_constructible_v<CbBaseTypeRTTIHolder>);
    static_assert(std::is_copy_assignable_v<CbBaseTypeRTTIHolder>);
    static_assert(std::is_move_constructible_v<CbBaseTypeRTTIHolder>);
    static_assert(std::is_move_assignable_v<CbBaseTypeRTTIHolder>);
    static_assert(sizeof(CbBaseTypeRTTIHolder) == sizeof(void*));
}

// ---- layout

TYPED_TEST(Wrapper, IsThreeBasesTheCounterAndTheValueInThisOrder)
{
    using TWrapper = typename TypeParam::Wrapper;
    using Value = typename TypeParam::Value;
    TWrapper const wrapper(SSample<Value>::Get());
    auto const* const start = reinterpret_cast<char const*>(&wrapper);

    static_assert(sizeof(CbReferenceCounter<unsigned int>) == 3 * sizeof(void*));
    EXPECT_EQ(reinterpret_cast<char const*>(static_cast<IReferenceCounted const*>(&wrapper)), start);
    EXPECT_EQ(reinterpret_cast<char const*>(static_cast<ISerializable const*>(&wrapper)), start + sizeof(void*));
    EXPECT_EQ(reinterpret_cast<char const*>(static_cast<CbBaseTypeRTTIHolder const*>(&wrapper)),
              start + 2 * sizeof(void*));
    EXPECT_EQ(reinterpret_cast<char const*>(&*wrapper), start + 6 * sizeof(void*));
    EXPECT_EQ(sizeof(TWrapper), sizeof(CbBaseType<Value>));
}

TEST(CbBaseTypePosition, OfTheCommonParentsOperationIsTheFirst)
{
    // No virtual destructor stands before it.
    EXPECT_EQ(VirtualPosition(&CbBaseTypeRTTIHolder::GetRTTI) + 1, 0);
}

// ---- stored

TYPED_TEST(Wrapper, StoresItsValueAndNothingElse)
{
    using TWrapper = typename TypeParam::Wrapper;
    using Value = typename TypeParam::Value;
    TWrapper const wrapper(SSample<Value>::Get());

    EXPECT_EQ(storedOf(wrapper), factsOf<TWrapper>().stored);
    EXPECT_EQ(storedOf(wrapper), storedWith(SSample<Value>::Get()));
}

TYPED_TEST(Wrapper, ReadsItsValueBack)
{
    using TWrapper = typename TypeParam::Wrapper;
    using Value = typename TypeParam::Value;
    Bytes const stored = factsOf<TWrapper>().stored;
    CbStreamReadBinaryBuffer stream = readerOf(stored);
    TWrapper wrapper(SSample<Value>::GetOther());

    wrapper.Serialize(stream);

    EXPECT_EQ(*wrapper, SSample<Value>::Get());
}

TYPED_TEST(Wrapper, FailsAsTheStreamFails)
{
    using TWrapper = typename TypeParam::Wrapper;
    using Value = typename TypeParam::Value;
    CLogRecorder const quiet;
    Bytes const nothing;
    CbStreamReadBinaryBuffer stream = readerOf(nothing);
    TWrapper wrapper(SSample<Value>::Get());

    EXPECT_THROW(wrapper.Serialize(stream), CbExceptionStream);
}

TYPED_TEST(Wrapper, TravelsInAChunkUnderItsName)
{
    using TWrapper = typename TypeParam::Wrapper;
    using Value = typename TypeParam::Value;
    CbStreamWriteBinaryBuffer out;
    out.WriteChunk(TWrapper(SSample<Value>::Get()));

    CbStreamReadBinaryBuffer in(out.GetArray());
    std::unique_ptr<ISerializable> const object(in.ReadChunk());

    ASSERT_NE(object, nullptr);
    ASSERT_EQ(typeid(*object), typeid(TWrapper));
    EXPECT_EQ(*dynamic_cast<TWrapper const&>(*object), SSample<Value>::Get());
}

TEST(CbInt16, StoresMinusTwoInTwoBytesThatAnUnsignedReaderTakesAsTheyAre)
{
    Bytes const stored = storedOf(CbInt16(short{-2}));
    EXPECT_EQ(stored, (Bytes{0xFE, 0xFF}));

    CbStreamReadBinaryBuffer stream = readerOf(stored);
    CbUInt16 reader;
    reader.Serialize(stream);

    EXPECT_EQ(*reader, 0xFFFE);
}

TEST(CbChar, IsWrittenByAnotherOperatorThanCbInt8)
{
    EXPECT_EQ(operatorFor(CbChar('A')), "char");
    EXPECT_EQ(operatorFor(CbInt8(static_cast<signed char>(65))), "signed char");
}

TEST(CbLong, IsWrittenByTheOperatorOfItsOwnType)
{
    EXPECT_EQ(operatorFor(CbLong(65L)), "long");
    EXPECT_EQ(operatorFor(CbInt32(65)), "int");
}

TEST(CbLong, KeepsItsSignInFourBytes)
{
    Bytes const stored = storedOf(CbLong(-2L));
    EXPECT_EQ(stored, (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));

    CbStreamReadBinaryBuffer stream = readerOf(stored);
    CbLong reader;
    reader.Serialize(stream);

    EXPECT_EQ(*reader, -2L);
}

TEST(CbLong, ThatDoesNotFitFourBytesIsRefused)
{
    if (sizeof(long) == 4)
    {
        // Every long fits where it has four bytes.
        EXPECT_EQ(storedOf(CbLong(std::numeric_limits<long>::max())), (Bytes{0xFF, 0xFF, 0xFF, 0x7F}));
        return;
    }
    CLogRecorder const quiet;
    CbLong const large(std::numeric_limits<long>::max());
    CbULong const largeUnsigned(std::numeric_limits<unsigned long>::max());

    EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<", storedOf(large));
    EXPECT_RAISES(CbExceptionStream, "cbstreamwritebinary", "CbStreamWriteBinary::operator <<",
                  storedOf(largeUnsigned));
}

TEST(CbFloat64, CreatedByItsNameHoldsZero)
{
    std::unique_ptr<IObject> const object = Factory::CreateByName(L"CbFloat64");

    ASSERT_NE(object, nullptr);
    EXPECT_EQ(*dynamic_cast<CbFloat64 const&>(*object), 0.0);
}
