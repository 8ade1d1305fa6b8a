#include "named.h"

#include <new>
#include <optional>
#include <string_view>

#include "nosuspend.h"

namespace posix
{
namespace
{
constexpr DWORD c_ErrorBadPathName = 161;
constexpr std::size_t c_MaximumLength = 260;
constexpr std::uint32_t c_Buckets = 256;

constinit FutexMutex s_lock;

// All of these are guarded by s_lock.
constinit NamedObject* s_table[c_Buckets]{};
constinit NamedObject* s_owned = nullptr; // closed while a thread of this process owned the mutex
constinit bool s_isForkHeard = false;

class TableLock
{
public:
    TableLock() noexcept
    {
        s_lock.lock();
    }

    TableLock(TableLock const&) = delete;
    TableLock& operator=(TableLock const&) = delete;

    ~TableLock()
    {
        s_lock.unlock();
    }
};

NamedObject*& bucketOf(std::uint64_t hash) noexcept
{
    return s_table[hash % c_Buckets];
}

// ---- names

DWORD checkName(wchar_t const* text, std::wstring_view& name) noexcept
{
    std::wstring_view const whole(text);
    std::size_t units = whole.size(); // of UTF-16, as Windows counts
    for (wchar_t const character : whole)
    {
        units += character > 0xFFFF ? 1 : 0;
    }
    if (units > c_MaximumLength)
    {
        return ERROR_FILENAME_EXCED_RANGE;
    }
    name = whole;
    for (std::wstring_view const prefix : {std::wstring_view(L"Local\\"), std::wstring_view(L"Global\\")})
    {
        if (whole.starts_with(prefix))
        {
            name = whole.substr(prefix.size());
            break;
        }
    }
    if (name.empty())
    {
        return ERROR_INVALID_NAME;
    }
    if (name.find(L'\\') != std::wstring_view::npos)
    {
        return whole.front() == L'\\' ? c_ErrorBadPathName : ERROR_PATH_NOT_FOUND;
    }
    return ERROR_SUCCESS;
}

// ---- forks

// The lock is held over a fork, so that the child finds the table whole.
std::optional<NoSuspend>& forkGuard() noexcept
{
    static std::optional<NoSuspend> s_guard;
    return s_guard;
}

void beforeFork()
{
    NoSuspend const guard;
    s_lock.lock();
    forkGuard().emplace();
    noteFork();
}

void afterFork()
{
    NoSuspend const guard;
    forkGuard().reset();
    s_lock.unlock();
}

void hearForks() noexcept
{
    if (!s_isForkHeard)
    {
        s_isForkHeard = pthread_atfork(beforeFork, afterFork, afterFork) == 0;
    }
}

// ---- the table

// The thread that took the mutex through this process's memory still owns it.
bool isStillOwned(NamedObject const& named) noexcept
{
    std::uint32_t const owner = named.localOwner.load(std::memory_order_relaxed);
    return owner != 0 && named.use.object->ownerId() == owner;
}

// Gives back the memory of mutexes that were owned beyond their last handle and are not any more.
void freeReleased() noexcept
{
    NamedObject** place = &s_owned;
    while (*place != nullptr)
    {
        NamedObject* const named = *place;
        if (isStillOwned(*named))
        {
            place = &named->next;
            continue;
        }
        *place = named->next;
        unmapName(named->use);
        delete named;
    }
}

// The C library and the kernel know an owned mutex by its address: a name that is opened again while a thread of this
// process owns its mutex gets the memory that it had.
void adoptOwned(NamedObject& named) noexcept
{
    NamedObject** place = &s_owned;
    while (*place != nullptr &&
           ((*place)->use.inode != named.use.inode || (*place)->use.slot != named.use.slot || !isStillOwned(**place)))
    {
        place = &(*place)->next;
    }
    NamedObject* const owned = *place;
    if (owned == nullptr)
    {
        return;
    }
    std::swap(named.use.file, owned->use.file);
    std::swap(named.use.object, owned->use.object);
    named.localOwner.store(owned->localOwner.load(std::memory_order_relaxed), std::memory_order_relaxed);
    *place = owned->next;
    unmapName(owned->use);
    delete owned;
}

void removeNamed(NamedObject& named) noexcept
{
    NamedObject** place = &bucketOf(named.use.hash);
    while (*place != &named)
    {
        place = &(*place)->next;
    }
    *place = named.next;
    closeName(named.use);
    // An owned mutex stays where it is until its owner has ended.
    named.next = s_owned;
    s_owned = &named;
    freeReleased();
    sweepNames();
}

NamedObject* findNamed(std::wstring_view name) noexcept
{
    std::uint64_t const hash = hashOfName(name);
    NamedObject* named = bucketOf(hash);
    while (named != nullptr && (named->use.hash != hash || !isName(named->use, name)))
    {
        named = named->next;
    }
    return named;
}

DWORD addNamed(std::wstring_view name, ObjectSetup const& setup, NamedObject*& named, bool& isNew) noexcept
{
    hearForks();
    sweepNames();
    freeReleased();
    named = new (std::nothrow) NamedObject;
    if (named == nullptr)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    DWORD const error = openName(name, setup, named->use, isNew);
    if (error != ERROR_SUCCESS)
    {
        delete named;
        return error;
    }
    if (isNew && setup.kind == Kind::Mutex && setup.value != 0)
    {
        named->localOwner.store(setup.value, std::memory_order_relaxed);
    }
    if (!isNew)
    {
        adoptOwned(*named);
    }
    named->next = bucketOf(named->use.hash);
    bucketOf(named->use.hash) = named;
    return ERROR_SUCCESS;
}

// Events are one kind to a name; how they are reset is the existing one's.
bool isSameKind(Kind one, Kind other) noexcept
{
    auto const ofName = [](Kind kind) { return kind == Kind::ManualEvent ? Kind::AutoEvent : kind; };
    return ofName(one) == ofName(other);
}

// One more reference to what handles name. A last handle that is being closed has given its object up already: the name
// gets another one.
KernelObject* referTo(NamedObject& named) noexcept
{
    if (named.object)
    {
        Locked held(named.object);
        if (held.isHeld())
        {
            ++held.object().references;
            return &held.object();
        }
    }
    KernelObject* const object = createObject(Kind::Named, 0);
    if (object == nullptr)
    {
        return nullptr;
    }
    Locked held(*object);
    object->named = &named;
    ++named.references;
    named.object = {object, held.word & Word::c_GenerationMask};
    return object;
}

// Finds or makes the object; it gets a reference more than the one for its handle.
DWORD openNamed(std::wstring_view name, ObjectSetup const& setup, KernelObject*& object, bool& isNew) noexcept
{
    TableLock const lock;
    NamedObject* named = findNamed(name);
    if (named == nullptr)
    {
        DWORD const error = addNamed(name, setup, named, isNew);
        if (error != ERROR_SUCCESS)
        {
            return error;
        }
    }
    DWORD error = ERROR_INVALID_HANDLE;
    if (isSameKind(named->use.object->kind(), setup.kind))
    {
        object = referTo(*named);
        if (object != nullptr)
        {
            Locked held(*object);
            ++held.object().references;
            return ERROR_SUCCESS;
        }
        error = ERROR_NOT_ENOUGH_MEMORY;
    }
    if (named->references == 0)
    {
        if (isStillOwned(*named))
        {
            named->use.object->releaseOwnership();
        }
        removeNamed(*named);
    }
    return error;
}

// The object that the handle names, locked against its last handle. Empty where it is of another kind.
template <class Change>
DWORD changeNamed(ObjectRef const& ref, Change const& change) noexcept
{
    Locked held(ref);
    return held.isHeld() && held.object().named != nullptr ? change(*held.object().named) : ERROR_INVALID_HANDLE;
}

bool isEventKind(Kind kind) noexcept
{
    return kind == Kind::ManualEvent || kind == Kind::AutoEvent;
}

template <class Visit>
void forEachNamed(Visit const& visit) noexcept
{
    for (NamedObject* named : s_table)
    {
        for (; named != nullptr; named = named->next)
        {
            visit(*named);
        }
    }
    for (NamedObject* named = s_owned; named != nullptr; named = named->next)
    {
        visit(*named);
    }
}

// A process that ends without closing its handles leaves no files. The memory stays: threads may still be at work.
[[gnu::destructor]] void closeNamesAtExit() noexcept
{
    NoSuspend const guard;
    TableLock const lock;
    forEachNamed([](NamedObject& named) { closeName(named.use); });
}
} // namespace

HANDLE createNamed(Kind kind, wchar_t const* text, std::uint32_t value, std::uint32_t maximum) noexcept
{
    std::wstring_view name;
    DWORD error = checkName(text, name);
    if (error != ERROR_SUCCESS)
    {
        SetLastError(error);
        return nullptr;
    }
    NoSuspend const guard;
    bool const isToBeOwned = kind == Kind::Mutex && value != 0;
    if (isToBeOwned)
    {
        parking().hasOwnedMutex.store(true, std::memory_order_relaxed);
    }
    KernelObject* object = nullptr;
    bool isNew = false;
    error = openNamed(name, {kind, value, maximum}, object, isNew);
    if (error != ERROR_SUCCESS)
    {
        SetLastError(error);
        return nullptr;
    }
    HANDLE const handle = openHandle(*object);
    if (handle != nullptr)
    {
        SetLastError(isNew ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    }
    else if (isNew && isToBeOwned)
    {
        releaseNamedMutex({object, object->word.load(std::memory_order_relaxed) & Word::c_GenerationMask});
    }
    releaseReference(*object);
    return handle;
}

DWORD changeNamedEvent(ObjectRef const& ref, bool set, bool pulse) noexcept
{
    return changeNamed(ref,
                       [&](NamedObject& named) -> DWORD
                       {
                           SharedObject& event = *named.use.object;
                           if (!isEventKind(event.kind()))
                           {
                               return ERROR_INVALID_HANDLE;
                           }
                           SharedLock const lock(event);
                           pulse ? event.pulse() : set ? event.set() : event.reset();
                           return ERROR_SUCCESS;
                       });
}

DWORD releaseNamedMutex(ObjectRef const& ref) noexcept
{
    return changeNamed(ref,
                       [](NamedObject& named) -> DWORD
                       {
                           SharedObject& mutex = *named.use.object;
                           if (mutex.kind() != Kind::Mutex)
                           {
                               return ERROR_INVALID_HANDLE;
                           }
                           if (mutex.ownerId() != GetCurrentThreadId())
                           {
                               return ERROR_NOT_OWNER;
                           }
                           named.localOwner.store(0, std::memory_order_relaxed);
                           if (!mutex.releaseOwnership())
                           {
                               named.localOwner.store(GetCurrentThreadId(), std::memory_order_relaxed);
                           }
                           return ERROR_SUCCESS;
                       });
}

DWORD releaseNamedSemaphore(ObjectRef const& ref, std::uint32_t count, std::uint32_t& previous) noexcept
{
    return changeNamed(ref,
                       [&](NamedObject& named) -> DWORD
                       {
                           SharedObject& semaphore = *named.use.object;
                           if (semaphore.kind() != Kind::Semaphore)
                           {
                               return ERROR_INVALID_HANDLE;
                           }
                           SharedLock const lock(semaphore);
                           return semaphore.release(count, previous);
                       });
}

bool takeNamed(NamedObject& named, std::uint32_t threadId, SharedObject::Moment begun) noexcept
{
    bool const isAbandoned = named.use.object->take(threadId, begun);
    if (named.use.object->kind() == Kind::Mutex)
    {
        named.localOwner.store(threadId, std::memory_order_relaxed);
        parking().hasOwnedMutex.store(true, std::memory_order_relaxed);
    }
    return isAbandoned;
}

void closeNamed(NamedObject* named) noexcept
{
    TableLock const lock;
    if (--named->references == 0)
    {
        removeNamed(*named);
    }
}

void abandonNamedMutexes(std::uint32_t threadId) noexcept
{
    NoSuspend const guard;
    TableLock const lock;
    forEachNamed(
        [&](NamedObject& named)
        {
            if (named.localOwner.load(std::memory_order_relaxed) == threadId && named.use.object->ownerId() == threadId)
            {
                named.localOwner.store(0, std::memory_order_relaxed);
                named.use.object->abandonOwnership();
            }
        });
}
} // namespace posix
