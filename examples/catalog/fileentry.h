// One file of a catalogue.

#ifndef ORVANE_EXAMPLES_CATALOG_FILEENTRY_H
#define ORVANE_EXAMPLES_CATALOG_FILEENTRY_H

#include <filesystem>
#include <string>

#include "orvane/orvane.h"

/// What a catalogue knows about a file: a serialisable class that is registered under its name, so that a reader of the
/// catalogue creates it without knowing it.
class CFileEntry : public ISerializable
{
    CB_DECLARE_CLASS(CFileEntry);

public:
    /// Bytes of the file's beginning that an entry keeps.
    static constexpr unsigned int c_FirstBytes = 32;

    CFileEntry() = default;

    /// Reads the file. Raises: CbException with the cause as its history where it cannot be read.
    static CFileEntry FromFile(std::filesystem::path const& path);

    std::wstring const& GetPath() const;
    unsigned __int64 GetSize() const;
    unsigned __int64 GetDigest() const;
    CbArray<unsigned char> const& GetFirstBytes() const;

    void Serialize(CbStreamWriteBinary& stream) const override;
    void Serialize(CbStreamReadBinary& stream) override;

    friend bool operator==(CFileEntry const& left, CFileEntry const& right);

private:
    std::wstring m_path; // with forward slashes on every system
    unsigned __int64 m_size = 0;
    unsigned __int64 m_digest = 0; // 64-bit FNV-1a of the content
    CbArray<unsigned char> m_firstBytes;
};

#endif // ORVANE_EXAMPLES_CATALOG_FILEENTRY_H
