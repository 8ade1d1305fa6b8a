#include "orvane/stream/cbstreamwriteascii.h"

#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/stream/realformatter.h"
#include "orvane/stream/texttesting.h"
#include "support/germanlocale.h"
#include "support/layout.h"
#include "support/logline.h"
#include "support/raises.h"
#include "support/virtualposition.h"

using Strings = std::vector<std::string>;
using WideStrings = std::vector<std::wstring>;

namespace
{
constexpr char c_FunctionA[] = "CbStreamWriteASCIIT<class ATL::CStringT<char,class StrTraitMFC_DLL<char,class "
                               "ATL::ChTraitsCRT<char> > > >::operator <<";
constexpr char c_FunctionW[] = "CbStreamWriteASCIIT<class ATL::CStringT<wchar_t,class StrTraitMFC_DLL<wchar_t,class "
                               "ATL::ChTraitsCRT<wchar_t> > > >::operator <<";

template <class T>
std::string textOf(T value, bool isTruncating = false)
{
    Narrow stream;
    stream.SetTruncateFloats(isTruncating);
    stream << value;
    return static_cast<char const*>(stream);
}

template <class T>
std::wstring wideTextOf(T value)
{
    Wide stream;
    stream << value;
    return static_cast<wchar_t const*>(stream);
}

// The position of the operator of a text stream that writes a T.
template <class S, class T>
std::size_t position()
{
    using Stream = CbStreamWriteASCIIT<S>;
    return VirtualPosition(static_cast<Stream& (Stream::*)(T)>(&Stream::operator<<));
}

struct SPositions : public CbStreamWriteASCIIT<CStringW>
{
    static std::size_t OfWideWrite()
    {
        using Member = CbStreamWriteASCIIT<CStringW>& (SPositions::*)(wchar_t const*);
        return VirtualPosition(static_cast<Member>(&SPositions::write));
    }

    static std::size_t OfNarrowWrite()
    {
        using Member = CbStreamWriteASCIIT<CStringW>& (SPositions::*)(char const*);
        return VirtualPosition(static_cast<Member>(&SPositions::write));
    }
};

Locale plainLocale()
{
    return Locale(_create_locale(LC_ALL, "C"));
}

// Replaces the formatter for a scope.
class CScopedFormatter
{
public:
    explicit CScopedFormatter(detail::FnFormatReal formatter)
    {
        detail::SetRealFormatter(formatter);
    }

    CScopedFormatter(CScopedFormatter const&) = delete;
    CScopedFormatter& operator=(CScopedFormatter const&) = delete;

    ~CScopedFormatter()
    {
        detail::SetRealFormatter(nullptr);
    }
};

int failToFormat(char*, std::size_t, char const*, _locale_t, double)
{
    return -1;
}

// Writes the number with a comma, as many a locale does.
int formatWithComma(char* buffer, std::size_t size, char const* format, _locale_t, double value)
{
    int const length = _snprintf_l(buffer, size, format, nullptr, value);
    for (int n = 0; n < length; ++n)
    {
        buffer[n] = buffer[n] == '.' ? ',' : buffer[n];
    }
    return length;
}

// What the formatter was called with.
struct SCall
{
    std::string format;
    _locale_t locale = nullptr;
    std::size_t size = 0;
};

SCall s_call;

int noteCall(char* buffer, std::size_t size, char const* format, _locale_t locale, double)
{
    s_call = {format, locale, size};
    buffer[0] = '.';
    buffer[1] = '5';
    buffer[2] = '0';
    return 3;
}
} // namespace

static_assert(std::is_same_v<decltype(std::declval<Narrow const&>().GetLength()), unsigned int>);
static_assert(std::is_convertible_v<Narrow, char const*> && !std::is_convertible_v<Narrow, wchar_t const*>);
static_assert(std::is_convertible_v<Wide, wchar_t const*> && !std::is_convertible_v<Wide, char const*>);
static_assert(std::is_nothrow_move_constructible_v<Wide> && std::is_nothrow_move_assignable_v<Wide>);

TEST(CbStreamWriteASCIITPosition, OfEveryOperatorIsThatOfTheInterface)
{
    EXPECT_EQ((position<CStringA, wchar_t const*>()), 5);
    EXPECT_EQ((position<CStringA, char const*>()), 6);
    EXPECT_EQ((position<CStringW, long>()), 7);
    EXPECT_EQ((position<CStringW, unsigned long>()), 8);
    EXPECT_EQ((position<CStringW, char>()), 9);
    EXPECT_EQ((position<CStringW, double>()), 10);
    EXPECT_EQ((position<CStringW, float>()), 11);
    EXPECT_EQ((position<CStringW, __int64>()), 12);
    EXPECT_EQ((position<CStringW, unsigned __int64>()), 13);
    EXPECT_EQ((position<CStringW, int>()), 14);
    EXPECT_EQ((position<CStringW, unsigned int>()), 15);
    EXPECT_EQ((position<CStringW, short>()), 16);
    EXPECT_EQ((position<CStringW, unsigned short>()), 17);
    EXPECT_EQ((position<CStringW, signed char>()), 18);
    EXPECT_EQ((position<CStringW, unsigned char>()), 19);
    EXPECT_EQ((position<CStringW, bool>()), 20);
}

TEST(CbStreamWriteASCIITPosition, OfWideWriteIs22AndOfNarrowWrite23)
{
    EXPECT_EQ(SPositions::OfWideWrite(), 22);
    EXPECT_EQ(SPositions::OfNarrowWrite(), 23);
}

TEST(CbStreamWriteASCIITLayout, IsLocaleTruncationScratchAndTheCollectedText)
{
    Locale const locale = plainLocale();
    Wide stream(L"x", locale.get());
    stream.SetTruncateFloats(true);
    stream << 42;

    EXPECT_EQ(fieldAt<_locale_t>(&stream, 8), locale.get());
    EXPECT_TRUE(fieldAt<bool>(&stream, 16));
    EXPECT_STREQ(fieldAt<CStringA>(&stream, 24).GetString(), "42");
    EXPECT_STREQ(fieldAt<CStringW>(&stream, 24 + sizeof(CStringA)).GetString(), L"x42");
}

TEST(CbStreamWriteASCIITNumber, GoesThroughTheNarrowWriteInBothWidths)
{
    CTextRecorder<CStringA> narrow;
    CTextRecorder<CStringW> wide;

    narrow << 1 << static_cast<short>(-2) << 3.0 << 4.0f;
    wide << 1 << static_cast<short>(-2) << 3.0 << 4.0f;

    EXPECT_EQ(narrow.m_narrow, (Strings{"1", "-2", "3.000000", "4.000000"}));
    EXPECT_TRUE(narrow.m_wide.empty());
    EXPECT_EQ(wide.m_narrow, (Strings{"1", "-2", "3.000000", "4.000000"}));
    EXPECT_TRUE(wide.m_wide.empty());
}

TEST(CbStreamWriteASCIITBool, IsAWordInTheStreamsOwnWidth)
{
    CTextRecorder<CStringA> narrow;
    CTextRecorder<CStringW> wide;

    narrow << true << false;
    wide << true << false;

    EXPECT_EQ(narrow.m_narrow, (Strings{"true", "false"}));
    EXPECT_TRUE(narrow.m_wide.empty());
    EXPECT_EQ(wide.m_wide, (WideStrings{L"true", L"false"}));
    EXPECT_TRUE(wide.m_narrow.empty());
}

TEST(CbStreamWriteASCIITChar, IsOneCharacterInTheStreamsOwnWidth)
{
    CTextRecorder<CStringA> narrow;
    CTextRecorder<CStringW> wide;

    narrow << 'a' << '\0';
    wide << 'a' << '\0';

    EXPECT_EQ(narrow.m_narrow, (Strings{"a", ""}));
    EXPECT_TRUE(narrow.m_wide.empty());
    EXPECT_EQ(wide.m_wide, (WideStrings{L"a", L""}));
    EXPECT_TRUE(wide.m_narrow.empty());
}

TEST(CbStreamWriteASCIITChar, BeyondAsciiStaysItsByteInTheNarrowStream)
{
    EXPECT_EQ(textOf('\xE4'), "\xE4");
}

TEST(CbStreamWriteASCIITText, GoesToTheWriteOfItsWidthAsItStands)
{
    CTextRecorder<CStringA> narrow;
    CTextRecorder<CStringW> wide;

    narrow << "a" << L"b" << static_cast<char const*>(nullptr) << static_cast<wchar_t const*>(nullptr)
           << CStringW(L"c");
    wide << "a" << L"b" << static_cast<char const*>(nullptr) << static_cast<wchar_t const*>(nullptr) << CStringA("c");

    EXPECT_EQ(narrow.m_narrow, (Strings{"a", "<null>"}));
    EXPECT_EQ(narrow.m_wide, (WideStrings{L"b", L"<null>", L"c"}));
    EXPECT_EQ(wide.m_narrow, (Strings{"a", "<null>", "c"}));
    EXPECT_EQ(wide.m_wide, (WideStrings{L"b", L"<null>"}));
}

TEST(CbStreamWriteASCIITInteger, IsDecimalWithItsSign)
{
    EXPECT_EQ(textOf(short(-5)), "-5");
    EXPECT_EQ(textOf(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(textOf(static_cast<__int64>(-1)), "-1");
    EXPECT_EQ(textOf(static_cast<unsigned __int64>(-1)), "18446744073709551615");
    EXPECT_EQ(textOf(std::numeric_limits<__int64>::min()), "-9223372036854775808");
    EXPECT_EQ(textOf(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(textOf(std::numeric_limits<unsigned int>::max()), "4294967295");
    EXPECT_EQ(textOf(static_cast<signed char>(-128)), "-128");
    EXPECT_EQ(textOf(static_cast<unsigned char>(200)), "200");
    EXPECT_EQ(textOf(-7L), "-7");
    EXPECT_EQ(textOf(7UL), "7");
    EXPECT_EQ(textOf(std::numeric_limits<long>::min()), std::to_string(std::numeric_limits<long>::min()));
    EXPECT_EQ(textOf(std::numeric_limits<unsigned long>::max()),
              std::to_string(std::numeric_limits<unsigned long>::max()));
    EXPECT_EQ(textOf(0), "0");
}

TEST(CbStreamWriteASCIITInteger, ReadsTheSameInTheWideStream)
{
    EXPECT_EQ(wideTextOf(short(-5)), L"-5");
    EXPECT_EQ(wideTextOf(static_cast<unsigned __int64>(-1)), L"18446744073709551615");
    EXPECT_EQ(wideTextOf(true), L"true");
}

TEST(CbStreamWriteASCIITVersion, IsANumberLikeOthers)
{
    Narrow stream;

    stream.WriteVersion(3000000000U);

    EXPECT_STREQ(stream, "3000000000");
}

TEST(CbStreamWriteASCIITReal, HasSixDigitsBehindThePoint)
{
    EXPECT_EQ(textOf(2.5), "2.500000");
    EXPECT_EQ(textOf(3.0), "3.000000");
    EXPECT_EQ(textOf(-0.0), "-0.000000");
    EXPECT_EQ(textOf(0.1f), "0.100000");
    EXPECT_EQ(textOf(16777217.0f), "16777216.000000");
    EXPECT_EQ(textOf(0.0078125), "0.007813");
    EXPECT_EQ(textOf(-0.0000004), "-0.000000");
    EXPECT_EQ(textOf(1e15), "1000000000000000.000000");
}

TEST(CbStreamWriteASCIITReal, LosesZerosAtTheEndWhenTruncating)
{
    EXPECT_EQ(textOf(2.5, true), "2.5");
    EXPECT_EQ(textOf(3.0, true), "3");
    EXPECT_EQ(textOf(1.5f, true), "1.5");
    EXPECT_EQ(textOf(-0.0, true), "-0");
    EXPECT_EQ(textOf(100.0, true), "100");
    EXPECT_EQ(textOf(100.01, true), "100.01");
    EXPECT_EQ(textOf(0.0, true), "0");
}

TEST(CbStreamWriteASCIITReal, KeepsIntegersAndTextWhenTruncating)
{
    Narrow stream;
    stream.SetTruncateFloats(true);

    stream << 100 << " 1.500 " << L"2.0";

    EXPECT_STREQ(stream, "100 1.500 2.0");
}

TEST(CbStreamWriteASCIITReal, OfTheLargestSizeFitsWithAndWithoutALocale)
{
    Locale const plain = plainLocale();
    ASSERT_TRUE(plain);
    Narrow localized(plain.get());
    localized << 1e300 << ' ' << -std::numeric_limits<double>::max();

    std::string const large = textOf(1e300);
    std::string const largest = textOf(-std::numeric_limits<double>::max());

    EXPECT_EQ(large.size(), 301u + 7);
    EXPECT_EQ(large.substr(0, 16), "1000000000000000");
    EXPECT_EQ(large.substr(301), ".000000");
    EXPECT_EQ(largest.size(), 1 + 309u + 7);
    EXPECT_EQ(largest.substr(0, 16), "-179769313486231");
    EXPECT_EQ(static_cast<char const*>(localized), large + ' ' + largest);
}

TEST(CbStreamWriteASCIITReal, ThatIsNoFiniteNumberIsWrittenAsThePlatformDoes)
{
    CStringA infinity;
    CStringA nan;
    infinity.Format("%f", std::numeric_limits<double>::infinity());
    nan.Format("%f", std::numeric_limits<double>::quiet_NaN());

    EXPECT_EQ(textOf(std::numeric_limits<double>::infinity()), infinity.GetString());
    EXPECT_EQ(textOf(std::numeric_limits<double>::quiet_NaN()), nan.GetString());
    EXPECT_NE(infinity.Find("nf") + infinity.Find("NF"), -2);
}

// One fingerprint for both targets stands for the text of each of these numbers.
TEST(CbStreamWriteASCIITReal, OfSomeThousandValuesReadsTheSameOnEveryTarget)
{
    std::uint64_t fingerprint = 14695981039346656037U;
    std::uint64_t state = 88172645463325252U;
    for (int n = 0; n < 6000; ++n)
    {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        // Up to 53 bits, scaled by powers of two from 2^-60 to 2^3: below 17 significant digits before the sixth behind
        // the point.
        double const value = std::ldexp(static_cast<double>(state >> 11), static_cast<int>(state % 44) - 63);
        for (char const ch : textOf(n % 2 == 0 ? value : -value, n % 3 == 0) + textOf(static_cast<float>(value)))
        {
            fingerprint = (fingerprint ^ static_cast<unsigned char>(ch)) * 1099511628211U;
        }
    }

    EXPECT_EQ(fingerprint, 3004689641639984626U);
}

TEST(CbStreamWriteASCIITInteger, OfSomeThousandValuesIsWhatTheStandardLibraryWrites)
{
    std::uint64_t state = 88172645463325252U;
    for (int n = 0; n < 4000; ++n)
    {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        auto const value = static_cast<__int64>(state >> (n % 64));
        ASSERT_EQ(textOf(value), std::to_string(value));
        ASSERT_EQ(textOf(static_cast<int>(value)), std::to_string(static_cast<int>(value)));
        ASSERT_EQ(textOf(static_cast<unsigned __int64>(value)), std::to_string(static_cast<unsigned __int64>(value)));
        ASSERT_EQ(textOf(static_cast<short>(value)), std::to_string(static_cast<short>(value)));
    }
}

TEST(CbStreamWriteASCIITLocale, IsNoneAtFirstAndIsGivenBackWhenReplaced)
{
    Locale const plain = plainLocale();
    Narrow stream;

    EXPECT_FALSE(stream.IsLocalize());
    EXPECT_FALSE(stream.IsTruncateFloats());
    EXPECT_EQ(stream.SetLocale(plain.get()), nullptr);
    EXPECT_TRUE(stream.IsLocalize());
    EXPECT_EQ(stream.SetLocale(nullptr), plain.get());
    EXPECT_FALSE(stream.IsLocalize());
    EXPECT_TRUE(Narrow(plain.get()).IsLocalize());
}

TEST(CbStreamWriteASCIITLocale, GivesTheFormatterItselfAndTheTypesFormat)
{
    Locale const plain = plainLocale();
    Narrow stream(plain.get());
    CScopedFormatter const scope(noteCall);

    stream << 1.0f;
    EXPECT_EQ(s_call.format, "%f");
    EXPECT_EQ(s_call.locale, plain.get());
    EXPECT_GE(s_call.size, 320u);
    stream << 1.0;
    EXPECT_EQ(s_call.format, "%lf");
}

TEST(CbStreamWriteASCIITLocale, WithAnotherMarkThanAPointIsNotTruncated)
{
    Locale const plain = plainLocale();
    Narrow stream(plain.get());
    stream.SetTruncateFloats(true);
    CScopedFormatter const scope(formatWithComma);

    stream << 2.5 << ' ' << 3.0f;

    EXPECT_STREQ(stream, "2,500000 3,000000");
}

TEST(CbStreamWriteASCIITLocale, OfGermanWritesACommaAndIsNotTruncated)
{
    Locale const german = germanLocale();
    if (!german)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    Wide stream(german.get());
    stream.SetTruncateFloats(true);

    stream << 2.5;

    EXPECT_STREQ(stream, L"2,500000");
}

TEST(CbStreamWriteASCIITTruncation, LeavesAPointAtTheBeginningAlone)
{
    Locale const plain = plainLocale();
    Narrow stream(plain.get());
    stream.SetTruncateFloats(true);
    CScopedFormatter const scope(noteCall);

    stream << 0.5;

    EXPECT_STREQ(stream, ".50");
}

TEST(CbStreamWriteASCIITFailure, OfFormattingUnderALocaleRaisesByTheLiteralName)
{
    Locale const plain = plainLocale();
    Narrow narrow("a", plain.get());
    Wide wide(L"a", plain.get());
    CScopedFormatter const scope(failToFormat);
    CLogRecorder const recorder;

    EXPECT_RAISES(CbExceptionStream, "cbstreamwriteascii", c_FunctionA, narrow << 1.0);
    EXPECT_RAISES(CbExceptionStream, "cbstreamwriteascii", c_FunctionA, narrow << 1.0f);
    EXPECT_RAISES(CbExceptionStream, "cbstreamwriteascii", c_FunctionW, wide << 1.0);
    EXPECT_RAISES(CbExceptionStream, "cbstreamwriteascii", c_FunctionW, wide << 1.0f);

    EXPECT_STREQ(narrow, "a");
    EXPECT_STREQ(wide, L"a");
    auto const lines = linesOf(recorder);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0].logger, L"Exception");
    EXPECT_EQ(lines[0].level, Logging::eLevelError);
    EXPECT_EQ(lines[0].file, "cbstreamwriteascii");
    EXPECT_EQ(lines[0].function, c_FunctionA);
    EXPECT_EQ(lines[0].text, L"Exception on reading / writing stream");
    EXPECT_EQ(lines[3].function, c_FunctionW);
}

TEST(CbStreamWriteASCIITFailure, DoesNotConcernStreamsWithoutALocale)
{
    CScopedFormatter const scope(failToFormat);

    EXPECT_EQ(textOf(1.5), "1.500000");
}

TEST(CbStreamWriteASCIITAddress, IsSixteenUpperCaseDigitsBehind0x)
{
    Narrow narrow;
    CTextRecorder<CStringW> wide;

    narrow.WriteAddress(nullptr);
    narrow << ' ';
    narrow.WriteAddress(reinterpret_cast<void const*>(std::uintptr_t{0xABCDEF0123}));
    wide.WriteAddress(nullptr);

    EXPECT_STREQ(narrow, "0x0000000000000000 0x000000ABCDEF0123");
    EXPECT_EQ(wide.m_narrow, (Strings{"0x0000000000000000"}));
}

TEST(CbStreamWriteASCIIStringT, CollectsWhatIsWritten)
{
    Wide stream;
    EXPECT_TRUE(stream.IsEmpty());

    stream << 1 << ' ' << 2.5;

    EXPECT_STREQ(stream, L"1 2.500000");
    EXPECT_EQ(stream.GetLength(), 10u);
    EXPECT_FALSE(stream.IsEmpty());
}

TEST(CbStreamWriteASCIIStringT, StartsWithTheGivenText)
{
    Locale const plain = plainLocale();
    Narrow narrow("ab", plain.get());
    Wide wide(L"ab", nullptr);

    narrow << 1;
    wide << 1;

    EXPECT_STREQ(narrow, "ab1");
    EXPECT_TRUE(narrow.IsLocalize());
    EXPECT_STREQ(wide, L"ab1");
    EXPECT_FALSE(wide.IsLocalize());
    EXPECT_TRUE(Narrow(static_cast<char const*>(nullptr), nullptr).IsEmpty());
}

TEST(CbStreamWriteASCIIStringT, ForgetsItsTextAndKeepsItsSettings)
{
    Locale const plain = plainLocale();
    Narrow stream("ab", plain.get());
    stream.SetTruncateFloats(true);

    stream.Empty();
    EXPECT_EQ(stream.GetLength(), 0u);
    EXPECT_STREQ(stream, "");
    stream << 2.0;

    EXPECT_STREQ(stream, "2");
    EXPECT_TRUE(stream.IsLocalize());
}

TEST(CbStreamWriteASCIIStringT, ConvertsTextOfTheOtherWidth)
{
    Narrow narrow;
    Wide wide;
    CStringA const expected(L"x\u00E4y");

    narrow << "[" << L"x\u00E4y" << "]" << L"plain";
    wide << L"[" << expected << L"]" << "plain";

    EXPECT_STREQ(narrow, "[" + expected + "]plain");
    EXPECT_STREQ(wide, L"[" + CStringW(expected) + L"]plain");
}

TEST(CbStreamWriteASCIIStringT, TakesNothingFromANullText)
{
    Wide stream(L"a", nullptr);

    stream << static_cast<char const*>(nullptr) << static_cast<wchar_t const*>(nullptr);

    EXPECT_STREQ(stream, L"a");
}

TEST(CbStreamWriteASCIIStringT, TakesItsOwnText)
{
    Wide stream(L"ab", nullptr);

    stream << static_cast<wchar_t const*>(stream) << 1;

    EXPECT_STREQ(stream, L"abab1");
}

TEST(CbStreamWriteASCIIStringT, CopiesTextAndSettings)
{
    Locale const plain = plainLocale();
    Wide source(L"ab", plain.get());
    source.SetTruncateFloats(true);

    Wide copy(source);
    Wide assigned;
    assigned = source;
    source << 1;
    copy << 2.0;

    EXPECT_STREQ(source, L"ab1");
    EXPECT_STREQ(copy, L"ab2");
    EXPECT_STREQ(assigned, L"ab");
    EXPECT_TRUE(copy.IsLocalize() && copy.IsTruncateFloats());
    EXPECT_TRUE(assigned.IsLocalize() && assigned.IsTruncateFloats());
}

TEST(CbStreamWriteASCIIStringT, MovesItsTextAndCanBeWrittenToAfterwards)
{
    Wide source(L"a text that is longer than what a string keeps in itself", nullptr);
    wchar_t const* const place = source;

    Wide target(std::move(source));
    EXPECT_EQ(static_cast<wchar_t const*>(target), place);
    source << 1;
    EXPECT_STREQ(source, L"1");

    source = std::move(target);
    EXPECT_EQ(static_cast<wchar_t const*>(source), place);
}

TEST(CbStreamWriteASCIITLocale, OfTheRuntimeCountsWithoutOneOfItsOwn)
{
    char const* const name = findGermanName();
    if (name == nullptr)
    {
        GTEST_SKIP() << c_NoGerman;
    }
    std::setlocale(LC_NUMERIC, name);
    std::string const text = textOf(2.5, true);
    std::setlocale(LC_NUMERIC, "C");

    EXPECT_EQ(text, "2,500000");
}
