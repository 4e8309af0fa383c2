"""Mirroring and rotation of pictures."""

from __future__ import annotations

from typing import Any, Literal, Optional

import numpy as np

from ._buffers import Bytes
from ._converter import Converter, Flip, flip_flag

# Pictures as frames that have the same bytes, by what follows height and width in their shape.
_AS_FRAMES = {(): ("Mono8", "mono8"), (3,): ("RGB8", "rgb24"), (4,): ("RGBa8", "rgba32")}


def flip(image: Bytes, direction: Flip, *, out: Optional[Bytes] = None) -> Bytes:
    """The mirror image: ``"horizontal"`` swaps left and right, ``"vertical"`` top and bottom.

    `image` is a uint8 array of shape (H, W), (H, W, 3) or (H, W, 4), whose rows may lie apart;
    the result has the same shape and never shares memory with it.

    >>> flip(numpy.array([[1, 2, 3]], "u1"), "horizontal").tolist()
    [[3, 2, 1]]
    """
    if not flip_flag("direction", direction):
        raise ValueError("direction is None, expected 'horizontal' or 'vertical'")
    return _turn(image, out, flip=direction)


def rotate(image: Bytes, angle: Literal[90, 180, 270], *, out: Optional[Bytes] = None) -> Bytes:
    """The picture rotated clockwise by 90, 180 or 270 degrees.

    Arrays as in `flip`; 90 and 270 degrees exchange height and width.

    >>> rotate(numpy.array([[1, 2], [3, 4]], "u1"), 90).tolist()
    [[3, 1], [4, 2]]
    """
    if angle not in (90, 180, 270):
        raise ValueError(f"angle is {angle!r}, expected 90, 180 or 270 degrees clockwise")
    return _turn(image, out, rotate=angle)


def _turn(image: Any, out: Optional[Bytes], **how: Any) -> Bytes:
    if not isinstance(image, np.ndarray):
        raise TypeError(f"image must be a numpy.ndarray, not {type(image).__name__}")
    if image.dtype != np.uint8:
        raise TypeError(f"image has dtype {image.dtype}, expected uint8")
    if image.ndim < 2 or image.shape[2:] not in _AS_FRAMES or not image.size:
        raise ValueError(f"image has shape {image.shape}, expected (H, W), (H, W, 3) or (H, W, 4)")
    height, width, *_ = image.shape
    format, to = _AS_FRAMES[image.shape[2:]]
    return Converter(width, height, format, to=to, keep_alpha=True, **how).convert(image, out)
