// The catalogue file: a head, one chunk a file, and an end mark.

#ifndef ORVANE_EXAMPLES_CATALOG_CATALOGFILE_H
#define ORVANE_EXAMPLES_CATALOG_CATALOGFILE_H

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "fileentry.h"

/// Writes a catalogue of these entries.
/// Raises: CbExceptionStd with the system's reason where the file cannot be written.
void WriteCatalog(std::filesystem::path const& path, std::vector<CFileEntry> const& entries);

/// Reads a catalogue: every entry is created by its class name. Returns their number, known and unknown; for each chunk
/// of an unknown class the pointer is empty.
/// Raises: CbExceptionStd with the system's reason where the file cannot be opened; CbException with the reason as its
/// history where it cannot be read to its end, is no catalogue or is damaged.
unsigned int ReadCatalog(std::filesystem::path const& path,
                         std::function<void(std::unique_ptr<ISerializable> entry)> const& take);

#endif // ORVANE_EXAMPLES_CATALOG_CATALOGFILE_H
