// What every exception of the library can be asked: where it was raised, and for a copy.

#ifndef ORVANE_EXCEPTION_IEXCEPTION_H
#define ORVANE_EXCEPTION_IEXCEPTION_H

#include <memory>

#include "orvane/export.h"

/// The root of all exceptions of the library.
///
/// Two families stand below it: CbException and its kinds (registered, cloneable through the registry, with a history
/// of causes, logged in full), and the light kinds (one fixed line in the log, nothing more).
/// The pointers handed out are good as long as the exception. The order of the virtual operations is part of the binary
/// interface.
class ORVANE_API IException
{
public:
    virtual ~IException();

    /// A copy of the exception's own kind, or empty where it cannot be made. A copy is not logged.
    virtual std::unique_ptr<IException> Clone() const = 0;

    /// The source file of the raise site, as passed there.
    virtual char const* GetFilename() const = 0;

    /// The line of the raise site.
    virtual unsigned int GetCodeLine() const = 0;

    /// The function of the raise site, as passed there ("Class::Member").
    virtual char const* GetFunctionName() const = 0;

    /// The system's id of the thread that raised the exception; copies keep it.
    virtual unsigned int GetThreadID() const = 0;

protected:
    IException() = default;
    IException(IException const&) = default;
    IException& operator=(IException const&) = default;
};

#endif // ORVANE_EXCEPTION_IEXCEPTION_H
