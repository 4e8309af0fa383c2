"""The tables of docs/formats.md and README.md, made of what `imgcnv formats --json` says.

format_tables.py COMMAND FILE... [--check]: writes the text between the lines `<!-- formats NAME -->`
and `<!-- end formats -->`; with --check, only says (and fails) where the text is another one.
"""
import json
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# One group of pixels in memory order: of each byte the fields from its bit 7 down to bit 0, as
# (pixel or colour, high bit, low bit). A field without a name is not read.
DIAGRAMS = {
    "8 pixels a byte, first in bit 0": [[(f"p{i}", 0, 0) for i in range(7, -1, -1)]],
    "2 pixels a byte, first in bits 0..3": [[("p1", 3, 0), ("p0", 3, 0)]],
    "1 byte a pixel": [[("p0", 7, 0)]],
    "R G B": [[("R", 7, 0)], [("G", 7, 0)], [("B", 7, 0)]],
    "B G R": [[("B", 7, 0)], [("G", 7, 0)], [("R", 7, 0)]],
    "U Y V": [[("U", 7, 0)], [("Y", 7, 0)], [("V", 7, 0)]],
    "U Y0 V Y1, 2 pixels": [[(c, 7, 0)] for c in ("U", "Y0", "V", "Y1")],
    "Y0 U Y1 V, 2 pixels": [[(c, 7, 0)] for c in ("Y0", "U", "Y1", "V")],
    "U Y0 Y1 V Y2 Y3, 4 pixels": [[(c, 7, 0)] for c in ("U", "Y0", "Y1", "V", "Y2", "Y3")],
    "list of points: value, 12-bit row, 12-bit column": [
        [("value", 7, 0)], [("row", 11, 4)], [("row", 3, 0), ("column", 11, 8)], [("column", 7, 0)]],
}
WORDS, PACKED = "16-bit little-endian words", "2 pixels in 3 bytes: high, low bits of both, high"

# OpenCV names a mosaic by the second and third sample of its second row.
OPENCV_BAYER = {"RG": "BG", "GB": "GR", "BG": "RG", "GR": "GB"}
OPENCV = {"Mono8": "CV_8UC1", "Mono16": "CV_16UC1", "RGB8Packed": "CV_8UC3, COLOR_RGB2BGR",
          "BGR8Packed": "CV_8UC3", "YUV422Packed": "CV_8UC2, COLOR_YUV2BGR_UYVY (video range)",
          "YUV422_YUYV_Packed": "CV_8UC2, COLOR_YUV2BGR_YUY2 (video range)"}


def diagram(entry):
    depth = entry["depth"]
    if entry["layout"] == WORDS:
        high = [("", 15 - depth, 0)] if depth < 16 else []
        return [[("p0", 7, 0)], high + [("p0", depth - 1, 8)]]
    if entry["layout"] == PACKED:
        low = depth - 8
        middle = [("p1", 1, 0), ("", 1, 0), ("p0", 1, 0)]
        middle = [("p1", 3, 0), ("p0", 3, 0)] if depth == 12 else [("", 1, 0), middle[0], *middle[1:]]
        return [[("p0", depth - 1, low)], middle, [("p1", depth - 1, low)]]
    return DIAGRAMS[entry["layout"]]


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
    return {"Mono1C": "4 a point"}.get(entry["name"], f"{640 * 480 * entry['bits'] // 8}")


def opencv(entry):
    if entry["order"]:
        if entry["layout"] == PACKED:
            return ""
        kind = "CV_8UC1" if entry["bits"] == 8 else "CV_16UC1"
        return f"{kind}, COLOR_Bayer{OPENCV_BAYER[entry['order']]}2BGR"
    if entry["layout"] == WORDS:
        return "CV_16UC1"
    return OPENCV.get(entry["name"], "")


def row(*cells):
    return "| " + " | ".join(cells) + " |"


def codes_table(formats):
    lines = [row("format", "code", "bits a pixel", "depth", "640x480", "bytes in memory order, bit 7 left"),
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
        lines.append(row(entry["name"], *cells, opencv(entry)))
    return lines


def foreign_table(foreign):
    lines = [row("names", "what it is", "what to do"), "|---|---|---|"]
    return lines + [row(" ".join(entry["names"]), entry["meaning"], entry["advice"]) for entry in foreign]


def short_table(formats):
    """A line for each layout of the library's own formats."""
    families = {}
    for entry in formats:
        if entry["order"] == "GR":
            continue
        name = entry["name"]
        if entry["order"]:
            name = name.replace("Bayer" + entry["order"], "Bayer*xx*")
        families.setdefault((name, entry["bits"], drawing(entry)), []).append(entry["order"])
    lines = [row("format", "bits a pixel", "bytes in memory order, bit 7 left"), "|---|--:|---|"]
    for (name, bits, drawn), orders in families.items():
        note = " (*xx*: " + ", ".join(orders) + ")" if len(orders) > 1 else ""
        lines.append(row(name + note, str(bits), f"`{drawn}`"))
    return lines


# The README's rows of docs/performance.md, which `scripts/bench-docs.sh` measures.
SPEED = {"Mono8-RGB24": "Mono8 to RGB24", "Mono12Packed-RGB24": "Mono12Packed to RGB24",
         "RGB8-Mono8": "RGB8 to Mono8", "YUV422-RGB24": "YUV422 to RGB24",
         "BayerRG8-RGB24-bilinear": "BayerRG8 to RGB24, bilinear",
         "BayerRG8-RGB24-adaptive": "BayerRG8 to RGB24, adaptive",
         "BayerRG12Packed-RGB24-bilinear": "BayerRG12Packed to RGB24, bilinear",
         "RGB8-rotate-90": "RGB24 turned by 90 degrees"}


def speed_table():
    text = (ROOT / "docs" / "performance.md").read_text(encoding="utf-8")
    peers = text[text.index("<!-- peers -->"):text.index("<!-- end peers -->")]
    cells = [[c.strip(" *") for c in line.split("|")[1:-1]] for line in peers.splitlines() if line[:1] == "|"]
    heads = cells[0]
    machine = next(line for line in peers.splitlines()[1:] if line)
    first, last = heads.index("OpenCV"), heads.index("/ bare pass")
    lines = [row("ns a pixel, 640x480", "imgcnv", "limited to AVX2", "bytes moved only", "fastest other library"),
             "|---|--:|--:|--:|--:|"]
    for line in cells:
        if line[0] in SPEED and line[1] == "640x480":
            others = [(float(value), heads[i]) for i, value in enumerate(line) if first <= i < last and value]
            value, name = min(others)
            lines.append(row(SPEED[line[0]], f"**{line[heads.index('imgcnv')]}**", line[heads.index("AVX2")],
                             line[heads.index("bare pass (NT)")].split()[0], f"{value:.3f} ({name})"))
    return [*lines, "", f"One thread; {machine}. Measured by `scripts/bench-peers.sh --install`."]


def load(command):
    return json.loads(subprocess.check_output([command, "formats", "--json"]))


def rewritten(text, table, measured=True):
    """Measured tables carry their date; a page is not out of date because of a later measurement."""
    made = {"codes": codes_table(table["formats"]), "names": names_table(table["formats"]),
            "foreign": foreign_table(table["foreign"]), "short": short_table(table["formats"]), "speed": speed_table()}

    def section(match):
        if match[1] == "speed" and not measured:
            return match[0]
        return "\n".join([f"<!-- formats {match[1]} -->", "", *made[match[1]], "", "<!-- end formats -->"])

    return re.sub(r"<!-- formats (\w+) -->.*?<!-- end formats -->", section, text, flags=re.S)


def main(command, *arguments):
    stale = []
    for path in (a for a in arguments if a != "--check"):
        with open(path, encoding="utf-8") as file:
            text = file.read()
        new = rewritten(text, load(command), measured="--check" not in arguments)
        if new != text and "--check" in arguments:
            stale.append(path)
        elif new != text:
            with open(path, "w", encoding="utf-8") as file:
                file.write(new)
    if stale:
        sys.exit(f"out of date: {' '.join(stale)}; run tests/docs/format_tables.py COMMAND {' '.join(stale)}")


if __name__ == "__main__":
    main(*sys.argv[1:])
