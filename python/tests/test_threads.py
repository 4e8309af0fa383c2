"""The GIL is free while the C library works, and Converters keep threads apart."""

from __future__ import annotations

import concurrent.futures
import ctypes
import sys
import threading

import imgcnv
import numpy as np
import pytest
from imgcnv import _native

import frames
from programs import MODULE, run


def others_ran_during(action):
    """Whether another thread got to run inside `action()`, which may be slow.

    With an endless switch interval a thread gives the GIL away only on its own.
    """
    ran = []
    go = threading.Lock()
    go.acquire()

    def wait_and_note():
        with go:
            ran.append(True)

    interval = sys.getswitchinterval()
    other = threading.Thread(target=wait_and_note)
    other.start()
    sys.setswitchinterval(1000)
    try:
        go.release()
        action()
        return bool(ran)
    finally:
        sys.setswitchinterval(interval)
        other.join()


@pytest.mark.parametrize("holds_gil", [False, True])
def test_gil(holds_gil, monkeypatch):
    """True shows that the test would notice a library that is called with the GIL."""
    if holds_gil:
        library = ctypes.PyDLL(_native.path)
        function = library.imgcnv_pipeline_run
        function.argtypes = _native.pipeline_run.argtypes
        monkeypatch.setattr(_native, "pipeline_run", function)
    frame = np.zeros((4000, 4000), np.uint8)
    with imgcnv.Converter(4000, 4000, "BayerRG8", demosaic="adaptive", to="mono8") as converter:
        converter.convert(frame)
        # Many conversions in case that the machine is slow to wake the other thread.
        ran = any(others_ran_during(lambda: converter.convert(frame)) for _ in range(20))
    assert ran is not holds_gil


def test_a_converter_in_use_is_refused(monkeypatch):
    inside, leave = threading.Event(), threading.Event()

    def slow_run(*given):
        inside.set()
        assert leave.wait(30)
        return 0

    monkeypatch.setattr(_native, "pipeline_run", slow_run)
    with imgcnv.Converter(2, 2, "Mono8") as converter:
        with concurrent.futures.ThreadPoolExecutor() as pool:
            first = pool.submit(converter.convert, bytes(4))
            assert inside.wait(30)
            with pytest.raises(RuntimeError, match="give each thread its own"):
                converter.convert(bytes(4))
            closing = pool.submit(converter.close)
            assert not closing.done()
            leave.set()
            first.result()
            closing.result()


def test_many_threads_give_the_results_of_one():
    rng = np.random.default_rng(7)
    jobs = []
    for number, format in enumerate(imgcnv.formats() * 4):
        if format.packing == "points" or number % 5:
            continue
        width, height = int(rng.integers(1, 200)), int(rng.integers(1, 60))
        data = frames.random_frame(rng, format, width, height, 0)
        options = {"to": "bgra32", "demosaic": frames.METHODS[number % 3]}
        jobs.append(
            lambda d=data, w=width, h=height, f=format, o=options: imgcnv.convert(d, w, h, f, **o)
        )
    wanted = [job() for job in jobs]
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        for _ in range(3):
            for result, right in zip(pool.map(lambda job: job(), jobs), wanted):
                np.testing.assert_array_equal(result, right)


@pytest.mark.parametrize("format", ["BayerRG8", "BayerGR12p", "Mono12Packed", "Mono10p", "uyvy"])
def test_the_same_picture_from_any_number_of_threads(format):
    rng, known = np.random.default_rng(7), imgcnv.PixelFormat.parse(format)
    for width, height in ((1283, 1031), (2048, 700)):
        data = frames.random_frame(rng, known, width, height, 0)
        one = imgcnv.convert(data, width, height, format, demosaic="adaptive")
        for threads in (2, 3, 7, 0):
            with imgcnv.Converter(
                width, height, format, demosaic="adaptive", threads=threads
            ) as converter:
                assert 1 <= converter.threads <= (threads or 256)
                np.testing.assert_array_equal(converter.convert(data), one)


# A child of fork has no threads, and may have got a Converter that is at work.
FORKS = """
import os, signal, threading, imgcnv
from imgcnv import _native
frame = os.urandom(3000 * 2000)
threaded = imgcnv.Converter(3000, 2000, "BayerRG8", threads=2)
busy = imgcnv.Converter(4, 1, "Mono8", to="mono8")
wanted = threaded.convert(frame).tobytes()
inside, leave, run = threading.Event(), threading.Event(), _native.pipeline_run
def slow_run(*given):
    inside.set(), leave.wait(60)
    return run(*given)
_native.pipeline_run = slow_run
other = threading.Thread(target=busy.convert, args=(b"abcd",))
other.start(), inside.wait(60)
_native.pipeline_run = run
child = os.fork()
if child == 0:
    signal.alarm(60)
    right = threaded.convert(frame).tobytes() == wanted
    right &= busy.convert(b"efgh").tobytes() == b"efgh"
    threaded.close(), busy.close()
    os._exit(0 if right else 1)
assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
leave.set(), other.join()
print(threaded.threads, threaded.convert(frame).tobytes() == wanted)
"""


def test_fork_while_a_thread_is_inside():
    assert run("-c", FORKS, **MODULE) == "2 True\n"
