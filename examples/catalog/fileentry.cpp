#include "fileentry.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "filestreams.h"
#include "pathtext.h"

CB_IMPLEMENT_CLASS(CFileEntry);

namespace
{
constexpr char const* c_SourceFile = "fileentry";

constexpr unsigned int c_Version = 2;
constexpr std::size_t c_BlockSize = 262'144;

constexpr unsigned __int64 c_FnvStart = 0xCBF29CE484222325;
constexpr unsigned __int64 c_FnvPrime = 0x100000001B3;

// Opens a file that comes to an end: a device or a pipe may not. Raises: a std::exception with the reason.
std::ifstream open(std::filesystem::path const& path)
{
    std::error_code ignored;
    std::filesystem::file_status const status = std::filesystem::status(path, ignored);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
    {
        throw std::runtime_error("neither a file nor a directory");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        throw LastFileError("opening");
    }
    return file;
}

// Date-times are stored as local text to the second. What that does not tell is dropped at once, so that an entry that is
// read back equals the one that was written.
CbVariant writtenTimeOf(std::filesystem::path const& path)
{
    constexpr wchar_t const* c_StoredForm = L"Y-m-d H:i:s";
    CbDateTime time;
    if (!time.ReadFileModificationTime(WideTextOf(path).c_str()))
    {
        return {};
    }
    return CbVariant(CbDateTime(time.ToString(c_StoredForm, true), true));
}
} // namespace

CFileEntry CFileEntry::FromFile(std::filesystem::path const& path)
{
    try
    {
        std::wstring const name = GenericTextOf(path);
        unsigned __int64 size = 0;
        unsigned __int64 digest = c_FnvStart;
        CbArray<unsigned char> firstBytes;

        std::ifstream file = open(path);
        std::vector<char> block(c_BlockSize);
        do
        {
            errno = 0;
            file.read(block.data(), static_cast<std::streamsize>(block.size()));
            if (file.bad())
            {
                throw LastFileError("reading");
            }
            std::size_t const count = static_cast<std::size_t>(file.gcount());
            auto const* const bytes = reinterpret_cast<unsigned char const*>(block.data());
            if (size == 0)
            {
                firstBytes.Append(bytes, static_cast<unsigned int>(std::min<std::size_t>(count, c_FirstBytes)));
            }
            for (std::size_t i = 0; i < count; ++i)
            {
                digest = (digest ^ bytes[i]) * c_FnvPrime;
            }
            size += count;
        } while (file);

        CFileEntry entry;
        entry.m_facts[eFactPath] = name;
        entry.m_facts[eFactSize] = size;
        entry.m_facts[eFactWritten] = writtenTimeOf(path);
        entry.m_facts[eFactDigest] = digest;
        entry.m_facts[eFactFirstBytes] = std::move(firstBytes);
        return entry;
    }
    catch (std::exception const& exception)
    {
        CbExceptionStd const cause(CB_SITE("CFileEntry::FromFile"), exception);
        throw CbException(CB_SITE("CFileEntry::FromFile"), cause, (L"cannot read " + ShownTextOf(path)).c_str());
    }
}

CStringW const& CFileEntry::GetPath() const
{
    return m_facts[eFactPath];
}

unsigned __int64 CFileEntry::GetSize() const
{
    return m_facts[eFactSize];
}

unsigned __int64 CFileEntry::GetDigest() const
{
    return m_facts[eFactDigest];
}

CbArray<unsigned char> const& CFileEntry::GetFirstBytes() const
{
    return m_facts[eFactFirstBytes];
}

CbVariant const& CFileEntry::GetWritten() const
{
    return m_facts[eFactWritten];
}

void CFileEntry::Serialize(CbStreamWriteBinary& stream) const
{
    stream.WriteVersion(c_Version);
    for (CbVariant const& fact : m_facts)
    {
        fact.Serialize(stream);
    }
}

void CFileEntry::Serialize(CbStreamReadBinary& stream)
{
    if (stream.ReadAndCompareVersion(c_Version) < c_Version)
    {
        throw CbException(CB_SITE("CFileEntry::Serialize"), L"an entry of an older catalogue");
    }
    for (CbVariant& fact : m_facts)
    {
        fact.Serialize(stream);
    }
    if (!isComplete())
    {
        throw CbException(CB_SITE("CFileEntry::Serialize"), L"a fact of another kind than it should be");
    }
}

bool CFileEntry::isComplete() const
{
    return m_facts[eFactPath].GetType() == CbVariant::eStringW && m_facts[eFactSize].GetType() == CbVariant::eUInt64 &&
           (GetWritten().IsNull() || GetWritten().GetType() == CbVariant::eDateTime) &&
           m_facts[eFactDigest].GetType() == CbVariant::eUInt64 &&
           m_facts[eFactFirstBytes].GetType() == CbVariant::eByteArray;
}

bool operator==(CFileEntry const& left, CFileEntry const& right)
{
    return left.m_facts == right.m_facts;
}
