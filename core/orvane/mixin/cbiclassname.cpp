#include "orvane/mixin/cbiclassname.h"

#include <cstddef>
#include <utility>

#include "orvane/stream/cbstreamread.h"
#include "orvane/stream/cbstreamwrite.h"
#include "orvane/text/utf16.h"

namespace
{
constexpr unsigned __int64 c_Base = 16;
constexpr unsigned __int64 c_BytesPerCharacter = 2; // in both widths

std::size_t countCharacters(CStringA const& name)
{
    return static_cast<std::size_t>(name.GetLength());
}

// In UTF-16, so that the figure is the same on every target.
std::size_t countCharacters(CStringW const& name)
{
    return Utf16::CountUnits(name.GetString(), static_cast<std::size_t>(name.GetLength()));
}
} // namespace

template <class String>
CbIClassName<0, String>::CbIClassName() = default;

template <class String>
CbIClassName<0, String>::CbIClassName(TChar const* name) : m_name(name)
{
}

template <class String>
CbIClassName<0, String>::CbIClassName(String const& name) : m_name(name)
{
}

template <class String>
CbIClassName<0, String>::CbIClassName(CbIClassName const& other) = default;

template <class String>
CbIClassName<0, String>& CbIClassName<0, String>::operator=(CbIClassName const& other) = default;

template <class String>
CbIClassName<0, String>::~CbIClassName() = default;

template <class String>
unsigned __int64 CbIClassName<0, String>::GetMemoryUsage() const
{
    return c_Base + c_BytesPerCharacter * countCharacters(m_name);
}

template <class String>
String const& CbIClassName<0, String>::GetName() const
{
    return m_name;
}

template <class String>
void CbIClassName<0, String>::Serialize(CbStreamRead& stream)
{
    String name;
    stream >> name;
    m_name = std::move(name);
}

template <class String>
void CbIClassName<0, String>::Serialize(CbStreamWrite& stream) const
{
    stream << m_name;
}

template <class String>
void CbIClassName<0, String>::setName(TChar const* name)
{
    m_name = name;
}

template <class String>
CbIClassName<1, String>::CbIClassName() = default;

template <class String>
CbIClassName<1, String>::CbIClassName(TChar const* name) : CbIClassName<0, String>(name)
{
}

template <class String>
CbIClassName<1, String>::CbIClassName(String const& name) : CbIClassName<0, String>(name)
{
}

template <class String>
CbIClassName<1, String>::CbIClassName(CbIClassName const& other) = default;

template <class String>
CbIClassName<1, String>& CbIClassName<1, String>::operator=(CbIClassName const& other) = default;

template <class String>
CbIClassName<1, String>::CbIClassName(CbIClassName&& other) noexcept : CbIClassName<0, String>()
{
    *this = std::move(other);
}

template <class String>
CbIClassName<1, String>& CbIClassName<1, String>::operator=(CbIClassName&& other) noexcept
{
    // Through a third one: the source ends up empty, and a move to itself changes nothing.
    String name(std::move(other.m_name));
    other.m_name.Empty();
    this->m_name = std::move(name);
    return *this;
}

template <class String>
CbIClassName<1, String>::~CbIClassName() = default;

template <class String>
void CbIClassName<1, String>::SetName(String const& name)
{
    this->m_name = name;
}

template <class String>
void CbIClassName<1, String>::SetName(TChar const* name)
{
    this->setName(name);
}

template class CbIClassName<0, CStringA>;
template class CbIClassName<0, CStringW>;
template class CbIClassName<1, CStringA>;
template class CbIClassName<1, CStringW>;
