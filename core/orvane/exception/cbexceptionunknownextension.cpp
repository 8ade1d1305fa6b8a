#include "orvane/exception/cbexceptionunknownextension.h"

#include "orvane/object/classrecord.h"

CbRTTI const CbExceptionUnknownExtension::RTTI(L"CbExceptionUnknownExtension", CbException::RTTI, nullptr,
                                               &CbExceptionUnknownExtension::CloneByFactory);

// Logged as a plain CbException: it is the one kind that does not log under its own record.
CbExceptionUnknownExtension::CbExceptionUnknownExtension(char const* file, unsigned int line, char const* function)
    : CbException(file, line, function)
{
}

CbRTTI const& CbExceptionUnknownExtension::GetRTTI() const
{
    return RTTI;
}

std::unique_ptr<IObject> CbExceptionUnknownExtension::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbExceptionUnknownExtension>(object);
}
