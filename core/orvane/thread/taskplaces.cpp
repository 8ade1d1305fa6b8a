#include "orvane/thread/taskplaces.h"

#include <cstring>
#include <new>

#include "platform/platform.h"

namespace detail
{
// Line by line: the count is the workers', a place its task's.
struct CTaskPlaces::SBlock
{
    static constexpr unsigned int c_Places = 16;
    static constexpr std::size_t c_PlaceBytes = 2 * c_Line;
    static constexpr std::size_t c_LinkBytes = sizeof(void*); // each place begins with its block
    static_assert(c_LinkBytes + c_Room == c_PlaceBytes);

    // Gives places back, or up. The last one ends the block.
    void Release(unsigned int count) noexcept
    {
        // Pairs with itself: what was done in the places comes before the end.
        if (held.fetch_sub(count, std::memory_order_acq_rel) == count)
        {
            delete this;
        }
    }

    alignas(c_Line) std::atomic<unsigned int> held = c_Places; // places that are taken, or may be
    alignas(c_Line) unsigned char places[c_Places][c_PlaceBytes];
};

CTaskPlaces::~CTaskPlaces()
{
    for (SStripe const& stripe : m_stripes)
    {
        if (stripe.block != nullptr)
        {
            stripe.block->Release(SBlock::c_Places - stripe.taken);
        }
    }
}

void* CTaskPlaces::Take()
{
    // Ids follow each other on one system and are multiples of four on another.
    unsigned int const id = GetCurrentThreadId();
    unsigned int const first = id + id / 4;
    for (unsigned int n = 0; n < c_Stripes; ++n)
    {
        SStripe& stripe = m_stripes[(first + n) % c_Stripes];
        if (!stripe.isInUse.exchange(true, std::memory_order_acquire))
        {
            void* const place = takeFrom(stripe);
            stripe.isInUse.store(false, std::memory_order_release);
            if (place == nullptr)
            {
                throw std::bad_alloc();
            }
            return place;
        }
    }
    // As many threads are at it at this moment.
    SStripe own;
    void* const place = takeFrom(own);
    if (place == nullptr)
    {
        throw std::bad_alloc();
    }
    own.block->Release(SBlock::c_Places - own.taken);
    return place;
}

// Null without memory.
void* CTaskPlaces::takeFrom(SStripe& stripe) noexcept
{
    if (stripe.block == nullptr)
    {
        stripe.block = new (std::nothrow) SBlock;
        stripe.taken = 0;
        if (stripe.block == nullptr)
        {
            return nullptr;
        }
    }
    SBlock* const block = stripe.block;
    unsigned char* const place = block->places[stripe.taken];
    ++stripe.taken;
    if (stripe.taken == SBlock::c_Places)
    {
        stripe.block = nullptr; // the places' own from now on
    }
    else
    {
        for (std::size_t line = 0; line < SBlock::c_PlaceBytes; line += c_Line)
        {
            __builtin_prefetch(place + SBlock::c_PlaceBytes + line, 1);
        }
    }
    std::memcpy(place, &block, SBlock::c_LinkBytes);
    return place + SBlock::c_LinkBytes;
}

void CTaskPlaces::GiveBack(void* place) noexcept
{
    SBlock* block = nullptr;
    std::memcpy(&block, static_cast<unsigned char*>(place) - SBlock::c_LinkBytes, SBlock::c_LinkBytes);
    block->Release(1);
}
} // namespace detail
