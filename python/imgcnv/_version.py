"""The version, kept in the C header alone."""

from __future__ import annotations

import importlib.resources
import pathlib
import re

# The wheel has a _version.txt; the source tree has the header.
HEADER = pathlib.Path(__file__).resolve().parents[2] / "include" / "imgcnv.h"


def read_header(header: pathlib.Path) -> str:
    """MAJOR.MINOR.PATCH as the header defines them."""
    text = header.read_text(encoding="utf-8")
    found = dict(re.findall(r"^#define IMGCNV_VERSION_(MAJOR|MINOR|PATCH) (\d+)$", text, re.MULTILINE))
    return ".".join(found[part] for part in ("MAJOR", "MINOR", "PATCH"))


def _version() -> str:
    try:
        built = importlib.resources.files(__package__) / "_version.txt"
        return built.read_text(encoding="utf-8").strip()
    except FileNotFoundError:
        return read_header(HEADER)


__version__: str = _version()
