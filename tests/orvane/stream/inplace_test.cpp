// The memory streams encode and decode in place where no class derived from them watches. The bytes, the values and the
// refusals are those of the encoding itself, which a derived class gets.

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"
#include "orvane/stream/streamtesting.h"
#include "orvane/text/utf16.h"
#include "support/layout.h"
#include "support/logrecorder.h"

namespace
{
class CWatchedWriter : public CbStreamWriteBinaryBuffer
{
public:
    using CbStreamWriteBinaryBuffer::CbStreamWriteBinaryBuffer;

    std::vector<unsigned __int64> widths;

protected:
    CWatchedWriter& write(void const* data, unsigned __int64 size) override
    {
        widths.push_back(size);
        CbStreamWriteBinaryBuffer::write(data, size);
        return *this;
    }
};

class CWatchedReader : public CbStreamReadBinaryBuffer
{
public:
    using CbStreamReadBinaryBuffer::CbStreamReadBinaryBuffer;

    std::vector<unsigned __int64> widths;

protected:
    unsigned __int64 read(void* data, unsigned __int64 size) override
    {
        widths.push_back(size);
        return CbStreamReadBinaryBuffer::read(data, size);
    }
};

std::wstring anyWideText(std::mt19937& random, std::size_t length)
{
    std::wstring text;
    while (text.size() < length)
    {
        unsigned int const kind = static_cast<unsigned int>(random() % 64);
        // Mostly plain, sometimes the edges of what one unit holds, half a pair, a NUL, or what needs a pair.
        wchar_t const edges[] = {L'\xFFFF', L'\xFFFE', L'\xD800', L'\xDC00', L'\xDFFF', L'\xE000', L'\0'};
        if (kind < std::size(edges))
        {
            text.push_back(random() % 4 == 0 ? edges[kind] : L'x');
        }
        else if (kind == 60 && sizeof(wchar_t) > sizeof(char16_t))
        {
            text.push_back(static_cast<wchar_t>(0x10000 + random() % 0x100000));
        }
        else
        {
            text.push_back(static_cast<wchar_t>(1 + random() % 0x3000));
        }
    }
    return text;
}

std::string anyNarrowText(std::mt19937& random, std::size_t length)
{
    std::string text;
    while (text.size() < length)
    {
        text.push_back(random() % 200 == 0 ? '\0' : static_cast<char>(1 + random() % 255));
    }
    return text;
}

// Lengths around the steps of the vector code and the forms of a stored length.
std::size_t anyLength(std::mt19937& random)
{
    std::size_t const lengths[] = {0,  1,   15,  16,  17,  31,  32,  33,  63,  64,
                                   65, 127, 128, 129, 252, 253, 254, 255, 256, 600};
    return random() % 4 == 0 ? random() % 700 : lengths[random() % std::size(lengths)];
}

template <class TText>
void expectSameWriting(TText const& text, unsigned int capacity, unsigned int before)
{
    CbStreamWriteBinaryBuffer plain(capacity);
    CWatchedWriter watched(capacity);
    for (unsigned int n = 0; n < before; ++n)
    {
        plain << 'x';
        watched << 'x';
    }
    plain << text;
    watched << text;
    ASSERT_EQ(bytesOf(plain), bytesOf(watched)) << "length " << text.size() << ", capacity " << capacity;
    ASSERT_EQ(plain.GetArray().GetCapacity(), watched.GetArray().GetCapacity()) << "length " << text.size();
    ASSERT_EQ(fieldAt<unsigned char*>(&plain.GetArray(), 8), plain.GetData() + plain.GetCount()) << "the array's end";
}

// What a reader does with a stream: the text or the refusal, and the bytes that it took.
template <class TReader, class TText>
std::pair<TText, unsigned __int64> outcomeOf(Bytes const& bytes, TText target)
{
    TReader reader(bytes.data(), bytes.size());
    try
    {
        reader >> target;
    }
    catch (IException const& refusal)
    {
        target += TText(refusal.GetFunctionName(), refusal.GetFunctionName() + 30);
    }
    return {target, reader.GetBytesRead()};
}

template <class TText>
void expectSameReading(Bytes const& bytes, TText const& before)
{
    auto const plain = outcomeOf<CbStreamReadBinaryBuffer>(bytes, before);
    auto const watched = outcomeOf<CWatchedReader>(bytes, before);
    ASSERT_EQ(plain.first, watched.first);
    ASSERT_EQ(plain.second, watched.second);
}
} // namespace

TEST(MemoryStreamInPlace, WritesTextAsTheEncodingDoes)
{
    std::mt19937 random(1);
    for (int round = 0; round < 4000; ++round)
    {
        unsigned int const capacity = static_cast<unsigned int>(random() % 3 == 0 ? random() % 700 : 4096);
        unsigned int const before = static_cast<unsigned int>(random() % 3);
        ASSERT_NO_FATAL_FAILURE(expectSameWriting(anyWideText(random, anyLength(random)), capacity, before));
        ASSERT_NO_FATAL_FAILURE(expectSameWriting(anyNarrowText(random, anyLength(random)), capacity, before));
    }
}

TEST(MemoryStreamInPlace, ReadsTextAsTheEncodingDoes)
{
    CLogRecorder const quiet;
    std::mt19937 random(2);
    for (int round = 0; round < 4000; ++round)
    {
        CbStreamWriteBinaryBuffer written;
        written << anyWideText(random, anyLength(random));
        Bytes bytes = bytesOf(written);
        if (random() % 2 == 0)
        {
            // A NUL inside, a damaged head, or an early end.
            bytes[random() % bytes.size()] = static_cast<unsigned char>(random() % 3 == 0 ? 0 : random());
            bytes.resize(random() % (bytes.size() + 1));
        }
        ASSERT_NO_FATAL_FAILURE(expectSameReading(bytes, std::wstring(random() % 40, L'o')));

        std::string const text = anyNarrowText(random, anyLength(random));
        unsigned int const claimed = static_cast<unsigned int>(text.size() + random() % 2);
        Bytes const narrow = joined({littleEndian(claimed, 4), Bytes(text.begin(), text.end())});
        ASSERT_NO_FATAL_FAILURE(expectSameReading(headOf(narrow, random() % (narrow.size() + 4)), std::string("old")));
    }
}

TEST(MemoryStreamInPlace, TextsOfBothStringClassesAreTheSame)
{
    CbStreamWriteBinaryBuffer standard;
    standard << std::wstring(L"wide \u20AC") << std::string("narrow") << L"wide \u20AC" << "narrow";
    CbStreamWriteBinaryBuffer own;
    own << CStringW(L"wide \u20AC") << CStringA("narrow") << CStringW(L"wide \u20AC") << CStringA("narrow");
    EXPECT_EQ(bytesOf(own), bytesOf(standard));

    CbStreamReadBinaryBuffer reader(own.GetArray());
    CStringW wide;
    CStringA narrow;
    reader >> wide >> narrow;
    EXPECT_EQ(wide, L"wide \u20AC");
    EXPECT_EQ(narrow, "narrow");
}

TEST(MemoryStreamInPlace, LeavesEveryValueToADerivedClass)
{
    CWatchedWriter writer;
    IStreamWrite& stream = writer;
    stream << true << 'a' << short{1} << 2 << static_cast<__int64>(3) << 4.0f << 5.0 << std::string("abc")
           << std::wstring(L"ab");
    EXPECT_EQ(writer.widths, (std::vector<unsigned __int64>{1, 1, 2, 4, 8, 4, 8, 4, 3, 1, 2, 1, 4}));

    CWatchedReader reader(writer.GetData(), writer.GetCount());
    IStreamRead& source = reader;
    bool flag = false;
    char letter = 0;
    short small = 0;
    int number = 0;
    __int64 big = 0;
    float ratio = 0;
    double exact = 0;
    std::string narrow;
    std::wstring wide;
    source >> flag >> letter >> small >> number >> big >> ratio >> exact >> narrow >> wide;
    EXPECT_EQ(reader.widths, (std::vector<unsigned __int64>{1, 1, 2, 4, 8, 4, 8, 4, 3, 1, 2, 1, 4}));
    EXPECT_EQ(wide, L"ab");
}

TEST(Utf16ToNul, EndsBeforeTheNulWhereverItStands)
{
    for (std::size_t length = 0; length <= 66; ++length)
    {
        for (std::size_t at = 0; at <= length; ++at)
        {
            std::wstring text(length, L'\x20AC');
            if (at < length)
            {
                text[at] = L'\0';
            }
            // One byte off, as in a stream.
            std::vector<unsigned char> bytes(2 * length + 1);
            ASSERT_EQ(Utf16::EncodeToNul(text.data(), length, bytes.data() + 1), at) << "of " << length;
            ASSERT_EQ(Utf16::Encode(text.data(), length, bytes.data() + 1), length);
            std::wstring read(length, L'?');
            ASSERT_EQ(Utf16::DecodeToNul(bytes.data() + 1, length, read.data()), at) << "of " << length;
            ASSERT_EQ(read.substr(0, at), text.substr(0, at));
            ASSERT_EQ(Utf16::Decode(bytes.data() + 1, length, read.data()), length);
            ASSERT_EQ(read, text);
        }
    }
}
