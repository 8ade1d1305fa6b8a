// What a registered class declares: its record, the members that answer from it, and its factory functions.

#ifndef ORVANE_OBJECT_CLASSRECORD_H
#define ORVANE_OBJECT_CLASSRECORD_H

#include <memory>

#include "orvane/object/iobject.h"

namespace Factory
{
/// A new default-constructed object of the class T.
template <class T>
std::unique_ptr<IObject> Create()
{
    return std::unique_ptr<IObject>(new T());
}

/// A copy of `object`, which must be a T. Raises: std::bad_cast where it is not.
template <class T>
std::unique_ptr<IObject> Clone(IObject const& object)
{
    return std::unique_ptr<IObject>(new T(dynamic_cast<T const&>(object)));
}

/// A new object of the class of that name; empty where the class is unknown or cannot be created.
inline std::unique_ptr<IObject> CreateByName(wchar_t const* name)
{
    CbRTTI::FnCreate const create = CbRTTI::getCreate(name);
    return create != nullptr ? create() : nullptr;
}

/// A copy of `object` made by the clone function of its registered class, as a TInterface; empty where the class is
/// unknown, cannot be cloned, or its copies are no TInterface.
/// Raises: what the clone function raises: std::bad_cast where the name is that of another class, registered earlier.
template <class TInterface>
std::unique_ptr<TInterface> CloneAs(IObject const& object)
{
    CbRTTI::FnClone const clone = CbRTTI::getClone(object.GetClassNameW());
    if (clone == nullptr)
    {
        return nullptr;
    }
    std::unique_ptr<IObject> copy = clone(object);
    TInterface* const result = dynamic_cast<TInterface*>(copy.get());
    if (result != nullptr)
    {
        static_cast<void>(copy.release());
    }
    return std::unique_ptr<TInterface>(result);
}
} // namespace Factory

/// Inside a class derived from IObject: declares its record and defines the members that answer from it.
/// Ends in a private section.
#define CB_DECLARE_CLASS(Class)                                                                                        \
public:                                                                                                                \
    static CbRTTI const RTTI;                                                                                          \
    CbRTTI const& GetRTTI() const override                                                                             \
    {                                                                                                                  \
        return RTTI;                                                                                                   \
    }                                                                                                                  \
    wchar_t const* GetClassNameW() const override                                                                      \
    {                                                                                                                  \
        return GetRTTI().GetName();                                                                                    \
    }                                                                                                                  \
    bool Is(CbRTTI const& record) const                                                                                \
    {                                                                                                                  \
        return &GetRTTI() == &record;                                                                                  \
    }                                                                                                                  \
    bool IsKindOf(CbRTTI const& record) const                                                                          \
    {                                                                                                                  \
        return GetRTTI().IsKindOf(record);                                                                             \
    }                                                                                                                  \
                                                                                                                       \
private:                                                                                                               \
    static std::unique_ptr<IObject> CreateByFactory()                                                                  \
    {                                                                                                                  \
        return Factory::Create<Class>();                                                                               \
    }                                                                                                                  \
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object)                                              \
    {                                                                                                                  \
        return Factory::Clone<Class>(object);                                                                          \
    }                                                                                                                  \
    static_assert(true)

/// In one source file, outside any namespace that the class is not in: defines the record of a root class that can be
/// created and cloned. The registered name is `Class` as it is written here: where two namespaces may have a class of one name
/// put it outside of them, `CB_IMPLEMENT_CLASS(app::CPoint)`, so that the names differ. Of one name the oldest class is found.
#define CB_IMPLEMENT_CLASS(Class) CbRTTI const Class::RTTI(L## #Class, &Class::CreateByFactory, &Class::CloneByFactory)

/// The same for a class whose parent is registered too.
#define CB_IMPLEMENT_CLASS_OF(Class, Parent)                                                                           \
    CbRTTI const Class::RTTI(L## #Class, Parent::RTTI, &Class::CreateByFactory, &Class::CloneByFactory)

#endif // ORVANE_OBJECT_CLASSRECORD_H
