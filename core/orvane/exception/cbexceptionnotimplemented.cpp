#include "orvane/exception/cbexceptionnotimplemented.h"

#include "orvane/object/classrecord.h"

CbRTTI const CbExceptionNotImplemented::RTTI(L"CbExceptionNotImplemented", CbException::RTTI, nullptr,
                                             &CbExceptionNotImplemented::CloneByFactory);

CbExceptionNotImplemented::CbExceptionNotImplemented(char const* file, unsigned int line, char const* function)
    : CbException(file, line, function, RTTI)
{
}

CbExceptionNotImplemented::CbExceptionNotImplemented(char const* file, unsigned int line, char const* function,
                                                     CbException const& inner)
    : CbException(file, line, function, inner, RTTI)
{
}

CbRTTI const& CbExceptionNotImplemented::GetRTTI() const
{
    return RTTI;
}

std::unique_ptr<IObject> CbExceptionNotImplemented::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbExceptionNotImplemented>(object);
}
