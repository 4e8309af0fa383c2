"""Frames to pictures."""

from __future__ import annotations

import concurrent.futures
import copy
import functools
import os
import threading
from typing import Any, Dict, Literal, Optional, SupportsIndex, Tuple, Union

import numpy as np

from . import _buffers, _native
from ._buffers import FrameLike, Picture
from ._formats import FormatLike, PixelFormat, index, make_frame, measure, resolve
from ._levels import Levels, to_record

To = Literal["mono8", "rgb24", "bgr24", "rgba32", "bgra32", "raw16", "rgb48", "bgr48"]
Demosaic = Literal["nearest", "bilinear", "adaptive"]
Flip = Literal["horizontal", "vertical"]


def flip_flag(name: str, value: Optional[str]) -> int:
    flags = {None: 0, "horizontal": _native.FLIP_HORIZONTAL, "vertical": _native.FLIP_VERTICAL}
    if value not in flags:
        raise ValueError(f"{name} is {value!r}, expected 'horizontal' or 'vertical'")
    return flags[value]


def _int32(name: str, value: SupportsIndex) -> int:
    """A number that is for the library to judge, kept from being cut to 32 bits."""
    return max(-(2**31), min(index(name, value), 2**31 - 1))


# What frames lie in: what keeps the memory alive, the bytes of one frame (the padding after its
# last row may be missing), those from row to row (0: as the frame's description says) and from
# frame to frame, and how many frames there are.
_Source = Tuple[memoryview, int, int, int, int]


class Converter:
    """Converts frames of one format and size, keeping what can be kept between them.

    - `width`, `height`: size of a frame in pixels.
    - `format`: pixel format of a frame: a `PixelFormat`, a name or a code.
    - `to`: ``"mono8"`` (H, W); ``"rgb24"``, ``"bgr24"`` (H, W, 3); ``"rgba32"``, ``"bgra32"``
      (H, W, 4) with alpha 255: arrays of uint8. ``"raw16"``: the samples as they are, (H, W), of
      RGB formats (H, W, 3); ``"rgb48"``, ``"bgr48"`` (H, W, 3): arrays of uint16. OpenCV's orders
      are ``"bgr24"`` and ``"bgr48"``. Other usual names, such as ``"grey"``, do as well.
    - `demosaic`: how a Bayer mosaic becomes colour: ``"nearest"`` (fastest), ``"bilinear"`` or
      ``"adaptive"`` (best). Without effect on other formats. `method` is another name for it.
    - `padding`, `stride`: bytes after each row of a frame, to be skipped; or bytes from row to row.
    - `big_endian`, `video_range`: whether 16-bit words have their high byte first; whether YUV has
      Y in 16 to 235. None: as the format's name says, usually not.
    - `rotate`, `flip`: degrees clockwise: 0, 90, 180 or 270; then ``"horizontal"`` exchanges left
      and right, ``"vertical"`` top and bottom.
    - `levels`: `Levels`: black, white, gains, gamma, contrast.
    - `full_scale`: 16-bit targets: the largest sample of the format becomes 65535.
    - `keep_alpha`: 4-byte targets take the alpha of RGBa8 and BGRa8.
    - `threads`: threads that convert a frame together, the caller's one of them; 0: as many as pay.
      The picture is the same, byte for byte. Small frames take fewer, see the property `threads`.
      Keep 1 where frames are converted on several threads of yours: those fill the CPUs already.

    One Converter serves one thread at a time; give each thread its own. A call while another
    thread is inside raises RuntimeError. Use it as a context manager or close it to free its
    memory early and to end the threads it keeps waiting. Copies, and what pickle makes, are
    Converters of their own with the same arguments.

    >>> with Converter(2, 1, "Mono12Packed", to="mono8") as converter:
    ...     converter.convert(bytes([0xAB, 0xC4, 0xDE])).tolist()
    [[171, 222]]
    """

    def __init__(
        self,
        width: SupportsIndex,
        height: SupportsIndex,
        format: FormatLike,
        *,
        to: Union[To, str] = "rgb24",
        demosaic: Union[Demosaic, str] = "bilinear",
        method: Union[Demosaic, str, None] = None,
        padding: SupportsIndex = 0,
        stride: SupportsIndex = 0,
        big_endian: Optional[bool] = None,
        video_range: Optional[bool] = None,
        rotate: SupportsIndex = 0,
        flip: Optional[Flip] = None,
        levels: Optional[Levels] = None,
        full_scale: bool = False,
        keep_alpha: bool = False,
        threads: SupportsIndex = 1,
    ) -> None:
        self._arguments = dict(locals())
        del self._arguments["self"]
        # One for each process: a forked one may get a lock that a thread of its parent holds.
        self._locks: Dict[int, threading.Lock] = {}
        self._output: Optional[Picture] = None
        if method is not None and demosaic not in ("bilinear", method):
            raise ValueError(
                f"demosaic is {demosaic!r} and method {method!r}: pass one of them"
            )
        known = resolve(format, big_endian, video_range)
        self._frame = make_frame(*known, width, height, padding, stride)
        self._target: Dict[str, Any] = {
            "kind": _native.choice("to", to),
            "demosaic": _native.choice("demosaic", method or demosaic),
            "rotation": _int32("rotate", rotate),
            "flags": flip_flag("flip", flip)
            | (full_scale and _native.FULL_SCALE)
            | (keep_alpha and _native.KEEP_ALPHA),
            "levels": to_record(levels),
        }
        self._wanted_threads = _int32("threads", threads)
        # By the strides that they were opened for.
        self._pipelines = {(0, 0): self._open(0, 0, self._wanted_threads)}
        self._picture, self._sizes = self._pipelines[0, 0].picture, measure(self._frame)
        self._frame_bytes = int(self._sizes.frame_bytes)
        shape = (self._picture.height, self._picture.width, self._picture.channels)
        self._shape: Tuple[int, ...] = shape if shape[2] > 1 else shape[:2]
        self._dtype = np.dtype(f"u{self._picture.channel_bytes}")

    @property
    def format(self) -> PixelFormat:
        """Pixel format of a frame."""
        return PixelFormat(self._frame.format)

    @property
    def shape(self) -> Tuple[int, ...]:
        """Shape of the result: (H, W), (H, W, 3) or (H, W, 4), after a rotation."""
        return self._shape

    @property
    def dtype(self) -> "np.dtype[Any]":
        """Type of the result: uint8, or uint16 for 16-bit targets."""
        return self._dtype

    @property
    def frame_bytes(self) -> int:
        """Bytes of a frame; 0 for Mono1C, whose lists are as long as they are."""
        return self._frame_bytes

    @property
    def threads(self) -> int:
        """Threads that convert a frame: as many as asked for, or fewer where they suffice.

        >>> [Converter(side, side, "BayerRG8", threads=2).threads for side in (64, 4096)]
        [1, 2]
        """
        return int(self._picture.threads)

    def convert(self, frame: FrameLike, out: Optional[Picture] = None) -> Picture:
        """Convert one frame; the GIL is released meanwhile.

        `frame` is anything that holds the frame's bytes: bytes, bytearray, memoryview, mmap, an
        array of uint8, or one of uint16 where the format has 16-bit words; of NumPy or of what
        hands out such memory (``__array_interface__``, ``__array__``, ``__dlpack__``). Rows of a
        2-D array may lie apart, as in ``buffer[:, :640]``. It is read where it lies. The padding
        after the last row may be missing.

        The result goes to `out`, an array of `shape` and `dtype` whose rows may lie apart, or
        else to an array of the Converter's own, which the next call WITHOUT `out` writes again:
        copy what you keep. Raises ValueError and TypeError before anything is written.
        """
        lock = self._enter()
        try:
            view, size, source_stride, _, _ = self._source("frame", frame)
            if out is None:
                if self._output is None:
                    self._output = np.empty(self._shape, self._dtype)
                out = self._output
            target, stride = _buffers.writable(out, self._shape, self._dtype, 0)
            self._pipeline(source_stride, stride).run(_buffers.address(view), size, target)
            return out
        finally:
            lock.release()

    def convert_batch(self, frames: FrameLike, out: Optional[Picture] = None) -> Picture:
        """Convert N frames to an array (N, H, W) or (N, H, W, C), a new one or `out`.

        `frames` is an array (N, H, W), of RGB formats (N, H, W, C), or a buffer in which the
        bytes of N frames follow each other. With `threads`, whole frames are converted at the
        same time. If one cannot be converted, `out` may hold some of the others.
        """
        lock = self._enter()
        try:
            view, size, source_stride, source_step, count = self._source("frames", frames)
            shape = (count, *self._shape)
            if out is None:
                out = np.empty(shape, self._dtype)
            target, stride = _buffers.writable(out, shape, self._dtype, 1)
            source, step = _buffers.address(view), out.strides[0]
            pipeline, last = self._pipeline(source_stride, stride), count - 1
            picture_bytes = pipeline.picture.picture_bytes
            if last and step < picture_bytes:
                raise ValueError("out has frames that run backwards or overlap")
            source_end = source + last * source_step + size
            if source < target + last * step + picture_bytes and target < source_end:
                raise ValueError("out overlaps the source: pictures are not made in place")
            numbers = iter(range(count))

            def work(pipeline: _native.Pipeline) -> None:
                for number in numbers:
                    pipeline.run(source + number * source_step, size, target + number * step)

            threads = self._wanted_threads or len(os.sched_getaffinity(0))
            if count < threads or threads == 1:
                work(pipeline)
            else:
                crew = [self._open(source_stride, stride, 1) for _ in range(threads)]
                with concurrent.futures.ThreadPoolExecutor(threads) as pool:
                    list(pool.map(work, crew))  # raises what a thread raised
            return out
        finally:
            lock.release()

    def close(self) -> None:
        """Free the Converter's memory, end its threads; results stay valid."""
        lock = self._enter(wait=True)
        self._pipelines.clear()
        self._output = None
        lock.release()

    def __enter__(self) -> Converter:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __reduce__(self) -> Tuple[Any, ...]:
        """For copy and pickle: a Converter made with the same arguments."""
        return functools.partial(type(self), **self._arguments), ()

    def __repr__(self) -> str:
        return f"<imgcnv.Converter {self._described()}: {self._picture.way.decode()}>"

    def _described(self) -> str:
        return _native.call(_native.frame_describe, self._frame)

    def _enter(self, wait: bool = False) -> threading.Lock:
        """The lock, taken."""
        lock = self._locks.setdefault(len(_native.forks), threading.Lock())
        if not lock.acquire(wait):
            raise RuntimeError(
                "this Converter is at work on another thread: give each thread its own"
            )
        return lock

    def _open(self, source_stride: int, stride: int, threads: int) -> _native.Pipeline:
        """A pipeline for these strides of frame and picture; 0: as the arguments say."""
        frame = copy.copy(self._frame)
        frame.stride = source_stride or frame.stride
        return _native.Pipeline(
            frame, _native.Target(stride=stride, threads=threads, **self._target)
        )

    def _pipeline(self, source_stride: int, stride: int) -> _native.Pipeline:
        """The open pipeline for these strides. One for unusual strides is kept, the last one."""
        if not self._pipelines:
            raise ValueError("this Converter is closed")
        key = (source_stride, stride)
        pipeline = self._pipelines.get(key)
        if pipeline is None or pipeline.process != len(_native.forks):
            pipeline = self._open(source_stride, stride, self._wanted_threads)
            self._pipelines = {(0, 0): self._pipelines[0, 0], key: pipeline}
        return pipeline

    def _source(self, name: str, given: FrameLike) -> _Source:
        """What lies in `given`, which is one "frame", or "frames"."""
        view = _buffers.view_of(name, given)
        is_batch, is_list = name == "frames", not self._frame_bytes
        if view.format != "B":
            big_endian = bool(self._frame.flags & _native.BIG_ENDIAN)
            _buffers.check_items(view, given, self.format, big_endian)
        if is_list and is_batch:
            raise ValueError("Mono1C lists have no fixed length: convert them one by one")
        if view.ndim > 1 and not is_list:
            first = int(is_batch and view.ndim > 2)
            self._check_rows(view.shape or (), first)
            if not view.c_contiguous and first == is_batch:
                return self._strided(view, first)
        if not view.c_contiguous:
            raise ValueError(f"{name} is not contiguous: pass numpy.ascontiguousarray({name})")
        size, count = view.nbytes, 1
        if is_list or size != self._frame_bytes:
            count = self._count_frames(size, is_batch)
        return view, size - (count - 1) * self._frame_bytes, 0, self._frame_bytes, count

    def _check_rows(self, shape: Tuple[int, ...], first: int) -> None:
        """Refuse an array whose dimension `first` has not the frame's rows."""
        height = int(self._frame.height)
        if shape[first] == height:
            return
        advice = "width and height may be exchanged, or pass frame.reshape(-1)"
        if first == 0 and len(shape) > 2 and shape[1] == height:
            advice = "convert_batch() or batch=True takes several frames"
        raise ValueError(f"frame has shape {shape}, expected {height} rows: {advice}")

    def _strided(self, view: memoryview, first: int) -> _Source:
        """A frame, or a batch of them, whose rows lie apart."""
        array, sizes = np.asarray(view), self._sizes
        row, stride = _buffers.rows_of("frame", array, first)
        if row not in (sizes.row_bytes, sizes.stride):
            raise ValueError(
                f"frame has rows of {row} bytes, expected {sizes.row_bytes} for {self._described()}"
            )
        size = stride * (int(self._frame.height) - 1) + int(sizes.row_bytes)
        count, step = (array.shape[0], array.strides[0]) if first else (1, 0)
        if count > 1 and step < size:
            raise ValueError("frames run backwards or overlap: pass numpy.ascontiguousarray(frame)")
        return view, size, stride, step, count

    def _count_frames(self, size: int, is_batch: bool) -> int:
        """How many whole frames `size` bytes are, or a ValueError that says what would fit."""
        fit = _native.FileFit()
        causes = _native.call(_native.file_measure, self._frame, size, fit)
        if not causes and (fit.frames == 1 or is_batch):
            return int(fit.frames)
        more = f"it holds {fit.frames} frames: convert_batch() or batch=True takes all of them"
        raise ValueError(
            f"frame has {size} bytes, expected {self._frame_bytes or '4 per point'} for "
            f"{self._described()}\n{causes or more}"
        )


# Converters of earlier calls of convert(), which make it three times as fast for small frames. They
# wait here while nobody is inside; those with threads or levels do not.
_idle: Dict[Any, Converter] = {}
_MOST_IDLE = 8


def convert(
    frame: FrameLike,
    width: Optional[SupportsIndex] = None,
    height: Optional[SupportsIndex] = None,
    format: Optional[FormatLike] = None,
    *,
    to: Union[To, str] = "rgb24",
    demosaic: Union[Demosaic, str] = "bilinear",
    method: Union[Demosaic, str, None] = None,
    padding: SupportsIndex = 0,
    stride: SupportsIndex = 0,
    big_endian: Optional[bool] = None,
    video_range: Optional[bool] = None,
    rotate: SupportsIndex = 0,
    flip: Optional[Flip] = None,
    levels: Optional[Levels] = None,
    full_scale: bool = False,
    keep_alpha: bool = False,
    threads: SupportsIndex = 1,
    out: Optional[Picture] = None,
    batch: bool = False,
) -> Picture:
    """Convert one frame, or with `batch` many, to a new array, or to `out`.

    The parameters are those of `Converter`, `Converter.convert` and `Converter.convert_batch`.
    `width` and `height` may be left out where `frame` is an array (H, W), of RGB formats
    (H, W, C). The result is (H, W) for ``"mono8"``, else (H, W, 3) or (H, W, 4). With `threads`,
    other threads are started for the call and end with it; a Converter keeps them.

    >>> convert(bytes([10, 20, 30, 40]), 4, 1, "BayerRG8")[0].tolist()
    [[10, 10, 10], [20, 20, 20], [30, 30, 30], [40, 40, 40]]
    >>> convert(numpy.array([[1, 2], [3, 4]], "u1"), format="Mono8", to="grey").tolist()
    [[1, 2], [3, 4]]
    >>> convert(b"too short", 640, 480, "Mono8")
    Traceback (most recent call last):
    ...
    ValueError: frame has 9 bytes, expected 307200 for Mono8 640x480
    cut short after 0 of 480 rows, or the size or the format is another
    """
    arguments = dict(locals())
    del arguments["frame"], arguments["out"], arguments["batch"]
    if format is None:
        raise TypeError("format is missing: pass a PixelFormat, a name or a code")
    if width is None or height is None:
        if width is not height:
            raise TypeError("pass width and height, or neither of them with an array (H, W)")
        sizes = _buffers.size_of(frame, resolve(format)[0], batch)
        arguments["width"], arguments["height"] = sizes
    # The types too: True is equal to 1, and not as good.
    key = (*arguments.values(), *map(type, arguments.values()))
    try:
        idle = _idle.pop(key, None)
    except TypeError:  # something in it has no hash: a curve, or what is not an argument at all
        idle = None
    converter = idle or Converter(**arguments)
    if batch:
        picture = converter.convert_batch(frame, out)
    else:
        picture = converter.convert(
            frame, np.empty(converter.shape, converter.dtype) if out is None else out
        )
    if threads == 1 and levels is None:
        if len(_idle) >= _MOST_IDLE:
            _idle.clear()
        _idle[key] = converter
    return picture


def auto_levels(
    frame: FrameLike,
    width: SupportsIndex,
    height: SupportsIndex,
    format: FormatLike,
    *,
    padding: SupportsIndex = 0,
    stride: SupportsIndex = 0,
    big_endian: Optional[bool] = None,
    video_range: Optional[bool] = None,
) -> Levels:
    """`Levels` that make a frame look right, from the frame itself.

    Black and white come from its percentiles, gains so that the mean of the picture is grey. Pass
    them as ``levels=``, with later frames of the same scene as well.

    >>> auto_levels(bytes(range(100, 200)), 10, 10, "Mono8").black >= 100
    True
    """
    arguments = dict(locals())
    del arguments["frame"]
    converter = Converter(**arguments, to="mono8")
    view, size, source_stride, _, _ = converter._source("frame", frame)
    described, record = converter._frame, _native.Levels()
    described.stride = source_stride or described.stride
    _native.call(_native.auto_levels, described, _buffers.address(view), size, record)
    gains = (record.red_gain, record.green_gain, record.blue_gain)
    return Levels(record.black, record.white, gains)
