// The interfaces' destructors live here, so that each table of virtual operations exists once, in the library.

#include "orvane/object/iobject.h"

#include "orvane/object/cbaserializable.h"

IObject::~IObject() = default;

IReferenceCounted::~IReferenceCounted() = default;

ISerializable::~ISerializable() = default;

CbASerializable::CbASerializable() = default;

CbASerializable::CbASerializable(CbASerializable const& other) = default;

CbASerializable& CbASerializable::operator=(CbASerializable const& other) = default;

CbASerializable::~CbASerializable() = default;
