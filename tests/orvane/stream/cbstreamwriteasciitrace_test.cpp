#include "orvane/stream/cbstreamwriteasciitrace.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/stream/texttesting.h"
#include "orvane/stream/traceoutput.h"

using Strings = std::vector<std::string>;
using WideStrings = std::vector<std::wstring>;

static_assert(sizeof(CbStreamWriteASCIITrace) == sizeof(CbStreamWriteASCIIT<CStringW>));
static_assert(sizeof(CbStreamWriteASCIITraceDiagnostic) == sizeof(CbStreamWriteASCIIT<CStringW>));

namespace
{
Strings s_narrow;
WideStrings s_wide;

// Notes the pieces of both widths for a scope.
class CTraceOutput
{
public:
    CTraceOutput()
    {
        s_narrow.clear();
        s_wide.clear();
        Debugging::SetTraceOutput([](char const* piece) { s_narrow.emplace_back(piece); },
                                  [](wchar_t const* piece) { s_wide.emplace_back(piece); });
    }

    CTraceOutput(CTraceOutput const&) = delete;
    CTraceOutput& operator=(CTraceOutput const&) = delete;

    ~CTraceOutput()
    {
        Debugging::SetTraceOutput(nullptr, nullptr);
    }
};
} // namespace

template <class TStream>
class TraceStream : public testing::Test
{
protected:
    CTraceOutput m_output;
    TStream m_stream;
};

using TraceStreams = testing::Types<CbStreamWriteASCIITrace, CbStreamWriteASCIITraceDiagnostic>;
TYPED_TEST_SUITE(TraceStream, TraceStreams);

TYPED_TEST(TraceStream, StartsWithoutALocaleAndWithoutTruncation)
{
    EXPECT_FALSE(this->m_stream.IsLocalize());
    EXPECT_FALSE(this->m_stream.IsTruncateFloats());
}

TYPED_TEST(TraceStream, HandsEachWriteOverByItselfInItsWidth)
{
    this->m_stream << 1 << "two" << L"three" << true << 'c' << 2.5;

    EXPECT_EQ(s_narrow, (Strings{"1", "two", "2.500000"}));
    EXPECT_EQ(s_wide, (WideStrings{L"three", L"true", L"c"}));
}

TYPED_TEST(TraceStream, MakesNoPieceOfAnEmptyText)
{
    this->m_stream << "" << L"" << static_cast<char const*>(nullptr) << static_cast<wchar_t const*>(nullptr);

    EXPECT_TRUE(s_narrow.empty());
    EXPECT_TRUE(s_wide.empty());
}

TYPED_TEST(TraceStream, MakesOnePieceOf1023Characters)
{
    this->m_stream << std::string(1023, 'a') << std::wstring(1023, L'b');

    EXPECT_EQ(s_narrow, (Strings{std::string(1023, 'a')}));
    EXPECT_EQ(s_wide, (WideStrings{std::wstring(1023, L'b')}));
}

TYPED_TEST(TraceStream, MakesTwoPiecesOf1024Characters)
{
    this->m_stream << std::string(1023, 'a') + "b" << std::wstring(1023, L'c') + L"d";

    EXPECT_EQ(s_narrow, (Strings{std::string(1023, 'a'), "b"}));
    EXPECT_EQ(s_wide, (WideStrings{std::wstring(1023, L'c'), L"d"}));
}

TYPED_TEST(TraceStream, CutsALongTextEvery1023CharactersInOrder)
{
    std::string text;
    for (int n = 0; n < 3000; ++n)
    {
        text.push_back(static_cast<char>('a' + n % 26));
    }

    this->m_stream << text;

    EXPECT_EQ(s_narrow, (Strings{text.substr(0, 1023), text.substr(1023, 1023), text.substr(2046)}));
}

TYPED_TEST(TraceStream, TakesAnOutputForOneWidthAlone)
{
    Debugging::SetTraceOutput(nullptr, [](wchar_t const* piece) { s_wide.emplace_back(piece); });

    this->m_stream << "a" << L"b";

    EXPECT_TRUE(s_narrow.empty());
    EXPECT_EQ(s_wide, (WideStrings{L"b"}));
}

TYPED_TEST(TraceStream, IsCopiedMovedAndAssignedWithItsSettings)
{
    this->m_stream.SetTruncateFloats(true);

    TypeParam copy(this->m_stream);
    TypeParam assigned;
    assigned = copy;
    TypeParam moved(std::move(copy));
    assigned << 2.0;
    moved << 3.0;

    EXPECT_EQ(s_narrow, (Strings{"2", "3"}));
}

TYPED_TEST(TraceStream, ReturnsItselfAndShowsNothingWithoutAnOutput)
{
    Debugging::SetTraceOutput(nullptr, nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();

    auto& result = this->m_stream << 1 << "a" << L"b" << 2.5 << false << 'c' << CStringW(L"d");
    this->m_stream.WriteAddress(this);

    EXPECT_EQ(static_cast<CbStreamWrite*>(&result), &this->m_stream);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(s_narrow.empty());
    EXPECT_TRUE(s_wide.empty());
}
