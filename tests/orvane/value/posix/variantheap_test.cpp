// What variants do where memory ends. On Windows the library has operators of its own, which a program cannot replace.

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "orvane/value/varianttesting.h"
#include "support/logrecorder.h"
#include "support/raises.h"

namespace
{
std::size_t s_refusedFrom = 0; // 0: nothing is refused
unsigned int s_refusals = 0;

// Refuses the first so many requests of so many bytes and more as long as it lives. Smaller and later ones go through: an
// exception is raised and logged with their help.
class CHeapRefusal
{
public:
    explicit CHeapRefusal(std::size_t refusedFrom, unsigned int refusals = 1)
    {
        s_refusedFrom = refusedFrom;
        s_refusals = refusals;
    }

    CHeapRefusal(CHeapRefusal const&) = delete;
    CHeapRefusal& operator=(CHeapRefusal const&) = delete;

    ~CHeapRefusal()
    {
        s_refusedFrom = 0;
    }

    bool HasRefused() const
    {
        return s_refusals == 0;
    }
};

void* allocate(std::size_t size)
{
    if (s_refusedFrom != 0 && size >= s_refusedFrom && s_refusals != 0)
    {
        --s_refusals;
        throw std::bad_alloc();
    }
    void* const block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    return block;
}
} // namespace

void* operator new(std::size_t size)
{
    return allocate(size);
}

void* operator new[](std::size_t size)
{
    return allocate(size);
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete[](void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    std::free(block);
}

namespace
{
constexpr std::size_t c_Large = 100'000; // bytes; what is logged is smaller

class CbVariantHeap : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

CbArray<unsigned char> largeBytes()
{
    CbArray<unsigned char> bytes(2 * c_Large);
    return bytes;
}

// The refused assignment of `value` to a variant, which keeps what it has.
template <class T>
void expectRefusedAssignment(T const& value, std::size_t refusedFrom)
{
    CbVariant number(5);
    CbVariant narrow("short");
    CbVariant wide(L"short");
    for (CbVariant* const variant : {&number, &narrow, &wide})
    {
        CbVariant const before(*variant);
        bool hasRefused = false;
        {
            CHeapRefusal const refusal(refusedFrom);
            EXPECT_THROW(*variant = value, std::bad_alloc);
            hasRefused = refusal.HasRefused();
        }
        EXPECT_TRUE(hasRefused);
        EXPECT_EQ(*variant, before);
    }
}

void expectRefusedCopy(CbVariant const& source, std::size_t refusedFrom)
{
    CHeapRefusal const refusal(refusedFrom);
    EXPECT_THROW(CbVariant copy(source), std::bad_alloc);
}

// Raised in place of the refusal, with the variant unchanged.
void expectRefusedConversion(CbVariant const& source, EType target, std::size_t refusedFrom)
{
    CbVariant variant(source);
    {
        CHeapRefusal const refusal(refusedFrom);
        EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::ConvertTo", variant.ConvertTo(target));
    }
    EXPECT_EQ(variant, source);
}
} // namespace

TEST_F(CbVariantHeap, ThatRefusesAnAssignmentLeavesTheVariantUnchanged)
{
    std::string const narrow(c_Large, 'x');
    std::wstring const wide(c_Large, L'x');

    expectRefusedAssignment(narrow, c_Large);
    expectRefusedAssignment(CStringA(narrow), c_Large);
    expectRefusedAssignment(wide, c_Large);
    expectRefusedAssignment(CStringW(wide), c_Large);
    expectRefusedAssignment(largeBytes(), c_Large);
    expectRefusedAssignment(CbDateTime(2024, 5, 6, 7, 8, 9, 10), 1);
}

TEST_F(CbVariantHeap, ThatRefusesACopyRaisesAndLeavesTheTargetUnchanged)
{
    CbVariant const narrow(std::string(c_Large, 'x'));
    CbVariant const wide(std::wstring(c_Large, L'x'));
    CbVariant const bytes(largeBytes());
    CbVariant const date(CbDateTime(2024, 5, 6, 7, 8, 9, 10));

    for (CbVariant const* const source : {&narrow, &wide, &bytes})
    {
        expectRefusedAssignment(*source, c_Large);
        expectRefusedCopy(*source, c_Large);
    }
    expectRefusedAssignment(date, 1);
    expectRefusedCopy(date, 1);
}

TEST_F(CbVariantHeap, ThatRefusesAConversionIsReplacedByAnExceptionOfTheConversion)
{
    expectRefusedConversion(CbVariant(std::string(c_Large, 'x')), CbVariant::eStringW, c_Large);
    expectRefusedConversion(CbVariant(std::wstring(c_Large, L'x')), CbVariant::eStringA, c_Large);
    expectRefusedConversion(CbVariant("2024-05-06 07:08:09"), CbVariant::eDateTime, 1);
    expectRefusedConversion(CbVariant(L"2024-05-06 07:08:09"), CbVariant::eDateTime, 1);
}

TEST_F(CbVariantHeap, ThatRefusesAConvertedCopyRaisesTheSame)
{
    CbVariant const narrow(std::string(c_Large, 'x'));
    CHeapRefusal const refusal(sizeof(wchar_t) * c_Large); // the copy itself is granted

    EXPECT_RAISES(CbExceptionConversion, "cbvariant", "CbVariant::ConvertTo", narrow.GetAs<CStringW>());
}
