// The order of the virtual operations is what other modules were compiled against.

#include "support/virtualposition.h"

#include <gtest/gtest.h>

#include "orvane/object/iserializable.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybytecount.h"

namespace
{
// The position of the operator of TStream, which returns TResult, that reads a T.
template <class TStream, class TResult, class T>
std::size_t readPosition()
{
    return VirtualPosition(static_cast<TResult& (TStream::*)(T&)>(&TStream::operator>>));
}

// The same for the operator that writes a T.
template <class TStream, class TResult, class T>
std::size_t writePosition()
{
    return VirtualPosition(static_cast<TResult& (TStream::*)(T)>(&TStream::operator<<));
}

template <class TStream>
struct SReadPosition : public TStream
{
    static std::size_t Get()
    {
        return VirtualPosition(&SReadPosition::read);
    }
};

template <class TStream>
struct SWritePosition : public TStream
{
    static std::size_t Get()
    {
        return VirtualPosition(&SWritePosition::write);
    }
};
} // namespace

TEST(IStreamReadPosition, OfEveryOperatorIsThatOfItsDeclaration)
{
    using S = IStreamRead;

    EXPECT_EQ((readPosition<S, S, CStringW>()), 1);
    EXPECT_EQ((readPosition<S, S, CStringA>()), 2);
    EXPECT_EQ((readPosition<S, S, std::wstring>()), 3);
    EXPECT_EQ((readPosition<S, S, std::string>()), 4);
    EXPECT_EQ((readPosition<S, S, long>()), 5);
    EXPECT_EQ((readPosition<S, S, unsigned long>()), 6);
    EXPECT_EQ((readPosition<S, S, char>()), 7);
    EXPECT_EQ((readPosition<S, S, double>()), 8);
    EXPECT_EQ((readPosition<S, S, float>()), 9);
    EXPECT_EQ((readPosition<S, S, __int64>()), 10);
    EXPECT_EQ((readPosition<S, S, unsigned __int64>()), 11);
    EXPECT_EQ((readPosition<S, S, int>()), 12);
    EXPECT_EQ((readPosition<S, S, unsigned int>()), 13);
    EXPECT_EQ((readPosition<S, S, short>()), 14);
    EXPECT_EQ((readPosition<S, S, unsigned short>()), 15);
    EXPECT_EQ((readPosition<S, S, signed char>()), 16);
    EXPECT_EQ((readPosition<S, S, unsigned char>()), 17);
    EXPECT_EQ((readPosition<S, S, bool>()), 18);
    EXPECT_EQ(VirtualPosition(&S::ReadAndCompareVersion), 19);
}

TEST(CbStreamReadPosition, OfTheVersionIsThatOfTheInterface)
{
    EXPECT_EQ(VirtualPosition(&CbStreamRead::ReadAndCompareVersion), 19);
}

TEST(CbStreamReadBinaryPosition, OfEveryOperatorIsThatOfTheInterface)
{
    using S = CbStreamReadBinary;

    EXPECT_EQ((readPosition<S, S, CStringW>()), 1);
    EXPECT_EQ((readPosition<S, S, CStringA>()), 2);
    EXPECT_EQ((readPosition<S, S, std::wstring>()), 3);
    EXPECT_EQ((readPosition<S, S, std::string>()), 4);
    EXPECT_EQ((readPosition<S, S, long>()), 5);
    EXPECT_EQ((readPosition<S, S, unsigned long>()), 6);
    EXPECT_EQ((readPosition<S, S, char>()), 7);
    EXPECT_EQ((readPosition<S, S, double>()), 8);
    EXPECT_EQ((readPosition<S, S, float>()), 9);
    EXPECT_EQ((readPosition<S, S, __int64>()), 10);
    EXPECT_EQ((readPosition<S, S, unsigned __int64>()), 11);
    EXPECT_EQ((readPosition<S, S, int>()), 12);
    EXPECT_EQ((readPosition<S, S, unsigned int>()), 13);
    EXPECT_EQ((readPosition<S, S, short>()), 14);
    EXPECT_EQ((readPosition<S, S, unsigned short>()), 15);
    EXPECT_EQ((readPosition<S, S, signed char>()), 16);
    EXPECT_EQ((readPosition<S, S, unsigned char>()), 17);
    EXPECT_EQ((readPosition<S, S, bool>()), 18);
}

TEST(CbStreamReadBinaryPosition, OfReadBufferIs20)
{
    EXPECT_EQ(VirtualPosition(&CbStreamReadBinary::ReadBuffer), 20);
}

TEST(CbStreamReadBinaryPosition, OfReadIs21)
{
    EXPECT_EQ(SReadPosition<CbStreamReadBinary>::Get(), 21);
    EXPECT_EQ(SReadPosition<CbStreamReadBinaryBuffer>::Get(), 21);
}

TEST(IStreamWritePosition, OfEveryOperatorIsThatOfItsDeclaration)
{
    using S = IStreamWrite;

    EXPECT_EQ((writePosition<S, S, CStringW const&>()), 1);
    EXPECT_EQ((writePosition<S, S, CStringA const&>()), 2);
    EXPECT_EQ((writePosition<S, S, std::wstring const&>()), 3);
    EXPECT_EQ((writePosition<S, S, std::string const&>()), 4);
    EXPECT_EQ((writePosition<S, S, wchar_t const*>()), 5);
    EXPECT_EQ((writePosition<S, S, char const*>()), 6);
    EXPECT_EQ((writePosition<S, S, long>()), 7);
    EXPECT_EQ((writePosition<S, S, unsigned long>()), 8);
    EXPECT_EQ((writePosition<S, S, char>()), 9);
    EXPECT_EQ((writePosition<S, S, double>()), 10);
    EXPECT_EQ((writePosition<S, S, float>()), 11);
    EXPECT_EQ((writePosition<S, S, __int64>()), 12);
    EXPECT_EQ((writePosition<S, S, unsigned __int64>()), 13);
    EXPECT_EQ((writePosition<S, S, int>()), 14);
    EXPECT_EQ((writePosition<S, S, unsigned int>()), 15);
    EXPECT_EQ((writePosition<S, S, short>()), 16);
    EXPECT_EQ((writePosition<S, S, unsigned short>()), 17);
    EXPECT_EQ((writePosition<S, S, signed char>()), 18);
    EXPECT_EQ((writePosition<S, S, unsigned char>()), 19);
    EXPECT_EQ((writePosition<S, S, bool>()), 20);
    EXPECT_EQ(VirtualPosition(&S::WriteVersion), 21);
}

TEST(CbStreamWritePosition, OfTheStringOperatorsAndTheVersionIsThatOfTheInterface)
{
    using S = CbStreamWrite;

    EXPECT_EQ((writePosition<S, S, CStringW const&>()), 1);
    EXPECT_EQ((writePosition<S, S, CStringA const&>()), 2);
    EXPECT_EQ((writePosition<S, S, std::wstring const&>()), 3);
    EXPECT_EQ((writePosition<S, S, std::string const&>()), 4);
    EXPECT_EQ(VirtualPosition(&S::WriteVersion), 21);
}

TEST(CbStreamWriteBinaryPosition, OfEveryOperatorIsThatOfTheInterface)
{
    using S = CbStreamWriteBinary;

    EXPECT_EQ((writePosition<S, S, wchar_t const*>()), 5);
    EXPECT_EQ((writePosition<S, S, char const*>()), 6);
    EXPECT_EQ((writePosition<S, S, long>()), 7);
    EXPECT_EQ((writePosition<S, S, unsigned long>()), 8);
    EXPECT_EQ((writePosition<S, S, char>()), 9);
    EXPECT_EQ((writePosition<S, S, double>()), 10);
    EXPECT_EQ((writePosition<S, S, float>()), 11);
    EXPECT_EQ((writePosition<S, S, __int64>()), 12);
    EXPECT_EQ((writePosition<S, S, unsigned __int64>()), 13);
    EXPECT_EQ((writePosition<S, S, int>()), 14);
    EXPECT_EQ((writePosition<S, S, unsigned int>()), 15);
    EXPECT_EQ((writePosition<S, S, short>()), 16);
    EXPECT_EQ((writePosition<S, S, unsigned short>()), 17);
    EXPECT_EQ((writePosition<S, S, signed char>()), 18);
    EXPECT_EQ((writePosition<S, S, unsigned char>()), 19);
    EXPECT_EQ((writePosition<S, S, bool>()), 20);
}

TEST(CbStreamWriteBinaryPosition, OfWriteIs22)
{
    EXPECT_EQ(SWritePosition<CbStreamWriteBinary>::Get(), 22);
    EXPECT_EQ(SWritePosition<CbStreamWriteBinaryBuffer>::Get(), 22);
    EXPECT_EQ(SWritePosition<CbStreamWriteBinaryByteCount>::Get(), 22);
}

TEST(ISerializablePosition, OfSerializeIs3ForWritingAnd4ForReading)
{
    using Write = void (ISerializable::*)(CbStreamWriteBinary&) const;
    using Read = void (ISerializable::*)(CbStreamReadBinary&);

    EXPECT_EQ(VirtualPosition(static_cast<Write>(&ISerializable::Serialize)), 3);
    EXPECT_EQ(VirtualPosition(static_cast<Read>(&ISerializable::Serialize)), 4);
}
