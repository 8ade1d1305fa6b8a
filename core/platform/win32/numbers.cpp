#include <cerrno>

#include "platform/export.h"
#include "platform/platform.h"

// _wcstod_l is declared by the toolchain's headers and exported by the C runtime's library, but missing from the import
// library. It is defined here under its link name: a definition under its own name would clash with the declaration,
// which says that it comes from another library.

namespace
{
using FnWcstod = double(__cdecl*)(wchar_t const*, wchar_t**, _locale_t);

FnWcstod findWcstod()
{
    const HMODULE runtime = GetModuleHandleW(L"msvcrt.dll");
    const FARPROC found = runtime != nullptr ? GetProcAddress(runtime, "_wcstod_l") : nullptr;
    return reinterpret_cast<FnWcstod>(reinterpret_cast<void*>(found));
}
} // namespace

extern "C"
{
    ORVANE_PLATFORM_API double orvaneWcstod(wchar_t const* text, wchar_t** end, _locale_t locale) __asm__("_wcstod_l");

    double orvaneWcstod(wchar_t const* text, wchar_t** end, _locale_t locale)
    {
        static const FnWcstod s_wcstod = findWcstod();
        if (s_wcstod == nullptr)
        {
            // A runtime without the function: no number, and the reason in errno.
            if (end != nullptr)
            {
                *end = const_cast<wchar_t*>(text);
            }
            errno = ENOSYS;
            return 0;
        }
        return s_wcstod(text, end, locale);
    }

    // What the declaration makes callers inside this library look for; those outside find it in the import library.
    extern FnWcstod const orvaneWcstodImport __asm__("__imp__wcstod_l");
    FnWcstod const orvaneWcstodImport = orvaneWcstod;
}
