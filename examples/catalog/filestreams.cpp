#include "filestreams.h"

#include <cerrno>

namespace
{
constexpr char const* c_SourceFile = "filestreams";
} // namespace

std::system_error LastFileError(char const* what)
{
    return std::system_error(errno != 0 ? errno : EIO, std::generic_category(), what);
}

CFileWriteStream::CFileWriteStream(std::filesystem::path const& path)
{
    errno = 0;
    m_file.open(path, std::ios::binary | std::ios::trunc);
    if (!m_file)
    {
        throw CbExceptionStd(CB_SITE("CFileWriteStream::CFileWriteStream"), LastFileError("creating"));
    }
}

void CFileWriteStream::Close()
{
    errno = 0;
    m_file.close();
    if (!m_file)
    {
        throw CbExceptionStd(CB_SITE("CFileWriteStream::Close"), LastFileError("writing"));
    }
}

CFileWriteStream& CFileWriteStream::write(void const* data, unsigned __int64 size)
{
    errno = 0;
    if (!m_file.write(static_cast<char const*>(data), static_cast<std::streamsize>(size)))
    {
        throw CbExceptionStd(CB_SITE("CFileWriteStream::write"), LastFileError("writing"));
    }
    return *this;
}

CFileReadStream::CFileReadStream(std::filesystem::path const& path)
{
    // Some systems open a directory as they do a file, and fail when it is read.
    std::error_code ignored;
    bool const isDirectory = std::filesystem::is_directory(path, ignored);
    errno = 0;
    if (!isDirectory)
    {
        m_file.open(path, std::ios::binary);
    }
    if (isDirectory || !m_file)
    {
        errno = isDirectory ? EISDIR : errno;
        throw CbExceptionStd(CB_SITE("CFileReadStream::CFileReadStream"), LastFileError("opening"));
    }
}

unsigned __int64 CFileReadStream::read(void* data, unsigned __int64 size)
{
    errno = 0;
    m_file.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
    if (m_file.bad())
    {
        throw CbExceptionStd(CB_SITE("CFileReadStream::read"), LastFileError("reading"));
    }
    return static_cast<unsigned __int64>(m_file.gcount());
}
