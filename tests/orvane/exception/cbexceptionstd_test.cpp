#include "orvane/exception/cbexceptionstd.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "support/logrecorder.h"

static_assert(sizeof(CbExceptionStd) == sizeof(CbException) + sizeof(std::string));
static_assert(std::is_nothrow_destructible_v<CbExceptionStd>);
static_assert(std::is_constructible_v<CbExceptionStd, char const*, unsigned int, char const*, std::exception const&>);
static_assert(!std::is_constructible_v<CbExceptionStd, char const*, unsigned int, char const*>);
static_assert(!std::is_constructible_v<CbExceptionStd, char const*, unsigned int, char const*, char const*>);

namespace
{
// A standard exception whose text is any bytes.
class CBytes : public std::exception
{
public:
    explicit CBytes(std::string bytes) : m_bytes(std::move(bytes))
    {
    }

    char const* what() const noexcept override
    {
        return m_bytes.c_str();
    }

private:
    std::string m_bytes;
};

class CbExceptionStdTest : public testing::Test
{
protected:
    // The message of the one exception that is built for `bytes`, as the log shows it.
    std::wstring messageOf(std::string const& bytes)
    {
        m_recorder.Clear();
        CbExceptionStd const exception("alpha", 7, "function", CBytes(bytes));
        EXPECT_EQ(exception.GetInformation(), bytes);
        std::vector<Logging::SRecord> const records = m_recorder.GetRecords(L"Exception");
        EXPECT_EQ(records.size(), 1u);
        std::wstring const head = L"Exception: 'CbExceptionStd' (alpha:7): '";
        std::wstring const text = records.empty() ? L"" : records[0].text;
        EXPECT_EQ(text.substr(0, head.size()), head);
        EXPECT_GE(text.size(), head.size() + 2);
        return text.size() < head.size() + 2 ? L"" : text.substr(head.size(), text.size() - head.size() - 2);
    }

    CLogRecorder m_recorder;
};

using CbExceptionStdInformation = CbExceptionStdTest;
using CbExceptionStdMessage = CbExceptionStdTest;
using CbExceptionStdCopy = CbExceptionStdTest;
} // namespace

TEST_F(CbExceptionStdInformation, IsTheTextOfTheWrappedException)
{
    CbExceptionStd const exception("alpha", 7, "Alpha::Run", std::runtime_error("no luck"));

    EXPECT_STREQ(exception.GetInformation(), "no luck");
    EXPECT_STREQ(exception.GetFilename(), "alpha");
    EXPECT_EQ(exception.GetCodeLine(), 7u);
    EXPECT_STREQ(exception.GetFunctionName(), "Alpha::Run");
    EXPECT_EQ(exception.GetHistory(), nullptr);
}

TEST_F(CbExceptionStdInformation, OutlivesTheWrappedException)
{
    auto source = std::make_unique<CBytes>("a text that is too long for a short buffer");
    CbExceptionStd const exception("alpha", 7, "function", *source);
    source.reset();

    EXPECT_STREQ(exception.GetInformation(), "a text that is too long for a short buffer");
}

TEST_F(CbExceptionStdInformation, IsEmptyWhereTheWrappedExceptionGivesNoText)
{
    class CTextless : public std::exception
    {
    public:
        char const* what() const noexcept override
        {
            return nullptr;
        }
    };

    EXPECT_STREQ(CbExceptionStd("alpha", 7, "function", CTextless()).GetInformation(), "");
}

TEST_F(CbExceptionStdInformation, KeepsBytesThatAreNotUtf8)
{
    CbExceptionStd const exception("alpha", 7, "function", CBytes("\xFF\x80z\xC3"));

    EXPECT_STREQ(exception.GetInformation(), "\xFF\x80z\xC3");
}

TEST_F(CbExceptionStdInformation, StandsBehindTheFieldsOfTheBase)
{
    CbExceptionStd const exception("alpha", 7, "function", CBytes("short"));
    auto const offset = exception.GetInformation() - reinterpret_cast<char const*>(&exception);

    // A short text lies in the string object itself.
    EXPECT_GE(offset, static_cast<std::ptrdiff_t>(sizeof(CbException)));
    EXPECT_LT(offset, static_cast<std::ptrdiff_t>(sizeof(CbExceptionStd)));
}

TEST_F(CbExceptionStdMessage, IsReadAsUtf8)
{
    EXPECT_EQ(messageOf("\xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x98\x80"), L"\u00E9 \u4E2D \U0001F600");
}

TEST_F(CbExceptionStdMessage, OfAnEmptyTextIsEmptyAndShown)
{
    EXPECT_EQ(messageOf(""), L"");
    ASSERT_EQ(m_recorder.GetRecords(L"Analytics").size(), 1u);
    EXPECT_EQ(m_recorder.GetRecords(L"Analytics")[0].text,
              LR"({"logtype":"application", "actiontype":"exception", "data":{"type":"CbExceptionStd","message":""}})");
}

TEST_F(CbExceptionStdMessage, HasReplacementCharactersForBytesThatAreNotUtf8)
{
    EXPECT_EQ(messageOf("a\xFFz"), L"a\uFFFDz");
    EXPECT_EQ(messageOf("\x80"), L"\uFFFD");
}

TEST_F(CbExceptionStdMessage, HasAReplacementCharacterForASequenceThatBreaksOff)
{
    std::wstring const message = messageOf("caf\xC3");

    EXPECT_EQ(message, L"caf\uFFFD");
}

TEST_F(CbExceptionStdMessage, KeepsTheCharactersAroundAnyPairOfBytes)
{
    for (int first = 1; first < 256; ++first)
    {
        for (int second = 1; second < 256; second += 7)
        {
            // Three characters follow: Wine takes a lead byte that promises more than there is for all of the rest.
            std::string const bytes = {'<', static_cast<char>(first), static_cast<char>(second), '>', '>', '>'};
            std::wstring const message = messageOf(bytes);
            ASSERT_GE(message.size(), 5u) << first << ' ' << second;
            ASSERT_EQ(message.front(), L'<') << first << ' ' << second;
            ASSERT_EQ(message.substr(message.size() - 3), L">>>") << first << ' ' << second;
        }
    }
}

TEST_F(CbExceptionStdMessage, IsTheSameForOverlongFormsAndSurrogatesAsForOtherBadBytes)
{
    EXPECT_EQ(messageOf("\xC0\xAF").find(L'/'), std::wstring::npos);
    EXPECT_EQ(messageOf("\xED\xA0\x80").find(static_cast<wchar_t>(0xD800)), std::wstring::npos);
    EXPECT_EQ(messageOf("\xF4\x90\x80\x80").front(), L'\uFFFD');
}

TEST_F(CbExceptionStdMessage, WithPercentSignsIsUntouched)
{
    EXPECT_EQ(messageOf("100% %s %d"), L"100% %s %d");
}

TEST_F(CbExceptionStdMessage, OfAnyLengthIsLoggedWhole)
{
    std::string const bytes(1'000'000, 'b');

    EXPECT_EQ(messageOf(bytes), std::wstring(1'000'000, L'b'));
}

TEST_F(CbExceptionStdCopy, CopiesTheInformation)
{
    CbExceptionStd const original("alpha", 7, "Alpha::Run", CBytes("no luck"));
    CbExceptionStd const copy(original);

    EXPECT_STREQ(copy.GetInformation(), "no luck");
    EXPECT_NE(copy.GetInformation(), original.GetInformation());
    EXPECT_STREQ(copy.GetFilename(), "alpha");
    EXPECT_EQ(copy.GetThreadID(), original.GetThreadID());
}

TEST_F(CbExceptionStdCopy, ByAssignmentCopiesTheInformationToo)
{
    CbExceptionStd const original("alpha", 7, "Alpha::Run", CBytes("no luck"));
    CbExceptionStd target("beta", 8, "Beta::Run", CBytes("forgotten"));
    target = original;

    EXPECT_STREQ(target.GetInformation(), "no luck");
    EXPECT_STREQ(target.GetFilename(), "alpha");
    EXPECT_EQ(target.GetCodeLine(), 7u);
    EXPECT_STREQ(target.GetFunctionName(), "Alpha::Run");
}

TEST_F(CbExceptionStdCopy, ByAssignmentToItselfChangesNothing)
{
    CbExceptionStd exception("alpha", 7, "function", CBytes("no luck, and much text about it"));
    CbExceptionStd& alias = exception;
    exception = alias;

    EXPECT_STREQ(exception.GetInformation(), "no luck, and much text about it");
}

TEST_F(CbExceptionStdCopy, ByAssignmentAsTheBaseLeavesTheInformation)
{
    CbExceptionStd target("beta", 8, "function", CBytes("kept"));
    static_cast<CbException&>(target) = CbException("alpha", 7, "function");

    EXPECT_STREQ(target.GetInformation(), "kept");
    EXPECT_STREQ(target.GetFilename(), "alpha");
}

TEST_F(CbExceptionStdCopy, ByMoveLeavesTheSourceReadable)
{
    CbExceptionStd source("alpha", 7, "Alpha::Run", CBytes("no luck, and much text about it"));
    CbExceptionStd const target(std::move(source));

    EXPECT_STREQ(target.GetInformation(), "no luck, and much text about it");
    EXPECT_STREQ(target.GetFilename(), "alpha");
    EXPECT_STREQ(source.GetFilename(), "alpha");
    EXPECT_STREQ(source.GetFunctionName(), "Alpha::Run");
}

TEST_F(CbExceptionStdCopy, ByCloneKeepsTheInformation)
{
    CbExceptionStd const original("alpha", 7, "function", CBytes("no luck"));

    std::unique_ptr<IException> const clone = original.Clone();

    auto const* const copy = dynamic_cast<CbExceptionStd const*>(clone.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy->GetInformation(), "no luck");
    EXPECT_STREQ(copy->GetClassNameW(), L"CbExceptionStd");
}

TEST_F(CbExceptionStdCopy, AsACauseKeepsTheInformation)
{
    CbException const exception("outer", 1, "function", CbExceptionStd("alpha", 7, "function", CBytes("no luck")));

    auto const cause = std::dynamic_pointer_cast<CbExceptionStd>(exception.GetHistory());
    ASSERT_NE(cause, nullptr);
    EXPECT_STREQ(cause->GetInformation(), "no luck");
}
