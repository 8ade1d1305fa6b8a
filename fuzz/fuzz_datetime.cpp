// Texts of any kind to every reader of date-times. The first byte chooses the reader; what it takes must hold together.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>

#include "fuzzing.h"
#include "orvane/datetime/cbdatetime.h"
#include "orvane/datetime/cbdatetime_serializer.h"
#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"

namespace
{
std::wstring widened(std::string const& text)
{
    std::wstring wide;
    for (char const character : text)
    {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(character));
    }
    return wide;
}

// The constructor takes what HasValidFormat says, in both widths, and takes it for the same.
void scan(std::string const& text)
{
    std::wstring const wide = widened(text);
    bool const isValid = CbDateTime::HasValidFormat(text.c_str());
    Fuzzing::Demand(CbDateTime::HasValidFormat(wide.c_str()) == isValid, "both widths agree on the form");
    try
    {
        CbDateTime const time(text.c_str());
        Fuzzing::Demand(isValid, "what is not of the form is refused");
        CbDateTime assigned(0ULL);
        assigned = wide.c_str();
        Fuzzing::Demand(assigned == time, "both widths are taken for the same");
        CbDateTime const local(text.c_str(), true);
        Fuzzing::Demand(local.GetMillisecond() == 0, "a scanned time has no milliseconds");
    }
    catch (CbExceptionConversion const&)
    {
        Fuzzing::Demand(!isValid, "what is of the form is taken");
    }
}

// A time that was read strictly is rendered as a text that is read as the same time.
void readStrictly(std::string const& text)
{
    std::optional<CbDateTime> const time = CbDateTime::TryParse(text);
    Fuzzing::Demand(CbDateTime::TryParse(widened(text)) == time, "both widths are read alike");
    if (time && time->GetYear() <= 9999)
    {
        CStringA const shown = time->ToString("Y-m-d\\TH:i:s.v\\Z", false);
        Fuzzing::Demand(CbDateTime::TryParse(shown.GetString()) == time, "a rendered time is read as itself");
    }
}

// The first bytes are the fields, the rest the format.
void render(std::string const& text)
{
    SYSTEMTIME fields = {};
    std::size_t const size = std::min(text.size(), sizeof fields);
    text.copy(reinterpret_cast<char*>(&fields), size);
    CbDateTime const time(fields);
    std::string const format = text.substr(size);
    try
    {
        CStringA const universal = time.ToString(format.c_str(), false);
        time.ToString(format.c_str(), true);
        Fuzzing::Demand(universal == time.ToString(format.c_str(), false), "rendering changes nothing");
    }
    catch (CbExceptionConversion const&)
    {
        Fuzzing::Demand(format.find('t') != std::string::npos, "only one token is refused");
    }
    time.ToString(CbDateTime::eLongDateTime, true);
    time.ToString(CbDateTime::eShortDate, false);
}

// What is read is written as the same bytes, unless ticks were cut to milliseconds or are no time.
void readStored(std::string const& bytes)
{
    CbStreamReadBinaryBuffer stream(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
    CbDateTime time(0ULL);
    Fuzzing::ReadDamaged(
        [&]
        {
            time.Serialize(stream);
            CbStreamWriteBinaryBuffer writer;
            CbDateTime_Serializer::Serialize(writer, time);
            CbStreamReadBinaryBuffer reader(writer.GetArray());
            CbDateTime again;
            CbDateTime_Serializer::Serialize(reader, static_cast<IDateTime&>(again));
            Fuzzing::Demand(again == time || static_cast<unsigned __int64>(time) == 0, "a time survives a round trip");
        });
}

using Reader = void (*)(std::string const&);
constexpr Reader c_Readers[] = {&scan, &readStrictly, &render, &readStored};
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Fuzzing::SilenceLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    if (size != 0)
    {
        c_Readers[data[0] % std::size(c_Readers)](std::string(reinterpret_cast<char const*>(data + 1), size - 1));
    }
    return 0;
}
