"""The tables of formats in docs/formats.md and README.md, made of what the frame engine says.

format_tables.py LIBRARY FILE... [--check]: writes the text between the lines `<!-- formats NAME -->`
and `<!-- end formats -->`; with --check, only says (and fails) where the text is another one.
LIBRARY is libimgcnv_frames.so.
"""
import ctypes
import re
import sys
from pathlib import Path

# One group of pixels in memory order: of each byte the fields from its bit 7 down to bit 0, as
# (pixel or colour, high bit, low bit). A field without a name is not read.
DIAGRAMS = {
    "1 byte per pixel": [[("p0", 7, 0)]],
    "R G B": [[("R", 7, 0)], [("G", 7, 0)], [("B", 7, 0)]],
    "B G R": [[("B", 7, 0)], [("G", 7, 0)], [("R", 7, 0)]],
    "R G B alpha": [[(c, 7, 0)] for c in ("R", "G", "B", "A")],
    "B G R alpha": [[(c, 7, 0)] for c in ("B", "G", "R", "A")],
    "U Y V": [[("U", 7, 0)], [("Y", 7, 0)], [("V", 7, 0)]],
    "U Y0 V Y1, 2 pixels": [[(c, 7, 0)] for c in ("U", "Y0", "V", "Y1")],
    "Y0 U Y1 V, 2 pixels": [[(c, 7, 0)] for c in ("Y0", "U", "Y1", "V")],
    "U Y0 Y1 V Y2 Y3, 4 pixels": [[(c, 7, 0)] for c in ("U", "Y0", "Y1", "V", "Y2", "Y3")],
    "list of points: value, 12-bit row, 12-bit column": [
        [("value", 7, 0)], [("row", 11, 4)], [("row", 3, 0), ("column", 11, 8)], [("column", 7, 0)]],
}
WORDS, PACKED = "16-bit little-endian words", "2 pixels in 3 bytes: high, low bits of both, high"

# What OpenCV holds a frame in; it demosaics and converts nothing else.
OPENCV_TYPES = {"1 byte per pixel": "CV_8UC1", WORDS: "CV_16UC1", "R G B": "CV_8UC3", "B G R": "CV_8UC3",
                f"R G B, {WORDS}": "CV_16UC3", f"B G R, {WORDS}": "CV_16UC3",
                "R G B alpha": "CV_8UC4", "B G R alpha": "CV_8UC4",
                "U Y0 V Y1, 2 pixels": "CV_8UC2", "Y0 U Y1 V, 2 pixels": "CV_8UC2"}


def stream(fields):
    """Bytes of a stream of bits, of whose fields the first is the lowest."""
    bits = [(name, low + i) for name, high, low in fields for i in range(high - low + 1)]
    made = []
    for start in range(0, len(bits), 8):
        byte = []
        for name, bit in reversed(bits[start:start + 8]):
            if byte and byte[-1][0] == name and byte[-1][2] == bit + 1:
                byte[-1] = (name, byte[-1][1], bit)
            else:
                byte.append((name, bit, bit))
        made.append(byte)
    return made


def word(name, depth):
    high = [("", 15 - depth, 0)] if depth < 16 else []
    return [[(name, 7, 0)], high + [(name, depth - 1, 8)]]


def diagram(entry):
    depth, layout = entry["depth"], entry["layout"]
    if layout == WORDS:
        return word("p0", depth)
    if layout.endswith(WORDS):
        return [byte for c in layout[:5].split() for byte in word(c, depth)]
    if layout == PACKED:
        low = depth - 8
        middle = [("p1", 1, 0), ("", 1, 0), ("p0", 1, 0)]
        middle = [("p1", 3, 0), ("p0", 3, 0)] if depth == 12 else [("", 1, 0), middle[0], *middle[1:]]
        return [[("p0", depth - 1, low)], middle, [("p1", depth - 1, low)]]
    group = re.match(r"(\d+) pixels (?:per byte|in \d bytes)(, first in|: one stream|: \d high bytes)", layout)
    if not group:
        return DIAGRAMS[layout]
    pixels = [f"p{i}" for i in range(int(group[1]))]
    if "high bytes" in group[2]:
        return [[(p, depth - 1, depth - 8)] for p in pixels] + stream([(p, depth - 9, 0) for p in pixels])
    return stream([(p, depth - 1, 0) for p in pixels])


def field_text(name, high, low, depth):
    if not name:
        return "-" * (high - low + 1)
    if depth == 1 or (high - low == 7 and depth == 8 and name not in ("row", "column")):
        return name
    return f"{name}[{high}]" if high == low else f"{name}[{high}:{low}]"


def drawing(entry):
    groups = [" ".join(field_text(*field, entry["depth"]) for field in byte)
              for byte in diagram(entry)]
    return " \\| ".join(groups)


def frame_bytes(entry):
    return {"Mono1C": "4 per point"}.get(entry["name"], f"{640 * 480 * entry['bits'] // 8}")


def opencv(entry):
    constants = ", ".join(entry["names"]["opencv"])
    if "YUV2BGR" in constants:
        constants += " (video range)"
    return ", ".join(t for t in (OPENCV_TYPES.get(entry["layout"], ""), constants) if t)


def row(*cells):
    return "| " + " | ".join(cells) + " |"


def codes_table(formats):
    lines = [row("format", "code", "bits per pixel", "depth", "640x480", "bytes in memory order, bit 7 left"),
             "|---|---|--:|--:|--:|---|"]
    for entry in formats:
        lines.append(row(entry["name"], f"`{entry['code']}`", str(entry["bits"]), str(entry["depth"]),
                         frame_bytes(entry), f"`{drawing(entry)}`"))
    return lines


def names_table(formats):
    lines = [row("format", "PFNC", "GStreamer", "V4L2", "ffmpeg", "ROS", "OpenCV"),
             "|---|---|---|---|---|---|---|"]
    for entry in formats:
        names = entry["names"]
        cells = [" ".join(names[family]) for family in ("pfnc", "gstreamer", "v4l2", "ffmpeg", "ros")]
        if int(entry["code"], 16) >> 31 == 0 and entry["name"] != "Mono1C":
            cells[0] = " ".join([entry["name"], *names["pfnc"]])
        lines.append(row(entry["name"], *cells, opencv(entry)))
    return lines


def foreign_table(foreign):
    lines = [row("names", "what it is", "what to do"), "|---|---|---|"]
    return lines + [row(" ".join(entry["names"]), entry["meaning"], entry["advice"]) for entry in foreign]


def short_table(formats):
    """A line for each layout of the library's own formats."""
    families = {}
    for entry in formats:
        if not entry["in_core"]:
            continue
        name = entry["name"]
        if entry["order"]:
            name = name.replace("Bayer" + entry["order"], "Bayer*xx*")
        families.setdefault((name, entry["bits"], drawing(entry)), []).append(entry["order"])
    lines = [row("format", "bits per pixel", "bytes in memory order, bit 7 left"), "|---|--:|---|"]
    for (name, bits, drawn), orders in families.items():
        note = " (*xx*: " + ", ".join(orders) + ")" if len(orders) > 1 else ""
        lines.append(row(name + note, str(bits), f"`{drawn}`"))
    return lines


class FormatInfo(ctypes.Structure):
    """imgcnv_format_info"""
    _fields_ = [("struct_size", ctypes.c_size_t), ("code", ctypes.c_uint32),
                *((n, ctypes.c_int) for n in ("bits", "depth", "layout", "order", "is_color", "group_pixels",
                                              "group_bytes", "in_core")),
                *((n, ctypes.c_char_p) for n in ("name", "layout_text", "pfnc", "gstreamer", "v4l2", "ffmpeg",
                                                 "ros", "opencv"))]


class ForeignFormat(ctypes.Structure):
    """imgcnv_foreign_format"""
    _fields_ = [("struct_size", ctypes.c_size_t), *((n, ctypes.c_char_p) for n in ("names", "meaning", "advice"))]


def rows(struct, count, row_at):
    for index in range(count()):
        made = struct(ctypes.sizeof(struct))
        assert row_at(index, ctypes.byref(made)) == 0
        yield made


def load(library):
    engine = ctypes.CDLL(str(Path(library).resolve()))
    families = ("pfnc", "gstreamer", "v4l2", "ffmpeg", "ros", "opencv")
    formats = [{"name": f.name.decode(), "code": f"0x{f.code:08X}", "bits": f.bits, "depth": f.depth,
                "layout": f.layout_text.decode(), "order": ("", "RG", "GB", "BG", "GR")[f.order],
                "in_core": f.in_core, "names": {n: getattr(f, n).decode().split() for n in families}}
               for f in rows(FormatInfo, engine.imgcnv_format_count, engine.imgcnv_format_at)]
    foreign = [{"names": f.names.decode().split(), "meaning": f.meaning.decode(), "advice": f.advice.decode()}
               for f in rows(ForeignFormat, engine.imgcnv_foreign_format_count, engine.imgcnv_foreign_format_at)]
    return {"formats": formats, "foreign": foreign}


def rewritten(text, table):
    made = {"codes": codes_table(table["formats"]), "names": names_table(table["formats"]),
            "foreign": foreign_table(table["foreign"]), "short": short_table(table["formats"])}

    def section(match):
        return "\n".join([f"<!-- formats {match[1]} -->", "", *made[match[1]], "", "<!-- end formats -->"])

    return re.sub(r"<!-- formats (\w+) -->.*?<!-- end formats -->", section, text, flags=re.S)


def main(library, *arguments):
    stale = []
    for path in (a for a in arguments if a != "--check"):
        with open(path, encoding="utf-8") as file:
            text = file.read()
        new = rewritten(text, load(library))
        if new != text and "--check" in arguments:
            stale.append(path)
        elif new != text:
            with open(path, "w", encoding="utf-8") as file:
                file.write(new)
    if stale:
        sys.exit(f"out of date: {' '.join(stale)}; run tests/docs/format_tables.py LIBRARY {' '.join(stale)}")


if __name__ == "__main__":
    main(*sys.argv[1:])
