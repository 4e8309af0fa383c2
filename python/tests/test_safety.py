"""Whatever the arguments, memory is safe and the error says what is wrong."""

from __future__ import annotations

import array
import ctypes
import gc
import mmap
import re

import imgcnv
import numpy as np
import pytest
from imgcnv import _native

import frames

GREY = np.zeros((4, 6), np.uint8)
READ_ONLY = np.zeros((4, 6), np.uint8)
READ_ONLY.flags.writeable = False
SHARED = np.zeros(48, np.uint8)


def grey(frame=GREY, width=6, height=4, format="Mono8", **options):
    options.setdefault("to", "mono8")
    return imgcnv.convert(frame, width, height, format, **options)


REFUSED = [
    # geometry
    (dict(width=0), ValueError, "width is 0, expected 1 or more"),
    (dict(height=-3), ValueError, "height is -3, expected 1 or more"),
    (dict(width=6.0), TypeError, "float"),
    (dict(padding=-1), ValueError, "padding is -1, expected 0 or more"),
    (dict(width=2**40), ValueError, "at most 2147483647"),
    (dict(width=50000, height=50000, format="Mono1p"), ValueError, "convert it in parts"),
    (dict(width=2**16, height=2**16, format="Mono1C"), ValueError, "convert it in parts"),
    (dict(width=2**31 - 1, height=1, format="YUV444Packed"), ValueError, "at most 2147483647"),
    (dict(format="Mono1p", padding=1), ValueError, "one stream without row ends"),
    (dict(format="Mono1C", padding=1), ValueError, "a Mono1C list has no rows"),
    (dict(threads=0), ValueError, "threads is 0, expected 1 or more"),
    (dict(threads=True), TypeError, "threads must be an int of 1 or more, not bool"),
    (dict(threads=2.0), TypeError, "threads must be an int of 1 or more, not float"),
    # choices
    (dict(to="rgb"), ValueError, "to is 'rgb', expected one of 'mono8', 'rgb24'"),
    (dict(demosaic="best"), ValueError, "demosaic is 'best', expected one of 'nearest'"),
    (dict(format="Mono13"), ValueError, "did you mean Mono1"),
    (dict(format="Mono12p"), ValueError, "least-significant-bit-first"),
    (dict(format=0x02200016), ValueError, "a destination"),
    (dict(format=0x01080002), ValueError, "signed"),
    (dict(format=12345), ValueError, "'0x00003039' is unknown"),
    (dict(format=1.5), TypeError, "not float"),
    # frames
    (dict(frame="text"), TypeError, "not str"),
    (dict(frame=np.zeros(24, np.float32)), TypeError, "float32"),
    (dict(frame=np.zeros(24, np.int8)), TypeError, "int8"),
    (dict(frame=np.zeros(24, ">u2"), format="Mono12"), TypeError, "little-endian"),
    (dict(frame=np.zeros(12, np.uint16)), TypeError, "no 16-bit words"),
    (dict(frame=np.zeros((4, 12), np.uint8)[:, ::2]), ValueError, "not contiguous"),
    (dict(frame=np.zeros((6, 4), np.uint8).T), ValueError, "not contiguous"),
    (dict(frame=np.zeros((6, 4), np.uint8)), ValueError, "width and height may be exchanged"),
    (dict(frame=b""), ValueError, "empty"),
    (dict(frame=bytes(23)), ValueError, "has 23 bytes, expected 24 for 6x4 Mono8: 1 are missing"),
    (dict(frame=bytes(25)), ValueError, "frame[:24]"),
    (dict(frame=bytes(32)), ValueError, "padding is 2"),
    (dict(frame=bytes(48)), ValueError, "the format is Mono10 or Mono12 or Mono16"),
    (dict(frame=bytes(240)), ValueError, "holds 10 frames"),
    (dict(frame=bytes(36), format="BayerRG12", to="rgb24"), ValueError, "BayerRG12Packed"),
    # results
    (dict(out=bytearray(24)), TypeError, "out must be a numpy.ndarray, not bytearray"),
    (dict(out=np.zeros((4, 6), np.int8)), TypeError, "out has dtype int8, expected uint8"),
    (dict(out=np.zeros((6, 4), np.uint8)), ValueError, "shape (6, 4), expected (4, 6)"),
    (dict(out=np.zeros((4, 12), np.uint8)[:, ::2]), ValueError, "not C-contiguous"),
    (dict(out=READ_ONLY), ValueError, "out is read-only"),
    (dict(out=GREY), ValueError, "out overlaps the source"),
    (dict(frame=SHARED[:24], out=SHARED[23:47].reshape(4, 6)), ValueError, "overlaps"),
    # point lists
    (dict(format="Mono1C", frame=bytes(6)), ValueError, "multiple of 4"),
    (dict(format="Mono1C", frame=bytes([1, 0, 0, 1])), ValueError, "point 0 .* row 0, column 1"),
    (dict(format="Mono1C", frame=bytes([0, 0, 0x10, 0])), ValueError, "row 1, column 0"),
    (
        dict(format="Mono1C", frame=bytes([1, 0, 0x40, 6, 1, 0, 0x50, 1])),
        ValueError,
        "point 1 .* row 5, column 1, expected rows 1 to 4 and columns 1 to 6",
    ),
    (dict(format="Mono1C", frame=bytes([1, 0, 0x10, 7])), ValueError, "column 7"),
]


@pytest.mark.parametrize("arguments, error, message", REFUSED)
def test_refused(arguments, error, message):
    pattern = message if " .* " in message else re.escape(message)
    out = arguments.get("out")
    before = np.array(out) if out is not None else None
    with pytest.raises(error, match=pattern):
        grey(**arguments)
    if before is not None:
        np.testing.assert_array_equal(np.array(out), before)


def test_points_after_the_end_are_not_judged():
    frame = bytes([9, 0, 0x10, 1]) + bytes(4) + b"\xff" * 4
    assert grey(frame, format="Mono1C")[0, 0] == 9


def test_a_point_list_ends_with_its_buffer():
    frame = frames.guarded(bytes([9, 0, 0x10, 1]) * 3)
    result = grey(frame, format="Mono1C")
    assert result[0, 0] == 9 and result.sum() == 9


@pytest.mark.parametrize(
    "wrap",
    [
        bytes,
        bytearray,
        memoryview,
        lambda data: array.array("B", data),
        lambda data: (ctypes.c_char * len(data)).from_buffer_copy(data),
        lambda data: np.frombuffer(data, np.uint8),
        lambda data: np.frombuffer(data, np.uint8).reshape(4, 12),
        lambda data: np.frombuffer(data, "<u2"),
        lambda data: np.frombuffer(data, "<u2").reshape(4, 6).copy(),
        lambda data: np.frombuffer(b"x" + data, np.uint8)[1:],
    ],
)
def test_every_kind_of_buffer(wrap):
    data = np.random.default_rng(1).bytes(48)
    wanted = np.frombuffer(data, "<u2").reshape(4, 6) >> 4 & 0xFF
    np.testing.assert_array_equal(grey(wrap(data), format="Mono12"), wanted)


def test_mmap_frames(tmp_path):
    path = tmp_path / "frames.raw"
    path.write_bytes(bytes(range(48)))
    with path.open("rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as dump:
        second = grey(memoryview(dump)[24:])
        assert second.reshape(-1).tolist() == list(range(24, 48))
        gc.collect()  # nothing may keep the map open: closing it would fail


def test_nothing_is_copied(monkeypatch):
    """The C function gets the caller's own memory on both sides."""
    frame, out = np.zeros(24, np.uint8), np.empty((4, 6, 3), np.uint8)
    calls = []
    monkeypatch.setattr(_native, "convert", lambda *addresses: calls.append(addresses) or 0)
    with imgcnv.Converter(6, 4, "BayerRG8") as converter:
        converter.convert(frame, out)
    assert [call[1:] for call in calls] == [(frame.ctypes.data, out.ctypes.data)]


def test_handles_are_closed(monkeypatch):
    """One per stage, freed by close, by the with block, by the collector and on errors."""
    open_handles = set()
    native_open, native_close = _native.open, _native.close

    def counted_open(*arguments):
        handle = native_open(*arguments)
        open_handles.add(handle)
        return handle

    def counted_close(handle):
        open_handles.remove(handle)
        return native_close(handle)

    monkeypatch.setattr(_native, "open", counted_open)
    monkeypatch.setattr(_native, "close", counted_close)
    converter = imgcnv.Converter(5, 3, "BayerRG12Packed", demosaic="nearest")
    converter.convert(bytes(24))
    assert open_handles
    converter.close()
    converter.close()
    assert not open_handles
    with pytest.raises(ValueError, match="closed"):
        converter.convert(bytes(24))
    with pytest.raises(ValueError):
        imgcnv.convert(bytes(23), 5, 3, "BayerRG12Packed")
    forgotten = imgcnv.Converter(4, 4, "BayerRG8")
    forgotten.convert(bytes(16))
    del forgotten
    gc.collect()
    assert not open_handles


@pytest.mark.parametrize("status, error", [(3, MemoryError), (1, RuntimeError)])
def test_a_failing_c_call_raises(status, error, monkeypatch):
    monkeypatch.setattr(_native, "convert", lambda *addresses: status)
    for width in (6, 5):  # the short way through, and the one with stages
        with pytest.raises(error):
            imgcnv.convert(bytes(width * 4), width, 4, "BayerRG8")
