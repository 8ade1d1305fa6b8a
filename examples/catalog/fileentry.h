// One file of a catalogue.

#ifndef ORVANE_EXAMPLES_CATALOG_FILEENTRY_H
#define ORVANE_EXAMPLES_CATALOG_FILEENTRY_H

#include <array>
#include <filesystem>

#include "orvane/orvane.h"

/// What a catalogue knows about a file, each fact a variant: a serialisable class that is registered under its name, so that a reader of the
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

    CStringW const& GetPath() const;
    unsigned __int64 GetSize() const;
    unsigned __int64 GetDigest() const;
    CbArray<unsigned char> const& GetFirstBytes() const;

    /// When the file was last written, to the second; nothing where the file system does not tell. When it was made is
    /// not kept: systems do not agree on it, and a catalogue is the same on all of them.
    CbVariant const& GetWritten() const;

    void Serialize(CbStreamWriteBinary& stream) const override;

    /// Raises: CbException where a fact has another kind than it should; what the stream and the variants raise. The entry
    /// may have taken over part of the facts then.
    void Serialize(CbStreamReadBinary& stream) override;

    friend bool operator==(CFileEntry const& left, CFileEntry const& right);

private:
    // What is known about the file, in the order in which it is stored.
    enum EFact
    {
        eFactPath,       // wide text, with forward slashes on every system
        eFactSize,       // bytes, as eUInt64
        eFactWritten,    // date-time
        eFactDigest,     // 64-bit FNV-1a of the content, as eUInt64
        eFactFirstBytes, // bytes
        eFactCount
    };

    // Whether each fact has the kind that it should have.
    bool isComplete() const;

    std::array<CbVariant, eFactCount> m_facts;
};

#endif // ORVANE_EXAMPLES_CATALOG_FILEENTRY_H
