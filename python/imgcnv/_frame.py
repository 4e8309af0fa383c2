"""Geometry of a frame: where its rows and samples lie."""

from __future__ import annotations

import math
from typing import Any, List

import numpy as np
from numpy.typing import NDArray

from ._buffers import Bytes
from ._formats import PixelFormat


class Frame:
    """Format and geometry of a frame: `height` rows of `width` pixels and `padding` bytes."""

    def __init__(self, format: PixelFormat, width: int, height: int, padding: int = 0) -> None:
        self.format, self.width, self.height, self.padding = format, width, height, padding

    @property
    def stride(self) -> int:
        return self.format.row_bytes(self.width) + self.padding

    def samples(self, data: Bytes, rows: List[int], columns: List[int]) -> Bytes:
        """The upper 8 bits of some Bayer or grey samples, a copy."""
        words = self.format.packing == "words"
        if self.format.packing == "packed":
            columns = [column // 2 + column + column % 2 for column in columns]
        kind: Any = np.uint16 if words else np.uint8
        size = kind().itemsize
        lines: NDArray[Any] = np.ndarray(
            (self.height, self.format.row_bytes(self.width) // size),
            kind,
            data,
            strides=(self.stride, size),
        )
        chosen = lines[np.ix_(rows, columns)]
        return (chosen >> (self.format.bits - 8) if words else chosen).astype(np.uint8)

    def cuts(self, bands: int) -> List[int]:
        """Rows at which bands begin that are about equally high, the first band apart.

        A stream of bits is cut between bytes. A mosaic is cut where its colours are
        those of the first row; in GR order a row below that, since all but the
        first row is converted as BG.
        """
        step, above = 1, 0
        if self.format.packing in ("bits", "nibbles"):
            step = 8 // math.gcd(8, self.width * self.format.bits_per_pixel)
        elif self.format.is_bayer:
            step, above = 2, int(self.format.order == "GR")
        return [self.height * band // bands // step * step + above for band in range(1, bands)]

    def part(self, first: int, last: int) -> Frame:
        """The rows from `first` to before `last` as a frame."""
        format = self.format.one_row_down if first % 2 else self.format
        return Frame(format, self.width, last - first, self.padding)

    def part_bytes(self, first: int, last: int) -> slice:
        """Where the part lies. The last row of a frame may lack its padding."""
        end = None if last == self.height else self._offset(last)
        return slice(self._offset(first) if first else 0, end)

    def _offset(self, row: int) -> int:
        if self.format.packing in ("bits", "nibbles"):
            return row * self.width * self.format.bits_per_pixel // 8
        return row * self.stride
