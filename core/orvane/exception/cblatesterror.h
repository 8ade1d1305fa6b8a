// A system error number with the system's text for it.

#ifndef ORVANE_EXCEPTION_CBLATESTERROR_H
#define ORVANE_EXCEPTION_CBLATESTERROR_H

#include <string>

#include "orvane/export.h"

/// The calling thread's last error, or a given error number, as number and text.
///
/// The text is the system's, without surrounding white space. Where the system has no text for a number, a new object's
/// text is empty and Update() keeps the text that was there before: show the number as well.
/// Leaves the thread's last error as it was. Raises nothing of its own.
/// Threads: a plain value.
class ORVANE_API CbLatestError
{
public:
    /// Takes the calling thread's last error.
    CbLatestError();

    /// Takes the given number.
    explicit CbLatestError(unsigned int number);

    /// Takes the calling thread's last error anew.
    void Update();

    /// Whether the number is not 0.
    bool IsError() const;

    unsigned int GetLatestErrorNumber() const;

    /// Good until the object is changed or destroyed.
    wchar_t const* GetLatestErrorMessage() const;

private:
    void updateMessage();

    unsigned int m_number;
    std::wstring m_message;
};

#endif // ORVANE_EXCEPTION_CBLATESTERROR_H
