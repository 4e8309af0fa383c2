"""What data of unknown format may hold."""

from __future__ import annotations

import ctypes
import os
from typing import Any, NamedTuple, Optional, SupportsIndex, Tuple, Union

from . import _native
from ._buffers import FrameLike, address, view_of
from ._formats import FormatLike, PixelFormat, index, resolve


class Reading(NamedTuple):
    """One way to read data: the arguments that `Converter` takes, and how likely they are."""

    format: PixelFormat
    width: int
    height: int
    #: Bytes from row to row; 0: rows without padding.
    stride: int
    #: Bytes before the first frame, and after each.
    skip: int
    gap: int
    #: Whole frames in the data.
    frames: int
    big_endian: bool
    video_range: bool
    #: 0 to 1, how much likelier than the others.
    score: float
    #: What the data cannot tell, such as which of red and blue is which.
    unknown: str


class Guess(NamedTuple):
    """The answer of `guess`."""

    #: The likeliest first.
    readings: Tuple[Reading, ...]
    #: What else the data could be; empty if nothing.
    note: str


def guess(
    data: Union["os.PathLike[str]", str, FrameLike],
    *,
    width: SupportsIndex = 0,
    height: SupportsIndex = 0,
    format: Optional[FormatLike] = None,
    stride: SupportsIndex = 0,
    skip: Optional[SupportsIndex] = None,
    gap: Optional[SupportsIndex] = None,
    name: Optional[str] = None,
    most: SupportsIndex = 8,
) -> Guess:
    """Ways to read raw data, the likeliest first.

    `data` is the path of a file, of which a few megabytes are read, or anything that holds the
    bytes. What is known makes the answer better: sizes, the format, the file's `name`. At most
    `most` readings are returned. Raises ValueError where the data is not a raw frame, and says what
    it is.

    >>> y, x = numpy.mgrid[:480, :640]
    >>> frame = (128 + 90 * numpy.sin(x / 60) * numpy.cos(y / 50)).astype("u1")
    >>> best = guess(frame.tobytes(), format="Mono8").readings[0]
    >>> best.width, best.height
    (640, 480)
    """
    code, flags = (0, 0) if format is None else resolve(format)
    known = _native.Frame(
        format=code,
        flags=flags,
        width=index("width", width),
        height=index("height", height),
        stride=index("stride", stride),
        skip=-1 if skip is None else index("skip", skip),
        gap=-1 if gap is None else index("gap", gap),
    )
    question = _native.Question(known=known)
    if isinstance(data, (str, os.PathLike)):
        question.name = os.fsencode(name or os.path.basename(data))
        file = os.open(data, os.O_RDONLY)
        try:
            question.bytes = os.fstat(file).st_size
            reader = _reader_of(file)
            question.read = reader
            return _ask(question, index("most", most))
        finally:
            os.close(file)
    view = view_of("data", data)
    if not view.c_contiguous:
        raise ValueError("data is not contiguous: pass numpy.ascontiguousarray(data)")
    question.name = None if name is None else os.fsencode(name)
    question.bytes = view.nbytes
    question.data = address(view) if view.nbytes else None
    return _ask(question, index("most", most))


def _reader_of(file: int) -> Any:
    def read(_: Any, offset: int, buffer: int, wanted: int) -> int:
        try:
            found = os.pread(file, wanted, offset)
        except OSError:
            return -1
        ctypes.memmove(buffer, found, len(found))
        return len(found)

    return _native.Read(read)


def _ask(question: _native.Question, most: int) -> Guess:
    if not 1 <= most <= 1000:
        raise ValueError(f"most is {most}, expected 1 to 1000")
    readings = (_native.Reading * most)(*(_native.Reading() for _ in range(most)))
    count = ctypes.c_int()
    note = _native.call(_native.guess, ctypes.byref(question), readings, most, ctypes.byref(count))
    return Guess(tuple(map(_to_reading, readings[: count.value])), note)


def _to_reading(reading: _native.Reading) -> Reading:
    frame = reading.frame
    return Reading(
        format=PixelFormat(frame.format),
        width=frame.width,
        height=frame.height,
        stride=frame.stride,
        skip=frame.skip,
        gap=frame.gap,
        frames=reading.frames,
        big_endian=bool(frame.flags & _native.Frame.BIG_ENDIAN),
        video_range=bool(frame.flags & _native.Frame.VIDEO_RANGE),
        score=reading.score,
        unknown=reading.unknown.decode(),
    )
