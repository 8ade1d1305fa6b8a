// The exception of a value that cannot be converted.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONCONVERSION_H
#define ORVANE_EXCEPTION_CBEXCEPTIONCONVERSION_H

#include "orvane/exception/raiserecord.h"

/// Raised where a value has no form of the wanted kind.
/// A light kind: no class record, no history. Construction writes the one line "Exception on data conversion" to the
/// logger "Exception"; copies do not log.
class ORVANE_API CbExceptionConversion : public IException
{
public:
    CbExceptionConversion(char const* file, unsigned int line, char const* function);
    CbExceptionConversion(CbExceptionConversion const& other);
    CbExceptionConversion(CbExceptionConversion&& other);
    CbExceptionConversion& operator=(CbExceptionConversion const& other);
    CbExceptionConversion& operator=(CbExceptionConversion&& other);
    ~CbExceptionConversion() override;

    std::unique_ptr<IException> Clone() const override;
    char const* GetFilename() const override;
    unsigned int GetCodeLine() const override;
    char const* GetFunctionName() const override;
    unsigned int GetThreadID() const override;

private:
    detail::SRaiseRecord m_record;
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONCONVERSION_H
