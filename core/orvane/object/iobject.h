// What every object of the library can be asked: its class record and its class name.

#ifndef ORVANE_OBJECT_IOBJECT_H
#define ORVANE_OBJECT_IOBJECT_H

#include "orvane/export.h"
#include "typeregistry/cbrtti.h"

/// An object whose class has a record in the type registry.
///
/// A class that registers itself owns its record as `static CbRTTI const RTTI`, answers it from GetRTTI, and usually
/// declares all that with the macros of object/classrecord.h. The order of the virtual operations is part of the
/// binary interface.
class ORVANE_API IObject
{
public:
    virtual ~IObject();

    /// The record of the object's own class.
    virtual CbRTTI const& GetRTTI() const = 0;

    /// The name in that record. The pointer is good as long as the class's module stays loaded.
    virtual wchar_t const* GetClassNameW() const = 0;

protected:
    IObject() = default;
    IObject(IObject const&) = default;
    IObject& operator=(IObject const&) = default;
};

#endif // ORVANE_OBJECT_IOBJECT_H
