// Numbers in groups of three digits.

#ifndef ORVANE_DATETIME_DIGITGROUPS_H
#define ORVANE_DATETIME_DIGITGROUPS_H

#include <cstddef>
#include <string>

#include "platform/platform.h"

namespace detail
{
/// 1234567 as "1'234'567", in every locale: texts are compared.
inline std::wstring groupDigits(unsigned __int64 value)
{
    constexpr std::size_t c_Group = 3;
    std::wstring text = std::to_wstring(value);
    for (std::size_t place = text.size(); place > c_Group;)
    {
        place -= c_Group;
        text.insert(place, 1, L'\'');
    }
    return text;
}
} // namespace detail

#endif // ORVANE_DATETIME_DIGITGROUPS_H
