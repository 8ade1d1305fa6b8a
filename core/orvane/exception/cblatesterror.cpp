#include "orvane/exception/cblatesterror.h"

#include <memory>

#include "orvane/exception/trimmedtext.h"
#include "platform/platform.h"

namespace
{
// The neutral language: the system picks the user's.
constexpr DWORD c_NeutralLanguage = 0x400;

struct SLocalFree
{
    void operator()(wchar_t* text) const
    {
        LocalFree(text);
    }
};
} // namespace

CbLatestError::CbLatestError() : CbLatestError(GetLastError())
{
}

CbLatestError::CbLatestError(unsigned int number) : m_number(number)
{
    updateMessage();
}

void CbLatestError::Update()
{
    m_number = GetLastError();
    updateMessage();
}

bool CbLatestError::IsError() const
{
    return m_number != 0;
}

unsigned int CbLatestError::GetLatestErrorNumber() const
{
    return m_number;
}

wchar_t const* CbLatestError::GetLatestErrorMessage() const
{
    return m_message.c_str();
}

void CbLatestError::updateMessage()
{
    // The look-up itself may fail and set the last error; the caller's one outlives it.
    DWORD const callersError = GetLastError();
    wchar_t* text = nullptr;
    DWORD const length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, m_number,
                                        c_NeutralLanguage, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    if (length != 0)
    {
        std::unique_ptr<wchar_t, SLocalFree> const owner(text);
        m_message = detail::trimmedText({text, length});
    }
    SetLastError(callersError);
}
