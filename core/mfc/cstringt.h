// Narrow and wide text with value semantics: CStringA and CStringW.

#ifndef ORVANE_MFC_CSTRINGT_H
#define ORVANE_MFC_CSTRINGT_H

#include <algorithm>
#include <compare>
#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/export.h"

namespace detail
{
// What needs the system or the C runtime stands in the library; both widths under one name.

// Throws CAtlException with 0x80070057.
[[noreturn]] ORVANE_PLATFORM_API void refuseArgument();

// Formats and lets the result stand in `target` from `keep` on. The arguments may point into `target`.
// Raises CAtlException 0x80070057 for a null format and a formatting error; `target` is unchanged then.
ORVANE_PLATFORM_API void formatText(std::string& target, std::size_t keep, char const* format, va_list arguments);
ORVANE_PLATFORM_API void formatText(std::wstring& target, std::size_t keep, wchar_t const* format, va_list arguments);

// Converts by the process's ANSI code page. Raises CAtlException 0x80070057 for more than INT_MAX characters.
ORVANE_PLATFORM_API void convertText(std::string& target, wchar_t const* text, std::size_t length);
ORVANE_PLATFORM_API void convertText(std::wstring& target, char const* text, std::size_t length);

// Case mapping, character by character, by the C runtime's current locale.
ORVANE_PLATFORM_API void lowerText(char* text, std::size_t length);
ORVANE_PLATFORM_API void lowerText(wchar_t* text, std::size_t length);
ORVANE_PLATFORM_API void upperText(char* text, std::size_t length);
ORVANE_PLATFORM_API void upperText(wchar_t* text, std::size_t length);

// Negative, zero or positive. Wide text goes by its UTF-16 units, whatever the width of wchar_t. Ignoring case maps both
// sides to lower case as lowerText does; collating follows the C runtime's current locale and ends at the first NUL.
inline int compareText(std::string_view a, std::string_view b) noexcept
{
    return a.compare(b);
}

ORVANE_PLATFORM_API int compareText(std::wstring_view a, std::wstring_view b) noexcept;
ORVANE_PLATFORM_API int compareTextNoCase(std::string_view a, std::string_view b);
ORVANE_PLATFORM_API int compareTextNoCase(std::wstring_view a, std::wstring_view b);
ORVANE_PLATFORM_API int collateText(char const* a, char const* b);
ORVANE_PLATFORM_API int collateText(wchar_t const* a, wchar_t const* b);

template <class T>
concept Character = std::same_as<T, char> || std::same_as<T, wchar_t>;

constexpr bool isSpace(char ch) noexcept
{
    return ch == ' ' || (ch >= '\t' && ch <= '\r');
}

// Unicode's white space, whatever the locale: the C runtimes disagree beyond ASCII.
constexpr bool isSpace(wchar_t ch) noexcept
{
    if (ch < 0x80)
    {
        return ch == L' ' || (ch >= L'\t' && ch <= L'\r');
    }
    return ch == 0x85 || ch == 0xA0 || ch == 0x1680 || (ch >= 0x2000 && ch <= 0x200A) || ch == 0x2028 || ch == 0x2029 ||
           ch == 0x202F || ch == 0x205F || ch == 0x3000;
}
} // namespace detail

// Visible, so that other modules can export templates that are made for it.
template <class C>
class [[gnu::visibility("default")]] CStringT;

/// A text of `C` (char or wchar_t): a value that grows as needed and converts to `C const*`.
///
/// Positions and lengths are `int` and count `C` units. NUL characters are ordinary content wherever a length is known;
/// a `C const*` without a length ends at its first NUL. A null `C const*` is the empty text wherever text is taken.
/// Other width: text of the other character type is converted by the process's ANSI code page.
/// Own content may be passed back in (`s = s.GetString() + 1`, `s.Insert(0, s)`, `s.Format("%s", s.GetString())`).
/// A CStringT cannot go through "..." itself: pass GetString().
/// Raises: CAtlException 0x80070057 as said at the operations, std::bad_alloc where memory ends; the text is unchanged
/// in both cases. A text has at most INT_MAX characters.
/// Threads: a plain value. Share it for reading, guard it for writing.
template <class C>
class CStringT
{
    static_assert(detail::Character<C>, "text is char or wchar_t");

public:
    using XCHAR = C;                                                          // own character
    using YCHAR = std::conditional_t<std::is_same_v<C, char>, wchar_t, char>; // the other width's character
    using PXSTR = C*;
    using PCXSTR = C const*;
    using PCYSTR = YCHAR const*;
    using StdString = std::basic_string<C>;

    CStringT() noexcept = default;
    CStringT(CStringT const&) = default;
    CStringT(CStringT&& other) noexcept = default;
    ~CStringT() = default;

    CStringT(C const* text) : m_text(orEmpty(text))
    {
    }

    /// The first `length` characters of `text`, NUL characters included.
    /// Raises: CAtlException 0x80070057 for a negative length.
    CStringT(C const* text, int length) : m_text(orEmpty(text), givenLength(text, length))
    {
    }

    /// Text of the other width, converted. A template, so that `nullptr` stays unambiguous.
    template <std::same_as<YCHAR> Y>
    CStringT(Y const* text)
    {
        convert(text, text != nullptr ? std::char_traits<Y>::length(text) : 0);
    }

    /// The first `length` characters of text of the other width, converted. Raises as above.
    template <std::same_as<YCHAR> Y>
    CStringT(Y const* text, int length)
    {
        convert(text, givenLength(text, length));
    }

    explicit CStringT(CStringT<YCHAR> const& text)
    {
        convert(text.GetString(), static_cast<std::size_t>(text.GetLength()));
    }

    CStringT(StdString const& text) : m_text(text)
    {
    }

    CStringT(StdString&& text) noexcept : m_text(std::move(text))
    {
    }

    /// `ch`, `repeat` times; a negative number of times is none.
    template <detail::Character T>
    explicit CStringT(T ch, int repeat = 1)
    {
        if constexpr (std::same_as<T, C>)
        {
            m_text.assign(clampCount(repeat), ch);
        }
        else
        {
            CStringT const one(&ch, 1);
            for (int n = 0; n < repeat; ++n)
            {
                m_text.append(one.m_text);
            }
        }
    }

    CStringT& operator=(CStringT const&) = default;
    CStringT& operator=(CStringT&& other) noexcept = default;

    CStringT& operator=(C const* text)
    {
        m_text.assign(orEmpty(text));
        return *this;
    }

    template <std::same_as<YCHAR> Y>
    CStringT& operator=(Y const* text)
    {
        return *this = CStringT(text);
    }

    CStringT& operator=(CStringT<YCHAR> const& text)
    {
        return *this = CStringT(text);
    }

    CStringT& operator=(StdString const& text)
    {
        m_text = text;
        return *this;
    }

    CStringT& operator=(StdString&& text) noexcept
    {
        m_text = std::move(text);
        return *this;
    }

    template <detail::Character T>
    CStringT& operator=(T ch)
    {
        return *this = CStringT(ch);
    }

    // ---- the whole text

    int GetLength() const noexcept
    {
        return static_cast<int>(m_text.size());
    }

    bool IsEmpty() const noexcept
    {
        return m_text.empty();
    }

    /// Makes the text empty and frees its memory.
    void Empty() noexcept
    {
        StdString().swap(m_text);
    }

    /// The characters with a closing NUL. Good until the text is changed or destroyed.
    C const* GetString() const noexcept
    {
        return m_text.c_str();
    }

    operator C const*() const noexcept
    {
        return m_text.c_str();
    }

    void SetString(C const* text)
    {
        *this = text;
    }

    /// Raises: CAtlException 0x80070057 for a negative length.
    void SetString(C const* text, int length)
    {
        std::size_t const count = givenLength(text, length);
        m_text.assign(orEmpty(text), count);
    }

    // ---- single characters

    /// Raises: CAtlException 0x80070057 where there is no such character; GetLength() is refused too.
    C GetAt(int index) const
    {
        requireCharacter(index);
        return m_text[static_cast<std::size_t>(index)];
    }

    /// Raises: as GetAt.
    void SetAt(int index, C ch)
    {
        requireCharacter(index);
        m_text[static_cast<std::size_t>(index)] = ch;
    }

    /// The character at `index`; at GetLength() the closing NUL, as a pointer to the text would give.
    /// Raises: CAtlException 0x80070057 for a negative index and beyond GetLength().
    C operator[](int index) const
    {
        return at(static_cast<std::size_t>(index));
    }

    /// The same for every other integer type: without it they would compete with the conversion to a pointer.
    template <std::integral I>
    C operator[](I index) const
    {
        return at(static_cast<std::size_t>(index));
    }

    // ---- the buffer

    /// Room for `minLength` characters and a NUL, to be written by the caller: the old characters first, NULs after
    /// them. Call ReleaseBuffer before anything else is asked of the text, its length is undefined until then.
    /// Raises: CAtlException 0x80070057 for a negative length.
    C* GetBuffer(int minLength = 0)
    {
        requireCount(minLength);
        if (static_cast<std::size_t>(minLength) > m_text.size())
        {
            m_text.resize(static_cast<std::size_t>(minLength));
        }
        return m_text.data();
    }

    /// Ends what GetBuffer began: the text has `newLength` characters, with -1 those before the first NUL.
    /// Raises: CAtlException 0x80070057 below -1 and beyond the buffer; the text is then the whole buffer.
    void ReleaseBuffer(int newLength = -1)
    {
        if (newLength == -1)
        {
            m_text.resize(std::char_traits<C>::length(m_text.c_str()));
            return;
        }
        if (newLength < 0 || static_cast<std::size_t>(newLength) > m_text.size())
        {
            detail::refuseArgument();
        }
        m_text.resize(static_cast<std::size_t>(newLength));
    }

    /// Makes the text `length` characters long (cut, or filled with NULs) and lets the caller write them.
    /// Raises: CAtlException 0x80070057 for a negative length.
    C* GetBufferSetLength(int length)
    {
        requireCount(length);
        m_text.resize(static_cast<std::size_t>(length));
        return m_text.data();
    }

    /// Makes room for `length` characters in advance; the text stays. A negative length asks for nothing.
    void Preallocate(int length)
    {
        if (clampCount(length) > m_text.capacity())
        {
            m_text.reserve(clampCount(length));
        }
    }

    /// Gives back memory that the text does not need.
    void FreeExtra()
    {
        m_text.shrink_to_fit();
    }

    /// Cuts the text after `length` characters; a shorter text stays.
    /// Raises: CAtlException 0x80070057 for a negative length.
    void Truncate(int length)
    {
        requireCount(length);
        if (static_cast<std::size_t>(length) < m_text.size())
        {
            m_text.resize(static_cast<std::size_t>(length));
        }
    }

    // ---- formatting

    /// Replaces the text by the formatted one. The format has the Windows meaning on every target: `%s` takes text of
    /// the own width, `%S` of the other, `%hs` narrow, `%ls` wide, `%I64d` an __int64.
    /// Raises: CAtlException 0x80070057 for a null format and for what cannot be formatted; the text is unchanged.
    void Format(C const* format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        try
        {
            detail::formatText(m_text, 0, format, arguments);
        }
        catch (...)
        {
            va_end(arguments);
            throw;
        }
        va_end(arguments);
    }

    void FormatV(C const* format, va_list arguments)
    {
        detail::formatText(m_text, 0, format, arguments);
    }

    /// Appends the formatted text. Meaning and failures as Format.
    void AppendFormat(C const* format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        try
        {
            detail::formatText(m_text, m_text.size(), format, arguments);
        }
        catch (...)
        {
            va_end(arguments);
            throw;
        }
        va_end(arguments);
    }

    void AppendFormatV(C const* format, va_list arguments)
    {
        detail::formatText(m_text, m_text.size(), format, arguments);
    }

    // ---- appending

    void Append(C const* text)
    {
        m_text.append(orEmpty(text));
    }

    /// Raises: CAtlException 0x80070057 for a negative length.
    void Append(C const* text, int length)
    {
        std::size_t const count = givenLength(text, length);
        m_text.append(orEmpty(text), count);
    }

    void Append(CStringT const& text)
    {
        m_text.append(text.m_text);
    }

    void AppendChar(C ch)
    {
        m_text.push_back(ch);
    }

    CStringT& operator+=(CStringT const& text)
    {
        m_text.append(text.m_text);
        return *this;
    }

    CStringT& operator+=(C const* text)
    {
        Append(text);
        return *this;
    }

    CStringT& operator+=(C ch)
    {
        m_text.push_back(ch);
        return *this;
    }

    /// A character of the other width, converted.
    template <std::same_as<YCHAR> Y>
    CStringT& operator+=(Y ch)
    {
        return *this += CStringT(ch);
    }

    friend CStringT operator+(CStringT const& a, CStringT const& b)
    {
        return joined(a.m_text, b.m_text);
    }

    friend CStringT operator+(CStringT&& a, CStringT const& b)
    {
        a.m_text.append(b.m_text);
        return std::move(a);
    }

    friend CStringT operator+(CStringT const& a, C const* b)
    {
        return joined(a.m_text, orEmpty(b));
    }

    friend CStringT operator+(CStringT&& a, C const* b)
    {
        a.Append(b);
        return std::move(a);
    }

    friend CStringT operator+(C const* a, CStringT const& b)
    {
        return joined(orEmpty(a), b.m_text);
    }

    friend CStringT operator+(CStringT const& a, C b)
    {
        return joined(a.m_text, View(&b, 1));
    }

    friend CStringT operator+(CStringT&& a, C b)
    {
        a.m_text.push_back(b);
        return std::move(a);
    }

    friend CStringT operator+(C a, CStringT const& b)
    {
        return joined(View(&a, 1), b.m_text);
    }

    // ---- comparing

    /// -1, 0 or 1 by the values of the characters, all of them: a NUL is a character like others. Wide text goes by its
    /// UTF-16 units, also where wchar_t is wider: U+1F600, which begins with 0xD83D, is before U+FF21 on every target.
    int Compare(C const* text) const noexcept
    {
        return sign(detail::compareText(View(m_text), orEmpty(text)));
    }

    int Compare(CStringT const& text) const noexcept
    {
        return sign(detail::compareText(View(m_text), View(text.m_text)));
    }

    /// As Compare, both sides in lower case by the C runtime's current locale.
    int CompareNoCase(C const* text) const
    {
        return sign(detail::compareTextNoCase(m_text, orEmpty(text)));
    }

    int CompareNoCase(CStringT const& text) const
    {
        return sign(detail::compareTextNoCase(m_text, text.m_text));
    }

    /// -1, 0 or 1 in the order of the C runtime's current locale; both texts end at their first NUL.
    int Collate(C const* text) const
    {
        return sign(detail::collateText(m_text.c_str(), orEmpty(text)));
    }

    // != and the order relations follow from these two each, for either side. The order is that of Compare.
    friend bool operator==(CStringT const& a, CStringT const& b) noexcept
    {
        return a.m_text == b.m_text;
    }

    friend bool operator==(CStringT const& a, C const* b) noexcept
    {
        return View(a.m_text) == View(orEmpty(b));
    }

    friend std::strong_ordering operator<=>(CStringT const& a, CStringT const& b) noexcept
    {
        return detail::compareText(View(a.m_text), View(b.m_text)) <=> 0;
    }

    friend std::strong_ordering operator<=>(CStringT const& a, C const* b) noexcept
    {
        return detail::compareText(View(a.m_text), orEmpty(b)) <=> 0;
    }

    /// Whether the text is this one character.
    template <std::same_as<C> T>
    friend bool operator==(CStringT const& a, T b) noexcept
    {
        return a.m_text.size() == 1 && a.m_text[0] == b;
    }

    // ---- parts: positions and counts are clamped to the text, negative ones are 0

    CStringT Left(int count) const
    {
        return part(0, clampCount(count));
    }

    CStringT Right(int count) const
    {
        std::size_t const taken = std::min(clampCount(count), m_text.size());
        return part(m_text.size() - taken, taken);
    }

    CStringT Mid(int first) const
    {
        return part(clampCount(first), StdString::npos);
    }

    CStringT Mid(int first, int count) const
    {
        return part(clampCount(first), clampCount(count));
    }

    /// The leading characters that all stand in `set`.
    CStringT SpanIncluding(C const* set) const
    {
        return part(0, m_text.find_first_not_of(orEmpty(set)));
    }

    /// The leading characters before the first that stands in `set`.
    CStringT SpanExcluding(C const* set) const
    {
        return part(0, m_text.find_first_of(orEmpty(set)));
    }

    /// The next token at or after `start`: skips characters of `delimiters`, then takes those up to the next of them.
    /// `start` moves behind the delimiter that ended the token; it is -1, and the result empty, when there is no token
    /// left. Without delimiters the rest of the text is the token.
    /// Raises: CAtlException 0x80070057 for a negative start: the text is used up.
    CStringT Tokenize(C const* delimiters, int& start) const
    {
        requireCount(start);
        C const* const set = orEmpty(delimiters);
        std::size_t const first = m_text.find_first_not_of(set, static_cast<std::size_t>(start));
        if (first == StdString::npos)
        {
            start = -1;
            return CStringT();
        }
        std::size_t const end = std::min(m_text.find_first_of(set, first), m_text.size());
        CStringT token(m_text.substr(first, end - first));
        start = static_cast<int>(end + 1);
        return token;
    }

    // ---- searching: the position found, or -1; a start outside the text finds nothing

    int Find(C ch, int start = 0) const noexcept
    {
        return isPosition(start) ? position(m_text.find(ch, static_cast<std::size_t>(start))) : -1;
    }

    /// The empty text is found at `start`.
    int Find(C const* text, int start = 0) const noexcept
    {
        return isPosition(start) ? position(m_text.find(orEmpty(text), static_cast<std::size_t>(start))) : -1;
    }

    /// The last one.
    int ReverseFind(C ch) const noexcept
    {
        return position(m_text.rfind(ch));
    }

    /// The first character that stands in `set`.
    int FindOneOf(C const* set) const noexcept
    {
        return position(m_text.find_first_of(orEmpty(set)));
    }

    // ---- changing

    /// Case mapping by the C runtime's current locale, character by character; in the "C" locale that is ASCII only.
    CStringT& MakeLower()
    {
        detail::lowerText(m_text.data(), m_text.size());
        return *this;
    }

    CStringT& MakeUpper()
    {
        detail::upperText(m_text.data(), m_text.size());
        return *this;
    }

    /// Turns the order of the `C` units round.
    CStringT& MakeReverse() noexcept
    {
        std::reverse(m_text.begin(), m_text.end());
        return *this;
    }

    /// Without an argument: white space, which is Unicode's in wide and ASCII's in narrow text, whatever the locale.
    CStringT& TrimLeft() noexcept
    {
        return trimLeft([](C ch) { return detail::isSpace(ch); });
    }

    CStringT& TrimLeft(C target) noexcept
    {
        return trimLeft([target](C ch) { return ch == target; });
    }

    /// Every character that stands in `set`.
    CStringT& TrimLeft(C const* set)
    {
        StdString const targets(orEmpty(set));
        return trimLeft([&targets](C ch) { return targets.find(ch) != StdString::npos; });
    }

    CStringT& TrimRight() noexcept
    {
        return trimRight([](C ch) { return detail::isSpace(ch); });
    }

    CStringT& TrimRight(C target) noexcept
    {
        return trimRight([target](C ch) { return ch == target; });
    }

    CStringT& TrimRight(C const* set)
    {
        StdString const targets(orEmpty(set));
        return trimRight([&targets](C ch) { return targets.find(ch) != StdString::npos; });
    }

    CStringT& Trim() noexcept
    {
        return TrimRight().TrimLeft();
    }

    CStringT& Trim(C target) noexcept
    {
        return TrimRight(target).TrimLeft(target);
    }

    CStringT& Trim(C const* set)
    {
        StdString const targets(orEmpty(set));
        auto const isTarget = [&targets](C ch) { return targets.find(ch) != StdString::npos; };
        return trimRight(isTarget).trimLeft(isTarget);
    }

    /// Puts text before the character at `index`; a negative index is 0, one beyond the end appends.
    /// Gives the new length.
    int Insert(int index, C const* text)
    {
        m_text.insert(std::min(clampCount(index), m_text.size()), orEmpty(text));
        return GetLength();
    }

    int Insert(int index, CStringT const& text)
    {
        m_text.insert(std::min(clampCount(index), m_text.size()), text.m_text);
        return GetLength();
    }

    int Insert(int index, C ch)
    {
        m_text.insert(std::min(clampCount(index), m_text.size()), 1, ch);
        return GetLength();
    }

    /// Takes out the `count` characters from `index` on, as far as there are so many; negative figures are 0.
    /// Gives the new length.
    int Delete(int index, int count = 1)
    {
        m_text.erase(std::min(clampCount(index), m_text.size()), clampCount(count));
        return GetLength();
    }

    /// Takes out every `ch`, case matters; gives how many there were.
    int Remove(C ch) noexcept
    {
        return static_cast<int>(std::erase(m_text, ch));
    }

    /// Exchanges every `from`; gives how many there were.
    int Replace(C from, C to) noexcept
    {
        auto const count = std::count(m_text.begin(), m_text.end(), from);
        std::replace(m_text.begin(), m_text.end(), from, to);
        return static_cast<int>(count);
    }

    /// Exchanges every `from`, left to right, not looking into what has been put in; gives how many there were.
    /// An empty `from` is found nowhere.
    int Replace(C const* from, C const* to)
    {
        View const old(orEmpty(from));
        View const fresh(orEmpty(to));
        if (old.empty())
        {
            return 0;
        }
        StdString result;
        int count = 0;
        std::size_t rest = 0;
        for (std::size_t found = m_text.find(old); found != StdString::npos; found = m_text.find(old, rest))
        {
            result.append(m_text, rest, found - rest).append(fresh);
            rest = found + old.size();
            ++count;
        }
        if (count != 0)
        {
            result.append(m_text, rest);
            m_text = std::move(result);
        }
        return count;
    }

    friend void swap(CStringT& a, CStringT& b) noexcept
    {
        a.m_text.swap(b.m_text);
    }

    /// Writes the text to a standard stream of its width, field width and fill observed.
    template <class Traits>
    friend std::basic_ostream<C, Traits>& operator<<(std::basic_ostream<C, Traits>& stream, CStringT const& text)
    {
        return stream << std::basic_string_view<C, Traits>(text.m_text.data(), text.m_text.size());
    }

private:
    using View = std::basic_string_view<C>;

    static constexpr C c_Nothing[1] = {};

    static C const* orEmpty(C const* text) noexcept
    {
        return text != nullptr ? text : c_Nothing;
    }

    // The length that goes with a pointer: a null pointer has no characters, whatever was said.
    static std::size_t givenLength(void const* text, int length)
    {
        requireCount(length);
        return text != nullptr ? static_cast<std::size_t>(length) : 0;
    }

    static std::size_t clampCount(int count) noexcept
    {
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

    static void requireCount(int count)
    {
        if (count < 0)
        {
            detail::refuseArgument();
        }
    }

    void requireCharacter(int index) const
    {
        if (index < 0 || static_cast<std::size_t>(index) >= m_text.size())
        {
            detail::refuseArgument();
        }
    }

    // A negative index arrives here as one far beyond the end.
    C at(std::size_t index) const
    {
        if (index > m_text.size())
        {
            detail::refuseArgument();
        }
        return m_text[index];
    }

    bool isPosition(int start) const noexcept
    {
        return start >= 0 && static_cast<std::size_t>(start) <= m_text.size();
    }

    static int position(std::size_t found) noexcept
    {
        return found == StdString::npos ? -1 : static_cast<int>(found);
    }

    static int sign(int value) noexcept
    {
        return (value > 0) - (value < 0);
    }

    static CStringT joined(View a, View b)
    {
        CStringT result;
        result.m_text.reserve(a.size() + b.size());
        result.m_text.append(a).append(b);
        return result;
    }

    CStringT part(std::size_t first, std::size_t count) const
    {
        return CStringT(m_text.substr(std::min(first, m_text.size()), count));
    }

    template <class Predicate>
    CStringT& trimLeft(Predicate isTarget)
    {
        m_text.erase(m_text.begin(), std::find_if_not(m_text.begin(), m_text.end(), isTarget));
        return *this;
    }

    template <class Predicate>
    CStringT& trimRight(Predicate isTarget)
    {
        m_text.erase(std::find_if_not(m_text.rbegin(), m_text.rend(), isTarget).base(), m_text.end());
        return *this;
    }

    // Text of the other width into this new object. ASCII is the same in every code page and is copied on the way; at
    // the first other character the library starts afresh.
    void convert(YCHAR const* text, std::size_t length)
    {
        using Unit = std::make_unsigned_t<YCHAR>;
        m_text.resize(length);
        C* const target = m_text.data();
        for (std::size_t n = 0; n < length; ++n)
        {
            if (static_cast<Unit>(text[n]) >= 0x80)
            {
                detail::convertText(m_text, text, length);
                return;
            }
            target[n] = static_cast<C>(text[n]);
        }
    }

    StdString m_text;
};

using CStringA = CStringT<char>;
using CStringW = CStringT<wchar_t>;

/// Equal texts have equal hashes, the same as the standard string's.
template <class C>
struct std::hash<CStringT<C>>
{
    std::size_t operator()(CStringT<C> const& text) const noexcept
    {
        return std::hash<std::basic_string_view<C>>()({text.GetString(), static_cast<std::size_t>(text.GetLength())});
    }
};

#endif // ORVANE_MFC_CSTRINGT_H
