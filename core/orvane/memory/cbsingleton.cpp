#include "orvane/memory/cbsingleton.h"

#include <iterator>
#include <new>

#include "mfc/cstringt.h"
#include "orvane/text/typetext.h"

namespace
{
constexpr char c_ClassPrefix[] = "class ";

constinit std::atomic<unsigned int> s_count = 0;
constinit std::atomic<Singleton::FnLogListener> s_listener = nullptr;

// The name as the lines show it. Six characters go wherever the prefix stands: log readers know the names so.
std::string shownName(char const* name)
{
    std::string shown = name != nullptr ? name : "";
    if (shown.find(c_ClassPrefix) != std::string::npos)
    {
        shown.erase(0, std::size(c_ClassPrefix) - 1);
    }
    return shown;
}

// Empty for an unknown event.
CStringW compose(Singleton::ELogEvent event, CStringW const& name)
{
    CStringW const head = L"Singleton instance '" + name;
    switch (event)
    {
    case Singleton::eInstanceCreated:
        return head + L"': created.";
    case Singleton::eInstanceDestroying:
        return head + L"': being destroyed...";
    case Singleton::eInstanceDestroyed:
        return head + L"': destroyed.";
    case Singleton::eAllDestroyed:
        return L"All singleton instances destroyed.\n";
    default:
        return CStringW();
    }
}
} // namespace

namespace Singleton
{
FnLogListener SetLogListener(FnLogListener listener)
{
    return s_listener.exchange(listener);
}

CbCriticalSection& GetCriticalSectionSingleton()
{
    alignas(CbCriticalSection) static unsigned char s_memory[sizeof(CbCriticalSection)];
    static CbCriticalSection& s_section = *new (s_memory) CbCriticalSection;
    return s_section;
}

unsigned int GetSingletonCount()
{
    return s_count;
}

void IncrementSingletonCounter(char const* name)
{
    ++s_count;
    Log(eInstanceCreated, name);
}

void DecrementSingletonCounter(char const* name)
{
    unsigned int const left = --s_count;
    Log(eInstanceDestroyed, name);
    if (left == 0)
    {
        Log(eAllDestroyed, nullptr);
    }
}

void Log(ELogEvent event, char const* name)
{
    // Composed whether or not there is someone to take it.
    CStringW const line = compose(event, CStringW(shownName(name).c_str()));
    FnLogListener const listener = s_listener;
    if (listener != nullptr && !line.IsEmpty())
    {
        listener(event, line);
    }
}

bool IsStaticInit()
{
    return false;
}

namespace detail
{
std::string GetTypeName(std::type_info const& type)
{
    return c_ClassPrefix + ::detail::readableTypeName(type);
}
} // namespace detail
} // namespace Singleton
