// A value that stands for a type.

#ifndef ORVANE_TEXT_CBTYPETOTYPE_H
#define ORVANE_TEXT_CBTYPETOTYPE_H

/// Picks an overload by a type: `value.GetAs(CbTypeToType<int>())`.
template <class T>
struct CbTypeToType
{
    using Type = T;
};

#endif // ORVANE_TEXT_CBTYPETOTYPE_H
