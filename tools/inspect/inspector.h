// Shows what the bytes of a file say in the binary encoding.

#ifndef ORVANE_TOOLS_INSPECT_INSPECTOR_H
#define ORVANE_TOOLS_INSPECT_INSPECTOR_H

#include <cstddef>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "layout.h"
#include "orvane/orvane.h"

/// Prints a line for each value: its offset and size in the file, its type, and what it says. Values inside a chunk are
/// indented.
/// What is no value of the encoding is shown as bytes; nothing that a file can hold is an error of the program.
class CInspector
{
public:
    /// `classes`: the layout of the payload of chunks, by class name. A chunk of another class is guessed at.
    /// `isFull`: long texts and runs of bytes are shown whole.
    CInspector(std::FILE* to, std::map<std::string, Layout> classes, bool isFull);

    /// Shows bytes from `begin` on as that layout says. Returns whether the bytes are what it says, all of them, and so
    /// is the payload of every chunk.
    bool Show(std::vector<unsigned char> const& bytes, std::size_t begin, Layout const& layout);

    /// The same without a layout: shows what looks like chunks, texts and arrays, and bytes between them. A file tells
    /// no more by itself: numbers carry no type. Returns false where a chunk's known layout does not hold.
    bool Guess(std::vector<unsigned char> const& bytes, std::size_t begin);

private:
    class CReader;

    // Of the bytes, what is left to be shown.
    struct SRange
    {
        std::size_t position;
        std::size_t end;
    };

    void showItems(Layout const& layout, SRange& range);
    void showItem(SItem const& item, SRange& range);
    void showValue(EItem kind, SRange& range);
    void showChunk(SRange& range);
    void showPayload(std::string const& name, SRange range);
    void guess(SRange range);
    std::optional<EItem> findValue(SRange const& range) const;
    std::optional<EItem> findMarked(SRange const& range) const;
    unsigned int numberAt(std::size_t position) const;
    void showBytes(SRange range);

    // One line. What has no size is a remark.
    void print(std::size_t position, std::size_t size, std::string_view type, std::string const& text) const;
    void remark(std::size_t position, std::string const& text);

    template <class T>
    void showNumber(EItem kind, SRange& range);

    template <class TReadText>
    void showRead(EItem kind, SRange& range, TReadText read);

    std::string clipped(std::string text) const;

    std::FILE* m_to;
    std::map<std::string, Layout> m_classes;
    bool m_isFull;
    unsigned char const* m_data = nullptr;
    unsigned __int64 m_lastNumber = 0;
    unsigned int m_depth = 0;
    bool m_isSound = true;
};

#endif // ORVANE_TOOLS_INSPECT_INSPECTOR_H
