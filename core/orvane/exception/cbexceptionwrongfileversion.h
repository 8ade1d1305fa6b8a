// The exception of stored data newer than the reader.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONWRONGFILEVERSION_H
#define ORVANE_EXCEPTION_CBEXCEPTIONWRONGFILEVERSION_H

#include "orvane/exception/raiserecord.h"

/// Raised where a stored format version is above the newest one that the reader knows.
/// A light kind: no class record, no history. Construction writes the one line "Wrong file version on stream" to the
/// logger "Exception"; copies do not log.
class ORVANE_API CbExceptionWrongFileVersion : public IException
{
public:
    CbExceptionWrongFileVersion(char const* file, unsigned int line, char const* function);
    CbExceptionWrongFileVersion(CbExceptionWrongFileVersion const& other);
    CbExceptionWrongFileVersion(CbExceptionWrongFileVersion&& other);
    CbExceptionWrongFileVersion& operator=(CbExceptionWrongFileVersion const& other);
    CbExceptionWrongFileVersion& operator=(CbExceptionWrongFileVersion&& other);
    ~CbExceptionWrongFileVersion() override;

    std::unique_ptr<IException> Clone() const override;
    char const* GetFilename() const override;
    unsigned int GetCodeLine() const override;
    char const* GetFunctionName() const override;
    unsigned int GetThreadID() const override;

private:
    detail::SRaiseRecord m_record;
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONWRONGFILEVERSION_H
