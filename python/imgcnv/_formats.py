"""Pixel formats: the frame engine's table as an enumeration."""

from __future__ import annotations

import ctypes
import enum
import functools
import operator
import re
from typing import TYPE_CHECKING, Dict, Literal, Optional, SupportsIndex, Tuple, Union

from . import _native

Packing = Literal["bits", "nibbles", "lsb", "bytes", "words", "packed", "mipi", "points"]
Order = Literal[
    "RG", "GB", "BG", "GR", "RGB", "BGR", "RGBA", "BGRA", "UYYVYY", "UYVY", "YUYV", "UYV"
]

# imgcnv_layout and imgcnv_bayer_order of imgcnv_frames.h.
_PACKINGS: Dict[int, Packing] = {
    1: "lsb", 2: "bytes", 3: "words", 4: "packed", 5: "mipi", 14: "points"
}  # fmt: skip
_COLORS: Dict[int, Order] = {
    6: "RGB", 7: "BGR", 8: "RGBA", 9: "BGRA", 10: "UYYVYY", 11: "UYVY", 12: "YUYV", 13: "UYV"
}  # fmt: skip
_MOSAICS: Dict[int, Order] = {1: "RG", 2: "GB", 3: "BG", 4: "GR"}


def index(name: str, value: SupportsIndex) -> int:
    """A whole number of any kind as an int that the library can take."""
    if isinstance(value, bool) or not hasattr(value, "__index__"):
        raise TypeError(f"{name} must be an int, not {type(value).__name__}")
    number = operator.index(value)
    if not -(2**63) <= number < 2**63:
        raise ValueError(f"{name} is {number}, expected a number of 64 bits")
    return number


def _row(number: int) -> _native.Record:
    info = _native.FormatInfo()
    _native.format_at(number, info)
    return info


_TABLE = {info.code: info for info in map(_row, range(_native.format_count()))}


def _member_name(info: _native.Record) -> str:
    """MONO12_PACKED of Mono12Packed; RGBa8 has the name of imgcnv.h: RGBA8_PACKED."""
    name = re.sub(r"(?<=[a-z\d])(Packed|MIPI)|(?<=Bayer)(?=[A-Z])", r"_\1", info.name.decode())
    return name.upper() + ("_PACKED" if info.layout in (8, 9) else "")


class PixelFormat(enum.IntEnum):
    """A pixel format of the GigE Vision / GenICam convention, by its 32-bit code.

    The members are the rows of the library's table; formats that the convention does not have,
    such as Mono10MIPI, have codes of imgcnv.

    >>> PixelFormat.MONO12_PACKED
    <PixelFormat.MONO12_PACKED: 0x010C0006>
    >>> PixelFormat(0x01080009).label
    'BayerRG8'
    >>> PixelFormat.parse("yuyv") is PixelFormat.YUV422_YUYV_PACKED
    True
    """

    if TYPE_CHECKING:
        MONO1P = 0x01010037
        MONO2P = 0x01020038
        MONO4P = 0x01040039
        MONO8 = 0x01080001
        MONO10 = 0x01100003
        MONO10_PACKED = 0x010C0004
        MONO10P = 0x010A0046
        MONO10_MIPI = 0x810A0001
        MONO12 = 0x01100005
        MONO12_PACKED = 0x010C0006
        MONO12P = 0x010C0047
        MONO12_MIPI = 0x810C0011
        MONO14 = 0x01100025
        MONO14P = 0x010E0104
        MONO14_MIPI = 0x810E0021
        MONO16 = 0x01100007
        RGB8_PACKED = 0x02180014
        BGR8_PACKED = 0x02180015
        RGBA8_PACKED = 0x02200016
        BGRA8_PACKED = 0x02200017
        RGB10 = 0x02300018
        BGR10 = 0x02300019
        RGB12 = 0x0230001A
        BGR12 = 0x0230001B
        RGB16 = 0x02300033
        BGR16 = 0x0230004B
        BAYER_RG8 = 0x01080009
        BAYER_RG10 = 0x0110000D
        BAYER_RG10_PACKED = 0x010C0027
        BAYER_RG10P = 0x010A0058
        BAYER_RG10_MIPI = 0x810A0002
        BAYER_RG12 = 0x01100011
        BAYER_RG12_PACKED = 0x010C002B
        BAYER_RG12P = 0x010C0059
        BAYER_RG12_MIPI = 0x810C0012
        BAYER_RG14 = 0x0110010A
        BAYER_RG14P = 0x010E0106
        BAYER_RG14_MIPI = 0x810E0022
        BAYER_RG16 = 0x0110002F
        BAYER_GB8 = 0x0108000A
        BAYER_GB10 = 0x0110000E
        BAYER_GB10_PACKED = 0x010C0028
        BAYER_GB10P = 0x010A0054
        BAYER_GB10_MIPI = 0x810A0003
        BAYER_GB12 = 0x01100012
        BAYER_GB12_PACKED = 0x010C002C
        BAYER_GB12P = 0x010C0055
        BAYER_GB12_MIPI = 0x810C0013
        BAYER_GB14 = 0x0110010B
        BAYER_GB14P = 0x010E0107
        BAYER_GB14_MIPI = 0x810E0023
        BAYER_GB16 = 0x01100030
        BAYER_BG8 = 0x0108000B
        BAYER_BG10 = 0x0110000F
        BAYER_BG10_PACKED = 0x010C0029
        BAYER_BG10P = 0x010A0052
        BAYER_BG10_MIPI = 0x810A0004
        BAYER_BG12 = 0x01100013
        BAYER_BG12_PACKED = 0x010C002D
        BAYER_BG12P = 0x010C0053
        BAYER_BG12_MIPI = 0x810C0014
        BAYER_BG14 = 0x0110010C
        BAYER_BG14P = 0x010E0108
        BAYER_BG14_MIPI = 0x810E0024
        BAYER_BG16 = 0x01100031
        BAYER_GR8 = 0x01080008
        BAYER_GR10 = 0x0110000C
        BAYER_GR10_PACKED = 0x010C0026
        BAYER_GR10P = 0x010A0056
        BAYER_GR10_MIPI = 0x810A0005
        BAYER_GR12 = 0x01100010
        BAYER_GR12_PACKED = 0x010C002A
        BAYER_GR12P = 0x010C0057
        BAYER_GR12_MIPI = 0x810C0015
        BAYER_GR14 = 0x01100109
        BAYER_GR14P = 0x010E0105
        BAYER_GR14_MIPI = 0x810E0025
        BAYER_GR16 = 0x0110002E
        YUV411_PACKED = 0x020C001E
        YUV422_PACKED = 0x0210001F
        YUV422_YUYV_PACKED = 0x02100032
        YUV444_PACKED = 0x02180020
        MONO1C = 0x012000FF
    else:
        locals().update({_member_name(info): code for code, info in _TABLE.items()})

    def __repr__(self) -> str:
        return f"<{type(self).__name__}.{self.name}: 0x{self.value:08X}>"

    def __str__(self) -> str:
        return self.label

    def __format__(self, style: str) -> str:
        # Python's own takes the number up to 3.11 and the text from 3.12 on.
        return format(self.value if style.endswith(tuple("bcdoxXn")) else self.label, style)

    @classmethod
    def parse(cls, name: str) -> PixelFormat:
        """The format that `name` means, in any spelling in use.

        Names of PFNC, GStreamer, V4L2, ffmpeg, ROS and the C header, and codes such as
        ``"0x01080001"``; case, dashes and underscores do not matter. Raises ValueError for a name
        that is unknown, ambiguous or of a format that cannot be read, saying what it is and what
        to do. So does a name of big-endian words or of video range, such as ``"Y16_BE"``, which
        are not part of a PixelFormat: pass such a name to `convert` or `Converter`.
        """
        if not isinstance(name, str):
            raise TypeError(f"name must be a str, not {type(name).__name__}")
        found, flags = _find(name)
        if flags:
            what = "big-endian words" if flags & _native.BIG_ENDIAN else "video range"
            raise ValueError(
                f"format {name!r} is {found.label} with {what}: pass the name itself to convert() "
                "or Converter(), which take it so"
            )
        return found

    @property
    def label(self) -> str:
        """The format's usual name, such as ``"Mono12Packed"``."""
        return str(_TABLE[self].name.decode())

    @property
    def names(self) -> Tuple[str, ...]:
        """Spellings of the format, its usual name first, its code last."""
        info = _TABLE[self]
        lists = (info.name, info.pfnc, info.gstreamer, info.v4l2, info.ffmpeg, info.ros)
        words = b" ".join(lists).decode().split()
        return (*dict.fromkeys(words), f"0x{self.value:08X}")

    @property
    def is_source(self) -> bool:
        """Whether frames may have this format. All of them may."""
        return True

    @property
    def is_bayer(self) -> bool:
        """Whether the format is a Bayer mosaic, to be demosaiced."""
        return _TABLE[self].order in _MOSAICS

    @property
    def bits(self) -> int:
        """Significant bits of one sample: 12 for Mono12 and Mono12Packed."""
        return int(_TABLE[self].depth)

    @property
    def bits_per_pixel(self) -> int:
        """Bits that one pixel takes in the frame: 16 for Mono12, 12 for Mono12Packed."""
        return int(_TABLE[self].bits_per_pixel)

    @property
    def packing(self) -> Packing:
        """How samples lie in memory.

        ``"bits"``, ``"nibbles"``, ``"lsb"``: one stream of 1, 4 or other numbers of bits, lowest
        bits first, without row ends unless a stride says so; ``"bytes"``: a byte per sample;
        ``"words"``: 16-bit words; ``"packed"``: 2 samples in 3 bytes, the outer bytes holding the
        high bits; ``"mipi"``: the high bytes of a group, then its low bits; ``"points"``: a list of
        4-byte records (Mono1C).
        """
        info = _TABLE[self]
        if info.layout in _COLORS:
            return "bytes" if info.depth == 8 else "words"
        if info.layout == 1 and info.depth in (1, 4):
            return "bits" if info.depth == 1 else "nibbles"
        return _PACKINGS[info.layout]

    @property
    def order(self) -> Optional[Order]:
        """Colour order: the first two samples of a Bayer mosaic, the samples of
        one group of an RGB or YUV format, None for grey."""
        info = _TABLE[self]
        return _MOSAICS.get(info.order) or _COLORS.get(info.layout)

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
        return int(_TABLE[self].group_pixels) if _TABLE[self].layout in _COLORS else 1

    def row_bytes(self, width: SupportsIndex) -> int:
        """Bytes of one row of `width` pixels, padding excluded, the last byte or group rounded up.

        Raises ValueError for Mono1C, a list without rows.

        >>> PixelFormat.MONO12_PACKED.row_bytes(5), PixelFormat.YUV422_PACKED.row_bytes(5)
        (8, 12)
        """
        if self.packing == "points":
            raise ValueError(f"a {self.label} list has no rows: 4 bytes per point")
        return int(measure(make_frame(self, 0, width, 1)).row_bytes)

    def frame_bytes(
        self,
        width: SupportsIndex,
        height: SupportsIndex,
        padding: SupportsIndex = 0,
        *,
        stride: SupportsIndex = 0,
    ) -> int:
        """Bytes of one frame of `height` rows, each followed by `padding` bytes.

        `stride` are the bytes from row to row, for those who know that instead. Raises ValueError
        for Mono1C, whose length is that of its list.

        >>> PixelFormat.MONO12_PACKED.frame_bytes(4096, 3000)
        18432000
        """
        frame = make_frame(self, 0, width, height, padding, stride)
        size = int(measure(frame).frame_bytes)
        if self.packing == "points":
            raise ValueError(f"a {self.label} list has no fixed length: 4 bytes per point")
        return size


FormatLike = Union[PixelFormat, str, SupportsIndex]


def formats() -> Tuple[PixelFormat, ...]:
    """Every format that frames may have.

    >>> [format.label for format in formats() if format.order == "GB"][:2]
    ['BayerGB8', 'BayerGB10']
    """
    return tuple(PixelFormat)


@functools.lru_cache(maxsize=4096)
def _find(name: str) -> Tuple[PixelFormat, int]:
    code, flags = ctypes.c_uint32(), ctypes.c_uint32()
    _native.call(_native.find_format, name.encode(errors="replace"), code, flags)
    return PixelFormat(code.value), flags.value


def resolve(
    format: FormatLike, big_endian: Optional[bool] = None, video_range: Optional[bool] = None
) -> Tuple[PixelFormat, int]:
    """The format given as member, name or code, and the flags of a frame.

    What the name says of the bytes holds unless the other arguments say otherwise.
    """
    if not isinstance(format, (str, SupportsIndex)):
        raise TypeError(
            f"format must be an imgcnv.PixelFormat, a name or a code, not {type(format).__name__}"
        )
    if not isinstance(format, str):
        code = operator.index(format)
        if not -(2**31) <= code < 2**32:
            raise ValueError(f"format is {code}, expected a code of 32 bits")
        # Drivers hand out codes as signed and as unsigned numbers.
        format = f"0x{code & 0xFFFFFFFF:08X}"
    found, flags = _find(format)
    for flag, wanted in ((_native.BIG_ENDIAN, big_endian), (_native.VIDEO_RANGE, video_range)):
        if wanted is not None:
            flags = flags | flag if wanted else flags & ~flag
    return found, flags


def make_frame(
    format: int,
    flags: int,
    width: SupportsIndex,
    height: SupportsIndex,
    padding: SupportsIndex = 0,
    stride: SupportsIndex = 0,
) -> _native.Record:
    """A description that the library has yet to check."""
    columns, rows = index("width", width), index("height", height)
    pad, pitch = index("padding", padding), index("stride", stride)
    if not 0 <= pad < 2**31:
        raise ValueError(
            f"padding is {pad}, expected 0 or more bytes after each row, at most {2**31 - 1}"
        )
    if pad and pitch:
        raise ValueError(f"padding is {pad} and stride {pitch}: pass one of them")
    if pad:
        # -1 for a width that is none, which the library refuses then.
        pitch = max(0, int(_native.row_bytes(format, columns))) + pad
    return _native.Frame(format=format, flags=flags, width=columns, height=rows, stride=pitch)


def measure(frame: _native.Record) -> _native.Record:
    """Sizes of a frame, once its description is checked."""
    sizes = _native.FrameSizes()
    _native.call(_native.frame_measure, frame, sizes)
    return sizes
