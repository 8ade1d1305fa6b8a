// The exception of a file extension that nobody handles.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONUNKNOWNEXTENSION_H
#define ORVANE_EXCEPTION_CBEXCEPTIONUNKNOWNEXTENSION_H

#include "orvane/exception/cbexception.h"

/// Raised for a file extension without a handler. Its construction is logged under "CbException"; as the cause of
/// another exception it is listed under its own name. See CbException for the rest.
class ORVANE_API CbExceptionUnknownExtension : public CbException
{
public:
    static CbRTTI const RTTI;

    CbExceptionUnknownExtension(char const* file, unsigned int line, char const* function);

    CbRTTI const& GetRTTI() const override;

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONUNKNOWNEXTENSION_H
