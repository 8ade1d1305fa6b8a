// Text that is put together piece by piece.

#include "orvane/text/textbuffer.h"

#include <climits>
#include <utility>

#include <gtest/gtest.h>

namespace
{
using CBuffer = detail::CTextBuffer<8>;
} // namespace

TEST(TextBuffer, IsEmptyAtFirst)
{
    CBuffer buffer;
    EXPECT_EQ(buffer.GetText(), "");
    EXPECT_TRUE(buffer.Take().IsEmpty());
}

TEST(TextBuffer, HoldsWhatFillsItsRoom)
{
    CBuffer buffer;
    buffer.Add("1234567");
    buffer.Add('8');
    EXPECT_EQ(buffer.GetText(), "12345678");
}

TEST(TextBuffer, GoesOnBeyondItsRoom)
{
    CBuffer buffer;
    buffer.Add("12345678");
    buffer.Add('9');
    buffer.Add("abcdef");
    buffer.Add("a text that is longer than the room");
    EXPECT_EQ(buffer.GetText(), "123456789abcdefa text that is longer than the room");
    buffer.Add('!');
    EXPECT_STREQ(buffer.Take(), "123456789abcdefa text that is longer than the room!");
}

TEST(TextBuffer, WritesNumbersWithTheirLeastDigits)
{
    detail::CTextBuffer<64> buffer;
    for (auto const& [number, digits] : {std::pair{7u, 2u}, {0u, 1u}, {0u, 3u}, {2024u, 2u}, {UINT_MAX, 1u}})
    {
        buffer.AddNumber(number, digits);
        buffer.Add(' ');
    }
    EXPECT_EQ(buffer.GetText(), "07 0 000 2024 4294967295 ");
}

TEST(TextBuffer, WritesSignedNumbers)
{
    detail::CTextBuffer<64> buffer;
    for (int const number : {0, -1, INT_MAX, INT_MIN})
    {
        buffer.AddInt(number);
        buffer.Add(' ');
    }
    EXPECT_EQ(buffer.GetText(), "0 -1 2147483647 -2147483648 ");
}

TEST(TextBuffer, WritesAddressesInSixteenCapitalDigits)
{
    detail::CTextBuffer<64> buffer;
    buffer.AddAddress(0xFEDCBA9876543210);
    buffer.AddAddress(0);
    EXPECT_EQ(buffer.GetText(), "FEDCBA98765432100000000000000000");
}
