#include "catalogfile.h"

#include "filestreams.h"

namespace
{
constexpr char const* c_SourceFile = "catalogfile";

constexpr wchar_t const* c_Magic = L"Orvane catalogue";
constexpr unsigned int c_Version = 1;
constexpr unsigned int c_EndMark = 0x21646E65; // the bytes "end!"

// A catalogue that ends early reads as zeros in its last text; the end mark tells.
void readEndMark(CbStreamReadBinary& stream)
{
    unsigned int mark = 0;
    stream >> mark;
    if (mark != c_EndMark)
    {
        throw CbException(CB_SITE("ReadCatalog"), L"the end mark is missing");
    }
}
} // namespace

void WriteCatalog(std::filesystem::path const& path, std::vector<CFileEntry> const& entries)
{
    CFileWriteStream stream(path);
    stream << c_Magic;
    stream.WriteVersion(c_Version);
    stream << static_cast<unsigned int>(entries.size());
    for (CFileEntry const& entry : entries)
    {
        stream.WriteChunk(entry);
    }
    stream << c_EndMark;
    stream.Close();
}

unsigned int ReadCatalog(std::filesystem::path const& path,
                         std::function<void(std::unique_ptr<ISerializable> entry)> const& take)
{
    CFileReadStream stream(path);
    try
    {
        std::wstring magic;
        stream >> magic;
        if (magic != c_Magic)
        {
            throw CbException(CB_SITE("ReadCatalog"), L"the file does not start as a catalogue does");
        }
        stream.ReadAndCompareVersion(c_Version);
        unsigned int count = 0;
        stream >> count;
        for (unsigned int i = 0; i < count; ++i)
        {
            take(std::unique_ptr<ISerializable>(stream.ReadChunk()));
        }
        readEndMark(stream);
        return count;
    }
    catch (IException const& cause)
    {
        throw CbException(CB_SITE("ReadCatalog"), cause, L"not a catalogue, or damaged");
    }
}
