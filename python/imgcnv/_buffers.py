"""Memory given by the caller: checked, never copied."""

from __future__ import annotations

import ctypes
import math
from typing import Any, Tuple

import numpy as np
from numpy.typing import NDArray

from ._formats import PixelFormat

Bytes = NDArray[np.uint8]
Picture = NDArray[Any]  # uint8, or uint16 for 16-bit targets
# bytes-like, or an object with __array_interface__, __array__ or __dlpack__: what has no common
# type that NumPy's stubs know.
FrameLike = Any

_BYTE_ITEMS = frozenset(("B", "<B", "c", "<c"))
_WORD_ITEMS = {"H": False, "<H": False, ">H": True}  # whether the high byte comes first

_from_buffer: Any = ctypes.c_char.from_buffer


def address(memory: memoryview) -> int:
    """Where the first byte of memory lies.

    A ctypes object over the memory tells it in a quarter of the time that NumPy takes, but only
    of contiguous memory that may be written and is not empty.
    """
    if memory.c_contiguous and memory.nbytes and not memory.readonly:
        return ctypes.addressof(_from_buffer(memory))
    return int(np.asarray(memory).__array_interface__["data"][0])


def view_of(name: str, given: FrameLike) -> memoryview:
    """The memory of `given`: of the buffer protocol, NumPy's protocols, or DLPack's."""
    try:
        return memoryview(given)
    except (TypeError, BufferError, ValueError) as error:
        if isinstance(given, np.ndarray):
            raise TypeError(f"{name} holds {given.dtype}, expected uint8 or uint16") from None
        if isinstance(error, ValueError):  # a closed mmap, a released memoryview
            raise ValueError(f"{name} cannot be read: {error}") from None
    if hasattr(given, "__array_interface__") or hasattr(given, "__array__"):
        return view_of(name, np.asarray(given))  # xarray, Pillow, and others whose memory it is
    if not hasattr(given, "__dlpack__"):
        raise TypeError(
            f"{name} must be a bytes-like object or an array of uint8 or uint16, "
            f"not {type(given).__name__}"
        )
    device = given.__dlpack_device__()[0]
    if device != 1:
        raise TypeError(f"{name} is in memory of DLPack device {device}, expected the CPU's")
    return view_of(name, np.from_dlpack(given))


def check_numbers(name: str, view: memoryview, given: FrameLike) -> str:
    """Refuse items that are neither bytes nor words; what the memory holds, for messages."""
    items = getattr(given, "dtype", f"items of struct format {view.format!r}")
    if view.format not in _BYTE_ITEMS and view.format not in _WORD_ITEMS:
        raise TypeError(f"{name} holds {items}, expected uint8 or uint16")
    return f"{name} holds {items}"


def check_items(view: memoryview, given: FrameLike, format: PixelFormat, big_endian: bool) -> None:
    """Refuse items that are neither bytes nor the words of the format."""
    if view.format in _BYTE_ITEMS:
        return
    holds = check_numbers("frame", view, given)
    if format.packing != "words":
        raise TypeError(
            f"{holds}, but {format} has no 16-bit words: pass frame.view(numpy.uint8) if its bytes "
            "are right"
        )
    if _WORD_ITEMS[view.format] != big_endian:
        wanted, other = ("big", "little") if big_endian else ("little", "big")
        raise TypeError(
            f"{holds}, expected {wanted}-endian words: pass big_endian={not big_endian} for "
            f"{other}-endian ones"
        )


_ADVICE = {
    "frame": "pass numpy.ascontiguousarray(frame)",
    "out": "pass whole rows or columns, and rotate= or flip= to turn pictures",
}


def rows_of(name: str, array: Picture, first: int) -> Tuple[int, int]:
    """Bytes of a row, and from row to row, of an array whose dimension `first` are rows.

    Raises ValueError where the items of a row do not lie side by side, or rows not in order.
    """
    row = array[(0,) * (first + 1)]
    stride = array.strides[first] if array.shape[first] > 1 else row.nbytes
    if not row.flags.c_contiguous:
        raise ValueError(f"{name} is not contiguous within its rows: {_ADVICE[name]}")
    if stride < row.nbytes:
        raise ValueError(f"{name} has rows that run backwards or overlap: {_ADVICE[name]}")
    return row.nbytes, stride


def size_of(frame: FrameLike, format: PixelFormat, batch: bool) -> Tuple[int, int]:
    """Width and height that the shape of an array says."""
    view = view_of("frame", frame)
    shape, first = view.shape or (), int(batch)
    color = format.order in ("RGB", "BGR", "RGBA", "BGRA")
    if view.ndim != first + 2 + color:
        expected = ", ".join(["N"] * batch + ["H", "W"] + ["C"] * color)
        raise TypeError(
            f"width and height are missing: they can be taken from an array ({expected}), "
            f"not from one of shape {tuple(shape)}"
        )
    if format.packing == "points":
        raise TypeError("width and height are missing: a Mono1C list does not have them")
    row = math.prod(shape[first + 1 :]) * view.itemsize
    return row * 8 // format.bits_per_pixel, shape[first]


def writable(
    out: Any, shape: Tuple[int, ...], dtype: "np.dtype[Any]", rows: int
) -> Tuple[int, int]:
    """Where `out` begins, which is to be written; bytes from row to row, 0 if rows follow.

    Dimension `rows` of it are rows, whose pixels must lie side by side.
    """
    if not isinstance(out, np.ndarray):
        raise TypeError(f"out must be a numpy.ndarray, not {type(out).__name__}")
    if out.dtype != dtype:
        raise TypeError(f"out has dtype {out.dtype}, expected {dtype}")
    if out.shape != shape:
        raise ValueError(f"out has shape {out.shape}, expected {shape}")
    view = out.data
    if view.readonly:
        raise ValueError("out is read-only")
    return address(view), 0 if view.c_contiguous else rows_of("out", out, rows)[1]
