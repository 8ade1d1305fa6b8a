#include "orvane/exception/cbexceptionstream.h"

#include "logging/clogger.h"

namespace
{
Logging::CLogger const s_logger(L"Exception");
} // namespace

CbExceptionStream::CbExceptionStream(char const* file, unsigned int line, char const* function)
    : m_record(file, line, function)
{
    m_record.Log(s_logger, L"Exception on reading / writing stream");
}

CbExceptionStream::CbExceptionStream(CbExceptionStream const& other) = default;

CbExceptionStream::CbExceptionStream(CbExceptionStream&& other) = default;

CbExceptionStream& CbExceptionStream::operator=(CbExceptionStream const& other) = default;

CbExceptionStream& CbExceptionStream::operator=(CbExceptionStream&& other) = default;

CbExceptionStream::~CbExceptionStream() = default;

std::unique_ptr<IException> CbExceptionStream::Clone() const
{
    return std::make_unique<CbExceptionStream>(*this);
}

char const* CbExceptionStream::GetFilename() const
{
    return m_record.file.c_str();
}

unsigned int CbExceptionStream::GetCodeLine() const
{
    return m_record.line;
}

char const* CbExceptionStream::GetFunctionName() const
{
    return m_record.function.c_str();
}

unsigned int CbExceptionStream::GetThreadID() const
{
    return m_record.threadId;
}
