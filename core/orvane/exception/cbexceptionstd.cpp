#include "orvane/exception/cbexceptionstd.h"

#include <algorithm>
#include <climits>

#include "orvane/object/classrecord.h"
#include "platform/platform.h"

namespace
{
// A null what() can only come from a broken override; it reads as an empty text.
char const* whatOf(std::exception const& exception)
{
    char const* const what = exception.what();
    return what != nullptr ? what : "";
}

std::wstring fromUtf8(std::string_view text)
{
    std::wstring result;
    int const size = static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
    int const needed = size > 0 ? MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0) : 0;
    if (needed > 0)
    {
        result.resize(static_cast<std::size_t>(needed));
        MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), needed);
    }
    return result;
}
} // namespace

CbRTTI const CbExceptionStd::RTTI(L"CbExceptionStd", CbException::RTTI, nullptr, &CbExceptionStd::CloneByFactory);

CbExceptionStd::CbExceptionStd(char const* file, unsigned int line, char const* function,
                               std::exception const& exception)
    : CbException(file, line, function, RTTI, fromUtf8(whatOf(exception)).c_str()),
      m_information(whatOf(exception))
{
}

CbExceptionStd::CbExceptionStd(CbExceptionStd const& other) = default;

CbExceptionStd& CbExceptionStd::operator=(CbExceptionStd const& other) = default;

CbExceptionStd::~CbExceptionStd() = default;

char const* CbExceptionStd::GetInformation() const
{
    return m_information.c_str();
}

CbRTTI const& CbExceptionStd::GetRTTI() const
{
    return RTTI;
}

wchar_t const* CbExceptionStd::GetClassNameW() const
{
    return RTTI.GetName();
}

bool CbExceptionStd::Is(CbRTTI const& record) const
{
    return &RTTI == &record;
}

bool CbExceptionStd::IsKindOf(CbRTTI const& record) const
{
    return RTTI.IsKindOf(record);
}

std::unique_ptr<IObject> CbExceptionStd::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbExceptionStd>(object);
}
