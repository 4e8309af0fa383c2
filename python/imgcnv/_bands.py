"""Frames cut into bands of rows that threads convert at the same time.

Each band has its own handles. Rows of most formats do not know of each other; rows
of a mosaic look at their neighbours, so the rows beside a cut come from a strip
across it.
"""

from __future__ import annotations

from typing import List, Optional

import numpy as np

from ._buffers import Bytes
from ._crew import Crew
from ._formats import PixelFormat
from ._frame import Frame
from ._stages import METHODS, Picture, plan

# Rows on either side of a cut that see beyond it, by demosaicing method. Nearest
# stays within its cells of 2 rows; adaptive looks at the green of the next row, which
# was made of samples up to 2 rows further.
_REACH = {METHODS["nearest"]: 0, METHODS["bilinear"]: 1, METHODS["adaptive"]: 3}

# Half the height of a strip: its own upper and lower edges change none of the rows
# that are taken from it.
_HALF_STRIP = 8

# What a band has at least.
_LEAST_ROWS = 2 * _HALF_STRIP

# Pixels that a thread gets at least, by demosaicing method: waking it costs 20 to
# 50 us. Other formats take about as long as the fastest method.
_LEAST_PIXELS = {
    METHODS["nearest"]: 1 << 20,
    METHODS["bilinear"]: 1 << 19,
    METHODS["adaptive"]: 1 << 18,
}

_OPAQUE = np.uint32(0xFF000000)  # alpha of a 4-byte pixel, as a little-endian word


def make_opaque(picture: Bytes) -> None:
    """Set the alpha of a contiguous picture of 4 bytes a pixel, which the C functions leave 0."""
    words = picture.reshape(-1).view(np.uint32)
    np.bitwise_or(words, _OPAQUE, words)


class Bands:
    """What converts a frame to a picture, on as many threads as pay, `threads` at most."""

    def __init__(self, frame: Frame, to: PixelFormat, method: int, threads: int) -> None:
        if not frame.format.is_bayer:
            method = METHODS["nearest"]
        self.threads = min(threads, _most_threads(frame, _LEAST_PIXELS[method]))
        cuts = frame.cuts(self.threads)
        edges = [0, *cuts, frame.height]
        self._bands = [
            _Band(frame, first, last, to, method) for first, last in zip(edges, edges[1:])
        ]
        reach = _REACH[method]
        self._seams = [_Seam(frame, cut, to, method, reach) for cut in cuts if reach]
        self._crew = Crew(self.threads)

    @property
    def only_handle(self) -> int:
        """The handle whose call does everything, but alpha; 0 where there is no such."""
        return self._bands[0].only_handle if self.threads == 1 else 0

    @property
    def extra_rows(self) -> int:
        """Rows that are written after the picture where there is memory for them."""
        return self._bands[-1].extra_rows

    @property
    def written_pixels(self) -> int:
        return sum(band.written_pixels for band in self._bands)

    def run(self, data: Bytes, memory: Picture) -> None:
        """Convert `data` to the first rows of `memory`, alpha included."""
        if self.threads == 1:
            self._bands[0].run(data, memory)
            return
        # A thread lets go of its job a little after the job is done: by then the
        # caller may want to resize the frame, so the job must not hold it.
        lent = [data, memory]
        try:
            self._crew.run(lambda number: self._run_band(number, *lent), len(self._bands))
        finally:
            lent.clear()
        for seam in self._seams:
            seam.mend(memory)

    def close(self) -> None:
        self._crew.close()
        for band in self._bands:
            band.close()
        for seam in self._seams:
            seam.close()

    def _run_band(self, number: int, data: Bytes, memory: Picture) -> None:
        self._bands[number].run(data, memory)
        if number and self._seams:
            self._seams[number - 1].run(data)


def _most_threads(frame: Frame, least_pixels: int) -> int:
    if frame.format.packing == "points":
        return 1
    return max(1, min(frame.height // _LEAST_ROWS, frame.height * frame.width // least_pixels))


class _Band:
    """The rows from `first` to before `last` of a frame."""

    def __init__(self, frame: Frame, first: int, last: int, to: PixelFormat, method: int) -> None:
        self._stages = plan(frame.part(first, last), to, method)
        self._source = frame.part_bytes(first, last)
        self._target = slice(first, None if last == frame.height else last)
        self._rows = last - first

    @property
    def only_handle(self) -> int:
        simple = len(self._stages) == 1 and self._stages[0].is_one_call
        return self._stages[0].handle if simple else 0

    @property
    def extra_rows(self) -> int:
        return self._stages[-1].written_rows - self._rows

    @property
    def written_pixels(self) -> int:
        return max(stage.written_rows * stage.written_columns for stage in self._stages)

    def run(self, data: Bytes, memory: Picture) -> None:
        """Convert the band of the whole frame `data` to its rows of the whole `memory`."""
        self.run_alone(data, memory[self._target])

    def run_alone(self, data: Bytes, memory: Picture) -> None:
        """Convert the band of the whole frame `data` to the first rows of `memory`."""
        data = data[self._source]
        for stage in self._stages[:-1]:
            plane = np.empty((stage.rows, stage.columns, stage.depth), np.uint8)
            stage.run(data, plane)
            data = plane.reshape(-1)
        self._stages[-1].run(data, memory)
        if memory.shape[2] == 4:
            make_opaque(memory[: self._rows])

    def close(self) -> None:
        for stage in self._stages:
            stage.close()


class _Seam:
    """The `reach` rows above and below a cut at `row`."""

    def __init__(self, frame: Frame, row: int, to: PixelFormat, method: int, reach: int) -> None:
        self._strip = _Band(frame, row - _HALF_STRIP, row + _HALF_STRIP, to, method)
        self._shape = (2 * _HALF_STRIP, frame.width, to.bits_per_pixel // 8)
        self._target = slice(row - reach, row + reach)
        self._middle = slice(_HALF_STRIP - reach, _HALF_STRIP + reach)
        self._picture: Optional[Picture] = None

    def run(self, data: Bytes) -> None:
        """Convert the strip of the whole frame `data`."""
        if self._picture is None:
            self._picture = np.empty(self._shape, np.uint8)
        self._strip.run_alone(data, self._picture)

    def mend(self, memory: Picture) -> None:
        """Put the middle of the strip into the whole picture."""
        assert self._picture is not None
        memory[self._target] = self._picture[self._middle]

    def close(self) -> None:
        self._strip.close()
