"""Mono1C: lists of grey points."""

from __future__ import annotations

import numpy as np

from ._buffers import Bytes


def checked_points(data: Bytes, width: int, height: int) -> Bytes:
    """A private copy of the list in `data`, ended by a zero record.

    Each record is the value and a big-endian 24-bit number, row << 12 | column,
    both counted from 1. The C function does not notice zeros there and writes
    before its picture, so every point is checked; and it is the copy that is
    checked, because somebody else might still write to the original.
    """
    if data.nbytes % 4:
        raise ValueError(
            f"frame has {data.nbytes} bytes, expected a multiple of 4: Mono1C lists have "
            "4 bytes a point"
        )
    records = np.zeros(data.nbytes // 4 + 1, ">u4")
    records[:-1] = data.view(">u4")
    used = int(np.argmin(records != 0))
    rows = records[:used] >> 12 & 0xFFF
    columns = records[:used] & 0xFFF
    outside = (rows < 1) | (rows > height) | (columns < 1) | (columns > width)
    if outside.any():
        first = int(np.argmax(outside))
        raise ValueError(
            f"point {first} of the Mono1C list lies at row {rows[first]}, column "
            f"{columns[first]}, expected rows 1 to {height} and columns 1 to {width}"
        )
    return records.view(np.uint8)
