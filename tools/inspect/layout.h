// What a file is told to hold: "wide version u32 n*chunk u32".

#ifndef ORVANE_TOOLS_INSPECT_LAYOUT_H
#define ORVANE_TOOLS_INSPECT_LAYOUT_H

#include <string_view>
#include <vector>

/// How the next bytes are read.
enum class EItem
{
    eBool,
    eChar,
    eInt8,
    eUInt8,
    eInt16,
    eUInt16,
    eInt32,
    eUInt32,
    eInt64,
    eUInt64,
    eFloat,
    eDouble,
    eNarrow,
    eWide,
    eVersion,
    eVariant,
    eArray,
    eChunk,
    eGroup
};

struct SItem
{
    static constexpr unsigned long long c_AsCounted = ~0ULL;    // as often as the last whole number says
    static constexpr unsigned long long c_ToTheEnd = ~0ULL - 1; // as long as there are bytes

    EItem kind = EItem::eGroup;
    unsigned long long times = 1;
    std::vector<SItem> items; // of a group
};

using Layout = std::vector<SItem>;

/// Reads items with blanks between them: the name of a type or a group in parentheses, and before it, with a star, how
/// often it stands there: a number, "n" for the last whole number that was read, or nothing for all that is left.
/// Raises: std::invalid_argument with the reason; blanks alone are no layout.
Layout ParseLayout(std::string_view text);

/// As it is written in a layout.
std::string_view NameOf(EItem kind);

#endif // ORVANE_TOOLS_INSPECT_LAYOUT_H
