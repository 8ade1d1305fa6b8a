// The bytes of the encoding, compared with files that were made without the library (tests/golden/stream/make.py), in
// both directions and on every target.

#include <gtest/gtest.h>

#include "orvane/stream/cbarray_serializer.h"
#include "orvane/stream/streamtesting.h"
#include "orvane/stream/testclasses.h"

namespace
{
// Memory streams have operators of their own, streams to and from other devices those of the encoding itself: what the files
// hold goes through both.

std::vector<std::string> narrowTexts()
{
    return {"", "a", "ab", "\xC4\x80\xFF", letters<char>(254), letters<char>(255)};
}

std::vector<std::wstring> wideTexts()
{
    return {L"",
            L"a",
            L"ab",
            L"Gr\u00fc\u00dfe \u20ac\uffff",
            L"\U0001F600",
            L"a\U00010000b\U0010FFFFc",
            letters<wchar_t>(15) + L"\U0001F600" + letters<wchar_t>(20),
            letters<wchar_t>(254),
            letters<wchar_t>(255)};
}

// The last one holds a pair as well.
std::vector<std::wstring> textsWithLoneSurrogates()
{
    return {L"\xD800", L"\xD800x", L"x\xDC00", L"\xDC00\xD800", std::wstring(L"\xD83D") + L"\U0001F600" + L"\xDBFF"};
}

std::vector<std::wstring> textsOfAllLengthForms()
{
    std::vector<std::wstring> texts;
    for (std::size_t const length : {0u, 1u, 254u, 255u, 65'533u, 65'534u, 65'535u, 70'000u})
    {
        texts.push_back(letters<wchar_t>(length));
    }
    return texts;
}

template <class TText>
Bytes writtenOneByOne(std::vector<TText> const& texts)
{
    CbStreamWriteBinaryBuffer memory;
    CRecordingWriter device;
    for (TText const& text : texts)
    {
        memory << text;
        device << text;
    }
    EXPECT_TRUE(device.GetBytes() == bytesOf(memory));
    return bytesOf(memory);
}

template <class TText>
std::vector<TText> readOneByOne(Bytes const& bytes)
{
    std::vector<TText> texts;
    CbStreamReadBinaryBuffer memory = readerOf(bytes);
    CRecordingReader device(bytes);
    while (memory.GetBytesRead() < bytes.size())
    {
        TText fromDevice;
        texts.emplace_back();
        memory >> texts.back();
        device >> fromDevice;
        EXPECT_TRUE(fromDevice == texts.back());
    }
    return texts;
}

void writePrimitives(CbStreamWriteBinary& stream)
{
    stream << -2l << 0xFFFFFFFEul << 'A' << 1.0 << -1.5f << static_cast<__int64>(-2)
           << static_cast<unsigned __int64>(0x0123456789ABCDEF) << 1 << 0x89ABCDEFu << static_cast<short>(-2)
           << static_cast<unsigned short>(0xABCD) << static_cast<signed char>(-128) << static_cast<unsigned char>(0xFE)
           << true << false;
}

void expectPrimitives(CbStreamReadBinary& stream)
{
    long aLong = 0;
    unsigned long anUnsignedLong = 0;
    char aChar = 0;
    double aDouble = 0;
    float aFloat = 0;
    __int64 an64 = 0;
    unsigned __int64 anUnsigned64 = 0;
    int anInt = 0;
    unsigned int anUnsignedInt = 0;
    short aShort = 0;
    unsigned short anUnsignedShort = 0;
    signed char aSignedChar = 0;
    unsigned char anUnsignedChar = 0;
    bool first = false;
    bool second = true;

    stream >> aLong >> anUnsignedLong >> aChar >> aDouble >> aFloat >> an64 >> anUnsigned64 >> anInt >> anUnsignedInt >>
        aShort >> anUnsignedShort >> aSignedChar >> anUnsignedChar >> first >> second;

    EXPECT_EQ(aLong, -2);
    EXPECT_EQ(anUnsignedLong, 0xFFFFFFFEul);
    EXPECT_EQ(aChar, 'A');
    EXPECT_EQ(aDouble, 1.0);
    EXPECT_EQ(aFloat, -1.5f);
    EXPECT_EQ(an64, -2);
    EXPECT_EQ(anUnsigned64, 0x0123456789ABCDEF);
    EXPECT_EQ(anInt, 1);
    EXPECT_EQ(anUnsignedInt, 0x89ABCDEF);
    EXPECT_EQ(aShort, -2);
    EXPECT_EQ(anUnsignedShort, 0xABCD);
    EXPECT_EQ(aSignedChar, -128);
    EXPECT_EQ(anUnsignedChar, 0xFE);
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
}

CGoldenEntry firstEntry()
{
    return CGoldenEntry(42, L"Gr\u00f6\u00dfe \U0001F600", "narrow");
}

void expectEntry(ISerializable const* object, CGoldenEntry const& expected)
{
    auto const* const entry = dynamic_cast<CGoldenEntry const*>(object);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->m_number, expected.m_number);
    EXPECT_EQ(entry->m_title, expected.m_title);
    EXPECT_EQ(entry->m_note, expected.m_note);
}

Bytes const c_ArrayElements{1, 2, 0, 4, 255};

Bytes arrayFrom(std::string const& file)
{
    Bytes const bytes = goldenFile(ORVANE_TEST_GOLDEN, file);
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    CbArray<unsigned char> array;
    CbArray_Serializer::Serialize(stream, array);
    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
    return bytesOf(array);
}

Bytes writtenArray(Bytes const& elements)
{
    CbArray<unsigned char> array;
    array.Append(elements.data(), static_cast<unsigned int>(elements.size()));
    CbStreamWriteBinaryBuffer stream;
    CbArray_Serializer::Serialize(stream, array);
    return bytesOf(stream);
}
} // namespace

TEST(GoldenPrimitives, AreWrittenAsInTheFileByBothKindsOfStream)
{
    Bytes const bytes = goldenFile(ORVANE_TEST_GOLDEN, "primitives.bin");
    CbStreamWriteBinaryBuffer memory;
    CRecordingWriter device;

    writePrimitives(memory);
    writePrimitives(device);

    EXPECT_EQ(bytesOf(memory), bytes);
    EXPECT_EQ(device.GetBytes(), bytes);
}

TEST(GoldenPrimitives, AreReadFromTheFileByAMemoryStream)
{
    Bytes const bytes = goldenFile(ORVANE_TEST_GOLDEN, "primitives.bin");
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    expectPrimitives(stream);

    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
}

TEST(GoldenPrimitives, AreReadFromTheFileByTheEncodingItself)
{
    Bytes const bytes = goldenFile(ORVANE_TEST_GOLDEN, "primitives.bin");
    CRecordingReader stream(bytes);

    expectPrimitives(stream);

    EXPECT_EQ(stream.GetPosition(), bytes.size());
}

TEST(GoldenVersion, IsWrittenAsInTheFileAndRead)
{
    Bytes const bytes = goldenFile(ORVANE_TEST_GOLDEN, "version.bin");
    CbStreamWriteBinaryBuffer writer;
    CbStreamReadBinaryBuffer reader = readerOf(bytes);

    writer.WriteVersion(7);

    EXPECT_EQ(bytesOf(writer), bytes);
    EXPECT_EQ(reader.ReadAndCompareVersion(7), 7);
}

TEST(GoldenNarrowText, IsWrittenAsInTheFile)
{
    EXPECT_EQ(writtenOneByOne(narrowTexts()), goldenFile(ORVANE_TEST_GOLDEN, "narrow_text.bin"));
}

TEST(GoldenNarrowText, IsReadFromTheFile)
{
    EXPECT_EQ(readOneByOne<std::string>(goldenFile(ORVANE_TEST_GOLDEN, "narrow_text.bin")), narrowTexts());
}

TEST(GoldenWideText, IsWrittenAsInTheFile)
{
    EXPECT_EQ(writtenOneByOne(wideTexts()), goldenFile(ORVANE_TEST_GOLDEN, "wide_text.bin"));
}

TEST(GoldenWideText, IsReadFromTheFile)
{
    EXPECT_EQ(readOneByOne<std::wstring>(goldenFile(ORVANE_TEST_GOLDEN, "wide_text.bin")), wideTexts());
}

TEST(GoldenLoneSurrogates, AreWrittenAsInTheFile)
{
    EXPECT_EQ(writtenOneByOne(textsWithLoneSurrogates()), goldenFile(ORVANE_TEST_GOLDEN, "lone_surrogates.bin"));
}

TEST(GoldenLoneSurrogates, AreReadFromTheFile)
{
    EXPECT_EQ(readOneByOne<std::wstring>(goldenFile(ORVANE_TEST_GOLDEN, "lone_surrogates.bin")),
              textsWithLoneSurrogates());
}

// Compared without a print-out of half a megabyte.
TEST(GoldenWideLengths, AreWrittenAsInTheFile)
{
    EXPECT_TRUE(writtenOneByOne(textsOfAllLengthForms()) == goldenFile(ORVANE_TEST_GOLDEN, "wide_lengths.bin"));
}

TEST(GoldenWideLengths, AreReadFromTheFile)
{
    EXPECT_TRUE(readOneByOne<std::wstring>(goldenFile(ORVANE_TEST_GOLDEN, "wide_lengths.bin")) ==
                textsOfAllLengthForms());
}

TEST(GoldenChunk, IsWrittenAsInTheFile)
{
    CbStreamWriteBinaryBuffer stream;

    stream.WriteChunk(firstEntry());

    EXPECT_EQ(bytesOf(stream), goldenFile(ORVANE_TEST_GOLDEN, "chunk.bin"));
}

TEST(GoldenChunk, IsReadFromTheFile)
{
    Bytes const bytes = goldenFile(ORVANE_TEST_GOLDEN, "chunk.bin");
    CbStreamReadBinaryBuffer stream = readerOf(bytes);

    std::unique_ptr<ISerializable> const object(stream.ReadChunk());

    expectEntry(object.get(), firstEntry());
    EXPECT_EQ(stream.GetBytesRead(), bytes.size());
}

TEST(GoldenChunk, OfAnUnknownClassIsSkippedInTheFile)
{
    Bytes const bytes = goldenFile(ORVANE_TEST_GOLDEN, "unknown_chunk.bin");
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    unsigned int next = 0;

    EXPECT_EQ(stream.ReadChunk(), nullptr);
    stream >> next;

    EXPECT_EQ(next, 0xCAFE0002);
}

TEST(GoldenNestedChunk, IsReadFromTheFile)
{
    Bytes const bytes = goldenFile(ORVANE_TEST_GOLDEN, "nested_chunk.bin");
    CbStreamReadBinaryBuffer stream = readerOf(bytes);
    unsigned int next = 0;

    std::unique_ptr<ISerializable> const object(stream.ReadChunk());
    stream >> next;

    auto const* const top = dynamic_cast<CGoldenFolder const*>(object.get());
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(top->m_title, L"top");
    ASSERT_EQ(top->m_children.size(), 4);
    expectEntry(top->m_children[0].get(), firstEntry());
    auto const* const inner = dynamic_cast<CGoldenFolder const*>(top->m_children[1].get());
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(inner->m_title, L"inner");
    ASSERT_EQ(inner->m_children.size(), 1);
    expectEntry(inner->m_children[0].get(), CGoldenEntry(-1, L"", ""));
    EXPECT_EQ(top->m_children[2], nullptr) << "nobody knows this class";
    expectEntry(top->m_children[3].get(), CGoldenEntry(-1, L"", ""));
    EXPECT_EQ(next, 0xCAFE0001);
}

TEST(GoldenArray, IsWrittenAsInTheFile)
{
    EXPECT_EQ(writtenArray(c_ArrayElements), goldenFile(ORVANE_TEST_GOLDEN, "array.bin"));
    EXPECT_EQ(writtenArray({}), goldenFile(ORVANE_TEST_GOLDEN, "array_empty.bin"));
}

TEST(GoldenArray, IsReadFromTheFileOfEveryLayout)
{
    EXPECT_EQ(arrayFrom("array.bin"), c_ArrayElements);
    EXPECT_EQ(arrayFrom("array_empty.bin"), Bytes());
    EXPECT_EQ(arrayFrom("array_version0.bin"), c_ArrayElements);
    EXPECT_EQ(arrayFrom("array_older.bin"), c_ArrayElements);
}
