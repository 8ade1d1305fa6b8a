// The exception that the string and time classes raise: a result code, thrown by value.

#ifndef ORVANE_MFC_CATLEXCEPTION_H
#define ORVANE_MFC_CATLEXCEPTION_H

#include "platform/export.h"
#include "platform/platform.h"

/// The result codes that the string and time classes raise, under names that no system header defines as a macro.
namespace AtlResult
{
inline constexpr HRESULT c_Fail = static_cast<HRESULT>(0x80004005U);        // unspecified failure
inline constexpr HRESULT c_OutOfMemory = static_cast<HRESULT>(0x8007000EU); // no memory
inline constexpr HRESULT c_InvalidArg = static_cast<HRESULT>(0x80070057U);  // an argument that cannot be used
} // namespace AtlResult

/// A failure told by a result code and nothing else. Thrown by value, caught by reference.
/// Threads: a plain value.
class ORVANE_PLATFORM_API CAtlException
{
public:
    /// An unspecified failure, AtlResult::c_Fail.
    CAtlException() noexcept;

    /// `result` is kept as passed, success codes too.
    CAtlException(HRESULT result) noexcept;

    operator HRESULT() const noexcept;

    HRESULT m_hr;
};

/// Throws a CAtlException that carries `result`.
[[noreturn]] ORVANE_PLATFORM_API void AtlThrow(HRESULT result);

#endif // ORVANE_MFC_CATLEXCEPTION_H
