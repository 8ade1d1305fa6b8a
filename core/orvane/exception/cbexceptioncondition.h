// The exception of a condition that does not hold.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONCONDITION_H
#define ORVANE_EXCEPTION_CBEXCEPTIONCONDITION_H

#include "orvane/exception/cbexception.h"

/// Raised by Condition::HandleUnfulfilledCondition where the handling is to throw. See CbException for the rest.
class ORVANE_API CbExceptionCondition : public CbException
{
public:
    static CbRTTI const RTTI;

    CbExceptionCondition(char const* file, unsigned int line, char const* function);

    CbRTTI const& GetRTTI() const override;

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONCONDITION_H
