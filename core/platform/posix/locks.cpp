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

// No sleep is for ever: the thread that a wake was for may have been suspended or ended before it came to the lock, and the
// others look again by themselves after that long.
constexpr __int64 c_LookAgainNs = 100'000'000;

timespec steadyTimeIn(__int64 nanoseconds) noexcept
{
    constexpr __int64 c_Second = 1'000'000'000;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    const __int64 sum = time.tv_nsec + nanoseconds;
    time.tv_sec += static_cast<time_t>(sum / c_Second);
    time.tv_nsec = static_cast<long>(sum % c_Second);
    return time;
}

// Sleeps while the word holds `expected`, at most that long; may return at any time. Interrupted waits are the caller's
// loop to repeat. False once the time is over.
bool sleepOn(void const* word, std::uint32_t expected, std::uint32_t kind, __int64 nanoseconds) noexcept
{
    const timespec end = steadyTimeIn(nanoseconds);
    const long result = syscall(SYS_futex, word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected, &end, nullptr, kind);
    return result == 0 || errno != ETIMEDOUT;
}

// Whether the wake reached anybody. The word is an address and no more: the lock may be gone by now.
bool wake(void const* word, int count, std::uint32_t kinds) noexcept
{
    // A wake changes errno where the memory is gone.
    const int callersErrno = errno;
    const long woken = syscall(SYS_futex, word, FUTEX_WAKE_BITSET | FUTEX_PRIVATE_FLAG, count, nullptr, nullptr, kinds);
    errno = callersErrno;
    return woken > 0;
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

constexpr __int64 c_PatienceNs = 1'000'000;

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

// One that starves, where some do; another one where none of them sleeps. Whether there was one.
bool wakeOne(void const* word, bool isSomeoneStarving) noexcept
{
    return (isSomeoneStarving && wake(word, 1, c_Starving)) || wake(word, 1, c_Starving | c_Patient);
}

// ---- critical sections
//
// LockCount: 0 is free. A leave makes a section free that nobody starves for, and wakes one sleeper; whoever comes first
// takes it, and a sleeper that takes it notes that there may be more of them. With c_SomeoneStarves a starving thread has
// precedence, and its turn ends the state. It may have been suspended or ended meanwhile: a section that is still free
// after the others' patience goes to one of them, and ends the state too.

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
    bool isLeftOver = false; // it stayed free although somebody had precedence
    const auto tryTurn = [&]
    {
        seen = state.load(std::memory_order_relaxed);
        while ((seen & c_Held) == 0 && ((seen & c_SomeoneStarves) == 0 || hunger.IsStarving() || isLeftOver))
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
        const bool isFree = (seen & c_Held) == 0;
        if (isFree && hunger.IsStarving())
        {
            continue;
        }
        if (seen == wanted ||
            state.compare_exchange_strong(seen, wanted, std::memory_order_relaxed, std::memory_order_relaxed))
        {
            isLeftOver = !sleepOn(&section->LockCount, static_cast<std::uint32_t>(wanted), hunger.GetKind(),
                                  isFree ? c_PatienceNs : c_LookAgainNs);
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
        wakeOne(&section->LockCount, left != 0);
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
    // A free section is taken whoever has precedence: who has it may be suspended, and keeps it for the next turn.
    const auto state = stateOf(section);
    LONG seen = state.load(std::memory_order_relaxed);
    do
    {
        if ((seen & c_Held) != 0)
        {
            return FALSE;
        }
    } while (!state.compare_exchange_weak(seen, seen | c_Held, std::memory_order_acquire, std::memory_order_relaxed));
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
// The word counts readers inside, readers that wait, writers that wait; those that wait not always all of them.
// - A reader that arrives waits where a writer is inside or waits.
// - A writer that lets go with readers waiting wakes them all, counts them out, turns the phase, and leaves the lock to
//   readers: the first of them that comes in ends that. Who finds the phase turned goes before writers that wait.
// - The last reader that lets go wakes a writer; no new reader comes in meanwhile, but another writer may. A writer that
//   starves ends that: a free lock is then taken by starving writers only.
// Who waits may be suspended or ended, and counts on. So precedence is bounded: a thread that has slept for
// c_LookAgainNs and finds the lock free takes it whoever has precedence, and has the counts begin anew: it turns the
// epoch, and those that still wait count themselves again.
// Sleepers compare the low half of the word, which holds all that decides whether they go on.

namespace
{
using Word = std::uintptr_t;

constexpr Word c_Writer = 1;        // one is inside
constexpr Word c_WriterStarves = 2; // one that waits does
constexpr Word c_ReadersTurn = 4;   // a free lock is for readers
constexpr Word c_OnePhase = 8;      // turned by each writer that lets go for readers
constexpr unsigned int c_PhaseBits = 5;
constexpr unsigned int c_CountBits = 16;
constexpr unsigned int c_EpochBits = 8;
constexpr unsigned int c_WaitingBits = 16;
constexpr unsigned int c_ReadersShift = 3 + c_PhaseBits;
constexpr unsigned int c_EpochShift = c_ReadersShift + c_CountBits;
constexpr unsigned int c_WaitingReadersShift = c_EpochShift + c_EpochBits;
constexpr unsigned int c_WaitingWritersShift = c_WaitingReadersShift + c_WaitingBits;
constexpr Word c_OneReader = Word{1} << c_ReadersShift;
constexpr Word c_Phase = c_OneReader - c_OnePhase;
constexpr Word c_OneEpoch = Word{1} << c_EpochShift;
constexpr Word c_OneWaitingReader = Word{1} << c_WaitingReadersShift;
constexpr Word c_OneWaitingWriter = Word{1} << c_WaitingWritersShift;
constexpr Word c_Readers = c_OneEpoch - c_OneReader;
constexpr Word c_Epoch = c_OneWaitingReader - c_OneEpoch;
constexpr Word c_WaitingReaders = c_OneWaitingWriter - c_OneWaitingReader;
constexpr Word c_WaitingWriters = ~(c_OneWaitingWriter - 1);
static_assert(c_WaitingWritersShift + c_WaitingBits == 64);
static_assert((c_Readers | c_Epoch) <= 0xFFFFFFFF, "what sleepers compare");

// Far from where the count of readers would overflow, however many arrive at once.
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

    // False where the sleep was so long that the thread looks again by itself.
    bool Sleep(Word seen, std::uint32_t kind) const noexcept
    {
        return sleepOn(m_lock, static_cast<std::uint32_t>(seen), kind, c_LookAgainNs);
    }

    // All that wait count themselves anew.
    void WakeAll() const noexcept
    {
        wake(m_lock, INT_MAX, c_Patient | c_Starving | c_Reader);
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

// A free lock whose word forgets who waits.
Word forget(Word word) noexcept
{
    return (word & c_Phase) | ((word + c_OneEpoch) & c_Epoch);
}

// Or the readers, where no writer sleeps any more.
void wakeAWriter(SRWLOCK const* lock, Word word) noexcept
{
    if (!wakeOne(lock, (word & c_WriterStarves) != 0))
    {
        wake(lock, INT_MAX, c_Reader);
    }
}

Word withReader(Word word) noexcept
{
    return (word & ~c_ReadersTurn) + c_OneReader;
}

bool tryShare(CWord word, Word& seen) noexcept
{
    while ((seen & c_KeepsReadersOut) == 0)
    {
        if (word.Exchange(seen, withReader(seen), std::memory_order_acquire))
        {
            return true;
        }
    }
    return false;
}

// Returns once the waiter has had its turn. It looks for that, counts itself among those that wait, and sleeps.
template <class TWaiter>
void waitForTurn(TWaiter waiter) noexcept
{
    const auto tryTurn = [&waiter] { return waiter.TryTurn(); };
    while (!tryTurn() && !spin(tryTurn))
    {
        if (waiter.IsCounted())
        {
            waiter.Sleep();
        }
        else
        {
            waiter.Join();
        }
    }
}

class CWaitingReader
{
public:
    explicit CWaitingReader(CWord word) noexcept : m_word(word)
    {
    }

    bool IsCounted() const noexcept
    {
        return m_hasJoined && (m_seen & (c_Phase | c_Epoch)) == m_joined;
    }

    bool TryTurn() noexcept
    {
        m_seen = m_word.Load();
        for (;;)
        {
            m_isHandedOver = m_isHandedOver || (m_hasJoined && ((m_seen ^ m_joined) & c_Phase) != 0);
            if ((m_seen & (c_Writer | c_ManyReaders)) != 0)
            {
                return false;
            }
            const bool isInOrder = m_isHandedOver || (m_seen & c_WaitingWriters) == 0;
            if (!isInOrder && !(m_isTired && isFree(m_seen)))
            {
                return false;
            }
            // Where the phase has gone round since, the thread takes itself for one that is counted, and is not. So the count
            // may be too low, never below nothing: a sleeper that nobody counts looks again by itself.
            const bool isLeaving = IsCounted() && (m_seen & c_WaitingReaders) != 0;
            const Word wanted =
                isInOrder ? withReader(m_seen) - (isLeaving ? c_OneWaitingReader : 0) : forget(m_seen) + c_OneReader;
            if (m_word.Exchange(m_seen, wanted, std::memory_order_acquire))
            {
                if (!isInOrder)
                {
                    m_word.WakeAll();
                }
                return true;
            }
        }
    }

    void Sleep() noexcept
    {
        m_isTired = !m_word.Sleep(m_seen, c_Reader) || m_isTired;
    }

    // Counts the thread among those that wait.
    void Join() noexcept
    {
        // Nobody wakes readers where only their number keeps them out, and no more may be countable.
        if ((m_seen & (c_Writer | c_WaitingWriters)) == 0 || (m_seen & c_WaitingReaders) == c_WaitingReaders)
        {
            sched_yield();
        }
        else if (m_word.Exchange(m_seen, m_seen + c_OneWaitingReader, std::memory_order_relaxed))
        {
            m_joined = m_seen & (c_Phase | c_Epoch);
            m_hasJoined = true;
        }
    }

private:
    const CWord m_word;
    Word m_seen = 0;
    Word m_joined = 0; // phase and epoch in which the thread was counted last
    bool m_hasJoined = false;
    bool m_isHandedOver = false;
    bool m_isTired = false;
};

[[gnu::noinline]] void waitToShare(CWord word) noexcept
{
    const CErrnoKeeper keeper;
    waitForTurn(CWaitingReader(word));
}

bool tryTakeAlone(CWord word, Word& seen) noexcept
{
    while ((seen & (c_Writer | c_Readers | c_WriterStarves | c_ReadersTurn)) == 0)
    {
        if (word.Exchange(seen, seen | c_Writer, std::memory_order_acquire))
        {
            return true;
        }
    }
    return false;
}

class CWaitingWriter
{
public:
    explicit CWaitingWriter(CWord word) noexcept : m_word(word)
    {
    }

    bool IsCounted() const noexcept
    {
        return m_hasJoined && (m_seen & c_Epoch) == m_joined;
    }

    bool TryTurn() noexcept
    {
        m_seen = m_word.Load();
        while (isFree(m_seen) && (isInOrder() || m_isTired))
        {
            const bool isForgetting = !isInOrder();
            const Word left =
                isForgetting ? forget(m_seen) : (m_seen & ~c_WriterStarves) - (IsCounted() ? c_OneWaitingWriter : 0);
            if (m_word.Exchange(m_seen, left | c_Writer, std::memory_order_acquire))
            {
                if (isForgetting)
                {
                    m_word.WakeAll();
                }
                return true;
            }
        }
        return false;
    }

    void Sleep() noexcept
    {
        const bool isStarving = m_hunger.Grow();
        if (isFree(m_seen) && isInOrder())
        {
            return; // by now
        }
        const Word wanted = m_seen | (isStarving ? c_WriterStarves : 0);
        if (wanted == m_seen || m_word.Exchange(m_seen, wanted, std::memory_order_relaxed))
        {
            m_isTired = !m_word.Sleep(wanted, m_hunger.GetKind()) || m_isTired;
        }
    }

    // Counts the thread among those that wait: no new reader comes in from here on.
    void Join() noexcept
    {
        if ((m_seen & c_WaitingWriters) == c_WaitingWriters)
        {
            sched_yield();
        }
        else if (m_word.Exchange(m_seen, m_seen + c_OneWaitingWriter, std::memory_order_relaxed))
        {
            m_joined = m_seen & c_Epoch;
            m_hasJoined = true;
        }
    }

private:
    bool isInOrder() const noexcept
    {
        return (m_seen & c_ReadersTurn) == 0 && ((m_seen & c_WriterStarves) == 0 || m_hunger.IsStarving());
    }

    const CWord m_word;
    CHunger m_hunger;
    Word m_seen = 0;
    Word m_joined = 0; // epoch in which the thread was counted last
    bool m_hasJoined = false;
    bool m_isTired = false;
};

[[gnu::noinline]] void waitToTakeAlone(CWord word) noexcept
{
    const CErrnoKeeper keeper;
    waitForTurn(CWaitingWriter(word));
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
    // A free lock is taken whoever has precedence: those may be suspended.
    const CWord word(lock);
    Word seen = word.Load();
    while ((seen & c_KeepsReadersOut) == 0 || isFree(seen))
    {
        if (word.Exchange(seen, withReader(seen), std::memory_order_acquire))
        {
            return 1;
        }
    }
    return 0;
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
    while (isFree(seen))
    {
        if (word.Exchange(seen, seen | c_Writer, std::memory_order_acquire))
        {
            return 1;
        }
    }
    return 0;
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
        if ((seen & c_WaitingReaders) != 0)
        {
            left = (left & ~(c_WaitingReaders | c_Phase)) | ((left + c_OnePhase) & c_Phase) | c_ReadersTurn;
        }
    } while (!word.Exchange(seen, left, std::memory_order_release));
    // From here on the lock belongs to others, who may let go of its memory.
    const bool isForReaders = (seen & c_WaitingReaders) != 0 && wake(lock, INT_MAX, c_Reader);
    if (!isForReaders && (seen & c_WaitingWriters) != 0)
    {
        wakeAWriter(lock, seen);
    }
}
