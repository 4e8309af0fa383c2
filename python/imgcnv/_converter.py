"""Frames to pictures."""

from __future__ import annotations

import operator
import threading
from types import TracebackType
from typing import Optional, Tuple, Type

import numpy as np
from numpy.typing import NDArray

from . import _native
from ._buffers import Bytes, FrameLike, address, readable, writable
from ._formats import LARGEST_SIZE, FormatLike, PixelFormat, positive, resolve
from ._mismatch import size_mismatch
from ._stages import DESTINATIONS, METHODS, Demosaic, Frame, To, plan

# Alpha of every pixel of a 4-byte result, as a little-endian word.
_OPAQUE = np.uint32(0xFF000000)


def _choice(name: str, value: str, choices: Tuple[str, ...]) -> str:
    if value not in choices:
        raise ValueError(f"{name} is {value!r}, expected one of {', '.join(map(repr, choices))}")
    return value


class Converter:
    """Converts frames of one format and size, keeping what can be kept between them.

    Parameters
    ----------
    width, height
        Size of a frame in pixels.
    format
        Pixel format of a frame: a `PixelFormat`, a name or a code.
    to
        ``"mono8"`` (H, W); ``"rgb24"``, ``"bgr24"`` (H, W, 3); ``"rgba32"``,
        ``"bgra32"`` (H, W, 4) with alpha 255. OpenCV's order is ``"bgr24"``.
    demosaic
        How a Bayer mosaic becomes colour: ``"nearest"`` (fastest), ``"bilinear"``
        or ``"adaptive"`` (best). Ignored for other formats.
    padding
        Bytes after each row of a frame, to be skipped.

    One Converter serves one thread at a time; give each thread its own. A call
    while another thread is inside raises RuntimeError. Use it as a context manager
    or close it to free the handle early.

    >>> with Converter(2, 1, "Mono12Packed", to="mono8") as converter:
    ...     converter.convert(bytes([0xAB, 0xC4, 0xDE])).tolist()
    [[171, 222]]
    """

    def __init__(
        self,
        width: int,
        height: int,
        format: FormatLike,
        *,
        to: To = "rgb24",
        demosaic: Demosaic = "bilinear",
        padding: int = 0,
    ) -> None:
        self._lock = threading.Lock()
        self._closed = True
        width, height = positive("width", width), positive("height", height)
        padding = operator.index(padding)
        self._format = resolve(format)
        destination = DESTINATIONS[_choice("to", to, tuple(DESTINATIONS))]
        method = METHODS[_choice("demosaic", demosaic, tuple(METHODS))]

        self._frame = Frame(self._format, width, height, padding)
        self._is_list = self._format.packing == "points"
        self._checked_rows = 0 if self._is_list else height
        self._words = self._format.packing == "words"
        self._frame_bytes = 0 if self._is_list else self._format.frame_bytes(width, height, padding)
        if self._is_list and padding:
            raise ValueError(f"padding is {padding}, expected 0: a Mono1C list has no rows")
        self._stages = plan(self._frame, destination, method)
        written = max(stage.written_rows * stage.written_columns for stage in self._stages)
        if max(self._frame_bytes, written) > LARGEST_SIZE:
            raise ValueError(
                f"{width}x{height} {self._format.label} takes {self._frame_bytes} bytes for "
                f"{written} pixels, expected at most {LARGEST_SIZE} of each: convert it in parts"
            )
        depth = destination.bits_per_pixel // 8
        self._shape: Tuple[int, ...] = (height, width, depth)[: 2 if depth == 1 else 3]
        self._picture_shape = (height, width, depth)
        self._alpha = depth == 4
        self._full_rows = self._stages[-1].written_rows
        # Nothing to do around the call: its handle, for the shortest way through.
        simple = len(self._stages) == 1 and self._stages[0].is_one_call
        self._only_handle = self._stages[0].handle if simple else 0
        self._output: Optional[Bytes] = None
        self._closed = False

    @property
    def format(self) -> PixelFormat:
        """Pixel format of a frame."""
        return self._format

    @property
    def shape(self) -> Tuple[int, ...]:
        """Shape of the result: (H, W), (H, W, 3) or (H, W, 4)."""
        return self._shape

    @property
    def frame_bytes(self) -> int:
        """Bytes of a frame; 0 for Mono1C, whose lists are as long as they are."""
        return self._frame_bytes

    def convert(self, frame: FrameLike, out: Optional[Bytes] = None) -> Bytes:
        """Convert one frame; the GIL is released meanwhile.

        `frame` is anything contiguous that holds the frame's bytes: bytes,
        bytearray, memoryview, mmap, an array of uint8, or one of uint16 where the
        format has 16-bit words. The padding after the last row may be missing.

        The result goes to `out`, a C-contiguous uint8 array of `shape`, or else to
        an array of the Converter's own, which the next call WITHOUT `out` writes
        again: copy what you keep. Raises ValueError and TypeError before anything
        is written.
        """
        if not self._lock.acquire(False):
            raise RuntimeError(
                "this Converter is at work on another thread: give each thread its own"
            )
        try:
            if self._closed:
                raise ValueError("this Converter is closed")
            view = readable(frame, words=self._words, rows=self._checked_rows)
            size = view.nbytes
            if size != self._frame_bytes:
                self._check_size(size)
            source = address(view)
            if out is None:
                out, room = self._own_output(), self._full_rows
                target = address(out)
            else:
                target, room = writable(out, self._shape, source, size), self._shape[0]
            if self._only_handle and room >= self._full_rows:
                status = _native.convert(self._only_handle, source, target)
                if status:
                    _native.check(status)
            else:
                self._run(np.frombuffer(view, np.uint8), np.asarray(out), room)
            if self._alpha:
                words = out.reshape(-1).view(np.uint32)
                np.bitwise_or(words, _OPAQUE, words)
            return out
        finally:
            self._lock.release()

    def close(self) -> None:
        """Free the handle and the Converter's memory; results stay valid."""
        with self._lock:
            self._closed = True
            self._only_handle = 0
            self._output = None
            for stage in self._stages:
                stage.close()

    def __enter__(self) -> Converter:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        height, width = self._shape[:2]
        return f"<imgcnv.Converter {width}x{height} {self._format.label}>"

    def _own_output(self) -> Bytes:
        """The Converter's array, with memory for the extra row behind it."""
        if self._output is None:
            memory = np.empty((self._full_rows, *self._shape[1:]), np.uint8)
            self._output = memory[: self._shape[0]]
        return self._output

    def _check_size(self, given: int) -> None:
        if self._is_list or given == self._frame_bytes - self._frame.padding:
            return
        raise ValueError(size_mismatch(self._frame, given))

    def _run(self, data: Bytes, out: Bytes, room: int) -> None:
        picture = out.reshape(self._picture_shape)
        for stage in self._stages[:-1]:
            plane = np.empty((stage.rows, stage.columns, stage.depth), np.uint8)
            stage.run(data, plane, stage.rows)
            data = plane.reshape(-1)
        self._stages[-1].run(data, picture, room)


def convert(
    frame: FrameLike,
    width: int,
    height: int,
    format: FormatLike,
    *,
    to: To = "rgb24",
    demosaic: Demosaic = "bilinear",
    padding: int = 0,
    out: Optional[Bytes] = None,
) -> Bytes:
    """Convert one frame to a new array, or to `out`.

    The parameters are those of `Converter` and `Converter.convert`; the result is
    (H, W) for ``"mono8"``, else (H, W, 3) or (H, W, 4), uint8, C-contiguous.

    >>> convert(bytes([10, 20, 30, 40]), 4, 1, "BayerRG8")[0].tolist()
    [[10, 10, 10], [20, 20, 20], [30, 30, 30], [40, 40, 40]]
    >>> convert(b"too short", 640, 480, "Mono8")
    Traceback (most recent call last):
    ...
    ValueError: frame has 9 bytes, expected 307200 for 640x480 Mono8: 307191 are missing
    """
    with Converter(width, height, format, to=to, demosaic=demosaic, padding=padding) as converter:
        return converter.convert(frame, out)
