#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>

#include "platform/platform.h"
#include "platform/posix/floattext.h"
#include "platform/posix/localeinfo.h"
#include "platform/utf8.h"

namespace
{
// The arguments of one call, taken in order.
class Arguments
{
public:
    explicit Arguments(va_list arguments)
    {
        va_copy(m_arguments, arguments);
    }

    ~Arguments()
    {
        va_end(m_arguments);
    }

    Arguments(Arguments const&) = delete;
    Arguments& operator=(Arguments const&) = delete;

    template <class T>
    T Take()
    {
        return va_arg(m_arguments, T);
    }

private:
    va_list m_arguments;
};

// Counts the text and keeps as much of it as there is room for.
template <class C>
class Sink
{
public:
    Sink(C* buffer, std::size_t room) : m_buffer(buffer), m_room(room)
    {
    }

    void Put(C const* text, std::size_t length)
    {
        if (const std::size_t kept = getKept(length); kept != 0)
        {
            std::char_traits<C>::copy(m_buffer + m_length, text, kept);
        }
        m_length += length;
    }

    void Put(C character)
    {
        if (m_length < m_room)
        {
            m_buffer[m_length] = character;
        }
        ++m_length;
    }

    void Fill(C character, std::size_t count)
    {
        if (const std::size_t kept = getKept(count); kept != 0)
        {
            std::char_traits<C>::assign(m_buffer + m_length, kept, character);
        }
        m_length += count;
    }

    // Digits, signs and the like.
    void PutAscii(std::string_view text)
    {
        if constexpr (std::is_same_v<C, char>)
        {
            Put(text.data(), text.size());
        }
        else
        {
            for (const char character : text)
            {
                Put(static_cast<C>(character));
            }
        }
    }

    std::size_t GetLength() const
    {
        return m_length;
    }

private:
    std::size_t getKept(std::size_t length) const
    {
        return m_length < m_room ? std::min(length, m_room - m_length) : 0;
    }

    C* m_buffer;
    std::size_t m_room;
    std::size_t m_length = 0;
};

enum ESize : int
{
    eSizeInt,
    eSizeShort,
    eSizeLong,
    eSizeLongLong,
    eSizeLongDouble,
    eSizeWide
};

// What stands between the percent sign and the conversion letter.
struct SField
{
    bool isLeft = false;
    bool isPlus = false;
    bool isBlank = false;
    bool isAlternate = false;
    bool isZero = false;
    std::size_t width = 0;
    int precision = -1; // negative: not given
    ESize size = eSizeInt;
};

enum EOutcome : int
{
    eDone,
    eRefused,
    eTooLong
};

char const* findPercent(char const* at)
{
    return strchrnul(at, '%');
}

wchar_t const* findPercent(wchar_t const* at)
{
    while (*at != L'\0' && *at != L'%')
    {
        ++at;
    }
    return at;
}

std::size_t measure(char const* text, int precision)
{
    return precision < 0 ? std::strlen(text) : strnlen(text, static_cast<std::size_t>(precision));
}

std::size_t measure(wchar_t const* text, int precision)
{
    return precision < 0 ? std::wcslen(text) : wcsnlen(text, static_cast<std::size_t>(precision));
}

template <class C>
class Formatter
{
public:
    Formatter(C* buffer, std::size_t room, _locale_t locale, va_list arguments)
        : m_sink(buffer, room),
          m_locale(locale),
          m_arguments(arguments)
    {
    }

    EOutcome Run(C const* format)
    {
        C const* at = format;
        for (;;)
        {
            C const* const percent = findPercent(at);
            m_sink.Put(at, static_cast<std::size_t>(percent - at));
            if (*percent == C(0))
            {
                return m_sink.GetLength() <= INT_MAX ? eDone : eTooLong;
            }
            at = percent + 1;
            if (*at == C('%'))
            {
                m_sink.Put(*at++);
                continue;
            }
            SField field;
            if (!parseField(at, field) || m_sink.GetLength() > INT_MAX)
            {
                return eTooLong;
            }
            if (*at == C(0))
            {
                continue; // a format that breaks off: what there is of the last field prints nothing
            }
            if (const EOutcome outcome = convert(*at++, field); outcome != eDone)
            {
                return outcome;
            }
        }
    }

    std::size_t GetLength() const
    {
        return m_sink.GetLength();
    }

private:
    // Moves to the conversion letter. False for a width or precision that an int cannot hold.
    bool parseField(C const*& at, SField& field)
    {
        while (parseFlag(*at, field))
        {
            ++at;
        }
        int width = 0;
        if (!parseNumber(at, width))
        {
            return false;
        }
        if (width < 0)
        {
            field.isLeft = true;
        }
        field.width = static_cast<std::size_t>(std::abs(static_cast<long long>(width)));
        if (*at == C('.'))
        {
            ++at;
            field.precision = 0;
            if (!parseNumber(at, field.precision))
            {
                return false;
            }
        }
        while (parseSize(at, field.size))
        {
        }
        return true;
    }

    static bool parseFlag(C character, SField& field)
    {
        switch (character)
        {
        case C('-'):
            field.isLeft = true;
            return true;
        case C('+'):
            field.isPlus = true;
            return true;
        case C(' '):
            field.isBlank = true;
            return true;
        case C('#'):
            field.isAlternate = true;
            return true;
        case C('0'):
            field.isZero = true;
            return true;
        default:
            return false;
        }
    }

    // Digits, or a star for the next argument. Leaves `number` as it is when there is neither.
    bool parseNumber(C const*& at, int& number)
    {
        if (*at == C('*'))
        {
            ++at;
            number = m_arguments.template Take<int>();
            return true;
        }
        for (; *at >= C('0') && *at <= C('9'); ++at)
        {
            const int digit = static_cast<int>(*at - C('0'));
            if (number > (INT_MAX - digit) / 10)
            {
                return false;
            }
            number = number * 10 + digit;
        }
        return true;
    }

    // Takes one size prefix, and says whether there was one. The last one counts.
    static bool parseSize(C const*& at, ESize& size)
    {
        switch (*at)
        {
        case C('h'):
            size = eSizeShort;
            break;
        case C('l'):
            size = size == eSizeLong || size == eSizeLongLong ? eSizeLongLong : eSizeLong;
            break;
        case C('L'):
            size = eSizeLongDouble;
            break;
        case C('w'):
            size = eSizeWide;
            break;
        case C('j'):
            size = eSizeLongLong;
            break;
        case C('F'):
        case C('N'):
            break;
        case C('I'):
        case C('z'):
        case C('t'):
            return parsePointerSize(at, size);
        default:
            return false;
        }
        ++at;
        return true;
    }

    // I64, I32, or I, z, t before the letter of an integer; any others are letters without a meaning.
    static bool parsePointerSize(C const*& at, ESize& size)
    {
        const bool isI = at[0] == C('I');
        if (isI && at[1] == C('6') && at[2] == C('4'))
        {
            size = eSizeLongLong;
            at += 3;
            return true;
        }
        if (isI && at[1] == C('3') && at[2] == C('2'))
        {
            size = eSizeInt;
            at += 3;
            return true;
        }
        switch (at[1])
        {
        case C('d'):
        case C('i'):
        case C('o'):
        case C('u'):
        case C('x'):
        case C('X'):
            size = eSizeLongLong;
            ++at;
            return true;
        default:
            return false;
        }
    }

    EOutcome convert(C letter, SField const& field)
    {
        switch (letter)
        {
        case C('d'):
        case C('i'):
            convertSigned(field);
            return eDone;
        case C('u'):
            putInteger(takeUnsigned(field.size), 10, {}, field);
            return eDone;
        case C('o'):
            convertOctal(field);
            return eDone;
        case C('x'):
        case C('X'):
            convertHexadecimal(letter == C('X'), field);
            return eDone;
        case C('p'):
            convertPointer(field);
            return eDone;
        case C('e'):
        case C('E'):
        case C('f'):
        case C('g'):
        case C('G'):
        case C('a'):
        case C('A'):
            return field.size == eSizeLongDouble ? convertFloat<long double>(static_cast<char>(letter), field)
                                                 : convertFloat<double>(static_cast<char>(letter), field);
        case C('s'):
        case C('S'):
            isWideText(letter == C('S'), field.size) ? putText(takeText<wchar_t>(), field)
                                                     : putText(takeText<char>(), field);
            return eDone;
        case C('c'):
        case C('C'):
            convertCharacter(isWideText(letter == C('C'), field.size), field);
            return eDone;
        case C('n'):
            return eRefused;
        case C('%'):
            return eDone;
        default:
            m_sink.Put(letter);
            return eDone;
        }
    }

    // Of the width of the format for small letters, of the other one for capitals, unless a prefix says which.
    static bool isWideText(bool isCapital, ESize size)
    {
        switch (size)
        {
        case eSizeShort:
            return false;
        case eSizeLong:
        case eSizeLongLong:
        case eSizeWide:
            return true;
        default:
            return std::is_same_v<C, wchar_t> != isCapital;
        }
    }

    __int64 takeSigned(ESize size)
    {
        switch (size)
        {
        case eSizeShort:
            return static_cast<short>(m_arguments.template Take<int>());
        case eSizeLong:
            return m_arguments.template Take<long>();
        case eSizeLongLong:
            return m_arguments.template Take<__int64>();
        default:
            return m_arguments.template Take<int>();
        }
    }

    unsigned __int64 takeUnsigned(ESize size)
    {
        switch (size)
        {
        case eSizeShort:
            return static_cast<unsigned short>(m_arguments.template Take<int>());
        case eSizeLong:
            return m_arguments.template Take<unsigned long>();
        case eSizeLongLong:
            return m_arguments.template Take<unsigned __int64>();
        default:
            return m_arguments.template Take<unsigned int>();
        }
    }

    template <class Text>
    Text const* takeText()
    {
        return m_arguments.template Take<Text const*>();
    }

    void convertSigned(SField const& field)
    {
        const __int64 value = takeSigned(field.size);
        const auto bits = static_cast<unsigned __int64>(value);
        putInteger(value < 0 ? 0 - bits : bits, 10, getSign(value < 0, field), field);
    }

    // The octal mark is a digit like the others: left out when the number begins with a zero anyway.
    void convertOctal(SField const& field)
    {
        const unsigned __int64 value = takeUnsigned(field.size);
        const int digits = (static_cast<int>(std::bit_width(value)) + 2) / 3;
        const bool isZeroFirst = field.precision > digits || (value == 0 && field.precision != 0);
        putInteger(value, 8, field.isAlternate && !isZeroFirst ? "0" : std::string_view(), field);
    }

    void convertHexadecimal(bool isUpper, SField const& field)
    {
        const unsigned __int64 value = takeUnsigned(field.size);
        const std::string_view mark = isUpper ? "0X" : "0x";
        putInteger(value, 16, field.isAlternate && value != 0 ? mark : std::string_view(), field, isUpper);
    }

    void convertPointer(SField field)
    {
        const auto value = reinterpret_cast<std::uintptr_t>(m_arguments.template Take<void*>());
        field.precision = 2 * sizeof(void*);
        putInteger(value, 16, field.isAlternate && value != 0 ? "0X" : std::string_view(), field, true);
    }

    static std::string_view getSign(bool isNegative, SField const& field)
    {
        if (isNegative)
        {
            return "-";
        }
        return field.isPlus ? "+" : field.isBlank ? " " : std::string_view();
    }

    void putInteger(unsigned __int64 value, int base, std::string_view mark, SField const& field, bool isUpper = false)
    {
        char digits[std::numeric_limits<unsigned __int64>::digits / 3 + 1];
        char* end = digits;
        if (value != 0 || field.precision != 0)
        {
            end = std::to_chars(digits, std::end(digits), value, base).ptr;
        }
        if (isUpper)
        {
            std::transform(digits, end, digits,
                           [](char digit) { return digit >= 'a' ? static_cast<char>(digit - ('a' - 'A')) : digit; });
        }
        const auto length = static_cast<std::size_t>(end - digits);
        const std::size_t wanted = static_cast<std::size_t>(std::max(field.precision, 0));
        const std::size_t zeros = wanted > length ? wanted - length : 0;
        const bool isZeroFilled = field.isZero && field.precision < 0;
        putNumber(mark, isZeroFilled, field, zeros + length,
                  [&]
                  {
                      m_sink.Fill(C('0'), zeros);
                      m_sink.PutAscii({digits, length});
                  });
    }

    template <class T>
    EOutcome convertFloat(char letter, SField const& field)
    {
        const T value = m_arguments.template Take<T>();
        posix::SFloatText text;
        if (!posix::renderFloat(text, value, letter, field.precision, field.isAlternate))
        {
            errno = ENOMEM;
            return eRefused;
        }
        const std::string_view sign = getSign(std::signbit(value), field);
        const std::string mark = std::string(sign).append(text.prefix);
        std::optional<posix::RadixMark<C>> radix;
        std::size_t length = text.whole.size() + text.fraction.size() + text.zeros + text.exponent.size();
        if (text.hasRadix)
        {
            radix = posix::getRadixMark<C>(m_locale);
            length += radix->GetText().size();
        }
        putNumber(mark, field.isZero && text.isFinite, field, length,
                  [&]
                  {
                      m_sink.PutAscii(text.whole);
                      if (radix)
                      {
                          m_sink.Put(radix->GetText().data(), radix->GetText().size());
                      }
                      m_sink.PutAscii(text.fraction);
                      m_sink.Fill(C('0'), text.zeros);
                      m_sink.PutAscii(text.exponent);
                  });
        return eDone;
    }

    // `putDigits` writes `length` characters; zeros to fill the width stand between them and the mark.
    template <class Put>
    void putNumber(std::string_view mark, bool isZeroFilled, SField const& field, std::size_t length, Put putDigits)
    {
        const std::size_t taken = mark.size() + length;
        const std::size_t padding = field.width > taken ? field.width - taken : 0;
        const bool isZeroPadded = isZeroFilled && !field.isLeft;
        if (!field.isLeft && !isZeroPadded)
        {
            m_sink.Fill(C(' '), padding);
        }
        m_sink.PutAscii(mark);
        if (isZeroPadded)
        {
            m_sink.Fill(C('0'), padding);
        }
        putDigits();
        if (field.isLeft)
        {
            m_sink.Fill(C(' '), padding);
        }
    }

    template <class Text>
    void putText(Text const* text, SField const& field)
    {
        static constexpr Text c_Null[] = {'(', 'n', 'u', 'l', 'l', ')', 0};
        if (text == nullptr)
        {
            text = c_Null;
        }
        std::size_t length = measure(text, field.precision);
        if constexpr (std::is_same_v<Text, char> && !std::is_same_v<C, char>)
        {
            if (field.precision >= 0 && length == static_cast<std::size_t>(field.precision))
            {
                length = Utf8::lengthOfWholeUtf8(text, length);
            }
        }
        putText(text, length, field);
    }

    template <class Text>
    void putText(Text const* text, std::size_t length, SField const& field)
    {
        std::size_t padding = 0;
        if (field.width != 0)
        {
            const std::size_t taken = getConvertedLength(text, length);
            padding = field.width > taken ? field.width - taken : 0;
        }
        if (!field.isLeft)
        {
            m_sink.Fill(field.isZero ? C('0') : C(' '), padding);
        }
        putConverted(text, length);
        if (field.isLeft)
        {
            m_sink.Fill(C(' '), padding);
        }
    }

    void convertCharacter(bool isWide, SField const& field)
    {
        const int value = m_arguments.template Take<int>();
        if (isWide)
        {
            const auto character = static_cast<wchar_t>(value);
            putText(&character, 1, field);
        }
        else
        {
            const auto character = static_cast<char>(value);
            putText(&character, 1, field);
        }
    }

    static std::size_t getConvertedLength(C const*, std::size_t length)
    {
        return length;
    }

    void putConverted(C const* text, std::size_t length)
    {
        m_sink.Put(text, length);
    }

    template <class Text>
    static std::size_t getConvertedLength(Text const* text, std::size_t length)
    {
        std::size_t converted = 0;
        forEachConverted(text, length, [&](C const*, std::size_t count) { converted += count; });
        return converted;
    }

    template <class Text>
    void putConverted(Text const* text, std::size_t length)
    {
        forEachConverted(text, length, [this](C const* piece, std::size_t count) { m_sink.Put(piece, count); });
    }

    template <class Use>
    static void forEachConverted(char const* text, std::size_t length, Use use)
    {
        char const* const end = text + length;
        while (text != end)
        {
            const char32_t point = Utf8::decodeUtf8(text, end);
            const auto character = static_cast<C>(point == Utf8::c_Malformed ? Utf8::c_Replacement : point);
            use(&character, 1);
        }
    }

    template <class Use>
    static void forEachConverted(wchar_t const* text, std::size_t length, Use use)
    {
        char bytes[4];
        for (; length > 0; --length)
        {
            use(bytes, Utf8::encodeUtf8(static_cast<char32_t>(*text++), bytes));
        }
    }

    Sink<C> m_sink;
    _locale_t m_locale;
    Arguments m_arguments;
};

int fail(int error)
{
    errno = error;
    return -1;
}

// The length of the text; -1 when an int cannot count it or the format is refused.
template <class C>
int format(C* buffer, std::size_t room, C const* format, _locale_t locale, va_list arguments)
{
    if (format == nullptr || (buffer == nullptr && room != 0))
    {
        return fail(EINVAL);
    }
    Formatter<C> formatter(buffer, room, locale, arguments);
    switch (formatter.Run(format))
    {
    case eDone:
        return static_cast<int>(formatter.GetLength());
    case eRefused:
        return fail(EINVAL);
    default:
        return fail(EOVERFLOW);
    }
}

template <class C>
int formatInto(C* buffer, std::size_t count, C const* text, _locale_t locale, va_list arguments)
{
    const int length = format(buffer, count, text, locale, arguments);
    if (length < 0)
    {
        return -1;
    }
    if (static_cast<std::size_t>(length) < count)
    {
        buffer[length] = C(0);
    }
    const bool isMeasuring = buffer == nullptr && count == 0;
    return isMeasuring || static_cast<std::size_t>(length) <= count ? length : -1;
}
} // namespace

int _vscprintf(char const* text, va_list arguments)
{
    return format<char>(nullptr, 0, text, nullptr, arguments);
}

int _vscwprintf(wchar_t const* text, va_list arguments)
{
    return format<wchar_t>(nullptr, 0, text, nullptr, arguments);
}

int _vsnprintf(char* buffer, std::size_t count, char const* text, va_list arguments)
{
    return formatInto(buffer, count, text, nullptr, arguments);
}

int _vsnwprintf(wchar_t* buffer, std::size_t count, wchar_t const* text, va_list arguments)
{
    return formatInto(buffer, count, text, nullptr, arguments);
}

int _snprintf(char* buffer, std::size_t count, char const* text, ...)
{
    va_list arguments;
    va_start(arguments, text);
    const int length = formatInto(buffer, count, text, nullptr, arguments);
    va_end(arguments);
    return length;
}

int _snwprintf(wchar_t* buffer, std::size_t count, wchar_t const* text, ...)
{
    va_list arguments;
    va_start(arguments, text);
    const int length = formatInto(buffer, count, text, nullptr, arguments);
    va_end(arguments);
    return length;
}

int _snprintf_l(char* buffer, std::size_t count, char const* text, _locale_t locale, ...)
{
    va_list arguments;
    va_start(arguments, locale);
    const int length = formatInto(buffer, count, text, locale, arguments);
    va_end(arguments);
    return length;
}

int _snwprintf_l(wchar_t* buffer, std::size_t count, wchar_t const* text, _locale_t locale, ...)
{
    va_list arguments;
    va_start(arguments, locale);
    const int length = formatInto(buffer, count, text, locale, arguments);
    va_end(arguments);
    return length;
}
