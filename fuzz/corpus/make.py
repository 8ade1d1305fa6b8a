#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets: chunks, texts, variants from the description of the encoding, and date-times."""

import pathlib
import struct

FOLDER = pathlib.Path(__file__).parent


def narrow(data):
    return struct.pack("<I", len(data)) + data


def wide(text):
    data = text.encode("utf-16-le")
    count = len(data) // 2
    head = struct.pack("<BHB", 0xFF, 0xFFFE, min(count, 0xFF))
    if count >= 0xFF:
        head += struct.pack("<H", count) if count < 0xFFFE else struct.pack("<HI", 0xFFFF, count)
    return head + data


def claim(form):
    return struct.pack("<BH", 0xFF, 0xFFFE) + form + "text".encode("utf-16-le")


def array(data, version=1):
    return struct.pack("<IIII", 0xFFFFFFFF, version, len(data), 1) + data


def chunk(name, payload):
    return wide(name) + struct.pack("<Q", len(payload)) + payload


def leaf(number, text, note, data=b"bytes"):
    return chunk("Leaf", struct.pack("<Iq?", 2, number, True) + narrow(note) + wide(text) + array(data))


def node(title, *children):
    return chunk("Node", struct.pack("<I", 1) + wide(title) + struct.pack("<I", len(children)) + b"".join(children))


def save(target, name, data):
    folder = FOLDER / target
    folder.mkdir(exist_ok=True)
    (folder / name).write_bytes(data)


nested = node("innermost")
for _ in range(20):
    nested = node("n", nested)

CHUNKS = {
    "leaf": leaf(42, "wide \U0001F600", b"narrow"),
    "leaf_version1": chunk("Leaf", struct.pack("<Iq?", 1, -1, False) + narrow(b"") + wide("")),
    "leaf_version3": chunk("Leaf", struct.pack("<I", 3)),
    "leaf_long": leaf(1, "x" * 300, b"y" * 300),
    "node": node("top", leaf(1, "a", b"b"), node("inner", leaf(2, "", b"")), chunk("Nobody", b"z" * 300)),
    "node_deep": nested,
    "stone": chunk("Stone", b"payload") + leaf(1, "", b""),
    "hollow": chunk("Hollow", b"payload") + leaf(1, "", b""),
    "barren": chunk("Barren", b"payload") + leaf(1, "", b""),
    "unknown": chunk("Nobody", b"z" * 767) + leaf(1, "", b""),
    "claimed_size": wide("Nobody") + struct.pack("<Q", 2 ** 62) + b"zzz",
    "claimed_name": claim(struct.pack("<BHI", 0xFF, 0xFFFF, 0x7FFFFFFF)),
}
for name, data in CHUNKS.items():
    save("fuzz_readchunk", name, data)

NARROW = narrow(b"") + narrow(b"ab") + narrow(b"a\0b") + narrow(b"x" * 300)
WIDE = wide("") + wide("ab") + wide("a\0b") + wide("\U0001F600\U0010FFFF") + wide("x" * 300)
LONE = struct.pack("<BHBHHH", 0xFF, 0xFFFE, 3, 0xD800, 0xDC00, 0xD800) + struct.pack("<BHBH", 0xFF, 0xFFFE, 1, 0xDFFF)
FORMS = {
    "1byte": struct.pack("<B", 0xFE),
    "2bytes": struct.pack("<BH", 0xFF, 0xFFFE),
    "4bytes": struct.pack("<BHI", 0xFF, 0xFFFF, 0xFFFFFFFE),
    "8bytes": struct.pack("<BHIQ", 0xFF, 0xFFFF, 0xFFFFFFFF, 2 ** 62),
    "8bytes_all": struct.pack("<BHIQ", 0xFF, 0xFFFF, 0xFFFFFFFF, 2 ** 64 - 1),
}
for selector, kind in ((0, "cstringw"), (2, "wstring")):
    save("fuzz_strings", kind, bytes([selector]) + WIDE)
    save("fuzz_strings", kind + "_lone", bytes([selector]) + LONE)
    for name, form in FORMS.items():
        save("fuzz_strings", kind + "_claims_" + name, bytes([selector]) + claim(form))
for selector, kind in ((1, "cstringa"), (3, "string")):
    save("fuzz_strings", kind, bytes([selector]) + NARROW)
    save("fuzz_strings", kind + "_claims", bytes([selector]) + struct.pack("<I", 0xFFFFFFFF) + b"text")
for selector in range(4, 18):
    save("fuzz_strings", "number_%02d" % selector, bytes([selector]) + bytes(range(0x70, 0x90)))
save("fuzz_strings", "version", bytes([18]) + struct.pack("<III", 0, 7, 8))
save("fuzz_strings", "array", bytes([19]) + array(b"bytes") + array(b"", 0) + struct.pack("<II", 3, 1) + b"abc")
save("fuzz_strings", "array_claims", bytes([19]) + struct.pack("<IIII", 0xFFFFFFFF, 1, 0xFFFFFFFE, 1) + b"abc")
save("fuzz_strings", "chunk", bytes([20]) + chunk("Nobody", b"z" * 300) + chunk("", b""))

DATE_TIMES = {
    "scan_blank": (0, b"2024-05-06 07:08:09"),
    "scan_t": (0, b"2024-05-06T07:08:09 trailing"),
    "scan_signs": (0, b"2024--1- 6 +7:08:99999999999999999999"),
    "scan_range": (0, b"2024-13-40 25:61:61"),
    "strict_offset": (1, b"2024-05-06T07:08:09.123456+05:30"),
    "strict_comma": (1, b"2024-02-29 23:59:59,9Z"),
    "strict_before": (1, b"1601-01-01T00:00:00+00:01"),
    "render": (2, struct.pack("<8H", 2024, 5, 1, 6, 7, 8, 9, 10) + b"Y-m-d H:i:s.v D l F M t y j n a A G g h \\t\\"),
    "stored": (3, struct.pack("<IQ", 0, 0x01DA9F84266E1920)),
    "stored_beyond": (3, struct.pack("<IQ", 0, 2 ** 64 - 1)),
    "stored_newer": (3, struct.pack("<I", 1)),
}
for name, (selector, data) in DATE_TIMES.items():
    save("fuzz_datetime", name, bytes([selector]) + data)

VARIANTS = {
    0: b"",
    1: b"\x01",
    2: struct.pack("<i", -2),
    3: struct.pack("<q", 2 ** 40),
    4: struct.pack("<I", 2 ** 31),
    5: struct.pack("<f", 2.5),
    6: struct.pack("<d", -1e300),
    7: b"A",
    8: wide("0x1F"),
    9: array(b"bytes"),
    10: wide("2024-05-06 07:08:09"),
    11: b"",
    12: b"\x80",
    13: b"\xFF",
    14: struct.pack("<h", -2),
    15: struct.pack("<H", 65535),
    16: struct.pack("<Q", 2 ** 64 - 1),
    17: b"",
    18: narrow(b"12abc"),
    19: b"",
}
for kind, payload in VARIANTS.items():
    save("fuzz_variant", "kind_%02d" % kind, bytes([0x80]) + struct.pack("<II", 0, kind) + payload)
STORED = [struct.pack("<II", 0, kind) + payload for kind, payload in VARIANTS.items() if kind not in (11, 17, 19)]
for target in range(21):
    save("fuzz_variant", "to_%02d" % target, bytes([target]) + b"".join(STORED[:8]))
    save("fuzz_variant", "more_to_%02d" % target, bytes([target]) + b"".join(STORED[8:]))
    save("fuzz_variant", "text_to_%02d" % target, bytes([target]) + b"".join(
        struct.pack("<II", 0, 18) + narrow(text) for text in (b"true", b" 010", b"1.5", b"A", b"2024-05-06 07:08:09", b"")))
save("fuzz_variant", "version1", bytes([0x80]) + struct.pack("<III", 1, 2, 3))
save("fuzz_variant", "no_date", bytes([0x80]) + struct.pack("<II", 0, 10) + wide("yesterday") + struct.pack("<II", 0, 0))
