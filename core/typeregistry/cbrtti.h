// Class records: one per class name, found by that name.

#ifndef ORVANE_TYPEREGISTRY_CBRTTI_H
#define ORVANE_TYPEREGISTRY_CBRTTI_H

#include <memory>
#include <string>

#include "typeregistry/export.h"

class IObject;

/// The record of one class: its name, its parent's record, and how to create and clone an object of it.
///
/// A class owns one record as a static member. Its address is the identity of the class, so a record is neither copied
/// nor moved. Constructing a record makes it findable, destroying it (its module is unloaded) takes it out again.
/// Static order: a record stores the address of its parent and does not look through it, so records may be constructed
/// in any order, and before `main`.
/// Threads: any. Construction, destruction and look-up may run at the same time; a look-up never waits. A look-up that
/// runs beside a destruction may still give the record that goes: who unloads a module sees to it that nobody uses it.
/// Cost: a name stays in memory once it was registered, also when its last record is gone.
class ORVANE_TYPEREGISTRY_API CbRTTI
{
public:
    using FnCreate = std::unique_ptr<IObject> (*)();
    using FnClone = std::unique_ptr<IObject> (*)(IObject const&);

    /// A class below `parent`. `name` is copied; either function may be null.
    /// Where records of one name exist already, the first of them stays the one that is found.
    /// Raises: std::invalid_argument for a null name; nothing is registered then, as when memory runs out.
    CbRTTI(wchar_t const* name, CbRTTI const& parent, FnCreate create, FnClone clone);

    /// A root class. Raises as above.
    CbRTTI(wchar_t const* name, FnCreate create, FnClone clone);

    CbRTTI(CbRTTI const&) = delete;
    CbRTTI& operator=(CbRTTI const&) = delete;

    /// Takes the record out of the registry; the next oldest record of the same name, if any, is found from then on.
    ~CbRTTI();

    /// The class name. The pointer is good as long as the record.
    wchar_t const* GetName() const;

    /// The parent's record, or null for a root class.
    CbRTTI const* GetParent() const;

    /// How to create an object of the class, or null.
    FnCreate GetCreate() const;

    /// How to clone an object of the class, or null.
    FnClone GetClone() const;

    /// Whether `record` is this record or one of its ancestors, by address.
    bool IsKindOf(CbRTTI const& record) const;

    /// The record of that name, or null where there is none (or `name` is null).
    /// The pointer is good as long as the module that owns the record stays loaded.
    static CbRTTI const* Find(wchar_t const* name);

    /// The create function of the class of that name; null where the name is unknown or the class has none.
    static FnCreate getCreate(wchar_t const* name);

    /// The clone function of the class of that name; null where the name is unknown or the class has none.
    static FnClone getClone(wchar_t const* name);

private:
    friend class CbRTTIRegistry;

    std::wstring m_name;
    CbRTTI const* m_parent;
    FnCreate m_create;
    FnClone m_clone;
    CbRTTI* m_nextOfName; // the next younger record of the same name; guarded by the registry's lock
};

#endif // ORVANE_TYPEREGISTRY_CBRTTI_H
