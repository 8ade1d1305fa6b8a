#include "orvane/sync/cbcriticalsection.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>

// Clients compiled earlier know the places of the fields.
static_assert(sizeof(std::atomic<unsigned int>) == 4 && std::atomic<unsigned int>::is_always_lock_free);

namespace
{
// The platform notes the thread that has entered by its id: no need to ask for it again.
unsigned int idOf(HANDLE owningThread)
{
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(owningThread));
}
} // namespace

CbCriticalSection::CbCriticalSection()
{
    InitializeCriticalSection(&m_section);
}

CbCriticalSection::~CbCriticalSection()
{
    DeleteCriticalSection(&m_section);
}

void CbCriticalSection::Enter() const
{
    EnterCriticalSection(&m_section);
    m_ownerId.store(idOf(m_section.OwningThread), std::memory_order_relaxed);
}

bool CbCriticalSection::TryEnter() const
{
    if (!TryEnterCriticalSection(&m_section))
    {
        return false;
    }
    m_ownerId.store(idOf(m_section.OwningThread), std::memory_order_relaxed);
    return true;
}

void CbCriticalSection::Leave() const
{
    // The last of nested leaves. The owner goes first: after the platform's leave another thread may have entered its own.
    if (GetRecursionCount() == 1)
    {
        m_ownerId.store(0, std::memory_order_relaxed);
    }
    LeaveCriticalSection(&m_section);
}

bool CbCriticalSection::IsLocking() const
{
    return IsLocking(GetCurrentThreadId());
}

bool CbCriticalSection::IsLocking(unsigned int threadId) const
{
    return m_ownerId.load(std::memory_order_relaxed) == threadId;
}

long CbCriticalSection::GetRecursionCount() const
{
    return std::atomic_ref<LONG>(m_section.RecursionCount).load(std::memory_order_relaxed);
}

CbCriticalSectionAuto::CbCriticalSectionAuto(CbCriticalSection const& section) : m_section(section)
{
    m_section.Enter();
}

CbCriticalSectionAuto::~CbCriticalSectionAuto()
{
    Leave();
}

void CbCriticalSectionAuto::Leave()
{
    if (!m_hasLeft)
    {
        m_section.Leave();
        m_hasLeft = true;
    }
}

namespace
{
constexpr std::size_t c_StripeCount = 256;

using Stripes = std::array<CbCriticalSection, c_StripeCount>;

// Behind a function, so that static initialisers of any unit find the locks made. Never destroyed: objects of other
// units are counted down after the destructors of this one have run.
Stripes& getStripes()
{
    alignas(Stripes) static unsigned char s_memory[sizeof(Stripes)];
    static Stripes& s_stripes = *new (s_memory) Stripes;
    return s_stripes;
}

// Made when the library is loaded, while nobody competes for it.
[[maybe_unused]] Stripes const& s_madeAtLoad = getStripes();
} // namespace

CbCriticalSection& ReferenceCounter_GetCriticalSection(void const* object)
{
    return getStripes()[(reinterpret_cast<std::uintptr_t>(object) >> 2) & (c_StripeCount - 1)];
}
