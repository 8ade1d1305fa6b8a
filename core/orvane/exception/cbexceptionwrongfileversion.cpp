#include "orvane/exception/cbexceptionwrongfileversion.h"

#include "logging/clogger.h"

namespace
{
Logging::CLogger const s_logger(L"Exception");
} // namespace

CbExceptionWrongFileVersion::CbExceptionWrongFileVersion(char const* file, unsigned int line, char const* function)
    : m_record(file, line, function)
{
    m_record.Log(s_logger, L"Wrong file version on stream");
}

CbExceptionWrongFileVersion::CbExceptionWrongFileVersion(CbExceptionWrongFileVersion const& other) = default;

CbExceptionWrongFileVersion::CbExceptionWrongFileVersion(CbExceptionWrongFileVersion&& other) = default;

CbExceptionWrongFileVersion& CbExceptionWrongFileVersion::operator=(CbExceptionWrongFileVersion const& other) = default;

CbExceptionWrongFileVersion& CbExceptionWrongFileVersion::operator=(CbExceptionWrongFileVersion&& other) = default;

CbExceptionWrongFileVersion::~CbExceptionWrongFileVersion() = default;

std::unique_ptr<IException> CbExceptionWrongFileVersion::Clone() const
{
    return std::make_unique<CbExceptionWrongFileVersion>(*this);
}

char const* CbExceptionWrongFileVersion::GetFilename() const
{
    return m_record.file.c_str();
}

unsigned int CbExceptionWrongFileVersion::GetCodeLine() const
{
    return m_record.line;
}

char const* CbExceptionWrongFileVersion::GetFunctionName() const
{
    return m_record.function.c_str();
}

unsigned int CbExceptionWrongFileVersion::GetThreadID() const
{
    return m_record.threadId;
}
