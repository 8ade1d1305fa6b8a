// A standard exception, carried on as one of ours.

#ifndef ORVANE_EXCEPTION_CBEXCEPTIONSTD_H
#define ORVANE_EXCEPTION_CBEXCEPTIONSTD_H

#include <exception>
#include <string>

#include "orvane/exception/cbexception.h"

/// Wraps a std::exception; its `what()` is the message in the log and can be asked for afterwards.
/// See CbException for the rest.
class ORVANE_API CbExceptionStd : public CbException
{
public:
    static CbRTTI const RTTI;

    /// `what()` is taken as UTF-8 for the log; bytes that are not UTF-8 appear there as U+FFFD.
    CbExceptionStd(char const* file, unsigned int line, char const* function, std::exception const& exception);

    CbExceptionStd(CbExceptionStd const& other);
    CbExceptionStd& operator=(CbExceptionStd const& other);
    ~CbExceptionStd() override;

    /// `what()` of the wrapped exception, byte for byte. Good as long as this object.
    char const* GetInformation() const;

    CbRTTI const& GetRTTI() const override;
    wchar_t const* GetClassNameW() const override;
    bool Is(CbRTTI const& record) const;
    bool IsKindOf(CbRTTI const& record) const;

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);

    std::string m_information;
};

#endif // ORVANE_EXCEPTION_CBEXCEPTIONSTD_H
