// The registered wrappers of plain values.

#ifndef ORVANE_VALUE_CBWRAPPERS_H
#define ORVANE_VALUE_CBWRAPPERS_H

#include "mfc/cstringt.h"
#include "orvane/object/classrecord.h"
#include "orvane/value/cbbasetype.h"
#include "platform/platform.h"

// A class of its own for each kind of value, registered under its own name below CbBaseTypeRTTIHolder; it can be created
// and cloned by that name. CbBaseType says the rest.
#define CB_DECLARE_WRAPPER(Class, T)                                                                                   \
    class ORVANE_API Class : public CbBaseType<T>                                                                      \
    {                                                                                                                  \
    public:                                                                                                            \
        Class();                                                                                                       \
        Class(T const& value);                                                                                         \
        Class(Class const& other);                                                                                     \
        Class& operator=(Class const& other);                                                                          \
        ~Class() override;                                                                                             \
        using CbBaseType<T>::operator=;                                                                                \
        CB_DECLARE_CLASS(Class);                                                                                       \
    }

CB_DECLARE_WRAPPER(CbBool, bool);
CB_DECLARE_WRAPPER(CbChar, char);
CB_DECLARE_WRAPPER(CbInt8, signed char);
CB_DECLARE_WRAPPER(CbUInt8, unsigned char);
CB_DECLARE_WRAPPER(CbInt16, short);
CB_DECLARE_WRAPPER(CbUInt16, unsigned short);
CB_DECLARE_WRAPPER(CbInt32, int);
CB_DECLARE_WRAPPER(CbUInt32, unsigned int);

/// Stored in 4 bytes on every target: a value that needs more raises CbExceptionStream when it is written.
CB_DECLARE_WRAPPER(CbLong, long);
CB_DECLARE_WRAPPER(CbULong, unsigned long);

CB_DECLARE_WRAPPER(CbInt64, __int64);
CB_DECLARE_WRAPPER(CbUInt64, unsigned __int64);
CB_DECLARE_WRAPPER(CbFloat32, float);
CB_DECLARE_WRAPPER(CbFloat64, double);
CB_DECLARE_WRAPPER(CbString, CStringW);

#undef CB_DECLARE_WRAPPER

#endif // ORVANE_VALUE_CBWRAPPERS_H
