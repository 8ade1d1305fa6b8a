#include "orvane/container/countedheap.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>

namespace
{
bool s_isWatched = false;
std::size_t s_refusedFrom = 0;
unsigned int s_granted = 0;
std::size_t s_count = 0;
std::array<std::size_t, 100> s_sizes;
} // namespace

extern "C"
{
    // The linker's names: what it calls for malloc, and what malloc is. Seen by libraries too: a sanitizer's asks for it.
    void* __real_malloc(std::size_t size);
    [[gnu::visibility("default")]] void* __wrap_malloc(std::size_t size);

    void* __wrap_malloc(std::size_t size)
    {
        if (s_isWatched)
        {
            if (s_count < s_sizes.size())
            {
                s_sizes[s_count] = size;
            }
            ++s_count;
            if (s_refusedFrom != 0 && size >= s_refusedFrom && s_granted-- == 0)
            {
                s_granted = 0;
                return nullptr;
            }
        }
        return __real_malloc(size);
    }
}

void* operator new(std::size_t size)
{
    void* const block = std::malloc(size);
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    return block;
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void* operator new(std::size_t size, std::nothrow_t const&) noexcept
{
    return std::malloc(size);
}

void* operator new[](std::size_t size, std::nothrow_t const&) noexcept
{
    return std::malloc(size);
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

CHeapWatch::CHeapWatch(std::size_t refusedFrom, unsigned int granted)
{
    s_refusedFrom = refusedFrom;
    s_granted = granted;
    s_count = 0;
    s_isWatched = true;
}

CHeapWatch::~CHeapWatch()
{
    s_isWatched = false;
}

std::size_t CHeapWatch::GetRequestCount() const
{
    return s_count;
}

std::vector<std::size_t> CHeapWatch::GetSizes() const
{
    std::size_t const count = std::min(s_count, s_sizes.size());
    return std::vector<std::size_t>(s_sizes.begin(), s_sizes.begin() + static_cast<std::ptrdiff_t>(count));
}
