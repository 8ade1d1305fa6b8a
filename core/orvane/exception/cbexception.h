// The full family of exceptions: registered, cloneable, with a history of causes, logged as they are built.

#ifndef ORVANE_EXCEPTION_CBEXCEPTION_H
#define ORVANE_EXCEPTION_CBEXCEPTION_H

#include <memory>

#include "mfc/cstringt.h"
#include "orvane/exception/iexception.h"
#include "orvane/object/iobject.h"

/// An exception that knows where it was raised and what caused it.
///
/// Construction writes to the log, so construct one only to throw it; catch by reference; rethrow with `throw;`.
/// Two lines are written: a structured one to the logger "Analytics", always, and, where the level of the logger
/// "Exception" admits errors, one entry that lists the exception and its history of causes. The message goes into these
/// lines only; it is not stored. Copies, moves and clones never log.
/// Raises: what the logging library's sinks raise passes through the constructors.
/// Threads: an exception is never changed after construction; copies may be destroyed on different threads.
class ORVANE_API CbException : public IException, public IObject
{
public:
    static CbRTTI const RTTI;

    CbException(char const* file, unsigned int line, char const* function);
    CbException(char const* file, unsigned int line, char const* function, IException const& inner);
    CbException(char const* file, unsigned int line, char const* function, IException const& inner,
                wchar_t const* message);
    CbException(char const* file, unsigned int line, char const* function, wchar_t const* message);

    /// Copies share the history.
    CbException(CbException const& other);
    CbException& operator=(CbException const& other);

    /// The source keeps its file, line and function and loses its history.
    CbException(CbException&& other);
    CbException& operator=(CbException&& other);

    ~CbException() override;

    /// A copy made by the clone function of the registered class of this object's name, so of the same dynamic kind;
    /// it shares the history. Empty where that class has no clone function. A class without a record of its own is cloned
    /// as the nearest one above it that has one.
    /// Raises: std::bad_cast where an older record of the same name belongs to another class. So do the constructors that
    /// take a cause, which they clone.
    std::unique_ptr<IException> Clone() const override;

    char const* GetFilename() const override;
    unsigned int GetCodeLine() const override;
    char const* GetFunctionName() const override;
    unsigned int GetThreadID() const override;

    CbRTTI const& GetRTTI() const override;
    wchar_t const* GetClassNameW() const override;

    /// Whether the object is exactly of the record's class.
    bool Is(CbRTTI const& record) const;

    /// Whether the object is of the record's class or of one below it.
    bool IsKindOf(CbRTTI const& record) const;

    /// The exception that caused this one, or empty.
    std::shared_ptr<IException> GetHistory() const;

protected:
    /// For kinds that log under a record of their own.
    CbException(char const* file, unsigned int line, char const* function, CbRTTI const& rtti);
    CbException(char const* file, unsigned int line, char const* function, CbRTTI const& rtti, wchar_t const* message);
    CbException(char const* file, unsigned int line, char const* function, IException const& inner, CbRTTI const& rtti);
    CbException(char const* file, unsigned int line, char const* function, IException const& inner, CbRTTI const& rtti,
                wchar_t const* message);

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);

    /// Writes both log lines under `rtti`; `message` may be null.
    void logException(CbRTTI const& rtti, wchar_t const* message) const;

    CStringA m_filename;
    unsigned int m_codeLine;
    CStringA m_functionName;
    unsigned int m_threadId;
    std::shared_ptr<IException> m_history;
};

#endif // ORVANE_EXCEPTION_CBEXCEPTION_H
