// Objects that show themselves as text.

#ifndef ORVANE_MIXIN_CBIDUMPABLE_H
#define ORVANE_MIXIN_CBIDUMPABLE_H

#include "mfc/cstringt.h"
#include "orvane/export.h"

template <class S>
class CbStreamWriteASCIIT;

/// The ability to be dumped: with N = 1 there, with N = 0 not.
template <int N>
class CbIDumpable;

/// Builds text and trace output on one operation of the class. There is no virtual destructor: nobody owns an object as
/// a CbIDumpable.
/// Raises: what the class's `dump` raises; nothing is written then.
template <>
class ORVANE_API CbIDumpable<1>
{
public:
    /// The object's text form.
    CStringW ToString() const;

    /// Writes the text form to `stream` in one piece.
    void Dump(CbStreamWriteASCIIT<CStringW>& stream) const;

    /// Writes the text form to the trace output.
    void Dump() const;

protected:
    CbIDumpable() = default;
    CbIDumpable(CbIDumpable const&) = default;
    CbIDumpable& operator=(CbIDumpable const&) = default;
    ~CbIDumpable() = default;

    /// Writes the object's text form to `stream`.
    virtual void dump(CbStreamWriteASCIIT<CStringW>& stream) const = 0;
};

/// An empty place holder.
template <>
class ORVANE_API CbIDumpable<0>
{
};

#endif // ORVANE_MIXIN_CBIDUMPABLE_H
