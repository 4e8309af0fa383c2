"""libimgcnv itself, called as its header says: what whole pictures are compared with."""

from __future__ import annotations

import ctypes
import os
import pathlib
import re

import numpy as np

LIBRARY = os.path.realpath(os.environ["IMGCNV_LIBRARY"])
_library = ctypes.CDLL(LIBRARY)


# The codes that the header names.
HEADER = pathlib.Path(__file__).resolve().parents[2] / "include" / "imgcnv.h"
FORMATS = {
    int(code, 16): name
    for name, code in re.findall(r"IMGCNV_PIXEL_(\w+) = (0x[0-9A-F]{8})", HEADER.read_text())
    if not name.endswith("A8_PACKED")  # destinations
}


class OpenParam(ctypes.Structure):
    _fields_ = [
        (name, ctypes.c_int)
        for name in "width height rowPadding reserved dataSize pixelFormat".split()
    ]


def convert(frame, width, height, code, destination, method, written):
    """`written` bytes as the C functions make them of an unpadded frame."""
    out, handle = np.zeros(written, np.uint8), ctypes.c_void_p()
    record, size = OpenParam(width, height, 0, 0, len(frame), code), ctypes.c_int()
    status = _library.IMGCNV_open(
        ctypes.byref(record), destination, ctypes.byref(handle), ctypes.byref(size), method
    )
    assert status == 0, status
    assert _library.IMGCNV_convert(handle, frame, ctypes.c_void_p(out.ctypes.data)) == 0
    _library.IMGCNV_close(handle)
    return out
