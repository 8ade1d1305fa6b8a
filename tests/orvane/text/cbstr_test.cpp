#include "orvane/text/cbstr.h"

#include <climits>
#include <cstdarg>
#include <string>
#include <type_traits>
#include <typeinfo>

#include <gtest/gtest.h>

#include "orvane/object/iobject.h"
#include "platform/platform.h"
#include "support/logrecorder.h"
#include "support/raises.h"

namespace
{
using WideText = CbStrT<std::wstring>;
using NarrowText = CbStrT<std::string>;

// What a formatting failure says about its place: the same text with every compiler.
constexpr char const* c_WideFunction =
    "CbStrT<class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,class std::allocator<wchar_t> > >::Format";

static_assert(std::is_base_of_v<IException, WideText::CException>);
static_assert(!std::is_base_of_v<IObject, WideText::CException>);
static_assert(std::is_convertible_v<WideText const&, std::wstring const&>);

WideText formatV(wchar_t const* format, ...)
{
    WideText text;
    va_list arguments;
    va_start(arguments, format);
    try
    {
        text.FormatV(format, arguments);
    }
    catch (...)
    {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
    return text;
}
} // namespace

TEST(CbStrT, IsEmptyWhenMade)
{
    EXPECT_EQ(WideText().Get(), L"");
    EXPECT_EQ(NarrowText().Get(), "");
}

TEST(CbStrT, ConvertsToItsString)
{
    WideText text;
    text.Format(L"abc");
    std::wstring const& string = text;

    EXPECT_EQ(&string, &text.Get());
    EXPECT_EQ(string, L"abc");
}

TEST(CbStrT, IsCopiedWithItsText)
{
    WideText text;
    text.Format(L"abc");
    WideText const copy(text);
    text.Format(L"def");

    EXPECT_EQ(copy.Get(), L"abc");
}

TEST(CbStrTFormat, TakesTextOfTheFormatsOwnWidth)
{
    WideText wide;
    wide.Format(L"<%s>", L"wide");
    NarrowText narrow;
    narrow.Format("<%s>", "narrow");

    EXPECT_EQ(wide.Get(), L"<wide>");
    EXPECT_EQ(narrow.Get(), "<narrow>");
}

TEST(CbStrTFormat, TakesTextOfTheOtherWidthByTheCapitalLetter)
{
    WideText wide;
    wide.Format(L"<%S>", "narrow");
    NarrowText narrow;
    narrow.Format("<%S>", L"wide");

    EXPECT_EQ(wide.Get(), L"<narrow>");
    EXPECT_EQ(narrow.Get(), "<wide>");
}

TEST(CbStrTFormat, TakesTextOfANamedWidth)
{
    WideText wide;
    wide.Format(L"%hs %ls", "narrow", L"wide");
    NarrowText narrow;
    narrow.Format("%hs %ls", "narrow", L"wide");

    EXPECT_EQ(wide.Get(), L"narrow wide");
    EXPECT_EQ(narrow.Get(), "narrow wide");
}

TEST(CbStrTFormat, ReadsAllBitsOfA64BitNumber)
{
    WideText wide;
    wide.Format(L"%I64d %I64i %I64u %I64X", LLONG_MIN, LLONG_MAX, ULLONG_MAX, 0x123456789ABCDEFull);
    NarrowText narrow;
    narrow.Format("%I64d|%d", -1'234'567'890'123ll, 5);

    EXPECT_EQ(wide.Get(), L"-9223372036854775808 9223372036854775807 18446744073709551615 123456789ABCDEF");
    EXPECT_EQ(narrow.Get(), "-1234567890123|5");
}

TEST(CbStrTFormat, PadsWithZeroesToAGivenWidth)
{
    WideText text;
    text.Format(L"%0*i'%0*i", 3, 7, 3, 123);

    EXPECT_EQ(text.Get(), L"007'123");
}

TEST(CbStrTFormat, PrintsPointersAsSixteenCapitalDigits)
{
    WideText wide;
    wide.Format(L"%p", reinterpret_cast<void*>(0xABCDEF12345ull));
    NarrowText narrow;
    narrow.Format("%p", static_cast<void*>(nullptr));

    EXPECT_EQ(wide.Get(), L"00000ABCDEF12345");
    EXPECT_EQ(narrow.Get(), "0000000000000000");
}

TEST(CbStrTFormat, PrintsFloatingPointNumbers)
{
    WideText text;
    text.Format(L"%.3lf %f %e", 1.5, -0.25, 12345.0);

    EXPECT_EQ(text.Get(), L"1.500 -0.250000 1.234500e+004");
}

TEST(CbStrTFormat, PrintsCharactersAndPercentSigns)
{
    WideText wide;
    wide.Format(L"%c%C 100%%", L'w', 'n');
    NarrowText narrow;
    narrow.Format("%c 100%%", 'n');

    EXPECT_EQ(wide.Get(), L"wn 100%");
    EXPECT_EQ(narrow.Get(), "n 100%");
}

TEST(CbStrTFormat, KeepsTextBeyondAscii)
{
    WideText text;
    text.Format(L"\u00E9 %s \u4E2D", L"\U0001F600\uFFFD");

    EXPECT_EQ(text.Get(), L"\u00E9 \U0001F600\uFFFD \u4E2D");
}

TEST(CbStrTFormat, OfAnEmptyFormatIsEmpty)
{
    WideText text;
    text.Format(L"abc");
    text.Format(L"");

    EXPECT_EQ(text.Get(), L"");
}

TEST(CbStrTFormat, ReplacesALongerAndAShorterText)
{
    WideText text;
    text.Format(L"%s", L"long enough to need memory of its own");
    text.Format(L"%d", 1);
    EXPECT_EQ(text.Get(), L"1");

    text.Format(L"%s", L"long enough to need memory of its own");
    EXPECT_EQ(text.Get(), L"long enough to need memory of its own");
}

TEST(CbStrTFormat, TakesTextsOfAnyLength)
{
    std::wstring const wideArgument(1'000'000, L'w');
    std::string const narrowArgument(1'000'000, 'n');
    WideText wide;
    wide.Format(L"<%s>", wideArgument.c_str());
    NarrowText narrow;
    narrow.Format("<%s>", narrowArgument.c_str());

    EXPECT_EQ(wide.Get(), L"<" + wideArgument + L">");
    EXPECT_EQ(narrow.Get(), "<" + narrowArgument + ">");
}

TEST(CbStrTFormat, TakesEveryLengthWhole)
{
    for (std::size_t length = 0; length <= 600; ++length)
    {
        std::wstring const argument(length, L'a');
        WideText text;
        text.Format(L"%s", argument.c_str());
        ASSERT_EQ(text.Get(), argument) << length;
    }
}

TEST(CbStrTFormat, LetsArgumentsPointIntoTheText)
{
    WideText wide;
    wide.Format(L"abc");
    wide.Format(L"%s-%s", wide.Get().c_str(), wide.Get().c_str() + 1);
    EXPECT_EQ(wide.Get(), L"abc-bc");

    NarrowText narrow;
    narrow.Format("%s", "a text that needs memory of its own");
    narrow.Format("%s!", narrow.Get().c_str());
    EXPECT_EQ(narrow.Get(), "a text that needs memory of its own!");
}

TEST(CbStrTFormat, LetsTheFormatBeTheTextItself)
{
    WideText text;
    text.Format(L"%%d of %%d");
    ASSERT_EQ(text.Get(), L"%d of %d");
    text.Format(text.Get().c_str(), 3, 4);

    EXPECT_EQ(text.Get(), L"3 of 4");
}

TEST(CbStrTFormatV, FormatsCollectedArguments)
{
    EXPECT_EQ(formatV(L"%s %d", L"number", 42).Get(), L"number 42");
}

TEST(CbStrTFailure, OfANullFormatNamesFileAndFunction)
{
    WideText text;

    EXPECT_RAISES(WideText::CException, "cbstr", c_WideFunction, text.Format(nullptr));
    EXPECT_RAISES(WideText::CException, "cbstr", c_WideFunction, formatV(nullptr));
}

TEST(CbStrTFailure, OfTheNarrowFormHasAKindOfItsOwn)
{
    NarrowText text;

    EXPECT_RAISES(NarrowText::CException, "cbstr",
                  "CbStrT<class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> > "
                  ">::Format",
                  text.Format(nullptr));
    static_assert(!std::is_same_v<NarrowText::CException, WideText::CException>);
}

TEST(CbStrTFailure, IsAnIException)
{
    WideText text;

    EXPECT_THROW(text.Format(nullptr), IException);
}

TEST(CbStrTFailure, IsNotLogged)
{
    CLogRecorder const recorder;
    WideText text;
    try
    {
        text.Format(nullptr);
    }
    catch (WideText::CException const& raised)
    {
        std::unique_ptr<IException> const clone = raised.Clone();
        EXPECT_EQ(typeid(*clone), typeid(WideText::CException));
    }

    EXPECT_TRUE(recorder.GetRecords().empty());
}

TEST(CbStrTFailure, ComesWithATextThatCannotBeCounted)
{
    WideText wide;
    EXPECT_RAISES(WideText::CException, "cbstr", c_WideFunction, wide.Format(L"%*d%*d", INT_MAX, 1, INT_MAX, 1));

    NarrowText narrow;
    EXPECT_THROW(narrow.Format("%*d%*d", INT_MAX, 1, INT_MAX, 1), NarrowText::CException);
}

TEST(CbStrTFailure, LeavesTheTextUnchanged)
{
    WideText text;
    text.Format(L"%s", L"a text that needs memory of its own");

    EXPECT_THROW(text.Format(nullptr), WideText::CException);
    EXPECT_EQ(text.Get(), L"a text that needs memory of its own");
    EXPECT_THROW(text.Format(L"%*d%*d", INT_MAX, 1, INT_MAX, 1), WideText::CException);
    EXPECT_EQ(text.Get(), L"a text that needs memory of its own");
}

TEST(CbStrTFailure, LeavesTheTextUsable)
{
    WideText text;
    EXPECT_THROW(text.Format(nullptr), WideText::CException);
    text.Format(L"%d", 5);

    EXPECT_EQ(text.Get(), L"5");
}
