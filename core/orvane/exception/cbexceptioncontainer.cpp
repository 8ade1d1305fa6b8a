#include "orvane/exception/cbexceptioncontainer.h"

#include "logging/clogger.h"

namespace
{
Logging::CLogger const s_logger(L"Exception");
} // namespace

CbExceptionContainer::CbExceptionContainer(char const* file, unsigned int line, char const* function)
    : m_record(file, line, function)
{
    m_record.Log(s_logger, L"Out of memory");
}

CbExceptionContainer::CbExceptionContainer(CbExceptionContainer const& other) = default;

CbExceptionContainer::CbExceptionContainer(CbExceptionContainer&& other) = default;

CbExceptionContainer& CbExceptionContainer::operator=(CbExceptionContainer const& other) = default;

CbExceptionContainer& CbExceptionContainer::operator=(CbExceptionContainer&& other) = default;

CbExceptionContainer::~CbExceptionContainer() = default;

std::unique_ptr<IException> CbExceptionContainer::Clone() const
{
    return std::make_unique<CbExceptionContainer>(*this);
}

char const* CbExceptionContainer::GetFilename() const
{
    return m_record.file.c_str();
}

unsigned int CbExceptionContainer::GetCodeLine() const
{
    return m_record.line;
}

char const* CbExceptionContainer::GetFunctionName() const
{
    return m_record.function.c_str();
}

unsigned int CbExceptionContainer::GetThreadID() const
{
    return m_record.threadId;
}
