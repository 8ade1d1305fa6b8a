// Formatting into standard strings.

#ifndef ORVANE_TEXT_CBSTR_H
#define ORVANE_TEXT_CBSTR_H

#include <cstdarg>
#include <memory>
#include <string>
#include <utility>

#include "mfc/catlexception.h"
#include "mfc/cstringt.h"
#include "orvane/exception/raiserecord.h"

namespace detail
{
/// The function text of a formatting failure: the same with every compiler.
template <class C>
struct SFormatSite;

template <>
struct SFormatSite<wchar_t>
{
    static constexpr char const* c_Function = "CbStrT<class std::basic_string<wchar_t,struct std::char_traits<wchar_t>,"
                                              "class std::allocator<wchar_t> > >::Format";
};

template <>
struct SFormatSite<char>
{
    static constexpr char const* c_Function = "CbStrT<class std::basic_string<char,struct std::char_traits<char>,"
                                              "class std::allocator<char> > >::Format";
};
} // namespace detail

/// A standard string (S is std::string or std::wstring) that is filled by printf-style formatting.
///
/// Formats have the Windows meaning on every target: `%s` takes text of the format's own width, `%S` of the other one,
/// `%I64d` a 64-bit number.
/// Threads: a plain value.
template <class S>
class CbStrT
{
public:
    using TChar = typename S::value_type;

    /// A formatting failure: a light exception without a class record, a history or a log line.
    class CException : public IException
    {
    public:
        CException(char const* file, unsigned int line, char const* function) : m_record(file, line, function)
        {
        }

        std::unique_ptr<IException> Clone() const override
        {
            return std::make_unique<CException>(*this);
        }

        char const* GetFilename() const override
        {
            return m_record.file.c_str();
        }

        unsigned int GetCodeLine() const override
        {
            return m_record.line;
        }

        char const* GetFunctionName() const override
        {
            return m_record.function.c_str();
        }

        unsigned int GetThreadID() const override
        {
            return m_record.threadId;
        }

    private:
        detail::SRaiseRecord m_record;
    };

    /// Replaces the text. The arguments may point into it.
    /// Raises: CException from file "cbstr" for a null format and for what cannot be formatted; the text is unchanged.
    void Format(TChar const* format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        try
        {
            FormatV(format, arguments);
        }
        catch (...)
        {
            va_end(arguments);
            throw;
        }
        va_end(arguments);
    }

    /// The same with arguments that are collected already.
    void FormatV(TChar const* format, va_list arguments)
    {
        try
        {
            detail::formatText(m_text, 0, format, arguments);
        }
        catch (CAtlException const&)
        {
            throw CException("cbstr", static_cast<unsigned int>(__LINE__), detail::SFormatSite<TChar>::c_Function);
        }
    }

    S const& Get() const
    {
        return m_text;
    }

    operator S const&() const
    {
        return m_text;
    }

private:
    S m_text;
};

#endif // ORVANE_TEXT_CBSTR_H
