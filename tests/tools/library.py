"""The shared library, called directly."""
import ctypes
import os

import numpy as np
import pytest

DESTINATIONS = {"mono8": (0x01080001, 1), "rgb24": (0x02180014, 3), "bgr24": (0x02180015, 3),
                "rgba32": (0x02200016, 4), "bgra32": (0x02200017, 4)}


class Record(ctypes.Structure):
    _fields_ = [(n, ctypes.c_int)
                for n in ("width", "height", "rowPadding", "reserved", "dataSize", "pixelFormat")]


def convert(frame, code, width, height, padding, to, method):
    """The destination's bytes as rows x columns x channels, read as the header says."""
    if "IMGCNV_LIBRARY" not in os.environ:
        pytest.skip("the library cannot be loaded here")
    library = ctypes.CDLL(os.environ["IMGCNV_LIBRARY"])
    destination, channels = DESTINATIONS[to]
    record = Record(width, height, padding, 0, len(frame), code)
    handle, size = ctypes.c_void_p(), ctypes.c_int(1)
    picture = np.zeros((height + 1) * (width + 3) * channels + len(frame), np.uint8)
    assert library.IMGCNV_open(ctypes.byref(record), destination, ctypes.byref(handle),
                               ctypes.byref(size), method) == 0
    assert library.IMGCNV_convert(handle, frame, picture.ctypes.data_as(ctypes.c_void_p)) == 0
    assert library.IMGCNV_close(handle) == 0
    return picture[: height * width * channels].reshape(height, width, channels)
