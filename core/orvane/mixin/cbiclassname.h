// Naming by a text.

#ifndef ORVANE_MIXIN_CBICLASSNAME_H
#define ORVANE_MIXIN_CBICLASSNAME_H

#include "mfc/cstringt.h"
#include "orvane/export.h"
#include "platform/platform.h"

class CbStreamRead;
class CbStreamWrite;

/// A name that a class adds to its objects. With N = 0 the class itself changes it, with N = 1 everybody may. String is
/// CStringA or CStringW.
template <int N, class String>
class CbIClassName;

/// Threads: a plain value.
template <class String>
class ORVANE_API CbIClassName<0, String>
{
public:
    using TChar = typename String::XCHAR;

    /// An empty name.
    CbIClassName();

    /// Null is the empty name.
    explicit CbIClassName(TChar const* name);
    explicit CbIClassName(String const& name);

    /// A move copies: an object that was moved from keeps its name.
    CbIClassName(CbIClassName const& other);
    CbIClassName& operator=(CbIClassName const& other);
    virtual ~CbIClassName();

    /// What the name counts for in memory: 16 and two bytes a character in both widths, wide ones counted in
    /// UTF-16; callers add these figures up.
    virtual unsigned __int64 GetMemoryUsage() const;

    String const& GetName() const;

    /// Reads or writes the name as one string, nothing else.
    /// Raises: what the stream raises; the name is unchanged then.
    void Serialize(CbStreamRead& stream);
    void Serialize(CbStreamWrite& stream) const;

protected:
    void setName(TChar const* name);

private:
    template <int, class>
    friend class CbIClassName;

    String m_name;
};

/// The same with a name for everybody to set, and to be moved.
template <class String>
class ORVANE_API CbIClassName<1, String> : public CbIClassName<0, String>
{
public:
    using TChar = typename String::XCHAR;

    CbIClassName();
    explicit CbIClassName(TChar const* name);
    explicit CbIClassName(String const& name);
    CbIClassName(CbIClassName const& other);
    CbIClassName& operator=(CbIClassName const& other);

    /// Takes the name over; the source's is empty.
    CbIClassName(CbIClassName&& other) noexcept;
    CbIClassName& operator=(CbIClassName&& other) noexcept;
    ~CbIClassName() override;

    void SetName(String const& name);
    void SetName(TChar const* name);
};

#ifndef orvane_EXPORTS
// Made in the library; clients have no copies of their own.
extern template class CbIClassName<0, CStringA>;
extern template class CbIClassName<0, CStringW>;
extern template class CbIClassName<1, CStringA>;
extern template class CbIClassName<1, CStringW>;
#endif

#endif // ORVANE_MIXIN_CBICLASSNAME_H
