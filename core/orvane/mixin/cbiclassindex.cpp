#include "orvane/mixin/cbiclassindex.h"

#include "orvane/stream/cbstreamread.h"
#include "orvane/stream/cbstreamwrite.h"

CbIClassIndex<0>::CbIClassIndex() = default;

CbIClassIndex<0>::CbIClassIndex(unsigned int index) : m_index(index)
{
}

unsigned int CbIClassIndex<0>::GetIndex() const
{
    return m_index;
}

void CbIClassIndex<0>::Serialize(CbStreamRead& stream)
{
    unsigned int index = 0;
    stream >> index;
    m_index = index;
}

void CbIClassIndex<0>::Serialize(CbStreamWrite& stream) const
{
    stream << m_index;
}

void CbIClassIndex<0>::setIndex(unsigned int index)
{
    m_index = index;
}

CbIClassIndex<1>::CbIClassIndex() = default;

CbIClassIndex<1>::CbIClassIndex(unsigned int index) : CbIClassIndex<0>(index)
{
}

void CbIClassIndex<1>::SetIndex(unsigned int index)
{
    setIndex(index);
}
