"""Formats have the C header's codes, the engine's names and the right sizes."""

from __future__ import annotations

import ast
import pathlib
import re

import imgcnv
import numpy as np
import pytest
from imgcnv import PixelFormat, _formats

import core


def test_codes_are_those_of_the_header():
    named = {name: int(PixelFormat[name]) for name in core.FORMATS.values()}
    assert named == {name: code for code, name in core.FORMATS.items()}
    assert PixelFormat.RGBA8_PACKED == 0x02200016 and PixelFormat.BGRA8_PACKED == 0x02200017


def test_members_for_type_checkers_are_those_of_the_library():
    """The list in the source, which programs read that do not run it, and the table."""
    source = ast.parse(pathlib.Path(_formats.__file__).read_text())
    (enumeration,) = (node for node in source.body if getattr(node, "name", "") == "PixelFormat")
    listed = next(node.body for node in enumeration.body if isinstance(node, ast.If))
    written = {line.targets[0].id: line.value.value for line in listed}
    assert written == {format.name: format.value for format in PixelFormat}, "".join(
        f"\n        {format.name} = 0x{format:08X}" for format in PixelFormat
    )


@pytest.mark.parametrize("format", imgcnv.formats(), ids=str)
def test_every_spelling_is_understood(format):
    assert format.label in format.names
    for name in (*format.names, format.name, f"IMGCNV_PIXEL_{format.name}", hex(format)):
        others = [] if re.match("p[gG][ACE]{2}", name) else [name.upper(), name.lower()]
        for spelling in (name, *others, f" {name} "):
            assert PixelFormat.parse(spelling) is format
    assert f"{format}" == str(format) == format.label and f"{format:>24}".endswith(format.label)
    assert f"{format:#x}" == hex(format) and f"{format:d}" == str(int(format))


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


def test_streams_and_lists():
    assert PixelFormat.MONO1P.frame_bytes(7, 3) == 3
    assert PixelFormat.MONO4P.frame_bytes(7, 3) == 11
    assert PixelFormat.MONO10P.frame_bytes(7, 3) == 27
    assert PixelFormat.MONO10P.frame_bytes(7, 3, stride=9)
    assert PixelFormat.MONO10P.frame_bytes(7, 3, padding=1) == 30
    with pytest.raises(ValueError, match="no rows"):
        PixelFormat.MONO1C.row_bytes(7)
    with pytest.raises(ValueError, match="no fixed length"):
        PixelFormat.MONO1C.frame_bytes(7, 3)


def test_codes_may_be_signed_numbers_of_any_kind():
    for code in (0x01080001, np.int32(0x01080001), np.uint64(0x01080001)):
        assert imgcnv.Converter(2, 2, code).format is PixelFormat.MONO8
    assert imgcnv.Converter(2, 2, 0x810A0002 - 2**32).format is PixelFormat.BAYER_RG10_MIPI
    with pytest.raises(ValueError, match="0xFEF7FFFF"):
        imgcnv.Converter(2, 2, ~0x01080000)
    for code in (0x01080001 + 2**32, 0x01080001 - 2**33):
        with pytest.raises(ValueError, match="expected a code of 32 bits"):
            imgcnv.Converter(2, 2, code)
    with pytest.raises(TypeError, match="name must be a str, not int"):
        PixelFormat.parse(0x01080001)


def test_what_a_name_says_of_bytes_is_not_lost():
    big = imgcnv.convert(b"\x12\x34", 1, 1, "Y16_BE", to="raw16")
    assert big.tolist() == imgcnv.convert(b"4\x12", 1, 1, "Mono16", to="raw16").tolist()
    with pytest.raises(ValueError, match="Mono16 with big-endian words: pass the name"):
        PixelFormat.parse("Y16_BE")
    grey = {0: 16, 255: 235}
    for full, video in grey.items():
        pair = imgcnv.convert(bytes([128, video] * 2), 2, 1, "UYVY", to="mono8", video_range=True)
        assert pair.tolist() == [[full, full]]
