"""The frame engine's C library: where it is found and how it is called."""

from __future__ import annotations

import ctypes
import os
import pathlib
from typing import Any, ClassVar, Dict, List, Optional, Type

# Names that the dynamic loader knows the installed libraries by.
CORE, ENGINE = "libimgcnv.so.1", "libimgcnv_frames.so.1"

TEXT_BYTES = 2048
BIG_ENDIAN, VIDEO_RANGE = 1, 2  # flags of frames
FULL_SCALE, KEEP_ALPHA, FLIP_HORIZONTAL, FLIP_VERTICAL = 1, 2, 4, 8  # flags of targets

# What IMGCNV_OUT_OF_MEMORY and IMGCNV_BUSY are raised as; other failures are a ValueError.
_ERRORS = {2: MemoryError, 7: RuntimeError}

READ = ctypes.CFUNCTYPE(
    ctypes.c_int64, ctypes.c_void_p, ctypes.c_int64, ctypes.c_void_p, ctypes.c_int64
)

# Types of declarations that ctypes does not have; structures come later.
_TYPES: Dict[str, Any] = {"read": READ, "char256": ctypes.c_char * 256}


def _type(name: str) -> Any:
    """The type of int64, char_p or frame; with a star, of a pointer to it."""
    if name.endswith("*"):
        return ctypes.POINTER(_type(name[:-1]))
    return _TYPES[name] if name in _TYPES else getattr(ctypes, f"c_{name}")


class Record(ctypes.Structure):
    """A structure of imgcnv_frames.h, whose first member is its own size."""

    _fields_: ClassVar[Any] = [("struct_size", ctypes.c_size_t)]

    def __init__(self, *members: Any, **values: Any) -> None:
        super().__init__(ctypes.sizeof(self), *members, **values)


def _structure(name: str, members: str) -> Type[Record]:
    """The structure imgcnv_`name` by what follows struct_size in it, in the header's order."""
    parts = [part.split(None, 1) for part in members.split(";")]
    fields = [(member.strip(), _type(kind)) for kind, names in parts for member in names.split(",")]
    _TYPES[name] = made = type(name, (Record,), {"_fields_": fields})
    return made


FormatInfo = _structure(
    "format_info",
    "uint32 code; "
    "int bits_per_pixel, depth, layout, order, is_color, group_pixels, group_bytes, in_core; "
    "char_p name, layout_text, pfnc, gstreamer, v4l2, ffmpeg, ros, opencv",
)
Frame = _structure("frame", "uint32 format, flags; int64 width, height, stride, skip, gap")
FrameSizes = _structure("frame_sizes", "int64 row_bytes, stride, frame_bytes, needed_bytes")
FileFit = _structure("file_fit", "int64 frames, left_over; int fit; int64 value")
Levels = _structure(
    "levels", "double black, white, red_gain, green_gain, blue_gain, gamma, contrast; void_p curve"
)
Target = _structure(
    "target",
    "int kind, demosaic, rotation; uint32 flags; int threads; int64 stride; levels* levels",
)
PictureInfo = _structure(
    "picture_info",
    "int64 width, height; int channels, channel_bytes; "
    "int64 row_bytes, stride, picture_bytes, source_bytes; int threads; char_p way",
)
Question = _structure(
    "guess_question",
    "void_p data; int64 bytes; read read; void_p context; frame known; char_p name; "
    "int64 search_bytes",
)
Reading = _structure("reading", "frame frame; int64 frames; double score; char256 unknown")


def _load() -> ctypes.CDLL:
    """The engine that a variable names, else the one beside this file, else the system's.

    The engine wants libimgcnv, which the loader finds beside it, or takes as it was loaded before.
    """
    here = str(pathlib.Path(__file__).parent)
    core, engine = (os.environ.get(f"IMGCNV_{name}LIBRARY") for name in ("", "FRAMES_"))
    own = core or f"{here}/{CORE}", f"{here}/{ENGINE}"
    failures: List[str] = []
    for its_core, name in [(core, engine)] if engine else [own, (core, ENGINE)]:
        try:
            if its_core:
                ctypes.CDLL(its_core)
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
    name: str, arguments: str, result: Any = ctypes.c_int, library: ctypes.CDLL = _holding_gil
) -> Any:
    """The function imgcnv_`name` by the kinds of its arguments, "said" being room for a text."""
    try:
        function = library[f"imgcnv_{name}"]  # a fresh object each time, unlike getattr
    except AttributeError as failure:
        raise ImportError(f"imgcnv: {path} is of another version: {failure}") from None
    function.argtypes = list(map(_type, arguments.replace("said", "char_p size_t").split()))
    function.restype = result
    return function


format_count = _function("format_count", "")
format_at = _function("format_at", "int format_info*")
find_format = _function("find_format", "char_p uint32* uint32* said")
find_target = _function("find_target", "char_p int* said")
find_demosaic = _function("find_demosaic", "char_p int* said")
frame_measure = _function("frame_measure", "frame* frame_sizes* said")
frame_describe = _function("frame_describe", "frame* said")
file_measure = _function("file_measure", "frame* int64 file_fit* said")
row_bytes = _function("row_bytes", "uint32 int64", result=ctypes.c_int64)
pipeline_open = _function("pipeline_open", "frame* target* void_p* said")
pipeline_describe = _function("pipeline_describe", "void_p picture_info*")
pipeline_run = _function(
    "pipeline_run", "void_p void_p size_t void_p size_t said", library=_library
)
pipeline_close = _function("pipeline_close", "void_p", result=None)
auto_levels = _function("auto_levels", "frame* void_p size_t levels* said", library=_library)
guess = _function("guess", "guess_question* reading* int int* said", library=_library)

version: str = _function("frames_version", "", result=ctypes.c_char_p)().decode()


def call(function: Any, *arguments: Any) -> str:
    """Call a function that takes a text last: its text, or the exception that its status means."""
    text = ctypes.create_string_buffer(TEXT_BYTES)
    status = function(*arguments, text, TEXT_BYTES)
    said = text.value.decode()
    if status:
        raise _ERRORS.get(status, ValueError)(said)
    return said


def choice(what: str, name: str) -> int:
    """The value of a target's ("to") or a method's ("demosaic") name, in any spelling."""
    if not isinstance(name, str):
        raise TypeError(f"{what} must be a str, not {type(name).__name__}")
    value = ctypes.c_int()
    call(find_target if what == "to" else find_demosaic, name.encode(errors="replace"), value)
    return value.value


# One longer in each forked process, which can use neither threads nor locks of its parent.
forks: List[None] = []
os.register_at_fork(after_in_child=lambda: forks.append(None))


class Pipeline:
    """An open pipeline, closed when nothing refers to it any more."""

    handle: Optional[int] = None

    def __init__(self, frame: Record, target: Record) -> None:
        handle = ctypes.c_void_p()
        call(pipeline_open, frame, target, handle)
        self.handle, self.process, self.picture = handle.value, len(forks), PictureInfo()
        pipeline_describe(self.handle, self.picture)

    def run(self, source: int, source_bytes: int, picture: int) -> None:
        """Convert the frame that lies at one address to a picture at another."""
        arguments = self.handle, source, source_bytes, picture, self.picture.picture_bytes
        # Without room for a text at first, since small frames come in thousands per second.
        if pipeline_run(*arguments, None, 0):
            call(pipeline_run, *arguments)

    def __del__(self) -> None:
        # A parent's pipeline waits for threads that a forked process does not have.
        if self.handle and self.process == len(forks):
            pipeline_close(self.handle)
