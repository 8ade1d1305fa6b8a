#!/usr/bin/env python3
"""Writes the golden files of this folder from the description of the stored variant alone, without the library.

The files are committed; the tests compare the library's bytes with them and read them back. Old layouts keep their
files for ever: add new ones, do not change what is here.
"""

import pathlib
import struct

FOLDER = pathlib.Path(__file__).parent

NULL, BOOL, INT32, INT64, UINT32, FLOAT, DOUBLE, CHAR, STRINGW, BYTES, DATETIME = range(11)
INT8, UINT8, INT16, UINT16, UINT64, OBJECT, STRINGA = range(12, 19)


def narrow(data):
    return struct.pack("<I", len(data)) + data


def wide(text):
    data = text.encode("utf-16-le")
    count = len(data) // 2
    head = struct.pack("<BHB", 0xFF, 0xFFFE, min(count, 0xFF))
    if count >= 0xFF:
        head += struct.pack("<H", count) if count < 0xFFFE else struct.pack("<HI", 0xFFFF, count)
    return head + data


def array(data):
    return struct.pack("<IIII", 0xFFFFFFFF, 1, len(data), 1) + data


def letters(count):
    return ("abcdefghijklmnopqrstuvwxyz" * (count // 26 + 1))[:count]


def numbers(count):
    return bytes((i * 7 + i // 256) & 0xFF for i in range(count))


def save(name, kind, payload=b""):
    (FOLDER / (name + ".bin")).write_bytes(struct.pack("<II", 0, kind) + payload)


save("null", NULL)
save("bool_true", BOOL, b"\x01")
save("bool_false", BOOL, b"\x00")
save("int32", INT32, struct.pack("<i", -2))
save("int64", INT64, struct.pack("<q", 0x0123456789ABCDEF))
save("uint32", UINT32, struct.pack("<I", 0x89ABCDEF))
save("float", FLOAT, struct.pack("<f", -1.5))
save("double", DOUBLE, struct.pack("<d", 0.1))
save("char", CHAR, b"A")
save("stringw", STRINGW, wide("Gr\u00fc\u00dfe \u20ac \U0001F600"))
save("bytearray", BYTES, array(bytes([1, 2, 0, 4, 255])))
save("datetime", DATETIME, wide("2024-05-06 07:08:09"))
save("int8", INT8, struct.pack("<b", -128))
save("uint8", UINT8, struct.pack("<B", 254))
save("int16", INT16, struct.pack("<h", -2))
save("uint16", UINT16, struct.pack("<H", 0xABCD))
save("uint64", UINT64, struct.pack("<Q", 0xFEDCBA9876543210))
save("stringa", STRINGA, narrow(b"\xC4\x80 narrow \xFF"))

for length in (0, 1, 254, 255, 65533, 65534, 65535, 1048576):
    save("stringw_%d" % length, STRINGW, wide(letters(length)))
    save("stringa_%d" % length, STRINGA, narrow(letters(length).encode()))
    save("bytearray_%d" % length, BYTES, array(numbers(length)))
