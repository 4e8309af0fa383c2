"""Frames made for tests, what they must become, and memory that bites."""

from __future__ import annotations

import ctypes
import mmap
import pathlib
from typing import Any, List, Optional, Tuple

import numpy as np
from imgcnv import PixelFormat
from numpy.typing import NDArray

import core

Bytes = NDArray[np.uint8]
Bit = Optional[Tuple[int, int]]  # a sample and one of its bits

DEPTH = {"mono8": 1, "rgb24": 3, "bgr24": 3, "rgba32": 4, "bgra32": 4}
CODES = {
    "mono8": PixelFormat.MONO8,
    "rgb24": PixelFormat.RGB8_PACKED,
    "bgr24": PixelFormat.BGR8_PACKED,
    "rgba32": PixelFormat.RGBA8_PACKED,
    "bgra32": PixelFormat.BGRA8_PACKED,
}
METHODS = ("nearest", "bilinear", "adaptive")
PAGE = mmap.PAGESIZE
SAMPLES = pathlib.Path(__file__).resolve().parents[2] / "samples"


class Guarded:
    """`size` bytes that end where the memory ends: one byte further is a crash."""

    def __init__(self, size: int) -> None:
        self._pages = -(-size // PAGE) or 1
        self._map = mmap.mmap(-1, (self._pages + 1) * PAGE)
        start = ctypes.addressof(ctypes.c_char.from_buffer(self._map))
        mprotect = ctypes.CDLL(None, use_errno=True).mprotect
        mprotect.argtypes = (ctypes.c_void_p, ctypes.c_size_t, ctypes.c_int)
        assert mprotect(start + self._pages * PAGE, PAGE, 0) == 0
        self.bytes: Bytes = np.frombuffer(self._map, np.uint8, size, self._pages * PAGE - size)


def guarded(data: bytes) -> Bytes:
    array = Guarded(len(data)).bytes
    array[:] = np.frombuffer(data, np.uint8)
    return array


# Of each group of samples in memory order: the samples' bits, highest first, that a byte holds from
# its highest bit down. None: bits that are not read.
def _lsb_first(depth: int, samples: int) -> List[List[Bit]]:
    stream = [(sample, bit) for sample in range(samples) for bit in range(depth)]
    return [stream[at : at + 8][::-1] for at in range(0, len(stream), 8)]


def _mipi(depth: int, samples: int) -> List[List[Bit]]:
    high = [[(sample, depth - 1 - bit) for bit in range(8)] for sample in range(samples)]
    low = [(sample, bit) for sample in range(samples) for bit in range(depth - 8)]
    return high + [low[at : at + 8][::-1] for at in range(0, len(low), 8)]


def _packed(depth: int) -> List[List[Bit]]:
    high = [[(sample, depth - 1 - bit) for bit in range(8)] for sample in range(2)]
    unread: List[Bit] = [None] * (12 - depth)
    low = [[*unread, *((sample, bit) for bit in reversed(range(depth - 8)))] for sample in (1, 0)]
    return [high[0], low[0] + low[1], high[1]]


def bit_layout(format: PixelFormat) -> List[List[Bit]]:
    """The bytes of one group of samples, drawn independently of the library."""
    depth = format.bits
    if format.packing == "words":
        word = [None] * (16 - depth) + [(0, bit) for bit in reversed(range(depth))]
        return [word[8:], word[:8]]
    if format.packing == "bytes":
        return [[(0, bit) for bit in reversed(range(8))]]
    if format.packing == "packed":
        return _packed(depth)
    group = {1: 8, 2: 4, 4: 2, 10: 4, 12: 2, 14: 4}[depth]
    return _mipi(depth, group) if format.packing == "mipi" else _lsb_first(depth, group)


def samples_of(format: PixelFormat, rows: Bytes, width: int) -> NDArray[np.uint16]:
    """Samples at full depth of rows of bytes, bit by bit."""
    layout = bit_layout(format)
    count = 1 + max(bit[0] for byte in layout for bit in byte if bit)
    groups = -(-width // count)
    padded = np.zeros((len(rows), groups * len(layout)), np.uint8)
    padded[:, : rows.shape[1]] = rows[:, : padded.shape[1]]
    bits = np.unpackbits(padded.reshape(len(rows), groups, len(layout)), axis=2)
    samples = np.zeros((len(rows), groups, count), np.uint16)
    for at, bit in enumerate(bit for byte in layout for bit in byte):
        if bit:
            samples[..., bit[0]] |= bits[..., at].astype(np.uint16) << bit[1]
    return samples.reshape(len(rows), -1)[:, :width]


def encode(
    format: PixelFormat, samples: NDArray[Any], padding: int, rng: np.random.Generator
) -> bytes:
    """Rows of `samples` at full depth in a grey or Bayer format; unread bits are noise."""
    height, width = samples.shape
    layout = bit_layout(format)
    count = 1 + max(bit[0] for byte in layout for bit in byte if bit)
    groups = -(-width // count)
    whole = rng.integers(0, 2**16, (height, groups * count), dtype=np.uint16)
    whole[:, :width] = samples
    whole = whole.reshape(height, groups, count)
    bits = rng.integers(0, 2, (height, groups, 8 * len(layout)), dtype=np.uint8)
    for at, bit in enumerate(bit for byte in layout for bit in byte):
        if bit:
            bits[..., at] = whole[..., bit[0]] >> bit[1] & 1
    rows = np.packbits(bits.reshape(height, -1), axis=1)[:, : format.row_bytes(width)]
    pads = rng.integers(0, 256, (height, padding), dtype=np.uint8)
    return np.concatenate([rows, pads], axis=1).tobytes()


def to_eight_bits(format: PixelFormat, samples: NDArray[np.uint16]) -> Bytes:
    if format.bits == 1:
        return (samples * 255).astype(np.uint8)
    shift = format.bits - 8
    return (samples >> shift if shift >= 0 else samples << -shift).astype(np.uint8)


def luma(rgb: NDArray[Any]) -> NDArray[Any]:
    wide = rgb.astype(np.float64)
    return ((0.299 * wide[..., 0] + 0.587 * wide[..., 1]) + 0.114 * wide[..., 2]).astype(np.uint8)


def to_layout(picture: NDArray[Any], to: str) -> Bytes:
    """A grey (H, W) or RGB (H, W, 3) picture in the layout of a destination."""
    if picture.ndim == 2:
        return picture if to == "mono8" else opaque(np.stack([picture] * DEPTH[to], axis=-1), to)
    if to == "mono8":
        return luma(picture)
    ordered = picture[..., ::-1] if to.startswith("bgr") else picture
    return opaque(np.concatenate([ordered, ordered[..., :1]], -1)[..., : DEPTH[to]], to)


def opaque(picture: Bytes, to: str) -> Bytes:
    picture = np.ascontiguousarray(picture)
    if DEPTH[to] == 4:
        picture[..., 3] = 255
    return picture


def yuv_to_rgb(y: NDArray[Any], u: NDArray[Any], v: NDArray[Any]) -> Bytes:
    y, u, v = (plane.astype(np.int32) for plane in (y, u, v))
    red = y + ((359 * v - 45952) >> 8)
    green = y - ((88 * u - 11264) >> 8) - ((183 * v - 23424) >> 8)
    blue = y + ((454 * u - 58112) >> 8)
    return np.clip(np.stack([red, green, blue], -1), 0, 255).astype(np.uint8)


# For each group: where its luma samples, its U and its V lie.
YUV_GROUPS = {
    PixelFormat.YUV411_PACKED: ([1, 2, 4, 5], 0, 3),
    PixelFormat.YUV422_PACKED: ([1, 3], 0, 2),
    PixelFormat.YUV422_YUYV_PACKED: ([0, 2], 1, 3),
    PixelFormat.YUV444_PACKED: ([1], 0, 2),
}


def decode_yuv(format: PixelFormat, rows: Bytes, width: int) -> Bytes:
    lumas, u, v = YUV_GROUPS[format]
    groups = rows.reshape(len(rows), -1, len(lumas) + 2 if len(lumas) > 1 else 3)
    chroma = [np.repeat(groups[..., i : i + 1], len(lumas), axis=2) for i in (u, v)]
    rgb = yuv_to_rgb(groups[..., lumas], *chroma)
    return rgb.reshape(len(rows), -1, 3)[:, :width]


def c_convert(
    frame: bytes, width: int, height: int, code: int, to: str, method: int, written: int
) -> Bytes:
    return core.convert(frame, width, height, code, CODES[to], method, written)


def c_demosaic(mosaic: Bytes, order: str, to: str, method: str) -> Bytes:
    """A mosaic of even width and two or more rows, by the C functions."""
    height, width = mosaic.shape
    rows = height + height % 2
    out = c_convert(
        mosaic.tobytes(),
        width,
        height,
        PixelFormat[f"BAYER_{order}8"],
        to,
        METHODS.index(method),
        rows * width * DEPTH[to],
    )
    picture = out.reshape(rows, width, DEPTH[to])[:height]
    return opaque(picture, to).reshape(height, width, DEPTH[to])


def rows_of(format: PixelFormat, frame: bytes, width: int, height: int, stride: int) -> Bytes:
    """The rows of a frame as bytes; rows of a stream of bits are shifted so that they begin one."""
    data = np.frombuffer(frame, np.uint8)
    row = format.row_bytes(width)
    if format.packing in ("bits", "nibbles", "lsb") and not stride:
        bits = np.unpackbits(data, bitorder="little")[: width * height * format.bits_per_pixel]
        return np.packbits(bits.reshape(height, -1), axis=1, bitorder="little")
    stride = stride or row
    padded = np.zeros(height * stride, np.uint8)
    padded[: len(data)] = data[: len(padded)]
    return np.ascontiguousarray(padded.reshape(height, stride)[:, :row])


def expected(
    format: PixelFormat, frame: bytes, width: int, height: int, stride: int, to: str, method: str
) -> Bytes:
    """What the frame must become, by formulas and the C library's plainest calls."""
    rows = rows_of(format, frame, width, height, stride)
    if format in YUV_GROUPS:
        return to_layout(decode_yuv(format, rows, width), to)
    if format.order in ("RGB", "BGR", "RGBA", "BGRA"):
        colors = to_eight_bits(format, samples_of(format, rows, width * len(format.order)))
        rgb = colors.reshape(height, width, -1)[..., :3]
        return to_layout(rgb[..., ::-1] if format.order.startswith("BGR") else rgb, to)
    grey = to_eight_bits(format, samples_of(format, rows, width))
    if not format.is_bayer or 1 in (width, height):
        return to_layout(grey, to)
    above = 5 if format.order == "GR" else 0
    wide = np.pad(grey, ((above, 0), (0, width % 2)), mode="reflect")
    order = str(format.one_row_down.order if above else format.order)
    picture = c_demosaic(wide, order, to, method)[above:, :width]
    return picture[..., 0] if to == "mono8" else picture


def random_frame(
    rng: np.random.Generator, format: PixelFormat, width: int, height: int, stride: int
) -> bytes:
    return rng.bytes(format.frame_bytes(width, height, stride=stride))
