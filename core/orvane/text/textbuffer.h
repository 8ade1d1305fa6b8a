// Narrow text that is put together piece by piece.

#ifndef ORVANE_TEXT_TEXTBUFFER_H
#define ORVANE_TEXT_TEXTBUFFER_H

#include <charconv>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

#include "mfc/cstringt.h"
#include "platform/platform.h"

namespace detail
{
/// Text that grows at its end. One of up to `Room` characters never leaves the object.
template <std::size_t Room>
class CTextBuffer
{
public:
    void Add(char character)
    {
        if (m_length == Room)
        {
            flush();
        }
        m_buffer[m_length++] = character;
    }

    void Add(std::string_view text)
    {
        if (text.size() > Room - m_length)
        {
            flush();
            if (text.size() > Room)
            {
                m_spilled.append(text);
                return;
            }
        }
        std::memcpy(m_buffer + m_length, text.data(), text.size());
        m_length += text.size();
    }

    /// At least `digits` digits, up to 10.
    void AddNumber(unsigned int number, unsigned int digits)
    {
        constexpr unsigned int c_Most = 10; // digits of 32 bits
        char text[c_Most];
        unsigned int at = c_Most;
        for (; number != 0 || c_Most - at < digits; number /= 10)
        {
            text[--at] = static_cast<char>('0' + number % 10);
        }
        Add(std::string_view(text + at, c_Most - at));
    }

    /// As "%d".
    void AddInt(int number)
    {
        char text[11];
        char const* const end = std::to_chars(text, std::end(text), number).ptr;
        Add(std::string_view(text, static_cast<std::size_t>(end - text)));
    }

    /// As "%p": sixteen digits, capital letters.
    void AddAddress(unsigned __int64 address)
    {
        constexpr std::size_t c_Digits = 16;
        char text[c_Digits];
        for (std::size_t at = c_Digits; at-- > 0; address >>= 4)
        {
            text[at] = "0123456789ABCDEF"[address & 0xF];
        }
        Add(std::string_view(text, c_Digits));
    }

    /// The whole text; good until something is added or the object ends.
    std::string_view GetText()
    {
        if (m_spilled.empty())
        {
            return {m_buffer, m_length};
        }
        flush();
        return m_spilled;
    }

    CStringA Take()
    {
        if (m_spilled.empty())
        {
            return CStringA(m_buffer, static_cast<int>(m_length));
        }
        flush();
        return CStringA(std::move(m_spilled));
    }

private:
    void flush()
    {
        m_spilled.append(m_buffer, m_length);
        m_length = 0;
    }

    char m_buffer[Room];
    std::size_t m_length = 0;
    std::string m_spilled;
};
} // namespace detail

#endif // ORVANE_TEXT_TEXTBUFFER_H
