// Process-wide objects: one of each class, made when it is first asked for, destroyed when the process ends.

#ifndef ORVANE_MEMORY_CBSINGLETON_H
#define ORVANE_MEMORY_CBSINGLETON_H

#include <atomic>
#include <cstdlib>
#include <string>
#include <typeinfo>

#include "orvane/export.h"
#include "orvane/sync/cbcriticalsection.h"

namespace Singleton
{
enum ELogEvent : unsigned int
{
    eInstanceCreated = 0,
    eInstanceDestroying = 1,
    eInstanceDestroyed = 2,
    eAllDestroyed = 3
};

/// Receives the report lines of singletons; must not raise. Creation is reported under the singleton lock, destruction
/// under no lock, while the process ends or the singleton's module is unloaded.
using FnLogListener = void (*)(ELogEvent event, wchar_t const* line);

/// Gives the report lines to `listener` from now on, and answers the one before. Null, as at the beginning, discards them.
/// Threads: any. A report that is on its way may still reach the one before.
ORVANE_API FnLogListener SetLogListener(FnLogListener listener);

/// The lock under which singletons are made; recursive, so that the constructor of one may ask for another. Never
/// destroyed: static destructors of any module may still ask for singletons.
ORVANE_API CbCriticalSection& GetCriticalSectionSingleton();

/// The singletons that exist, of all classes. A snapshot where other threads make some.
ORVANE_API unsigned int GetSingletonCount();

/// Counts one up and reports it as created. For CbSingleton.
ORVANE_API void IncrementSingletonCounter(char const* name);

/// Counts one down and reports it as destroyed; where none is left, that too. For CbSingleton.
ORVANE_API void DecrementSingletonCounter(char const* name);

/// Composes the report line of an event and gives it to the listener; nothing for an unknown event. A name that holds
/// "class " anywhere loses its first six characters, whatever they are; null stands for an empty one.
ORVANE_API void Log(ELogEvent event, char const* name);

/// Whether static initialisation is under way: never.
ORVANE_API bool IsStaticInit();

namespace detail
{
/// The name of a class as singletons report it: "class " and the readable name, with every compiler.
ORVANE_API std::string GetTypeName(std::type_info const& type);
} // namespace detail
} // namespace Singleton

/// The one object of class T in the process.
///
/// It is made by the default constructor of T at the first request and destroyed when the process ends, or when the module
/// that made it is unloaded: those of one module in the reverse order of their first requests. A request after that makes
/// a new object, which is not destroyed again. T may derive from CbSingleton<T>, and may keep its constructor and its
/// destructor to itself and to this class as a friend.
/// A client's own T has an object in each module that asks, unless one exports the instantiation as the library does:
/// `extern template class API CbSingleton<T>;` before T in the header, `template class CbSingleton<T>;` in one source.
template <class T>
class CbSingleton
{
public:
    /// The object; the first request makes it.
    /// Raises: what the constructor of T raises; the next request tries again.
    /// Threads: any. Requests after the first take no lock. Making it holds the singleton lock.
    static T& GetInstance();

    /// Whether there is an object.
    /// Threads: any; takes the singleton lock.
    static bool HasInstance();

protected:
    CbSingleton();

    // Set under the singleton lock, cleared without it at the end.
    static T* s_pInstance;

private:
    // Takes no lock: a thread that the end of the process stopped may be inside.
    static void destroy();
};

template <class T>
T* CbSingleton<T>::s_pInstance = nullptr;

template <class T>
CbSingleton<T>::CbSingleton() = default;

template <class T>
T& CbSingleton<T>::GetInstance()
{
    // A plain read on this target; what the maker wrote to the object is visible with the pointer.
    std::atomic_ref<T*> const instance(s_pInstance);
    T* present = instance.load(std::memory_order_acquire);
    if (present != nullptr)
    {
        return *present;
    }

    CbCriticalSectionAuto const holder(Singleton::GetCriticalSectionSingleton());
    // Before the object is made, so that those whom its constructor asks for go before it, and only once.
    [[maybe_unused]] static int const s_isRefused = std::atexit(&destroy);
    present = instance.load(std::memory_order_acquire);
    if (present == nullptr)
    {
        std::string const name = Singleton::detail::GetTypeName(typeid(T));
        present = new T();
        instance.store(present, std::memory_order_release);
        Singleton::IncrementSingletonCounter(name.c_str());
    }
    return *present;
}

template <class T>
bool CbSingleton<T>::HasInstance()
{
    CbCriticalSectionAuto const holder(Singleton::GetCriticalSectionSingleton());
    return std::atomic_ref<T*>(s_pInstance).load(std::memory_order_acquire) != nullptr;
}

template <class T>
void CbSingleton<T>::destroy()
{
    if (s_pInstance == nullptr)
    {
        return;
    }
    std::string const name = Singleton::detail::GetTypeName(typeid(T));
    Singleton::Log(Singleton::eInstanceDestroying, name.c_str());
    delete s_pInstance;
    std::atomic_ref<T*>(s_pInstance).store(nullptr, std::memory_order_release);
    Singleton::DecrementSingletonCounter(name.c_str());
}

#endif // ORVANE_MEMORY_CBSINGLETON_H
