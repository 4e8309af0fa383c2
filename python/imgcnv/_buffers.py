"""Memory given by the caller: checked, never copied."""

from __future__ import annotations

import ctypes
from typing import Any, Tuple, Union

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


def address(memory: Union[memoryview, Picture]) -> int:
    """Where the first byte of memory lies.

    A ctypes object over the memory tells it in a quarter of the time that NumPy
    takes, but only where one may write, and only of contiguous memory.
    """
    if isinstance(memory, memoryview):
        if memory.c_contiguous and not memory.readonly:
            return ctypes.addressof(_from_buffer(memory))
        memory = np.asarray(memory)
    return int(memory.__array_interface__["data"][0])


# The memory of a frame, or of a batch of them: what keeps it alive, where it begins, how many bytes
# lie from its first to its last, and the bytes from row to row (0: as the frame's description says)
# and from frame to frame.
Source = Tuple[memoryview, int, int, int, int]


def view_of(name: str, given: FrameLike) -> memoryview:
    """The memory of `given`: of the buffer protocol, NumPy's protocols, or DLPack's."""
    try:
        return memoryview(given)
    except ValueError as error:  # a closed mmap, a released memoryview
        if not isinstance(given, np.ndarray):
            raise ValueError(f"{name} cannot be read: {error}") from None
    except (TypeError, BufferError):
        pass
    array: Any = given
    if not isinstance(given, np.ndarray):
        if hasattr(given, "__array_interface__") or hasattr(given, "__array__"):
            array = np.asarray(given)  # xarray, Pillow, and others whose memory it is
        elif hasattr(given, "__dlpack__"):
            device = given.__dlpack_device__()[0]
            if device != 1:
                raise TypeError(f"{name} is in memory of DLPack device {device}, expected the CPU's")
            array = np.from_dlpack(given)
        else:
            raise TypeError(
                f"{name} must be a bytes-like object or an array of uint8 or uint16, "
                f"not {type(given).__name__}"
            )
    if array.dtype.kind not in "biuf":
        raise TypeError(f"{name} holds {array.dtype}, expected uint8 or uint16")
    return memoryview(array)


def check_items(view: memoryview, given: FrameLike, format: PixelFormat, big_endian: bool) -> None:
    """Refuse items that are neither bytes nor the words of the format."""
    if view.format in _BYTE_ITEMS:
        return
    items = getattr(given, "dtype", f"items of struct format {view.format!r}")
    if view.format not in _WORD_ITEMS:
        raise TypeError(f"frame holds {items}, expected uint8 or uint16")
    if format.packing != "words":
        raise TypeError(
            f"frame holds {items}, but {format} has no 16-bit words: pass "
            "frame.view(numpy.uint8) if its bytes are right"
        )
    if _WORD_ITEMS[view.format] != big_endian:
        order = ("big", "little")[big_endian]
        raise TypeError(
            f"frame holds {items}, expected {('little', 'big')[big_endian]}-endian words: pass "
            f"big_endian={not big_endian} for {order}-endian ones"
        )


_ADVICE = {
    "frame": "pass numpy.ascontiguousarray(frame)",
    "out": "pass whole rows or columns, and rotate= or flip= to turn pictures",
}


def rows_of(name: str, array: Union[memoryview, Picture], first: int) -> int:
    """Bytes from row to row of an array whose dimension `first` are rows; 0 if they follow.

    Raises ValueError where more than that lies between two items of a row.
    """
    shape, strides, expected = array.shape or (), array.strides or (), array.itemsize
    for size, stride in zip(shape[:first:-1], strides[:first:-1]):
        if size > 1 and stride != expected:
            raise ValueError(f"{name} is not contiguous within its rows: {_ADVICE[name]}")
        expected *= size
    stride = strides[first] if shape[first] > 1 else expected
    if stride < expected:
        raise ValueError(
            f"{name} is not contiguous: its rows run backwards or overlap; {_ADVICE[name]}"
        )
    return 0 if stride == expected else stride


def row_length(view: memoryview, first: int) -> int:
    """Bytes of a row of an array whose dimension `first` are rows."""
    return int(np.prod((view.shape or ())[first + 1 :])) * view.itemsize


def size_of(frame: FrameLike, format: PixelFormat, batch: bool) -> Tuple[int, int]:
    """Width and height that the shape of an array says."""
    view = view_of("frame", frame)
    shape, first = view.shape or (), int(batch)
    color = format.order in ("RGB", "BGR", "RGBA", "BGRA")
    if view.ndim != first + 2 + color:
        raise TypeError(
            f"width and height are missing: they can be taken from arrays (H, W), not of {view.ndim} "
            "dimensions"
        )
    if format.packing == "points":
        raise TypeError("width and height are missing: a Mono1C list does not have them")
    return row_length(view, first) * 8 // format.bits_per_pixel, shape[first]


def writable(
    out: Any, shape: Tuple[int, ...], dtype: "np.dtype[Any]", rows: int
) -> Tuple[int, int]:
    """Where `out`, which can receive an array, begins; bytes from row to row, 0 if they follow.

    Dimension `rows` of it are rows, whose pixels must lie side by side.
    """
    if not isinstance(out, np.ndarray):
        raise TypeError(f"out must be a numpy.ndarray, not {type(out).__name__}")
    if out.dtype != dtype:
        raise TypeError(f"out has dtype {out.dtype}, expected {dtype}")
    if out.shape != shape:
        raise ValueError(f"out has shape {out.shape}, expected {shape}")
    flags = out.flags
    if not flags.writeable:
        raise ValueError("out is read-only")
    if flags.c_contiguous:
        return ctypes.addressof(_from_buffer(out)), 0
    return address(out), rows_of("out", out, rows)
