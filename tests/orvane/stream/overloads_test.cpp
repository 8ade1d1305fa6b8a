// What compiles and what does not, and in which form calls are chained.

#include <type_traits>

#include <gtest/gtest.h>

#include "orvane/stream/cbstreamwriteasciitrace.h"
#include "orvane/stream/cbstreamwritebinarybytecount.h"
#include "orvane/stream/streamtesting.h"

namespace
{
enum EPlain : unsigned short
{
    ePlain = 0x0102
};

enum class EScoped
{
    eScoped
};

struct SPlain
{
    int field = 0;
    int Get() const;
};

// What is meant to be a `bool`.
struct SFlag
{
    operator bool() const
    {
        return true;
    }
};

// What is meant to be text.
struct SText
{
    operator char const*() const
    {
        return "text";
    }
};

using CLambda = decltype([](int number) { return number; });
using CNoexceptLambda = decltype([]() noexcept {});

template <class TStream, class T>
concept Writes = requires(TStream& stream, T value)
{
    stream << value;
};

template <class TStream, class T>
concept Reads = requires(TStream& stream, T& value)
{
    stream >> value;
};

template <class TStream>
constexpr bool writesAllPrimitives()
{
    return Writes<TStream, long> && Writes<TStream, unsigned long> && Writes<TStream, char> &&
           Writes<TStream, double> && Writes<TStream, float> && Writes<TStream, __int64> &&
           Writes<TStream, unsigned __int64> && Writes<TStream, int> && Writes<TStream, unsigned int> &&
           Writes<TStream, short> && Writes<TStream, unsigned short> && Writes<TStream, signed char> &&
           Writes<TStream, unsigned char> && Writes<TStream, bool>;
}

template <class TStream>
constexpr bool writesAllText()
{
    return Writes<TStream, CStringW> && Writes<TStream, CStringA> && Writes<TStream, std::wstring> &&
           Writes<TStream, std::string> && Writes<TStream, wchar_t const*> && Writes<TStream, char const*> &&
           Writes<TStream, wchar_t*> && Writes<TStream, char*>;
}

template <class TStream>
constexpr bool writesFormats()
{
    return Writes<TStream, CbFormatT<CStringW>> && Writes<TStream, CbFormatT<CStringA>> &&
           Writes<TStream, CbFormatT<std::wstring>> && Writes<TStream, CbFormatT<std::string>>;
}

template <class TStream>
constexpr bool writesStrayPointers()
{
    return Writes<TStream, void const*> || Writes<TStream, void*> || Writes<TStream, int*> ||
           Writes<TStream, int const*> || Writes<TStream, unsigned char const*> || Writes<TStream, char16_t const*> ||
           Writes<TStream, std::string*> || Writes<TStream, char const**> || Writes<TStream, std::nullptr_t> ||
           Writes<TStream, int volatile*> || Writes<TStream, void const volatile*> || Writes<TStream, char volatile*> ||
           Writes<TStream, wchar_t const volatile*>;
}

template <class TStream>
constexpr bool writesFunctionsAndMembers()
{
    return Writes<TStream, unsigned int (*)()> || Writes<TStream, unsigned int (&)()> ||
           Writes<TStream, void (*)(char const*, ...) noexcept> || Writes<TStream, CLambda> ||
           Writes<TStream, CLambda const&> || Writes<TStream, CNoexceptLambda> || Writes<TStream, int SPlain::*> ||
           Writes<TStream, int SPlain::*const&> || Writes<TStream, int (SPlain::*)() const>;
}

template <class TStream>
constexpr bool readsAll()
{
    return Reads<TStream, CStringW> && Reads<TStream, CStringA> && Reads<TStream, std::wstring> &&
           Reads<TStream, std::string> && Reads<TStream, long> && Reads<TStream, unsigned long> &&
           Reads<TStream, char> && Reads<TStream, double> && Reads<TStream, float> && Reads<TStream, __int64> &&
           Reads<TStream, unsigned __int64> && Reads<TStream, int> && Reads<TStream, unsigned int> &&
           Reads<TStream, short> && Reads<TStream, unsigned short> && Reads<TStream, signed char> &&
           Reads<TStream, unsigned char> && Reads<TStream, bool>;
}
} // namespace

template <class TStream>
class StreamWriteOverloads : public testing::Test
{
};

using WriteStreams = testing::Types<IStreamWrite, CbStreamWrite, CbStreamWriteBinary, CbStreamWriteBinaryBuffer,
                                    CbStreamWriteBinaryByteCount, CbStreamWriteASCIIStringT<CStringA>,
                                    CbStreamWriteASCIIStringT<CStringW>, CbStreamWriteASCIITrace>;
TYPED_TEST_SUITE(StreamWriteOverloads, WriteStreams);

TYPED_TEST(StreamWriteOverloads, TakeEveryPrimitiveAndText)
{
    EXPECT_TRUE(writesAllPrimitives<TypeParam>());
    EXPECT_TRUE(writesAllText<TypeParam>());
}

TYPED_TEST(StreamWriteOverloads, RefuseAPointerThatIsNoText)
{
    EXPECT_FALSE(writesStrayPointers<TypeParam>());
}

TYPED_TEST(StreamWriteOverloads, RefuseAFunctionAndAMember)
{
    EXPECT_FALSE(writesFunctionsAndMembers<TypeParam>());
}

TYPED_TEST(StreamWriteOverloads, TakeWhatConvertsToATruthValueOrTextByItself)
{
    EXPECT_TRUE((Writes<TypeParam, SFlag>));
    EXPECT_TRUE((Writes<TypeParam, SText>));
    EXPECT_TRUE((Writes<TypeParam, EPlain>));
    EXPECT_TRUE((Writes<TypeParam, bool&>));
    EXPECT_TRUE((Writes<TypeParam, char const(&)[3]>));
}

TYPED_TEST(StreamWriteOverloads, RefuseAScopedEnumerationAndAnArray)
{
    EXPECT_FALSE((Writes<TypeParam, EScoped>));
    EXPECT_FALSE((Writes<TypeParam, CbArray<unsigned char>>));
}

TYPED_TEST(StreamWriteOverloads, AcceptFormattedTextButOnTheInterface)
{
    EXPECT_EQ(writesFormats<TypeParam>(), !(std::is_same_v<TypeParam, IStreamWrite>));
}

template <class TStream>
class StreamReadOverloads : public testing::Test
{
};

using ReadStreams = testing::Types<IStreamRead, CbStreamRead, CbStreamReadBinary, CbStreamReadBinaryBuffer>;
TYPED_TEST_SUITE(StreamReadOverloads, ReadStreams);

TYPED_TEST(StreamReadOverloads, TakeEveryPrimitiveAndString)
{
    EXPECT_TRUE(readsAll<TypeParam>());
}

TYPED_TEST(StreamReadOverloads, RefuseAPointerAndAConstant)
{
    EXPECT_FALSE((Reads<TypeParam, char*>));
    EXPECT_FALSE((Reads<TypeParam, wchar_t*>));
    EXPECT_FALSE((Reads<TypeParam, int const>));
    EXPECT_FALSE((Reads<TypeParam, EPlain>));
}

TEST(StreamWriteOverloadsChained, GiveTheBytesInOrderOnTheInterface)
{
    CbStreamWriteBinaryBuffer buffer;
    IStreamWrite& stream = buffer;

    stream << 1 << "ab" << std::string("c") << L"d" << CStringW(L"e") << true << 2.0;

    EXPECT_EQ(bytesOf(buffer), joined({littleEndian(1, 4), narrowText("ab"), narrowText("c"), wideText(u"d"),
                                       wideText(u"e"), Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0x40}}));
}

TEST(StreamWriteOverloadsChained, GiveTheBytesInOrderOnAConcreteStream)
{
    CbStreamWriteBinaryBuffer stream;

    stream << 1 << "ab" << std::string("c") << L"d" << CStringW(L"e") << true << static_cast<short>(-2);

    EXPECT_EQ(bytesOf(stream), joined({littleEndian(1, 4), narrowText("ab"), narrowText("c"), wideText(u"d"),
                                       wideText(u"e"), Bytes{1, 0xFE, 0xFF}}));
}

TEST(StreamWriteOverloadsChained, TakeFormattedTextAnywhere)
{
    CbStreamWriteBinaryBuffer buffer;
    CbStreamWrite& stream = buffer;

    stream << 1 << CbFormatT<std::string>("%d", 2) << std::string("a") << 3 << CbFormatT<CStringA>("%d", 4);
    buffer << std::string("b") << 5 << CbFormatT<std::string>("%d", 6);

    EXPECT_EQ(bytesOf(buffer), joined({littleEndian(1, 4), narrowText("2"), narrowText("a"), littleEndian(3, 4),
                                       narrowText("4"), narrowText("b"), littleEndian(5, 4), narrowText("6")}));
}

TEST(StreamWriteOverloadsChained, KeepTheBinaryStreamAfterAPrimitive)
{
    CbStreamWriteBinaryBuffer stream;

    (stream << 1 << L"a").WriteBuffer("xy", 2);

    EXPECT_EQ(bytesOf(stream), joined({littleEndian(1, 4), wideText(u"a"), Bytes{'x', 'y'}}));
}

TEST(StreamWriteOverloadsChained, WriteAnUnscopedEnumerationInTheWidthItPromotesTo)
{
    EXPECT_EQ(written(ePlain), littleEndian(0x0102, 2));
    EXPECT_EQ(written(L'a'), littleEndian('a', 4));
}

TEST(StreamWriteOverloadsChained, WriteWhatConvertsByItselfAsWhatItConvertsTo)
{
    EXPECT_EQ(written(SFlag()), (Bytes{0x01}));
    EXPECT_EQ(written(SText()), narrowText("text"));
}

TEST(StreamReadOverloadsChained, TakeTheValuesInOrderOnTheInterface)
{
    Bytes const bytes = joined({littleEndian(1, 4), narrowText("ab"), wideText(u"cd"), Bytes{1}});
    CbStreamReadBinaryBuffer buffer = readerOf(bytes);
    IStreamRead& stream = buffer;
    int number = 0;
    std::string narrow;
    CStringW wide;
    bool flag = false;

    stream >> number >> narrow >> wide >> flag;

    EXPECT_EQ(number, 1);
    EXPECT_EQ(narrow, "ab");
    EXPECT_STREQ(wide.GetString(), L"cd");
    EXPECT_TRUE(flag);
}

TEST(StreamReadOverloadsChained, KeepTheBinaryStream)
{
    Bytes const bytes = joined({littleEndian(1, 4), narrowText("ab"), Bytes{'x', 'y'}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    int number = 0;
    std::string narrow;
    char rest[2] = {};

    EXPECT_EQ((stream >> number >> narrow).ReadBuffer(rest, 2), 2);

    EXPECT_EQ(std::string(rest, 2), "xy");
}
