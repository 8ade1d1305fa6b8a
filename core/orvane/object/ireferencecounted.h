// Objects that carry their own reference count.

#ifndef ORVANE_OBJECT_IREFERENCECOUNTED_H
#define ORVANE_OBJECT_IREFERENCECOUNTED_H

#include "orvane/export.h"

template <class T>
class CbReferenceCounter;
template <>
class CbReferenceCounter<unsigned int>;

/// An object that embeds a reference counter and is owned through counting pointers.
class ORVANE_API IReferenceCounted
{
public:
    virtual ~IReferenceCounted();

protected:
    // The counter asks every object for its own one; nobody else reaches through this interface.
    friend class CbReferenceCounter<unsigned int>;

    IReferenceCounted() = default;
    IReferenceCounted(IReferenceCounted const&) = default;
    IReferenceCounted& operator=(IReferenceCounted const&) = default;

    /// The object's own counter. A copy of an object has a counter of its own; the count is never copied.
    virtual CbReferenceCounter<unsigned int> const& getReferenceCounter() const = 0;
};

#endif // ORVANE_OBJECT_IREFERENCECOUNTED_H
