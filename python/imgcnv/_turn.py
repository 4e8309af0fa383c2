"""Mirroring and turning of pictures."""

from __future__ import annotations

import ctypes
from typing import Any, Literal, Optional

import numpy as np

from . import _native
from ._buffers import Bytes, address, writable
from ._formats import LARGEST_SIZE, PixelFormat

_FLIPS = {
    "horizontal": _native.turn_function("IMGCNV_FlipToHorizontal"),
    "vertical": _native.turn_function("IMGCNV_FlipToVertical"),
}
_ROTATIONS = {
    90: _native.turn_function("IMGCNV_RotationToAngle90"),
    180: _native.turn_function("IMGCNV_RotationToAngle180"),
    270: _native.turn_function("IMGCNV_RotationToAngle270"),
}


def flip(
    image: Bytes, direction: Literal["horizontal", "vertical"], *, out: Optional[Bytes] = None
) -> Bytes:
    """The mirror image: ``"horizontal"`` swaps left and right, ``"vertical"`` top and bottom.

    `image` is a C-contiguous uint8 array of shape (H, W), (H, W, 3) or (H, W, 4);
    the result has the same shape and never shares memory with it.

    >>> flip(numpy.array([[1, 2, 3]], "u1"), "horizontal").tolist()
    [[3, 2, 1]]
    """
    if direction not in _FLIPS:
        raise ValueError(f"direction is {direction!r}, expected 'horizontal' or 'vertical'")
    _check_image(image)
    mirrored = image[:, ::-1] if direction == "horizontal" else image[::-1]
    return _turn(image, mirrored, _FLIPS[direction], out)


def rotate(image: Bytes, angle: Literal[90, 180, 270], *, out: Optional[Bytes] = None) -> Bytes:
    """The picture turned clockwise by 90, 180 or 270 degrees.

    Arrays as in `flip`; quarter turns exchange height and width.

    >>> rotate(numpy.array([[1, 2], [3, 4]], "u1"), 90).tolist()
    [[3, 1], [4, 2]]
    """
    if angle not in _ROTATIONS:
        raise ValueError(f"angle is {angle!r}, expected 90, 180 or 270 degrees clockwise")
    _check_image(image)
    return _turn(image, np.rot90(image, -angle // 90), _ROTATIONS[angle], out)


def _check_image(image: Any) -> None:
    if not isinstance(image, np.ndarray):
        raise TypeError(f"image must be a numpy.ndarray, not {type(image).__name__}")
    if image.dtype != np.uint8:
        raise TypeError(f"image has dtype {image.dtype}, expected uint8")
    if not (image.ndim == 2 or image.ndim == 3 and image.shape[2] in (3, 4)) or not image.size:
        raise ValueError(f"image has shape {image.shape}, expected (H, W), (H, W, 3) or (H, W, 4)")
    if not image.flags.c_contiguous:
        raise ValueError("image is not C-contiguous: pass numpy.ascontiguousarray(image)")
    if image.nbytes > LARGEST_SIZE:
        raise ValueError(f"image has {image.nbytes} bytes, expected at most {LARGEST_SIZE}")


def _turn(image: Bytes, turned: Bytes, function: Any, out: Optional[Bytes]) -> Bytes:
    """`turned` as a copy, made by `function`: the C functions know 1 and 3 bytes a pixel."""
    if out is None:
        out = np.empty(turned.shape, np.uint8)
    else:
        writable(out, turned.shape, address(image), image.nbytes)
    if image.ndim == 3 and image.shape[2] == 4:
        out[...] = turned
        return out
    height, width = image.shape[:2]
    format = PixelFormat.MONO8 if image.ndim == 2 else PixelFormat.RGB8_PACKED
    record = _native.OpenParam(width, height, 0, 0, image.nbytes, format)
    written = ctypes.c_int(0)
    status = function(address(image), ctypes.byref(record), address(out), ctypes.byref(written))
    _native.check(status)
    return out
