"""Frames to pictures."""

from __future__ import annotations

import operator
import threading
from types import TracebackType
from typing import Optional, Tuple, Type

import numpy as np

from . import _native
from ._bands import Bands, make_opaque
from ._buffers import Bytes, FrameLike, address, readable, writable
from ._formats import LARGEST_SIZE, FormatLike, PixelFormat, positive, resolve
from ._frame import Frame
from ._mismatch import size_mismatch
from ._stages import DESTINATIONS, METHODS, Demosaic, To


def _choice(name: str, value: str, choices: Tuple[str, ...]) -> str:
    if value not in choices:
        raise ValueError(f"{name} is {value!r}, expected one of {', '.join(map(repr, choices))}")
    return value


def _thread_count(threads: int) -> int:
    if isinstance(threads, bool) or not hasattr(threads, "__index__"):
        raise TypeError(f"threads must be an int of 1 or more, not {type(threads).__name__}")
    return positive("threads", threads)


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
    threads
        Threads that convert a frame together, the caller's one of them. The picture
        is the same, byte for byte. Frames too small to gain by it take fewer, see
        `threads`; Mono1C takes one. Keep 1 where frames are converted on several
        threads of yours: those fill the CPUs already.

    One Converter serves one thread at a time; give each thread its own. A call
    while another thread is inside raises RuntimeError. Use it as a context manager
    or close it to free the handles early and to end the threads it keeps waiting.

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
        threads: int = 1,
    ) -> None:
        self._lock = threading.Lock()
        self._closed = True
        width, height = positive("width", width), positive("height", height)
        padding, threads = operator.index(padding), _thread_count(threads)
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
        self._bands = Bands(self._frame, destination, method, threads)
        written = self._bands.written_pixels
        if max(self._frame_bytes, written) > LARGEST_SIZE:
            raise ValueError(
                f"{width}x{height} {self._format.label} takes {self._frame_bytes} bytes for "
                f"{written} pixels, expected at most {LARGEST_SIZE} of each: convert it in parts"
            )
        depth = destination.bits_per_pixel // 8
        self._shape: Tuple[int, ...] = (height, width, depth)[: 2 if depth == 1 else 3]
        self._picture_shape = (height, width, depth)
        self._alpha = depth == 4
        # Nothing to do around the call: its handle, for the shortest way through.
        self._only_handle = self._bands.only_handle
        # The same where there is no memory behind the picture.
        self._exact_handle = 0 if self._bands.extra_rows else self._only_handle
        self._memory: Optional[Bytes] = None
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

    @property
    def threads(self) -> int:
        """Threads that convert a frame: as many as asked for, or fewer where they suffice.

        >>> with Converter(4096, 3000, "Mono8", threads=2) as converter:
        ...     converter.threads
        2
        >>> with Converter(64, 64, "Mono8", threads=2) as converter:
        ...     converter.threads
        1
        """
        return self._bands.threads

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
                out, handle = self._own_output(), self._only_handle
                target = address(out)
            else:
                target, handle = writable(out, self._shape, source, size), self._exact_handle
            if handle:
                status = _native.convert(handle, source, target)
                if status:
                    _native.check(status)
                if self._alpha:
                    make_opaque(out)
            else:
                self._bands.run(np.frombuffer(view, np.uint8), self._memory_of(out))
            return out
        finally:
            self._lock.release()

    def close(self) -> None:
        """Free the handles and the Converter's memory, end its threads; results stay valid."""
        with self._lock:
            self._closed = True
            self._memory = self._output = None
            self._bands.close()

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
        """The Converter's array, with memory for the extra rows behind it."""
        if self._output is None:
            height, width, depth = self._picture_shape
            self._memory = np.empty((height + self._bands.extra_rows, width, depth), np.uint8)
            self._output = self._memory[:height].reshape(self._shape)
        return self._output

    def _memory_of(self, out: Bytes) -> Bytes:
        """The picture that is to be filled, with the rows behind it that may be."""
        if out is self._output and self._memory is not None:
            return self._memory
        return np.asarray(out).reshape(self._picture_shape)

    def _check_size(self, given: int) -> None:
        if self._is_list or given == self._frame_bytes - self._frame.padding:
            return
        raise ValueError(size_mismatch(self._frame, given))


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
    threads: int = 1,
) -> Bytes:
    """Convert one frame to a new array, or to `out`.

    The parameters are those of `Converter` and `Converter.convert`; the result is
    (H, W) for ``"mono8"``, else (H, W, 3) or (H, W, 4), uint8, C-contiguous. With
    `threads`, other threads are started for the call and end with it; a Converter
    keeps them.

    >>> convert(bytes([10, 20, 30, 40]), 4, 1, "BayerRG8")[0].tolist()
    [[10, 10, 10], [20, 20, 20], [30, 30, 30], [40, 40, 40]]
    >>> convert(b"too short", 640, 480, "Mono8")
    Traceback (most recent call last):
    ...
    ValueError: frame has 9 bytes, expected 307200 for 640x480 Mono8: 307191 are missing
    """
    with Converter(
        width, height, format, to=to, demosaic=demosaic, padding=padding, threads=threads
    ) as converter:
        return converter.convert(frame, out)
