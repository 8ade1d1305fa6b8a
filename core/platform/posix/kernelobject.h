// The objects behind handles: one word of state each, a list of those that wait, and the hand-over between them.
//
// A signaller hands an object directly to who has waited longest: it takes the waiter's block out of the object's list,
// decides the wait, and wakes the thread. Three rules keep that free of lost signals and dead-locks:
// - While nobody waits and nobody holds an object's lock bit, its word is changed by compare-and-swap alone.
// - Everything else happens under the lock bit of the object. A thread holds one such bit at a time, unless it holds the
//   global lock: that is taken by waits for all of several objects, and by signals on objects that have such a waiter.
// - A wait is decided by one compare-and-swap of its state, and what it takes is taken by whoever wins that.
// Objects come from a pool that never gives memory back, and every word carries the generation of its object: a thread
// that still holds an old reference finds a wrong generation instead of another object.

#ifndef ORVANE_PLATFORM_POSIX_KERNELOBJECT_H
#define ORVANE_PLATFORM_POSIX_KERNELOBJECT_H

#include <atomic>
#include <cstdint>

#include "fail.h"
#include "futex.h"
#include "platform/platform.h"

namespace posix
{
enum class Kind : std::uint32_t
{
    Free,
    ManualEvent,
    AutoEvent,
    Mutex,
    Semaphore,
    Thread,
    Named,  // the state is in memory that processes share
    Passive // a snapshot or a file; cannot be waited on
};

struct WaitOperation;
class NamedObject;
struct ThreadRecord;
struct SnapshotRecord;

/// One place in one object's list; a wait has as many as it has objects.
struct WaitNode
{
    WaitNode* next = nullptr;
    WaitNode* previous = nullptr;
    WaitOperation* operation = nullptr;
    std::uint32_t index = 0;
    bool isLinked = false; // guarded by the object's lock bit, as are the links
};

/// The word: flags in the low byte, the generation and the kind above them, the value in the high half.
namespace Word
{
constexpr std::uint64_t c_Locked = 1;
constexpr std::uint64_t c_Contended = 2;  // somebody sleeps for the lock bit
constexpr std::uint64_t c_Waiters = 4;    // the list is not empty
constexpr std::uint64_t c_AllWaiters = 8; // someone in it waits for several objects at once
constexpr std::uint64_t c_Abandoned = 16; // a mutex whose owner ended
constexpr unsigned int c_KindShift = 5;
constexpr std::uint64_t c_KindMask = 7u << c_KindShift;
constexpr unsigned int c_GenerationShift = 8;
constexpr std::uint64_t c_GenerationMask = 0xFFFFFFull << c_GenerationShift;
constexpr unsigned int c_ValueShift = 32;
constexpr std::uint64_t c_ValueOne = 1ull << c_ValueShift;
constexpr std::uint64_t c_ValueMask = 0xFFFFFFFFull << c_ValueShift;

constexpr Kind kind(std::uint64_t word) noexcept
{
    return static_cast<Kind>((word & c_KindMask) >> c_KindShift);
}

constexpr std::uint32_t value(std::uint64_t word) noexcept
{
    return static_cast<std::uint32_t>(word >> c_ValueShift);
}

constexpr std::uint64_t withValue(std::uint64_t word, std::uint32_t value) noexcept
{
    return (word & ~c_ValueMask) | (static_cast<std::uint64_t>(value) << c_ValueShift);
}
} // namespace Word

struct alignas(64) KernelObject
{
    std::atomic<std::uint64_t> word{0};

    // Guarded by the lock bit.
    WaitNode* first = nullptr;
    WaitNode* last = nullptr;
    std::uint32_t references = 0; // handles, and waits in progress
    std::uint32_t allWaiters = 0; // nodes that belong to waits for all, or to pokes
    std::uint32_t maximum = 0;    // of a semaphore
    std::uint32_t poolIndex = 0;

    std::atomic<std::uint32_t> recursion{0}; // of a mutex; touched by its owner only, or while it changes hands
    int descriptor = -1;                     // of a file

    ThreadRecord* thread = nullptr; // of a thread object
    NamedObject* named = nullptr;   // of a named object
    SnapshotRecord* snapshot = nullptr;
    KernelObject* nextFree = nullptr;
};

/// An object as a handle names it.
struct ObjectRef
{
    KernelObject* object = nullptr;
    std::uint64_t generation = 0; // in its place in the word

    explicit operator bool() const noexcept
    {
        return object != nullptr;
    }
};

/// What a thread sleeps on, and what its waits remember. Never freed: a late waker may still touch it.
struct Parking
{
    std::atomic<std::uint32_t> token{0}; // 0 awake, 1 asleep, 2 woken
    std::uint32_t threadId = 0;
    std::uint64_t usualWaitNs = 8'000; // how long its waits last, on average over the last ones
    std::uint32_t waitsToSkip = 0;     // before it looks again instead of going to sleep
    std::uint32_t nextSkip = 1;        // after a look that brought nothing
    std::uint32_t looksToKeep = 0;     // the processor, before it is offered to others again
    std::atomic<bool> hasOwnedMutex{false};
    ThreadRecord* thread = nullptr;     // the thread's record, once it has one
    WaitOperation* operation = nullptr; // the wait that is queued at objects, until it is withdrawn
    int endRounds = 0;                  // rounds of thread-end clean-up seen so far
    Parking* nextFree = nullptr;
};

/// The calling thread's; made at its first wait, and given back at the very end of the thread.
Parking& parking() noexcept;

/// A wait in progress, on the waiting thread's stack.
struct WaitOperation
{
    enum class Aim : std::uint8_t
    {
        Any,
        All,
        Poke // is woken by every signal and takes nothing: the waiter looks for itself
    };

    static constexpr std::uint32_t c_Waiting = 0xFFFFFFFF;
    static constexpr std::uint32_t c_TimedOut = 258;

    std::atomic<std::uint32_t> state{c_Waiting}; // then the result of the wait
    Aim aim = Aim::Any;
    bool isLook = false; // does not block: a pulse passes it over
    std::uint32_t count = 0;
    std::uint32_t hint = 0; // of a wait for all: a member that was not signalled when somebody last looked
    Parking* parking = nullptr;
    KernelObject* const* objects = nullptr;
    WaitNode* nodes = nullptr;
};

/// The lock bit of one object, held from construction to the end of the scope. `word` is the object's word without the
/// lock's own bits; what it is changed to is what the object holds afterwards.
class Locked
{
public:
    /// Locks an object that is known to live.
    explicit Locked(KernelObject& object) noexcept;

    /// Locks an object if it is still the one that `ref` names; isHeld() tells.
    explicit Locked(ObjectRef const& ref) noexcept;

    Locked(Locked const&) = delete;
    Locked& operator=(Locked const&) = delete;

    ~Locked()
    {
        if (m_object != nullptr)
        {
            unlock();
        }
    }

    bool isHeld() const noexcept
    {
        return m_object != nullptr;
    }

    KernelObject& object() const noexcept
    {
        return *m_object;
    }

    void unlock() noexcept;

    std::uint64_t word = 0;
    bool isPulsed = false; // what is signalled now is for those who block

private:
    KernelObject* m_object = nullptr;
};

/// Threads to wake once no lock bit is held any more.
class WakeList
{
public:
    WakeList() = default;
    WakeList(WakeList const&) = delete;
    WakeList& operator=(WakeList const&) = delete;

    ~WakeList()
    {
        flush();
    }

    void add(Parking& parking) noexcept;
    void flush() noexcept;

private:
    static constexpr unsigned int c_Capacity = 32;
    Parking* m_parkings[c_Capacity];
    unsigned int m_count = 0;
};

/// Puts a wait's node at the end of the object's list, or takes it out.
void link(Locked& held, WaitNode& node) noexcept;
void unlink(Locked& held, WaitNode& node) noexcept;

/// Whether a thread that waits for the object would get it.
bool isSignalled(std::uint64_t word, std::uint32_t threadId) noexcept;

/// Whether taking the object would tell that its owner had ended.
constexpr bool isAbandoned(std::uint64_t word) noexcept
{
    return (word & Word::c_Abandoned) != 0;
}

/// The word of a signalled object after a thread has taken it.
std::uint64_t takenWord(std::uint64_t word, std::uint32_t threadId) noexcept;

/// Takes a signalled object for the thread behind `parking`, under the object's lock bit.
void take(Locked& held, Parking& parking) noexcept;

/// Changes an object under its lock bit and hands it to those it then is signalled for.
/// `change(Locked&)` returns an error number; other than 0, nothing is handed on. `after(Locked&)` runs after that.
/// Returns the error; 6 where the object is gone.
template <class Change, class After>
DWORD changeObject(ObjectRef const& ref, Change const& change, After const& after) noexcept;

/// The lock that permits holding several lock bits.
FutexMutex& globalLock() noexcept;

/// Hands the object to who waits for it, in order, as long as it is signalled. The lock bit is held and, where the word
/// says c_AllWaiters, the global lock.
void distribute(Locked& held, WakeList& wakes) noexcept;

template <class Change, class After>
DWORD changeObject(ObjectRef const& ref, Change const& change, After const& after) noexcept
{
    bool isGlobal = (ref.object->word.load(std::memory_order_relaxed) & Word::c_AllWaiters) != 0;
    for (;;)
    {
        WakeList wakes; // flushed after both locks are released
        if (isGlobal)
        {
            globalLock().lock();
        }
        DWORD error = 6;
        bool isRetried = false;
        {
            Locked held(ref);
            if (held.isHeld())
            {
                if ((held.word & Word::c_AllWaiters) != 0 && !isGlobal)
                {
                    isRetried = true;
                }
                else
                {
                    error = change(held);
                    if (error == 0)
                    {
                        if ((held.word & Word::c_Waiters) != 0)
                        {
                            distribute(held, wakes);
                        }
                        after(held);
                    }
                }
            }
        }
        if (isGlobal)
        {
            globalLock().unlock();
        }
        if (!isRetried)
        {
            return error;
        }
        isGlobal = true;
    }
}

/// A new object with one reference, or null without memory.
KernelObject* createObject(Kind kind, std::uint32_t value) noexcept;

/// Gives one reference back; the last one ends the object.
void releaseReference(KernelObject& object) noexcept;
void releaseReference(Locked& held) noexcept;

/// Marks every mutex that the calling thread owns as abandoned and hands it on.
void abandonMutexes(std::uint32_t threadId) noexcept;

/// Sets the value of an object and hands it on: the way a thread object becomes signalled. The object lives.
void signalObject(KernelObject& object) noexcept;

// ---- handles

/// A handle to the object, which takes over one reference; null (and the reference is given back) without memory, with
/// the last error 8.
HANDLE openHandle(KernelObject& object) noexcept;

/// The object that a handle names, whatever its kind; empty for a bad handle.
ObjectRef findObject(HANDLE handle) noexcept;

/// The thread object that a pseudo handle names for the calling thread; empty for any other value.
ObjectRef findPseudoHandle(HANDLE handle) noexcept;

// ---- named objects

/// Opens or makes the named object; sets the last error to 0, 183, or the failure's.
HANDLE createNamed(Kind kind, wchar_t const* name, std::uint32_t value, std::uint32_t maximum) noexcept;
DWORD changeNamedEvent(ObjectRef const& ref, bool set, bool pulse) noexcept;
DWORD releaseNamedMutex(ObjectRef const& ref) noexcept;
DWORD releaseNamedSemaphore(ObjectRef const& ref, std::uint32_t count, std::uint32_t& previous) noexcept;

/// Takes a named object that is signalled: WAIT_OBJECT_0 or WAIT_ABANDONED_0; WAIT_TIMEOUT where it is not signalled,
/// WAIT_FAILED with the last error 6 where it is gone.
DWORD tryTakeNamed(ObjectRef const& ref) noexcept;

/// A wait in which at least one object is named. The references are held by the caller.
DWORD waitNamed(KernelObject* const* objects, std::uint32_t count, bool waitAll, DWORD timeoutMs) noexcept;

/// The object is gone: unmap what it shared.
void closeNamed(NamedObject* named) noexcept;

/// The calling thread is at its end: named mutexes that it owns are abandoned.
void abandonNamedMutexes(std::uint32_t threadId) noexcept;

// ---- threads

/// The object is gone: give its record back.
void closeThread(ThreadRecord* thread) noexcept;
void closeSnapshot(SnapshotRecord* snapshot) noexcept;

/// The calling thread's parking, or null while it has none; gives it back.
Parking* existingParking() noexcept;
void giveParkingBack(Parking& own) noexcept;

/// Ends the wait that the calling thread sleeps in, from a handler on it: nobody refers to its frame afterwards.
void abortWait(WaitOperation& operation) noexcept;

/// The calling thread is at its very end: its mutexes are abandoned, its thread object becomes signalled.
void endThread(Parking& parking) noexcept;
} // namespace posix

#endif // ORVANE_PLATFORM_POSIX_KERNELOBJECT_H
