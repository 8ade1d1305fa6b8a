// Pointers that are no text, functions too, would become `bool`, and a reader over a temporary array would read freed memory.

#include "orvane/stream/cbstreamreadbinarybuffer.h"
#include "orvane/stream/cbstreamwritebinarybuffer.h"

#ifndef ORVANE_FAILURE
#define ORVANE_FAILURE 0
#endif

void write(IStreamWrite& stream, CbStreamWriteBinaryBuffer& buffer, int* number, void const* address);
CbArray<unsigned char> makeArray();

void write(IStreamWrite& stream, CbStreamWriteBinaryBuffer& buffer, int* number, void const* address)
{
    stream << *number << (address != nullptr);
    buffer << *number << "text" << L"text";
    CbArray<unsigned char> const array = makeArray();
    CbStreamReadBinaryBuffer const reader(array);
#if ORVANE_FAILURE == 1
    stream << address;
#elif ORVANE_FAILURE == 2
    buffer << number;
#elif ORVANE_FAILURE == 3
    stream << nullptr;
#elif ORVANE_FAILURE == 4
    buffer << nullptr;
#elif ORVANE_FAILURE == 5
    CbStreamReadBinaryBuffer const dangling(makeArray());
#elif ORVANE_FAILURE == 6
    stream << makeArray;
#elif ORVANE_FAILURE == 7
    buffer << [](int value) { return value; };
#endif
}
