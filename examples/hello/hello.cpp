// The first program: values into bytes and back.

#include <cstdio>

#include "orvane/orvane.h"

int main()
{
    CbStreamWriteBinaryBuffer out;
    out << 42 << L"forty-two";
    CbStreamReadBinaryBuffer in(out.GetArray());
    int number = 0;
    CStringW text;
    in >> number >> text;
    std::printf("%d is %s, in %d bytes\n", number, CStringA(text).GetString(), static_cast<int>(out.GetCount()));
}
