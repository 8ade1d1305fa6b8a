#include <cmath>
#include <limits>
#include <unordered_set>

#include <gtest/gtest.h>

#include "orvane/value/varianttesting.h"
#include "support/logrecorder.h"
#include "support/raises.h"

namespace
{
class CbVariantCompare : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

using CbVariantEquality = CbVariantCompare;
using CbVariantOrder = CbVariantCompare;
using CbVariantHash = CbVariantCompare;

constexpr double c_NaN = std::numeric_limits<double>::quiet_NaN();
constexpr float c_NaNf = std::numeric_limits<float>::quiet_NaN();

struct SPair
{
    CbVariant smaller;
    CbVariant larger;
};

CbDateTime dateOf(unsigned int year, unsigned int weekday)
{
    SYSTEMTIME fields = {};
    fields.wYear = static_cast<WORD>(year);
    fields.wMonth = 5;
    fields.wDay = 6;
    fields.wDayOfWeek = static_cast<WORD>(weekday);
    return CbDateTime(fields);
}

std::vector<SPair> orderedPairs()
{
    return {
        {CbVariant(false), CbVariant(true)},
        {CbVariant(-1), CbVariant(0)},
        {CbVariant(std::numeric_limits<int>::min()), CbVariant(std::numeric_limits<int>::max())},
        {CbVariant(static_cast<__int64>(-1)), CbVariant(static_cast<__int64>(1))},
        {CbVariant(1u), CbVariant(0xFFFFFFFFu)},
        {CbVariant(-1.5f), CbVariant(1.5f)},
        {CbVariant(-1.5), CbVariant(1.5)},
        {CbVariant(static_cast<char>(-1)), CbVariant('a')},
        {CbVariant(L"B"), CbVariant(L"a")},
        {CbVariant(L"a"), CbVariant(L"ab")},
        {CbVariant(L"\U0001F600"), CbVariant(L"\uFF21")}, // as UTF-16 the first begins with 0xD83D
        {CbVariant(dateOf(2023, 0)), CbVariant(dateOf(2024, 0))},
        {CbVariant(static_cast<signed char>(-1)), CbVariant(static_cast<signed char>(1))},
        {CbVariant(static_cast<unsigned char>(1)), CbVariant(static_cast<unsigned char>(255))},
        {CbVariant(static_cast<short>(-1)), CbVariant(static_cast<short>(1))},
        {CbVariant(static_cast<unsigned short>(1)), CbVariant(static_cast<unsigned short>(65535))},
        {CbVariant(static_cast<unsigned __int64>(1)), CbVariant(~static_cast<unsigned __int64>(0))},
        {CbVariant("B"), CbVariant("a")},
        {CbVariant("a"), CbVariant("\xFF")},
    };
}

// Two integers that only the top bit tells apart, and pairs whose low parts are equal or say the opposite of the whole.
template <class T>
void addPairsOfEveryBit(std::vector<SPair>& pairs)
{
    constexpr unsigned int c_Bits = 8 * sizeof(T);
    T const top = static_cast<T>(1ull << (c_Bits - 1));
    T const odd = static_cast<T>(top + 1);
    bool const isSigned = top < 0;
    pairs.push_back({CbVariant(isSigned ? odd : static_cast<T>(1)), CbVariant(isSigned ? static_cast<T>(1) : odd)});
    for (unsigned int bit = 4; bit < c_Bits - 1; bit += bit == 4 ? 4 : 8)
    {
        T const high = static_cast<T>(1ull << bit);
        pairs.push_back({CbVariant(static_cast<T>(1)), CbVariant(high)});
        pairs.push_back({CbVariant(static_cast<T>(1)), CbVariant(static_cast<T>(high + 1))});
        pairs.push_back({CbVariant(static_cast<T>(2)), CbVariant(static_cast<T>(high + 1))});
        pairs.push_back({CbVariant(high), CbVariant(static_cast<T>(high + 1))});
    }
}

std::vector<SPair> pairsOfEveryBit()
{
    std::vector<SPair> pairs;
    addPairsOfEveryBit<char>(pairs);
    addPairsOfEveryBit<signed char>(pairs);
    addPairsOfEveryBit<unsigned char>(pairs);
    addPairsOfEveryBit<short>(pairs);
    addPairsOfEveryBit<unsigned short>(pairs);
    addPairsOfEveryBit<int>(pairs);
    addPairsOfEveryBit<unsigned int>(pairs);
    addPairsOfEveryBit<__int64>(pairs);
    addPairsOfEveryBit<unsigned __int64>(pairs);
    pairs.push_back({CbVariant(0.1), CbVariant(std::nextafter(0.1, 1.0))});
    pairs.push_back({CbVariant(-0.1), CbVariant(0.1)});
    pairs.push_back({CbVariant(1e-300), CbVariant(1e300)});
    pairs.push_back({CbVariant(0.1f), CbVariant(std::nextafter(0.1f, 1.0f))});
    pairs.push_back({CbVariant(1e-30f), CbVariant(1e30f)});
    return pairs;
}

void expectOrder(SPair const& pair)
{
    EXPECT_TRUE(pair.smaller < pair.larger) << testing::PrintToString(pair.smaller);
    EXPECT_FALSE(pair.larger < pair.smaller) << testing::PrintToString(pair.smaller);
    EXPECT_FALSE(pair.smaller < pair.smaller);
    EXPECT_TRUE(pair.larger > pair.smaller) << testing::PrintToString(pair.smaller);
    EXPECT_FALSE(pair.smaller > pair.larger) << testing::PrintToString(pair.smaller);
    EXPECT_FALSE(pair.larger > pair.larger);
}
} // namespace

// ---- equality

TEST_F(CbVariantEquality, HoldsForEqualKindsAndValuesOnly)
{
    for (EType const left : allKinds())
    {
        for (EType const right : allKinds())
        {
            if (left == CbVariant::eObject && right == CbVariant::eObject)
            {
                continue;
            }
            EXPECT_EQ(sampleOf(left) == sampleOf(right), left == right) << nameOf(left) << ' ' << nameOf(right);
            EXPECT_EQ(sampleOf(left) != sampleOf(right), left != right) << nameOf(left) << ' ' << nameOf(right);
        }
    }
}

TEST_F(CbVariantEquality, FailsForOtherValuesOfTheSameKind)
{
    for (SPair const& pair : orderedPairs())
    {
        EXPECT_NE(pair.smaller, pair.larger);
    }
    EXPECT_NE(CbVariant(bytesFrom({1, 2})), CbVariant(bytesFrom({1, 3})));
    EXPECT_NE(CbVariant(bytesFrom({1, 2})), CbVariant(bytesFrom({1})));
    EXPECT_NE(CbVariant("text"), CbVariant("Text"));
}

TEST_F(CbVariantEquality, OfNumbersLooksAtAllTheirBits)
{
    for (SPair const& pair : pairsOfEveryBit())
    {
        EXPECT_FALSE(pair.smaller == pair.larger) << testing::PrintToString(pair.smaller);
        EXPECT_TRUE(pair.larger == CbVariant(pair.larger)) << testing::PrintToString(pair.larger);
    }
}

TEST_F(CbVariantEquality, DoesNotConvert)
{
    EXPECT_FALSE(CbVariant(5) == CbVariant(5u));
    EXPECT_TRUE(CbVariant(1.0f) == CbVariant(1.0f));
    EXPECT_FALSE(CbVariant(1.0f) == CbVariant(1.0));
    EXPECT_FALSE(CbVariant("1") == CbVariant(L"1"));
}

TEST_F(CbVariantEquality, OfFloatingPointNumbersGoesByTheirValue)
{
    EXPECT_FALSE(CbVariant(c_NaN) == CbVariant(c_NaN));
    EXPECT_FALSE(CbVariant(c_NaNf) == CbVariant(c_NaNf));
    EXPECT_TRUE(CbVariant(c_NaN) != CbVariant(c_NaN));
    EXPECT_TRUE(CbVariant(0.0) == CbVariant(-0.0));
    EXPECT_TRUE(CbVariant(0.0f) == CbVariant(-0.0f));
}

TEST_F(CbVariantEquality, OfTextCountsCharactersBehindANul)
{
    EXPECT_NE(CbVariant(CStringA("a\0b", 3)), CbVariant(CStringA("a\0c", 3)));
    EXPECT_NE(CbVariant(CStringW(L"a\0b", 3)), CbVariant(L"a"));
}

TEST_F(CbVariantEquality, OfDatesLeavesTheDayOfTheWeekOut)
{
    EXPECT_EQ(CbVariant(dateOf(2024, 1)), CbVariant(dateOf(2024, 2)));
}

TEST_F(CbVariantEquality, OfTwoObjectsRaises)
{
    CbVariant const object(CVariantThing(1));

    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator ==", static_cast<void>(object == object));
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator ==", static_cast<void>(object != object));
}

TEST_F(CbVariantEquality, OfKindsThatDoNotExistRaises)
{
    for (unsigned int const type : strayKinds())
    {
        CbVariant stray;
        makeStray(stray, type);
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator ==", static_cast<void>(stray == stray));
        EXPECT_FALSE(stray == CbVariant(5));
    }
}

TEST_F(CbVariantEquality, WithPlainValuesAsksForTheirKind)
{
    CbVariant const number(5);
    CbVariant const text("text");
    CbVariant const wide(L"text");

    EXPECT_TRUE(number == 5);
    EXPECT_TRUE(5 == number);
    EXPECT_TRUE(number == 5l);
    EXPECT_FALSE(number != 5);
    EXPECT_FALSE(number == 5u);
    EXPECT_FALSE(number == static_cast<__int64>(5));
    EXPECT_FALSE(number == 5.0);
    EXPECT_FALSE(number == true);
    EXPECT_TRUE(text == "text");
    EXPECT_TRUE("text" == text);
    EXPECT_TRUE(text == std::string("text"));
    EXPECT_TRUE(text == CStringA("text"));
    EXPECT_FALSE(text == L"text");
    EXPECT_TRUE(wide == L"text");
    EXPECT_TRUE(wide == std::wstring(L"text"));
    EXPECT_FALSE(wide == "text");
    EXPECT_TRUE(CbVariant() == nullptr);
    EXPECT_FALSE(number == nullptr);
}

TEST_F(CbVariantEquality, WithTextComparesCharactersAndNotPointers)
{
    char const first[] = "text";
    char const second[] = "text";
    char const* const pointer = second;
    CbVariant const variant(first);

    EXPECT_TRUE(variant == second);
    EXPECT_TRUE(variant == pointer);
    EXPECT_FALSE(variant == "Text");
}

TEST_F(CbVariantEquality, WithALongDoesNotCutIt)
{
    if (sizeof(long) == sizeof(int))
    {
        GTEST_SKIP() << "every long of this target fits";
    }
    long const large = std::numeric_limits<long>::max(); // its low 32 bits are -1
    EXPECT_FALSE(CbVariant(-1) == large);
}

TEST_F(CbVariantEquality, WithANaNIsFalse)
{
    EXPECT_FALSE(CbVariant(c_NaN) == c_NaN);
}

// ---- order

TEST_F(CbVariantOrder, OfEachKindGoesByItsOwnMeaning)
{
    for (SPair const& pair : orderedPairs())
    {
        expectOrder(pair);
    }
}

TEST_F(CbVariantOrder, OfNumbersLooksAtAllTheirBits)
{
    for (SPair const& pair : pairsOfEveryBit())
    {
        expectOrder(pair);
    }
}

TEST_F(CbVariantOrder, OfNothingIsFalse)
{
    EXPECT_FALSE(CbVariant() < CbVariant());
    EXPECT_FALSE(CbVariant() > CbVariant());
    EXPECT_FALSE(CbVariant(5) < CbVariant());
    EXPECT_FALSE(CbVariant(5) > CbVariant());
}

TEST_F(CbVariantOrder, WithANaNIsFalse)
{
    EXPECT_FALSE(CbVariant(c_NaN) < CbVariant(1.0));
    EXPECT_FALSE(CbVariant(c_NaN) > CbVariant(1.0));
    EXPECT_FALSE(CbVariant(1.0f) < CbVariant(c_NaNf));
    EXPECT_FALSE(CbVariant(1.0f) > CbVariant(c_NaNf));
}

TEST_F(CbVariantOrder, ReadsTheLeftCellByTheKindOfTheRightSide)
{
    EXPECT_FALSE(CbVariant(-1) < CbVariant(5u)) << "-1 is read as 4294967295";
    EXPECT_TRUE(CbVariant(-1) > CbVariant(5u));
    EXPECT_TRUE(CbVariant(0xFFFFFFFFu) < CbVariant(0)) << "4294967295 is read as -1";
    EXPECT_TRUE(CbVariant(256) < CbVariant(static_cast<unsigned char>(1))) << "the low byte of 256 is 0";
    EXPECT_TRUE(CbVariant() < CbVariant(1));
}

TEST_F(CbVariantOrder, RefusesBytesObjectsAndWhatDoesNotExistOnTheRight)
{
    CbVariant stray;
    makeStray(stray, 11);
    CbVariant beyond;
    makeStray(beyond, 19);
    CbVariant const bytes(bytesFrom({1}));
    CbVariant const object(CVariantThing(1));
    CbVariant const left(1);
    for (CbVariant const* const right : {&std::as_const(stray), &std::as_const(beyond), &bytes, &object})
    {
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator <", static_cast<void>(left < *right));
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::operator >", static_cast<void>(left > *right));
    }
}

// ---- hash

TEST_F(CbVariantHash, IsTheSameForEqualVariants)
{
    std::hash<CbVariant> const hash;
    for (EType const type : allKinds())
    {
        if (type != CbVariant::eObject)
        {
            EXPECT_EQ(hash(sampleOf(type)), hash(sampleOf(type))) << nameOf(type);
        }
    }
    EXPECT_EQ(hash(CbVariant(0.0)), hash(CbVariant(-0.0)));
    EXPECT_EQ(hash(CbVariant(0.0f)), hash(CbVariant(-0.0f)));
    EXPECT_EQ(hash(CbVariant(dateOf(2024, 1))), hash(CbVariant(dateOf(2024, 2))));
}

TEST_F(CbVariantHash, DiffersForEqualNumbersOfDifferentKinds)
{
    std::unordered_set<std::size_t> hashes;
    std::size_t count = 0;
    for (EType const type : allKinds())
    {
        if (type != CbVariant::eObject)
        {
            hashes.insert(sampleOf(type).GetHash());
            ++count;
        }
    }
    EXPECT_EQ(hashes.size(), count);
}

TEST_F(CbVariantHash, LooksAtTheIntAloneAfterALongWasWritten)
{
    CbVariant variant(0);
    variant.operator long&() = -1;

    EXPECT_EQ(variant.GetHash(), CbVariant(-1).GetHash());
}

TEST_F(CbVariantHash, PutsVariantsIntoUnorderedSets)
{
    std::unordered_set<CbVariant> set;
    for (int n = 0; n < 1000; ++n)
    {
        set.emplace(n);
        set.emplace(n);
        set.emplace(std::to_string(n));
    }
    EXPECT_EQ(set.size(), 2000u);
    EXPECT_TRUE(set.contains(CbVariant("999")));
    EXPECT_FALSE(set.contains(CbVariant(L"999")));
}

TEST_F(CbVariantHash, OfAnObjectRaises)
{
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::GetHash",
                  static_cast<void>(CbVariant(CVariantThing(1)).GetHash()));
}
