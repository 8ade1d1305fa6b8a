#include "orvane/value/cbwrappers.h"

#define CB_IMPLEMENT_WRAPPER(Class, T)                                                                                 \
    CB_IMPLEMENT_CLASS_OF(Class, CbBaseTypeRTTIHolder);                                                                \
    Class::Class() = default;                                                                                          \
    Class::Class(T const& value) : CbBaseType<T>(value)                                                                \
    {                                                                                                                  \
    }                                                                                                                  \
    Class::Class(Class const& other) = default;                                                                        \
    Class& Class::operator=(Class const& other) = default;                                                             \
    Class::~Class() = default

CB_IMPLEMENT_WRAPPER(CbBool, bool);
CB_IMPLEMENT_WRAPPER(CbChar, char);
CB_IMPLEMENT_WRAPPER(CbInt8, signed char);
CB_IMPLEMENT_WRAPPER(CbUInt8, unsigned char);
CB_IMPLEMENT_WRAPPER(CbInt16, short);
CB_IMPLEMENT_WRAPPER(CbUInt16, unsigned short);
CB_IMPLEMENT_WRAPPER(CbInt32, int);
CB_IMPLEMENT_WRAPPER(CbUInt32, unsigned int);
CB_IMPLEMENT_WRAPPER(CbLong, long);
CB_IMPLEMENT_WRAPPER(CbULong, unsigned long);
CB_IMPLEMENT_WRAPPER(CbInt64, __int64);
CB_IMPLEMENT_WRAPPER(CbUInt64, unsigned __int64);
CB_IMPLEMENT_WRAPPER(CbFloat32, float);
CB_IMPLEMENT_WRAPPER(CbFloat64, double);
CB_IMPLEMENT_WRAPPER(CbString, CStringW);
