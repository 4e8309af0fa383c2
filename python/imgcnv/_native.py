"""The frame engine's C library: where it is found and how it is called."""

from __future__ import annotations

import ctypes
import functools
import os
import pathlib
from typing import Any, Dict, List, Optional, Tuple

# Names that the dynamic loader knows the installed libraries by.
CORE, ENGINE = "libimgcnv.so.1", "libimgcnv_frames.so.1"

OK, BAD_ARGUMENT, OUT_OF_MEMORY, UNKNOWN_FORMAT, BAD_SIZE, BAD_DATA, OVERLAP, BUSY, UNSUPPORTED = (
    range(9)
)
TEXT_BYTES = 2048


class _Record(ctypes.Structure):
    """A structure of imgcnv_frames.h, whose first member is its own size."""

    def __init__(self, *members: Any, **values: Any) -> None:
        super().__init__(ctypes.sizeof(self), *members, **values)


class FormatInfo(_Record):
    _fields_ = (
        [("struct_size", ctypes.c_size_t), ("code", ctypes.c_uint32)]
        + [
            (name, ctypes.c_int)
            for name in (
                "bits_per_pixel depth layout order is_color group_pixels group_bytes in_core"
            ).split()
        ]
        + [
            (name, ctypes.c_char_p)
            for name in "name layout_text pfnc gstreamer v4l2 ffmpeg ros opencv".split()
        ]
    )


class Frame(_Record):
    BIG_ENDIAN, VIDEO_RANGE = 1, 2
    _fields_ = [
        ("struct_size", ctypes.c_size_t),
        ("format", ctypes.c_uint32),
        ("flags", ctypes.c_uint32),
    ] + [(name, ctypes.c_int64) for name in "width height stride skip gap".split()]


class FrameSizes(_Record):
    _fields_ = [("struct_size", ctypes.c_size_t)] + [
        (name, ctypes.c_int64) for name in "row_bytes stride frame_bytes needed_bytes".split()
    ]


class FileFit(_Record):
    EXACT = 0
    _fields_ = [
        ("struct_size", ctypes.c_size_t),
        ("frames", ctypes.c_int64),
        ("left_over", ctypes.c_int64),
        ("fit", ctypes.c_int),
        ("value", ctypes.c_int64),
    ]


class Levels(_Record):
    _fields_ = (
        [("struct_size", ctypes.c_size_t)]
        + [
            (name, ctypes.c_double)
            for name in "black white red_gain green_gain blue_gain gamma contrast".split()
        ]
        + [("curve", ctypes.c_void_p)]
    )


class Target(_Record):
    FULL_SCALE, KEEP_ALPHA, FLIP_HORIZONTAL, FLIP_VERTICAL = 1, 2, 4, 8
    _fields_ = [
        ("struct_size", ctypes.c_size_t),
        ("kind", ctypes.c_int),
        ("demosaic", ctypes.c_int),
        ("rotation", ctypes.c_int),
        ("flags", ctypes.c_uint32),
        ("threads", ctypes.c_int),
        ("stride", ctypes.c_int64),
        ("levels", ctypes.POINTER(Levels)),
    ]


class PictureInfo(_Record):
    _fields_ = [
        ("struct_size", ctypes.c_size_t),
        ("width", ctypes.c_int64),
        ("height", ctypes.c_int64),
        ("channels", ctypes.c_int),
        ("channel_bytes", ctypes.c_int),
        ("row_bytes", ctypes.c_int64),
        ("stride", ctypes.c_int64),
        ("picture_bytes", ctypes.c_int64),
        ("source_bytes", ctypes.c_int64),
        ("threads", ctypes.c_int),
        ("way", ctypes.c_char_p),
    ]


Read = ctypes.CFUNCTYPE(
    ctypes.c_int64, ctypes.c_void_p, ctypes.c_int64, ctypes.c_void_p, ctypes.c_int64
)


class Question(_Record):
    _fields_ = [
        ("struct_size", ctypes.c_size_t),
        ("data", ctypes.c_void_p),
        ("bytes", ctypes.c_int64),
        ("read", Read),
        ("context", ctypes.c_void_p),
        ("known", Frame),
        ("name", ctypes.c_char_p),
        ("search_bytes", ctypes.c_int64),
    ]


class Reading(_Record):
    _fields_ = [
        ("struct_size", ctypes.c_size_t),
        ("frame", Frame),
        ("frames", ctypes.c_int64),
        ("score", ctypes.c_double),
        ("unknown", ctypes.c_char * 256),
    ]


def _load() -> ctypes.CDLL:
    """The engine that a variable names, else the one beside this file, else the system's.

    The engine wants libimgcnv, which the loader finds beside it, or takes as it was loaded before.
    """
    here = pathlib.Path(__file__).parent
    core, engine = (os.environ.get(f"IMGCNV_{name}LIBRARY") for name in ("", "FRAMES_"))
    failures: List[str] = []
    for name in [engine] if engine else [str(here / ENGINE), ENGINE]:
        own_core = str(here / CORE) if name == str(here / ENGINE) else None
        try:
            if core or own_core:
                ctypes.CDLL(core or str(own_core))
            library = ctypes.CDLL(name)
            for function in _FUNCTIONS:
                library[function]
            return library
        except (OSError, AttributeError) as failure:
            failures.append(f"  {name}: {failure}")
    raise ImportError(
        "imgcnv: no usable libimgcnv_frames.so. Install the wheel or the libimgcnv-frames1 package "
        "of this version, or set IMGCNV_FRAMES_LIBRARY to the path of a built library (and "
        "IMGCNV_LIBRARY to the libimgcnv.so it is to use). Tried:\n" + "\n".join(failures)
    )


_pointer, _text = ctypes.c_void_p, [ctypes.c_void_p, ctypes.c_size_t]
_FUNCTIONS: Dict[str, Tuple[Any, List[Any]]] = {
    "imgcnv_frames_version": (ctypes.c_char_p, []),
    "imgcnv_format_count": (ctypes.c_int, []),
    "imgcnv_format_at": (ctypes.c_int, [ctypes.c_int, _pointer]),
    "imgcnv_find_format": (ctypes.c_int, [ctypes.c_char_p, _pointer, _pointer, *_text]),
    "imgcnv_find_target": (ctypes.c_int, [ctypes.c_char_p, _pointer, *_text]),
    "imgcnv_find_demosaic": (ctypes.c_int, [ctypes.c_char_p, _pointer, *_text]),
    "imgcnv_frame_measure": (ctypes.c_int, [_pointer, _pointer, *_text]),
    "imgcnv_frame_describe": (ctypes.c_int, [_pointer, *_text]),
    "imgcnv_file_measure": (ctypes.c_int, [_pointer, ctypes.c_int64, _pointer, *_text]),
    "imgcnv_row_bytes": (ctypes.c_int64, [ctypes.c_uint32, ctypes.c_int64]),
    "imgcnv_pipeline_open": (ctypes.c_int, [_pointer, _pointer, _pointer, *_text]),
    "imgcnv_pipeline_describe": (ctypes.c_int, [_pointer, _pointer]),
    "imgcnv_pipeline_run": (
        ctypes.c_int,
        [_pointer, _pointer, ctypes.c_size_t, _pointer, ctypes.c_size_t, *_text],
    ),
    "imgcnv_pipeline_close": (None, [_pointer]),
    "imgcnv_auto_levels": (
        ctypes.c_int,
        [_pointer, _pointer, ctypes.c_size_t, _pointer, *_text],
    ),
    "imgcnv_guess": (ctypes.c_int, [_pointer, _pointer, ctypes.c_int, _pointer, *_text]),
}

_library = _load()
path: str = _library._name

# The GIL is released for what takes long, and kept for the rest, which takes less time than
# handing it over.
_holding_gil = ctypes.PyDLL(path, handle=_library._handle)


def _function(name: str, library: ctypes.CDLL = _holding_gil) -> Any:
    function = library[f"imgcnv_{name}"]  # a fresh object each time, unlike getattr
    function.restype, function.argtypes = _FUNCTIONS[f"imgcnv_{name}"]
    return function


format_count = _function("format_count")
format_at = _function("format_at")
find_format = _function("find_format")
find_target = _function("find_target")
find_demosaic = _function("find_demosaic")
frame_measure = _function("frame_measure")
frame_describe = _function("frame_describe")
file_measure = _function("file_measure")
row_bytes = _function("row_bytes")
pipeline_open = _function("pipeline_open")
pipeline_describe = _function("pipeline_describe")
pipeline_run = _function("pipeline_run", _library)
pipeline_close = _function("pipeline_close")
auto_levels = _function("auto_levels", _library)
guess = _function("guess", _library)

version: str = _function("frames_version")().decode()


def raise_status(status: int, text: str) -> None:
    """Raise what a status other than IMGCNV_OK means."""
    if status == OUT_OF_MEMORY:
        raise MemoryError(text or "the C library could not allocate its working memory")
    raise (RuntimeError if status == BUSY else ValueError)(text)


def call(function: Any, *arguments: Any) -> str:
    """Call a function that takes a text last: its text, or the exception that its status means."""
    text = ctypes.create_string_buffer(TEXT_BYTES)
    status = function(*arguments, text, TEXT_BYTES)
    said = text.value.decode()
    if status:
        raise_status(status, said)
    return said


_CHOICES = {"to": find_target, "demosaic": find_demosaic}


@functools.lru_cache(maxsize=4096)
def _choice(what: str, name: str) -> int:
    value = ctypes.c_int()
    call(_CHOICES[what], name.encode(errors="replace"), ctypes.byref(value))
    return value.value


def choice(what: str, name: str) -> int:
    """The value of a target's ("to") or a method's ("demosaic") name, in any spelling."""
    if not isinstance(name, str):
        raise TypeError(f"{what} must be a str, not {type(name).__name__}")
    return _choice(what, name)


def describe(frame: Frame) -> str:
    """The frame in words: "Mono8 640x480"."""
    text = ctypes.create_string_buffer(TEXT_BYTES)
    frame_describe(ctypes.byref(frame), text, TEXT_BYTES)
    return text.value.decode()


class Process:
    """Replaced in a forked process, which can use neither threads nor locks of its parent."""

    current = object()


def _forked() -> None:
    Process.current = object()


os.register_at_fork(after_in_child=_forked)


class Pipeline:
    """An open pipeline, closed when nothing refers to it any more."""

    handle: Optional[int] = None

    def __init__(self, frame: Frame, target: Target) -> None:
        handle = ctypes.c_void_p()
        text = ctypes.create_string_buffer(TEXT_BYTES)
        status = pipeline_open(
            ctypes.addressof(frame),
            ctypes.addressof(target),
            ctypes.addressof(handle),
            text,
            TEXT_BYTES,
        )
        if status:
            raise_status(status, text.value.decode())
        self.handle, self.text = handle.value, text
        self._process = Process.current

    def describe(self) -> PictureInfo:
        info = PictureInfo()
        pipeline_describe(self.handle, ctypes.addressof(info))
        return info

    def run(self, source: int, source_bytes: int, picture: int, picture_bytes: int) -> None:
        status = pipeline_run(
            self.handle, source, source_bytes, picture, picture_bytes, self.text, TEXT_BYTES
        )
        if status:
            raise_status(status, self.text.value.decode())

    def __del__(self) -> None:
        # A parent's pipeline waits for threads that a forked process does not have.
        if self.handle and self._process is Process.current:
            pipeline_close(self.handle)
