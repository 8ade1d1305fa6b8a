#include "fileentry.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>
#include <vector>

CB_IMPLEMENT_CLASS(CFileEntry);

namespace
{
constexpr char const* c_SourceFile = "fileentry";

constexpr unsigned int c_Version = 1;
constexpr std::size_t c_BlockSize = 262'144;

constexpr unsigned __int64 c_FnvStart = 0xCBF29CE484222325;
constexpr unsigned __int64 c_FnvPrime = 0x100000001B3;

std::system_error lastSystemError(char const* what)
{
    return std::system_error(errno, std::generic_category(), what);
}

// A file's name may hold bytes that are no text; that is one of the reasons why a file cannot be catalogued.
std::wstring nameOf(std::filesystem::path const& path)
{
    try
    {
        return path.generic_wstring();
    }
    catch (std::exception const&)
    {
        return L"a file whose name is no text";
    }
}
} // namespace

CFileEntry CFileEntry::FromFile(std::filesystem::path const& path)
{
    try
    {
        CFileEntry entry;
        entry.m_path = path.generic_wstring();
        entry.m_digest = c_FnvStart;

        std::ifstream file(path, std::ios::binary);
        if (!file)
        {
            throw lastSystemError("opening");
        }
        std::vector<char> block(c_BlockSize);
        do
        {
            file.read(block.data(), static_cast<std::streamsize>(block.size()));
            if (file.bad())
            {
                throw lastSystemError("reading");
            }
            std::size_t const count = static_cast<std::size_t>(file.gcount());
            auto const* const bytes = reinterpret_cast<unsigned char const*>(block.data());
            if (entry.m_size == 0)
            {
                entry.m_firstBytes.Append(bytes, static_cast<unsigned int>(std::min<std::size_t>(count, c_FirstBytes)));
            }
            for (std::size_t i = 0; i < count; ++i)
            {
                entry.m_digest = (entry.m_digest ^ bytes[i]) * c_FnvPrime;
            }
            entry.m_size += count;
        } while (file);
        return entry;
    }
    catch (std::exception const& exception)
    {
        CbExceptionStd const cause(CB_SITE("CFileEntry::FromFile"), exception);
        throw CbException(CB_SITE("CFileEntry::FromFile"), cause, (L"cannot read " + nameOf(path)).c_str());
    }
}

std::wstring const& CFileEntry::GetPath() const
{
    return m_path;
}

unsigned __int64 CFileEntry::GetSize() const
{
    return m_size;
}

unsigned __int64 CFileEntry::GetDigest() const
{
    return m_digest;
}

CbArray<unsigned char> const& CFileEntry::GetFirstBytes() const
{
    return m_firstBytes;
}

void CFileEntry::Serialize(CbStreamWriteBinary& stream) const
{
    stream.WriteVersion(c_Version);
    stream << m_path;
    stream << m_size;
    stream << m_digest;
    CbArray_Serializer::Serialize(stream, m_firstBytes);
}

void CFileEntry::Serialize(CbStreamReadBinary& stream)
{
    stream.ReadAndCompareVersion(c_Version);
    stream >> m_path;
    stream >> m_size;
    stream >> m_digest;
    CbArray_Serializer::Serialize(stream, m_firstBytes);
}

bool operator==(CFileEntry const& left, CFileEntry const& right)
{
    return left.m_path == right.m_path && left.m_size == right.m_size && left.m_digest == right.m_digest &&
           left.m_firstBytes == right.m_firstBytes;
}
