// The binary encoding, reading side.

#ifndef ORVANE_STREAM_CBSTREAMREADBINARY_H
#define ORVANE_STREAM_CBSTREAMREADBINARY_H

#include "orvane/stream/cbstreamread.h"

class ISerializable;

/// Reads what CbStreamWriteBinary writes; the bytes come from `read`.
///
/// A primitive demands all its bytes. The body of a text, a buffer and the payload of a skipped chunk do not: a text ends
/// where the data end, and what a buffer misses keeps the bytes that it had. Any text ends at its first NUL. A text that
/// was written from one string type can be read into any type of the same width.
/// Memory is taken for what arrives, not for what a length claims: text bodies above 1 MiB are read in growing steps.
class ORVANE_API CbStreamReadBinary : public CbStreamRead
{
public:
    ~CbStreamReadBinary() override;

    using CbStreamRead::operator>>;

    /// Raises: CbExceptionStream from "CbStreamReadBinary::operator >>" where the length is cut short, and from
    /// "CbStreamReadBinary::readStringLengthW" where a wide text does not start with its marker; the target is
    /// unchanged then.
    CbStreamReadBinary& operator>>(CStringW& value) override;
    CbStreamReadBinary& operator>>(CStringA& value) override;
    CbStreamReadBinary& operator>>(std::wstring& value) override;
    CbStreamReadBinary& operator>>(std::string& value) override;

    /// Raises: CbExceptionStream from "CbStreamReadBinary::operator >>" where fewer bytes arrive than the type's width
    /// on the wire; those that arrived may stand in the target then.
    CbStreamReadBinary& operator>>(long& value) override;
    CbStreamReadBinary& operator>>(unsigned long& value) override;
    CbStreamReadBinary& operator>>(char& value) override;
    CbStreamReadBinary& operator>>(double& value) override;
    CbStreamReadBinary& operator>>(float& value) override;
    CbStreamReadBinary& operator>>(__int64& value) override;
    CbStreamReadBinary& operator>>(unsigned __int64& value) override;
    CbStreamReadBinary& operator>>(int& value) override;
    CbStreamReadBinary& operator>>(unsigned int& value) override;
    CbStreamReadBinary& operator>>(short& value) override;
    CbStreamReadBinary& operator>>(unsigned short& value) override;
    CbStreamReadBinary& operator>>(signed char& value) override;
    CbStreamReadBinary& operator>>(unsigned char& value) override;

    /// Any byte but 00 is true.
    CbStreamReadBinary& operator>>(bool& value) override;

    /// Reads bytes as they are and returns how many arrived; what a smaller number means is the caller's decision. The
    /// bytes of `data` behind them are left as they were.
    virtual unsigned __int64 ReadBuffer(void* data, unsigned __int64 size);

    /// Reads a chunk: creates an object by the stored class name and lets it read itself. Owns: the caller, by
    /// `delete`. Where the class is unknown, cannot be created or is not serialisable, the payload is skipped and null
    /// returned. The stored size is not compared with what the object reads.
    /// Raises: CbExceptionStream for a name or size that is cut short or no wide text; what the object's Serialize
    /// raises, after the object was destroyed.
    ISerializable* ReadChunk();

protected:
    CbStreamReadBinary() = default;
    CbStreamReadBinary(CbStreamReadBinary const&) = default;
    CbStreamReadBinary& operator=(CbStreamReadBinary const&) = default;

    /// Delivers up to `size` bytes and returns their number. Fewer than asked for means that the data have ended.
    virtual unsigned __int64 read(void* data, unsigned __int64 size) = 0;

    /// Reads the length of a narrow text, in characters.
    unsigned __int64 readStringLengthA();

    /// Reads the marker and the length of a wide text, in units.
    unsigned __int64 readStringLengthW();

private:
    template <class T>
    CbStreamReadBinary& readPrimitive(T& value);

    template <class TUnit>
    class CTextBody;

    void skip(unsigned __int64 size);
};

#endif // ORVANE_STREAM_CBSTREAMREADBINARY_H
