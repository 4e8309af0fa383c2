"""The C library: where it is found and how it is called."""

from __future__ import annotations

import ctypes
import os
import pathlib
from typing import Any, List

SUCCESS, ILLEGAL_PARAM, ERR_ORDER, NO_MEMORY, NOT_SUPPORT = range(5)

# Name that the dynamic loader knows an installed library by.
SONAME = "libimgcnv.so.1"


class OpenParam(ctypes.Structure):
    """tagIMGCNV_SOpenParam: the description of a frame."""

    _fields_ = [
        ("width", ctypes.c_int),
        ("height", ctypes.c_int),
        ("rowPadding", ctypes.c_int),
        ("reserved", ctypes.c_int),
        ("dataSize", ctypes.c_int),
        ("pixelFormat", ctypes.c_int),
    ]


def _candidates() -> List[str]:
    """IMGCNV_LIBRARY alone where it is set, else the wheel's library, else the system's."""
    chosen = os.environ.get("IMGCNV_LIBRARY")
    if chosen:
        return [chosen]
    return [str(pathlib.Path(__file__).with_name(SONAME)), SONAME]


def _load() -> ctypes.CDLL:
    failures = []
    for name in _candidates():
        try:
            library = ctypes.CDLL(name)
            library.IMGCNV_open
            return library
        except (OSError, AttributeError) as failure:
            failures.append(f"  {name}: {failure}")
    raise ImportError(
        "imgcnv: no usable libimgcnv.so. Install the wheel or the libimgcnv1 package, or set "
        "IMGCNV_LIBRARY to the path of a built library. Tried:\n" + "\n".join(failures)
    )


_library = _load()
path: str = _library._name

# The GIL is let go for the conversion, which takes long, and kept for opening
# and closing, which take less time than handing it over.
_holding_gil = ctypes.PyDLL(path, handle=_library._handle)


def _function(library: ctypes.CDLL, name: str, *arguments: Any) -> Any:
    function = library[name]  # a fresh object each time, unlike getattr
    function.argtypes = arguments
    function.restype = ctypes.c_int
    return function


_address = ctypes.c_void_p
_size = ctypes.POINTER(ctypes.c_int)
_record = ctypes.POINTER(OpenParam)

convert = _function(_library, "IMGCNV_convert", _address, _address, _address)
_open = _function(
    _holding_gil,
    "IMGCNV_open",
    _record,
    ctypes.c_int,
    ctypes.POINTER(ctypes.c_void_p),
    _size,
    ctypes.c_int,
)
close = _function(_holding_gil, "IMGCNV_close", _address)


def open(record: OpenParam, destination: int, method: int) -> int:
    """A new handle for frames like `record`."""
    handle = ctypes.c_void_p()
    reported = ctypes.c_int(0)  # wraps, or stays 0 for some formats: never used
    check(
        _open(
            ctypes.byref(record), destination, ctypes.byref(handle), ctypes.byref(reported), method
        )
    )
    return handle.value or 0


def check(status: int) -> None:
    """Raise what `status` means, unless it is success."""
    if status == NO_MEMORY:
        raise MemoryError("the C library could not allocate its working memory")
    if status != SUCCESS:
        # Arguments are checked before every call, so this is a fault of the module.
        raise RuntimeError(f"the C library refused the call with status {status}")


def turn_function(name: str) -> Any:
    """One of the flips and rotations: (source, record, destination, size) to status."""
    return _function(_library, name, _address, _record, _address, _size)
