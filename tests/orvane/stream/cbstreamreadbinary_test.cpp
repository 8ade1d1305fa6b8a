#include "orvane/stream/cbstreamreadbinary.h"

#include <cmath>
#include <limits>
#include <numeric>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/stream/streamtesting.h"
#include "support/logrecorder.h"
#include "support/raises.h"

using testing::ElementsAre;

namespace
{
template <class T>
std::vector<unsigned __int64> readsFor(Bytes const& bytes)
{
    CRecordingReader stream(bytes);
    T value{};
    stream >> value;
    return stream.GetReads();
}

std::wstring wideFrom(std::u16string const& units)
{
    std::wstring text;
    for (char16_t const unit : units)
    {
        text.push_back(static_cast<wchar_t>(unit));
    }
    return text;
}
} // namespace

// ---- primitives

TEST(CbStreamReadBinaryPrimitive, OfTypeBoolIsTrueForAnyByteButZero)
{
    EXPECT_FALSE(readAs<bool>({0x00}));
    EXPECT_TRUE(readAs<bool>({0x01}));
    EXPECT_TRUE(readAs<bool>({0x02}));
    EXPECT_TRUE(readAs<bool>({0x80}));
    EXPECT_TRUE(readAs<bool>({0xFF}));
}

TEST(CbStreamReadBinaryPrimitive, OfOneByteIsReadIntoEveryCharType)
{
    EXPECT_EQ(readAs<char>({0x41}), 'A');
    EXPECT_EQ(readAs<signed char>({0xFE}), -2);
    EXPECT_EQ(readAs<unsigned char>({0xFE}), 0xFE);
}

TEST(CbStreamReadBinaryPrimitive, OfTwoBytesIsLittleEndian)
{
    EXPECT_EQ(readAs<short>({0xFE, 0xFF}), -2);
    EXPECT_EQ(readAs<unsigned short>({0x34, 0x12}), 0x1234);
}

TEST(CbStreamReadBinaryPrimitive, OfFourBytesIsLittleEndian)
{
    EXPECT_EQ(readAs<int>({0x01, 0x00, 0x00, 0x00}), 1);
    EXPECT_EQ(readAs<int>({0xFE, 0xFF, 0xFF, 0xFF}), -2);
    EXPECT_EQ(readAs<unsigned int>({0xEF, 0xCD, 0xAB, 0x89}), 0x89ABCDEF);
    EXPECT_EQ(readAs<float>({0x00, 0x00, 0xC0, 0xBF}), -1.5f);
}

TEST(CbStreamReadBinaryPrimitive, OfEightBytesIsLittleEndian)
{
    EXPECT_EQ(readAs<__int64>({0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), -2);
    EXPECT_EQ(readAs<unsigned __int64>({0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}), 0x0123456789ABCDEF);
    EXPECT_EQ(readAs<double>({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F}), 1.0);
}

TEST(CbStreamReadBinaryPrimitive, KeepsTheBitsOfANotANumber)
{
    Bytes const bytes{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0xF9, 0xFF};

    double const value = readAs<double>(bytes);

    EXPECT_TRUE(std::isnan(value));
    EXPECT_EQ(written(value), bytes);
}

TEST(CbStreamReadBinaryPrimitive, DemandsItsWidthInOneRead)
{
    Bytes const bytes(16, 1);

    EXPECT_THAT(readsFor<bool>(bytes), ElementsAre(1));
    EXPECT_THAT(readsFor<char>(bytes), ElementsAre(1));
    EXPECT_THAT(readsFor<signed char>(bytes), ElementsAre(1));
    EXPECT_THAT(readsFor<unsigned char>(bytes), ElementsAre(1));
    EXPECT_THAT(readsFor<short>(bytes), ElementsAre(2));
    EXPECT_THAT(readsFor<unsigned short>(bytes), ElementsAre(2));
    EXPECT_THAT(readsFor<int>(bytes), ElementsAre(4));
    EXPECT_THAT(readsFor<unsigned int>(bytes), ElementsAre(4));
    EXPECT_THAT(readsFor<long>(bytes), ElementsAre(4));
    EXPECT_THAT(readsFor<unsigned long>(bytes), ElementsAre(4));
    EXPECT_THAT(readsFor<float>(bytes), ElementsAre(4));
    EXPECT_THAT(readsFor<__int64>(bytes), ElementsAre(8));
    EXPECT_THAT(readsFor<unsigned __int64>(bytes), ElementsAre(8));
    EXPECT_THAT(readsFor<double>(bytes), ElementsAre(8));
}

TEST(CbStreamReadBinaryLong, IsFourBytesAndKeepsItsSign)
{
    EXPECT_EQ(readAs<long>({0xFE, 0xFF, 0xFF, 0xFF, 0x7F, 0x7F, 0x7F, 0x7F}), -2);
    EXPECT_EQ(readAs<long>({0x00, 0x00, 0x00, 0x80}), std::numeric_limits<int>::min());
    EXPECT_EQ(readAs<long>({0xFF, 0xFF, 0xFF, 0x7F}), 2'147'483'647);
}

TEST(CbStreamReadBinaryLong, WithoutASignIsNotExtended)
{
    EXPECT_EQ(readAs<unsigned long>({0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0x7F, 0x7F, 0x7F}), 0xFFFFFFFFul);
}

TEST(CbStreamReadBinaryLong, ReplacesAllBytesOfTheTarget)
{
    Bytes const bytes{0x05, 0x00, 0x00, 0x00};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    long value = std::numeric_limits<long>::max();

    stream >> value;

    EXPECT_EQ(value, 5);
}

// ---- primitives that are cut short

template <class T>
struct SStored
{
    using Type = T;
    static constexpr std::size_t c_Width = sizeof(T);
};

template <>
struct SStored<long>
{
    using Type = long;
    static constexpr std::size_t c_Width = 4;
};

template <>
struct SStored<unsigned long>
{
    using Type = unsigned long;
    static constexpr std::size_t c_Width = 4;
};

template <class T>
class CbStreamReadBinaryShort : public testing::Test
{
};

using Primitives = testing::Types<long, unsigned long, char, double, float, __int64, unsigned __int64, int,
                                  unsigned int, short, unsigned short, signed char, unsigned char, bool>;
TYPED_TEST_SUITE(CbStreamReadBinaryShort, Primitives);

TYPED_TEST(CbStreamReadBinaryShort, PrimitiveIsRefusedAtEveryLengthBelowItsWidth)
{
    CLogRecorder const log;
    for (std::size_t length = 0; length < SStored<TypeParam>::c_Width; ++length)
    {
        SCOPED_TRACE(length);
        Bytes const bytes(length, 0x11);
        CbStreamReadBinaryBuffer stream = readerOf(bytes);
        TypeParam value{};

        EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>", stream >> value);

        EXPECT_EQ(stream.GetBytesRead(), length);
    }
}

TYPED_TEST(CbStreamReadBinaryShort, PrimitiveIsTakenWhereItsWidthIsThere)
{
    Bytes const bytes(SStored<TypeParam>::c_Width, 0x11);

    EXPECT_NE(readAs<TypeParam>(bytes), TypeParam{});
}

TEST(CbStreamReadBinaryShortRead, LeavesABoolAsItWas)
{
    CLogRecorder const log;
    Bytes const bytes;
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    bool value = true;

    EXPECT_THROW(stream >> value, CbExceptionStream);

    EXPECT_TRUE(value);
}

TEST(CbStreamReadBinaryShortRead, WritesOneLineToTheLog)
{
    CLogRecorder const log;

    EXPECT_THROW(readAs<int>({0x01, 0x02, 0x03}), CbExceptionStream);

    auto const records = log.GetRecords(L"Exception");
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].text, L"Exception on reading / writing stream");
    EXPECT_EQ(records[0].file, "cbstreamreadbinary");
    EXPECT_EQ(records[0].function, "CbStreamReadBinary::operator >>");
}

// ---- narrow text

TEST(CbStreamReadBinaryNarrow, IsReadIntoBothNarrowTypes)
{
    Bytes const bytes{0x02, 0x00, 0x00, 0x00, 0x61, 0x62};

    EXPECT_EQ(readAs<std::string>(bytes), "ab");
    EXPECT_STREQ(readAs<CStringA>(bytes).GetString(), "ab");
    EXPECT_EQ(readAs<CStringA>(bytes).GetLength(), 2);
}

TEST(CbStreamReadBinaryNarrow, ReplacesTheTarget)
{
    Bytes const bytes = joined({narrowText(""), narrowText("b")});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CStringA first("old");
    std::string second("older");

    stream >> first >> second;

    EXPECT_TRUE(first.IsEmpty());
    EXPECT_EQ(second, "b");
}

TEST(CbStreamReadBinaryNarrow, KeepsEveryByteBut0)
{
    std::string text(255, '\0');
    std::iota(text.begin(), text.end(), static_cast<char>(1));
    Bytes const bytes = narrowText(text);

    EXPECT_EQ(readAs<std::string>(bytes), text);
}

TEST(CbStreamReadBinaryNarrow, EndsAtItsFirstNulAndTakesItsWholeLength)
{
    Bytes const bytes = joined({narrowText(std::string("ab\0cd", 5)), Bytes{0x07}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CStringA text;
    char next = 0;

    stream >> text >> next;

    EXPECT_EQ(text.GetLength(), 2);
    EXPECT_STREQ(text.GetString(), "ab");
    EXPECT_EQ(next, 7);
}

TEST(CbStreamReadBinaryNarrow, ReadsItsLengthAndItsBodyInOneCallEach)
{
    EXPECT_THAT(readsFor<std::string>(narrowText("abc")), ElementsAre(4, 3));
    EXPECT_THAT(readsFor<CStringA>(narrowText(std::string(100'000, 'x'))), ElementsAre(4, 100'000));
}

// No more is taken on a length's word at once: each further call asks for twice as much as the one before it.
TEST(CbStreamReadBinaryNarrow, ReadsABodyAboveOneMebibyteInSeveralCalls)
{
    EXPECT_THAT(readsFor<CStringA>(narrowText(std::string(0x100000, 'x'))), ElementsAre(4, 0x100000));
    EXPECT_THAT(readsFor<CStringA>(narrowText(std::string(0x100001, 'x'))), ElementsAre(4, 0x100000, 1));
    EXPECT_THAT(readsFor<std::string>(narrowText(std::string(0x300001, 'x'))), ElementsAre(4, 0x100000, 0x200000, 1));
}

TEST(CbStreamReadBinaryNarrow, GoesThroughTheOperatorOfTheOtherNarrowType)
{
    class CReader : public CRecordingReader
    {
    public:
        using CRecordingReader::CRecordingReader;
        using CRecordingReader::operator>>;

        CReader& operator>>(CStringA& value) override
        {
            value = "own";
            return *this;
        }
    };

    CReader stream(Bytes{});
    std::string text;

    stream >> text;

    EXPECT_EQ(text, "own");
}

class CbStreamReadBinaryNarrowShort : public testing::TestWithParam<std::size_t>
{
};

TEST_P(CbStreamReadBinaryNarrowShort, BodyGivesWhatIsThere)
{
    Bytes const bytes = joined({littleEndian(5, 4), headOf(Bytes{'a', 'b', 'c', 'd', 'e'}, GetParam())});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    std::string text("old");

    stream >> text;

    EXPECT_EQ(text, std::string("abcde").substr(0, GetParam()));
    EXPECT_EQ(stream.GetBytesRead(), 4 + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Prefixes, CbStreamReadBinaryNarrowShort, testing::Values(0, 1, 2, 3, 4, 5));

TEST(CbStreamReadBinaryNarrow, WithALengthThatIsCutShortIsRefusedAndLeavesTheTarget)
{
    CLogRecorder const log;
    for (std::size_t length = 0; length < 4; ++length)
    {
        SCOPED_TRACE(length);
        Bytes const bytes = headOf(narrowText("ab"), length);
        CbStreamReadBinaryBuffer stream = readerOf(bytes);
        CbStreamReadBinaryBuffer again = readerOf(bytes);
        std::string text("old");
        CStringA other("old");

        EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>", stream >> text);
        EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>", again >> other);

        EXPECT_EQ(text, "old");
        EXPECT_STREQ(other.GetString(), "old");
        EXPECT_EQ(stream.GetBytesRead(), length);
    }
}

TEST(CbStreamReadBinaryNarrow, OfALongBodyThatIsCutShortGivesWhatIsThere)
{
    std::string const there(3'000'000, 'x');
    Bytes const bytes = joined({littleEndian(4'000'000, 4), Bytes(there.begin(), there.end())});

    EXPECT_EQ(readAs<std::string>(bytes), there);
}

TEST(CbStreamReadBinaryNarrow, OfSeveralMegabytesIsReadWhole)
{
    for (std::size_t const length : {1'048'575u, 1'048'576u, 1'048'577u, 3'145'728u, 5'000'000u})
    {
        SCOPED_TRACE(length);
        std::string text(length, 'x');
        text.back() = 'y';
        Bytes const bytes = joined({narrowText(text), Bytes{0x07}});
        CbStreamReadBinaryBuffer stream = readerOf(bytes);
        std::string read;
        char next = 0;

        stream >> read >> next;

        EXPECT_EQ(read, text);
        EXPECT_EQ(next, 7);
    }
}

// ---- wide text

TEST(CbStreamReadBinaryWide, IsReadIntoBothWideTypes)
{
    Bytes const bytes{0xFF, 0xFE, 0xFF, 0x02, 0x61, 0x00, 0x62, 0x00};

    EXPECT_EQ(readAs<std::wstring>(bytes), L"ab");
    EXPECT_STREQ(readAs<CStringW>(bytes).GetString(), L"ab");
    EXPECT_EQ(readAs<CStringW>(bytes).GetLength(), 2);
}

TEST(CbStreamReadBinaryWide, ReplacesTheTarget)
{
    Bytes const bytes = joined({wideText(u""), wideText(u"b")});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CStringW first(L"old");
    std::wstring second(L"older");

    stream >> first >> second;

    EXPECT_TRUE(first.IsEmpty());
    EXPECT_EQ(second, L"b");
}

TEST(CbStreamReadBinaryWide, BeyondTheBasicPlaneIsOneCharacterOfMemory)
{
    EXPECT_EQ(readAs<std::wstring>({0xFF, 0xFE, 0xFF, 0x02, 0x3D, 0xD8, 0x00, 0xDE}), L"\U0001F600");
    EXPECT_EQ(readAs<std::wstring>(wideText(u"a\U00010000b\U0010FFFF")), L"a\U00010000b\U0010FFFF");
}

TEST(CbStreamReadBinaryWide, KeepsEverySurrogateWithoutAPartner)
{
    for (std::u16string const& units :
         {std::u16string{0xD800}, std::u16string{0xDC00}, std::u16string{0xD800, u'x'}, std::u16string{u'x', 0xDFFF},
          std::u16string{0xDC00, 0xD800}, std::u16string{0xDBFF, 0xDBFF}})
    {
        std::wstring const text = readAs<std::wstring>(wideText(units));

        EXPECT_EQ(text, wideFrom(units));
        EXPECT_EQ(written(text), wideText(units));
    }
}

TEST(CbStreamReadBinaryWide, EndsAtItsFirstNulAndTakesItsWholeLength)
{
    Bytes const bytes = joined({wideText(std::u16string(u"ab\0cd", 5)), Bytes{0x07}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CStringW text;
    char next = 0;

    stream >> text >> next;

    EXPECT_EQ(text.GetLength(), 2);
    EXPECT_STREQ(text.GetString(), L"ab");
    EXPECT_EQ(next, 7);
}

TEST(CbStreamReadBinaryWide, ReadsItsLengthFieldsAndItsBodyInOneCallEach)
{
    EXPECT_THAT(readsFor<std::wstring>(wideText(u"ab")), ElementsAre(1, 2, 1, 4));
    EXPECT_THAT(readsFor<CStringW>(written(std::wstring(300, L'x'))), ElementsAre(1, 2, 1, 2, 600));
    EXPECT_THAT(readsFor<CStringW>(written(std::wstring(70'000, L'x'))), ElementsAre(1, 2, 1, 2, 4, 140'000));
}

// The steps are counted in bytes.
TEST(CbStreamReadBinaryWide, ReadsABodyAboveOneMebibyteInSeveralCalls)
{
    EXPECT_THAT(readsFor<CStringW>(written(std::wstring(0x80000, L'x'))), ElementsAre(1, 2, 1, 2, 4, 0x100000));
    EXPECT_THAT(readsFor<CStringW>(written(std::wstring(0x80001, L'x'))), ElementsAre(1, 2, 1, 2, 4, 0x100000, 2));
    EXPECT_THAT(readsFor<std::wstring>(written(std::wstring(0x180001, L'x'))),
                ElementsAre(1, 2, 1, 2, 4, 0x100000, 0x200000, 2));
}

TEST(CbStreamReadBinaryWide, GoesThroughTheOperatorOfTheOtherWideType)
{
    class CReader : public CRecordingReader
    {
    public:
        using CRecordingReader::CRecordingReader;
        using CRecordingReader::operator>>;

        CReader& operator>>(CStringW& value) override
        {
            value = L"own";
            return *this;
        }
    };

    CReader stream(Bytes{});
    std::wstring text;

    stream >> text;

    EXPECT_EQ(text, L"own");
}

TEST(CbStreamReadBinaryWide, WithAnotherFirstByteIsRefusedBeforeAnyTextIsRead)
{
    CLogRecorder const log;
    Bytes bytes = wideText(u"ab");
    bytes[0] = 0x05;
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CStringW text(L"old");

    EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::readStringLengthW", stream >> text);

    EXPECT_STREQ(text.GetString(), L"old");
    EXPECT_LE(stream.GetBytesRead(), 3);
}

TEST(CbStreamReadBinaryWide, WithAnotherMarkerIsRefused)
{
    CLogRecorder const log;
    for (Bytes const& bytes :
         {Bytes{0xFF, 0xFF, 0xFE, 0x00}, Bytes{0xFF, 0xFE, 0xFE, 0x00}, Bytes{0xFF, 0xFF, 0xFF, 0x00},
          Bytes{0xFE, 0xFF, 0xFE, 0x00}, Bytes{0x00, 0xFE, 0xFF, 0x00}})
    {
        CbStreamReadBinaryBuffer stream = readerOf(bytes);
        std::wstring text(L"old");

        EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::readStringLengthW", stream >> text);

        EXPECT_EQ(text, L"old");
    }
}

TEST(CbStreamReadBinaryWide, FromNarrowTextIsRefused)
{
    CLogRecorder const log;
    Bytes const bytes = narrowText("abc");
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CStringW text;

    EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::readStringLengthW", stream >> text);
}

// The four bytes of an empty wide text's head are a narrow length like any other.
TEST(CbStreamReadBinaryNarrow, FromWideTextIsNotNoticed)
{
    Bytes const bytes = wideText(u"");
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    std::string text("old");

    stream >> text;

    EXPECT_EQ(text, "");
}

struct SLengthForm
{
    char const* name;
    Bytes head;
    unsigned __int64 length;
};

class CbStreamReadBinaryWideLength : public testing::TestWithParam<SLengthForm>
{
};

TEST_P(CbStreamReadBinaryWideLength, IsTakenFromItsForm)
{
    CRecordingReader stream(joined({Bytes{0xFF, 0xFE, 0xFF}, GetParam().head}));

    EXPECT_EQ(stream.readStringLengthW(), GetParam().length);

    EXPECT_EQ(stream.GetPosition(), 3 + GetParam().head.size());
}

TEST_P(CbStreamReadBinaryWideLength, IsRefusedWhereItIsCutShort)
{
    CLogRecorder const log;
    Bytes const whole = joined({Bytes{0xFF, 0xFE, 0xFF}, GetParam().head});
    for (std::size_t length = 0; length < whole.size(); ++length)
    {
        SCOPED_TRACE(length);
        Bytes const bytes = headOf(whole, length);
        CbStreamReadBinaryBuffer stream = readerOf(bytes);
        std::wstring text(L"old");

        EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>", stream >> text);

        EXPECT_EQ(text, L"old");
        EXPECT_EQ(stream.GetBytesRead(), length);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Forms, CbStreamReadBinaryWideLength,
    testing::Values(
        SLengthForm{"OneByte", {0x00}, 0}, SLengthForm{"OneByteAtItsEnd", {0xFE}, 0xFE},
        SLengthForm{"TwoBytes", {0xFF, 0xFF, 0x00}, 0xFF},
        // The writer leaves this form one value earlier.
        SLengthForm{"TwoBytesAtTheirEnd", {0xFF, 0xFE, 0xFF}, 0xFFFE},
        SLengthForm{"FourBytes", {0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0x00, 0x00}, 0xFFFE},
        SLengthForm{"FourBytesAtTheirEnd", {0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF}, 0xFFFFFFFE},
        SLengthForm{
            "EightBytes", {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x02, 0, 0, 0, 0, 0, 0, 0x40}, 0x4000000000000002},
        SLengthForm{"EightBytesAtTheirEnd",
                    {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                    0xFFFFFFFFFFFFFFFF},
        // A form that is wider than the length needs is no error.
        SLengthForm{"AWiderFormThanNeeded", {0xFF, 0xFF, 0xFF, 0x02, 0x00, 0x00, 0x00}, 2}),
    [](testing::TestParamInfo<SLengthForm> const& row) { return std::string(row.param.name); });

TEST(CbStreamReadBinaryWide, OfLength65534IsReadFromTwoBytesToo)
{
    std::wstring const text(65'534, L'x');
    Bytes const fourBytes = written(text);
    Bytes bytes{0xFF, 0xFE, 0xFF, 0xFF, 0xFE, 0xFF};
    bytes.insert(bytes.end(), fourBytes.begin() + 10, fourBytes.end());

    EXPECT_EQ(readAs<std::wstring>(bytes), text);
}

class CbStreamReadBinaryWideShort : public testing::TestWithParam<std::size_t>
{
};

// With an odd number of bytes the last unit has its low byte only.
TEST_P(CbStreamReadBinaryWideShort, BodyGivesWhatIsThere)
{
    Bytes const body{0x34, 0x12, 0x62, 0x00, 0x63, 0x21};
    Bytes const bytes = joined({Bytes{0xFF, 0xFE, 0xFF, 0x05}, headOf(body, GetParam())});
    wchar_t const* const expected[] = {L"",           L"\x34",           L"\x1234",          L"\x1234\x62",
                                       L"\x1234\x62", L"\x1234\x62\x63", L"\x1234\x62\x2163"};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    std::wstring text(L"old");

    stream >> text;

    EXPECT_EQ(text, expected[GetParam()]);
    EXPECT_EQ(stream.GetBytesRead(), 4 + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Prefixes, CbStreamReadBinaryWideShort, testing::Values(0, 1, 2, 3, 4, 5, 6));

TEST(CbStreamReadBinaryWide, OfALongBodyThatIsCutShortGivesWhatIsThere)
{
    std::wstring const whole(2'000'000, L'x');
    Bytes bytes = written(whole);
    bytes.resize(10 + 2 * 1'500'000 + 1);

    std::wstring const text = readAs<std::wstring>(bytes);

    EXPECT_EQ(text, whole.substr(0, 1'500'001));
}

TEST(CbStreamReadBinaryWide, OfSeveralMegabytesIsReadWhole)
{
    for (std::size_t const length : {524'287u, 524'288u, 524'289u, 1'572'864u, 3'000'000u})
    {
        SCOPED_TRACE(length);
        std::wstring text(length, L'x');
        text.back() = L'y';
        Bytes const bytes = joined({written(text), Bytes{0x07}});
        CbStreamReadBinaryBuffer stream = readerOf(bytes);
        std::wstring read;
        char next = 0;

        stream >> read >> next;

        EXPECT_EQ(read, text);
        EXPECT_EQ(next, 7);
    }
}

// A pair of units must not be torn where a long body is read in parts.
TEST(CbStreamReadBinaryWide, OfPairsOnlySurvivesWhateverTheParts)
{
    std::wstring text(L"a");
    for (int i = 0; i < 600'000; ++i)
    {
        text += L"\U0001F600";
    }

    EXPECT_EQ(readAs<std::wstring>(written(text)), text);
}

// ---- text between types

template <class T>
class CbStreamTextExchange : public testing::Test
{
};

template <class TWritten, class TRead>
struct SExchange
{
    using Written = TWritten;
    using Read = TRead;
};

using Exchanges = testing::Types<SExchange<CStringA, CStringA>, SExchange<CStringA, std::string>,
                                 SExchange<std::string, CStringA>, SExchange<std::string, std::string>,
                                 SExchange<char const*, CStringA>, SExchange<char const*, std::string>,
                                 SExchange<CStringW, CStringW>, SExchange<CStringW, std::wstring>,
                                 SExchange<std::wstring, CStringW>, SExchange<std::wstring, std::wstring>,
                                 SExchange<wchar_t const*, CStringW>, SExchange<wchar_t const*, std::wstring>>;
TYPED_TEST_SUITE(CbStreamTextExchange, Exchanges);

TYPED_TEST(CbStreamTextExchange, ReadsWhatAnotherTypeOfTheSameWidthWrote)
{
    using Written = typename TypeParam::Written;
    using Read = typename TypeParam::Read;
    Written text;
    if constexpr (std::is_convertible_v<char const*, Written>)
    {
        text = "one text";
    }
    else
    {
        text = L"one text";
    }
    CbStreamWriteBinaryBuffer writer;
    writer << text;
    CbStreamReadBinaryBuffer reader(writer.GetArray());
    Read read;

    reader >> read;

    EXPECT_TRUE(read == Read(text));
    EXPECT_EQ(reader.GetBytesRead(), writer.GetCount());
}

// ---- raw bytes

TEST(CbStreamReadBinaryBytes, AreDeliveredAsTheyAre)
{
    Bytes const bytes{'a', 0, 'b', 'c'};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    unsigned char data[3] = {};

    EXPECT_EQ(stream.ReadBuffer(data, 3), 3);

    EXPECT_THAT(data, ElementsAre('a', 0, 'b'));
}

TEST(CbStreamReadBinaryBytes, ThatAreMissingAreNoError)
{
    Bytes const bytes{'a'};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    unsigned char data[3] = {7, 8, 9};

    EXPECT_EQ(stream.ReadBuffer(data, 3), 1);
    EXPECT_EQ(stream.ReadBuffer(data + 1, 2), 0);

    EXPECT_THAT(data, ElementsAre('a', 8, 9));
}

TEST(CbStreamReadBinaryBytes, AreAskedForInOneRead)
{
    CRecordingReader stream(Bytes(10, 1));
    unsigned char data[100];

    EXPECT_EQ(stream.ReadBuffer(data, 100), 10);

    EXPECT_THAT(stream.GetReads(), ElementsAre(100));
}
