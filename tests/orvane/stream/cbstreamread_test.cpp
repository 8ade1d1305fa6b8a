#include "orvane/stream/cbstreamread.h"

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/stream/streamtesting.h"
#include "support/logrecorder.h"
#include "support/raises.h"

namespace
{
unsigned int readVersion(unsigned int stored, unsigned int expected)
{
    Bytes const bytes = littleEndian(stored, 4);
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    return stream.ReadAndCompareVersion(expected);
}
} // namespace

TEST(CbStreamReadVersion, OfZeroIsAcceptedWhereZeroIsExpected)
{
    EXPECT_EQ(readVersion(0, 0), 0);
}

TEST(CbStreamReadVersion, IsReturnedWhereItIsOlder)
{
    EXPECT_EQ(readVersion(1, 3), 1);
    EXPECT_EQ(readVersion(0, 3), 0);
}

TEST(CbStreamReadVersion, IsReturnedWhereItIsTheExpectedOne)
{
    EXPECT_EQ(readVersion(3, 3), 3);
}

TEST(CbStreamReadVersion, IsRefusedWhereItIsNewer)
{
    CLogRecorder const log;

    EXPECT_RAISES(CbExceptionWrongFileVersion, "cbstreamread", "CbStreamRead::ReadAndCompareVersion",
                  readVersion(1, 0));
    EXPECT_RAISES(CbExceptionWrongFileVersion, "cbstreamread", "CbStreamRead::ReadAndCompareVersion",
                  readVersion(4, 3));
}

TEST(CbStreamReadVersion, IsComparedWithoutASign)
{
    CLogRecorder const log;

    EXPECT_EQ(readVersion(0xFFFFFFFF, 0xFFFFFFFF), 0xFFFFFFFF);
    EXPECT_EQ(readVersion(1, 0x80000000), 1);
    EXPECT_RAISES(CbExceptionWrongFileVersion, "cbstreamread", "CbStreamRead::ReadAndCompareVersion",
                  readVersion(0x80000000, 1));
}

TEST(CbStreamReadVersion, TakesFourBytesAndNoMoreWhereItIsRefused)
{
    CLogRecorder const log;
    Bytes const bytes = joined({littleEndian(9, 4), littleEndian(77, 4)});
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_THROW(stream.ReadAndCompareVersion(8), CbExceptionWrongFileVersion);

    EXPECT_EQ(stream.GetBytesRead(), 4);
    int next = 0;
    stream >> next;
    EXPECT_EQ(next, 77);
}

TEST(CbStreamReadVersion, ThatIsCutShortIsAStreamFailure)
{
    CLogRecorder const log;
    Bytes const bytes{0, 0, 0};
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>",
                  stream.ReadAndCompareVersion(7));
}

TEST(CbStreamReadVersion, IsReadThroughTheOperatorForUnsignedInt)
{
    class CReader : public CRecordingReader
    {
    public:
        using CRecordingReader::CRecordingReader;
        using CRecordingReader::operator>>;

        CReader& operator>>(unsigned int& value) override
        {
            value = 5;
            return *this;
        }
    };

    CReader stream(Bytes{});

    EXPECT_EQ(stream.ReadAndCompareVersion(6), 5);
}

TEST(CbStreamReadVersion, ThatIsRefusedWritesOneLineToTheLog)
{
    CLogRecorder const log;

    EXPECT_THROW(readVersion(1, 0), CbExceptionWrongFileVersion);

    auto const records = log.GetRecords(L"Exception");
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].text, L"Wrong file version on stream");
    EXPECT_EQ(records[0].file, "cbstreamread");
    EXPECT_EQ(records[0].function, "CbStreamRead::ReadAndCompareVersion");
}
