#include "mfc/cstringt.h"

#include <climits>
#include <iterator>
#include <sstream>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "raises.h"

namespace
{
// The same ASCII text in either width; lives to the end of the full expression.
template <class S>
class Text
{
public:
    using Character = typename S::XCHAR;

    explicit Text(char const* ascii) : m_text(ascii, ascii + std::char_traits<char>::length(ascii))
    {
    }

    operator Character const*() const
    {
        return m_text.c_str();
    }

private:
    std::basic_string<Character> m_text;
};

// A text with a NUL inside: a, NUL, b.
template <class S>
S textWithNul()
{
    typename S::XCHAR const content[] = {'a', 0, 'b'};
    return S(content, 3);
}
} // namespace

// Text, character and nothing at all in the width of the test.
#define T_(ascii) static_cast<typename TypeParam::XCHAR const*>(Text<TypeParam>(ascii))
#define C_(ascii) static_cast<typename TypeParam::XCHAR>(ascii)
#define NULL_ static_cast<typename TypeParam::XCHAR const*>(nullptr)

template <class S>
class CStringTMember : public testing::Test
{
};

using Widths = testing::Types<CStringA, CStringW>;
TYPED_TEST_SUITE(CStringTMember, Widths);

static_assert(std::is_nothrow_move_constructible_v<CStringA> && std::is_nothrow_move_assignable_v<CStringW>);
static_assert(std::is_nothrow_default_constructible_v<CStringA>);
static_assert(std::is_nothrow_swappable_v<CStringW>);
static_assert(std::is_convertible_v<char const*, CStringA> && std::is_convertible_v<wchar_t const*, CStringA>);
static_assert(std::is_convertible_v<std::string, CStringA> && !std::is_convertible_v<std::wstring, CStringA>);
static_assert(!std::is_convertible_v<char, CStringA> && !std::is_constructible_v<CStringA, int>);
static_assert(!std::is_convertible_v<CStringA, CStringW> && std::is_constructible_v<CStringW, CStringA>);
static_assert(std::is_convertible_v<CStringW, wchar_t const*>);

// ---- construction

TYPED_TEST(CStringTMember, IsEmptyByDefault)
{
    TypeParam const text;
    EXPECT_EQ(text.GetLength(), 0);
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.GetString()[0], C_(0));
}

TYPED_TEST(CStringTMember, CopiesTextUpToItsNul)
{
    TypeParam const text(T_("abc"));
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_EQ(text, T_("abc"));
    EXPECT_EQ(text.GetString()[3], C_(0));
}

TYPED_TEST(CStringTMember, TakesANullPointerForTheEmptyText)
{
    EXPECT_TRUE(TypeParam(NULL_).IsEmpty());
    EXPECT_TRUE(TypeParam(nullptr).IsEmpty());
    EXPECT_TRUE(TypeParam(NULL_, 5).IsEmpty());
    EXPECT_TRUE(TypeParam(static_cast<typename TypeParam::YCHAR const*>(nullptr)).IsEmpty());
    EXPECT_TRUE(TypeParam(static_cast<typename TypeParam::YCHAR const*>(nullptr), 5).IsEmpty());
}

TYPED_TEST(CStringTMember, CopiesAGivenLengthWithNulsInside)
{
    TypeParam const text = textWithNul<TypeParam>();
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_EQ(text.GetAt(1), C_(0));
    EXPECT_EQ(text.GetAt(2), C_('b'));
    EXPECT_EQ(TypeParam(T_("abc"), 2), T_("ab"));
    EXPECT_TRUE(TypeParam(T_("abc"), 0).IsEmpty());
}

TYPED_TEST(CStringTMember, RefusesANegativeLengthAtConstruction)
{
    typename TypeParam::YCHAR const other[] = {'a', 0};
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, TypeParam(T_("abc"), -1));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, TypeParam(other, -1));
}

TYPED_TEST(CStringTMember, RepeatsACharacter)
{
    EXPECT_EQ(TypeParam(C_('x'), 3), T_("xxx"));
    EXPECT_EQ(TypeParam(C_('x')), T_("x"));
    EXPECT_TRUE(TypeParam(C_('x'), 0).IsEmpty());
    EXPECT_TRUE(TypeParam(C_('x'), -1).IsEmpty());
    EXPECT_EQ(TypeParam(typename TypeParam::YCHAR('x'), 2), T_("xx"));
}

TYPED_TEST(CStringTMember, ConvertsAsciiOfTheOtherWidth)
{
    typename TypeParam::YCHAR const other[] = {'a', 'b', 0, 'c', 0};
    EXPECT_EQ(TypeParam(other), T_("ab"));
    EXPECT_EQ(TypeParam(other, 1), T_("a"));
    TypeParam const whole(other, 4);
    EXPECT_EQ(whole.GetLength(), 4);
    EXPECT_EQ(whole.GetAt(3), C_('c'));
    TypeParam const fromText(CStringT<typename TypeParam::YCHAR>(other, 4));
    EXPECT_EQ(fromText, whole);
}

TYPED_TEST(CStringTMember, TakesStandardStringsWhole)
{
    std::basic_string<typename TypeParam::XCHAR> const standard(3, C_(0));
    EXPECT_EQ(TypeParam(standard).GetLength(), 3);
    EXPECT_EQ(TypeParam(std::basic_string<typename TypeParam::XCHAR>(300, C_('x'))).GetLength(), 300);
}

TYPED_TEST(CStringTMember, CopiesAreIndependent)
{
    TypeParam const first(T_("abc"));
    TypeParam second(first);
    second.SetAt(0, C_('x'));
    EXPECT_EQ(first, T_("abc"));
    EXPECT_EQ(second, T_("xbc"));
}

TYPED_TEST(CStringTMember, IsEmptyAfterBeingMovedFrom)
{
    TypeParam first(C_('x'), 100);
    TypeParam const second(std::move(first));
    EXPECT_EQ(second.GetLength(), 100);
    EXPECT_TRUE(first.IsEmpty()); // the state is promised
}

// ---- assignment

TYPED_TEST(CStringTMember, AssignsFromEveryKindOfText)
{
    typename TypeParam::YCHAR const other[] = {'o', 't', 'h', 'e', 'r', 0};
    TypeParam text(T_("old"));
    text = T_("new");
    EXPECT_EQ(text, T_("new"));
    text = TypeParam(T_("copy"));
    EXPECT_EQ(text, T_("copy"));
    text = other;
    EXPECT_EQ(text, T_("other"));
    text = CStringT<typename TypeParam::YCHAR>(other, 2);
    EXPECT_EQ(text, T_("ot"));
    text = C_('c');
    EXPECT_EQ(text, T_("c"));
    text = typename TypeParam::YCHAR('d');
    EXPECT_EQ(text, T_("d"));
    std::basic_string<typename TypeParam::XCHAR> const standard(2, C_('s'));
    text = standard;
    EXPECT_EQ(text, T_("ss"));
    text = std::basic_string<typename TypeParam::XCHAR>(3, C_('m'));
    EXPECT_EQ(text, T_("mmm"));
    text = NULL_;
    EXPECT_TRUE(text.IsEmpty());
}

TYPED_TEST(CStringTMember, AssignsItselfAndItsOwnPart)
{
    TypeParam text(T_("a text that is too long for the small buffer"));
    TypeParam const& same = text;
    text = same;
    EXPECT_EQ(text.GetLength(), 44);
    text = text.GetString() + 2;
    EXPECT_EQ(text, T_("text that is too long for the small buffer"));
    text = text.GetString() + 30;
    EXPECT_EQ(text, T_("small buffer"));
    text = text.GetString() + 6;
    EXPECT_EQ(text, T_("buffer"));
    text.SetString(text.GetString() + 1, 2);
    EXPECT_EQ(text, T_("uf"));
}

TYPED_TEST(CStringTMember, SetsTextWithAndWithoutALength)
{
    TypeParam text;
    text.SetString(T_("abc"));
    EXPECT_EQ(text, T_("abc"));
    text.SetString(T_("abc"), 2);
    EXPECT_EQ(text, T_("ab"));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.SetString(T_("abc"), -1));
    EXPECT_EQ(text, T_("ab"));
    text.SetString(NULL_, 7);
    EXPECT_TRUE(text.IsEmpty());
    text = T_("x");
    text.SetString(NULL_);
    EXPECT_TRUE(text.IsEmpty());
}

TYPED_TEST(CStringTMember, EmptyLeavesNothing)
{
    TypeParam text(C_('x'), 1000);
    text.Empty();
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.GetString()[0], C_(0));
}

TYPED_TEST(CStringTMember, SwapsContents)
{
    TypeParam first(T_("one"));
    TypeParam second(C_('2'), 50);
    swap(first, second);
    EXPECT_EQ(first.GetLength(), 50);
    EXPECT_EQ(second, T_("one"));
    std::swap(first, second);
    EXPECT_EQ(first, T_("one"));
}

// ---- single characters

TYPED_TEST(CStringTMember, GetAtAndSetAtRefuseWhatIsNoCharacter)
{
    TypeParam text(T_("abc"));
    text.SetAt(2, C_('z'));
    EXPECT_EQ(text.GetAt(0), C_('a'));
    EXPECT_EQ(text.GetAt(2), C_('z'));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.GetAt(3));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.GetAt(-1));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.SetAt(3, C_('x')));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.SetAt(-1, C_('x')));
    EXPECT_EQ(text, T_("abz"));
}

TYPED_TEST(CStringTMember, IndexesWithEveryIntegerType)
{
    TypeParam const text(T_("abc"));

    enum EPlace : int
    {
        eSecond = 1
    };

    EXPECT_EQ(text[1], C_('b'));
    EXPECT_EQ(text[1U], C_('b'));
    EXPECT_EQ(text[1L], C_('b'));
    EXPECT_EQ(text[1LL], C_('b'));
    EXPECT_EQ(text[std::size_t(1)], C_('b'));
    EXPECT_EQ(text[std::ptrdiff_t(1)], C_('b'));
    EXPECT_EQ(text[static_cast<short>(1)], C_('b'));
    EXPECT_EQ(text[eSecond], C_('b'));
}

TYPED_TEST(CStringTMember, IndexGivesTheNulAtTheEndAndRefusesBeyond)
{
    TypeParam const text(T_("abc"));
    EXPECT_EQ(text[3], C_(0));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text[4]);
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text[-1]);
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text[-1L]);
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text[1ULL << 40]);
}

// ---- the buffer

TYPED_TEST(CStringTMember, ReleaseBufferEndsTheTextAtTheFirstNul)
{
    TypeParam text(T_("abc"));
    auto* const buffer = text.GetBuffer(10);
    EXPECT_EQ(buffer[0], C_('a'));
    for (int n = 3; n < 7; ++n)
    {
        buffer[n] = C_('x');
    }
    buffer[7] = C_(0);
    text.ReleaseBuffer();
    EXPECT_EQ(text, T_("abcxxxx"));
}

TYPED_TEST(CStringTMember, GetBufferHasRoomForAllCharactersAndTheNul)
{
    TypeParam text;
    auto* const buffer = text.GetBuffer(40);
    std::fill(buffer, buffer + 40, C_('y'));
    buffer[40] = C_(0);
    text.ReleaseBuffer();
    EXPECT_EQ(text.GetLength(), 40);
}

TYPED_TEST(CStringTMember, ReleaseBufferTakesALengthWithNulsInside)
{
    TypeParam text;
    auto* const buffer = text.GetBuffer(5);
    buffer[0] = C_('a');
    buffer[1] = C_(0);
    buffer[2] = C_('b');
    text.ReleaseBuffer(3);
    EXPECT_EQ(text, textWithNul<TypeParam>());
    text.GetBuffer();
    text.ReleaseBuffer(0);
    EXPECT_TRUE(text.IsEmpty());
}

TYPED_TEST(CStringTMember, ReleaseBufferRefusesMoreThanTheBuffer)
{
    TypeParam text(T_("abc"));
    text.GetBuffer(5);
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.ReleaseBuffer(6));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.ReleaseBuffer(-2));
    EXPECT_EQ(text.GetLength(), 5);
    text.ReleaseBuffer(5);
    EXPECT_EQ(text.GetLength(), 5);
}

TYPED_TEST(CStringTMember, GetBufferKeepsALongerText)
{
    TypeParam text(T_("abcdef"));
    text.GetBuffer(2);
    text.ReleaseBuffer();
    EXPECT_EQ(text, T_("abcdef"));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.GetBuffer(-1));
}

TYPED_TEST(CStringTMember, GetBufferSetLengthCutsAndFills)
{
    TypeParam text(T_("abc"));
    auto* buffer = text.GetBufferSetLength(5);
    EXPECT_EQ(buffer[2], C_('c'));
    EXPECT_EQ(buffer[3], C_(0));
    buffer[3] = buffer[4] = C_('d');
    EXPECT_EQ(text, T_("abcdd"));
    text.GetBufferSetLength(1);
    EXPECT_EQ(text, T_("a"));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.GetBufferSetLength(-1));
    EXPECT_EQ(text, T_("a"));
}

TYPED_TEST(CStringTMember, PreallocateKeepsTheTextAndItsPlaceWhileItGrows)
{
    TypeParam text(T_("abc"));
    text.Preallocate(500);
    auto const* const place = text.GetString();
    for (int n = 3; n < 500; ++n)
    {
        text.AppendChar(C_('x'));
    }
    EXPECT_EQ(text.GetString(), place);
    text.Preallocate(-1);
    text.FreeExtra();
    EXPECT_EQ(text.GetLength(), 500);
}

TYPED_TEST(CStringTMember, TruncateCutsAndNeverGrows)
{
    TypeParam text(T_("abcdef"));
    text.Truncate(9);
    EXPECT_EQ(text, T_("abcdef"));
    text.Truncate(2);
    EXPECT_EQ(text, T_("ab"));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.Truncate(-1));
    text.Truncate(0);
    EXPECT_TRUE(text.IsEmpty());
}

// ---- appending

TYPED_TEST(CStringTMember, AppendsTextsAndCharacters)
{
    TypeParam text;
    text.Append(T_("ab"));
    text.Append(T_("cdef"), 1);
    text.Append(TypeParam(T_("d")));
    text.AppendChar(C_('e'));
    EXPECT_EQ(text, T_("abcde"));
    text += T_("f");
    text += C_('g');
    text += TypeParam(T_("h"));
    typename TypeParam::YCHAR const other[] = {'i', 0};
    text += other;
    text += typename TypeParam::YCHAR('j');
    EXPECT_EQ(text, T_("abcdefghij"));
}

TYPED_TEST(CStringTMember, AppendsNothingForANullPointer)
{
    TypeParam text(T_("a"));
    text.Append(NULL_);
    text.Append(NULL_, 3);
    text += NULL_;
    EXPECT_EQ(text, T_("a"));
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, text.Append(T_("b"), -1));
    EXPECT_EQ(text, T_("a"));
}

TYPED_TEST(CStringTMember, AppendsItself)
{
    TypeParam text(T_("0123456789"));
    text += text;
    text += text;
    text += text.GetString();
    EXPECT_EQ(text.GetLength(), 80);
    text.Append(text.GetString() + 78);
    EXPECT_EQ(text.Right(4), T_("8989"));
    text.AppendChar(text.GetAt(0));
    EXPECT_EQ(text.Right(3), T_("890"));
}

TYPED_TEST(CStringTMember, AppendsNulsOfATextButNotOfAPointer)
{
    TypeParam text = textWithNul<TypeParam>();
    text += textWithNul<TypeParam>();
    EXPECT_EQ(text.GetLength(), 6);
    text += textWithNul<TypeParam>().GetString();
    EXPECT_EQ(text.GetLength(), 7);
}

TYPED_TEST(CStringTMember, JoinsEveryCombinationOfOperands)
{
    TypeParam const a(T_("a"));
    TypeParam const b(T_("b"));
    EXPECT_EQ(a + b, T_("ab"));
    EXPECT_EQ(a + T_("b"), T_("ab"));
    EXPECT_EQ(T_("a") + b, T_("ab"));
    EXPECT_EQ(a + C_('b'), T_("ab"));
    EXPECT_EQ(C_('a') + b, T_("ab"));
    EXPECT_EQ(a + b + a + T_("c") + C_('d'), T_("abacd"));
    EXPECT_EQ(a + NULL_, T_("a"));
    EXPECT_EQ(NULL_ + a, T_("a"));
    EXPECT_EQ((textWithNul<TypeParam>() + a).GetLength(), 4);
    typename TypeParam::YCHAR const other[] = {'o', 0};
    EXPECT_EQ(a + other, T_("ao"));
    static_assert(std::is_same_v<decltype(a + b), TypeParam>);
}

TYPED_TEST(CStringTMember, JoinsATemporaryWithItself)
{
    TypeParam text(C_('x'), 20);
    TypeParam const joined = std::move(text) + text;
    EXPECT_EQ(joined.GetLength(), 40);
}

// ---- comparing

TYPED_TEST(CStringTMember, ComparesWithTextsAndPointersOnEitherSide)
{
    TypeParam const text(T_("abc"));
    EXPECT_TRUE(text == TypeParam(T_("abc")));
    EXPECT_TRUE(text == T_("abc"));
    EXPECT_TRUE(T_("abc") == text);
    EXPECT_TRUE(text != T_("abd"));
    EXPECT_TRUE(T_("abd") != text);
    EXPECT_TRUE(text != TypeParam());
    EXPECT_TRUE(text < T_("abd"));
    EXPECT_TRUE(T_("abb") < text);
    EXPECT_TRUE(text < TypeParam(T_("abcd")));
    EXPECT_TRUE(text > T_("ab"));
    EXPECT_TRUE(T_("b") > text);
    EXPECT_TRUE(text <= T_("abc"));
    EXPECT_TRUE(T_("abc") <= text);
    EXPECT_TRUE(text >= T_("abc"));
    EXPECT_TRUE(T_("abc") >= text);
    EXPECT_FALSE(text < text.GetString());
    EXPECT_FALSE(T_("abc") > text);
}

TYPED_TEST(CStringTMember, ComparesContentsNotAddresses)
{
    TypeParam const a(T_("same"));
    TypeParam const b(T_("same"));
    ASSERT_NE(a.GetString(), b.GetString());
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a < b);
    EXPECT_FALSE(a > b.GetString());
}

TYPED_TEST(CStringTMember, ComparesANullPointerAsTheEmptyText)
{
    EXPECT_TRUE(TypeParam() == NULL_);
    EXPECT_TRUE(TypeParam() == nullptr);
    EXPECT_TRUE(TypeParam(T_("a")) != nullptr);
    EXPECT_TRUE(TypeParam(T_("a")) > NULL_);
    EXPECT_EQ(TypeParam().Compare(NULL_), 0);
    EXPECT_EQ(TypeParam(T_("a")).Compare(NULL_), 1);
    EXPECT_EQ(TypeParam().CompareNoCase(NULL_), 0);
    EXPECT_EQ(TypeParam(T_("a")).CompareNoCase(NULL_), 1);
    EXPECT_EQ(TypeParam().Collate(NULL_), 0);
}

TYPED_TEST(CStringTMember, ComparesWithTheOtherWidthAndWithStandardStrings)
{
    typename TypeParam::YCHAR const other[] = {'a', 'b', 0};
    EXPECT_TRUE(TypeParam(T_("ab")) == other);
    EXPECT_TRUE(other == TypeParam(T_("ab")));
    EXPECT_TRUE(TypeParam(T_("ab")) == std::basic_string<typename TypeParam::XCHAR>(T_("ab")));
}

TYPED_TEST(CStringTMember, ComparesWithOneCharacter)
{
    EXPECT_TRUE(TypeParam(T_("x")) == C_('x'));
    EXPECT_TRUE(C_('x') == TypeParam(T_("x")));
    EXPECT_TRUE(TypeParam(T_("xx")) != C_('x'));
    EXPECT_FALSE(TypeParam() == C_(0));
}

TYPED_TEST(CStringTMember, ComparesCharactersBehindANulToo)
{
    TypeParam const text = textWithNul<TypeParam>();
    EXPECT_TRUE(text == textWithNul<TypeParam>());
    EXPECT_FALSE(text == T_("a"));
    EXPECT_EQ(text.Compare(T_("a")), 1);
    EXPECT_EQ(text.Compare(TypeParam(T_("a")) + C_(0) + C_('c')), -1);
    EXPECT_EQ(text.CompareNoCase(TypeParam(T_("A")) + C_(0) + C_('B')), 0);
}

TYPED_TEST(CStringTMember, CompareGivesTheSign)
{
    TypeParam const text(T_("m"));
    EXPECT_EQ(text.Compare(T_("a")), 1);
    EXPECT_EQ(text.Compare(T_("m")), 0);
    EXPECT_EQ(text.Compare(T_("z")), -1);
    EXPECT_EQ(text.Compare(TypeParam(T_("z"))), -1);
    EXPECT_EQ(text.Compare(T_("M")), 1);
}

TYPED_TEST(CStringTMember, ComparesCharactersAsUnsigned)
{
    EXPECT_TRUE(TypeParam(C_('a')) < TypeParam(C_(0xE4)));
    EXPECT_EQ(TypeParam(C_('a')).Compare(TypeParam(C_(0xE4))), -1);
    EXPECT_EQ(TypeParam(C_('a')).CompareNoCase(TypeParam(C_(0xE4))), -1);
}

TYPED_TEST(CStringTMember, CompareNoCaseFoldsToLowerCase)
{
    TypeParam const text(T_("HeLLo"));
    EXPECT_EQ(text.CompareNoCase(T_("hEllO")), 0);
    EXPECT_EQ(text.CompareNoCase(TypeParam(T_("HELLO"))), 0);
    EXPECT_EQ(text.CompareNoCase(T_("help")), -1);
    EXPECT_EQ(text.CompareNoCase(T_("hell")), 1);
    // The underscore stands between the upper-case and the lower-case letters.
    EXPECT_EQ(TypeParam(T_("Z")).CompareNoCase(T_("_")), 1);
}

TYPED_TEST(CStringTMember, CollatesByTheCLocale)
{
    EXPECT_EQ(TypeParam(T_("a")).Collate(T_("B")), 1);
    EXPECT_EQ(TypeParam(T_("a")).Collate(T_("a")), 0);
    EXPECT_EQ(TypeParam(T_("a")).Collate(T_("b")), -1);
    EXPECT_EQ(textWithNul<TypeParam>().Collate(T_("a")), 0);
}

TYPED_TEST(CStringTMember, HashesLikeItsStandardString)
{
    TypeParam const text = textWithNul<TypeParam>();
    std::basic_string<typename TypeParam::XCHAR> const standard(text.GetString(), 3);
    EXPECT_EQ(std::hash<TypeParam>()(text), std::hash<std::basic_string<typename TypeParam::XCHAR>>()(standard));
    std::unordered_set<TypeParam> set{TypeParam(T_("a")), TypeParam(T_("b")), TypeParam(T_("a"))};
    EXPECT_EQ(set.size(), 2U);
    EXPECT_TRUE(set.contains(TypeParam(T_("b"))));
}

// ---- parts

TYPED_TEST(CStringTMember, LeftAndRightClampToTheText)
{
    TypeParam const text(T_("abcdef"));
    EXPECT_EQ(text.Left(2), T_("ab"));
    EXPECT_EQ(text.Left(99), T_("abcdef"));
    EXPECT_TRUE(text.Left(0).IsEmpty());
    EXPECT_TRUE(text.Left(-3).IsEmpty());
    EXPECT_EQ(text.Right(2), T_("ef"));
    EXPECT_EQ(text.Right(99), T_("abcdef"));
    EXPECT_TRUE(text.Right(0).IsEmpty());
    EXPECT_TRUE(text.Right(-3).IsEmpty());
}

TYPED_TEST(CStringTMember, MidClampsPositionAndCount)
{
    TypeParam const text(T_("abcdef"));
    EXPECT_EQ(text.Mid(2), T_("cdef"));
    EXPECT_EQ(text.Mid(2, 3), T_("cde"));
    EXPECT_EQ(text.Mid(4, INT_MAX), T_("ef"));
    EXPECT_EQ(text.Mid(-4, 2), T_("ab"));
    EXPECT_EQ(text.Mid(-4), T_("abcdef"));
    EXPECT_TRUE(text.Mid(2, -1).IsEmpty());
    EXPECT_TRUE(text.Mid(6).IsEmpty());
    EXPECT_TRUE(text.Mid(INT_MAX, INT_MAX).IsEmpty());
}

TYPED_TEST(CStringTMember, PartsKeepNuls)
{
    EXPECT_EQ(textWithNul<TypeParam>().Right(2).GetLength(), 2);
    EXPECT_EQ(textWithNul<TypeParam>().Mid(0, 3), textWithNul<TypeParam>());
}

TYPED_TEST(CStringTMember, SpansTheLeadingCharacters)
{
    TypeParam const text(T_("cabinet"));
    EXPECT_EQ(text.SpanIncluding(T_("abc")), T_("cab"));
    EXPECT_TRUE(text.SpanIncluding(T_("xyz")).IsEmpty());
    EXPECT_EQ(text.SpanIncluding(T_("abceint")), T_("cabinet"));
    EXPECT_EQ(text.SpanExcluding(T_("in")), T_("cab"));
    EXPECT_TRUE(text.SpanExcluding(T_("c")).IsEmpty());
    EXPECT_EQ(text.SpanExcluding(T_("xyz")), T_("cabinet"));
}

TYPED_TEST(CStringTMember, SpansWithAnEmptySet)
{
    TypeParam const text(T_("abc"));
    EXPECT_TRUE(text.SpanIncluding(NULL_).IsEmpty());
    EXPECT_EQ(text.SpanExcluding(NULL_), T_("abc"));
}

TYPED_TEST(CStringTMember, TokenizeGivesTheTokensAndThenEnds)
{
    TypeParam const text(T_("%First Second#Third"));
    int start = 0;
    EXPECT_EQ(text.Tokenize(T_("% #"), start), T_("First"));
    EXPECT_EQ(start, 7);
    EXPECT_EQ(text.Tokenize(T_("% #"), start), T_("Second"));
    EXPECT_EQ(start, 14);
    EXPECT_EQ(text.Tokenize(T_("% #"), start), T_("Third"));
    EXPECT_EQ(start, 20);
    EXPECT_TRUE(text.Tokenize(T_("% #"), start).IsEmpty());
    EXPECT_EQ(start, -1);
}

TYPED_TEST(CStringTMember, TokenizeSkipsRunsOfDelimiters)
{
    TypeParam const text(T_(",,a,,b,,"));
    int start = 0;
    EXPECT_EQ(text.Tokenize(T_(","), start), T_("a"));
    EXPECT_EQ(text.Tokenize(T_(","), start), T_("b"));
    EXPECT_TRUE(text.Tokenize(T_(","), start).IsEmpty());
    EXPECT_EQ(start, -1);
}

TYPED_TEST(CStringTMember, TokenizeTakesTheRestWithoutDelimiters)
{
    TypeParam const text(T_("a b"));
    int start = 1;
    EXPECT_EQ(text.Tokenize(NULL_, start), T_(" b"));
    EXPECT_TRUE(text.Tokenize(T_(""), start).IsEmpty());
    EXPECT_EQ(start, -1);
}

TYPED_TEST(CStringTMember, TokenizeRefusesAUsedUpStart)
{
    int start = -1;
    EXPECT_RESULT_RAISED(AtlResult::c_InvalidArg, TypeParam(T_("abc")).Tokenize(T_(","), start));
    start = INT_MAX;
    EXPECT_TRUE(TypeParam(T_("abc")).Tokenize(T_(","), start).IsEmpty());
    EXPECT_EQ(start, -1);
}

// ---- searching

TYPED_TEST(CStringTMember, FindsCharactersFromAStart)
{
    TypeParam const text(T_("abcabc"));
    EXPECT_EQ(text.Find(C_('b')), 1);
    EXPECT_EQ(text.Find(C_('b'), 2), 4);
    EXPECT_EQ(text.Find(C_('x')), -1);
    EXPECT_EQ(text.Find(C_('a'), 6), -1);
    EXPECT_EQ(text.Find(C_('a'), 7), -1);
    EXPECT_EQ(text.Find(C_('a'), -1), -1);
    EXPECT_EQ(textWithNul<TypeParam>().Find(C_(0)), 1);
    EXPECT_EQ(textWithNul<TypeParam>().Find(C_('b')), 2);
}

TYPED_TEST(CStringTMember, FindsTextsFromAStart)
{
    TypeParam const text(T_("abcabc"));
    EXPECT_EQ(text.Find(T_("bc")), 1);
    EXPECT_EQ(text.Find(T_("bc"), 2), 4);
    EXPECT_EQ(text.Find(T_("cab")), 2);
    EXPECT_EQ(text.Find(T_("abcabcd")), -1);
    EXPECT_EQ(text.Find(T_("a"), 6), -1);
    EXPECT_EQ(text.Find(T_("a"), -1), -1);
    EXPECT_EQ(text.Find(text), 0);
}

TYPED_TEST(CStringTMember, FindsTheEmptyTextAtTheStart)
{
    TypeParam const text(T_("abc"));
    EXPECT_EQ(text.Find(T_("")), 0);
    EXPECT_EQ(text.Find(NULL_, 2), 2);
    EXPECT_EQ(text.Find(T_(""), 3), 3);
    EXPECT_EQ(text.Find(T_(""), 4), -1);
}

TYPED_TEST(CStringTMember, FindsFromTheEndAndOneOfASet)
{
    TypeParam const text(T_("abcabc"));
    EXPECT_EQ(text.ReverseFind(C_('b')), 4);
    EXPECT_EQ(text.ReverseFind(C_('x')), -1);
    EXPECT_EQ(TypeParam().ReverseFind(C_('x')), -1);
    EXPECT_EQ(text.FindOneOf(T_("cb")), 1);
    EXPECT_EQ(text.FindOneOf(T_("xyz")), -1);
    EXPECT_EQ(text.FindOneOf(T_("")), -1);
    EXPECT_EQ(text.FindOneOf(NULL_), -1);
}

// ---- changing

TYPED_TEST(CStringTMember, MapsCaseOfAsciiAndLeavesTheRestInTheCLocale)
{
    TypeParam text = TypeParam(T_("aBc1_")) + C_(0) + C_('D') + C_(0xC4);
    text.MakeLower();
    EXPECT_EQ(text, TypeParam(T_("abc1_")) + C_(0) + C_('d') + C_(0xC4));
    EXPECT_EQ(text.MakeUpper(), TypeParam(T_("ABC1_")) + C_(0) + C_('D') + C_(0xC4));
}

TYPED_TEST(CStringTMember, ReversesTheOrder)
{
    TypeParam text(T_("abc"));
    EXPECT_EQ(text.MakeReverse(), T_("cba"));
    EXPECT_TRUE(TypeParam().MakeReverse().IsEmpty());
}

TYPED_TEST(CStringTMember, TrimsWhiteSpace)
{
    TypeParam const text(T_(" \t\n\v\f\r a b \r\f\v\n\t "));
    EXPECT_EQ(TypeParam(text).Trim(), T_("a b"));
    EXPECT_EQ(TypeParam(text).TrimLeft(), T_("a b \r\f\v\n\t "));
    EXPECT_EQ(TypeParam(text).TrimRight(), T_(" \t\n\v\f\r a b"));
    EXPECT_TRUE(TypeParam(T_(" \t ")).Trim().IsEmpty());
    EXPECT_TRUE(TypeParam(T_(" \t ")).TrimRight().IsEmpty());
    EXPECT_TRUE(TypeParam().TrimLeft().IsEmpty());
    EXPECT_EQ(TypeParam(C_(0), 2).Trim().GetLength(), 2);
}

TYPED_TEST(CStringTMember, TrimsOneCharacterOrASet)
{
    TypeParam const text(T_("xyabyx"));
    EXPECT_EQ(TypeParam(text).Trim(C_('x')), T_("yaby"));
    EXPECT_EQ(TypeParam(text).TrimLeft(C_('x')), T_("yabyx"));
    EXPECT_EQ(TypeParam(text).TrimRight(C_('x')), T_("xyaby"));
    EXPECT_EQ(TypeParam(text).Trim(T_("xy")), T_("ab"));
    EXPECT_EQ(TypeParam(text).TrimLeft(T_("xy")), T_("abyx"));
    EXPECT_EQ(TypeParam(text).TrimRight(T_("xy")), T_("xyab"));
    EXPECT_EQ(TypeParam(text).Trim(T_("")), T_("xyabyx"));
    EXPECT_EQ(TypeParam(text).Trim(NULL_), T_("xyabyx"));
    EXPECT_TRUE(TypeParam(text).Trim(T_("abxy")).IsEmpty());
    TypeParam self(T_("abc"));
    EXPECT_TRUE(self.Trim(self.GetString()).IsEmpty());
}

TYPED_TEST(CStringTMember, InsertsAndGivesTheNewLength)
{
    TypeParam text(T_("ad"));
    EXPECT_EQ(text.Insert(1, T_("bc")), 4);
    EXPECT_EQ(text, T_("abcd"));
    EXPECT_EQ(text.Insert(0, C_('_')), 5);
    EXPECT_EQ(text, T_("_abcd"));
    EXPECT_EQ(text.Insert(1, TypeParam(T_("^"))), 6);
    EXPECT_EQ(text, T_("_^abcd"));
    EXPECT_EQ(text.Insert(2, NULL_), 6);
    EXPECT_EQ(text.Insert(0, textWithNul<TypeParam>()), 9);
}

TYPED_TEST(CStringTMember, InsertClampsItsPosition)
{
    TypeParam text(T_("b"));
    text.Insert(-5, T_("a"));
    text.Insert(99, T_("c"));
    text.Insert(99, C_('d'));
    text.Insert(INT_MAX, TypeParam(T_("e")));
    EXPECT_EQ(text, T_("abcde"));
}

TYPED_TEST(CStringTMember, InsertsItself)
{
    TypeParam text(T_("0123456789abc"));
    text.Insert(0, text);
    EXPECT_EQ(text, T_("0123456789abc0123456789abc"));
    text.Insert(13, text.GetString() + 24);
    EXPECT_EQ(text, T_("0123456789abcbc0123456789abc"));
    text.Insert(1, text.GetString());
    EXPECT_EQ(text.GetLength(), 56);
    EXPECT_EQ(text.Left(4), T_("0012"));
    EXPECT_EQ(text.Mid(27, 4), T_("bc12"));
}

TYPED_TEST(CStringTMember, DeletesWithClampedFigures)
{
    TypeParam text(T_("abcdef"));
    EXPECT_EQ(text.Delete(1), 5);
    EXPECT_EQ(text, T_("acdef"));
    EXPECT_EQ(text.Delete(1, 2), 3);
    EXPECT_EQ(text, T_("aef"));
    EXPECT_EQ(text.Delete(3, 1), 3);
    EXPECT_EQ(text.Delete(99, 1), 3);
    EXPECT_EQ(text.Delete(1, -1), 3);
    EXPECT_EQ(text.Delete(-1, 1), 2);
    EXPECT_EQ(text, T_("ef"));
    EXPECT_EQ(text.Delete(1, INT_MAX), 1);
    EXPECT_EQ(text, T_("e"));
}

TYPED_TEST(CStringTMember, RemovesEveryOccurrenceOfACharacter)
{
    TypeParam text(T_("aXbXcxX"));
    EXPECT_EQ(text.Remove(C_('X')), 3);
    EXPECT_EQ(text, T_("abcx"));
    EXPECT_EQ(text.Remove(C_('X')), 0);
    TypeParam nul = textWithNul<TypeParam>();
    EXPECT_EQ(nul.Remove(C_(0)), 1);
    EXPECT_EQ(nul, T_("ab"));
}

TYPED_TEST(CStringTMember, ReplacesCharacters)
{
    TypeParam text(T_("banana"));
    EXPECT_EQ(text.Replace(C_('a'), C_('o')), 3);
    EXPECT_EQ(text, T_("bonono"));
    EXPECT_EQ(text.Replace(C_('x'), C_('y')), 0);
    EXPECT_EQ(text.Replace(C_('o'), C_('o')), 3);
}

TYPED_TEST(CStringTMember, ReplacesTextsOfAnyLength)
{
    TypeParam text(T_("one two one"));
    EXPECT_EQ(text.Replace(T_("one"), T_("three")), 2);
    EXPECT_EQ(text, T_("three two three"));
    EXPECT_EQ(text.Replace(T_("three"), T_("3")), 2);
    EXPECT_EQ(text, T_("3 two 3"));
    EXPECT_EQ(text.Replace(T_(" "), NULL_), 2);
    EXPECT_EQ(text, T_("3two3"));
    EXPECT_EQ(text.Replace(T_(""), T_("x")), 0);
    EXPECT_EQ(text.Replace(NULL_, T_("x")), 0);
    EXPECT_EQ(text.Replace(T_("four"), T_("x")), 0);
    EXPECT_EQ(text, T_("3two3"));
}

TYPED_TEST(CStringTMember, ReplaceDoesNotLookIntoWhatItPutIn)
{
    TypeParam text(T_("aaa"));
    EXPECT_EQ(text.Replace(T_("aa"), T_("aaaa")), 1);
    EXPECT_EQ(text, T_("aaaaa"));
}

TYPED_TEST(CStringTMember, ReplacesBehindANul)
{
    TypeParam text = textWithNul<TypeParam>();
    EXPECT_EQ(text.Replace(T_("b"), T_("cd")), 1);
    EXPECT_EQ(text.GetLength(), 4);
    EXPECT_EQ(text.GetAt(1), C_(0));
    EXPECT_EQ(text.GetAt(3), C_('d'));
}

TYPED_TEST(CStringTMember, ReplacesItselfAndItsParts)
{
    TypeParam text(T_("abcabc"));
    EXPECT_EQ(text.Replace(text, T_("x")), 1);
    EXPECT_EQ(text, T_("x"));
    text = T_("abcabc");
    EXPECT_EQ(text.Replace(text.GetString() + 3, text.GetString()), 2);
    EXPECT_EQ(text, T_("abcabcabcabc"));
}

TYPED_TEST(CStringTMember, WritesToAStandardStream)
{
    std::basic_ostringstream<typename TypeParam::XCHAR> stream;
    stream.width(5);
    stream << TypeParam(T_("abc")) << textWithNul<TypeParam>();
    EXPECT_EQ(stream.str().size(), 8U);
    EXPECT_EQ(stream.str().substr(0, 6), std::basic_string<typename TypeParam::XCHAR>(T_("  abca")));
}

// ---- conversion beyond ASCII: the code page is the process's, so only what holds in all of them is expected

TEST(CStringTConversion, KeepsTheAsciiPartOfMixedText)
{
    CStringA const narrow(L"ab\u00E4");
    EXPECT_EQ(narrow.Left(2), "ab");
    EXPECT_GE(narrow.GetLength(), 3);
    CStringW const wide("ab\xC3\xA4");
    EXPECT_EQ(wide.Left(2), L"ab");
    EXPECT_GE(wide.GetLength(), 3);
}

TEST(CStringTConversion, ReturnsWhatTheCodePageHolds)
{
    // In code page 1252 and in UTF-8 alike.
    wchar_t const original[] = L"\u00E4\u00F6\u00FC \u20AC end";
    EXPECT_EQ(CStringW(CStringA(original)), original);
}

TEST(CStringTConversion, KeepsNulsBesideOtherCharacters)
{
    wchar_t const original[] = {L'a', 0, 0xE4, L'b'};
    CStringW const back(CStringA(original, 4));
    EXPECT_EQ(back, CStringW(original, 4));
}

TEST(CStringTConversion, ConvertsOneCharacterAsText)
{
    CStringA narrow(L'\u00E4', 2);
    EXPECT_EQ(CStringW(narrow), L"\u00E4\u00E4");
    narrow = L'\u00E4';
    EXPECT_EQ(CStringW(narrow), L"\u00E4");
    narrow += L'\u00F6';
    EXPECT_EQ(CStringW(narrow), L"\u00E4\u00F6");
}

TEST(CStringTOrder, OfWideTextIsThatOfItsUtf16Units)
{
    CStringW const smaller(L"same \U0001F600");
    CStringW const larger(L"same \uFF21");

    EXPECT_EQ(smaller.Compare(larger), -1);
    EXPECT_EQ(larger.Compare(smaller), 1);
    EXPECT_EQ(smaller.Compare(L"same \uFF21"), -1);
    EXPECT_EQ(larger.Compare(L"same \U0001F600"), 1);
    EXPECT_EQ(smaller.CompareNoCase(larger), -1);
    EXPECT_EQ(larger.CompareNoCase(L"SAME \U0001F600"), 1);
    EXPECT_TRUE(smaller < larger);
    EXPECT_FALSE(larger < smaller);
    EXPECT_TRUE(larger > L"same \U0001F600");
    EXPECT_TRUE(L"same \uFF21" > smaller);
}

TEST(CStringTOrder, OfWideTextIsTheSameOnBothSidesOfTheSurrogates)
{
    // In this order, each below all that follow it.
    std::vector<CStringW> const ordered = {L"",           L"a",          L"a\U0001F600", L"a\uFF21",     L"\uD7FF",
                                           L"\U00010000", L"\U00010001", L"\U0001F600",  L"\U0001F600a", L"\U0001F601",
                                           L"\U0010FFFF", L"\uE000",     L"\uFF21",      L"\uFFFD"};
    for (std::size_t left = 0; left < ordered.size(); ++left)
    {
        for (std::size_t right = 0; right < ordered.size(); ++right)
        {
            EXPECT_EQ(ordered[left] < ordered[right], left < right) << left << ' ' << right;
            EXPECT_EQ(ordered[left] == ordered[right], left == right) << left << ' ' << right;
        }
    }
}

TEST(CStringTOrder, LooksBehindLoneSurrogates)
{
    wchar_t const half[] = {0xD83D, 0};
    wchar_t const halfAndLetter[] = {0xD83D, L'z', 0};
    wchar_t const halfAndMore[] = {0xD83D, 0xE000, 0};
    wchar_t const lowHalf[] = {0xDC00, 0};
    CStringW const whole(L"\U0001F600");

    EXPECT_TRUE(CStringW(half) < whole);
    EXPECT_TRUE(CStringW(halfAndLetter) < whole);
    EXPECT_TRUE(CStringW(halfAndMore) > whole);
    EXPECT_TRUE(CStringW(lowHalf) > whole);
    EXPECT_TRUE(CStringW(lowHalf) < CStringW(L"\uE000"));
}

TEST(CStringTOrder, OfEqualTextsIsNone)
{
    // A pair of surrogates is one text on every target, but where wchar_t has 32 bits it is not the same characters.
    wchar_t const pair[] = {0xD83D, 0xDE00, 0};
    CStringW const units(pair);
    CStringW const whole(L"\U0001F600");

    EXPECT_EQ(units < whole || whole < units, units != whole);
    EXPECT_FALSE(units < whole && whole < units);
    EXPECT_FALSE(units < units);
}

TEST(CStringTOrder, FindsTheDifferenceAnywhereInALongText)
{
    for (int position = 0; position < 40; ++position)
    {
        CStringW smaller(L'm', 40);
        CStringW larger(L'm', 40);
        larger.SetAt(position, L'n');
        if (position > 0)
        {
            smaller.SetAt(position - 1, L'\uFF21');
            larger.SetAt(position - 1, L'\uFF21');
        }
        EXPECT_EQ(smaller.Compare(larger), -1) << position;
        EXPECT_EQ(larger.Compare(smaller), 1) << position;
        EXPECT_EQ(smaller.Left(position).Compare(smaller), -1) << position;
        EXPECT_EQ(smaller.Compare(smaller.Left(position)), 1) << position;
    }
}

TEST(CStringTTrim, TakesUnicodeWhiteSpaceFromWideText)
{
    wchar_t const spaces[] = {0x85, 0xA0, 0x1680, 0x2000, 0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000, L'x', 0};
    EXPECT_EQ(CStringW(spaces).TrimLeft(), L"x");
    EXPECT_EQ(CStringW(spaces).MakeReverse().TrimRight(), L"x");
    EXPECT_EQ(CStringW(L"\u200Bx").Trim().GetLength(), 2); // a zero-width space takes no room and is none
}

TEST(CStringTTrim, LeavesBytesBeyondAsciiInNarrowText)
{
    EXPECT_EQ(CStringA("\xA0x\x85").Trim().GetLength(), 3);
}
