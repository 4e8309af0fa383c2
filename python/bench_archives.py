#!/usr/bin/python3
"""Frames per second of archives: what docs/archives.md shows, on this machine.

    IMGCNV_FRAMES_LIBRARY=path/to/libimgcnv_frames.so python/bench_archives.py [FRAMES]

Noisy frames of 600x400 BayerRG12Packed in 6 files, converted, and written to Zarr, PNG and JPEG, by
one process with one thread and by a cluster of two workers. The best of three rounds, after one that is
not counted, in which workers import what they need.
"""

from __future__ import annotations

import pathlib
import sys
import tempfile
import time
from typing import Any, Callable

import dask
import imgcnv
import imgcnv.dask
import numcodecs.blosc
import numpy as np
from distributed import Client, LocalCluster

WIDTH, HEIGHT, FORMAT, FILES = 600, 400, "BayerRG12Packed", 6
ROUNDS = 4


def make_files(folder: pathlib.Path, frames: int) -> None:
    """A smooth picture with noise of a few values, as sensors have it: noise alone is no picture."""
    rng = np.random.default_rng(0)
    smooth = 2000 + 1500 * np.sin(np.add.outer(np.arange(HEIGHT) / 40, np.arange(WIDTH) / 60))
    for number in range(FILES):
        with open(folder / f"{number}.raw", "wb") as file:
            for _ in range(frames // FILES):
                samples = (smooth + rng.normal(0, 12, smooth.shape)).astype(np.uint16)
                first, second = samples[:, ::2], samples[:, 1::2]
                packed = [first >> 4, first & 15 | (second & 15) << 4, second >> 4]
                file.write(np.stack(packed, -1).astype(np.uint8).tobytes())


def rate(frames: int, action: Callable[[int], Any]) -> float:
    """Of action(round), which puts what it writes to another place in each round."""
    times = []
    for number in range(ROUNDS):
        start = time.perf_counter()
        action(number)
        times.append(time.perf_counter() - start)
    return frames / min(times[1:])


def main() -> None:
    frames = int(sys.argv[1]) if len(sys.argv) > 1 else 240
    numcodecs.blosc.use_threads = False  # as in the threads of workers
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "captures").mkdir()
        make_files(folder / "captures", frames)
        # Of other chunks for each round: a cluster remembers results.
        arrays = [
            imgcnv.dask.open_frames(
                folder / "captures", WIDTH, HEIGHT, FORMAT, chunk_bytes=chunk * WIDTH * HEIGHT * 3
            )
            for chunk in range(20, 20 + ROUNDS)
        ]
        with imgcnv.Converter(WIDTH, HEIGHT, FORMAT) as converter:
            dumps = [path.read_bytes() for path in sorted((folder / "captures").iterdir())]
            out = np.empty((len(dumps[0]) // converter.frame_bytes, *converter.shape), np.uint8)
            alone = rate(frames, lambda _: [converter.convert_batch(dump, out) for dump in dumps])
        print(f"convert_batch() of bytes in memory      {alone:8.0f} frames/s")
        with LocalCluster(
            n_workers=2, threads_per_worker=1, memory_limit="400MB", dashboard_address=None
        ) as cluster, Client(cluster, set_as_default=False) as client:
            for where, scheduler in (("1 process", "synchronous"), ("2 workers", client)):
                with dask.config.set(scheduler=scheduler):
                    place = f"{name}/{where[0]}"
                    ways: "dict[str, Callable[[int], Any]]" = {
                        "convert, mean of all pixels": lambda n: arrays[n].mean().compute(),
                        "Zarr": lambda n: imgcnv.dask.to_zarr(arrays[n], f"{place}{n}.zarr"),
                        "PNG": lambda n: imgcnv.dask.to_pictures(
                            arrays[n], f"{place}{n}/{{}}.png", compress_level=1
                        ),
                        "JPEG": lambda n: imgcnv.dask.to_pictures(
                            arrays[n], f"{place}{n}/{{}}.jpg"
                        ),
                    }
                    for way, action in ways.items():
                        print(f"{way:28} {where:10} {rate(frames, action):8.0f} frames/s")


if __name__ == "__main__":
    main()
