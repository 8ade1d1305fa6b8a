// The exception of a container that cannot get memory.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONCONTAINER_H
#define ORVANE_EXCEPTION_CBEXCEPTIONCONTAINER_H

#include "orvane/exception/raiserecord.h"

/// Raised by the pooled containers where a block cannot be made.
/// A light kind: no class record, no history. Construction writes the one line "Out of memory" to the logger
/// "Exception"; copies do not log.
class ORVANE_API CbExceptionContainer : public IException
{
public:
    CbExceptionContainer(char const* file, unsigned int line, char const* function);
    CbExceptionContainer(CbExceptionContainer const& other);
    CbExceptionContainer(CbExceptionContainer&& other);
    CbExceptionContainer& operator=(CbExceptionContainer const& other);
    CbExceptionContainer& operator=(CbExceptionContainer&& other);
    ~CbExceptionContainer() override;

    std::unique_ptr<IException> Clone() const override;
    char const* GetFilename() const override;
    unsigned int GetCodeLine() const override;
    char const* GetFunctionName() const override;
    unsigned int GetThreadID() const override;

private:
    detail::SRaiseRecord m_record;
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONCONTAINER_H
