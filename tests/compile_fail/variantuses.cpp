// What would become a number, a truth value or a comparison of pointers without anybody wanting it.

#include "orvane/value/cbvariant.h"

#ifndef ORVANE_FAILURE
#define ORVANE_FAILURE 0
#endif

struct SPair
{
    int first;
};

int use(CbVariant& variant, int* number, IObject const* object);

int use(CbVariant& variant, int* number, IObject const* object)
{
    variant = *number;
    variant = *object;
    variant = "text";
    int result = variant == 5 && variant == "text" && variant == nullptr;
    result += variant.GetAs<int>();
#if ORVANE_FAILURE == 1
    variant = number;
#elif ORVANE_FAILURE == 2
    variant = object;
#elif ORVANE_FAILURE == 3
    variant = L'x';
#elif ORVANE_FAILURE == 4
    result += variant == number;
#elif ORVANE_FAILURE == 5
    result += variant == L'x';
#elif ORVANE_FAILURE == 6
    CbVariant const fromNumber = 5;
    result += fromNumber == 5;
#elif ORVANE_FAILURE == 7
    result += variant.GetAs<IObject*>() != nullptr;
#elif ORVANE_FAILURE == 8
    variant = &SPair::first;
#elif ORVANE_FAILURE == 9
    variant = [] {};
#elif ORVANE_FAILURE == 10
    result += CbVariant([] {}).IsNull();
#endif
    return result;
}
