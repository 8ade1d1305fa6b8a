#include "orvane/mixin/cbidumpable.h"

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/stream/cbstreamwriteasciitrace.h"
#include "orvane/stream/texttesting.h"
#include "orvane/stream/traceoutput.h"
#include "support/virtualposition.h"

namespace
{
class CPoint : public CbIDumpable<1>
{
public:
    CPoint(int x, double y) : m_x(x), m_y(y)
    {
    }

    static std::size_t PositionOfDump()
    {
        // One more: there is no destructor in the table.
        return VirtualPosition(&CPoint::dump) + 1;
    }

protected:
    void dump(CbStreamWriteASCIIT<CStringW>& stream) const override
    {
        stream << L"(" << m_x << ", " << m_y << L")";
    }

private:
    int m_x;
    double m_y;
};

class CBroken : public CbIDumpable<1>
{
protected:
    void dump(CbStreamWriteASCIIT<CStringW>& stream) const override
    {
        stream << "half";
        throw std::runtime_error("no more");
    }
};

std::vector<std::wstring> s_pieces;
} // namespace

static_assert(!std::has_virtual_destructor_v<CbIDumpable<1>> && sizeof(CbIDumpable<1>) == sizeof(void*));
static_assert(std::is_empty_v<CbIDumpable<0>> && std::is_copy_assignable_v<CbIDumpable<0>> &&
              std::is_move_assignable_v<CbIDumpable<0>>);

TEST(CbIDumpablePosition, OfTheOperationToFillIs0)
{
    EXPECT_EQ(CPoint::PositionOfDump(), 0);
}

TEST(CbIDumpable, GivesItsTextForm)
{
    EXPECT_STREQ(CPoint(1, 2.5).ToString(), L"(1, 2.500000)");
}

TEST(CbIDumpable, IsDumpedThroughOneWideWrite)
{
    CTextRecorder<CStringW> stream;
    stream.SetTruncateFloats(true);

    CPoint(1, 2.5).Dump(stream);

    EXPECT_EQ(stream.m_wide, (std::vector<std::wstring>{L"(1, 2.500000)"}));
    EXPECT_TRUE(stream.m_narrow.empty());
}

TEST(CbIDumpable, IsDumpedToTheTraceOutputInOnePiece)
{
    s_pieces.clear();
    Debugging::SetTraceOutput([](char const*) { s_pieces.emplace_back(L"narrow"); },
                              [](wchar_t const* piece) { s_pieces.emplace_back(piece); });

    CPoint(1, 2.5).Dump();
    Debugging::SetTraceOutput(nullptr, nullptr);

    EXPECT_EQ(s_pieces, (std::vector<std::wstring>{L"(1, 2.500000)"}));
}

TEST(CbIDumpable, WritesNothingWhereItsTextFormCannotBeHad)
{
    CTextRecorder<CStringW> stream;

    EXPECT_THROW(CBroken().Dump(stream), std::runtime_error);

    EXPECT_TRUE(stream.m_wide.empty());
    EXPECT_TRUE(stream.m_narrow.empty());
}
