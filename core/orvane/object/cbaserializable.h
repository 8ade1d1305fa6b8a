// The base of objects that are both storable and reference-counted.

#ifndef ORVANE_OBJECT_CBASERIALIZABLE_H
#define ORVANE_OBJECT_CBASERIALIZABLE_H

#include "orvane/object/ireferencecounted.h"
#include "orvane/object/iserializable.h"

/// Joins ISerializable and IReferenceCounted and adds nothing: a concrete class fills all operations of both.
class ORVANE_API CbASerializable : public ISerializable, public IReferenceCounted
{
public:
    CbASerializable();
    CbASerializable(CbASerializable const& other);
    CbASerializable& operator=(CbASerializable const& other);
    ~CbASerializable() override;
};

#endif // ORVANE_OBJECT_CBASERIALIZABLE_H
