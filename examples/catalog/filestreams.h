// Binary streams on files: what a client adds to the library's memory streams.

#ifndef ORVANE_EXAMPLES_CATALOG_FILESTREAMS_H
#define ORVANE_EXAMPLES_CATALOG_FILESTREAMS_H

#include <filesystem>
#include <fstream>
#include <system_error>

#include "orvane/orvane.h"

/// What the last call on a file failed with; "reading" and its like say what was tried.
/// Set errno to 0 before the call: not every failure has a reason.
std::system_error LastFileError(char const* what);

class CFileWriteStream : public CbStreamWriteBinary
{
public:
    /// Creates or replaces the file. Raises: CbExceptionStd with the system's reason where that fails.
    explicit CFileWriteStream(std::filesystem::path const& path);

    /// Raises: CbExceptionStd with the system's reason where what was written does not reach the file.
    void Close();

protected:
    CFileWriteStream& write(void const* data, unsigned __int64 size) override;

private:
    std::ofstream m_file;
};

class CFileReadStream : public CbStreamReadBinary
{
public:
    /// Raises: CbExceptionStd with the system's reason where the file cannot be opened, or is a directory.
    explicit CFileReadStream(std::filesystem::path const& path);

protected:
    /// Raises: CbExceptionStd with the system's reason where reading fails. The end of the file is no failure.
    unsigned __int64 read(void* data, unsigned __int64 size) override;

private:
    std::ifstream m_file;
};

#endif // ORVANE_EXAMPLES_CATALOG_FILESTREAMS_H
