"""The formulas of docs/formats.md, "What the buffers of libimgcnv must hold", against what the library does."""
import ctypes
import os
import re

import pytest

import format_tables
from blocks import ROOT

LIBRARY = ctypes.CDLL(os.environ["IMGCNV_LIBRARY"])
FORMATS = {e["name"]: e for e in format_tables.load(os.environ["IMGCNV_FRAMES_LIBRARY"])["formats"] if e["in_core"]}
DESTINATIONS = {"Mono8": (0x01080001, 1), "RGB24": (0x02180014, 3), "BGR24": (0x02180015, 3),
                "RGBA32": (0x02200016, 4), "BGRA32": (0x02200017, 4)}
GEOMETRIES = [(9, 5, 0), (10, 4, 3), (8, 6, 1), (13, 7, 2), (11, 1, 0), (3, 3, 0)]  # width, height, padding
UNTOUCHED_SIZE = -7


class Record(ctypes.Structure):
    _fields_ = [(n, ctypes.c_int) for n in "width height padding reserved dataSize format".split()]


def page_rows():
    text = (ROOT / "docs" / "formats.md").read_text(encoding="utf-8")
    section = text[text.index("## What the buffers of libimgcnv must hold"):text.index("## Quirks")]
    return [[cell.strip() for cell in line.split("|")[1:-1]] for line in section.splitlines()
            if line.startswith("| ") and not line.startswith("| source ")]


def row_of(name, destination, height):
    entry = FORMATS[name]
    for row in page_rows():
        head = row[0]
        if entry["order"]:
            if head == ("Bayer, 1 row" if height == 1 else "Bayer, 2 rows or more"):
                return row
        elif name in re.split(r"[, ]+", head.split(" to ")[0]):
            kept = head.partition(" to ")[2]
            if not kept or kept == destination or (kept == "others" and destination[:3] + "8Packed" != name) or (
                    kept == "others" and destination not in ("RGB24", "BGR24")):
                return row
    raise AssertionError(f"no row for {name} to {destination}")


def value(formula, names):
    code = re.split(r"[,:]", formula.replace("*h'*", "hh"))[0].replace("*", "").replace("`", "")
    code = re.sub(r"(?<=[\w)]) (?=[\w(])", " * ", code).replace("/", "//")
    return eval(code, {}, names)


def converted(record, code, fill, source, room):
    handle, size = ctypes.c_void_p(), ctypes.c_int(UNTOUCHED_SIZE)
    assert LIBRARY.IMGCNV_open(ctypes.byref(record), code, ctypes.byref(handle), ctypes.byref(size), 1) == 0
    out = (ctypes.c_ubyte * room)(*[fill] * room)
    assert LIBRARY.IMGCNV_convert(handle, source, out) == 0
    LIBRARY.IMGCNV_close(handle)
    return bytes(out), size.value


@pytest.mark.parametrize("name", FORMATS)
def test_bytes_written_and_reported(name):
    entry = FORMATS[name]
    for width, height, padding in GEOMETRIES:
        if entry["bits"] < 8 or name == "Mono1C":
            padding = 0
        for destination, (code, k) in DESTINATIONS.items():
            _, source_formula, written, reported = row_of(name, destination, height)
            names = {"w": width, "h": height, "hh": height + height % 2, "k": k, "p": padding}
            if entry["order"]:
                pixels = (width * entry["bits"] + 7) // 8
                length = (pixels + padding) * height
                names["W"] = {8: pixels, 16: pixels // 2, 12: pixels // 3 * 2}[entry["bits"]]
            else:
                length = 4 if name == "Mono1C" else value(source_formula, names)
            names["dataSize"] = length
            expected = value(written, names)
            size = {"nothing": UNTOUCHED_SIZE, "the same": expected}.get(reported)
            size = value(reported, names) if size is None else size

            source = (ctypes.c_ubyte * (length + 64))(*[0x37 if name != "Mono1C" else 0] * (length + 64))
            room = 4 * (width + 4) * (height + 2) + 64
            record = Record(width, height, padding, 0, length, int(entry["code"], 16))
            (first, told), (second, _) = (converted(record, code, fill, source, room) for fill in (0, 0xAA))
            touched = max((i + 1 for i in range(room) if first[i] == second[i]), default=0)
            assert (touched, told) == (expected, size), (destination, width, height, padding)
