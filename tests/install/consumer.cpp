// A client of the installed package: a class of its own through a stream, an exception by type across the library's
// boundary, and the few system calls that the installed headers offer.

#include <cstdio>
#include <memory>

#include "orvane/orvane.h"
#include "platform/platform.h"

class CPoint : public ISerializable
{
    CB_DECLARE_CLASS(CPoint);

public:
    void Serialize(CbStreamWriteBinary& stream) const override
    {
        stream.WriteVersion(1);
        stream << x << y;
    }

    void Serialize(CbStreamReadBinary& stream) override
    {
        stream.ReadAndCompareVersion(1);
        stream >> x >> y;
    }

    int x = 0;
    int y = 0;
};

CB_IMPLEMENT_CLASS(CPoint);

int main()
{
    CPoint point;
    point.x = 3;
    point.y = -4;
    CbStreamWriteBinaryBuffer out;
    out.WriteChunk(point);
    CbStreamReadBinaryBuffer in(out.GetArray());
    std::unique_ptr<ISerializable> const object(in.ReadChunk());
    auto const* const copy = dynamic_cast<CPoint const*>(object.get());
    if (copy == nullptr || copy->x != 3 || copy->y != -4)
    {
        std::puts("the chunk did not come back");
        return 1;
    }
    try
    {
        int number = 0;
        in >> number;
        std::puts("reading past the end raised nothing");
        return 1;
    }
    catch (CbExceptionStream const& exception)
    {
        std::printf("raised at %s, %s\n", exception.GetFilename(), exception.GetFunctionName());
    }
    SetLastError(2);
    CbLatestError const error;
    std::printf("error %u: %ls\n", error.GetLatestErrorNumber(), error.GetLatestErrorMessage());
    return error.GetLatestErrorNumber() == 2 && GetLastError() == 2 ? 0 : 1;
}
