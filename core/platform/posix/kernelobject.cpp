#include "kernelobject.h"

#include <climits>
#include <new>
#include <utility>

#include <pthread.h>
#include <unistd.h>

#include "nosuspend.h"

namespace posix
{
namespace
{
// Objects and handles live in chunks that are never given back, so that an old reference always meets an object.
constexpr std::uint32_t c_ObjectsInChunk = 256;
constexpr std::uint32_t c_ObjectChunks = 1u << 16;
constexpr std::uint32_t c_HandlesInChunk = 1024;
constexpr std::uint32_t c_HandleChunks = 1u << 14;
constexpr std::uint32_t c_IndexMask = 0xFFFFFF;

constinit std::atomic<KernelObject*> s_objectChunks[c_ObjectChunks]{};
constinit std::atomic<std::atomic<std::uint64_t>*> s_handleChunks[c_HandleChunks]{};

// All of these are guarded by s_tableLock.
constinit FutexMutex s_tableLock;
constinit KernelObject* s_freeObjects = nullptr;
constinit std::uint32_t s_objectsMade = 0;
constinit std::uint32_t s_objectsAlive = 0;
constinit std::uint32_t s_firstFreeHandle = 0; // index of a free entry, which holds the next one; 0: none
constinit std::uint32_t s_handlesMade = 1;     // 0 is no handle
constinit std::uint32_t s_handlesOpen = 0;

constinit FutexMutex s_globalLock;

constinit FutexMutex s_parkingLock;
constinit Parking* s_freeParkings = nullptr; // guarded by s_parkingLock

// An entry of the handle table: 16 bits that change with each use of the entry, the object's generation, its pool index
// plus one (0: the entry is free, and the generation's place holds the next free entry).
constexpr unsigned int c_EntryGenerationShift = 24;
constexpr unsigned int c_EntryUseShift = 48;

constexpr std::uint64_t makeEntry(std::uint64_t use, std::uint64_t middle, std::uint64_t index) noexcept
{
    return (use & 0xFFFF) << c_EntryUseShift | middle << c_EntryGenerationShift | index;
}

// A handle: the entry's use, its index, and two zero bits as Windows has them.
constexpr unsigned int c_HandleIndexShift = 2;
constexpr unsigned int c_HandleUseShift = 26;

KernelObject& objectAt(std::uint32_t index) noexcept
{
    return s_objectChunks[index / c_ObjectsInChunk].load(std::memory_order_acquire)[index % c_ObjectsInChunk];
}

std::atomic<std::uint64_t>& entryAt(std::uint32_t index) noexcept
{
    return s_handleChunks[index / c_HandlesInChunk].load(std::memory_order_acquire)[index % c_HandlesInChunk];
}

// s_tableLock is held.
KernelObject* newObject() noexcept
{
    if (s_freeObjects != nullptr)
    {
        KernelObject* const object = s_freeObjects;
        s_freeObjects = object->nextFree;
        return object;
    }
    if (s_objectsMade == c_ObjectsInChunk * c_ObjectChunks)
    {
        return nullptr;
    }
    std::atomic<KernelObject*>& chunk = s_objectChunks[s_objectsMade / c_ObjectsInChunk];
    if (s_objectsMade % c_ObjectsInChunk == 0)
    {
        KernelObject* const fresh = new (std::nothrow) KernelObject[c_ObjectsInChunk];
        if (fresh == nullptr)
        {
            return nullptr;
        }
        chunk.store(fresh, std::memory_order_release);
    }
    KernelObject& object = chunk.load(std::memory_order_relaxed)[s_objectsMade % c_ObjectsInChunk];
    object.poolIndex = s_objectsMade++;
    return &object;
}

// s_tableLock is held. 0: no memory.
std::uint32_t newHandleIndex() noexcept
{
    if (s_firstFreeHandle != 0)
    {
        std::uint32_t const index = s_firstFreeHandle;
        std::uint64_t const entry = entryAt(index).load(std::memory_order_relaxed);
        s_firstFreeHandle = static_cast<std::uint32_t>(entry >> c_EntryGenerationShift) & c_IndexMask;
        return index;
    }
    if (s_handlesMade == c_HandlesInChunk * c_HandleChunks)
    {
        return 0;
    }
    std::atomic<std::atomic<std::uint64_t>*>& chunk = s_handleChunks[s_handlesMade / c_HandlesInChunk];
    if (chunk.load(std::memory_order_relaxed) == nullptr)
    {
        auto* const fresh = new (std::nothrow) std::atomic<std::uint64_t>[c_HandlesInChunk]();
        if (fresh == nullptr)
        {
            return 0;
        }
        chunk.store(fresh, std::memory_order_release);
    }
    return s_handlesMade++;
}

struct HandlePlace
{
    std::uint32_t index = 0;
    std::uint64_t use = 0;
};

// Where a handle points in the table; index 0 for a value that cannot be a handle.
HandlePlace placeOf(HANDLE handle) noexcept
{
    std::uintptr_t const bits = reinterpret_cast<std::uintptr_t>(handle);
    std::uint32_t const index = static_cast<std::uint32_t>(bits >> c_HandleIndexShift) & c_IndexMask;
    std::uint64_t const use = bits >> c_HandleUseShift;
    bool const isPossible = (bits & 3) == 0 && use <= 0xFFFF && index / c_HandlesInChunk < c_HandleChunks &&
                            s_handleChunks[index / c_HandlesInChunk].load(std::memory_order_acquire) != nullptr;
    return isPossible ? HandlePlace{index, use} : HandlePlace();
}

ObjectRef objectOf(std::uint64_t entry) noexcept
{
    std::uint32_t const index = static_cast<std::uint32_t>(entry) & c_IndexMask;
    std::uint64_t const generation = (entry >> c_EntryGenerationShift) & 0xFFFFFF;
    return {&objectAt(index - 1), generation << Word::c_GenerationShift};
}

// The lock bit's half of the word, which contenders sleep on.
std::uint32_t const* lowHalf(KernelObject const& object) noexcept
{
    return reinterpret_cast<std::uint32_t const*>(&object.word);
}

constexpr int c_LockSpins = 100;

// One more turn of somebody who finds the lock bit taken.
void awaitUnlock(KernelObject& object, std::uint64_t word, int& spins) noexcept
{
    if (spins < c_LockSpins)
    {
        ++spins;
        spinPause();
        return;
    }
    std::uint64_t const contended = word | Word::c_Contended;
    if (word == contended ||
        object.word.compare_exchange_weak(word, contended, std::memory_order_relaxed, std::memory_order_relaxed))
    {
        futexWait(lowHalf(object), static_cast<std::uint32_t>(contended), nullptr);
    }
}

// ---- the end of a thread

pthread_key_t s_endKey;

Parking*& currentParking() noexcept
{
    [[gnu::tls_model("initial-exec")]] static constinit thread_local Parking* t_parking = nullptr;
    return t_parking;
}

// The C library runs the destructors of keys in four rounds, after those of thread-local variables. This one does its
// work in the third, so that what other keys' destructors still lock is covered; the last belongs to tools that end the
// thread's own life there.
constexpr int c_EndRound = PTHREAD_DESTRUCTOR_ITERATIONS - 1;

void atThreadEnd(void* argument) noexcept
{
    Parking* const own = static_cast<Parking*>(argument);
    if (++own->endRounds < c_EndRound)
    {
        pthread_setspecific(s_endKey, own);
        return;
    }
    endThread(*own);
    giveParkingBack(*own);
}

Parking& makeParking() noexcept
{
    NoSuspend const guard;
    [[maybe_unused]] static bool const s_isKeyMade = pthread_key_create(&s_endKey, atThreadEnd) == 0;
    s_parkingLock.lock();
    Parking* own = s_freeParkings;
    if (own != nullptr)
    {
        s_freeParkings = own->nextFree;
    }
    s_parkingLock.unlock();
    if (own == nullptr)
    {
        // Without memory for the first wait of a thread there is no way on: the process ends here.
        own = new Parking;
    }
    own->threadId = GetCurrentThreadId();
    own->endRounds = 0;
    own->thread = nullptr;
    own->operation = nullptr;
    own->hasOwnedMutex.store(false, std::memory_order_relaxed);
    currentParking() = own;
    pthread_setspecific(s_endKey, own);
    return *own;
}

// ---- hand-over

// The last step of locking all members of a wait for all: decides the wait if nobody else has.
bool decide(WaitOperation& operation, std::uint32_t result) noexcept
{
    std::uint32_t waiting = WaitOperation::c_Waiting;
    return operation.state.compare_exchange_strong(waiting, result, std::memory_order_acq_rel,
                                                   std::memory_order_relaxed);
}

// Locks the members from `index` on (`held` is locked already), and, if all are signalled and the wait is still open,
// takes them all. The waiter cannot leave meanwhile: to take its nodes back it needs the lock bits that are held here.
bool takeAll(WaitOperation& operation, Locked& held, std::uint32_t index, std::uint32_t result) noexcept
{
    if (index == operation.count)
    {
        return decide(operation, result);
    }
    KernelObject& member = *operation.objects[index];
    auto const takeMember = [&](Locked& locked)
    {
        if (!isSignalled(locked.word, operation.parking->threadId))
        {
            operation.hint = index;
            return false;
        }
        WaitNode& node = operation.nodes[index];
        Parking& waiter = *operation.parking;
        std::uint32_t const abandoned = isAbandoned(locked.word) ? WAIT_ABANDONED_0 : 0;
        if (!takeAll(operation, held, index + 1, result | abandoned))
        {
            return false;
        }
        take(locked, waiter);
        unlink(locked, node);
        return true;
    };
    if (&member == &held.object())
    {
        return takeMember(held);
    }
    Locked locked(member);
    return takeMember(locked);
}

// A look without locks: most signals on a member of a wait for all find another member missing.
bool mayTakeAll(WaitOperation& operation, KernelObject const& held) noexcept
{
    for (std::uint32_t step = 0; step < operation.count; ++step)
    {
        std::uint32_t const index = (operation.hint + step) % operation.count;
        KernelObject const& member = *operation.objects[index];
        if (&member != &held && !isSignalled(member.word.load(std::memory_order_acquire), operation.parking->threadId))
        {
            operation.hint = index;
            return false;
        }
    }
    return true;
}
} // namespace

// ---- the lock bit

Locked::Locked(KernelObject& object) noexcept : m_object(&object)
{
    int spins = 0;
    for (;;)
    {
        word = object.word.load(std::memory_order_relaxed);
        if ((word & Word::c_Locked) != 0)
        {
            awaitUnlock(object, word, spins);
        }
        else if (object.word.compare_exchange_weak(word, word | Word::c_Locked, std::memory_order_acquire,
                                                   std::memory_order_relaxed))
        {
            return;
        }
    }
}

Locked::Locked(ObjectRef const& ref) noexcept
{
    int spins = 0;
    for (;;)
    {
        word = ref.object->word.load(std::memory_order_relaxed);
        if ((word & Word::c_GenerationMask) != ref.generation || Word::kind(word) == Kind::Free)
        {
            return;
        }
        if ((word & Word::c_Locked) != 0)
        {
            awaitUnlock(*ref.object, word, spins);
        }
        else if (ref.object->word.compare_exchange_weak(word, word | Word::c_Locked, std::memory_order_acquire,
                                                        std::memory_order_relaxed))
        {
            m_object = ref.object;
            return;
        }
    }
}

void Locked::unlock() noexcept
{
    KernelObject& object = *m_object;
    m_object = nullptr;
    std::uint64_t const before = object.word.exchange(word, std::memory_order_acq_rel);
    if ((before & Word::c_Contended) != 0)
    {
        futexWake(lowHalf(object), INT_MAX);
    }
}

FutexMutex& globalLock() noexcept
{
    return s_globalLock;
}

// ---- waking

void WakeList::add(Parking& parking) noexcept
{
    if (parking.token.exchange(2, std::memory_order_acq_rel) != 1)
    {
        return; // awake: it looks before it sleeps
    }
    if (m_count == c_Capacity)
    {
        flush();
    }
    m_parkings[m_count++] = &parking;
}

void WakeList::flush() noexcept
{
    for (unsigned int i = 0; i < m_count; ++i)
    {
        futexWake(addressOf(m_parkings[i]->token), 1);
    }
    m_count = 0;
}

// ---- lists

void link(Locked& held, WaitNode& node) noexcept
{
    KernelObject& object = held.object();
    node.next = nullptr;
    node.previous = object.last;
    (object.last != nullptr ? object.last->next : object.first) = &node;
    object.last = &node;
    node.isLinked = true;
    held.word |= Word::c_Waiters;
    if (node.operation->aim != WaitOperation::Aim::Any)
    {
        ++object.allWaiters;
        held.word |= Word::c_AllWaiters;
    }
}

void unlink(Locked& held, WaitNode& node) noexcept
{
    KernelObject& object = held.object();
    (node.previous != nullptr ? node.previous->next : object.first) = node.next;
    (node.next != nullptr ? node.next->previous : object.last) = node.previous;
    node.isLinked = false;
    if (node.operation->aim != WaitOperation::Aim::Any && --object.allWaiters == 0)
    {
        held.word &= ~Word::c_AllWaiters;
    }
    if (object.first == nullptr)
    {
        held.word &= ~Word::c_Waiters;
    }
}

// ---- what signalled means

bool isSignalled(std::uint64_t word, std::uint32_t threadId) noexcept
{
    std::uint32_t const value = Word::value(word);
    return Word::kind(word) == Kind::Mutex ? value == 0 || value == threadId : value != 0;
}

std::uint64_t takenWord(std::uint64_t word, std::uint32_t threadId) noexcept
{
    switch (Word::kind(word))
    {
    case Kind::AutoEvent:
        return Word::withValue(word, 0);
    case Kind::Semaphore:
        return word - Word::c_ValueOne;
    case Kind::Mutex:
        return Word::withValue(word & ~Word::c_Abandoned, threadId);
    default:
        return word;
    }
}

void take(Locked& held, Parking& parking) noexcept
{
    if (Word::kind(held.word) == Kind::Mutex)
    {
        std::atomic<std::uint32_t>& recursion = held.object().recursion;
        recursion.store(recursion.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        parking.hasOwnedMutex.store(true, std::memory_order_relaxed);
    }
    held.word = takenWord(held.word, parking.threadId);
}

void distribute(Locked& held, WakeList& wakes) noexcept
{
    WaitNode* next = held.object().first;
    while (next != nullptr)
    {
        WaitNode& node = *next;
        WaitOperation& operation = *node.operation;
        Parking& waiter = *operation.parking;
        if (!isSignalled(held.word, waiter.threadId))
        {
            return;
        }
        next = node.next;
        if (held.isPulsed && operation.isLook)
        {
            continue;
        }
        if (operation.aim == WaitOperation::Aim::Poke)
        {
            wakes.add(waiter);
        }
        else if (operation.aim == WaitOperation::Aim::Any)
        {
            // Out of the list first: the wait's frame is gone soon after it is decided.
            std::uint32_t const result = node.index | (isAbandoned(held.word) ? WAIT_ABANDONED_0 : 0);
            unlink(held, node);
            if (decide(operation, result))
            {
                take(held, waiter);
                wakes.add(waiter);
            }
        }
        else if (mayTakeAll(operation, held.object()) && takeAll(operation, held, 0, WAIT_OBJECT_0))
        {
            wakes.add(waiter);
        }
    }
}

// ---- objects

KernelObject* createObject(Kind kind, std::uint32_t value) noexcept
{
    s_tableLock.lock();
    KernelObject* const object = newObject();
    s_objectsAlive += object != nullptr ? 1u : 0u;
    s_tableLock.unlock();
    if (object != nullptr)
    {
        // A late reader of an older generation may still lock the word for a moment.
        Locked held(*object);
        object->references = 1;
        object->recursion.store(0, std::memory_order_relaxed);
        held.word = Word::withValue(held.word & Word::c_GenerationMask, value) | static_cast<std::uint64_t>(kind)
                                                                                     << Word::c_KindShift;
    }
    return object;
}

void releaseReference(KernelObject& object) noexcept
{
    Locked held(object);
    releaseReference(held);
}

void releaseReference(Locked& held) noexcept
{
    KernelObject& object = held.object();
    if (--object.references != 0)
    {
        return;
    }
    ThreadRecord* const thread = object.thread;
    NamedObject* const named = object.named;
    SnapshotRecord* const snapshot = object.snapshot;
    object.thread = nullptr;
    object.named = nullptr;
    object.snapshot = nullptr;
    int const descriptor = std::exchange(object.descriptor, -1);
    held.word = (held.word + (1ull << Word::c_GenerationShift)) & Word::c_GenerationMask;
    held.unlock();
    if (thread != nullptr)
    {
        closeThread(thread);
    }
    if (named != nullptr)
    {
        closeNamed(named);
    }
    if (snapshot != nullptr)
    {
        closeSnapshot(snapshot);
    }
    if (descriptor >= 0)
    {
        close(descriptor);
    }
    s_tableLock.lock();
    object.nextFree = s_freeObjects;
    s_freeObjects = &object;
    --s_objectsAlive;
    s_tableLock.unlock();
}

void abandonMutexes(std::uint32_t threadId) noexcept
{
    abandonNamedMutexes(threadId);
    s_tableLock.lock();
    std::uint32_t const count = s_objectsMade;
    s_tableLock.unlock();
    for (std::uint32_t i = 0; i < count; ++i)
    {
        KernelObject& object = objectAt(i);
        std::uint64_t const word = object.word.load(std::memory_order_acquire);
        if (Word::kind(word) != Kind::Mutex || Word::value(word) != threadId)
        {
            continue;
        }
        changeObject(
            {&object, word & Word::c_GenerationMask},
            [&](Locked& held)
            {
                if (Word::value(held.word) != threadId)
                {
                    return static_cast<DWORD>(ERROR_NOT_OWNER);
                }
                object.recursion.store(0, std::memory_order_relaxed);
                held.word = Word::withValue(held.word, 0) | Word::c_Abandoned;
                return static_cast<DWORD>(ERROR_SUCCESS);
            },
            [](Locked&) {});
    }
}

void signalObject(KernelObject& object) noexcept
{
    changeObject(
        {&object, object.word.load(std::memory_order_relaxed) & Word::c_GenerationMask},
        [](Locked& held)
        {
            held.word = Word::withValue(held.word, 1);
            return static_cast<DWORD>(ERROR_SUCCESS);
        },
        [](Locked&) {});
}

Parking& parking() noexcept
{
    Parking* const own = currentParking();
    return own != nullptr ? *own : makeParking();
}

Parking* existingParking() noexcept
{
    return currentParking();
}

void giveParkingBack(Parking& own) noexcept
{
    NoSuspend const guard;
    currentParking() = nullptr;
    s_parkingLock.lock();
    own.nextFree = s_freeParkings;
    s_freeParkings = &own;
    s_parkingLock.unlock();
}

// ---- handles

HANDLE openHandle(KernelObject& object) noexcept
{
    std::uint64_t const generation =
        (object.word.load(std::memory_order_relaxed) & Word::c_GenerationMask) >> Word::c_GenerationShift;
    s_tableLock.lock();
    std::uint32_t const index = newHandleIndex();
    if (index == 0)
    {
        s_tableLock.unlock();
        releaseReference(object);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    std::atomic<std::uint64_t>& entry = entryAt(index);
    std::uint64_t const use = entry.load(std::memory_order_relaxed) >> c_EntryUseShift;
    entry.store(makeEntry(use, generation, object.poolIndex + 1), std::memory_order_release);
    ++s_handlesOpen;
    s_tableLock.unlock();
    return reinterpret_cast<HANDLE>(use << c_HandleUseShift | static_cast<std::uint64_t>(index) << c_HandleIndexShift);
}

ObjectRef findObject(HANDLE handle) noexcept
{
    HandlePlace const place = placeOf(handle);
    if (place.index == 0)
    {
        return {};
    }
    std::uint64_t const entry = entryAt(place.index).load(std::memory_order_acquire);
    if (entry >> c_EntryUseShift != place.use || (entry & c_IndexMask) == 0)
    {
        return {};
    }
    return objectOf(entry);
}

namespace
{
// Takes the handle out of the table: the object that it named, with the handle's reference, or empty.
ObjectRef closeEntry(HANDLE handle) noexcept
{
    HandlePlace const place = placeOf(handle);
    if (place.index == 0)
    {
        return {};
    }
    ObjectRef closed;
    s_tableLock.lock();
    std::atomic<std::uint64_t>& slot = entryAt(place.index);
    std::uint64_t const entry = slot.load(std::memory_order_relaxed);
    if (entry >> c_EntryUseShift == place.use && (entry & c_IndexMask) != 0)
    {
        closed = objectOf(entry);
        slot.store(makeEntry(place.use + 1, s_firstFreeHandle, 0), std::memory_order_relaxed);
        s_firstFreeHandle = place.index;
        --s_handlesOpen;
    }
    s_tableLock.unlock();
    return closed;
}

HANDLE const c_CurrentProcess = reinterpret_cast<HANDLE>(~static_cast<std::uintptr_t>(0));
HANDLE const c_CurrentThread = reinterpret_cast<HANDLE>(~static_cast<std::uintptr_t>(1));
} // namespace
} // namespace posix

using namespace posix;

BOOL CloseHandle(HANDLE handle) noexcept
{
    if (handle == c_CurrentProcess || handle == c_CurrentThread)
    {
        return TRUE;
    }
    NoSuspend const guard;
    ObjectRef const ref = closeEntry(handle);
    if (!ref)
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    Locked held(ref);
    if (held.isHeld())
    {
        releaseReference(held);
    }
    return TRUE;
}

BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, HANDLE* target, DWORD, BOOL,
                     DWORD options) noexcept
{
    if (target != nullptr)
    {
        *target = nullptr;
    }
    if ((options & ~(DUPLICATE_CLOSE_SOURCE | DUPLICATE_SAME_ACCESS)) != 0)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    if (sourceProcess != c_CurrentProcess || targetProcess != c_CurrentProcess)
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    if (source == c_CurrentProcess)
    {
        // No object stands behind it: the value is its own duplicate.
        if (target != nullptr)
        {
            *target = source;
        }
        return TRUE;
    }
    NoSuspend const guard;
    ObjectRef ref = findObject(source);
    if (!ref)
    {
        ref = findPseudoHandle(source);
    }
    if (!ref)
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    if (target != nullptr)
    {
        {
            Locked held(ref);
            if (!held.isHeld())
            {
                return fail(ERROR_INVALID_HANDLE);
            }
            ++held.object().references;
        }
        *target = openHandle(*ref.object);
        if (*target == nullptr)
        {
            return FALSE;
        }
    }
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0)
    {
        CloseHandle(source);
    }
    return TRUE;
}

HANDLE GetCurrentProcess() noexcept
{
    return c_CurrentProcess;
}

DWORD GetCurrentProcessId() noexcept
{
    return static_cast<DWORD>(getpid());
}

unsigned int PlatformTest::GetHandleCount() noexcept
{
    NoSuspend const guard;
    s_tableLock.lock();
    unsigned int const count = s_handlesOpen;
    s_tableLock.unlock();
    return count;
}

unsigned int PlatformTest::GetObjectCount() noexcept
{
    NoSuspend const guard;
    s_tableLock.lock();
    unsigned int const count = s_objectsAlive;
    s_tableLock.unlock();
    return count;
}
