// Events, mutexes and semaphores: creation, and the changes that signal them.

#include <string>

#include "kernelobject.h"
#include "nosuspend.h"

using namespace posix;

namespace
{
bool isNamed(wchar_t const* name) noexcept
{
    return name != nullptr && *name != L'\0';
}

// One new unnamed object behind one handle. The last error is 0 afterwards, as for a named object that is made anew.
HANDLE createUnnamed(Kind kind, std::uint32_t value, std::uint32_t maximum) noexcept
{
    NoSuspend const guard;
    KernelObject* const object = createObject(kind, value);
    if (object == nullptr)
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    object->maximum = maximum;
    if (kind == Kind::Mutex && value != 0)
    {
        object->recursion.store(1, std::memory_order_relaxed);
        parking().hasOwnedMutex.store(true, std::memory_order_relaxed);
    }
    HANDLE const handle = openHandle(*object);
    if (handle != nullptr)
    {
        SetLastError(ERROR_SUCCESS);
    }
    return handle;
}

HANDLE create(SECURITY_ATTRIBUTES const* security, Kind kind, wchar_t const* name, std::uint32_t value,
              std::uint32_t maximum) noexcept
{
    if (security != nullptr)
    {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    return isNamed(name) ? createNamed(kind, name, value, maximum) : createUnnamed(kind, value, maximum);
}

// Names are at most this long, the final null included; a longer one is refused further on.
constexpr int c_NameRoom = 1024;

// A narrow name as a wide one: `create(wide)` with null for no name.
template <class Create>
HANDLE withWideName(char const* name, Create const& create) noexcept
{
    if (name == nullptr || *name == '\0')
    {
        return create(nullptr);
    }
    wchar_t wide[c_NameRoom];
    if (MultiByteToWideChar(CP_ACP, 0, name, -1, wide, c_NameRoom) == 0)
    {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return nullptr;
    }
    return create(wide);
}

// The object as a call of one kind wants it.
template <class IsWanted>
ObjectRef findKind(HANDLE handle, std::uint64_t& word, IsWanted const& isWanted) noexcept
{
    ObjectRef const ref = findObject(handle);
    if (ref)
    {
        word = ref.object->word.load(std::memory_order_relaxed);
        if ((word & Word::c_GenerationMask) == ref.generation && isWanted(word))
        {
            return ref;
        }
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return {};
}

// A named object of one of these kinds counts as one of them; which it is, its own calls find out.
bool isEvent(std::uint64_t word) noexcept
{
    Kind const kind = Word::kind(word);
    return kind == Kind::ManualEvent || kind == Kind::AutoEvent || kind == Kind::Named;
}

bool isMutex(std::uint64_t word) noexcept
{
    return Word::kind(word) == Kind::Mutex || Word::kind(word) == Kind::Named;
}

bool isSemaphore(std::uint64_t word) noexcept
{
    return Word::kind(word) == Kind::Semaphore || Word::kind(word) == Kind::Named;
}

BOOL report(DWORD error) noexcept
{
    return error == ERROR_SUCCESS ? TRUE : fail(error);
}

// Sets an event's value, and puts it back to 0 after the hand-over where `isPulse`.
BOOL changeEvent(HANDLE event, std::uint32_t value, bool isPulse) noexcept
{
    std::uint64_t word = 0;
    ObjectRef const ref = findKind(event, word, isEvent);
    if (!ref)
    {
        return FALSE;
    }
    if (Word::kind(word) == Kind::Named)
    {
        NoSuspend const guard;
        return report(changeNamedEvent(ref, value != 0, isPulse));
    }
    // The word is written even where it already says so: the write is what carries the caller's earlier writes to whoever
    // takes the signal next.
    while (!isPulse && (word & (Word::c_Locked | Word::c_Waiters)) == 0 &&
           (word & Word::c_GenerationMask) == ref.generation)
    {
        if (ref.object->word.compare_exchange_weak(word, Word::withValue(word, value), std::memory_order_acq_rel,
                                                   std::memory_order_relaxed))
        {
            return TRUE;
        }
    }
    NoSuspend const guard;
    return report(changeObject(
        ref,
        [&](Locked& held)
        {
            held.word = Word::withValue(held.word, value);
            held.isPulsed = isPulse;
            return static_cast<DWORD>(ERROR_SUCCESS);
        },
        [&](Locked& held)
        {
            if (isPulse)
            {
                held.word = Word::withValue(held.word, 0);
            }
        }));
}
} // namespace

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCWSTR name) noexcept
{
    return create(security, manualReset != FALSE ? Kind::ManualEvent : Kind::AutoEvent, name,
                  initialState != FALSE ? 1 : 0, 0);
}

HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initialOwner, LPCWSTR name) noexcept
{
    return create(security, Kind::Mutex, name, initialOwner != FALSE ? GetCurrentThreadId() : 0, 0);
}

HANDLE CreateMutexA(SECURITY_ATTRIBUTES* security, BOOL initialOwner, LPCSTR name) noexcept
{
    return withWideName(name, [&](wchar_t const* wide) { return CreateMutexW(security, initialOwner, wide); });
}

HANDLE CreateSemaphoreW(SECURITY_ATTRIBUTES* security, LONG initial, LONG maximum, LPCWSTR name) noexcept
{
    if (initial < 0 || maximum <= 0 || initial > maximum)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return create(security, Kind::Semaphore, name, static_cast<std::uint32_t>(initial),
                  static_cast<std::uint32_t>(maximum));
}

HANDLE CreateSemaphoreA(SECURITY_ATTRIBUTES* security, LONG initial, LONG maximum, LPCSTR name) noexcept
{
    return withWideName(name, [&](wchar_t const* wide) { return CreateSemaphoreW(security, initial, maximum, wide); });
}

BOOL SetEvent(HANDLE event) noexcept
{
    return changeEvent(event, 1, false);
}

BOOL ResetEvent(HANDLE event) noexcept
{
    return changeEvent(event, 0, false);
}

BOOL PulseEvent(HANDLE event) noexcept
{
    return changeEvent(event, 1, true);
}

BOOL ReleaseMutex(HANDLE mutex) noexcept
{
    std::uint64_t word = 0;
    ObjectRef const ref = findKind(mutex, word, isMutex);
    if (!ref)
    {
        return FALSE;
    }
    if (Word::kind(word) == Kind::Named)
    {
        NoSuspend const guard;
        return report(releaseNamedMutex(ref));
    }
    // Only the owner may go on from here, and nobody but the owner changes what it looks at then.
    if (Word::value(word) != GetCurrentThreadId())
    {
        return fail(ERROR_NOT_OWNER);
    }
    std::uint32_t const recursion = ref.object->recursion.load(std::memory_order_relaxed) - 1;
    ref.object->recursion.store(recursion, std::memory_order_relaxed);
    if (recursion != 0)
    {
        return TRUE;
    }
    while ((word & (Word::c_Locked | Word::c_Waiters)) == 0)
    {
        if (ref.object->word.compare_exchange_weak(word, Word::withValue(word, 0), std::memory_order_acq_rel,
                                                   std::memory_order_relaxed))
        {
            return TRUE;
        }
    }
    NoSuspend const guard;
    return report(changeObject(
        ref,
        [](Locked& held)
        {
            held.word = Word::withValue(held.word, 0);
            return static_cast<DWORD>(ERROR_SUCCESS);
        },
        [](Locked&) {}));
}

BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LONG* previous) noexcept
{
    std::uint64_t word = 0;
    ObjectRef const ref = findKind(semaphore, word, isSemaphore);
    if (!ref)
    {
        return FALSE;
    }
    if (count <= 0)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    std::uint32_t const added = static_cast<std::uint32_t>(count);
    std::uint32_t before = 0;
    NoSuspend const guard;
    DWORD const error = Word::kind(word) == Kind::Named
                            ? releaseNamedSemaphore(ref, added, before)
                            : changeObject(
                                  ref,
                                  [&](Locked& held)
                                  {
                                      before = Word::value(held.word);
                                      if (added > held.object().maximum - before)
                                      {
                                          return static_cast<DWORD>(ERROR_TOO_MANY_POSTS);
                                      }
                                      held.word = Word::withValue(held.word, before + added);
                                      return static_cast<DWORD>(ERROR_SUCCESS);
                                  },
                                  [](Locked&) {});
    if (error == ERROR_SUCCESS && previous != nullptr)
    {
        *previous = static_cast<LONG>(before);
    }
    return report(error);
}
