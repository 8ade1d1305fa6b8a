#include "orvane/exception/cbexceptionconversion.h"

#include "logging/clogger.h"

namespace
{
Logging::CLogger const s_logger(L"Exception");
} // namespace

CbExceptionConversion::CbExceptionConversion(char const* file, unsigned int line, char const* function)
    : m_record(file, line, function)
{
    m_record.Log(s_logger, L"Exception on data conversion");
}

CbExceptionConversion::CbExceptionConversion(CbExceptionConversion const& other) = default;

CbExceptionConversion::CbExceptionConversion(CbExceptionConversion&& other) = default;

CbExceptionConversion& CbExceptionConversion::operator=(CbExceptionConversion const& other) = default;

CbExceptionConversion& CbExceptionConversion::operator=(CbExceptionConversion&& other) = default;

CbExceptionConversion::~CbExceptionConversion() = default;

std::unique_ptr<IException> CbExceptionConversion::Clone() const
{
    return std::make_unique<CbExceptionConversion>(*this);
}

char const* CbExceptionConversion::GetFilename() const
{
    return m_record.file.c_str();
}

unsigned int CbExceptionConversion::GetCodeLine() const
{
    return m_record.line;
}

char const* CbExceptionConversion::GetFunctionName() const
{
    return m_record.function.c_str();
}

unsigned int CbExceptionConversion::GetThreadID() const
{
    return m_record.threadId;
}
