#include "orvane/exception/cbexception.h"

#include "logging/clogger.h"
#include "orvane/object/classrecord.h"
#include "platform/platform.h"

namespace
{
Logging::CLogger const s_logger(L"Exception");

// The part after the last backslash; a name without one is shown whole.
wchar_t const* shortName(CStringW const& file)
{
    return file.GetString() + (file.ReverseFind(L'\\') + 1);
}

// Texts are joined rather than formatted: names and messages may hold anything, percent signs included.
void appendHead(CStringW& entry, CbRTTI const& rtti, CbException const& exception, wchar_t const* message)
{
    entry += L"Exception: '";
    entry += rtti.GetName();
    entry += L"' (";
    entry += shortName(CStringW(exception.GetFilename()));
    entry += L':';
    // "%d": a line above the signed range shows as a negative number.
    entry += std::to_wstring(static_cast<int>(exception.GetCodeLine())).c_str();
    entry += L')';
    if (message != nullptr)
    {
        entry += L": '";
        entry += message;
        entry += L'\'';
    }
    entry += L'\n';
}
} // namespace

CbRTTI const CbException::RTTI(L"CbException", nullptr, &CbException::CloneByFactory);

CbException::CbException(char const* file, unsigned int line, char const* function)
    : CbException(file, line, function, RTTI, nullptr)
{
}

CbException::CbException(char const* file, unsigned int line, char const* function, IException const& inner)
    : CbException(file, line, function, inner, RTTI, nullptr)
{
}

CbException::CbException(char const* file, unsigned int line, char const* function, IException const& inner,
                         wchar_t const* message)
    : CbException(file, line, function, inner, RTTI, message)
{
}

CbException::CbException(char const* file, unsigned int line, char const* function, wchar_t const* message)
    : CbException(file, line, function, RTTI, message)
{
}

CbException::CbException(char const* file, unsigned int line, char const* function, CbRTTI const& rtti)
    : CbException(file, line, function, rtti, nullptr)
{
}

CbException::CbException(char const* file, unsigned int line, char const* function, CbRTTI const& rtti,
                         wchar_t const* message)
    : m_filename(file),
      m_codeLine(line),
      m_functionName(function),
      m_threadId(GetCurrentThreadId())
{
    logException(rtti, message);
}

CbException::CbException(char const* file, unsigned int line, char const* function, IException const& inner,
                         CbRTTI const& rtti)
    : CbException(file, line, function, inner, rtti, nullptr)
{
}

CbException::CbException(char const* file, unsigned int line, char const* function, IException const& inner,
                         CbRTTI const& rtti, wchar_t const* message)
    : m_filename(file),
      m_codeLine(line),
      m_functionName(function),
      m_threadId(GetCurrentThreadId()),
      m_history(inner.Clone())
{
    logException(rtti, message);
}

CbException::CbException(CbException const& other) = default;

CbException& CbException::operator=(CbException const& other) = default;

// The strings are copied, so that the source stays an exception that can still be reported.
CbException::CbException(CbException&& other)
    : IException(other),
      IObject(other),
      m_filename(other.m_filename),
      m_codeLine(other.m_codeLine),
      m_functionName(other.m_functionName),
      m_threadId(other.m_threadId),
      m_history(std::move(other.m_history))
{
}

CbException& CbException::operator=(CbException&& other)
{
    m_filename = other.m_filename;
    m_codeLine = other.m_codeLine;
    m_functionName = other.m_functionName;
    m_threadId = other.m_threadId;
    m_history = std::move(other.m_history);
    return *this;
}

CbException::~CbException() = default;

std::unique_ptr<IException> CbException::Clone() const
{
    return Factory::CloneAs<CbException>(*this);
}

char const* CbException::GetFilename() const
{
    return m_filename.GetString();
}

unsigned int CbException::GetCodeLine() const
{
    return m_codeLine;
}

char const* CbException::GetFunctionName() const
{
    return m_functionName.GetString();
}

unsigned int CbException::GetThreadID() const
{
    return m_threadId;
}

CbRTTI const& CbException::GetRTTI() const
{
    return RTTI;
}

wchar_t const* CbException::GetClassNameW() const
{
    return GetRTTI().GetName();
}

bool CbException::Is(CbRTTI const& record) const
{
    return &GetRTTI() == &record;
}

bool CbException::IsKindOf(CbRTTI const& record) const
{
    return GetRTTI().IsKindOf(record);
}

std::shared_ptr<IException> CbException::GetHistory() const
{
    return m_history;
}

std::unique_ptr<IObject> CbException::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbException>(object);
}

void CbException::logException(CbRTTI const& rtti, wchar_t const* message) const
{
    int const line = static_cast<int>(m_codeLine);

    // Written even where errors are not logged. The message stands as it is: readers of this line expect it unescaped.
    CStringW analytics(L"{\"logtype\":\"application\", \"actiontype\":\"exception\", \"data\":{\"type\":\"");
    analytics += rtti.GetName();
    analytics += L"\",\"message\":\"";
    analytics += message != nullptr ? message : L"";
    analytics += L"\"}}";
    Logging::CLogger(L"Analytics").Info(m_filename.GetString(), line, "", analytics);

    if (!s_logger.IsErrorEnabled())
    {
        return;
    }
    CStringW entry;
    appendHead(entry, rtti, *this, message);

    // Causes are walked as long as they belong to the full family; a light kind has no history and ends the walk.
    CStringW indentation;
    auto const* cause = dynamic_cast<CbException const*>(m_history.get());
    while (cause != nullptr)
    {
        indentation += L'\t';
        entry += indentation;
        entry += L"-\t";
        appendHead(entry, cause->GetRTTI(), *cause, nullptr);
        cause = dynamic_cast<CbException const*>(cause->m_history.get());
    }
    s_logger.Error(m_filename.GetString(), line, m_functionName.GetString(), entry);
}
