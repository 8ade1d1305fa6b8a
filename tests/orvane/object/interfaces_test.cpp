// The interfaces: what they are made of, and where their virtual operations stand.

#include <type_traits>

#include <gtest/gtest.h>

#include "orvane/object/cbaserializable.h"
#include "orvane/object/iobject.h"
#include "orvane/object/ireferencecounted.h"
#include "orvane/object/iserializable.h"
#include "support/virtualposition.h"

namespace
{
using Counter = CbReferenceCounter<unsigned int>;

// A class of its own name for what is protected.
class CCounterAccess : public IReferenceCounted
{
public:
    static auto position()
    {
        return VirtualPosition(&CCounterAccess::getReferenceCounter);
    }

    static constexpr bool c_AnswersAConstantCounter =
        std::is_same_v<decltype(&CCounterAccess::getReferenceCounter), Counter const& (IReferenceCounted::*)() const>;
};

template <class T>
concept ShowsItsCounter = requires(T const& object)
{
    object.getReferenceCounter();
};

class CStored : public CbASerializable
{
public:
    explicit CStored(int& destroyed) : m_destroyed(&destroyed)
    {
    }

    CStored(CStored const&) = default;
    CStored& operator=(CStored const&) = default;

    ~CStored() override
    {
        ++*m_destroyed;
    }

    CbRTTI const& GetRTTI() const override
    {
        static CbRTTI const record(L"Interfaces.Stored", nullptr, nullptr);
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
    Counter const& getReferenceCounter() const override;

private:
    int* m_destroyed;
};

// Nobody counts these objects; only the place in the table matters.
Counter const& CStored::getReferenceCounter() const
{
    static int const place = 0;
    return reinterpret_cast<Counter const&>(place);
}
} // namespace

static_assert(std::is_abstract_v<IObject> && std::has_virtual_destructor_v<IObject>);
static_assert(std::is_abstract_v<ISerializable> && std::has_virtual_destructor_v<ISerializable>);
static_assert(std::is_abstract_v<IReferenceCounted> && std::has_virtual_destructor_v<IReferenceCounted>);
static_assert(std::is_abstract_v<CbASerializable> && std::has_virtual_destructor_v<CbASerializable>);

static_assert(std::is_nothrow_destructible_v<IObject> && std::is_nothrow_destructible_v<ISerializable>);
static_assert(std::is_nothrow_destructible_v<IReferenceCounted> && std::is_nothrow_destructible_v<CbASerializable>);

// No data: a pointer to the table for each base that has one.
static_assert(sizeof(IObject) == sizeof(void*) && sizeof(ISerializable) == sizeof(void*));
static_assert(sizeof(IReferenceCounted) == sizeof(void*));
static_assert(sizeof(CbASerializable) == 2 * sizeof(void*));

static_assert(std::is_base_of_v<IObject, ISerializable> && !std::is_base_of_v<IObject, IReferenceCounted>);
static_assert(std::is_base_of_v<ISerializable, CbASerializable>);
static_assert(std::is_base_of_v<IReferenceCounted, CbASerializable>);

static_assert(std::is_same_v<decltype(&IObject::GetRTTI), CbRTTI const& (IObject::*)() const>);
static_assert(std::is_same_v<decltype(&IObject::GetClassNameW), wchar_t const* (IObject::*)() const>);
static_assert(CCounterAccess::c_AnswersAConstantCounter);
static_assert(!ShowsItsCounter<IReferenceCounted> && !ShowsItsCounter<CbASerializable>);

TEST(IObject, HasItsRecordAtPositionOneAndItsNameAtTwo)
{
    EXPECT_EQ(VirtualPosition(&IObject::GetRTTI), 1u);
    EXPECT_EQ(VirtualPosition(&IObject::GetClassNameW), 2u);
}

TEST(ISerializable, WritesAtPositionThreeAndReadsAtFour)
{
    void (ISerializable::*write)(CbStreamWriteBinary&) const = &ISerializable::Serialize;
    void (ISerializable::*read)(CbStreamReadBinary&) = &ISerializable::Serialize;

    EXPECT_EQ(VirtualPosition(write), 3u);
    EXPECT_EQ(VirtualPosition(read), 4u);
}

TEST(ISerializable, KeepsThePositionsOfIObject)
{
    EXPECT_EQ(VirtualPosition(&ISerializable::GetRTTI), 1u);
    EXPECT_EQ(VirtualPosition(&ISerializable::GetClassNameW), 2u);
}

TEST(IReferenceCounted, HasItsCounterAtPositionOne)
{
    EXPECT_EQ(CCounterAccess::position(), 1u);
}

TEST(CbASerializable, HoldsISerializableFirstAndIReferenceCountedSecond)
{
    int destroyed = 0;
    CStored object(destroyed);
    auto const* const begin = reinterpret_cast<char const*>(&object);
    auto const* const first = reinterpret_cast<char const*>(static_cast<ISerializable const*>(&object));
    auto const* const second = reinterpret_cast<char const*>(static_cast<IReferenceCounted const*>(&object));

    EXPECT_EQ(first - begin, 0);
    EXPECT_EQ(second - begin, static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST(CbASerializable, IsDestroyedWholeThroughEitherBase)
{
    int destroyed = 0;
    IObject* const object = new CStored(destroyed);
    delete object;
    EXPECT_EQ(destroyed, 1);

    IReferenceCounted* const counted = new CStored(destroyed);
    delete counted;
    EXPECT_EQ(destroyed, 2);
}

TEST(CbASerializable, LetsDerivedClassesBeCopiedAndAssigned)
{
    int destroyed = 0;
    int destroyedToo = 0;
    CStored const original(destroyed);
    {
        CStored copy(original);
        CStored other(destroyedToo);
        other = copy;
    }

    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(destroyedToo, 0);
}

TEST(CbASerializable, IsKnownAgainFromEachOfItsBases)
{
    int destroyed = 0;
    CStored object(destroyed);
    IReferenceCounted* const counted = &object;

    EXPECT_EQ(dynamic_cast<ISerializable*>(counted), &object);
    EXPECT_EQ(dynamic_cast<CbASerializable*>(counted), &object);
}
