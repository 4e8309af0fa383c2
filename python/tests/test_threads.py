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
        library.IMGCNV_convert.argtypes = (ctypes.c_void_p,) * 3
        monkeypatch.setattr(_native, "convert", library.IMGCNV_convert)
    frame = np.zeros((4000, 4000), np.uint8)
    with imgcnv.Converter(4000, 4000, "BayerRG8", demosaic="adaptive", to="mono8") as converter:
        converter.convert(frame)
        # Many conversions in case that the machine is slow to wake the other thread.
        ran = any(others_ran_during(lambda: converter.convert(frame)) for _ in range(20))
    assert ran is not holds_gil


def test_a_converter_in_use_is_refused(monkeypatch):
    inside, leave = threading.Event(), threading.Event()

    def slow_convert(*addresses):
        inside.set()
        assert leave.wait(30)
        return 0

    monkeypatch.setattr(_native, "convert", slow_convert)
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
        if format.packing == "points":
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
