// Binary streams on files: what a client adds to the library's memory streams.

#ifndef ORVANE_EXAMPLES_CATALOG_FILESTREAMS_H
#define ORVANE_EXAMPLES_CATALOG_FILESTREAMS_H

#include <filesystem>
#include <fstream>

#include "orvane/orvane.h"

class CFileWriteStream : public CbStreamWriteBinary
{
public:
    /// Creates or replaces the file. Raises: CbExceptionStream where that fails.
    explicit CFileWriteStream(std::filesystem::path const& path);

    /// Raises: CbExceptionStream where what was written does not reach the file.
    void Close();

protected:
    CFileWriteStream& write(void const* data, unsigned __int64 size) override;

private:
    std::ofstream m_file;
};

class CFileReadStream : public CbStreamReadBinary
{
public:
    /// Raises: CbExceptionStream where the file cannot be opened.
    explicit CFileReadStream(std::filesystem::path const& path);

protected:
    unsigned __int64 read(void* data, unsigned __int64 size) override;

private:
    std::ifstream m_file;
};

#endif // ORVANE_EXAMPLES_CATALOG_FILESTREAMS_H
