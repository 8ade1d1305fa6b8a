// The name of a type as it stands in exception texts: the same with every compiler.

#ifndef ORVANE_TEXT_TYPETEXT_H
#define ORVANE_TEXT_TYPETEXT_H

#include <initializer_list>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "mfc/cstringt.h"
#include "orvane/export.h"

namespace detail
{
/// The full name of a type as the compiler's run-time type information has it, readable and without "class " or
/// "struct " in front. 64-bit numbers are "__int64" and "unsigned __int64".
/// Cost: allocates. For what is raised or reported, not for what runs often.
ORVANE_API std::string readableTypeName(std::type_info const& type);

/// "struct " or "class " and the name. Run-time type information does not tell the two apart; the names do: a structure
/// is an S with an upper-case letter behind it.
ORVANE_API std::string classText(std::string const& name);

/// "Name<first,second>" of a template's name and its arguments. Two closing brackets have a space between them.
ORVANE_API std::string templateText(std::string const& name, std::initializer_list<std::string> arguments);

/// "Name<first,second>" to "Name". Of nested templates only the last one loses its arguments.
ORVANE_API std::string withoutArguments(std::string const& name);

/// The same for a class that may be declared only: a pointer to it has run-time type information all the same.
template <class T>
std::string readableTypeName()
{
    std::string name = readableTypeName(typeid(T*));
    name.pop_back(); // the asterisk
    return name;
}

/// How a type is written; specialised for templates that have numbers among their arguments.
template <class T>
struct STypeText
{
    static std::string Get()
    {
        std::string name = readableTypeName<T>();
        if constexpr (std::is_enum_v<T>)
        {
            return "enum " + name;
        }
        else if constexpr (std::is_class_v<T>)
        {
            return classText(name);
        }
        else
        {
            return name;
        }
    }
};

template <class T>
struct STypeText<T*>
{
    static std::string Get()
    {
        return STypeText<T>::Get() + " *";
    }
};

template <template <class...> class TTemplate, class... TArguments>
struct STypeText<TTemplate<TArguments...>>
{
    static std::string Get()
    {
        std::string const name = withoutArguments(readableTypeName<TTemplate<TArguments...>>());
        return templateText(classText(name), {STypeText<TArguments>::Get()...});
    }
};

/// A structure under a name that does not say so.
template <class C>
struct STypeText<std::char_traits<C>>
{
    static std::string Get()
    {
        return templateText("struct std::char_traits", {STypeText<C>::Get()});
    }
};

/// The text classes under the names that log readers know, which are another string class's.
template <class C>
struct STypeText<CStringT<C>>
{
    static std::string Get()
    {
        std::string const character = STypeText<C>::Get();
        return templateText(
            "class ATL::CStringT",
            {character,
             templateText("class StrTraitMFC_DLL", {character, templateText("class ATL::ChTraitsCRT", {character})})});
    }
};

/// The type as a function text names it: "class CbTask", "struct CbThreadPool::STaskEntry", "class CbTask *", "int".
template <class T>
std::string typeText()
{
    return STypeText<T>::Get();
}
} // namespace detail

#endif // ORVANE_TEXT_TYPETEXT_H
