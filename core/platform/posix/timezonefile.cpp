#include <cstring>

#include "timezone.h"

namespace posix
{
namespace
{
constexpr std::size_t c_HeaderSize = 44;
constexpr int c_LargestOffset = 26 * 3600;

// Numbers from the file, most significant byte first. The caller keeps within the text.
std::uint32_t read4(char const* at)
{
    std::uint32_t value = 0;
    std::memcpy(&value, at, sizeof value);
    return __builtin_bswap32(value);
}

__int64 readTime(char const* at, std::size_t width)
{
    if (width == 4)
    {
        return static_cast<std::int32_t>(read4(at));
    }
    std::uint64_t value = 0;
    std::memcpy(&value, at, sizeof value);
    return static_cast<__int64>(__builtin_bswap64(value));
}

// The counts of a header and, from them, where each list of the block behind it stands.
struct Block
{
    std::size_t width = 0; // of a time
    std::size_t isUtCount = 0;
    std::size_t isStandardCount = 0;
    std::size_t leapCount = 0;
    std::size_t timeCount = 0;
    std::size_t typeCount = 0;
    std::size_t nameSize = 0;

    std::size_t size() const
    {
        return timeCount * (width + 1) + typeCount * 6 + nameSize + leapCount * (width + 4) + isStandardCount +
               isUtCount;
    }
};

bool readHeader(std::string_view file, std::size_t width, Block& block)
{
    if (file.size() < c_HeaderSize || file.substr(0, 4) != "TZif")
    {
        return false;
    }
    char const* const at = file.data() + 20;
    block = {width, read4(at), read4(at + 4), read4(at + 8), read4(at + 12), read4(at + 16), read4(at + 20)};
    return block.typeCount != 0 && file.size() - c_HeaderSize >= block.size();
}

// A file that counts leap seconds is brought back to the system's count, which has none.
void removeLeapSeconds(char const* at, Block const& block, std::vector<OffsetChange>& changes)
{
    for (OffsetChange& change : changes)
    {
        __int64 correction = 0;
        for (std::size_t n = 0; n < block.leapCount; ++n)
        {
            char const* const leap = at + n * (block.width + 4);
            if (readTime(leap, block.width) <= change.start)
            {
                correction = static_cast<std::int32_t>(read4(leap + block.width));
            }
        }
        change.start -= correction;
    }
}

// `data` is the block behind a header; false where it contradicts itself.
bool readChanges(char const* data, Block const& block, std::vector<OffsetChange>& changes)
{
    char const* const indices = data + block.timeCount * block.width;
    char const* const types = indices + block.timeCount;
    auto const offsetOf = [&](std::size_t type) { return static_cast<std::int32_t>(read4(types + type * 6)); };
    for (std::size_t n = 0; n < block.typeCount; ++n)
    {
        if (offsetOf(n) < -c_LargestOffset || offsetOf(n) > c_LargestOffset)
        {
            return false;
        }
    }
    changes.reserve(block.timeCount + 1);
    changes.push_back({INT64_MIN, offsetOf(0)});
    for (std::size_t n = 0; n < block.timeCount; ++n)
    {
        __int64 const start = readTime(data + n * block.width, block.width);
        auto const type = static_cast<unsigned char>(indices[n]);
        if (type >= block.typeCount || start <= changes.back().start)
        {
            return false;
        }
        changes.push_back({start, offsetOf(type)});
    }
    removeLeapSeconds(types + block.typeCount * 6 + block.nameSize, block, changes);
    return true;
}
} // namespace

std::optional<TimeZone> TimeZone::parse(std::string_view file)
{
    Block block;
    if (!readHeader(file, 4, block))
    {
        return std::nullopt;
    }
    bool const isFirstVersion = file[4] == '\0';
    if (!isFirstVersion)
    {
        // The same again with times of 64 bits, and the rule of what follows.
        file.remove_prefix(c_HeaderSize + block.size());
        if (!readHeader(file, 8, block))
        {
            return std::nullopt;
        }
    }
    std::vector<OffsetChange> changes;
    if (!readChanges(file.data() + c_HeaderSize, block, changes))
    {
        return std::nullopt;
    }
    std::optional<ZoneRule> rule;
    std::string_view footer = file.substr(c_HeaderSize + block.size());
    if (!isFirstVersion && footer.size() > 2 && footer.front() == '\n')
    {
        footer.remove_prefix(1);
        rule = ZoneRule::parse(footer.substr(0, footer.find('\n')));
    }
    return TimeZone(std::move(changes), rule);
}
} // namespace posix
