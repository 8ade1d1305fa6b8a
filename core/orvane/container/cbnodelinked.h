// The nodes of pooled lists.

#ifndef ORVANE_CONTAINER_CBNODELINKED_H
#define ORVANE_CONTAINER_CBNODELINKED_H

#include <string>
#include <typeinfo>
#include <utility>

#include "orvane/text/typetext.h"

/// A list node that holds one T. L = 0 has a link to the next node, L = 1 one to the previous node as well. The links are
/// null when a node is made.
template <class T, int L>
class CbNodeLinked;

template <class T>
class CbNodeLinked<T, 0>
{
public:
    template <class TValue>
    // NOLINTNEXTLINE(bugprone-forwarding-reference-overload): a node is never copied.
    explicit CbNodeLinked(TValue&& initial) noexcept(noexcept(T(std::forward<TValue>(initial))))
        : value(std::forward<TValue>(initial))
    {
    }

    CbNodeLinked(CbNodeLinked const&) = delete;
    CbNodeLinked& operator=(CbNodeLinked const&) = delete;

    CbNodeLinked* next = nullptr;
    T value;
};

template <class T>
class CbNodeLinked<T, 1>
{
public:
    template <class TValue>
    // NOLINTNEXTLINE(bugprone-forwarding-reference-overload): a node is never copied.
    explicit CbNodeLinked(TValue&& initial) noexcept(noexcept(T(std::forward<TValue>(initial))))
        : value(std::forward<TValue>(initial))
    {
    }

    CbNodeLinked(CbNodeLinked const&) = delete;
    CbNodeLinked& operator=(CbNodeLinked const&) = delete;

    CbNodeLinked* next = nullptr;
    CbNodeLinked* previous = nullptr;
    T value;
};

namespace detail
{
template <class T, int L>
struct STypeText<CbNodeLinked<T, L>>
{
    static std::string Get()
    {
        return templateText("class CbNodeLinked", {typeText<T>(), std::to_string(L)});
    }
};
} // namespace detail

#endif // ORVANE_CONTAINER_CBNODELINKED_H
