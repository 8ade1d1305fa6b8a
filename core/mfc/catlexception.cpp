#include "mfc/catlexception.h"

CAtlException::CAtlException() noexcept : m_hr(AtlResult::c_Fail)
{
}

CAtlException::CAtlException(HRESULT result) noexcept : m_hr(result)
{
}

CAtlException::operator HRESULT() const noexcept
{
    return m_hr;
}

void AtlThrow(HRESULT result)
{
    throw CAtlException(result);
}
