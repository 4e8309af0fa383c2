"""Formats have the C header's codes, the command's names and the right sizes."""

from __future__ import annotations

import pathlib
import re
import subprocess
import sys

import imgcnv
import pytest
from imgcnv import PixelFormat

PYTHON = pathlib.Path(__file__).resolve().parents[1]
HEADER = PYTHON.parent / "include" / "imgcnv.h"


def test_codes_are_those_of_the_header():
    found = re.findall(r"IMGCNV_PIXEL_(\w+) = (0x[0-9A-F]{8})", HEADER.read_text())
    assert {name: int(code, 16) for name, code in found} == {
        format.name: format.value for format in PixelFormat if format.order != "GR"
    }


def test_names_are_those_of_the_command():
    subprocess.run([sys.executable, PYTHON / "make_format_names.py", "--check"], check=True)


@pytest.mark.parametrize("format", imgcnv.formats(), ids=str)
def test_every_spelling_is_understood(format):
    assert format.label in format.names
    for name in (*format.names, format.name, f"IMGCNV_PIXEL_{format.name}", hex(format)):
        for spelling in (name, name.upper(), name.replace("_", "").lower(), f" {name} "):
            assert PixelFormat.parse(spelling) is format


@pytest.mark.parametrize(
    "name, bits, bits_per_pixel, packing, order, row_of_7",
    [
        ("Mono8", 8, 8, "bytes", None, 7),
        ("Mono10", 10, 16, "words", None, 14),
        ("Mono10Packed", 10, 12, "packed", None, 11),
        ("Mono16", 16, 16, "words", None, 14),
        ("RGB8", 8, 24, "bytes", "RGB", 21),
        ("BayerGB8", 8, 8, "bytes", "GB", 7),
        ("BayerBG12", 12, 16, "words", "BG", 14),
        ("BayerRG12Packed", 12, 12, "packed", "RG", 11),
        ("YUV411Packed", 8, 12, "bytes", "UYYVYY", 12),
        ("YUV422Packed", 8, 16, "bytes", "UYVY", 16),
        ("YUV422_YUYV_Packed", 8, 16, "bytes", "YUYV", 16),
        ("YUV444Packed", 8, 24, "bytes", "UYV", 21),
    ],
)
def test_layouts(name, bits, bits_per_pixel, packing, order, row_of_7):
    format = PixelFormat.parse(name)
    assert (format.bits, format.bits_per_pixel, format.packing) == (bits, bits_per_pixel, packing)
    assert format.order == order
    assert format.row_bytes(7) == row_of_7
    assert format.frame_bytes(7, 3, padding=2) == 3 * (row_of_7 + 2)


def test_streams_have_no_rows():
    assert PixelFormat.MONO1P.frame_bytes(7, 3) == 3
    assert PixelFormat.MONO4P.frame_bytes(7, 3) == 11
    for format in (PixelFormat.MONO1P, PixelFormat.MONO4P, PixelFormat.MONO1C):
        with pytest.raises(ValueError, match="no rows"):
            format.row_bytes(7)
    with pytest.raises(ValueError, match="no fixed length"):
        PixelFormat.MONO1C.frame_bytes(7, 3)


def test_codes_may_be_signed_numbers_of_any_kind():
    assert imgcnv.Converter(2, 2, 0x01080001).format is PixelFormat.MONO8
    with pytest.raises(ValueError, match="0xFEF7FFFF"):
        imgcnv.Converter(2, 2, ~0x01080000)
