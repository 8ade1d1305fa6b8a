#include "orvane/stream/cbstreamwritebinarybytecount.h"

#include <gtest/gtest.h>

#include "orvane/stream/streamtesting.h"
#include "support/layout.h"

static_assert(sizeof(CbStreamWriteBinaryByteCount) == 16);

TEST(CbStreamWriteBinaryByteCountMembers, AreTheCountAlone)
{
    CbStreamWriteBinaryByteCount stream;
    EXPECT_EQ(fieldAt<unsigned __int64>(&stream, 8), 0);

    stream << 1 << true;

    EXPECT_EQ(fieldAt<unsigned __int64>(&stream, 8), 5);
}

TEST(CbStreamWriteBinaryByteCountValue, StartsAtZero)
{
    EXPECT_EQ(CbStreamWriteBinaryByteCount().GetByteCount(), 0);
}

TEST(CbStreamWriteBinaryByteCountValue, OfAWideTextOf300UnitsIs606)
{
    CbStreamWriteBinaryByteCount stream;

    stream << std::wstring(300, L'x');

    EXPECT_EQ(stream.GetByteCount(), 606);
}

TEST(CbStreamWriteBinaryByteCountValue, OfTextBeyondTheBasicPlaneCountsUnits)
{
    CbStreamWriteBinaryByteCount stream;

    stream << L"\U0001F600";

    EXPECT_EQ(stream.GetByteCount(), 8);
}

TEST(CbStreamWriteBinaryByteCountValue, AddsUpWhatABufferWouldHold)
{
    CbStreamWriteBinaryByteCount counter;
    CbStreamWriteBinaryBuffer buffer;
    for (CbStreamWriteBinary* const stream :
         {static_cast<CbStreamWriteBinary*>(&counter), static_cast<CbStreamWriteBinary*>(&buffer)})
    {
        *stream << 1 << true << 2.0 << 3l << "narrow" << L"wide" << std::wstring(70'000, L'x');
        stream->WriteVersion(1);
        stream->WriteBuffer("abc", 3);
    }

    EXPECT_EQ(counter.GetByteCount(), buffer.GetCount());
}

// The data are not looked at: a null pointer will do, and sizes that no memory has.
TEST(CbStreamWriteBinaryByteCountValue, TakesSizesOf64BitsWithoutData)
{
    CbStreamWriteBinaryByteCount stream;

    stream.WriteBuffer(nullptr, 0x1'0000'0000);
    stream.WriteBuffer(nullptr, 1);

    EXPECT_EQ(stream.GetByteCount(), 0x1'0000'0001);
}

TEST(CbStreamWriteBinaryByteCountCopy, CountsOnByItself)
{
    CbStreamWriteBinaryByteCount stream;
    stream << 1;

    CbStreamWriteBinaryByteCount copy(stream);
    copy << 1;
    CbStreamWriteBinaryByteCount assigned;
    assigned = copy;

    EXPECT_EQ(stream.GetByteCount(), 4);
    EXPECT_EQ(copy.GetByteCount(), 8);
    EXPECT_EQ(assigned.GetByteCount(), 8);
}
