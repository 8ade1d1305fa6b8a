#include "inspector.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <type_traits>
#include <utility>

namespace
{
constexpr std::size_t c_LongestText = 80; // characters of a value that are shown
constexpr std::size_t c_BytesALine = 16;
constexpr std::size_t c_LinesOfBytes = 4;
constexpr unsigned int c_Deepest = 32; // chunks in each other that are looked into

// Thrown where bytes are not what they should be; ends the level that they stand on.
struct SUnsound
{
    std::size_t position;
    std::string reason;
};

// By the numbers of the kinds.
constexpr std::string_view c_Kinds[] = {"eNull",  "eBool",    "eInt32",     "eInt64",    "eUInt32", "eFloat", "eDouble",
                                        "eChar",  "eStringW", "eByteArray", "eDateTime", "",        "eInt8",  "eUInt8",
                                        "eInt16", "eUInt16",  "eUInt64",    "eObject",   "eStringA"};

bool isPrintable(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}
} // namespace

// Notices where more is asked for than there is: readers of texts and arrays make do with less.
class CInspector::CReader : public CbStreamReadBinaryBuffer
{
public:
    CReader(unsigned char const* data, SRange const& range)
        : CbStreamReadBinaryBuffer(data + range.position, range.end - range.position)
    {
    }

    bool IsCut() const
    {
        return m_isCut;
    }

    /// Reads the marker and the length of a wide text, in units.
    unsigned __int64 ReadWideLength()
    {
        return readStringLengthW();
    }

    std::size_t GetSize() const
    {
        return static_cast<std::size_t>(GetBytesRead());
    }

protected:
    unsigned __int64 read(void* data, unsigned __int64 size) override
    {
        unsigned __int64 const delivered = CbStreamReadBinaryBuffer::read(data, size);
        m_isCut = m_isCut || delivered < size;
        return delivered;
    }

private:
    bool m_isCut = false;
};

CInspector::CInspector(std::FILE* to, std::map<std::string, Layout> classes, bool isFull)
    : m_to(to),
      m_classes(std::move(classes)),
      m_isFull(isFull)
{
}

bool CInspector::Show(std::vector<unsigned char> const& bytes, std::size_t begin, Layout const& layout)
{
    m_data = bytes.data();
    m_isSound = true;
    SRange range = {begin, bytes.size()};
    try
    {
        showItems(layout, range);
        if (range.position != range.end)
        {
            remark(range.position, "the layout ends here");
        }
    }
    catch (SUnsound const& unsound)
    {
        m_depth = 0;
        remark(unsound.position, unsound.reason);
        range.position = unsound.position;
    }
    guess(range);
    return m_isSound;
}

bool CInspector::Guess(std::vector<unsigned char> const& bytes, std::size_t begin)
{
    m_data = bytes.data();
    m_isSound = true;
    guess({begin, bytes.size()});
    return m_isSound;
}

void CInspector::showItems(Layout const& layout, SRange& range)
{
    for (SItem const& item : layout)
    {
        unsigned __int64 const times = item.times == SItem::c_AsCounted ? m_lastNumber : item.times;
        for (unsigned __int64 i = 0; i < times; ++i)
        {
            std::size_t const before = range.position;
            if (item.times == SItem::c_ToTheEnd && range.position == range.end)
            {
                break;
            }
            showItem(item, range);
            if (range.position == before)
            {
                break; // however often nothing is repeated
            }
        }
    }
}

void CInspector::showItem(SItem const& item, SRange& range)
{
    switch (item.kind)
    {
    case EItem::eGroup:
        return showItems(item.items, range);
    case EItem::eChunk:
        return showChunk(range);
    default:
        return showValue(item.kind, range);
    }
}

void CInspector::showValue(EItem kind, SRange& range)
{
    switch (kind)
    {
    case EItem::eBool:
        return showNumber<bool>(kind, range);
    case EItem::eChar:
        return showNumber<char>(kind, range);
    case EItem::eInt8:
        return showNumber<signed char>(kind, range);
    case EItem::eUInt8:
        return showNumber<unsigned char>(kind, range);
    case EItem::eInt16:
        return showNumber<short>(kind, range);
    case EItem::eUInt16:
        return showNumber<unsigned short>(kind, range);
    case EItem::eInt32:
        return showNumber<int>(kind, range);
    case EItem::eUInt32:
    case EItem::eVersion:
        return showNumber<unsigned int>(kind, range);
    case EItem::eInt64:
        return showNumber<__int64>(kind, range);
    case EItem::eUInt64:
        return showNumber<unsigned __int64>(kind, range);
    case EItem::eFloat:
        return showNumber<float>(kind, range);
    case EItem::eDouble:
        return showNumber<double>(kind, range);
    case EItem::eNarrow:
        return showRead(kind, range,
                        [](CReader& reader)
                        {
                            CStringA text;
                            reader >> text;
                            return CbVariant(text).ToJson();
                        });
    case EItem::eWide:
        return showRead(kind, range,
                        [](CReader& reader)
                        {
                            CStringW text;
                            reader >> text;
                            return CbVariant(text).ToJson();
                        });
    case EItem::eArray:
        return showRead(kind, range,
                        [](CReader& reader)
                        {
                            CbArray<unsigned char> bytes;
                            CbArray_Serializer::Serialize(reader, bytes);
                            return std::to_string(bytes.GetCount()) + " bytes " + CbVariant(bytes).ToJson();
                        });
    case EItem::eVariant:
        return showRead(kind, range,
                        [](CReader& reader)
                        {
                            CbVariant variant;
                            variant.Serialize(reader);
                            return std::string(c_Kinds[variant.GetType()]) + " " + variant.ToJson();
                        });
    default:
        break;
    }
}

template <class T>
void CInspector::showNumber(EItem kind, SRange& range)
{
    T value{};
    showRead(kind, range,
             [&value](CReader& reader)
             {
                 reader >> value;
                 return CbVariant(value).ToJson();
             });
    if constexpr (std::is_integral_v<T>)
    {
        m_lastNumber = static_cast<unsigned __int64>(value);
    }
}

template <class TReadText>
void CInspector::showRead(EItem kind, SRange& range, TReadText read)
{
    CReader reader(m_data, range);
    std::string text;
    std::string reason;
    try
    {
        text = read(reader);
    }
    catch (IException const&)
    {
        reason = "no " + std::string(NameOf(kind)) + " starts here";
    }
    if (reader.IsCut())
    {
        reason = "a " + std::string(NameOf(kind)) + " that starts here is cut short";
    }
    if (!reason.empty())
    {
        throw SUnsound{range.position, reason};
    }
    print(range.position, reader.GetSize(), NameOf(kind), clipped(std::move(text)));
    range.position += reader.GetSize();
}

void CInspector::showChunk(SRange& range)
{
    CReader reader(m_data, range);
    CStringW wideName;
    unsigned __int64 claimed = 0;
    try
    {
        reader >> wideName;
        reader >> claimed;
    }
    catch (IException const&)
    {
        throw SUnsound{range.position,
                       reader.IsCut() ? "a chunk that starts here is cut short" : "no chunk starts here"};
    }
    std::string const name = CStringA(wideName).GetString();
    std::size_t const payload = range.position + reader.GetSize();
    std::size_t const left = range.end - payload;
    std::size_t const size = claimed > left ? left : static_cast<std::size_t>(claimed);
    print(range.position, reader.GetSize() + size, NameOf(EItem::eChunk),
          clipped(name) + ", " + std::to_string(claimed) + " bytes");
    range.position = payload + size;
    ++m_depth;
    showPayload(name, {payload, range.position});
    --m_depth;
    if (claimed > left)
    {
        throw SUnsound{range.position, "the chunk is cut short: " + std::to_string(left) + " of its " +
                                           std::to_string(claimed) + " bytes are there"};
    }
}

void CInspector::showPayload(std::string const& name, SRange range)
{
    if (m_depth > c_Deepest)
    {
        return showBytes(range);
    }
    auto const known = m_classes.find(name);
    if (known == m_classes.end())
    {
        return guess(range);
    }
    unsigned __int64 const lastNumber = m_lastNumber;
    unsigned int const depth = m_depth;
    try
    {
        showItems(known->second, range);
        if (range.position != range.end)
        {
            remark(range.position, "the layout of " + name + " ends here");
        }
    }
    catch (SUnsound const& unsound)
    {
        m_depth = depth;
        remark(unsound.position, unsound.reason);
        range.position = unsound.position;
    }
    m_lastNumber = lastNumber;
    guess(range);
}

void CInspector::guess(SRange range)
{
    SRange bytes = {range.position, range.position};
    while (range.position < range.end)
    {
        std::optional<EItem> const kind = findValue(range);
        if (!kind)
        {
            bytes.end = ++range.position;
            continue;
        }
        showBytes(bytes);
        showItem({*kind, 1, {}}, range);
        bytes = {range.position, range.position};
    }
    showBytes(bytes);
}

// Only what is whole counts, so that showing it cannot fail.
std::optional<EItem> CInspector::findValue(SRange const& range) const
{
    constexpr unsigned char c_WideMarker[] = {0xFF, 0xFE, 0xFF};
    constexpr unsigned char c_ArrayMarker[] = {0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0};
    constexpr unsigned int c_ShortestNarrow = 4; // shorter ones are as likely to be something else

    std::size_t const left = range.end - range.position;
    unsigned char const* const at = m_data + range.position;
    if (left >= sizeof c_WideMarker && std::memcmp(at, c_WideMarker, sizeof c_WideMarker) == 0)
    {
        return findMarked(range);
    }
    if (left >= sizeof c_ArrayMarker && std::memcmp(at, c_ArrayMarker, sizeof c_ArrayMarker) == 0)
    {
        constexpr std::size_t c_Head = sizeof c_ArrayMarker + 2 * sizeof(unsigned int);
        if (left < c_Head)
        {
            return std::nullopt;
        }
        unsigned int const count = numberAt(range.position + sizeof c_ArrayMarker);
        unsigned int const width = numberAt(range.position + sizeof c_ArrayMarker + sizeof count);
        return width == 1 && count <= left - c_Head ? std::optional(EItem::eArray) : std::nullopt;
    }
    if (left >= sizeof(unsigned int))
    {
        unsigned int const length = numberAt(range.position);
        if (length >= c_ShortestNarrow && length <= left - sizeof length &&
            isPrintable({reinterpret_cast<char const*>(at) + sizeof length, length}))
        {
            return EItem::eNarrow;
        }
    }
    return std::nullopt;
}

// What begins with the marker of a wide text.
std::optional<EItem> CInspector::findMarked(SRange const& range) const
{
    try
    {
        // The length first: a file may be full of texts that are longer than what is left.
        CReader head(m_data, range);
        unsigned __int64 const length = head.ReadWideLength();
        if (length > (range.end - range.position - head.GetSize()) / sizeof(char16_t))
        {
            return std::nullopt;
        }
        CReader reader(m_data, range);
        CStringW name;
        reader >> name;
        unsigned __int64 size = 0;
        bool const isName = !name.IsEmpty() && std::all_of(name.GetString(), name.GetString() + name.GetLength(),
                                                           [](wchar_t c) { return c >= L' ' && c <= L'~'; });
        if (isName && range.end - range.position - reader.GetSize() >= sizeof size)
        {
            reader >> size;
            // No bytes are no object, but what stands behind a text that is none of a chunk.
            if (size != 0 && size <= range.end - range.position - reader.GetSize())
            {
                return EItem::eChunk;
            }
        }
        return EItem::eWide;
    }
    catch (IException const&)
    {
        return std::nullopt;
    }
}

unsigned int CInspector::numberAt(std::size_t position) const
{
    unsigned int number = 0;
    CReader(m_data, {position, position + sizeof number}) >> number;
    return number;
}

void CInspector::showBytes(SRange range)
{
    for (std::size_t line = 0; range.position < range.end; ++line)
    {
        if (line == c_LinesOfBytes && !m_isFull)
        {
            print(range.position, range.end - range.position, "bytes", "...");
            return;
        }
        std::size_t const count = std::min(c_BytesALine, range.end - range.position);
        CStringA hex;
        std::string text;
        for (unsigned char const* at = m_data + range.position; at != m_data + range.position + count; ++at)
        {
            hex.AppendFormat("%02X ", *at);
            text += *at >= ' ' && *at <= '~' ? static_cast<char>(*at) : '.';
        }
        print(range.position, count, "bytes", hex.GetString() + text);
        range.position += count;
    }
}

void CInspector::print(std::size_t position, std::size_t size, std::string_view type, std::string const& text) const
{
    constexpr int c_Indent = 2;
    constexpr int c_WidthOfType = 8;
    std::fprintf(m_to, "%08llX %10llu  %*s%-*.*s %s\n", static_cast<unsigned long long>(position),
                 static_cast<unsigned long long>(size), c_Indent * static_cast<int>(m_depth), "", c_WidthOfType,
                 static_cast<int>(type.size()), type.data(), text.c_str());
}

void CInspector::remark(std::size_t position, std::string const& text)
{
    constexpr int c_Indent = 2;
    std::fprintf(m_to, "%08llX %10s  %*s! %s\n", static_cast<unsigned long long>(position), "",
                 c_Indent * static_cast<int>(m_depth), "", text.c_str());
    m_isSound = false;
}

// Texts are UTF-8 here: none of its characters is cut in two.
std::string CInspector::clipped(std::string text) const
{
    constexpr unsigned char c_Continuation = 0x80;
    constexpr unsigned char c_ContinuationMask = 0xC0;
    if (m_isFull || text.size() <= c_LongestText)
    {
        return text;
    }
    std::size_t length = c_LongestText;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & c_ContinuationMask) == c_Continuation)
    {
        --length;
    }
    return text.substr(0, length) + "...";
}
