"""Frames converted on several threads: the same bytes, and nobody left at work."""

from __future__ import annotations

import itertools
import os
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import imgcnv
import numpy as np
import pytest
from imgcnv import PixelFormat, _bands, _native
from imgcnv._crew import Crew
from imgcnv._stages import METHODS

import frames
from programs import LIBRARY, PYTHON, run

SEED = int(os.environ.get("IMGCNV_TEST_SEED", "20240611"))

# Fork, errors and the end of the interpreter while threads of a Converter wait.
LIVES = """
import atexit, os, signal, sys, imgcnv
from imgcnv import _bands
_bands._LEAST_PIXELS = [1, 1, 1]
frame = os.urandom(64 * 64)
converter = imgcnv.Converter(64, 64, "Mono8", to="mono8", threads=2)
def converts():
    return converter.threads == 2 and converter.convert(frame).tobytes() == frame
assert converts()
child = os.fork()
if child == 0:
    signal.alarm(60)
    right = converts() and converts()
    converter.close()
    sys.exit(0 if right else 1)
assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
assert converts()
atexit.register(lambda: print(converts()))
"""


@pytest.fixture(autouse=True)
def small_bands(monkeypatch):
    monkeypatch.setattr(_bands, "_LEAST_PIXELS", [1, 1, 1])


def others():
    return [thread for thread in threading.enumerate() if thread.name.startswith("imgcnv")]


def differing_rows(rng, format, height, threads, method, to):
    """Rows at which the pictures of one and of more threads differ, at a random geometry."""
    width = int(rng.integers(1, 90))
    padding = 0 if format.packing in ("bits", "nibbles") else int(rng.integers(0, 4))
    data = frames.random_frame(rng, format, width, height, padding)
    options = {"to": to, "demosaic": method, "padding": padding}
    wanted = imgcnv.convert(data, width, height, format, **options)
    frame = frames.guarded(data[: len(data) - padding])
    out = frames.Guarded(wanted.size).bytes.reshape(wanted.shape)
    rows = set()
    with imgcnv.Converter(width, height, format, threads=threads, **options) as converter:
        assert converter.threads == max(1, min(threads, height // 16))
        for result in (converter.convert(frame), converter.convert(frame, out)):
            rows.update(np.nonzero((result != wanted).reshape(height, -1).any(axis=1))[0])
    return rows


@pytest.mark.parametrize(
    "format, method",
    [
        pytest.param(format, method, id=f"{format}-{method}")
        for format in imgcnv.formats()
        if format.packing != "points"
        for method in (frames.METHODS if format.is_bayer else frames.METHODS[:1])
    ],
)
def test_same_picture(format, method, monkeypatch):
    """No byte depends on the threads, none is uninitialised, none beyond the buffers touched."""
    rng, poison = np.random.default_rng([SEED, format, METHODS[method]]), itertools.count()
    monkeypatch.setattr(np, "empty", lambda shape, dtype: np.full(shape, next(poison) & 255, dtype))
    for number, to in enumerate([*frames.DEPTH] * 3):
        height = int((16, 32, 47, 112)[number] if number < 4 else rng.integers(1, 130))
        threads = (2, 3, 7)[number % 3]
        assert not differing_rows(rng, format, height, threads, method, to)


@pytest.mark.parametrize("method, reach", [("bilinear", 1), ("adaptive", 3)])
def test_a_cut_changes_as_many_rows_as_are_mended(method, reach, monkeypatch):
    """One row less shows in that row alone: the test above sees what it is for."""
    monkeypatch.setitem(_bands._REACH, METHODS[method], reach - 1)
    rng, rows = np.random.default_rng(SEED), set()
    for _ in range(10):
        rows |= differing_rows(rng, PixelFormat.BAYER_RG8, 64, 2, method, "rgb24")
    assert rows and rows <= {32 - reach, 31 + reach}


def test_lists_and_small_frames_take_one_thread(monkeypatch):
    monkeypatch.undo()
    for size, format in ((4096, "Mono1C"), (1024, "Mono8"), (640, "BayerRG8")):
        assert imgcnv.Converter(size, size, format, threads=4).threads == 1
    assert imgcnv.Converter(4096, 3000, "Mono8", threads=4).threads == 4
    assert imgcnv.Converter(1024, 768, "BayerRG8", demosaic="adaptive", threads=4).threads == 3


def test_bands_run_at_the_same_time(monkeypatch):
    together = threading.Barrier(3)
    monkeypatch.setattr(_native, "convert", lambda *addresses: together.wait(30) and 0)
    imgcnv.convert(bytes(64 * 48), 64, 48, "Mono8", threads=3)


def test_a_failing_band_ends_the_call_after_the_others(monkeypatch):
    """Whichever fails; and the next call converts again."""
    frame = np.arange(64 * 64, dtype=np.uint8)
    native, failing, at_work = _native.convert, 0, []

    def convert(handle, source, target):
        at_work.append(source)
        if (source - frame.ctypes.data) // (64 * 16) != failing:
            time.sleep(0.05)
        at_work.remove(source)
        return (
            3
            if (source - frame.ctypes.data) // (64 * 16) == failing
            else native(handle, source, target)
        )

    with imgcnv.Converter(64, 64, "Mono8", to="mono8", threads=4) as converter:
        for failing in range(4):
            with monkeypatch.context() as patch:
                patch.setattr(_native, "convert", convert)
                with pytest.raises(MemoryError):
                    converter.convert(frame)
            assert not at_work
            assert converter.convert(frame).tobytes() == frame.tobytes()


def test_threads_wait_and_end():
    converter = imgcnv.Converter(64, 64, "Mono8", threads=3)
    assert not others()
    converter.convert(bytes(64 * 64))
    waiting = others()
    converter.convert(bytes(64 * 64))
    assert 0 < len(waiting) <= 2 and set(waiting) <= set(others())
    converter.close()
    assert not others()
    imgcnv.convert(bytes(64 * 64), 64, 64, "Mono8", threads=3)
    assert not others()
    forgotten = imgcnv.Converter(64, 64, "Mono8", threads=3)
    forgotten.convert(bytes(64 * 64))
    left = others()
    del forgotten
    for thread in left:
        thread.join(30)
    assert not others()


def test_a_frame_may_change_its_size_after_the_call(monkeypatch):
    """Even though a thread may let go of its job after that, as late as here."""
    crew_run, jobs = Crew.run, []

    def run_and_keep(crew, job, count):
        jobs.append(job)
        crew_run(crew, job, count)

    monkeypatch.setattr(Crew, "run", run_and_keep)
    frame = bytearray(64 * 64)
    imgcnv.convert(frame, 64, 64, "Mono8", threads=2)
    frame.append(0)
    assert jobs


def test_no_thread_to_be_had(monkeypatch):
    def refuse(*_):
        raise RuntimeError("can't start new thread")

    monkeypatch.setattr(ThreadPoolExecutor, "_adjust_thread_count", refuse)
    frame = np.arange(64 * 64, dtype=np.uint8)
    picture = imgcnv.convert(frame, 64, 64, "Mono8", to="mono8", threads=4)
    assert picture.tobytes() == frame.tobytes()


def test_fork_and_end_of_the_interpreter():
    output = run("-c", LIVES, PYTHONPATH=str(PYTHON), IMGCNV_LIBRARY=LIBRARY)
    assert output == "True\n"
