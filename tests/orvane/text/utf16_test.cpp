#include "orvane/text/utf16.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
// Where wchar_t has 16 bits, memory holds units; where it has more, it holds code points.
constexpr bool c_IsWide = sizeof(wchar_t) > sizeof(char16_t);

// Exactly the room that is needed, so that a step too far is seen.
std::u16string encoded(std::wstring const& text)
{
    std::vector<char16_t> units(Utf16::CountUnits(text.data(), text.size()));
    std::size_t const written = Utf16::Encode(text.data(), text.size(), units.data());
    EXPECT_EQ(written, units.size());
    return std::u16string(units.data(), written);
}

// The room that is always enough: as many characters as there are units.
std::wstring decoded(std::u16string const& units)
{
    std::vector<wchar_t> text(units.size());
    std::size_t const written = Utf16::Decode(units.data(), units.size(), text.data());
    EXPECT_LE(written, units.size());
    return std::wstring(text.data(), written);
}

std::u16string encodedToNul(std::wstring const& text)
{
    std::vector<char16_t> units(2 * text.size());
    return std::u16string(units.data(), Utf16::EncodeToNul(text.data(), text.size(), units.data()));
}

std::wstring decodedToNul(std::u16string const& units)
{
    std::vector<wchar_t> text(units.size());
    return std::wstring(text.data(), Utf16::DecodeToNul(units.data(), units.size(), text.data()));
}

// What memory holds for a code point.
std::wstring memoryText(char32_t codePoint)
{
    if (c_IsWide || codePoint < 0x10000)
    {
        return std::wstring(1, static_cast<wchar_t>(codePoint));
    }
    char32_t const rest = codePoint - 0x10000;
    return {static_cast<wchar_t>(0xD800 + (rest >> 10)), static_cast<wchar_t>(0xDC00 + (rest & 0x3FF))};
}

std::u16string pairOf(char32_t codePoint)
{
    char32_t const rest = codePoint - 0x10000;
    return {static_cast<char16_t>(0xD800 + (rest >> 10)), static_cast<char16_t>(0xDC00 + (rest & 0x3FF))};
}

void expectRoundTrip(std::u16string const& units)
{
    std::wstring const text = decoded(units);
    ASSERT_EQ(Utf16::CountUnits(text.data(), text.size()), units.size());
    ASSERT_EQ(encoded(text), units);
}

// The text of `length` distinct plain characters.
std::wstring plainText(std::size_t length)
{
    std::wstring text;
    for (std::size_t n = 0; n < length; ++n)
    {
        text += static_cast<wchar_t>(0x100 + n);
    }
    return text;
}

std::u16string plainUnits(std::size_t length)
{
    std::u16string units;
    for (std::size_t n = 0; n < length; ++n)
    {
        units += static_cast<char16_t>(0x100 + n);
    }
    return units;
}

// A starting number of its own each time; ORVANE_TEST_SEED repeats a run.
unsigned int startingNumber()
{
    char const* const given = std::getenv("ORVANE_TEST_SEED");
    unsigned int const seed =
        given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::printf("ORVANE_TEST_SEED=%u\n", seed);
    std::fflush(stdout);
    return seed;
}
} // namespace

TEST(Utf16Text, OfNoLengthIsNothing)
{
    EXPECT_EQ(Utf16::CountUnits(nullptr, 0), 0u);
    EXPECT_EQ(Utf16::Encode(nullptr, 0, nullptr), 0u);
    EXPECT_EQ(Utf16::Decode(nullptr, 0, nullptr), 0u);
}

TEST(Utf16Text, OfTheBasicPlaneIsOneUnitACharacter)
{
    EXPECT_EQ(encoded(L"A\u00E9\u4E2D\uFFFD"), u"A\u00E9\u4E2D\uFFFD");
    EXPECT_EQ(decoded(u"A\u00E9\u4E2D\uFFFD"), L"A\u00E9\u4E2D\uFFFD");
}

TEST(Utf16Text, KeepsNulCharacters)
{
    std::wstring const text(L"a\0b\0", 4);

    EXPECT_EQ(encoded(text), std::u16string(u"a\0b\0", 4));
    EXPECT_EQ(decoded(std::u16string(u"a\0b\0", 4)), text);
}

TEST(Utf16Text, BeyondTheBasicPlaneIsAPair)
{
    EXPECT_EQ(encoded(L"\U0001F600"), std::u16string({0xD83D, 0xDE00}));
    EXPECT_EQ(encoded(L"\U00010000"), std::u16string({0xD800, 0xDC00}));
    EXPECT_EQ(encoded(L"\U0010FFFF"), std::u16string({0xDBFF, 0xDFFF}));

    EXPECT_EQ(decoded({0xD83D, 0xDE00}), L"\U0001F600");
    EXPECT_EQ(decoded({0xD800, 0xDC00}), L"\U00010000");
    EXPECT_EQ(decoded({0xDBFF, 0xDFFF}), L"\U0010FFFF");
    EXPECT_EQ(decoded({0xD83D, 0xDE00}).size(), c_IsWide ? 1u : 2u);
}

TEST(Utf16Text, OfEveryCodePointGoesBothWays)
{
    for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint)
    {
        std::wstring const text = memoryText(codePoint);
        std::u16string const units =
            codePoint < 0x10000 ? std::u16string(1, static_cast<char16_t>(codePoint)) : pairOf(codePoint);
        char16_t written[2] = {};
        ASSERT_EQ(Utf16::CountUnits(text.data(), text.size()), units.size()) << static_cast<unsigned int>(codePoint);
        ASSERT_EQ(Utf16::Encode(text.data(), text.size(), written), units.size())
            << static_cast<unsigned int>(codePoint);
        ASSERT_EQ(std::u16string(written, units.size()), units) << static_cast<unsigned int>(codePoint);
        wchar_t read[2] = {};
        ASSERT_EQ(Utf16::Decode(units.data(), units.size(), read), text.size()) << static_cast<unsigned int>(codePoint);
        ASSERT_EQ(std::wstring(read, text.size()), text) << static_cast<unsigned int>(codePoint);
    }
}

TEST(Utf16LoneSurrogates, SurviveTheWayIntoMemory)
{
    expectRoundTrip({0xD800});
    expectRoundTrip({0xDFFF});
    expectRoundTrip({u'a', 0xD83D});
    expectRoundTrip({0xDE00, u'a'});
    expectRoundTrip({u'a', 0xD83D, u'b'});
    expectRoundTrip({u'a', 0xDE00, u'b'});
}

TEST(Utf16LoneSurrogates, AreCharactersOfTheirOwn)
{
    EXPECT_EQ(decoded({0xD83D}), std::wstring(1, static_cast<wchar_t>(0xD83D)));
    EXPECT_EQ(decoded({0xDE00}), std::wstring(1, static_cast<wchar_t>(0xDE00)));
    EXPECT_EQ(encoded(std::wstring(1, static_cast<wchar_t>(0xD83D))), std::u16string({0xD83D}));
    EXPECT_EQ(encoded(std::wstring(1, static_cast<wchar_t>(0xDE00))), std::u16string({0xDE00}));
}

TEST(Utf16LoneSurrogates, InTheWrongOrderAreNoPair)
{
    std::u16string const units = {0xDE00, 0xD83D};

    EXPECT_EQ(decoded(units), std::wstring({static_cast<wchar_t>(0xDE00), static_cast<wchar_t>(0xD83D)}));
    expectRoundTrip(units);
}

TEST(Utf16LoneSurrogates, BeforeAPairLeaveItWhole)
{
    std::u16string const units = {0xD83D, 0xD83D, 0xDE00};

    EXPECT_EQ(decoded(units), std::wstring(1, static_cast<wchar_t>(0xD83D)) + memoryText(0x1F600));
    expectRoundTrip(units);
}

TEST(Utf16LoneSurrogates, BehindAPairLeaveItWhole)
{
    std::u16string const units = {0xD83D, 0xDE00, 0xDE00};

    EXPECT_EQ(decoded(units), memoryText(0x1F600) + std::wstring(1, static_cast<wchar_t>(0xDE00)));
    expectRoundTrip(units);
}

TEST(Utf16Lengths, AroundEachStepAreCopiedWhole)
{
    for (std::size_t length = 0; length <= 67; ++length)
    {
        EXPECT_EQ(encoded(plainText(length)), plainUnits(length)) << length;
        EXPECT_EQ(decoded(plainUnits(length)), plainText(length)) << length;
    }
}

TEST(Utf16Lengths, MayHoldAPairAtEveryPlace)
{
    for (std::size_t length = 2; length <= 67; ++length)
    {
        for (std::size_t place = 0; place + 2 <= length; ++place)
        {
            std::u16string units = plainUnits(length);
            units.replace(place, 2, u"\U0001F600");
            std::wstring const text = plainText(place) + memoryText(0x1F600) + plainText(length).substr(place + 2);
            ASSERT_EQ(decoded(units), text) << length << ' ' << place;
            ASSERT_EQ(encoded(text), units) << length << ' ' << place;
        }
    }
}

TEST(Utf16Lengths, MayHoldALoneSurrogateAtEveryPlace)
{
    for (std::size_t length = 1; length <= 67; ++length)
    {
        for (std::size_t place = 0; place < length; ++place)
        {
            for (char16_t const surrogate : {u'\xD800', u'\xDBFF', u'\xDC00', u'\xDFFF'})
            {
                std::u16string units = plainUnits(length);
                units[place] = surrogate;
                std::wstring text = plainText(length);
                text[place] = static_cast<wchar_t>(surrogate);
                ASSERT_EQ(decoded(units), text) << length << ' ' << place;
                ASSERT_EQ(encoded(text), units) << length << ' ' << place;
            }
        }
    }
}

TEST(Utf16Lengths, OfPairsOnlyAreHalvedWhereMemoryIsWide)
{
    for (std::size_t pairs = 0; pairs <= 67; ++pairs)
    {
        std::u16string units;
        std::wstring text;
        for (std::size_t n = 0; n < pairs; ++n)
        {
            units += pairOf(static_cast<char32_t>(0x1F600 + n));
            text += memoryText(static_cast<char32_t>(0x1F600 + n));
        }
        ASSERT_EQ(decoded(units), text) << pairs;
        ASSERT_EQ(encoded(text), units) << pairs;
        ASSERT_EQ(text.size(), c_IsWide ? pairs : 2 * pairs);
    }
}

TEST(Utf16Values, ThatNoCodePointHasBecomeTheReplacementCharacter)
{
    // Where memory is 16 bits wide there are no such values, and the cast gives other characters that must survive.
    for (unsigned int const value : {0x110000u, 0x12345678u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 0xFFFFD83Du})
    {
        for (std::size_t length = 1; length <= 35; ++length)
        {
            for (std::size_t place = 0; place < length; ++place)
            {
                std::wstring text = plainText(length);
                text[place] = static_cast<wchar_t>(value);
                std::u16string expected = plainUnits(length);
                expected[place] = c_IsWide ? u'\xFFFD' : static_cast<char16_t>(value);
                ASSERT_EQ(encoded(text), expected) << value << ' ' << length << ' ' << place;
            }
        }
    }
}

TEST(Utf16Values, OfAPairInMemoryAreWrittenAsThePairThatTheyAre)
{
    std::wstring const text = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};

    EXPECT_EQ(encoded(text), std::u16string({0xD83D, 0xDE00}));
}

TEST(Utf16Room, IsNotOverstepped)
{
    constexpr char16_t c_Guard = 0xABCD;
    constexpr wchar_t c_WideGuard = 0x1234;
    for (std::size_t length = 0; length <= 40; ++length)
    {
        std::wstring const text = plainText(length) + memoryText(0x1F600);
        std::size_t const count = Utf16::CountUnits(text.data(), text.size());
        std::vector<char16_t> units(count + 32, c_Guard);
        ASSERT_EQ(Utf16::Encode(text.data(), text.size(), units.data()), count);
        for (std::size_t n = count; n < units.size(); ++n)
        {
            ASSERT_EQ(units[n], c_Guard) << length << ' ' << n;
        }

        std::vector<wchar_t> room(count + 32, c_WideGuard);
        ASSERT_LE(Utf16::Decode(units.data(), count, room.data()), count);
        for (std::size_t n = count; n < room.size(); ++n)
        {
            ASSERT_EQ(room[n], c_WideGuard) << length << ' ' << n;
        }
    }
}

TEST(Utf16Addresses, MayBeOddForUnits)
{
    for (std::size_t length = 0; length <= 67; ++length)
    {
        std::wstring const text = plainText(length) + memoryText(0x1F600) + L"x";
        std::u16string const expected = plainUnits(length) + u"\U0001F600x";
        std::vector<unsigned char> room(1 + expected.size() * sizeof(char16_t));
        ASSERT_EQ(Utf16::Encode(text.data(), text.size(), room.data() + 1), expected.size()) << length;
        std::u16string written(expected.size(), u'\0');
        std::memcpy(written.data(), room.data() + 1, written.size() * sizeof(char16_t));
        ASSERT_EQ(written, expected) << length;

        std::vector<wchar_t> read(expected.size());
        ASSERT_EQ(Utf16::Decode(room.data() + 1, expected.size(), read.data()), text.size()) << length;
        ASSERT_EQ(std::wstring(read.data(), text.size()), text) << length;
    }
}

TEST(Utf16ToNul, EndsBeforeTheFirstNulWhereverItStands)
{
    for (std::size_t length = 1; length <= 67; ++length)
    {
        for (std::size_t place = 0; place < length; ++place)
        {
            std::wstring text = plainText(length);
            text[place] = L'\0';
            text[length - 1] = L'\0';
            EXPECT_EQ(encodedToNul(text), plainUnits(place)) << length << ' ' << place;

            std::u16string units = plainUnits(length);
            units[place] = u'\0';
            units[length - 1] = u'\0';
            EXPECT_EQ(decodedToNul(units), plainText(place)) << length << ' ' << place;
        }
    }
}

TEST(Utf16ToNul, TakesTheWholeWhereThereIsNoNul)
{
    for (std::size_t length = 0; length <= 67; ++length)
    {
        EXPECT_EQ(encodedToNul(plainText(length)), plainUnits(length)) << length;
        EXPECT_EQ(decodedToNul(plainUnits(length)), plainText(length)) << length;
    }
}

TEST(Utf16ToNul, LooksForWholeUnitsAndNotForZeroBytes)
{
    // One byte of each unit is zero, and in memory two or three of each character.
    std::u16string const units(40, u'\x0100');

    EXPECT_EQ(decodedToNul(units), std::wstring(40, static_cast<wchar_t>(0x100)));
    EXPECT_EQ(encodedToNul(std::wstring(40, static_cast<wchar_t>(0x100))), units);
    EXPECT_EQ(encodedToNul(std::wstring(40, L'a')), std::u16string(40, u'a'));
}

TEST(Utf16ToNul, DoesNotTakeAPairForANul)
{
    // Half of such a character is zero where memory is wide.
    std::wstring text;
    std::u16string units;
    for (int n = 0; n < 40; ++n)
    {
        text += memoryText(0x10000);
        units += pairOf(0x10000);
    }

    EXPECT_EQ(encodedToNul(text), units);
    EXPECT_EQ(decodedToNul(units), text);
}

TEST(Utf16ToNul, KeepsWhatStandsRightBeforeTheNul)
{
    for (std::size_t length = 0; length <= 35; ++length)
    {
        std::u16string const pair = plainUnits(length) + u"\U0001F600";
        EXPECT_EQ(decodedToNul(pair + std::u16string(u"\0zzzzzzzzzzzzzzzzzzz", 20)),
                  plainText(length) + memoryText(0x1F600))
            << length;
        std::u16string const lone = plainUnits(length) + u'\xD83D';
        EXPECT_EQ(decodedToNul(lone + std::u16string(u"\0\xDE00zzzzzzzzzzzzzzzzzz", 20)),
                  plainText(length) + static_cast<wchar_t>(0xD83D))
            << length;
        EXPECT_EQ(encodedToNul(plainText(length) + memoryText(0x1F600) + std::wstring(L"\0zzzzzzzzzzzzzzzzzzz", 20)),
                  pair)
            << length;
    }
}

TEST(Utf16Random, SequencesOfUnitsSurviveTheWayIntoMemoryAndBack)
{
    std::mt19937 random(startingNumber());
    for (int round = 0; round < 20'000; ++round)
    {
        std::u16string units(random() % 68, u'\0');
        bool const isMostlySurrogates = round % 2 == 0;
        for (char16_t& unit : units)
        {
            unit =
                static_cast<char16_t>(isMostlySurrogates && random() % 4 != 0 ? 0xD800 + random() % 0x800 : random());
        }
        ASSERT_NO_FATAL_FAILURE(expectRoundTrip(units)) << "round " << round;
    }
}

TEST(Utf16Random, TextsHaveAsManyUnitsAsTheCountSays)
{
    std::mt19937 random(startingNumber());
    for (int round = 0; round < 20'000; ++round)
    {
        std::wstring text(random() % 68, L'\0');
        for (wchar_t& ch : text)
        {
            unsigned int const kind = random() % 4;
            ch = static_cast<wchar_t>(kind == 0   ? random()
                                      : kind == 1 ? random() % 0x110000
                                      : kind == 2 ? 0xD800 + random() % 0x800
                                                  : random() % 0x10000);
        }
        std::size_t const count = Utf16::CountUnits(text.data(), text.size());
        std::vector<char16_t> units(2 * text.size());
        ASSERT_EQ(Utf16::Encode(text.data(), text.size(), units.data()), count) << "round " << round;
        ASSERT_GE(count, text.size());
        ASSERT_LE(count, 2 * text.size());
    }
}

TEST(Utf16Long, TextsAreWholeWhereverTheyStandInMemory)
{
    std::wstring const wide = plainText(4096);
    std::u16string const units = plainUnits(4096);
    for (std::size_t start = 0; start < 17; ++start)
    {
        std::vector<char16_t> written(4096);
        ASSERT_EQ(Utf16::Encode(wide.data() + start, wide.size() - start, written.data()), 4096 - start);
        ASSERT_EQ(std::u16string(written.data(), 4096 - start), units.substr(start));
        std::vector<wchar_t> read(4096);
        ASSERT_EQ(Utf16::Decode(units.data() + start, units.size() - start, read.data()), 4096 - start);
        ASSERT_EQ(std::wstring(read.data(), 4096 - start), wide.substr(start));
    }
}
