"""Whatever the arguments, memory is safe and the error says what is wrong."""

from __future__ import annotations

import array
import copy
import ctypes
import gc
import mmap
import pickle
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


CLOSED_MAP = mmap.mmap(-1, 24)
CLOSED_MAP.close()
RELEASED = memoryview(bytes(24))
RELEASED.release()

REFUSED = [
    # geometry
    (dict(width=0), ValueError, "size 0x4: width and height must be at least 1"),
    (dict(height=-3), ValueError, "size 6x-3: width and height must be at least 1"),
    (dict(width=6.0), TypeError, "width must be an int, not float"),
    (dict(height=True), TypeError, "height must be an int, not bool"),
    (dict(padding="1"), TypeError, "padding must be an int, not str"),
    (dict(padding=-1), ValueError, "padding is -1, expected 0 or more"),
    (dict(padding=1, stride=7), ValueError, "padding is 1 and stride 7: pass one of them"),
    (dict(stride=5), ValueError, "stride 5: a row of 6 pixels of Mono8 takes 6 bytes"),
    (dict(width=2**40), ValueError, "at most 2147483647"),
    (dict(width=2**70), ValueError, "expected a number of 64 bits"),
    (dict(padding=2**63 - 1), ValueError, "padding is 9223372036854775807"),
    (dict(width=50000, height=50000, format="Mono1p"), ValueError, "at most 2147483647 pixels"),
    (dict(width=2**16, height=2**16, format="Mono1C"), ValueError, "at most 2147483647 pixels"),
    (dict(width=2**31 - 1, height=1, format="YUV444Packed"), ValueError, "most is 2147483647"),
    (dict(format="Mono1C", padding=1), ValueError, "it has no rows, so its stride must be 0"),
    (dict(threads=-1), ValueError, "threads is -1, expected 0 (as many as pay) to 256"),
    (dict(threads=2**40), ValueError, "expected 0 (as many as pay) to 256"),
    (dict(threads=True), TypeError, "threads must be an int, not bool"),
    (dict(threads=2.0), TypeError, "threads must be an int, not float"),
    (dict(big_endian=True), ValueError, "Mono8 has no 16-bit words that could be big-endian"),
    (dict(video_range=True), ValueError, "Mono8 has no video range"),
    # choices
    (dict(to="rgb25"), ValueError, "unknown target 'rgb25': expected mono8, rgb24"),
    (dict(to=3), TypeError, "to must be a str, not int"),
    (dict(demosaic="nearest", method="adaptive"), ValueError, "pass one of them"),
    (dict(demosaic="best"), ValueError, "'best': expected nearest, bilinear or adaptive"),
    (dict(rotate=45), ValueError, "rotation is 45, expected 0, 90, 180 or 270"),
    (dict(flip="up"), ValueError, "flip is 'up', expected 'horizontal' or 'vertical'"),
    (dict(to="raw16", format="uyvy"), ValueError, "raw16 could hold; use rgb24"),
    (dict(levels=(1, 2)), TypeError, "levels must be an imgcnv.Levels, not tuple"),
    (dict(levels=imgcnv.Levels(black=300)), ValueError, "black is outside 0 to 255"),
    (dict(levels=imgcnv.Levels(curve=np.zeros(768, "u1"))), ValueError, "expected (3, 256)"),
    (dict(levels=imgcnv.Levels(gains=(1, 2))), ValueError, "gains is (1, 2), expected those of red"),
    (dict(format="Mono13"), ValueError, "nearest: Mono12, Mono14"),
    (dict(format=12345), ValueError, "00003039"),
    (dict(format=1.5), TypeError, "not float"),
    (dict(format=None), TypeError, "format is missing"),
    (dict(height=None), TypeError, "pass width and height, or neither"),
    (dict(width=None, height=None, frame=bytes(24)), TypeError, "array (H, W), not from one of shape (24,)"),
    # frames
    (dict(frame="text"), TypeError, "not str"),
    (dict(frame=CLOSED_MAP), ValueError, "frame cannot be read: mmap closed or invalid"),
    (dict(frame=RELEASED), ValueError, "frame cannot be read: operation forbidden on released"),
    (dict(frame=np.zeros(24, np.float32)), TypeError, "float32"),
    (dict(frame=np.zeros(24, np.int8)), TypeError, "int8"),
    (dict(frame=np.zeros(24, "M8[s]")), TypeError, "datetime64[s], expected uint8 or uint16"),
    (dict(frame=np.zeros(24, ">u2"), format="Mono12"), TypeError, "pass big_endian=True"),
    (dict(frame=np.zeros(24, "<u2"), format="Y16_BE"), TypeError, "expected big-endian words"),
    (dict(frame=np.zeros(12, np.uint16)), TypeError, "no 16-bit words"),
    (dict(frame=np.zeros((4, 12), np.uint8)[:, ::2]), ValueError, "not contiguous within"),
    (dict(frame=np.zeros((4, 6), np.uint8)[::-1]), ValueError, "run backwards or overlap"),
    (dict(frame=np.zeros(48, np.uint8)[::2]), ValueError, "not contiguous"),
    (dict(frame=np.zeros((6, 4), np.uint8).T), ValueError, "not contiguous"),
    (dict(frame=np.zeros((4, 9), np.uint8)[:, :7]), ValueError, "rows of 7 bytes, expected 6"),
    (dict(frame=np.zeros((6, 4), np.uint8)), ValueError, "width and height may be exchanged"),
    (dict(frame=np.zeros((2, 4, 6), np.uint8)), ValueError, "takes several frames"),
    (dict(frame=b""), ValueError, "0 bytes, expected 24 for Mono8 6x4\nthere are no bytes"),
    (dict(frame=bytes(23)), ValueError, "has 23 bytes, expected 24 for Mono8 6x4\ncut short"),
    (dict(frame=bytes(25)), ValueError, "1 byte too many"),
    (dict(frame=bytes(32)), ValueError, "rows padded by 2 bytes fit: stride 8"),
    (dict(frame=bytes(24), padding=1), ValueError, "rows without padding fit: stride 6"),
    (dict(frame=bytes(240)), ValueError, "it holds 10 frames: convert_batch() or batch=True"),
    (dict(frame=bytes(36), format="BayerRG12", to="rgb24"), ValueError, "BayerRG12Packed"),
    # results
    (dict(out=bytearray(24)), TypeError, "out must be a numpy.ndarray, not bytearray"),
    (dict(out=np.zeros((4, 6), np.int8)), TypeError, "out has dtype int8, expected uint8"),
    (dict(out=np.zeros((4, 6), np.uint8), to="raw16"), TypeError, "uint8, expected uint16"),
    (dict(out=np.zeros((6, 4), np.uint8)), ValueError, "shape (6, 4), expected (4, 6)"),
    (dict(out=np.zeros((4, 12), np.uint8)[:, ::2]), ValueError, "not contiguous within its rows"),
    (dict(out=np.zeros((4, 6), np.uint8)[::-1]), ValueError, "run backwards or overlap"),
    (dict(out=READ_ONLY), ValueError, "out is read-only"),
    (dict(out=GREY), ValueError, "source and target share bytes"),
    (dict(frame=SHARED[:24], out=SHARED[23:47].reshape(4, 6)), ValueError, "share bytes"),
    # batches
    (dict(batch=True, frame=bytes(25)), ValueError, "frame has 25 bytes, expected 24"),
    (dict(batch=True, frame=b""), ValueError, "there are no bytes"),
    (dict(batch=True, frame=SHARED, out=SHARED.reshape(2, 4, 6)), ValueError, "out overlaps"),
    (dict(batch=True, format="Mono1C"), ValueError, "convert them one by one"),
    (
        dict(batch=True, frame=SHARED, out=np.zeros((2, 4, 6), "u1")[::-1]),
        ValueError,
        "frames that run backwards",
    ),
    # point lists
    (dict(format="Mono1C", frame=b""), ValueError, "frame has 0 bytes, expected 4 per point"),
    (dict(format="Mono1C", frame=b"\1\0\x10\1\1\1"), ValueError, "multiple of 4"),
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
    """The C function gets the caller's own memory on both sides, whatever the strides."""
    wide, canvas = np.zeros((4, 9), np.uint8), np.zeros((4, 8, 3), np.uint8)
    cases = [
        (np.zeros(24, np.uint8), np.empty((4, 6, 3), np.uint8)),
        (wide[:, 2:8], canvas[:, 1:7]),
    ]
    calls = []
    monkeypatch.setattr(_native, "pipeline_run", lambda *given: calls.append(given) or 0)
    with imgcnv.Converter(6, 4, "BayerRG8") as converter:
        for frame, out in cases:
            converter.convert(frame, out)
    assert [(call[1], call[3]) for call in calls] == [
        (frame.ctypes.data, out.ctypes.data) for frame, out in cases
    ]


def test_pipelines_are_closed(monkeypatch):
    """By close, by the with block, by the collector and on errors."""
    opened, closed = [], []
    native_open, native_close = _native.pipeline_open, _native.pipeline_close

    def counted_open(*given):
        status = native_open(*given)
        opened.append(status)
        return status

    def counted_close(handle):
        closed.append(handle)
        native_close(handle)

    monkeypatch.setattr(_native, "pipeline_open", counted_open)
    monkeypatch.setattr(_native, "pipeline_close", counted_close)
    converter = imgcnv.Converter(5, 3, "BayerRG12Packed", demosaic="nearest")
    converter.convert(bytes(24))
    converter.convert(np.zeros((3, 9), np.uint8)[:, :8])  # a second one, for its stride
    assert (len(opened), len(closed)) == (2, 0)
    converter.close()
    converter.close()
    assert len(closed) == 2
    for call in (converter.convert, converter.convert_batch):
        with pytest.raises(ValueError, match="closed"):
            call(bytes(24))
    with pytest.raises(ValueError):
        imgcnv.convert(bytes(23), 5, 3, "BayerRG12Packed", threads=2)
    forgotten = imgcnv.Converter(4, 4, "BayerRG8")
    forgotten.convert(bytes(16))
    del forgotten
    gc.collect()
    assert len(opened) == len(closed) == 4


def test_copies_are_converters_of_their_own():
    """A copy that shared the C pipeline would use it after its owner closed it."""
    levels = imgcnv.Levels(black=3, curve=np.arange(768, dtype=np.uint8).reshape(3, 256))
    first = imgcnv.Converter(6, 4, "BayerRG8", to="bgr24", method="nearest", levels=levels)
    frame = bytes(range(24))
    wanted = first.convert(frame).tobytes()
    copies = [copy.copy(first), copy.deepcopy(first), pickle.loads(pickle.dumps(first))]
    first.close()
    for other in copies:
        assert other.convert(frame).tobytes() == wanted
        other.close()


@pytest.mark.parametrize(
    "status, error",
    [(2, MemoryError), (1, ValueError), (5, ValueError), (7, RuntimeError), (8, ValueError)],
)
def test_a_failing_c_call_raises(status, error, monkeypatch):
    monkeypatch.setattr(_native, "pipeline_run", lambda *given: status)
    for options in ({}, {"batch": True, "threads": 2}):
        with pytest.raises(error):
            imgcnv.convert(bytes(48), 6, 4, "BayerRG8", **options) if options else imgcnv.convert(
                bytes(24), 6, 4, "BayerRG8"
            )


def test_equal_arguments_of_other_types_are_judged_anew():
    """convert() keeps its last Converters by their arguments, and True == 1."""
    assert imgcnv.convert(bytes(1), 1, 1, "Mono8").shape == (1, 1, 3)
    for width in (True, 1.0):
        with pytest.raises(TypeError, match="width must be an int"):
            imgcnv.convert(bytes(1), width, 1, "Mono8")
