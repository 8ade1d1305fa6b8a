#!/usr/bin/env python3
"""Writes the golden files of this folder from the description of the encoding alone, without the library.

The files are committed; the tests compare the library's bytes with them and read them back. Old layouts keep their
files for ever: add new ones, do not change what is here.
"""

import pathlib
import struct

FOLDER = pathlib.Path(__file__).parent


def narrow(data):
    return struct.pack("<I", len(data)) + data


def wide_length(count):
    if count < 0xFF:
        return struct.pack("<BHB", 0xFF, 0xFFFE, count)
    if count < 0xFFFE:
        return struct.pack("<BHBH", 0xFF, 0xFFFE, 0xFF, count)
    return struct.pack("<BHBHI", 0xFF, 0xFFFE, 0xFF, 0xFFFF, count)


def wide_units(units):
    return wide_length(len(units)) + struct.pack("<%dH" % len(units), *units)


def wide(text):
    data = text.encode("utf-16-le")
    return wide_units(struct.unpack("<%dH" % (len(data) // 2), data))


def letters(count):
    return "".join(chr(ord("a") + i % 26) for i in range(count))


def chunk(name, payload):
    return wide(name) + struct.pack("<Q", len(payload)) + payload


def entry(number, title, note):
    return struct.pack("<Ii", 1, number) + wide(title) + narrow(note)


def folder(title, chunks):
    return struct.pack("<I", 2) + wide(title) + struct.pack("<I", len(chunks)) + b"".join(chunks)


def save(name, data):
    (FOLDER / name).write_bytes(data)


save("primitives.bin",
     struct.pack("<i", -2)                      # long
     + struct.pack("<I", 0xFFFFFFFE)            # unsigned long
     + b"A"                                     # char
     + struct.pack("<d", 1.0)                   # double
     + struct.pack("<f", -1.5)                  # float
     + struct.pack("<q", -2)                    # signed 64-bit
     + struct.pack("<Q", 0x0123456789ABCDEF)    # unsigned 64-bit
     + struct.pack("<i", 1)                     # int
     + struct.pack("<I", 0x89ABCDEF)            # unsigned int
     + struct.pack("<h", -2)                    # short
     + struct.pack("<H", 0xABCD)                # unsigned short
     + struct.pack("<b", -128)                  # signed char
     + struct.pack("<B", 0xFE)                  # unsigned char
     + b"\x01\x00")                             # bool, twice

save("version.bin", struct.pack("<I", 7))

save("narrow_text.bin",
     narrow(b"") + narrow(b"a") + narrow(b"ab") + narrow(b"\xC4\x80\xFF")
     + narrow(letters(254).encode()) + narrow(letters(255).encode()))

save("wide_text.bin",
     wide("") + wide("a") + wide("ab") + wide("Gr\u00fc\u00dfe \u20ac\uffff")
     + wide("\U0001F600") + wide("a\U00010000b\U0010FFFFc")
     + wide(letters(15) + "\U0001F600" + letters(20))   # a pair across a step of sixteen units
     + wide(letters(254)) + wide(letters(255)))

save("lone_surrogates.bin",
     wide_units([0xD800]) + wide_units([0xD800, ord("x")]) + wide_units([ord("x"), 0xDC00])
     + wide_units([0xDC00, 0xD800]) + wide_units([0xD83D, 0xD83D, 0xDE00, 0xDBFF]))

save("wide_lengths.bin", b"".join(wide(letters(n)) for n in (0, 1, 254, 255, 65533, 65534, 65535, 70000)))

first = chunk("CGoldenEntry", entry(42, "Gr\u00f6\u00dfe \U0001F600", b"narrow"))
second = chunk("CGoldenEntry", entry(-1, "", b""))
unknown = chunk("NobodyKnowsThis", bytes(range(1, 200)) * 2)
save("chunk.bin", first)
save("nested_chunk.bin",
     chunk("CGoldenFolder",
           folder("top", [first, chunk("CGoldenFolder", folder("inner", [second])), unknown, second]))
     + struct.pack("<I", 0xCAFE0001))
save("unknown_chunk.bin", unknown + struct.pack("<I", 0xCAFE0002))

save("array.bin", struct.pack("<IIII", 0xFFFFFFFF, 1, 5, 1) + bytes([1, 2, 0, 4, 255]))
save("array_empty.bin", struct.pack("<IIII", 0xFFFFFFFF, 1, 0, 1))
save("array_version0.bin", struct.pack("<IIII", 0xFFFFFFFF, 0, 5, 1) + bytes([1, 2, 0, 4, 255]))
save("array_older.bin", struct.pack("<II", 5, 1) + bytes([1, 2, 0, 4, 255]))
