#include "orvane/datetime/cbdatetime_serializer.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/datetime/cbdatetime.h"
#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/stream/streamtesting.h"
#include "support/raises.h"

static_assert(std::is_copy_constructible_v<CbDateTime_Serializer> && std::is_move_assignable_v<CbDateTime_Serializer>);

namespace
{
// 2024-05-06 07:08:09.010: version 0, ticks 0x01DA9F84266E1920.
Bytes const c_Stored = {0, 0, 0, 0, 0x20, 0x19, 0x6E, 0x26, 0x84, 0x9F, 0xDA, 0x01};
Bytes const c_NoTime = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
Bytes const c_Beyond = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80};
Bytes const c_Newer = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
Bytes const c_CutShort = {0, 0, 0, 0, 0x20, 0x19, 0x6E, 0x26, 0x84, 0x9F, 0xDA};

CbDateTime const c_Time(2024, 5, 6, 7, 8, 9, 10);

Bytes written(CbDateTime const& time)
{
    CbStreamWriteBinaryBuffer stream;
    time.Serialize(stream);
    return bytesOf(stream);
}

Bytes writtenByInterface(IDateTime const& time)
{
    CbStreamWriteBinaryBuffer stream;
    CbDateTime_Serializer::Serialize(stream, time);
    return bytesOf(stream);
}

void readInto(CbDateTime& time, Bytes const& bytes)
{
    CbStreamReadBinaryBuffer stream(bytes.data(), bytes.size());
    time.Serialize(stream);
    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
}

// Records what is set, and in which order.
class CRecordedTarget : public IDateTime
{
public:
    IDateTime& operator=(IDateTime const&) override
    {
        return *this;
    }

    unsigned int GetYear() const override
    {
        return 2024;
    }

    unsigned int GetMonth() const override
    {
        return 5;
    }

    unsigned int GetDay() const override
    {
        return 6;
    }

    unsigned int GetHour() const override
    {
        return 7;
    }

    unsigned int GetMinute() const override
    {
        return 8;
    }

    unsigned int GetSecond() const override
    {
        return 9;
    }

    unsigned int GetMillisecond() const override
    {
        return 10;
    }

    void SetYear(unsigned int value) override
    {
        note("year", value);
    }

    void SetMonth(unsigned int value) override
    {
        note("month", value);
    }

    void SetDay(unsigned int value) override
    {
        note("day", value);
    }

    void SetHour(unsigned int value) override
    {
        note("hour", value);
    }

    void SetMinute(unsigned int value) override
    {
        note("minute", value);
    }

    void SetSecond(unsigned int value) override
    {
        note("second", value);
    }

    void SetMillisecond(unsigned int value) override
    {
        note("millisecond", value);
    }

    std::string set;

private:
    void note(char const* name, unsigned int value)
    {
        set += name + (' ' + std::to_string(value)) + ' ';
    }
};

std::string readByInterface(Bytes const& bytes)
{
    CRecordedTarget target;
    CbStreamReadBinaryBuffer stream(bytes.data(), bytes.size());
    CbDateTime_Serializer::Serialize(stream, target);
    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
    return target.set;
}
} // namespace

TEST(CbDateTimeSerialize, WritesTheVersionAndTheTicks)
{
    EXPECT_EQ(written(c_Time), c_Stored);
    EXPECT_EQ(written(CbDateTime(2024, 13, 1, 0, 0, 0, 0)), c_NoTime);
}

TEST(CbDateTimeSerialize, ReadsWhatWasWritten)
{
    CbDateTime time;
    readInto(time, c_Stored);
    EXPECT_EQ(time, c_Time);
    EXPECT_EQ(static_cast<SYSTEMTIME>(time).wDayOfWeek, 1) << "a Monday";
    readInto(time, c_NoTime);
    EXPECT_TRUE(time.IsInvalid());
}

TEST(CbDateTimeSerialize, LeavesTheObjectForTicksThatAreNoTime)
{
    CbDateTime time = c_Time;
    readInto(time, c_Beyond);
    EXPECT_EQ(time, c_Time);
}

TEST(CbDateTimeSerialize, RefusesANewerVersion)
{
    CbDateTime time = c_Time;
    CbStreamReadBinaryBuffer stream(c_Newer.data(), c_Newer.size());
    EXPECT_RAISES(CbExceptionWrongFileVersion, "cbstreamread", "CbStreamRead::ReadAndCompareVersion",
                  time.Serialize(stream));
    EXPECT_EQ(time, c_Time);
}

TEST(CbDateTimeSerialize, RefusesTicksThatAreCutShort)
{
    CbDateTime time = c_Time;
    CbStreamReadBinaryBuffer stream(c_CutShort.data(), c_CutShort.size());
    EXPECT_RAISES(CbExceptionStream, "cbstreamreadbinary", "CbStreamReadBinary::operator >>", time.Serialize(stream));
    EXPECT_EQ(time, c_Time);
}

TEST(CbDateTimeSerializer, WritesTheSameBytesForAnyDateTime)
{
    EXPECT_EQ(writtenByInterface(c_Time), c_Stored);
    EXPECT_EQ(writtenByInterface(CRecordedTarget()), c_Stored);
}

TEST(CbDateTimeSerializer, SetsTheFieldsInOrder)
{
    EXPECT_EQ(readByInterface(c_Stored), "year 2024 month 5 day 6 hour 7 minute 8 second 9 millisecond 10 ");
    EXPECT_EQ(readByInterface(c_NoTime), "year 1601 month 1 day 1 hour 0 minute 0 second 0 millisecond 0 ");
}

TEST(CbDateTimeSerializer, SetsZerosForTicksThatAreNoTime)
{
    EXPECT_EQ(readByInterface(c_Beyond), "year 0 month 0 day 0 hour 0 minute 0 second 0 millisecond 0 ");
}

TEST(CbDateTimeSerializer, RefusesANewerVersion)
{
    CRecordedTarget target;
    CbStreamReadBinaryBuffer stream(c_Newer.data(), c_Newer.size());
    EXPECT_RAISES(CbExceptionWrongFileVersion, "cbstreamread", "CbStreamRead::ReadAndCompareVersion",
                  CbDateTime_Serializer::Serialize(stream, target));
    EXPECT_EQ(target.set, "");
}
