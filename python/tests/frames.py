"""Frames made for tests, what they must become, and memory that bites."""

from __future__ import annotations

import ctypes
import mmap
from typing import Any, Callable, Optional

import numpy as np
from imgcnv import PixelFormat, _native
from numpy.typing import NDArray

Bytes = NDArray[np.uint8]

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


def encode(format: PixelFormat, samples: Bytes, padding: int, rng: np.random.Generator) -> bytes:
    """Rows of 8-bit `samples` in a grey or Bayer format; all other bits are noise."""
    height, width = samples.shape
    noise = rng.integers(0, 256, samples.shape)
    if format.packing == "bytes":
        rows = samples
    elif format.packing == "words":
        low = format.bits - 8
        words = samples.astype(np.uint16) << low | noise & (1 << low) - 1
        rows = words.astype("<u2").view(np.uint8)
    else:
        rows = rng.integers(0, 256, (height, (3 * width + 1) // 2), dtype=np.uint8)
        rows[:, 0::3] = samples[:, 0::2]
        rows[:, 2::3] = samples[:, 1::2]
    pads = rng.integers(0, 256, (height, padding), dtype=np.uint8)
    return np.concatenate([rows, pads], axis=1).tobytes()


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
    """`written` bytes as the C functions make them, called as the header says."""
    out = np.zeros(written, np.uint8)
    record = _native.OpenParam(width, height, 0, 0, len(frame), code)
    handle = _native.open(record, CODES[to], method)
    _native.check(_native.convert(handle, frame, out.ctypes.data))
    _native.close(handle)
    return out


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


def expected(
    format: PixelFormat, frame: bytes, width: int, height: int, padding: int, to: str, method: str
) -> Bytes:
    """What the frame must become, by formulas and the C library's plainest calls."""
    data = np.frombuffer(frame, np.uint8)
    if format.packing == "bits":
        bits = np.unpackbits(data, bitorder="little")[: width * height]
        return to_layout(bits.reshape(height, width) * 255, to)
    if format.packing == "nibbles":
        both = np.stack([data << 4, data & 0xF0], -1).reshape(-1)[: width * height]
        return to_layout(both.reshape(height, width), to)
    rows = data.reshape(height, -1)
    rows = rows[:, : rows.shape[1] - padding]
    if format in YUV_GROUPS:
        return to_layout(decode_yuv(format, rows, width), to)
    if format.order in ("RGB", "BGR"):
        rgb = rows.reshape(height, width, 3)
        return to_layout(rgb[..., ::-1] if format.order == "BGR" else rgb, to)
    if format.packing == "bytes":
        grey = rows
    elif format.packing == "words":
        grey = (np.ascontiguousarray(rows).view("<u2") >> (format.bits - 8)).astype(np.uint8)
    else:
        grey = np.empty((height, width), np.uint8)
        grey[:, 0::2], grey[:, 1::2] = rows[:, 0::3], rows[:, 2::3]
    if not format.is_bayer or 1 in (width, height):
        return to_layout(grey, to)
    above = 5 if format.order == "GR" else 0
    wide = np.pad(grey, ((above, 0), (0, width % 2)), mode="reflect")
    order = str(format.one_row_down.order if above else format.order)
    picture = c_demosaic(wide, order, to, method)[above:, :width]
    return picture[..., 0] if to == "mono8" else picture


def random_frame(
    rng: np.random.Generator, format: PixelFormat, width: int, height: int, padding: int
) -> bytes:
    return rng.bytes(format.frame_bytes(width, height, padding))
