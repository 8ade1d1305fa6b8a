// Everyday uses at compile time: what compiles, and what does not. tests/compile_fail has the messages of the latter.

#include <concepts>
#include <type_traits>

#include <gtest/gtest.h>

#include "orvane/value/varianttesting.h"

namespace
{
enum EPlain
{
    ePlain
};

enum class EScoped
{
    eOne
};

struct SMember
{
};

// What turns into a pointer without being asked to.
template <class T>
struct CPointerLike
{
    operator T*() const;
};

template <class T>
concept MakesAVariant = requires(T value)
{
    CbVariant(value);
};

template <class T>
concept AssignsToAVariant = requires(CbVariant& variant, T value)
{
    variant = value;
};

template <class T>
concept ComparesWithAVariant = requires(CbVariant const& variant, T value)
{
    variant == value;
    value == variant;
    variant != value;
};

template <class T>
concept IsOrderedWithNumbers = requires(T const& value)
{
    value < 5;
};

template <class T>
concept IsAddedToNumbers = requires(T const& value)
{
    value + 1;
};

template <class T>
concept IsTakenAll = MakesAVariant<T> && AssignsToAVariant<T>;

template <class T>
concept IsTakenNowhere = !MakesAVariant<T> && !AssignsToAVariant<T> && !ComparesWithAVariant<T>;

// What a value becomes.
static_assert(IsTakenAll<bool> && IsTakenAll<char> && IsTakenAll<signed char> && IsTakenAll<unsigned char>);
static_assert(IsTakenAll<short> && IsTakenAll<unsigned short> && IsTakenAll<int> && IsTakenAll<unsigned int>);
static_assert(IsTakenAll<long> && IsTakenAll<unsigned long> && IsTakenAll<__int64> && IsTakenAll<unsigned __int64>);
static_assert(IsTakenAll<float> && IsTakenAll<double> && IsTakenAll<std::nullptr_t>);
static_assert(IsTakenAll<char const*> && IsTakenAll<char*> && IsTakenAll<wchar_t const*> && IsTakenAll<wchar_t*>);
static_assert(IsTakenAll<CStringA> && IsTakenAll<CStringW> && IsTakenAll<std::string> && IsTakenAll<std::wstring>);
static_assert(IsTakenAll<CbArray<unsigned char>> && IsTakenAll<CbDateTime> && IsTakenAll<CVariantThing const&>);
static_assert(IsTakenAll<SYSTEMTIME>, "by way of a date-time");
static_assert(IsTakenAll<EPlain>, "as the int that it is");

// What is no value: pointers would be truth values, wide characters numbers.
static_assert(IsTakenNowhere<void*> && IsTakenNowhere<int*> && IsTakenNowhere<CVariantThing*>);
static_assert(IsTakenNowhere<unsigned char const*> && IsTakenNowhere<char8_t const*> && IsTakenNowhere<char16_t*>);
static_assert(IsTakenNowhere<int SMember::*> && IsTakenNowhere<void (SMember::*)()> && IsTakenNowhere<void (*)()>);
static_assert(IsTakenNowhere<decltype([] {})> && IsTakenNowhere<decltype([](int) { return 1; })>);
static_assert(IsTakenNowhere<CPointerLike<void>> && IsTakenNowhere<CPointerLike<int>>);
static_assert(IsTakenAll<CPointerLike<char const>> && IsTakenAll<CPointerLike<wchar_t const>>,
              "as the text that it is");
static_assert(IsTakenNowhere<wchar_t> && IsTakenNowhere<char8_t> && IsTakenNowhere<char16_t> &&
              IsTakenNowhere<char32_t>);
static_assert(IsTakenNowhere<EScoped> && IsTakenNowhere<long double> && IsTakenNowhere<CbArray<int>>);

// Nothing becomes a variant without being asked to, but copies.
static_assert(!std::convertible_to<int, CbVariant> && !std::convertible_to<char const*, CbVariant>);
static_assert(!std::convertible_to<IObject const&, CbVariant> && !std::convertible_to<CbRTTI const&, CbVariant>);
static_assert(std::constructible_from<CbVariant, CbRTTI const&>);
static_assert(std::copyable<CbVariant> && std::equality_comparable<CbVariant>);

// What a variant compares with.
static_assert(ComparesWithAVariant<int> && ComparesWithAVariant<long> && ComparesWithAVariant<bool>);
static_assert(ComparesWithAVariant<double> && ComparesWithAVariant<char const*> && ComparesWithAVariant<wchar_t*>);
static_assert(ComparesWithAVariant<std::string> && ComparesWithAVariant<CStringW>);
static_assert(ComparesWithAVariant<CbDateTime> && ComparesWithAVariant<CbArray<unsigned char>>);
static_assert(ComparesWithAVariant<std::nullptr_t> && ComparesWithAVariant<CbVariant>);
static_assert(!ComparesWithAVariant<EPlain>);
static_assert(!IsOrderedWithNumbers<CbVariant>, "there is an order of variants only");
static_assert(!IsAddedToNumbers<CbVariant>, "there is no arithmetic");

// What a variant is read as.
template <class T>
concept IsReadFromAVariant = std::is_convertible_v<CbVariant&, T> && std::is_convertible_v<CbVariant const&, T>;

static_assert(IsReadFromAVariant<bool> && IsReadFromAVariant<char> && IsReadFromAVariant<signed char>);
static_assert(IsReadFromAVariant<unsigned char> && IsReadFromAVariant<short> && IsReadFromAVariant<unsigned short>);
static_assert(IsReadFromAVariant<int> && IsReadFromAVariant<unsigned int> && IsReadFromAVariant<long>);
static_assert(IsReadFromAVariant<unsigned long> && IsReadFromAVariant<__int64>);
static_assert(IsReadFromAVariant<unsigned __int64> && IsReadFromAVariant<float> && IsReadFromAVariant<double>);
static_assert(IsReadFromAVariant<char const*> && IsReadFromAVariant<wchar_t const*>);
static_assert(IsReadFromAVariant<CStringA> && IsReadFromAVariant<CStringW>);
static_assert(IsReadFromAVariant<CbArray<unsigned char>> && IsReadFromAVariant<CbDateTime>);
static_assert(IsReadFromAVariant<IObject const&>);
static_assert(!std::convertible_to<CbVariant&, wchar_t> && !std::convertible_to<CbVariant&, long double>);
static_assert(!std::convertible_to<CbVariant const&, int&>, "a const variant is not written to");
static_assert(std::convertible_to<CbVariant&, int&> && std::convertible_to<CbVariant&, CStringW&>);
} // namespace

TEST(CbVariantUses, TakeAnEnumeratorAsAnInteger)
{
    CbVariant variant;
    variant = ePlain;

    EXPECT_TRUE(variant.GetType() == CbVariant::eUInt32 || variant.GetType() == CbVariant::eInt32);
}

TEST(CbVariantUses, TakePlatformTimesAsDateTimes)
{
    SYSTEMTIME fields = {};
    fields.wYear = 2024;
    CbVariant variant;
    variant = fields;

    EXPECT_EQ(variant.GetType(), CbVariant::eDateTime);
}
