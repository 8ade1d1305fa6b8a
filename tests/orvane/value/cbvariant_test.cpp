#include <algorithm>
#include <limits>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "orvane/value/varianttesting.h"
#include "support/layout.h"
#include "support/logline.h"
#include "support/raises.h"

namespace
{
constexpr bool c_IsLongWider = sizeof(long) > sizeof(int);

/// Raises when it is copied.
class CVariantBrittle : public IObject
{
    CB_DECLARE_CLASS(CVariantBrittle);

public:
    CVariantBrittle() = default;

    CVariantBrittle(CVariantBrittle const& other) : IObject(other)
    {
        throw std::runtime_error("brittle");
    }
};

/// Holds a variant, and looks at another one when it goes.
class CVariantHolder : public IObject
{
    CB_DECLARE_CLASS(CVariantHolder);

public:
    CVariantHolder() = default;

    CVariantHolder(CVariantHolder const& other) : IObject(other), m_inner(other.m_inner), m_watched(other.m_watched)
    {
    }

    ~CVariantHolder() override
    {
        if (m_watched != nullptr)
        {
            s_wasNullMeanwhile = m_watched->IsNull();
        }
    }

    CbVariant m_inner;
    CbVariant const* m_watched = nullptr;

    static inline bool s_wasNullMeanwhile = false;
};

/// A class that is not found by its name.
class CVariantNamesake : public IObject
{
    CB_DECLARE_CLASS(CVariantNamesake);
};

// The first of the two records is the one that is found; it clones nothing.
CbRTTI const c_FoundNamesake(L"CVariantNamesake", nullptr, nullptr);
CB_IMPLEMENT_CLASS(CVariantNamesake);

/// Writes into a variant when it goes: a text that is too long to lie in the string object.
class CVariantWriter : public IObject
{
    CB_DECLARE_CLASS(CVariantWriter);

public:
    CVariantWriter() = default;
    CVariantWriter(CVariantWriter const&) = default;
    CVariantWriter& operator=(CVariantWriter const&) = delete;

    ~CVariantWriter() override
    {
        if (m_watched != nullptr)
        {
            *m_watched = "a last word that is too long to lie in the string object";
            ++s_written;
        }
    }

    CbVariant* m_watched = nullptr;

    static inline int s_written = 0;
};

CB_IMPLEMENT_CLASS(CVariantBrittle);
CB_IMPLEMENT_CLASS(CVariantHolder);
CB_IMPLEMENT_CLASS(CVariantWriter);

// Lets the variant hold an object that writes into it when it goes.
void holdAWriter(CbVariant& variant)
{
    variant = CVariantWriter();
    dynamic_cast<CVariantWriter&>(static_cast<IObject&>(variant)).m_watched = &variant;
    CVariantWriter::s_written = 0;
}

class CVariantTest : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

using CbVariantConstructor = CVariantTest;
using CbVariantAssignment = CVariantTest;
using CbVariantObject = CVariantTest;
using CbVariantSelf = CVariantTest;
} // namespace

// ---- layout

TEST(CbVariantLayout, IsTheKindAndACellOfEightBytes)
{
    CbVariant const variant(static_cast<__int64>(0x0123456789ABCDEF));

    EXPECT_EQ(sizeof(CbVariant), 16);
    EXPECT_EQ(fieldAt<unsigned int>(&variant, 0), 3u);
    EXPECT_EQ(fieldAt<__int64>(&variant, 8), 0x0123456789ABCDEF);
}

TEST(CbVariantLayout, KeepsAPointerToAnOwnedText)
{
    CbVariant variant("text");
    CStringA& text = variant;

    EXPECT_EQ(fieldAt<CStringA const*>(&variant, 8), &text);
}

TEST(CbVariantLayout, NumbersItsKindsAsTheyAreStored)
{
    std::vector<unsigned int> numbers;
    for (EType const type : allKinds())
    {
        numbers.push_back(type);
    }

    EXPECT_EQ(numbers, (std::vector<unsigned int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 13, 14, 15, 16, 17, 18}));
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<EType>, unsigned int>));
}

// ---- construction

TEST_F(CbVariantConstructor, WithoutAValueHoldsNothing)
{
    CbVariant const variant;

    EXPECT_TRUE(variant.IsNull());
    EXPECT_EQ(variant.GetType(), CbVariant::eNull);
}

TEST_F(CbVariantConstructor, OfNullptrHoldsNothing)
{
    EXPECT_TRUE(CbVariant(nullptr).IsNull());
}

TEST_F(CbVariantConstructor, TakesEveryTypeInItsKind)
{
    for (EType const type : allKinds())
    {
        EXPECT_EQ(sampleOf(type).GetType(), type) << nameOf(type);
    }
}

TEST_F(CbVariantConstructor, TakesTextOfAllTypes)
{
    EXPECT_EQ(CbVariant(CStringA("text")), "text");
    EXPECT_EQ(CbVariant(std::string("text")), "text");
    EXPECT_EQ(CbVariant(CStringW(L"text")), L"text");
    EXPECT_EQ(CbVariant(std::wstring(L"text")), L"text");
}

TEST_F(CbVariantConstructor, KeepsLongNumbersInThirtyTwoBits)
{
    EXPECT_EQ(CbVariant(-5l).GetType(), CbVariant::eInt32);
    EXPECT_EQ(CbVariant(5ul).GetType(), CbVariant::eUInt32);
    EXPECT_EQ(CbVariant(-5l), -5);
    EXPECT_EQ(CbVariant(5ul), 5u);
}

TEST_F(CbVariantConstructor, RefusesALongThatDoesNotFit)
{
    if (!c_IsLongWider)
    {
        GTEST_SKIP() << "every long of this target fits";
    }
    EXPECT_RAISES(CbExceptionConversion, "cbvariant",
                  "CbVariant::operator =", static_cast<void>(CbVariant(std::numeric_limits<long>::max())));
    EXPECT_RAISES(CbExceptionConversion, "cbvariant",
                  "CbVariant::operator =", static_cast<void>(CbVariant(std::numeric_limits<unsigned long>::max())));
}

TEST_F(CbVariantConstructor, OfARecordHoldsANewObject)
{
    CbVariant const variant(CVariantThing::RTTI);

    IObject const& object = variant;
    EXPECT_EQ(variant.GetType(), CbVariant::eObject);
    EXPECT_EQ(dynamic_cast<CVariantThing const&>(object).m_number, 7);
}

TEST_F(CbVariantConstructor, OfARecordThatCreatesNothingRaises)
{
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::CbVariant",
                  static_cast<void>(CbVariant(CVariantStone::RTTI)));

    CbRTTI const hollow(
        L"CVariantHollow", []() -> std::unique_ptr<IObject> { return nullptr; }, nullptr);
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::CbVariant", CbVariant variant(hollow));
}

TEST_F(CbVariantConstructor, CopiesDeeply)
{
    CbVariant original(L"text");
    CbVariant copy(original);

    static_cast<CStringW&>(original).SetAt(0, L'T');

    EXPECT_EQ(copy, L"text");
    EXPECT_EQ(original, L"Text");
}

TEST_F(CbVariantConstructor, CopiesEveryKind)
{
    for (EType const type : allKinds())
    {
        CbVariant const original = sampleOf(type);
        CbVariant const copy(original);

        EXPECT_EQ(copy.GetType(), type);
        if (type != CbVariant::eObject)
        {
            EXPECT_EQ(copy, original);
        }
    }
}

TEST_F(CbVariantConstructor, RefusesToCopyAKindThatDoesNotExist)
{
    for (unsigned int const type : strayKinds())
    {
        CbVariant stray;
        makeStray(stray, type);

        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator =", CbVariant copy(stray));
        EXPECT_EQ(stray.GetType(), type);
    }
}

TEST_F(CbVariantConstructor, MovesThePointerAndLeavesNothing)
{
    CbVariant source("text");
    CStringA const* const text = &static_cast<CStringA&>(source);

    CbVariant target(std::move(source));

    EXPECT_TRUE(source.IsNull());
    EXPECT_EQ(&static_cast<CStringA&>(target), text);
}

TEST_F(CbVariantConstructor, MovesEveryKind)
{
    for (EType const type : allKinds())
    {
        CbVariant source = sampleOf(type);
        CbVariant const target(std::move(source));

        EXPECT_TRUE(source.IsNull()) << nameOf(type);
        EXPECT_EQ(target.GetType(), type);
    }
}

// ---- assignment

TEST_F(CbVariantAssignment, ReplacesEveryKindByEveryOther)
{
    for (EType const from : allKinds())
    {
        for (EType const to : allKinds())
        {
            CbVariant const value = sampleOf(to);
            CbVariant copied = sampleOf(from);
            CbVariant moved = sampleOf(from);
            CbVariant source = value;

            copied = value;
            moved = std::move(source);

            EXPECT_EQ(copied.GetType(), to) << nameOf(from);
            EXPECT_EQ(moved.GetType(), to) << nameOf(from);
            EXPECT_TRUE(source.IsNull());
            if (to != CbVariant::eObject)
            {
                EXPECT_EQ(copied, value) << nameOf(from);
                EXPECT_EQ(moved, value) << nameOf(from);
            }
        }
    }
    EXPECT_EQ(CVariantThing::s_instances, 0);
}

TEST_F(CbVariantAssignment, OfEachTypeReplacesEveryKind)
{
    for (EType const from : allKinds())
    {
        CbVariant variant = sampleOf(from);
        auto const restart = [&] { variant = sampleOf(from); };

        EXPECT_EQ((variant = true), true);
        restart();
        EXPECT_EQ((variant = 'c'), 'c');
        restart();
        EXPECT_EQ((variant = static_cast<signed char>(-1)), static_cast<signed char>(-1));
        restart();
        EXPECT_EQ((variant = static_cast<unsigned char>(255)), static_cast<unsigned char>(255));
        restart();
        EXPECT_EQ((variant = static_cast<short>(-1)), static_cast<short>(-1));
        restart();
        EXPECT_EQ((variant = static_cast<unsigned short>(65535)), static_cast<unsigned short>(65535));
        restart();
        EXPECT_EQ((variant = -1), -1);
        restart();
        EXPECT_EQ((variant = 0xFFFFFFFFu), 0xFFFFFFFFu);
        restart();
        EXPECT_EQ((variant = -1l), -1l);
        restart();
        EXPECT_EQ((variant = 0xFFFFFFFFul), 0xFFFFFFFFul);
        restart();
        EXPECT_EQ((variant = static_cast<__int64>(-1)), static_cast<__int64>(-1));
        restart();
        EXPECT_EQ((variant = ~static_cast<unsigned __int64>(0)), ~static_cast<unsigned __int64>(0));
        restart();
        EXPECT_EQ((variant = 1.5f), 1.5f);
        restart();
        EXPECT_EQ((variant = 1.5), 1.5);
        restart();
        EXPECT_EQ((variant = "text"), "text");
        restart();
        EXPECT_EQ((variant = CStringA("text")), "text");
        restart();
        EXPECT_EQ((variant = std::string("text")), "text");
        restart();
        EXPECT_EQ((variant = L"text"), L"text");
        restart();
        EXPECT_EQ((variant = CStringW(L"text")), L"text");
        restart();
        EXPECT_EQ((variant = std::wstring(L"text")), L"text");
        restart();
        EXPECT_EQ((variant = bytesFrom({1, 2})), bytesFrom({1, 2}));
        restart();
        EXPECT_EQ((variant = CbDateTime(2024, 1, 2, 3, 4, 5, 6)), CbDateTime(2024, 1, 2, 3, 4, 5, 6));
        restart();
        EXPECT_EQ((variant = CVariantThing(3)).GetType(), CbVariant::eObject);
        restart();
        EXPECT_TRUE((variant = nullptr).IsNull());
    }
}

TEST_F(CbVariantAssignment, OfALongThatDoesNotFitChangesNothing)
{
    if (!c_IsLongWider)
    {
        GTEST_SKIP() << "every long of this target fits";
    }
    CbVariant variant("text");

    EXPECT_RAISES(CbExceptionConversion, "cbvariant",
                  "CbVariant::operator =", variant = std::numeric_limits<long>::min());
    EXPECT_RAISES(CbExceptionConversion, "cbvariant",
                  "CbVariant::operator =", variant = std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(variant, "text");
}

TEST_F(CbVariantAssignment, OfTextKeepsTheStringOfTheSameWidth)
{
    CbVariant wide(L"first");
    CbVariant narrow("first");
    CStringW const* const wideText = &static_cast<CStringW&>(wide);
    CStringA const* const narrowText = &static_cast<CStringA&>(narrow);

    wide = L"second";
    narrow = "second";
    EXPECT_EQ(wide, L"second");
    EXPECT_EQ(narrow, "second");

    wide = CStringW(L"third");
    narrow = CStringA("third");
    wide = std::wstring(L"fourth");
    narrow = std::string("fourth");
    CbVariant const wideSource(L"fifth");
    CbVariant const narrowSource("fifth");
    wide = wideSource;
    narrow = narrowSource;

    EXPECT_EQ(wide, L"fifth");
    EXPECT_EQ(narrow, "fifth");
    EXPECT_EQ(&static_cast<CStringW&>(wide), wideText);
    EXPECT_EQ(&static_cast<CStringA&>(narrow), narrowText);
}

TEST_F(CbVariantAssignment, OfADateTimeKeepsTheObject)
{
    CbVariant variant(CbDateTime(2024, 1, 2, 3, 4, 5, 6));
    CbDateTime const* const date = &static_cast<CbDateTime&>(variant);

    variant = CbDateTime(2025, 1, 2, 3, 4, 5, 6);

    EXPECT_EQ(&static_cast<CbDateTime&>(variant), date);
    EXPECT_EQ(static_cast<CbDateTime&>(variant).GetYear(), 2025u);
}

TEST_F(CbVariantAssignment, OfADateTimeTakesTheDayOfTheWeekAlong)
{
    SYSTEMTIME fields = {};
    fields.wYear = 2024;
    fields.wMonth = 5;
    fields.wDay = 6;
    fields.wDayOfWeek = 3; // not that date's
    CbDateTime const date(fields);
    CbVariant fresh;
    CbVariant assigned(CbDateTime(2024, 1, 2, 3, 4, 5, 6));

    fresh = date;
    assigned = date;
    CbVariant const copy(fresh);

    for (CbVariant const* const variant : {&std::as_const(fresh), &std::as_const(assigned), &copy})
    {
        SYSTEMTIME const held = static_cast<CbDateTime const&>(*variant);
        EXPECT_EQ(held.wDayOfWeek, 3);
    }
}

TEST_F(CbVariantAssignment, OfStandardTextEndsAtItsFirstNul)
{
    EXPECT_EQ(CbVariant(std::string("ab\0cd", 5)), "ab");
    EXPECT_EQ(CbVariant(std::wstring(L"ab\0cd", 5)), L"ab");
}

TEST_F(CbVariantAssignment, OfStringObjectsKeepsTheirNuls)
{
    CStringA const narrow("ab\0cd", 5);
    CStringW const wide(L"ab\0cd", 5);

    EXPECT_EQ(CbVariant(narrow), narrow);
    EXPECT_EQ(CbVariant(wide), wide);
}

TEST_F(CbVariantAssignment, OfANullPointerIsTheEmptyText)
{
    EXPECT_EQ(CbVariant(static_cast<char const*>(nullptr)), "");
    EXPECT_EQ(CbVariant(static_cast<wchar_t const*>(nullptr)), L"");
}

TEST_F(CbVariantAssignment, MovesAnArray)
{
    CbArray<unsigned char> bytes = bytesFrom({1, 2, 3});
    unsigned char const* const data = bytes.GetData();
    CbVariant variant;

    variant = std::move(bytes);

    EXPECT_EQ(static_cast<CbArray<unsigned char>&>(variant).GetData(), data);
    EXPECT_TRUE(bytes.IsEmpty());
}

TEST_F(CbVariantAssignment, CopiesAnArray)
{
    CbArray<unsigned char> const bytes = bytesFrom({1, 2, 3});
    CbVariant variant;

    variant = bytes;

    EXPECT_NE(static_cast<CbArray<unsigned char>&>(variant).GetData(), bytes.GetData());
    EXPECT_EQ(variant, bytes);
}

TEST_F(CbVariantAssignment, OfAKindThatDoesNotExistChangesNothing)
{
    for (unsigned int const type : strayKinds())
    {
        CbVariant stray;
        makeStray(stray, type);
        CbVariant variant("text");

        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator =", variant = stray);
        EXPECT_EQ(variant, "text");
        stray = 5;
        EXPECT_EQ(stray, 5);
    }
}

TEST_F(CbVariantAssignment, LogsARefusalInOneLine)
{
    CbVariant stray;
    makeStray(stray, 11);
    CbVariant variant;
    m_recorder.Clear();
    int line = 0;
    try
    {
        variant = stray;
    }
    catch (CbExceptionConversion const& raised)
    {
        line = static_cast<int>(raised.GetCodeLine());
    }

    EXPECT_EQ(linesOf(m_recorder), (std::vector<SLogLine>{{L"Exception", Logging::eLevelError, "cbvariant", line,
                                                           "CbVariant::operator =", L"Exception on data conversion"}}));
}

// ---- the variant itself and parts of it

TEST_F(CbVariantSelf, IsNotChangedByItsOwnAssignment)
{
    for (EType const type : allKinds())
    {
        CbVariant variant = sampleOf(type);
        CbVariant const& same = variant;
        unsigned __int64 const cell = fieldAt<unsigned __int64>(&variant, 8);

        variant = same;
        EXPECT_EQ(fieldAt<unsigned __int64>(&variant, 8), cell) << nameOf(type);
        variant = std::move(const_cast<CbVariant&>(same));
        EXPECT_EQ(fieldAt<unsigned __int64>(&variant, 8), cell) << nameOf(type);
        EXPECT_EQ(variant.GetType(), type);
    }
}

TEST_F(CbVariantSelf, MayBeGivenAPartOfItsOwnText)
{
    CbVariant narrow("some text that is too long to lie in the string object");
    CbVariant wide(L"some text that is too long to lie in the string object");

    narrow = static_cast<char const*>(std::as_const(narrow)) + 5;
    wide = static_cast<wchar_t const*>(std::as_const(wide)) + 5;

    EXPECT_EQ(narrow, "text that is too long to lie in the string object");
    EXPECT_EQ(wide, L"text that is too long to lie in the string object");
}

TEST_F(CbVariantSelf, MayBeGivenItsOwnArrayDateAndObject)
{
    CbVariant bytes(bytesFrom({1, 2, 3}));
    CbVariant moved(bytesFrom({1, 2, 3}));
    CbVariant date(CbDateTime(2024, 1, 2, 3, 4, 5, 6));
    CbVariant object(CVariantThing(3));

    bytes = static_cast<CbArray<unsigned char> const&>(std::as_const(bytes));
    moved = std::move(static_cast<CbArray<unsigned char>&>(moved));
    date = static_cast<CbDateTime const&>(std::as_const(date));
    object = static_cast<IObject const&>(std::as_const(object));

    EXPECT_EQ(bytes, bytesFrom({1, 2, 3}));
    EXPECT_EQ(moved, bytesFrom({1, 2, 3}));
    EXPECT_EQ(date, CbDateTime(2024, 1, 2, 3, 4, 5, 6));
    EXPECT_EQ(dynamic_cast<CVariantThing&>(static_cast<IObject&>(object)).m_number, 3);
    EXPECT_EQ(CVariantThing::s_instances, 1);
}

TEST_F(CbVariantSelf, MayBeGivenAVariantInsideItsObject)
{
    CVariantHolder holder;
    holder.m_inner = "inner text that is too long to lie in the string object";
    CbVariant copied(static_cast<IObject const&>(holder));
    CbVariant moved(static_cast<IObject const&>(holder));

    copied = dynamic_cast<CVariantHolder const&>(static_cast<IObject const&>(std::as_const(copied))).m_inner;
    moved = std::move(dynamic_cast<CVariantHolder&>(static_cast<IObject&>(moved)).m_inner);

    EXPECT_EQ(copied, "inner text that is too long to lie in the string object");
    EXPECT_EQ(moved, "inner text that is too long to lie in the string object");
}

TEST_F(CbVariantSelf, IsEmptyAlreadyWhenItsObjectGoes)
{
    CbVariant variant((CVariantHolder()));
    dynamic_cast<CVariantHolder&>(static_cast<IObject&>(variant)).m_watched = &variant;
    CVariantHolder::s_wasNullMeanwhile = false;

    variant.SetNull();

    EXPECT_TRUE(CVariantHolder::s_wasNullMeanwhile);
}

TEST_F(CbVariantSelf, IsEmptyAfterSetNullWhateverItsObjectWroteAtItsEnd)
{
    CbVariant variant;
    holdAWriter(variant);

    variant.SetNull();

    EXPECT_TRUE(variant.IsNull());
    EXPECT_EQ(CVariantWriter::s_written, 1);
}

TEST_F(CbVariantSelf, HoldsWhatWasAssignedWhateverItsObjectWroteAtItsEnd)
{
    CbVariant variant;
    holdAWriter(variant);
    EXPECT_EQ((variant = 5), 5);
    holdAWriter(variant);
    EXPECT_EQ((variant = 1.5), 1.5);
    holdAWriter(variant);
    EXPECT_EQ((variant = "new"), "new");
    holdAWriter(variant);
    EXPECT_EQ((variant = L"new"), L"new");
    holdAWriter(variant);
    EXPECT_EQ((variant = bytesFrom({1, 2})), bytesFrom({1, 2}));
    holdAWriter(variant);
    EXPECT_EQ((variant = CbDateTime(2024, 1, 2, 3, 4, 5, 6)), CbDateTime(2024, 1, 2, 3, 4, 5, 6));
    holdAWriter(variant);
    EXPECT_EQ((variant = CVariantThing(3)).GetType(), CbVariant::eObject);
    holdAWriter(variant);
    EXPECT_EQ((variant = CbVariant("copied")), "copied");
    holdAWriter(variant);
    CbVariant const source("from another one");
    EXPECT_EQ((variant = source), "from another one");
    holdAWriter(variant);
    EXPECT_TRUE((variant = nullptr).IsNull());
    EXPECT_EQ(CVariantWriter::s_written, 1);
}

TEST_F(CbVariantSelf, FreesWhatItsObjectWroteWhenBothEnd)
{
    {
        CbVariant variant;
        holdAWriter(variant);
    }
    EXPECT_EQ(CVariantWriter::s_written, 1); // a leak is the sanitizer's to see
}

// ---- objects

TEST_F(CbVariantObject, IsAClone)
{
    CVariantThing const thing(42);
    {
        CbVariant const variant(thing);
        IObject const& object = variant;

        EXPECT_NE(&object, &thing);
        EXPECT_EQ(dynamic_cast<CVariantThing const&>(object).m_number, 42);
        EXPECT_EQ(CVariantThing::s_instances, 2);
    }
    EXPECT_EQ(CVariantThing::s_instances, 1);
}

TEST_F(CbVariantObject, IsClonedByItsOwnRecordWhereAnotherHasItsName)
{
    ASSERT_EQ(CbRTTI::Find(L"CVariantNamesake"), &c_FoundNamesake);

    CbVariant const variant((CVariantNamesake()));

    EXPECT_NE(dynamic_cast<CVariantNamesake const*>(&static_cast<IObject const&>(variant)), nullptr);
}

TEST_F(CbVariantObject, WithoutACloneFunctionIsRefusedAndMissing)
{
    CbVariant variant("text");

    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator =", variant = CVariantStone());

    EXPECT_EQ(variant.GetType(), CbVariant::eObject);
    EXPECT_EQ(fieldAt<IObject const*>(&variant, 8), nullptr);
}

TEST_F(CbVariantObject, ThatRaisesWhenItIsClonedIsMissing)
{
    CbVariant variant("text");

    EXPECT_THROW(variant = CVariantBrittle(), std::runtime_error);

    EXPECT_EQ(variant.GetType(), CbVariant::eObject);
    EXPECT_EQ(fieldAt<IObject const*>(&variant, 8), nullptr);
}

TEST_F(CbVariantObject, ThatIsMissingIsNotReadOrCopied)
{
    CbVariant variant;
    EXPECT_THROW(variant = CVariantStone(), CbExceptionConversion);

    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator class IObject &",
                  static_cast<void>(variant.operator IObject&()));
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator const class IObject &",
                  static_cast<void>(std::as_const(variant).operator IObject const&()));
    CbVariant target("text");
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator =", target = variant);
    EXPECT_EQ(target.GetType(), CbVariant::eObject);
}

TEST_F(CbVariantObject, ThatIsMissingLeavesTheVariantUsable)
{
    CbVariant emptied;
    CbVariant assigned;
    EXPECT_THROW(emptied = CVariantStone(), CbExceptionConversion);
    EXPECT_THROW(assigned = CVariantStone(), CbExceptionConversion);

    emptied.SetNull();
    assigned = 5;

    EXPECT_TRUE(emptied.IsNull());
    EXPECT_EQ(assigned, 5);
}

TEST_F(CbVariantObject, IsDestroyedWhenTheKindChanges)
{
    CbVariant variant(CVariantThing::RTTI);
    EXPECT_EQ(CVariantThing::s_instances, 1);

    variant = 1.5;

    EXPECT_EQ(CVariantThing::s_instances, 0);
}

// ---- state

TEST(CbVariantState, IsNullOnlyWithoutAValue)
{
    for (EType const type : allKinds())
    {
        EXPECT_EQ(sampleOf(type).IsNull(), type == CbVariant::eNull) << nameOf(type);
    }
}

TEST(CbVariantState, SetNullEmptiesEveryKind)
{
    for (EType const type : allKinds())
    {
        CbVariant variant = sampleOf(type);
        variant.SetNull();

        EXPECT_TRUE(variant.IsNull()) << nameOf(type);
        EXPECT_EQ(fieldAt<unsigned __int64>(&variant, 8), 0u);
    }
    EXPECT_EQ(CVariantThing::s_instances, 0);
}

TEST(CbVariantState, SwapsEveryKindWithEveryOther)
{
    for (EType const left : allKinds())
    {
        for (EType const right : allKinds())
        {
            CbVariant a = sampleOf(left);
            CbVariant b = sampleOf(right);
            a.Swap(b);
            EXPECT_EQ(a.GetType(), right);
            EXPECT_EQ(b.GetType(), left);
            swap(a, b);
            EXPECT_EQ(a.GetType(), left);
        }
    }
}

TEST(CbVariantState, StandsInStandardContainers)
{
    std::vector<CbVariant> values;
    for (EType const type : allKinds())
    {
        values.push_back(sampleOf(type));
    }
    values.erase(values.begin());
    std::reverse(values.begin(), values.end());

    EXPECT_EQ(values.front().GetType(), CbVariant::eStringA);
    EXPECT_EQ(values.back(), true);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<CbVariant>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<CbVariant>);
}
