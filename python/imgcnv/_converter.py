"""Frames to pictures."""

from __future__ import annotations

import concurrent.futures
import ctypes
import functools
import os
import threading
from types import TracebackType
from typing import Any, Dict, Literal, Optional, SupportsIndex, Tuple, Type, Union

import numpy as np

from . import _native
from ._buffers import (
    FrameLike,
    Picture,
    Source,
    address,
    check_items,
    row_length,
    rows_of,
    size_of,
    view_of,
    writable,
)
from ._formats import FormatLike, PixelFormat, index, make_frame, measure, resolve
from ._levels import Levels, from_record, to_record

To = Literal["mono8", "rgb24", "bgr24", "rgba32", "bgra32", "raw16", "rgb48", "bgr48"]
Demosaic = Literal["nearest", "bilinear", "adaptive"]
Flip = Literal["horizontal", "vertical"]

_FLIPS = {
    None: 0,
    "horizontal": _native.Target.FLIP_HORIZONTAL,
    "vertical": _native.Target.FLIP_VERTICAL,
}


def flip_flag(name: str, value: Optional[str]) -> int:
    if value not in _FLIPS:
        raise ValueError(f"{name} is {value!r}, expected 'horizontal' or 'vertical'")
    return _FLIPS[value]


def length_error(frame: _native.Frame, given: int) -> ValueError:
    """Why a buffer of `given` bytes is not a frame, and what would fit."""
    fit = _native.FileFit()
    causes = _native.call(_native.file_measure, ctypes.byref(frame), given, ctypes.byref(fit))
    if fit.fit == _native.FileFit.EXACT:
        causes = f"it holds {fit.frames} frames: convert_batch() or batch=True takes all of them"
    expected = measure(frame).frame_bytes
    return ValueError(
        f"frame has {given} bytes, expected {expected} for {_native.describe(frame)}\n{causes}"
    )


class Converter:
    """Converts frames of one format and size, keeping what can be kept between them.

    Parameters
    ----------
    width, height
        Size of a frame in pixels.
    format
        Pixel format of a frame: a `PixelFormat`, a name or a code.
    to
        ``"mono8"`` (H, W); ``"rgb24"``, ``"bgr24"`` (H, W, 3); ``"rgba32"``, ``"bgra32"``
        (H, W, 4) with alpha 255: arrays of uint8. ``"raw16"``: the samples as they are, (H, W),
        of RGB formats (H, W, 3); ``"rgb48"``, ``"bgr48"`` (H, W, 3): arrays of uint16. OpenCV's
        orders are ``"bgr24"`` and ``"bgr48"``. Other usual names, such as ``"grey"``, do as well.
    demosaic
        How a Bayer mosaic becomes colour: ``"nearest"`` (fastest), ``"bilinear"`` or
        ``"adaptive"`` (best). Without effect on other formats. `method` is another name for it.
    padding, stride
        Bytes after each row of a frame, to be skipped; or bytes from row to row.
    big_endian, video_range
        Whether 16-bit words have their high byte first; whether YUV has Y in 16 to 235. None:
        as the format's name says, usually not.
    rotate, flip
        Degrees clockwise: 0, 90, 180 or 270; then ``"horizontal"`` exchanges left and right,
        ``"vertical"`` top and bottom.
    levels
        `Levels`: black, white, gains, gamma, contrast.
    full_scale
        16-bit targets: the largest sample of the format becomes 65535.
    keep_alpha
        4-byte targets take the alpha of RGBa8 and BGRa8.
    threads
        Threads that convert a frame together, the caller's one of them; 0: as many as pay. The
        picture is the same, byte for byte. Small frames take fewer, see `threads`. Keep 1 where
        frames are converted on several threads of yours: those fill the CPUs already.

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
        given = locals()
        self._arguments = {name: given[name] for name in _PARAMETERS}
        self._lock, self._process = threading.Lock(), _native.Process.current
        self._handle: Optional[int] = None
        self._pipelines: Dict[Tuple[int, int], _native.Pipeline] = {}
        self._output: Optional[Picture] = None
        known = resolve(format, big_endian, video_range)
        self._frame = make_frame(*known, width, height, padding, stride)
        self._target = _native.Target(
            kind=_native.choice("to", to),
            demosaic=_native.choice("demosaic", method or demosaic),
            rotation=_int32("rotate", rotate),
            flags=flip_flag("flip", flip)
            | (full_scale and _native.Target.FULL_SCALE)
            | (keep_alpha and _native.Target.KEEP_ALPHA),
            threads=_int32("threads", threads),
            levels=to_record(levels),
        )
        self._format = PixelFormat(self._frame.format)
        pipeline = _native.Pipeline(self._frame, self._target)
        self._set_pipeline(pipeline)
        sizes, picture = measure(self._frame), pipeline.describe()
        self._row_bytes, self._frame_stride = int(sizes.row_bytes), int(sizes.stride)
        self._needed_bytes, self._frame_bytes = int(sizes.needed_bytes), int(sizes.frame_bytes)
        self._is_list = self._format.packing == "points"
        self._threads, self._way = int(picture.threads), picture.way.decode()
        self._picture_row = int(picture.row_bytes)
        self._picture_bytes = int(picture.picture_bytes)
        shape = (int(picture.height), int(picture.width), int(picture.channels))
        self._shape: Tuple[int, ...] = shape if shape[2] > 1 else shape[:2]
        self._dtype = np.dtype(f"u{picture.channel_bytes}")

    @property
    def format(self) -> PixelFormat:
        """Pixel format of a frame."""
        return self._format

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

        >>> with Converter(4096, 3000, "BayerRG8", threads=2) as converter:
        ...     converter.threads
        2
        >>> with Converter(64, 64, "BayerRG8", threads=2) as converter:
        ...     converter.threads
        1
        """
        return self._threads

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
        if self._process is not _native.Process.current or not self._lock.acquire(False):
            self._enter()
        try:
            view, source, size, source_stride, _ = self._source(frame)
            if out is None:
                if self._output is None:
                    self._output = np.empty(self._shape, self._dtype)
                out = self._output
            target, stride = writable(out, self._shape, self._dtype, 0)
            if source_stride or stride or not self._handle:
                pipeline = self._pipeline(source_stride, stride)
                pipeline.run(source, size, target, self._span(stride))
                return out
            # The shortest way, since small frames come in thousands per second.
            status = _native.pipeline_run(
                self._handle, source, size, target, self._picture_bytes, None, 0
            )
            if status:
                self._pipelines[0, 0].run(source, size, target, self._picture_bytes)
            return out
        finally:
            self._lock.release()

    def convert_batch(self, frames: FrameLike, out: Optional[Picture] = None) -> Picture:
        """Convert N frames to an array (N, H, W) or (N, H, W, C), a new one or `out`.

        `frames` is an array (N, H, W), of RGB formats (N, H, W, C), or a buffer in which the
        bytes of N frames follow each other. With `threads`, whole frames are converted at the
        same time. If one cannot be converted, `out` may hold some of the others.
        """
        self._enter()
        try:
            if not self._pipelines:
                raise ValueError("this Converter is closed")
            (view, source, length, source_stride, source_step), count = self._batch(frames)
            shape = (count, *self._shape)
            if out is None:
                out = np.empty(shape, self._dtype)
            target, stride = writable(out, shape, self._dtype, 1)
            size, step = self._span(stride), out.strides[0]
            if count > 1 and step < size:
                raise ValueError("out has frames that run backwards or overlap")
            if source < target + step * (count - 1) + size and target < source + length:
                raise ValueError("out overlaps the source: pictures are not made in place")
            frame_bytes = length - source_step * (count - 1)

            def run(pipeline: _native.Pipeline, number: int) -> None:
                begin = source + number * source_step
                pipeline.run(begin, frame_bytes, target + number * step, size)

            wanted = self._target.threads or len(os.sched_getaffinity(0))
            if count < wanted or wanted == 1:
                pipeline = self._pipeline(source_stride, stride)
                for number in range(count):
                    run(pipeline, number)
            else:
                crew = [self._open(source_stride, stride, 1) for _ in range(wanted)]
                _run_together(run, crew, count)
            return out
        finally:
            self._lock.release()

    def close(self) -> None:
        """Free the Converter's memory, end its threads; results stay valid."""
        if self._process is not _native.Process.current:
            self._start_anew()
        with self._lock:
            self._pipelines.clear()
            self._output = self._handle = None

    def __enter__(self) -> Converter:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        trace: Optional[TracebackType],
    ) -> None:
        self.close()

    def __reduce__(self) -> Tuple[Any, ...]:
        """For copy and pickle: a Converter made with the same arguments."""
        return functools.partial(type(self), **self._arguments), ()

    def __repr__(self) -> str:
        return f"<imgcnv.Converter {_native.describe(self._frame)}: {self._way}>"

    def _enter(self) -> None:
        """Take the lock."""
        if self._process is not _native.Process.current:
            self._start_anew()
        if not self._lock.acquire(False):
            raise RuntimeError(
                "this Converter is at work on another thread: give each thread its own"
            )

    def _start_anew(self) -> None:
        """After a fork: the parent's threads are not here, and may have held the lock."""
        is_open = bool(self._pipelines)
        self._lock, self._process = threading.Lock(), _native.Process.current
        self._pipelines.clear()
        self._handle = None
        if is_open:
            self._set_pipeline(self._open(0, 0, self._target.threads))

    def _set_pipeline(self, pipeline: _native.Pipeline) -> None:
        """The pipeline for frames and pictures as the arguments describe them."""
        self._pipelines[0, 0] = pipeline
        self._handle = pipeline.handle

    def _open(self, source_stride: int, stride: int, threads: int) -> _native.Pipeline:
        """A pipeline for other strides or threads than those of the arguments."""
        frame, target = _native.Frame(), _native.Target()
        ctypes.pointer(frame)[0], ctypes.pointer(target)[0] = self._frame, self._target
        levels = to_record(self._arguments["levels"])
        frame.stride = source_stride or self._frame.stride
        target.stride, target.threads, target.levels = stride, threads, levels
        return _native.Pipeline(frame, target)

    def _pipeline(self, source_stride: int, stride: int) -> _native.Pipeline:
        """The open pipeline for these strides. One for unusual strides is kept, the last one."""
        if not self._pipelines:
            raise ValueError("this Converter is closed")
        key = (source_stride, stride)
        if key not in self._pipelines:
            opened = self._open(source_stride, stride, self._target.threads)
            self._pipelines = {(0, 0): self._pipelines[0, 0], key: opened}
        return self._pipelines[key]

    def _span(self, stride: int) -> int:
        """Bytes from the first to the last of a picture."""
        if not stride:
            return self._picture_bytes
        return stride * (self._shape[0] - 1) + self._picture_row

    def _view(self, name: str, given: FrameLike) -> memoryview:
        view = view_of(name, given)
        if view.format != "B":
            big_endian = bool(self._frame.flags & _native.Frame.BIG_ENDIAN)
            check_items(view, given, self._format, big_endian)
        if not view.c_contiguous and (view.ndim < 2 or self._is_list):
            raise ValueError(f"{name} is not contiguous: pass numpy.ascontiguousarray({name})")
        return view

    def _source(self, frame: FrameLike) -> Source:
        view = self._view("frame", frame)
        size = view.nbytes
        if view.ndim > 1 and not self._is_list:
            self._check_rows(view, 0)
            if not view.c_contiguous:
                return self._strided(view, 0)
        if size != self._frame_bytes and not self._is_list:
            if not self._needed_bytes <= size <= self._frame_bytes:
                raise length_error(self._frame, size)
        elif not size:
            raise ValueError("frame is empty")
        return view, address(view), size, 0, 0

    def _check_rows(self, view: memoryview, first: int) -> None:
        """Refuse an array whose dimension `first` has not the frame's rows."""
        shape = view.shape or ()
        height = int(self._frame.height)
        if shape[first] == height:
            return
        if first == 0 and len(shape) > 2 and shape[1] == height:
            raise ValueError(
                f"frame has shape {shape}, expected {height} rows: convert_batch() or batch=True "
                "takes several frames"
            )
        raise ValueError(
            f"frame has shape {shape}, expected {height} rows; width and height may be "
            "exchanged, or pass frame.reshape(-1)"
        )

    def _strided(self, view: memoryview, first: int) -> Source:
        """A frame, or a batch of them, whose rows lie apart."""
        row = row_length(view, first)
        if row not in (self._row_bytes, self._frame_stride):
            raise ValueError(
                f"frame has rows of {row} bytes, expected {self._row_bytes} for "
                f"{_native.describe(self._frame)}"
            )
        stride = rows_of("frame", view, first) or row
        span = stride * (int(self._frame.height) - 1) + self._row_bytes
        step = 0
        if first and view.strides and view.shape and view.shape[0] > 1:
            step = view.strides[0]
            if step < span:
                raise ValueError("frame is not contiguous: its frames run backwards or overlap")
            span += step * (view.shape[0] - 1)
        return view, address(view), span, stride, step

    def _batch(self, frames: FrameLike) -> Tuple[Source, int]:
        view = self._view("frames", frames)
        if self._is_list:
            raise ValueError("Mono1C lists have no fixed length: convert them one by one")
        if view.ndim > 1:
            self._check_rows(view, int(view.ndim > 2))
            if not view.c_contiguous:
                if view.ndim < 3:
                    raise ValueError("frames are not contiguous: pass an array (N, H, W)")
                return self._strided(view, 1), (view.shape or (0,))[0]
        fit, size = _native.FileFit(), view.nbytes
        _native.call(_native.file_measure, ctypes.byref(self._frame), size, ctypes.byref(fit))
        if fit.fit != _native.FileFit.EXACT:
            raise length_error(self._frame, size)
        return (view, address(view), size, 0, self._frame_bytes), int(fit.frames)


_PARAMETERS = tuple(name for name in Converter.__init__.__annotations__ if name != "return")

# Converters of earlier calls of convert(), which make it three times as fast for small frames. They
# wait here while nobody is inside; those with threads or levels do not.
_idle: Dict[Any, Converter] = {}
_MOST_IDLE = 8


def _int32(name: str, value: SupportsIndex) -> int:
    """A number that is for the library to judge, kept from being cut to 32 bits."""
    number = index(name, value)
    return max(-(2**31), min(number, 2**31 - 1))


def _run_together(run: Any, crew: "list[_native.Pipeline]", count: int) -> None:
    """run(pipeline, number) for all numbers below `count`, each pipeline on a thread of its own."""
    numbers = iter(range(count))

    def work(pipeline: _native.Pipeline) -> None:
        for number in numbers:
            run(pipeline, number)

    with concurrent.futures.ThreadPoolExecutor(len(crew)) as pool:
        for done in [pool.submit(work, pipeline) for pipeline in crew]:
            done.result()


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
    if format is None:
        raise TypeError("format is missing: pass a PixelFormat, a name or a code")
    if width is None or height is None:
        if width is not height:
            raise TypeError("pass width and height, or neither of them with an array (H, W)")
        width, height = size_of(frame, resolve(format)[0], batch)
    arguments: Tuple[Any, ...] = (
        *(width, height, format, to, demosaic, method, padding, stride, big_endian, video_range),
        *(rotate, flip, levels, full_scale, keep_alpha, threads),
    )
    # The types too: True is equal to 1, and not as good.
    key = (arguments, tuple(map(type, arguments)))
    try:
        idle = _idle.pop(key, None)
    except TypeError:  # something in it has no hash: a curve, or something that is not an argument at all
        idle = None
    converter = idle or Converter(**dict(zip(_PARAMETERS, arguments)))
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
    bytes_as: Dict[str, Any] = {"big_endian": big_endian, "video_range": video_range}
    with Converter(
        width, height, format, to="mono8", padding=padding, stride=stride, **bytes_as
    ) as converter:
        view, source, size, source_stride, _ = converter._source(frame)
        described, record = converter._frame, _native.Levels()
        described.stride = source_stride or described.stride
        records = ctypes.byref(described), ctypes.byref(record)
        _native.call(_native.auto_levels, records[0], source, size, records[1])
    return from_record(record)
