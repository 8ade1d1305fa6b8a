#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <ctime>

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/platform.h"
#include "threadid.h"

// Every state of these locks is one word, changed by single atomic steps. There is no moment at which a lock is
// inconsistent, so nothing here keeps off a suspension: a thread that is suspended on the way into a lock or out of it has
// it or has it not, as on Windows.

namespace
{
// ---- sleeping and spinning

// Who sleeps on a word: a wake reaches those of its kinds only.
constexpr std::uint32_t c_Patient = 1;
constexpr std::uint32_t c_Starving = 2;
constexpr std::uint32_t c_Reader = 4;

// Sleeps while the word holds `expected`; may return at any time. Interrupted waits are the caller's loop to repeat.
void sleepOn(void const* word, std::uint32_t expected, std::uint32_t kind) noexcept
{
    syscall(SYS_futex, word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected, nullptr, nullptr, kind);
}

// The word is an address and no more: the lock may be gone by now.
void wake(void const* word, int count, std::uint32_t kinds) noexcept
{
    // A wake changes errno where the memory is gone.
    const int callersErrno = errno;
    syscall(SYS_futex, word, FUTEX_WAKE_BITSET | FUTEX_PRIVATE_FLAG, count, nullptr, nullptr, kinds);
    errno = callersErrno;
}

// How many looks at a lock are worth their time before the calling thread sleeps. Grows while looking pays, shrinks to
// nothing while it does not; then one wait in 64 tries again, as times may have changed.
struct SSpinBudget
{
    unsigned short looks;
    unsigned short waitsWithout;
};

constexpr unsigned short c_MostLooks = 400;
constexpr unsigned short c_LooksOfAProbe = 50;
constexpr unsigned short c_WaitsPerProbe = 64;

// Initial-exec for the reason given at the last error.
[[gnu::tls_model("initial-exec")]] constinit thread_local SSpinBudget t_budget = {100, 0};

bool hasSeveralProcessors() noexcept
{
    static const bool s_has = sysconf(_SC_NPROCESSORS_ONLN) > 1;
    return s_has;
}

// Looks until `tryTake` succeeds or the budget is spent.
template <class F>
bool spin(F const& tryTake) noexcept
{
    if (!hasSeveralProcessors())
    {
        return false;
    }
    if (t_budget.looks == 0)
    {
        if (++t_budget.waitsWithout < c_WaitsPerProbe)
        {
            return false;
        }
        t_budget = {c_LooksOfAProbe, 0};
    }
    for (int look = 0; look < t_budget.looks; ++look)
    {
        __builtin_ia32_pause();
        if (tryTake())
        {
            t_budget.looks = static_cast<unsigned short>(std::min<int>(c_MostLooks, t_budget.looks + 20));
            return true;
        }
    }
    t_budget.looks = static_cast<unsigned short>(t_budget.looks / 2);
    return false;
}

// A wait that takes too long, from the first sleep on.
class CHunger
{
public:
    // What the thread sleeps as.
    std::uint32_t GetKind() const noexcept
    {
        return m_isStarving ? c_Starving : c_Patient;
    }

    bool IsStarving() const noexcept
    {
        return m_isStarving;
    }

    // Before a sleep: whether the thread starves by now.
    bool Grow() noexcept
    {
        if (!m_isStarving)
        {
            timespec now{};
            clock_gettime(CLOCK_MONOTONIC, &now);
            const __int64 nanoseconds = static_cast<__int64>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
            if (m_begin == 0)
            {
                m_begin = nanoseconds;
            }
            m_isStarving = nanoseconds - m_begin >= c_PatienceNs;
        }
        return m_isStarving;
    }

private:
    static constexpr __int64 c_PatienceNs = 1'000'000;

    __int64 m_begin = 0;
    bool m_isStarving = false;
};

// Keeps errno over a wait.
class CErrnoKeeper
{
public:
    CErrnoKeeper() noexcept : m_errno(errno)
    {
    }

    CErrnoKeeper(CErrnoKeeper const&) = delete;
    CErrnoKeeper& operator=(CErrnoKeeper const&) = delete;

    ~CErrnoKeeper()
    {
        errno = m_errno;
    }

private:
    const int m_errno;
};

// ---- critical sections
//
// LockCount: 0 is free. A leave makes a section free that nobody starves for, and wakes one sleeper; whoever comes first
// takes it, and a sleeper that takes it notes that there may be more of them. With c_SomeoneStarves only a starving
// thread takes a free section, and that ends the state.

constexpr LONG c_Held = 1;
constexpr LONG c_HasSleepers = 2;
constexpr LONG c_SomeoneStarves = 4;

std::atomic_ref<LONG> stateOf(CRITICAL_SECTION* section) noexcept
{
    return std::atomic_ref<LONG>(section->LockCount);
}

std::atomic_ref<LONG> recursionOf(CRITICAL_SECTION* section) noexcept
{
    return std::atomic_ref<LONG>(section->RecursionCount);
}

std::atomic_ref<HANDLE> ownerOf(CRITICAL_SECTION* section) noexcept
{
    return std::atomic_ref<HANDLE>(section->OwningThread);
}

HANDLE asOwner(DWORD threadId) noexcept
{
    return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(threadId));
}

// Only the owner itself can find its own id there.
bool isOwnedBy(CRITICAL_SECTION* section, HANDLE thread) noexcept
{
    return ownerOf(section).load(std::memory_order_relaxed) == thread;
}

void enterAgain(CRITICAL_SECTION* section) noexcept
{
    const auto recursion = recursionOf(section);
    recursion.store(recursion.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void becomeOwner(CRITICAL_SECTION* section, HANDLE self) noexcept
{
    ownerOf(section).store(self, std::memory_order_relaxed);
    recursionOf(section).store(1, std::memory_order_relaxed);
}

bool tryTake(std::atomic_ref<LONG> state) noexcept
{
    LONG expected = 0;
    return state.compare_exchange_strong(expected, c_Held, std::memory_order_acquire, std::memory_order_relaxed);
}

[[gnu::noinline]] void waitForSection(std::atomic_ref<LONG> state, CRITICAL_SECTION const* section) noexcept
{
    const CErrnoKeeper keeper;
    CHunger hunger;
    LONG seen = 0;
    LONG taken = c_Held;
    const auto tryTurn = [&]
    {
        seen = state.load(std::memory_order_relaxed);
        while ((seen & c_Held) == 0 && ((seen & c_SomeoneStarves) == 0 || hunger.IsStarving()))
        {
            if (state.compare_exchange_weak(seen, taken | (seen & c_HasSleepers), std::memory_order_acquire,
                                            std::memory_order_relaxed))
            {
                return true;
            }
        }
        return false;
    };
    while (!tryTurn() && !spin(tryTurn))
    {
        const LONG wanted = seen | c_HasSleepers | (hunger.Grow() ? c_SomeoneStarves : 0);
        if ((seen & c_Held) == 0 && hunger.IsStarving())
        {
            continue;
        }
        if (seen == wanted ||
            state.compare_exchange_strong(seen, wanted, std::memory_order_relaxed, std::memory_order_relaxed))
        {
            sleepOn(&section->LockCount, static_cast<std::uint32_t>(wanted), hunger.GetKind());
            taken = c_Held | c_HasSleepers;
        }
    }
}

[[gnu::noinline]] void freeWithSleepers(std::atomic_ref<LONG> state, CRITICAL_SECTION const* section) noexcept
{
    LONG seen = state.load(std::memory_order_relaxed);
    LONG left = 0;
    do
    {
        left = (seen & c_SomeoneStarves) != 0 ? c_SomeoneStarves | c_HasSleepers : 0;
    } while (!state.compare_exchange_weak(seen, left, std::memory_order_release, std::memory_order_relaxed));
    // From here on the section belongs to others, who may delete it.
    if ((seen & c_HasSleepers) != 0)
    {
        wake(&section->LockCount, 1, left != 0 ? c_Starving : c_Starving | c_Patient);
    }
}

// By a thread that does not know its id yet, or that the section is not free for.
[[gnu::noinline]] void enterSlowly(CRITICAL_SECTION* section) noexcept
{
    const HANDLE self = asOwner(posix::currentThreadId());
    if (isOwnedBy(section, self))
    {
        return enterAgain(section);
    }
    const auto state = stateOf(section);
    if (!tryTake(state))
    {
        waitForSection(state, section);
    }
    becomeOwner(section, self);
}

inline void leaveAs(CRITICAL_SECTION* section, HANDLE self) noexcept
{
    if (!isOwnedBy(section, self)) [[unlikely]]
    {
        return;
    }
    const auto recursion = recursionOf(section);
    const LONG left = recursion.load(std::memory_order_relaxed) - 1;
    recursion.store(left, std::memory_order_relaxed);
    if (left != 0)
    {
        return;
    }
    ownerOf(section).store(nullptr, std::memory_order_relaxed);
    const auto state = stateOf(section);
    LONG expected = c_Held;
    if (!state.compare_exchange_strong(expected, 0, std::memory_order_release, std::memory_order_relaxed)) [[unlikely]]
    {
        freeWithSleepers(state, section);
    }
}

[[gnu::noinline]] void leaveSlowly(CRITICAL_SECTION* section) noexcept
{
    leaveAs(section, asOwner(posix::currentThreadId()));
}
} // namespace

void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept
{
    *section = CRITICAL_SECTION{};
}

void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept
{
    *section = CRITICAL_SECTION{};
}

void EnterCriticalSection(CRITICAL_SECTION* section) noexcept
{
    // All that is seldom is one call at the very end: the rest needs no stack.
    const DWORD threadId = posix::t_threadId;
    if (threadId == 0) [[unlikely]]
    {
        return enterSlowly(section);
    }
    const HANDLE self = asOwner(threadId);
    if (isOwnedBy(section, self))
    {
        return enterAgain(section);
    }
    if (!tryTake(stateOf(section))) [[unlikely]]
    {
        return enterSlowly(section);
    }
    becomeOwner(section, self);
}

BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) noexcept
{
    const HANDLE self = asOwner(posix::currentThreadId());
    if (isOwnedBy(section, self))
    {
        enterAgain(section);
        return TRUE;
    }
    if (!tryTake(stateOf(section)))
    {
        return FALSE;
    }
    becomeOwner(section, self);
    return TRUE;
}

void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept
{
    const DWORD threadId = posix::t_threadId;
    if (threadId == 0) [[unlikely]]
    {
        return leaveSlowly(section);
    }
    leaveAs(section, asOwner(threadId));
}

// ---- slim reader/writer locks
//
// The word counts exactly: readers inside, readers that wait, writers that wait.
// - A reader that arrives waits where a writer is inside or waits.
// - A writer that lets go makes all readers that wait readers inside, by one step that also turns the phase; they find
//   the phase turned, which cannot happen twice before they themselves let go. Then readers go before writers.
// - The last reader that lets go wakes a writer; no new reader comes in meanwhile, but another writer may. A writer that
//   starves ends that: a free lock is then taken by starving writers only.
// Sleepers compare the low half of the word, which holds all that decides whether they go on.

namespace
{
using Word = std::uintptr_t;

constexpr Word c_Writer = 1;        // one is inside
constexpr Word c_Phase = 2;         // turned by each hand-over to readers
constexpr Word c_WriterStarves = 4; // one that waits does
constexpr unsigned int c_CountBits = 20;
constexpr Word c_CountMask = (Word{1} << c_CountBits) - 1;
constexpr unsigned int c_ReadersShift = 4;
constexpr unsigned int c_WaitingReadersShift = c_ReadersShift + c_CountBits;
constexpr unsigned int c_WaitingWritersShift = c_WaitingReadersShift + c_CountBits;
constexpr Word c_OneReader = Word{1} << c_ReadersShift;
constexpr Word c_OneWaitingReader = Word{1} << c_WaitingReadersShift;
constexpr Word c_OneWaitingWriter = Word{1} << c_WaitingWritersShift;
constexpr Word c_Readers = c_CountMask << c_ReadersShift;
constexpr Word c_WaitingReaders = c_CountMask << c_WaitingReadersShift;
constexpr Word c_WaitingWriters = c_CountMask << c_WaitingWritersShift;
static_assert(c_WaitingWritersShift + c_CountBits == 64);
static_assert((c_Writer | c_Phase | c_WriterStarves | c_Readers) <= 0xFFFFFFFF, "what sleepers compare");

// The upper half of the count is for hand-overs: arriving readers can never make the sum overflow.
constexpr Word c_ManyReaders = Word{1} << (c_ReadersShift + c_CountBits - 1);
constexpr Word c_KeepsReadersOut = c_Writer | c_WaitingWriters | c_ManyReaders;

class CWord
{
public:
    explicit CWord(SRWLOCK* lock) noexcept : m_lock(lock)
    {
    }

    Word Load(std::memory_order order = std::memory_order_relaxed) const noexcept
    {
        return reinterpret_cast<Word>(ref().load(order));
    }

    // Takes `seen` anew where it was not so.
    bool Exchange(Word& seen, Word wanted, std::memory_order order) const noexcept
    {
        void* expected = reinterpret_cast<void*>(seen);
        const bool isExchanged =
            ref().compare_exchange_strong(expected, reinterpret_cast<void*>(wanted), order, std::memory_order_relaxed);
        seen = reinterpret_cast<Word>(expected);
        return isExchanged;
    }

    void Sleep(Word seen, std::uint32_t kind) const noexcept
    {
        sleepOn(m_lock, static_cast<std::uint32_t>(seen), kind);
    }

private:
    std::atomic_ref<void*> ref() const noexcept
    {
        return std::atomic_ref<void*>(m_lock->Ptr);
    }

    SRWLOCK* m_lock;
};

bool isFree(Word word) noexcept
{
    return (word & (c_Writer | c_Readers)) == 0;
}

void wakeAWriter(SRWLOCK const* lock, Word word) noexcept
{
    wake(lock, 1, (word & c_WriterStarves) != 0 ? c_Starving : c_Starving | c_Patient);
}

bool tryShare(CWord word, Word& seen) noexcept
{
    while ((seen & c_KeepsReadersOut) == 0)
    {
        if (word.Exchange(seen, seen + c_OneReader, std::memory_order_acquire))
        {
            return true;
        }
    }
    return false;
}

[[gnu::noinline]] void waitToShare(CWord word) noexcept
{
    const CErrnoKeeper keeper;
    Word seen = 0;
    const auto tryLook = [&]
    {
        seen = word.Load();
        return tryShare(word, seen);
    };
    if (spin(tryLook))
    {
        return;
    }

    // Join those that wait, unless there is room meanwhile.
    seen = word.Load();
    do
    {
        if (tryShare(word, seen))
        {
            return;
        }
        // Nobody hands over to readers where only their number keeps them out, or where no more can be counted.
        while ((seen & (c_Writer | c_WaitingWriters)) == 0 || (seen & c_WaitingReaders) == c_WaitingReaders)
        {
            sched_yield();
            seen = word.Load();
            if (tryShare(word, seen))
            {
                return;
            }
        }
    } while (!word.Exchange(seen, seen + c_OneWaitingReader, std::memory_order_relaxed));

    const Word phase = seen & c_Phase;
    const auto isHandedOver = [&] { return (word.Load(std::memory_order_acquire) & c_Phase) != phase; };
    while (!spin(isHandedOver))
    {
        seen = word.Load(std::memory_order_acquire);
        if ((seen & c_Phase) != phase)
        {
            return;
        }
        word.Sleep(seen, c_Reader);
    }
}

bool tryTakeAlone(CWord word, Word& seen) noexcept
{
    while (isFree(seen) && (seen & c_WriterStarves) == 0)
    {
        if (word.Exchange(seen, seen | c_Writer, std::memory_order_acquire))
        {
            return true;
        }
    }
    return false;
}

[[gnu::noinline]] void waitToTakeAlone(CWord word) noexcept
{
    const CErrnoKeeper keeper;
    Word seen = 0;
    const auto tryLook = [&]
    {
        seen = word.Load();
        return tryTakeAlone(word, seen);
    };
    if (spin(tryLook))
    {
        return;
    }

    // Join those that wait: no new reader comes in from here on.
    seen = word.Load();
    do
    {
        while ((seen & c_WaitingWriters) == c_WaitingWriters)
        {
            sched_yield();
            seen = word.Load();
        }
    } while (!word.Exchange(seen, seen + c_OneWaitingWriter, std::memory_order_relaxed));

    CHunger hunger;
    const auto tryTurn = [&]
    {
        seen = word.Load();
        while (isFree(seen) && ((seen & c_WriterStarves) == 0 || hunger.IsStarving()))
        {
            if (word.Exchange(seen, ((seen - c_OneWaitingWriter) & ~c_WriterStarves) | c_Writer,
                              std::memory_order_acquire))
            {
                return true;
            }
        }
        return false;
    };
    while (!tryTurn() && !spin(tryTurn))
    {
        if (hunger.Grow() &&
            (isFree(seen) || ((seen & c_WriterStarves) == 0 &&
                              !word.Exchange(seen, seen | c_WriterStarves, std::memory_order_relaxed))))
        {
            continue;
        }
        word.Sleep(hunger.IsStarving() ? seen | c_WriterStarves : seen, hunger.GetKind());
    }
}
} // namespace

void InitializeSRWLock(SRWLOCK* lock) noexcept
{
    *lock = SRWLOCK{};
}

void AcquireSRWLockShared(SRWLOCK* lock) noexcept
{
    const CWord word(lock);
    Word seen = word.Load();
    if (!tryShare(word, seen)) [[unlikely]]
    {
        waitToShare(word);
    }
}

BOOLEAN TryAcquireSRWLockShared(SRWLOCK* lock) noexcept
{
    const CWord word(lock);
    Word seen = word.Load();
    return tryShare(word, seen) ? 1 : 0;
}

void ReleaseSRWLockShared(SRWLOCK* lock) noexcept
{
    const CWord word(lock);
    Word seen = word.Load();
    do
    {
        if ((seen & c_Readers) == 0) [[unlikely]]
        {
            return;
        }
    } while (!word.Exchange(seen, seen - c_OneReader, std::memory_order_release));
    // From here on the lock belongs to others, who may let go of its memory.
    if ((seen & c_WaitingWriters) != 0 && (seen & c_Readers) == c_OneReader) [[unlikely]]
    {
        wakeAWriter(lock, seen);
    }
}

void AcquireSRWLockExclusive(SRWLOCK* lock) noexcept
{
    const CWord word(lock);
    Word seen = word.Load();
    if (!tryTakeAlone(word, seen)) [[unlikely]]
    {
        waitToTakeAlone(word);
    }
}

BOOLEAN TryAcquireSRWLockExclusive(SRWLOCK* lock) noexcept
{
    const CWord word(lock);
    Word seen = word.Load();
    return tryTakeAlone(word, seen) ? 1 : 0;
}

void ReleaseSRWLockExclusive(SRWLOCK* lock) noexcept
{
    const CWord word(lock);
    Word seen = word.Load();
    Word left = 0;
    do
    {
        if ((seen & c_Writer) == 0) [[unlikely]]
        {
            return;
        }
        left = seen & ~c_Writer;
        if (const Word readers = (seen & c_WaitingReaders) >> c_WaitingReadersShift; readers != 0)
        {
            left = ((left & ~c_WaitingReaders) ^ c_Phase) | (readers << c_ReadersShift);
        }
    } while (!word.Exchange(seen, left, std::memory_order_release));
    // From here on the lock belongs to others, who may let go of its memory.
    if ((seen & c_WaitingReaders) != 0)
    {
        wake(lock, INT_MAX, c_Reader);
    }
    else if ((seen & c_WaitingWriters) != 0)
    {
        wakeAWriter(lock, seen);
    }
}
