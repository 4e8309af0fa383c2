#!/usr/bin/python3
"""How fast the module is, beside what NumPy alone can do, on this machine.

    IMGCNV_FRAMES_LIBRARY=path/to/libimgcnv_frames.so python/bench.py [--json] [--check]

The frame is 12 megapixels of Mono12Packed, to 8-bit grey. NumPy slices the high
bytes out; unpacking all 12 bits and shifting them is what most scripts do. The
module runs on one thread, and on as many as there are CPUs. So does the fastest
slicing, its threads written by hand: that is shown, but is not what a factor is of.
The overhead is that of one call on 64 x 64 pixels beyond the C function itself.

--check fails when the module is 10 times faster than the fastest slicing neither on
one thread nor on all CPUs, or when Converter.convert() costs more than 4 microseconds and
convert() more than 12. It says which number of threads gets there.
"""

from __future__ import annotations

import argparse
import contextlib
import functools
import json
import os
import platform
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from typing import Callable, Dict, Tuple

import imgcnv
import numpy as np
from imgcnv import _native
from numpy.typing import NDArray

Bytes = NDArray[np.uint8]
WIDTH, HEIGHT = 4096, 3000
CPUS = len(os.sched_getaffinity(0))


def seconds(action: Callable[[], object], runs: int, calls: int = 1) -> float:
    """Best time of one call: what else runs on the machine only ever adds to it."""
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        for _ in range(calls):
            action()
        times.append((time.perf_counter() - start) / calls)
    return min(times)


def slicing_ways(frame: Bytes, out: Bytes) -> Dict[str, Callable[[], object]]:
    """Ways to take the outer bytes of each group, from the literal to the clever."""
    flat, pairs, groups = out.reshape(-1), out.reshape(-1, 2), frame.reshape(-1, 3)

    def two_slices() -> None:
        flat[0::2] = frame[0::3]
        flat[1::2] = frame[2::3]

    def one_slice() -> None:
        pairs[...] = groups[:, ::2]

    def by_index() -> None:
        np.take(groups, (0, 2), axis=1, out=pairs, mode="clip")

    def shift_words() -> None:
        # Bytes 0 and 2 of each group as one shifted 32-bit word: 4 bytes read, 2 kept.
        words: NDArray[np.uint32] = np.ndarray((groups.shape[0] - 1,), "<u4", frame, 0, (3,))
        pairs[:-1].view("<u2")[:, 0] = words & 0xFF | words >> 8 & 0xFF00
        pairs[-1] = groups[-1, ::2]

    def unpack_12_bits() -> None:
        first, middle, last = groups.astype(np.uint16).T
        full = np.empty((groups.shape[0], 2), np.uint16)
        full[:, 0] = first << 4 | middle & 15
        full[:, 1] = last << 4 | middle >> 4
        pairs[...] = full >> 4

    return {
        "two slices": two_slices,
        "one slice": one_slice,
        "take": by_index,
        "shifted words": shift_words,
        "all 12 bits": unpack_12_bits,
    }


def slicing_on_all_cpus(frame: Bytes, out: Bytes, pool: ThreadPoolExecutor) -> None:
    """`two_slices` of bands of rows at the same time."""
    frames, pictures = (np.array_split(rows, CPUS) for rows in (frame.reshape(HEIGHT, -1), out))
    parts = [
        slicing_ways(part.reshape(-1), picture)["two slices"]
        for part, picture in zip(frames, pictures)
    ]
    for done in [pool.submit(part) for part in parts]:
        done.result()


def large_frames() -> Dict[str, float]:
    """Milliseconds for one 12-megapixel frame, each way checked against the module."""
    frame = np.random.default_rng(0).integers(0, 256, WIDTH * HEIGHT * 3 // 2, dtype=np.uint8)
    out = np.zeros((HEIGHT, WIDTH), np.uint8)
    wanted = imgcnv.convert(frame, WIDTH, HEIGHT, "Mono12Packed", to="mono8")
    with contextlib.ExitStack() as open_until_the_end:
        ways: Dict[str, Tuple[int, Callable[[], object]]] = {}
        for threads in sorted({1, CPUS}):
            converter = open_until_the_end.enter_context(
                imgcnv.Converter(WIDTH, HEIGHT, "Mono12Packed", to="mono8", threads=threads)
            )
            one_shot = functools.partial(
                imgcnv.convert, frame, WIDTH, HEIGHT, "Mono12Packed", to="mono8", threads=threads
            )
            ways[converter_row(threads)] = (60, functools.partial(converter.convert, frame, out))
            ways[f"convert, new array, threads={threads}"] = (15, one_shot)
        # The limit of one CPU: the result's bytes read and written, nothing done to them.
        ways["bare copy of a result"] = (30, lambda: np.copyto(out, wanted))
        for name, way in slicing_ways(frame, out).items():
            ways[f"NumPy {name}"] = (4, way)
        pool = open_until_the_end.enter_context(ThreadPoolExecutor(CPUS))
        by_hand = functools.partial(slicing_on_all_cpus, frame, out, pool)
        ways[f"by hand: two slices on {CPUS} threads"] = (4, by_hand)

        for name, (_, way) in ways.items():
            out[...] = 0
            returned = way()
            if not np.array_equal(np.asarray(out if returned is None else returned), wanted):
                raise SystemExit(f"{name} gives another picture: the benchmark is wrong")
        # In turns, so that a while in which something else fills the memory bus is
        # a while for all of them.
        rounds = [
            {name: seconds(way, runs) * 1e3 for name, (runs, way) in ways.items()}
            for _ in range(10)
        ]
    return {name: min(times[name] for times in rounds) for name in ways}


def converter_row(threads: int) -> str:
    return f"Converter, threads={threads}"


def small_calls() -> Dict[str, float]:
    """Microseconds a 64 x 64 call costs beyond the C function, by destination."""
    frame = np.random.default_rng(0).integers(0, 256, 64 * 96, dtype=np.uint8)
    result: Dict[str, float] = {}
    many = (600, 100)  # short rounds: some of them nothing else on the machine interrupts
    destinations: Tuple[imgcnv.To, ...] = ("mono8", "rgb24", "rgba32")
    for to in destinations:
        with imgcnv.Converter(64, 64, "Mono12Packed", to=to) as converter:
            out = np.empty(converter.shape, np.uint8)
            handle = converter._pipeline(0, 0).handle
            source, target = frame.ctypes.data, out.ctypes.data
            rest = (out.nbytes, None, 0)
            run = _native.pipeline_run
            call = seconds(lambda: converter.convert(frame, out), *many)
            bare = seconds(lambda: run(handle, source, frame.nbytes, target, *rest), *many)
            # A foreign call costs something itself: that of one which does nothing.
            nothing = seconds(lambda: run(None, source, frame.nbytes, target, *rest), *many)
            result[to] = (call - bare + nothing) * 1e6
            once = functools.partial(imgcnv.convert, frame, 64, 64, "Mono12Packed", to=to)
            result[f"convert() to {to}"] = (seconds(once, *many) - bare + nothing) * 1e6
    return result


def main() -> int:
    parser = argparse.ArgumentParser(description="Speed of the imgcnv module beside NumPy.")
    parser.add_argument("--json", action="store_true", help="print the figures for programs")
    parser.add_argument("--check", action="store_true", help="fail when a promise is not kept")
    options = parser.parse_args()

    large, small = large_frames(), small_calls()
    fastest = min(time for name, time in large.items() if name.startswith("NumPy"))
    speedup = {n: fastest / large[converter_row(n)] for n in sorted({1, CPUS})}
    if options.json:
        print(json.dumps({"milliseconds": large, "speedup": speedup, "call_microseconds": small}))
    else:
        print(
            f"{platform.machine()}, {CPUS} CPUs, Python {platform.python_version()}, "
            f"NumPy {np.__version__}"
        )
        print(f"{WIDTH}x{HEIGHT} Mono12Packed to mono8, best ms:")
        for name, time_ms in large.items():
            print(f"  {name:32} {time_ms:8.2f}")
        for threads, factor in speedup.items():
            verdict = "10 times is reached" if factor >= 10 else "10 times is NOT reached"
            print(
                f"  threads={threads}: {factor:.1f} times faster than the fastest slicing, {verdict}"
            )
        print("64x64 Mono12Packed, us per call beyond the C function:")
        for to, time_us in small.items():
            print(f"  {to:32} {time_us:8.2f}")
    if options.check and (max(speedup.values()) < 10 or small["mono8"] > 4 or max(small.values()) > 12):
        print("expected a speedup of 10 or more, and at most 4 us (12 us for convert())", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
