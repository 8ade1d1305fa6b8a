#include "orvane/exception/cbexceptionpreconditionviolation.h"

#include "orvane/object/classrecord.h"

CbRTTI const CbExceptionPreconditionViolation::RTTI(L"CbExceptionPreconditionViolation", CbException::RTTI, nullptr,
                                                    &CbExceptionPreconditionViolation::CloneByFactory);

CbExceptionPreconditionViolation::CbExceptionPreconditionViolation(char const* file, unsigned int line,
                                                                   char const* function)
    : CbException(file, line, function, RTTI)
{
}

CbExceptionPreconditionViolation::CbExceptionPreconditionViolation(char const* file, unsigned int line,
                                                                   char const* function, CbException const& inner)
    : CbException(file, line, function, inner, RTTI)
{
}

CbRTTI const& CbExceptionPreconditionViolation::GetRTTI() const
{
    return RTTI;
}

std::unique_ptr<IObject> CbExceptionPreconditionViolation::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbExceptionPreconditionViolation>(object);
}
