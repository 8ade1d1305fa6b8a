// Small streams that claim lengths of any size: the result is what is there, and the memory is taken for that.

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/stream/cbarray_serializer.h"
#include "orvane/stream/peakmemory.h"
#include "orvane/stream/streamtesting.h"
#include "support/logrecorder.h"

namespace
{
constexpr std::size_t c_LargestStream = 64;
constexpr unsigned long long c_MemoryLimit = 64 * 1024 * 1024;

// Runs an operation that may take no more than the limit.
template <class TOperation>
void expectLittleMemory(TOperation operation)
{
    unsigned long long const before = CurrentMemory();
    operation();
    unsigned long long const peak = PeakMemory();
    ASSERT_GE(peak, before);
    EXPECT_LT(peak - before, c_MemoryLimit);
}

Bytes wideHead(Bytes const& length)
{
    return joined({Bytes{0xFF, 0xFE, 0xFF}, length});
}

struct SClaim
{
    char const* name;
    Bytes head;
};

Bytes const c_NextForms{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
} // namespace

// Keep this one first: it shows that the measure sees what is taken.
TEST(ClaimedLengthMeasure, SeesABlockOf32Mebibytes)
{
    constexpr std::size_t size = 32 * 1024 * 1024;
    unsigned long long const before = CurrentMemory();
    {
        Bytes block(size, 1);
        EXPECT_EQ(block[size / 2], 1);
    }

    EXPECT_GE(PeakMemory() - before, size - size / 8);
    EXPECT_LT(PeakMemory() - before, c_MemoryLimit);
}

class ClaimedNarrowLength : public testing::TestWithParam<SClaim>
{
};

TEST_P(ClaimedNarrowLength, GivesWhatIsThereAndTakesLittleMemory)
{
    Bytes const bytes = joined({GetParam().head, Bytes{'t', 'e', 'x', 't'}});
    ASSERT_LE(bytes.size(), c_LargestStream);
    CStringA text("old");
    std::string other("old");
    CbStreamReadBinaryBuffer first = readerOf(bytes);
    CbStreamReadBinaryBuffer second = readerOf(bytes);

    expectLittleMemory(
        [&]
        {
            first >> text;
            second >> other;
        });

    EXPECT_STREQ(text.GetString(), "text");
    EXPECT_EQ(other, "text");
    EXPECT_EQ(first.GetBytesRead(), bytes.size());
}

INSTANTIATE_TEST_SUITE_P(Forms, ClaimedNarrowLength,
                         testing::Values(SClaim{"Of100", littleEndian(100, 4)},
                                         SClaim{"Of1MiBAnd1", littleEndian(0x100001, 4)},
                                         SClaim{"Of256MiB", littleEndian(0x10000000, 4)},
                                         SClaim{"Of2To31", littleEndian(0x80000000, 4)},
                                         SClaim{"Of2To32Less1", littleEndian(0xFFFFFFFF, 4)}),
                         [](testing::TestParamInfo<SClaim> const& row) { return std::string(row.param.name); });

class ClaimedWideLength : public testing::TestWithParam<SClaim>
{
};

TEST_P(ClaimedWideLength, GivesWhatIsThereAndTakesLittleMemory)
{
    Bytes const bytes = joined({wideHead(GetParam().head), Bytes{'t', 0, 'e', 0, 'x', 0, 't', 0}});
    ASSERT_LE(bytes.size(), c_LargestStream);
    CStringW text(L"old");
    std::wstring other(L"old");
    CbStreamReadBinaryBuffer first = readerOf(bytes);
    CbStreamReadBinaryBuffer second = readerOf(bytes);

    expectLittleMemory(
        [&]
        {
            first >> text;
            second >> other;
        });

    EXPECT_STREQ(text.GetString(), L"text");
    EXPECT_EQ(other, L"text");
    EXPECT_EQ(first.GetBytesRead(), bytes.size());
}

TEST_P(ClaimedWideLength, OfAClassNameIsRefusedForItsMissingSizeAndTakesLittleMemory)
{
    CLogRecorder const log;
    Bytes const bytes = joined({wideHead(GetParam().head), Bytes{'t', 0, 'e', 0, 'x', 0, 't', 0}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    expectLittleMemory([&] { EXPECT_THROW(stream.ReadChunk(), CbExceptionStream); });

    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ClaimedWideLength,
    testing::Values(SClaim{"Of254InOneByte", {0xFE}}, SClaim{"Of65534InTwoBytes", {0xFF, 0xFE, 0xFF}},
                    SClaim{"Of256MiBInFourBytes", {0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x10}},
                    SClaim{"Of2To32Less2InFourBytes", {0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF}},
                    SClaim{"Of2To32InEightBytes", joined({c_NextForms, littleEndian(0x1'0000'0000, 8)})},
                    SClaim{"Of2To62InEightBytes", joined({c_NextForms, littleEndian(0x4000'0000'0000'0000, 8)})},
                    // Twice this, and this plus one, pass 64 bits.
                    SClaim{"Of2To63InEightBytes", joined({c_NextForms, littleEndian(0x8000'0000'0000'0000, 8)})},
                    SClaim{"Of2To64Less1InEightBytes", joined({c_NextForms, littleEndian(0xFFFF'FFFF'FFFF'FFFF, 8)})}),
    [](testing::TestParamInfo<SClaim> const& row) { return std::string(row.param.name); });

class ClaimedArrayCount : public testing::TestWithParam<SClaim>
{
};

TEST_P(ClaimedArrayCount, KeepsWhatIsThereAndTakesLittleMemory)
{
    CLogRecorder const log;
    Bytes const bytes = joined({GetParam().head, Bytes{7, 8}});
    ASSERT_LE(bytes.size(), c_LargestStream);
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array;

    expectLittleMemory([&] { EXPECT_THROW(CbArray_Serializer::Serialize(stream, array), CbExceptionStream); });

    EXPECT_EQ(bytesOf(array), (Bytes{7, 8}));
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ClaimedArrayCount,
    testing::Values(SClaim{"Of256MiB", joined({littleEndian(0xFFFFFFFF, 4), littleEndian(1, 4),
                                               littleEndian(0x10000000, 4), littleEndian(1, 4)})},
                    SClaim{"Of2To32Less2", joined({littleEndian(0xFFFFFFFF, 4), littleEndian(1, 4),
                                                   littleEndian(0xFFFFFFFE, 4), littleEndian(1, 4)})},
                    SClaim{"Of256MiBInTheOlderForm", joined({littleEndian(0x10000000, 4), littleEndian(1, 4)})},
                    SClaim{"Of2To32Less2InTheOlderForm", joined({littleEndian(0xFFFFFFFE, 4), littleEndian(1, 4)})}),
    [](testing::TestParamInfo<SClaim> const& row) { return std::string(row.param.name); });

TEST(ClaimedChunkSize, OfAnUnknownClassTakesLittleMemory)
{
    Bytes const bytes = joined({wideText(u"X"), littleEndian(0x4000'0000'0000'0000, 8), Bytes{1, 2, 3}});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    expectLittleMemory([&] { EXPECT_EQ(stream.ReadChunk(), nullptr); });

    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
}
