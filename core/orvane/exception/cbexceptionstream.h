// The exception of a stream that cannot be read or written.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONSTREAM_H
#define ORVANE_EXCEPTION_CBEXCEPTIONSTREAM_H

#include "orvane/exception/raiserecord.h"

/// Raised where data end too early, are not what the format demands, or cannot be expressed in it.
/// A light kind: no class record, no history. Construction writes the one line "Exception on reading / writing stream"
/// to the logger "Exception"; copies do not log.
class ORVANE_API CbExceptionStream : public IException
{
public:
    CbExceptionStream(char const* file, unsigned int line, char const* function);
    CbExceptionStream(CbExceptionStream const& other);
    CbExceptionStream(CbExceptionStream&& other);
    CbExceptionStream& operator=(CbExceptionStream const& other);
    CbExceptionStream& operator=(CbExceptionStream&& other);
    ~CbExceptionStream() override;

    std::unique_ptr<IException> Clone() const override;
    char const* GetFilename() const override;
    unsigned int GetCodeLine() const override;
    char const* GetFunctionName() const override;
    unsigned int GetThreadID() const override;

private:
    detail::SRaiseRecord m_record;
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONSTREAM_H
