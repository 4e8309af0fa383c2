"""From geometry and format to calls of the C library that give a whole picture.

The C functions leave some cases to their caller: extra rows, widths that are no
multiple of a group, pixels that stay unwritten. A `Stage` is one C call together
with what makes its result complete; `plan` chooses one or two of them.
"""

from __future__ import annotations

from typing import Callable, Dict, Iterable, List, Literal, Optional

import numpy as np

from . import _native
from ._buffers import Bytes, address
from ._formats import LARGEST_SIZE, PixelFormat
from ._frame import Frame
from ._points import checked_points

To = Literal["mono8", "rgb24", "bgr24", "rgba32", "bgra32"]
Demosaic = Literal["nearest", "bilinear", "adaptive"]
Picture = Bytes  # (rows, columns, bytes a pixel)

DESTINATIONS: Dict[str, PixelFormat] = {
    "mono8": PixelFormat.MONO8,
    "rgb24": PixelFormat.RGB8_PACKED,
    "bgr24": PixelFormat.BGR8_PACKED,
    "rgba32": PixelFormat.RGBA8_PACKED,
    "bgra32": PixelFormat.BGRA8_PACKED,
}
METHODS: Dict[str, int] = {"nearest": 0, "bilinear": 1, "adaptive": 2}
_GREY = PixelFormat.MONO8


class Stage:
    """One call of the C library and what its result lacks.

    The call converts the rows from `first_row` (0, or 1 for a mosaic in GR order) on.
    What it writes reaches to row `written_rows` and column `written_columns`; the
    picture is the upper left part of that. `prepare` makes the bytes safe that the call trusts;
    `finish` fills from the frame what the call does not write.
    """

    _handle = 0

    def __init__(
        self,
        frame: Frame,
        to: PixelFormat,
        method: int = 0,
        *,
        written_rows: Optional[int] = None,
        written_columns: Optional[int] = None,
        first_row: int = 0,
        skipped: int = 0,
        data_size: Optional[int] = None,
        prepare: Optional[Callable[[Bytes], Bytes]] = None,
        finish: Optional[Callable[[Bytes, Picture], None]] = None,
    ) -> None:
        self.rows, self.columns = frame.height, frame.width
        self.depth = to.bits_per_pixel // 8
        self.written_rows = self.rows if written_rows is None else written_rows
        self.written_columns = self.columns if written_columns is None else written_columns
        self._prepare, self._finish = prepare, finish
        self._scratch: Optional[Picture] = None
        # Bayer rows are as long as the data size says: it comes from the geometry,
        # not from the buffer, whose last row may lack its padding.
        rows = frame.height - first_row
        format = frame.format.one_row_down if first_row else frame.format
        if data_size is None:
            data_size = format.frame_bytes(frame.width, rows, frame.padding)
        self._record = _native.OpenParam(
            frame.width, rows, frame.padding + skipped, 0, data_size, format
        )
        self._first_row, self._skipped_bytes = first_row, first_row and frame.stride
        self._to, self._method = to, method

    @property
    def is_one_call(self) -> bool:
        """Whether the call alone fills a picture that has memory for `written_rows`."""
        return (
            not (self._first_row or self._prepare or self._finish)
            and self.written_columns == self.columns
        )

    @property
    def handle(self) -> int:
        if not self._handle:
            self._handle = _native.open(self._record, self._to, self._method)
        return self._handle

    def close(self) -> None:
        handle, self._handle = self._handle, 0
        if handle:
            _native.close(handle)

    def __del__(self) -> None:
        self.close()

    def run(self, data: Bytes, memory: Picture) -> None:
        """Convert `data` to the first rows of `memory`, which may have some behind the picture."""
        fits = self.written_columns == self.columns and self.written_rows <= len(memory)
        target = memory if fits else self._borrow_scratch()
        source = self._prepare(data) if self._prepare else data[self._skipped_bytes :]
        status = _native.convert(self.handle, address(source), address(target[self._first_row :]))
        _native.check(status)
        picture = memory[: self.rows]
        if not fits:
            columns = min(self.columns, self.written_columns)
            picture[:, :columns] = target[: self.rows, :columns]
        if self._finish:
            self._finish(data, picture)

    def _borrow_scratch(self) -> Picture:
        if self._scratch is None:
            shape = (self.written_rows, self.written_columns, self.depth)
            self._scratch = np.empty(shape, np.uint8)
        return self._scratch


def plan(frame: Frame, to: PixelFormat, method: int) -> List[Stage]:
    """The stages that make a picture of a frame, each reading what the one before wrote."""
    format, width, height = frame.format, frame.width, frame.height
    if format.packing in ("bits", "points"):
        # The C functions write a byte a pixel whatever the destination.
        plane = _points(frame) if format.packing == "points" else _bits(frame)
        return [plane] if to == _GREY else [plane, Stage(Frame(_GREY, width, height), to)]
    if format.is_bayer and min(width, height) > 1:
        if not _is_odd_packed(frame):
            return [_bayer(frame, to, method)]
        # The C function would lose the last column: take the upper 8 bits out,
        # which is all that a conversion uses, then demosaic those.
        eight_bits = Frame(PixelFormat[f"BAYER_{format.order}8"], width, height)
        return [_odd_packed(_as_grey(frame), _GREY), _bayer(eight_bits, to, method)]
    if format.is_bayer:
        # One row or column holds two colours at most. The C functions make a row
        # grey and write nothing of a column: both become grey here.
        frame = _as_grey(frame)
    if _is_odd_packed(frame):
        return [_odd_packed(frame, to)]
    if frame.format == to:
        # RGB to RGB copies the whole buffer, padding included. As grey rows of
        # three times the width it loses the padding.
        row = frame.format.row_bytes(width)
        return [Stage(Frame(_GREY, row, height, frame.padding), _GREY)]
    group = frame.format.group
    return [Stage(frame, to, written_columns=-(-width // group) * group)]


def _as_grey(frame: Frame) -> Frame:
    """A Bayer frame seen as the grey format with the same memory layout."""
    packed = "_PACKED" if frame.format.packing == "packed" else ""
    grey = PixelFormat[f"MONO{frame.format.bits}{packed}"]
    return Frame(grey, frame.width, frame.height, frame.padding)


def _is_odd_packed(frame: Frame) -> bool:
    return frame.format.packing == "packed" and frame.width % 2 == 1


def _points(frame: Frame) -> Stage:
    """Mono1C to grey. The list that the C function gets is a checked copy with an end."""
    width, height = frame.width, frame.height
    return Stage(
        frame,
        _GREY,
        data_size=LARGEST_SIZE,
        prepare=lambda data: checked_points(data, width, height),
    )


def _bits(frame: Frame) -> Stage:
    """Mono1p to grey. The C function stops before a byte that is not used up."""
    pixels = frame.width * frame.height
    left_over = pixels % 8

    def last_bits(data: Bytes, picture: Picture) -> None:
        bits = np.unpackbits(data[pixels // 8 :], bitorder="little")
        picture.reshape(-1)[pixels - left_over :] = bits[:left_over] * 255

    return Stage(frame, _GREY, finish=last_bits if left_over else None)


def _odd_packed(frame: Frame, to: PixelFormat) -> Stage:
    """Mono10Packed or Mono12Packed with an odd width.

    The C function reads and writes whole pairs: the 2 bytes of a row's last pixel
    are padding to it, and its rows are one pixel short.
    """

    def last_column(data: Bytes, picture: Picture) -> None:
        column: Bytes = np.ndarray(
            (frame.height, 1), np.uint8, data, 3 * (frame.width // 2), (frame.stride, 1)
        )
        picture[:, -1] = column

    return Stage(frame, to, written_columns=frame.width - 1, skipped=2, finish=last_column)


def _bayer(frame: Frame, to: PixelFormat, method: int) -> Stage:
    """A mosaic of 2 x 2 and more samples, of any layout but packed with an odd width.

    An odd height is written with an extra row. What the C function does not make at
    the edges comes from strips in which the mosaic goes on as its mirror image, the
    way the C library itself completes an odd height. A strip replaces as many rows
    or columns as the edge can change, the adaptive method's included, so that the
    picture is that of the longer mosaic:

    - An odd width goes on by one column. Alone, the C function leaves the last one
      partly unwritten (nearest, adaptive) or puts its colours into the wrong
      channels (bilinear).
    - A mosaic in GR order, which the C library lacks, is one in BG order from its
      second row on, and goes on upwards.
    """
    is_gr = frame.format.order == "GR"
    eight_bits = f"BAYER_{frame.format.order}8"

    def last_columns(data: Bytes, picture: Picture) -> None:
        width = frame.width
        columns = _reflected(range(max(0, width - 11), width + 1), width)
        strip = Frame(PixelFormat[eight_bits], len(columns), frame.height)
        samples = frame.samples(data, list(range(frame.height)), columns)
        picture[:, -6:] = _demosaiced(strip, samples, to, method)[:, -7:-1][:, -width:]

    def first_rows(data: Bytes, picture: Picture) -> None:
        rows = _reflected(range(-5, min(7, frame.height)), frame.height)
        strip = Frame(PixelFormat[eight_bits].one_row_down, frame.width, len(rows))
        samples = frame.samples(data, rows, list(range(frame.width)))
        picture[:4] = _demosaiced(strip, samples, to, method)[5:9][: frame.height]

    def finish(data: Bytes, picture: Picture) -> None:
        if is_gr:
            first_rows(data, picture)
        if frame.width % 2:
            last_columns(data, picture)

    first_row = int(is_gr)
    rows = frame.height - first_row
    return Stage(
        frame,
        to,
        method,
        first_row=first_row,
        written_rows=first_row + rows + (rows % 2 if rows > 1 else 0),
        finish=finish if is_gr or frame.width % 2 else None,
    )


def _reflected(positions: Iterable[int], size: int) -> List[int]:
    """Positions beyond 0 and `size` - 1 mirrored at these, so that colours stay in phase."""
    period = 2 * (size - 1)
    return [min(position % period, -position % period) for position in positions]


def _demosaiced(frame: Frame, samples: Bytes, to: PixelFormat, method: int) -> Picture:
    picture: Picture = np.empty((frame.height, frame.width, to.bits_per_pixel // 8), np.uint8)
    _bayer(frame, to, method).run(samples.reshape(-1), picture)
    return picture
