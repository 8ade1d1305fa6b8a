// Text is encoded and decoded many characters at a time: what is special at one place must be right at every place, at
// every length and at every address. The expected bytes come from the simplest loop there is.

#include <gtest/gtest.h>

#include "orvane/stream/streamtesting.h"

namespace
{
constexpr std::size_t c_Longest = 70;

// The units of a text up to its first NUL.
std::u16string unitsOf(std::u32string const& points)
{
    std::u16string units;
    for (char32_t const point : points)
    {
        if (point == 0)
        {
            break;
        }
        if (point < 0x10000)
        {
            units.push_back(static_cast<char16_t>(point));
        }
        else
        {
            units.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
        }
    }
    return units;
}

// The text as this target's memory holds it.
std::wstring memoryText(std::u32string const& points)
{
    std::wstring text;
    for (char32_t const point : points)
    {
        if (sizeof(wchar_t) > 2 || point < 0x10000)
        {
            text.push_back(static_cast<wchar_t>(point));
        }
        else
        {
            text.push_back(static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10)));
            text.push_back(static_cast<wchar_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
        }
    }
    return text;
}

std::u32string letters(std::size_t count)
{
    std::u32string text;
    for (std::size_t i = 0; i < count; ++i)
    {
        text.push_back(static_cast<char32_t>(U'a' + i % 26));
    }
    return text;
}

// Texts of every length with each special character at every place.
template <class TCheck>
void forAllTexts(TCheck check)
{
    for (std::size_t length = 0; length <= c_Longest; ++length)
    {
        std::u32string const text = letters(length);
        check(text);
        for (std::size_t place = 0; place < length; ++place)
        {
            for (char32_t const special :
                 {U'\x7F', U'\x80', U'\xFF', U'\u0100', U'\u8000', U'\uFFFF', U'\U00010000', U'\U0010FFFF',
                  static_cast<char32_t>(0xD800), static_cast<char32_t>(0xDFFF), static_cast<char32_t>(0)})
            {
                std::u32string changed = text;
                changed[place] = special;
                check(changed);
            }
        }
    }
}

template <class TCheck>
void forAllTextsOfPairs(TCheck check)
{
    for (std::size_t length = 0; length <= c_Longest; ++length)
    {
        for (std::size_t first = 0; first <= length; ++first)
        {
            check(letters(first) + std::u32string(length - first, U'\U0001F600'));
        }
    }
}

void checkWriting(std::u32string const& points)
{
    std::wstring const text = memoryText(points);
    ASSERT_TRUE(written(text) == wideText(unitsOf(points))) << "of length " << points.size();
}

// From an odd and from an even address, with another value behind it.
void checkReading(std::u32string const& points)
{
    std::u16string const units = unitsOf(points);
    // What lies behind a NUL is there to be skipped.
    std::u16string stored = units;
    if (points.find(U'\0') != std::u32string::npos)
    {
        stored += u'\0';
        stored += u"behind it";
    }
    for (std::size_t const offset : {0u, 1u})
    {
        Bytes const bytes = joined({Bytes(offset, 0xEE), wideText(stored), Bytes{0x07}});
        CbStreamReadBinaryBuffer stream(bytes.data() + offset, bytes.size() - offset);
        std::wstring text;
        char next = 0;

        stream >> text >> next;

        ASSERT_TRUE(text == memoryText(points.substr(0, points.find(U'\0')))) << "of length " << points.size();
        ASSERT_EQ(next, 7);
    }
}

void checkNarrow(std::string const& text)
{
    std::string const expected = text.substr(0, text.find('\0'));
    ASSERT_TRUE(written(text) == narrowText(expected)) << "of length " << text.size();

    Bytes const bytes = joined({narrowText(text), Bytes{0x07}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    std::string read;
    char next = 0;
    stream >> read >> next;
    ASSERT_TRUE(read == expected) << "of length " << text.size();
    ASSERT_EQ(next, 7);
}
} // namespace

TEST(StreamTextSteps, WriteWideTextWithAnythingAtAnyPlace)
{
    forAllTexts(&checkWriting);
}

TEST(StreamTextSteps, WriteWideTextOfPairsFromAnyPlaceOn)
{
    forAllTextsOfPairs(&checkWriting);
}

TEST(StreamTextSteps, ReadWideTextWithAnythingAtAnyPlace)
{
    forAllTexts(&checkReading);
}

TEST(StreamTextSteps, ReadWideTextOfPairsFromAnyPlaceOn)
{
    forAllTextsOfPairs(&checkReading);
}

TEST(StreamTextSteps, WriteAndReadNarrowTextWithAnythingAtAnyPlace)
{
    for (std::size_t length = 0; length <= 2 * c_Longest; ++length)
    {
        std::string const text(length, 'x');
        checkNarrow(text);
        for (std::size_t place = 0; place < length; ++place)
        {
            for (char const special : {'\0', '\x01', '\x7F', '\x80', '\xFF'})
            {
                std::string changed = text;
                changed[place] = special;
                checkNarrow(changed);
            }
        }
    }
}

// Values that no code point has exist in memory only where a character is wider than a unit.
TEST(StreamTextSteps, WriteAReplacementForWhatNoCodePointHas)
{
    if constexpr (sizeof(wchar_t) == 2)
    {
        GTEST_SKIP() << "every character is a unit here";
    }
    for (unsigned int const value : {0x110000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    {
        SCOPED_TRACE(value);
        for (std::size_t place = 0; place < 40; ++place)
        {
            std::wstring text(40, L'x');
            text[place] = static_cast<wchar_t>(value);
            std::u16string units(40, u'x');
            units[place] = 0xFFFD;

            ASSERT_TRUE(written(text) == wideText(units)) << "at " << place;
        }
    }
}
