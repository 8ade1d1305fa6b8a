// A client's shared library that uses Orvane while it is being loaded.

#ifndef ORVANE_TESTS_EXCEPTION_STARTUPMODULE_H
#define ORVANE_TESTS_EXCEPTION_STARTUPMODULE_H

#include "orvane/exception/cbexception.h"
#include "startupmodule/export.h"
#include "startupprobe.h"

/// A kind whose record is built before that of its parent, which is a client's kind too.
class STARTUPMODULE_API CbExceptionModuleParent : public CbException
{
public:
    static CbRTTI const RTTI;

    CbExceptionModuleParent(char const* file, unsigned int line, char const* function);

    CbRTTI const& GetRTTI() const override;

protected:
    CbExceptionModuleParent(char const* file, unsigned int line, char const* function, CbRTTI const& rtti);

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);
};

class STARTUPMODULE_API CbExceptionModuleChild : public CbExceptionModuleParent
{
public:
    static CbRTTI const RTTI;

    CbExceptionModuleChild(char const* file, unsigned int line, char const* function);

    CbRTTI const& GetRTTI() const override;

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);
};

/// What the module saw.
STARTUPMODULE_API SStartupReport const& GetModuleStartupReport();

/// Whether the child could be thrown, caught and cloned between the building of its record and that of its parent's.
STARTUPMODULE_API bool HasRaisedBeforeTheParentsRecord();

/// Raises a CbExceptionModuleChild.
STARTUPMODULE_API void RaiseInModule();

#endif // ORVANE_TESTS_EXCEPTION_STARTUPMODULE_H
