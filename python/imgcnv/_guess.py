"""What data of unknown format may hold."""

from __future__ import annotations

import contextlib
import ctypes
import os
from typing import Any, NamedTuple, Optional, SupportsIndex, Tuple, Union

from . import _native
from ._buffers import FrameLike, address, check_numbers, view_of
from ._formats import FormatLike, PixelFormat, index, make_frame, resolve


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
    bytes. What is known makes the answer better: sizes, and the format. (The `name` of a file
    changes no answer today.) At most `most` readings are returned. Raises ValueError where the data
    is not a raw frame, and says what it is.

    >>> y, x = numpy.mgrid[:480, :640]
    >>> frame = (128 + 90 * numpy.sin(x / 60) * numpy.cos(y / 50)).astype("u1")
    >>> best = guess(frame.tobytes(), format="Mono8").readings[0]
    >>> best.width, best.height
    (640, 480)
    """
    known = make_frame(*((0, 0) if format is None else resolve(format)), width, height, 0, stride)
    known.skip = -1 if skip is None else index("skip", skip)
    known.gap = -1 if gap is None else index("gap", gap)
    room, count = index("most", most), ctypes.c_int()
    if not 1 <= room <= 1000:
        raise ValueError(f"most is {room}, expected 1 to 1000")
    question, readings = _native.Question(known=known), (_native.Reading * room)(_native.Reading())
    with contextlib.ExitStack() as until_answered:
        if isinstance(data, (str, os.PathLike)):
            file = until_answered.enter_context(open(data, "rb", buffering=0)).fileno()
            reader, name = _reader_of(file), name or os.path.basename(data)
            question.bytes, question.read = os.fstat(file).st_size, reader
        else:
            view = view_of("data", data)
            check_numbers("data", view, data)
            if not view.c_contiguous:
                raise ValueError("data is not contiguous: pass numpy.ascontiguousarray(data)")
            question.bytes, question.data = view.nbytes, address(view)
        question.name = None if name is None else os.fsencode(name)
        note = _native.call(_native.guess, question, readings, room, count)
    return Guess(tuple(map(_to_reading, readings[: count.value])), note)


def _reader_of(file: int) -> Any:
    def read(_: Any, offset: int, buffer: int, wanted: int) -> int:
        try:
            found = os.pread(file, wanted, offset)
        except OSError:
            return -1
        ctypes.memmove(buffer, found, len(found))
        return len(found)

    return _native.READ(read)


def _to_reading(reading: _native.Record) -> Reading:
    frame = reading.frame
    return Reading(
        PixelFormat(frame.format),
        *(frame.width, frame.height, frame.stride, frame.skip, frame.gap, reading.frames),
        big_endian=bool(frame.flags & _native.BIG_ENDIAN),
        video_range=bool(frame.flags & _native.VIDEO_RANGE),
        score=reading.score,
        unknown=reading.unknown.decode(),
    )
