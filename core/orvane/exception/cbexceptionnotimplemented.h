// The exception of an operation that a class does not offer.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONNOTIMPLEMENTED_H
#define ORVANE_EXCEPTION_CBEXCEPTIONNOTIMPLEMENTED_H

#include "orvane/exception/cbexception.h"

/// Raised where an operation is declared but not supported. See CbException for the rest.
class ORVANE_API CbExceptionNotImplemented : public CbException
{
public:
    static CbRTTI const RTTI;

    CbExceptionNotImplemented(char const* file, unsigned int line, char const* function);
    CbExceptionNotImplemented(char const* file, unsigned int line, char const* function, CbException const& inner);

    CbRTTI const& GetRTTI() const override;

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONNOTIMPLEMENTED_H
