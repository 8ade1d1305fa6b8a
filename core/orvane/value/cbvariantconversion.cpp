#include <charconv>
#include <cmath>
#include <iterator>

#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/exception/raisesite.h"
#include "orvane/text/numberscan.h"
#include "orvane/value/cbvariant.h"

namespace
{
// The class's own file, whatever part of it stands here.
CB_RAISING_FILE("cbvariant");

// Room for any double by "%f": 309 digits, a sign, a radix mark and six digits more.
constexpr std::size_t c_RealText = 512;

// What the processor gives for what a signed 64-bit number does not hold.
constexpr __int64 c_Indefinite = static_cast<__int64>(1ull << 63);
constexpr double c_TwoTo63 = 9223372036854775808.0;

double roundHalfUp(double value)
{
    return std::trunc(value) == value ? value : std::floor(value + 0.5);
}

__int64 toSigned(double value)
{
    return value >= -c_TwoTo63 && value < c_TwoTo63 ? static_cast<__int64>(value) : c_Indefinite;
}

unsigned __int64 toUnsigned(double value)
{
    if (value >= c_TwoTo63)
    {
        return static_cast<unsigned __int64>(toSigned(value - c_TwoTo63)) + (1ull << 63);
    }
    return static_cast<unsigned __int64>(toSigned(value));
}

// Only ASCII letters have a case here.
template <class C>
bool isWord(C const* text, char const* word)
{
    for (; *word != '\0'; ++word, ++text)
    {
        C const lower = *text >= C('A') && *text <= C('Z') ? static_cast<C>(*text + ('a' - 'A')) : *text;
        if (lower != C(*word))
        {
            return false;
        }
    }
    return *text == C('\0');
}

template <class C>
bool stringToBool(C const* text)
{
    if (isWord(text, "true") || isWord(text, "1"))
    {
        return true;
    }
    if (isWord(text, "false") || isWord(text, "0"))
    {
        return false;
    }
    throw CbExceptionConversion(CB_SITE("stringToBool"));
}

// A text that ends before any number counts as scanned, by contract, and is 0.
template <class C>
__int64 stringToInt(C const* text)
{
    __int64 value = 0;
    if (NumberScan::ScanSigned(text, value) == NumberScan::eNone)
    {
        throw CbExceptionConversion(CB_SITE("stringToInt"));
    }
    return value;
}

template <class C>
unsigned __int64 stringToUInt(C const* text)
{
    unsigned __int64 value = 0;
    if (NumberScan::ScanUnsigned(text, value) == NumberScan::eNone)
    {
        throw CbExceptionConversion(CB_SITE("stringToUInt"));
    }
    return value;
}

double parseReal(char const* text, char** end, _locale_t locale)
{
    return _strtod_l(text, end, locale);
}

double parseReal(wchar_t const* text, wchar_t** end, _locale_t locale)
{
    return _wcstod_l(text, end, locale);
}

template <class C>
double stringToDouble(C const* text, _locale_t locale)
{
    C* end = nullptr;
    double const value = parseReal(text, &end, locale);
    if (*end != C('\0'))
    {
        throw CbExceptionConversion(CB_SITE("stringToDouble"));
    }
    return value;
}

CStringA floatToString(double value, _locale_t locale)
{
    char text[c_RealText];
    int const length = _snprintf_l(text, c_RealText, "%f", locale, value);
    if (length < 0)
    {
        throw CbExceptionConversion(CB_SITE("floatToString"));
    }
    return CStringA(text, length);
}

// By "%d", whatever the integer's width: its low 32 bits, signed.
CStringA integerToString(unsigned __int64 bits)
{
    char text[12];
    char* const end = std::to_chars(text, std::end(text), static_cast<int>(static_cast<unsigned int>(bits))).ptr;
    return CStringA(text, static_cast<int>(end - text));
}

// One UTF-16 unit by "%c": a character above 0x7F arrives there with its sign.
CStringW charToString(char value)
{
    return CStringW(static_cast<wchar_t>(static_cast<unsigned short>(static_cast<signed char>(value))), 1);
}
} // namespace

// Works out the new value first and stores it last, so that a refusal leaves the variant as it was.
class CbVariant::CConversion
{
public:
    CConversion(CbVariant& variant, _locale_t locale)
        : m_variant(variant),
          m_cell(variant.m_cell),
          m_type(variant.m_type),
          m_locale(locale)
    {
    }

    void To(EVariantType target)
    {
        switch (target)
        {
        case eNull:
            m_variant.SetNull();
            return;
        case eBool:
            m_variant = toBool();
            return;
        case eChar:
            m_variant = toChar();
            return;
        case eInt8:
            m_variant = toInteger<signed char>("convertToInt8");
            return;
        case eUInt8:
            m_variant = toInteger<unsigned char>("convertToUInt8");
            return;
        case eInt16:
            m_variant = toInteger<short>("convertToInt16");
            return;
        case eUInt16:
            m_variant = toInteger<unsigned short>("convertToUInt16");
            return;
        case eInt32:
            m_variant = toInteger<int>("convertToInt32");
            return;
        case eUInt32:
            m_variant = toInteger<unsigned int>("convertToUInt32");
            return;
        case eInt64:
            m_variant = toInteger<__int64>("convertToInt64");
            return;
        case eUInt64:
            m_variant = toInteger<unsigned __int64>("convertToUInt64");
            return;
        case eFloat:
            m_variant = toReal<float>("convertToFloat");
            return;
        case eDouble:
            m_variant = toReal<double>("convertToDouble");
            return;
        case eStringW:
            toText<CStringW>();
            return;
        case eStringA:
            toText<CStringA>();
            return;
        case eDateTime:
            toDate();
            return;
        default:
            throw CbExceptionConversion(CB_SITE("CbVariant::ConvertTo"));
        }
    }

private:
    // Calls `use` with the number that the variant holds, integers widened to 64 bits of their own signedness.
    template <class TUse>
    auto withNumber(char const* function, TUse use) const
    {
        switch (m_type)
        {
        case eBool:
            return use(static_cast<__int64>(m_cell.asBool));
        case eChar:
        case eInt8:
            return use(static_cast<__int64>(m_cell.asInt8));
        case eInt16:
            return use(static_cast<__int64>(m_cell.asInt16));
        case eInt32:
            return use(static_cast<__int64>(m_cell.asInt32));
        case eInt64:
            return use(m_cell.asInt64);
        case eUInt8:
            return use(static_cast<unsigned __int64>(m_cell.asUInt8));
        case eUInt16:
            return use(static_cast<unsigned __int64>(m_cell.asUInt16));
        case eUInt32:
            return use(static_cast<unsigned __int64>(m_cell.asUInt32));
        case eUInt64:
            return use(m_cell.asUInt64);
        case eFloat:
            return use(static_cast<double>(m_cell.asFloat));
        case eDouble:
            return use(m_cell.asDouble);
        default:
            throw CbExceptionConversion(CB_SITE(function));
        }
    }

    bool toBool() const
    {
        switch (m_type)
        {
        case eStringA:
            return stringToBool(m_cell.textA->GetString());
        case eStringW:
            return stringToBool(m_cell.textW->GetString());
        default:
            return withNumber("convertToBool", [](auto number) { return number != 0; });
        }
    }

    template <class T, class C>
    static T scan(C const* text)
    {
        if constexpr (std::is_signed_v<T>)
        {
            return static_cast<T>(stringToInt(text));
        }
        else
        {
            return static_cast<T>(stringToUInt(text));
        }
    }

    template <class T>
    static T cut(double value)
    {
        if constexpr (std::same_as<T, unsigned __int64>)
        {
            return toUnsigned(roundHalfUp(value));
        }
        else
        {
            return static_cast<T>(toSigned(roundHalfUp(value)));
        }
    }

    template <class T>
    T toInteger(char const* function) const
    {
        switch (m_type)
        {
        case eStringA:
            return scan<T>(m_cell.textA->GetString());
        case eStringW:
            return scan<T>(m_cell.textW->GetString());
        default:
            return withNumber(function,
                              [](auto number)
                              {
                                  if constexpr (std::same_as<decltype(number), double>)
                                  {
                                      return cut<T>(number);
                                  }
                                  else
                                  {
                                      return static_cast<T>(number);
                                  }
                              });
        }
    }

    template <class T>
    T toReal(char const* function) const
    {
        switch (m_type)
        {
        case eStringA:
            return static_cast<T>(stringToDouble(m_cell.textA->GetString(), m_locale));
        case eStringW:
            return static_cast<T>(stringToDouble(m_cell.textW->GetString(), m_locale));
        default:
            return withNumber(function, [](auto number) { return static_cast<T>(number); });
        }
    }

    // Exactly one character before the first NUL; in wide text one UTF-16 unit, of which the low byte counts.
    template <class C>
    static char onlyCharacter(C const* text)
    {
        constexpr unsigned int c_LastUnit = 0xFFFF;
        unsigned int const code = static_cast<std::make_unsigned_t<C>>(text[0]);
        if (code == 0 || code > c_LastUnit || text[1] != C('\0'))
        {
            throw CbExceptionConversion(CB_SITE("convertToChar"));
        }
        return static_cast<char>(text[0]);
    }

    char toChar() const
    {
        switch (m_type)
        {
        case eStringA:
            return onlyCharacter(m_cell.textA->GetString());
        case eStringW:
            return onlyCharacter(m_cell.textW->GetString());
        default:
            // By way of eUInt8, and refused there.
            return static_cast<char>(toInteger<unsigned char>("convertToUInt8"));
        }
    }

    // The constructor converts text of the other width by the process's code page.
    template <class TText>
    void toText()
    {
        switch (m_type)
        {
        case eStringA:
            keep(TText(*m_cell.textA));
            return;
        case eStringW:
            keep(TText(*m_cell.textW));
            return;
        case eDateTime:
            keep(TText(m_cell.date->ToString(c_DateForm, /*local*/ false)));
            return;
        case eChar:
            keep(TText(charToString(m_cell.asChar)));
            return;
        default:
            keep(TText(withNumber("convertToString",
                                  [this](auto number)
                                  {
                                      if constexpr (std::same_as<decltype(number), double>)
                                      {
                                          return floatToString(number, m_locale);
                                      }
                                      else
                                      {
                                          return integerToString(static_cast<unsigned __int64>(number));
                                      }
                                  })));
            return;
        }
    }

    void toDate()
    {
        switch (m_type)
        {
        case eStringA:
            m_variant.hold(new CbDateTime(m_cell.textA->GetString(), /*local*/ false));
            return;
        case eStringW:
            m_variant.hold(new CbDateTime(m_cell.textW->GetString(), /*local*/ false));
            return;
        default:
            throw CbExceptionConversion(CB_SITE("CbVariant::ConvertTo"));
        }
    }

    template <class TText>
    void keep(TText text)
    {
        m_variant.hold(makeText<TText>(std::move(text)));
    }

    CbVariant& m_variant;
    UCell const& m_cell;
    EVariantType const m_type;
    _locale_t const m_locale;
};

CbVariant& CbVariant::ConvertTo(EVariantType target)
{
    // To the C runtime calls null is the current locale: no copy of it has to be made and freed.
    return convert(target, nullptr);
}

CbVariant& CbVariant::ConvertToLocalized(EVariantType target, _locale_t locale)
{
    return convert(target, locale);
}

CbVariant& CbVariant::convert(EVariantType target, _locale_t locale)
{
    if (m_type == target && exists(target))
    {
        return *this;
    }
    try
    {
        CConversion(*this, locale).To(target);
    }
    catch (IException const&)
    {
        throw;
    }
    catch (...)
    {
        throw CbExceptionConversion(CB_SITE("CbVariant::ConvertTo"));
    }
    return *this;
}

std::string CbVariant::getNarrow() const
{
    if (m_type == eStringA)
    {
        return m_cell.textA->GetString();
    }
    CbVariant copy(*this);
    return std::as_const(copy.ConvertTo(eStringA)).operator char const*();
}

std::wstring CbVariant::getWide() const
{
    if (m_type == eStringW)
    {
        return m_cell.textW->GetString();
    }
    CbVariant copy(*this);
    return std::as_const(copy.ConvertTo(eStringW)).operator wchar_t const*();
}
