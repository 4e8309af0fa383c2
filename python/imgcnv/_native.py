"""The frame engine's C library: where it is found and how it is called."""

from __future__ import annotations

import ctypes
import functools
import os
import pathlib
from typing import Any, ClassVar, Dict, List, Optional, Tuple

# Names that the dynamic loader knows the installed libraries by.
CORE, ENGINE = "libimgcnv.so.1", "libimgcnv_frames.so.1"

OK, BAD_ARGUMENT, OUT_OF_MEMORY, UNKNOWN_FORMAT, BAD_SIZE, BAD_DATA, OVERLAP, BUSY, UNSUPPORTED = (
    range(9)
)
TEXT_BYTES = 2048


_KINDS: Dict[str, Any] = {
    "int": ctypes.c_int,
    "int64": ctypes.c_int64,
    "uint32": ctypes.c_uint32,
    "double": ctypes.c_double,
    "text": ctypes.c_char_p,
    "pointer": ctypes.c_void_p,
}


def _members(declarations: str) -> List[Tuple[str, Any]]:
    """What follows struct_size in a structure of imgcnv_frames.h, in the header's order."""
    kinds = [declaration.split(None, 1) for declaration in declarations.split(";")]
    return [(name.strip(), _KINDS[kind]) for kind, names in kinds for name in names.split(",")]


class _Record(ctypes.Structure):
    """A structure of imgcnv_frames.h, whose first member is its own size."""

    _fields_: ClassVar[Any] = [("struct_size", ctypes.c_size_t)]

    def __init__(self, *members: Any, **values: Any) -> None:
        super().__init__(ctypes.sizeof(self), *members, **values)


class FormatInfo(_Record):
    _fields_ = _members(
        "uint32 code; "
        "int bits_per_pixel, depth, layout, order, is_color, group_pixels, group_bytes, in_core; "
        "text name, layout_text, pfnc, gstreamer, v4l2, ffmpeg, ros, opencv"
    )


class Frame(_Record):
    BIG_ENDIAN, VIDEO_RANGE = 1, 2
    _fields_ = _members("uint32 format, flags; int64 width, height, stride, skip, gap")


class FrameSizes(_Record):
    _fields_ = _members("int64 row_bytes, stride, frame_bytes, needed_bytes")


class FileFit(_Record):
    EXACT = 0
    _fields_ = _members("int64 frames, left_over; int fit; int64 value")


class Levels(_Record):
    _fields_ = _members(
        "double black, white, red_gain, green_gain, blue_gain, gamma, contrast; pointer curve"
    )


class Target(_Record):
    FULL_SCALE, KEEP_ALPHA, FLIP_HORIZONTAL, FLIP_VERTICAL = 1, 2, 4, 8
    _fields_ = [
        *_members("int kind, demosaic, rotation; uint32 flags; int threads; int64 stride"),
        ("levels", ctypes.POINTER(Levels)),
    ]


class PictureInfo(_Record):
    _fields_ = _members(
        "int64 width, height; int channels, channel_bytes; "
        "int64 row_bytes, stride, picture_bytes, source_bytes; int threads; text way"
    )


Read = ctypes.CFUNCTYPE(
    ctypes.c_int64, ctypes.c_void_p, ctypes.c_int64, ctypes.c_void_p, ctypes.c_int64
)


class Question(_Record):
    _fields_ = [
        *_members("pointer data; int64 bytes"),
        ("read", Read),
        ("context", ctypes.c_void_p),
        ("known", Frame),
        *_members("text name; int64 search_bytes"),
    ]


class Reading(_Record):
    _fields_ = [
        ("frame", Frame),
        *_members("int64 frames; double score"),
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
            library["imgcnv_frames_version"]
            return library
        except (OSError, AttributeError) as failure:
            failures.append(f"  {name}: {failure}")
    raise ImportError(
        "imgcnv: no usable libimgcnv_frames.so. Install the wheel or the libimgcnv-frames1 package "
        "of this version, or set IMGCNV_FRAMES_LIBRARY to the path of a built library (and "
        "IMGCNV_LIBRARY to the libimgcnv.so it is to use). Tried:\n" + "\n".join(failures)
    )


_library = _load()
path: str = _library._name

# The GIL is released for what takes long, and kept for the rest, which takes less time than
# handing it over.
_holding_gil = ctypes.PyDLL(path, handle=_library._handle)


def _function(
    name: str, arguments: str, *, result: Any = ctypes.c_int, library: ctypes.CDLL = _holding_gil
) -> Any:
    """A function by the kinds of its arguments, "said" being the room for a text."""
    try:
        function = library[f"imgcnv_{name}"]  # a fresh object each time, unlike getattr
    except AttributeError as failure:
        raise ImportError(f"imgcnv: {path} is of another version: {failure}") from None
    kinds = arguments.replace("said", "pointer size").split()
    function.argtypes = [ctypes.c_size_t if kind == "size" else _KINDS[kind] for kind in kinds]
    function.restype = result
    return function


format_count = _function("format_count", "")
format_at = _function("format_at", "int pointer")
find_format = _function("find_format", "text pointer pointer said")
find_target = _function("find_target", "text pointer said")
find_demosaic = _function("find_demosaic", "text pointer said")
frame_measure = _function("frame_measure", "pointer pointer said")
frame_describe = _function("frame_describe", "pointer said")
file_measure = _function("file_measure", "pointer int64 pointer said")
row_bytes = _function("row_bytes", "uint32 int64", result=ctypes.c_int64)
pipeline_open = _function("pipeline_open", "pointer pointer pointer said")
pipeline_describe = _function("pipeline_describe", "pointer pointer")
pipeline_run = _function("pipeline_run", "pointer pointer size pointer size said", library=_library)
pipeline_close = _function("pipeline_close", "pointer", result=None)
auto_levels = _function("auto_levels", "pointer pointer size pointer said", library=_library)
guess = _function("guess", "pointer pointer int pointer said", library=_library)

version: str = _function("frames_version", "", result=ctypes.c_char_p)().decode()


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


@functools.lru_cache(maxsize=4096)
def _choice(what: str, name: str) -> int:
    value = ctypes.c_int()
    find = find_target if what == "to" else find_demosaic
    call(find, name.encode(errors="replace"), ctypes.byref(value))
    return value.value


def choice(what: str, name: str) -> int:
    """The value of a target's ("to") or a method's ("demosaic") name, in any spelling."""
    if not isinstance(name, str):
        raise TypeError(f"{what} must be a str, not {type(name).__name__}")
    return _choice(what, name)


def describe(frame: Frame) -> str:
    """The frame in words: "Mono8 640x480"."""
    return call(frame_describe, ctypes.byref(frame))


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
        call(pipeline_open, *map(ctypes.addressof, (frame, target, handle)))
        self.handle = handle.value
        self._process = Process.current

    def describe(self) -> PictureInfo:
        info = PictureInfo()
        pipeline_describe(self.handle, ctypes.addressof(info))
        return info

    def run(self, source: int, source_bytes: int, picture: int, picture_bytes: int) -> None:
        call(pipeline_run, self.handle, source, source_bytes, picture, picture_bytes)

    def __del__(self) -> None:
        # A parent's pipeline waits for threads that a forked process does not have.
        if self.handle and self._process is Process.current:
            pipeline_close(self.handle)
