"""What README.md and docs/performance.md say of the comparison with other libraries, made of its table.

speed_tables.py: writes the text between the lines `<!-- speed NAME -->` and `<!-- end speed -->` of both pages.
`scripts/bench-docs.sh` measures the table and runs this.
"""
import re
from pathlib import Path
from statistics import median

ROOT = Path(__file__).resolve().parents[2]
PAGES = (ROOT / "README.md", ROOT / "docs" / "performance.md")
SHOWN = {"Mono8-RGB24": "Mono8 to RGB24", "Mono12Packed-RGB24": "Mono12Packed to RGB24",
         "RGB8-Mono8": "RGB8 to Mono8", "YUV422-RGB24": "YUV422 to RGB24",
         "BayerRG8-RGB24-bilinear": "BayerRG8 to RGB24, bilinear",
         "BayerRG8-RGB24-adaptive": "BayerRG8 to RGB24, adaptive",
         "BayerRG12Packed-RGB24-bilinear": "BayerRG12Packed to RGB24, bilinear",
         "RGB8-rotate-90": "RGB24 rotated by 90 degrees"}
HEADLINE, SIZE, PIXELS = "BayerRG12Packed-RGB24-bilinear", "640x480", 640 * 480


def row(*cells):
    return "| " + " | ".join(cells) + " |"


class Peers:
    """The table of all measured rows."""

    def __init__(self, page):
        section = re.search(r"<!-- peers -->\n+(.*?)\n(.*?)<!-- end peers -->", page, flags=re.S)
        self.machine = section[1]
        table = section[2][section[2].index("\n|") + 1:].split("\n\n")[0]
        cells = [[c.strip(" *") for c in line.split("|")[1:-1]] for line in table.splitlines()]
        self.heads, self.rows = cells[0], [dict(zip(cells[0], line)) for line in cells[2:]]
        self.sizes = list(dict.fromkeys(line["size"] for line in self.rows))

    def ratios(self, size=None):
        """Time of imgcnv divided by that of the fastest other library, of every row."""
        return [float(line["/ fastest peer"]) for line in self.rows if size in (None, line["size"])]

    def ahead(self, size=None):
        return sum(ratio <= 1 for ratio in self.ratios(size))

    def fastest(self, line):
        libraries = self.heads[self.heads.index("avx2") + 1:self.heads.index("/ bare pass")]
        return min((float(line[name]), name) for name in libraries if line[name])


def headline(peers):
    line = next(r for r in peers.rows if (r["conversion"], r["size"]) == (HEADLINE, SIZE))
    time, (fastest, _) = float(line["imgcnv"]), peers.fastest(line)
    frames = round(1e9 / time / PIXELS, -3)
    return [f"**One core makes {frames:,.0f} RGB pictures per second** of {SIZE} BayerRG12Packed frames ({time:.3f} ns",
            f"per pixel, bilinear), {fastest / time:.1f} times as many as the fastest combination of other libraries.",
            "[More numbers](#speed)."]


def table(peers):
    lines = [row(f"ns per pixel, {SIZE}", "imgcnv", "limited to AVX2", "bare copy of the bytes", "fastest other library"),
             "|---|--:|--:|--:|--:|"]
    for line in peers.rows:
        if line["conversion"] in SHOWN and line["size"] == SIZE:
            value, name = peers.fastest(line)
            lines.append(row(SHOWN[line["conversion"]], f"**{line['imgcnv']}**", line["avx2"],
                             line["bare pass (NT)"].split()[0], f"{value:.3f} ({name})"))
    return [*lines, "", f"One thread; {peers.machine}. Measured by `scripts/bench-peers.sh --install`.", "",
            "imgcnv is ahead of the fastest other library, or equal to it, in "
            f"{peers.ahead()} of {len(peers.rows)} measured rows."]


def summary(peers):
    lines = ["On one thread imgcnv is ahead of the fastest of OpenCV, libyuv, swscale and libdc1394, or equal to it, in",
             f"{peers.ahead()} of the {len(peers.rows)} rows [below](#compared-with-other-libraries). Time of imgcnv divided by the time of the",
             "fastest other library:", "", row("frame", "rows", "ahead or equal (at most 1.00)", "median", "worst"), "|---|--:|--:|--:|---|"]
    for size in peers.sizes:
        ratios = peers.ratios(size)
        worst = max((r for r in peers.rows if r["size"] == size), key=lambda r: float(r["/ fastest peer"]))
        lines.append(row(size, str(len(ratios)), str(peers.ahead(size)), f"{median(ratios):.2f}",
                         f"{worst['/ fastest peer']}, {worst['conversion']}"))
    return lines


def rewritten(text, peers):
    def section(match):
        made = {"headline": headline, "table": table, "summary": summary}[match[1]](peers)
        return "\n".join([f"<!-- speed {match[1]} -->", "", *made, "", "<!-- end speed -->"])

    return re.sub(r"<!-- speed (\w+) -->.*?<!-- end speed -->", section, text, flags=re.S)


def load():
    return Peers(PAGES[1].read_text(encoding="utf-8"))


if __name__ == "__main__":
    for page in PAGES:
        page.write_text(rewritten(page.read_text(encoding="utf-8"), load()), encoding="utf-8")
