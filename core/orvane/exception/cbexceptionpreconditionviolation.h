// The exception of a call that its object's state or its arguments do not allow.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONPRECONDITIONVIOLATION_H
#define ORVANE_EXCEPTION_CBEXCEPTIONPRECONDITIONVIOLATION_H

#include "orvane/exception/cbexception.h"

/// Raised where a call breaks what the operation demands. See CbException for the rest.
class ORVANE_API CbExceptionPreconditionViolation : public CbException
{
public:
    static CbRTTI const RTTI;

    CbExceptionPreconditionViolation(char const* file, unsigned int line, char const* function);
    CbExceptionPreconditionViolation(char const* file, unsigned int line, char const* function,
                                     CbException const& inner);

    CbRTTI const& GetRTTI() const override;

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONPRECONDITIONVIOLATION_H
