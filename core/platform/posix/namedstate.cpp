#include "namedstate.h"

#include <algorithm>
#include <climits>

namespace posix
{
namespace
{
// The lock word of a robust mutex is part of the system's interface: the kernel itself changes it when the owner dies.
// Its place in the C library's structure is not, but it is the same in every glibc.
std::atomic_ref<int> lockWord(pthread_mutex_t& mutex) noexcept
{
    return std::atomic_ref<int>(mutex.__data.__lock);
}

std::uint32_t readLockWord(pthread_mutex_t const& mutex) noexcept
{
    return static_cast<std::uint32_t>(lockWord(const_cast<pthread_mutex_t&>(mutex)).load(std::memory_order_acquire));
}

constexpr std::uint32_t c_HasSleepers = FUTEX_WAITERS;
constexpr std::uint32_t c_OwnerMask = FUTEX_TID_MASK;

void wakeShared(std::uint32_t const* word, int count) noexcept
{
    syscall(SYS_futex, word, FUTEX_WAKE, count, nullptr, nullptr, 0);
}

// Adds 1 to the word and wakes all that sleep on it, which nothing can come between.
bool addAndWakeShared(std::atomic<std::uint32_t>& word) noexcept
{
    std::uint32_t* const address = reinterpret_cast<std::uint32_t*>(&word);
    // The comparison is for a second word to wake, which there is none of.
    return syscall(SYS_futex, address, FUTEX_WAKE_OP, INT_MAX, 0, address,
                   FUTEX_OP(FUTEX_OP_ADD, 1, FUTEX_OP_CMP_LT, 0)) >= 0;
}

bool makeRobustMutex(pthread_mutex_t& mutex) noexcept
{
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0)
    {
        return false;
    }
    bool const isMade = pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                        pthread_mutex_init(&mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return isMade;
}
} // namespace

bool SharedObject::initialise(Kind kind, std::uint32_t value, std::uint32_t maximum) noexcept
{
    m_sequence.store(0, std::memory_order_relaxed);
    m_kind = kind;
    m_maximum = maximum;
    m_waiters = 0;
    m_sleepers = 0;
    m_lastBegun = 0;
    m_states[0] = State();
    m_states[1] = State();
    m_recursion = 0;
    m_isAbandoned = false;
    if (!makeRobustMutex(m_lock) || !makeRobustMutex(m_ownership))
    {
        return false;
    }
    if (kind != Kind::Mutex)
    {
        m_states[0].value = value;
        m_states[0].isSetLast = value != 0;
    }
    return true;
}

void SharedObject::lock() noexcept
{
    if (pthread_mutex_lock(&m_lock) == EOWNERDEAD)
    {
        // Whatever the dead holder was at, the state that is in force is whole.
        pthread_mutex_consistent(&m_lock);
    }
}

void SharedObject::unlock() noexcept
{
    pthread_mutex_unlock(&m_lock);
}

// ---- changes

void SharedObject::commit(State const& next, Telling telling) noexcept
{
    std::uint32_t const sequence = m_sequence.load(std::memory_order_relaxed);
    m_states[(sequence + 1) % 2] = next;
    if (telling == Telling::Nobody || m_sleepers == 0)
    {
        m_sequence.store(sequence + 1, std::memory_order_release);
        return;
    }
    if (!addAndWakeShared(m_sequence))
    {
        // A kernel that refuses the combined call: the sleepers are told a moment later.
        m_sequence.store(sequence + 1, std::memory_order_release);
        wakeShared(addressOf(m_sequence), INT_MAX);
    }
}

std::uint32_t SharedObject::owedIn(State const& state) const noexcept
{
    std::uint32_t sum = 0;
    for (Owed const& row : state.owed)
    {
        sum += row.count;
    }
    return sum;
}

// Waiters that nothing is owed to. The two counts may have been caught in between by a kill.
std::uint32_t SharedObject::unservedIn(State const& state) const noexcept
{
    std::uint32_t const owed = owedIn(state);
    std::uint32_t const waiters = std::min(m_waiters, m_sleepers);
    return waiters > owed ? waiters - owed : 0;
}

// Owes `count` signals to those that wait now.
void SharedObject::owe(State& state, std::uint32_t count) const noexcept
{
    Owed* const rows = state.owed;
    Owed* const end = std::remove_if(rows, rows + c_OwedRows, [](Owed const& row) { return row.count == 0; });
    std::fill(end, rows + c_OwedRows, Owed());
    auto used = static_cast<unsigned int>(end - rows);
    if (used != 0 && m_lastBegun < rows[used - 1].before)
    {
        rows[used - 1].count += count; // nobody has begun to wait since
        return;
    }
    if (used == c_OwedRows)
    {
        // The two oldest become one, for who waited by the later moment: nothing is lost.
        rows[1].count += rows[0].count;
        std::move(rows + 1, rows + c_OwedRows, rows);
        --used;
    }
    rows[used] = {++state.moment, count};
}

void SharedObject::setIn(State& state) const noexcept
{
    if (m_kind == Kind::ManualEvent)
    {
        if (m_sleepers != 0)
        {
            state.releasedBefore = ++state.moment;
        }
    }
    else if (state.value != 0 && unservedIn(state) != 0)
    {
        owe(state, 1);
    }
    state.value = 1;
    state.isSetLast = true;
}

void SharedObject::resetIn(State& state) const noexcept
{
    if (m_kind == Kind::AutoEvent && state.value != 0 && unservedIn(state) != 0)
    {
        owe(state, 1);
    }
    state.value = 0;
    state.isSetLast = false;
}

// While nobody waits there is nobody to tell, nothing is owed, and each change is one write to one field: those are made
// where they are.

void SharedObject::set() noexcept
{
    if (m_sleepers == 0)
    {
        current().value = 1;
        current().isSetLast = true;
        return;
    }
    bool const isSetAlready = current().value != 0;
    if (isSetAlready && (m_kind == Kind::ManualEvent || unservedIn(current()) == 0))
    {
        return;
    }
    State next = current();
    setIn(next);
    commit(next, Telling::Sleepers);
}

void SharedObject::reset() noexcept
{
    if (m_sleepers == 0)
    {
        current().value = 0;
        current().isSetLast = false;
        return;
    }
    State next = current();
    resetIn(next);
    commit(next, Telling::Nobody);
}

void SharedObject::pulse() noexcept
{
    State next = current();
    setIn(next);
    resetIn(next);
    commit(next, Telling::Sleepers);
}

DWORD SharedObject::release(std::uint32_t count, std::uint32_t& previous) noexcept
{
    previous = current().value - std::min(current().value, unservedIn(current()));
    if (count > m_maximum - previous)
    {
        return ERROR_TOO_MANY_POSTS;
    }
    if (m_sleepers == 0)
    {
        current().value += count;
        return ERROR_SUCCESS;
    }
    State next = current();
    next.value += count;
    if (next.value > m_maximum)
    {
        owe(next, next.value - m_maximum); // no more than waiters are about to take
        next.value = m_maximum;
    }
    commit(next, Telling::Sleepers);
    return ERROR_SUCCESS;
}

// ---- waits

SharedObject::Moment SharedObject::join(bool isForAll) noexcept
{
    ++m_sleepers;
    if (!isForAll)
    {
        ++m_waiters;
        m_lastBegun = current().moment;
    }
    return current().moment;
}

void SharedObject::leave(bool isForAll) noexcept
{
    --m_sleepers;
    if (m_kind == Kind::Mutex)
    {
        m_waiters -= isForAll ? 0 : 1;
        passOn();
        return;
    }
    if (isForAll)
    {
        return;
    }
    --m_waiters;
    std::uint32_t const owed = owedIn(current());
    if (owed <= m_waiters)
    {
        return;
    }
    State next = current();
    std::uint32_t const excess = owed - m_waiters;
    std::uint32_t rest = excess;
    for (Owed& row : next.owed)
    {
        std::uint32_t const cut = std::min(row.count, rest);
        row.count -= cut;
        rest -= cut;
    }
    if (m_kind == Kind::Semaphore)
    {
        next.value = std::min(m_maximum, next.value + excess);
    }
    else if (next.isSetLast)
    {
        next.value = 1;
    }
    commit(next, next.value != current().value ? Telling::Sleepers : Telling::Nobody);
}

bool SharedObject::isSignalled(std::uint32_t threadId, Moment begun) const noexcept
{
    if (m_kind == Kind::Mutex)
    {
        std::uint32_t const owner = ownerId();
        return owner == 0 || owner == threadId;
    }
    return current().value != 0 || isOwed(begun);
}

bool SharedObject::isOwed(Moment begun) const noexcept
{
    State const& state = current();
    if (m_kind == Kind::ManualEvent)
    {
        return begun < state.releasedBefore;
    }
    return std::any_of(std::begin(state.owed), std::end(state.owed),
                       [&](Owed const& row) { return row.count != 0 && begun < row.before; });
}

bool SharedObject::take(std::uint32_t threadId, Moment begun) noexcept
{
    if (m_kind == Kind::ManualEvent)
    {
        return false;
    }
    if (m_kind != Kind::Mutex && m_sleepers == 0)
    {
        --current().value;
        return false;
    }
    if (m_kind != Kind::Mutex)
    {
        State next = current();
        auto const row = std::find_if(std::begin(next.owed), std::end(next.owed),
                                      [&](Owed const& it) { return it.count != 0 && begun < it.before; });
        --(row != std::end(next.owed) ? row->count : next.value);
        commit(next, Telling::Nobody);
        return false;
    }
    if (ownerId() == threadId)
    {
        ++m_recursion;
        return false;
    }
    // Nobody else gets here meanwhile: it takes the object's lock.
    bool isAbandoned = false;
    if (pthread_mutex_trylock(&m_ownership) == EOWNERDEAD)
    {
        pthread_mutex_consistent(&m_ownership);
        isAbandoned = true;
    }
    isAbandoned = isAbandoned || m_isAbandoned;
    m_isAbandoned = false;
    m_recursion = 1;
    if (m_sleepers != 0)
    {
        markSleepers();
    }
    return isAbandoned;
}

// ---- sleeping

// Has the kernel wake a sleeper when the mutex is released or its owner dies. The word as it is then, or 0 where the
// mutex has no owner.
std::uint32_t SharedObject::markSleepers() noexcept
{
    std::atomic_ref<int> word = lockWord(m_ownership);
    int seen = word.load(std::memory_order_acquire);
    while ((static_cast<std::uint32_t>(seen) & c_OwnerMask) != 0)
    {
        std::uint32_t const marked = static_cast<std::uint32_t>(seen) | c_HasSleepers;
        if (static_cast<std::uint32_t>(seen) == marked ||
            word.compare_exchange_weak(seen, static_cast<int>(marked), std::memory_order_acq_rel,
                                       std::memory_order_acquire))
        {
            return marked;
        }
    }
    return 0;
}

SleepWord SharedObject::sleepWord() noexcept
{
    if (m_kind != Kind::Mutex)
    {
        return {addressOf(m_sequence), m_sequence.load(std::memory_order_relaxed)};
    }
    std::uint32_t const marked = markSleepers();
    // A mutex that has lost its owner by now: no word says that it is owned and has no sleepers.
    return {reinterpret_cast<std::uint32_t const*>(&m_ownership.__data.__lock), marked != 0 ? marked : c_OwnerMask};
}

bool SharedObject::isChanged(SleepWord const& sleep) noexcept
{
    return std::atomic_ref<std::uint32_t>(*const_cast<std::uint32_t*>(sleep.word)).load(std::memory_order_acquire) !=
           sleep.expected;
}

void SharedObject::passOn() noexcept
{
    if (m_kind == Kind::Mutex && m_sleepers != 0 && ownerId() == 0)
    {
        wakeShared(reinterpret_cast<std::uint32_t const*>(&m_ownership.__data.__lock), 1);
    }
}

// ---- the owner of a mutex

std::uint32_t SharedObject::ownerId() const noexcept
{
    return readLockWord(m_ownership) & c_OwnerMask;
}

bool SharedObject::releaseOwnership() noexcept
{
    if (--m_recursion != 0)
    {
        return false;
    }
    pthread_mutex_unlock(&m_ownership); // wakes one, which holds even if this process is killed meanwhile
    return true;
}

void SharedObject::abandonOwnership() noexcept
{
    m_recursion = 0;
    m_isAbandoned = true;
    pthread_mutex_unlock(&m_ownership);
}
} // namespace posix
