#!/usr/bin/python3
"""Write imgcnv/_format_names.json from the command's tables of format names.

The command and the module understand the same spellings because both come from
tools/formats/*.def; a test fails when this copy is older than its source.

    python/make_format_names.py          # rewrite the copy
    python/make_format_names.py --check  # exit 1 when it is out of date
"""

import json
import pathlib
import re
import sys
from typing import Any

HERE = pathlib.Path(__file__).resolve().parent
TABLES = HERE.parent / "tools" / "formats"
COPY = HERE / "imgcnv" / "_format_names.json"

# One argument of a table row: a quoted string or a bare word.
ARGUMENT = re.compile(r'"([^"]*)"|([^\s",]+)')


def rows(path: pathlib.Path, macro: str) -> list[list[str]]:
    text = re.sub(r"^\s*//.*$", "", path.read_text(encoding="utf-8"), flags=re.MULTILINE)
    found = re.findall(rf'^{macro}\(((?:"[^"]*"|[^")])*)\)', text, flags=re.MULTILINE)
    return [[quoted or bare for quoted, bare in ARGUMENT.findall(row)] for row in found]


def for_python(advice: str) -> str:
    """The command's advice in the words of a Python caller."""
    advice = advice.replace("(--to rgba32, --to bgra32)", "(to='rgba32', to='bgra32')")
    return advice.replace("use -f ", "use format ").replace("-f ", "format ")


def tables() -> dict[str, Any]:
    formats = []
    for name, code, *_layout, pfnc, gstreamer, v4l2, ffmpeg, ros in rows(
        TABLES / "formats.def", "FORMAT"
    ):
        elsewhere = " ".join((pfnc, gstreamer, v4l2, ffmpeg, ros)).split()
        formats.append({"code": code, "names": [*dict.fromkeys([name, *elsewhere])]})
    foreign = [
        {"names": names.split(), "what": for_python(what), "remedy": for_python(remedy)}
        for names, what, remedy in rows(TABLES / "foreign_formats.def", "FOREIGN")
    ]
    return {"formats": formats, "foreign": foreign}


def main() -> int:
    text = json.dumps(tables(), indent=1) + "\n"
    if sys.argv[1:] == ["--check"]:
        if COPY.read_text(encoding="utf-8") != text:
            print(f"{COPY} differs from {TABLES}: run {__file__}", file=sys.stderr)
            return 1
        return 0
    COPY.write_text(text, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
