// Visiting, the JSON text, and text streams.

#include <limits>

#include <gtest/gtest.h>

#include "orvane/value/cbvarianttext.h"
#include "orvane/value/varianttesting.h"
#include "support/logrecorder.h"
#include "support/raises.h"

namespace
{
class CbVariantViews : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

using CbVariantVisit = CbVariantViews;
using CbVariantJson = CbVariantViews;
using CbVariantTextStream = CbVariantViews;

std::string shown(CbVariant const& variant)
{
    CbStreamWriteASCIIStringT<CStringA> stream;
    stream << variant;
    return static_cast<char const*>(stream);
}

// The kind of what arrives, and whether it may be written to.
struct SKindOf
{
    template <class T>
    std::pair<EType, bool> operator()(T& value) const
    {
        constexpr bool isConst = std::is_const_v<T>;
        using Plain = std::remove_const_t<T>;
        if constexpr (std::is_base_of_v<IObject, Plain>)
        {
            static_cast<void>(value);
            return {CbVariant::eObject, !isConst};
        }
        else
        {
            EXPECT_EQ(CbVariant(value), sampleOf(CbVariant(value).GetType()));
            return {static_cast<EType>(detail::c_VariantKind<Plain>), !isConst};
        }
    }

    std::pair<EType, bool> operator()(std::nullptr_t) const
    {
        return {CbVariant::eNull, true};
    }
};

struct SDouble
{
    void operator()(int& value) const
    {
        value *= 2;
    }

    void operator()(CStringA& value) const
    {
        value += CStringA(value);
    }

    template <class T>
    void operator()(T const&) const
    {
    }
};
} // namespace

TEST_F(CbVariantVisit, HandsOutEveryKindByItsType)
{
    for (EType const type : allKinds())
    {
        CbVariant variant = sampleOf(type);
        EXPECT_EQ(variant.Visit(SKindOf()).first, type) << nameOf(type);
        EXPECT_EQ(std::as_const(variant).Visit(SKindOf()).first, type) << nameOf(type);
        EXPECT_TRUE(variant.Visit(SKindOf()).second) << nameOf(type);
        EXPECT_EQ(std::as_const(variant).Visit(SKindOf()).second, type == CbVariant::eNull) << nameOf(type);
    }
}

TEST_F(CbVariantVisit, WritesThroughItsReferences)
{
    CbVariant number(21);
    CbVariant text("ab");

    number.Visit(SDouble());
    text.Visit(SDouble());

    EXPECT_EQ(number, 42);
    EXPECT_EQ(text, "abab");
}

TEST_F(CbVariantVisit, RaisesWithoutAnObjectAndForWhatDoesNotExist)
{
    CbVariant missing;
    EXPECT_THROW(missing = CVariantStone(), CbExceptionConversion);
    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::Visit", static_cast<void>(missing.Visit(SKindOf())));
    for (unsigned int const type : strayKinds())
    {
        CbVariant stray;
        makeStray(stray, type);
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::Visit",
                      static_cast<void>(stray.Visit(SKindOf())));
    }
}

TEST_F(CbVariantJson, ShowsNumbersInTheirShortestForm)
{
    EXPECT_EQ(CbVariant().ToJson(), "null");
    EXPECT_EQ(CbVariant(true).ToJson(), "true");
    EXPECT_EQ(CbVariant(false).ToJson(), "false");
    EXPECT_EQ(CbVariant(-2).ToJson(), "-2");
    EXPECT_EQ(CbVariant(4294967295u).ToJson(), "4294967295");
    EXPECT_EQ(CbVariant(std::numeric_limits<__int64>::min()).ToJson(), "-9223372036854775808");
    EXPECT_EQ(CbVariant(~0ull).ToJson(), "18446744073709551615");
    EXPECT_EQ(CbVariant(static_cast<signed char>(-1)).ToJson(), "-1");
    EXPECT_EQ(CbVariant(static_cast<unsigned char>(65)).ToJson(), "65");
    EXPECT_EQ(CbVariant(0.1).ToJson(), "0.1");
    EXPECT_EQ(CbVariant(0.1f).ToJson(), "0.1");
    EXPECT_EQ(CbVariant(1e300).ToJson(), "1e+300");
    EXPECT_EQ(CbVariant(-0.0).ToJson(), "-0");
}

TEST_F(CbVariantJson, ShowsWhatIsNoNumberAsAString)
{
    EXPECT_EQ(CbVariant(std::numeric_limits<double>::quiet_NaN()).ToJson(), "\"NaN\"");
    EXPECT_EQ(CbVariant(std::numeric_limits<double>::infinity()).ToJson(), "\"Infinity\"");
    EXPECT_EQ(CbVariant(-std::numeric_limits<float>::infinity()).ToJson(), "\"-Infinity\"");
}

TEST_F(CbVariantJson, EscapesWhatJsonDoesNotTake)
{
    EXPECT_EQ(CbVariant("plain").ToJson(), "\"plain\"");
    EXPECT_EQ(CbVariant('A').ToJson(), "\"A\"");
    EXPECT_EQ(CbVariant("a\"b\\c/\b\f\n\r\t\x01\x7F").ToJson(), "\"a\\\"b\\\\c/\\b\\f\\n\\r\\t\\u0001\\u007f\"");
    EXPECT_EQ(CbVariant(CStringW(L"a\0b", 3)).ToJson(), "\"a\\u0000b\"");
}

TEST_F(CbVariantJson, ShowsTextInUtf8)
{
    EXPECT_EQ(CbVariant(L"\u00E4\u20AC\U0001F600").ToJson(), "\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\"");
    EXPECT_EQ(CbVariant(L"a\xD800z").ToJson(), "\"a\\ud800z\"");
    EXPECT_EQ(CbVariant(L"\xDC00").ToJson(), "\"\\udc00\"");
}

TEST_F(CbVariantJson, ShowsBytesAsHexadecimalDigits)
{
    EXPECT_EQ(CbVariant(bytesFrom({0, 0x1F, 0xFF})).ToJson(), "\"001fff\"");
    EXPECT_EQ(CbVariant(CbArray<unsigned char>()).ToJson(), "\"\"");
}

TEST_F(CbVariantJson, ShowsADateTimeSoThatItCanBeReadBack)
{
    CbDateTime const date(2024, 5, 6, 7, 8, 9, 10);

    EXPECT_EQ(CbVariant(date).ToJson(), "\"2024-05-06T07:08:09.010Z\"");
    EXPECT_EQ(CbDateTime::TryParse("2024-05-06T07:08:09.010Z"), date);
}

TEST_F(CbVariantJson, ShowsTheClassOfAnObject)
{
    CbVariant missing;
    EXPECT_THROW(missing = CVariantStone(), CbExceptionConversion);

    EXPECT_EQ(CbVariant(CVariantThing(1)).ToJson(), "{\"class\":\"CVariantThing\"}");
    EXPECT_EQ(missing.ToJson(), "null");
}

TEST_F(CbVariantJson, RaisesForAKindThatDoesNotExist)
{
    for (unsigned int const type : strayKinds())
    {
        CbVariant stray;
        makeStray(stray, type);
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::ToJson", static_cast<void>(stray.ToJson()));
    }
}

TEST_F(CbVariantTextStream, WritesEveryKindForPeople)
{
    EXPECT_EQ(shown(CbVariant()), "null");
    EXPECT_EQ(shown(CbVariant(true)), "true");
    EXPECT_EQ(shown(CbVariant('A')), "A");
    EXPECT_EQ(shown(CbVariant(static_cast<signed char>(-1))), "-1");
    EXPECT_EQ(shown(CbVariant(static_cast<unsigned char>(200))), "200");
    EXPECT_EQ(shown(CbVariant(static_cast<short>(-2))), "-2");
    EXPECT_EQ(shown(CbVariant(static_cast<unsigned short>(65535))), "65535");
    EXPECT_EQ(shown(CbVariant(-3)), "-3");
    EXPECT_EQ(shown(CbVariant(4294967295u)), "4294967295");
    EXPECT_EQ(shown(CbVariant(-4294967296ll)), "-4294967296");
    EXPECT_EQ(shown(CbVariant(~0ull)), "18446744073709551615");
    EXPECT_EQ(shown(CbVariant(1.5f)), "1.500000");
    EXPECT_EQ(shown(CbVariant(0.1)), "0.100000");
    EXPECT_EQ(shown(CbVariant("narrow")), "narrow");
    EXPECT_EQ(shown(CbVariant(L"wide")), "wide");
    EXPECT_EQ(shown(CbVariant(bytesFrom({0, 0x1F, 0xFF}))), "001fff");
    EXPECT_EQ(shown(CbVariant(CbDateTime(2024, 5, 6, 7, 8, 9, 10))), "2024-05-06 07:08:09");
    EXPECT_EQ(shown(CbVariant(CVariantThing(1))), "CVariantThing");
}

TEST_F(CbVariantTextStream, StandsInAChainOfBothWidths)
{
    CbStreamWriteASCIIStringT<CStringW> stream;

    stream << CbVariant(4711) << L" bytes in " << CbVariant(L"file") << ' ' << CbVariant(true);

    EXPECT_EQ(std::wstring(stream), L"4711 bytes in file true");
}

TEST_F(CbVariantTextStream, WritesNothingOfAKindThatDoesNotExist)
{
    CbVariant stray;
    makeStray(stray, 11);
    CbStreamWriteASCIIStringT<CStringA> stream;

    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::Visit", stream << stray);
    EXPECT_TRUE(stream.IsEmpty());
}
