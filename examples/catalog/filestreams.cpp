#include "filestreams.h"

namespace
{
constexpr char const* c_SourceFile = "filestreams";
} // namespace

CFileWriteStream::CFileWriteStream(std::filesystem::path const& path) : m_file(path, std::ios::binary | std::ios::trunc)
{
    if (!m_file)
    {
        throw CbExceptionStream(CB_SITE("CFileWriteStream::CFileWriteStream"));
    }
}

void CFileWriteStream::Close()
{
    m_file.close();
    if (!m_file)
    {
        throw CbExceptionStream(CB_SITE("CFileWriteStream::Close"));
    }
}

CFileWriteStream& CFileWriteStream::write(void const* data, unsigned __int64 size)
{
    if (!m_file.write(static_cast<char const*>(data), static_cast<std::streamsize>(size)))
    {
        throw CbExceptionStream(CB_SITE("CFileWriteStream::write"));
    }
    return *this;
}

CFileReadStream::CFileReadStream(std::filesystem::path const& path) : m_file(path, std::ios::binary)
{
    if (!m_file)
    {
        throw CbExceptionStream(CB_SITE("CFileReadStream::CFileReadStream"));
    }
}

unsigned __int64 CFileReadStream::read(void* data, unsigned __int64 size)
{
    m_file.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
    return static_cast<unsigned __int64>(m_file.gcount());
}
