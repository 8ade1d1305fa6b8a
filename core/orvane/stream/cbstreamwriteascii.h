// Values as human-readable text.

#ifndef ORVANE_STREAM_CBSTREAMWRITEASCII_H
#define ORVANE_STREAM_CBSTREAMWRITEASCII_H

#include "orvane/stream/cbstreamwrite.h"

/// Turns every value into text and leaves the text to `write`. S is CStringA or CStringW: the stream's own width.
///
/// Integers are decimal digits with a minus sign where needed; `float` and `double` have six digits behind the radix mark
/// and no exponent, however large they are; `bool` is "true" or "false", `char` the character itself. Nothing stands
/// between two values. Numbers reach the narrow `write` in both widths, `bool` and `char` the one of the own width, text
/// the one of its own type.
/// A locale concerns floating-point numbers only; without one they follow the C runtime's current locale. Infinities and
/// NaN are written as the platform's C runtime does.
/// Raises: what `write` raises; what was written before stays.
/// Threads: a stream belongs to one thread at a time.
template <class S>
class ORVANE_API CbStreamWriteASCIIT : public CbStreamWrite
{
public:
    using TChar = typename S::XCHAR;

    /// The locale stays the caller's and must outlive its use here; so it does in copies of the stream. Null: none.
    explicit CbStreamWriteASCIIT(_locale_t locale = nullptr);
    CbStreamWriteASCIIT(CbStreamWriteASCIIT const& other);
    CbStreamWriteASCIIT(CbStreamWriteASCIIT&& other) noexcept;
    CbStreamWriteASCIIT& operator=(CbStreamWriteASCIIT const& other);
    CbStreamWriteASCIIT& operator=(CbStreamWriteASCIIT&& other) noexcept;
    ~CbStreamWriteASCIIT() override;

    /// Floating-point numbers follow `locale` from now on; null takes it off. Gives the one before.
    _locale_t SetLocale(_locale_t locale);

    /// Whether a locale is set.
    bool IsLocalize() const;

    /// Whether zeros at the end of a floating-point number are left out, and the point with them when it is then the last:
    /// 2.500000 becomes 2.5, and 2.000000 becomes 2. Off at first. Only a point counts: where the locale has another radix
    /// mark, numbers stay as they are.
    void SetTruncateFloats(bool isTruncating);
    bool IsTruncateFloats() const;

    /// Writes "0x" and the address in 16 upper-case hexadecimal digits.
    void WriteAddress(void const* address);

    using CbStreamWrite::operator<<;

    /// Text goes to the `write` of its width as it stands, null pointers included.
    CbStreamWriteASCIIT& operator<<(wchar_t const* value) override;
    CbStreamWriteASCIIT& operator<<(char const* value) override;

    CbStreamWriteASCIIT& operator<<(long value) override;
    CbStreamWriteASCIIT& operator<<(unsigned long value) override;

    /// A NUL is an empty text. In the wide stream the character is converted by the process's ANSI code page.
    CbStreamWriteASCIIT& operator<<(char value) override;

    /// Raises: CbExceptionStream from "CbStreamWriteASCIIT<class ATL::CStringT<...> >::operator <<" (the compiler's full
    /// name of the string class, see docs/text-output.md) where a locale is set and the C runtime cannot format under it;
    /// nothing is written then.
    CbStreamWriteASCIIT& operator<<(double value) override;
    CbStreamWriteASCIIT& operator<<(float value) override;

    CbStreamWriteASCIIT& operator<<(__int64 value) override;
    CbStreamWriteASCIIT& operator<<(unsigned __int64 value) override;
    CbStreamWriteASCIIT& operator<<(int value) override;
    CbStreamWriteASCIIT& operator<<(unsigned int value) override;
    CbStreamWriteASCIIT& operator<<(short value) override;
    CbStreamWriteASCIIT& operator<<(unsigned short value) override;
    CbStreamWriteASCIIT& operator<<(signed char value) override;
    CbStreamWriteASCIIT& operator<<(unsigned char value) override;
    CbStreamWriteASCIIT& operator<<(bool value) override;

protected:
    /// Take a text, which may be null, and return the stream. Wide text first: clients know the places in the table.
    virtual CbStreamWriteASCIIT& write(wchar_t const* text) = 0;
    virtual CbStreamWriteASCIIT& write(char const* text) = 0;

private:
    template <class T>
    CbStreamWriteASCIIT& writeInteger(T value);
    CbStreamWriteASCIIT& writeReal(char const* format, double value);
    void truncate();

    _locale_t m_locale;
    bool m_isTruncating = false;
    CStringA m_scratch; // the value being written, in narrow text in both widths
};

/// Collects the text of what is written.
///
/// Text of the other width is converted by the process's ANSI code page; null adds nothing.
/// Raises: std::bad_alloc where memory ends; the text collected before stays.
template <class S>
class ORVANE_API CbStreamWriteASCIIStringT : public CbStreamWriteASCIIT<S>
{
public:
    using TChar = typename S::XCHAR;

    /// Starts with no text.
    explicit CbStreamWriteASCIIStringT(_locale_t locale = nullptr);

    /// Starts with `text`; null is none.
    CbStreamWriteASCIIStringT(TChar const* text, _locale_t locale);

    CbStreamWriteASCIIStringT(CbStreamWriteASCIIStringT const& other);

    /// Takes the text over; the source is empty and can be written to again.
    CbStreamWriteASCIIStringT(CbStreamWriteASCIIStringT&& other) noexcept;

    CbStreamWriteASCIIStringT& operator=(CbStreamWriteASCIIStringT const& other);
    CbStreamWriteASCIIStringT& operator=(CbStreamWriteASCIIStringT&& other) noexcept;
    ~CbStreamWriteASCIIStringT() override;

    /// The number of characters of S collected.
    unsigned int GetLength() const;
    bool IsEmpty() const;

    /// Forgets the text. Locale and truncation stay.
    void Empty();

    /// The text with a closing NUL. Good until more is written.
    operator TChar const*() const;

protected:
    CbStreamWriteASCIIStringT& write(wchar_t const* text) override;
    CbStreamWriteASCIIStringT& write(char const* text) override;

private:
    S m_text;
};

#ifndef orvane_EXPORTS
// Made in the library; clients have no copies of their own.
extern template class CbStreamWriteASCIIT<CStringA>;
extern template class CbStreamWriteASCIIT<CStringW>;
extern template class CbStreamWriteASCIIStringT<CStringA>;
extern template class CbStreamWriteASCIIStringT<CStringW>;
#endif

#endif // ORVANE_STREAM_CBSTREAMWRITEASCII_H
