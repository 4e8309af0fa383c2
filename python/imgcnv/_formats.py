"""Pixel formats: what a frame's bytes mean and how many there are."""

from __future__ import annotations

import difflib
import enum
import functools
import json
import operator
import pathlib
from typing import Dict, Literal, NamedTuple, Optional, Tuple, Union

Packing = Literal["bits", "nibbles", "bytes", "words", "packed", "points"]
Order = Literal[
    "RG", "GB", "BG", "GR", "RGB", "BGR", "RGBA", "BGRA", "UYYVYY", "UYVY", "YUYV", "UYV"
]

# The library takes sizes as signed 32-bit integers.
LARGEST_SIZE = 2**31 - 1


class PixelFormat(enum.IntEnum):
    """A pixel format of the GigE Vision / GenICam convention, by its 32-bit code.

    >>> PixelFormat.MONO12_PACKED
    <PixelFormat.MONO12_PACKED: 0x010C0006>
    >>> PixelFormat(0x01080009).label
    'BayerRG8'
    >>> PixelFormat.parse("yuyv") is PixelFormat.YUV422_YUYV_PACKED
    True
    """

    MONO1P = 0x01010037
    MONO4P = 0x01040039
    MONO8 = 0x01080001
    MONO10 = 0x01100003
    MONO10_PACKED = 0x010C0004
    MONO12 = 0x01100005
    MONO12_PACKED = 0x010C0006
    MONO16 = 0x01100007
    RGB8_PACKED = 0x02180014
    BGR8_PACKED = 0x02180015
    RGBA8_PACKED = 0x02200016
    BGRA8_PACKED = 0x02200017
    BAYER_RG8 = 0x01080009
    BAYER_GB8 = 0x0108000A
    BAYER_BG8 = 0x0108000B
    BAYER_RG10 = 0x0110000D
    BAYER_GB10 = 0x0110000E
    BAYER_BG10 = 0x0110000F
    BAYER_RG12 = 0x01100011
    BAYER_GB12 = 0x01100012
    BAYER_BG12 = 0x01100013
    BAYER_RG10_PACKED = 0x010C0027
    BAYER_GB10_PACKED = 0x010C0028
    BAYER_BG10_PACKED = 0x010C0029
    BAYER_RG12_PACKED = 0x010C002B
    BAYER_GB12_PACKED = 0x010C002C
    BAYER_BG12_PACKED = 0x010C002D
    # The C library has no GR order: see PixelFormat.one_row_down.
    BAYER_GR8 = 0x01080008
    BAYER_GR10 = 0x0110000C
    BAYER_GR12 = 0x01100010
    BAYER_GR10_PACKED = 0x010C0026
    BAYER_GR12_PACKED = 0x010C002A
    YUV411_PACKED = 0x020C001E
    YUV422_PACKED = 0x0210001F
    YUV422_YUYV_PACKED = 0x02100032
    YUV444_PACKED = 0x02180020
    MONO1C = 0x012000FF

    def __repr__(self) -> str:
        return f"<{type(self).__name__}.{self.name}: 0x{self.value:08X}>"

    def __str__(self) -> str:
        return self.label

    @classmethod
    def parse(cls, name: str) -> PixelFormat:
        """The source format that `name` means, in any spelling in use.

        Names of PFNC, GStreamer, V4L2, ffmpeg, ROS and the C header, and codes
        such as ``"0x01080001"``; case and underscores do not matter. Raises
        ValueError for a name that is unknown, ambiguous or of another layout,
        saying what it is and what to do.
        """
        return _parse(name)

    @property
    def label(self) -> str:
        """The format's usual name, such as ``"Mono12Packed"``."""
        return _TRAITS[self].label

    @property
    def names(self) -> Tuple[str, ...]:
        """Every spelling of the format, its usual name first."""
        return _names().spellings.get(self, (self.label,))

    @property
    def is_source(self) -> bool:
        """Whether frames may have this format. RGBA8 and BGRA8 are results only."""
        return self not in (PixelFormat.RGBA8_PACKED, PixelFormat.BGRA8_PACKED)

    @property
    def is_bayer(self) -> bool:
        """Whether the format is a Bayer mosaic, to be demosaiced."""
        return self.order in _BAYER_ORDERS

    @property
    def bits(self) -> int:
        """Significant bits of one sample: 12 for Mono12 and Mono12Packed."""
        return _TRAITS[self].bits

    @property
    def bits_per_pixel(self) -> int:
        """Bits that one pixel takes in the frame: 16 for Mono12, 12 for Mono12Packed."""
        return self.value >> 16 & 0xFF

    @property
    def packing(self) -> Packing:
        """How samples lie in memory.

        ``"bits"``, ``"nibbles"``: one stream without row ends, lowest bits first;
        ``"bytes"``: a byte a sample; ``"words"``: 16-bit little-endian words;
        ``"packed"``: 2 samples in 3 bytes, the outer bytes holding the high bits;
        ``"points"``: a list of 4-byte records (Mono1C).
        """
        return _TRAITS[self].packing

    @property
    def order(self) -> Optional[Order]:
        """Colour order: the first two samples of a Bayer mosaic, the samples of
        one group of an RGB or YUV format, None for grey."""
        return _TRAITS[self].order

    @property
    def one_row_down(self) -> PixelFormat:
        """What a mosaic is called that begins at the second row of this one.

        >>> PixelFormat.BAYER_GR8.one_row_down
        <PixelFormat.BAYER_BG8: 0x0108000B>
        """
        if not self.is_bayer:
            return self
        down = {"RG": "GB", "GB": "RG", "BG": "GR", "GR": "BG"}[str(self.order)]
        return PixelFormat[self.name.replace(f"_{self.order}", f"_{down}")]

    @property
    def group(self) -> int:
        """Pixels that share their colour samples: 4 in YUV411, 2 in YUV422, else 1."""
        return _TRAITS[self].group

    def row_bytes(self, width: int) -> int:
        """Bytes of one row of `width` pixels, padding excluded.

        YUV rows hold whole groups; rows of the packed formats are rounded up to
        whole bytes. Raises ValueError for the formats without rows (Mono1p,
        Mono4p, Mono1C).

        >>> PixelFormat.MONO12_PACKED.row_bytes(5), PixelFormat.YUV422_PACKED.row_bytes(5)
        (8, 12)
        """
        if self.packing in ("bits", "nibbles", "points"):
            raise ValueError(f"{self.label} frames have no rows: use frame_bytes()")
        groups = -(-positive("width", width) // self.group)
        return (groups * self.group * self.bits_per_pixel + 7) // 8

    def frame_bytes(self, width: int, height: int, padding: int = 0) -> int:
        """Bytes of one frame of `height` rows, each followed by `padding` bytes.

        Raises ValueError for Mono1C, whose length is that of its list.

        >>> PixelFormat.MONO12_PACKED.frame_bytes(4096, 3000)
        18432000
        """
        width, height = positive("width", width), positive("height", height)
        padding = operator.index(padding)
        if padding < 0:
            raise ValueError(f"padding is {padding}, expected 0 or more bytes after each row")
        if self.packing == "points":
            raise ValueError(f"a {self.label} list has no fixed length: 4 bytes a point")
        if self.packing in ("bits", "nibbles"):
            if padding:
                raise ValueError(
                    f"padding is {padding}, expected 0: {self.label} frames are one stream "
                    "without row ends"
                )
            return (width * height * self.bits_per_pixel + 7) // 8
        return (self.row_bytes(width) + padding) * height


FormatLike = Union[PixelFormat, str, int]


class _Traits(NamedTuple):
    label: str
    bits: int
    packing: Packing
    order: Optional[Order] = None
    group: int = 1


_TRAITS: Dict[PixelFormat, _Traits] = {
    PixelFormat.MONO1P: _Traits("Mono1p", 1, "bits"),
    PixelFormat.MONO4P: _Traits("Mono4p", 4, "nibbles"),
    PixelFormat.MONO8: _Traits("Mono8", 8, "bytes"),
    PixelFormat.MONO10: _Traits("Mono10", 10, "words"),
    PixelFormat.MONO10_PACKED: _Traits("Mono10Packed", 10, "packed"),
    PixelFormat.MONO12: _Traits("Mono12", 12, "words"),
    PixelFormat.MONO12_PACKED: _Traits("Mono12Packed", 12, "packed"),
    PixelFormat.MONO16: _Traits("Mono16", 16, "words"),
    PixelFormat.RGB8_PACKED: _Traits("RGB8Packed", 8, "bytes", "RGB"),
    PixelFormat.BGR8_PACKED: _Traits("BGR8Packed", 8, "bytes", "BGR"),
    PixelFormat.RGBA8_PACKED: _Traits("RGBA8Packed", 8, "bytes", "RGBA"),
    PixelFormat.BGRA8_PACKED: _Traits("BGRA8Packed", 8, "bytes", "BGRA"),
    PixelFormat.YUV411_PACKED: _Traits("YUV411Packed", 8, "bytes", "UYYVYY", 4),
    PixelFormat.YUV422_PACKED: _Traits("YUV422Packed", 8, "bytes", "UYVY", 2),
    PixelFormat.YUV422_YUYV_PACKED: _Traits("YUV422_YUYV_Packed", 8, "bytes", "YUYV", 2),
    PixelFormat.YUV444_PACKED: _Traits("YUV444Packed", 8, "bytes", "UYV"),
    PixelFormat.MONO1C: _Traits("Mono1C", 8, "points"),
}
_BAYER_ORDERS: Tuple[Order, ...] = ("RG", "GB", "BG", "GR")
for _order in _BAYER_ORDERS:
    for _bits in (8, 10, 12):
        _TRAITS[PixelFormat[f"BAYER_{_order}{_bits}"]] = _Traits(
            f"Bayer{_order}{_bits}", _bits, "bytes" if _bits == 8 else "words", _order
        )
    for _bits in (10, 12):
        _TRAITS[PixelFormat[f"BAYER_{_order}{_bits}_PACKED"]] = _Traits(
            f"Bayer{_order}{_bits}Packed", _bits, "packed", _order
        )


def positive(name: str, value: int) -> int:
    """`value` as an int of 1 or more."""
    number = operator.index(value)
    if number < 1:
        raise ValueError(f"{name} is {number}, expected 1 or more")
    return number


def formats() -> Tuple[PixelFormat, ...]:
    """The formats that frames may have: the C library's 30, and Bayer in GR order.

    >>> len(formats())
    35
    >>> [format.label for format in formats() if format.order == "GB"][:2]
    ['BayerGB8', 'BayerGB10']
    """
    return tuple(format for format in PixelFormat if format.is_source)


def resolve(format: FormatLike) -> PixelFormat:
    """The source format given as member, name or code."""
    if isinstance(format, str):
        return PixelFormat.parse(format)
    try:
        code = operator.index(format)
    except TypeError:
        raise TypeError(
            f"format must be an imgcnv.PixelFormat, a name or a code, not {type(format).__name__}"
        ) from None
    try:
        found = PixelFormat(code)
    except ValueError:
        # Drivers hand out codes as signed and as unsigned numbers.
        return PixelFormat.parse(f"0x{code & 0xFFFFFFFF:08X}")
    return found if found.is_source else PixelFormat.parse(found.label)


_NAMES_FILE = pathlib.Path(__file__).with_name("_format_names.json")


class _Names(NamedTuple):
    spellings: Dict[PixelFormat, Tuple[str, ...]]
    sources: Dict[str, PixelFormat]
    refused: Dict[str, str]  # why the name is no source format, and what to do


def _plain(name: str) -> str:
    """`name` without what does not matter in it."""
    name = name.strip().casefold().replace("_", "")
    return f"0x{int(name, 16):08x}" if name.startswith("0x") and len(name) > 2 else name


@functools.lru_cache(maxsize=None)
def _names() -> _Names:
    table = json.loads(_NAMES_FILE.read_text(encoding="utf-8"))
    names = _Names({}, {}, {})
    for row in table["formats"]:
        format = PixelFormat(int(row["code"], 16))
        spellings = (*row["names"], row["code"])
        names.spellings[format] = spellings
        for name in (*spellings, format.name, f"IMGCNV_PIXEL_{format.name}"):
            names.sources[_plain(name)] = format
    for row in table["foreign"]:
        for name in row["names"]:
            names.refused[_plain(name)] = f"{name}: {row['what']}; {row['remedy']}"
    return names


def _parse(name: str) -> PixelFormat:
    names = _names()
    try:
        plain = _plain(name)
    except ValueError:
        plain = name
    if plain in names.sources:
        return names.sources[plain]
    if plain in names.refused:
        raise ValueError(f"format {names.refused[plain]}")
    close = difflib.get_close_matches(plain, names.sources, n=3, cutoff=0.7)
    meant = dict.fromkeys(names.sources[match].label for match in close)
    raise ValueError(
        f"format {name!r} is unknown; "
        + (f"did you mean {' or '.join(meant)}?" if meant else "imgcnv.formats() lists them all")
    )
