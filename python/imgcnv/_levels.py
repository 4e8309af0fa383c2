"""Levels and curves: how samples become brighter, darker and less tinted."""

from __future__ import annotations

import ctypes
from typing import NamedTuple, Optional, SupportsFloat, Tuple

import numpy as np

from . import _native
from ._buffers import Bytes


class Levels(NamedTuple):
    """Levels of a picture, for ``levels=``. A 0 always means the usual.

    Samples become (sample - black) / (white - black) * gain at their full depth, before a mosaic
    is demosaiced. Gamma, contrast and curve follow after that, and are for 8-bit targets.
    """

    #: In units of the format's samples: 0 to 2**bits - 1.
    black: SupportsFloat = 0.0
    #: Above black; 0 is the largest sample of the format.
    white: SupportsFloat = 0.0
    #: Of red, green and blue, 0 to 64. Grey formats take the second.
    gains: Tuple[SupportsFloat, SupportsFloat, SupportsFloat] = (1.0, 1.0, 1.0)
    #: The curve is 255 * (v / 255) ** (1 / gamma).
    gamma: SupportsFloat = 1.0
    #: A slope about the middle.
    contrast: SupportsFloat = 1.0
    #: (3, 256) uint8 for red, green and blue, instead of gamma and contrast.
    curve: Optional[Bytes] = None


def to_record(levels: Optional[Levels]) -> "Optional[ctypes._Pointer[_native.Record]]":
    """What the library takes, which refers to the curve without keeping it."""
    if levels is None:
        return None
    if not isinstance(levels, Levels):
        raise TypeError(f"levels must be an imgcnv.Levels, not {type(levels).__name__}")
    if len(levels.gains) != 3:
        raise ValueError(f"levels.gains is {levels.gains}, expected those of red, green and blue")
    record = _native.Levels(
        *map(float, (levels.black, levels.white, *levels.gains, levels.gamma, levels.contrast))
    )
    curve = levels.curve
    if curve is not None:
        if not isinstance(curve, np.ndarray) or curve.dtype != np.uint8:
            raise TypeError("levels.curve must be an array of uint8")
        if curve.shape != (3, 256) or not curve.flags.c_contiguous:
            raise ValueError(f"levels.curve has shape {curve.shape}, expected (3, 256), contiguous")
        record.curve = curve.ctypes.data
    return ctypes.pointer(record)
