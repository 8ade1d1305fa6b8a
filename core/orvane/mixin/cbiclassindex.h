// Naming by a number: what an object is found by in a table.

#ifndef ORVANE_MIXIN_CBICLASSINDEX_H
#define ORVANE_MIXIN_CBICLASSINDEX_H

#include "orvane/export.h"

class CbStreamRead;
class CbStreamWrite;

/// An index that a class adds to its objects. With N = 0 the class itself changes it, with N = 1 everybody may.
template <int N>
class CbIClassIndex;

/// Threads: a plain value.
template <>
class ORVANE_API CbIClassIndex<0>
{
public:
    /// Index 0.
    CbIClassIndex();
    explicit CbIClassIndex(unsigned int index);

    unsigned int GetIndex() const;

    /// Reads or writes the index as one `unsigned int`, nothing else.
    /// Raises: what the stream raises; the index is unchanged then.
    void Serialize(CbStreamRead& stream);
    void Serialize(CbStreamWrite& stream) const;

protected:
    void setIndex(unsigned int index);

private:
    unsigned int m_index = 0;
};

/// The same with an index for everybody to set.
template <>
class ORVANE_API CbIClassIndex<1> : public CbIClassIndex<0>
{
public:
    CbIClassIndex();
    explicit CbIClassIndex(unsigned int index);

    void SetIndex(unsigned int index);
};

#endif // ORVANE_MIXIN_CBICLASSINDEX_H
