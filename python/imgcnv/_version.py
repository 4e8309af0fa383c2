"""The version, kept in the C header alone."""

from __future__ import annotations

import pathlib
import re

# The wheel has the one, the source tree the other.
BUILT = pathlib.Path(__file__).with_name("_version.txt")
HEADER = pathlib.Path(__file__).resolve().parents[2] / "include" / "imgcnv.h"


def read_header(header: pathlib.Path) -> str:
    """MAJOR.MINOR.PATCH as the header defines them."""
    text = header.read_text(encoding="utf-8")
    found = dict(
        re.findall(r"^#define IMGCNV_VERSION_(MAJOR|MINOR|PATCH) (\d+)$", text, re.MULTILINE)
    )
    return ".".join(found[part] for part in ("MAJOR", "MINOR", "PATCH"))


__version__: str = (
    BUILT.read_text(encoding="utf-8").strip() if BUILT.exists() else read_header(HEADER)
)
