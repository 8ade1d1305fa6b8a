#include "orvane/text/cbformat.h"

#include <climits>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "platform/platform.h"
#include "support/raises.h"

static_assert(std::is_same_v<CbFormatT<CStringA>::TChar, char> && std::is_same_v<CbFormatT<std::string>::TChar, char>);
static_assert(std::is_same_v<CbFormatT<CStringW>::TChar, wchar_t>);
static_assert(std::is_same_v<CbFormatT<std::wstring>::TChar, wchar_t>);
// A plain text is not taken for a format by accident.
static_assert(!std::is_convertible_v<char const*, CbFormatT<std::string>>);
static_assert(!std::is_convertible_v<wchar_t const*, CbFormatT<CStringW>>);

namespace
{
// The text of any of the four kinds, in either width, as a narrow one.
std::string plain(std::string const& text)
{
    return text;
}

std::string plain(std::wstring const& text)
{
    std::string result;
    for (wchar_t const ch : text)
    {
        result += static_cast<char>(ch);
    }
    return result;
}

std::string plain(CStringA const& text)
{
    return plain(std::string(text.GetString()));
}

std::string plain(CStringW const& text)
{
    return plain(std::wstring(text.GetString()));
}

// A literal in the width that C asks for.
template <class C>
C const* either(char const* narrow, wchar_t const* wide)
{
    if constexpr (std::is_same_v<C, char>)
    {
        return narrow;
    }
    else
    {
        return wide;
    }
}

#define EITHER(text) (either<typename CbFormatT<TypeParam>::TChar>(text, L##text))

template <class S>
class CbFormatTOf : public testing::Test
{
};

using Texts = testing::Types<CStringA, CStringW, std::string, std::wstring>;

class TextName
{
public:
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, CStringA>      ? "CStringA"
               : std::is_same_v<T, CStringW>    ? "CStringW"
               : std::is_same_v<T, std::string> ? "string"
                                                : "wstring";
    }
};
} // namespace

TYPED_TEST_SUITE(CbFormatTOf, Texts, TextName);

TYPED_TEST(CbFormatTOf, HoldsTheFormattedText)
{
    CbFormatT<TypeParam> const text(EITHER("%d of %s"), 3, EITHER("many"));
    static_assert(std::is_same_v<decltype(text.GetText()), TypeParam const&>);

    EXPECT_EQ(plain(text.GetText()), "3 of many");
}

TYPED_TEST(CbFormatTOf, HoldsAFormatWithoutPlaceholdersAsItIs)
{
    EXPECT_EQ(plain(CbFormatT<TypeParam>(EITHER("100%%")).GetText()), "100%");
    EXPECT_EQ(plain(CbFormatT<TypeParam>(EITHER("")).GetText()), "");
}

TYPED_TEST(CbFormatTOf, ReadsAllBitsOfA64BitNumber)
{
    EXPECT_EQ(plain(CbFormatT<TypeParam>(EITHER("%I64d"), -1'234'567'890'123ll).GetText()), "-1234567890123");
}

TYPED_TEST(CbFormatTOf, TakesLongTexts)
{
    std::basic_string<typename CbFormatT<TypeParam>::TChar> const argument(100'000, 'x');

    EXPECT_EQ(plain(CbFormatT<TypeParam>(EITHER("<%s>"), argument.c_str()).GetText()),
              "<" + std::string(100'000, 'x') + ">");
}

TYPED_TEST(CbFormatTOf, IsCopiedWithItsText)
{
    CbFormatT<TypeParam> const text(EITHER("%d"), 3);
    CbFormatT<TypeParam> const copy(text);

    EXPECT_EQ(plain(copy.GetText()), "3");
}

TYPED_TEST(CbFormatTOf, RefusesANullFormatAsTheStandardStringOfItsWidthDoes)
{
    using Char = typename CbFormatT<TypeParam>::TChar;
    using Failure = typename CbStrT<std::basic_string<Char>>::CException;
    Char const* const none = nullptr;

    EXPECT_RAISES(Failure, "cbstr",
                  (std::is_same_v<Char, char>
                       ? "CbStrT<class std::basic_string<char,struct std::char_traits<char>,"
                         "class std::allocator<char> > >::Format"
                       : "CbStrT<class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,"
                         "class std::allocator<wchar_t> > >::Format"),
                  CbFormatT<TypeParam>{none});
}

TYPED_TEST(CbFormatTOf, RefusesATextThatCannotBeCounted)
{
    using Failure = typename CbStrT<std::basic_string<typename CbFormatT<TypeParam>::TChar>>::CException;

    EXPECT_THROW(CbFormatT<TypeParam>(EITHER("%*d%*d"), INT_MAX, 1, INT_MAX, 1), Failure);
}
