#!/usr/bin/env python3
"""Writes the golden tables of date-times, from Python's calendar and the C library's sscanf.

times.txt: ticks since 1601, then the time as text, as names, and in the locale's fixed forms (American English).
scans.txt: texts (with \\t for a tab) and what scanning them gives: six numbers, or "refused".
"""

import ctypes
import datetime
import pathlib
import random

FOLDER = pathlib.Path(__file__).parent
EPOCH = datetime.datetime(1601, 1, 1)
DAYS = ["Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"]
MONTHS = ["January", "February", "March", "April", "May", "June", "July", "August", "September", "October",
          "November", "December"]


def moments():
    random.seed(1601)
    last = 9999
    yield EPOCH
    yield datetime.datetime(last, 12, 31, 23, 59, 59, 999000)
    for year in (1601, 1700, 1900, 1970, 2000, 2024, 2100, 2400, 9999):
        for month, day in ((1, 1), (2, 28), (3, 1), (12, 31)):
            for hour in (0, 12, 13, 23):
                yield datetime.datetime(year, month, day, hour, 0, 59)
        if year % 4 == 0 and (year % 100 != 0 or year % 400 == 0):
            yield datetime.datetime(year, 2, 29, 12, 30)
    span = (datetime.datetime(last, 12, 31) - EPOCH) // datetime.timedelta(milliseconds=1)
    for _ in range(1700):
        yield EPOCH + datetime.timedelta(milliseconds=random.randrange(span))


def length(t):
    following = datetime.date(t.year + t.month // 12, t.month % 12 + 1, 1) if (t.year, t.month) != (9999, 12) else None
    return (following - datetime.date(t.year, t.month, 1)).days if following else 31


def row(t):
    ticks = (t - EPOCH) // datetime.timedelta(microseconds=1) * 10
    day, month = DAYS[t.weekday()], MONTHS[t.month - 1]
    half = "am" if t.hour <= 12 else "pm"
    plain = f"{t.year:04}-{t.month:02}-{t.day:02} {t.hour:02}:{t.minute:02}:{t.second:02}.{t.microsecond // 1000:03}"
    words = f"{day[:3]} {t.day} {month[:3]} {t.year % 100:02}, {length(t)}, {t.hour % 12}:{t.minute:02} {half}"
    return f"{ticks}|{plain}|{words}|{day}, {month} {t.day}, {t.year}|{t.month}/{t.day}/{t.year}"


libc = ctypes.CDLL(None)


def scan(text):
    data = text.encode("ascii")
    if len(data) < 19 or data[4:5] + data[7:8] != b"--" or data[13:14] + data[16:17] != b"::":
        return "refused"
    mark = data[10:11]
    if mark not in (b" ", b"T"):
        return "refused"
    fields = [ctypes.c_ushort(0) for _ in range(6)]
    form = b"%hu-%hu-%hu" + mark + b"%hu:%hu:%hu"
    count = libc.sscanf(ctypes.c_char_p(data), ctypes.c_char_p(form), *[ctypes.byref(f) for f in fields])
    return " ".join(str(f.value) for f in fields) if count == 6 else "refused"


def texts():
    random.seed(19)
    for _ in range(1500):
        text = list(f"{random.randrange(10000):04}-{random.randrange(100):02}-{random.randrange(100):02}"
                    f"{random.choice(' T')}{random.randrange(100):02}:{random.randrange(100):02}:{random.randrange(100):02}")
        for _ in range(random.randrange(4)):
            text[random.randrange(len(text))] = random.choice("0123456789 +-\t:T")
        text.append(random.choice(["", "", "", " ", "7", "123456", "99999999999999999999", "Z", ".5"]))
        yield "".join(text)


(FOLDER / "times.txt").write_text("".join(row(t) + "\n" for t in moments()))
(FOLDER / "scans.txt").write_text("".join(t.replace("\t", "\\t") + "|" + scan(t) + "\n" for t in texts()))
