// Objects that write themselves to a binary stream and read themselves back.

#ifndef ORVANE_OBJECT_ISERIALIZABLE_H
#define ORVANE_OBJECT_ISERIALIZABLE_H

#include "orvane/object/iobject.h"

class CbStreamReadBinary;
class CbStreamWriteBinary;

/// An object that can be stored.
///
/// Both operations start with the format version: the writer with WriteVersion of the newest layout it knows, the
/// reader with ReadAndCompareVersion of the newest layout it can read. Writing must give the same bytes each time it
/// is called on an unchanged object: a chunk serialises its object twice, once to count.
class ORVANE_API ISerializable : public IObject
{
public:
    ~ISerializable() override;

    virtual void Serialize(CbStreamWriteBinary& stream) const = 0;
    virtual void Serialize(CbStreamReadBinary& stream) = 0;

protected:
    ISerializable() = default;
    ISerializable(ISerializable const&) = default;
    ISerializable& operator=(ISerializable const&) = default;
};

#endif // ORVANE_OBJECT_ISERIALIZABLE_H
