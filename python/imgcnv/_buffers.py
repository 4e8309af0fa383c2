"""Memory given by the caller: checked, never copied."""

from __future__ import annotations

import array
import ctypes
import mmap
from typing import Any, Tuple, Union, cast

import numpy as np
from numpy.typing import NDArray

Bytes = NDArray[np.uint8]
FrameLike = Union[
    bytes,
    bytearray,
    memoryview,
    mmap.mmap,
    "array.array[Any]",
    "ctypes.Array[Any]",
    NDArray[np.uint8],
    NDArray[np.uint16],
]

_BYTE_ITEMS = frozenset(("B", "<B", "c", "<c"))
_WORD_ITEMS = frozenset(("H", "<H"))


_from_buffer: Any = ctypes.c_char.from_buffer
_UINT8 = np.dtype(np.uint8)


def address(memory: Union[memoryview, Bytes]) -> int:
    """Where the first byte of contiguous memory lies.

    A ctypes object over the memory tells it in a quarter of the time that NumPy
    takes, but only where one may write.
    """
    if isinstance(memory, memoryview):
        if not memory.readonly:
            return ctypes.addressof(_from_buffer(memory))
        memory = np.frombuffer(memory, np.uint8)
    return int(memory.__array_interface__["data"][0])


def readable(frame: FrameLike, *, words: bool, rows: int) -> memoryview:
    """A view of the bytes of `frame`.

    2-byte items are taken only when `words`, two and more dimensions only with
    `rows` rows (0: any). While the view lives, a bytearray cannot be resized nor an
    mmap closed.
    """
    try:
        view = memoryview(cast(bytes, frame))  # what array typing cannot say
    except (TypeError, ValueError):
        raise TypeError(
            "frame must be a bytes-like object or an array of uint8 or uint16, "
            f"not {type(frame).__name__}"
        ) from None
    if view.format not in _BYTE_ITEMS:
        _check_words(view, frame, words)
    if not view.c_contiguous:
        raise ValueError("frame is not contiguous: pass numpy.ascontiguousarray(frame)")
    if not view.nbytes:
        raise ValueError("frame is empty")
    if view.ndim > 1 and rows and view.shape is not None and view.shape[0] != rows:
        raise ValueError(
            f"frame has shape {view.shape}, expected {rows} rows; width and height may be "
            "exchanged, or pass frame.reshape(-1)"
        )
    return view


def _check_words(view: memoryview, frame: FrameLike, words: bool) -> None:
    items = getattr(frame, "dtype", f"items of struct format {view.format!r}")
    if view.format not in _WORD_ITEMS:
        raise TypeError(f"frame holds {items}, expected uint8 or little-endian uint16")
    if not words:
        raise TypeError(
            f"frame holds {items}, but this format has no 16-bit words: pass "
            "frame.view(numpy.uint8) if its bytes are right"
        )


def writable(out: Any, shape: Tuple[int, ...], source: int, source_bytes: int) -> int:
    """The address of `out`, which can receive an array of `shape` made from the source."""
    if not isinstance(out, np.ndarray):
        raise TypeError(f"out must be a numpy.ndarray, not {type(out).__name__}")
    if out.dtype != _UINT8:
        raise TypeError(f"out has dtype {out.dtype}, expected uint8")
    if out.shape != shape:
        raise ValueError(f"out has shape {out.shape}, expected {shape}")
    flags = out.flags
    if not flags.c_contiguous:
        raise ValueError("out is not C-contiguous: pass a whole array, not a strided view of one")
    if not flags.writeable:
        raise ValueError("out is read-only")
    start = ctypes.addressof(_from_buffer(out))
    if start < source + source_bytes and source < start + out.nbytes:
        raise ValueError("out overlaps the source: pictures are not made in place")
    return start
